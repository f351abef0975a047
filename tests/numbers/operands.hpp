#pragma once

// Sound operands of any order: well conditioned, and the same on every run.

#include <support/random_matrices.hpp>
#include <support/random_numbers.hpp>

#include <qormath/core/arithmetic.hpp>
#include <qormath/core/matrix.hpp>

#include "numbers/calls.hpp"

namespace qormath::test {

inline QorMathLA::Matrix<double> numberOf(double value) {
    return QorMathLA::Matrix<double>(1, 1, &value);
}

inline QorMathLA::Matrix<double> anyMatrix(int rows, int cols, std::uint64_t seed = 1) {
    NormalNumbers numbers(seed);
    return randomMatrix(rows, cols, numbers);
}

/// Eigenvalues between 0.2 and 0.8: stable in discrete time, with a logarithm, and regular.
inline QorMathLA::Matrix<double> discreteMatrix(int n, std::uint64_t seed = 2) {
    NormalNumbers numbers(seed);
    std::vector<std::complex<double>> poles;
    for (int k = 0; k < n; ++k) {
        poles.emplace_back(0.2 + 0.6 * (k + 0.5) / n, 0.0);
    }
    return randomWithEigenvalues(poles, n == 0 ? 0.0 : 0.5 / n, numbers);
}

/// Eigenvalues between -2 and -0.5.
inline QorMathLA::Matrix<double> continuousMatrix(int n, std::uint64_t seed = 3) {
    NormalNumbers numbers(seed);
    std::vector<std::complex<double>> poles;
    for (int k = 0; k < n; ++k) {
        poles.emplace_back(-0.5 - 1.5 * (k + 0.5) / n, 0.0);
    }
    return randomWithEigenvalues(poles, n == 0 ? 0.0 : 0.5 / n, numbers);
}

/// Symmetric and positive definite.
inline QorMathLA::Matrix<double> weightMatrix(int n, std::uint64_t seed = 4) {
    const QorMathLA::Matrix<double> root = anyMatrix(n, n, seed);
    QorMathLA::Matrix<double> result = QorMathLA::product(root, root.transpose());
    for (int k = 0; k < n; ++k) {
        result(k, k) += n;
        for (int i = 0; i < k; ++i) {
            result(i, k) = result(k, i);
        }
    }
    return result;
}

/// Real and imaginary parts as one complex matrix.
inline QorMathLA::ComplexMatrix<double> complexOf(const QorMathLA::Matrix<double>& re,
                                                  const QorMathLA::Matrix<double>& im) {
    QorMathLA::ComplexMatrix<double> result(re.rows(), re.cols());
    for (int j = 0; j < re.cols(); ++j) {
        for (int i = 0; i < re.rows(); ++i) {
            result(i, j) = {re(i, j), im(i, j)};
        }
    }
    return result;
}

}  // namespace qormath::test
