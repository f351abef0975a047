#include <algorithm>
#include <cstddef>
#include <numeric>
#include <utility>
#include <vector>

#include <qormath/control_utility/inverse.hpp>
#include <qormath/control_utility/quasi_triangular.hpp>
#include <qormath/lapack/lapack.hpp>

namespace qormath::control_utility {

namespace {

using lapack::Diagonal;
using lapack::Op;
using lapack::Side;
using lapack::Triangle;

// Up to this order a triangle is inverted by substitution in rows of the identity. At orders of 400 and 800 leaves of
// 32 and 64 took the same time, 100 a twentieth more.
constexpr int leafOrder = 64;
// Halves begin at a multiple of this order, so that their products fill the registers of the kernels.
constexpr int registerOrder = 8;
// Columns of l that are taken out and solved with at a time, as few as cost no time: at orders of 400 and 800 widths
// from 144 to 224 took the same, 96 a twentieth and multiples of 64 a tenth more.
constexpr int blockWidth = 160;

/// The inverse of an upper triangle in its place; what is below the diagonal is neither read nor written.
void invertUpper(int n, double* u, int ldu) {
    if (n <= leafOrder) {
        double leaf[leafOrder * leafOrder];
        lapack::laset(n, n, 0.0, 1.0, leaf, leafOrder);
        lapack::trsm(Side::right, Triangle::upper, Op::none, Diagonal::stored, n, n, 1.0, u, ldu, leaf, leafOrder);
        lapack::lacpy(Triangle::upper, n, n, leaf, leafOrder, u, ldu);
        return;
    }
    const int top = (n / 2 + registerOrder - 1) / registerOrder * registerOrder;
    const int bottom = n - top;
    double* const corner = at(u, ldu, 0, top);
    double* const last = at(u, ldu, top, top);
    invertUpper(top, u, ldu);
    // A product with the one inverse and a substitution in the other factor: products with both would not be stable.
    lapack::trmm(Side::left, Triangle::upper, Op::none, Diagonal::stored, top, bottom, -1.0, u, ldu, corner, ldu);
    lapack::trsm(Side::right, Triangle::upper, Op::none, Diagonal::stored, top, bottom, 1.0, last, ldu, corner, ldu);
    invertUpper(bottom, last, ldu);
}

void reverseColumns(int n, double* a) {
    for (int j = 0; j < n / 2; ++j) {
        std::swap_ranges(at(a, n, 0, j), at(a, n, 0, j + 1), at(a, n, 0, n - 1 - j));
    }
}

/// Moves what is below the diagonal in columns [n - end, n - first) of l, which stand in reverse order, to the columns
/// of another array, rows in reverse order as well, and leaves zeros.
void takeOutLower(int n, int first, int end, double* reversed, double* to) {
    for (int j = first; j < end; ++j) {
        double* const last = at(reversed, n, 0, j + 1);
        std::reverse_copy(last - j, last, at(to, n, 0, j - first));
        std::fill_n(last - j, j, 0.0);
    }
}

/// Makes x of x l = u^-1 in the place of u^-1 and l, its columns in reverse order: with rows and columns in that order
/// l is an upper triangle, and BLAS libraries have a fast kernel for substitution from the right with an upper triangle
/// rather than for that with a lower one.
void divideByLower(int n, double* lu, double* work) {
    reverseColumns(n, lu);
    for (int first = 0; first < n; first += blockWidth) {
        const int width = std::min(blockWidth, n - first);
        double* const columns = at(lu, n, 0, first);
        takeOutLower(n, first, first + width, lu, work);
        lapack::gemm(Op::none, Op::none, n, width, first, -1.0, lu, n, work, n, 1.0, columns, n);
        lapack::trsm(Side::right, Triangle::upper, Op::none, Diagonal::unit, n, width, 1.0, work + first, n, columns,
                     n);
    }
}

}  // namespace

std::size_t workToInvert(int n) {
    return static_cast<std::size_t>(n) * static_cast<std::size_t>(std::min(n, blockWidth));
}

std::vector<int> invertFactors(int n, double* lu, const int* pivots, double* work) {
    invertUpper(n, lu, n);
    divideByLower(n, lu, work);
    std::vector<int> columns(static_cast<std::size_t>(n));
    std::iota(columns.rbegin(), columns.rend(), 0);
    for (int k = n - 1; k >= 0; --k) {
        std::swap(columns[static_cast<std::size_t>(k)], columns[static_cast<std::size_t>(pivots[k] - 1)]);
    }
    return columns;
}

}  // namespace qormath::control_utility
