#include <cmath>
#include <cstddef>
#include <gtest/gtest.h>
#include <limits>
#include <vector>

#include <qormath/control_utility/inverse.hpp>
#include <qormath/lapack/lapack.hpp>

#include "support/raw_matrix.hpp"

namespace {

using namespace qormath;
using control_utility::invertFactors;
using control_utility::workToInvert;
using test::NormalNumbers;
using test::RawMatrix;

/// The factors of a matrix in its place, and its exchanges.
std::vector<int> factorise(RawMatrix& matrix) {
    std::vector<int> pivots(static_cast<std::size_t>(matrix.rows));
    EXPECT_EQ(lapack::getrf(matrix.rows, matrix.rows, matrix.data(), matrix.rows, pivots.data()), 0);
    return pivots;
}

RawMatrix inverseOf(const RawMatrix& matrix) {
    const int n = matrix.rows;
    RawMatrix factors = matrix;
    const std::vector<int> pivots = factorise(factors);
    const double unread = std::numeric_limits<double>::quiet_NaN();
    std::vector<double> work(workToInvert(n) + 1, unread);
    const std::vector<int> columns = invertFactors(n, factors.data(), pivots.data(), work.data());
    EXPECT_TRUE(std::isnan(work.back()));
    RawMatrix result(n, n);
    for (int j = 0; j < n; ++j) {
        for (int i = 0; i < n; ++i) {
            result(i, j) = factors(i, columns[static_cast<std::size_t>(j)]);
        }
    }
    return result;
}

}  // namespace

TEST(Inverse, LeavesTheResidualOfItsFactors) {
    NormalNumbers numbers(411);
    // Around the leaf of 64, around a half of it, and around one and two blocks of 160 columns.
    for (const int n : {1, 2, 3, 8, 63, 64, 65, 72, 127, 128, 129, 130, 159, 160, 161, 168, 200, 319, 320, 321, 330}) {
        SCOPED_TRACE(n);
        const RawMatrix matrix = test::rawRandom(n, n, numbers);
        const RawMatrix inverse = inverseOf(matrix);
        RawMatrix residual = test::product(inverse, matrix);
        for (int k = 0; k < n; ++k) {
            residual(k, k) -= 1.0;
        }
        // Partial pivoting leaves norm(l) norm(u) at a small multiple of norm(matrix) here.
        EXPECT_LE(test::frobeniusNorm(residual),
                  10.0 * n * lapack::machineEpsilon() * test::frobeniusNorm(inverse) * test::frobeniusNorm(matrix));
    }
}

TEST(Inverse, OfGradedRowsIsAsGoodAsThatOfLikeRows) {
    // A scale of a row passes through elimination and substitution without a trace but for the choice of pivots.
    const int n = 200;
    NormalNumbers numbers(412);
    const RawMatrix like = test::rawRandom(n, n, numbers);
    RawMatrix graded = like;
    for (int j = 0; j < n; ++j) {
        for (int i = 0; i < n; ++i) {
            graded(i, j) *= std::ldexp(1.0, -i / 4);
        }
    }
    RawMatrix residual = test::product(inverseOf(graded), graded);
    for (int k = 0; k < n; ++k) {
        residual(k, k) -= 1.0;
    }
    EXPECT_LE(test::frobeniusNorm(residual),
              10.0 * n * lapack::machineEpsilon() * test::frobeniusNorm(inverseOf(like)) * test::frobeniusNorm(like));
}

TEST(Inverse, OfATriangleIsExactWhereItsElementsAre) {
    const int n = 150;
    RawMatrix upper(n, n);
    for (int j = 0; j < n; ++j) {
        upper(j, j) = 2.0;
        if (j > 0) {
            upper(j - 1, j) = -2.0;
        }
    }
    const RawMatrix inverse = inverseOf(upper);
    for (int j = 0; j < n; ++j) {
        for (int i = 0; i < n; ++i) {
            ASSERT_EQ(inverse(i, j), i <= j ? 0.5 : 0.0) << i << " " << j;
        }
    }
}

TEST(Inverse, UndoesTheExchangesOfRows) {
    // A cycle of rows: a permutation is its own factor, and its transpose its inverse.
    const int n = 70;
    RawMatrix cycle(n, n);
    for (int j = 0; j < n; ++j) {
        cycle((j + 1) % n, j) = 1.0;
    }
    const RawMatrix inverse = inverseOf(cycle);
    for (int j = 0; j < n; ++j) {
        for (int i = 0; i < n; ++i) {
            ASSERT_EQ(inverse(i, j), cycle(j, i));
        }
    }
}

TEST(Inverse, OfNothingIsNothing) {
    EXPECT_TRUE(invertFactors(0, nullptr, nullptr, nullptr).empty());
}
