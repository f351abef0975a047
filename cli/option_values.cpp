#include "option_values.hpp"

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

}  // namespace

std::optional<int> wholeNumber(const std::string& text) {
    return numberOf<int>(text);
}

std::optional<double> decimalNumber(const std::string& text) {
    return numberOf<double>(text);
}

}  // namespace qormath::cli
