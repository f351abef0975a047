#pragma once

#include <stdexcept>
#include <string>

namespace qormath::cli {

/// What ends a command with exit status 1. The text is one sentence for the user and names the file it is about.
class ProgramError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
    ProgramError(const std::string& file, const std::string& cause) : std::runtime_error(file + ": " + cause) {}
};

}  // namespace qormath::cli
