#pragma once

#include <cstdio>

#include <qormath/export.h>

/// @file
/// The step-response model file, read and written through a handle.
///
/// The file is fixed-column text whose number of lines follows from its header: eight header lines (comment, number e
/// of extra comment lines, the e extra lines, inputs, outputs, coefficients n of a curve, stored values, horizon in
/// minutes, version), one line for each input, one for each output, and one block for each output. A block has its own
/// header line, ten reserved lines and, for each input, a line with the steady-state gain and the n coefficients, five
/// to a line. The writer writes version 9896; a reader takes the names from the lists in version 9896 and from the
/// blocks in every other version.
///
/// Numbers are read and printed as in the C locale, whatever the C locale or the C++ global locale of the process.
/// Counts in a file are not believed: memory grows with the lines that are really there.
///
/// A text that is too long for its field stops the process: one line on standard error names the function, the length
/// and the limit, and the process aborts.
///
/// A handle belongs to one thread. Two handles share nothing.

/// Status values of the handle functions. There is no 11.
inline constexpr int FIR_OK = 0;                  ///< done
inline constexpr int FIR_NO_FILE_NAME = 1;        ///< the file name is null
inline constexpr int FIR_BAD_HANDLE = 2;          ///< null handle, no open stream, or a scan with n below 1
inline constexpr int FIR_OPEN_FAILED = 3;         ///< the file cannot be opened
inline constexpr int FIR_HEADER_ERROR = 4;        ///< header or lists: a line is missing, unreadable or not writable
inline constexpr int FIR_NO_MEMORY = 5;           ///< an allocation failed
inline constexpr int FIR_OUTPUT_BLOCK_ERROR = 6;  ///< first eleven lines of a block, or a gain of version 9896
inline constexpr int FIR_INPUT_BLOCK_ERROR = 7;   ///< a curve header is missing or unreadable
inline constexpr int FIR_DATA_ERROR = 8;          ///< a data line is missing, not five numbers, or not writable
inline constexpr int FIR_BAD_INDEX = 9;           ///< input or output index outside the counts
inline constexpr int FIR_NO_NAME = 10;            ///< a null name was given
inline constexpr int FIR_NO_CALLBACK = 12;        ///< firWriteCurves got no callback
inline constexpr int FIR_COUNT_MISMATCH = 13;     ///< version 9896: counts of the file contradict its contents

/// The version that is written, and the only one whose counts are checked.
inline constexpr int FIR_FILE_VERSION = 9896;

