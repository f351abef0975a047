#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <string>

#include <qormath/control_utility/staircase.hpp>

#include "support/pairs.hpp"
#include "support/raw_matrix.hpp"

namespace {

using namespace qormath::test;
using qormath::control_utility::formTransformation;
using qormath::control_utility::multiplyByTransformation;
using qormath::control_utility::reduceToStaircase;
using qormath::control_utility::Staircase;
using qormath::lapack::Op;

const double eps = std::ldexp(1.0, -53);

struct Reduced {
    RawMatrix a;
    RawMatrix b;
    RawMatrix z;
    Staircase staircase;
};

Reduced reduced(const Pair& pair, double tolerance, int groupWidth) {
    const int n = pair.a.rows;
    Reduced result{pair.a, pair.b, RawMatrix(n, n), {}};
    result.staircase = reduceToStaircase(n, pair.b.cols, result.a.data(), result.b.data(), n, tolerance, groupWidth);
    formTransformation(result.staircase, result.z.data());
    return result;
}

double largerNorm(const Pair& pair) {
    return std::max(frobeniusNorm(pair.a), frobeniusNorm(pair.b));
}

/// The two have made the same decisions and reflectors in another order of operations. Along such chains
/// the rounding of either, 20 n eps of the norm, is not amplified.
void expectAlike(const Reduced& one, const Reduced& other, double norm) {
    const double bound = 20 * one.a.rows * eps;
    EXPECT_EQ(one.staircase.order, other.staircase.order);
    EXPECT_EQ(one.staircase.blockSizes, other.staircase.blockSizes);
    EXPECT_LE(frobeniusNorm(difference(one.a, other.a)), bound * norm);
    EXPECT_LE(frobeniusNorm(difference(one.b, other.b)), bound * norm);
    EXPECT_LE(frobeniusNorm(difference(one.z, other.z)), bound);
}

TEST(Staircase, IsTheSameWhetherReflectorsGoInAtOnceOrTogether) {
    NormalNumbers generator(1);
    for (int n : {1, 2, 5, 31, 32, 33, 64, 65, 100}) {
        for (int m : {1, 2, 5, 33}) {
            const Pair pair = hiddenChain(n, m, std::max(1, 3 * n / 4), generator);
            const Reduced plain = reduced(pair, chainTolerance(n), 0);
            for (int width : {1, 2, 3, 7, 32, 64, n, n + 5}) {
                SCOPED_TRACE(std::to_string(n) + " states, " + std::to_string(m) + " inputs, groups of " +
                             std::to_string(width));
                expectAlike(reduced(pair, chainTolerance(n), width), plain, largerNorm(pair));
            }
        }
    }
}

TEST(Staircase, OfRandomPairsIsASimilarityWhateverTheGroups) {
    NormalNumbers generator(2);
    for (int n : {2, 33, 65, 130}) {
        for (int m : {1, 3, 40}) {
            const Pair pair{rawRandom(n, n, generator), rawRandom(n, m, generator)};
            for (int width : {0, 1, 4, 32, n}) {
                SCOPED_TRACE(std::to_string(n) + " states, " + std::to_string(m) + " inputs, groups of " +
                             std::to_string(width));
                const Reduced r = reduced(pair, 0.0, width);
                const double bound = 20 * n * eps;
                EXPECT_EQ(r.staircase.order, n);
                EXPECT_LE(frobeniusNorm(difference(product(r.z, r.z, Op::transpose), rawIdentity(n))), bound);
                EXPECT_LE(frobeniusNorm(difference(product(pair.a, r.z), product(r.z, r.a))),
                          bound * frobeniusNorm(pair.a));
                EXPECT_LE(frobeniusNorm(difference(pair.b, product(r.z, r.b))), bound * frobeniusNorm(pair.b));
            }
        }
    }
}

RawMatrix scaled(RawMatrix matrix, int exponent) {
    for (double& element : matrix.elements) {
        element = std::ldexp(element, exponent);
    }
    return matrix;
}

/// A power of two as a factor of the pair is one of the result, and nothing else changes.
void expectToScale(const Pair& pair, int exponent) {
    SCOPED_TRACE(exponent);
    const Reduced plain = reduced(pair, 0.0, 0);
    const Reduced far = reduced({scaled(pair.a, exponent), scaled(pair.b, exponent)}, 0.0, 0);
    EXPECT_EQ(far.staircase.blockSizes, plain.staircase.blockSizes);
    EXPECT_EQ(far.a.elements, scaled(plain.a, exponent).elements);
    EXPECT_EQ(far.b.elements, scaled(plain.b, exponent).elements);
    EXPECT_EQ(far.z.elements, plain.z.elements);
}

TEST(Staircase, OfAPairWhoseSquaresOverflowOrVanishIsThatOfThePairInRangeScaledBack) {
    NormalNumbers generator(3);
    const Pair pair{rawRandom(7, 7, generator), rawRandom(7, 2, generator)};
    for (const int exponent : {-600, 600}) {
        expectToScale(pair, exponent);
    }
}

TEST(Staircase, IsTheSameWhetherOneSumOrAScanTellsThatThePairIsInRange) {
    NormalNumbers generator(6);
    const Pair pair{rawRandom(9, 9, generator), rawRandom(9, 1, generator)};
    // The sum of the squares of the first of each two lies within 2^700 and its inverse, that of the second beyond.
    for (const int exponent : {340, 360, -340, -360}) {
        expectToScale(pair, exponent);
    }
}

TEST(Staircase, LeavesAPairAloneWhoseOnlyDefectIsOneElementWhereverItIs) {
    for (const double defect : {std::nan(""), HUGE_VAL, -HUGE_VAL}) {
        for (const bool inA : {true, false}) {
            for (const double size : {1.0, 0.0, 1e200}) {
                Pair broken{RawMatrix(5, 5, size), RawMatrix(5, 2, size)};
                (inA ? broken.a : broken.b)(4, 1) = defect;
                const Reduced result = reduced(broken, 0.0, 0);
                EXPECT_EQ(result.staircase.order, 0);
                EXPECT_EQ(result.z, rawIdentity(5));
                EXPECT_EQ(result.a(0, 0), size);
                EXPECT_EQ(result.b(0, 0), size);
            }
        }
    }
}

TEST(Staircase, GathersReflectorsAcrossStairsThatNeedNone) {
    // Every other ten states stand in reversed order, without rounding: stairs with and without reflectors alternate.
    const int n = 60;
    RawMatrix q = rawIdentity(n);
    for (int block = 0; block < n; block += 20) {
        for (int k = 0; k < 10; ++k) {
            q(block + k, block + k) = 0.0;
            q(block + k, block + 9 - k) = 1.0;
        }
    }
    const Pair chain = shiftChain(n, 2);
    const Pair pair{product(product(q, chain.a), q, Op::none, Op::transpose), product(q, chain.b)};
    const Reduced plain = reduced(pair, chainTolerance(n), 0);
    EXPECT_EQ(plain.staircase.order, n);
    int reflectors = 0;
    for (const qormath::control_utility::ReflectorBlock& block : plain.staircase.blocks) {
        reflectors += block.count();
    }
    EXPECT_GT(reflectors, 10);
    EXPECT_LT(reflectors, n - 10);
    for (int width : {2, 5, 8, 32}) {
        SCOPED_TRACE(width);
        expectAlike(reduced(pair, chainTolerance(n), width), plain, largerNorm(pair));
    }
}

TEST(Staircase, OfAPairThatHasTheFormKeepsEveryElementWhateverTheGroups) {
    NormalNumbers generator(4);
    const Reduced first = reduced(hiddenChain(70, 3, 70, generator), chainTolerance(70), 0);
    for (int width : {0, 1, 8, 32}) {
        const Reduced second = reduced({first.a, first.b}, chainTolerance(70), width);
        EXPECT_EQ(second.a, first.a);
        EXPECT_EQ(second.b, first.b);
        EXPECT_EQ(second.z, rawIdentity(70));
    }
}

TEST(Staircase, MultipliesByTheTransformationThatItForms) {
    NormalNumbers generator(5);
    for (int n : {1, 2, 33, 100}) {
        const Reduced r = reduced(hiddenChain(n, 2, (n + 1) / 2, generator), chainTolerance(n), 32);
        RawMatrix c = rawIdentity(n);
        multiplyByTransformation(n, c.data(), r.staircase);
        EXPECT_LE(frobeniusNorm(difference(c, r.z)), 10 * n * eps);
    }
}

TEST(Staircase, OfALeadingDimensionBelowTheOrderDoesNothing) {
    RawMatrix a(3, 3, 1.0);
    RawMatrix b(2, 1, 1.0);
    const Staircase staircase = reduceToStaircase(3, 1, a.data(), b.data(), 2, 0.0);
    EXPECT_EQ(staircase.order, 0);
    EXPECT_EQ(a, RawMatrix(3, 3, 1.0));
    EXPECT_EQ(b, RawMatrix(2, 1, 1.0));
}

}  // namespace
