#pragma once

// Step-response models written down as functions of the sample.

#include <cmath>
#include <functional>
#include <string>
#include <vector>

#include <qormath/models/lti_fir_model.hpp>

namespace qormath::test {

/// The element of a curve at a sample; an empty function stands for no curve.
using CurveFunction = std::function<double(int)>;

/// 1 - exp(-(k - delay) / tau), times gain.
inline CurveFunction lag(double gain, double tau, int delay = 0) {
    return [=](int k) { return k <= delay ? 0.0 : gain * (1.0 - std::exp(-(k - delay) / tau)); };
}

/// A rise of rate a sample, behind a lag.
inline CurveFunction ramp(double rate, double tau) {
    return [=](int k) { return rate * (k - tau * (1.0 - std::exp(-k / tau))); };
}

inline CurveFunction sum(CurveFunction one, CurveFunction other) {
    return [=](int k) { return one(k) + other(k); };
}

inline CurveFunction scaledBy(double factor, CurveFunction curve) {
    return [=](int k) { return factor * curve(k); };
}

/// The step response of w^2 / (s^2 + 2 z w s + w^2) times gain, w in radians a sample.
inline CurveFunction oscillation(double gain, double z, double w) {
    return [=](int k) {
        const double damped = w * std::sqrt(1.0 - z * z);
        const double decay = std::exp(-z * w * k);
        return gain * (1.0 - decay * (std::cos(damped * k) + z * w / damped * std::sin(damped * k)));
    };
}

/// A model of inputs U1, U2, ... and outputs Y1, Y2, ...; rows are outputs. A flag that is missing is false.
inline LTIFIRModel plantOf(const std::vector<std::vector<CurveFunction>>& rows, int coefficientCount,
                           int horizonSeconds, const std::vector<bool>& ramps = {}) {
    const int outputs = static_cast<int>(rows.size());
    const int inputs = outputs == 0 ? 0 : static_cast<int>(rows[0].size());
    QorMathLA::Matrix<QorMathLA::Vector<double>> curves(inputs, outputs);
    QorMathLA::Vector<bool> flags(outputs);
    QorMathLA::Vector<std::string> inputNames(inputs);
    QorMathLA::Vector<std::string> outputNames(outputs);
    for (int i = 0; i < inputs; ++i) {
        inputNames[i] = "U" + std::to_string(i + 1);
    }
    for (int j = 0; j < outputs; ++j) {
        outputNames[j] = "Y" + std::to_string(j + 1);
        flags[j] = static_cast<std::size_t>(j) < ramps.size() && ramps[static_cast<std::size_t>(j)];
        for (int i = 0; i < inputs; ++i) {
            const CurveFunction& function = rows[static_cast<std::size_t>(j)][static_cast<std::size_t>(i)];
            if (!function) {
                continue;
            }
            QorMathLA::Vector<double> curve(coefficientCount + 1);
            for (int k = 0; k <= coefficientCount; ++k) {
                curve[k] = function(k);
            }
            curves(i, j) = curve;
        }
    }
    return {curves, flags, coefficientCount, horizonSeconds, inputNames, outputNames, inputNames, outputNames};
}

}  // namespace qormath::test
