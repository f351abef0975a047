#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <string>
#include <tuple>
#include <vector>

#include <qormath/control_utility/triangular_sylvester.hpp>
#include <qormath/lapack/lapack.hpp>

#include "support/quasi_triangular.hpp"
#include "support/raw_matrix.hpp"

namespace {

using namespace qormath;
using control_utility::solveTriangularSylvester;
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
Solution solve(Op opA, Op opB, int sign, const RawMatrix& a, const RawMatrix& b, const RawMatrix& c) {
    const int m = a.rows;
    const int n = b.rows;
    const int lda = m + 1;
    const int ldb = n + 3;
    const int ldc = m + 2;
    const std::vector<double> guardedA = test::guardedQuasiTriangular(a, lda);
    const std::vector<double> guardedB = test::guardedQuasiTriangular(b, ldb);
    std::vector<double> x = test::withGuardRows(m, n, c.elements, ldc);
    Solution solution;
    solution.info = solveTriangularSylvester(opA, opB, sign, m, n, guardedA.data(), lda, guardedB.data(), ldb, x.data(),
                                             ldc, solution.scale);
    for (int j = 0; j < n; ++j) {
        EXPECT_TRUE(std::isnan(x[test::cells(ldc, j) + static_cast<std::size_t>(m)]));
    }
    solution.x = RawMatrix(m, n);
    solution.x.elements = test::packed(m, n, x.data(), ldc);
    return solution;
}

// || op(a) x + sign x op(b) - scale c || / ((m + n) eps ((||a|| + ||b||) ||x|| + scale ||c||))
double sylvesterRatio(Op opA, Op opB, int sign, const RawMatrix& a, const RawMatrix& b, const RawMatrix& c,
                      const Solution& solution) {
    const RawMatrix left = product(a, solution.x, opA, Op::none);
    const RawMatrix right = product(solution.x, b, Op::none, opB);
    RawMatrix residual = left;
    for (std::size_t k = 0; k < residual.elements.size(); ++k) {
        residual.elements[k] += sign * right.elements[k] - solution.scale * c.elements[k];
    }
    const double size =
        (frobeniusNorm(a) + frobeniusNorm(b)) * frobeniusNorm(solution.x) + solution.scale * frobeniusNorm(c);
    const double error = frobeniusNorm(residual);
    return error == 0.0 ? 0.0 : error / ((a.rows + b.rows) * lapack::machineEpsilon() * size);
}

// Real parts in (0.1, 2): apart from minus those of another such matrix.
test::Eigenvalue rightHalf(test::NormalNumbers& numbers) {
    return {0.1 + 1.9 * numbers.uniform(), 0.1 + 2.9 * numbers.uniform()};
}

RawMatrix halfPlane(int n, bool right, double pairShare, std::uint64_t seed) {
    const double coupling = 1.0 / std::sqrt(std::max(1, n));
    return right ? test::quasiTriangular(n, pairShare, coupling, seed, rightHalf)
                 : test::quasiTriangular(n, pairShare, coupling, seed, test::stableContinuous);
}

class TriangularSylvesterOverSizes : public ::testing::TestWithParam<std::tuple<int, int>> {};

TEST_P(TriangularSylvesterOverSizes, LeavesAResidualOfRoundingSizeInEveryForm) {
    const auto [m, n] = GetParam();
    for (const Op opA : {Op::none, Op::transpose}) {
        for (const Op opB : {Op::none, Op::transpose}) {
            for (const int sign : {1, -1}) {
                for (const double pairShare : {0.0, 0.6, 1.0}) {
                    SCOPED_TRACE(std::string(1, static_cast<char>(opA)) + static_cast<char>(opB) +
                                 std::to_string(sign) + " pairs " + std::to_string(pairShare));
                    const RawMatrix a = halfPlane(m, true, pairShare, 3);
                    const RawMatrix b = halfPlane(n, sign == 1, pairShare, 4);
                    test::NormalNumbers numbers(9);
                    RawMatrix c(m, n);
                    c.elements = numbers.matrix(m, n);
                    const Solution solution = solve(opA, opB, sign, a, b, c);
                    EXPECT_EQ(solution.info, 0);
                    EXPECT_EQ(solution.scale, 1.0);
                    EXPECT_LE(sylvesterRatio(opA, opB, sign, a, b, c, solution), ratioLimit);
                }
            }
        }
    }
}

// 31, 32 and 33 are about the order of the leaves.
INSTANTIATE_TEST_SUITE_P(All, TriangularSylvesterOverSizes,
                         ::testing::Combine(::testing::Values(0, 1, 2, 3, 31, 32, 33, 150),
                                            ::testing::Values(0, 1, 2, 3, 31, 32, 33, 101)));

}  // namespace
