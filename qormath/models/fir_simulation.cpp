#include <algorithm>
#include <limits>
#include <new>

#include <qormath/core/arithmetic.hpp>
#include <qormath/core/xmsg.hpp>
#include <qormath/models/detail/shapes.hpp>
#include <qormath/models/detail/step_responses.hpp>
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

// The samples that one cache line of a curve holds: so many are taken off a table of responses at once.
constexpr int samplesAtOnce = 8;

// Elements of a table of responses, half a gigabyte; the curves themselves need as much again.
constexpr double largestTable = 0x1p26;

/// The elements of a curve, one more than its coefficients. No vector has more than an int numbers.
int curveLength(int coefficientCount) {
    if (coefficientCount == std::numeric_limits<int>::max()) {
        throw std::bad_alloc();
    }
    return coefficientCount + 1;
}

/// Hands the table of responses, a block of columns for each sample, out to the curves, and adds the feedthrough.
void fillCurves(Matrix<Vector<double>>& curves, const Matrix<double>& responses, const Matrix<double>& feedthrough,
                int samples) {
    const int inputs = curves.rows();
    const int outputs = curves.cols();
    for (int first = 0; first < samples; first += samplesAtOnce) {
        const int last = std::min(first + samplesAtOnce, samples);
        for (int input = 0; input < inputs; ++input) {
            for (int output = 0; output < outputs; ++output) {
                double* const curve = curves(input, output).numericData();
                const double direct = feedthrough(output, input);
                for (int k = first; k < last; ++k) {
                    curve[k] = responses(output, k * inputs + input) + direct;
                }
            }
        }
    }
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
    const int samples = curveLength(coefficientCount);
    if (static_cast<double>(inputs) * outputs * samples <= largestTable) {
        fillCurves(coefficients, qormath::models::stepResponses(system.A, b, c, samples), system.D, samples);
        return;
    }
    qormath::models::StepResponse steps(system.A, b, c);
    for (int k = 0; k < samples; ++k) {
        const Matrix<double> response = steps.next() + system.D;
        for (int input = 0; input < inputs; ++input) {
            for (int output = 0; output < outputs; ++output) {
                coefficients(input, output)[k] = response(output, input);
            }
        }
    }
}
