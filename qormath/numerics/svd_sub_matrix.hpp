#pragma once

/// @file
/// A square part of a gain matrix.

#include <qormath/core/shared_array.hpp>
#include <qormath/core/vector.hpp>
#include <qormath/export.h>

namespace QorMathLA {

class QORMATH_API SVDSubMatrix;
class QORMATH_API QorSVDAnalysis;

extern template class SharedArray<SVDSubMatrix>;
extern template class BasicVector<SVDSubMatrix>;
extern template class Vector<SVDSubMatrix>;
extern template class VectorSoft<SVDSubMatrix>;

/// One result of QorSVDAnalysis: which rows and columns of the gain matrix form a square sub-matrix, and how well that
/// is conditioned. A value that never changes; copies share the lists of indices, and none of them is bound to the
/// analysis that it came from.
class QORMATH_API SVDSubMatrix {
  public:
    /// The sub-matrix without rows and columns; both its measures are 0.
    SVDSubMatrix() = default;

    /// The sub-matrix of these rows and columns. Throws the int -1 if there are not as many of the one as of the other.
    SVDSubMatrix(const Vector<int>& rows, const Vector<int>& cols, double conditionNumber, double rga);

    /// Rows of the gain matrix, zero-based; ascending in the results of an analysis. A new vector.
    Vector<int> getRowIndices() const;

    /// Columns of the gain matrix, zero-based; ascending in the results of an analysis. A new vector.
    Vector<int> getColIndices() const;

    /// The largest singular value over the smallest one.
    double getConditionNumber() const { return conditionNumber_; }

    /// The largest absolute element of the relative gain array, which for a sub-matrix S is the element-wise product of
    /// S and the transposed inverse of S (E. H. Bristol, "On a new measure of interaction for multivariable process
    /// control", IEEE Trans. Automatic Control 11 (1966)). An element of S that changes by -1/lambda of itself, lambda
    /// its element of the array, makes S singular.
    double getRGA() const { return rga_; }

    /// Orders by condition number, then RGA value, then row indices, then column indices, these two as words are
    /// ordered. The order is total: of two sub-matrices that differ one comes first. A NaN comes after all numbers.
    bool operator<(const SVDSubMatrix& other) const;

  private:
    friend class QorSVDAnalysis;

    /// The order rows, then as many columns, that stand in the block from position begin on.
    SVDSubMatrix(const SharedArray<int>& indices, int begin, int order, double conditionNumber, double rga)
        : indices_(indices), begin_(begin), order_(order), conditionNumber_(conditionNumber), rga_(rga) {}

    // One block serves all results of an analysis: hundreds of thousands of them would else hold two blocks each.
    SharedArray<int> indices_;
    int begin_ = 0;
    int order_ = 0;
    double conditionNumber_ = 0.0;
    double rga_ = 0.0;
};

}  // namespace QorMathLA
