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

// ------------------------------------------------------------------------------------------------- against dtrsyl

TEST(TriangularSylvester, AgreesWithTheColumnwiseKernelToTheSeparationOfTheSpectra) {
    // Eigenvalues in (1, 2) and strictly upper parts of norm below 0.2 keep the separation above 1.
    const auto nearOne = [](test::NormalNumbers& numbers) { return test::Eigenvalue{1.0 + numbers.uniform(), 0.0}; };
    constexpr double separation = 1.0;
    for (const int m : {5, 32, 100}) {
        for (const int n : {7, 33, 90}) {
            const RawMatrix a = test::quasiTriangular(m, 0.0, 0.1 / m, 21, nearOne);
            const RawMatrix b = test::quasiTriangular(n, 0.0, 0.1 / n, 22, nearOne);
            test::NormalNumbers numbers(23);
            RawMatrix c(m, n);
            c.elements = numbers.matrix(m, n);
            for (const Op opA : {Op::none, Op::transpose}) {
                for (const Op opB : {Op::none, Op::transpose}) {
                    const Solution solution = solve(opA, opB, 1, a, b, c);
                    RawMatrix columnwise = c;
                    double scale = 0.0;
                    ASSERT_EQ(lapack::trsyl(opA, opB, 1, m, n, a.data(), m, b.data(), n, columnwise.data(), m, scale),
                              0);
                    ASSERT_EQ(scale, 1.0);
                    const double bound = ratioLimit * (m + n) * lapack::machineEpsilon() *
                                         (frobeniusNorm(a) + frobeniusNorm(b)) / separation * frobeniusNorm(columnwise);
                    EXPECT_LE(frobeniusNorm(difference(solution.x, columnwise)), bound);
                }
            }
        }
    }
}

// -------------------------------------------------------------------------------------------------- near spectra

TEST(TriangularSylvester, LeavesAResidualOfRoundingSizeWhenSpectraNearlyMeet) {
    for (const int n : {2, 40, 90}) {
        const RawMatrix a = halfPlane(n, true, 0.5, 31);
        RawMatrix b = a;
        for (int k = 0; k < n; ++k) {
            b(k, k) *= 1.0 + 1e-10;
        }
        test::NormalNumbers numbers(32);
        RawMatrix c(n, n);
        c.elements = numbers.matrix(n, n);
        const Solution solution = solve(Op::none, Op::none, -1, a, b, c);
        EXPECT_EQ(solution.info, 0);
        EXPECT_LE(sylvesterRatio(Op::none, Op::none, -1, a, b, c, solution), ratioLimit);
    }
}

TEST(TriangularSylvester, TellsThatItPerturbedAnEquationWhoseSpectraMeet) {
    for (const int n : {1, 2, 50, 80}) {
        const RawMatrix a = halfPlane(n, true, 0.0, 41);
        test::NormalNumbers numbers(42);
        RawMatrix c(n, n);
        c.elements = numbers.matrix(n, n);
        const Solution solution = solve(Op::none, Op::transpose, -1, a, a, c);
        EXPECT_EQ(solution.info, 1);
        EXPECT_GT(solution.scale, 0.0);
        EXPECT_TRUE(std::isfinite(lapack::lange(lapack::Norm::maxAbs, n, n, solution.x.data(), n)));
    }
}

// ---------------------------------------------------------------------------------------- guard against overflow

/// The residual ratio of a solution near the largest number, judged on x and c divided by a power of two.
double ratioOfHuge(Op opA, Op opB, int sign, const RawMatrix& a, const RawMatrix& b, const RawMatrix& c,
                   Solution solution) {
    RawMatrix smallC = c;
    for (double& element : smallC.elements) {
        element *= 0x1p-600;
    }
    for (double& element : solution.x.elements) {
        element *= 0x1p-600;
    }
    return sylvesterRatio(opA, opB, sign, a, b, smallC, solution);
}

TEST(TriangularSylvester, ScalesASolutionThatWouldOverflow) {
    for (const int n : {1, 3, 40, 100}) {
        for (const Op opA : {Op::none, Op::transpose}) {
            for (const Op opB : {Op::none, Op::transpose}) {
                const RawMatrix a = halfPlane(n, true, 0.5, 51);
                RawMatrix b = a;
                b(n / 2, n / 2) *= 1.0 + 1e-9;
                test::NormalNumbers numbers(52);
                RawMatrix c(n, n);
                for (double& element : c.elements) {
                    element = 1e306 * (numbers.uniform() - 0.5);
                }
                const Solution solution = solve(opA, opB, -1, a, b, c);
                EXPECT_GT(solution.scale, 0.0);
                EXPECT_LT(solution.scale, 1.0);
                ASSERT_TRUE(std::isfinite(lapack::lange(lapack::Norm::maxAbs, n, n, solution.x.data(), n)));
                EXPECT_LE(ratioOfHuge(opA, opB, -1, a, b, c, solution), ratioLimit);
            }
        }
    }
}

TEST(TriangularSylvester, ScalesWhereOnlyTheProductOfTheHalvesWouldOverflow) {
    const int n = 70;
    for (const Op op : {Op::none, Op::transpose}) {
        RawMatrix a = halfPlane(n, true, 0.0, 61);
        const RawMatrix b = halfPlane(n, true, 0.0, 62);
        const RawMatrix c(n, n, 1e200);
        a(1, n - 2) = 1e200;
        for (const bool inA : {true, false}) {
            const RawMatrix& left = inA ? a : b;
            const RawMatrix& right = inA ? b : a;
            const Solution solution = solve(op, op, 1, left, right, c);
            EXPECT_EQ(solution.info, 0);
            EXPECT_GT(solution.scale, 0.0);
            EXPECT_LT(solution.scale, 1e-80);
            ASSERT_TRUE(std::isfinite(lapack::lange(lapack::Norm::maxAbs, n, n, solution.x.data(), n)));
            EXPECT_GT(lapack::lange(lapack::Norm::maxAbs, n, n, solution.x.data(), n), 1e260);
        }
    }
}

TEST(TriangularSylvester, LeavesTheScaleAtOneForHugeRightSidesThatDoNotOverflow) {
    const RawMatrix a = halfPlane(60, true, 0.5, 71);
    const RawMatrix c(60, 60, 1e260);
    const Solution solution = solve(Op::none, Op::transpose, 1, a, a, c);
    EXPECT_EQ(solution.scale, 1.0);
    EXPECT_LE(ratioOfHuge(Op::none, Op::transpose, 1, a, a, c, solution), ratioLimit);
}

}  // namespace
