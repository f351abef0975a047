#pragma once

#include <cstddef>

namespace qormath::core {

/// Ends the process by abort, after one line on standard error, "function: cause", that is made like printf. It is for
/// mistakes of a caller who speaks C and who has nowhere else to be told.
[[noreturn, gnu::format(printf, 2, 3)]] void stopProcess(const char* function, const char* causeFormat, ...);

/// Ends the process unless the pointer, called what in the line, shows somewhere.
void requirePointer(const char* function, const char* what, const void* pointer);

/// Copies a text with its terminator into size bytes; the two may overlap. A text that does not fit ends the process
/// before a byte is written, and so does a null pointer: a text cut short would name something else.
void copyBounded(const char* function, const char* what, const char* text, char* target, std::size_t size);

}  // namespace qormath::core
