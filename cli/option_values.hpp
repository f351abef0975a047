#pragma once

#include <optional>
#include <string>

namespace qormath::cli {

/// The number in decimal digits that the whole text is, in every locale; nothing if it is none or too large for its
/// type. nan and inf are numbers.
std::optional<int> wholeNumber(const std::string& text);
std::optional<double> decimalNumber(const std::string& text);

}  // namespace qormath::cli
