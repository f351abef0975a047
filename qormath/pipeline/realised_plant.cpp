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

/// A model without states, all outputs of which stay at zero.
LTIStateSpaceModel stillModel(const LTIFIRModel& plant) {
    const int inputs = plant.coefficients.rows();
    const int outputs = plant.coefficients.cols();
    return {zeroMatrix(0, 0),       zeroMatrix(0, inputs),
            zeroMatrix(outputs, 0), zeroMatrix(outputs, inputs),
            discreteSystem,         static_cast<double>(plant.horizonSeconds) / plant.coefficientCount};
}

/// Adds a lag to all pairs that is too weak to show. A plant whose responses end after a few samples, such as one of
/// plain gains, has a Hankel matrix of low rank, and the realisation, which takes one singular value more than counts,
/// divides by one that is exactly zero.
void addWeakLag(Matrix<double>& markov, int inputs) {
    constexpr double weakness = 1e-6;
    constexpr double pole = 0.5;
    double response = weakness * markov.maxAbs();
    for (int first = inputs; first < markov.cols(); first += inputs) {
        for (int i = 0; i < inputs; ++i) {
            for (int j = 0; j < markov.rows(); ++j) {
                markov(j, first + i) += response;
            }
        }
        response *= pole;
    }
}

/// The realisation of the curves, ramp outputs by their changes. Its sample time is the exact one.
LTIStateSpaceModel realisedChanges(const LTIFIRModel& plant, int singularValueCount, Vector<double>& singularValues) {
    LTIFIRModel work(plant);
    Vector<double> scale;
    Matrix<double> markov(work.CreateMarkovMatrix(&scale, nullptr));
    if (markov.maxAbs() == 0.0) {
        return stillModel(plant);
    }
    Vector<double> unscale(scale.size());
    for (int j = 0; j < scale.size(); ++j) {
        unscale[j] = 1.0 / scale[j];
    }
    // The Markov matrix carries what the flags mean; without them no integrators are put behind the outputs.
    work.rampFlags.fill(false);
    const auto realisation = [&] {
        constexpr bool leaveGain = false;
        return work.CreateStateSpaceModel(markov, leaveGain, singularValueCount, &singularValues, &unscale, nullptr);
    };
    try {
        return realisation();
    } catch (int) {
        addWeakLag(markov, plant.coefficients.rows());
        return realisation();
    }
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
