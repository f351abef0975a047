#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <tuple>
#include <vector>

#include <qormath/control_utility/triangular_lyapunov.hpp>
#include <qormath/lapack/lapack.hpp>

#include "support/lyapunov_ratio.hpp"
#include "support/quasi_triangular.hpp"
#include "support/raw_matrix.hpp"

namespace {

using namespace qormath;
using lapack::Op;
using test::RawMatrix;

constexpr double ratioLimit = 10.0;

struct Solution {
    int info = 0;
    double scale = 0.0;
    RawMatrix x;
};

// Calls the kernel with NaN wherever it may not read, and checks that it writes nothing but x.
Solution solve(bool discrete, const RawMatrix& a, const RawMatrix& c) {
    const int n = a.rows;
    const int lda = n + 1;
    const int ldx = n + 3;
    const std::vector<double> guardedA = test::guardedQuasiTriangular(a, lda);
    std::vector<double> x = test::withGuardRows(n, n, c.elements, ldx);
    for (int j = 0; j < n; ++j) {
        for (int i = j + 1; i < n; ++i) {
            x[test::cells(ldx, j) + static_cast<std::size_t>(i)] = std::numeric_limits<double>::quiet_NaN();
        }
    }
    Solution solution;
    solution.info =
        control_utility::solveTriangularLyapunov(discrete, n, guardedA.data(), lda, x.data(), ldx, solution.scale);
    for (int j = 0; j < n; ++j) {
        for (int i = n; i < ldx; ++i) {
            EXPECT_TRUE(std::isnan(x[test::cells(ldx, j) + static_cast<std::size_t>(i)]));
        }
    }
    solution.x = RawMatrix(n, n);
    solution.x.elements = test::packed(n, n, x.data(), ldx);
    return solution;
}

// Of the equations a x + x a' = scale c and x - a x a' = scale c, with x and c times a factor.
double ratio(bool discrete, const RawMatrix& a, const RawMatrix& c, const Solution& solution, double factor = 1.0) {
    RawMatrix x = solution.x;
    RawMatrix right = c;
    for (double& element : x.elements) {
        element *= factor;
    }
    for (double& element : right.elements) {
        element *= (discrete ? -factor : factor) * solution.scale;
    }
    return test::lyapunovRatio(discrete, test::transposed(a), x, right);
}

RawMatrix stable(bool discrete, int n, double pairShare, std::uint64_t seed) {
    const double coupling = 1.0 / std::sqrt(std::max(1, n));
    return discrete ? test::quasiTriangular(n, pairShare, 0.5 * coupling, seed, test::stableDiscrete)
                    : test::quasiTriangular(n, pairShare, coupling, seed, test::stableContinuous);
}

class TriangularLyapunovOverSizes : public ::testing::TestWithParam<std::tuple<bool, int>> {};

TEST_P(TriangularLyapunovOverSizes, GivesASymmetricSolutionWithAResidualOfRoundingSize) {
    const auto [discrete, n] = GetParam();
    for (const double pairShare : {0.0, 0.6, 1.0}) {
        SCOPED_TRACE(pairShare);
        test::NormalNumbers numbers(9);
        const RawMatrix a = stable(discrete, n, pairShare, 3);
        const RawMatrix c = test::rawRandomSymmetric(n, numbers);
        const Solution solution = solve(discrete, a, c);
        EXPECT_EQ(solution.info, 0);
        EXPECT_EQ(solution.scale, 1.0);
        EXPECT_EQ(solution.x, transposed(solution.x));
        EXPECT_LE(ratio(discrete, a, c, solution), ratioLimit);
    }
}

// 31 to 33 are about the order of the leaves, 63 to 66 about one cut.
INSTANTIATE_TEST_SUITE_P(All, TriangularLyapunovOverSizes,
                         ::testing::Combine(::testing::Bool(),
                                            ::testing::Values(0, 1, 2, 3, 31, 32, 33, 63, 64, 65, 66, 150)));

TEST(TriangularLyapunov, LeavesAResidualOfRoundingSizeNearTheLimitOfStability) {
    for (const bool discrete : {false, true}) {
        const auto nearLimit = [=](test::NormalNumbers& numbers) {
            const double angle = 0.1 + 2.9 * numbers.uniform();
            return discrete ? test::Eigenvalue{(1.0 - 1e-9) * std::cos(angle), (1.0 - 1e-9) * std::sin(angle)}
                            : test::Eigenvalue{-1e-9 * numbers.uniform(), angle};
        };
        for (const int n : {2, 40, 90}) {
            const RawMatrix a = test::quasiTriangular(n, 1.0, 0.1 / n, 12, nearLimit);
            test::NormalNumbers numbers(13);
            const RawMatrix c = test::rawRandomSymmetric(n, numbers);
            const Solution solution = solve(discrete, a, c);
            EXPECT_EQ(solution.info, 0);
            EXPECT_LE(ratio(discrete, a, c, solution), ratioLimit);
        }
    }
}

TEST(TriangularLyapunov, TellsThatItPerturbedAnEquationWithoutASolution) {
    for (const bool discrete : {false, true}) {
        for (const int n : {2, 50, 80}) {
            RawMatrix a = stable(discrete, n, 0.0, 14);
            a(n - 1, n - 1) = discrete ? 1.25 : 0.5;
            a(0, 0) = discrete ? 0.8 : -0.5;
            test::NormalNumbers numbers(15);
            const Solution solution = solve(discrete, a, test::rawRandomSymmetric(n, numbers));
            EXPECT_EQ(solution.info, 1);
            EXPECT_TRUE(std::isfinite(lapack::lange(lapack::Norm::maxAbs, n, n, solution.x.data(), n)));
        }
    }
}

TEST(TriangularLyapunov, ScalesASolutionThatWouldOverflow) {
    for (const bool discrete : {false, true}) {
        for (const int n : {1, 3, 50, 100}) {
            RawMatrix a = stable(discrete, n, 0.0, 16);
            a(n / 2, n / 2) = discrete ? 1.0 - 1e-12 : -1e-12;
            test::NormalNumbers numbers(17);
            RawMatrix c = test::rawRandomSymmetric(n, numbers);
            for (double& element : c.elements) {
                element *= 1e306;
            }
            const Solution solution = solve(discrete, a, c);
            EXPECT_GT(solution.scale, 0.0);
            EXPECT_LT(solution.scale, 1.0);
            ASSERT_TRUE(std::isfinite(lapack::lange(lapack::Norm::maxAbs, n, n, solution.x.data(), n)));
            EXPECT_LE(ratio(discrete, a, c, solution, 0x1p-600), ratioLimit);
        }
    }
}

TEST(TriangularLyapunov, ScalesWhereOnlyTheProductOfTheHalvesWouldOverflow) {
    const int n = 100;
    for (const bool discrete : {false, true}) {
        RawMatrix a = stable(discrete, n, 0.0, 18);
        a(1, n - 2) = 1e150;
        const Solution solution = solve(discrete, a, RawMatrix(n, n, 1e150));
        EXPECT_EQ(solution.info, 0);
        EXPECT_GT(solution.scale, 0.0);
        EXPECT_LT(solution.scale, 1e-25);
        EXPECT_TRUE(std::isfinite(lapack::lange(lapack::Norm::maxAbs, n, n, solution.x.data(), n)));
    }
}

}  // namespace
