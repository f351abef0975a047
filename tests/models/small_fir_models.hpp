#pragma once

#include <cmath>
#include <string>
#include <support/plain_fir_file.hpp>
#include <vector>

namespace qormath::test {

/// A first-order curve that seven digits and a float hold exactly enough to come back the same.
inline std::vector<double> lagCurve(double gain, double lag, int count) {
    std::vector<double> curve;
    for (int k = 1; k <= count; ++k) {
        curve.push_back(gain * (1.0 - std::exp(-k / lag)));
    }
    return curve;
}

inline PlainModel emptyModel(int inputs, int outputs, int coefficients) {
    PlainModel model;
    model.coefficientCount = coefficients;
    model.horizonSeconds = 60 * coefficients;
    for (int i = 0; i < inputs; ++i) {
        model.inputs.push_back({"IN" + std::to_string(i), "VALVE", 0});
    }
    for (int j = 0; j < outputs; ++j) {
        model.outputs.push_back({"OUT" + std::to_string(j), "SENSOR", 0});
    }
    model.curves.resize(model.inputs.size() * model.outputs.size());
    return model;
}

/// Two inputs, three outputs, of which the second is a ramp; the pair of output 2 and input 0 has no response.
inline PlainModel smallModel(int coefficients = 30, int version = 9896) {
    PlainModel model = emptyModel(2, 3, coefficients);
    model.version = version;
    model.outputs[1].ramp = 1;
    for (std::size_t pair = 0; pair < model.curves.size(); ++pair) {
        if (pair != 4) {
            model.curves[pair] =
                lagCurve(1.5 - 0.7 * static_cast<double>(pair), 2.0 + static_cast<double>(pair), coefficients);
        }
    }
    return model;
}

}  // namespace qormath::test
