#include <atomic>

#if __has_include(<sys/single_threaded.h>)
#include <sys/single_threaded.h>
#endif

#include <qormath/core/lock_word.hpp>
#include <qormath/core/platform.hpp>

namespace QorMathLA {

namespace {

// While the process has one thread, nobody can come between a look at the word and a write to it, and the locked
// instruction, most of the cost of a view, is saved. The C library tells, as it tells the shared pointers of C++.
bool isAlone() {
#if __has_include(<sys/single_threaded.h>)
    return __libc_single_threaded != 0;
#else
    return false;
#endif
}

// Whether a count may be changed without a write to its lock: nobody holds it, and nobody else could look.
bool isFreeAndAlone(const std::uint32_t* lockWord) {
    return isAlone() && (lockWord == nullptr || *lockWord == 0);
}

void take(std::uint32_t* word) noexcept {
    const std::uint32_t self = GetCurrentThreadId();
    if (isFreeAndAlone(word)) {
        *word = self;
        return;
    }
    const std::atomic_ref<std::uint32_t> lock(*word);
    for (;;) {
        std::uint32_t holder = 0;
        if (lock.compare_exchange_strong(holder, self, std::memory_order_acquire, std::memory_order_acquire) ||
            holder == self) {
            return;
        }
        SwitchToThread();
    }
}

// The holder alone may write to the word, so that giving it back needs no locked instruction.
void give(std::uint32_t* word) noexcept {
    std::atomic_ref<std::uint32_t>(*word).store(0, std::memory_order_release);
}

}  // namespace

void takeLockWord(std::uint32_t* word) noexcept {
    if (word != nullptr) {
        take(word);
    }
}

void giveLockWord(std::uint32_t* word) noexcept {
    if (word != nullptr) {
        give(word);
    }
}

void addHolder(std::int32_t* holders, std::uint32_t* lockWord) noexcept {
    const bool locking = !isFreeAndAlone(lockWord);
    if (locking) {
        takeLockWord(lockWord);
    }
    if (holders != nullptr) {
        *holders += *holders < 0 ? -1 : 1;
    }
    if (locking) {
        giveLockWord(lockWord);
    }
}

bool dropHolder(std::int32_t* holders, std::uint32_t* lockWord) noexcept {
    const bool locking = !isFreeAndAlone(lockWord);
    if (locking) {
        takeLockWord(lockWord);
    }
    if (holders != nullptr) {
        const std::int32_t before = *holders;
        if (before <= 1 && before >= -1) {
            return true;
        }
        *holders += before < 0 ? 1 : -1;
    }
    if (locking) {
        giveLockWord(lockWord);
    }
    return false;
}

void freeHolderWords(std::int32_t* holders, std::uint32_t* lockWord) noexcept {
    delete holders;
    giveLockWord(lockWord);
    delete lockWord;
}

}  // namespace QorMathLA
