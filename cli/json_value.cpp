#include "json_value.hpp"

#include <nlohmann/json.hpp>
#include <ostream>

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

JsonValue::JsonValue(const JsonValue& other) : value_(std::make_unique<Json>(*other.value_)) {}

JsonValue::JsonValue(JsonValue&& other) noexcept = default;

JsonValue& JsonValue::operator=(JsonValue other) noexcept {
    value_ = std::move(other.value_);
    return *this;
}

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

}  // namespace qormath::cli
