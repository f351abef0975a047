// The scales of the pencil of a Riccati equation come from sums over its blocks, or from the whole pencil. Here both
// ways are taken and compared.

#include <cmath>
#include <gtest/gtest.h>
#include <support/random_numbers.hpp>
#include <vector>

#include <qormath/control_utility/pencil_balancing.hpp>
#include <qormath/control_utility/quasi_triangular.hpp>

namespace {

using namespace qormath::control_utility;
using qormath::test::NormalNumbers;

/// Elements that spread over decades, with a tenth of them zero.
std::vector<double> spread(int rows, int columns, double decades, NormalNumbers& numbers) {
    std::vector<double> elements = numbers.matrix(rows, columns);
    for (double& element : elements) {
        element *= numbers.uniform() < 0.1 ? 0.0 : std::pow(10.0, numbers.uniform(-decades, decades));
    }
    return elements;
}

RiccatiProblem spreadProblem(int n, int m, double decades, NormalNumbers& numbers) {
    RiccatiProblem problem{true,
                           n,
                           m,
                           spread(n, n, decades, numbers),
                           spread(n, m, decades, numbers),
                           spread(n, n, decades, numbers),
                           spread(m, m, decades, numbers),
                           spread(n, m, decades, numbers)};
    mirrorUpperTriangle(n, problem.q.data(), n);
    mirrorUpperTriangle(m, problem.r.data(), m);
    return problem;
}

TEST(PencilBalancing, TakesTheScalesOfTheWholePencilFromItsBlocks) {
    NormalNumbers numbers(1);
    for (const int n : {1, 2, 3, 10, 33, 70}) {
        for (const int m : {0, 1, 2, 12}) {
            for (const double decades : {0.0, 1.0, 4.0}) {
                const RiccatiProblem problem = spreadProblem(n, m, decades, numbers);
                EXPECT_EQ(balancingExponents(problem), balancingExponentsByLapack(problem))
                    << "n " << n << ", m " << m << ", decades " << decades;
            }
        }
    }
}

TEST(PencilBalancing, LeavesElementsWithoutSquaresToLapack) {
    NormalNumbers numbers(2);
    for (const double size : {1e-170, 1e-70, 1e70, 1e170}) {
        RiccatiProblem problem = spreadProblem(5, 2, 1.0, numbers);
        for (double& element : problem.q) {
            element *= size;
        }
        EXPECT_EQ(balancingExponents(problem), balancingExponentsByLapack(problem)) << size;
    }
}

TEST(PencilBalancing, LeavesWhatIsBalancedAndWhatHasNoNormAlone) {
    const RiccatiProblem zero{true,
                              3,
                              1,
                              std::vector<double>(9),
                              std::vector<double>(3),
                              std::vector<double>(9),
                              {0.0},
                              std::vector<double>(3)};
    EXPECT_EQ(balancingExponents(zero), std::vector<double>(7, 0.0));
    RiccatiProblem even = zero;
    even.a.assign(9, 1.0);
    even.b.assign(3, 1.0);
    even.s.assign(3, 1.0);
    EXPECT_EQ(balancingExponents(even), std::vector<double>(7, 0.0));
}

}  // namespace
