#include <limits>
#include <new>

#include <qormath/core/arithmetic.hpp>
#include <qormath/core/xmsg.hpp>
#include <qormath/models/detail/shapes.hpp>
#include <qormath/models/detail/step_curves.hpp>
#include <qormath/models/lti_fir_model.hpp>

using QorMathLA::Matrix;
using QorMathLA::Vector;

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

/// The elements of a curve, one more than its coefficients. No vector has more than an int numbers.
int curveLength(int coefficientCount) {
    if (coefficientCount == std::numeric_limits<int>::max()) {
        throw std::bad_alloc();
    }
    return coefficientCount + 1;
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
        curve = Vector<double>(curveLength(coefficientCount));
    }
    if (inputs == 0) {
        return;
    }
    requireFittingShapes(system, b, c);
    if (outputs == 0) {
        return;
    }
    qormath::models::fillStepCurves(coefficients, system.A, b, c, system.D, curveLength(coefficientCount));
}
