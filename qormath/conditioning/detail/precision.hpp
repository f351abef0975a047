#pragma once

#include <cmath>

#include <qormath/lapack/lapack.hpp>

namespace qormath::conditioning {

/// The square root of the machine precision, 2^-26.5: the distance by which rounding moves a double eigenvalue, and so
/// the default of every tolerance here.
inline double rootOfPrecision() {
    return std::sqrt(lapack::machineEpsilon());
}

/// The limit on the QR iterations for eigenvalues.
constexpr int eigenvalueIterations = 30;

}  // namespace qormath::conditioning
