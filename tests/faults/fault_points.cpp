#include <array>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <faults/fault_points.hpp>
#include <new>
#include <string>
#include <unistd.h>

namespace {

long blocks = 0;

// Down to the fault; below 0 where none is to come.
struct Countdown {
    long left = -1;
    bool fired = false;

    void arm(long before) {
        left = before;
        fired = false;
    }

    bool isDue() {
        if (left < 0 || left-- > 0) {
            return false;
        }
        fired = true;
        return true;
    }
};

Countdown allocation;
Countdown writing;
qormath::test::WriteFault writeFault = qormath::test::WriteFault::fullDisk;

// A disk that is full stays full; an interruption passes.
bool isWriteDue() {
    const bool staysFull = writing.fired && writing.left == -1 && writeFault == qormath::test::WriteFault::fullDisk;
    return writing.isDue() || staysFull;
}

int writeError() {
    return writeFault == qormath::test::WriteFault::fullDisk ? ENOSPC : EINTR;
}

// Removes the file of a stream under the name that it was opened by.
void removeFileOf(std::FILE* stream) {
    std::array<char, PATH_MAX> name{};
    const std::string link = "/proc/self/fd/" + std::to_string(fileno(stream));
    if (readlink(link.c_str(), name.data(), name.size() - 1) > 0) {
        unlink(name.data());
    }
}

/// Whether a call on a stream is to fail. A file that vanishes does so here, and fails no call.
bool failsNow(std::FILE* stream) {
    if (!isWriteDue()) {
        return false;
    }
    if (writeFault == qormath::test::WriteFault::vanishedFile) {
        removeFileOf(stream);
        return false;
    }
    return true;
}

}  // namespace

extern "C" {

void* __real_malloc(std::size_t size);
void* __real_calloc(std::size_t count, std::size_t size);
void* __real_realloc(void* block, std::size_t size);
void __real_free(void* block);
std::size_t __real_fwrite(const void* data, std::size_t size, std::size_t count, std::FILE* stream);
int __real_fflush(std::FILE* stream);
int __real_fclose(std::FILE* stream);

void* __wrap_malloc(std::size_t size) {
    void* const block = allocation.isDue() ? nullptr : __real_malloc(size);
    blocks += block != nullptr ? 1 : 0;
    return block;
}

void* __wrap_calloc(std::size_t count, std::size_t size) {
    void* const block = allocation.isDue() ? nullptr : __real_calloc(count, size);
    blocks += block != nullptr ? 1 : 0;
    return block;
}

void* __wrap_realloc(void* block, std::size_t size) {
    void* const grown = allocation.isDue() ? nullptr : __real_realloc(block, size);
    blocks += block == nullptr && grown != nullptr ? 1 : 0;
    return grown;
}

void __wrap_free(void* block) {
    blocks -= block != nullptr ? 1 : 0;
    __real_free(block);
}

std::size_t __wrap_fwrite(const void* data, std::size_t size, std::size_t count, std::FILE* stream) {
    if (!failsNow(stream)) {
        return __real_fwrite(data, size, count, stream);
    }
    const bool isHalf = writeFault == qormath::test::WriteFault::shortWrite;
    const std::size_t written = isHalf ? __real_fwrite(data, size, count / 2, stream) : 0;
    errno = writeError();
    return written;
}

int __wrap_fflush(std::FILE* stream) {
    if (!failsNow(stream)) {
        return __real_fflush(stream);
    }
    errno = writeError();
    return EOF;
}

// The stream is gone whatever fclose says.
int __wrap_fclose(std::FILE* stream) {
    const bool fails = failsNow(stream);
    const int status = __real_fclose(stream);
    if (!fails) {
        return status;
    }
    errno = writeError();
    return EOF;
}
}

namespace qormath::test {

long liveBlocks() {
    return blocks;
}

FailingAllocation::FailingAllocation(long before) {
    allocation.arm(before);
}

FailingAllocation::~FailingAllocation() {
    allocation.left = -1;
}

bool FailingAllocation::hasFailed() const {
    return allocation.fired;
}

FailingWrite::FailingWrite(long before, WriteFault fault) {
    writing.arm(before);
    writeFault = fault;
}

FailingWrite::~FailingWrite() {
    writing.arm(-1);
}

bool FailingWrite::hasFailed() const {
    return writing.fired;
}

}  // namespace qormath::test

// Not inlined: GCC, seeing one operator inside a caller but not the other, takes the pair for a mismatch.
[[gnu::noinline]] void* operator new(std::size_t size) {
    void* const block = std::malloc(size == 0 ? 1 : size);
    if (block == nullptr) {
        throw std::bad_alloc();
    }
    return block;
}

[[gnu::noinline]] void operator delete(void* block) noexcept {
    std::free(block);
}

[[gnu::noinline]] void operator delete(void* block, std::size_t) noexcept {
    std::free(block);
}

// The array forms too: a sanitizer's own would not come through the ones above.
[[gnu::noinline]] void* operator new[](std::size_t size) {
    return operator new(size);
}

[[gnu::noinline]] void operator delete[](void* block) noexcept {
    operator delete(block);
}

[[gnu::noinline]] void operator delete[](void* block, std::size_t) noexcept {
    operator delete(block);
}
