#pragma once

#include <complex>

#include <qormath/core/matrix.hpp>
#include <qormath/core/vector.hpp>

namespace qormath::conditioning {

/// The diagonal blocks of a quasi-upper-triangular matrix, one element a row: 0 for a 1 by 1 block, 1 for the first and
/// 2 for the second row of a 2 by 2 block. A block is told by an element below the diagonal that is not exactly zero.
QorMathLA::Vector<int> schurBlockFlags(const QorMathLA::Matrix<double>& t);

/// The two eigenvalues of the 2 by 2 diagonal block of t whose first row is first.
struct EigenvaluePair {
    std::complex<double> first;
    std::complex<double> second;
};
EigenvaluePair eigenvaluesOfBlock(const QorMathLA::Matrix<double>& t, int first);

/// The eigenvalues of a quasi-upper-triangular matrix, in the order of its diagonal.
QorMathLA::Vector<std::complex<double>> eigenvaluesOfSchurForm(const QorMathLA::Matrix<double>& t);

}  // namespace qormath::conditioning
