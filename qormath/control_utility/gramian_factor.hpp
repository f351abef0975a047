#pragma once

namespace qormath::control_utility {

// The Cholesky factors of the Gramians of a stable system, found without forming the Gramians: a singular value of a
// product of the factors keeps its digits where the eigenvalue of a product of Gramians has lost half of them.
//
// a is n by n in real Schur form, quasi-upper-triangular with 2 by 2 blocks where an element of the subdiagonal is not
// zero; nothing below the subdiagonal is read. All its eigenvalues are stable: of negative real part, or when discrete
// of modulus below 1.
//
// scale, in [0, 1], keeps the factor from overflowing; it is 1 unless the factor would be near the largest number, and
// 0, with a factor of no meaning, where a product on the way to it leaves the range of numbers. Returns 0 on success, 1
// when a is not stable, 2 when an argument is not finite. Where the result is not 0, neither factor nor scale is
// written.
//
// S. J. Hammarling, "Numerical solution of the stable, non-negative definite Lyapunov equation", IMA J. Numer. Anal. 2,
// 1982, and "Numerical solution of the discrete-time, convergent, non-negative definite Lyapunov equation", Systems &
// Control Letters 17, 1991; in blocks as in D. Kressner, "Block variants of Hammarling's method for solving Lyapunov
// equations", ACM Trans. Math. Software 34, 2008. Of the order of n^3 + n^2 m operations.

/// s, n by n upper triangular with a diagonal that is not negative, such that P = s s' solves
/// a P + P a' = -scale^2 b b', or when discrete a P a' - P = -scale^2 b b'. b is n by m, with any m.
int controllabilityFactor(bool discrete, int n, int m, const double* a, int lda, const double* b, int ldb, double* s,
                          int lds, double& scale);

/// r, n by n upper triangular with a diagonal that is not negative, such that Q = r' r solves
/// a' Q + Q a = -scale^2 c' c, or when discrete a' Q a - Q = -scale^2 c' c. c is p by n, with any p.
int observabilityFactor(bool discrete, int n, int p, const double* a, int lda, const double* c, int ldc, double* r,
                        int ldr, double& scale);

}  // namespace qormath::control_utility
