#include <cmath>
#include <cstddef>
#include <gtest/gtest.h>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include <qormath/control_utility/modelreductionfort.hpp>

#include "support/raw_matrix.hpp"
#include "support/raw_transfer_function.hpp"
#include "support/reduced_systems.hpp"

namespace {

using namespace qormath;
using namespace qormath::test;

// ---------------------------------------------------------------- systems without something

TEST(ModelReduction, OfASystemWithoutStatesIsEmpty) {
    for (const bool fixed : {false, true}) {
        const Reduced r = reduce({RawMatrix(0, 0), RawMatrix(0, 2), RawMatrix(3, 0)}, true, {marginOf(true), 5, fixed});
        EXPECT_EQ(r.info, 0);
        EXPECT_EQ(r.ns, 0);
        EXPECT_EQ(r.nr, 0);
    }
}

TEST(ModelReduction, WithoutInputsOrOutputsKeepsTheLeadingBlockAlone) {
    for (const bool discrete : {true, false}) {
        for (const auto& [m, p] : {std::pair{0, 2}, std::pair{2, 0}, std::pair{0, 0}}) {
            const RawSystem system = orthogonallyTransformed(
                parallel({stableSystem(discrete, 6, m, p, 1), unstableSystem(discrete, 3, m, p, 2)}), 3);
            const Reduced r = reduce(system, discrete);
            expectForm(r, discrete, marginOf(discrete));
            EXPECT_EQ(r.ns, 6);
            EXPECT_EQ(r.nr, 3);
            EXPECT_EQ(r.hsv, std::vector<double>(6, 0.0));
        }
    }
}

TEST(ModelReduction, WithoutAStablePartChangesTheBasisAlone) {
    for (const bool discrete : {true, false}) {
        const RawSystem system = orthogonallyTransformed(unstableSystem(discrete, 7, 2, 2, 4), 5);
        for (const bool fixed : {false, true}) {
            const Reduced r = reduce(system, discrete, {marginOf(discrete), 1, fixed});
            expectForm(r, discrete, marginOf(discrete));
            EXPECT_EQ(r.ns, 0);
            EXPECT_EQ(r.nr, 7);
            EXPECT_TRUE(r.hsv.empty());
            expectSameTransferFunction(system, r.system, discrete, 0.0);
        }
    }
}

TEST(ModelReduction, OfAStablePartThatNothingReachesDropsIt) {
    RawSystem system = stableSystem(true, 5, 2, 2, 6);
    system.b = RawMatrix(5, 2);
    const Reduced r = reduce(system, true);
    expectForm(r, true, marginOf(true));
    EXPECT_EQ(r.ns, 5);
    EXPECT_EQ(r.nr, 0);
    EXPECT_EQ(r.hsv, std::vector<double>(5, 0.0));
}

// ---------------------------------------------------------------- values that are known

TEST(ModelReduction, FindsTheHankelSingularValueOfOneState) {
    const RawSystem continuous{RawMatrix(1, 1, -1.0), RawMatrix(1, 1, 3.0), RawMatrix(1, 1, 4.0)};
    const Reduced c = reduce(continuous, false);
    ASSERT_EQ(c.info, 0);
    EXPECT_EQ(c.nr, 1);
    EXPECT_NEAR(c.hsv[0], 6.0, 10.0 * 6.0 * eps);

    const RawSystem discrete{RawMatrix(1, 1, 0.5), RawMatrix(1, 1, 3.0), RawMatrix(1, 1, 1.0)};
    const Reduced d = reduce(discrete, true);
    ASSERT_EQ(d.info, 0);
    EXPECT_NEAR(d.hsv[0], 4.0, 10.0 * 4.0 * eps);
}

TEST(ModelReduction, FindsTheHankelSingularValuesOfADelayLine) {
    // z^-5 has five Hankel singular values of 1, none of which may go without the others.
    RawSystem system{RawMatrix(5, 5), RawMatrix(5, 1), RawMatrix(1, 5)};
    for (int i = 0; i + 1 < 5; ++i) {
        system.a(i, i + 1) = 1.0;
    }
    system.b(4, 0) = 1.0;
    system.c(0, 0) = 1.0;
    const Reduced r = reduce(system, true);
    expectForm(r, true, marginOf(true));
    EXPECT_EQ(r.nr, 5);
    for (const double h : r.hsv) {
        EXPECT_NEAR(h, 1.0, 10.0 * 5.0 * eps);
    }
    expectSameTransferFunction(system, r.system, true, 0.0);
}

TEST(ModelReduction, DoesNotDependOnTheBasisOrTheUnstablePart) {
    for (const bool discrete : {true, false}) {
        const RawSystem stable = stableSystem(discrete, 8, 2, 2, 7);
        const Reduced alone = reduce(stable, discrete);
        const Reduced mixed =
            reduce(orthogonallyTransformed(parallel({stable, unstableSystem(discrete, 4, 2, 2, 8)}), 9), discrete);
        ASSERT_EQ(alone.info, 0);
        ASSERT_EQ(mixed.info, 0);
        ASSERT_EQ(mixed.ns, 8);
        for (std::size_t k = 0; k < 8; ++k) {
            // Errors of Hankel singular values are relative to the largest; 1e-12 leaves a condition of 500.
            EXPECT_NEAR(mixed.hsv[k], alone.hsv[k], 1e-12 * alone.hsv[0]);
        }
    }
}

// ---------------------------------------------------------------- the division at alpha

TEST(ModelReduction, CountsAnEigenvalueAtAlphaAsOnTheBoundary) {
    RawSystem system{RawMatrix(3, 3), RawMatrix(3, 1, 1.0), RawMatrix(1, 3, 1.0)};
    system.a(0, 0) = 0.25;
    system.a(1, 1) = 0.5;
    system.a(2, 2) = -0.75;
    const Reduced at = reduce(system, true, {0.5});
    expectForm(at, true, 0.5);
    EXPECT_EQ(at.ns, 1);
    const Reduced above = reduce(system, true, {std::nextafter(0.5, 1.0)});
    expectForm(above, true, 0.5);
    EXPECT_EQ(above.ns, 2);

    system.a(0, 0) = -0.25;
    system.a(1, 1) = -0.5;
    const Reduced continuous = reduce(system, false, {-0.5});
    expectForm(continuous, false, -0.5);
    EXPECT_EQ(continuous.ns, 1);
    const Reduced right = reduce(system, false, {std::nextafter(-0.5, 0.0)});
    EXPECT_EQ(right.ns, 2);
}

TEST(ModelReduction, WithAlphaBelowAllEigenvaluesReducesNothing) {
    const RawSystem system = stableSystem(true, 6, 2, 2, 10);
    const Reduced r = reduce(system, true, {-std::numeric_limits<double>::infinity()});
    expectForm(r, true, 0.0);
    EXPECT_EQ(r.ns, 0);
    EXPECT_EQ(r.nr, 6);
    expectSameTransferFunction(system, r.system, true, 0.0);
}

TEST(ModelReduction, ReportsAStablePartThatIsNotStable) {
    const RawSystem discrete{RawMatrix(1, 1, 1.5), RawMatrix(1, 1, 1.0), RawMatrix(1, 1, 1.0)};
    EXPECT_EQ(reduce(discrete, true, {2.0}).info, 4);
    EXPECT_EQ(reduce(discrete, true, {std::numeric_limits<double>::infinity()}).info, 4);
    const RawSystem continuous{RawMatrix(1, 1, 0.5), RawMatrix(1, 1, 1.0), RawMatrix(1, 1, 1.0)};
    EXPECT_EQ(reduce(continuous, false, {1.0}).info, 4);
}

TEST(ModelReduction, ReportsPartsThatAreTooCloseToSeparate) {
    RawSystem system{RawMatrix(2, 2), RawMatrix(2, 1, 1.0), RawMatrix(1, 2, 1.0)};
    system.a(0, 0) = 0.5;
    system.a(0, 1) = 1.0;
    system.a(1, 1) = std::nextafter(0.5, 0.0);
    const Reduced r = reduce(system, true, {0.5});
    EXPECT_EQ(r.info, 3);
    EXPECT_EQ(r.ns, 0);
    EXPECT_EQ(r.whole.a, system.a);
    EXPECT_EQ(r.whole.b, system.b);
    EXPECT_EQ(r.whole.c, system.c);
}

// ---------------------------------------------------------------- the transfer function

TEST(ModelReduction, KeepsTheTransferFunctionOfTheMinimalOrder) {
    for (const bool discrete : {true, false}) {
        for (const int stableOrder : {1, 2, 3, 10, 40, 65}) {
            for (const int unstableOrder : {0, 1, 4}) {
                SCOPED_TRACE(std::to_string(discrete) + " " + std::to_string(stableOrder) + " " +
                             std::to_string(unstableOrder));
                const RawSystem stable = stableSystem(discrete, stableOrder, 2, 2, 11);
                const RawSystem system = orthogonallyTransformed(
                    unstableOrder == 0 ? stable : parallel({unstableSystem(discrete, unstableOrder, 2, 2, 12), stable}),
                    13);
                const Reduced r = reduce(system, discrete);
                expectForm(r, discrete, marginOf(discrete));
                EXPECT_EQ(r.ns, stableOrder);
                expectSameTransferFunction(system, r.system, discrete, 2.0 * r.discarded());
            }
        }
    }
}

TEST(ModelReduction, KeepsTheTransferFunctionUpToTheConditionOfTheSeparation) {
    for (const bool discrete : {true, false}) {
        for (const double coupling : {1.0, 1e2, 1e4}) {
            SCOPED_TRACE(coupling);
            std::mt19937_64 generator(14);
            RawSystem system = parallel({unstableSystem(discrete, 3, 2, 2, 15), stableSystem(discrete, 6, 2, 2, 16)});
            // The similarity [I X; 0 I] has the condition (1 + ||X||)^2.
            RawMatrix x = test::rawIdentity(9), inverse = x;
            double size = 0.0;
            std::normal_distribution<double> normal;
            for (int i = 0; i < 3; ++i) {
                for (int j = 3; j < 9; ++j) {
                    x(i, j) = coupling * normal(generator);
                    inverse(i, j) = -x(i, j);
                    size = std::hypot(size, x(i, j));
                }
            }
            system = {test::product(test::product(inverse, system.a), x), test::product(inverse, system.b),
                      test::product(system.c, x)};
            system = orthogonallyTransformed(system, 17);
            const Reduced r = reduce(system, discrete);
            expectForm(r, discrete, marginOf(discrete));
            EXPECT_EQ(r.nr, 9);
            expectSameTransferFunction(system, r.system, discrete, 2.0 * r.discarded(), (1.0 + size) * (1.0 + size));
        }
    }
}

TEST(ModelReduction, KeepsTheErrorWithinTwiceTheDiscardedHankelSingularValues) {
    for (const bool discrete : {true, false}) {
        for (const int n : {2, 5, 12, 40}) {
            for (const int channels : {1, 2}) {
                const RawSystem system = stableSystem(discrete, n, channels, channels, 18);
                for (int order = 0; order < n; order += 1 + n / 6) {
                    SCOPED_TRACE(std::to_string(discrete) + " " + std::to_string(n) + " " + std::to_string(order));
                    const Reduced r = reduce(system, discrete, {marginOf(discrete), order, true});
                    expectForm(r, discrete, marginOf(discrete));
                    EXPECT_LE(r.nr, order);
                    // The bound is one of the two-norm; the Frobenius norm is at most sqrt(channels) times that. The
                    // relative slack of 1e-6, and 1e-12 of the largest value, cover rounding.
                    const double bound = 2.0 * r.discarded() * (1.0 + 1e-6) + 1e-12 * r.hsv[0];
                    EXPECT_LE(peakOfDifference(system, r.system, discrete, 200), std::sqrt(channels) * bound);
                }
            }
        }
    }
}

TEST(ModelReduction, KeepsTheErrorBoundBesideAnUnreducedPart) {
    for (const bool discrete : {true, false}) {
        const RawSystem stable = stableSystem(discrete, 10, 1, 1, 19);
        const RawSystem system = orthogonallyTransformed(parallel({unstableSystem(discrete, 2, 1, 1, 20), stable}), 21);
        for (const int order : {2, 4, 7}) {
            const Reduced r = reduce(system, discrete, {marginOf(discrete), order, true});
            expectForm(r, discrete, marginOf(discrete));
            EXPECT_EQ(r.nr, order);
            EXPECT_LE(peakOfDifference(system, r.system, discrete, 200), 2.0 * r.discarded() * (1.0 + 1e-6) + 1e-10);
        }
    }
}

TEST(ModelReduction, KeepsTheReducedModelStable) {
    for (const bool discrete : {true, false}) {
        const RawSystem system = stableSystem(discrete, 20, 2, 2, 22);
        for (int order = 1; order <= 20; ++order) {
            const Reduced r = reduce(system, discrete, {marginOf(discrete), order, true});
            ASSERT_EQ(r.info, 0);
            const Reduced again = reduce(r.system, discrete, {marginOf(discrete), order, true});
            ASSERT_EQ(again.info, 0);
            EXPECT_EQ(again.ns, r.nr);
        }
    }
}

TEST(ModelReduction, GivesABalancedContinuousModelWithTheHankelSingularValuesThatWereKept) {
    RawSystem system = stableSystem(false, 15, 2, 2, 23);
    lapack::scal(30, 1e6, system.b.data(), 1);
    lapack::scal(30, 1e-3, system.c.data(), 1);
    const Reduced r = reduce(system, false, {marginOf(false), 6, true});
    ASSERT_EQ(r.info, 0);
    ASSERT_EQ(r.nr, 6);
    RawMatrix gramian(6, 6);
    for (int k = 0; k < 6; ++k) {
        gramian(k, k) = r.hsv[static_cast<std::size_t>(k)];
    }
    for (const bool observability : {false, true}) {
        const RawMatrix a = observability ? test::transposeOf(r.system.a) : r.system.a;
        const RawMatrix b = observability ? test::transposeOf(r.system.c) : r.system.b;
        const RawMatrix ap = test::product(a, gramian);
        RawMatrix defect = test::product(b, b, lapack::Op::none, lapack::Op::transpose);
        for (int j = 0; j < 6; ++j) {
            for (int i = 0; i < 6; ++i) {
                defect(i, j) += ap(i, j) + ap(j, i);
            }
        }
        EXPECT_LE(test::frobeniusNorm(defect), 1e-11 * r.hsv[0]);
    }
}

// ---------------------------------------------------------------- failures

TEST(ModelReduction, ReportsNaNAndInfinityAndWritesNothing) {
    for (const double bad : {std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity()}) {
        for (int where = 0; where < 3; ++where) {
            RawSystem system = stableSystem(true, 5, 2, 2, 44);
            RawMatrix& matrix = where == 0 ? system.a : where == 1 ? system.b : system.c;
            matrix(1, 1) = bad;
            const Reduced r = reduce(system, true, {marginOf(true), 3, true});
            EXPECT_EQ(r.info, 1);
            EXPECT_EQ(r.ns, 0);
            EXPECT_EQ(r.nr, 3);
            EXPECT_EQ(r.hsv, std::vector<double>(5, -7.0));
            EXPECT_EQ(r.whole.a(0, 0), system.a(0, 0));
            EXPECT_EQ(r.whole.c(0, 4), system.c(0, 4));
        }
    }
}

TEST(ModelReduction, NamesTheIllegalArgument) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const auto infoOf = [](int n, int m, int p, int fixedOrder, double tolerance, int nr, double alpha) {
        double a = 0.5, b = 1.0, c = 1.0, d = 0.0, hsv = 0.0;
        int ns = -1, info = 99;
        const int discrete = 1;
        control_utility::MODELREDUCTIONFORT(&a, &b, &c, &d, &n, &m, &p, &ns, &hsv, &discrete, &fixedOrder, &tolerance,
                                            &nr, &alpha, &info);
        return info;
    };
    EXPECT_EQ(infoOf(1, 1, 1, 0, 0.0, 0, 1.0), 0);
    EXPECT_EQ(infoOf(-1, 1, 1, 0, 0.0, 0, 1.0), -5);
    EXPECT_EQ(infoOf(1, -1, 1, 0, 0.0, 0, 1.0), -6);
    EXPECT_EQ(infoOf(1, 1, -1, 0, 0.0, 0, 1.0), -7);
    EXPECT_EQ(infoOf(1, 1, 1, 0, nan, 0, 1.0), -12);
    EXPECT_EQ(infoOf(1, 1, 1, 1, 0.0, -1, 1.0), -13);
    EXPECT_EQ(infoOf(1, 1, 1, 0, 0.0, -1, 1.0), 0);
    EXPECT_EQ(infoOf(1, 1, 1, 0, 0.0, 0, nan), -14);
}

}  // namespace
