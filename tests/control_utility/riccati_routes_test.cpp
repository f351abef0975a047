// Continuous Riccati equations are solved by doubling where the outcome is clear, and by the ordered Schur form of the
// Hamiltonian matrix everywhere else; discrete ones with few inputs by doubling that keeps these in a factor at first.
// From an order of 64 on, both start Newton steps from an approximation by shorter doubling, in discrete time with its
// last steps in single precision. Here both ways are taken and compared.

#include <cmath>
#include <gtest/gtest.h>
#include <vector>

#include <qormath/control_utility/riccati_doubling.hpp>
#include <qormath/control_utility/riccati_evaluation.hpp>
#include <qormath/control_utility/riccati_problem.hpp>
#include <qormath/control_utility/riccati_refinement.hpp>
#include <qormath/control_utility/riccati_smith_refinement.hpp>
#include <qormath/control_utility/riccati_subspace.hpp>
#include <qormath/control_utility/riccatifort.hpp>

#include "support/riccati_arrays.hpp"
#include "support/riccati_checks.hpp"

namespace {

using namespace qormath::test;
using namespace qormath::control_utility;
using QorMathLA::Matrix;
using riccati_detail::scaledIdentity;

int solveWhole(const RiccatiEquation& e, std::vector<double>& x) {
    const RiccatiProblem p = problemOf(e);
    const int discrete = p.discrete ? 1 : 0;
    x.assign(p.a.size(), 0.0);
    int info = 0;
    RICCATIFORT(&discrete, &p.n, &p.m, p.a.data(), p.b.data(), p.q.data(), p.r.data(), p.s.data(), x.data(), &info);
    return info;
}

TEST(RiccatiRoutes, DoublingAndTheHamiltonianAgreeToRounding) {
    NormalNumbers numbers(21);
    for (const int n : {1, 2, 3, 10, 31, 32, 33, 64, 95, 96, 97, 130}) {
        const RiccatiEquation e = solvableEquation(continuousSystem, n, numbers);
        const RiccatiProblem problem = problemOf(e);
        std::vector<double> x, other;
        ASSERT_TRUE(solveByDoubling(problem, x)) << n;
        ASSERT_TRUE(refineClearSolution(problem, x)) << n;
        ASSERT_TRUE(solveByHamiltonian(problem, other)) << n;
        ASSERT_TRUE(refineAndJudge(problem, other)) << n;
        SCOPED_TRACE(n);
        expectSameSolution(e, x, other);
    }
}

TEST(RiccatiRoutes, DoublingAgreesWithAndWithoutAFactorOfTheInputs) {
    NormalNumbers numbers(25);
    for (const int n : {64, 65, 96, 130}) {
        // From one that makes many thin factors to one that makes none.
        for (const int m : {1, 2, n / 10, n / 5, 2 * n / 5, n / 2}) {
            SCOPED_TRACE(testing::Message() << "n " << n << ", m " << m);
            const RiccatiEquation e = randomEquation(discreteSystem, n, scaledIdentity(m, 1.0), 0.2, numbers);
            const RiccatiProblem problem = problemOf(e);
            std::vector<double> x, other;
            ASSERT_TRUE(solveByDoubling(problem, x, true));
            ASSERT_TRUE(solveByDoubling(problem, other, false));
            EXPECT_EQ(x == other, 5 * m > 2 * n);
            ASSERT_TRUE(refineAndJudge(problem, x));
            ASSERT_TRUE(refineAndJudge(problem, other));
            expectSameSolution(e, x, other);
        }
    }
}

TEST(RiccatiRoutes, AFactorOfTheInputsTakesAWeightThatIsNotDiagonal) {
    NormalNumbers numbers(26);
    const int n = 80;
    Matrix<double> r = scaledIdentity(3, 2.0);
    r(0, 1) = r(1, 0) = 0.5;
    const RiccatiEquation e = randomEquation(discreteSystem, n, r, 0.2, numbers);
    const RiccatiProblem problem = problemOf(e);
    std::vector<double> x, other;
    ASSERT_TRUE(solveByDoubling(problem, x, true) && refineAndJudge(problem, x));
    ASSERT_TRUE(solveByDoubling(problem, other, false) && refineAndJudge(problem, other));
    expectSameSolution(e, x, other);
}

/// True where an approximation comes about and is clear. Newton steps then lead from it to what doubling finds.
bool leadsToTheSolution(const RiccatiEquation& e, Closeness closeness) {
    const RiccatiProblem problem = problemOf(e);
    std::vector<double> x, other;
    if (!approximateByDoubling(problem, x, closeness)) {
        return false;
    }
    EXPECT_TRUE(isSymmetric(squareMatrixOf(problem.n, x)));
    const std::vector<double> approximation = x;
    if (!refineClearSolution(problem, x)) {
        EXPECT_EQ(x, approximation);
        return false;
    }
    EXPECT_TRUE(solveByDoubling(problem, other) && refineAndJudge(problem, other));
    expectSameSolution(e, x, other);
    return true;
}

TEST(RiccatiRoutes, NewtonStepsTakeAClearApproximationToWhatDoublingFinds) {
    NormalNumbers numbers(28);
    for (const systemType type : {discreteSystem, continuousSystem}) {
        int problems = 0;
        int clear = 0;
        for (const int n : {64, 97}) {
            // Factors of the inputs at first, or none.
            for (const int m : {n / 10, n / 10, n / 4, n / 4, n / 2, n / 2}) {
                SCOPED_TRACE(testing::Message()
                             << "discrete " << (type == discreteSystem) << ", n " << n << ", m " << m);
                const RiccatiEquation e = randomEquation(type, n, scaledIdentity(m, 1.0), 0.2, numbers);
                ++problems;
                clear += leadsToTheSolution(e, Closeness::near) ? 1 : 0;
            }
        }
        // Where much of x cancels, single precision leaves too little of it, and the other routes run. That is rare.
        EXPECT_GE(2 * clear, problems);
    }
}

TEST(RiccatiRoutes, ACoarseApproximationLeadsToTheSameSolution) {
    NormalNumbers numbers(31);
    int problems = 0;
    int clear = 0;
    for (const int n : {64, 97, 130}) {
        for (const int m : {n / 10, n / 4, n / 2, n / 2}) {
            SCOPED_TRACE(testing::Message() << "n " << n << ", m " << m);
            const RiccatiEquation e = randomEquation(discreteSystem, n, scaledIdentity(m, 1.0), 0.2, numbers);
            ++problems;
            clear += leadsToTheSolution(e, Closeness::coarse) ? 1 : 0;
        }
    }
    EXPECT_GE(2 * clear, problems);
}

/// A plant with a few unstable modes, an input for every tenth state and the identity for weights.
RiccatiEquation ordinaryEquation(int n, NormalNumbers& numbers) {
    RiccatiEquation e = riccati_detail::blank("ordinary", discreteSystem, n, n / 10);
    e.a = randomMatrix(n, n, numbers) * (1.05 / std::sqrt(n));
    e.b = randomMatrix(n, n / 10, numbers);
    e.q = scaledIdentity(n, 1.0);
    e.r = scaledIdentity(n / 10, 1.0);
    return e;
}

TEST(RiccatiRoutes, ACoarseApproximationIsGoodForSixDigitsAndRefinedToTheRoundingOfItsResidual) {
    NormalNumbers numbers(33);
    for (const int n : {64, 130, 200}) {
        const RiccatiProblem problem = problemOf(ordinaryEquation(n, numbers));
        std::vector<double> x;
        Evaluation found;
        ASSERT_TRUE(approximateByDoubling(problem, x, Closeness::coarse)) << n;
        ASSERT_TRUE(evaluate(problem, x, found)) << n;
        EXPECT_LE(found.norm, 0x1p-20 * found.terms) << n;
        ASSERT_TRUE(refineBySquares(problem, x, found)) << n;
        ASSERT_TRUE(evaluate(problem, x, found)) << n;
        EXPECT_LE(found.norm, 4.0 * settledNorm(problem, found)) << n;
    }
}

TEST(RiccatiRoutes, ALargeDiscreteProblemOfOrdinaryCostsIsSolvedAsWellAsASmallOne) {
    NormalNumbers numbers(32);
    for (const int n : {63, 64, 65, 200}) {
        SCOPED_TRACE(n);
        const RiccatiEquation e = ordinaryEquation(n, numbers);
        const RiccatiProblem problem = problemOf(e);
        std::vector<double> x, other;
        ASSERT_EQ(solveWhole(e, x), 0);
        ASSERT_TRUE(solveByDoubling(problem, other) && refineAndJudge(problem, other));
        expectSameSolution(e, x, other);
    }
}

TEST(RiccatiRoutes, AnApproximationOfALoopOnTheLimitIsNotTakenForClear) {
    NormalNumbers numbers(29);
    for (const systemType type : {discreteSystem, continuousSystem}) {
        const RiccatiEquation limit = randomEquation(type, 70, scaledIdentity(2, 1.0), 0.0, numbers);
        std::vector<double> x;
        EXPECT_FALSE(approximateByDoubling(problemOf(limit), x) && refineClearSolution(problemOf(limit), x));
        EXPECT_EQ(solveWhole(limit, x), 3);
    }
}

TEST(RiccatiRoutes, WhatSinglePrecisionCannotHoldIsLeftToDoublePrecision) {
    NormalNumbers numbers(30);
    RiccatiEquation e = randomEquation(discreteSystem, 70, scaledIdentity(7, 1.0), 0.2, numbers);
    std::vector<double> x;
    ASSERT_TRUE(approximateByDoubling(problemOf(e), x));
    constexpr double beyondSingle = 0x1p140;
    for (Matrix<double>* const weight : {&e.q, &e.r, &e.s}) {
        *weight = *weight * beyondSingle;
    }
    EXPECT_FALSE(approximateByDoubling(problemOf(e), x));
    ASSERT_TRUE(solveByDoubling(problemOf(e), x) && refineAndJudge(problemOf(e), x));
    const Matrix<double> found = squareMatrixOf(70, x);
    EXPECT_LE(riccatiRatio(verdictOn(e, found), found, e.type), riccatiRatioLimit);
}

TEST(RiccatiRoutes, AFactorOfTheInputsLeavesALoopOnTheLimitUnsolved) {
    NormalNumbers numbers(27);
    const RiccatiEquation limit = randomEquation(discreteSystem, 70, scaledIdentity(2, 1.0), 0.0, numbers);
    std::vector<double> x;
    EXPECT_EQ(solveWhole(limit, x), 3);
    EXPECT_EQ(x, std::vector<double>(x.size(), 0.0));
}

TEST(RiccatiRoutes, TheWholeIsAsGoodFromTheOrderOnThatIsDoubled) {
    NormalNumbers numbers(22);
    for (const int n : {31, 32, 33, 80}) {
        const RiccatiEquation e = solvableEquation(continuousSystem, n, numbers);
        std::vector<double> x;
        ASSERT_EQ(solveWhole(e, x), 0) << n;
        const Matrix<double> found = squareMatrixOf(n, x);
        const RiccatiVerdict verdict = verdictOn(e, found);
        EXPECT_GT(verdict.distance, 0.0);
        EXPECT_LE(riccatiRatio(verdict, found, e.type), riccatiRatioLimit) << n;
        EXPECT_LE(frobeniusNorm(differenceOf(found, e.x)),
                  2.0 * solutionUncertainty(verdict, found, e.type, riccatiRatioLimit));
    }
}

TEST(RiccatiRoutes, AClearSolutionIsNeitherFarFromASolutionNorUnstableNorOnTheLimit) {
    NormalNumbers numbers(23);
    for (const systemType type : {discreteSystem, continuousSystem}) {
        const RiccatiEquation stable = solvableEquation(type, 40, numbers);
        const std::vector<double> far = elementsOf(stable.x + symmetricPart(randomMatrix(40, 40, numbers)) * 1e-2);
        std::vector<double> x = far;
        EXPECT_FALSE(refineClearSolution(problemOf(stable), x));
        EXPECT_EQ(x, far);
        x = elementsOf(stable.x + symmetricPart(randomMatrix(40, 40, numbers)) * 1e-10);
        EXPECT_TRUE(refineClearSolution(problemOf(stable), x));

        const RiccatiEquation unstable = randomEquation(type, 40, scaledIdentity(2, 1.0), -0.2, numbers);
        x = elementsOf(unstable.x);
        EXPECT_FALSE(refineClearSolution(problemOf(unstable), x));

        const RiccatiEquation limit = randomEquation(type, 40, scaledIdentity(2, 1.0), 0.0, numbers);
        x = elementsOf(limit.x);
        EXPECT_FALSE(refineClearSolution(problemOf(limit), x));
    }
}

TEST(RiccatiRoutes, WhatIsNotClearIsDecidedByTheHamiltonianAndThePencil) {
    NormalNumbers numbers(24);
    for (int round = 0; round < 5; ++round) {
        std::vector<double> x;
        EXPECT_EQ(solveWhole(randomEquation(continuousSystem, 36, scaledIdentity(2, 1.0), 0.0, numbers), x), 3);
        EXPECT_EQ(x, std::vector<double>(x.size(), 0.0));
    }
    // Two closed-loop eigenvalues ten decades apart: doubling comes to no end, and the other way finds the solution.
    const int n = 40;
    RiccatiEquation e = riccati_detail::blank("wide", continuousSystem, n, n);
    for (int k = 0; k < n; ++k) {
        e.a(k, k) = k == 0 ? -1e-6 : -1e4;
        e.b(k, k) = 1.0;
        e.r(k, k) = 1.0;
        e.q(k, k) = k == 0 ? 1e-14 : 1.0;
    }
    std::vector<double> x;
    EXPECT_FALSE(solveByDoubling(problemOf(e), x));
    ASSERT_EQ(solveWhole(e, x), 0);
    const double small = 1e-14 / (1e-6 + std::sqrt(1e-12 + 1e-14));
    EXPECT_NEAR(x[0], small, 1e-9 * small);
}

TEST(RiccatiRoutes, DoublingGivesUpWhereALoopIsOnTheLimit) {
    for (const systemType type : {discreteSystem, continuousSystem}) {
        RiccatiEquation e = riccati_detail::blank("limit", type, 2, 1);
        e.r(0, 0) = 1.0;
        e.q(0, 0) = e.q(1, 1) = 1.0;
        e.a(0, 0) = type == discreteSystem ? 1.0 : 0.0;
        e.a(1, 1) = type == discreteSystem ? 0.5 : -1.0;
        std::vector<double> x;
        EXPECT_FALSE(solveByDoubling(problemOf(e), x));
        EXPECT_TRUE(x.empty());
    }
}

}  // namespace
