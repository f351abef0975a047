#pragma once

#include <qormath/core/matrix.hpp>

namespace qormath::models {

/// Elements of the largest table of responses that is made, half a gigabyte; the curves themselves need as much again.
constexpr double largestStepTable = 0x1p26;

/// Curves (inputs by outputs, each of so many samples) of x = a x + b u, y = c x + feedthrough u to unit steps, x
/// advanced before y is taken. All responses are worked out in one table where it has at most largestTable elements;
/// otherwise they are handed out sample by sample, which takes more work and no further memory.
void fillStepCurves(QorMathLA::Matrix<QorMathLA::Vector<double>>& curves, const QorMathLA::Matrix<double>& a,
                    const QorMathLA::Matrix<double>& b, const QorMathLA::Matrix<double>& c,
                    const QorMathLA::Matrix<double>& feedthrough, int samples, double largestTable = largestStepTable);

}  // namespace qormath::models
