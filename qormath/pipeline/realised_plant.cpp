#include <cmath>

#include <qormath/control/qor_math_control.hpp>
#include <qormath/core/arithmetic.hpp>
#include <qormath/pipeline/detail/realised_plant.hpp>

namespace qormath::pipeline {

namespace {

using QorMathLA::Matrix;
using QorMathLA::product;
using QorMathLA::Range;
using QorMathLA::Vector;
using QorMathLA::zeroMatrix;

constexpr double byDefault = -1.0;

/// The realisation of the curves, ramp outputs by their changes. Its sample time is the exact one.
LTIStateSpaceModel realisedChanges(const LTIFIRModel& plant, int singularValueCount, Vector<double>& singularValues) {
    LTIFIRModel work(plant);
    Vector<double> scale;
    Matrix<double> markov(work.CreateMarkovMatrix(&scale, nullptr));
    Vector<double> unscale(scale.size());
    for (int j = 0; j < scale.size(); ++j) {
        unscale[j] = 1.0 / scale[j];
    }
    // The Markov matrix carries what the flags mean; without them no integrators are put behind the outputs.
    work.rampFlags.fill(false);
    constexpr bool leaveGain = false;
    return work.CreateStateSpaceModel(markov, leaveGain, singularValueCount, &singularValues, &unscale, nullptr);
}

/// Cuts away the modes at the stability limit: what rounding leaves there would be a ramp of an output that has none.
void keepStableModes(LTIStateSpaceModel& model) {
    Vector<int> report;
    QorMathControl::MinimalRealization(model, report, byDefault, byDefault, byDefault);
    const int marginal = report[1];
    if (marginal > 0) {
        constexpr bool keepFeedthrough = false;
        model.ExtractRange(Range(marginal, model.A.rows() - 1, 1), keepFeedthrough);
    }
}

}  // namespace

RealisedPlant realise(const LTIFIRModel& plant, int singularValueCount) {
    RealisedPlant result;
    result.stable = realisedChanges(plant, singularValueCount, result.singularValues);
    keepStableModes(result.stable);

    const int n = result.stable.A.rows();
    const Matrix<double> identity = Matrix<double>().identity(n);
    const Matrix<double> distances =
        product(result.stable.C, pseudoInverse(identity - result.stable.A, byDefault)) * -1.0;
    for (int j = 0; j < plant.rampFlags.size() && n > 0; ++j) {
        if (plant.rampFlags[j]) {
            result.stable.C.row(j) = distances.row(j);
        }
    }

    result.gains = LTIFIRModel(plant).GetGain();
    result.rates = zeroMatrix(result.gains.rows(), result.gains.cols());
    const Matrix<double> stableGains = result.stable.gain();
    for (int j = 0; j < plant.rampFlags.size(); ++j) {
        if (plant.rampFlags[j]) {
            result.rates.row(j) = result.gains.row(j);
            result.gains.row(j) = stableGains.row(j);
        }
    }
    return result;
}

}  // namespace qormath::pipeline
