#pragma once

#include <qormath/lapack/blas.hpp>

namespace qormath::control_utility {

/// The largest order of either factor of a small equation.
constexpr int largestSmallSylvester = 32;

/// Solves op(a) x + sign x op(b) = c for x, which takes the place of c, where that is beyond doubt; largest becomes the
/// largest absolute element of x. The factors are as for solveTriangularSylvester, of orders 1 to
/// largestSmallSylvester.
///
/// False, and nothing is written, where LAPACK's DTRSYL might perturb the equation or scale it: eigenvalues of a and
/// -sign b within 2^-12 of the size of their diagonal blocks, blocks below 2^-26 of the largest element of a and b, an
/// element of x that passes 2^900 or is no number.
///
/// R. H. Bartels, G. W. Stewart, "Solution of the matrix equation AX + XB = C", Comm. ACM 15, 1972, with the systems of
/// two and four unknowns by elimination with row pivots. m n (m + n) multiplications and additions, in 0.6 of the time
/// of DTRSYL, and in 0.4 where all eigenvalues are complex.
bool solveSmallSylvester(lapack::Op opA, lapack::Op opB, int sign, int m, int n, const double* a, int lda,
                         const double* b, int ldb, double* c, int ldc, double& largest);

}  // namespace qormath::control_utility
