#pragma once

// Small models whose numbers can be told by hand.

#include <algorithm>
#include <cmath>
#include <functional>
#include <string>
#include <vector>

#include <qormath/models/lti_fir_model.hpp>
#include <qormath/models/lti_state_space_model.hpp>

#include "system_file.hpp"

namespace qormath::test {

inline QorMathLA::Matrix<double> matrixOf(const std::vector<std::vector<double>>& rows, int columns) {
    QorMathLA::Matrix<double> result(static_cast<int>(rows.size()), columns);
    for (int i = 0; i < result.rows(); ++i) {
        for (int j = 0; j < columns; ++j) {
            result(i, j) = rows[static_cast<std::size_t>(i)][static_cast<std::size_t>(j)];
        }
    }
    return result;
}

inline QorMathLA::Vector<std::string> textsOf(const std::string& stem, int count) {
    QorMathLA::Vector<std::string> result(count);
    for (int k = 0; k < count; ++k) {
        result[k] = stem + std::to_string(k + 1);
    }
    return result;
}

/// A model of the sizes told, sampled each second, without ramps; curve(output, input, k) is element k of a curve.
inline LTIFIRModel modelOf(int inputs, int outputs, int coefficientCount,
                           const std::function<double(int, int, int)>& curve) {
    LTIFIRModel model;
    model.coefficients = QorMathLA::Matrix<QorMathLA::Vector<double>>(inputs, outputs);
    for (int i = 0; i < inputs; ++i) {
        for (int j = 0; j < outputs; ++j) {
            QorMathLA::Vector<double> elements(coefficientCount + 1);
            for (int k = 0; k <= coefficientCount; ++k) {
                elements[k] = curve(j, i, k);
            }
            model.coefficients(i, j) = elements;
        }
    }
    model.rampFlags = QorMathLA::Vector<bool>(outputs);
    model.rampFlags.fill(false);
    model.coefficientCount = coefficientCount;
    model.horizonSeconds = coefficientCount;
    model.inputNames = textsOf("U", inputs);
    model.outputNames = textsOf("Y", outputs);
    model.inputDescriptors = textsOf("IN", inputs);
    model.outputDescriptors = textsOf("OUT", outputs);
    return model;
}

/// The largest magnitude in a curve.
inline double largestOf(const QorMathLA::Vector<double>& curve) {
    double largest = 0.0;
    for (const double value : curve) {
        largest = std::max(largest, std::fabs(value));
    }
    return largest;
}

inline LTIFIRModel zeroModel(int inputs, int outputs, int coefficientCount) {
    return modelOf(inputs, outputs, coefficientCount, [](int, int, int) { return 0.0; });
}

/// x(k+1) = pole x(k) + input u(k), y(k) = output x(k) + feedthrough u(k), sampled each second.
inline cli::SystemFile firstOrder(double pole, double input, double output, double feedthrough) {
    cli::SystemFile file;
    file.system = LTIStateSpaceModel(matrixOf({{pole}}, 1), matrixOf({{input}}, 1), matrixOf({{output}}, 1),
                                     matrixOf({{feedthrough}}, 1), discreteSystem, 1.0);
    file.inputs = {"U1"};
    file.outputs = {"Y1"};
    return file;
}

}  // namespace qormath::test
