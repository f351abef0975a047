#include <cmath>
#include <cstdio>
#include <gtest/gtest.h>
#include <limits>
#include <random>
#include <vector>

#include <qormath/models/detail/round7.hpp>

using qormath::models::firRound7;

namespace {

// The definition, step by step.
double byDefinition(double v) {
    if (v >= -1e-30 && v <= 1e-30) {
        return 0.0;
    }
    const int e = static_cast<int>(std::floor(std::log10(std::fabs(v))));
    double x = std::pow(10.0, 6 - e) * v;
    x = x > 0.0 ? x + 0.5 : x - 0.5;
    return std::pow(10.0, e - 6) * static_cast<double>(static_cast<long long>(x));
}

}  // namespace

TEST(FirRound7, OfValuesUpToTheLimitIsZero) {
    EXPECT_EQ(firRound7(0.0), 0.0);
    EXPECT_EQ(firRound7(1e-30), 0.0);
    EXPECT_EQ(firRound7(-1e-30), 0.0);
    EXPECT_FALSE(std::signbit(firRound7(-1e-30)));
    EXPECT_NE(firRound7(std::nextafter(1e-30, 1.0)), 0.0);
    EXPECT_NE(firRound7(std::nextafter(-1e-30, -1.0)), 0.0);
}

TEST(FirRound7, KeepsSevenDigitsAndRoundsHalvesAwayFromZero) {
    EXPECT_EQ(firRound7(1.0), 1.0);
    EXPECT_EQ(firRound7(1234567.0), 1234567.0);
    EXPECT_EQ(firRound7(1234567.5), 1234568.0);
    EXPECT_EQ(firRound7(-1234567.5), -1234568.0);
    EXPECT_EQ(firRound7(12345678.0), 12345680.0);
    EXPECT_EQ(firRound7(9999999.5), 10000000.0);
}

TEST(FirRound7, LeavesInfinityAndNaN) {
    constexpr double infinity = std::numeric_limits<double>::infinity();
    EXPECT_EQ(firRound7(infinity), infinity);
    EXPECT_EQ(firRound7(-infinity), -infinity);
    EXPECT_TRUE(std::isnan(firRound7(std::numeric_limits<double>::quiet_NaN())));
}

TEST(FirRound7, FollowsItsDefinitionToTheBit) {
    std::mt19937_64 generator(1);
    std::uniform_real_distribution<double> mantissa(1.0, 10.0);
    std::uniform_int_distribution<int> decade(-30, 37);
    for (int k = 0; k < 500000; ++k) {
        const double sign = generator() % 2 == 0 ? 1.0 : -1.0;
        const double value = sign * mantissa(generator) * std::pow(10.0, decade(generator));
        ASSERT_EQ(firRound7(value), byDefinition(value)) << value;
        const double single = static_cast<double>(static_cast<float>(value));
        ASSERT_EQ(firRound7(single), byDefinition(single)) << single;
    }
    for (int power = -30; power <= 300; ++power) {
        const double value = std::pow(10.0, power);
        for (const double beside :
             {std::nextafter(value, 0.0), value, std::nextafter(value, 1e301), value * (1 - 1e-15), value * (1 - 1e-14),
              value * (1 - 1e-13), value * (1 + 1e-13)}) {
            ASSERT_EQ(firRound7(beside), byDefinition(beside)) << beside;
        }
    }
}

// A float holds seven digits of what was printed in seven digits; the rounding finds them again.
TEST(FirRound7, RecoversPrintedDigitsFromAFloat) {
    std::mt19937_64 generator(2);
    std::uniform_int_distribution<int> digits(1000000, 9999999);
    for (int k = 0; k < 200000; ++k) {
        const int whole = digits(generator);
        const double value = whole * 1e-6;
        ASSERT_NEAR(firRound7(static_cast<double>(static_cast<float>(value))), value, 4e-16 * value);
    }
}

TEST(FirRound7, OfManyValuesIsThatOfEach) {
    const std::vector<float> values = {0.0F,         -0.0F,       -1e-31F, -1e-30F, 1e-42F,   1.2345678e-20F,
                                       -9.999999e5F, 3.14159274F, -0.1F,   1e22F,   HUGE_VALF};
    std::vector<double> rounded(values.size() + 1, 7.0);
    firRound7(static_cast<int>(values.size()), values.data(), rounded.data());
    for (std::size_t k = 0; k < values.size(); ++k) {
        EXPECT_EQ(rounded[k], firRound7(static_cast<double>(values[k]))) << values[k];
    }
    EXPECT_EQ(rounded.back(), 7.0);
    const float notANumber = std::numeric_limits<float>::quiet_NaN();
    firRound7(1, &notANumber, rounded.data());
    EXPECT_TRUE(std::isnan(rounded.front()));
    firRound7(0, nullptr, nullptr);
}
