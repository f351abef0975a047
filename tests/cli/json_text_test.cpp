// The JSON of strangers: read no further than it takes, kept no more than is of use.

#include "json_text.hpp"

#include <cstddef>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <string>
#include <utility>

#include "program_error.hpp"

namespace qormath::cli {
namespace {

using nlohmann::json;
using testing::HasSubstr;
using testing::StartsWith;

TextSource partsOf(const std::string& text, std::size_t size) {
    return [text, size, place = std::size_t{0}]() mutable {
        const std::string_view part = std::string_view(text).substr(std::min(place, text.size()), size);
        place += part.size();
        return part;
    };
}

/// A text that goes on for ever, after its beginning.
class Endless {
  public:
    Endless(std::string start, std::string rest) : start_(std::move(start)) {
        while (rest_.size() < 65536) {
            rest_ += rest;
        }
    }

    TextSource source() {
        return [this]() -> std::string_view {
            taken_ += rest_.size();
            return std::exchange(isStarted_, true) ? std::string_view(rest_) : std::string_view(start_);
        };
    }

    std::size_t taken() const { return taken_; }

  private:
    std::string start_;
    std::string rest_;
    bool isStarted_ = false;
    std::size_t taken_ = 0;
};

std::string errorOf(const TextSource& source, const std::vector<std::string_view>& fields = {"a"}) {
    try {
        jsonObject(source, fields);
    } catch (const ProgramError& error) {
        return error.what();
    }
    return "no error";
}

TEST(JsonObject, KeepsTheFieldsAskedForAlone) {
    const std::string text = R"({"a": [1, {"b": 2}], "c": {"a": [3]}, "d": [[4]], "b": "x", "e": null})";
    EXPECT_EQ(jsonObject(partsOf(text, 1000), {"a", "b"}), json::parse(R"({"a": [1, {"b": 2}], "b": "x"})"));
    EXPECT_EQ(jsonObject(partsOf(text, 1000), {}), json::object());
}

TEST(JsonObject, IsTheSameWhateverThePartsOfTheText) {
    const std::string text = "{\"a\": [1.5, -2e3,\n true],\n\"b\": \"\\\"\\u00e9\xc3\xa9\\\\\"}";
    for (std::size_t size = 1; size <= text.size() + 1; ++size) {
        EXPECT_EQ(jsonObject(partsOf(text, size), {"a", "b"}), json::parse(text)) << size;
    }
}

TEST(JsonObject, MayBeAnotherValue) {
    EXPECT_EQ(jsonObject(partsOf("[1]", 1), {}), json::parse("[1]"));
    EXPECT_EQ(jsonObject(partsOf("7", 1), {}), json(7));
}

TEST(JsonObject, WithAFieldTwiceIsRefused) {
    EXPECT_EQ(errorOf(partsOf(R"({"a": 1, "a": 1})", 5)), "the field \"a\" stands there twice");
    EXPECT_EQ(errorOf(partsOf(R"({"a": 1, "b": 1, "b": 1, "c": {"a": 2, "a": 3}})", 5)), "no error");
}

TEST(JsonObject, TellsTheLineOfItsDamage) {
    const auto lineOf = [](const std::string& text) { return errorOf(partsOf(text, 3)); };
    EXPECT_EQ(lineOf(""), "this is not JSON: something is wrong in line 1");
    EXPECT_EQ(lineOf("{\n\"a\":\n?}"), "this is not JSON: something is wrong in line 3");
    EXPECT_EQ(lineOf("{\"a\": tru\n}"), "this is not JSON: something is wrong in line 2");
    EXPECT_EQ(lineOf("{\"a\" 12\n\n}"), "this is not JSON: something is wrong in line 1");
    EXPECT_EQ(lineOf("{\"a\": 1}\n\n}"), "this is not JSON: something is wrong in line 3");
    EXPECT_EQ(lineOf("{\"a\": NaN}"), "this is not JSON: something is wrong in line 1");
    EXPECT_EQ(lineOf("{\"a\": \"\xff\"}"), "this is not JSON: something is wrong in line 1");
    EXPECT_EQ(lineOf(std::string("{\"a\": 1\0}", 9)), "this is not JSON: something is wrong in line 1");
}

TEST(JsonObject, OfManyFieldsIsReadInProportionToThem) {
    std::string text = "{";
    for (int k = 0; k < 200000; ++k) {
        text += "\"" + std::to_string(k) + "\": {\"a\": {}},\n";
    }
    EXPECT_EQ(jsonObject(partsOf(text + "\"a\": 1}", 65536), {"a"}), json::parse(R"({"a": 1})"));
}

TEST(JsonObject, IsNotNestedBeyondUse) {
    const auto nested = [](std::size_t depth) {
        return "{\"b\": " + std::string(depth, '[') + std::string(depth, ']') + ", \"a\": 1}";
    };
    EXPECT_EQ(jsonObject(partsOf(nested(90), 7), {"a"}), json::parse(R"({"a": 1})"));
    EXPECT_THAT(errorOf(partsOf(nested(1000), 7)), StartsWith("this is not a system file: its brackets"));
}

TEST(JsonObject, HasNoWordsAndNumbersBeyondUse) {
    const auto withWord = [](std::size_t length) { return "{\"a\": \"" + std::string(length, ',') + "\"}"; };
    EXPECT_EQ(jsonObject(partsOf(withWord(1000000), 65536), {"a"})["a"].get<std::string>().size(), 1000000U);
    EXPECT_THAT(errorOf(partsOf(withWord(2000000), 65536)), HasSubstr("line 1 has something longer than any name"));
}

TEST(JsonObject, IsGivenUpSoonIfItHasNoEnd) {
    const std::pair<std::string, std::string> texts[] = {{"{", std::string(1, '\0')},
                                                         {"[", "["},
                                                         {"{\"a\": ", "["},
                                                         {"{\"a\": ", "{\"a\": "},
                                                         {" ", " "},
                                                         {"\n", "\n"},
                                                         {"{\"a\": ", "1"},
                                                         {"{\"a\": \"", "x"},
                                                         {"{\"a\": \"", ","},
                                                         {"{\"a\": \"", "[]"},
                                                         {"{\"a\": \"\\\"", "\\\""},
                                                         {"{\"b\": \"", "\\\\"}};
    for (const auto& [start, rest] : texts) {
        Endless endless(start, rest);
        EXPECT_NE(errorOf(endless.source()), "no error") << start << rest;
        EXPECT_LT(endless.taken(), std::size_t{3} << 20U) << start << rest;
    }
}

}  // namespace
}  // namespace qormath::cli
