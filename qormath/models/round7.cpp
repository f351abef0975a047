#include <bit>
#include <cmath>
#include <cstdint>

#include <qormath/models/detail/powers_of_ten.hpp>
#include <qormath/models/detail/round7.hpp>

namespace qormath::models {
namespace {

// down takes the seven digits, which stand before the point of scaled, back. No branch depends on a sign or on digits:
// a processor could not foresee those of a curve.
double roundScaled(double scaled, double down) {
    return down * static_cast<double>(static_cast<std::int64_t>(scaled + std::copysign(0.5, scaled)));
}

// By the definition.
double round7Slowly(double value) {
    constexpr double negligible = 1e-30;
    const double magnitude = std::fabs(value);
    if (magnitude <= negligible) {
        return 0.0;
    }
    if (!std::isfinite(value)) {
        return value;
    }
    const int exponent = static_cast<int>(std::floor(std::log10(magnitude)));
    return roundScaled(std::pow(10.0, 6 - exponent) * value, std::pow(10.0, exponent - 6));
}

// In place: a call a value takes longer than what it does.
inline double round7(double value) {
    constexpr double least = 1e-16;
    constexpr double greatest = 1e21;
    const double magnitude = std::fabs(value);
    if (!(magnitude > least && magnitude < greatest)) {
        return round7Slowly(value);
    }
    // floor(log10(magnitude)) from floor(binary * log10(2)), which is at most one too low.
    const int binary = static_cast<int>(std::bit_cast<std::uint64_t>(magnitude) >> 52) - 1023;
    int exponent = (binary * 78913) >> 18;
    exponent += static_cast<int>(magnitude >= powerOfTen(exponent + 1));
    const double scaled = powerOfTen(6 - exponent) * value;
    // So close to a power of ten the logarithm, which decides by the definition, may round to the other side.
    constexpr double doubtful = 1e-14;
    constexpr double leastDigits = 1e6 * (1.0 + doubtful);
    constexpr double greatestDigits = 1e7 * (1.0 - doubtful);
    if (!(std::fabs(scaled) > leastDigits && std::fabs(scaled) < greatestDigits)) {
        return round7Slowly(value);
    }
    return roundScaled(scaled, powerOfTen(exponent - 6));
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
