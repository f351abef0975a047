#pragma once

// The four matrices of a model on their way between sample times, and how far two of them differ as transfer functions.

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstddef>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include <qormath/control/qor_math_control.hpp>
#include <qormath/core/arithmetic.hpp>
#include <qormath/models/lti_state_space_model.hpp>

#include "support/matrix_compare.hpp"
#include "support/matrix_literals.hpp"
#include "support/quad_exponential.hpp"
#include "support/random_matrices.hpp"
#include "support/raw_conversion.hpp"
#include "support/raw_transfer_function.hpp"

namespace qormath::test::conversion {

using QorMathLA::Matrix;
using QorMathLA::Range;
using QorMathLA::zeroMatrix;

using Complex = std::complex<double>;
using Eigenvalues = std::vector<Complex>;

inline const double root = std::sqrt(unitRoundoff);

struct System {
    Matrix<double> a, b, c, d;
};

inline System toDiscrete(System system, double sampleTime, conversionType type) {
    QorMathControl::Continuous2Discrete(system.a, system.b, system.c, system.d, sampleTime, type);
    return system;
}

inline System toContinuous(System system, double sampleTime, conversionType type) {
    QorMathControl::Discrete2Continuous(system.a, system.b, system.c, system.d, sampleTime, type);
    return system;
}

inline System resampled(System system, double oldTime, double newTime, conversionType type) {
    QorMathControl::Resample(system.a, system.b, system.c, system.d, oldTime, newTime, type);
    return system;
}

inline System systemOf(const LTIStateSpaceModel& model) {
    return {model.A, model.B, model.C, model.D};
}

inline System randomSystem(const Eigenvalues& eigenvalues, double departure, unsigned seed) {
    NormalNumbers numbers(seed);
    const Matrix<double> a = randomWithEigenvalues(eigenvalues, departure, numbers);
    return {a, randomMatrix(a.rows(), 2, numbers), randomMatrix(3, a.rows(), numbers), randomMatrix(3, 2, numbers)};
}

inline std::string textOf(const System& system) {
    return written(system.a) + written(system.b) + written(system.c) + written(system.d);
}

inline RawComplex transferAt(const System& system, Complex z) {
    RawComplex value = leftProduct(toRaw(system.c), resolventTimes(toRaw(system.a), toRaw(system.b), z));
    const RawMatrix d = toRaw(system.d);
    // Without states the shapes of b and c may be anything, and d alone tells.
    RawComplex result(d.rows, d.cols);
    for (std::size_t k = 0; k < result.elements.size(); ++k) {
        result.elements[k] = d.elements[k] + (system.a.rows() > 0 ? value.elements[k] : 0.0);
    }
    return result;
}

inline double resolventNorm(const Matrix<double>& a, Complex z) {
    return frobeniusNorm(resolventTimes(toRaw(a), rawIdentity(a.rows()), z));
}

/// What a change of a and b by the given amounts can make of the transfer function at z, and the rounding of its value.
inline double reachOf(const System& system, Complex z, double changeOfA, double changeOfB) {
    if (system.a.rows() == 0) {
        return unitRoundoff * frobeniusNorm(system.d);
    }
    const double r = resolventNorm(system.a, z);
    const double rounding = 10.0 * system.a.rows() * unitRoundoff;
    const double norm = frobeniusNorm(system.c) * r;
    return norm * (changeOfB + r * changeOfA * frobeniusNorm(system.b)) +
           rounding * (norm * frobeniusNorm(system.b) * (2.0 + r * (std::abs(z) + frobeniusNorm(system.a))) +
                       frobeniusNorm(system.d));
}

/// Frequencies of the upper half of the unit circle, between its ends.
inline std::vector<Complex> unitCircle() {
    std::vector<Complex> points;
    constexpr int count = 64;
    for (int k = 0; k < count; ++k) {
        points.push_back(std::polar(1.0, 3.141592653589793 * (k + 0.5) / count));
    }
    return points;
}

inline void expectSameTransfer(const System& left, const System& right, double changeOfA, double changeOfB) {
    for (const Complex z : unitCircle()) {
        const double difference = frobeniusNorm(differenceOf(transferAt(left, z), transferAt(right, z)));
        EXPECT_LE(difference, reachOf(right, z, changeOfA, changeOfB)) << z;
    }
}

/// The zero-order hold by the series in quadruple precision.
inline System heldBySeries(const System& system, double t) {
    const int n = system.a.rows();
    const int m = system.b.cols();
    const Matrix<double> exponent = system.a.appendToRight(system.b).appendToBottom(zeroMatrix(m, n + m));
    if (exponent.rows() == 0) {
        return system;
    }
    const Matrix<double> e = quadExponential(exponent, t);
    const Range states(0, n - 1, 1);
    return {e(states, states), e(states, Range(n, n + m - 1, 1)), system.c, system.d};
}

/// The bound of the exponential: 20 n eps times the norm of the exponent and what its exponential reaches.
inline double exponentialBound(const System& system, double t) {
    const double norm = t * (frobeniusNorm(system.a) + frobeniusNorm(system.b));
    const System held = heldBySeries(system, t);
    const double reached = 1.0 + frobeniusNorm(held.a) + frobeniusNorm(held.b);
    return 20.0 * (system.a.rows() + system.b.cols()) * unitRoundoff * std::max(1.0, norm) * reached;
}

inline const Eigenvalues slow = {{-0.1, 0.0}, {-0.4, 0.6}, {-1.2, 0.0}, {-0.02, 0.3}};

}  // namespace qormath::test::conversion
