#pragma once

namespace qormath::control_utility {

/// Solves x - a x f' = scale c for x, which takes the place of c (m by n).
///
/// a (m by m) and f (n by n) are quasi-triangular. There is one solution when no product of an eigenvalue of a and one
/// of f is 1, as when all of them are inside the unit circle. Nothing below the subdiagonals is read. scale, at most 1,
/// keeps x from overflowing; it is 1 unless c or x reaches about 1e271, and 0, with x of no meaning, where no scale
/// brings x into the range of numbers. Returns 0, or 1 when such a product came so close to 1 that the equation was
/// perturbed to solve it.
///
/// The columns of x are solved in panels, and in each panel the rows are cut in halves until products do nearly all the
/// work; see I. Jonsson and B. Kågström, "Recursive blocked algorithms for solving triangular systems, part II", ACM
/// Trans. Math. Software 28, 2002. m n (2 m + n) multiplications and additions or less.
int solveTriangularStein(int m, int n, const double* a, int lda, const double* f, int ldf, double* c, int ldc,
                         double& scale);

}  // namespace qormath::control_utility
