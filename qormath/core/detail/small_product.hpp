#pragma once

#include <cstddef>

namespace QorMathLA::detail {

/// Up to this order in each of its three sizes a product is made by small_product: a call of BLAS costs as much as the
/// multiplications of order 6, and at 8 both take the same.
inline constexpr int largestSmallOrder = 8;

/// An operand of a small product: element (i, j) stands at data[i * rowStep + j * colStep].
struct SmallOperand {
    const double* data;
    std::ptrdiff_t rowStep;
    std::ptrdiff_t colStep;
};

/// c = left * right, with c of m by n, column-major with leading dimension m, and inner size k; each of the three from
/// 1 to largestSmallOrder. Each element is the sum of its products in index order.
void smallProduct(int m, int n, int k, const SmallOperand& left, const SmallOperand& right, double* c);

}  // namespace QorMathLA::detail
