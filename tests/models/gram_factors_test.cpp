// Both routes to the singular values and vectors of a Gram matrix, over random matrices and over what the faster one
// has to leave to the other.

#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <support/failures.hpp>
#include <support/matrix_compare.hpp>
#include <support/random_matrices.hpp>
#include <support/random_plants.hpp>
#include <utility>
#include <vector>

#include <qormath/core/arithmetic.hpp>
#include <qormath/models/detail/gram_factors.hpp>

namespace {

using qormath::models::factorsBySvd;
using qormath::models::factorsBySymmetry;
using qormath::models::GramFactors;
using qormath::models::gramFactors;
using qormath::models::KeptCount;
using qormath::models::shiftedBetweenVectors;
using qormath::test::frobeniusNorm;
using qormath::test::identical;
using qormath::test::maxDifference;
using qormath::test::NormalNumbers;
using qormath::test::orthonormalityDefect;
using qormath::test::unitRoundoff;
using QorMathLA::Matrix;
using QorMathLA::product;
using QorMathLA::Range;
using QorMathLA::Vector;
using QorMathLA::zeroMatrix;

const Range all(-1, -1, 1);

KeptCount always(int count) {
    return [count](const Vector<double>&) { return count; };
}

/// q diag(values) q', exactly symmetric, with zeros for the values that are not given.
Matrix<double> semidefinite(int n, const std::vector<double>& values, NormalNumbers& numbers) {
    const int rank = static_cast<int>(values.size());
    Matrix<double> half = qormath::test::randomOrthonormal(n, rank, numbers);
    for (int k = 0; k < rank; ++k) {
        half.column(k) *= std::sqrt(values[static_cast<std::size_t>(k)]);
    }
    Matrix<double> gram = product(half, half.transpose());
    for (int j = 0; j < n; ++j) {
        for (int i = 0; i < j; ++i) {
            gram(i, j) = gram(j, i);
        }
    }
    return gram;
}

/// Values that fall from 1 by the given factor each.
std::vector<double> falling(int count, double factor) {
    std::vector<double> values;
    double value = 1.0;
    for (int k = 0; k < count; ++k, value *= factor) {
        values.push_back(value);
    }
    return values;
}

/// u diag(s) v' of the kept vectors.
Matrix<double> keptPart(const GramFactors& factors) {
    const Range kept(0, factors.v.cols() - 1, 1);
    return product(factors.u.scaleColumnsBy(factors.s(kept)), factors.v.transpose());
}

/// Backward errors below c n eps of the largest singular value, and the same values and kept part as by svd. The
/// subspace of the kept vectors is as uncertain as the gap below them is narrow, and of the kept part so is the share
/// of the last value.
void expectAgreement(const Matrix<double>& gram, int count) {
    constexpr double c = 10.0;
    const int n = gram.rows();
    const Matrix<double> before(gram);
    GramFactors fast;
    ASSERT_TRUE(factorsBySymmetry(gram, always(count), fast)) << n << ' ' << count;
    EXPECT_TRUE(identical(gram, before));
    const GramFactors plain = factorsBySvd(gram, always(count));
    const double rounding = c * n * unitRoundoff * plain.s[0];
    ASSERT_EQ(fast.s.size(), n);
    EXPECT_LE(maxDifference(fast.s, plain.s), rounding);
    ASSERT_EQ(fast.u.rows(), n);
    ASSERT_EQ(fast.u.cols(), count);
    EXPECT_LE(orthonormalityDefect(fast.u), c * n * unitRoundoff);
    EXPECT_LE(orthonormalityDefect(fast.v), c * n * unitRoundoff);
    const Range kept(0, count - 1, 1);
    const Matrix<double> residual = product(gram, fast.v) - fast.u.scaleColumnsBy(fast.s(kept));
    EXPECT_LE(frobeniusNorm(residual), rounding);
    const double below = count < n ? plain.s[count] : 0.0;
    const double uncertainty = plain.s[count - 1] / (plain.s[count - 1] - below);
    EXPECT_LE(maxDifference(keptPart(fast), keptPart(plain)), 2.0 * rounding * (1.0 + uncertainty));
}

TEST(GramFactors, OfFullRankAgreeWithTheSvd) {
    NormalNumbers numbers(1);
    for (const int n : {1, 2, 3, 10, 31, 63, 64, 65, 130}) {
        const Matrix<double> gram = semidefinite(n, falling(n, std::pow(1e-6, 1.0 / n)), numbers);
        for (const int count : {1, (n + 1) / 2, n}) {
            expectAgreement(gram, count);
        }
    }
}

TEST(GramFactors, OfLowRankAgreeWithTheSvd) {
    NormalNumbers numbers(2);
    for (const int n : {2, 5, 20, 63, 64, 65, 150}) {
        for (const int rank : {1, n / 4, n / 2}) {
            if (rank > 0) {
                const Matrix<double> gram = semidefinite(n, falling(rank, std::pow(1e-7, 1.0 / rank)), numbers);
                expectAgreement(gram, rank);
                expectAgreement(gram, (rank + 1) / 2);
            }
        }
    }
}

// Values that go on falling through the rounding, as those of a Hankel matrix do.
TEST(GramFactors, OfValuesThatFallForeverAgreeWithTheSvdAboveTheRounding) {
    NormalNumbers numbers(3);
    for (const double factor : {0.3, 0.6, 0.8}) {
        const int n = 100;
        const Matrix<double> gram = semidefinite(n, falling(n, factor), numbers);
        expectAgreement(gram, static_cast<int>(std::log(1e-6) / std::log(factor)));
    }
}

TEST(GramFactors, OfEqualValuesAreAnOrthonormalBasisOfTheSameSpace) {
    NormalNumbers numbers(4);
    expectAgreement(semidefinite(40, std::vector<double>(40, 2.0), numbers), 40);
    expectAgreement(semidefinite(40, std::vector<double>(12, 2.0), numbers), 12);
    Matrix<double> identity;
    identity.setIdentity(33);
    expectAgreement(identity, 33);
}

TEST(GramFactors, KeepTheirAccuracyAtEveryScale) {
    NormalNumbers numbers(5);
    for (const double scale : {1e-150, 1e-9, 1e9, 1e150}) {
        Matrix<double> gram = semidefinite(50, falling(20, 0.5), numbers);
        gram *= scale;
        expectAgreement(gram, 15);
    }
}

// Of values in the rounding of the largest, either route finds vectors of its own.
TEST(GramFactors, OfWhatLiesInTheRoundingAreLeftToTheSvd) {
    NormalNumbers numbers(6);
    const Matrix<double> lowRank = semidefinite(30, falling(5, 0.5), numbers);
    const Matrix<double> fullRank = semidefinite(30, falling(30, 0.3), numbers);
    GramFactors factors;
    EXPECT_FALSE(factorsBySymmetry(lowRank, always(6), factors));
    EXPECT_FALSE(factorsBySymmetry(lowRank, always(30), factors));
    EXPECT_FALSE(factorsBySymmetry(fullRank, always(30), factors));
    EXPECT_FALSE(factorsBySymmetry(zeroMatrix(4, 4), always(1), factors));
    EXPECT_FALSE(factorsBySymmetry(zeroMatrix(0, 0), always(0), factors));
    for (const auto& [gram, count] : {std::pair(lowRank, 6), std::pair(fullRank, 30), std::pair(lowRank, 30)}) {
        const GramFactors chosen = gramFactors(gram, always(count));
        const GramFactors plain = factorsBySvd(gram, always(count));
        EXPECT_TRUE(identical(chosen.s, plain.s));
        EXPECT_TRUE(identical(chosen.u, plain.u));
        EXPECT_TRUE(identical(chosen.v, plain.v));
    }
}

TEST(GramFactors, OfAMatrixThatIsNoGramMatrixAreLeftToTheSvd) {
    NormalNumbers numbers(7);
    for (const int rank : {10, 40}) {
        GramFactors factors;
        Matrix<double> lopsided = semidefinite(40, falling(rank, 0.8), numbers);
        lopsided(3, 30) += 1e-6;
        EXPECT_FALSE(factorsBySymmetry(lopsided, always(3), factors)) << rank;
        EXPECT_TRUE(identical(gramFactors(lopsided, always(3)).u, factorsBySvd(lopsided, always(3)).u));
        Matrix<double> indefinite = semidefinite(40, falling(rank, 0.8), numbers);
        const Matrix<double> direction = qormath::test::randomOrthonormal(40, 1, numbers);
        indefinite -= product(direction, direction.transpose()) * 3.0;
        EXPECT_FALSE(factorsBySymmetry(indefinite, always(3), factors)) << rank;
        EXPECT_TRUE(identical(gramFactors(indefinite, always(3)).u, factorsBySvd(indefinite, always(3)).u));
    }
}

TEST(GramFactors, OfNaNAndInfinityFailAsTheSvd) {
    NormalNumbers numbers(8);
    for (const double poison : {std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity()}) {
        Matrix<double> gram = semidefinite(12, falling(4, 0.5), numbers);
        gram(7, 2) = poison;
        GramFactors factors;
        EXPECT_FALSE(factorsBySymmetry(gram, always(2), factors));
        qormath::test::expectXmsg([&] { gramFactors(gram, always(2)); }, QorMathLA::NumericFailure, "Matrix SVD");
    }
}

/// The first blocks of the impulse response that the factors realise.
Matrix<double> impulseResponse(const GramFactors& factors, const Matrix<double>& hankel, const Matrix<double>& stacked,
                               int outputs, int samples) {
    const int states = factors.v.cols();
    Vector<double> roots(states);
    Vector<double> inverseRoots(states);
    for (int k = 0; k < states; ++k) {
        roots[k] = std::sqrt(factors.s[k]);
        inverseRoots[k] = 1.0 / roots[k];
    }
    const Matrix<double> shifted = hankel(Range(outputs, hankel.rows() - 1, 1), all);
    const Matrix<double> a = product(product(factors.u.transpose(), shifted), factors.v)
                                 .scaleColumnsBy(inverseRoots)
                                 .scaleRowsBy(inverseRoots);
    Matrix<double> x = product(factors.u.transpose(), stacked).scaleRowsBy(inverseRoots);
    const Matrix<double> c = factors.v(Range(0, outputs - 1, 1), all).scaleColumnsBy(roots);
    Matrix<double> response = product(c, x);
    for (int k = 1; k < samples; ++k) {
        x = product(a, x);
        response = response.appendToBottom(product(c, x));
    }
    return response;
}

// The model is the same but for the coordinates of its states. Rounding reaches it through the division by the smallest
// kept value.
TEST(GramFactors, RealiseTheSameImpulseResponseOfRandomPlants) {
    constexpr double c = 10.0;
    constexpr double cut = 1e-5;
    int fastCount = 0;
    for (unsigned seed = 0; seed < 40; ++seed) {
        LTIFIRModel plant = qormath::test::randomPlant(seed, 5).model;
        const int outputs = plant.coefficients.cols();
        const int inputs = plant.coefficients.rows();
        const int blockRows = std::clamp(plant.coefficientCount / 3, 10, 30);
        Vector<double> scale;
        Matrix<double> markov = plant.CreateMarkovMatrix(&scale, nullptr);
        Matrix<double> feedthrough;
        const Matrix<double> hankel = plant.CreateHankelMatrix(markov, inputs, blockRows, feedthrough);
        const Matrix<double> gram = hankel(Range(0, blockRows * outputs - 1, 1), all);
        Matrix<double> rest(markov(all, Range(inputs, markov.cols() - 1, 1)));
        const Matrix<double> stacked = plant.BlockTransposition(rest, true, outputs, blockRows, inputs);
        const KeptCount aboveTheCut = [&](const Vector<double>& s) {
            int count = 0;
            while (count < s.size() && s[count] >= cut * s[0]) {
                ++count;
            }
            return count;
        };
        GramFactors fast;
        ASSERT_TRUE(factorsBySymmetry(gram, aboveTheCut, fast)) << seed;
        const GramFactors plain = factorsBySvd(gram, aboveTheCut);
        ASSERT_EQ(fast.v.cols(), plain.v.cols()) << seed;
        const int last = fast.v.cols() - 1;
        const double gap = plain.s[last] - (last + 1 < plain.s.size() ? plain.s[last + 1] : 0.0);
        const double bound = c * gram.rows() * unitRoundoff * plain.s[0] / gap;
        const Matrix<double> expected = impulseResponse(plain, hankel, stacked, outputs, 20);
        EXPECT_LE(maxDifference(impulseResponse(fast, hankel, stacked, outputs, 20), expected),
                  bound * (1.0 + expected.maxAbs()))
            << seed;
        ++fastCount;
    }
    EXPECT_EQ(fastCount, 40);
}

/// A Gram matrix of order n with so many rows more, which go on in the same manner, of falling values down to 1e-7.
Matrix<double> extendedGram(int n, int more, NormalNumbers& numbers) {
    Matrix<double> rows = qormath::test::randomOrthonormal(n + more, n, numbers);
    for (int k = 0; k < n; ++k) {
        rows.column(k) *= std::pow(1e-7, 0.5 * k / n);
    }
    Matrix<double> gram = product(rows, rows(Range(0, n - 1, 1), all).transpose());
    for (int j = 0; j < n; ++j) {
        for (int i = 0; i < j; ++i) {
            gram(i, j) = gram(j, i);
        }
    }
    return gram;
}

TEST(GramFactors, GiveTheProductWithShiftedRowsOnEitherRoute) {
    NormalNumbers numbers(11);
    for (const int n : {2, 3, 20, 64, 65, 150}) {
        for (const int shift : {0, 1, n / 2, n}) {
            SCOPED_TRACE(testing::Message() << "n " << n << " shift " << shift);
            const Matrix<double> extended = extendedGram(n, shift, numbers);
            const Matrix<double> before(extended);
            const int count = (n + 1) / 2;
            const auto top = extended(Range(0, n - 1, 1), all);
            GramFactors fast;
            ASSERT_TRUE(factorsBySymmetry(top, always(count), fast));
            ASSERT_TRUE(fast.areEigenvectors);
            GramFactors plain = fast;
            plain.areEigenvectors = false;
            const Matrix<double> bySteps =
                product(product(fast.u.transpose(), extended(Range(shift, n + shift - 1, 1), all)), fast.v);
            EXPECT_TRUE(identical(shiftedBetweenVectors(extended, shift, plain), bySteps));
            // The residual of the vectors, held to 10 n eps of the largest value above, and the rounding of the
            // products.
            EXPECT_LE(maxDifference(shiftedBetweenVectors(extended, shift, fast), bySteps),
                      20.0 * n * unitRoundoff * fast.s[0]);
            EXPECT_TRUE(identical(extended, before));
        }
    }
}

TEST(GramFactors, OfSmallValuesAreMultipliedOut) {
    // What stands in v diag(s) is forged here: it may be taken down to 1e-6 of the largest value, and not below.
    const int n = 6;
    const int shift = 2;
    NormalNumbers numbers(13);
    const Matrix<double> extended = qormath::test::randomMatrix(n + shift, n, numbers);
    GramFactors factors;
    factors.v = qormath::test::randomOrthonormal(n, 3, numbers);
    factors.u = Matrix<double>(factors.v);
    factors.areEigenvectors = true;
    factors.s = Vector<double>(n);
    factors.s.fill(0.0);
    factors.s[0] = 1.0;
    factors.s[1] = 1e-6;
    factors.s[2] = 9.9e-7;
    const Matrix<double> right = product(extended(Range(shift, n + shift - 1, 1), all), factors.v);
    Matrix<double> expected(right);
    for (int k = 0; k < 2; ++k) {
        for (int i = 0; i < n - shift; ++i) {
            expected(i, k) = factors.s[k] * factors.v(i + shift, k);
        }
    }
    // Products of six terms of size 1 to 3.
    EXPECT_LE(maxDifference(shiftedBetweenVectors(extended, shift, factors), product(factors.u.transpose(), expected)),
              20.0 * n * unitRoundoff);
}

TEST(GramFactors, OfTheSvdAreNotTakenForEigenvectors) {
    NormalNumbers numbers(12);
    EXPECT_FALSE(factorsBySvd(semidefinite(5, {1.0, 0.5, 0.25}, numbers), always(3)).areEigenvectors);
    EXPECT_FALSE(gramFactors(qormath::test::randomMatrix(5, 5, numbers), always(3)).areEigenvectors);
}

}  // namespace
