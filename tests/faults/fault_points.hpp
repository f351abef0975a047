#pragma once

// Faults on demand: the n-th allocation, or the n-th call that writes a file, fails. All allocations of the library
// come through here, those of operator new and those of the C allocator, and are counted.

#include <cstddef>

namespace qormath::test {

/// The blocks that the library, or the test, has and has not given back.
long liveBlocks();

/// Lets an allocation fail: the one after `before` others. While it is armed, so only once.
class FailingAllocation {
  public:
    explicit FailingAllocation(long before);
    FailingAllocation(const FailingAllocation&) = delete;
    FailingAllocation& operator=(const FailingAllocation&) = delete;
    ~FailingAllocation();

    /// Whether as many allocations were asked for.
    bool hasFailed() const;
};

/// What happens at a call of fwrite, fflush or fclose.
enum class WriteFault {
    fullDisk,     // it fails with ENOSPC and writes nothing
    shortWrite,   // it fails with EINTR, fwrite after half
    vanishedFile  // the file is removed under its name; the call itself succeeds
};

/// Lets a fault happen at a call of fwrite, fflush or fclose: the one after `before` others, and on a full disk all
/// that follow.
class FailingWrite {
  public:
    FailingWrite(long before, WriteFault fault);
    FailingWrite(const FailingWrite&) = delete;
    FailingWrite& operator=(const FailingWrite&) = delete;
    ~FailingWrite();

    bool hasFailed() const;
};

}  // namespace qormath::test
