#include <algorithm>
#include <memory>
#include <string>
#include <vector>

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

struct SimulateOptions {
    std::string system;
    std::string reference;
    std::string model;
    bool json = false;
};

/// Model files hold names in upper case.
std::vector<std::string> upperCase(std::vector<std::string> names) {
    for (std::string& name : names) {
        std::transform(name.begin(), name.end(), name.begin(),
                       [](char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; });
    }
    return names;
}

void warnOfOtherNames(const SimulateOptions& options, const SystemFile& file, const LTIFIRModel& reference,
                      const Console& console) {
    const bool agree = upperCase(file.inputs) == upperCase(namesOf(reference.inputNames)) &&
                       upperCase(file.outputs) == upperCase(namesOf(reference.outputNames));
    if (!agree) {
        console.err << printable("qormath: warning: " + options.system +
                                 " names its inputs and outputs otherwise than " + options.reference +
                                 ", whose names are taken")
                    << '\n';
    }
}

LTIFIRModel curvesOf(const SimulateOptions& options, const SystemFile& file, const LTIFIRModel& reference) {
    try {
        return simulate(file, reference);
    } catch (const ProgramError& error) {
        throw ProgramError(options.system, "does not belong to " + options.reference + ": " + error.what());
    } catch (const QorMathLA::xmsg& error) {
        throw ProgramError(options.system, "cannot be simulated: the step \"" + error.message + "\" failed");
    }
}

void run(const SimulateOptions& options, const Console& console) {
    const SystemFile file = readSystemFile(options.system);
    const LTIFIRModel reference = readModelFile(options.reference);
    requireWritable(options.model);
    requireOtherFile(options.model, options.system, "the system is read from there");
    const LTIFIRModel model = curvesOf(options, file, reference);
    const Fidelity fidelity = compare(file.system, model, reference);
    replaceFiles({modelFile(options.model, model)}, [&] {
        printReport(console.out, options.json,
                    {{"system", "system", options.system},
                     {"compared with", "like", options.reference},
                     {"model", "model", options.model}},
                    model, file.system.A.rows(), fidelity);
        requirePrinted(console);
    });
    warnOfOtherNames(options, file, reference, console);
}

}  // namespace

void addSimulateCommand(CommandLine& program, const Console& console) {
    const auto options = std::make_shared<SimulateOptions>();
    Command command = program.add(
        "simulate", "Turn a state-space model into step-response curves, and compare them with those of a model");
    command.addFile("SYSTEM.json", options->system, "The system file").require();
    command
        .addFile("--like", options->reference,
                 "The model file that tells names, ramps, sample time and number of coefficients")
        .require()
        .showAs("MODEL.fir REQUIRED");
    command.addFile("-o,--output", options->model, "The model file to be written").require().showAs("OUT.fir REQUIRED");
    command.addSwitch("--json", options->json, "Print JSON");
    command.onRun([options, console] { run(*options, console); });
}

}  // namespace qormath::cli
