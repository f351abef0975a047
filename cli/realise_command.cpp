#include <cmath>
#include <memory>
#include <string>

#include <qormath/core/xmsg.hpp>

#include "atomic_file.hpp"
#include "command_line.hpp"
#include "commands.hpp"
#include "fidelity.hpp"
#include "model_file.hpp"
#include "program_error.hpp"
#include "simulation.hpp"
#include "system_file.hpp"
#include "text.hpp"

namespace qormath::cli {

namespace {

using QorMathLA::Vector;

/// With fewer, the Hankel matrix of a realisation has no columns.
constexpr int fewestCoefficients = 10;

struct RealiseOptions {
    std::string model;
    std::string system;
    int order = 0;
    bool dropGain = false;
    bool aligned = false;
    bool json = false;
};

bool isFinite(const Vector<double>& curve) {
    for (const double value : curve) {
        if (!std::isfinite(value)) {
            return false;
        }
    }
    return true;
}

/// An output that nothing moves has no scale, and values that are not finite have no realisation.
void requireCurves(const std::string& path, const LTIFIRModel& model) {
    for (int j = 0; j < outputCountOf(model); ++j) {
        const std::string output = toUtf8(model.outputNames[j]);
        bool isMoved = false;
        for (int i = 0; i < inputCountOf(model); ++i) {
            if (!isFinite(model.coefficients(i, j))) {
                throw ProgramError(path, "cannot be realised: the curve of output " + output + " to input " +
                                             toUtf8(model.inputNames[i]) + " has a value that is not a finite number");
            }
            isMoved = isMoved || model.coefficients(i, j).size() > 0;
        }
        if (!isMoved) {
            throw ProgramError(path,
                               "cannot be realised: output " + output + " has no curve; take it out of the model");
        }
    }
}

void requireRealisable(const std::string& path, const LTIFIRModel& model) {
    if (inputCountOf(model) == 0 || outputCountOf(model) == 0) {
        throw ProgramError(path, "cannot be realised: the model has no inputs or no outputs");
    }
    if (model.coefficientCount < fewestCoefficients) {
        throw ProgramError(path, "cannot be realised: its curves have " + std::to_string(model.coefficientCount) +
                                     " coefficients, and at least " + std::to_string(fewestCoefficients) +
                                     " are needed");
    }
    if (model.horizonSeconds <= 0) {
        throw ProgramError(path, "cannot be realised: its horizon is " + std::to_string(model.horizonSeconds) + " s");
    }
    requireCurves(path, model);
}

LTIStateSpaceModel realise(const RealiseOptions& options, LTIFIRModel model) {
    try {
        LTIStateSpaceModel system = model.CreateStateSpaceModel(!options.dropGain, options.order, nullptr);
        // The library's own is cut to whole seconds.
        system.sampleTime = sampleTimeOf(model);
        return system;
    } catch (const QorMathLA::xmsg& error) {
        throw ProgramError(options.model, "cannot be realised: the step \"" + error.message + "\" failed");
    } catch (int) {
        throw ProgramError(options.model, "cannot be realised: a numerical step failed; another --order may do");
    }
}

SystemFile systemFileOf(const RealiseOptions& options, const LTIFIRModel& model) {
    SystemFile file;
    file.system = realise(options, model);
    file.inputs = namesOf(model.inputNames);
    file.outputs = namesOf(model.outputNames);
    if (options.aligned) {
        file.system = advancedByOneSample(file.system);
        file.curveOffset = 0;
    }
    return file;
}

void run(const RealiseOptions& options, const Console& console) {
    const LTIFIRModel model = readModelFile(options.model);
    requireRealisable(options.model, model);
    requireWritable(options.system);
    requireOtherFile(options.system, options.model, "the model is read from there");
    const SystemFile file = systemFileOf(options, model);
    const Fidelity fidelity = compare(file.system, simulate(file, model), model);
    replaceFiles({systemFile(options.system, file)}, [&] {
        printReport(console.out, options.json,
                    {{"model", "model", options.model}, {"system", "system", options.system}}, model,
                    file.system.A.rows(), fidelity);
        requirePrinted(console);
    });
}

}  // namespace

void addRealiseCommand(CommandLine& program, const Console& console) {
    const auto options = std::make_shared<RealiseOptions>();
    Command command =
        program.add("realise", "Turn step-response curves into a state-space model, and say how close it is");
    command.addFile("MODEL.fir", options->model, "The model file").require();
    command.addFile("-o,--output", options->system, "The system file to be written, JSON")
        .require()
        .showAs("SYSTEM.json REQUIRED");
    command
        .addCount("--order", options->order, 1,
                  "Realise with the N largest singular values, instead of those from 1e-5 times the largest on")
        .showAs("N");
    command.addSwitch("--no-retain-gain", options->dropGain, "Leave the steady-state gain as the realisation has it");
    command.addSwitch("--aligned", options->aligned,
                      "Write the model advanced by one sample, whose ordinary step response is the curve");
    command.addSwitch("--json", options->json, "Print JSON");
    command.onRun([options, console] { run(*options, console); });
}

}  // namespace qormath::cli
