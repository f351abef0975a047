#include "command_line.hpp"

#include <CLI/CLI.hpp>

#include <qormath/version.hpp>

#include "option_values.hpp"

namespace qormath::cli {

namespace {

std::string inQuotes(const std::string& text) {
    return "'" + text + "'";
}

std::string checkNumber(const std::string& text) {
    return decimalNumber(text) ? "" : "expected a number, not " + inQuotes(text);
}

std::string checkFile(const std::string& text) {
    return text.empty() ? "'' is no name of a file" : "";
}

std::string checkFileOfOption(const std::string& text) {
    if (!text.empty() && (text.front() == '-' || text.front() == '=')) {
        return "expected the name of a file, not " + inQuotes(text) + " (a file of that name is './" + text + "')";
    }
    return checkFile(text);
}

template <class Value>
CLI::Option* addNumberOption(CLI::App& command, const std::string& name, Value& value, const std::string& description) {
    const auto take = [&value](const std::string& text) { value = decimalNumber(text).value(); };
    return command.add_option_function<std::string>(name, take, description)->check(checkNumber);
}

std::string causeOf(const CLI::ParseError& error, const CLI::App& program) {
    std::vector<std::string> rest = program.remaining(true);
    if (rest.size() > 1 && rest.front() == "--") {
        rest.erase(rest.begin());  // it only says that what follows are names
    }
    if (program.get_subcommands().empty()) {
        return rest.empty() ? "a command is needed" : "there is no command or option " + inQuotes(rest.front());
    }
    // A word that nothing knows is the reason, too, if the option that it was to be is missed.
    return rest.empty() ? error.what() : "there is no use for " + inQuotes(rest.front()) + " here";
}

}  // namespace

Option& Option::require() {
    option_->required();
    return *this;
}

Option& Option::check(const Check& check) {
    option_->check(check);
    return *this;
}

Option& Option::allow(const std::vector<std::string>& words) {
    option_->check(CLI::IsMember(words));
    return *this;
}

Option& Option::showAs(const std::string& text) {
    option_->option_text(text);
    return *this;
}

Option& Option::exclude(const Option& other) {
    option_->excludes(other.option_);
    return *this;
}

Option& Option::need(const Option& other) {
    option_->needs(other.option_);
    return *this;
}

Option Command::addText(const std::string& name, std::string& value, const std::string& description) {
    return Option(command_->add_option(name, value, description));
}

Option Command::addNumber(const std::string& name, double& value, const std::string& description) {
    return Option(addNumberOption(*command_, name, value, description));
}

Option Command::addNumber(const std::string& name, std::optional<double>& value, const std::string& description) {
    return Option(addNumberOption(*command_, name, value, description));
}

Option Command::addCount(const std::string& name, int& value, int smallest, const std::string& description) {
    const auto check = [smallest](const std::string& text) {
        return wholeNumber(text).value_or(smallest - 1) >= smallest
                   ? ""
                   : "expected a whole number from " + std::to_string(smallest) + " on, not " + inQuotes(text);
    };
    const auto take = [&value](const std::string& text) { value = wholeNumber(text).value(); };
    return Option(command_->add_option_function<std::string>(name, take, description)->check(check));
}

Option Command::addFile(const std::string& name, std::string& value, const std::string& description) {
    const bool isOption = name.front() == '-';
    return Option(command_->add_option(name, value, description)->check(isOption ? checkFileOfOption : checkFile));
}

Option Command::addFiles(const std::string& name, std::vector<std::string>& values, const std::string& description) {
    return Option(command_->add_option(name, values, description)->check(checkFile));
}

Option Command::addSwitch(const std::string& name, bool& value, const std::string& description) {
    return Option(command_->add_flag(name, value, description)->disable_flag_override());
}

void Command::onRun(const std::function<void()>& run) {
    command_->callback(run);
}

CommandLine::CommandLine(const std::string& description)
    : program_(std::make_unique<CLI::App>(description, "qormath")) {
    program_->set_version_flag("--version", "qormath " QORMATH_VERSION);
    program_->require_subcommand(1);
}

CommandLine::~CommandLine() = default;

Command CommandLine::add(const std::string& name, const std::string& description) {
    return Command(program_->add_subcommand(name, description));
}

void CommandLine::run(int argc, const char* const* argv, std::ostream& out) {
    // Set last, for a command takes the footer that the program has when it is added.
    program_->footer("'qormath COMMAND --help' describes a command.");
    try {
        program_->parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() != 0) {
            throw UsageError(causeOf(error, *program_) + " ('qormath --help' tells more)");
        }
        program_->exit(error, out, out);  // help or version
    }
}

}  // namespace qormath::cli
