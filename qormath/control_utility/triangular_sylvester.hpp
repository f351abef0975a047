#pragma once

#include <qormath/lapack/blas.hpp>

namespace qormath::control_utility {

/// Solves op(a) x + sign x op(b) = scale c for x, which takes the place of c.
///
/// a (m by m) and b (n by n) are quasi-triangular: upper triangular but for 2 by 2 blocks on the diagonal, which stand
/// where an element of the subdiagonal is not zero. Nothing below the subdiagonals is read. sign is 1 or -1. The
/// equation has one solution when no eigenvalue of a is minus sign times one of b.
///
/// scale, at most 1, keeps x from overflowing; it is 1 unless c or x reaches about 1e271, and 0, with x of no meaning,
/// where no scale brings x into the range of numbers. Returns 0, or 1 when eigenvalues of a and -sign b were so close
/// that the equation was perturbed to solve it.
///
/// The larger of the two orders is cut in halves until products do nearly all the work, as in I. Jonsson and
/// B. Kågström, "Recursive blocked algorithms for solving triangular systems, part I", ACM Trans. Math. Software 28,
/// 2002. How close two eigenvalues may come is judged against the diagonal blocks in which they stand, so that large
/// elements far from the diagonal do not count. m n (m + n) multiplications and additions.
int solveTriangularSylvester(lapack::Op opA, lapack::Op opB, int sign, int m, int n, const double* a, int lda,
                             const double* b, int ldb, double* c, int ldc, double& scale);

}  // namespace qormath::control_utility
