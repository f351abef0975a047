#include <cmath>
#include <cstddef>
#include <gtest/gtest.h>
#include <limits>
#include <random>
#include <vector>

#include <qormath/control_utility/normreductionfort.hpp>

#include "support/raw_matrix.hpp"

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
    int info = -7;
};

System randomSystem(int n, int m, int p, unsigned seed) {
    std::mt19937_64 generator(seed);
    return {test::rawRandom(n, n, generator), test::rawRandom(n, m, generator), test::rawRandom(p, n, generator)};
}

Balanced balance(const System& system, double maxReduction) {
    Balanced r{system, std::vector<double>(static_cast<std::size_t>(system.a.rows), -7.0), maxReduction, -7};
    control_utility::NORMREDUCTIONFORT(&system.a.rows, &system.b.cols, &system.c.rows, &r.reduction, r.system.a.data(),
                                       r.system.b.data(), r.system.c.data(), r.scale.data(), &r.info);
    return r;
}

/// S^-1 A S, S^-1 B, C S for S = diag(scale); exact for powers of two within the range.
System transformed(System s, const std::vector<double>& scale) {
    for (int i = 0; i < s.a.rows; ++i) {
        const double factor = scale[static_cast<std::size_t>(i)];
        for (int j = 0; j < s.a.rows; ++j) {
            if (i != j) {
                s.a(i, j) /= factor;
                s.a(j, i) *= factor;
            }
        }
        for (int j = 0; j < s.b.cols; ++j) {
            s.b(i, j) /= factor;
        }
        for (int k = 0; k < s.c.rows; ++k) {
            s.c(k, i) *= factor;
        }
    }
    return s;
}

double norm(const System& s) {
    return std::hypot(test::frobeniusNorm(s.a), test::frobeniusNorm(s.b), test::frobeniusNorm(s.c));
}

void expectExactSimilarity(const System& before, const Balanced& after) {
    for (const double scale : after.scale) {
        int exponent = 0;
        ASSERT_EQ(std::frexp(scale, &exponent), 0.5) << scale;
    }
    const System expected = transformed(before, after.scale);
    EXPECT_EQ(after.system.a, expected.a);
    EXPECT_EQ(after.system.b, expected.b);
    EXPECT_EQ(after.system.c, expected.c);
}

/// Random exponents between -range and range.
std::vector<double> randomScales(int n, int range, unsigned seed) {
    std::mt19937_64 generator(seed);
    std::vector<double> scales(static_cast<std::size_t>(n));
    for (double& scale : scales) {
        const auto draw = generator() % static_cast<unsigned>(2 * range + 1);
        scale = std::ldexp(1.0, static_cast<int>(draw) - range);
    }
    return scales;
}

TEST(NormReduction, OfASystemWithoutStatesSucceeds) {
    const Balanced r = balance({RawMatrix(0, 0), RawMatrix(0, 2), RawMatrix(3, 0)}, 10.0);
    EXPECT_EQ(r.info, 0);
    EXPECT_EQ(r.reduction, 1.0);
}

TEST(NormReduction, IsAnExactSimilarityByPowersOfTwoThatNeverRaisesTheNorm) {
    for (const int n : {1, 2, 3, 7, 40}) {
        for (const int m : {0, 1, 3}) {
            for (const int p : {0, 1, 2}) {
                const System system = transformed(randomSystem(n, m, p, 1), randomScales(n, 60, 2));
                const Balanced r = balance(system, 10.0);
                ASSERT_EQ(r.info, 0);
                expectExactSimilarity(system, r);
                // The norms are sums of n * (n + m + p) squares: 4 * n * eps covers their rounding.
                const double slack = 4.0 * n * std::numeric_limits<double>::epsilon();
                EXPECT_LE(norm(r.system), norm(system) * (1.0 + slack));
                EXPECT_NEAR(r.reduction * norm(r.system) / norm(system), 1.0, 1e-10);
            }
        }
    }
}

