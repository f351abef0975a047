#pragma once

#include <iosfwd>
#include <string>

namespace qormath::cli {

/// Why a model file cannot be read: the first line that is not what it has to be, and what is expected there. Where no
/// line can be blamed, what the status of the library says.
std::string diagnoseModelFile(const std::string& path);

/// The first line of a model file's text that is not what it has to be; empty if all lines are in order.
std::string firstDamage(std::istream& text);

}  // namespace qormath::cli
