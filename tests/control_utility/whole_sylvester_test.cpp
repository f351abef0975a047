#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <string>
#include <tuple>
#include <vector>

#include <qormath/control_utility/whole_sylvester.hpp>
#include <qormath/lapack/lapack.hpp>

#include "support/quasi_triangular.hpp"
#include "support/raw_matrix.hpp"

namespace {

using namespace qormath;
using lapack::Op;
using test::RawMatrix;

// Residuals are held to this many (m + n) eps norms.
constexpr double ratioLimit = 10.0;

struct Solution {
    int info = 0;
    double scale = 0.0;
    RawMatrix x;
};

Solution solve(const RawMatrix& a, const RawMatrix& b, const RawMatrix& c) {
    const int lda = a.rows + 1;
    const int ldb = b.rows + 3;
    const int ldc = a.rows + 2;
    const std::vector<double> guardedA = test::withGuardRows(a.rows, a.cols, a.elements, lda);
    const std::vector<double> guardedB = test::withGuardRows(b.rows, b.cols, b.elements, ldb);
    std::vector<double> x = test::withGuardRows(c.rows, c.cols, c.elements, ldc);
    Solution solution;
    solution.info = control_utility::solveWholeSylvester(a.rows, b.rows, guardedA.data(), lda, guardedB.data(), ldb,
                                                         x.data(), ldc, solution.scale);
    for (int j = 0; j < c.cols; ++j) {
        EXPECT_TRUE(std::isnan(x[test::cells(ldc, j) + static_cast<std::size_t>(a.rows)]));
    }
    solution.x = RawMatrix(c.rows, c.cols);
    solution.x.elements = test::packed(c.rows, c.cols, x.data(), ldc);
    return solution;
}

Solution solveColumnwise(const RawMatrix& a, const RawMatrix& b, const RawMatrix& c) {
    Solution solution;
    solution.x = c;
    solution.info = lapack::trsyl(Op::none, Op::none, 1, a.rows, b.rows, a.data(), a.rows, b.data(), b.rows,
                                  solution.x.data(), c.rows, solution.scale);
    return solution;
}

void expectTheColumnwiseOutcome(const RawMatrix& a, const RawMatrix& b, const RawMatrix& c) {
    const Solution found = solve(a, b, c);
    const Solution expected = solveColumnwise(a, b, c);
    EXPECT_EQ(found.info, expected.info);
    EXPECT_EQ(found.scale, expected.scale);
    EXPECT_EQ(found.x, expected.x);
}

// Real parts in (0.1, 2).
test::Eigenvalue rightHalf(test::NormalNumbers& numbers) {
    return {0.1 + 1.9 * numbers.uniform(), 0.1 + 2.9 * numbers.uniform()};
}

RawMatrix rightForm(int n, double pairShare, std::uint64_t seed) {
    return test::quasiTriangular(n, pairShare, 1.0 / std::sqrt(std::max(1, n)), seed, rightHalf);
}

RawMatrix rightSide(int m, int n) {
    test::NormalNumbers numbers(9);
    return test::rawRandom(m, n, numbers);
}

class WholeSylvesterOverSizes : public ::testing::TestWithParam<std::tuple<int, int>> {};

TEST_P(WholeSylvesterOverSizes, LeavesAResidualOfRoundingSize) {
    const auto [m, n] = GetParam();
    for (const double pairShare : {0.0, 0.6, 1.0}) {
        const RawMatrix a = rightForm(m, pairShare, 1);
        const RawMatrix b = rightForm(n, pairShare, 2);
        const RawMatrix c = rightSide(m, n);
        const Solution solution = solve(a, b, c);
        EXPECT_EQ(solution.info, 0);
        EXPECT_EQ(solution.scale, 1.0);
        const RawMatrix residual = difference(difference(c, product(a, solution.x)), product(solution.x, b));
        const double size = (frobeniusNorm(a) + frobeniusNorm(b)) * frobeniusNorm(solution.x) + frobeniusNorm(c);
        EXPECT_LE(frobeniusNorm(residual), ratioLimit * (m + n) * lapack::machineEpsilon() * size);
    }
}

// 32 is the largest order that goes to the column-wise routine.
INSTANTIATE_TEST_SUITE_P(All, WholeSylvesterOverSizes,
                         ::testing::Combine(::testing::Values(1, 2, 31, 32, 33, 130),
                                            ::testing::Values(1, 2, 31, 32, 33, 101)));

TEST(WholeSylvester, OfEqualSpectraGivesTheColumnwiseOutcome) {
    for (const double pairShare : {0.0, 0.5, 1.0}) {
        for (const int n : {2, 33, 80}) {
            const RawMatrix a = rightForm(n, pairShare, 3);
            RawMatrix b = a;
            for (double& element : b.elements) {
                element = -element;
            }
            EXPECT_EQ(solve(a, b, rightSide(n, n)).info, 1);
            expectTheColumnwiseOutcome(a, b, rightSide(n, n));
        }
    }
}

TEST(WholeSylvester, OfOneCommonEigenvalueGivesTheColumnwiseOutcome) {
    for (const double pairShare : {0.0, 0.5}) {
        const RawMatrix a = rightForm(90, pairShare, 4);
        const RawMatrix b = rightForm(70, pairShare, 5);
        for (int k = 0; k < 90; ++k) {
            const bool inPair = (k + 1 < 90 && a(k + 1, k) != 0.0) || (k > 0 && a(k, k - 1) != 0.0);
            if (!inPair) {
                RawMatrix met = b;
                met(69, 69) = -a(k, k);
                met(69, 68) = 0.0;
                EXPECT_EQ(solve(a, met, rightSide(90, 70)).info, 1);
                expectTheColumnwiseOutcome(a, met, rightSide(90, 70));
                break;
            }
        }
    }
}

// A leaf of the recursion knows nothing of a large element elsewhere, against which small distances are nothing.
TEST(WholeSylvester, JudgesDistancesAgainstTheLargestElementOfAll) {
    const int n = 80;
    for (const bool inA : {true, false}) {
        for (const double pairShare : {0.0, 0.6}) {
            for (const double large : {1e12, 1e15, 1e16, 1e18}) {
                SCOPED_TRACE(large);
                RawMatrix a = rightForm(n, inA ? 0.0 : pairShare, 6);
                RawMatrix b = rightForm(n, inA ? pairShare : 0.0, 7);
                (inA ? a : b)(0, n - 1) = large;
                const RawMatrix c = rightSide(n, n);
                const Solution found = solve(a, b, c);
                const Solution expected = solveColumnwise(a, b, c);
                EXPECT_EQ(found.info, expected.info);
                EXPECT_EQ(found.info, large > 1e15 ? 1 : 0);
                EXPECT_EQ(found.scale, expected.scale);
                if (expected.info == 1) {
                    EXPECT_EQ(found.x, expected.x);
                }
            }
        }
    }
}

TEST(WholeSylvester, AgreesWithTheColumnwiseJudgementOnBothSidesOfTheLimit) {
    // The largest element is 1024, so that the limit is 2^-42.
    constexpr double limit = 0x1p-42;
    const int n = 60;
    for (const double distance : {0.5 * limit, limit, limit * (1.0 + 0x1p-8), 2.0 * limit}) {
        RawMatrix a = rightForm(n, 0.0, 8);
        RawMatrix b = rightForm(n, 0.0, 9);
        a(0, n - 1) = 1024.0;
        a(40, 40) = 0.5;
        b(20, 20) = -0.5 + distance;
        EXPECT_EQ(solve(a, b, rightSide(n, n)).info, distance <= limit ? 1 : 0) << distance;
        EXPECT_EQ(solveColumnwise(a, b, rightSide(n, n)).info, distance <= limit ? 1 : 0) << distance;
    }
    // The same with a pair: its second pivot beside a single eigenvalue is near distance^2 / coupling.
    for (const double distance : {0.5 * limit, 0.9 * limit, 1.1 * limit, 2.0 * limit}) {
        RawMatrix a = rightForm(n, 0.0, 8);
        RawMatrix b = rightForm(n, 0.0, 9);
        a(0, n - 1) = 1024.0;
        a(40, 40) = a(41, 41) = 0.5;
        a(40, 41) = 2.0;
        a(41, 40) = -distance;
        b(20, 20) = -0.5;
        EXPECT_EQ(solve(a, b, rightSide(n, n)).info, distance < limit ? 1 : 0) << distance;
        EXPECT_EQ(solveColumnwise(a, b, rightSide(n, n)).info, distance < limit ? 1 : 0) << distance;
        EXPECT_EQ(solve(b, a, rightSide(n, n)).info, distance < limit ? 1 : 0) << distance;
    }
}

TEST(WholeSylvester, OfASolutionNearTheLargestNumberGivesTheColumnwiseOutcome) {
    const int n = 60;
    const RawMatrix a = rightForm(n, 0.5, 10);
    RawMatrix b = rightForm(n, 0.5, 11);
    for (const double size : {1e272, 1e290, 1e306}) {
        RawMatrix c = rightSide(n, n);
        for (double& element : c.elements) {
            element *= size;
        }
        expectTheColumnwiseOutcome(a, b, c);
    }
}

}  // namespace
