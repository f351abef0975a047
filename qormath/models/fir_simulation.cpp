#include <qormath/core/arithmetic.hpp>
#include <qormath/core/xmsg.hpp>
#include <qormath/models/detail/shapes.hpp>
#include <qormath/models/lti_fir_model.hpp>

using QorMathLA::Matrix;
using QorMathLA::product;
using QorMathLA::Vector;
using QorMathLA::zeroMatrix;

namespace {

void require(bool fits, const char* operation) {
    if (!fits) {
        throw QorMathLA::xmsg(QorMathLA::DimensionMismatch, operation);
    }
}

/// The steps on all inputs are simulated side by side, so the sizes are compared as those of the vectors of one step.
void requireFittingShapes(const LTIStateSpaceModel& system, const Matrix<double>& b, const Matrix<double>& c) {
    const int states = system.A.rows();
    require(system.A.cols() == states, "Matrix * Vector");
    require(b.rows() == states, "Vector + Vector");
    require(c.cols() == states, "Matrix * Vector");
    require(system.D.cols() == b.cols(), "Matrix * Vector");
    require(system.D.rows() == c.rows(), "Vector + Vector");
}

}  // namespace

LTIFIRModel::LTIFIRModel(const LTIStateSpaceModel& system, const LTIFIRModel& reference)
    : rampFlags(reference.rampFlags),
      coefficientCount(reference.coefficientCount),
      horizonSeconds(reference.horizonSeconds),
      inputNames(reference.inputNames),
      outputNames(reference.outputNames),
      inputDescriptors(reference.inputDescriptors),
      outputDescriptors(reference.outputDescriptors) {
    const Matrix<double> b = qormath::models::inputMatrixOf(system);
    const Matrix<double> c = qormath::models::outputMatrixOf(system);
    const int inputs = b.cols();
    const int outputs = c.rows();
    coefficients = Matrix<Vector<double>>(inputs, outputs);
    for (Vector<double>& curve : coefficients) {
        curve = Vector<double>(coefficientCount + 1);
    }
    if (inputs == 0) {
        return;
    }
    requireFittingShapes(system, b, c);
    Matrix<double> states = zeroMatrix(system.A.rows(), inputs);
    for (int k = 0; k <= coefficientCount; ++k) {
        states = product(system.A, states) + b;
        const Matrix<double> response = product(c, states) + system.D;
        for (int input = 0; input < inputs; ++input) {
            for (int output = 0; output < outputs; ++output) {
                coefficients(input, output)[k] = response(output, input);
            }
        }
    }
}
