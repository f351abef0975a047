#pragma once

#include <iosfwd>
#include <optional>
#include <string>
#include <vector>

#include <qormath/models/lti_fir_model.hpp>

#include "json_value.hpp"
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

/// What a table, or a JSON object, says about a model.
void addModelFacts(FactTable& table, const LTIFIRModel& model);
void addModelFacts(JsonValue& object, const LTIFIRModel& model);

/// What they say of how close a system is. The curve error is in percent; in JSON an error that does not exist is null.
void addFidelityFacts(FactTable& table, const Fidelity& fidelity);
void addFidelityFacts(JsonValue& object, const Fidelity& fidelity);

/// A file that a command has read or written, by its name in a table and in JSON.
struct NamedFile {
    const char* label;
    const char* key;
    std::string path;
};

/// Prints what a command has done: its files, the model, the states of its system and how close the two are, as a table
/// or as JSON.
void printReport(std::ostream& out, bool json, const std::vector<NamedFile>& files, const LTIFIRModel& model,
                 int states, const Fidelity& fidelity);

}  // namespace qormath::cli
