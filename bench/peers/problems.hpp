#pragma once

// What the problems of several subjects are made of, each of n and a seed alone.

#include <cmath>
#include <support/random_matrices.hpp>

#include <qormath/core/arithmetic.hpp>
#include <qormath/core/matrix.hpp>

namespace qormath::peers {

using QorMathLA::Matrix;
using QorMathLA::Vector;

/// Standard normal elements, scaled so that the eigenvalues fill the disk of the given radius evenly.
inline Matrix<double> diskMatrix(int n, double radius, test::NormalNumbers& numbers) {
    return test::randomMatrix(n, n, numbers) * (radius / std::sqrt(n));
}

/// Eigenvalues in the disk of radius 0.8 around 0 if discrete, else around -1.
inline Matrix<double> stableMatrix(int n, bool discrete, test::NormalNumbers& numbers) {
    Matrix<double> a = diskMatrix(n, 0.8, numbers);
    for (int k = 0; k < n && !discrete; ++k) {
        a(k, k) -= 1.0;
    }
    return a;
}

/// The symmetric part of standard normal elements.
inline Matrix<double> symmetricMatrix(int n, test::NormalNumbers& numbers) {
    const Matrix<double> half = test::randomMatrix(n, n, numbers) * 0.5;
    return half + half.transpose();
}

inline Matrix<double> identity(int n) {
    Matrix<double> result;
    result.setIdentity(n);
    return result;
}

inline double norm(const QorMathLA::BasicMatrix<double>& matrix) {
    return std::sqrt(matrix.sumSquares());
}

/// exp(a) by another way than any contender's, to judge them by: the Taylor polynomial of 2^-6 a, squared six times.
/// For norms up to some 30 the polynomial is exact to rounding; six squarings are few enough to keep the digits.
inline Matrix<double> referenceExponential(const Matrix<double>& a) {
    constexpr int squarings = 6;
    constexpr int terms = 20;
    const Matrix<double> step = a * std::ldexp(1.0, -squarings);
    Matrix<double> result = identity(step.rows());
    for (int k = terms; k >= 1; --k) {
        result = identity(step.rows()) + QorMathLA::product(step, result) / static_cast<double>(k);
    }
    for (int k = 0; k < squarings; ++k) {
        result = QorMathLA::product(result, result);
    }
    return result;
}

}  // namespace qormath::peers
