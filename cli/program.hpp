#pragma once

#include <iosfwd>

namespace qormath::cli {

/// Runs the command line. Results go to out, errors and warnings, one line each, to err. Long work shows its progress
/// on err if that is a terminal.
/// @return the exit status: 0 done, 1 the command failed, 2 the command line is wrong
int runProgram(int argc, const char* const* argv, std::ostream& out, std::ostream& err, bool errIsTerminal = false);

}  // namespace qormath::cli
