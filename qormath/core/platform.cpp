#include <pthread.h>
#include <sched.h>
#include <unistd.h>

#include <qormath/core/platform.hpp>

namespace QorMathLA {

namespace {

// In the static part of the thread's storage, for a lookup by name would cost more than the lock that it is read for.
[[gnu::tls_model("initial-exec")]] thread_local std::uint32_t cachedThreadId = 0;

// The thread that called fork() goes on in the child under a new identifier. Its old one belongs to the parent's
// thread, and the system may give it to a later thread of the child.
void forgetThreadId() {
    cachedThreadId = 0;
}

[[maybe_unused]] const int forkHandlerStatus = pthread_atfork(nullptr, nullptr, forgetThreadId);

}  // namespace

std::uint32_t GetCurrentThreadId() noexcept {
    if (cachedThreadId == 0) {
        cachedThreadId = static_cast<std::uint32_t>(gettid());
    }
    return cachedThreadId;
}

void SwitchToThread() noexcept {
    sched_yield();
}

}  // namespace QorMathLA
