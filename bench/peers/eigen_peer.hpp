#pragma once

// What Eigen solves, behind functions of the library's matrices. Its products go to the same BLAS as ours.

#include <qormath/core/matrix.hpp>

namespace qormath::peers {

QorMathLA::Matrix<double> eigenExponential(const QorMathLA::Matrix<double>& a);

}  // namespace qormath::peers
