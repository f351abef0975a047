#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <vector>

#include <qormath/control_utility/loop_squares.hpp>

#include "support/riccati_arrays.hpp"

namespace {

using namespace qormath::test;
using namespace qormath::control_utility;
using QorMathLA::Matrix;
using QorMathLA::product;
using riccati_detail::scaledIdentity;

// Single precision, with the c of the bounds c n eps.
constexpr double epsOfSingle = 0x1p-24;
constexpr double c = 10.0;

Matrix<double> zeros(int n) {
    return scaledIdentity(n, 0.0);
}

std::vector<double> inSinglePrecision(std::vector<double> elements) {
    for (double& element : elements) {
        element = static_cast<float>(element);
    }
    return elements;
}

/// loop' d loop - d
Matrix<double> steinTerms(const Matrix<double>& loop, const Matrix<double>& d) {
    return product(loop.transpose(), product(d, loop)) - d;
}

TEST(LoopSquares, SolveSteinEquationsToSinglePrecision) {
    NormalNumbers numbers(41);
    for (const int n : {1, 2, 3, 30, 95, 96, 97, 130}) {
        for (const double distance : {0.8, 0.2, 0.05}) {
            SCOPED_TRACE(testing::Message() << "n " << n << ", distance " << distance);
            const Matrix<double> loop = randomLoop(discreteSystem, n, distance, numbers);
            const Matrix<double> w = symmetricPart(randomMatrix(n, n, numbers));
            LoopSquares squares;
            ASSERT_TRUE(squares.make(n, elementsOf(loop)));
            const Matrix<double> d = squareMatrixOf(n, squares.solve(elementsOf(w)));
            EXPECT_TRUE(isSymmetric(d));
            const double ofLoop = frobeniusNorm(loop);
            EXPECT_LE(frobeniusNorm(steinTerms(loop, d) + w),
                      c * n * epsOfSingle * (1.0 + ofLoop * ofLoop) * frobeniusNorm(d));
        }
    }
}

TEST(LoopSquares, LeaveNoMoreThanTheWantedShareAsResidual) {
    NormalNumbers numbers(46);
    for (const int n : {1, 10, 97}) {
        const Matrix<double> loop = randomLoop(discreteSystem, n, 0.1, numbers);
        const Matrix<double> w = symmetricPart(randomMatrix(n, n, numbers));
        LoopSquares squares;
        ASSERT_TRUE(squares.make(n, elementsOf(loop)));
        const std::vector<double> whole = squares.solve(elementsOf(w));
        for (const double share : {0.1, 1e-3}) {
            const std::vector<double> d = squares.solve(elementsOf(w), share);
            EXPECT_NE(d, whole);
            EXPECT_LE(frobeniusNorm(steinTerms(loop, squareMatrixOf(n, d)) + w), 1.01 * share * frobeniusNorm(w));
        }
        EXPECT_EQ(squares.solve(elementsOf(w), HUGE_VAL), inSinglePrecision(elementsOf(w)));
        EXPECT_EQ(squares.solve(elementsOf(w), 1e-12), whole);
    }
}

TEST(LoopSquares, SolveForARightSideOfAnyScaleAlike) {
    NormalNumbers numbers(42);
    const int n = 5;
    LoopSquares squares;
    ASSERT_TRUE(squares.make(n, elementsOf(randomLoop(discreteSystem, n, 0.3, numbers))));
    const Matrix<double> w = symmetricPart(randomMatrix(n, n, numbers));
    const std::vector<double> d = squares.solve(elementsOf(w));
    for (const double scale : {0x1p500, 0x1p-500}) {
        const std::vector<double> scaled = squares.solve(elementsOf(w * scale));
        for (std::size_t k = 0; k < d.size(); ++k) {
            EXPECT_EQ(scaled[k], d[k] * scale);
        }
    }
    EXPECT_EQ(squares.solve(elementsOf(zeros(n))), elementsOf(zeros(n)));
}

TEST(LoopSquares, OfZeroLeaveTheRightSide) {
    LoopSquares squares;
    ASSERT_TRUE(squares.make(2, {0.0, 0.0, 0.0, 0.0}));
    const std::vector<double> w = {1.0, 0.5, 0.5, -3.0};
    EXPECT_EQ(squares.solve(w), w);
    EXPECT_EQ(squares.radius(), 0.0);
    EXPECT_EQ(squares.lyapunovFunction(0.5), (std::vector<double>{1.0, 0.0, 0.0, 1.0}));
}

TEST(LoopSquares, TellTheSpectralRadiusToAFewPerCent) {
    NormalNumbers numbers(43);
    for (const int n : {1, 2, 10, 80}) {
        for (const double distance : {0.5, 0.2, 0.05, 0.03}) {
            LoopSquares squares;
            ASSERT_TRUE(squares.make(n, elementsOf(randomLoop(discreteSystem, n, distance, numbers))));
            EXPECT_NEAR(squares.radius(), 1.0 - distance, 0.1 * distance + 0.01) << n;
        }
    }
}

TEST(LoopSquares, OfANilpotentLoopHaveNoRadius) {
    const int n = 6;
    Matrix<double> loop = zeros(n);
    for (int k = 1; k < n; ++k) {
        loop(k, k - 1) = 3.0;
    }
    LoopSquares squares;
    ASSERT_TRUE(squares.make(n, elementsOf(loop)));
    EXPECT_EQ(squares.radius(), 0.0);
}

TEST(LoopSquares, GiveALyapunovFunctionThatLeavesMoreThanHalfOfTheIdentity) {
    NormalNumbers numbers(44);
    for (const int n : {1, 2, 30, 97}) {
        for (const double distance : {0.8, 0.2, 0.05}) {
            const Matrix<double> loop = randomLoop(discreteSystem, n, distance, numbers);
            LoopSquares squares;
            ASSERT_TRUE(squares.make(n, elementsOf(loop)));
            for (const double radius : {1.0, 1.0 - 0.5 * distance}) {
                const Matrix<double> p = squareMatrixOf(n, squares.lyapunovFunction(radius));
                EXPECT_TRUE(isSymmetric(p));
                const Matrix<double> defect = steinTerms(loop * (1.0 / radius), p) + scaledIdentity(n, 1.0);
                EXPECT_LE(frobeniusNorm(defect), 0.5) << n << ", " << distance << ", " << radius;
            }
        }
    }
}

TEST(LoopSquares, HaveNoLyapunovFunctionBelowTheRadiusOfTheLoop) {
    LoopSquares squares;
    ASSERT_TRUE(squares.make(1, {0.5}));
    const double p = squares.lyapunovFunction(0.4)[0];
    EXPECT_FALSE(std::abs(p - 0.25 / 0.16 * p - 1.0) <= 0.5);
}

TEST(LoopSquares, ComeToNoEndAtTheLimitNorBeyond) {
    NormalNumbers numbers(45);
    for (const int n : {1, 2, 30}) {
        for (const double distance : {1e-3, 1e-6, 0.0, -0.1, -3.0}) {
            LoopSquares squares;
            EXPECT_FALSE(squares.make(n, elementsOf(randomLoop(discreteSystem, n, distance, numbers)))) << n;
        }
    }
}

TEST(LoopSquares, AreNotMadeOfWhatSinglePrecisionCannotHold) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    LoopSquares squares;
    EXPECT_FALSE(squares.make(2, {0.1, nan, 0.0, 0.1}));
    EXPECT_FALSE(squares.make(2, {0.1, HUGE_VAL, 0.0, 0.1}));
    EXPECT_FALSE(squares.make(2, {0.1, 0x1p140, 0.0, 0.1}));
    EXPECT_FALSE(squares.make(2, {0.1, 0x1p100, 0x1p-104, 0.1}));
    EXPECT_TRUE(squares.make(2, {0.1, 0x1p10, 0.0, 0.1}));
}

}  // namespace
