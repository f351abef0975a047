#pragma once

namespace qormath::control_utility {

/// Solves the symmetric equation a x + x a' = scale c, or when discrete x - a x a' = scale c, for the symmetric x.
///
/// a (n by n) is quasi-triangular; nothing below its subdiagonal is read. x holds the upper triangle of c on entry,
/// whatever stands below, and the whole of x on return, both triangles alike to the bit. The equation has one solution
/// when no two eigenvalues of a, which may be the same one twice, have the sum 0, or when discrete the product 1.
///
/// scale, at most 1, keeps x from overflowing; it is 1 unless c or x reaches about 1e271, and 0, with x of no meaning,
/// where no scale brings x into the range of numbers. Returns 0, or 1 when two eigenvalues came so close to the limit,
/// as judged against the diagonal blocks in which they stand, that the equation was perturbed to solve it.
///
/// a is cut in halves: two equations of the same kind of half the order, and one equation with two coefficients
/// between them, which does nearly all the work; see I. Jonsson and B. Kågström, "Recursive blocked algorithms for
/// solving triangular systems", parts I and II, ACM Trans. Math. Software 28, 2002. 2/3 n^3 multiplications and
/// additions, when discrete 7/6 n^3.
int solveTriangularLyapunov(bool discrete, int n, const double* a, int lda, double* x, int ldx, double& scale);

}  // namespace qormath::control_utility
