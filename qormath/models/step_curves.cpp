#include <algorithm>

#include <qormath/core/arithmetic.hpp>
#include <qormath/models/detail/step_curves.hpp>
#include <qormath/models/detail/step_responses.hpp>

namespace qormath::models {

using QorMathLA::Matrix;
using QorMathLA::Vector;

namespace {

// The samples that one cache line of a curve holds: so many are taken off a table of responses at once.
constexpr int samplesAtOnce = 8;

/// Hands the table of responses, a block of columns for each sample, out to the curves, and adds the feedthrough.
void fillFromTable(Matrix<Vector<double>>& curves, const Matrix<double>& responses, const Matrix<double>& feedthrough,
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

void fillStepCurves(Matrix<Vector<double>>& curves, const Matrix<double>& a, const Matrix<double>& b,
                    const Matrix<double>& c, const Matrix<double>& feedthrough, int samples, double largestTable) {
    const int inputs = curves.rows();
    const int outputs = curves.cols();
    if (static_cast<double>(inputs) * outputs * samples <= largestTable) {
        fillFromTable(curves, stepResponses(a, b, c, samples), feedthrough, samples);
        return;
    }
    StepResponse steps(a, b, c);
    for (int k = 0; k < samples; ++k) {
        const Matrix<double> response = steps.next() + feedthrough;
        for (int input = 0; input < inputs; ++input) {
            for (int output = 0; output < outputs; ++output) {
                curves(input, output)[k] = response(output, input);
            }
        }
    }
}

}  // namespace qormath::models
