#pragma once

namespace qormath::control_utility {

/// How many numbers the vectors have that kernels are written for: four (AVX2 with FMA) or eight (AVX-512). Each later
/// one needs more of the processor, and took less time where it was measured; none leaves a product to DGEMM.
enum class Lanes { none, four, eight };

/// The last one that this processor can run.
Lanes lanesOfProcessor();

}  // namespace qormath::control_utility

// For the sources with kernels, which the compiler builds for processors without these instructions too. A kernel is
// marked by what it needs, as is every function that is to be written out in it.
#if defined(__x86_64__) && defined(__GNUC__)
#define QORMATH_HAS_LANES
#define QORMATH_FOUR_LANES __attribute__((target("avx2,fma")))
#define QORMATH_EIGHT_LANES __attribute__((target("avx512f")))
// Has the loop after it written out: sums that are visited in loops would go by the memory.
#if defined(__clang__)
#define QORMATH_UNROLL _Pragma("unroll")
#else
#define QORMATH_UNROLL _Pragma("GCC unroll 10")
#endif
#endif
