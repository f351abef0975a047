#include <cmath>
#include <gtest/gtest.h>
#include <vector>

#include <qormath/control_utility/riccati_doubling.hpp>
#include <qormath/control_utility/riccati_problem.hpp>
#include <qormath/control_utility/riccati_subspace.hpp>

#include "support/riccati_arrays.hpp"
#include "support/riccati_checks.hpp"

namespace {

using namespace qormath::test;
using namespace qormath::control_utility;
using QorMathLA::Matrix;
using QorMathLA::zeroMatrix;

// The direct ways are not refined: they lose what the condition of their coefficients costs.
constexpr double relativeResidual = 1e-11;

void expectSolution(const RiccatiEquation& e, const std::vector<double>& elements) {
    const Matrix<double> x = squareMatrixOf(e.a.rows(), elements);
    EXPECT_TRUE(isSymmetric(x));
    const RiccatiVerdict verdict = verdictOn(e, x);
    EXPECT_LE(verdict.relative, relativeResidual) << e.a.rows();
    EXPECT_GT(verdict.distance, 0.0);
}

TEST(RiccatiSubspace, HamiltonianAndExtendedPencilFindTheContinuousSolution) {
    NormalNumbers numbers(1);
    for (const int n : {1, 2, 3, 10, 40}) {
        const RiccatiEquation e = solvableEquation(continuousSystem, n, numbers);
        std::vector<double> x, y;
        ASSERT_TRUE(solveByHamiltonian(problemOf(e), x));
        expectSolution(e, x);
        ASSERT_TRUE(solveByExtendedPencil(problemOf(e), y));
        expectSolution(e, y);
    }
}

TEST(RiccatiSubspace, DoublingAndExtendedPencilFindTheDiscreteSolution) {
    NormalNumbers numbers(2);
    for (const int n : {1, 2, 3, 10, 40}) {
        const RiccatiEquation e = solvableEquation(discreteSystem, n, numbers);
        std::vector<double> x, y;
        ASSERT_TRUE(solveByDoubling(problemOf(e), x));
        expectSolution(e, x);
        ASSERT_TRUE(solveByExtendedPencil(problemOf(e), y));
        expectSolution(e, y);
    }
}

TEST(RiccatiSubspace, ExtendedPencilTakesASingularWeightThatTheOthersCannotInvert) {
    NormalNumbers numbers(3);
    const RiccatiEquation e = randomEquation(discreteSystem, 6, zeroMatrix(2, 2), 0.2, numbers);
    std::vector<double> x;
    EXPECT_FALSE(solveByDoubling(problemOf(e), x));
    EXPECT_TRUE(x.empty());
    ASSERT_TRUE(solveByExtendedPencil(problemOf(e), x));
    expectSolution(e, x);
}

TEST(RiccatiSubspace, ComesToNoEndWithoutASubspace) {
    // a = 0 and no input: the Hamiltonian and the pencil have nothing but a zero that belongs to neither side.
    RiccatiEquation e = riccati_detail::blank("nothing", continuousSystem, 1, 0);
    std::vector<double> x;
    EXPECT_FALSE(solveByHamiltonian(problemOf(e), x));
    EXPECT_FALSE(solveByExtendedPencil(problemOf(e), x));
    e.type = discreteSystem;
    e.a(0, 0) = 1.0;
    e.q(0, 0) = 1.0;  // x grows by 1 for every step, for ever
    EXPECT_FALSE(solveByDoubling(problemOf(e), x));
    EXPECT_TRUE(x.empty());
}

}  // namespace
