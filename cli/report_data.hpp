#pragma once

#include <string>

#include <qormath/models/lti_fir_model.hpp>
#include <qormath/pipeline/reduce.hpp>

#include "json_value.hpp"

namespace qormath::cli {

/// What a report shows of a model and of what the reduction with these options, which studied the orders, has made of
/// it: both files, the facts of the reduction, names, each pair with its gains, errors and curves, poles, Hankel
/// singular values and the errors against order. Elements of curves have the digits of a model file.
JsonValue reportData(const std::string& modelPath, const std::string& reportPath, const LTIFIRModel& model,
                     const ReduceOptions& options, const ReduceResult& result);

}  // namespace qormath::cli