extern "C" {

/// State of one open file. The record is the caller's; what its pointers own comes from the C allocator and is freed
/// by firClose. Names and descriptors are blocks of 13 bytes: 12 characters and a terminator.
struct FIRFileHandle {
    std::FILE* stream;         ///< the open file; null when none
    int version;               ///< -999 until the header is known; 9896 in a writer
    int inputCount;            ///< number of inputs
    int outputCount;           ///< number of outputs
    int coefficientCount;      ///< n, coefficients of one curve
    int valueCount;            ///< stored curve values; -1 for another version until the blocks have been scanned
    int horizonSeconds;        ///< time span of the n coefficients, in whole seconds
    char* comment;             ///< the comment line, 256 bytes
    char** inputNames;         ///< inputCount blocks
    char** inputDescriptors;   ///< inputCount blocks
    char** outputNames;        ///< outputCount blocks
    char** outputDescriptors;  ///< outputCount blocks
    int* rampValues;           ///< outputCount values; above 0 marks a ramp
    int* curveCounts;          ///< outputCount values: curves of the output that are not all zero
    int needsScan;             ///< 1 until the blocks have been scanned
    int (*progress)(FIRFileHandle* handle, float fraction);  ///< called after each block; null for none
};

/// Called after each block with the handle and a fraction; what it returns is ignored.
typedef int (*FIRProgressCallback)(FIRFileHandle* handle, float fraction);

/// Gives the n coefficients of the curve from `input` to `output`, or null for an all-zero curve.
typedef const double* (*FIRCurveCallback)(void* context, int output, int input);

/// Opens a file for reading, and reads its header and its two lists.
///
/// The record is cleared first, whatever it held: a stream that was still open is not closed. On every status but
/// FIR_OK nothing stays open or allocated.
/// @return FIR_OK, FIR_NO_FILE_NAME, FIR_BAD_HANDLE, FIR_OPEN_FAILED, FIR_HEADER_ERROR, FIR_NO_MEMORY or
///         FIR_COUNT_MISMATCH (version 9896: n times the sum of the curve counts is not the number of stored values)
QORMATH_API int firOpenRead(FIRFileHandle* handle, const char* fileName);

/// Clears the record as firOpenRead does, and opens the file for writing; an existing file is emptied.
/// @return FIR_OK, FIR_NO_FILE_NAME, FIR_BAD_HANDLE or FIR_OPEN_FAILED
QORMATH_API int firOpenWrite(FIRFileHandle* handle, const char* fileName);

/// Closes the stream, frees what the record owns and clears it. Null is ignored.
QORMATH_API void firClose(FIRFileHandle* handle);

/// Copies out what the header says. Every out pointer may be null; `comment` must hold 256 bytes.
/// @return FIR_OK or FIR_BAD_HANDLE
QORMATH_API int firGetHeader(FIRFileHandle* handle, int* inputCount, int* outputCount, int* coefficientCount,
                             int* horizonSeconds, char* comment);

/// Number of values in curves that are not all zero. Scans the blocks first where it is not known yet.
/// @return FIR_OK, FIR_BAD_HANDLE or a status of firReadCurves
QORMATH_API int firGetValueCount(FIRFileHandle* handle, int* count);

/// Name and descriptor of an input, each into 13 bytes; null pointers are skipped. Scans the blocks first where they
/// hold the names and have not been scanned yet.
/// @return FIR_OK, FIR_BAD_HANDLE, FIR_BAD_INDEX or a status of firReadCurves
QORMATH_API int firGetInput(FIRFileHandle* handle, int index, char* name, char* descriptor);

/// Name, descriptor, ramp value and number of curves of an output, in the manner of firGetInput.
/// @return FIR_OK, FIR_BAD_HANDLE, FIR_BAD_INDEX or a status of firReadCurves
QORMATH_API int firGetOutput(FIRFileHandle* handle, int index, char* name, char* descriptor, int* ramp, int* curves);

/// Scans the blocks and hands out the curves; each of the three arrays may be null.
///
/// @param handle a file that was opened for reading
/// @param offsets inputCount * outputCount entries; entry inputCount * output + input is the index in `data` of the
///        pair's first coefficient, or -1 for an all-zero curve
/// @param data the coefficients of all other curves one after the other, room for n * inputCount * outputCount; in
///        version 9896 no more than `valueCount` are written
/// @param gains laid out as `offsets`: the gain field in version 9896. In another version the last coefficient, or for
///        a ramp value other than 0 the last less the one before, each rounded to seven significant digits. 0 for an
///        all-zero curve.
///
/// Afterwards `valueCount` is the number of values found and `needsScan` is 0, also where a damaged line ended the
/// scan; only FIR_BAD_HANDLE, FIR_NO_MEMORY and a mismatch found inside a block leave them. Progress fractions are
/// output / outputCount.
/// @return FIR_OK, FIR_BAD_HANDLE, FIR_HEADER_ERROR, FIR_NO_MEMORY, FIR_OUTPUT_BLOCK_ERROR, FIR_INPUT_BLOCK_ERROR,
///         FIR_DATA_ERROR, or FIR_COUNT_MISMATCH, which in version 9896 replaces the others where the values found are
///         not the number that the header promised
QORMATH_API int firReadCurves(FIRFileHandle* handle, int* offsets, float* data, double* gains);

/// Stores the progress callback; null for none.
/// @return FIR_OK or FIR_BAD_HANDLE
QORMATH_API int firSetProgress(FIRFileHandle* handle, FIRProgressCallback callback);

/// Sets the counts of a file to be written and makes the tables; names, ramp values and counts of an earlier call go.
/// A comment of more than 255 characters stops the process.
/// @return FIR_OK, FIR_BAD_HANDLE or FIR_NO_MEMORY (the counts are 0 then)
QORMATH_API int firSetHeader(FIRFileHandle* handle, int inputCount, int outputCount, int coefficientCount,
                             int horizonSeconds, const char* comment);

/// Sets the texts of an input; a null descriptor is an empty one. A text of more than 12 characters stops the process.
/// @return FIR_OK, FIR_BAD_HANDLE, FIR_BAD_INDEX or FIR_NO_NAME
QORMATH_API int firSetInput(FIRFileHandle* handle, int index, const char* name, const char* descriptor);

/// Sets the texts and the ramp value of an output, in the manner of firSetInput.
/// @return FIR_OK, FIR_BAD_HANDLE, FIR_BAD_INDEX or FIR_NO_NAME
QORMATH_API int firSetOutput(FIRFileHandle* handle, int index, const char* name, const char* descriptor, int ramp);

/// Writes the whole file, and flushes it: a full disk is a status, never a success.
///
/// `callback` is called twice for each pair, first for the counts and then for the curves. Where n is no multiple of
/// five the last line of a curve is filled up with zeros. Progress fractions are inputCount / outputCount.
/// @return FIR_OK, FIR_BAD_HANDLE, FIR_NO_CALLBACK, FIR_HEADER_ERROR (no comment, one of more than 254 characters, a
///         missing text, more values than the header can count, or a line that cannot be written) or FIR_DATA_ERROR (a
///         data line that cannot be written)
QORMATH_API int firWriteCurves(FIRFileHandle* handle, FIRCurveCallback callback, void* context);
}
