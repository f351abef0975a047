#include <algorithm>
#include <cmath>
#include <cstddef>

#include <qormath/control/qor_math_control.hpp>
#include <qormath/control_utility/balanced_truncation.hpp>
#include <qormath/core/arithmetic.hpp>
#include <qormath/pipeline/detail/gain_by_outputs.hpp>
#include <qormath/pipeline/detail/truncation_forecast.hpp>

namespace qormath::pipeline {

namespace {

using control_utility::HankelDecomposition;
using control_utility::StableSystem;
using QorMathLA::Matrix;
using QorMathLA::product;
using QorMathLA::Range;
using QorMathLA::Vector;

// The pole of the lags that RetainGain adds to a discrete model.
constexpr double lagPole = 0.5;

std::vector<double> elementsOf(const Matrix<double>& matrix) {
    std::vector<double> elements;
    elements.reserve(static_cast<std::size_t>(matrix.rows()) * static_cast<std::size_t>(matrix.cols()));
    for (const double element : matrix) {
        elements.push_back(element);
    }
    return elements;
}

/// The model in balanced coordinates, cut to the positive Hankel singular values; without states if that fails.
/// hankelSingularValues becomes all of them, where there are any.
LTIStateSpaceModel balancedRealisation(const LTIStateSpaceModel& model, std::vector<double>& hankelSingularValues) {
    Matrix<double> t;
    Matrix<double> q;
    Vector<double> wr;
    Vector<double> wi;
    QorMathControl::SchurDecomposition(model.A, t, q, wr, wi, schurUnordered);
    StableSystem system;
    system.discrete = true;
    system.n = model.A.rows();
    system.m = model.B.cols();
    system.p = model.C.rows();
    system.a = elementsOf(t);
    system.b = elementsOf(product(q.transpose(), model.B));
    system.c = elementsOf(product(model.C, q));
    HankelDecomposition hankel;
    if (decomposeHankel(system, hankel) != 0) {
        return {};
    }
    hankelSingularValues = hankel.hsv;
    const std::vector<double>& values = hankel.product.values();
    const double smallest = static_cast<double>(system.n) * 0x1p-52 * values.front();
    const auto count =
        std::count_if(values.begin(), values.end(), [smallest](double value) { return value > smallest; });
    if (count == 0 || truncateBalanced(hankel, static_cast<int>(count), system) != 0) {
        return {};
    }
    return {Matrix<double>(system.n, system.n, system.a.data()),
            Matrix<double>(system.n, system.m, system.b.data()),
            Matrix<double>(system.p, system.n, system.c.data()),
            model.D,
            model.sysType,
            model.sampleTime};
}

}  // namespace

TruncationForecast::TruncationForecast(const RealisedPlant& plant, const LTIFIRModel& wanted,
                                       const CurveMeasure& measure, double gainTolerance)
    : plant_(plant), wanted_(wanted), measure_(measure), gainTolerance_(gainTolerance) {
    if (plant.stable.A.rows() == 0) {
        return;
    }
    try {
        balanced_ = balancedRealisation(plant.stable, hankelSingularValues_);
    } catch (int) {
        // No forecast, then.
    }
}

std::optional<double> TruncationForecast::errorPercent(int stableOrder) const {
    if (stableOrder < 1 || stableOrder > balanced_.A.rows()) {
        return {};
    }
    const Range leading(0, stableOrder - 1, 1);
    const Range all(-1, -1, 1);
    const LTIStateSpaceModel truncated(balanced_.A(leading, leading), balanced_.B(leading, all),
                                       balanced_.C(all, leading), balanced_.D, balanced_.sysType, balanced_.sampleTime);
    const Matrix<double> noLags = plant_.gains * 0.0;
    if (gainTolerance_ < 0.0) {
        return errorOf(truncated, noLags);
    }
    try {
        const Matrix<double> settled = settledStates(truncated);
        const Matrix<double> gains = gainsOf(truncated, settled);
        const std::vector<bool> needs = needOf(gains, plant_.gains, gainTolerance_);
        const double byLags = errorOf(truncated, missingGains(gains, plant_.gains, needs));
        LTIStateSpaceModel adjusted(truncated);
        if (anyOf(needs) && retainGainByOutputs(adjusted, plant_.gains, settled, needs, gainTolerance_)) {
            return std::min(byLags, errorOf(adjusted, noLags));
        }
        return byLags;
    } catch (int) {
        return {};
    }
}

double TruncationForecast::errorOf(const LTIStateSpaceModel& stable, const Matrix<double>& lagGains) const {
    LTIFIRModel curves(stable, wanted_);
    for (int j = 0; j < lagGains.rows(); ++j) {
        for (int i = 0; i < lagGains.cols(); ++i) {
            const double rate = plant_.rates(j, i);
            const double gain = lagGains(j, i);
            if (rate == 0.0 && gain == 0.0) {
                continue;
            }
            // Element k is the response at sample k + 1.
            Vector<double>& curve = curves.coefficients(i, j);
            double decay = lagPole;
            for (int k = 0; k < curve.size(); ++k) {
                curve[k] += rate * (k + 1) + gain * (1.0 - decay);
                decay *= lagPole;
            }
        }
    }
    return measure_.largestPercent(curves, wanted_).value_or(PairError{}).value;
}

}  // namespace qormath::pipeline
