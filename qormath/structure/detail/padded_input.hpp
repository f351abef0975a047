#pragma once

#include <qormath/core/matrix.hpp>

namespace qormath::structure {

/// An input matrix in the storage that the staircase routines are handed: a block with at least one row more than the
/// model has states. A matrix that stands in such a block is used where it stands, any other through a copy with rows
/// of zeros below.
class PaddedInput {
  public:
    PaddedInput(QorMathLA::Matrix<double>& b, int states);

    /// Address of the first element; xmsg 9 if the matrix is used where it stands and is transposed.
    double* data() { return work_.numericData(true); }

    int leadingDimension() const { return leadingDimension_; }

    /// Gives the matrix its rows back, compactly, where a copy was used.
    void writeBack();

  private:
    QorMathLA::Matrix<double>& b_;
    QorMathLA::Matrix<double> work_;
    int leadingDimension_;
    bool copied_;
};

}  // namespace qormath::structure
