#pragma once

// Loops over small matrices in Eigen, with dynamic sizes as the library's own. Each makes its results anew, round after
// round, and returns one of them.

#include <qormath/core/matrix.hpp>

namespace qormath::peers {

QorMathLA::Matrix<double> eigenProducts(const QorMathLA::Matrix<double>& a, const QorMathLA::Matrix<double>& b,
                                        int rounds);
QorMathLA::Matrix<double> eigenSums(const QorMathLA::Matrix<double>& a, const QorMathLA::Matrix<double>& b, int rounds);

/// Copies of the leading half of the rows and columns.
QorMathLA::Matrix<double> eigenParts(const QorMathLA::Matrix<double>& a, int rounds);

/// d + c (I - a)^-1 b, after a look at the eigenvalues of I - a.
QorMathLA::Matrix<double> eigenGains(const QorMathLA::Matrix<double>& a, const QorMathLA::Matrix<double>& b,
                                     const QorMathLA::Matrix<double>& c, const QorMathLA::Matrix<double>& d,
                                     int rounds);

}  // namespace qormath::peers
