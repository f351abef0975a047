#include <cmath>
#include <cstdint>
#include <gtest/gtest.h>
#include <limits>
#include <string>
#include <tuple>
#include <vector>

#include <qormath/control_utility/gramian_factor.hpp>
#include <qormath/lapack/lapack.hpp>

#include "support/gramian_factors.hpp"
#include "support/quasi_triangular.hpp"
#include "support/raw_matrix.hpp"

namespace {

using namespace qormath;
using lapack::Op;
using test::controllability;
using test::expectUpperWithDiagonalNotNegative;
using test::Factor;
using test::gramianOf;
using test::gramianRatio;
using test::observability;
using test::RawMatrix;
using test::stableMatrix;
using test::sum;

constexpr double ratioLimit = test::gramianRatioLimit;

// ------------------------------------------------------------------------------------ sizes, time bases, pair shares

class GramianFactorOverSizes : public ::testing::TestWithParam<std::tuple<bool, int, double>> {};

TEST_P(GramianFactorOverSizes, LeavesAResidualOfRoundingSizeForAnyNumberOfInputs) {
    const auto [discrete, n, pairShare] = GetParam();
    for (const int inputs : {0, 1, 3, n + 5}) {
        SCOPED_TRACE("inputs " + std::to_string(inputs));
        const RawMatrix a = stableMatrix(discrete, n, pairShare, 11 + static_cast<std::uint64_t>(n));
        test::NormalNumbers numbers(5 + static_cast<std::uint64_t>(inputs));
        RawMatrix b(n, inputs);
        b.elements = numbers.matrix(n, inputs);

        const Factor s = controllability(discrete, a, b);
        ASSERT_EQ(s.info, 0);
        EXPECT_EQ(s.scale, 1.0);
        expectUpperWithDiagonalNotNegative(s.upper);
        EXPECT_LE(gramianRatio(discrete, a, b, gramianOf(s.upper, false), false), ratioLimit);

        RawMatrix c(inputs, n);
        c.elements = numbers.matrix(inputs, n);
        const Factor r = observability(discrete, a, c);
        ASSERT_EQ(r.info, 0);
        EXPECT_EQ(r.scale, 1.0);
        expectUpperWithDiagonalNotNegative(r.upper);
        EXPECT_LE(gramianRatio(discrete, a, c, gramianOf(r.upper, true), true), ratioLimit);
    }
}

// 47, 48 and 49 are about the order of the diagonal blocks.
INSTANTIATE_TEST_SUITE_P(All, GramianFactorOverSizes,
                         ::testing::Combine(::testing::Bool(),
                                            ::testing::Values(0, 1, 2, 3, 4, 5, 17, 47, 48, 49, 97, 200),
                                            ::testing::Values(0.0, 0.5, 1.0)));

// ------------------------------------------------------------------------------ against the equation of all elements

// The Gramian from the linear system of its n^2 elements, and the condition of that system.
RawMatrix gramianByElements(bool discrete, const RawMatrix& a, const RawMatrix& b, double& condition) {
    const int n = a.rows;
    RawMatrix system(n * n, n * n);
    for (int j = 0; j < n; ++j) {
        for (int i = 0; i < n; ++i) {
            const int row = i + j * n;
            if (discrete) {
                for (int l = 0; l < n; ++l) {
                    for (int k = 0; k < n; ++k) {
                        system(row, k + l * n) += a(i, k) * a(j, l);
                    }
                }
                system(row, row) -= 1.0;
            } else {
                for (int k = 0; k < n; ++k) {
                    system(row, k + j * n) += a(i, k);
                    system(row, i + k * n) += a(j, k);
                }
            }
        }
    }
    const std::vector<double> values = test::rawSingularValues(system);
    condition = values.front() / values.back();
    RawMatrix gramian = product(b, b, Op::none, Op::transpose);
    for (double& element : gramian.elements) {
        element = -element;
    }
    std::vector<int> pivots(static_cast<std::size_t>(n) * static_cast<std::size_t>(n));
    EXPECT_EQ(lapack::getrf(n * n, n * n, system.data(), n * n, pivots.data()), 0);
    EXPECT_EQ(lapack::getrs(Op::none, n * n, 1, system.data(), n * n, pivots.data(), gramian.data(), n * n), 0);
    return gramian;
}

TEST(GramianFactor, AgreesWithTheLinearSystemOfAllElements) {
    for (const bool discrete : {false, true}) {
        for (int n = 1; n <= 7; ++n) {
            for (const int inputs : {1, 2, 9}) {
                for (std::uint64_t seed = 0; seed < 6; ++seed) {
                    const RawMatrix a = stableMatrix(discrete, n, 0.6, 100 + seed);
                    test::NormalNumbers numbers(seed);
                    RawMatrix b(n, inputs);
                    b.elements = numbers.matrix(n, inputs);
                    double condition = 0.0;
                    const RawMatrix expected = gramianByElements(discrete, a, b, condition);
                    const Factor s = controllability(discrete, a, b);
                    ASSERT_EQ(s.info, 0);
                    EXPECT_LE(frobeniusNorm(difference(gramianOf(s.upper, false), expected)),
                              ratioLimit * n * lapack::machineEpsilon() * condition * frobeniusNorm(expected));
                }
            }
        }
    }
}

TEST(GramianFactor, OfObservabilityIsThatOfTheDualSystemReversed) {
    for (const bool discrete : {false, true}) {
        const int n = 60;
        const RawMatrix a = stableMatrix(discrete, n, 0.5, 7);
        test::NormalNumbers numbers(8);
        RawMatrix c(2, n);
        c.elements = numbers.matrix(2, n);
        RawMatrix dualA(n, n);
        RawMatrix dualB(n, 2);
        for (int j = 0; j < n; ++j) {
            for (int i = 0; i < n; ++i) {
                dualA(i, j) = a(n - 1 - j, n - 1 - i);
            }
            dualB(j, 0) = c(0, n - 1 - j);
            dualB(j, 1) = c(1, n - 1 - j);
        }
        const Factor s = controllability(discrete, dualA, dualB);
        const Factor r = observability(discrete, a, c);
        for (int j = 0; j < n; ++j) {
            for (int i = 0; i < n; ++i) {
                EXPECT_EQ(r.upper(i, j), s.upper(n - 1 - j, n - 1 - i));
            }
        }
    }
}

// ----------------------------------------------------------------------------------------------------- special poles

TEST(GramianFactor, OfADelayLineIsTheIdentity) {
    for (const int n : {1, 2, 7, 48, 49, 120}) {
        RawMatrix shift(n, n);
        for (int k = 1; k < n; ++k) {
            shift(k - 1, k) = 1.0;
        }
        RawMatrix b(n, 1);
        b(n - 1, 0) = 1.0;
        RawMatrix c(1, n);
        c(0, 0) = 1.0;
        EXPECT_EQ(controllability(true, shift, b).upper, test::rawIdentity(n));
        EXPECT_EQ(observability(true, shift, c).upper, test::rawIdentity(n));
    }
}

TEST(GramianFactor, OfANilpotentMatrixIsThatOfItsFiniteSum) {
    for (const int n : {2, 5, 9}) {
        for (const int inputs : {1, 2}) {
            test::NormalNumbers numbers(17);
            RawMatrix a(n, n);
            for (int j = 0; j < n; ++j) {
                for (int i = 0; i < j; ++i) {
                    a(i, j) = 0.5 * numbers.normal();
                }
            }
            RawMatrix b(n, inputs);
            b.elements = numbers.matrix(n, inputs);
            RawMatrix power = b;
            RawMatrix expected(n, n);
            for (int step = 0; step < n; ++step) {
                expected = sum(expected, test::product(power, power, Op::none, Op::transpose));
                power = test::product(a, power);
            }
            const Factor s = controllability(true, a, b);
            EXPECT_LE(frobeniusNorm(difference(gramianOf(s.upper, false), expected)),
                      ratioLimit * n * lapack::machineEpsilon() * frobeniusNorm(expected));
        }
    }
}

TEST(GramianFactor, OfAZeroMatrixInDiscreteTimeHasTheProductOfTheInputs) {
    const int n = 60;
    test::NormalNumbers numbers(18);
    RawMatrix b(n, 5);
    b.elements = numbers.matrix(n, 5);
    const Factor s = controllability(true, RawMatrix(n, n), b);
    const RawMatrix expected = test::product(b, b, Op::none, Op::transpose);
    EXPECT_LE(frobeniusNorm(difference(gramianOf(s.upper, false), expected)),
              ratioLimit * n * lapack::machineEpsilon() * frobeniusNorm(expected));
}

TEST(GramianFactor, LeavesAResidualOfRoundingSizeForNearlyUnstablePoles) {
    for (const int n : {1, 2, 30, 120}) {
        for (const int inputs : {1, 4}) {
            test::NormalNumbers numbers(19);
            RawMatrix b(n, inputs);
            b.elements = numbers.matrix(n, inputs);
            const auto slow = [](test::NormalNumbers& draws) { return test::Eigenvalue{-1e-9, draws.uniform()}; };
            const RawMatrix a = test::quasiTriangular(n, 0.7, 0.1 / n, 20, slow);
            const Factor continuous = controllability(false, a, b);
            ASSERT_EQ(continuous.info, 0);
            EXPECT_LE(gramianRatio(false, a, b, gramianOf(continuous.upper, false), false), ratioLimit);

            const auto nearCircle = [](test::NormalNumbers& draws) {
                const double angle = 0.1 + 2.9 * draws.uniform();
                return test::Eigenvalue{(1.0 - 1e-9) * std::cos(angle), (1.0 - 1e-9) * std::sin(angle)};
            };
            const RawMatrix f = test::quasiTriangular(n, 1.0, 0.1 / n, 20, nearCircle);
            const Factor discrete = controllability(true, f, b);
            ASSERT_EQ(discrete.info, 0);
            EXPECT_LE(gramianRatio(true, f, b, gramianOf(discrete.upper, false), false), ratioLimit);
        }
    }
    RawMatrix pole(1, 1, 1.0 - 1e-9);
    const double expected = 1.0 / std::sqrt((1.0 - pole(0, 0)) * (1.0 + pole(0, 0)));
    EXPECT_NEAR(controllability(true, pole, RawMatrix(1, 1, 1.0)).upper(0, 0) / expected, 1.0, 1e-15);
}

// A block may come in any form that has a nonzero element below the diagonal.
TEST(GramianFactor, TakesPairsThatAreNotInStandardForm) {
    const std::vector<std::vector<double>> blocks = {
        {-1.0, 0.4, 0.5, -2.0},    // real eigenvalues, by columns
        {-1.0, 3.0, -2.0, -0.5},   // complex eigenvalues
        {-1.0, 1.0, -0.25, -2.0},  // a double eigenvalue
        {-1.0, 0.5, 0.0, -2.0},    // lower triangular
    };
    for (const bool discrete : {false, true}) {
        for (const std::vector<double>& block : blocks) {
            for (const int inputs : {1, 3}) {
                RawMatrix a = stableMatrix(discrete, 6, 0.0, 22);
                for (int j = 0; j < 2; ++j) {
                    for (int i = 0; i < 2; ++i) {
                        a(2 + i, 2 + j) = (discrete ? 0.2 : 1.0) * block[static_cast<std::size_t>(i + 2 * j)];
                    }
                }
                test::NormalNumbers numbers(23);
                RawMatrix b(6, inputs);
                b.elements = numbers.matrix(6, inputs);
                for (const bool reachable : {true, false}) {
                    for (int k = 0; k < inputs && !reachable; ++k) {
                        b(2, k) = b(3, k) = b(4, k) = b(5, k) = 0.0;
                    }
                    const Factor s = controllability(discrete, a, b);
                    ASSERT_EQ(s.info, 0);
                    expectUpperWithDiagonalNotNegative(s.upper);
                    EXPECT_LE(gramianRatio(discrete, a, b, gramianOf(s.upper, false), false), ratioLimit);
                }
            }
        }
    }
}

// ------------------------------------------------------------------------------------------------ deficient right
// sides

TEST(GramianFactor, HasZeroColumnsForStatesThatNoInputReaches) {
    for (const bool discrete : {false, true}) {
        for (const int n : {2, 40, 130}) {
            const int reached = n / 2;
            RawMatrix a = stableMatrix(discrete, n, 0.5, 24);
            if (a(reached, reached - 1) != 0.0) {
                a(reached, reached - 1) = 0.0;
            }
            test::NormalNumbers numbers(25);
            RawMatrix b(n, 2);
            for (int k = 0; k < reached; ++k) {
                b(k, 0) = numbers.normal();
                b(k, 1) = numbers.normal();
            }
            const Factor s = controllability(discrete, a, b);
            ASSERT_EQ(s.info, 0);
            for (int j = reached; j < n; ++j) {
                for (int i = 0; i < n; ++i) {
                    EXPECT_EQ(s.upper(i, j), 0.0);
                }
            }
            EXPECT_LE(gramianRatio(discrete, a, b, gramianOf(s.upper, false), false), ratioLimit);
        }
    }
}

TEST(GramianFactor, TakesUncoupledGapsInTheReachOfTheInputs) {
    // States 10..20 neither take input nor couple to others: their columns are zero in the midst of others.
    for (const bool discrete : {false, true}) {
        const int n = 70;
        RawMatrix a = stableMatrix(discrete, n, 0.0, 26);
        test::NormalNumbers numbers(27);
        RawMatrix b(n, 3);
        b.elements = numbers.matrix(n, 3);
        for (int k = 10; k <= 20; ++k) {
            for (int j = 0; j < n; ++j) {
                if (j != k) {
                    a(k, j) = 0.0;
                }
            }
            b(k, 0) = b(k, 1) = b(k, 2) = 0.0;
        }
        const Factor s = controllability(discrete, a, b);
        ASSERT_EQ(s.info, 0);
        EXPECT_LE(gramianRatio(discrete, a, b, gramianOf(s.upper, false), false), ratioLimit);
        for (int k = 10; k <= 20; ++k) {
            EXPECT_EQ(s.upper(k, k), 0.0);
        }
    }
}

TEST(GramianFactor, TakesInputsOfLowRank) {
    for (const bool discrete : {false, true}) {
        for (const int n : {3, 60}) {
            RawMatrix equalPoles(n, n);
            for (int k = 0; k < n; ++k) {
                equalPoles(k, k) = discrete ? 0.5 : -1.0;
            }
            const RawMatrix b(n, 4, 1.0);
            const Factor s = controllability(discrete, equalPoles, b);
            ASSERT_EQ(s.info, 0);
            // All elements of the Gramian are equal: 4 / 2 or 4 / (1 - 1/4).
            const RawMatrix expected(n, n, discrete ? 16.0 / 3.0 : 2.0);
            EXPECT_LE(frobeniusNorm(difference(gramianOf(s.upper, false), expected)),
                      ratioLimit * n * lapack::machineEpsilon() * frobeniusNorm(expected));
        }
    }
}

TEST(GramianFactor, OfZeroInputsIsZero) {
    for (const bool discrete : {false, true}) {
        const RawMatrix a = stableMatrix(discrete, 55, 0.5, 28);
        EXPECT_EQ(controllability(discrete, a, RawMatrix(55, 3)).upper, RawMatrix(55, 55));
        EXPECT_EQ(observability(discrete, a, RawMatrix(3, 55)).upper, RawMatrix(55, 55));
    }
}

// ------------------------------------------------------------------------------------------------------- failures

TEST(GramianFactor, TellsThatAMatrixIsNotStableAndWritesNothing) {
    for (const bool discrete : {false, true}) {
        for (const int inputs : {0, 2}) {
            for (const double pole : {discrete ? 1.0 : 0.0, discrete ? -1.0 : 1e-300, 2.0}) {
                RawMatrix a = stableMatrix(discrete, 60, 0.0, 31);
                a(33, 33) = pole;
                const Factor s = controllability(discrete, a, RawMatrix(60, inputs, 1.0));
                EXPECT_EQ(s.info, 1);
                EXPECT_EQ(s.upper, RawMatrix(60, 60, -7.0));
                EXPECT_EQ(s.scale, 0.0);
                EXPECT_EQ(observability(discrete, a, RawMatrix(inputs, 60, 1.0)).info, 1);
            }
        }
    }
}

TEST(GramianFactor, TellsThatAPairIsNotStable) {
    RawMatrix pair(2, 2);
    pair(0, 1) = 2.0;
    pair(1, 0) = -2.0;
    EXPECT_EQ(controllability(false, pair, RawMatrix(2, 1, 1.0)).info, 1);
    EXPECT_EQ(controllability(true, pair, RawMatrix(2, 1, 1.0)).info, 1);
    pair(0, 1) = 1.0;
    pair(1, 0) = -1.0;
    EXPECT_EQ(controllability(true, pair, RawMatrix(2, 1, 1.0)).info, 1);
    // Real eigenvalues 1 and -3, with a stable trace.
    pair(0, 0) = pair(1, 1) = -1.0;
    pair(0, 1) = pair(1, 0) = 2.0;
    EXPECT_EQ(controllability(false, pair, RawMatrix(2, 1, 1.0)).info, 1);
}

TEST(GramianFactor, TellsThatAnArgumentIsNotFiniteAndWritesNothing) {
    for (const bool discrete : {false, true}) {
        for (const double bad : {std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity()}) {
            const RawMatrix good = stableMatrix(discrete, 60, 0.5, 32);
            for (const int row : {0, 5, 58}) {
                RawMatrix a = good;
                a(row, 59) = bad;
                const Factor s = controllability(discrete, a, RawMatrix(60, 1, 1.0));
                EXPECT_EQ(s.info, 2);
                EXPECT_EQ(s.upper, RawMatrix(60, 60, -7.0));
                EXPECT_EQ(observability(discrete, a, RawMatrix(1, 60, 1.0)).info, 2);
            }
            RawMatrix b(60, 2, 1.0);
            b(17, 1) = bad;
            EXPECT_EQ(controllability(discrete, good, b).info, 2);
            RawMatrix c(2, 60, 1.0);
            c(1, 17) = bad;
            EXPECT_EQ(observability(discrete, good, c).info, 2);
        }
    }
}

}  // namespace
