#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <support/matrix_literals.hpp>

#include <qormath/conditioning/detail/small_elements.hpp>

using qormath::conditioning::chopSmallElements;
using qormath::test::matrixOf;
using qormath::test::written;
using QorMathLA::Matrix;
using QorMathLA::Range;

TEST(ChopSmallElements, ClearsWhatIsBelowTheLimitInMagnitude) {
    Matrix<double> m = matrixOf({{0.4, -0.4}, {3, -3}});
    chopSmallElements(m, 0.5);
    EXPECT_EQ(written(m), "2x2 [0 0; 3 -3]");
}

TEST(ChopSmallElements, KeepsAnElementAtTheLimit) {
    Matrix<double> m = matrixOf({{0.5, -0.5, std::nextafter(0.5, 0.0), -std::nextafter(0.5, 0.0)}});
    chopSmallElements(m, 0.5);
    EXPECT_EQ(written(m), "1x4 [0.5 -0.5 0 0]");
}

TEST(ChopSmallElements, ClearsNothingForALimitOfZeroOrLess) {
    Matrix<double> m = matrixOf({{1e-300, -1e-300}});
    chopSmallElements(m, 0.0);
    EXPECT_EQ(m(0, 0), 1e-300);
    chopSmallElements(m, -1.0);
    EXPECT_EQ(m(0, 1), -1e-300);
}

TEST(ChopSmallElements, KeepsNaN) {
    Matrix<double> m = matrixOf({{std::numeric_limits<double>::quiet_NaN()}});
    chopSmallElements(m, 1.0);
    EXPECT_TRUE(std::isnan(m(0, 0)));
}

TEST(ChopSmallElements, WritesWithinAViewAlone) {
    const Matrix<double> whole = matrixOf({{0.1, 0.1}, {0.1, 0.1}});
    Matrix<double> view = whole(Range(1, 1, 1), Range(0, 1, 1));
    chopSmallElements(view, 0.5);
    EXPECT_EQ(written(whole), "2x2 [0.10000000000000001 0.10000000000000001; 0 0]");
}

TEST(ChopSmallElements, AcceptsAnEmptyMatrix) {
    Matrix<double> m(0, 3);
    chopSmallElements(m, 1.0);
    EXPECT_EQ(m.cols(), 3);
}
