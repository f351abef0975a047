#include <memory>
#include <optional>
#include <ostream>
#include <string>

#include "atomic_file.hpp"
#include "command_line.hpp"
#include "commands.hpp"
#include "json_value.hpp"
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
    JsonValue object;
    object.add("system", toUtf8(options.system));
    object.add("converted", toUtf8(options.converted));
    object.add("inputs", static_cast<int>(before.inputs.size()));
    object.add("outputs", static_cast<int>(before.outputs.size()));
    object.add("typeBefore", typeOf(before));
    object.add("typeAfter", typeOf(after));
    object.add("sampleTimeBefore", before.system.sampleTime);
    object.add("sampleTimeAfter", after.system.sampleTime);
    object.add("method", options.method);
    object.add("statesBefore", before.system.A.rows());
    object.add("statesAfter", after.system.A.rows());
    object.add("largestGainChange", change ? JsonValue(*change) : JsonValue(nullptr));
    object.print(out);
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
void addCommonOptions(Command& command, const std::shared_ptr<ConversionOptions>& options, const Console& console) {
    command.addFile("SYSTEM.json", options->system, "The system file").require();
    command.addFile("-o,--output", options->converted, "The system file to be written, JSON")
        .require()
        .showAs("CONVERTED.json REQUIRED");
    command
        .addText("--method", options->method,
                 "zoh: the inputs stay between samples; tustin: the bilinear transform. The default is zoh")
        .allow({"zoh", "tustin"})
        .showAs("zoh|tustin");
    command.addSwitch("--json", options->json, "Print JSON");
    command.onRun([options, console] { run(*options, console); });
}

}  // namespace

void addConvertCommand(CommandLine& program, const Console& console) {
    const auto options = std::make_shared<ConversionOptions>();
    Command command = program.add("convert", "Carry a state-space model between continuous and discrete time");
    command.addText("--to", options->target, "The time base of the result")
        .require()
        .allow({"continuous", "discrete"})
        .showAs("continuous|discrete REQUIRED");
    command
        .addNumber("--sample-time", options->sampleTime,
                   "Seconds; the default is the sample time that the system file tells")
        .showAs("S");
    addCommonOptions(command, options, console);
}

void addResampleCommand(CommandLine& program, const Console& console) {
    const auto options = std::make_shared<ConversionOptions>();
    Command command = program.add("resample", "Give a discrete state-space model another sample time");
    command.addNumber("--sample-time", options->sampleTime, "The new sample time in seconds")
        .require()
        .showAs("S REQUIRED");
    addCommonOptions(command, options, console);
}

}  // namespace qormath::cli
