#pragma once

#include <qormath/core/matrix.hpp>
#include <qormath/core/vector.hpp>

namespace qormath::conditioning {

/// A packed copy of the rows and columns of m whose mask element is true, in their order. Indices past the end of a
/// mask are left out; a mask without elements stands for all indices.
QorMathLA::Matrix<double> maskedSubMatrix(const QorMathLA::Matrix<double>& m, const QorMathLA::Vector<bool>& rowMask,
                                          const QorMathLA::Vector<bool>& colMask);

}  // namespace qormath::conditioning
