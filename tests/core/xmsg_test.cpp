#include <exception>
#include <gtest/gtest.h>
#include <string>
#include <type_traits>

#include <qormath/core/xmsg.hpp>

namespace {

using QorMathLA::xmsg;

TEST(Xmsg, CarriesItsCodeAndItsText) {
    const xmsg error(QorMathLA::DimensionMismatch, "Matrix * Vector");
    EXPECT_EQ(error.code, 5);
    EXPECT_EQ(error.message, "Matrix * Vector");
}

TEST(Xmsg, CopiesTheText) {
    char text[] = "Vector / Type";
    const xmsg error(QorMathLA::DivisionByZero, text);
    text[0] = 'X';
    EXPECT_EQ(error.message, "Vector / Type");
}

TEST(Xmsg, LeavesAPercentSignAsItIs) {
    EXPECT_EQ(xmsg(QorMathLA::DimensionMismatch, "Matrix left division: %").message, "Matrix left division: %");
    EXPECT_EQ(xmsg(QorMathLA::DimensionMismatch, "%s%n%d").message, "%s%n%d");
}

TEST(Xmsg, IsThrownAndCaughtByValue) {
    try {
        throw xmsg(QorMathLA::NumericFailure, "Matrix SVD");
    } catch (xmsg error) {
        EXPECT_EQ(error.code, 11);
        EXPECT_EQ(error.message, "Matrix SVD");
    }
}

TEST(Xmsg, CopiesAreIndependent) {
    xmsg first(QorMathLA::NoConvergence, "Matrix SVD");
    xmsg second(first);
    second.message = "other";
    second.code = 5;
    EXPECT_EQ(first.message, "Matrix SVD");
    EXPECT_EQ(first.code, 4);
    first = second;
    EXPECT_EQ(first.message, "other");
    EXPECT_EQ(first.code, 5);
}

TEST(Xmsg, HasNoBaseAndNothingVirtual) {
    EXPECT_FALSE((std::is_base_of_v<std::exception, xmsg>));
    EXPECT_FALSE(std::is_polymorphic_v<xmsg>);
}

TEST(Xmsg, CodesHaveTheirNames) {
    EXPECT_EQ(QorMathLA::NoConvergence, 4);
    EXPECT_EQ(QorMathLA::DimensionMismatch, 5);
    EXPECT_EQ(QorMathLA::TransposedDataAccess, 9);
    EXPECT_EQ(QorMathLA::DivisionByZero, 10);
    EXPECT_EQ(QorMathLA::NumericFailure, 11);
}

}  // namespace
