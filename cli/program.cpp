#include "program.hpp"

#include <CLI/CLI.hpp>
#include <exception>
#include <new>
#include <ostream>
#include <string>
#include <vector>

#include <qormath/core/xmsg.hpp>
#include <qormath/version.hpp>

#include "commands.hpp"
#include "program_error.hpp"
#include "text.hpp"

namespace qormath::cli {

namespace {

enum ExitStatus { done = 0, commandFailed = 1, wrongCommandLine = 2 };

void describe(CLI::App& program) {
    program.description(
        "Models of multivariable process control: from step-response files to state-space models and back");
    program.set_version_flag("--version", "qormath " QORMATH_VERSION);
    program.require_subcommand(1);
}

ExitStatus report(std::ostream& err, ExitStatus status, const std::string& text) {
    err << "qormath: " << printable(text) << '\n';
    return status;
}

std::string causeOf(const CLI::ParseError& error, const CLI::App& program) {
    if (!program.get_subcommands().empty()) {
        return error.what();
    }
    const std::vector<std::string> rest = program.remaining();
    return rest.empty() ? "a command is needed" : "there is no command or option '" + rest.front() + "'";
}

ExitStatus finish(std::ostream& out, std::ostream& err) {
    return out.flush() ? done : report(err, commandFailed, "standard output: the result cannot be written");
}

}  // namespace

int runProgram(int argc, const char* const* argv, std::ostream& out, std::ostream& err, bool errIsTerminal) {
    CLI::App program("", "qormath");
    describe(program);
    const Console console{out, err, errIsTerminal};
    addReduceCommand(program, console);
    addInfoCommand(program, console);
    addRealiseCommand(program, console);
    addSimulateCommand(program, console);
    addConvertCommand(program, console);
    addResampleCommand(program, console);
    addPairingCommand(program, console);
    // Set last, for a command takes the footer that the program has when it is added.
    program.footer("'qormath COMMAND --help' describes a command.");

    try {
        program.parse(argc, argv);
        return finish(out, err);
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() != 0) {
            return report(err, wrongCommandLine, causeOf(error, program) + " ('qormath --help' tells more)");
        }
        program.exit(error, out, err);  // help or version
        return finish(out, err);
    } catch (const ProgramError& error) {
        return report(err, commandFailed, error.what());
    } catch (const QorMathLA::xmsg& error) {
        return report(err, commandFailed, "a computation failed: " + error.message);
    } catch (const std::bad_alloc&) {
        return report(err, commandFailed, "there is not enough memory");
    } catch (const std::exception& error) {
        return report(err, commandFailed, error.what());
    } catch (int) {
        return report(err, commandFailed, "a computation failed");
    }
}

}  // namespace qormath::cli
