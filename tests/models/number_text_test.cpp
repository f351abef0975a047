#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <gtest/gtest.h>
#include <limits>
#include <random>
#include <string>
#include <support/comma_locale.hpp>

#include <qormath/models/detail/number_text.hpp>

using namespace qormath::models;

namespace {

using Buffer = std::array<char, longestNumberText>;

template <class Write, class... Arguments>
std::string written(Write write, Arguments... arguments) {
    Buffer buffer;
    buffer.fill('#');
    return {buffer.data(), write(buffer.data(), arguments...)};
}

// printf of this platform in the C locale is the oracle.
template <class Value>
std::string printed(const char* format, Value value) {
    std::array<char, 512> buffer{};
    std::snprintf(buffer.data(), buffer.size(), format, value);
    return buffer.data();
}

void expectPrinted(double value) {
    ASSERT_EQ(written(writeScientific15, value), printed("%15.6e", value)) << printed("%a", value);
    ASSERT_EQ(written(writeScientific24, value), printed("%24.15e", value)) << printed("%a", value);
}

void expectPrintedInSevenDigits(double value) {
    ASSERT_EQ(written(writeScientific15, value), printed("%15.6e", value)) << printed("%a", value);
}

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();

}  // namespace

TEST(NumberText, OfEdgesIsThatOfPrintf) {
    using Limits = std::numeric_limits<double>;
    for (const double value : {0.0,
                               1.0,
                               9.9999995,
                               9.9999994999999,
                               9.9999995000001,
                               0.5,
                               1e-5,
                               1e99,
                               1e100,
                               9.99999949e99,
                               9.9999995e99,
                               9.9999999e-100,
                               1e-99,
                               1e-100,
                               1e-300,
                               9.9e-301,
                               1e300,
                               1.1e300,
                               1e-50,
                               Limits::max(),
                               Limits::min(),
                               Limits::denorm_min(),
                               Limits::min() / 3,
                               12345675.0,
                               12345665.0,
                               1.2345675e20,
                               0.00012345675,
                               4503599627370497.5,
                               infinity,
                               notANumber}) {
        expectPrinted(value);
        expectPrinted(-value);
        ASSERT_EQ(written(writeFixed16, value), printed("%16.6f", value));
        ASSERT_EQ(written(writeFixed16, -value), printed("%16.6f", -value));
    }
}

TEST(NumberText, OfMinusZeroKeepsItsSign) {
    EXPECT_EQ(written(writeFixed16, -0.0), "       -0.000000");
    EXPECT_EQ(written(writeScientific15, -0.0), "  -0.000000e+00");
    EXPECT_EQ(written(writeScientific24, -0.0), "  -0.000000000000000e+00");
    EXPECT_EQ(written(writeScientific24, -0.0), printed("%24.15e", -0.0));
}

TEST(NumberText, OfInfinityAndNaNIsRightAligned) {
    EXPECT_EQ(written(writeScientific15, infinity), "            inf");
    EXPECT_EQ(written(writeScientific15, -infinity), "           -inf");
    EXPECT_EQ(written(writeScientific15, std::copysign(notANumber, 1.0)), "            nan");
    EXPECT_EQ(written(writeScientific15, std::copysign(notANumber, -1.0)), "           -nan");
    EXPECT_EQ(written(writeFixed16, infinity), "             inf");
}

TEST(NumberText, OfIntegersIsThatOfPrintf) {
    for (const int value :
         {0, 1, -1, 99999, 100000, -9999, -10000, std::numeric_limits<int>::max(), std::numeric_limits<int>::min()}) {
        EXPECT_EQ(written(writeInteger, value, 12), printed("%12d", value));
        EXPECT_EQ(written(writeInteger, value, 5), printed("%5d", value));
    }
}

TEST(NumberText, OfRandomBitPatternsIsThatOfPrintf) {
    std::mt19937_64 generator(1);
    for (int k = 0; k < 500000; ++k) {
        ASSERT_NO_FATAL_FAILURE(expectPrinted(std::bit_cast<double>(generator())));
    }
}

TEST(NumberText, OfOrdinaryCoefficientsIsThatOfPrintf) {
    std::mt19937_64 generator(2);
    std::normal_distribution<double> normal;
    std::uniform_int_distribution<int> decade(-12, 12);
    for (int k = 0; k < 1000000; ++k) {
        ASSERT_NO_FATAL_FAILURE(expectPrintedInSevenDigits(normal(generator) * std::pow(10.0, decade(generator))));
    }
}

// Halves in the eighth digit, where the last digit is decided by everything behind it, or by the even neighbour.
TEST(NumberText, AtAndBesideTiesIsThatOfPrintf) {
    std::mt19937_64 generator(3);
    std::uniform_int_distribution<std::int64_t> digits(1000000, 9999999);
    std::uniform_int_distribution<int> decade(-310, 300);
    for (int k = 0; k < 200000; ++k) {
        const double exact = static_cast<double>(digits(generator) * 10 + 5);
        const double scaled = exact * std::pow(10.0, decade(generator));
        for (const double value : {exact, exact / 2, exact / 8, exact / 1024, scaled}) {
            ASSERT_NO_FATAL_FAILURE(expectPrintedInSevenDigits(value));
            ASSERT_NO_FATAL_FAILURE(expectPrintedInSevenDigits(std::nextafter(value, infinity)));
            ASSERT_NO_FATAL_FAILURE(expectPrintedInSevenDigits(std::nextafter(value, -infinity)));
        }
    }
}

TEST(NumberText, AroundEveryPowerOfTenAndOfTwoIsThatOfPrintf) {
    for (int power = -330; power <= 308; ++power) {
        for (const double start : {std::pow(10.0, power), 9.9999995 * std::pow(10.0, std::min(power, 307))}) {
            double below = start;
            double above = start;
            for (int step = 0; step < 20; ++step) {
                ASSERT_NO_FATAL_FAILURE(expectPrinted(below));
                ASSERT_NO_FATAL_FAILURE(expectPrinted(above));
                below = std::nextafter(below, -infinity);
                above = std::nextafter(above, infinity);
            }
        }
    }
    for (int power = -1074; power <= 1023; ++power) {
        const double value = std::ldexp(1.0, power);
        ASSERT_NO_FATAL_FAILURE(expectPrinted(value));
        ASSERT_NO_FATAL_FAILURE(expectPrinted(std::nextafter(value, infinity)));
        ASSERT_NO_FATAL_FAILURE(expectPrinted(std::nextafter(value, 0.0)));
    }
}

TEST(NumberText, LooksAtNoLocale) {
    const qormath::test::CommaLocale locale;
    EXPECT_EQ(written(writeScientific15, 1234567.5), "   1.234568e+06");
    EXPECT_EQ(written(writeScientific24, 1234567.5), "   1.234567500000000e+06");
    EXPECT_EQ(written(writeFixed16, 1234567.5), "  1234567.500000");
    EXPECT_EQ(written(writeInteger, 1234567, 12), "     1234567");
}
