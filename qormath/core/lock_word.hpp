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

/// Under the lock, moves a holder count one step away from zero; a null count stays.
QORMATH_API void addHolder(std::int32_t* holders, std::uint32_t* lockWord) noexcept;

/// Under the lock, moves a holder count one step towards zero unless that would reach it. True for the last holder, who
/// keeps the lock: it belongs to the block that the caller takes apart. False, too, for a null count.
QORMATH_API bool dropHolder(std::int32_t* holders, std::uint32_t* lockWord) noexcept;

/// Frees the count, gives the lock back, and frees its word.
QORMATH_API void freeHolderWords(std::int32_t* holders, std::uint32_t* lockWord) noexcept;

}  // namespace QorMathLA
