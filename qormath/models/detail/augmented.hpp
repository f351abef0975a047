#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>

#include <qormath/core/arithmetic.hpp>
#include <qormath/lapack/lapack.hpp>

namespace qormath::models {

/// For each column the power of two that brings its largest element between a half of size and size; 1 or so for a
/// column without any. The top right block of the exponential or logarithm of [a b; 0 D] is linear in b, so that inputs
/// need not go through it in their own units.
inline QorMathLA::Vector<double> columnScalesOf(const QorMathLA::Matrix<double>& b, double size) {
    constexpr int largestExponent = 1000;  // up to this, the power of two and its reciprocal are both numbers
    const int wanted = std::isfinite(size) ? std::ilogb(size) : 0;
    QorMathLA::Vector<double> scales(b.cols());
    for (int j = 0; j < b.cols(); ++j) {
        int exponent = 0;
        std::frexp(b.column(j).maxAbs(), &exponent);
        scales[j] = std::ldexp(1.0, std::clamp(wanted - exponent, -largestExponent, largestExponent));
    }
    return scales;
}

/// Divides the columns by their scales.
inline void undoColumnScales(QorMathLA::Matrix<double>& b, const QorMathLA::Vector<double>& scales) {
    for (int j = 0; j < b.cols(); ++j) {
        b.column(j) *= 1.0 / scales[j];
    }
}

/// [a b; 0 D] with D a multiple of the identity, as many rows as b has columns: with inputs that stay, one step of
/// states and inputs together.
inline QorMathLA::Matrix<double> augmented(const QorMathLA::BasicMatrix<double>& a,
                                           const QorMathLA::BasicMatrix<double>& b, double diagonal) {
    const int n = a.rows();
    const int m = b.cols();
    if (a.cols() != n || b.rows() != n || a.transposed || b.transposed || !a.hasUnitStrides() || !b.hasUnitStrides()) {
        QorMathLA::Matrix<double> bottom = QorMathLA::zeroMatrix(m, n + m);
        for (int k = 0; k < m; ++k) {
            bottom(k, n + k) = diagonal;
        }
        return a.appendToRight(b).appendToBottom(bottom);
    }
    QorMathLA::Matrix<double> result(n + m, n + m);
    double* const data = result.numericData(true);
    lapack::laset(m, n, 0.0, 0.0, data + n, n + m);
    lapack::lacpy(n, n, a.numericData(true), a.storedRows, data, n + m);
    double* const right = data + static_cast<std::ptrdiff_t>(n) * (n + m);
    lapack::lacpy(n, m, b.numericData(true), b.storedRows, right, n + m);
    lapack::laset(m, m, 0.0, diagonal, right + n, n + m);
    return result;
}

/// Takes a (n by n) and b back out of the top rows of an augmented matrix.
inline void extract(const QorMathLA::Matrix<double>& matrix, int n, QorMathLA::Matrix<double>& a,
                    QorMathLA::Matrix<double>& b) {
    using QorMathLA::Range;
    const Range states(0, n - 1, 1);
    a = QorMathLA::Matrix<double>(matrix(states, states), true);
    b = QorMathLA::Matrix<double>(matrix(states, Range(n, matrix.cols() - 1, 1)), true);
}

}  // namespace qormath::models
