#pragma once

namespace qormath::control_utility {

/// Reorders a real Schur form a = q t q' by orthogonal similarity, so that the marked diagonal blocks stand first.
///
/// selected has n elements; a non-zero one marks the eigenvalue of its row. A 2 by 2 block of which either row is
/// marked counts as marked whole. Marked blocks keep their order among themselves. t (n by n, quasi-upper-triangular
/// with standard 2 by 2 blocks, nothing read or written below the subdiagonal except zeros) and q (n by n) are updated
/// in place, and the eigenvalues are read anew from the diagonal of t into wr and wi (n each). leading receives the
/// number of rows that the marked blocks take.
///
/// Returns 0, or 1 when two blocks are too close to swap: t and q are then still a Schur form of the same matrix, in
/// an order between the old and the new one, wr and wi are those of its diagonal, and leading is the number of rows
/// that had already reached the top.
///
/// Small forms move one block at a time. Larger ones move groups of marked blocks upwards through windows: swaps touch
/// the window only and collect one orthogonal matrix, and the rest of t and q is updated by products with it.
///
/// Source: D. Kressner, "Block algorithms for reordering standard and generalized Schur forms", ACM Trans. Math.
/// Softw. 32 (2006), 521-532. Swaps: Z. Bai and J. W. Demmel, "On swapping diagonal blocks in real Schur form",
/// Linear Algebra Appl. 186 (1993), 73-95.
/// Cost: about 2 n^3 flops in products when half of a random spectrum is marked.
int reorderSchurForm(const char* selected, int n, double* t, int ldt, double* q, int ldq, double* wr, double* wi,
                     int& leading);

/// The same, with z = z p in the place of q = q p, for a z of any number of rows, where p is the similarity that
/// reorders t.
int reorderSchurFormWithRows(const char* selected, int n, double* t, int ldt, int rows, double* z, int ldz, double* wr,
                             double* wi, int& leading);

/// The same by single swaps over the whole form: the kernel of small forms, and the oracle of the blocked one.
int reorderSchurFormPlain(const char* selected, int n, double* t, int ldt, double* q, int ldq, double* wr, double* wi,
                          int& leading);

/// Sorts the diagonal blocks of a Schur form by rank, the lowest first. ranks has n elements, no two blocks share one,
/// and both rows of a 2 by 2 block have the same. t and q are updated as by reorderSchurForm, in windows where the form
/// is large: what belongs into the next 32 rows is moved up to them and sorted there. The number of swaps is that of
/// the pairs of blocks that stand in the wrong order.
///
/// Returns 0, or 1 when two blocks are too close to swap: t and q are then still a Schur form of the same matrix, in
/// some order.
int sortSchurForm(const int* ranks, int n, double* t, int ldt, double* q, int ldq);

/// Reads the eigenvalues of a quasi-upper-triangular t with standard 2 by 2 blocks from its diagonal; the first of a
/// pair has the positive imaginary part.
void eigenvaluesOfSchurDiagonal(int n, const double* t, int ldt, double* wr, double* wi);

}  // namespace qormath::control_utility
