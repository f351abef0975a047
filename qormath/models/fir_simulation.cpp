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

/// The step responses without feedthrough, one sample after the other. Either the states move for all inputs at once,
/// or their sum seen from the outputs does: C (A^k + ... + I) B is the same from both ends, and the narrower end costs
/// less.
class StepResponse {
  public:
    StepResponse(const Matrix<double>& a, const Matrix<double>& b, const Matrix<double>& c)
        : a_(a),
          b_(b),
          c_(c),
          fromOutputs_(c.rows() < b.cols()),
          power_(c),
          sum_(fromOutputs_ ? zeroMatrix(c.rows(), a.rows()) : zeroMatrix(a.rows(), b.cols())) {}

    Matrix<double> next() {
        if (fromOutputs_) {
            sum_ += power_;
            power_ = product(power_, a_);
            return product(sum_, b_);
        }
        sum_ = product(a_, sum_) + b_;
        return product(c_, sum_);
    }

  private:
    const Matrix<double>& a_;
    const Matrix<double>& b_;
    const Matrix<double>& c_;
    bool fromOutputs_;
    Matrix<double> power_;
    Matrix<double> sum_;
};

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
    StepResponse steps(system.A, b, c);
    for (int k = 0; k <= coefficientCount; ++k) {
        const Matrix<double> response = steps.next() + system.D;
        for (int input = 0; input < inputs; ++input) {
            for (int output = 0; output < outputs; ++output) {
                coefficients(input, output)[k] = response(output, input);
            }
        }
    }
}
