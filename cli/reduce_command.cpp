#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include <qormath/pipeline/reduce.hpp>

#include "atomic_file.hpp"
#include "command_line.hpp"
#include "commands.hpp"
#include "many_models.hpp"
#include "model_file.hpp"
#include "reduction_facts.hpp"
#include "reduction_options.hpp"
#include "report_data.hpp"
#include "report_page.hpp"
#include "simulation.hpp"
#include "system_file.hpp"
#include "text.hpp"

namespace qormath::cli {

namespace {

struct ReduceArguments {
    std::string model;
    ManyModels many;  ///< all models of the command line
    std::string reduced;
    std::string stateSpace;
    std::string report;
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
    if (!arguments.report.empty()) {
        table.add("report", arguments.report);
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
    if (!arguments.report.empty()) {
        object.add("report", toUtf8(arguments.report));
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
    if (!arguments.report.empty()) {
        requireWritable(arguments.report);
        requireOtherFile(arguments.report, arguments.reduced, "the reduced model goes there");
        requireOtherFile(arguments.report, arguments.model, "the model is read from there");
        if (!arguments.stateSpace.empty()) {
            requireOtherFile(arguments.report, arguments.stateSpace, "the system goes there");
        }
    }
}

void writeOutputs(const ReduceArguments& arguments, const LTIFIRModel& model, const ReduceResult& result,
                  const Console& console) {
    std::vector<FileToWrite> files{modelFile(arguments.reduced, result.curves)};
    if (!arguments.stateSpace.empty()) {
        files.push_back(systemFile(arguments.stateSpace, systemFileOf(arguments, result, model)));
    }
    if (!arguments.report.empty()) {
        files.push_back(textFile(arguments.report, reportPage(reportData(arguments.model, arguments.report, model,
                                                                         optionsOf(arguments.reduction), result))));
    }
    replaceFiles(files, [&] {
        (arguments.json ? printJson : printTable)(console.out, arguments, model, result);
        requirePrinted(console);
    });
}

void runOne(const ReduceArguments& arguments, const Console& console) {
    const LTIFIRModel model = readModelFile(arguments.model);
    requireOutputs(arguments, model);
    const ReduceResult result = reducedModel(arguments.model, model, arguments.reduction, console);
    writeOutputs(arguments, model, result, console);
    warn(arguments.model, arguments.reduction, result, console);
}

/// What the options that were left out would have had to be, given the others.
void requireSense(const ReduceArguments& arguments) {
    const std::vector<std::string>& models = arguments.many.models;
    const auto refuse = [](const std::string& cause) {
        throw UsageError(cause + " ('qormath reduce --help' tells more)");
    };
    if (arguments.reduced.empty() && arguments.many.folder.empty()) {
        refuse("--output is required, or --out-dir for many models");
    }
    if (!arguments.reduced.empty() && models.size() > 1) {
        refuse("there is no use for '" + models[1] + "' here: --output is for one model, --out-dir for many");
    }
    if (arguments.aligned && arguments.stateSpace.empty() && arguments.many.folder.empty()) {
        refuse("--aligned requires --state-space or --out-dir");
    }
}

void run(ReduceArguments& arguments, const Console& console) {
    requireSense(arguments);
    if (!arguments.report.empty()) {
        requireReportPage();
        arguments.reduction.options.studiesOrders = true;
    }
    if (arguments.many.folder.empty()) {
        arguments.model = arguments.many.models.front();
        runOne(arguments, console);
        return;
    }
    arguments.many.options = wordsOf(arguments.reduction);
    if (arguments.aligned) {
        arguments.many.options.push_back("--aligned");
    }
    arguments.many.json = arguments.json;
    reduceMany(arguments.many, console);
}

/// Where the results go: into a file, or those of many models into a folder.
void addOutputOptions(Command& command, ReduceArguments& arguments) {
    const Option output =
        command.addFile("-o,--output", arguments.reduced, "The model file to be written, from one model; or:")
            .showAs("REDUCED.fir");
    const Option folder =
        command
            .addFile("--out-dir", arguments.many.folder,
                     "Reduce any number of models, each to NAME.fir and the system file NAME.json in this folder")
            .showAs("DIR")
            .exclude(output);
    command.addCount("--jobs", arguments.many.jobs, 1, "How many of them at a time (default: as there are cores)")
        .showAs("N")
        .need(folder);
    command.addSwitch("--resume", arguments.many.resume, "Leave out models whose results stand in the folder")
        .need(folder);
    command.addFile("--state-space", arguments.stateSpace, "Write the state-space model as well, a system file")
        .showAs("SYSTEM.json")
        .exclude(folder);
    command.addFile("--report", arguments.report, "Write a page that shows the model and its reduction as well")
        .showAs("REPORT.html")
        .exclude(folder);
}

}  // namespace

void addReduceCommand(CommandLine& program, const Console& console) {
    const auto arguments = std::make_shared<ReduceArguments>();
    Command command = program.add("reduce", "Reduce step-response curves to those of a small clean model");
    command.addFiles("MODEL.fir", arguments->many.models, "The model file, or many of them").require();
    addReductionOptions(command, arguments->reduction);
    addOutputOptions(command, *arguments);
    command.addSwitch("--aligned", arguments->aligned,
                      "Write the system advanced by one sample, whose ordinary step response is the curve");
    command.addSwitch("--json", arguments->json, "Print JSON");
    command.onRun([arguments, console] { run(*arguments, console); });
}

}  // namespace qormath::cli
