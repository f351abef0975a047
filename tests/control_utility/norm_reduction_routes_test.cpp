#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <random>
#include <vector>

#include <qormath/control_utility/normreductionfort.hpp>

#include "support/raw_matrix.hpp"

// The balancing by sums of squares that are kept, against that by norms taken anew: the scales are powers of two, so
// that both give the same to the bit.

namespace {

using namespace qormath;
using test::RawMatrix;

struct System {
    RawMatrix a, b, c;
};

struct Balanced {
    System system;
    std::vector<double> scale;
    double reduction = 0.0;
    int info = 0;
};

System randomSystem(int n, int m, int p, unsigned seed) {
    std::mt19937_64 generator(seed);
    return {test::rawRandom(n, n, generator), test::rawRandom(n, m, generator), test::rawRandom(p, n, generator)};
}

/// States in units that differ by so many binary digits either way.
System inOddUnits(System s, int digits, unsigned seed) {
    std::mt19937_64 generator(seed);
    std::uniform_real_distribution<double> exponent(-digits, digits);
    for (int state = 0; state < s.a.rows; ++state) {
        const double unit = std::exp2(exponent(generator));
        for (int k = 0; k < s.a.rows; ++k) {
            s.a(state, k) *= unit;
        }
        for (int k = 0; k < s.a.rows; ++k) {
            s.a(k, state) /= unit;
        }
        for (int k = 0; k < s.b.cols; ++k) {
            s.b(state, k) *= unit;
        }
        for (int k = 0; k < s.c.rows; ++k) {
            s.c(k, state) /= unit;
        }
    }
    return s;
}

Balanced quick(const System& system, double maxReduction) {
    Balanced r{system, std::vector<double>(static_cast<std::size_t>(system.a.rows)), maxReduction, 0};
    control_utility::NORMREDUCTIONFORT(&system.a.rows, &system.b.cols, &system.c.rows, &r.reduction, r.system.a.data(),
                                       r.system.b.data(), r.system.c.data(), r.scale.data(), &r.info);
    return r;
}

Balanced fresh(const System& system, double maxReduction) {
    Balanced r{system, std::vector<double>(static_cast<std::size_t>(system.a.rows)), maxReduction, 0};
    control_utility::balanceByFreshNorms(system.a.rows, system.b.cols, system.c.rows, r.reduction, r.system.a.data(),
                                         r.system.b.data(), r.system.c.data(), r.scale.data(), r.info);
    return r;
}

void expectSame(const System& system, double maxReduction) {
    const Balanced x = quick(system, maxReduction);
    const Balanced y = fresh(system, maxReduction);
    EXPECT_EQ(x.info, y.info);
    EXPECT_EQ(x.scale, y.scale);
    EXPECT_EQ(x.system.a, y.system.a);
    EXPECT_EQ(x.system.b, y.system.b);
    EXPECT_EQ(x.system.c, y.system.c);
    // The norms by two ways of adding up.
    EXPECT_NEAR(x.reduction, y.reduction, 1e-9 * y.reduction);
}

}  // namespace

TEST(NormReductionRoutes, AgreeToTheBitOnRandomSystems) {
    unsigned seed = 5400;
    for (const int n : {0, 1, 2, 3, 10, 47, 120}) {
        for (const int digits : {0, 1, 4, 13, 30, 60}) {
            for (const int channels : {0, 1, 6}) {
                ++seed;
                expectSame(inOddUnits(randomSystem(n, channels, channels, seed), digits, seed), 10.0);
            }
        }
    }
}

TEST(NormReductionRoutes, AgreeWhereSumsLoseTheirDigits) {
    // One element dwarfs its row until it is scaled, and a diagonal element its row and its column for ever.
    for (unsigned seed = 5500; seed < 5540; ++seed) {
        System system = randomSystem(12, 2, 3, seed);
        system.a(3, 7) *= 1e9;
        system.a(5, 5) *= 1e12;
        system.a(8, 2) *= 1e-9;
        expectSame(inOddUnits(system, 20, seed), 10.0);
    }
}

TEST(NormReductionRoutes, AgreeOnStatesWithOneSideAlone) {
    for (unsigned seed = 5600; seed < 5610; ++seed) {
        System system = randomSystem(6, 1, 1, seed);
        for (int k = 0; k < 6; ++k) {
            system.a(k, 4) = 0.0;
        }
        system.c(0, 4) = 0.0;
        for (const double limit : {1.0, 10.0, 1000.0, 0.0}) {
            expectSame(system, limit);
        }
    }
}

TEST(NormReductionRoutes, AgreeBeyondTheRangeOfSquares) {
    for (const double size : {1e-300, 1e-160, 1e-70, 1e70, 1e160, 1e300}) {
        System system = randomSystem(5, 1, 1, 5700);
        for (double& element : system.a.elements) {
            element *= size;
        }
        expectSame(system, 10.0);
        System mixed = randomSystem(5, 1, 1, 5701);
        mixed.a(1, 2) *= size;
        expectSame(mixed, 10.0);
    }
}

TEST(NormReductionRoutes, AgreeOnTies) {
    // Quotients of norms that are odd powers of two are halfway between two scales.
    System system{RawMatrix(2, 2), RawMatrix(2, 0), RawMatrix(0, 2)};
    for (const double element : {2.0, 4.0, 8.0, 32.0, 128.0}) {
        system.a(0, 0) = 0.0;
        system.a(1, 1) = 0.0;
        system.a(0, 1) = element;
        system.a(1, 0) = 1.0;
        expectSame(system, 10.0);
    }
}

TEST(NormReductionRoutes, WhatIsNotFiniteIsToldAndNothingWritten) {
    for (const double bad : {std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity()}) {
        for (int where = 0; where < 3; ++where) {
            System system = randomSystem(4, 2, 2, 5800);
            (where == 0 ? system.a : where == 1 ? system.b : system.c)(1, 1) = bad;
            const Balanced x = quick(system, 10.0);
            EXPECT_EQ(x.info, 1);
            EXPECT_EQ(x.scale, std::vector<double>(4));
            EXPECT_EQ(x.system.a(0, 0), system.a(0, 0));
            EXPECT_EQ(x.reduction, 10.0);
        }
    }
}