TEST(NormReduction, UndoesABadScaling) {
    for (const int n : {2, 5, 30}) {
        const System system = randomSystem(n, 2, 2, 3);
        const System bad = transformed(system, randomScales(n, 40, 4));
        const Balanced r = balance(bad, 10.0);
        ASSERT_EQ(r.info, 0);
        EXPECT_GT(norm(bad), 1e6 * norm(system));
        // The least norm is at most that of the system the scaling started from. Scales rounded to powers of two
        // leave each row and column within a factor of two of their balance, and so the norm.
        EXPECT_LE(norm(r.system), 2.0 * norm(system));
    }
}

TEST(NormReduction, BringsRowsAndColumnsOfEachStateTogether) {
    const System system = transformed(randomSystem(12, 2, 2, 5), randomScales(12, 40, 6));
    const Balanced r = balance(system, 10.0);
    ASSERT_EQ(r.info, 0);
    for (int i = 0; i < 12; ++i) {
        double row = 0.0, column = 0.0;
        for (int j = 0; j < 12; ++j) {
            row += i == j ? 0.0 : r.system.a(i, j) * r.system.a(i, j);
            column += i == j ? 0.0 : r.system.a(j, i) * r.system.a(j, i);
        }
        for (int j = 0; j < 2; ++j) {
            row += r.system.b(i, j) * r.system.b(i, j);
            column += r.system.c(j, i) * r.system.c(j, i);
        }
        // Within a factor of two by rounding the exponent; one more is left where it would not take off 5 %.
        EXPECT_LE(std::abs(std::log2(row / column)) / 2.0, 2.0);
    }
}

TEST(NormReduction, LeavesABalancedSystemToTheBit) {
    const System system = transformed(randomSystem(15, 2, 3, 7), randomScales(15, 30, 8));
    const Balanced once = balance(system, 10.0);
    const Balanced twice = balance(once.system, 10.0);
    ASSERT_EQ(twice.info, 0);
    EXPECT_EQ(twice.scale, std::vector<double>(15, 1.0));
    EXPECT_EQ(twice.system.a, once.system.a);
    EXPECT_EQ(twice.reduction, 1.0);
}

TEST(NormReduction, LeavesAZeroSystemAndDecoupledStatesAlone) {
    const Balanced zero = balance({RawMatrix(4, 4), RawMatrix(4, 1), RawMatrix(1, 4)}, 10.0);
    EXPECT_EQ(zero.info, 0);
    EXPECT_EQ(zero.reduction, 1.0);
    EXPECT_EQ(zero.scale, std::vector<double>(4, 1.0));

    System diagonal{RawMatrix(3, 3), RawMatrix(3, 0), RawMatrix(0, 3)};
    diagonal.a(0, 0) = 1e200;
    diagonal.a(1, 1) = -1e-200;
    const Balanced r = balance(diagonal, 10.0);
    EXPECT_EQ(r.info, 0);
    EXPECT_EQ(r.scale, std::vector<double>(3, 1.0));
    EXPECT_EQ(r.system.a, diagonal.a);
}

TEST(NormReduction, LimitsTheScalingOfAStateWithAZeroRowOrColumn) {
    // State 0 is reached by nothing, state 1 reaches nothing.
    System system{RawMatrix(2, 2), RawMatrix(2, 1), RawMatrix(1, 2)};
    system.a(0, 0) = system.a(1, 1) = 0.5;
    system.b(1, 0) = 1024.0;
    system.c(0, 0) = 1024.0;
    struct Case {
        double maxReduction, factor;
    };
    for (const Case& c : {Case{10.0, 8.0}, Case{0.0, 8.0}, Case{-1.0, 8.0}, Case{1.0, 1.0}, Case{1024.0, 1024.0}}) {
        const Balanced r = balance(system, c.maxReduction);
        ASSERT_EQ(r.info, 0);
        expectExactSimilarity(system, r);
        EXPECT_EQ(r.scale[0], 1.0 / c.factor);
        EXPECT_EQ(r.scale[1], c.factor);
        EXPECT_EQ(r.system.c(0, 0), 1024.0 / c.factor);
        EXPECT_EQ(r.system.b(1, 0), 1024.0 / c.factor);
    }
}

