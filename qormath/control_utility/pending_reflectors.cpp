#include <cstddef>
#include <utility>

#include <qormath/control_utility/pending_reflectors.hpp>
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

}  // namespace

PendingReflectors::PendingReflectors(int n, double* a, int capacity, std::vector<ReflectorBlock>& done)
    : n_(n),
      a_(a),
      capacity_(capacity),
      block_(0, 0, capacity),
      y_(static_cast<std::size_t>(n) * static_cast<std::size_t>(capacity)),
      done_(done) {}

void PendingReflectors::append(int first, int reached, int count, const double* reflectors, int ld,
                               const double* factors) {
    if (block_.count() == 0) {
        block_ = ReflectorBlock(first, n_ - first, capacity_);
        current_ = first;
    }
    const int rows = block_.rows();
    const int skipped = first - block_.first();
    const int known = block_.count();
    const std::vector<double> overlap = block_.append(skipped, reached, count, reflectors, ld, factors);

    // Y gains (A V2 - Y V' V2) T2, with V2 the reflectors that join and T2 their triangular factor.
    double* const gained = y_.data() + at(0, known, rows);
    multiplyThin(Op::none, rows, count, reached, 1.0, a_ + at(block_.first(), first, n_), n_,
                 block_.v() + at(skipped, known, rows), rows, 0.0, gained, rows);
    multiplyThin(Op::none, rows, count, known, -1.0, y_.data(), rows, overlap.data(), capacity_, 1.0, gained, rows);
    lapack::trmm(Side::right, Triangle::upper, Op::none, Diagonal::stored, rows, count, 1.0,
                 block_.t() + at(known, known, capacity_), capacity_, gained, rows);
}

void PendingReflectors::bringUpToDate(int first, int width) {
    if (block_.count() > 0) {
        updateColumns(first, width);
        current_ = first + width;
    }
}

void PendingReflectors::updateColumns(int first, int width) {
    double* const columns = a_ + at(block_.first(), first, n_);
    multiplyThin(Op::transpose, block_.rows(), width, block_.count(), -1.0, y_.data(), block_.rows(),
                 block_.v() + (first - block_.first()), block_.rows(), 1.0, columns, n_);
    block_.multiplyFromLeft(Op::transpose, width, columns, n_);
}

void PendingReflectors::flush() {
    if (block_.count() == 0) {
        return;
    }
    updateColumns(current_, n_ - current_);
    // The rows above the oldest reflector meet Q from the right alone.
    block_.multiplyFromRight(block_.first(), a_ + at(0, block_.first(), n_), n_);
    done_.push_back(std::exchange(block_, ReflectorBlock(0, 0, capacity_)));
}

}  // namespace qormath::control_utility
