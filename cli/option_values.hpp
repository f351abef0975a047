#pragma once

#include <optional>
#include <string>

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace qormath::cli {

// Options with a value. Each takes the same texts in every locale, and leaves nothing of a text unread.

/// An option with a number in decimal digits; nan and inf are numbers here, which the command judges.
CLI::Option* addNumber(CLI::App& command, const std::string& name, double& value, const std::string& description);
CLI::Option* addNumber(CLI::App& command, const std::string& name, std::optional<double>& value,
                       const std::string& description);

/// An option with a whole number in decimal digits, the smallest as told.
CLI::Option* addCount(CLI::App& command, const std::string& name, int& value, int smallest,
                      const std::string& description);

/// An option, or without dashes in its name an argument, that names a file. An option does not take what looks like
/// another option for its file: there the file has been forgotten.
CLI::Option* addFile(CLI::App& command, const std::string& name, std::string& value, const std::string& description);

/// A flag, which takes no value that would say otherwise.
CLI::Option* addSwitch(CLI::App& command, const std::string& name, bool& value, const std::string& description);

/// The number that the whole text is; nothing if it is none or too large for its type.
std::optional<int> wholeNumber(const std::string& text);
std::optional<double> decimalNumber(const std::string& text);

}  // namespace qormath::cli
