#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include <qormath/control_utility/gramian_pair.hpp>
#include <qormath/lapack/lapack.hpp>

#include "support/raw_matrix.hpp"
#include "support/schur_checks.hpp"

namespace {

using namespace qormath;
using control_utility::factorOfPair;
using control_utility::factorOfReal;
using control_utility::GramianCell;
using control_utility::isStableCell;
using lapack::Op;
using test::RawMatrix;

// Identities are held to this many eps: each element is a product of about ten factors.
constexpr double ratioLimit = 20.0;

RawMatrix fromCell(const double* elements) {
    RawMatrix result(2, 2);
    std::copy_n(elements, 4, result.data());
    return result;
}

// What defines the cell, row by row for rows of very different size: s y = b and s similar = a s, and the relation
// between similar and y that makes s s' the solution.
void expectCellOfPair(bool discrete, const RawMatrix& a, const RawMatrix& b) {
    const int width = b.cols;
    RawMatrix y(2, width, -3.0);
    const GramianCell cell = factorOfPair(discrete, a.data(), 2, width, b.data(), 2, y.data(), 2);
    const RawMatrix s = fromCell(cell.s);
    const RawMatrix similar = fromCell(cell.similar);
    EXPECT_TRUE(cell.active[0]);
    EXPECT_TRUE(cell.active[1]);
    EXPECT_EQ(s(1, 0), 0.0);
    EXPECT_GT(s(0, 0), 0.0);
    EXPECT_GT(s(1, 1), 0.0);

    const double eps = lapack::machineEpsilon();
    const double sizeY = frobeniusNorm(y);
    const RawMatrix errorB = difference(product(s, y), b);
    const RawMatrix errorA = difference(product(s, similar), product(a, s));
    const double sizeSimilar = frobeniusNorm(similar);
    for (int row = 0; row < 2; ++row) {
        const double sizeRow = std::hypot(s(row, 0), s(row, 1));
        EXPECT_LE(frobeniusNorm(test::part(errorB, row, 1, 0, width)), ratioLimit * eps * sizeRow * sizeY);
        const double sizeProduct =
            std::abs(a(row, 0)) * std::hypot(s(0, 0), s(0, 1)) + std::abs(a(row, 1)) * std::hypot(s(1, 0), s(1, 1));
        EXPECT_LE(frobeniusNorm(test::part(errorA, row, 1, 0, 2)),
                  ratioLimit * eps * (sizeRow * sizeSimilar + sizeProduct));
    }
    RawMatrix relation = product(y, y, Op::none, Op::transpose);
    if (discrete) {
        const RawMatrix squares = product(similar, similar, Op::none, Op::transpose);
        for (int j = 0; j < 2; ++j) {
            for (int i = 0; i < 2; ++i) {
                relation(i, j) += squares(i, j) - (i == j ? 1.0 : 0.0);
            }
        }
        EXPECT_LE(frobeniusNorm(relation), ratioLimit * eps * 2.0);
    } else {
        for (int j = 0; j < 2; ++j) {
            for (int i = 0; i < 2; ++i) {
                relation(i, j) += similar(i, j) + similar(j, i);
            }
        }
        EXPECT_LE(frobeniusNorm(relation), ratioLimit * eps * (sizeY * sizeY + sizeSimilar));
    }
}

RawMatrix standardPair(double re, double im, double skew) {
    RawMatrix a(2, 2);
    a(0, 0) = a(1, 1) = re;
    a(0, 1) = im * skew;
    a(1, 0) = -im / skew;
    return a;
}

TEST(GramianPair, OfComplexPolesFulfilsWhatDefinesIt) {
    test::NormalNumbers numbers(1);
    for (const bool discrete : {false, true}) {
        for (const int width : {1, 2, 5}) {
            for (int draw = 0; draw < 200; ++draw) {
                const double im = std::pow(10.0, -8.0 * numbers.uniform()) * (draw % 2 == 0 ? 0.7 : -0.7);
                const double re =
                    discrete ? 1.4 * (numbers.uniform() - 0.5) : -std::pow(10.0, -8.0 * numbers.uniform());
                const double skew = std::pow(10.0, 4.0 * numbers.uniform() - 2.0);
                RawMatrix b(2, width);
                b.elements = numbers.matrix(2, width);
                SCOPED_TRACE("re " + std::to_string(re) + " im " + std::to_string(im) + " skew " +
                             std::to_string(skew) + " width " + std::to_string(width));
                expectCellOfPair(discrete, standardPair(re, im, skew), b);
            }
        }
    }
}

TEST(GramianPair, OfComplexPolesTakesInputsWithAZeroRow) {
    for (const bool discrete : {false, true}) {
        for (const int zeroRow : {0, 1}) {
            for (const int width : {1, 3}) {
                RawMatrix b(2, width, 1.5);
                for (int k = 0; k < width; ++k) {
                    b(zeroRow, k) = 0.0;
                }
                expectCellOfPair(discrete, standardPair(-0.4, 0.3, 2.0), b);
                expectCellOfPair(discrete, standardPair(-0.4, -1e-9, 1.0), b);
            }
        }
    }
}

TEST(GramianPair, OfABlockInAnyFormFulfilsWhatDefinesIt) {
    test::NormalNumbers numbers(2);
    for (const bool discrete : {false, true}) {
        int stable = 0;
        for (int draw = 0; draw < 2000; ++draw) {
            RawMatrix a(2, 2);
            a.elements = numbers.matrix(2, 2);
            a(0, 0) -= discrete ? 0.0 : 1.0;
            a(1, 1) -= discrete ? 0.0 : 1.0;
            RawMatrix b(2, 3);
            b.elements = numbers.matrix(2, 3);
            if (isStableCell(discrete, 2, a.data(), 2)) {
                ++stable;
                expectCellOfPair(discrete, a, b);
            }
        }
        EXPECT_GT(stable, 200);
    }
}

TEST(GramianPair, OfZeroInputsIsZeroAndKeepsThePoles) {
    for (const bool discrete : {false, true}) {
        const RawMatrix a = standardPair(-0.5, 0.25, 4.0);
        RawMatrix y(2, 2, -3.0);
        const RawMatrix zero(2, 2);
        const GramianCell cell = factorOfPair(discrete, a.data(), 2, 2, zero.data(), 2, y.data(), 2);
        EXPECT_EQ(fromCell(cell.s), zero);
        EXPECT_EQ(y, zero);
        EXPECT_FALSE(cell.active[0]);
        EXPECT_FALSE(cell.active[1]);
        EXPECT_EQ(cell.similar[0] + cell.similar[3], -1.0);
        EXPECT_EQ(cell.similar[0] * cell.similar[3] - cell.similar[1] * cell.similar[2], 0.3125);
    }
}

TEST(GramianPair, OfARealPoleIsTheRootOfItsGramian) {
    const double b[3] = {3.0, 0.0, 4.0};
    double y[3] = {};
    EXPECT_DOUBLE_EQ(factorOfReal(false, -2.0, 3, b, 1, y, 1).s[0], 2.5);
    EXPECT_DOUBLE_EQ(y[0], 1.2);
    EXPECT_EQ(y[1], 0.0);
    EXPECT_DOUBLE_EQ(y[2], 1.6);
    EXPECT_DOUBLE_EQ(factorOfReal(true, 0.6, 3, b, 1, y, 1).s[0], 6.25);
    EXPECT_DOUBLE_EQ(y[2], 0.64);
    EXPECT_FALSE(factorOfReal(true, 0.6, 1, b + 1, 1, y, 1).active[0]);
    EXPECT_EQ(y[0], 0.0);
}

}  // namespace
