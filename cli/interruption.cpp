#include "interruption.hpp"

#include <array>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

#include "program_error.hpp"

namespace qormath::cli {

namespace {

// A handler of signals is told nothing but the signal, and may touch nothing else than this.
std::atomic<int> signalSeen{0};
std::atomic<int> descriptorToTell{-1};
static_assert(std::atomic<int>::is_always_lock_free, "a handler of signals must not wait for a lock");

extern "C" void remember(int signal) {
    const int error = errno;
    signalSeen = signal;
    const char byte = 0;
    // The pipe is full only if it has been told often enough.
    [[maybe_unused]] const ssize_t count = write(descriptorToTell, &byte, 1);
    errno = error;
}

}  // namespace

Interruption::Interruption() {
    std::array<int, 2> ends{-1, -1};
    if (pipe2(ends.data(), O_CLOEXEC | O_NONBLOCK) != 0) {
        throw ProgramError(std::string("there is no room for another pipe: ") + std::strerror(errno));
    }
    readEnd_ = ends[0];
    writeEnd_ = ends[1];
    signalSeen = 0;
    descriptorToTell = writeEnd_;
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        struct sigaction former {};
        sigaction(signal, nullptr, &former);
        if ((former.sa_flags & SA_SIGINFO) == 0 && former.sa_handler == SIG_IGN) {
            continue;
        }
        struct sigaction handling {};
        handling.sa_handler = remember;
        sigemptyset(&handling.sa_mask);
        sigaction(signal, &handling, nullptr);
        handlers_.push_back({signal, former});
    }
}

Interruption::~Interruption() {
    for (const Handler& handler : handlers_) {
        sigaction(handler.signal, &handler.former, nullptr);
    }
    descriptorToTell = -1;
    close(readEnd_);
    close(writeEnd_);
}

int Interruption::signal() const {
    return signalSeen;
}

}  // namespace qormath::cli
