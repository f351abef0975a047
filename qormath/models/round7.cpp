#include <array>
#include <bit>
#include <cmath>
#include <cstdint>

#include <qormath/models/detail/round7.hpp>

namespace qormath::models {
namespace {

constexpr int mostPower = 22;
constexpr std::array<double, 2 * mostPower + 1> powers = {
    1e-22, 1e-21, 1e-20, 1e-19, 1e-18, 1e-17, 1e-16, 1e-15, 1e-14, 1e-13, 1e-12, 1e-11, 1e-10, 1e-9, 1e-8,
    1e-7,  1e-6,  1e-5,  1e-4,  1e-3,  1e-2,  1e-1,  1e0,   1e1,   1e2,   1e3,   1e4,   1e5,   1e6,  1e7,
    1e8,   1e9,   1e10,  1e11,  1e12,  1e13,  1e14,  1e15,  1e16,  1e17,  1e18,  1e19,  1e20,  1e21, 1e22};

double powerOfTen(int power) {
    return powers[static_cast<std::size_t>(power + mostPower)];
}

// up brings the seven digits before the point, down takes them back. No branch depends on a sign or, below, on digits:
// a processor could not foresee those of a curve.
double roundScaled(double value, double up, double down) {
    const double scaled = up * value;
    return down * static_cast<double>(static_cast<std::int64_t>(scaled + std::copysign(0.5, scaled)));
}

// floor(log10(magnitude)) by comparison with the powers. False beyond them, and so close to one that the logarithm,
// which decides by the definition, may round to the other side.
bool quickExponent(double magnitude, int& exponent) {
    constexpr double least = 1e-16;
    constexpr double greatest = 1e21;
    constexpr double doubtful = 1e-14;
    if (!(magnitude > least && magnitude < greatest)) {
        return false;
    }
    const int binary = static_cast<int>(std::bit_cast<std::uint64_t>(magnitude) >> 52) - 1023;
    // floor(binary * log10(2)), at most one too low.
    int power = (binary * 78913) >> 18;
    power += static_cast<int>(magnitude >= powerOfTen(power + 1));
    exponent = power;
    return magnitude > powerOfTen(power) * (1.0 + doubtful) && magnitude < powerOfTen(power + 1) * (1.0 - doubtful);
}

// In place: a call a value takes longer than what it does.
inline double round7(double value) {
    constexpr double negligible = 1e-30;
    const double magnitude = std::fabs(value);
    int exponent = 0;
    if (quickExponent(magnitude, exponent)) {
        return roundScaled(value, powerOfTen(6 - exponent), powerOfTen(exponent - 6));
    }
    if (magnitude <= negligible) {
        return 0.0;
    }
    if (!std::isfinite(value)) {
        return value;
    }
    exponent = static_cast<int>(std::floor(std::log10(magnitude)));
    return roundScaled(value, std::pow(10.0, 6 - exponent), std::pow(10.0, exponent - 6));
}

}  // namespace

double firRound7(double value) {
    return round7(value);
}

void firRound7(int count, const float* values, double* rounded) {
    for (int k = 0; k < count; ++k) {
        rounded[k] = round7(static_cast<double>(values[k]));
    }
}

}  // namespace qormath::models
