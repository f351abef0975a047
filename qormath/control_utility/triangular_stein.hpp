#pragma once

namespace qormath::control_utility {

/// Solves x - a x f' = scale c for x, which takes the place of c (m by n).
///
/// a (m by m) and f (n by n) are quasi-triangular with all eigenvalues inside the unit circle, so that there is one
/// solution. Nothing below their subdiagonals is read. scale, in (0, 1], keeps x from overflowing; it is 1 unless x
/// would be near the largest number. Returns 0, or 1 when the product of an eigenvalue of a and one of f came so close
/// to 1 that the equation was perturbed to solve it.
///
/// The larger of the two orders is cut in halves until products do nearly all the work, as in I. Jonsson and
/// B. Kågström, "Recursive blocked algorithms for solving triangular systems, part II", ACM Trans. Math. Software 28,
/// 2002. About m n (m + n) multiplications and additions, and a quarter more for the products with f.
int solveTriangularStein(int m, int n, const double* a, int lda, const double* f, int ldf, double* c, int ldc,
                         double& scale);

}  // namespace qormath::control_utility
