#pragma once

#include <iosfwd>
#include <string>

namespace qormath::cli {

class CommandLine;

/// Where a command writes: its result, and its warnings.
struct Console {
    std::ostream& out;
    std::ostream& err;
    bool errIsTerminal = false;  ///< somebody may be watching: progress shows there
    std::string program = {};    ///< the file of the program, for work that takes several processes
};

/// Throws ProgramError if what has been printed as the result does not reach whoever reads it.
void requirePrinted(const Console& console);

// Each adds its command to the program. The command runs while the arguments of the program are parsed, and throws
// ProgramError.

void addConvertCommand(CommandLine& program, const Console& console);
void addInfoCommand(CommandLine& program, const Console& console);
void addPairingCommand(CommandLine& program, const Console& console);
void addRealiseCommand(CommandLine& program, const Console& console);
void addReduceCommand(CommandLine& program, const Console& console);
void addReportCommand(CommandLine& program, const Console& console);
void addResampleCommand(CommandLine& program, const Console& console);
void addSimulateCommand(CommandLine& program, const Console& console);

}  // namespace qormath::cli
