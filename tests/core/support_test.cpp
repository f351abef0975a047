// The helpers of tests/support that other tests stand on.

#include <algorithm>
#include <cmath>
#include <complex>
#include <gtest/gtest.h>
#include <limits>
#include <support/matrix_compare.hpp>
#include <support/matrix_literals.hpp>
#include <support/random_matrices.hpp>
#include <vector>

namespace {

using namespace qormath::test;
using QorMathLA::Matrix;
using QorMathLA::Vector;

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();

TEST(RandomNumbers, AreTheSameForTheSameSeed) {
    NormalNumbers first(7);
    NormalNumbers second(7);
    NormalNumbers other(8);
    const Matrix<double> a = randomMatrix(4, 3, first);
    EXPECT_TRUE(identical(a, randomMatrix(4, 3, second)));
    EXPECT_FALSE(identical(a, randomMatrix(4, 3, other)));
}

TEST(RandomNumbers, KeepToTheirBounds) {
    NormalNumbers numbers(1);
    int lowest = 100;
    int highest = -100;
    for (int k = 0; k < 10000; ++k) {
        const double u = numbers.uniform(2.0, 3.0);
        ASSERT_GT(u, 2.0);
        ASSERT_LT(u, 3.0);
        const int drawn = numbers.integer(-2, 5);
        lowest = std::min(lowest, drawn);
        highest = std::max(highest, drawn);
    }
    EXPECT_EQ(lowest, -2);
    EXPECT_EQ(highest, 5);
}

TEST(RandomNumbers, HaveTheMomentsOfTheNormalDistribution) {
    NormalNumbers numbers(2);
    const Vector<double> drawn = randomVector(100000, numbers);
    // Five standard deviations of the mean and of the variance over so many draws.
    EXPECT_NEAR(drawn.sum() / drawn.size(), 0.0, 5.0 / std::sqrt(100000.0));
    EXPECT_NEAR(drawn * drawn / drawn.size(), 1.0, 5.0 * std::sqrt(2.0 / 100000.0));
}

TEST(RandomMatrices, OrthonormalColumnsAreOrthonormal) {
    NormalNumbers numbers(3);
    for (const int n : {0, 1, 2, 17}) {
        EXPECT_LE(orthonormalityDefect(randomOrthonormal(n + 5, n, numbers)), 20.0 * (n + 5) * unitRoundoff);
    }
}

TEST(RandomMatrices, HaveTheSingularValuesThatWereAskedFor) {
    NormalNumbers numbers(4);
    Matrix<double> a = randomWithSingularValues(5, 3, {4.0, 2.0, 0.5}, numbers);
    Vector<double> s;
    Matrix<double> v;
    a.svd(s, v, 75, false);
    EXPECT_LE(maxDifference(s, vectorOf({4.0, 2.0, 0.5})), 20.0 * 5 * unitRoundoff * 4.0);
}

TEST(RandomMatrices, HaveTheEigenvaluesThatWereAskedFor) {
    NormalNumbers numbers(5);
    Matrix<double> a = randomWithEigenvalues({{0.5, 0.0}, {-1.0, 2.0}}, 0.0, numbers);
    ASSERT_EQ(a.rows(), 3);
    Vector<double> re;
    Vector<double> im;
    a.eigenvalues(re, im, 30);
    double distance = 0.0;
    for (int k = 0; k < 3; ++k) {
        const std::complex<double> found(re[k], std::fabs(im[k]));
        distance = std::max(distance, std::min(std::abs(found - 0.5), std::abs(found - std::complex(-1.0, 2.0))));
    }
    // A normal matrix of norm sqrt(5): its eigenvalues are as exact as the similarity.
    EXPECT_LE(distance, 20.0 * 3 * unitRoundoff * std::sqrt(5.0));
    EXPECT_NEAR(re.sum(), -1.5, 20.0 * 3 * unitRoundoff * std::sqrt(5.0) * 3);
}

TEST(MatrixCompare, SeesShapesAndNaN) {
    const Matrix<double> a = matrixOf({{1.0, 2.0}});
    EXPECT_EQ(maxDifference(a, matrixOf({{1.0}, {2.0}})), infinity);
    EXPECT_EQ(maxDifference(a, matrixOf({{1.0, 2.5}})), 0.5);
    EXPECT_EQ(maxDifference(a, matrixOf({{notANumber, 2.0}})), infinity);
    EXPECT_EQ(maxDifference(matrixOf({{notANumber}}), matrixOf({{notANumber}})), 0.0);
    EXPECT_EQ(maxDifference(matrixOf({{infinity}}), matrixOf({{infinity}})), 0.0);
    EXPECT_EQ(maxDifference(matrixOf({{infinity}}), matrixOf({{-infinity}})), infinity);
    EXPECT_EQ(maxDifference(vectorOf({1.0}), vectorOf({1.0, 2.0})), infinity);
    EXPECT_EQ(maxDifference(vectorOf({1.0, notANumber}), vectorOf({1.0, 2.0})), infinity);
}

TEST(MatrixCompare, IdenticalGoesByBits) {
    EXPECT_TRUE(identical(matrixOf({{1.0, 2.0}}), matrixOf({{1.0}, {2.0}}).transpose()));
    EXPECT_FALSE(identical(matrixOf({{0.0}}), matrixOf({{-0.0}})));
    EXPECT_FALSE(identical(matrixOf({{0.0}}), matrixOf({{0.0, 0.0}})));
    EXPECT_FALSE(identical(vectorOf({0.0}), vectorOf({-0.0})));
}

TEST(MatrixCompare, NormsNeitherOverflowNorUnderflow) {
    EXPECT_DOUBLE_EQ(frobeniusNorm(matrixOf({{3e200, 4e200}})), 5e200);
    EXPECT_DOUBLE_EQ(frobeniusNorm(matrixOf({{3e-200, 4e-200}})), 5e-200);
    EXPECT_DOUBLE_EQ(euclideanNorm(vectorOf({3e200, 4e200})), 5e200);
}

}  // namespace