TEST(NormReduction, EndsOnChainsThatCouldBeScaledForEver) {
    // A delay line without inputs or outputs: every scaling of its states one after the other lowers the norm.
    for (const double maxReduction : {10.0, 1e300, std::numeric_limits<double>::infinity()}) {
        System system{RawMatrix(30, 30), RawMatrix(30, 0), RawMatrix(0, 30)};
        for (int i = 0; i + 1 < 30; ++i) {
            system.a(i, i + 1) = 1.0;
        }
        const Balanced r = balance(system, maxReduction);
        ASSERT_EQ(r.info, 0);
        expectExactSimilarity(system, r);
        EXPECT_GE(r.reduction, 1.0);
    }
}

TEST(NormReduction, KeepsEveryBitAtTheEndsOfTheRange) {
    const double tiny = std::numeric_limits<double>::min();
    const double large = 1e300;
    System system{RawMatrix(3, 3), RawMatrix(3, 1), RawMatrix(1, 3)};
    system.a(0, 1) = large;
    system.a(1, 0) = 1.1 * tiny;
    system.a(1, 2) = large;
    system.a(2, 1) = 1.3 * tiny;
    system.a(2, 2) = 3.0;
    system.b(0, 0) = std::numeric_limits<double>::denorm_min();
    system.b(2, 0) = large;
    system.c(0, 0) = 1.7 * tiny;
    system.c(0, 2) = std::numeric_limits<double>::max();
    const Balanced r = balance(system, 1e308);
    ASSERT_EQ(r.info, 0);
    std::vector<double> inverse;
    for (const double scale : r.scale) {
        EXPECT_TRUE(std::isnormal(scale) && std::isnormal(1.0 / scale)) << scale;
        inverse.push_back(1.0 / scale);
    }
    const System back = transformed(r.system, inverse);
    EXPECT_EQ(back.a, system.a);
    EXPECT_EQ(back.b, system.b);
    EXPECT_EQ(back.c, system.c);
    EXPECT_GE(r.reduction, 1.0);
}

TEST(NormReduction, DoesNotBlowUpNoiseBesideADominantDiagonal) {
    // Balancing the row and the column would save nothing of the norm and raise the noise by six digits.
    System system{RawMatrix(2, 2), RawMatrix(2, 0), RawMatrix(0, 2)};
    system.a(0, 0) = 1.0;
    system.a(1, 1) = 1.0;
    system.a(0, 1) = 1e-4;
    system.a(1, 0) = 1e-16;
    const Balanced r = balance(system, 10.0);
    ASSERT_EQ(r.info, 0);
    EXPECT_EQ(r.system.a, system.a);
}

TEST(NormReduction, ReportsNaNAndInfinityAndWritesNothing) {
    for (const double bad : {std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity()}) {
        for (int where = 0; where < 3; ++where) {
            System system = randomSystem(4, 2, 3, 9);
            RawMatrix& matrix = where == 0 ? system.a : where == 1 ? system.b : system.c;
            matrix.elements.back() = bad;
            const Balanced r = balance(system, 10.0);
            EXPECT_EQ(r.info, 1);
            EXPECT_EQ(r.scale, std::vector<double>(4, -7.0));
            EXPECT_EQ(r.reduction, 10.0);
            EXPECT_EQ(r.system.a(0, 0), system.a(0, 0));
        }
    }
}

TEST(NormReduction, NamesTheIllegalArgument) {
    const auto infoOf = [](int n, int m, int p, double maxReduction) {
        double a = 1.0, b = 1.0, c = 1.0, scale = 0.0;
        int info = 99;
        control_utility::NORMREDUCTIONFORT(&n, &m, &p, &maxReduction, &a, &b, &c, &scale, &info);
        return info;
    };
    EXPECT_EQ(infoOf(1, 1, 1, 10.0), 0);
    EXPECT_EQ(infoOf(-1, 1, 1, 10.0), -1);
    EXPECT_EQ(infoOf(1, -1, 1, 10.0), -2);
    EXPECT_EQ(infoOf(1, 1, -1, 10.0), -3);
    EXPECT_EQ(infoOf(1, 1, 1, 0.5), -4);
    EXPECT_EQ(infoOf(1, 1, 1, std::numeric_limits<double>::quiet_NaN()), -4);
}

}  // namespace
