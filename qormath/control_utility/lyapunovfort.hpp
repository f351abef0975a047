#pragma once

namespace qormath::control_utility {

/// Solves a' x + x a = c, or when discrete a' x a - x = c, for x.
///
/// The equation has one solution when no two eigenvalues of a, which may be the same one twice, have the sum 0, or when
/// discrete the product 1; a stable a has none such. Where c is symmetric to the bit, so is x, at less than half of
/// the work on the triangular form.
///
/// discrete    1 for the discrete equation, anything else for the continuous one
/// n           order, 0 or above
/// a           n by n, packed, in; overwritten
/// u           n by n, packed, out: the Schur vectors of a'
/// x           n by n, packed, c on entry and x on return; unchanged unless info is 0
/// wr, wi      n elements, out: the eigenvalues of a
/// work        scratch, with workLength elements; workLength is (n + 3) n or above
/// info        0; -k when argument k is illegal; k of 1 to n when the Schur iteration did not converge; n + 1 when the
///             equation is singular to working precision; n + 2 when x, or when discrete the square of the norm of
///             a, is beyond the largest number; n + 3 when a or c holds NaN or infinity
///
/// Singular to working precision is an equation in which changes of two eigenvalues by 32 eps times the Frobenius norm
/// of a bring their sum to 0, or their product to 1; eps is 2^-53. Eigenvalues are not known better than that.
/// Intermediate results are scaled where they would overflow; x itself is not.
///
/// Real Schur form and substitution, R. H. Bartels and G. W. Stewart, "Solution of the matrix equation AX + XB = C",
/// Comm. ACM 15, 1972, and G. Kitagawa, "An algorithm for solving the matrix equation X = FXF' + S", Int. J. Control
/// 25, 1977; in recursive blocks, see triangular_lyapunov.hpp, triangular_sylvester.hpp and triangular_stein.hpp. About
/// 25 n^3 operations for the Schur form, and 7 to 14 n^3 for the rest.
void LYAPUNOVFORT(const int* discrete, const int* n, double* a, double* u, double* x, double* wr, double* wi,
                  double* work, const int* workLength, int* info);

/// Solves a x + x a' = c, or when discrete a x a' - x = c, from one Schur form where nothing about the equation is in
/// doubt: true if so, with x the solution. a and x (n by n, packed, x being c on entry) are overwritten in any case.
///
/// False where another method might tell something else of the equation: an argument that is not finite or has its
/// largest element beyond 2^200 or below 2^-200, eigenvalues that changes by 2^-26 times the Frobenius norm of a bring
/// to the sum 0 or the product 1, an iteration that does not converge, a solution beyond 2^600. Other than with
/// LYAPUNOVFORT, a stands on the left.
bool solveClearLyapunov(bool discrete, int n, double* a, double* x);

}  // namespace qormath::control_utility
