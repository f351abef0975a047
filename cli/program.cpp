#include "program.hpp"

#include <CLI/CLI.hpp>
#include <cerrno>
#include <cstring>
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
    std::vector<std::string> rest = program.remaining(true);
    if (rest.size() > 1 && rest.front() == "--") {
        rest.erase(rest.begin());  // it only says that what follows are names
    }
    if (program.get_subcommands().empty()) {
        return rest.empty() ? "a command is needed" : "there is no command or option '" + rest.front() + "'";
    }
    // A word that nothing knows is the reason, too, if the option that it was to be is missed.
    return rest.empty() ? error.what() : "there is no use for '" + rest.front() + "' here";
}

/// Runs the command that the arguments tell.
void parse(CLI::App& program, int argc, const char* const* argv, std::ostream& out) {
    try {
        program.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() != 0) {
            throw;
        }
        program.exit(error, out, out);  // help or version
    }
}

}  // namespace

void requirePrinted(const Console& console) {
    errno = 0;
    if (!console.out.flush()) {
        const std::string cause = errno == 0 ? "" : std::string(": ") + std::strerror(errno);
        throw ProgramError("standard output", "cannot be written" + cause);
    }
}

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
        parse(program, argc, argv, out);
        requirePrinted(console);
        return done;
    } catch (const CLI::ParseError& error) {
        return report(err, wrongCommandLine, causeOf(error, program) + " ('qormath --help' tells more)");
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
