#include <cmath>

#include <qormath/models/detail/round7.hpp>

namespace qormath::models {

double firRound7(double value) {
    constexpr double negligible = 1e-30;
    if (value >= -negligible && value <= negligible) {
        return 0.0;
    }
    if (!std::isfinite(value)) {
        return value;
    }
    const int exponent = static_cast<int>(std::floor(std::log10(std::fabs(value))));
    double scaled = std::pow(10.0, 6 - exponent) * value;
    scaled += scaled > 0.0 ? 0.5 : -0.5;
    return std::pow(10.0, exponent - 6) * std::trunc(scaled);
}

}  // namespace qormath::models
