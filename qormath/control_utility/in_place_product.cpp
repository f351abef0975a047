#include <algorithm>
#include <cstddef>

#include <qormath/control_utility/in_place_product.hpp>
#include <qormath/control_utility/quasi_triangular.hpp>
#include <qormath/lapack/lapack.hpp>

namespace qormath::control_utility {

namespace {

using Elements = std::vector<double>;
using lapack::Op;

// Rows, or columns, that DGEMM multiplies at once: their copy stays in the cache until the product is done.
constexpr int strip = 256;
// What the kernels copy at once: so many rows, or so many columns beside the transpose of v, which they fill up by no
// more than so many rows.
constexpr int mostCopiedRows = 24;
constexpr int mostCopiedColumns = 8;
constexpr int mostRowsFilledUp = 7;

#ifdef QORMATH_HAS_LANES

namespace four_lanes {

constexpr int lanes = 4;
constexpr int mostVectors = 3;
constexpr int mostColumns = 4;
#define QORMATH_KERNEL QORMATH_FOUR_LANES
#include <qormath/control_utility/in_place_kernel.hpp>
#undef QORMATH_KERNEL

static_assert(mostRows <= mostCopiedRows && mostColumns <= mostCopiedColumns && lanes - 1 <= mostRowsFilledUp);

}  // namespace four_lanes

namespace eight_lanes {

constexpr int lanes = 8;
constexpr int mostVectors = 3;
constexpr int mostColumns = 8;
#define QORMATH_KERNEL QORMATH_EIGHT_LANES
#include <qormath/control_utility/in_place_kernel.hpp>
#undef QORMATH_KERNEL

static_assert(mostRows <= mostCopiedRows && mostColumns <= mostCopiedColumns && lanes - 1 <= mostRowsFilledUp);

}  // namespace eight_lanes

#else

// No processor here has lanes, and so these are not called.
namespace four_lanes {
void multiplyFromRight(int, int, double*, std::ptrdiff_t, const double*, std::ptrdiff_t, double*) {}
void multiplyFromLeft(int, int, double*, std::ptrdiff_t, const double*, std::ptrdiff_t, double*) {}
}  // namespace four_lanes
namespace eight_lanes = four_lanes;

#endif

double* atLeast(Elements& work, int rows, int columns) {
    const std::size_t count = static_cast<std::size_t>(rows) * static_cast<std::size_t>(columns);
    if (work.size() < count) {
        work.resize(count);
    }
    return work.data();
}

/// Copies a and leaves zeros, to which a product is added: with its result overwritten, a product clears it in a pass
/// of its own.
void takeOut(int rows, int columns, double* a, int lda, double* copy) {
    for (int column = 0; column < columns; ++column) {
        double* const elements = at(a, lda, 0, column);
        std::copy_n(elements, rows, at(copy, rows, 0, column));
        std::fill_n(elements, rows, 0.0);
    }
}

void multiplyFromRightByDgemm(int rows, int order, double* x, int ldx, const double* v, int ldv, Elements& work) {
    double* const old = atLeast(work, strip, order);
    for (int row = 0; row < rows; row += strip) {
        const int count = std::min(strip, rows - row);
        takeOut(count, order, x + row, ldx, old);
        lapack::gemm(Op::none, Op::none, count, order, order, 1.0, old, count, v, ldv, 1.0, x + row, ldx);
    }
}

void multiplyFromLeftByDgemm(int order, int columns, double* x, int ldx, const double* v, int ldv, Elements& work) {
    double* const old = atLeast(work, order, strip);
    for (int column = 0; column < columns; column += strip) {
        const int count = std::min(strip, columns - column);
        double* const part = at(x, ldx, 0, column);
        takeOut(order, count, part, ldx, old);
        lapack::gemm(Op::transpose, Op::none, order, count, order, 1.0, v, ldv, old, order, 1.0, part, ldx);
    }
}

}  // namespace

std::size_t inPlaceWorkLength(int order) {
    const int ofKernels = std::max(mostCopiedRows, order + mostRowsFilledUp + mostCopiedColumns);
    return static_cast<std::size_t>(order) * static_cast<std::size_t>(std::max(strip, ofKernels));
}

void multiplyInPlaceFromRight(int rows, int order, double* x, int ldx, const double* v, int ldv, Elements& work,
                              Lanes lanes) {
    lanes = std::min(lanes, lanesOfProcessor());
    if (lanes == Lanes::none) {
        return multiplyFromRightByDgemm(rows, order, x, ldx, v, ldv, work);
    }
    const auto multiply = lanes == Lanes::eight ? eight_lanes::multiplyFromRight : four_lanes::multiplyFromRight;
    multiply(rows, order, x, ldx, v, ldv, atLeast(work, mostCopiedRows, order));
}

void multiplyInPlaceFromLeft(int order, int columns, double* x, int ldx, const double* v, int ldv, Elements& work,
                             Lanes lanes) {
    lanes = std::min(lanes, lanesOfProcessor());
    if (lanes == Lanes::none) {
        return multiplyFromLeftByDgemm(order, columns, x, ldx, v, ldv, work);
    }
    const auto multiply = lanes == Lanes::eight ? eight_lanes::multiplyFromLeft : four_lanes::multiplyFromLeft;
    multiply(order, columns, x, ldx, v, ldv, atLeast(work, order + mostRowsFilledUp + mostCopiedColumns, order));
}

}  // namespace qormath::control_utility
