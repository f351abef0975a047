#include <algorithm>
#include <cstddef>
#include <memory>

#include <qormath/control_utility/reflector_block.hpp>
#include <qormath/control_utility/thin_products.hpp>
#include <qormath/lapack/lapack.hpp>

namespace qormath::control_utility {

namespace {

using lapack::Diagonal;
using lapack::Op;
using lapack::Side;
using lapack::Triangle;

std::ptrdiff_t at(int row, int column, int leadingDimension) {
    return row + static_cast<std::ptrdiff_t>(column) * leadingDimension;
}

std::vector<double> zeros(int rows, int columns) {
    return std::vector<double>(static_cast<std::size_t>(rows) * static_cast<std::size_t>(columns));
}

/// Room for a matrix that is written before it is read.
std::unique_ptr<double[]> room(int rows, int columns) {
    return std::make_unique_for_overwrite<double[]>(static_cast<std::size_t>(rows) * static_cast<std::size_t>(columns));
}

/// c := a' b with c of m by n and inner size k. With one column it is cheaper as a product of a matrix and a vector.
void multiplyDual(int m, int n, int k, const double* a, int lda, const double* b, int ldb, double* c, int ldc) {
    if (n == 1) {
        lapack::gemv(Op::transpose, k, m, 1.0, a, lda, b, 1, 0.0, c, 1);
    } else {
        lapack::gemm(Op::transpose, Op::none, m, n, k, 1.0, a, lda, b, ldb, 0.0, c, ldc);
    }
}

}  // namespace

ReflectorBlock::ReflectorBlock(int first, int rows, int capacity)
    : first_(first), rows_(rows), capacity_(capacity), v_(zeros(rows, capacity)), t_(zeros(capacity, capacity)) {}

std::vector<double> ReflectorBlock::append(int skipped, int reached, int more, const double* reflectors, int ld,
                                           const double* factors) {
    double* const joining = v_.data() + at(0, count_, rows_);
    for (int column = 0; column < more; ++column) {
        const int tail = column + 1;
        double* const one = joining + at(skipped + column, column, rows_);
        *one = 1.0;
        std::copy_n(reflectors + at(tail, column, ld), reached - tail, one + 1);
    }
    std::vector<double> overlap = zeros(capacity_, more);
    multiplyDual(count_ + more, more, reached, v() + skipped, rows_, joining + skipped, rows_, overlap.data(),
                 capacity_);
    // The new column of T is -factor T V' v above the factor itself.
    for (int column = 0; column < more; ++column) {
        double* const target = t_.data() + at(0, count_, capacity_);
        std::copy_n(overlap.data() + at(0, column, capacity_), count_, target);
        lapack::scal(count_, -factors[column], target, 1);
        lapack::trmv(Triangle::upper, Op::none, Diagonal::stored, count_, t(), capacity_, target, 1);
        target[count_] = factors[column];
        ++count_;
    }
    return overlap;
}

void ReflectorBlock::multiplyFromLeft(Op op, int n, double* c, int ldc) const {
    const auto product = room(count_, n);
    multiplyDual(count_, n, rows_, v(), rows_, c, ldc, product.get(), count_);
    subtract(op, n, product.get(), c, ldc);
}

void ReflectorBlock::subtract(Op op, int n, double* product, double* c, int ldc) const {
    lapack::trmm(Side::left, Triangle::upper, op, Diagonal::stored, count_, n, 1.0, t(), capacity_, product, count_);
    multiplyThin(Op::none, rows_, n, count_, -1.0, v(), rows_, product, count_, 1.0, c, ldc);
}

void ReflectorBlock::multiplyFromRight(int m, double* c, int ldc) const {
    const auto product = room(m, count_);
    lapack::gemm(Op::none, Op::none, m, count_, rows_, 1.0, c, ldc, v(), rows_, 0.0, product.get(), m);
    lapack::trmm(Side::right, Triangle::upper, Op::none, Diagonal::stored, m, count_, 1.0, t(), capacity_,
                 product.get(), m);
    lapack::gemm(Op::none, Op::transpose, m, rows_, count_, -1.0, product.get(), m, v(), rows_, 1.0, c, ldc);
}

void formProduct(int n, const std::vector<ReflectorBlock>& blocks, double* z) {
    // What begins here stands; rows and columns before it are those of the identity, and not written yet.
    int formed = n;
    const auto writeIdentityFrom = [&](int first) {
        for (int column = first; column < formed; ++column) {
            std::fill_n(z + at(first, column, n), n - first, 0.0);
            z[at(column, column, n)] = 1.0;
        }
        for (int column = formed; column < n; ++column) {
            std::fill_n(z + at(first, column, n), formed - first, 0.0);
        }
    };
    for (auto block = blocks.rbegin(); block != blocks.rend(); ++block) {
        const int first = block->first();
        const int end = first + block->rows();
        const int count = block->count();
        // V' Z has V itself, transposed, in the columns of the identity.
        const int plainColumns = std::min(formed, end) - first;
        const int formedColumns = formed < end ? n - formed : 0;
        const auto product = room(count, plainColumns + formedColumns);
        for (int column = 0; column < plainColumns; ++column) {
            lapack::copy(count, block->v() + column, block->rows(), product.get() + at(0, column, count), 1);
        }
        if (formedColumns > 0) {
            lapack::gemm(Op::transpose, Op::none, count, formedColumns, end - formed, 1.0,
                         block->v() + (formed - first), block->rows(), z + at(formed, formed, n), n, 0.0,
                         product.get() + at(0, plainColumns, count), count);
        }
        writeIdentityFrom(first);
        block->subtract(Op::none, plainColumns + formedColumns, product.get(), z + at(first, first, n), n);
        formed = first;
    }
    writeIdentityFrom(0);
}

}  // namespace qormath::control_utility
