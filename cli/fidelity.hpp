#pragma once

#include <nlohmann/json.hpp>
#include <optional>
#include <string>

#include <qormath/models/lti_fir_model.hpp>

#include "system_file.hpp"
#include "text.hpp"

namespace qormath::cli {

/// The largest of the errors of all pairs of an output and an input, and where it is.
struct PairError {
    double value = 0.0;
    std::string output;
    std::string input;
};

/// How close a system comes to the step-response model that it stands for.
struct Fidelity {
    /// Steady-state gains, relative to the pair's own gain in the model, or to the output's largest where that is 0.
    /// Over the outputs that are no ramps; empty where there is none, or where the system has no steady state.
    std::optional<PairError> gain;

    /// Rates of the ramp outputs, relative to the model's in the same manner; empty where there is none.
    std::optional<PairError> rampRate;

    /// Elements of the curves, relative to the output's largest coefficient; empty where there is no curve.
    std::optional<PairError> curve;
};

/// Compares a system and the curves that it gives with a model of the same inputs and outputs. An output whose curves
/// are all zero is compared absolutely.
Fidelity compare(const LTIStateSpaceModel& system, const LTIFIRModel& simulated, const LTIFIRModel& model);

/// What a table says about a model, its realisation and how close the two are. The curve error is in percent.
void addModelFacts(FactTable& table, const LTIFIRModel& model);
void addFidelityFacts(FactTable& table, const Fidelity& fidelity);

/// The same for a JSON object; an error that does not exist is null.
void addModelFacts(nlohmann::ordered_json& object, const LTIFIRModel& model);
void addFidelityFacts(nlohmann::ordered_json& object, const Fidelity& fidelity);

}  // namespace qormath::cli
