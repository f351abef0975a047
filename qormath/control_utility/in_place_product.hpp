#pragma once

#include <cstddef>
#include <vector>

#include <qormath/control_utility/processor_lanes.hpp>

namespace qormath::control_utility {

/// The length of a work array with which no product of up to this order has to enlarge it.
std::size_t inPlaceWorkLength(int order);

/// x := x v with x of rows by order and v square. work is enlarged where it is too small, and kept for the next call.
/// Lanes that the processor does not have give way to those that it has.
///
/// What takes a window of a large matrix to another form is applied to the rest of the matrix in such products, with an
/// order of up to 80. DGEMM needs a copy of x for them, and the order is too small for the copies that it makes of
/// both factors and for the passes over its result: it comes to 0.6 to 0.8 of its speed. On processors that multiply
/// and add four or eight numbers at once (AVX2 with FMA, AVX-512), own kernels copy a few rows at a time, which stay in
/// the first cache until the result is in their place. What they make of a row does not depend on the rows beside it,
/// to the bit.
void multiplyInPlaceFromRight(int rows, int order, double* x, int ldx, const double* v, int ldv,
                              std::vector<double>& work, Lanes lanes = lanesOfProcessor());

/// The same for x := v' x with x of order by columns.
void multiplyInPlaceFromLeft(int order, int columns, double* x, int ldx, const double* v, int ldv,
                             std::vector<double>& work, Lanes lanes = lanesOfProcessor());

}  // namespace qormath::control_utility
