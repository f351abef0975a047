#include <memory>
#include <string>

#include <qormath/pipeline/reduce.hpp>

#include "atomic_file.hpp"
#include "command_line.hpp"
#include "commands.hpp"
#include "model_file.hpp"
#include "reduction_facts.hpp"
#include "reduction_options.hpp"
#include "report_data.hpp"
#include "report_page.hpp"
#include "text.hpp"

namespace qormath::cli {

namespace {

struct ReportArguments {
    std::string model;
    std::string report;
    ReductionOptions reduction;
    bool json = false;
};

void printTable(std::ostream& out, const ReportArguments& arguments, const LTIFIRModel& model,
                const ReduceResult& result) {
    FactTable table;
    table.add("model", arguments.model);
    table.add("report", arguments.report);
    addReductionFacts(table, model, optionsOf(arguments.reduction), result);
    table.print(out);
}

void run(const ReportArguments& arguments, const Console& console) {
    requireReportPage();
    const LTIFIRModel model = readModelFile(arguments.model);
    requireWritable(arguments.report);
    requireOtherFile(arguments.report, arguments.model, "the model is read from there");
    const ReduceResult result = reducedModel(arguments.model, model, arguments.reduction, console);

    const JsonValue data = reportData(arguments.model, arguments.report, model, optionsOf(arguments.reduction), result);
    replaceFiles({textFile(arguments.report, reportPage(data))}, [&] {
        if (arguments.json) {
            data.print(console.out);
        } else {
            printTable(console.out, arguments, model, result);
        }
        requirePrinted(console);
    });
    warn(arguments.model, arguments.reduction, result, console);
}

}  // namespace

void addReportCommand(CommandLine& program, const Console& console) {
    const auto arguments = std::make_shared<ReportArguments>();
    arguments->reduction.options.studiesOrders = true;
    Command command = program.add("report", "Show a model, its reduction and the choice of the order on a page");
    command.addFile("MODEL.fir", arguments->model, "The model file").require();
    command.addFile("-o,--output", arguments->report, "The page to be written, HTML")
        .require()
        .showAs("REPORT.html REQUIRED");
    addReductionOptions(command, arguments->reduction);
    command.addSwitch("--json", arguments->json, "Print the numbers of the page as JSON");
    command.onRun([arguments, console] { run(*arguments, console); });
}

}  // namespace qormath::cli
