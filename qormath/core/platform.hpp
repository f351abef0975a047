#pragma once

/// @file
/// What the spin lock needs of the operating system.

#include <cstdint>

#include <qormath/export.h>

namespace QorMathLA {

/// The calling thread's identifier: non-zero and unique among the live threads of the process, also in a child after
/// fork(). It is read from the system once a thread and kept.
QORMATH_API std::uint32_t GetCurrentThreadId() noexcept;

/// Gives up the processor, so that the holder of a lock can run.
QORMATH_API void SwitchToThread() noexcept;

}  // namespace QorMathLA
