#pragma once

// Counts the allocations of a program, and plants NaN in what they return. Including this header replaces the global
// operator new, so exactly one source of an executable may include it.
//
// Every byte of a new block is 0xff: a double read before it was written is NaN, an index or a pointer absurd.

#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <new>

namespace qormath::test {

inline std::atomic<long> allocationCount{0};

/// The number of allocations since this object was made.
class AllocationCounter {
  public:
    long count() const { return allocationCount.load() - before_; }

  private:
    long before_ = allocationCount.load();
};

}  // namespace qormath::test

// Not inlined: GCC, seeing one operator inside a caller but not the other, takes the pair for a mismatch.
[[gnu::noinline]] void* operator new(std::size_t size) {
    qormath::test::allocationCount.fetch_add(1);
    void* const block = std::malloc(size == 0 ? 1 : size);
    if (block == nullptr) {
        throw std::bad_alloc();
    }
    std::memset(block, 0xff, size);
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
