#include <algorithm>
#include <cstddef>
#include <memory>

#include <qormath/control_utility/thin_products.hpp>

namespace qormath::control_utility {

namespace {

using lapack::Op;

/// With four lanes the kernel takes 0.4 of DGEMM's time for 10 columns, 0.7 for 16, and nearly as long for 24.
constexpr int widestThinProduct = 16;

/// c := c + a b from certain elements on, with b stored by rows.
struct Operands {
    const double* a;
    std::ptrdiff_t lda;
    const double* b;
    std::ptrdiff_t ldb;
    double* c;
    std::ptrdiff_t ldc;
    std::ptrdiff_t ahead;  ///< rows below the first to ask for, within the columns of a
};

#ifdef QORMATH_HAS_LANES

namespace four_lanes {

constexpr int lanes = 4;
constexpr int mostColumns = 5;
#define QORMATH_KERNEL QORMATH_FOUR_LANES
#include <qormath/control_utility/thin_kernel.hpp>
#undef QORMATH_KERNEL

}  // namespace four_lanes

namespace eight_lanes {

constexpr int lanes = 8;
constexpr int mostColumns = 10;
#define QORMATH_KERNEL QORMATH_EIGHT_LANES
#include <qormath/control_utility/thin_kernel.hpp>
#undef QORMATH_KERNEL

}  // namespace eight_lanes

#else

// No processor here has lanes, and so these are not called.
namespace four_lanes {
void addProduct(int, int, int, const Operands&) {}
}  // namespace four_lanes
namespace eight_lanes = four_lanes;

#endif

void multiplyByKernel(Op opB, int m, int n, int k, double alpha, const double* a, int lda, const double* b, int ldb,
                      double beta, double* c, int ldc, Lanes lanes) {
    const auto byRows =
        std::make_unique_for_overwrite<double[]>(static_cast<std::size_t>(k) * static_cast<std::size_t>(n));
    double* target = byRows.get();
    for (std::ptrdiff_t row = 0; row < k; ++row) {
        for (std::ptrdiff_t column = 0; column < n; ++column) {
            *target++ = alpha * (opB == Op::none ? b[row + column * ldb] : b[column + row * ldb]);
        }
    }
    for (std::ptrdiff_t column = 0; column < n; ++column) {
        if (beta == 0.0) {
            std::fill_n(c + column * ldc, m, 0.0);
        } else if (beta != 1.0) {
            lapack::scal(m, beta, c + column * ldc, 1);
        }
    }
    const auto addProduct = lanes == Lanes::eight ? eight_lanes::addProduct : four_lanes::addProduct;
    addProduct(m, n, k, {a, lda, byRows.get(), n, c, ldc, 0});
}

}  // namespace

void multiplyThin(Op opB, int m, int n, int k, double alpha, const double* a, int lda, const double* b, int ldb,
                  double beta, double* c, int ldc, Lanes lanes) {
    lanes = std::min(lanes, lanesOfProcessor());
    if (m == 0 || n == 0) {
        return;  // c may be no array at all
    }
    // DGEMV does not even scale c where k is 0.
    if (n == 1 && k > 0) {
        lapack::gemv(Op::none, m, k, alpha, a, lda, b, opB == Op::none ? 1 : ldb, beta, c, 1);
    } else if (n <= widestThinProduct && lanes != Lanes::none) {
        multiplyByKernel(opB, m, n, k, alpha, a, lda, b, ldb, beta, c, ldc, lanes);
    } else {
        lapack::gemm(Op::none, opB, m, n, k, alpha, a, lda, b, ldb, beta, c, ldc);
    }
}

}  // namespace qormath::control_utility
