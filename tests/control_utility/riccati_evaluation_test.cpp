#include <algorithm>
#include <gtest/gtest.h>
#include <vector>

#include <qormath/control_utility/plain_products.hpp>
#include <qormath/control_utility/riccati_evaluation.hpp>
#include <qormath/lapack/lapack.hpp>

#include "support/riccati_arrays.hpp"
#include "support/riccati_checks.hpp"

namespace {

using namespace qormath;
using namespace qormath::test;
using namespace qormath::control_utility;

TEST(RiccatiEvaluation, ResidualAfterAStepIsThatOfTheSum) {
    NormalNumbers numbers(61);
    for (const int n : {1, 2, 5, 40, 97}) {
        for (const double size : {1e-2, 1e-4, 1e-8, 0.0}) {
            SCOPED_TRACE(testing::Message() << "n " << n << ", size " << size);
            const RiccatiEquation e = solvableEquation(discreteSystem, n, numbers);
            const RiccatiProblem problem = problemOf(e);
            const std::vector<double> x = elementsOf(e.x);
            const std::vector<double> d = elementsOf(symmetricPart(randomMatrix(n, n, numbers)) * (size / n));
            std::vector<double> sum = x;
            std::transform(x.begin(), x.end(), d.begin(), sum.begin(), [](double u, double v) { return u + v; });
            Evaluation before, after;
            ASSERT_TRUE(evaluate(problem, x, before));
            ASSERT_TRUE(evaluate(problem, sum, after));
            std::vector<double> difference = residualAfter(problem, before, d);
            lapack::axpy(n * n, -1.0, after.residual.data(), 1, difference.data(), 1);
            // (b' d c)' (weight^-1 - weightAfter^-1) (b' d c), in which the difference of the inverses is weightedB d
            // weightedB' to first order, for steps this small within a factor of 2; and the rounding of the residuals,
            // of n eps times their terms for each of a dozen products and sums at the most.
            const double change = plainNorm(problem.b) * plainNorm(d) * plainNorm(before.closedLoop);
            const double ofWeight = plainNorm(before.weightedB) * plainNorm(before.weightedB) * plainNorm(d);
            const double thirdOrder = 2.0 * change * change * ofWeight;
            const double rounding = 12.0 * n * lapack::machineEpsilon() * (before.terms + after.terms);
            EXPECT_LE(plainNorm(difference), thirdOrder + rounding);
        }
    }
}

}  // namespace
