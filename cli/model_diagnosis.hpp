#pragma once

#include <iosfwd>
#include <string>

namespace qormath::cli {

/// Why a model file cannot be read, as what follows its name in a sentence: that it cannot be opened, the first line
/// that is not what it has to be and what is expected there, or, where every line is in order, that memory has run out.
std::string diagnoseModelFile(const std::string& path);

/// The first line of a model file's text that is not what it has to be; empty if all lines are in order.
std::string firstDamage(std::istream& text);

}  // namespace qormath::cli
