#pragma once

#include <string>
#include <vector>

#include <qormath/models/lti_fir_model.hpp>
#include <qormath/pipeline/reduce.hpp>

namespace qormath::pipeline {

/// How the curves of an output end, whatever its flag says.
enum class Ending {
    settled,
    rising,     ///< on a straight line: a ramp
    unsettled,  ///< neither settled nor on a straight line
    withoutCurve
};

/// Why nothing can be made of a model, or of an option, whatever the model is; empty if something can.
std::string refusalOf(const LTIFIRModel& model);
std::string refusalOf(const ReduceOptions& options);

/// The ending of each output of a model that is not refused.
std::vector<Ending> endingsOf(const LTIFIRModel& model);

/// Outputs by name whose flag and ending do not agree, and those without a curve.
std::vector<std::string> warningsOf(const LTIFIRModel& model, const std::vector<Ending>& endings);

/// The largest magnitude in a curve.
double peakOf(const QorMathLA::Vector<double>& curve);

}  // namespace qormath::pipeline
