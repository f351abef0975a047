#include <algorithm>
#include <cstddef>
#include <memory>

#include <qormath/control_utility/thin_products.hpp>

namespace qormath::control_utility {

namespace {

using lapack::Op;

/// The kernel takes 0.5 of DGEMM's time for 10 columns, 0.85 for 16, and as long as DGEMM for 24.
constexpr int widestThinProduct = 16;

#if defined(__x86_64__) && defined(__GNUC__)

#define QORMATH_FOUR_AT_ONCE __attribute__((target("avx2,fma")))
#define QORMATH_FOUR_AT_ONCE_INLINE __attribute__((target("avx2,fma"), always_inline)) inline

/// Four numbers side by side, wherever they stand.
typedef double Four __attribute__((vector_size(32), aligned(8), may_alias));

constexpr std::ptrdiff_t four = 4;

/// Columns of c that are summed side by side: with eight rows the sums take ten of the sixteen registers.
constexpr int mostColumns = 5;

/// Columns of a between two visits of the same rows of c. Each is a stream of its own from the memory.
constexpr int panelWidth = 24;

/// How far below the rows in work a column is asked for: four lines of 64 bytes.
constexpr std::ptrdiff_t rowsAhead = 32;

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

/// The sum for as many fours of rows of c.
template <int columns, int fours>
QORMATH_FOUR_AT_ONCE_INLINE void addRows(int terms, const Operands& o) {
    // Each panel is summed by itself: one sum that goes on over all of them would gather more rounding.
    Four sums[columns][fours] = {};
    for (int term = 0; term < terms; ++term) {
        const double* const a = o.a + term * o.lda;
        const double* const b = o.b + term * o.ldb;
        __builtin_prefetch(a + o.ahead);
        Four elements[fours];
        for (int i = 0; i < fours; ++i) {
            elements[i] = *reinterpret_cast<const Four*>(a + i * four);
        }
        for (int j = 0; j < columns; ++j) {
            for (int i = 0; i < fours; ++i) {
                sums[j][i] += elements[i] * b[j];
            }
        }
    }
    for (int j = 0; j < columns; ++j) {
        for (int i = 0; i < fours; ++i) {
            *reinterpret_cast<Four*>(o.c + j * o.ldc + i * four) += sums[j][i];
        }
    }
}

/// The same for all columns of c.
template <int fours>
QORMATH_FOUR_AT_ONCE_INLINE void addRowsOfAllColumns(int n, int terms, Operands o) {
    for (int rest = n; rest > 0;) {
        // Even shares: 6 are 3 and 3.
        const int shares = (rest + mostColumns - 1) / mostColumns;
        const int columns = (rest + shares - 1) / shares;
        switch (columns) {
            case 1:
                addRows<1, fours>(terms, o);
                break;
            case 2:
                addRows<2, fours>(terms, o);
                break;
            case 3:
                addRows<3, fours>(terms, o);
                break;
            case 4:
                addRows<4, fours>(terms, o);
                break;
            default:
                addRows<mostColumns, fours>(terms, o);
        }
        rest -= columns;
        o.b += columns;
        o.c += columns * o.ldc;
    }
}

/// One row.
QORMATH_FOUR_AT_ONCE_INLINE void addRow(int n, int terms, const Operands& o) {
    for (int j = 0; j < n; ++j) {
        double sum = 0.0;
        for (int term = 0; term < terms; ++term) {
            sum += o.a[term * o.lda] * o.b[term * o.ldb + j];
        }
        o.c[j * o.ldc] += sum;
    }
}

QORMATH_FOUR_AT_ONCE void addProduct(int m, int n, int k, const Operands& all) {
    for (int first = 0; first < k; first += panelWidth) {
        const int width = std::min(panelWidth, k - first);
        Operands o = all;
        o.a += first * o.lda;
        o.b += first * o.ldb;
        std::ptrdiff_t row = 0;
        for (; row + 2 * four <= m; row += 2 * four, o.a += 2 * four, o.c += 2 * four) {
            o.ahead = std::min<std::ptrdiff_t>(rowsAhead, m - 1 - row);
            addRowsOfAllColumns<2>(n, width, o);
        }
        o.ahead = 0;
        for (; row + four <= m; row += four, o.a += four, o.c += four) {
            addRowsOfAllColumns<1>(n, width, o);
        }
        for (; row < m; ++row, ++o.a, ++o.c) {
            addRow(n, width, o);
        }
    }
}

bool hasKernel() {
    static const bool has = __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma");
    return has;
}

void multiplyByKernel(Op opB, int m, int n, int k, double alpha, const double* a, int lda, const double* b, int ldb,
                      double beta, double* c, int ldc) {
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
    addProduct(m, n, k, {a, lda, byRows.get(), n, c, ldc, 0});
}

#else

bool hasKernel() {
    return false;
}

void multiplyByKernel(Op opB, int m, int n, int k, double alpha, const double* a, int lda, const double* b, int ldb,
                      double beta, double* c, int ldc) {
    lapack::gemm(Op::none, opB, m, n, k, alpha, a, lda, b, ldb, beta, c, ldc);
}

#endif

}  // namespace

void multiplyThin(Op opB, int m, int n, int k, double alpha, const double* a, int lda, const double* b, int ldb,
                  double beta, double* c, int ldc) {
    if (m == 0 || n == 0) {
        return;  // c may be no array at all
    }
    // DGEMV does not even scale c where k is 0.
    if (n == 1 && k > 0) {
        lapack::gemv(Op::none, m, k, alpha, a, lda, b, opB == Op::none ? 1 : ldb, beta, c, 1);
    } else if (n <= widestThinProduct && hasKernel()) {
        multiplyByKernel(opB, m, n, k, alpha, a, lda, b, ldb, beta, c, ldc);
    } else {
        lapack::gemm(Op::none, opB, m, n, k, alpha, a, lda, b, ldb, beta, c, ldc);
    }
}

}  // namespace qormath::control_utility
