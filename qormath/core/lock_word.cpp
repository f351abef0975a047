#include <atomic>

#include <qormath/core/lock_word.hpp>
#include <qormath/core/platform.hpp>

namespace QorMathLA {

namespace {

using detail::isFreeAndAlone;

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
