#include "option_values.hpp"

#include <cmath>
#include <gtest/gtest.h>
#include <string>
#include <support/comma_locale.hpp>

namespace qormath::cli {
namespace {

TEST(WholeNumber, IsTheWholeText) {
    EXPECT_EQ(wholeNumber("0"), 0);
    EXPECT_EQ(wholeNumber("010"), 10) << "a zero in front does not change the base";
    EXPECT_EQ(wholeNumber("-7"), -7);
    EXPECT_EQ(wholeNumber("+7"), 7);
    EXPECT_EQ(wholeNumber("2147483647"), 2147483647);
    for (const char* text :
         {"", " 1", "1 ", "1x", "0x1", "1.0", "1e1", "++1", "+-1", "+", "2147483648", "one", "-", "1\n"}) {
        EXPECT_EQ(wholeNumber(text), std::nullopt) << text;
    }
}

TEST(DecimalNumber, IsTheWholeText) {
    EXPECT_EQ(decimalNumber("0.25"), 0.25);
    EXPECT_EQ(decimalNumber("-1e-3"), -1e-3);
    EXPECT_EQ(decimalNumber("+1.5e+3"), 1500.0);
    EXPECT_EQ(decimalNumber(".5"), 0.5);
    EXPECT_EQ(decimalNumber("1e308"), 1e308);
    EXPECT_TRUE(std::isnan(decimalNumber("nan").value()));
    for (const char* text : {"", " 1", "1 ", "1,5", "0x1p3", "1e999", "1e-999", "++1", "+-1", "+", "1.5.5", "1f", "1\n",
                             "nan()", "NaN(1)"}) {
        EXPECT_EQ(decimalNumber(text), std::nullopt) << text;
    }
}

TEST(DecimalNumber, HasAPointInEveryLocale) {
    const qormath::test::CommaLocale locale;
    EXPECT_EQ(decimalNumber("1.5"), 1.5);
    EXPECT_EQ(decimalNumber("1,5"), std::nullopt);
    EXPECT_EQ(decimalNumber("1.500,25"), std::nullopt);
}

}  // namespace
}  // namespace qormath::cli
