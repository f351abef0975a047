#pragma once

namespace qormath::control_utility {

/// Tells of one eigenvalue re + j im, both by address, whether it belongs at the upper left of a Schur form: not 0 or
/// 0.
using SchurSelector = int (*)(const double* re, const double* im);

/// The selectors divide the eigenvalues into stable ones and the rest, which is marginal or unstable. Stable is a
/// modulus below 1 - sqrt(eps) (discrete) or a real part below -sqrt(eps) (continuous), with eps = 2^-53: the margin
/// keeps an integrator that was computed as 1 - 1e-12 with the marginal ones. UL selects the stable eigenvalues, so
/// that they go to the upper left; LR selects the rest, so that the stable ones go to the lower right. NaN is selected
/// by none.
int SELECT_UL_DISCRETE(const double* re, const double* im);
int SELECT_LR_DISCRETE(const double* re, const double* im);
int SELECT_UL_CONTINUOUS(const double* re, const double* im);
int SELECT_LR_CONTINUOUS(const double* re, const double* im);

/// Real Schur form a = q t q' of an n by n matrix, with the selected eigenvalues first.
///
/// Every number goes by address, and each character is followed by its length.
/// - job: 'V' computes q, 'N' leaves vectors alone (it may be null).
/// - sort: 'N' leaves the order as the iteration gives it, and selector unread; 'S' moves the selected ones up.
/// - matrix: a on entry, t on return; 2 by 2 blocks are in standard form (equal diagonal, off-diagonal elements of
///   opposite sign), everything below the subdiagonal is zero.
/// - sdim: number of selected eigenvalues, 0 without sorting. A complex pair of which either member is selected is
///   selected whole. The selection is made once, on the unsorted form: an eigenvalue that a valid reordering moves
///   across the selector's limit by rounding changes neither sdim nor info.
/// - wr, wi: the eigenvalues, in the order of the diagonal of t.
/// - work: at least 3n elements; with workLength -1 nothing is done but to return that length in work[0]. Further
///   workspace is taken and freed inside.
/// - logicalWork: n elements, used with 'S' alone.
/// - info: 0; -k when argument k is illegal, characters' lengths not counted; k of 1 to n when the iteration did not
///   converge; n + 1 when two blocks are too close to be swapped (the form is valid, in an order between);
///   n + 3 when the matrix holds NaN or infinity (nothing has been written but sdim).
///
/// Source: G. H. Golub and C. F. Van Loan, "Matrix Computations", 4th ed., 7.5 and 7.6.2; for the reordering see
/// schur_reordering.hpp. Cost: about 25 n^3 flops, the reordering up to 2 n^3 more.
void DGEES_MINE(const char* job, int jobLength, const char* sort, int sortLength, SchurSelector selector, const int* n,
                double* matrix, const int* ld, int* sdim, double* wr, double* wi, double* vectors, const int* ldVectors,
                double* work, const int* workLength, int* logicalWork, int* info);

}  // namespace qormath::control_utility
