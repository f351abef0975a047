#pragma once

#include <iosfwd>

namespace CLI {
class App;
}

namespace qormath::cli {

/// Where a command writes: its result, and its warnings.
struct Console {
    std::ostream& out;
    std::ostream& err;
    bool errIsTerminal = false;  ///< somebody may be watching: progress shows there
};

/// Throws ProgramError if what has been printed as the result does not reach whoever reads it.
void requirePrinted(const Console& console);

// Each adds its command to the program. The command runs while the program parses its arguments, and throws
// ProgramError.

void addConvertCommand(CLI::App& program, const Console& console);
void addInfoCommand(CLI::App& program, const Console& console);
void addPairingCommand(CLI::App& program, const Console& console);
void addRealiseCommand(CLI::App& program, const Console& console);
void addReduceCommand(CLI::App& program, const Console& console);
void addResampleCommand(CLI::App& program, const Console& console);
void addSimulateCommand(CLI::App& program, const Console& console);

}  // namespace qormath::cli
