#pragma once

/// @file
/// The advice on their memory that large arrays give the system.

#include <cstddef>

#include <qormath/export.h>

namespace QorMathLA::detail {

/// Bytes of a large page of x86-64, and of arm64 with small pages of 4 KB.
inline constexpr std::size_t largePage = std::size_t{1} << 21;

/// Advises the system to put large pages under an array, as far as whole ones are within it, where it leaves that to
/// the program. A page is cleared when it is first touched: small ones of 4 KB take a tenth of the time of a product of
/// order 800 for each matrix, large ones a third of that. Advice changes no element, nor errno, and may be refused,
/// which costs time alone.
QORMATH_API void adviseLargePages(void* first, std::size_t bytes) noexcept;

}  // namespace QorMathLA::detail
