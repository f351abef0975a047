#include <qormath/core/arithmetic.hpp>
#include <qormath/structure/detail/padded_input.hpp>

namespace qormath::structure {

using QorMathLA::Matrix;
using QorMathLA::Range;

namespace {

const Range everything(-1, -1, 1);

}  // namespace

PaddedInput::PaddedInput(Matrix<double>& b, int states)
    : b_(b),
      work_(b, false),
      leadingDimension_(b.leadingDimension(true)),
      // A view of fewer rows than states would show rows of its block that are not its own.
      copied_(leadingDimension_ < states + 1 || b.rows() < states) {
    if (copied_) {
        leadingDimension_ = states + 1;
        work_ = QorMathLA::zeroMatrix(leadingDimension_, b.cols());
        work_(Range(0, b.rows() - 1, 1), everything) = b;
    }
}

void PaddedInput::writeBack() {
    if (copied_) {
        // As an rvalue that shows part of its block the result is copied compactly.
        b_ = Matrix<double>(work_(Range(0, b_.rows() - 1, 1), everything));
    }
}

}  // namespace qormath::structure
