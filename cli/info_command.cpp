#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "command_line.hpp"
#include "commands.hpp"
#include "fidelity.hpp"
#include "model_file.hpp"
#include "text.hpp"

namespace qormath::cli {

namespace {

using QorMathLA::Matrix;
using QorMathLA::Vector;

struct InfoOptions {
    std::string model;
    bool json = false;
};

bool isNullPair(const LTIFIRModel& model, int output, int input) {
    return model.coefficients(input, output).size() == 0;
}

int nullPairCount(const LTIFIRModel& model) {
    int count = 0;
    for (int i = 0; i < inputCountOf(model); ++i) {
        for (int j = 0; j < outputCountOf(model); ++j) {
            count += isNullPair(model, j, i) ? 1 : 0;
        }
    }
    return count;
}

void printVariables(std::ostream& out, const std::string& title, const Vector<std::string>& names,
                    const Vector<std::string>& descriptors) {
    out << '\n' << title << '\n';
    FactTable table;
    for (int i = 0; i < names.size(); ++i) {
        table.add("  " + printable(names[i]), descriptors[i]);
    }
    table.print(out);
}

void printGains(std::ostream& out, LTIFIRModel model) {
    const Matrix<double> gains = model.GetGain();
    std::vector<std::vector<std::string>> rows(1, {""});
    for (const std::string& name : model.inputNames) {
        rows[0].push_back(toUtf8(name));
    }
    for (int j = 0; j < gains.rows(); ++j) {
        rows.push_back({"  " + toUtf8(model.outputNames[j])});
        for (int i = 0; i < gains.cols(); ++i) {
            rows.back().push_back(isNullPair(model, j, i) ? "-" : formatNumber(gains(j, i)));
        }
    }
    out << "\ngains" << (rampNamesOf(model).empty() ? "" : " (of a ramp, its rise in a sample)") << '\n';
    printGrid(out, rows);
}

void printTable(std::ostream& out, const std::string& path, const LTIFIRModel& model) {
    FactTable table;
    table.add("model", path);
    addModelFacts(table, model);
    table.add("horizon", std::to_string(model.horizonSeconds) + " s");
    const int pairs = inputCountOf(model) * outputCountOf(model);
    table.add("null pairs", std::to_string(nullPairCount(model)) + " of " + std::to_string(pairs));
    table.print(out);
    printVariables(out, "inputs", model.inputNames, model.inputDescriptors);
    printVariables(out, "outputs", model.outputNames, model.outputDescriptors);
    printGains(out, model);
}

JsonValue gainRows(LTIFIRModel model) {
    const Matrix<double> gains = model.GetGain();
    JsonValue rows = JsonValue::list();
    for (int j = 0; j < gains.rows(); ++j) {
        JsonValue row = JsonValue::list();
        for (int i = 0; i < gains.cols(); ++i) {
            row.append(isNullPair(model, j, i) ? JsonValue(nullptr) : JsonValue(gains(j, i)));
        }
        rows.append(row);
    }
    return rows;
}

void printJson(std::ostream& out, const std::string& path, const LTIFIRModel& model) {
    JsonValue object;
    object.add("model", toUtf8(path));
    addModelFacts(object, model);
    object.add("horizon", model.horizonSeconds);
    object.add("nullPairs", nullPairCount(model));
    object.add("inputNames", namesOf(model.inputNames));
    object.add("inputDescriptors", namesOf(model.inputDescriptors));
    object.add("outputNames", namesOf(model.outputNames));
    object.add("outputDescriptors", namesOf(model.outputDescriptors));
    object.add("gains", gainRows(model));
    object.print(out);
}

}  // namespace

void addInfoCommand(CommandLine& program, const Console& console) {
    const auto options = std::make_shared<InfoOptions>();
    Command command = program.add("info", "Say what a step-response model file holds");
    command.addFile("MODEL.fir", options->model, "The model file").require();
    command.addSwitch("--json", options->json, "Print JSON");
    command.onRun([options, console] {
        const LTIFIRModel model = readModelFile(options->model);
        (options->json ? printJson : printTable)(console.out, options->model, model);
    });
}

}  // namespace qormath::cli
