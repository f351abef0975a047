#pragma once

#include <qormath/core/matrix.hpp>

namespace qormath::models {

/// x = matrix^-1 b by an LU factorisation, where the matrix is so clearly regular that its pseudo-inverse is its
/// inverse and that none of its eigenvalues can be zero up to rounding: 1 / norm1(matrix^-1), below which no eigenvalue
/// has its modulus, is at least 1e-10, and 1e-10 norm1(matrix).
///
/// False, and x is undetermined, for any other matrix, for one that is not finite or not square, and for a b of another
/// number of rows.
bool solveClearlyRegular(const QorMathLA::Matrix<double>& matrix, const QorMathLA::Matrix<double>& b,
                         QorMathLA::Matrix<double>& x);

/// The same result by the definition of the gain: throws the int -1 if an eigenvalue of the matrix has a modulus below
/// 100 times the machine precision, then multiplies the pseudo-inverse with b. Throws what these throw.
QorMathLA::Matrix<double> solveByPseudoInverse(const QorMathLA::Matrix<double>& matrix,
                                               const QorMathLA::Matrix<double>& b);

}  // namespace qormath::models
