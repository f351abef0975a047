#pragma once

#include <qormath/core/arithmetic.hpp>

namespace qormath::models {

/// [a b; 0 D] with D a multiple of the identity, as many rows as b has columns: with inputs that stay, one step of
/// states and inputs together.
inline QorMathLA::Matrix<double> augmented(const QorMathLA::BasicMatrix<double>& a,
                                           const QorMathLA::BasicMatrix<double>& b, double diagonal) {
    const int n = a.rows();
    const int m = b.cols();
    QorMathLA::Matrix<double> bottom = QorMathLA::zeroMatrix(m, n + m);
    for (int k = 0; k < m; ++k) {
        bottom(k, n + k) = diagonal;
    }
    return a.appendToRight(b).appendToBottom(bottom);
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
