#include <cmath>
#include <gtest/gtest.h>
#include <vector>

#include <qormath/control_utility/riccati_problem.hpp>

#include "support/raw_matrix.hpp"

namespace {

using namespace qormath::test;
using namespace qormath::control_utility;
using qormath::lapack::Op;

const double eps = std::ldexp(1.0, -53);

RawMatrix symmetricPart(RawMatrix a) {
    symmetrize(a.rows, a.elements);
    return a;
}

RiccatiProblem problemOf(bool discrete, const RawMatrix& a, const RawMatrix& b, const RawMatrix& q, const RawMatrix& r,
                         const RawMatrix& s) {
    return {discrete, a.rows, b.cols, a.elements, b.elements, q.elements, r.elements, s.elements};
}

RiccatiProblem randomProblem(bool discrete, int n, int m, NormalNumbers& numbers) {
    return problemOf(discrete, rawRandom(n, n, numbers), rawRandom(n, m, numbers),
                     symmetricPart(rawRandom(n, n, numbers)), symmetricPart(rawRandom(m, m, numbers)),
                     rawRandom(n, m, numbers));
}

RawMatrix view(int rows, int cols, const std::vector<double>& elements) {
    RawMatrix result(rows, cols);
    result.elements = elements;
    return result;
}

/// b r^-1 b', in which a turn of the inputs does not show.
RawMatrix reach(const RiccatiProblem& p, const std::vector<double>& left) {
    RawMatrix result(p.n, p.n);
    for (int k = 0; k < p.m; ++k) {
        const RawMatrix column = part(view(p.n, p.m, left), 0, p.n, k, 1);
        const RawMatrix outer = product(column, column, Op::none, Op::transpose);
        const double weight = p.r[static_cast<std::size_t>(k) * static_cast<std::size_t>(p.m + 1)];
        for (std::size_t i = 0; i < outer.elements.size(); ++i) {
            result.elements[i] += outer.elements[i] / weight;
        }
    }
    return result;
}

TEST(RiccatiProblem, IsSymmetricUpToHalfOfTheDigits) {
    std::vector<double> a = {1.0, 2.0, 2.0, 5.0};
    EXPECT_TRUE(isSymmetric(2, a));
    a[1] += std::ldexp(5.0, -27);
    EXPECT_TRUE(isSymmetric(2, a));
    a[1] += std::ldexp(5.0, -26);
    EXPECT_FALSE(isSymmetric(2, a));
    EXPECT_TRUE(isSymmetric(0, {}));
}

TEST(RiccatiProblem, SymmetricPartIsSymmetricToTheBitAndDoesNotOverflow) {
    std::vector<double> a = {1.0, 1.5e308, 1.7e308, 5.0};
    symmetrize(2, a);
    EXPECT_EQ(a[1], 1.6e308);
    EXPECT_EQ(a[2], a[1]);
    EXPECT_EQ(a[0], 1.0);
    EXPECT_EQ(a[3], 5.0);
}

TEST(RiccatiProblem, OfContinuousTimeGetsADiagonalWeightWithoutItsKernel) {
    NormalNumbers numbers(1);
    const int n = 4;
    const int m = 5;
    RiccatiProblem problem = randomProblem(false, n, m, numbers);
    const RawMatrix turn = rawRandomOrthogonal(m, numbers);
    RawMatrix weights(m, m);
    for (int k = 0; k < m; ++k) {
        weights(k, k) = k < 3 ? 1.0 + k : (k == 3 ? 1e-20 : 0.0);
    }
    const RawMatrix r = symmetricPart(product(product(turn, weights), turn, Op::none, Op::transpose));
    problem.r = r.elements;
    // What remains of b in the directions of weight.
    const RawMatrix kept = part(turn, 0, m, 0, 3);
    RiccatiProblem expected = problem;
    expected.m = 3;
    expected.b = product(view(n, m, problem.b), kept).elements;
    expected.s = product(view(n, m, problem.s), kept).elements;
    expected.r = part(weights, 0, 3, 0, 3).elements;

    ASSERT_TRUE(leaveOutIdleInputs(problem));
    ASSERT_EQ(problem.m, 3);
    for (int j = 0; j < 3; ++j) {
        for (int i = 0; i < 3; ++i) {
            const double element = view(3, 3, problem.r)(i, j);
            EXPECT_TRUE(i == j || element == 0.0);
        }
    }
    for (const auto member : {&RiccatiProblem::b, &RiccatiProblem::s}) {
        const RawMatrix before = reach(expected, expected.*member);
        const RawMatrix after = reach(problem, problem.*member);
        EXPECT_LE(frobeniusNorm(difference(before, after)), 100.0 * eps * frobeniusNorm(before));
    }
}

TEST(RiccatiProblem, KeepsADiagonalWeightToTheLastDigitBesideALargerOne) {
    NormalNumbers numbers(2);
    RiccatiProblem problem = randomProblem(false, 2, 2, numbers);
    problem.r = {1e10, 0.0, 0.0, 0.3};
    const RiccatiProblem before = problem;
    ASSERT_TRUE(leaveOutIdleInputs(problem));
    EXPECT_EQ(problem.r, before.r);
    EXPECT_EQ(problem.b, before.b);
    EXPECT_EQ(problem.s, before.s);
}

TEST(RiccatiProblem, OfDiscreteTimeLosesTheInputsOfNoEffectAlone) {
    NormalNumbers numbers(3);
    const RiccatiProblem narrow = randomProblem(true, 4, 2, numbers);
    const RawMatrix spread = rawRandom(2, 5, numbers);
    RiccatiProblem wide = narrow;
    wide.m = 5;
    wide.b = product(view(4, 2, narrow.b), spread).elements;
    wide.s = product(view(4, 2, narrow.s), spread).elements;
    wide.r = symmetricPart(product(product(spread, view(2, 2, narrow.r), Op::transpose, Op::none), spread)).elements;
    ASSERT_TRUE(leaveOutIdleInputs(wide));
    EXPECT_EQ(wide.m, 2);

    RiccatiProblem singular = narrow;
    singular.r = {0.0, 0.0, 0.0, 0.0};
    ASSERT_TRUE(leaveOutIdleInputs(singular));
    EXPECT_EQ(singular.m, 2);

    RiccatiProblem none = randomProblem(true, 3, 0, numbers);
    EXPECT_TRUE(leaveOutIdleInputs(none));
}

TEST(RiccatiProblem, BalancingIsAChangeOfUnitsByPowersOfTwo) {
    NormalNumbers numbers(4);
    const int n = 5;
    const int m = 2;
    for (const bool discrete : {false, true}) {
        RiccatiProblem problem = randomProblem(discrete, n, m, numbers);
        for (int k = 0; k < n; ++k) {  // other units, and a cost of another currency
            const double unit = std::pow(10.0, numbers.uniform(-6.0, 6.0));
            for (int i = 0; i < n; ++i) {
                problem.a[cells(n, i) + static_cast<std::size_t>(k)] *= unit;
                problem.a[cells(n, k) + static_cast<std::size_t>(i)] /= unit;
            }
            for (int i = 0; i < n; ++i) {
                problem.q[cells(n, i) + static_cast<std::size_t>(k)] /= unit;
                problem.q[cells(n, k) + static_cast<std::size_t>(i)] /= unit;
            }
            for (int i = 0; i < m; ++i) {
                problem.b[cells(n, i) + static_cast<std::size_t>(k)] *= unit;
                problem.s[cells(n, i) + static_cast<std::size_t>(k)] /= unit;
            }
        }
        for (std::vector<double>* const cost : {&problem.q, &problem.s, &problem.r}) {
            for (double& element : *cost) {
                element *= 1e9;
            }
        }
        const RiccatiProblem before = problem;
        const RiccatiScaling scaling = balanceRiccatiProblem(problem);
        int exponent = 0;
        EXPECT_EQ(std::frexp(scaling.weight, &exponent), 0.5);
        for (int j = 0; j < n; ++j) {
            const double toState = scaling.state[static_cast<std::size_t>(j)];
            EXPECT_EQ(std::frexp(toState, &exponent), 0.5);
            for (int i = 0; i < n; ++i) {
                const double ofState = scaling.state[static_cast<std::size_t>(i)];
                const std::size_t here = cells(n, j) + static_cast<std::size_t>(i);
                EXPECT_EQ(problem.a[here], before.a[here] * toState / ofState);
                EXPECT_EQ(problem.q[here], before.q[here] * toState * ofState / scaling.weight);
            }
        }
        for (int j = 0; j < m; ++j) {
            const double input = std::sqrt(problem.r[cells(m, j) + static_cast<std::size_t>(j)] /
                                           before.r[cells(m, j) + static_cast<std::size_t>(j)] * scaling.weight);
            for (int i = 0; i < n; ++i) {
                const double ofState = scaling.state[static_cast<std::size_t>(i)];
                const std::size_t here = cells(n, j) + static_cast<std::size_t>(i);
                EXPECT_EQ(problem.b[here], before.b[here] * input / ofState);
                EXPECT_EQ(problem.s[here], before.s[here] * input * ofState / scaling.weight);
            }
        }
        // The elements are of like magnitude again.
        for (const auto member : {&RiccatiProblem::a, &RiccatiProblem::q}) {
            EXPECT_LT(frobeniusNorm(view(n, n, problem.*member)), 1e3);
            EXPECT_GT(frobeniusNorm(view(n, n, problem.*member)), 1e-3);
        }
    }
}

}  // namespace
