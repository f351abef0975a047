#pragma once

#include <qormath/core/arithmetic.hpp>
#include <qormath/models/lti_state_space_model.hpp>

namespace qormath::models {

// A model without states may come with A, B and C default-constructed, so that D alone tells its inputs and outputs.
// These give its B as 0 by m and its C as p by 0, and the matrices of any other model as they are.

inline QorMathLA::MatrixSoft<double> inputMatrixOf(const LTIStateSpaceModel& model) {
    const bool untold = model.A.rows() == 0 && model.B.rows() == 0 && model.B.cols() == 0;
    return untold ? QorMathLA::zeroMatrix(0, model.D.cols()) : QorMathLA::MatrixSoft<double>(model.B);
}

inline QorMathLA::MatrixSoft<double> outputMatrixOf(const LTIStateSpaceModel& model) {
    const bool untold = model.A.rows() == 0 && model.C.rows() == 0 && model.C.cols() == 0;
    return untold ? QorMathLA::zeroMatrix(model.D.rows(), 0) : QorMathLA::MatrixSoft<double>(model.C);
}

}  // namespace qormath::models
