#include <algorithm>
#include <cmath>
#include <complex>
#include <cstddef>
#include <gtest/gtest.h>
#include <vector>

#include <qormath/control_utility/bulge_chain.hpp>
#include <qormath/lapack/lapack.hpp>

#include "support/schur_checks.hpp"

namespace {

using namespace qormath;
using namespace qormath::control_utility;
using lapack::Op;
using Elements = std::vector<double>;

// Backward error and orthogonality in units of n eps (times the norm).
constexpr double ratioLimit = 10.0;

/// A Hessenberg matrix and the identity, each with a row and a column of zeros more.
struct Chased {
    Chased(int order, unsigned seed) : n(order), ld(order + 1), h(test::cells(ld, ld)), u(test::cells(ld, ld)) {
        test::NormalNumbers numbers(seed);
        for (int j = 0; j < n; ++j) {
            for (int i = 0; i < std::min(n, j + 2); ++i) {
                at(h, i, j) = numbers.normal();
            }
        }
        lapack::laset(n, n, 0.0, 1.0, u.data(), ld);
        before = test::packed(n, n, h.data(), ld);
    }

    double& at(Elements& a, int i, int j) const { return a[test::cells(j, ld) + static_cast<std::size_t>(i)]; }

    ChainTarget target() { return {h.data(), ld, u.data(), ld, 0, n, n, false}; }

    void expectSimilarHessenberg() {
        const Elements after = test::packed(n, n, h.data(), ld);
        const Elements q = test::packed(n, n, u.data(), ld);
        EXPECT_LE(test::orthogonalityRatio(n, q), ratioLimit);
        EXPECT_LE(test::schurRatio(n, before, after, q), ratioLimit);
        for (int j = 0; j < n; ++j) {
            for (int i = j + 2; i < n; ++i) {
                ASSERT_EQ(at(h, i, j), 0.0) << i << ", " << j;
            }
        }
    }

    int n;
    int ld;
    Elements h;
    Elements u;
    Elements before;
};

std::vector<ShiftPair> mixedShifts(int count) {
    std::vector<ShiftPair> shifts;
    for (int k = 0; k < count; ++k) {
        const double re = 0.5 * k - 1.0;
        shifts.push_back(k % 2 == 0 ? ShiftPair{re, 0.7, re, -0.7} : ShiftPair{re, 0.0, re + 0.3, 0.0});
    }
    return shifts;
}

TEST(BulgeChain, LeavesAHessenbergMatrixThatIsSimilar) {
    for (const int n : {3, 4, 5, 6, 7, 12, 33, 64}) {
        for (const int bulges : {1, 2, 3, 5, 8}) {
            SCOPED_TRACE(testing::Message() << "n " << n << ", bulges " << bulges);
            Chased chased(n, static_cast<unsigned>(10 * n + bulges));
            const std::vector<ShiftPair> shifts = mixedShifts(bulges);
            BulgeChain chain(bulges, shifts.data());
            chain.step(chased.target(), 0, n - 1, 0, chain.stepsThrough(n));
            chased.expectSimilarHessenberg();
        }
    }
}

TEST(BulgeChain, TouchesTheActiveBlockAndWhatStandsBesideIt) {
    const int n = 20;
    const int top = 4;
    const int bottom = 15;
    Chased chased(n, 7);
    chased.at(chased.h, top, top - 1) = 0.0;
    chased.at(chased.h, bottom + 1, bottom) = 0.0;
    chased.before = test::packed(n, n, chased.h.data(), chased.ld);
    const std::vector<ShiftPair> shifts = mixedShifts(3);
    BulgeChain chain(3, shifts.data());
    chain.step(chased.target(), top, bottom, 0, chain.stepsThrough(bottom - top + 1));
    chased.expectSimilarHessenberg();
    const auto beforeAt = [&](int i, int j) { return chased.before[test::cells(j, n) + static_cast<std::size_t>(i)]; };
    for (int j = 0; j < n; ++j) {
        for (int i = 0; i < n; ++i) {
            const bool rowIsActive = i >= top && i <= bottom;
            const bool columnIsActive = j >= top && j <= bottom;
            if (!rowIsActive && !columnIsActive) {
                EXPECT_EQ(chased.at(chased.h, i, j), beforeAt(i, j));
            }
        }
    }
}

TEST(BulgeChain, EndsWithTheSameWhetherItRestsBetweenTheSteps) {
    const int n = 30;
    const int bulges = 4;
    const std::vector<ShiftPair> shifts = mixedShifts(bulges);
    Chased whole(n, 3);
    Chased rested(n, 3);
    BulgeChain first(bulges, shifts.data());
    first.step(whole.target(), 0, n - 1, 0, first.stepsThrough(n));
    BulgeChain second(bulges, shifts.data());
    for (int step = 0; step < second.stepsThrough(n); ++step) {
        second.step(rested.target(), 0, n - 1, step, step + 1);
    }
    EXPECT_EQ(whole.h, rested.h);
    EXPECT_EQ(whole.u, rested.u);
}

TEST(BulgeChain, TakesTheShiftsThatAreEigenvaluesToTheEnd) {
    // With one exact pair of shifts the last 2 by 2 block splits off, to the accuracy of the shifts.
    const int n = 8;
    Chased chased(n, 11);
    Elements t = chased.before, q(test::cells(n, n)), wr(8), wi(8), work(test::cells(n, 64));
    ASSERT_EQ(lapack::gees(n, t.data(), n, wr.data(), wi.data(), q.data(), n, work.data(), 64 * n), 0);
    int pair = 0;
    while (pair + 1 < n && wi[static_cast<std::size_t>(pair)] <= 0.0) {
        ++pair;
    }
    ASSERT_LT(pair + 1, n);
    const auto k = static_cast<std::size_t>(pair);
    const ShiftPair shifts{wr[k], wi[k], wr[k], -wi[k]};
    BulgeChain chain(1, &shifts);
    chain.step(chased.target(), 0, n - 1, 0, chain.stepsThrough(n));
    EXPECT_LE(std::abs(chased.at(chased.h, n - 2, n - 3)), 1e-8 * test::frobenius(chased.before));
}

}  // namespace
