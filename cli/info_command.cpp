#include <CLI/CLI.hpp>
#include <memory>
#include <nlohmann/json.hpp>
#include <ostream>
#include <string>
#include <vector>

#include "commands.hpp"
#include "fidelity.hpp"
#include "model_file.hpp"
#include "option_values.hpp"
#include "text.hpp"

namespace qormath::cli {

namespace {

using Json = nlohmann::ordered_json;
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

Json gainRows(LTIFIRModel model) {
    const Matrix<double> gains = model.GetGain();
    Json rows = Json::array();
    for (int j = 0; j < gains.rows(); ++j) {
        Json row = Json::array();
        for (int i = 0; i < gains.cols(); ++i) {
            row.push_back(isNullPair(model, j, i) ? Json(nullptr) : Json(gains(j, i)));
        }
        rows.push_back(row);
    }
    return rows;
}

void printJson(std::ostream& out, const std::string& path, const LTIFIRModel& model) {
    Json object;
    object["model"] = toUtf8(path);
    addModelFacts(object, model);
    object["horizon"] = model.horizonSeconds;
    object["nullPairs"] = nullPairCount(model);
    object["inputNames"] = namesOf(model.inputNames);
    object["inputDescriptors"] = namesOf(model.inputDescriptors);
    object["outputNames"] = namesOf(model.outputNames);
    object["outputDescriptors"] = namesOf(model.outputDescriptors);
    object["gains"] = gainRows(model);
    out << object.dump(2) << '\n';
}

}  // namespace

void addInfoCommand(CLI::App& program, const Console& console) {
    const auto options = std::make_shared<InfoOptions>();
    CLI::App* command = program.add_subcommand("info", "Say what a step-response model file holds");
    addFile(*command, "MODEL.fir", options->model, "The model file")->required();
    addSwitch(*command, "--json", options->json, "Print JSON");
    command->callback([options, console] {
        const LTIFIRModel model = readModelFile(options->model);
        (options->json ? printJson : printTable)(console.out, options->model, model);
    });
}

}  // namespace qormath::cli
