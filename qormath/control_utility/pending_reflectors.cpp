#include <algorithm>
#include <cstddef>

#include <qormath/control_utility/pending_reflectors.hpp>
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

/// c = alpha op(a) b + beta c, with c of m by n. A product with one column is cheaper as that of a matrix and a vector.
void multiply(Op op, int m, int n, int k, double alpha, const double* a, int lda, const double* b, int ldb, double beta,
              double* c, int ldc) {
    if (n == 1) {
        lapack::gemv(op, op == Op::none ? m : k, op == Op::none ? k : m, alpha, a, lda, b, 1, beta, c, 1);
    } else {
        lapack::gemm(op, Op::none, m, n, k, alpha, a, lda, b, ldb, beta, c, ldc);
    }
}

}  // namespace

PendingReflectors::PendingReflectors(int n, double* a, int capacity)
    : n_(n),
      a_(a),
      capacity_(capacity),
      v_(zeros(n, capacity)),
      y_(zeros(n, capacity)),
      t_(zeros(capacity, capacity)),
      overlap_(zeros(capacity, capacity)),
      work_(zeros(n, capacity)) {}

void PendingReflectors::append(int first, int reached, int count, const double* reflectors, const double* factors) {
    if (count_ == 0) {
        start_ = first;
        current_ = first;
    }
    const int rows = activeRows();
    const int skipped = first - start_;
    double* const joining = v_.data() + at(0, count_, n_);
    lapack::laset(rows, count, 0.0, 0.0, joining, n_);
    for (int column = 0; column < count; ++column) {
        const int top = skipped + column;
        joining[at(top, column, n_)] = 1.0;
        std::copy_n(reflectors + at(column + 1, column, n_), reached - column - 1, joining + at(top + 1, column, n_));
    }
    extendTriangularFactor(count, factors);

    // Y gains (A V2 - Y V' V2) T2, with V2 the reflectors that join and T2 their triangular factor.
    double* const gained = y_.data() + at(0, count_, n_);
    multiply(Op::none, rows, count, reached, 1.0, a_ + at(start_, first, n_), n_, joining + skipped, n_, 0.0, gained,
             n_);
    multiply(Op::none, rows, count, count_, -1.0, y_.data(), n_, overlap_.data(), capacity_, 1.0, gained, n_);
    lapack::trmm(Side::right, Triangle::upper, Op::none, Diagonal::stored, rows, count, 1.0,
                 t_.data() + at(count_, count_, capacity_), capacity_, gained, n_);
    count_ += count;
}

/// The new column of T is -factor T V' v above the factor itself.
void PendingReflectors::extendTriangularFactor(int count, const double* factors) {
    const double* const joining = v_.data() + at(0, count_, n_);
    multiply(Op::transpose, count_ + count, count, activeRows(), 1.0, v_.data(), n_, joining, n_, 0.0, overlap_.data(),
             capacity_);
    for (int column = 0; column < count; ++column) {
        const int known = count_ + column;
        double* const target = t_.data() + at(0, known, capacity_);
        std::copy_n(overlap_.data() + at(0, column, capacity_), known, target);
        lapack::scal(known, -factors[column], target, 1);
        lapack::trmv(Triangle::upper, Op::none, Diagonal::stored, known, t_.data(), capacity_, target, 1);
        target[known] = factors[column];
    }
}

void PendingReflectors::bringUpToDate(int first, int width) {
    if (count_ > 0) {
        updateColumns(first, width);
        current_ = first + width;
    }
}

void PendingReflectors::updateColumns(int first, int width) {
    const int rows = activeRows();
    double* const columns = a_ + at(start_, first, n_);
    lapack::gemm(Op::none, Op::transpose, rows, width, count_, -1.0, y_.data(), n_, v_.data() + (first - start_), n_,
                 1.0, columns, n_);
    multiply(Op::transpose, count_, width, rows, 1.0, v_.data(), n_, columns, n_, 0.0, work_.data(), capacity_);
    lapack::trmm(Side::left, Triangle::upper, Op::transpose, Diagonal::stored, count_, width, 1.0, t_.data(), capacity_,
                 work_.data(), capacity_);
    multiply(Op::none, rows, width, count_, -1.0, v_.data(), n_, work_.data(), capacity_, 1.0, columns, n_);
}

void PendingReflectors::flush() {
    if (count_ == 0) {
        return;
    }
    updateColumns(current_, n_ - current_);
    // The rows above the oldest reflector meet Q from the right alone.
    double* const above = a_ + at(0, start_, n_);
    lapack::gemm(Op::none, Op::none, start_, count_, activeRows(), 1.0, above, n_, v_.data(), n_, 0.0, work_.data(),
                 n_);
    lapack::trmm(Side::right, Triangle::upper, Op::none, Diagonal::stored, start_, count_, 1.0, t_.data(), capacity_,
                 work_.data(), n_);
    lapack::gemm(Op::none, Op::transpose, start_, activeRows(), count_, -1.0, work_.data(), n_, v_.data(), n_, 1.0,
                 above, n_);
    count_ = 0;
}

}  // namespace qormath::control_utility
