#include "option_values.hpp"

#include <CLI/CLI.hpp>
#include <charconv>
#include <system_error>

namespace qormath::cli {

namespace {

template <class Number>
std::optional<Number> numberOf(const std::string& text) {
    // Unlike people, from_chars knows no plus.
    const bool hasPlus = text.size() > 1 && text[0] == '+' && text[1] != '-';
    const char* const last = text.data() + text.size();
    Number value{};
    const auto [end, error] = std::from_chars(text.data() + (hasPlus ? 1 : 0), last, value);
    // It does know nan(...), where people write nan.
    const bool isNumber = error == std::errc() && end == last && text.back() != ')';
    return isNumber ? std::optional<Number>(value) : std::nullopt;
}

std::string quoted(const std::string& text) {
    return "'" + text + "'";
}

// A check returns what is wrong, and an empty text if nothing is.

std::string checkNumber(const std::string& text) {
    return decimalNumber(text) ? "" : "expected a number, not " + quoted(text);
}

std::string checkFile(const std::string& text) {
    return text.empty() ? "the name of the file is empty" : "";
}

std::string checkFileOfOption(const std::string& text) {
    if (!text.empty() && (text.front() == '-' || text.front() == '=')) {
        return "expected the name of a file, not " + quoted(text) + " (a file of that name is './" + text + "')";
    }
    return checkFile(text);
}

template <class Value>
CLI::Option* addNumberOption(CLI::App& command, const std::string& name, Value& value, const std::string& description) {
    const auto take = [&value](const std::string& text) { value = decimalNumber(text).value(); };
    return command.add_option_function<std::string>(name, take, description)->check(checkNumber);
}

}  // namespace

std::optional<int> wholeNumber(const std::string& text) {
    return numberOf<int>(text);
}

std::optional<double> decimalNumber(const std::string& text) {
    return numberOf<double>(text);
}

CLI::Option* addNumber(CLI::App& command, const std::string& name, double& value, const std::string& description) {
    return addNumberOption(command, name, value, description);
}

CLI::Option* addNumber(CLI::App& command, const std::string& name, std::optional<double>& value,
                       const std::string& description) {
    return addNumberOption(command, name, value, description);
}

CLI::Option* addCount(CLI::App& command, const std::string& name, int& value, int smallest,
                      const std::string& description) {
    const auto check = [smallest](const std::string& text) {
        return wholeNumber(text).value_or(smallest - 1) >= smallest
                   ? ""
                   : "expected a whole number from " + std::to_string(smallest) + " on, not " + quoted(text);
    };
    const auto take = [&value](const std::string& text) { value = wholeNumber(text).value(); };
    return command.add_option_function<std::string>(name, take, description)->check(check);
}

CLI::Option* addFile(CLI::App& command, const std::string& name, std::string& value, const std::string& description) {
    const bool isOption = name.front() == '-';
    return command.add_option(name, value, description)->check(isOption ? checkFileOfOption : checkFile);
}

CLI::Option* addSwitch(CLI::App& command, const std::string& name, bool& value, const std::string& description) {
    return command.add_flag(name, value, description)->disable_flag_override();
}

}  // namespace qormath::cli
