#pragma once

#include <qormath/control_utility/processor_lanes.hpp>
#include <qormath/lapack/blas.hpp>

namespace qormath::control_utility {

/// c := alpha a op(b) + beta c with c of m by n, few columns, and inner size k. Where beta is 0, c is not read.
///
/// Such a product uses each element of a for a handful of multiplications, and the copy of a that DGEMM works on costs
/// as much as these. Where the processor has the lanes, a kernel for 2 to 16 columns reads a where it stands; a
/// single column is a product of a matrix and a vector; all else goes to DGEMM. Lanes that the processor does not have
/// give way to those that it has.
void multiplyThin(lapack::Op opB, int m, int n, int k, double alpha, const double* a, int lda, const double* b, int ldb,
                  double beta, double* c, int ldc, Lanes lanes = lanesOfProcessor());

}  // namespace qormath::control_utility
