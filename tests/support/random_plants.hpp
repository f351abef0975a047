#pragma once

// Plants of random transfer functions, as step-response models: lags, delays, ringers, ramps, pairs without a curve,
// and units that differ by twelve decades. Each is made of its seed alone.

#include <algorithm>
#include <cmath>
#include <complex>
#include <string>
#include <support/random_numbers.hpp>
#include <vector>

#include <qormath/models/lti_fir_model.hpp>

namespace qormath::test {

struct RandomPlant {
    LTIFIRModel model;
    bool hasRingers = false;  ///< with a damping ratio from 0.04 to 0.08
};

namespace random_plants {

/// Curves settle to 1e-3 or better: the slowest lag has eight time constants in the horizon.
constexpr double slowestLag = 1.0 / 8.0;

/// The response of a lag exp(-t / tau), or, with a frequency, of an oscillation that decays so, to a unit step, t
/// samples after it has reached the lag.
inline double stepOfMode(double t, double tau, double frequency) {
    if (t <= 0.0) {
        return 0.0;
    }
    const std::complex<double> s(-1.0 / tau, frequency);
    // Of the impulse response Re(-s e^(s t)), whose integral is Re(1 - e^(s t)).
    return 1.0 - std::exp(s * t).real();
}

struct Pair {
    double gain = 0.0;
    double tau = 1.0;
    double delay = 0.0;
    double ringing = 0.0;  ///< part of the gain that rings
    double rate = 0.0;     ///< rise in a sample, of a ramp
};

inline QorMathLA::Vector<double> curveOf(const Pair& pair, int n, double ringerTau, double ringerFrequency) {
    QorMathLA::Vector<double> curve(n + 1);
    for (int k = 0; k <= n; ++k) {
        const double t = k - pair.delay;
        const double settled = stepOfMode(t, pair.tau, 0.0);
        const double rung = stepOfMode(t, ringerTau, ringerFrequency);
        const double risen = t > 0.0 ? pair.rate * t : 0.0;
        curve[k] = pair.gain * ((1.0 - pair.ringing) * settled + pair.ringing * rung) + risen;
    }
    return curve;
}

}  // namespace random_plants

/// Up to largestSize inputs and outputs, at least one curve for each output.
inline RandomPlant randomPlant(unsigned seed, int largestSize) {
    using namespace random_plants;
    NormalNumbers numbers(seed);
    const int inputs = numbers.integer(1, largestSize);
    const int outputs = numbers.integer(1, largestSize);
    const int n = 30 * numbers.integer(2, 3);
    const bool hasNullPairs = numbers.uniform() < 0.5;
    const bool hasDelays = numbers.uniform() < 0.5;
    RandomPlant plant;
    const bool mayRing = numbers.uniform() < 0.3;
    // One resonance a plant, as of one vessel, seen wherever it is excited. Its envelope settles within the horizon.
    const double ringerTau = n / 8.0;
    const double ringerFrequency = 1.0 / (ringerTau * numbers.uniform(0.04, 0.08));

    QorMathLA::Matrix<QorMathLA::Vector<double>> curves(inputs, outputs);
    QorMathLA::Vector<bool> ramps(outputs);
    QorMathLA::Vector<std::string> inputNames(inputs);
    QorMathLA::Vector<std::string> outputNames(outputs);
    std::vector<double> inputUnits;
    for (int i = 0; i < inputs; ++i) {
        inputNames[i] = "U" + std::to_string(i + 1);
        inputUnits.push_back(std::pow(10.0, numbers.uniform(-6.0, 6.0)));
    }
    for (int j = 0; j < outputs; ++j) {
        outputNames[j] = "Y" + std::to_string(j + 1);
        ramps[j] = numbers.uniform() < 0.2;
        const double unit = std::pow(10.0, numbers.uniform(-6.0, 6.0));
        const int alwaysThere = numbers.integer(0, inputs - 1);
        // The dynamics of an output's sensor and vessel are shared by its inputs.
        const double tau = n * numbers.uniform(0.02, slowestLag);
        for (int i = 0; i < inputs; ++i) {
            Pair pair;
            pair.gain = numbers.uniform(0.3, 3.0) * (numbers.uniform() < 0.5 ? -1.0 : 1.0);
            pair.tau = tau * numbers.uniform(0.5, 1.0);
            pair.delay = hasDelays ? numbers.integer(0, 5) : 0;
            pair.ringing = mayRing && numbers.uniform() < 0.5 ? numbers.uniform(0.1, 0.3) : 0.0;
            pair.rate = ramps[j] ? pair.gain * numbers.uniform(0.02, 0.1) : 0.0;
            if (!hasNullPairs || i == alwaysThere || numbers.uniform() < 0.6) {
                plant.hasRingers = plant.hasRingers || pair.ringing > 0.0;
                curves(i, j) =
                    curveOf(pair, n, ringerTau, ringerFrequency) * (unit * inputUnits[static_cast<std::size_t>(i)]);
            }
        }
    }
    plant.model =
        LTIFIRModel(curves, ramps, n, n * numbers.integer(1, 100), inputNames, outputNames, inputNames, outputNames);
    return plant;
}

}  // namespace qormath::test
