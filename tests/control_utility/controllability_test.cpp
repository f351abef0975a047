#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <numeric>
#include <string>
#include <vector>

#include <qormath/control_utility/controllability.hpp>

#include "support/pairs.hpp"
#include "support/raw_matrix.hpp"

namespace {

using namespace qormath::test;
using qormath::control_utility::CONTROLLABILITYABCFORT;
using qormath::control_utility::CONTROLLABILITYFORT;
using qormath::lapack::Op;

const double eps = std::ldexp(1.0, -53);
const double nan = std::numeric_limits<double>::quiet_NaN();
const double infinity = std::numeric_limits<double>::infinity();

struct Decomposition {
    RawMatrix a;
    RawMatrix b;
    RawMatrix z;
    int order = -1;
    int blockCount = -1;
    std::vector<int> blockSizes;
};

/// B between padding rows of NaN: one row more than the states is what callers hand over, here it is three.
RawMatrix padded(const RawMatrix& b) {
    RawMatrix result(b.rows + 3, b.cols, nan);
    for (int j = 0; j < b.cols; ++j) {
        for (int i = 0; i < b.rows; ++i) {
            result(i, j) = b(i, j);
        }
    }
    return result;
}

void expectPaddingUntouched(const RawMatrix& b, int n) {
    for (int j = 0; j < b.cols; ++j) {
        for (int i = n; i < b.rows; ++i) {
            ASSERT_TRUE(std::isnan(b(i, j))) << "row " << i << " of B was written";
        }
    }
}

Decomposition decompose(const Pair& pair, double tolerance = 0.0) {
    const int n = pair.a.rows;
    const int m = pair.b.cols;
    Decomposition result;
    result.a = pair.a;
    result.z = RawMatrix(n, n, nan);
    result.blockSizes.assign(static_cast<std::size_t>(n), -1);
    RawMatrix b = padded(pair.b);
    CONTROLLABILITYFORT(&n, &m, result.a.data(), b.data(), &b.rows, result.z.data(), &result.order, &result.blockCount,
                        result.blockSizes.data(), &tolerance);
    expectPaddingUntouched(b, n);
    result.b = part(b, 0, n, 0, m);
    return result;
}

double largerNorm(const Pair& pair) {
    return std::max(frobeniusNorm(pair.a), frobeniusNorm(pair.b));
}

bool allZero(const RawMatrix& a) {
    return std::all_of(a.elements.begin(), a.elements.end(), [](double x) { return x == 0.0; });
}

/// Z orthogonal, A Z = Z As and B = Z Bs, each within 20 n eps of the norms: n reflectors, each with a small multiple
/// of eps, on either side, and what the rank decisions have dropped, at most the tolerance for each stair.
void expectSimilar(const Pair& pair, const Decomposition& d, double tolerance = 0.0) {
    const int n = pair.a.rows;
    const double dropped = std::max(tolerance, n * eps) * std::sqrt(static_cast<double>(d.blockCount + 1));
    const double bound = (20 * n * eps + dropped) * largerNorm(pair);
    EXPECT_LE(frobeniusNorm(difference(product(d.z, d.z, Op::transpose), rawIdentity(n))), 10 * n * eps);
    EXPECT_LE(frobeniusNorm(difference(product(pair.a, d.z), product(d.z, d.a))), bound);
    EXPECT_LE(frobeniusNorm(difference(pair.b, product(d.z, d.b))), bound);
}

/// Zeros where the form has them, to the bit, and stairs of full row rank.
void expectStaircaseForm(const Decomposition& d, double threshold) {
    const int n = d.a.rows;
    ASSERT_GE(d.blockCount, 0);
    ASSERT_LE(d.blockCount, n);
    const auto end = d.blockSizes.begin() + d.blockCount;
    EXPECT_TRUE(std::is_sorted(d.blockSizes.begin(), end, std::greater<>()));
    EXPECT_TRUE(std::all_of(d.blockSizes.begin(), end, [](int size) { return size > 0; }));
    EXPECT_TRUE(std::all_of(end, d.blockSizes.end(), [](int size) { return size == 0; }));
    EXPECT_EQ(std::accumulate(d.blockSizes.begin(), end, 0), d.order);

    int first = 0;
    RawMatrix below = d.b;
    for (int k = 0; k < d.blockCount; ++k) {
        const int size = d.blockSizes[static_cast<std::size_t>(k)];
        const RawMatrix stair = part(below, 0, size, 0, below.cols);
        EXPECT_TRUE(allZero(part(below, size, below.rows - size, 0, below.cols))) << "below stair " << k;
        EXPECT_GT(rawSingularValues(stair).back(), threshold) << "stair " << k;
        below = part(d.a, first + size, n - first - size, first, size);
        first += size;
    }
    EXPECT_TRUE(allZero(below)) << "below the last stair";
}

void scale(RawMatrix& a, double factor) {
    for (double& element : a.elements) {
        element *= factor;
    }
}

void expectUntouched(const Pair& pair, const Decomposition& d) {
    const auto same = [](double x, double y) { return x == y || (std::isnan(x) && std::isnan(y)); };
    EXPECT_EQ(d.order, 0);
    EXPECT_EQ(d.blockCount, 0);
    EXPECT_EQ(d.z, rawIdentity(pair.a.rows));
    EXPECT_TRUE(std::equal(pair.a.elements.begin(), pair.a.elements.end(), d.a.elements.begin(), same));
    EXPECT_TRUE(std::equal(pair.b.elements.begin(), pair.b.elements.end(), d.b.elements.begin(), same));
}

TEST(ControllabilityFort, OfNoStatesGivesNoBlocksAndTouchesNothing) {
    const Decomposition d = decompose({RawMatrix(0, 0), RawMatrix(0, 2)});
    EXPECT_EQ(d.order, 0);
    EXPECT_EQ(d.blockCount, 0);
}

TEST(ControllabilityFort, OfNoInputsLeavesThePairAndGivesTheIdentity) {
    NormalNumbers generator(1);
    const Pair pair{rawRandom(4, 4, generator), RawMatrix(4, 0)};
    const Decomposition d = decompose(pair);
    expectUntouched(pair, d);
    EXPECT_EQ(d.blockSizes, std::vector<int>(4, 0));
}

TEST(ControllabilityFort, OfAZeroInputMatrixLeavesThePairAndGivesTheIdentity) {
    NormalNumbers generator(2);
    for (int n : {1, 2, 5, 40}) {
        const Pair pair{rawRandom(n, n, generator), RawMatrix(n, 3)};
        expectUntouched(pair, decompose(pair));
    }
}

TEST(ControllabilityFort, OfAZeroPairFindsNothingControllable) {
    const Pair pair{RawMatrix(3, 3), RawMatrix(3, 2)};
    expectUntouched(pair, decompose(pair));
}

TEST(ControllabilityFort, OfOneStateFindsItControllableWhereTheInputReachesIt) {
    const Decomposition d = decompose({RawMatrix(1, 1, -2.0), RawMatrix(1, 1, 3.0)});
    EXPECT_EQ(d.order, 1);
    EXPECT_EQ(d.blockSizes, std::vector<int>{1});
    EXPECT_EQ(d.a(0, 0), -2.0);
    EXPECT_EQ(d.b(0, 0), 3.0);
    EXPECT_EQ(d.z(0, 0), 1.0);
}

TEST(ControllabilityFort, FindsTheOneStateOfADiagonalPairThatTheInputReaches) {
    Pair pair{RawMatrix(2, 2), RawMatrix(2, 1)};
    pair.a(0, 0) = -1.0;
    pair.a(1, 1) = -2.0;
    pair.b(1, 0) = 1.0;
    const Decomposition d = decompose(pair);
    EXPECT_EQ(d.order, 1);
    EXPECT_EQ(d.a(0, 0), -2.0);
    EXPECT_EQ(d.a(1, 1), -1.0);
    EXPECT_EQ(d.a(1, 0), 0.0);
    EXPECT_EQ(std::abs(d.b(0, 0)), 1.0);
    EXPECT_EQ(d.b(1, 0), 0.0);
}

TEST(ControllabilityFort, CountsAnInputColumnThatRepeatsAnotherOnce) {
    NormalNumbers generator(3);
    Pair pair{rawRandom(6, 6, generator), rawRandom(6, 3, generator)};
    for (int i = 0; i < 6; ++i) {
        pair.b(i, 1) = 2.0 * pair.b(i, 0);
        pair.b(i, 2) = 0.0;
    }
    const Decomposition d = decompose(pair);
    EXPECT_EQ(d.order, 6);
    EXPECT_EQ(d.blockSizes, std::vector<int>(6, 1));
    expectSimilar(pair, d);
}

TEST(ControllabilityFort, KeepsEveryElementOfAPairThatHasTheFormAlready) {
    NormalNumbers generator(4);
    for (int n : {1, 2, 7, 33, 100}) {
        for (int m : {1, 3, n}) {
            const Decomposition first = decompose(hiddenChain(n, m, n, generator));
            const Pair reduced{first.a, first.b};
            const Decomposition second = decompose(reduced);
            EXPECT_EQ(second.z, rawIdentity(n)) << n << " states, " << m << " inputs";
            EXPECT_EQ(second.a, first.a);
            EXPECT_EQ(second.b, first.b);
            EXPECT_EQ(second.blockSizes, first.blockSizes);
        }
    }
}

TEST(ControllabilityFort, KeepsAPairWhoseInputsReachEveryStateAtOnce) {
    NormalNumbers generator(5);
    const Pair pair{rawRandom(5, 5, generator), rawRandom(5, 8, generator)};
    const Decomposition d = decompose(pair);
    EXPECT_EQ(d.a, pair.a);
    EXPECT_EQ(d.b, pair.b);
    EXPECT_EQ(d.z, rawIdentity(5));
    EXPECT_EQ(d.blockSizes, (std::vector<int>{5, 0, 0, 0, 0}));
}

TEST(ControllabilityFort, OfRandomPairsIsAStaircaseBySimilarity) {
    NormalNumbers generator(6);
    for (int n : {1, 2, 3, 5, 31, 32, 33, 63, 64, 65, 100, 200}) {
        for (int m : {1, 2, 7, 32, 33, n, n + 3}) {
            SCOPED_TRACE(std::to_string(n) + " states, " + std::to_string(m) + " inputs");
            const Pair pair{rawRandom(n, n, generator), rawRandom(n, m, generator)};
            const Decomposition d = decompose(pair);
            EXPECT_EQ(d.order, n);
            EXPECT_EQ(d.blockCount, (n + m - 1) / m);
            expectSimilar(pair, d);
            expectStaircaseForm(d, n * eps * largerNorm(pair));
        }
    }
}

TEST(ControllabilityFort, FindsTheOrderOfAChainHiddenBehindATransformation) {
    NormalNumbers generator(7);
    for (int n : {2, 3, 8, 20, 33, 65, 120, 200}) {
        for (int order : {0, 1, n / 3, n / 2, n - 1}) {
            for (int m : {1, std::max(1, order / 4), std::max(1, order)}) {
                SCOPED_TRACE(std::to_string(n) + " states, order " + std::to_string(order) + ", " + std::to_string(m) +
                             " inputs");
                const Pair pair = hiddenChain(n, m, order, generator);
                const Decomposition d = decompose(pair, chainTolerance(n));
                EXPECT_EQ(d.order, order);
                expectSimilar(pair, d);
                expectStaircaseForm(d, 0.5);
            }
        }
    }
}

TEST(ControllabilityFort, FindsTheOrderOfARandomPartHiddenBehindATransformationByATolerance) {
    // Above the rounding that the stairs amplify, and below what a random stair gets down to.
    constexpr double tolerance = 1e-9;
    NormalNumbers generator(19);
    for (int n : {2, 3, 8, 20, 33, 65, 120, 200}) {
        for (int order : {0, 1, n / 3, n / 2, n - 1}) {
            const int m = std::max(1, order / 4);
            SCOPED_TRACE(std::to_string(n) + " states, order " + std::to_string(order));
            const Pair pair = hiddenRandom(n, m, order, generator);
            const Decomposition d = decompose(pair, tolerance);
            EXPECT_EQ(d.order, order);
            expectSimilar(pair, d, tolerance);
            expectStaircaseForm(d, tolerance * largerNorm(pair));
        }
    }
}

TEST(ControllabilityFort, LeavesTheUncontrollableModesInTheTrailingBlock) {
    NormalNumbers generator(8);
    Pair plain = shiftChain(9, 2);
    const double modes[] = {0.25, -0.5, 4.0};
    for (int i = 6; i < 9; ++i) {
        plain.a(i, i - 2) = 0.0;
        plain.a(i - 3, i) = 1.5;
        plain.a(i, i) = modes[i - 6];
    }
    const Decomposition d = decompose(rotated(plain, generator), chainTolerance(9));
    ASSERT_EQ(d.order, 6);
    for (double mode : modes) {
        RawMatrix shifted = part(d.a, 6, 3, 6, 3);
        for (int k = 0; k < 3; ++k) {
            shifted(k, k) -= mode;
        }
        EXPECT_LE(rawSingularValues(shifted).back(), 20 * 9 * eps * frobeniusNorm(plain.a)) << "mode " << mode;
    }
}

TEST(ControllabilityFort, OfASingleInputChainGivesAsManyBlocksOfOneAsStates) {
    NormalNumbers generator(9);
    for (int n : {1, 2, 31, 32, 33, 64, 200}) {
        SCOPED_TRACE(std::to_string(n) + " states");
        const Pair pair = rotated(shiftChain(n, 1), generator);
        const Decomposition d = decompose(pair);
        EXPECT_EQ(d.order, n);
        EXPECT_EQ(d.blockCount, n);
        EXPECT_EQ(d.blockSizes, std::vector<int>(static_cast<std::size_t>(n), 1));
        expectSimilar(pair, d);
        expectStaircaseForm(d, 0.5);
    }
}

TEST(ControllabilityFort, OfChainsOfUnequalLengthGivesTheBlockSizesThatTheirLengthsTell) {
    // Chains of 5, 3 and 1 states: three at the first step, then two while the second lives, then one.
    Pair pair{RawMatrix(9, 9), RawMatrix(9, 3)};
    pair.b(0, 0) = pair.b(5, 1) = pair.b(8, 2) = 1.0;
    for (int i : {1, 2, 3, 4, 6, 7}) {
        pair.a(i, i - 1) = 1.0;
    }
    NormalNumbers generator(10);
    const Pair hidden = rotated(pair, generator);
    const Decomposition d = decompose(hidden, chainTolerance(9));
    EXPECT_EQ(d.blockSizes, (std::vector<int>{3, 2, 2, 1, 1, 0, 0, 0, 0}));
    expectSimilar(hidden, d);
    expectStaircaseForm(d, 0.5);
}

TEST(ControllabilityFort, DecidesAlikeWhateverPowerOfTwoThePairIsScaledBy) {
    NormalNumbers generator(11);
    const Pair pair = hiddenChain(12, 2, 7, generator);
    const Decomposition d = decompose(pair, chainTolerance(12));
    ASSERT_EQ(d.order, 7);
    for (int exponent : {-990, -300, -1, 1, 60, 300, 1000}) {
        Pair scaled = pair;
        scale(scaled.a, std::ldexp(1.0, exponent));
        scale(scaled.b, std::ldexp(1.0, exponent));
        const Decomposition s = decompose(scaled, chainTolerance(12));
        EXPECT_EQ(s.blockSizes, d.blockSizes) << "2^" << exponent;
        EXPECT_LE(frobeniusNorm(difference(s.z, d.z)), 20 * 12 * eps) << "2^" << exponent;
    }
}

TEST(ControllabilityFort, JudgesStairsAgainstTheLargerNormOfThePair) {
    // The input is 1e-6 of the norm of A: seen with the tolerance below, not seen with one above.
    Pair pair = shiftChain(2, 1);
    pair.b(0, 0) = 1e-6;
    EXPECT_EQ(decompose(pair, 0.9e-6).order, 2);
    EXPECT_EQ(decompose(pair, 1.1e-6).order, 0);
    // The coupling is 1e-6 of the norm of B.
    pair.b(0, 0) = 1e6;
    EXPECT_EQ(decompose(pair, 0.9e-6).order, 2);
    EXPECT_EQ(decompose(pair, 1.1e-6).order, 1);
}

TEST(ControllabilityFort, TakesAToleranceThatIsNotAboveZeroForOrderTimesMachinePrecision) {
    for (double tolerance : {0.0, -1.0, -infinity, nan}) {
        Pair pair = shiftChain(4, 1);
        const double norm = std::sqrt(3.0);
        pair.b(0, 0) = 1.01 * 4 * eps * norm;
        EXPECT_EQ(decompose(pair, tolerance).order, 4) << tolerance;
        pair.b(0, 0) = 0.99 * 4 * eps * norm;
        EXPECT_EQ(decompose(pair, tolerance).order, 0) << tolerance;
    }
}

TEST(ControllabilityFort, FindsNothingAboveAToleranceOfOneOrMore) {
    NormalNumbers generator(12);
    const Pair pair{rawRandom(3, 3, generator), rawRandom(3, 2, generator)};
    EXPECT_EQ(decompose(pair, 1.5).order, 0);
    EXPECT_EQ(decompose(pair, infinity).order, 0);
}

TEST(ControllabilityFort, ClearsWhatItNeglects) {
    Pair pair = shiftChain(3, 1);
    pair.a(2, 1) = 1e-9;
    const Decomposition d = decompose(pair, 1e-6);
    EXPECT_EQ(d.order, 2);
    EXPECT_EQ(d.a(2, 1), 0.0);
    EXPECT_EQ(d.a(2, 0), 0.0);
}

TEST(ControllabilityFort, LeavesAPairWithAnElementThatIsNotFiniteAsItStands) {
    NormalNumbers generator(13);
    for (double bad : {nan, infinity, -infinity}) {
        Pair pair{rawRandom(4, 4, generator), rawRandom(4, 2, generator)};
        pair.a(2, 1) = bad;
        expectUntouched(pair, decompose(pair));
        pair.a(2, 1) = 1.0;
        pair.b(3, 1) = bad;
        expectUntouched(pair, decompose(pair));
    }
}

struct Triple {
    RawMatrix a;
    RawMatrix b;
    RawMatrix c;
    int rank = -1;
};

Triple reduceTriple(const Pair& pair, const RawMatrix& c, double tolerance = 0.0) {
    const int n = pair.a.rows;
    const int m = pair.b.cols;
    Triple result{pair.a, {}, c, -1};
    RawMatrix b = padded(pair.b);
    CONTROLLABILITYABCFORT(&n, &m, &c.rows, result.a.data(), b.data(), &b.rows, result.c.data(), &tolerance,
                           &result.rank);
    expectPaddingUntouched(b, n);
    result.b = part(b, 0, n, 0, m);
    return result;
}

TEST(ControllabilityAbcFort, ReducesThePairAsTheTwoMatrixRoutineAndMultipliesTheThirdByZ) {
    NormalNumbers generator(14);
    for (int n : {1, 2, 9, 33, 100}) {
        for (int p : {1, 4, 70}) {
            SCOPED_TRACE(std::to_string(n) + " states, " + std::to_string(p) + " outputs");
            const Pair pair = hiddenChain(n, 1 + n / 4, (n + 1) / 2, generator);
            const RawMatrix c = rawRandom(p, n, generator);
            const Decomposition d = decompose(pair, chainTolerance(n));
            const Triple t = reduceTriple(pair, c, chainTolerance(n));
            EXPECT_EQ(t.rank, d.order);
            EXPECT_EQ(t.a, d.a);
            EXPECT_EQ(t.b, d.b);
            EXPECT_LE(frobeniusNorm(difference(t.c, product(c, d.z))), 20 * n * eps * frobeniusNorm(c));
        }
    }
}

TEST(ControllabilityAbcFort, KeepsTheMarkovParameters) {
    NormalNumbers generator(15);
    const Pair pair = hiddenChain(15, 2, 8, generator);
    const RawMatrix c = rawRandom(3, 15, generator);
    const Triple t = reduceTriple(pair, c, chainTolerance(15));
    ASSERT_EQ(t.rank, 8);
    const RawMatrix leadingA = part(t.a, 0, 8, 0, 8);
    const RawMatrix leadingC = part(t.c, 0, 3, 0, 8);
    RawMatrix x = pair.b;
    RawMatrix reduced = part(t.b, 0, 8, 0, 2);
    double norms = frobeniusNorm(c) * frobeniusNorm(pair.b);
    for (int k = 0; k < 5; ++k) {
        // k + 1 products, each with n terms, beside the error of the similarity itself.
        EXPECT_LE(frobeniusNorm(difference(product(c, x), product(leadingC, reduced))), 20 * (k + 1) * 15 * eps * norms)
            << "parameter " << k;
        x = product(pair.a, x);
        reduced = product(leadingA, reduced);
        norms *= frobeniusNorm(pair.a);
    }
}

TEST(ControllabilityAbcFort, GoesThroughWithoutStatesInputsOrOutputs) {
    NormalNumbers generator(16);
    EXPECT_EQ(reduceTriple({RawMatrix(0, 0), RawMatrix(0, 2)}, RawMatrix(3, 0)).rank, 0);
    EXPECT_EQ(reduceTriple({RawMatrix(0, 0), RawMatrix(0, 0)}, RawMatrix(0, 0)).rank, 0);

    const Pair inputless{rawRandom(3, 3, generator), RawMatrix(3, 0)};
    const RawMatrix c = rawRandom(2, 3, generator);
    const Triple withoutInputs = reduceTriple(inputless, c);
    EXPECT_EQ(withoutInputs.rank, 0);
    EXPECT_EQ(withoutInputs.a, inputless.a);
    EXPECT_EQ(withoutInputs.c, c);

    const Pair pair = hiddenChain(6, 2, 4, generator);
    EXPECT_EQ(reduceTriple(pair, RawMatrix(0, 6), chainTolerance(6)).rank, 4);
}

TEST(ControllabilityAbcFort, LeavesATripleWhosePairIsNotFiniteAsItStands) {
    NormalNumbers generator(17);
    Pair pair{rawRandom(3, 3, generator), rawRandom(3, 1, generator)};
    pair.b(1, 0) = infinity;
    const RawMatrix c = rawRandom(2, 3, generator);
    const Triple t = reduceTriple(pair, c);
    EXPECT_EQ(t.rank, 0);
    EXPECT_EQ(t.a, pair.a);
    EXPECT_EQ(t.b, pair.b);
    EXPECT_EQ(t.c, c);
}

TEST(ControllabilityAbcFort, ReducesThePairWhateverTheThirdMatrixHolds) {
    NormalNumbers generator(18);
    const Pair pair = hiddenChain(5, 1, 3, generator);
    RawMatrix c = rawRandom(2, 5, generator);
    c(0, 2) = nan;
    const Triple t = reduceTriple(pair, c, chainTolerance(5));
    EXPECT_EQ(t.rank, 3);
    for (int j = 0; j < 5; ++j) {
        EXPECT_TRUE(std::isfinite(t.c(1, j)));
    }
}

}  // namespace
