#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include <qormath/pipeline/reduce.hpp>

#include "atomic_file.hpp"
#include "command_line.hpp"
#include "commands.hpp"
#include "model_file.hpp"
#include "reduction_facts.hpp"
#include "reduction_options.hpp"
#include "simulation.hpp"
#include "system_file.hpp"
#include "text.hpp"

namespace qormath::cli {

namespace {

struct ReduceArguments {
    std::string model;
    std::string reduced;
    std::string stateSpace;
    ReductionOptions reduction;
    bool aligned = false;
    bool json = false;
};

SystemFile systemFileOf(const ReduceArguments& arguments, const ReduceResult& result, const LTIFIRModel& model) {
    SystemFile file{result.model, namesOf(model.inputNames), namesOf(model.outputNames)};
    if (arguments.aligned) {
        file.system = advancedByOneSample(file.system);
        file.curveOffset = 0;
    }
    return file;
}

void printTable(std::ostream& out, const ReduceArguments& arguments, const LTIFIRModel& model,
                const ReduceResult& result) {
    FactTable table;
    table.add("model", arguments.model);
    table.add("reduced", arguments.reduced);
    if (!arguments.stateSpace.empty()) {
        table.add("system", arguments.stateSpace);
    }
    addReductionFacts(table, model, optionsOf(arguments.reduction), result);
    table.print(out);
}

void printJson(std::ostream& out, const ReduceArguments& arguments, const LTIFIRModel& model,
               const ReduceResult& result) {
    JsonValue object;
    object.add("model", toUtf8(arguments.model));
    object.add("reduced", toUtf8(arguments.reduced));
    if (!arguments.stateSpace.empty()) {
        object.add("system", toUtf8(arguments.stateSpace));
    }
    addReductionFacts(object, model, optionsOf(arguments.reduction), result);
    object.print(out);
}

/// Whatever would keep the result from being written is told before the work, not after it.
void requireOutputs(const ReduceArguments& arguments, const LTIFIRModel& model) {
    requireWritable(arguments.reduced);
    requireStorableCount(arguments.reduced, model.coefficientCount);
    if (!arguments.stateSpace.empty()) {
        requireWritable(arguments.stateSpace);
        requireOtherFile(arguments.stateSpace, arguments.reduced, "the reduced model goes there");
        requireOtherFile(arguments.stateSpace, arguments.model, "the model is read from there");
    }
}

void writeOutputs(const ReduceArguments& arguments, const LTIFIRModel& model, const ReduceResult& result,
                  const Console& console) {
    std::vector<FileToWrite> files{modelFile(arguments.reduced, result.curves)};
    if (!arguments.stateSpace.empty()) {
        files.push_back(systemFile(arguments.stateSpace, systemFileOf(arguments, result, model)));
    }
    replaceFiles(files, [&] {
        (arguments.json ? printJson : printTable)(console.out, arguments, model, result);
        requirePrinted(console);
    });
}

void run(const ReduceArguments& arguments, const Console& console) {
    const LTIFIRModel model = readModelFile(arguments.model);
    requireOutputs(arguments, model);
    const ReduceResult result = reducedModel(arguments.model, model, arguments.reduction, console);
    writeOutputs(arguments, model, result, console);
    warn(arguments.model, arguments.reduction, result, console);
}

}  // namespace

void addReduceCommand(CommandLine& program, const Console& console) {
    const auto arguments = std::make_shared<ReduceArguments>();
    Command command = program.add("reduce", "Reduce step-response curves to those of a small clean model");
    command.addFile("MODEL.fir", arguments->model, "The model file").require();
    command.addFile("-o,--output", arguments->reduced, "The model file to be written")
        .require()
        .showAs("REDUCED.fir REQUIRED");
    addReductionOptions(command, arguments->reduction);
    const Option stateSpace =
        command.addFile("--state-space", arguments->stateSpace, "Write the state-space model as well, a system file")
            .showAs("SYSTEM.json");
    command
        .addSwitch("--aligned", arguments->aligned,
                   "Write the system advanced by one sample, whose ordinary step response is the curve")
        .need(stateSpace);
    command.addSwitch("--json", arguments->json, "Print JSON");
    command.onRun([arguments, console] { run(*arguments, console); });
}

}  // namespace qormath::cli
