#include <algorithm>
#include <cstddef>
#include <numeric>
#include <utility>

#include <qormath/control_utility/inverse.hpp>
#include <qormath/control_utility/quasi_triangular.hpp>
#include <qormath/lapack/lapack.hpp>

namespace qormath::control_utility {

namespace {

using lapack::Diagonal;
using lapack::Op;
using lapack::Side;
using lapack::Triangle;

// Up to this order a triangle is inverted by substitution in columns of the identity. At orders of 400 and 800 leaves
// of 32 and 64 took the same time, 100 a tenth more.
constexpr int leafOrder = 64;
// Halves are of a multiple of this order, so that their products fill the registers of the kernels.
constexpr int registerOrder = 8;
// Columns of l that are taken out and solved with at a time. At orders of 400 and 800 widths of 100 to 400 took the
// same time, within the noise; a narrow one needs least room.
constexpr int blockWidth = 128;

/// The inverse of an upper triangle in its place; what is below the diagonal is neither read nor written.
void invertUpper(int n, double* u, int ldu) {
    if (n <= leafOrder) {
        double leaf[leafOrder * leafOrder];
        lapack::laset(n, n, 0.0, 1.0, leaf, leafOrder);
        lapack::trsm(Side::left, Triangle::upper, Op::none, Diagonal::stored, n, n, 1.0, u, ldu, leaf, leafOrder);
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

/// Moves what is below the diagonal of a matrix of so many columns to the same place of another one, and leaves zeros.
void takeOutLower(int rows, int columns, double* from, int ldfrom, double* to, int ldto) {
    for (int j = 0; j < columns; ++j) {
        double* const source = at(from, ldfrom, j + 1, j);
        std::copy_n(source, rows - j - 1, at(to, ldto, j + 1, j));
        std::fill_n(source, rows - j - 1, 0.0);
    }
}

}  // namespace

void invertFactors(int n, double* lu) {
    invertUpper(n, lu, n);
    std::vector<double> lower(static_cast<std::size_t>(n) * blockWidth);
    for (int end = n; end > 0;) {
        const int before = std::max(0, end - blockWidth);
        const int first = (before + registerOrder - 1) / registerOrder * registerOrder;
        const int width = end - first;
        double* const columns = at(lu, n, 0, first);
        double* const l = lower.data();
        takeOutLower(n - first, width, columns + first, n, l + first, n);
        lapack::gemm(Op::none, Op::none, n, width, n - end, -1.0, at(lu, n, 0, end), n, l + end, n, 1.0, columns, n);
        lapack::trsm(Side::right, Triangle::lower, Op::none, Diagonal::unit, n, width, 1.0, l + first, n, columns, n);
        end = first;
    }
}

std::vector<int> columnsOfInverse(int n, const int* pivots) {
    std::vector<int> columns(static_cast<std::size_t>(n));
    std::iota(columns.begin(), columns.end(), 0);
    for (int k = n - 1; k >= 0; --k) {
        std::swap(columns[static_cast<std::size_t>(k)], columns[static_cast<std::size_t>(pivots[k] - 1)]);
    }
    return columns;
}

}  // namespace qormath::control_utility
