#pragma once

// What a reduced model does, found without the functions that made it.

#include <algorithm>
#include <cmath>
#include <complex>
#include <limits>
#include <support/transfer.hpp>

#include <qormath/models/lti_fir_model.hpp>
#include <qormath/pipeline/reduce.hpp>

namespace qormath::test {

/// The part of a reduced model behind its integrators, which lead and stand apart.
inline LTIStateSpaceModel stablePartOf(const ReduceResult& result) {
    const LTIStateSpaceModel& model = result.model;
    const int n = model.A.rows();
    const QorMathLA::Range all(-1, -1, 1);
    const QorMathLA::Range stable(result.rampStates, n - 1, 1);
    if (result.rampStates == 0) {
        return model;
    }
    return {model.A(stable, stable), model.B(stable, all), model.C(all, stable), model.D,
            model.sysType,           model.sampleTime};
}

/// True if the leading states are integrators that no other state acts on, and that act on none.
inline bool integratorsLead(const ReduceResult& result) {
    const QorMathLA::Matrix<double>& a = result.model.A;
    for (int i = 0; i < a.rows(); ++i) {
        for (int j = 0; j < a.cols(); ++j) {
            const bool isRamp = std::min(i, j) < result.rampStates;
            if (isRamp && a(i, j) != (i == j ? 1.0 : 0.0)) {
                return false;
            }
        }
    }
    return true;
}

inline double peakOfOutput(const LTIFIRModel& model, int output) {
    double peak = 0.0;
    for (int i = 0; i < model.coefficients.rows(); ++i) {
        for (const double value : model.coefficients(i, output)) {
            peak = std::max(peak, std::fabs(value));
        }
    }
    return peak;
}

/// The largest error of a steady-state gain of the outputs that are no ramps, relative to the output's peak. Infinite
/// if an integrator acts on such an output.
inline double largestGainErrorOfPeak(const ReduceResult& result, const LTIFIRModel& model) {
    const QorMathLA::Matrix<double> gains = transferAt(stablePartOf(result), 1.0);
    double largest = integratorsLead(result) ? 0.0 : std::numeric_limits<double>::infinity();
    for (int j = 0; j < model.coefficients.cols(); ++j) {
        const double peak = peakOfOutput(model, j);
        if (model.rampFlags[j] || peak == 0.0) {
            continue;
        }
        for (int i = 0; i < model.coefficients.rows(); ++i) {
            const QorMathLA::Vector<double>& curve = model.coefficients(i, j);
            const double wanted = curve.size() == 0 ? 0.0 : curve[model.coefficientCount];
            largest = largerOf(largest, std::fabs(gains(j, i) - wanted) / peak);
        }
        for (int k = 0; k < result.rampStates; ++k) {
            largest = result.model.C(j, k) == 0.0 ? largest : std::numeric_limits<double>::infinity();
        }
    }
    return largest;
}

/// The largest error of the rate of a ramp, relative to the output's largest rate.
inline double largestRateError(const ReduceResult& result, const LTIFIRModel& model) {
    const int n = model.coefficientCount;
    double largest = 0.0;
    for (int j = 0; j < model.coefficients.cols(); ++j) {
        double error = 0.0;
        double fastest = 0.0;
        for (int i = 0; i < model.coefficients.rows() && model.rampFlags[j]; ++i) {
            const QorMathLA::Vector<double>& curve = model.coefficients(i, j);
            const double wanted = curve.size() == 0 ? 0.0 : curve[n] - curve[n - 1];
            double rate = 0.0;
            for (int k = 0; k < result.rampStates; ++k) {
                rate += result.model.C(j, k) * result.model.B(k, i);
            }
            fastest = std::max(fastest, std::fabs(wanted));
            error = largerOf(error, std::fabs(rate - wanted));
        }
        largest = error == 0.0 ? largest : largerOf(largest, error / fastest);
    }
    return largest;
}

/// The smallest damping ratio of a mode that is neither an integrator nor a delay; infinite if there is none.
inline double leastDampingRatio(const ReduceResult& result) {
    double least = std::numeric_limits<double>::infinity();
    for (const std::complex<double>& pole : sortedPoles(stablePartOf(result).A)) {
        const std::complex<double> s = std::log(pole);
        least = std::abs(pole) == 0.0 ? least : std::min(least, std::fabs(s.real()) / std::abs(s));
    }
    return least;
}

}  // namespace qormath::test
