#include <cmath>
#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include <qormath/core/xmsg.hpp>
#include <qormath/pipeline/reduce.hpp>

#include "atomic_file.hpp"
#include "command_line.hpp"
#include "commands.hpp"
#include "fidelity.hpp"
#include "model_file.hpp"
#include "option_values.hpp"
#include "program_error.hpp"
#include "progress_line.hpp"
#include "simulation.hpp"
#include "system_file.hpp"
#include "text.hpp"

namespace qormath::cli {

namespace {

using Choice = ReduceOptions::OrderChoice;

// A list of more pairs, or ringers, than this does not help on a terminal; JSON has them all.
constexpr std::size_t longestList = 5;

struct ReduceArguments {
    std::string model;
    std::string reduced;
    std::string stateSpace;
    std::string order;
    ReduceOptions options;
    bool keepNullPairs = false;
    bool aligned = false;
    bool json = false;
};

/// Empty if the order is one, otherwise what is wrong with it.
std::string checkOrder(const std::string& text) {
    const bool isNamed = text == "coarse" || text == "middle" || text == "fine";
    return isNamed || wholeNumber(text).value_or(-1) >= 0
               ? ""
               : "expected a number of states, coarse, middle or fine, not '" + text + "'";
}

ReduceOptions optionsOf(const ReduceArguments& arguments) {
    ReduceOptions options = arguments.options;
    options.clearNullPairs = !arguments.keepNullPairs;
    if (arguments.order == "coarse") {
        options.orderChoice = Choice::coarse;
    } else if (arguments.order == "middle") {
        options.orderChoice = Choice::middle;
    } else if (arguments.order == "fine") {
        options.orderChoice = Choice::fine;
    } else if (!arguments.order.empty()) {
        options.orderChoice = Choice::byNumber;
        options.order = wholeNumber(arguments.order).value_or(0);
    }
    return options;
}

ReduceResult reduced(const ReduceArguments& arguments, const LTIFIRModel& model, const Console& console) {
    ProgressLine progress(console);
    ReduceOptions options = optionsOf(arguments);
    options.progress = [&progress](const char* stage, int done, int total) { progress.show(stage, done, total); };
    ReduceResult result;
    try {
        result = reduce(model, options);
    } catch (const QorMathLA::xmsg& error) {
        throw ProgramError(arguments.model, "cannot be reduced: the step \"" + error.message + "\" failed");
    } catch (int) {
        throw ProgramError(arguments.model, "cannot be reduced: a numerical step failed; another --order may do");
    }
    if (!result.refusal.empty()) {
        throw ProgramError(arguments.model, "cannot be reduced: " + toUtf8(result.refusal));
    }
    return result;
}

SystemFile systemFileOf(const ReduceArguments& arguments, const ReduceResult& result, const LTIFIRModel& model) {
    SystemFile file{result.model, namesOf(model.inputNames), namesOf(model.outputNames)};
    if (arguments.aligned) {
        file.system = advancedByOneSample(file.system);
        file.curveOffset = 0;
    }
    return file;
}

std::string counted(int count, const std::string& thing) {
    return std::to_string(count) + " " + thing + (count == 1 ? "" : "s");
}

std::optional<PairError> named(const std::optional<ReduceResult::PairError>& error, const LTIFIRModel& model) {
    if (!error) {
        return {};
    }
    return PairError{error->value, toUtf8(model.outputNames[error->pair.output]),
                     toUtf8(model.inputNames[error->pair.input])};
}

Fidelity fidelityOf(const ReduceResult& result, const LTIFIRModel& model) {
    return {named(result.gainError, model), named(result.rampRateError, model), named(result.curveErrorPercent, model)};
}

/// What the minimal realisation found, in words.
std::string realisationInWords(const ReduceResult& result) {
    return counted(result.rampStates, "ramp") + ", " + std::to_string(result.stableStates) + " stable (" +
           std::to_string(result.delayStates) + " of them delays), " + std::to_string(result.statesRemoved) +
           " removed; suggested orders " + std::to_string(result.coarseOrder) + " (coarse) to " +
           std::to_string(result.fineOrder) + " (fine)";
}

const char* nameOf(Choice choice) {
    switch (choice) {
        case Choice::coarse:
            return "coarse";
        case Choice::middle:
            return "middle";
        case Choice::fine:
            return "fine";
        case Choice::byNumber:
            return "number";
        case Choice::byCurveTolerance:
            break;
    }
    return "curveTolerance";
}

std::string orderInWords(const ReduceResult& result, const ReduceOptions& options) {
    const std::string order = std::to_string(result.orderAsked);
    switch (options.orderChoice) {
        case Choice::coarse:
        case Choice::middle:
        case Choice::fine:
            return order + " (" + nameOf(options.orderChoice) + ")";
        case Choice::byNumber:
            return std::to_string(options.order) +
                   (options.order < result.rampStates ? " (ramps stay all the same)" : "");
        case Choice::byCurveTolerance:
            break;
    }
    const std::string tolerance = formatNumber(options.curveTolerance) +
                                  (result.isJudgedWithoutRingers ? " % of the plant without its ringers" : " %");
    return order + (result.isWithinTolerance ? " (the smallest within " + tolerance + ")"
                                             : " (the closest; no order is within " + tolerance + ")");
}

std::string reachedInWords(const ReduceResult& result) {
    const int gone = result.orderAsked - (result.orderReached - result.gainStates);
    std::string text = std::to_string(result.orderReached);
    if (result.gainStates > 0) {
        text += ", with " + counted(result.gainStates, "state") + " for the gain";
    }
    if (gone > 0) {
        text += ", without " + counted(gone, result.ringers.empty() ? "negligible state" : "ringing state");
    }
    return text;
}

std::string ringersInWords(const std::vector<ReduceResult::Ringer>& ringers) {
    std::vector<std::string> words;
    for (const ReduceResult::Ringer& ringer : ringers) {
        if (words.size() == longestList) {
            words.push_back("and " + std::to_string(ringers.size() - longestList) + " more");
            break;
        }
        constexpr int digits = 3;
        const std::string ratio = "damping ratio " + formatNumber(ringer.dampingRatio, digits);
        // A limit of 1 takes plain lags too.
        words.push_back(std::isfinite(ringer.period)
                            ? ratio + " with a period of " + formatNumber(ringer.period, digits) + " s"
                            : ratio + " without a period");
    }
    return joined(words);
}

std::string clearedInWords(const ReduceResult& result) {
    constexpr int digits = 2;
    if (result.clearedPairs.empty()) {
        return "none";
    }
    return std::to_string(result.clearedPairs.size()) + ", up to " +
           formatNumber(result.largestClearedPercent, digits) + " %";
}

void printTable(std::ostream& out, const ReduceArguments& arguments, const LTIFIRModel& model,
                const ReduceResult& result) {
    FactTable table;
    table.add("model", arguments.model);
    table.add("reduced", arguments.reduced);
    if (!arguments.stateSpace.empty()) {
        table.add("system", arguments.stateSpace);
    }
    addModelFacts(table, model);
    table.add("states realised", std::to_string(result.statesRealised));
    table.add("minimal realisation", realisationInWords(result));
    table.add("order asked for", orderInWords(result, optionsOf(arguments)));
    table.add("order reached", reachedInWords(result));
    table.add("ringers taken out", ringersInWords(result.ringers));
    table.add("null pairs cleared", clearedInWords(result));
    addFidelityFacts(table, fidelityOf(result, model));
    table.print(out);
}

JsonValue pairsOf(const std::vector<ReduceResult::Pair>& pairs, const LTIFIRModel& model) {
    JsonValue list = JsonValue::list();
    for (const ReduceResult::Pair& pair : pairs) {
        list.append(
            {{"output", toUtf8(model.outputNames[pair.output])}, {"input", toUtf8(model.inputNames[pair.input])}});
    }
    return list;
}

JsonValue ringersOf(const std::vector<ReduceResult::Ringer>& ringers) {
    JsonValue list = JsonValue::list();
    for (const ReduceResult::Ringer& ringer : ringers) {
        list.append({{"dampingRatio", ringer.dampingRatio}, {"period", ringer.period}});
    }
    return list;
}

void printJson(std::ostream& out, const ReduceArguments& arguments, const LTIFIRModel& model,
               const ReduceResult& result) {
    JsonValue object;
    object.add("model", toUtf8(arguments.model));
    object.add("reduced", toUtf8(arguments.reduced));
    if (!arguments.stateSpace.empty()) {
        object.add("system", toUtf8(arguments.stateSpace));
    }
    addModelFacts(object, model);
    object.add("statesRealised", result.statesRealised);
    object.add("statesRemoved", result.statesRemoved);
    object.add("rampStates", result.rampStates);
    object.add("stableStates", result.stableStates);
    object.add("delayStates", result.delayStates);
    object.add("coarseOrder", result.coarseOrder);
    object.add("fineOrder", result.fineOrder);
    const ReduceOptions options = optionsOf(arguments);
    object.add("orderChoice", nameOf(options.orderChoice));
    object.add("orderAsked", options.orderChoice == Choice::byNumber ? options.order : result.orderAsked);
    object.add("orderReached", result.orderReached);
    object.add("gainStates", result.gainStates);
    if (options.orderChoice == Choice::byCurveTolerance) {
        object.add("curveTolerancePercent", options.curveTolerance);
        object.add("isWithinTolerance", result.isWithinTolerance);
        object.add("isJudgedWithoutRingers", result.isJudgedWithoutRingers);
    }
    object.add("ringers", ringersOf(result.ringers));
    object.add("clearedPairs", pairsOf(result.clearedPairs, model));
    object.add("largestClearedPercent", result.largestClearedPercent);
    addFidelityFacts(object, fidelityOf(result, model));
    JsonValue warnings = JsonValue::list();
    for (const std::string& warning : result.warnings) {
        warnings.append(toUtf8(warning));
    }
    object.add("warnings", warnings);
    object.print(out);
}

void warn(const ReduceArguments& arguments, const ReduceResult& result, const Console& console) {
    const auto line = [&](const std::string& text) {
        console.err << printable("qormath: warning: " + arguments.model + ": " + toUtf8(text)) << '\n';
    };
    for (const std::string& warning : result.warnings) {
        line(warning);
    }
    if (!result.isWithinTolerance) {
        line("no order keeps every curve within " + formatNumber(arguments.options.curveTolerance) +
             " %; the closest model has been written");
    }
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
    const ReduceResult result = reduced(arguments, model, console);
    writeOutputs(arguments, model, result, console);
    warn(arguments, result, console);
}

void addOrderOptions(Command& command, ReduceArguments& arguments) {
    const Option order =
        command
            .addText("--order", arguments.order,
                     "States of the result: a number (before those that retain the gain), or the suggestion coarse, "
                     "middle or fine")
            .check(checkOrder)
            .showAs("N|coarse|middle|fine");
    command
        .addNumber("--curve-tolerance", arguments.options.curveTolerance,
                   "Find the smallest model whose curves lie within this percentage of each output's peak; the "
                   "default, at 1")
        .showAs("PERCENT")
        .exclude(order);
}

}  // namespace

void addReduceCommand(CommandLine& program, const Console& console) {
    const auto arguments = std::make_shared<ReduceArguments>();
    Command command = program.add("reduce", "Reduce step-response curves to those of a small clean model");
    command.addFile("MODEL.fir", arguments->model, "The model file").require();
    command.addFile("-o,--output", arguments->reduced, "The model file to be written")
        .require()
        .showAs("REDUCED.fir REQUIRED");
    addOrderOptions(command, *arguments);
    command
        .addNumber("--damping", arguments->options.dampingLimit,
                   "Take out oscillating modes with a damping ratio of at most X, 0 to 1")
        .showAs("X");
    command
        .addNumber("--gain-tolerance", arguments->options.gainTolerance,
                   "Leave a gain alone that is off by at most this percentage; a negative one leaves all alone")
        .showAs("PERCENT");
    command.addSwitch("--keep-null-pairs", arguments->keepNullPairs,
                      "Leave what the model gives on pairs that have no curve");
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
