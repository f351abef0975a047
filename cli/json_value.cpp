#include "json_value.hpp"

#include <nlohmann/json.hpp>
#include <ostream>
#include <string_view>

namespace qormath::cli {

namespace {

using Json = nlohmann::ordered_json;

constexpr int indentation = 2;

}  // namespace

JsonValue::JsonValue() : value_(std::make_unique<Json>(Json::object())) {}

JsonValue::JsonValue(std::nullptr_t) : value_(std::make_unique<Json>()) {}

JsonValue::JsonValue(bool value) : value_(std::make_unique<Json>(value)) {}

JsonValue::JsonValue(int value) : value_(std::make_unique<Json>(value)) {}

JsonValue::JsonValue(double value) : value_(std::make_unique<Json>(value)) {}

JsonValue::JsonValue(const char* text) : value_(std::make_unique<Json>(text)) {}

JsonValue::JsonValue(const std::string& text) : value_(std::make_unique<Json>(text)) {}

JsonValue::JsonValue(const std::vector<std::string>& texts) : value_(std::make_unique<Json>(texts)) {}

JsonValue::JsonValue(const std::vector<double>& numbers) : value_(std::make_unique<Json>(numbers)) {}

JsonValue::JsonValue(std::initializer_list<Field> fields) : JsonValue() {
    for (const auto& [name, value] : fields) {
        add(name, value);
    }
}

JsonValue JsonValue::list() {
    JsonValue result;
    *result.value_ = Json::array();
    return result;
}

JsonValue::JsonValue(JsonValue&& other) noexcept = default;

JsonValue::~JsonValue() = default;

void JsonValue::add(const char* name, const JsonValue& value) {
    (*value_)[name] = *value.value_;
}

void JsonValue::append(const JsonValue& element) {
    value_->push_back(*element.value_);
}

void JsonValue::print(std::ostream& out) const {
    out << value_->dump(indentation) << '\n';
}

std::string JsonValue::scriptText() const {
    // In the text of JSON these stand in strings alone, where an escape is the same character. The two separators end
    // a line in older JavaScript.
    std::string text;
    const std::string plain = value_->dump();
    for (std::size_t k = 0; k < plain.size(); ++k) {
        const std::string_view separator = std::string_view(plain).substr(k, 3);
        if (plain[k] == '<') {
            text += "\\u003c";
        } else if (plain[k] == '>') {
            text += "\\u003e";
        } else if (plain[k] == '&') {
            text += "\\u0026";
        } else if (separator == "\xe2\x80\xa8" || separator == "\xe2\x80\xa9") {
            text += separator.back() == '\xa8' ? "\\u2028" : "\\u2029";
            k += 2;
        } else {
            text += plain[k];
        }
    }
    return text;
}

}  // namespace qormath::cli
