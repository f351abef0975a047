#pragma once

#include <string>

#include <qormath/models/lti_fir_model.hpp>
#include <qormath/pipeline/reduce.hpp>

#include "fidelity.hpp"
#include "json_value.hpp"
#include "text.hpp"

namespace qormath::cli {

/// How close the result is, with the names of the model.
Fidelity fidelityOf(const ReduceResult& result, const LTIFIRModel& model);

/// What a table, or a JSON object, says about a model and about what the reduction with these options has made of it.
void addReductionFacts(FactTable& table, const LTIFIRModel& model, const ReduceOptions& options,
                       const ReduceResult& result);
void addReductionFacts(JsonValue& object, const LTIFIRModel& model, const ReduceOptions& options,
                       const ReduceResult& result);

}  // namespace qormath::cli
