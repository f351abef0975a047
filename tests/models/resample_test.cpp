#include <cmath>
#include <complex>
#include <gtest/gtest.h>
#include <limits>
#include <string>
#include <vector>

#include <qormath/control/qor_math_control.hpp>
#include <qormath/core/arithmetic.hpp>

#include "models/conversion_systems.hpp"
#include "support/failures.hpp"
#include "support/matrix_compare.hpp"
#include "support/matrix_literals.hpp"

using namespace qormath::test::conversion;
using qormath::test::expectMinusOne;
using qormath::test::expectXmsg;
using qormath::test::frobeniusNorm;
using qormath::test::identical;
using qormath::test::matrixOf;
using qormath::test::maxDifference;
using qormath::test::unitRoundoff;
using qormath::test::written;
using QorMathLA::Matrix;
using QorMathLA::product;
using QorMathLA::Range;
using QorMathLA::zeroMatrix;

TEST(Resample, ByAWholeFactorTakesPowersAndSumsWhateverTheType) {
    for (const int factor : {2, 3, 4, 7, 60}) {
        for (const conversionType type : {zeroOrderHold, bilinearTransform}) {
            const System system = randomSystem({{0.9, 0.0}, {-0.5, 0.0}, {0.3, 0.6}}, 0.2, 4208);
            Matrix<double> power = system.a.identity();
            Matrix<double> sum = zeroMatrix(4, 4);
            for (int k = 0; k < factor; ++k) {
                sum += power;
                power = power * system.a;
            }
            const System result = resampled(system, 0.5, 0.5 * factor, type);
            // Each of the factor products rounds by n eps of powers that stay below 3 in norm here.
            const double bound = 10.0 * 6 * factor * unitRoundoff * 3.0;
            EXPECT_LE(maxDifference(result.a, power), bound);
            EXPECT_LE(maxDifference(result.b, product(sum, system.b)), bound * factor * frobeniusNorm(system.b));
            EXPECT_TRUE(identical(result.c, system.c));
            EXPECT_TRUE(identical(result.d, system.d));
        }
    }
}

TEST(Resample, ByThreeIsTheMatrixTimesItselfTwiceToTheBit) {
    const System system = randomSystem({{0.9, 0.0}, {-0.5, 0.0}}, 0.2, 4209);
    const Matrix<double> m = system.a.appendToRight(system.b).appendToBottom(
        Matrix<double>(zeroMatrix(2, 2)).appendToRight(Matrix<double>().identity(2)));
    const Matrix<double> cube = m * m * m;
    const System result = resampled(system, 1.0, 3.0, zeroOrderHold);
    EXPECT_EQ(written(result.a), written(cube(Range(0, 1, 1), Range(0, 1, 1))));
    EXPECT_EQ(written(result.b), written(cube(Range(0, 1, 1), Range(2, 3, 1))));
}

TEST(Resample, ByOneAndByNothingChangesNothing) {
    for (const double newTime : {2.0, 2.0 * (1.0 + 0.4 * root), 0.5 * root, 0.0, -0.5 * root}) {
        for (const conversionType type : {zeroOrderHold, bilinearTransform}) {
            const System system = randomSystem({{0.0, 0.0}, {-1.0, 0.0}}, 0.2, 4211);
            EXPECT_EQ(textOf(resampled(system, 2.0, newTime, type)), textOf(system)) << newTime;
        }
    }
}

TEST(Resample, TakesARatioWithinTheRootOfThePrecisionForWhole) {
    const System system = randomSystem({{0.9, 0.0}, {0.4, 0.3}}, 0.2, 4212);
    const std::string whole = textOf(resampled(system, 1.0, 2.0, bilinearTransform));
    for (const double offset : {0.5 * root, -0.5 * root}) {
        EXPECT_EQ(textOf(resampled(system, 1.0, 2.0 + offset, bilinearTransform)), whole);
    }
    for (const double offset : {2.0 * root, -2.0 * root}) {
        System around = toContinuous(system, 1.0, bilinearTransform);
        around = toDiscrete(around, 2.0 + offset, bilinearTransform);
        EXPECT_EQ(textOf(resampled(system, 1.0, 2.0 + offset, bilinearTransform)), textOf(around));
        EXPECT_NE(textOf(around), whole);
    }
}

TEST(Resample, ByAFractionGoesThroughContinuousTimeAndMayAddStates) {
    const System positive = randomSystem({{0.9, 0.0}, {0.4, 0.3}}, 0.2, 4213);
    const System result = resampled(positive, 2.0, 5.0, zeroOrderHold);
    EXPECT_EQ(textOf(result), textOf(toDiscrete(toContinuous(positive, 2.0, zeroOrderHold), 5.0, zeroOrderHold)));
    EXPECT_EQ(result.a.rows(), 3);
    const System negative = randomSystem({{-0.9, 0.0}, {0.4, 0.3}}, 0.2, 4214);
    EXPECT_EQ(resampled(negative, 2.0, 5.0, zeroOrderHold).a.rows(), 4);
    EXPECT_EQ(resampled(negative, 2.0, 5.0, bilinearTransform).a.rows(), 3);
}

TEST(Resample, ByAFractionAndOnwardsToAWholeFactorAgreesWithTheWholeFactor) {
    // From 1 to 2.5 and on to 5 is from 1 to 5.
    const System system = randomSystem({{0.9, 0.0}, {0.4, 0.3}, {0.6, 0.0}}, 0.2, 4215);
    const System parts = resampled(resampled(system, 1.0, 2.5, zeroOrderHold), 2.5, 5.0, zeroOrderHold);
    const System whole = resampled(system, 1.0, 5.0, zeroOrderHold);
    const double bound = 1e4 * unitRoundoff;  // 1000 eps of the logarithm, times the slope of the fifth power
    expectSameTransfer(parts, whole, bound * frobeniusNorm(system.a), bound * frobeniusNorm(system.b));
}

TEST(Resample, TakesARatioBeyondTheIntegersThroughContinuousTime) {
    const System system{matrixOf({{0.5}}), matrixOf({{1}}), matrixOf({{1}}), matrixOf({{0}})};
    for (const double newTime : {1e300, -5.0}) {
        EXPECT_EQ(textOf(resampled(system, 1.0, newTime, bilinearTransform)),
                  textOf(toDiscrete(toContinuous(system, 1.0, bilinearTransform), newTime, bilinearTransform)));
    }
    for (const double oldTime : {0.0, std::nan("")}) {
        expectMinusOne([&] { resampled(system, oldTime, 1.0, bilinearTransform); });
    }
}

TEST(Resample, RefusesShapesThatDoNotFit) {
    System system = randomSystem({{0.9, 0.0}, {0.5, 0.0}}, 0.0, 4216);
    system.b = zeroMatrix(3, 2);
    expectXmsg([&] { resampled(system, 1.0, 3.0, zeroOrderHold); }, QorMathLA::DimensionMismatch,
               "Matrix appendToRight");
    system.a = zeroMatrix(3, 2);
    expectXmsg([&] { resampled(system, 1.0, 3.0, zeroOrderHold); }, QorMathLA::DimensionMismatch,
               "Matrix appendToBottom");
}
