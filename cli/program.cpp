#include "program.hpp"

#include <cerrno>
#include <cstring>
#include <exception>
#include <new>
#include <ostream>
#include <string>
#include <vector>

#include <qormath/core/xmsg.hpp>

#include "command_line.hpp"
#include "commands.hpp"
#include "program_error.hpp"
#include "text.hpp"

namespace qormath::cli {

namespace {

enum ExitStatus { done = 0, commandFailed = 1, wrongCommandLine = 2 };

ExitStatus report(std::ostream& err, ExitStatus status, const std::string& text) {
    err << "qormath: " << printable(text) << '\n';
    return status;
}

}  // namespace

void requirePrinted(const Console& console) {
    errno = 0;
    if (!console.out.flush()) {
        const std::string cause = errno == 0 ? "" : std::string(": ") + std::strerror(errno);
        throw ProgramError("standard output", "cannot be written" + cause);
    }
}

int runProgram(int argc, const char* const* argv, std::ostream& out, std::ostream& err, bool errIsTerminal,
               const std::string& program) {
    CommandLine commands(
        "Models of multivariable process control: from step-response files to state-space models and back");
    const Console console{out, err, errIsTerminal, program};
    addReduceCommand(commands, console);
    addReportCommand(commands, console);
    addInfoCommand(commands, console);
    addRealiseCommand(commands, console);
    addSimulateCommand(commands, console);
    addConvertCommand(commands, console);
    addResampleCommand(commands, console);
    addPairingCommand(commands, console);

    try {
        commands.run(argc, argv, out);
        requirePrinted(console);
        return done;
    } catch (const UsageError& error) {
        return report(err, wrongCommandLine, error.what());
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
