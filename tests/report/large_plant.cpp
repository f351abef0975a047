// Writes the model file of a large plant: first-order lags with dead time and some overshoot on three pairs of four,
// two ramps, 25 inputs, 40 outputs, 120 coefficients. The first names are markup, which a page must not take them for.

#include <cmath>
#include <iostream>
#include <string>
#include <support/random_numbers.hpp>

#include <qormath/models/lti_fir_model.hpp>

#include "model_file.hpp"

namespace {

using QorMathLA::Vector;

constexpr int inputs = 25;
constexpr int outputs = 40;
constexpr int coefficientCount = 120;

/// The lag is of the output, as that of a vessel is: with one of its own for each pair there would be 400 states.
Vector<double> curve(qormath::test::NormalNumbers& numbers, double lag, bool isRamp) {
    const double gain = numbers.uniform(-2.0, 2.0);
    const int delay = numbers.integer(0, 2);
    const double overshoot = numbers.uniform() < 0.2 ? numbers.uniform(0.2, 0.8) : 0.0;
    Vector<double> result(coefficientCount + 1);
    for (int k = 0; k <= coefficientCount; ++k) {
        const double t = k > delay ? k - delay : 0.0;
        const double decay = std::exp(-t / lag);
        result[k] = gain * (1.0 - decay + overshoot * decay * std::sin(0.5 * t) + (isRamp ? 0.05 * t : 0.0));
    }
    return result;
}

Vector<std::string> names(const std::string& stem, int count) {
    Vector<std::string> result(count);
    for (int k = 0; k < count; ++k) {
        result[k] = stem + std::to_string(101 + k);
    }
    result[0] = "</SCRIPT>";
    result[1] = "<B>" + stem;
    result[2] = "&LT;!--";
    return result;
}

LTIFIRModel largePlant() {
    qormath::test::NormalNumbers numbers(25);
    QorMathLA::Matrix<Vector<double>> curves(inputs, outputs);
    Vector<bool> ramps(outputs);
    for (int j = 0; j < outputs; ++j) {
        ramps[j] = j == 7 || j == 31;
        const double lag = numbers.uniform(3.0, 15.0);
        for (int i = 0; i < inputs; ++i) {
            if (i == j % inputs || numbers.uniform() < 0.75) {
                curves(i, j) = curve(numbers, lag, ramps[j]);
            }
        }
    }
    return {curves,
            ramps,
            coefficientCount,
            60 * coefficientCount,
            names("FC", inputs),
            names("TI", outputs),
            names("FLOW ", inputs),
            names("TEMP ", outputs)};
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::cerr << "usage: large_plant MODEL.fir\n";
        return 2;
    }
    qormath::cli::writeModelFile(argv[1], largePlant());
    return 0;
}
