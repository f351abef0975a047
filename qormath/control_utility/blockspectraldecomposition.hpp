#pragma once

namespace qormath::control_utility {

/// What an eigenvalue is measured by: its modulus in a discrete, its real part in a continuous system.
enum class SpectralMeasure { modulus, realPart };

/// Orthogonal similarity of the system (a, b, c) to an ordered real Schur form: with u orthogonal, a becomes u' a u,
/// b becomes u' b and c becomes c u. The eigenvalues that measure alpha or more stand first on the diagonal of a, in
/// leading rows. The transfer function is that of the system given.
///
/// a is n by n, b n by m, c p by n, u n by n, or null where it is not wanted; wr and wi (n each) receive the
/// eigenvalues in the order of the diagonal. The selection is made once, on the unordered form, and a complex pair of
/// which either member is selected is selected whole.
///
/// Returns 0; 1 when a holds NaN or infinity (nothing has been written but leading); 2 when the iteration for the
/// eigenvalues did not converge; 3 when two diagonal blocks are too close to be swapped: (a, b, c) is then the system
/// in real Schur form all the same, in an order between, and leading the number of rows that have reached the top.
///
/// Source: G. H. Golub and C. F. Van Loan, "Matrix Computations", 4th ed., 7.6.2; for the reordering see
/// schur_reordering.hpp. Cost: about 27 n^3 + 2 n^2 (m + p) flops, three quarters of that without u where m + p is
/// small.
int toOrderedSchurForm(SpectralMeasure measure, double alpha, int n, int m, int p, double* a, int lda, double* b,
                       int ldb, double* c, int ldc, double* u, int ldu, double* wr, double* wi, int& leading);

/// The same with every number by address, in this order of arguments.
/// - mode: 0. An alpha below zero, which no modulus reaches, is a bound on the real parts; any other is one on the
///   moduli.
/// - u: n by n, or null where it is not wanted.
/// - count: the number of eigenvalues that measure alpha or more.
/// - work: lwork elements, at least 3 n; further workspace is taken and freed inside.
/// - info: 0; -k when argument k is illegal (nothing has been written but count and info); else what toOrderedSchurForm
///   returns.
void BLOCKSPECTRALDECOMPOSITION(const int* mode, const int* n, const int* m, const int* p, const double* alpha,
                                double* a, const int* lda, double* b, const int* ldb, double* c, const int* ldc,
                                int* count, double* u, const int* ldu, double* wr, double* wi, double* work,
                                const int* lwork, int* info);

}  // namespace qormath::control_utility
