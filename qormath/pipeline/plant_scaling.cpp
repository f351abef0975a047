#include <algorithm>
#include <cmath>
#include <cstddef>

#include <qormath/core/arithmetic.hpp>
#include <qormath/models/detail/shapes.hpp>
#include <qormath/pipeline/detail/plant_check.hpp>
#include <qormath/pipeline/detail/plant_scaling.hpp>

namespace qormath::pipeline {

namespace {

using QorMathLA::Matrix;
using QorMathLA::Vector;
using QorMathLA::zeroMatrix;

/// The exponent that brings a positive peak to 1 up to 2; 0 for none.
int exponentOf(double peak) {
    return peak > 0.0 ? -std::ilogb(peak) : 0;
}

int at(const std::vector<int>& values, int index) {
    return values[static_cast<std::size_t>(index)];
}

template <class T>
Vector<T> selected(const Vector<T>& values, const std::vector<int>& indices) {
    Vector<T> result(static_cast<int>(indices.size()));
    for (int k = 0; k < result.size(); ++k) {
        result[k] = values[at(indices, k)];
    }
    return result;
}

/// Descriptors decide nothing and may be missing.
Vector<std::string> selectedTexts(const Vector<std::string>& texts, const std::vector<int>& indices) {
    Vector<std::string> result(static_cast<int>(indices.size()));
    for (int k = 0; k < result.size(); ++k) {
        result[k] = at(indices, k) < texts.size() ? texts[at(indices, k)] : std::string();
    }
    return result;
}

Vector<double> multiplied(const Vector<double>& curve, int exponent) {
    Vector<double> result(curve.size());
    for (int k = 0; k < curve.size(); ++k) {
        result[k] = std::ldexp(curve[k], exponent);
    }
    return result;
}

}  // namespace

PlantScaling::PlantScaling(const LTIFIRModel& model) : outputCount_(model.coefficients.cols()) {
    const int inputs = model.coefficients.rows();
    for (int j = 0; j < outputCount_; ++j) {
        double peak = 0.0;
        for (int i = 0; i < inputs; ++i) {
            peak = std::max(peak, peakOf(model.coefficients(i, j)));
        }
        if (peak > 0.0) {
            outputs_.push_back(j);
            outputExponents_.push_back(exponentOf(peak));
        }
    }
    for (int i = 0; i < inputs; ++i) {
        double peak = 0.0;
        for (std::size_t k = 0; k < outputs_.size(); ++k) {
            peak = std::max(peak, std::ldexp(peakOf(model.coefficients(i, outputs_[k])), outputExponents_[k]));
        }
        inputExponents_.push_back(exponentOf(peak));
    }
}

LTIFIRModel PlantScaling::scaled(const LTIFIRModel& model) const {
    const int inputs = model.coefficients.rows();
    const int outputs = static_cast<int>(outputs_.size());
    Matrix<Vector<double>> curves(inputs, outputs);
    for (int j = 0; j < outputs; ++j) {
        for (int i = 0; i < inputs; ++i) {
            curves(i, j) =
                multiplied(model.coefficients(i, at(outputs_, j)), at(outputExponents_, j) + inputExponent(i));
        }
    }
    return {curves,
            selected(model.rampFlags, outputs_),
            model.coefficientCount,
            model.horizonSeconds,
            model.inputNames,
            selected(model.outputNames, outputs_),
            model.inputDescriptors,
            selectedTexts(model.outputDescriptors, outputs_)};
}

LTIStateSpaceModel PlantScaling::unscaled(const LTIStateSpaceModel& model) const {
    const int states = model.A.rows();
    const int inputs = static_cast<int>(inputExponents_.size());
    Matrix<double> b = models::inputMatrixOf(model);
    Matrix<double> c = zeroMatrix(outputCount_, states);
    Matrix<double> d = zeroMatrix(outputCount_, inputs);
    for (int i = 0; i < inputs; ++i) {
        for (int k = 0; k < states; ++k) {
            b(k, i) = std::ldexp(b(k, i), -inputExponent(i));
        }
    }
    for (int j = 0; j < static_cast<int>(outputs_.size()); ++j) {
        const int output = at(outputs_, j);
        const int exponent = -at(outputExponents_, j);
        for (int k = 0; k < states; ++k) {
            c(output, k) = std::ldexp(model.C(j, k), exponent);
        }
        for (int i = 0; i < inputs; ++i) {
            d(output, i) = std::ldexp(model.D(j, i), exponent - inputExponent(i));
        }
    }
    return {model.A, b, c, d, model.sysType, model.sampleTime};
}

}  // namespace qormath::pipeline
