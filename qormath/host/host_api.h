#ifndef QORMATH_HOST_HOST_API_H
#define QORMATH_HOST_HOST_API_H

#include <qormath/export.h>

/// @file
/// The flat interface to the library, for a host that is written in C or that can call C: plain functions, plain
/// pointers, zero-terminated text. It has two halves that know nothing of each other.
///
/// The host lists. A host hands over case lines and named vectors of numbers, a consumer that is built into the library
/// (<qormath/host/host_consumer.h>) reads them and leaves messages, which the host fetches. The order of use:
///
///     InitializeDMI();
///     AddCaseLine("...");                                     for each line
///     AddVector("FEED", "Feed flow", "t/h", values, length);  for each vector
///     ...                                                     here the consumer works
///     DeleteVector("FEED");                                   for each vector
///     for (i = 0; i < API_GetNumberOfOutputMessages(); ++i)
///         API_GetOutputMessage(text, sizeof text, i);
///     API_InitializeOutputMessages();
///
/// The lists are empty when the library is loaded and go when it is unloaded. They are not guarded: they are for one
/// thread at a time, whatever they are used for.
///
/// SVDAnalysis. One call, which ranks the square parts of a gain matrix by how well they are conditioned. It keeps
/// nothing, and any number of threads may be in it.
///
/// What stops the process. There are no error codes here. A host's mistake that would touch memory wrongly, or cut a
/// text short, ends the process: one line on standard error names the function, what was given and what the limit is,
/// as in "AddVector: the description has 127 characters, the limit is 126", and the process aborts. A null pointer is
/// such a mistake wherever a text, an array with elements or a place for a result is due.
///
/// Exceptions. What the library throws passes through these functions as it is: std::bad_alloc where memory runs out,
/// and from SVDAnalysis QorMathLA::xmsg and the int -1. A host in C++ can catch them. In C they end the process, unless
/// a frame further out is C++ that catches, and all C between is compiled with -fexceptions.
///
/// Text is bytes; lengths are counted in them, without the terminator.

#ifdef __cplusplus
extern "C" {
#endif

/* ---------------------------------------------------------------- the host lists */

/// Starts a new case: drops the case lines, sets their reader back to the first line, and forgets the keys of the
/// vectors. The vectors themselves are not freed: a host that has not deleted them leaks them here. The output messages
/// stay.
QORMATH_API void InitializeDMI(void);

/// Fills 32 bytes at block with zeros, and touches nothing else. The block is the host's, and so is its meaning.
/// @return 0
QORMATH_API int DMI_Initialize(void* block);

/// Does nothing. Hosts expect it to be there.
QORMATH_API void DMI_Parameter(void);

/// Adds a copy of the text, of any length, to the end of the case lines.
QORMATH_API void AddCaseLine(const char* text);

/// Keeps a vector under a key: copies of its two texts and of its values.
///
/// The values are narrowed to float one by one, and that is what is read back: 0.1 becomes the float nearest to it, a
/// value beyond the range of float becomes infinite.
///
/// A key that is in use gets the new vector, and the old one is not freed: it leaks. A key that was deleted can be used
/// again.
///
/// @param key any length; keys are told apart, and ordered, byte by byte
/// @param description at most 126 characters, of which a consumer can take 39; a longer one stops the process
/// @param units at most 30 characters; a longer one stops the process
/// @param values length numbers; may be null where length is 0
/// @param length at least 0. A negative one throws std::bad_alloc before anything is kept.
QORMATH_API void AddVector(const char* key, const char* description, const char* units, const double* values,
                           int length);

/// Frees the vector of a key. The key itself stays known as that of a deleted vector, until AddVector or InitializeDMI;
/// to delete it a second time stops the process. A key that never had a vector is noted, and nothing else happens,
/// however often it is deleted.
QORMATH_API void DeleteVector(const char* key);

/// Drops all output messages.
QORMATH_API void API_InitializeOutputMessages(void);

/// @return the number of output messages, 64 bits wide
QORMATH_API long long API_GetNumberOfOutputMessages(void);

/// Copies an output message, terminator and all. They are numbered from 0 in the order they came in.
///
/// @param destination room for destinationSize characters; what does not fit, its terminator included, stops the
///        process. A message has at most 255 characters, so 256 are enough.
/// @param destinationSize the room, terminator included
/// @param index from 0 to API_GetNumberOfOutputMessages() - 1; any other stops the process
/// @return 0
QORMATH_API int API_GetOutputMessage(char* destination, int destinationSize, int index);

/* ---------------------------------------------------------------- conditioning of a gain matrix */

/// Finds and ranks the well-conditioned square sub-matrices of a gain matrix: the choices of as many outputs (rows) as
/// inputs (columns) that can be controlled together. QorMathLA::QorSVDAnalysis, in
/// <qormath/numerics/qor_svd_analysis.hpp>, does the work and says what is computed, in what order results rank and
/// what it costs.
///
/// Mind the order of the arguments: nCols stands before nRows, and paramB, the largest number of results that the
/// analysis keeps, before paramA, the order of the sub-matrices. Matrices are column-major, indices count from 0.
///
/// Result i of the ranking has its condition number in conditionNumbers[i], its RGA value in rgaValues[i] and its
/// indices, k of each, in colIndices and rowIndices from place i * k: one run follows the other, and k is paramA, or
/// the smaller of nRows and nCols where paramA is below 1 or above that. At most maxResults results are written, but
/// *resultCount is the number that the analysis found, which may be larger: the smaller of the two tells how many are
/// there. Nothing is written beyond them, so an array may be null if nothing is to be written to it.
///
/// @param nCols columns of the gain matrix, its inputs; at least 0
/// @param nRows rows of the gain matrix, its outputs; at least 0. A negative count, or more than 2147483647 elements,
///        stops the process.
/// @param gain nRows * nCols values. Read in place, neither copied, changed nor freed.
/// @param scaledGain receives the nRows * nCols values of the gain matrix as it was scaled
/// @param scaling nCols factors, one for each column of the gain. Read in place, as gain is.
/// @param paramB above 0 the largest number of results that the analysis keeps, the best ones; otherwise all
/// @param paramA order k of the sub-matrices
/// @param flagValue exactly 1 asks for the rows of the scaled gain to be divided by their largest absolute elements
/// @param value above 0 the largest condition number of a result; otherwise any finite one
/// @param colIndices receives k column indices for each result written
/// @param rowIndices receives k row indices for each result written
/// @param conditionNumbers receives the condition numbers in the 2-norm
/// @param rgaValues receives the largest absolute elements of the relative gain arrays
/// @param resultCount receives the number of results found
/// @param maxResults largest number of results to write; below 1 none is
///
/// Throws the int -1 where the analysis does: for a scaled gain that is not finite, and where the candidates are too
/// many to be gone through. Nothing is written then.
QORMATH_API void SVDAnalysis(int nCols, int nRows, double* gain, double* scaledGain, double* scaling, int paramB,
                             int paramA, int flagValue, double value, int* colIndices, int* rowIndices,
                             double* conditionNumbers, double* rgaValues, int* resultCount, int maxResults);

#ifdef __cplusplus
}
#endif

#endif
