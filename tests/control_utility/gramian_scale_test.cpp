// Factors of Gramians that would leave the range of numbers.

#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <support/random_numbers.hpp>
#include <support/raw_matrix.hpp>

#include <qormath/control_utility/gramian_factor.hpp>
#include <qormath/lapack/lapack.hpp>

namespace {

using namespace qormath;
using test::RawMatrix;

constexpr double ratioLimit = 10.0;

struct Factor {
    int info = 0;
    double scale = 0.0;
    RawMatrix upper;
};

Factor controllability(bool discrete, const RawMatrix& a, const RawMatrix& b) {
    Factor factor{0, 0.0, RawMatrix(a.rows, a.rows)};
    factor.info = control_utility::controllabilityFactor(discrete, a.rows, b.cols, a.data(), a.rows, b.data(), b.rows,
                                                         factor.upper.data(), a.rows, factor.scale);
    return factor;
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
