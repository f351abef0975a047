#pragma once

// How far the curves and gains of a model are from those of another, as a user of the road would ask.

#include <algorithm>
#include <cmath>

#include <qormath/models/lti_fir_model.hpp>

namespace qormath::test {

/// Element k of a curve, of which an empty one stands for zeros.
inline double elementOf(const QorMathLA::Vector<double>& curve, int k) {
    return curve.size() == 0 ? 0.0 : curve[k];
}

/// Largest distance of any curve of an output from the reference's, relative to the output's largest coefficient.
inline double curveError(const LTIFIRModel& model, const LTIFIRModel& reference, int output) {
    double peak = 0.0;
    double distance = 0.0;
    for (int input = 0; input < reference.coefficients.rows(); ++input) {
        for (int k = 0; k <= reference.coefficientCount; ++k) {
            const double expected = elementOf(reference.coefficients(input, output), k);
            peak = std::max(peak, std::fabs(expected));
            distance = std::max(distance, std::fabs(elementOf(model.coefficients(input, output), k) - expected));
        }
    }
    return distance / peak;
}

/// The largest curveError of all outputs.
inline double curveError(const LTIFIRModel& model, const LTIFIRModel& reference) {
    double error = 0.0;
    for (int output = 0; output < reference.coefficients.cols(); ++output) {
        error = std::max(error, curveError(model, reference, output));
    }
    return error;
}

/// Largest distance of an output's gains from the reference's, relative to its largest gain.
inline double gainError(const QorMathLA::Matrix<double>& gain, const QorMathLA::Matrix<double>& reference, int output) {
    double distance = 0.0;
    for (int input = 0; input < reference.cols(); ++input) {
        distance = std::max(distance, std::fabs(gain(output, input) - reference(output, input)));
    }
    return distance / reference.row(output).maxAbs();
}

}  // namespace qormath::test
