#pragma once

namespace qormath::control_utility {

/// Staircase form of a pair: A := Z' A Z and B := Z' B with Z orthogonal and the controllable part leading. The form,
/// the rank decisions, the published sources and the cost are told with reduceToStaircase (staircase.hpp).
///
/// n, m          order of A and columns of B; either may be 0
/// a             n by n, packed, in and out
/// b             n by m, in and out, with leading dimension ldb; callers hand over n + 1 rows, of which the last is
///               neither read nor written
/// z             n by n, packed, out
/// reducedOrder  out: the order of the controllable part, the sum of the block sizes
/// blockCount    out: the number of stairs; 0 if nothing is controllable
/// blockSizes    n entries, out: the size of each stair, never increasing, zeros after the last
/// tolerance     rank tolerance, relative to the larger Frobenius norm of the pair; n * 2^-53 if not above 0
///
/// There is no failure code. A pair that holds NaN or infinity comes back as it was, with reducedOrder 0 and Z the
/// identity.
void CONTROLLABILITYFORT(const int* n, const int* m, double* a, double* b, const int* ldb, double* z, int* reducedOrder,
                         int* blockCount, int* blockSizes, const double* tolerance);

/// Staircase form of a triple: as CONTROLLABILITYFORT, and C := C Z.
///
/// n, m, p       order of A, columns of B, rows of C; each may be 0
/// a             n by n, packed, in and out
/// b             n by m, in and out, with leading dimension ldb; callers hand over n + 1 rows, of which the last is
///               neither read nor written
/// c             p by n, packed, in and out
/// tolerance     as above
/// rank          out: the order of the controllable part
///
/// A pair (A, B) that holds NaN or infinity leaves all three matrices as they were, with rank 0. C takes no part in
/// the decisions: what is not finite in it stays in its row.
void CONTROLLABILITYABCFORT(const int* n, const int* m, const int* p, double* a, double* b, const int* ldb, double* c,
                            const double* tolerance, int* rank);

}  // namespace qormath::control_utility
