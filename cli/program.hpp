#pragma once

#include <iosfwd>
#include <string>

namespace qormath::cli {

/// Runs the command line. Results go to out, errors and warnings, one line each, to err. Long work shows its progress
/// on err if that is a terminal. Work that takes several processes runs program, the file of the program itself.
/// @return the exit status: 0 done, 1 the command failed, 2 the command line is wrong
int runProgram(int argc, const char* const* argv, std::ostream& out, std::ostream& err, bool errIsTerminal = false,
               const std::string& program = "");

}  // namespace qormath::cli
