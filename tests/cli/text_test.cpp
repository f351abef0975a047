#include "text.hpp"

#include <gtest/gtest.h>
#include <limits>
#include <locale>
#include <nlohmann/json.hpp>
#include <sstream>

namespace qormath::cli {
namespace {

TEST(ToUtf8, LeavesUtf8AsItIs) {
    EXPECT_EQ(toUtf8("K\xC3\x9CHLER"), "K\xC3\x9CHLER");
}

TEST(ToUtf8, TakesOtherBytesForLatin1) {
    EXPECT_EQ(toUtf8("K\xDCHLER \xE9"), "K\xC3\x9CHLER \xC3\xA9");
}

TEST(ToUtf8, TakesACutCharacterForLatin1) {
    EXPECT_EQ(toUtf8("AB\xC3"), "AB\xC3\x83");
    EXPECT_EQ(toUtf8("\xE2\x82"), "\xC3\xA2\xC2\x82");
    EXPECT_EQ(toUtf8("\xF0\x9F\x98"), "\xC3\xB0\xC2\x9F\xC2\x98");
    EXPECT_EQ(toUtf8("\xE2\x82 A"), "\xC3\xA2\xC2\x82 A");
}

TEST(ToUtf8, LeavesTheFirstAndTheLastCharacterOfEachLength) {
    for (const std::string text : {"\x01", "\x7F", "\xC2\x80", "\xDF\xBF", "\xE0\xA0\x80", "\xED\x9F\xBF",
                                   "\xEE\x80\x80", "\xEF\xBF\xBF", "\xF0\x90\x80\x80", "\xF4\x8F\xBF\xBF"}) {
        EXPECT_EQ(toUtf8(text), text);
    }
    EXPECT_EQ(toUtf8(std::string(1, '\0')), std::string(1, '\0'));
}

TEST(ToUtf8, AcceptsWhatTheJsonLibraryAccepts) {
    // Every first byte and the second ones at which a range begins or ends, followed by what most of them need: what is
    // let through here must be fit to be printed.
    for (unsigned first = 0x80; first <= 0xFF; ++first) {
        for (const unsigned second : {0x00U, 0x7FU, 0x80U, 0x8FU, 0x90U, 0x9FU, 0xA0U, 0xBFU, 0xC0U, 0xFFU}) {
            for (const std::string rest : {"", "\x80", "\xBF\xBF", "\x80\x80\x80", "a"}) {
                const std::string text = std::string{static_cast<char>(first), static_cast<char>(second)} + rest;
                bool isFit = true;
                try {
                    nlohmann::json(text).dump();
                } catch (const nlohmann::json::type_error&) {
                    isFit = false;
                }
                ASSERT_EQ(toUtf8(text) == text, isFit) << first << " " << second << " " << rest.size();
            }
        }
    }
}

TEST(Printable, ReplacesControlCharactersAndKeepsTheRest) {
    EXPECT_EQ(printable("a\nb\x1B[31mc\x7F"), "a?b?[31mc?");
    EXPECT_EQ(printable("\xC2\x9B"
                        "31m"),
              "?31m");
    EXPECT_EQ(printable("\x9B"
                        "31m"),
              "?31m");
    EXPECT_EQ(printable("K\xC3\x9C"), "K\xC3\x9C");
}

TEST(FormatNumber, IsShort) {
    EXPECT_EQ(formatNumber(180.0), "180");
    EXPECT_EQ(formatNumber(0.1), "0.1");
    EXPECT_EQ(formatNumber(-1.0 / 3.0), "-0.333333");
    EXPECT_EQ(formatNumber(1.23456e-12, 3), "1.23e-12");
    EXPECT_EQ(formatNumber(0.0), "0");
    EXPECT_EQ(formatNumber(std::numeric_limits<double>::infinity()), "inf");
}

TEST(Joined, SaysNoneOfAnEmptyList) {
    EXPECT_EQ(joined({}), "none");
    EXPECT_EQ(joined({"A"}), "A");
    EXPECT_EQ(joined({"A", "B"}), "A, B");
}

TEST(FactTable, AlignsItsSecondColumn) {
    FactTable table;
    table.add("a", "1");
    table.add("long label", "two\nlines");
    std::ostringstream out;
    table.print(out);
    EXPECT_EQ(out.str(), "a           1\nlong label  two?lines\n");
}

TEST(FactTable, IsEmptyWithoutFacts) {
    std::ostringstream out;
    FactTable().print(out);
    EXPECT_EQ(out.str(), "");
}

TEST(PrintGrid, AlignsByCharactersNotBytes) {
    std::ostringstream out;
    printGrid(out, {{"", "K\xC3\x9C", "B"}, {"row", "1", "-2.5"}, {"r", "100"}});
    EXPECT_EQ(out.str(), "      K\xC3\x9C     B\nrow    1  -2.5\nr    100\n");
}

TEST(PrintGrid, IsEmptyWithoutRows) {
    std::ostringstream out;
    printGrid(out, {});
    EXPECT_EQ(out.str(), "");
}

}  // namespace
}  // namespace qormath::cli
