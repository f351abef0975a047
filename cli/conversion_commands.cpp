#include <CLI/CLI.hpp>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <ostream>
#include <string>

#include "atomic_file.hpp"
#include "commands.hpp"
#include "option_values.hpp"
#include "program_error.hpp"
#include "system_file.hpp"
#include "text.hpp"
#include "time_conversion.hpp"

namespace qormath::cli {

namespace {

struct ConversionOptions {
    std::string system;
    std::string converted;
    std::string target;  ///< empty to resample
    std::optional<double> sampleTime;
    std::string method = "zoh";
    bool json = false;
};

conversionType methodOf(const ConversionOptions& options) {
    return options.method == "zoh" ? zeroOrderHold : bilinearTransform;
}

SystemFile converted(const ConversionOptions& options, const SystemFile& file) {
    const conversionType method = methodOf(options);
    try {
        if (options.target == "continuous") {
            return inContinuousTime(file, options.sampleTime, method);
        }
        return options.target == "discrete" ? inDiscreteTime(file, options.sampleTime, method)
                                            : resampled(file, options.sampleTime.value_or(0.0), method);
    } catch (const ProgramError& error) {
        throw ProgramError(options.system, error.what());
    }
}

std::string typeOf(const SystemFile& file) {
    return file.system.sysType == continuousSystem ? "continuous" : "discrete";
}

std::string timeInWords(const SystemFile& file) {
    return typeOf(file) + (file.system.sysType == continuousSystem
                               ? std::string()
                               : ", every " + formatNumber(file.system.sampleTime) + " s");
}

void printTable(std::ostream& out, const ConversionOptions& options, const SystemFile& before,
                const SystemFile& after) {
    constexpr int digits = 3;
    const std::optional<double> change = gainChange(before, after);
    FactTable table;
    table.add("system", options.system);
    table.add("converted", options.converted);
    table.add("inputs", std::to_string(before.inputs.size()));
    table.add("outputs", std::to_string(before.outputs.size()));
    table.add("from", timeInWords(before));
    table.add("to", timeInWords(after));
    table.add("method", options.method);
    table.add("states before", std::to_string(before.system.A.rows()));
    table.add("states after", std::to_string(after.system.A.rows()));
    table.add("largest gain change", change ? formatNumber(*change, digits) : "none");
    table.print(out);
}

void printJson(std::ostream& out, const ConversionOptions& options, const SystemFile& before, const SystemFile& after) {
    const std::optional<double> change = gainChange(before, after);
    nlohmann::ordered_json object;
    object["system"] = toUtf8(options.system);
    object["converted"] = toUtf8(options.converted);
    object["inputs"] = before.inputs.size();
    object["outputs"] = before.outputs.size();
    object["typeBefore"] = typeOf(before);
    object["typeAfter"] = typeOf(after);
    object["sampleTimeBefore"] = before.system.sampleTime;
    object["sampleTimeAfter"] = after.system.sampleTime;
    object["method"] = options.method;
    object["statesBefore"] = before.system.A.rows();
    object["statesAfter"] = after.system.A.rows();
    object["largestGainChange"] = nullptr;
    if (change) {
        object["largestGainChange"] = *change;
    }
    out << object.dump(2) << '\n';
}

void run(const ConversionOptions& options, const Console& console) {
    const SystemFile before = readSystemFile(options.system);
    requireWritable(options.converted);
    const SystemFile after = converted(options, before);
    replaceFiles({systemFile(options.converted, after)}, [&] {
        (options.json ? printJson : printTable)(console.out, options, before, after);
        requirePrinted(console);
    });
}

/// What both commands take.
void addCommonOptions(CLI::App& command, const std::shared_ptr<ConversionOptions>& options, const Console& console) {
    addFile(command, "SYSTEM.json", options->system, "The system file")->required();
    addFile(command, "-o,--output", options->converted, "The system file to be written, JSON")
        ->required()
        ->option_text("CONVERTED.json REQUIRED");
    command
        .add_option("--method", options->method,
                    "zoh: the inputs stay between samples; tustin: the bilinear transform. The default is zoh")
        ->check(CLI::IsMember({"zoh", "tustin"}))
        ->option_text("zoh|tustin");
    addSwitch(command, "--json", options->json, "Print JSON");
    command.callback([options, console] { run(*options, console); });
}

}  // namespace

void addConvertCommand(CLI::App& program, const Console& console) {
    const auto options = std::make_shared<ConversionOptions>();
    CLI::App* command =
        program.add_subcommand("convert", "Carry a state-space model between continuous and discrete time");
    command->add_option("--to", options->target, "The time base of the result")
        ->required()
        ->check(CLI::IsMember({"continuous", "discrete"}))
        ->option_text("continuous|discrete REQUIRED");
    addNumber(*command, "--sample-time", options->sampleTime,
              "Seconds; the default is the sample time that the system file tells")
        ->option_text("S");
    addCommonOptions(*command, options, console);
}

void addResampleCommand(CLI::App& program, const Console& console) {
    const auto options = std::make_shared<ConversionOptions>();
    CLI::App* command = program.add_subcommand("resample", "Give a discrete state-space model another sample time");
    addNumber(*command, "--sample-time", options->sampleTime, "The new sample time in seconds")
        ->required()
        ->option_text("S REQUIRED");
    addCommonOptions(*command, options, console);
}

}  // namespace qormath::cli
