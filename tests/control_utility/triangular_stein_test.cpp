#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <string>
#include <tuple>
#include <vector>

#include <qormath/control_utility/triangular_stein.hpp>
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

// Calls the kernel with NaN wherever it may not read, and checks that it writes nothing but x.
Solution solve(const RawMatrix& a, const RawMatrix& f, const RawMatrix& c) {
    const int m = a.rows;
    const int n = f.rows;
    const int lda = m + 1;
    const int ldf = n + 3;
    const int ldc = m + 2;
    const std::vector<double> guardedA = test::guardedQuasiTriangular(a, lda);
    const std::vector<double> guardedF = test::guardedQuasiTriangular(f, ldf);
    std::vector<double> x = test::withGuardRows(m, n, c.elements, ldc);
    Solution solution;
    solution.info = control_utility::solveTriangularStein(m, n, guardedA.data(), lda, guardedF.data(), ldf, x.data(),
                                                          ldc, solution.scale);
    for (int j = 0; j < n; ++j) {
        EXPECT_TRUE(std::isnan(x[test::cells(ldc, j) + static_cast<std::size_t>(m)]));
    }
    solution.x = RawMatrix(m, n);
    solution.x.elements = test::packed(m, n, x.data(), ldc);
    return solution;
}

// || x - a x f' - scale c || / ((m + n) eps ((1 + ||a|| ||f||) ||x|| + scale ||c||)), of x and c times a factor.
double steinRatio(const RawMatrix& a, const RawMatrix& f, const RawMatrix& c, const Solution& solution,
                  double factor = 1.0) {
    RawMatrix x = solution.x;
    RawMatrix right = c;
    for (double& element : x.elements) {
        element *= factor;
    }
    for (double& element : right.elements) {
        element = element * factor * solution.scale;
    }
    const RawMatrix both = product(product(a, x), f, Op::none, Op::transpose);
    const double error = frobeniusNorm(difference(difference(x, both), right));
    const double size = (1.0 + frobeniusNorm(a) * frobeniusNorm(f)) * frobeniusNorm(x) + frobeniusNorm(right);
    return error == 0.0 ? 0.0 : error / ((a.rows + f.rows) * lapack::machineEpsilon() * size);
}

RawMatrix insideDisc(int n, double pairShare, std::uint64_t seed) {
    return test::quasiTriangular(n, pairShare, 0.5 / std::sqrt(std::max(1, n)), seed, test::stableDiscrete);
}

RawMatrix randomRight(int m, int n) {
    test::NormalNumbers numbers(9);
    RawMatrix c(m, n);
    c.elements = numbers.matrix(m, n);
    return c;
}

class TriangularSteinOverSizes : public ::testing::TestWithParam<std::tuple<int, int>> {};

TEST_P(TriangularSteinOverSizes, LeavesAResidualOfRoundingSize) {
    const auto [m, n] = GetParam();
    for (const double shareA : {0.0, 0.6, 1.0}) {
        for (const double shareF : {0.0, 0.6, 1.0}) {
            SCOPED_TRACE("pairs " + std::to_string(shareA) + " " + std::to_string(shareF));
            const RawMatrix a = insideDisc(m, shareA, 3);
            const RawMatrix f = insideDisc(n, shareF, 4);
            const RawMatrix c = randomRight(m, n);
            const Solution solution = solve(a, f, c);
            EXPECT_EQ(solution.info, 0);
            EXPECT_EQ(solution.scale, 1.0);
            EXPECT_LE(steinRatio(a, f, c, solution), ratioLimit);
        }
    }
}

// 15, 16 and 17 are about the order of the leaves, 127 to 129 about that of the panels.
INSTANTIATE_TEST_SUITE_P(All, TriangularSteinOverSizes,
                         ::testing::Combine(::testing::Values(0, 1, 2, 3, 15, 16, 17, 60, 150),
                                            ::testing::Values(0, 1, 2, 3, 15, 16, 17, 127, 128, 129, 270)));

TEST(TriangularStein, OfAZeroMatrixIsTheRightSide) {
    const RawMatrix c = randomRight(20, 40);
    EXPECT_EQ(solve(RawMatrix(20, 20), insideDisc(40, 0.5, 8), c).x, c);
    EXPECT_EQ(solve(insideDisc(20, 0.5, 8), RawMatrix(40, 40), c).x, c);
}

TEST(TriangularStein, OfShiftsAddsTheElementsDownTheDiagonals) {
    // With a and f both the upper shift, x(i, j) = c(i, j) + x(i + 1, j + 1), in sums of integers: exactly.
    const int n = 70;
    RawMatrix shift(n, n);
    RawMatrix c(n, n);
    for (int j = 0; j < n; ++j) {
        if (j > 0) {
            shift(j - 1, j) = 1.0;
        }
        for (int i = 0; i < n; ++i) {
            c(i, j) = (3 * i + 5 * j) % 7;
        }
    }
    RawMatrix expected = c;
    for (int j = n - 2; j >= 0; --j) {
        for (int i = n - 2; i >= 0; --i) {
            expected(i, j) += expected(i + 1, j + 1);
        }
    }
    EXPECT_EQ(solve(shift, shift, c).x, expected);
}

