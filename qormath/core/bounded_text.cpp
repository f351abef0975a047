#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <qormath/core/detail/bounded_text.hpp>

namespace qormath::core {
namespace {

bool isControlCharacter(char character) {
    const auto code = static_cast<unsigned char>(character);
    return code < 0x20 || code == 0x7f;
}

}  // namespace

void stopProcess(const char* function, const char* causeFormat, ...) {
    // Nothing is allocated: memory may be what is wrong. A cause that does not fit is cut, a name in it may be long.
    char cause[256];
    std::va_list arguments;
    va_start(arguments, causeFormat);
    std::vsnprintf(cause, sizeof cause, causeFormat, arguments);
    va_end(arguments);
    // One line, whatever stands in a name.
    std::replace_if(cause, cause + std::strlen(cause), isControlCharacter, '?');
    std::fprintf(stderr, "%s: %s\n", function, cause);
    std::abort();
}

void requirePointer(const char* function, const char* what, const void* pointer) {
    if (pointer == nullptr) {
        stopProcess(function, "%s is a null pointer", what);
    }
}

void copyBounded(const char* function, const char* what, const char* text, char* target, std::size_t size) {
    requirePointer(function, what, text);
    if (target == nullptr) {
        stopProcess(function, "there is no destination for %s", what);
    }
    const std::size_t length = std::strlen(text);
    if (size == 0) {
        stopProcess(function, "%s has %zu characters, there is no room for any text", what, length);
    }
    if (length >= size) {
        stopProcess(function, "%s has %zu characters, the limit is %zu", what, length, size - 1);
    }
    std::memmove(target, text, length + 1);
}

}  // namespace qormath::core
