#pragma once

#include <array>
#include <cstddef>

namespace qormath::models {

/// 10^22 is the largest power of ten that a double holds exactly.
inline constexpr int largestExactPower = 22;

/// The nearest doubles to the powers from 10^-22 on; those from 1 on are exact.
inline constexpr std::array<double, 2 * largestExactPower + 1> powersOfTen = {
    1e-22, 1e-21, 1e-20, 1e-19, 1e-18, 1e-17, 1e-16, 1e-15, 1e-14, 1e-13, 1e-12, 1e-11, 1e-10, 1e-9, 1e-8,
    1e-7,  1e-6,  1e-5,  1e-4,  1e-3,  1e-2,  1e-1,  1e0,   1e1,   1e2,   1e3,   1e4,   1e5,   1e6,  1e7,
    1e8,   1e9,   1e10,  1e11,  1e12,  1e13,  1e14,  1e15,  1e16,  1e17,  1e18,  1e19,  1e20,  1e21, 1e22};

/// 10 to a power from -22 to 22.
inline double powerOfTen(int power) {
    return powersOfTen[static_cast<std::size_t>(power + largestExactPower)];
}

}  // namespace qormath::models
