// Factors of Gramians that would leave the range of numbers.

#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>

#include <qormath/lapack/lapack.hpp>

#include "support/gramian_factors.hpp"
#include "support/random_numbers.hpp"
#include "support/raw_matrix.hpp"

namespace {

using namespace qormath;
using test::RawMatrix;

using test::controllability;
using test::Factor;
using test::stableMatrix;

constexpr double ratioLimit = test::gramianRatioLimit;

TEST(GramianFactor, IsProportionalToInputsOfAnySize) {
    for (const bool discrete : {false, true}) {
        const int n = 50;
        const RawMatrix a = stableMatrix(discrete, n, 0.5, 29);
        test::NormalNumbers numbers(30);
        RawMatrix b(n, 2);
        b.elements = numbers.matrix(n, 2);
        const Factor s = controllability(discrete, a, b);
        for (const int exponent : {-900, 900}) {
            RawMatrix far = b;
            for (double& element : far.elements) {
                element = std::ldexp(element, exponent);
            }
            const Factor t = controllability(discrete, a, far);
            EXPECT_EQ(t.scale, 1.0);
            RawMatrix back = t.upper;
            for (double& element : back.elements) {
                element = std::ldexp(element, -exponent);
            }
            EXPECT_LE(frobeniusNorm(difference(back, s.upper)),
                      ratioLimit * n * lapack::machineEpsilon() * frobeniusNorm(s.upper));
        }
    }
}

TEST(GramianFactor, ScalesAFactorThatWouldOverflow) {
    RawMatrix a(2, 2);
    a(0, 0) = -1e-300;
    a(1, 1) = -1.0;
    RawMatrix b(2, 1, 1e200);
    const Factor s = controllability(false, a, b);
    ASSERT_EQ(s.info, 0);
    EXPECT_GT(s.scale, 0.0);
    EXPECT_LT(s.scale, 1e-40);
    // The last element of the factor is scale * 1e200 / sqrt(2), and P(0, 0) is scale^2 1e400 / 2e-300.
    EXPECT_NEAR(s.upper(1, 1) / (s.scale * 1e200 / std::sqrt(2.0)), 1.0, 1e-14);
    const double row = std::hypot(s.upper(0, 0), s.upper(0, 1));
    ASSERT_TRUE(std::isfinite(row));
    EXPECT_NEAR(row / (s.scale * 1e200) * 1e-150 * std::sqrt(2.0), 1.0, 1e-14);
}

// Two states with a margin of stability of 2^-50 each, one of which drives the other, among others at ease. There are
// as many inputs as states, so that no column of the factor is left to rounding.
struct SlowPair {
    int n;
    int driven;
    int driving;
};

const SlowPair slowPairs[] = {{2, 0, 1}, {4, 1, 2}, {100, 97, 98}, {100, 10, 60}, {100, 10, 99}, {100, 0, 1}};

RawMatrix stateMatrixOf(const SlowPair& pair, bool discrete, double coupling) {
    RawMatrix a(pair.n, pair.n);
    for (int k = 0; k < pair.n; ++k) {
        a(k, k) = discrete ? 0.5 : -0.5;
    }
    a(pair.driven, pair.driven) = a(pair.driving, pair.driving) = discrete ? 1.0 - 0x1p-50 : -0x1p-50;
    a(pair.driven, pair.driving) = coupling;
    return a;
}

RawMatrix inputsOf(const SlowPair& pair) {
    test::NormalNumbers numbers(41);
    RawMatrix b(pair.n, pair.n);
    b.elements = numbers.matrix(pair.n, pair.n);
    return b;
}

// Row by row and column by column, as the large elements would hide the others: s times 2^rowExponent in the driven
// row is the scale times the reference.
void expectScaledFactor(const SlowPair& pair, const Factor& s, const Factor& reference, int exponent, int rowExponent) {
    ASSERT_EQ(s.info, 0);
    ASSERT_EQ(reference.info, 0);
    ASSERT_EQ(reference.scale, 1.0);
    ASSERT_GT(s.scale, 0.0);
    EXPECT_LT(s.scale, 0x1p-5);
    for (int column = 0; column < pair.n; ++column) {
        double error = 0.0;
        double norm = 0.0;
        for (int row = 0; row <= column; ++row) {
            const double found = std::ldexp(s.upper(row, column), row == pair.driven ? rowExponent : 0);
            const double expected = std::ldexp(reference.upper(row, column), exponent) * s.scale;
            error = std::max(error, std::abs(found - expected));
            norm = std::max(norm, std::abs(expected));
        }
        EXPECT_LE(error, ratioLimit * pair.n * lapack::machineEpsilon() * norm) << "column " << column;
    }
}

TEST(GramianFactor, ScalesInputsThatWouldTakeItBeyondTheLargestNumber) {
    for (const bool discrete : {false, true}) {
        for (const SlowPair& pair : slowPairs) {
            SCOPED_TRACE(testing::Message()
                         << (discrete ? "discrete " : "continuous ") << pair.n << " " << pair.driven);
            const RawMatrix a = stateMatrixOf(pair, discrete, 0x1p60);
            const RawMatrix b = inputsOf(pair);
            RawMatrix large = b;
            for (double& element : large.elements) {
                element = std::ldexp(element, 900);
            }
            expectScaledFactor(pair, controllability(discrete, a, large), controllability(discrete, a, b), 900, 0);
        }
    }
}

// In continuous time the pivots are judged by the norm of a, and nothing comes near to overflowing.
TEST(GramianFactor, InDiscreteTimeScalesWhatOverflowsOnTheWay) {
    // The driven state is the last to be solved: rounding of the scale would grow in states above it.
    for (const SlowPair& pair : {SlowPair{2, 0, 1}, SlowPair{4, 0, 2}, SlowPair{100, 0, 60}, SlowPair{100, 0, 99}}) {
        SCOPED_TRACE(testing::Message() << pair.n << " " << pair.driving);
        // The driven state in a unit that is larger by 2^945.
        RawMatrix b = inputsOf(pair);
        const Factor s = controllability(true, stateMatrixOf(pair, true, 0x1p975), b);
        for (int input = 0; input < pair.n; ++input) {
            b(pair.driven, input) = std::ldexp(b(pair.driven, input), -945);
        }
        const Factor reference = controllability(true, stateMatrixOf(pair, true, 0x1p30), b);
        expectScaledFactor(pair, s, reference, 0, -945);
    }
}

}  // namespace
