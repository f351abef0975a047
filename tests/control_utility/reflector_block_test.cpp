#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include <qormath/control_utility/reflector_block.hpp>
#include <qormath/lapack/lapack.hpp>

#include "support/raw_matrix.hpp"

namespace {

using namespace qormath::test;
using qormath::control_utility::formProduct;
using qormath::control_utility::ReflectorBlock;
using qormath::lapack::Op;

const double eps = std::ldexp(1.0, -53);

/// Reflectors as a QR factorisation stores them, in a panel whose upper triangle nobody may read as theirs.
struct Panel {
    Panel(int reached, int count, NormalNumbers& numbers)
        : elements(rawRandom(reached, count, numbers)), factors(static_cast<std::size_t>(std::max(1, count))) {
        std::vector<double> work(static_cast<std::size_t>(std::max(1, 32 * count)));
        qormath::lapack::geqrf(reached, count, elements.data(), reached, factors.data(), work.data(),
                               static_cast<int>(work.size()));
    }

    /// q := q H1 ... Hk, the first of which begins in the given row, one after the other.
    void multiply(RawMatrix& q, int first) const {
        for (int k = 0; k < elements.cols; ++k) {
            for (int row = 0; row < q.rows; ++row) {
                const auto component = [&](int i) { return i == k ? 1.0 : elements(i, k); };
                double sum = 0.0;
                for (int i = k; i < elements.rows; ++i) {
                    sum += q(row, first + i) * component(i);
                }
                for (int i = k; i < elements.rows; ++i) {
                    q(row, first + i) -= factors[static_cast<std::size_t>(k)] * sum * component(i);
                }
            }
        }
    }

    RawMatrix elements;
    std::vector<double> factors;
};

void append(ReflectorBlock& block, int skipped, const Panel& panel) {
    block.append(skipped, panel.elements.rows, panel.elements.cols, panel.elements.data(), panel.elements.rows,
                 panel.factors.data());
}

/// Of all products with it, against those with the matrix that it stands for.
void expectToBe(const ReflectorBlock& block, const RawMatrix& q, NormalNumbers& numbers) {
    const int n = q.rows;
    const double bound = 20 * n * eps;
    for (int width : {1, 2, 10, 40}) {
        const RawMatrix c = rawRandom(n, width, numbers);
        for (Op op : {Op::none, Op::transpose}) {
            RawMatrix found = c;
            block.multiplyFromLeft(op, width, found.data(), n);
            EXPECT_LE(frobeniusNorm(difference(found, product(q, c, op))), bound * frobeniusNorm(c));
        }
        const RawMatrix rows = rawRandom(width, n, numbers);
        RawMatrix found = rows;
        block.multiplyFromRight(width, found.data(), width);
        EXPECT_LE(frobeniusNorm(difference(found, product(rows, q))), bound * frobeniusNorm(rows));
    }
}

TEST(ReflectorBlock, IsTheProductOfItsReflectors) {
    NormalNumbers numbers(1);
    for (int n : {1, 2, 31, 32, 33, 70}) {
        for (int count : {1, 2, 10, 32, 40}) {
            if (count > n) {
                continue;
            }
            SCOPED_TRACE(std::to_string(count) + " reflectors of " + std::to_string(n) + " rows");
            const Panel panel(n, count, numbers);
            ReflectorBlock block(0, n, count + 3);
            append(block, 0, panel);
            EXPECT_EQ(block.count(), count);
            RawMatrix q = rawIdentity(n);
            panel.multiply(q, 0);
            expectToBe(block, q, numbers);
        }
    }
}

TEST(ReflectorBlock, GathersReflectorsThatBeginFurtherDownAndEndBeforeTheLastRow) {
    NormalNumbers numbers(2);
    const int n = 50;
    ReflectorBlock block(7, n, 20);
    RawMatrix q = rawIdentity(n);
    const auto join = [&](int skipped, const Panel& panel) {
        EXPECT_TRUE(block.haveRoomFor(panel.elements.cols));
        append(block, skipped, panel);
        panel.multiply(q, skipped);
        expectToBe(block, q, numbers);
    };
    join(0, Panel(40, 5, numbers));
    join(5, Panel(45, 10, numbers));
    join(25, Panel(6, 3, numbers));
    join(28, Panel(22, 1, numbers));
    EXPECT_TRUE(block.haveRoomFor(1));
    EXPECT_FALSE(block.haveRoomFor(2));
    EXPECT_EQ(block.first(), 7);
}

TEST(ReflectorBlock, TellsWhatJoinsIsToTheOthers) {
    NormalNumbers numbers(3);
    const int n = 20;
    ReflectorBlock block(0, n, 8);
    append(block, 0, Panel(n, 3, numbers));
    const Panel panel(n - 3, 2, numbers);
    const std::vector<double> overlap = block.append(3, n - 3, 2, panel.elements.data(), n - 3, panel.factors.data());
    const double* const v = block.v();
    for (int j = 3; j < 5; ++j) {
        for (int i = 0; i < 5; ++i) {
            double sum = 0.0;
            for (int row = 0; row < n; ++row) {
                sum += v[row + i * n] * v[row + j * n];
            }
            EXPECT_NEAR(overlap[static_cast<std::size_t>(i + (j - 3) * block.capacity())], sum, 20 * n * eps);
        }
    }
}

TEST(ReflectorBlock, OfFactorsThatAreZeroIsTheIdentity) {
    NormalNumbers numbers(4);
    Panel panel(9, 3, numbers);
    std::fill(panel.factors.begin(), panel.factors.end(), 0.0);
    ReflectorBlock block(0, 9, 3);
    append(block, 0, panel);
    RawMatrix c = rawRandom(9, 4, numbers);
    const RawMatrix before = c;
    block.multiplyFromLeft(Op::transpose, 4, c.data(), 9);
    EXPECT_EQ(c, before);
}

TEST(ReflectorBlock, FormsTheProductOfBlocksThatOverlapOrLeaveRowsOut) {
    NormalNumbers numbers(5);
    struct Place {
        int first, rows, count;
    };
    const std::vector<std::vector<Place>> cases = {
        {},
        {{0, 40, 7}},
        {{0, 40, 40}},
        {{3, 20, 7}},
        {{0, 40, 10}, {10, 30, 10}, {20, 20, 19}},
        {{0, 40, 10}, {10, 13, 10}, {23, 17, 2}, {39, 1, 1}},
        {{2, 10, 3}, {5, 20, 4}, {30, 10, 5}},
        {{0, 12, 2}, {8, 30, 4}, {12, 5, 5}},
    };
    const int n = 40;
    for (std::size_t k = 0; k < cases.size(); ++k) {
        SCOPED_TRACE(k);
        std::vector<ReflectorBlock> blocks;
        RawMatrix wanted = rawIdentity(n);
        for (const Place& place : cases[k]) {
            const Panel panel(place.rows, place.count, numbers);
            append(blocks.emplace_back(place.first, place.rows, place.count), 0, panel);
            panel.multiply(wanted, place.first);
        }
        RawMatrix z(n, n, std::nan(""));
        formProduct(n, blocks, z.data());
        EXPECT_LE(frobeniusNorm(difference(z, wanted)), 20 * n * eps);
    }
    formProduct(0, {}, nullptr);
}

}  // namespace
