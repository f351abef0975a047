#pragma once

// What Armadillo solves, behind functions of the library's matrices. Its inputs are used in place; its result is copied
// once, which costs nothing beside the rest.

#include <qormath/core/matrix.hpp>

namespace qormath::peers {

/// x with a x + x b + c = 0.
QorMathLA::Matrix<double> armadilloSylvester(const QorMathLA::Matrix<double>& a, const QorMathLA::Matrix<double>& b,
                                             const QorMathLA::Matrix<double>& c);

QorMathLA::Matrix<double> armadilloExponential(const QorMathLA::Matrix<double>& a);

/// The real and the imaginary part of the logarithm.
void armadilloLogarithm(const QorMathLA::Matrix<double>& a, QorMathLA::Matrix<double>& re,
                        QorMathLA::Matrix<double>& im);

}  // namespace qormath::peers
