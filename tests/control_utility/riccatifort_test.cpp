#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include <qormath/control_utility/riccatifort.hpp>

#include "support/matrix_compare.hpp"
#include "support/matrix_literals.hpp"
#include "support/random_matrices.hpp"
#include "support/riccati_checks.hpp"

namespace {

using namespace qormath::test;
using QorMathLA::Matrix;
using QorMathLA::product;
using QorMathLA::zeroMatrix;
using riccati_detail::scaledIdentity;

// The ratio that residuals are held to; see riccatiRatio.
constexpr double ratioLimit = 20.0;
// Outcomes of the routine.
constexpr int notFinite = 1;
constexpr int notSymmetric = 2;
constexpr int noSolution = 3;

const double nan = std::numeric_limits<double>::quiet_NaN();
const double infinity = std::numeric_limits<double>::infinity();

/// Calls the routine; x has to be left alone where it fails, which is seen from the NaN in it.
int solve(const RiccatiEquation& e, Matrix<double>& x) {
    const int discrete = e.type == discreteSystem ? 1 : 0;
    const int n = e.a.rows();
    const int m = e.b.cols();
    int info = -99;
    x = Matrix<double>(n, n);
    x.fill(nan);
    const RiccatiEquation before = e;
    qormath::control_utility::RICCATIFORT(&discrete, &n, &m, e.a.numericData(true), e.b.numericData(true),
                                          e.q.numericData(true), e.r.numericData(true), e.s.numericData(true),
                                          x.numericData(true), &info);
    EXPECT_TRUE(identical(e.a, before.a) && identical(e.b, before.b) && identical(e.q, before.q) &&
                identical(e.r, before.r) && identical(e.s, before.s));
    for (const double element : std::as_const(x)) {
        EXPECT_EQ(std::isnan(element), info != 0);
    }
    return info;
}

int outcome(const RiccatiEquation& equation) {
    Matrix<double> x;
    return solve(equation, x);
}

RiccatiEquation scalar(systemType type, double a, double b, double q, double r) {
    RiccatiEquation e = riccati_detail::blank("scalar", type, 1, 1);
    e.a(0, 0) = a;
    e.b(0, 0) = b;
    e.q(0, 0) = q;
    e.r(0, 0) = r;
    return e;
}

double scalarSolution(const RiccatiEquation& equation) {
    Matrix<double> x;
    EXPECT_EQ(solve(equation, x), 0);
    return x(0, 0);
}

void expectSolved(const RiccatiEquation& equation, const std::string& where, double weightCondition = 1.0) {
    SCOPED_TRACE(where);
    Matrix<double> x;
    ASSERT_EQ(solve(equation, x), 0);
    const RiccatiVerdict verdict = verdictOn(equation, x);
    EXPECT_LE(riccatiRatio(verdict, x, equation.type, weightCondition), ratioLimit);
    EXPECT_GT(verdict.distance, 0.0);
    EXPECT_TRUE(isSymmetric(x));
    if (equation.x.rows() > 0) {
        EXPECT_LE(frobeniusNorm(differenceOf(x, equation.x)),
                  solutionUncertainty(verdict, x, equation.type, ratioLimit, weightCondition));
    }
}

std::string label(systemType type, int n, int m) {
    return std::string(type == discreteSystem ? "discrete" : "continuous") + ", n = " + std::to_string(n) +
           ", m = " + std::to_string(m);
}

TEST(RICCATIFORT, SolvesTheScalarEquationsThatHaveAClosedForm) {
    EXPECT_EQ(scalarSolution(scalar(continuousSystem, 0.0, 1.0, 1.0, 1.0)), 1.0);
    EXPECT_NEAR(scalarSolution(scalar(continuousSystem, 1.0, 1.0, 1.0, 1.0)), 1.0 + std::sqrt(2.0), 1e-15);
    EXPECT_NEAR(scalarSolution(scalar(discreteSystem, 1.0, 1.0, 1.0, 1.0)), 0.5 + std::sqrt(1.25), 1e-15);
    EXPECT_EQ(scalarSolution(scalar(discreteSystem, 0.0, 1.0, 3.0, 1.0)), 3.0);
}

TEST(RICCATIFORT, TakesTheStabilisingSolutionWhereTheCostSeesNothingOfAnUnstableMode) {
    EXPECT_NEAR(scalarSolution(scalar(continuousSystem, 1.0, 1.0, 0.0, 1.0)), 2.0, 1e-15);
    EXPECT_NEAR(scalarSolution(scalar(discreteSystem, 2.0, 1.0, 0.0, 1.0)), 3.0, 1e-14);
}

TEST(RICCATIFORT, TakesTheCrossTermIn) {
    RiccatiEquation e = scalar(continuousSystem, 0.0, 1.0, 2.0, 1.0);
    e.s(0, 0) = 1.0;  // 2 - (x + 1)^2 = 0
    EXPECT_NEAR(scalarSolution(e), std::sqrt(2.0) - 1.0, 1e-15);
    e = scalar(discreteSystem, 1.0, 1.0, 2.0, 1.0);
    e.s(0, 0) = 1.0;  // 2 - (x + 1)^2 / (1 + x) = 0
    EXPECT_NEAR(scalarSolution(e), 1.0, 1e-15);
}

TEST(RICCATIFORT, OfOrderZeroIsDoneWithoutLookingAtAnArray) {
    const int n = 0;
    for (const int m : {0, 3}) {
        for (const int discrete : {0, 1}) {
            int info = -99;
            qormath::control_utility::RICCATIFORT(&discrete, &n, &m, nullptr, nullptr, nullptr, nullptr, nullptr,
                                                  nullptr, &info);
            EXPECT_EQ(info, 0);
        }
    }
}

TEST(RICCATIFORT, TellsTheIllegalArgument) {
    const int discrete = 0;
    double one = 1.0;
    double x = 5.0;
    const auto call = [&](int n, int m, int missing) {
        int info = -99;
        const auto argument = [&](int k) { return k == missing ? nullptr : &one; };
        qormath::control_utility::RICCATIFORT(&discrete, &n, &m, argument(4), argument(5), argument(6), argument(7),
                                              argument(8), missing == 9 ? nullptr : &x, &info);
        return info;
    };
    EXPECT_EQ(call(-1, 1, 0), -2);
    EXPECT_EQ(call(1, -1, 0), -3);
    for (int missing = 4; missing <= 9; ++missing) {
        EXPECT_EQ(call(1, 1, missing), -missing);
    }
    EXPECT_EQ(x, 5.0);
}

TEST(RICCATIFORT, WithoutInputsIsTheLyapunovOrSteinEquationOfAStableMatrix) {
    NormalNumbers numbers(1);
    for (const systemType type : {discreteSystem, continuousSystem}) {
        RiccatiEquation e = riccati_detail::blank("no inputs", type, 5, 0);
        e.q = symmetricPart(randomMatrix(5, 5, numbers));
        e.a = randomLoop(type, 5, 0.3, numbers);
        expectSolved(e, label(type, 5, 0));
        e.a = randomLoop(type, 5, -0.3, numbers);
        EXPECT_EQ(outcome(e), noSolution);
    }
}

TEST(RICCATIFORT, RefusesNaNAndInfinityInEachArgument) {
    NormalNumbers numbers(2);
    for (const systemType type : {discreteSystem, continuousSystem}) {
        const RiccatiEquation good = randomEquation(type, 4, scaledIdentity(2, 1.0), 0.2, numbers);
        for (const double bad : {nan, infinity, -infinity}) {
            for (Matrix<double> RiccatiEquation::*argument :
                 {&RiccatiEquation::a, &RiccatiEquation::b, &RiccatiEquation::q, &RiccatiEquation::r,
                  &RiccatiEquation::s}) {
                RiccatiEquation e = good;
                (e.*argument)((e.*argument).rows() - 1, 1) = bad;
                EXPECT_EQ(outcome(e), notFinite);
            }
        }
    }
}

TEST(RICCATIFORT, RefusesAnAsymmetricWeightAndForgivesItsRounding) {
    NormalNumbers numbers(3);
    for (const systemType type : {discreteSystem, continuousSystem}) {
        const RiccatiEquation good = randomEquation(type, 4, scaledIdentity(2, 1.0), 0.2, numbers);
        for (Matrix<double> RiccatiEquation::*weight : {&RiccatiEquation::q, &RiccatiEquation::r}) {
            RiccatiEquation e = good;
            (e.*weight)(0, 1) += 1e-3;
            EXPECT_EQ(outcome(e), notSymmetric);
            e = good;
            (e.*weight)(0, 1) += 1e-15;
            EXPECT_EQ(outcome(e), 0);
        }
    }
}

TEST(RICCATIFORT, FindsTheSolutionThatAnEquationWasMadeFor) {
    NormalNumbers numbers(4);
    for (const systemType type : {discreteSystem, continuousSystem}) {
        for (const int n : {1, 2, 3, 5, 8, 13, 31, 32, 33, 70}) {
            for (const int m : {1, 2, 5}) {
                const Matrix<double> indefinite = symmetricPart(randomMatrix(m, m, numbers));
                expectSolved(randomEquation(type, n, indefinite, 0.2, numbers), label(type, n, m));
            }
        }
    }
}

TEST(RICCATIFORT, TakesASingularWeightOfTheInputsInDiscreteTime) {
    NormalNumbers numbers(5);
    for (const int n : {1, 2, 4, 10, 30}) {
        for (const int m : {1, 2, 4}) {
            if (m <= n) {
                expectSolved(randomEquation(discreteSystem, n, zeroMatrix(m, m), 0.2, numbers), "r = 0");
            }
            const Matrix<double> direction = randomMatrix(m, 1, numbers);
            if (m <= n + 1) {
                expectSolved(randomEquation(discreteSystem, n, direction * direction.transpose(), 0.2, numbers),
                             "r of rank 1");
            }
        }
    }
}

TEST(RICCATIFORT, LeavesInputsOutThatReachNeitherStateNorCost) {
    NormalNumbers numbers(6);
    const RiccatiEquation e = randomEquation(discreteSystem, 5, scaledIdentity(2, 1.0), 0.2, numbers);
    Matrix<double> spread = randomMatrix(2, 4, numbers);  // the inputs are now combinations of four
    RiccatiEquation wide = e;
    wide.b = e.b * spread;
    wide.s = e.s * spread;
    wide.r = symmetricPart(spread.transpose() * e.r * spread);
    expectSolved(wide, "four inputs of rank two");
}

TEST(RICCATIFORT, LeavesInputsOfNoWeightAloneInContinuousTime) {
    NormalNumbers numbers(7);
    const RiccatiEquation e = randomEquation(continuousSystem, 5, scaledIdentity(2, 1.0), 0.2, numbers);
    const Matrix<double> q = randomOrthogonal(3, numbers);
    const Matrix<double> wideWeight = scaledIdentity(3, 1.0);
    Matrix<double> r = wideWeight;
    r(2, 2) = 0.0;
    RiccatiEquation wide = e;
    wide.b = e.b.appendToRight(randomMatrix(5, 1, numbers)) * q.transpose();
    wide.s = e.s.appendToRight(randomMatrix(5, 1, numbers)) * q.transpose();
    wide.r = symmetricPart(q * r * q.transpose());
    expectSolved(wide, "one of three inputs is not weighted");

    wide = riccati_detail::blank("no weight at all", continuousSystem, 3, 2);
    wide.a = randomLoop(continuousSystem, 3, 0.2, numbers);
    wide.b = randomMatrix(3, 2, numbers);
    wide.q = scaledIdentity(3, 1.0);
    expectSolved(wide, "r = 0");
}

TEST(RICCATIFORT, TakesAnIllConditionedWeightOfTheInputs) {
    NormalNumbers numbers(8);
    for (const systemType type : {discreteSystem, continuousSystem}) {
        for (const double smallest : {1e-4, 1e-8, 1e-12}) {
            for (const int n : {2, 3, 8, 20}) {
                RiccatiEquation e = riccati_detail::blank("cheap input", type, n, 2);
                e.a = randomLoop(type, n, 0.05, numbers);
                e.b = randomMatrix(n, 2, numbers);
                e.q = scaledIdentity(n, 1.0);
                Matrix<double> weights = scaledIdentity(2, 1.0);
                weights(1, 1) = smallest;
                const Matrix<double> q = randomOrthogonal(2, numbers);
                e.r = symmetricPart(q * weights * q.transpose());
                expectSolved(e, label(type, n, 2) + ", " + std::to_string(std::log10(smallest)), 1.0 / smallest);
            }
        }
    }
}

TEST(RICCATIFORT, SolvesWhatABadChoiceOfUnitsHasScaled) {
    NormalNumbers numbers(9);
    for (const systemType type : {discreteSystem, continuousSystem}) {
        for (int round = 0; round < 20; ++round) {
            const int n = numbers.integer(1, 12);
            const RiccatiEquation plain = randomEquation(type, n, scaledIdentity(2, 1.0), 0.2, numbers);
            const int cost = numbers.integer(-40, 40);
            QorMathLA::Vector<double> units(n), perUnit(n);
            for (int k = 0; k < n; ++k) {
                units[k] = std::ldexp(1.0, numbers.integer(-25, 25));
                perUnit[k] = 1.0 / units[k];
            }
            RiccatiEquation e = plain;
            e.a = plain.a.scaleRowsBy(units).scaleColumnsBy(perUnit);
            e.b = plain.b.scaleRowsBy(units);
            e.q = plain.q.scaleRowsBy(perUnit).scaleColumnsBy(perUnit) * std::ldexp(1.0, cost);
            e.s = plain.s.scaleRowsBy(perUnit) * std::ldexp(1.0, cost);
            e.r = plain.r * std::ldexp(1.0, cost);
            Matrix<double> x;
            ASSERT_EQ(solve(e, x), 0) << label(type, n, 2);
            const Matrix<double> back = x.scaleRowsBy(units).scaleColumnsBy(units) * std::ldexp(1.0, -cost);
            EXPECT_LE(frobeniusNorm(differenceOf(back, plain.x)),
                      solutionUncertainty(verdictOn(plain, back), back, type, ratioLimit))
                << label(type, n, 2);
        }
    }
}

/// An equation of order n whose last modes, of eigenvalues re + i im and its conjugate or re alone, are not reached by
/// the inputs or, with ofCost, not seen by the cost. All is turned by an orthogonal matrix.
RiccatiEquation withHiddenMode(systemType type, int n, double re, double im, bool ofCost, NormalNumbers& numbers) {
    const int hidden = im != 0.0 ? 2 : 1;
    RiccatiEquation e = riccati_detail::blank("hidden mode", type, n, 2);
    e.a = randomMatrix(n, n, numbers);
    e.b = randomMatrix(n, 2, numbers);
    Matrix<double> c = randomMatrix(2, n, numbers);
    for (int i = n - hidden; i < n; ++i) {
        for (int j = 0; j < n; ++j) {
            (ofCost ? e.a(j, i) : e.a(i, j)) = 0.0;
        }
        for (int j = 0; j < 2; ++j) {
            (ofCost ? c(j, i) : e.b(i, j)) = 0.0;
        }
        e.a(i, i) = re;
    }
    if (hidden == 2) {
        e.a(n - 2, n - 1) = im;
        e.a(n - 1, n - 2) = -im;
    }
    const Matrix<double> turn = randomOrthogonal(n, numbers);
    e.a = turn * e.a * turn.transpose();
    e.b = turn * e.b;
    c = c * turn.transpose();
    e.q = symmetricPart(c.transpose() * c);
    e.r = scaledIdentity(2, 1.0);
    return e;
}

TEST(RICCATIFORT, RefusesAModeOnOrBeyondTheLimitThatNoInputReaches) {
    NormalNumbers numbers(10);
    for (int round = 0; round < 40; ++round) {
        const int n = numbers.integer(3, 16);
        const double angle = numbers.uniform(0.1, 3.0);
        for (const double beyond : {0.0, 0.01, 0.7}) {
            const double radius = 1.0 + beyond;
            EXPECT_EQ(outcome(withHiddenMode(continuousSystem, n, beyond, angle, false, numbers)), noSolution);
            EXPECT_EQ(outcome(withHiddenMode(continuousSystem, n, beyond, 0.0, false, numbers)), noSolution);
            EXPECT_EQ(outcome(withHiddenMode(discreteSystem, n, radius * std::cos(angle), radius * std::sin(angle),
                                             false, numbers)),
                      noSolution);
            EXPECT_EQ(outcome(withHiddenMode(discreteSystem, n, -radius, 0.0, false, numbers)), noSolution);
        }
    }
}

TEST(RICCATIFORT, RefusesAModeOnTheLimitThatTheCostDoesNotSee) {
    NormalNumbers numbers(11);
    for (int round = 0; round < 40; ++round) {
        const int n = numbers.integer(3, 16);
        const double angle = numbers.uniform(0.1, 3.0);
        EXPECT_EQ(outcome(withHiddenMode(continuousSystem, n, 0.0, angle, true, numbers)), noSolution);
        EXPECT_EQ(outcome(withHiddenMode(continuousSystem, n, 0.0, 0.0, true, numbers)), noSolution);
        EXPECT_EQ(outcome(withHiddenMode(discreteSystem, n, std::cos(angle), std::sin(angle), true, numbers)),
                  noSolution);
        EXPECT_EQ(outcome(withHiddenMode(discreteSystem, n, 1.0, 0.0, true, numbers)), noSolution);
    }
}

TEST(RICCATIFORT, SolvesWithAnUnseenModeAwayFromTheLimitAndAnUnreachedOneThatIsStable) {
    NormalNumbers numbers(12);
    for (int round = 0; round < 10; ++round) {
        for (const double re : {-0.5, 0.5}) {
            expectSolved(withHiddenMode(continuousSystem, 6, re, 1.0, true, numbers), "unseen, continuous");
            expectSolved(withHiddenMode(discreteSystem, 6, 1.5 * re, 0.9 + re, true, numbers), "unseen, discrete");
        }
        expectSolved(withHiddenMode(continuousSystem, 6, -0.5, 1.0, false, numbers), "unreached, continuous");
        expectSolved(withHiddenMode(discreteSystem, 6, -0.5, 0.4, false, numbers), "unreached, discrete");
    }
}

TEST(RICCATIFORT, RefusesAClosedLoopOnTheLimit) {
    EXPECT_EQ(outcome(scalar(continuousSystem, 0.0, 1.0, 0.0, 1.0)), noSolution);
    EXPECT_EQ(outcome(scalar(continuousSystem, 0.0, 0.0, 1.0, 1.0)), noSolution);
    EXPECT_EQ(outcome(scalar(continuousSystem, 0.0, 0.0, 0.0, 1.0)), noSolution);
    EXPECT_EQ(outcome(scalar(continuousSystem, 0.0, 1.0, -1.0, 1.0)), noSolution);
    EXPECT_EQ(outcome(scalar(discreteSystem, 1.0, 1.0, 0.0, 1.0)), noSolution);
    EXPECT_EQ(outcome(scalar(discreteSystem, -1.0, 0.0, 1.0, 1.0)), noSolution);
    NormalNumbers numbers(13);
    for (const systemType type : {discreteSystem, continuousSystem}) {
        for (int round = 0; round < 60; ++round) {
            const int n = numbers.integer(1, 20);
            EXPECT_EQ(outcome(randomEquation(type, n, scaledIdentity(2, 1.0), 0.0, numbers)), noSolution)
                << label(type, n, 2);
        }
    }
}

TEST(RICCATIFORT, SolvesNearTheLimitAsLongAsTheSideIsSure) {
    NormalNumbers numbers(14);
    for (const systemType type : {discreteSystem, continuousSystem}) {
        for (int round = 0; round < 20; ++round) {
            const int n = numbers.integer(1, 6);
            expectSolved(randomEquation(type, n, scaledIdentity(2, 1.0), 1e-4, numbers), label(type, n, 2));
        }
    }
}

TEST(RICCATIFORT, RefusesAnInputWithoutWeightOnAStateWithoutCost) {
    // x = 0 solves the equation, but r + b' x b is 0 too.
    EXPECT_EQ(outcome(scalar(discreteSystem, 0.5, 1.0, 0.0, 0.0)), noSolution);
    EXPECT_EQ(outcome(scalar(discreteSystem, 2.0, 1.0, 0.0, 0.0)), noSolution);
}

TEST(RICCATIFORT, KeepsToTheRangeOfNumbers) {
    EXPECT_NEAR(scalarSolution(scalar(continuousSystem, 0.0, 1.0, 1e-200, 1e-200)) * 1e200, 1.0, 1e-14);
    EXPECT_NEAR(scalarSolution(scalar(continuousSystem, 0.0, 1.0, 1e150, 1e150)) * 1e-150, 1.0, 1e-14);
    EXPECT_NEAR(scalarSolution(scalar(continuousSystem, 0.0, 1.0, 1e100, 1e-100)), 1.0, 1e-14);
    EXPECT_NEAR(scalarSolution(scalar(discreteSystem, 1.0, 1.0, 1e150, 1e150)) * 1e-150, 0.5 + std::sqrt(1.25), 1e-14);
    EXPECT_NEAR(scalarSolution(scalar(continuousSystem, 1.0, 1.0, 0.0, 1e200)) * 1e-200, 2.0, 1e-14);
    // x is 4 r, and not a number that a double holds.
    EXPECT_EQ(outcome(scalar(continuousSystem, 2.0, 1.0, 1.0, 1.7e308)), noSolution);
    // x is 2e200, and x^2 / r is not a number that a double holds.
    EXPECT_EQ(outcome(scalar(continuousSystem, 1e200, 1.0, 0.0, 1.0)), noSolution);
}

}  // namespace
