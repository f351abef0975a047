#ifndef QORMATH_HOST_HOST_CONSUMER_H
#define QORMATH_HOST_HOST_CONSUMER_H

/// @file
/// The library's side of the host lists, for a consumer that is built into one binary with the library: it links the
/// static library, QorMath::qormath_static. The shared library keeps these functions to itself; the host's side is
/// <qormath/host/host_api.h>, which says what stops the process, what is thrown and that one thread at a time may be in
/// any of this.
///
/// A consumer draws the case lines until there are none left, fetches the vectors that they tell it of, by name, and
/// reports:
///
///     while (GetNextCaseLine(line, sizeof line) == 0)
///         ...
///     GetVector("FEED", &length, description, units, values, &status);
///     AddOutputMessage("...");

#ifdef __cplusplus
extern "C" {
#endif

/// Copies the next case line, terminator and all, and goes on to the one after it. At the end it returns 1 and touches
/// nothing, and a line that is added later is the next one.
///
/// @param destination room for destinationSize characters; what does not fit, its terminator included, stops the
///        process
/// @param destinationSize the room, terminator included
/// @return 0, or 1 if there is no further line
int GetNextCaseLine(char* destination, int destinationSize);

/// Copies out what AddVector keeps under a key. A key without a vector, be it unknown or deleted, stops the process.
///
/// @param key as it was given to AddVector
/// @param length receives the number of values
/// @param description 40 characters of room, so 39 and the terminator; a longer one stops the process, though AddVector
///        takes 126
/// @param units 40 characters of room
/// @param values room for as many values as the vector has, which is for host and consumer to agree on; may be null
///        where there are none
/// @param status receives 0
void GetVector(const char* key, int* length, char* description, char* units, float* values, int* status);

/// Adds a copy of the text to the end of the output messages. More than 255 characters stop the process.
void AddOutputMessage(const char* text);

#ifdef __cplusplus
}
#endif

#endif