TEST(TriangularStein, LeavesAResidualOfRoundingSizeNearTheUnitCircle) {
    for (const int n : {1, 2, 40, 90}) {
        const auto nearCircle = [](test::NormalNumbers& numbers) {
            const double angle = 0.1 + 2.9 * numbers.uniform();
            return test::Eigenvalue{(1.0 - 1e-9) * std::cos(angle), (1.0 - 1e-9) * std::sin(angle)};
        };
        const RawMatrix a = test::quasiTriangular(n, 1.0, 0.1 / n, 12, nearCircle);
        const RawMatrix c = randomRight(n, n);
        const Solution solution = solve(a, a, c);
        EXPECT_EQ(solution.info, 0);
        EXPECT_LE(steinRatio(a, a, c, solution), ratioLimit);
    }
}

TEST(TriangularStein, LeavesAResidualOfRoundingSizeForSpectraOnBothSidesOfTheUnitCircle) {
    // Moduli in (0.1, 0.5) and (2.5, 4), of which no product is near 1.
    const auto apart = [](test::NormalNumbers& numbers) {
        const double modulus = numbers.uniform() < 0.5 ? numbers.uniform(0.1, 0.5) : numbers.uniform(2.5, 4.0);
        const double angle = 0.05 + 3.0 * numbers.uniform();
        return test::Eigenvalue{modulus * std::cos(angle), modulus * std::sin(angle)};
    };
    for (const int m : {1, 2, 17, 60}) {
        for (const int n : {1, 2, 16, 150}) {
            const RawMatrix a = test::quasiTriangular(m, 0.6, 0.3 / m, 19, apart);
            const RawMatrix f = test::quasiTriangular(n, 0.6, 0.3 / n, 20, apart);
            const RawMatrix c = randomRight(m, n);
            const Solution solution = solve(a, f, c);
            EXPECT_EQ(solution.info, 0);
            EXPECT_LE(steinRatio(a, f, c, solution), ratioLimit);
        }
    }
}

TEST(TriangularStein, TellsThatItPerturbedAnEquationWithoutASolution) {
    RawMatrix a = insideDisc(50, 0.0, 13);
    RawMatrix f = insideDisc(40, 0.0, 14);
    a(20, 20) = 4.0;
    f(10, 10) = 0.25;
    const Solution solution = solve(a, f, randomRight(50, 40));
    EXPECT_EQ(solution.info, 1);
    EXPECT_GT(solution.scale, 0.0);
    EXPECT_TRUE(std::isfinite(lapack::lange(lapack::Norm::maxAbs, 50, 40, solution.x.data(), 50)));
}

TEST(TriangularStein, ScalesASolutionThatWouldOverflow) {
    for (const int n : {1, 3, 50, 100}) {
        RawMatrix a = insideDisc(n, 0.0, 15);
        a(n / 2, n / 2) = 1.0 - 1e-12;
        RawMatrix c(n, n);
        test::NormalNumbers numbers(16);
        for (double& element : c.elements) {
            element = 1e306 * (0.5 + numbers.uniform());
        }
        const Solution solution = solve(a, a, c);
        EXPECT_GT(solution.scale, 0.0);
        EXPECT_LT(solution.scale, 1.0);
        ASSERT_TRUE(std::isfinite(lapack::lange(lapack::Norm::maxAbs, n, n, solution.x.data(), n)));
        EXPECT_LE(steinRatio(a, a, c, solution, 0x1p-600), ratioLimit);
    }
}

// Every number is a power of two, so that nothing is rounded: two pivots of 2^-50, one after the other in one leaf.
TEST(TriangularStein, ScalesWhereTheSolutionOverflowsWithinALeaf) {
    RawMatrix a(3, 3);
    a(0, 0) = 0.5;
    a(1, 1) = a(2, 2) = 1.0 - 0x1p-50;
    a(1, 2) = 0x1p30;
    RawMatrix f(2, 2);
    f(0, 0) = 1.0;
    RawMatrix c(3, 2);
    c(0, 0) = c(1, 1) = c(2, 0) = 0x1p900;
    const Solution solution = solve(a, f, c);
    EXPECT_EQ(solution.info, 0);
    ASSERT_GT(solution.scale, 0.0);
    EXPECT_LT(solution.scale, 0x1p-6);
    const auto expected = [&](int exponent) { return std::ldexp(solution.scale, exponent); };
    EXPECT_EQ(solution.x(2, 0), expected(950));
    EXPECT_EQ(solution.x(1, 0), expected(950) * 0x1p80);
    EXPECT_EQ(solution.x(0, 0), expected(901));  // solved after the scale was found
    EXPECT_EQ(solution.x(1, 1), expected(900));  // and before
}

TEST(TriangularStein, ScalesWhereOnlyTheProductOfTheHalvesWouldOverflow) {
    const int n = 100;
    RawMatrix a = insideDisc(n, 0.0, 17);
    const RawMatrix f = insideDisc(n, 0.0, 18);
    a(1, n - 2) = 1e150;
    const RawMatrix c(n, n, 1e150);
    for (const bool inA : {true, false}) {
        const Solution solution = inA ? solve(a, f, c) : solve(f, a, c);
        EXPECT_EQ(solution.info, 0);
        EXPECT_GT(solution.scale, 0.0);
        EXPECT_LT(solution.scale, 1e-25);
        EXPECT_TRUE(std::isfinite(lapack::lange(lapack::Norm::maxAbs, n, n, solution.x.data(), n)));
    }
}

}  // namespace
