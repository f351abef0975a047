#pragma once

/// @file
/// The spin lock of a block.

#include <cstdint>

#if __has_include(<sys/single_threaded.h>)
#include <sys/single_threaded.h>
#endif

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

namespace detail {

/// Whether a count may be changed without a write to its lock: nobody holds it, and nobody else could look. While the
/// process has one thread, nobody can come between a look at the word and a write to it, and the locked instruction,
/// most of the cost of a view, is saved. The C library tells, as it tells the shared pointers of C++.
inline bool isFreeAndAlone([[maybe_unused]] const std::uint32_t* lockWord) noexcept {
#if __has_include(<sys/single_threaded.h>)
    return __libc_single_threaded != 0 && (lockWord == nullptr || *lockWord == 0);
#else
    return false;
#endif
}

/// addHolder, in place where the lock need not be taken.
inline void countHolder(std::int32_t* holders, std::uint32_t* lockWord) noexcept {
    if (holders != nullptr && isFreeAndAlone(lockWord)) {
        *holders += *holders < 0 ? -1 : 1;
    } else {
        addHolder(holders, lockWord);
    }
}

/// dropHolder of a count that is there, in place where the lock need not be taken.
inline bool isLastToDrop(std::int32_t* holders, std::uint32_t* lockWord) noexcept {
    if (!isFreeAndAlone(lockWord)) {
        return dropHolder(holders, lockWord);
    }
    const std::int32_t before = *holders;
    if (before <= 1 && before >= -1) {
        return true;
    }
    *holders += before < 0 ? 1 : -1;
    return false;
}

}  // namespace detail

}  // namespace QorMathLA
