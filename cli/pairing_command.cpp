#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include <qormath/numerics/qor_svd_analysis.hpp>
#include <qormath/pipeline/unit_factors.hpp>

#include "command_line.hpp"
#include "commands.hpp"
#include "fidelity.hpp"
#include "model_file.hpp"
#include "option_values.hpp"
#include "program_error.hpp"
#include "text.hpp"

namespace qormath::cli {

namespace {

using QorMathLA::Matrix;
using QorMathLA::QorSVDAnalysis;
using QorMathLA::SVDSubMatrix;
using QorMathLA::Vector;

struct PairingOptions {
    std::string model;
    int size = 0;  ///< 0: the smaller of the counts of inputs and outputs
    int top = 10;
    double conditionLimit = 0.0;  ///< 0: none
    bool unscaled = false;
    bool json = false;
};

struct Selection {
    std::vector<std::string> outputs;
    std::vector<std::string> inputs;
    double conditionNumber;
    double rga;
};

/// The number of inputs, and of outputs, in a selection.
int sizeOf(const PairingOptions& options, const LTIFIRModel& model) {
    const int most = std::min(inputCountOf(model), outputCountOf(model));
    if (most == 0) {
        throw ProgramError(options.model, "has no inputs, or no outputs, to select from");
    }
    if (options.size > most) {
        throw ProgramError(options.model, "has no selection of size " + std::to_string(options.size) + ": there are " +
                                              std::to_string(inputCountOf(model)) + " inputs and " +
                                              std::to_string(outputCountOf(model)) + " outputs");
    }
    return options.size == 0 ? most : options.size;
}

Vector<SVDSubMatrix> analysed(const PairingOptions& options, LTIFIRModel model, int size) {
    const Matrix<double> gain = model.GetGain();
    for (const double element : gain) {
        if (!std::isfinite(element)) {
            throw ProgramError(options.model, "has gains that are not finite");
        }
    }
    const Vector<double> factors =
        options.unscaled ? Vector<double>(Vector<double>(gain.cols()).filled(1.0)) : unitFactors(gain);
    QorSVDAnalysis analysis(gain, factors, size, options.top, !options.unscaled, options.conditionLimit);
    try {
        analysis.computeAnalysis();
    } catch (int) {
        throw ProgramError(options.model,
                           "has too many selections of size " + std::to_string(size) +
                               " to rank; fewer with --top, a --condition-limit, or another --size may do");
    }
    return analysis.getResults();
}

std::vector<std::string> selected(const Vector<std::string>& names, const Vector<int>& indices) {
    std::vector<std::string> list;
    for (const int index : indices) {
        list.push_back(toUtf8(names[index]));
    }
    return list;
}

std::vector<Selection> selectionsOf(const PairingOptions& options, const LTIFIRModel& model, int size) {
    std::vector<Selection> selections;
    for (const SVDSubMatrix& result : analysed(options, model, size)) {
        selections.push_back({selected(model.outputNames, result.getRowIndices()),
                              selected(model.inputNames, result.getColIndices()), result.getConditionNumber(),
                              result.getRGA()});
    }
    return selections;
}

std::string limitInWords(const PairingOptions& options) {
    return options.conditionLimit > 0.0 ? " up to a condition number of " + formatNumber(options.conditionLimit) : "";
}

void printTable(std::ostream& out, const PairingOptions& options, const LTIFIRModel& model, int size,
                const std::vector<Selection>& selections) {
    FactTable table;
    table.add("model", options.model);
    table.add("inputs", std::to_string(inputCountOf(model)));
    table.add("outputs", std::to_string(outputCountOf(model)));
    table.add("ramps", joined(rampNamesOf(model)));
    table.add("size", std::to_string(size));
    table.add("gains",
              std::string(options.unscaled ? "in the units of the model" : "scaled, so that units do not count") +
                  (rampNamesOf(model).empty() ? "" : " (of a ramp, its rise in a sample)"));
    table.print(out);
    if (selections.empty()) {
        out << "\nno selection that is not singular" << limitInWords(options) << '\n';
        return;
    }
    out << "\nbest selections" << limitInWords(options) << '\n';
    // The names come last: they differ most in width.
    std::vector<std::array<std::string, 3>> rows{{"condition number", "RGA", "outputs by inputs"}};
    for (const Selection& selection : selections) {
        rows.push_back({formatNumber(selection.conditionNumber), formatNumber(selection.rga),
                        printable(joined(selection.outputs) + " by " + joined(selection.inputs))});
    }
    std::array<std::size_t, 2> widths{};
    for (const auto& row : rows) {
        widths = {std::max(widths[0], row[0].size()), std::max(widths[1], row[1].size())};
    }
    for (const auto& row : rows) {
        out << "  " << std::string(widths[0] - row[0].size(), ' ') << row[0] << "  "
            << std::string(widths[1] - row[1].size(), ' ') << row[1] << "  " << row[2] << '\n';
    }
}

void printJson(std::ostream& out, const PairingOptions& options, const LTIFIRModel& model, int size,
               const std::vector<Selection>& selections) {
    JsonValue object;
    object.add("model", toUtf8(options.model));
    object.add("inputs", inputCountOf(model));
    object.add("outputs", outputCountOf(model));
    object.add("ramps", rampNamesOf(model));
    object.add("size", size);
    object.add("isScaled", !options.unscaled);
    object.add("conditionLimit", options.conditionLimit > 0.0 ? JsonValue(options.conditionLimit) : JsonValue(nullptr));
    JsonValue list = JsonValue::list();
    for (const Selection& selection : selections) {
        list.append({{"outputs", selection.outputs},
                     {"inputs", selection.inputs},
                     {"conditionNumber", selection.conditionNumber},
                     {"rga", selection.rga}});
    }
    object.add("selections", list);
    object.print(out);
}

void run(const PairingOptions& options, const Console& console) {
    const LTIFIRModel model = readModelFile(options.model);
    const int size = sizeOf(options, model);
    const std::vector<Selection> selections = selectionsOf(options, model, size);
    (options.json ? printJson : printTable)(console.out, options, model, size, selections);
}

/// Empty if the text is a finite number above 0, otherwise what is wrong with it.
std::string checkLimit(const std::string& text) {
    const double value = decimalNumber(text).value_or(0.0);
    return std::isfinite(value) && value > 0.0 ? "" : "expected a number above 0, not '" + text + "'";
}

}  // namespace

void addPairingCommand(CommandLine& program, const Console& console) {
    const auto options = std::make_shared<PairingOptions>();
    Command command =
        program.add("pairing", "Rank selections of as many inputs as outputs by how well their gains are conditioned");
    command.addFile("MODEL.fir", options->model, "The model file").require();
    command
        .addCount("--size", options->size, 1,
                  "How many inputs, and outputs, a selection has (default: as many as there are of the fewer)")
        .showAs("K");
    command.addCount("--top", options->top, 0, "How many selections to rank, 0 for all (default: 10)").showAs("N");
    command
        .addNumber("--condition-limit", options->conditionLimit,
                   "Rank selections up to this condition number alone (default: all that are not singular)")
        .check(checkLimit)
        .showAs("X");
    command.addSwitch("--unscaled", options->unscaled,
                      "Take the gains in the units of the model, instead of scaling inputs and outputs");
    command.addSwitch("--json", options->json, "Print JSON");
    command.onRun([options, console] { run(*options, console); });
}

}  // namespace qormath::cli
