#include <atomic>

#include <qormath/core/lock_word.hpp>
#include <qormath/core/platform.hpp>

namespace QorMathLA {

void takeLockWord(std::uint32_t* word) noexcept {
    if (word == nullptr) {
        return;
    }
    const std::uint32_t self = GetCurrentThreadId();
    const std::atomic_ref<std::uint32_t> lock(*word);
    for (;;) {
        std::uint32_t holder = 0;
        if (lock.compare_exchange_strong(holder, self) || holder == self) {
            return;
        }
        SwitchToThread();
    }
}

void giveLockWord(std::uint32_t* word) noexcept {
    if (word != nullptr) {
        std::atomic_ref<std::uint32_t>(*word).exchange(0);
    }
}

}  // namespace QorMathLA
