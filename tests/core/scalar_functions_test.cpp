#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <support/matrix_compare.hpp>
#include <support/random_numbers.hpp>

#include <qormath/core/scalar_functions.hpp>

namespace {

using qormath::test::NormalNumbers;
using qormath::test::unitRoundoff;

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();

TEST(ScalarAbs, NegatesAValueBelowZero) {
    EXPECT_EQ(QorMathLA::abs(-3), 3);
    EXPECT_EQ(QorMathLA::abs(3), 3);
    EXPECT_EQ(QorMathLA::abs(0), 0);
    EXPECT_EQ(QorMathLA::abs(-2.5), 2.5);
    EXPECT_EQ(QorMathLA::abs(-infinity), infinity);
    EXPECT_TRUE(std::isnan(QorMathLA::abs(notANumber)));
}

TEST(ScalarAbs, LeavesMinusZeroAndTheLowestIntegerAsTheyAre) {
    EXPECT_TRUE(std::signbit(QorMathLA::abs(-0.0)));
    EXPECT_EQ(QorMathLA::abs(std::numeric_limits<int>::min()), std::numeric_limits<int>::min());
}

TEST(ScalarSign, GivesTheMagnitudeTheSignOfTheSecond) {
    EXPECT_EQ(QorMathLA::sign(3, -1), -3);
    EXPECT_EQ(QorMathLA::sign(-3, 1), 3);
    EXPECT_EQ(QorMathLA::sign(-3, 0), 3);
    EXPECT_EQ(QorMathLA::sign(-3, -7), -3);
    EXPECT_EQ(QorMathLA::sign(2.5, -0.1), -2.5);
    EXPECT_EQ(QorMathLA::sign(-2.5, 0.1), 2.5);
}

TEST(ScalarSign, TakesMinusZeroForNotNegative) {
    EXPECT_EQ(QorMathLA::sign(-2.5, -0.0), 2.5);
    EXPECT_EQ(QorMathLA::sign(2.5, 0.0), 2.5);
}

TEST(Pythag, OfZerosIsZero) {
    EXPECT_EQ(QorMathLA::pythag(0.0, 0.0), 0.0);
    EXPECT_EQ(QorMathLA::pythag(-0.0, 0.0), 0.0);
    EXPECT_EQ(QorMathLA::pythag(0.0, -3.0), 3.0);
}

TEST(Pythag, IsTheLengthOfTheHypotenuse) {
    EXPECT_NEAR(QorMathLA::pythag(3.0, 4.0), 5.0, 10.0 * unitRoundoff * 5.0);
    EXPECT_NEAR(QorMathLA::pythag(-5.0, 12.0), 13.0, 10.0 * unitRoundoff * 13.0);
    NormalNumbers numbers(11);
    for (int k = 0; k < 2000; ++k) {
        const double a = std::ldexp(numbers.normal(), numbers.integer(-30, 30));
        const double b = std::ldexp(numbers.normal(), numbers.integer(-30, 30));
        const double exact = std::hypot(a, b);
        // Few roundings in each of at most four steps.
        ASSERT_NEAR(QorMathLA::pythag(a, b), exact, 10.0 * unitRoundoff * exact);
        ASSERT_EQ(QorMathLA::pythag(a, b), QorMathLA::pythag(b, a));
        ASSERT_EQ(QorMathLA::pythag(a, b), QorMathLA::pythag(-a, -b));
    }
}

TEST(Pythag, NeitherOverflowsNorUnderflowsOnTheWay) {
    EXPECT_NEAR(QorMathLA::pythag(3e300, 4e300) / 5e300, 1.0, 10.0 * unitRoundoff);
    EXPECT_NEAR(QorMathLA::pythag(3e-300, 4e-300) / 5e-300, 1.0, 10.0 * unitRoundoff);
    EXPECT_EQ(QorMathLA::pythag(1e300, 1e-300), 1e300);
    EXPECT_EQ(QorMathLA::pythag(1.7e308, 1.7e308), infinity);
}

TEST(Pythag, OfInfinityOrNaNReturns) {
    EXPECT_EQ(QorMathLA::pythag(infinity, 1.0), infinity);
    EXPECT_EQ(QorMathLA::pythag(1.0, -infinity), infinity);
    EXPECT_EQ(QorMathLA::pythag(infinity, infinity), infinity);
    EXPECT_TRUE(std::isnan(QorMathLA::pythag(notANumber, 1.0)));
    EXPECT_TRUE(std::isnan(QorMathLA::pythag(1.0, notANumber)));
    EXPECT_TRUE(std::isnan(QorMathLA::pythag(notANumber, notANumber)));
}

}  // namespace
