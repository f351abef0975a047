#include <cmath>
#include <gtest/gtest.h>
#include <vector>

#include <qormath/control_utility/riccati_problem.hpp>
#include <qormath/control_utility/riccati_refinement.hpp>

#include "support/riccati_arrays.hpp"
#include "support/riccati_checks.hpp"

namespace {

using namespace qormath::test;
using namespace qormath::control_utility;
using QorMathLA::Matrix;
using riccati_detail::scaledIdentity;

TEST(RiccatiRefinement, BringsAnApproximationToTheSolution) {
    NormalNumbers numbers(4);
    for (const systemType type : {discreteSystem, continuousSystem}) {
        for (const int n : {1, 3, 12}) {
            const RiccatiEquation e = solvableEquation(type, n, numbers);
            std::vector<double> x = elementsOf(e.x + symmetricPart(randomMatrix(n, n, numbers)) * 1e-6);
            ASSERT_TRUE(refineAndJudge(problemOf(e), x));
            const Matrix<double> refined = squareMatrixOf(n, x);
            EXPECT_LE(riccatiRatio(verdictOn(e, refined), refined, type), 20.0);
            EXPECT_TRUE(isSymmetric(refined));
        }
    }
}

TEST(RiccatiRefinement, RefusesASolutionThatDoesNotStabilise) {
    NormalNumbers numbers(5);
    for (const systemType type : {discreteSystem, continuousSystem}) {
        const RiccatiEquation e = randomEquation(type, 4, scaledIdentity(2, 1.0), -0.2, numbers);
        std::vector<double> x = elementsOf(e.x);
        EXPECT_LE(verdictOn(e, e.x).relative, 1e-14);
        EXPECT_FALSE(refineAndJudge(problemOf(e), x));
    }
}

TEST(RiccatiRefinement, RefusesAnExactSolutionOnTheLimit) {
    RiccatiEquation e = riccati_detail::blank("limit", continuousSystem, 1, 1);
    e.b(0, 0) = e.r(0, 0) = 1.0;
    std::vector<double> x = {0.0};
    EXPECT_FALSE(refineAndJudge(problemOf(e), x));
    x = {1e-9};  // solves it to 1e-18, with an apparently stable closed loop
    EXPECT_FALSE(refineAndJudge(problemOf(e), x));
}

}  // namespace
