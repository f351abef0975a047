#pragma once

namespace qormath::control_utility {

/// Reduces the norm of the system matrix [A B; C 0] by a diagonal similarity: with S = diag(scale), A becomes
/// S^-1 A S, B becomes S^-1 B and C becomes C S. The scales are powers of two and no element overflows or loses bits by
/// underflow, so the balanced system is the given one exactly, and S A S^-1 gives the old A back to the bit.
///
/// Every argument goes by address. a is n by n, b is n by m, c is p by n, all packed; scale has n elements.
///
/// States are visited in sweeps. Of each, the 2-norm of its row of [A B] and of its column of [A; C], diagonal
/// excluded, are brought within a factor of two of each other, if that takes 5 % off the sum of the two norms with the
/// diagonal included; a dominant diagonal element thus keeps noise in its row from being blown up. The Frobenius norm
/// of the system matrix never grows. A scale stops where an element would leave the normal range.
///
/// maxReduction limits what has no natural end: where a state's row or its column is zero but for the diagonal, the
/// other one could be scaled down for ever without a counterweight. It is scaled down once, by the largest power of
/// two not above maxReduction. 0 or below stands for 10; 1 leaves such states alone. On return it holds the
/// reduction that was reached, the Frobenius norm of the system matrix before over that after, at least 1 but for the
/// rounding of the two norms, and 1 for a zero matrix.
///
/// info: 0; -k when argument k is illegal (a negative count, or a maxReduction that is NaN or between 0 and 1);
/// 1 when the system holds NaN or infinity. With info other than 0 nothing else is written.
///
/// Source: E. E. Osborne, "On pre-conditioning of matrices", J. ACM 7 (1960), 338-345; B. N. Parlett and C. Reinsch,
/// "Balancing a matrix for calculation of eigenvalues and eigenvectors", Numer. Math. 13 (1969), 293-304; the criterion
/// with the diagonal: R. James, J. Langou and B. R. Lowery, "On matrix balancing and eigenvector computation",
/// arXiv:1401.5766 (2014). Cost: a few sweeps of 2 n (n + m + p) operations.
void NORMREDUCTIONFORT(const int* n, const int* m, const int* p, double* maxReduction, double* a, double* b, double* c,
                       double* scale, int* info);

/// The same for legal arguments, with the norms of a state taken anew at each visit. It is what runs where kept sums of
/// squares do not serve, and their oracle.
void balanceByFreshNorms(int n, int m, int p, double& maxReduction, double* a, double* b, double* c, double* scale,
                         int& info);

}  // namespace qormath::control_utility
