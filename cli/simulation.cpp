#include "simulation.hpp"

#include <cmath>
#include <string>

#include "model_file.hpp"
#include "program_error.hpp"
#include "text.hpp"

namespace qormath::cli {

namespace {

using QorMathLA::Matrix;
using QorMathLA::Vector;

/// Sample times that another program has computed and printed agree to this, relatively.
constexpr double sampleTimeTolerance = 1e-9;

void requireFit(const SystemFile& file, const LTIFIRModel& reference) {
    const auto counts = [](std::size_t inputs, std::size_t outputs) {
        return std::to_string(inputs) + " inputs and " + std::to_string(outputs) + " outputs";
    };
    const auto inputs = static_cast<std::size_t>(inputCountOf(reference));
    const auto outputs = static_cast<std::size_t>(outputCountOf(reference));
    if (file.inputs.size() != inputs || file.outputs.size() != outputs) {
        throw ProgramError("the system has " + counts(file.inputs.size(), file.outputs.size()) + ", the model " +
                           counts(inputs, outputs));
    }
    if (file.system.sysType == continuousSystem) {
        throw ProgramError("the system is continuous; only a discrete system can be simulated");
    }
    const double wanted = sampleTimeOf(reference);
    if (!(std::fabs(file.system.sampleTime - wanted) <= sampleTimeTolerance * wanted)) {
        throw ProgramError("the system has a sample time of " + formatNumber(file.system.sampleTime) +
                           " s, the model one of " + formatNumber(wanted) + " s");
    }
}

/// The curve with first before it, of the same length.
Vector<double> delayed(const Vector<double>& curve, double first) {
    Vector<double> result(curve.size());
    for (int k = 0; k < curve.size(); ++k) {
        result[k] = k == 0 ? first : curve[k - 1];
    }
    return result;
}

}  // namespace

LTIStateSpaceModel advancedByOneSample(const LTIStateSpaceModel& system) {
    LTIStateSpaceModel result(system);
    if (system.A.rows() > 0) {  // without states D alone is the response, at every sample
        result.C = system.C * system.A;
        result.D = Matrix<double>(system.C * system.B) + system.D;
    }
    return result;
}

LTIFIRModel simulate(const SystemFile& file, const LTIFIRModel& reference) {
    requireFit(file, reference);
    LTIFIRModel model(file.system, reference);
    if (file.curveOffset == 0) {
        // Before the first sample has moved the state, the response is the feedthrough.
        for (int i = 0; i < inputCountOf(model); ++i) {
            for (int j = 0; j < outputCountOf(model); ++j) {
                const Vector<double> later = model.coefficients(i, j);
                model.coefficients(i, j) = delayed(later, file.system.D(j, i));
            }
        }
    }
    return model;
}

}  // namespace qormath::cli
