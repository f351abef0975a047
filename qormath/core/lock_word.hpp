#pragma once

/// @file
/// The spin lock of a block.

#include <cstdint>

#include <qormath/export.h>

namespace QorMathLA {

/// Takes a spin-lock word, which holds 0 when it is free and the identifier of its holder otherwise; a null word is
/// no lock. A thread that holds the word already passes through; no nesting depth is kept. Uncontended, it costs one
/// locked instruction.
QORMATH_API void takeLockWord(std::uint32_t* word) noexcept;

/// Frees the word, however many times its holder took it; a null word is no lock.
QORMATH_API void giveLockWord(std::uint32_t* word) noexcept;

}  // namespace QorMathLA
