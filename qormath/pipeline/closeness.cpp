#include <algorithm>
#include <cmath>
#include <cstddef>

#include <qormath/pipeline/detail/closeness.hpp>
#include <qormath/pipeline/detail/plant_check.hpp>

namespace qormath::pipeline {

namespace {

using QorMathLA::Vector;

constexpr double percent = 100.0;

// An input whose strongest effect stays below this part of every output's peak is a matter of units rather than of
// weakness.
constexpr double smallUnit = 0.1;

double elementOf(const Vector<double>& curve, int k) {
    return curve.size() == 0 ? 0.0 : curve[k];
}

}  // namespace

void LargestError::add(double error, int output, int input) {
    const bool isLarger = !found_ || (!std::isnan(found_->value) && !(error <= found_->value));
    if (isLarger) {
        found_ = PairError{error, {output, input}};
    }
}

CurveMeasure::CurveMeasure(const LTIFIRModel& model) {
    for (int j = 0; j < model.coefficients.cols(); ++j) {
        double largest = 0.0;
        for (int i = 0; i < model.coefficients.rows(); ++i) {
            largest = std::max(largest, peakOf(model.coefficients(i, j)));
        }
        peaks_.push_back(largest > 0.0 ? largest : 1.0);
    }
    for (int i = 0; i < model.coefficients.rows(); ++i) {
        double effect = 0.0;
        for (int j = 0; j < model.coefficients.cols(); ++j) {
            effect = std::max(effect, peakOf(model.coefficients(i, j)) / peak(j));
        }
        inputWeights_.push_back(effect > 0.0 && effect < smallUnit ? 1.0 / effect : 1.0);
    }
}

CurveMeasure CurveMeasure::scaled(const PlantScaling& scaling) const {
    CurveMeasure result;
    for (std::size_t k = 0; k < scaling.outputs().size(); ++k) {
        const int output = scaling.outputs()[k];
        result.peaks_.push_back(std::ldexp(peak(output), scaling.outputExponent(static_cast<int>(k))));
    }
    for (std::size_t i = 0; i < inputWeights_.size(); ++i) {
        result.inputWeights_.push_back(std::ldexp(inputWeights_[i], -scaling.inputExponent(static_cast<int>(i))));
    }
    return result;
}

double CurveMeasure::distancePercent(const LTIFIRModel& one, const LTIFIRModel& other, int output, int input) const {
    const Vector<double>& first = one.coefficients(input, output);
    const Vector<double>& second = other.coefficients(input, output);
    double largest = 0.0;
    for (int k = 0; k < std::max(first.size(), second.size()); ++k) {
        const double distance = std::fabs(elementOf(first, k) - elementOf(second, k));
        if (std::isnan(distance)) {
            return distance;
        }
        largest = std::max(largest, distance);
    }
    return percent * largest / peak(output) * inputWeights_[static_cast<std::size_t>(input)];
}

std::optional<PairError> CurveMeasure::largestPercent(const LTIFIRModel& one, const LTIFIRModel& other) const {
    LargestError largest;
    for (int j = 0; j < one.coefficients.cols(); ++j) {
        for (int i = 0; i < one.coefficients.rows(); ++i) {
            largest.add(distancePercent(one, other, j, i), j, i);
        }
    }
    return largest.found();
}

}  // namespace qormath::pipeline
