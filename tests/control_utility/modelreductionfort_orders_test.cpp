// Which states the reduction counts, and which order it takes.

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <gtest/gtest.h>
#include <limits>
#include <random>
#include <vector>

#include "support/raw_matrix.hpp"
#include "support/raw_transfer_function.hpp"
#include "support/reduced_systems.hpp"

namespace {

using namespace qormath;
using namespace qormath::test;

TEST(ModelReduction, LimitsAFixedOrderToTheMinimalOrderAndTheLeadingBlock) {
    RawSystem system =
        parallel({unstableSystem(true, 2, 1, 1, 24), stableSystem(true, 3, 1, 1, 25), stableSystem(true, 4, 1, 1, 26)});
    for (int i = 5; i < 9; ++i) {
        system.b(i, 0) = 0.0;
    }
    const auto orderFor = [&](int wanted) {
        const Reduced r = reduce(system, true, {marginOf(true), wanted, true});
        expectForm(r, true, marginOf(true));
        EXPECT_EQ(r.ns, 7);
        return r.nr;
    };
    EXPECT_EQ(orderFor(0), 2);
    EXPECT_EQ(orderFor(1), 2);
    EXPECT_EQ(orderFor(2), 2);
    EXPECT_EQ(orderFor(3), 3);
    EXPECT_EQ(orderFor(5), 5);
    EXPECT_EQ(orderFor(6), 5);
    EXPECT_EQ(orderFor(1000), 5);
}

TEST(ModelReduction, SelectsTheValuesAboveTheTolerance) {
    const RawSystem system = stableSystem(false, 12, 2, 2, 27);
    const Reduced all = reduce(system, false);
    ASSERT_EQ(all.info, 0);
    for (std::size_t k = 1; k < 8; ++k) {
        const double between = std::sqrt(all.hsv[k - 1] * all.hsv[k]);
        EXPECT_EQ(reduce(system, false, {marginOf(false), 0, false, between}).nr, static_cast<int>(k));
    }
    EXPECT_EQ(reduce(system, false, {marginOf(false), 0, false, 2.0 * all.hsv[0]}).nr, 0);
    EXPECT_EQ(reduce(system, false, {marginOf(false), 0, false, -1.0}).nr, all.nr);
    EXPECT_EQ(reduce(system, false, {marginOf(false), 0, false, std::numeric_limits<double>::min()}).nr, all.nr);
}

TEST(ModelReduction, DoesNotSplitEqualHankelSingularValues) {
    // Two equal channels, so that each value comes twice, under a similarity that makes the two differ by rounding.
    const RawSystem one = stableSystem(true, 7, 1, 1, 28);
    RawSystem system{RawMatrix(14, 14), RawMatrix(14, 2), RawMatrix(2, 14)};
    for (int channel = 0; channel < 2; ++channel) {
        for (int i = 0; i < 7; ++i) {
            for (int j = 0; j < 7; ++j) {
                system.a(7 * channel + i, 7 * channel + j) = one.a(i, j);
            }
            system.b(7 * channel + i, channel) = one.b(i, 0);
            system.c(channel, 7 * channel + i) = one.c(0, i);
        }
    }
    system = orthogonallyTransformed(system, 29);
    const Reduced all = reduce(system, true);
    ASSERT_EQ(all.info, 0);
    EXPECT_EQ(all.nr % 2, 0);
    int differing = 0;
    for (std::size_t k = 0; k < 12; k += 2) {
        differing += all.hsv[k] != all.hsv[k + 1];
        const Reduced r = reduce(system, true, {marginOf(true), 0, false, all.hsv[k + 1]});
        ASSERT_EQ(r.info, 0);
        EXPECT_EQ(r.nr % 2, 0) << "pair " << k;
    }
    EXPECT_GT(differing, 0) << "rounding never split a pair, so nothing was shown";
}

TEST(ModelReduction, TakesASmoothTailForNoGroup) {
    const RawSystem system = stableSystem(false, 60, 2, 2, 45);
    const Reduced all = reduce(system, false);
    ASSERT_EQ(all.info, 0);
    int tried = 0;
    for (double share = 1e-2; share > 1e-13; share *= 0.1) {
        const double tolerance = share * all.hsv[0];
        const auto above = static_cast<std::size_t>(
            std::count_if(all.hsv.begin(), all.hsv.end(), [=](double h) { return h > tolerance; }));
        if (above < 60 && all.hsv[above] < 0.99 * all.hsv[above - 1]) {
            ++tried;
            EXPECT_EQ(reduce(system, false, {marginOf(false), 0, false, tolerance}).nr, static_cast<int>(above));
        }
    }
    EXPECT_GE(tried, 8);
}

/// Known parts: two unstable states, an integrator, four stable ones, delays (or fast poles), three that the input does
/// not reach and two that the output does not see.
RawSystem systemOfKnownParts(bool discrete) {
    RawSystem delays{RawMatrix(3, 3), RawMatrix(3, 2), RawMatrix(2, 3)};
    delays.a(0, 1) = delays.a(1, 2) = 1.0;
    for (int i = 0; i < 3; ++i) {
        delays.a(i, i) = discrete ? 0.0 : -4.0 - i;
    }
    delays.b(2, 0) = delays.b(2, 1) = delays.c(0, 0) = 1.0;
    delays.c(1, 0) = -1.0;
    RawSystem unreached = stableSystem(discrete, 3, 2, 2, 31);
    unreached.b = RawMatrix(3, 2);
    RawSystem unseen = stableSystem(discrete, 2, 2, 2, 32);
    unseen.c = RawMatrix(2, 2);
    return parallel({unreached, stableSystem(discrete, 4, 2, 2, 30), delays, integrator(discrete, 2, 2), unseen,
                     unstableSystem(discrete, 2, 2, 2, 33)});
}

TEST(ModelReduction, CountsKnownUnstableIntegratingDelayAndUselessStates) {
    for (const bool discrete : {true, false}) {
        const RawSystem system = systemOfKnownParts(discrete);
        const Reduced r = reduce(system, discrete);
        expectForm(r, discrete, marginOf(discrete));
        EXPECT_EQ(r.leading(), 3);
        EXPECT_EQ(r.ns, 12);
        EXPECT_EQ(r.nr, 10);
        expectSameTransferFunction(system, r.system, discrete, 2.0 * r.discarded(), 1.0, 40, true);

        // A random basis carries roundings into what was exactly zero: more than the default tolerance allows for.
        const Reduced hidden =
            reduce(orthogonallyTransformed(system, 34), discrete, {marginOf(discrete), 0, false, 1e-12 * r.hsv[0]});
        expectForm(hidden, discrete, marginOf(discrete));
        EXPECT_EQ(hidden.leading(), 3);
        EXPECT_EQ(hidden.nr, 10);
    }
}

TEST(ModelReduction, CountsTheSameOnABadlyScaledSystem) {
    for (const bool discrete : {true, false}) {
        const RawSystem system = systemOfKnownParts(discrete);
        std::mt19937_64 generator(35);
        std::vector<double> scale(static_cast<std::size_t>(system.a.rows));
        for (double& factor : scale) {
            // 2^40 is 1.1e12.
            factor = std::ldexp(1.0, static_cast<int>(generator() % 81) - 40);
        }
        const RawSystem bad = scaled(system, scale);
        const Reduced r = reduce(bad, discrete);
        expectForm(r, discrete, marginOf(discrete));
        EXPECT_EQ(r.leading(), 3);
        EXPECT_EQ(r.nr, 10);
        expectSameTransferFunction(system, r.system, discrete, 2.0 * r.discarded(), 1.0, 40, true);
    }
}

TEST(ModelReduction, KeepsTheDigitsOfABadlyScaledFullSystem) {
    for (const bool discrete : {true, false}) {
        const RawSystem system = orthogonallyTransformed(
            parallel({unstableSystem(discrete, 3, 2, 2, 36), stableSystem(discrete, 12, 2, 2, 37)}), 38);
        std::mt19937_64 generator(39);
        std::vector<double> scale(15);
        for (double& factor : scale) {
            factor = std::ldexp(1.0, static_cast<int>(generator() % 81) - 40);
        }
        const Reduced r = reduce(scaled(system, scale), discrete);
        expectForm(r, discrete, marginOf(discrete));
        EXPECT_EQ(r.leading(), 3);
        // The sensitivity is that of the well scaled system.
        expectSameTransferFunction(system, r.system, discrete, 2.0 * r.discarded());
    }
}

TEST(ModelReduction, KeepsTheDigitsBesideAStateThatNothingReaches) {
    // The state drives all others by 1e12 but stays at rest, so it is not in the transfer function. Its elements are by
    // far the largest of the matrix.
    for (const bool discrete : {true, false}) {
        const RawSystem system = parallel({stableSystem(discrete, 8, 2, 2, 46), unstableSystem(discrete, 1, 2, 2, 47)});
        const RawSystem resting{RawMatrix(1, 1, discrete ? 0.3 : -0.3), RawMatrix(1, 2), RawMatrix(2, 1, 1e12)};
        RawSystem driven = parallel({resting, system});
        for (int i = 1; i < 10; ++i) {
            driven.a(i, 0) = i * 1e12;
        }
        const Reduced r = reduce(driven, discrete);
        expectForm(r, discrete, marginOf(discrete));
        EXPECT_EQ(r.nr, 9);
        expectSameTransferFunction(system, r.system, discrete, 2.0 * r.discarded());
        const Reduced alone = reduce(stableSystem(discrete, 8, 2, 2, 46), discrete);
        ASSERT_EQ(alone.info, 0);
        for (std::size_t k = 0; k < 8; ++k) {
            EXPECT_NEAR(r.hsv[k], alone.hsv[k], 1e-12 * alone.hsv[0]);
        }
    }
}

TEST(ModelReduction, FollowsTheUnitsOfInputsAndOutputs) {
    const RawSystem system = stableSystem(false, 8, 2, 2, 40);
    const Reduced plain = reduce(system, false);
    ASSERT_EQ(plain.info, 0);
    for (const double unit : {0x1p-300, 0x1p-40, 0x1p40, 0x1p300}) {
        RawSystem other = system;
        lapack::scal(16, unit, other.b.data(), 1);
        lapack::scal(16, unit, other.c.data(), 1);
        const Reduced r = reduce(other, false);
        ASSERT_EQ(r.info, 0);
        EXPECT_EQ(r.nr, plain.nr);
        for (std::size_t k = 0; k < 8; ++k) {
            EXPECT_NEAR(r.hsv[k] / unit / unit, plain.hsv[k], 1e-12 * plain.hsv[0]);
        }
    }
}

TEST(ModelReduction, HandlesSystemsOfSeveralBlocks) {
    for (const bool discrete : {true, false}) {
        const RawSystem system = orthogonallyTransformed(
            parallel({stableSystem(discrete, 170, 2, 2, 41), unstableSystem(discrete, 5, 2, 2, 42)}), 43);
        const Reduced r = reduce(system, discrete);
        expectForm(r, discrete, marginOf(discrete));
        EXPECT_EQ(r.leading(), 5);
        EXPECT_LT(r.nr, 175);
        expectSameTransferFunction(system, r.system, discrete, 2.0 * r.discarded(), 1.0, 6);
    }
}

}  // namespace
