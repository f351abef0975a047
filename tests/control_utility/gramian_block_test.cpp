#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <tuple>
#include <vector>

#include <qormath/control_utility/gramian_block.hpp>
#include <qormath/control_utility/gramian_factor.hpp>
#include <qormath/lapack/lapack.hpp>

#include "support/quasi_triangular.hpp"
#include "support/raw_matrix.hpp"

namespace {

using namespace qormath;
using control_utility::factorGramianBlock;
using control_utility::GramianBlock;
using lapack::Op;
using test::RawMatrix;

constexpr double ratioLimit = 10.0;

RawMatrix stableMatrix(bool discrete, int n, double pairShare, std::uint64_t seed) {
    const double coupling = 1.0 / std::sqrt(std::max(1, n));
    return discrete ? test::quasiTriangular(n, pairShare, 0.5 * coupling, seed, test::stableDiscrete)
                    : test::quasiTriangular(n, pairShare, coupling, seed, test::stableContinuous);
}

struct Result {
    RawMatrix s;
    GramianBlock block;
};

Result factor(bool discrete, const RawMatrix& a, const RawMatrix& b) {
    const int k = a.rows;
    RawMatrix work = b;
    Result result{RawMatrix(k, k), {}};
    double scale = 0.0;
    result.block = factorGramianBlock(discrete, k, b.cols, a.data(), k, work.data(), k, result.s.data(), k, scale);
    EXPECT_EQ(scale, 1.0);
    return result;
}

RawMatrix fromVector(int rows, int columns, const std::vector<double>& elements) {
    RawMatrix result(rows, columns);
    result.elements = elements;
    return result;
}

class GramianBlockOverSizes : public ::testing::TestWithParam<std::tuple<bool, int, int>> {};

TEST_P(GramianBlockOverSizes, FulfilsWhatDefinesIt) {
    const auto [discrete, k, width] = GetParam();
    for (const double pairShare : {0.0, 0.5, 1.0}) {
        const RawMatrix a = stableMatrix(discrete, k, pairShare, 3);
        test::NormalNumbers numbers(4);
        RawMatrix b(k, width);
        b.elements = numbers.matrix(k, width);
        const auto [s, block] = factor(discrete, a, b);
        const RawMatrix all = fromVector(k, k + width, block.similar);
        const RawMatrix similar = test::part(all, 0, k, 0, k);
        const RawMatrix y = test::part(all, 0, k, k, width);
        const double unit = ratioLimit * std::max(1, k) * lapack::machineEpsilon();
        EXPECT_LE(frobeniusNorm(difference(product(s, y), b)), unit * frobeniusNorm(s) * frobeniusNorm(y));
        EXPECT_LE(frobeniusNorm(difference(product(s, similar), product(a, s))),
                  unit * frobeniusNorm(s) * (frobeniusNorm(a) + frobeniusNorm(similar)));
        if (discrete) {
            // The rows of both are one orthogonal matrix, but for states that rounding leaves without input, whose rows
            // and columns hold nothing but their pole.
            RawMatrix rows = all;
            for (int j = 0; j < k; ++j) {
                if (s(j, j) == 0.0) {
                    EXPECT_EQ(frobeniusNorm(test::part(y, j, 1, 0, width)), 0.0);
                    rows(j, j) = 1.0;
                }
            }
            const RawMatrix complement = fromVector(width, k + width, block.complement);
            RawMatrix both(k + width, k + width);
            lapack::lacpy(k, k + width, rows.data(), k, both.data(), k + width);
            lapack::lacpy(width, k + width, complement.data(), width, both.data() + k, k + width);
            EXPECT_LE(test::orthogonalityRatio(k + width, both.elements), ratioLimit);
        } else {
            RawMatrix relation = product(y, y, Op::none, Op::transpose);
            for (int j = 0; j < k; ++j) {
                for (int i = 0; i < k; ++i) {
                    relation(i, j) += similar(i, j) + similar(j, i);
                }
            }
            EXPECT_LE(frobeniusNorm(relation), unit * (frobeniusNorm(similar) + frobeniusNorm(y) * frobeniusNorm(y)));
        }
    }
}

INSTANTIATE_TEST_SUITE_P(All, GramianBlockOverSizes,
                         ::testing::Combine(::testing::Bool(), ::testing::Values(0, 1, 2, 3, 5, 20, 48),
                                            ::testing::Values(1, 2, 7, 48)));

TEST(GramianBlock, AgreesWithTheFactorByBlockColumns) {
    // As many inputs as states and weak coupling: the Gramian is known to its condition, which the numerical range of a
    // bounds, whose distance from instability is at least 0.05.
    const int n = 150;
    for (const bool discrete : {false, true}) {
        const auto eigenvalue = [discrete](test::NormalNumbers& numbers) {
            return test::Eigenvalue{discrete ? 1.8 * (numbers.uniform() - 0.5) : -0.1 - numbers.uniform(), 0.0};
        };
        const RawMatrix a = test::quasiTriangular(n, 0.0, 0.02 / std::sqrt(n), 5, eigenvalue);
        test::NormalNumbers numbers(6);
        RawMatrix b(n, n);
        b.elements = numbers.matrix(n, n);
        const RawMatrix plain = factor(discrete, a, b).s;
        RawMatrix blocked(n, n);
        double scale = 0.0;
        ASSERT_EQ(
            control_utility::controllabilityFactor(discrete, n, n, a.data(), n, b.data(), n, blocked.data(), n, scale),
            0);
        const RawMatrix plainGramian = product(plain, plain, Op::none, Op::transpose);
        const RawMatrix blockedGramian = product(blocked, blocked, Op::none, Op::transpose);
        const double condition = 2.0 * frobeniusNorm(a) / 0.1;
        EXPECT_LE(frobeniusNorm(difference(plainGramian, blockedGramian)),
                  ratioLimit * n * lapack::machineEpsilon() * condition * frobeniusNorm(plainGramian));
    }
}

TEST(GramianBlock, LeavesStatesWithoutInputOutOfEverything) {
    for (const bool discrete : {false, true}) {
        RawMatrix a = stableMatrix(discrete, 12, 0.0, 7);
        RawMatrix b(12, 3, 1.0);
        for (int row = 8; row < 12; ++row) {
            b(row, 0) = b(row, 1) = b(row, 2) = 0.0;
        }
        const auto [s, block] = factor(discrete, a, b);
        const RawMatrix all = fromVector(12, 15, block.similar);
        for (int k = 8; k < 12; ++k) {
            for (int j = 0; j < 15; ++j) {
                EXPECT_EQ(all(k, j), j == k ? a(k, k) : 0.0);
            }
            for (int i = 0; i < 12; ++i) {
                EXPECT_EQ(s(i, k), 0.0);
                EXPECT_EQ(all(i, k), i == k ? a(k, k) : 0.0);
            }
        }
    }
}

}  // namespace
