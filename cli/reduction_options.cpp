#include "reduction_options.hpp"

#include <array>
#include <charconv>
#include <ostream>

#include <qormath/core/xmsg.hpp>

#include "command_line.hpp"
#include "option_values.hpp"
#include "program_error.hpp"
#include "progress_line.hpp"
#include "text.hpp"

namespace qormath::cli {

namespace {

using Choice = ReduceOptions::OrderChoice;

/// Empty if the order is one, otherwise what is wrong with it.
std::string checkOrder(const std::string& text) {
    const bool isNamed = text == "coarse" || text == "middle" || text == "fine";
    return isNamed || wholeNumber(text).value_or(-1) >= 0
               ? ""
               : "expected a number of states, coarse, middle or fine, not '" + text + "'";
}

void addOrderOptions(Command& command, ReductionOptions& reduction) {
    const Option order =
        command
            .addText("--order", reduction.order,
                     "States of the result: a number (before those that retain the gain), or the suggestion coarse, "
                     "middle or fine")
            .check(checkOrder)
            .showAs("N|coarse|middle|fine");
    command
        .addNumber("--curve-tolerance", reduction.options.curveTolerance,
                   "Find the smallest model whose curves lie within this percentage of each output's peak; the "
                   "default, at 1")
        .showAs("PERCENT")
        .exclude(order);
}

}  // namespace

void addReductionOptions(Command& command, ReductionOptions& reduction) {
    addOrderOptions(command, reduction);
    command
        .addNumber("--damping", reduction.options.dampingLimit,
                   "Take out oscillating modes with a damping ratio of at most X, 0 to 1")
        .showAs("X");
    command
        .addNumber("--gain-tolerance", reduction.options.gainTolerance,
                   "Leave a gain alone that is off by at most this percentage; a negative one leaves all alone")
        .showAs("PERCENT");
    command.addSwitch("--keep-null-pairs", reduction.keepNullPairs,
                      "Leave what the model gives on pairs that have no curve");
}

ReduceOptions optionsOf(const ReductionOptions& reduction) {
    ReduceOptions options = reduction.options;
    options.clearNullPairs = !reduction.keepNullPairs;
    if (reduction.order == "coarse") {
        options.orderChoice = Choice::coarse;
    } else if (reduction.order == "middle") {
        options.orderChoice = Choice::middle;
    } else if (reduction.order == "fine") {
        options.orderChoice = Choice::fine;
    } else if (!reduction.order.empty()) {
        options.orderChoice = Choice::byNumber;
        options.order = wholeNumber(reduction.order).value_or(0);
    }
    return options;
}

std::vector<std::string> wordsOf(const ReductionOptions& reduction) {
    const auto option = [](const std::string& name, double value) {
        std::array<char, 32> digits;  // the longest shortest decimal of a double has 24
        char* const end = std::to_chars(digits.data(), digits.data() + digits.size(), value).ptr;
        return name + "=" + std::string(digits.data(), end);
    };
    std::vector<std::string> words{reduction.order.empty()
                                       ? option("--curve-tolerance", reduction.options.curveTolerance)
                                       : "--order=" + reduction.order,
                                   option("--damping", reduction.options.dampingLimit),
                                   option("--gain-tolerance", reduction.options.gainTolerance)};
    if (reduction.keepNullPairs) {
        words.push_back("--keep-null-pairs");
    }
    return words;
}

ReduceResult reducedModel(const std::string& path, const LTIFIRModel& model, const ReductionOptions& reduction,
                          const Console& console) {
    ProgressLine progress(console);
    ReduceOptions options = optionsOf(reduction);
    options.progress = [&progress](const char* stage, int done, int total) { progress.show(stage, done, total); };
    ReduceResult result;
    try {
        result = reduce(model, options);
    } catch (const QorMathLA::xmsg& error) {
        throw ProgramError(path, "cannot be reduced: the step \"" + error.message + "\" failed");
    } catch (int) {
        throw ProgramError(path, "cannot be reduced: a numerical step failed; another --order may do");
    }
    if (!result.refusal.empty()) {
        throw ProgramError(path, "cannot be reduced: " + toUtf8(result.refusal));
    }
    return result;
}

void warn(const std::string& path, const ReductionOptions& reduction, const ReduceResult& result,
          const Console& console) {
    const auto line = [&](const std::string& text) {
        console.err << printable("qormath: warning: " + path + ": " + toUtf8(text)) << '\n';
    };
    for (const std::string& warning : result.warnings) {
        line(warning);
    }
    if (!result.isWithinTolerance) {
        line("no order keeps every curve within " + formatNumber(reduction.options.curveTolerance) +
             " %; the closest model has been written");
    }
}

}  // namespace qormath::cli
