#pragma once

#include <cstddef>
#include <initializer_list>
#include <iosfwd>
#include <memory>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <utility>
#include <vector>

namespace qormath::cli {

/// A value of JSON that is to be printed; one of an object, whose fields keep their order, until it is made of
/// something else. What the commands see of the library that writes JSON, which takes longer to compile than any of
/// them.
class JsonValue {
  public:
    using Field = std::pair<const char*, JsonValue>;

    JsonValue();
    JsonValue(std::nullptr_t);
    JsonValue(bool value);
    JsonValue(int value);
    JsonValue(double value);  ///< null if it is not finite
    JsonValue(const char* text);
    JsonValue(const std::string& text);
    JsonValue(const std::vector<std::string>& texts);
    JsonValue(const std::vector<double>& numbers);  ///< null for those that are not finite
    JsonValue(std::initializer_list<Field> fields);
    static JsonValue list();

    JsonValue(JsonValue&& other) noexcept;
    ~JsonValue();

    /// Adds a field to an object.
    void add(const char* name, const JsonValue& value);

    /// Adds an element to a list.
    void append(const JsonValue& element);

    /// On lines of its own, indented. Texts are to be UTF-8.
    void print(std::ostream& out) const;

    /// On one line without blanks, as the content of an element script of an HTML page: nothing in it ends the element.
    std::string scriptText() const;

  private:
    std::unique_ptr<nlohmann::ordered_json> value_;
};

}  // namespace qormath::cli
