#pragma once

// Random matrices of the library's own types. Each function draws from the NormalNumbers that it is given, so that a
// test names its seed once and is the same on every run.

#include <algorithm>
#include <complex>
#include <cstddef>
#include <support/random_numbers.hpp>
#include <vector>

#include <qormath/core/matrix.hpp>
#include <qormath/core/vector.hpp>
#include <qormath/lapack/lapack.hpp>

namespace qormath::test {

/// Standard normal elements.
inline QorMathLA::Matrix<double> randomMatrix(int rows, int cols, NormalNumbers& numbers) {
    QorMathLA::Matrix<double> result(rows, cols);
    for (double& element : result) {
        element = numbers.normal();
    }
    return result;
}

/// Standard normal elements.
inline QorMathLA::Vector<double> randomVector(int length, NormalNumbers& numbers) {
    QorMathLA::Vector<double> result(length);
    for (double& element : result) {
        element = numbers.normal();
    }
    return result;
}

/// The orthogonal factor of a random matrix, rows by cols with rows >= cols: its columns are orthonormal.
inline QorMathLA::Matrix<double> randomOrthonormal(int rows, int cols, NormalNumbers& numbers) {
    QorMathLA::Matrix<double> q = randomMatrix(rows, cols, numbers);
    if (q.blockSize() == 0) {
        return q;
    }
    constexpr int blockWidth = 64;
    const int workLength = blockWidth * cols;
    std::vector<double> tau(static_cast<std::size_t>(cols));
    std::vector<double> work(static_cast<std::size_t>(workLength));
    lapack::geqrf(rows, cols, q.numericData(true), rows, tau.data(), work.data(), workLength);
    lapack::orgqr(rows, cols, cols, q.numericData(true), rows, tau.data(), work.data(), workLength);
    return q;
}

inline QorMathLA::Matrix<double> randomOrthogonal(int order, NormalNumbers& numbers) {
    return randomOrthonormal(order, order, numbers);
}

/// A rows by cols matrix with the given singular values, as many as the smaller of the two counts.
inline QorMathLA::Matrix<double> randomWithSingularValues(int rows, int cols, const std::vector<double>& values,
                                                          NormalNumbers& numbers) {
    const int count = std::min(rows, cols);
    const QorMathLA::Matrix<double> u = randomOrthonormal(rows, count, numbers);
    const QorMathLA::Matrix<double> v = randomOrthonormal(cols, count, numbers);
    QorMathLA::Vector<double> factors(count, values.data());
    return QorMathLA::product(u.scaleColumnsBy(factors), v.transpose());
}

/// A matrix with the given eigenvalues, by an orthogonal similarity of a random quasi-triangular one. A complex pair
/// is given by one member, with either sign of the imaginary part. departure scales what stands above the diagonal:
/// 0 gives a normal matrix, whose eigenvalues are perfectly conditioned.
inline QorMathLA::Matrix<double> randomWithEigenvalues(const std::vector<std::complex<double>>& eigenvalues,
                                                       double departure, NormalNumbers& numbers) {
    int order = 0;
    for (const std::complex<double>& value : eigenvalues) {
        order += value.imag() == 0.0 ? 1 : 2;
    }
    QorMathLA::Matrix<double> t = randomMatrix(order, order, numbers);
    for (int j = 0; j < order; ++j) {
        for (int i = 0; i < order; ++i) {
            t(i, j) = i < j ? departure * t(i, j) : 0.0;
        }
    }
    int k = 0;
    for (const std::complex<double>& value : eigenvalues) {
        t(k, k) = value.real();
        if (value.imag() != 0.0) {
            t(k + 1, k + 1) = value.real();
            t(k, k + 1) = value.imag();
            t(k + 1, k) = -value.imag();
            ++k;
        }
        ++k;
    }
    const QorMathLA::Matrix<double> q = randomOrthogonal(order, numbers);
    return QorMathLA::product(QorMathLA::product(q, t), q.transpose());
}

}  // namespace qormath::test
