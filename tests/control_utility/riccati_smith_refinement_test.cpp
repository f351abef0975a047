// Clear discrete Riccati equations are refined with powers of the closed loop in single precision, and all others by a
// Schur form. Here both ways are taken and compared.

#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <vector>

#include <qormath/control_utility/riccati_evaluation.hpp>
#include <qormath/control_utility/riccati_problem.hpp>
#include <qormath/control_utility/riccati_refinement.hpp>
#include <qormath/control_utility/riccati_smith_refinement.hpp>

#include "support/riccati_arrays.hpp"
#include "support/riccati_checks.hpp"

namespace {

using namespace qormath::test;
using namespace qormath::control_utility;
using QorMathLA::Matrix;
using QorMathLA::product;
using riccati_detail::scaledIdentity;

/// refineBySquares, with a check that x is untouched where it refuses.
bool refinesBySquares(const RiccatiProblem& problem, std::vector<double>& x) {
    Evaluation start;
    if (!evaluate(problem, x, start)) {
        return false;
    }
    const std::vector<double> before = x;
    const bool done = refineBySquares(problem, x, start);
    EXPECT_TRUE(done || x == before);
    return done;
}

/// The solution and a symmetric error of about the given size.
std::vector<double> nearSolution(const RiccatiEquation& e, double error, NormalNumbers& numbers) {
    const int n = e.a.rows();
    return elementsOf(e.x + symmetricPart(randomMatrix(n, n, numbers)) * (error / n));
}

/// A random equation whose gain is so many times as large: its terms grow with it, and with them what is uncertain.
RiccatiEquation equationOfGain(int n, double distance, double factor, NormalNumbers& numbers) {
    const int m = 2;
    const Matrix<double> loop = randomLoop(discreteSystem, n, distance, numbers);
    const Matrix<double> b = randomMatrix(n, m, numbers);
    const Matrix<double> gain = randomMatrix(m, n, numbers) * factor;
    return equationWithSolution(discreteSystem, loop, b, scaledIdentity(m, 1.0), gain,
                                symmetricPart(randomMatrix(n, n, numbers)));
}

TEST(RiccatiSmithRefinement, FindsWhatTheSchurFormFinds) {
    NormalNumbers numbers(51);
    for (const int n : {1, 2, 3, 30, 63, 64, 65, 97, 130}) {
        for (const double distance : {0.5, 0.2, 0.1}) {
            SCOPED_TRACE(testing::Message() << "n " << n << ", distance " << distance);
            const RiccatiEquation e = equationOfGain(n, distance, 0.1, numbers);
            const RiccatiProblem problem = problemOf(e);
            std::vector<double> x = nearSolution(e, 1e-8, numbers);
            std::vector<double> other = x;
            ASSERT_TRUE(refinesBySquares(problem, x));
            ASSERT_TRUE(refineClearSolution(problem, other, false));
            expectSameSolution(e, x, other);
            expectSameSolution(e, other, x);
        }
    }
}

TEST(RiccatiSmithRefinement, AcceptsNothingThatTheSchurFormRefuses) {
    NormalNumbers numbers(52);
    int ordinary = 0;
    int accepted = 0;
    for (const int n : {3, 20}) {
        for (const double distance : {0.5, 0.2, 0.05, 0.03, 0.01, 1e-3, 1e-5, 1e-7, 1e-9, -1e-3}) {
            for (const double gain : {1e-2, 1.0, 1e1, 1e2, 1e3, 1e4, 1e5, 1e6}) {
                for (int round = 0; round < 4; ++round) {
                    SCOPED_TRACE(testing::Message() << "n " << n << ", distance " << distance << ", gain " << gain);
                    const RiccatiEquation e = equationOfGain(n, distance, gain, numbers);
                    const RiccatiProblem problem = problemOf(e);
                    std::vector<double> x = nearSolution(e, 1e-9, numbers);
                    std::vector<double> other = x;
                    const bool isOrdinary = distance >= 0.05 && gain <= 1.0;
                    const bool isAccepted = refinesBySquares(problem, x);
                    ordinary += isOrdinary ? 1 : 0;
                    accepted += isOrdinary && isAccepted ? 1 : 0;
                    EXPECT_TRUE(!isAccepted || refineClearSolution(problem, other, false));
                }
            }
        }
    }
    EXPECT_GE(4 * accepted, 3 * ordinary);
}

TEST(RiccatiSmithRefinement, LeavesWhatIsNearTheLimitOrBeyondItToTheSchurForm) {
    NormalNumbers numbers(53);
    for (const int n : {1, 2, 20, 64}) {
        for (const double distance : {1e-3, 1e-6, 0.0, -1e-6, -0.1}) {
            const RiccatiEquation e = equationOfGain(n, distance, 0.1, numbers);
            std::vector<double> x = nearSolution(e, 1e-9, numbers);
            EXPECT_FALSE(refinesBySquares(problemOf(e), x)) << n << ", " << distance;
        }
    }
}

TEST(RiccatiSmithRefinement, LeavesAStartThatIsFarFromTheSolutionToOthers) {
    NormalNumbers numbers(54);
    const RiccatiEquation e = equationOfGain(20, 0.2, 0.1, numbers);
    std::vector<double> x = nearSolution(e, 10.0, numbers);
    EXPECT_FALSE(refinesBySquares(problemOf(e), x));
}

TEST(RiccatiSmithRefinement, TakesCostsOfAnyScale) {
    NormalNumbers numbers(55);
    const RiccatiEquation e = equationOfGain(20, 0.2, 0.1, numbers);
    std::vector<double> x = nearSolution(e, 1e-8, numbers);
    for (const double scale : {0x1p300, 0x1p-300}) {
        RiccatiEquation scaled = e;
        for (Matrix<double>* const weight : {&scaled.q, &scaled.r, &scaled.s}) {
            *weight = *weight * scale;
        }
        std::vector<double> y = x;
        for (double& element : y) {
            element *= scale;
        }
        std::vector<double> unscaled = x;
        ASSERT_TRUE(refinesBySquares(problemOf(e), unscaled));
        ASSERT_TRUE(refinesBySquares(problemOf(scaled), y));
        for (std::size_t k = 0; k < y.size(); ++k) {
            EXPECT_EQ(y[k], unscaled[k] * scale);
        }
    }
}

TEST(RiccatiSmithRefinement, TakesAnEquationWithoutInputs) {
    NormalNumbers numbers(59);
    const int n = 30;
    RiccatiEquation e = riccati_detail::blank("no inputs", discreteSystem, n, 0);
    e.a = randomLoop(discreteSystem, n, 0.2, numbers);
    e.x = symmetricPart(randomMatrix(n, n, numbers));
    e.q = symmetricPart(e.x - product(e.a.transpose(), product(e.x, e.a)));
    std::vector<double> x = nearSolution(e, 1e-8, numbers);
    std::vector<double> other = x;
    ASSERT_TRUE(refinesBySquares(problemOf(e), x));
    ASSERT_TRUE(refineClearSolution(problemOf(e), other, false));
    expectSameSolution(e, x, other);
}

TEST(RiccatiSmithRefinement, LeavesALoopBeyondSinglePrecisionToTheSchurForm) {
    NormalNumbers numbers(56);
    const RiccatiEquation e = equationOfGain(4, 0.2, 0.1, numbers);
    const RiccatiProblem problem = problemOf(e);
    std::vector<double> x = nearSolution(e, 1e-9, numbers);
    Evaluation start;
    ASSERT_TRUE(evaluate(problem, x, start));
    const std::vector<double> before = x;
    for (const double element : {0x1p140, HUGE_VAL, std::numeric_limits<double>::quiet_NaN()}) {
        Evaluation damaged = start;
        damaged.closedLoop[1] = element;
        damaged.closedLoop[4] = element;
        EXPECT_FALSE(refineBySquares(problem, x, damaged));
        EXPECT_EQ(x, before);
    }
    Evaluation damaged = start;
    damaged.residual[0] = std::numeric_limits<double>::quiet_NaN();
    EXPECT_FALSE(refineBySquares(problem, x, damaged));
    EXPECT_EQ(x, before);
}

TEST(RiccatiSmithRefinement, RefusesASolutionOfWhichTooMuchIsUncertain) {
    NormalNumbers numbers(57);
    const RiccatiEquation e = equationOfGain(20, 0.2, 0.1, numbers);
    const RiccatiProblem problem = problemOf(e);
    std::vector<double> x = nearSolution(e, 1e-9, numbers);
    ASSERT_TRUE(refinesBySquares(problem, x));
    Evaluation start;
    ASSERT_TRUE(evaluate(problem, x, start));
    start.terms *= 4.0;  // a settled residual, and no step
    ASSERT_TRUE(refineBySquares(problem, x, start));
    start.terms *= 0x1p40;
    EXPECT_FALSE(refineBySquares(problem, x, start));
    ASSERT_TRUE(evaluate(problem, x, start));
    start.terms *= 4.0;
    start.loopTerms *= 0x1p50;
    EXPECT_FALSE(refineBySquares(problem, x, start));
}

TEST(RiccatiSmithRefinement, RefusesWhereTheFirstStepDoesNotLowerTheResidual) {
    NormalNumbers numbers(60);
    const int n = 20;
    const RiccatiEquation e = equationOfGain(n, 0.5, 0.01, numbers);
    const RiccatiProblem problem = problemOf(e);
    std::vector<double> x = nearSolution(e, 1e-9, numbers);
    const std::vector<double> before = x;
    Evaluation start;
    ASSERT_TRUE(evaluate(problem, x, start));
    // A stable loop, but not that of x: steps with it are too long.
    start.closedLoop = elementsOf(scaledIdentity(n, 0.9));
    EXPECT_FALSE(refineBySquares(problem, x, start));
    EXPECT_EQ(x, before);
}

TEST(RiccatiSmithRefinement, AStepFromAfarTakesASecondSolution) {
    NormalNumbers numbers(62);
    for (const int n : {5, 40}) {
        SCOPED_TRACE(n);
        const RiccatiEquation e = equationOfGain(n, 0.2, 0.1, numbers);
        const RiccatiProblem problem = problemOf(e);
        const std::vector<double> x = nearSolution(e, 1e-3, numbers);
        Evaluation start, afterOne, afterTwo;
        ASSERT_TRUE(evaluate(problem, x, start));
        LoopSquares squares;
        ASSERT_TRUE(squares.make(n, start.closedLoop));
        const auto sum = [&](std::vector<double> d) {
            for (std::size_t k = 0; k < d.size(); ++k) {
                d[k] += x[k];
            }
            return d;
        };
        ASSERT_TRUE(evaluate(problem, sum(squares.solve(start.residual)), afterOne));
        ASSERT_TRUE(evaluate(problem, sum(newtonStep(problem, squares, start)), afterTwo));
        // One leaves what single precision cannot tell and the square of the error, two at most its cube.
        EXPECT_LE(afterTwo.norm, 0x1p-4 * afterOne.norm);
    }
}

TEST(RiccatiSmithRefinement, IsForLargeDiscreteProblems) {
    NormalNumbers numbers(58);
    for (const systemType type : {discreteSystem, continuousSystem}) {
        for (const int n : {1, 63, 64, 65}) {
            EXPECT_EQ(suitsSquares(problemOf(solvableEquation(type, n, numbers))), type == discreteSystem && n >= 64);
        }
    }
}

}  // namespace
