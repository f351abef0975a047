#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <random>
#include <vector>

#include <qormath/control_utility/singular_factors.hpp>
#include <qormath/lapack/blas.hpp>

namespace {

using qormath::control_utility::SingularFactors;
using qormath::lapack::Op;
using Values = std::vector<double>;

constexpr double epsilon = 0x1p-53;

std::size_t cells(int rows, int columns) {
    return static_cast<std::size_t>(rows) * static_cast<std::size_t>(columns);
}

Values multiplied(Op opA, int m, int n, int k, const Values& a, int lda, const Values& b, int ldb) {
    Values c(cells(m, n));
    qormath::lapack::gemm(opA, Op::none, m, n, k, 1.0, a.data(), lda, b.data(), ldb, 0.0, c.data(), m);
    return c;
}

double norm(const Values& x) {
    double squares = 0.0;
    for (const double element : x) {
        squares += element * element;
    }
    return std::sqrt(squares);
}

/// Elements that fall off by decay from column to column, times size.
Values randomMatrix(int n, double decay, double size) {
    std::mt19937_64 numbers(static_cast<unsigned>(n) + 3);
    Values x(cells(n, n));
    for (std::size_t k = 0; k < x.size(); ++k) {
        const double uniform = static_cast<double>(numbers() >> 11) * 0x1p-53 - 0.5;
        x[k] = uniform * size * std::pow(decay, static_cast<double>(k / static_cast<std::size_t>(n)));
    }
    return x;
}

/// x V_k - U_k diag(values) over n eps norm(x), and how far the vectors are from orthonormal over n eps.
void expectFactors(int n, int k, const Values& x, const SingularFactors& factors) {
    constexpr double c = 20.0;
    const Values u = factors.left(k);
    const Values v = factors.right(k);
    ASSERT_EQ(u.size(), cells(n, k));
    ASSERT_EQ(v.size(), cells(n, k));
    Values residual = multiplied(Op::none, n, k, n, x, n, v, n);
    for (std::size_t j = 0; j < static_cast<std::size_t>(k); ++j) {
        for (std::size_t i = 0; i < static_cast<std::size_t>(n); ++i) {
            residual[j * static_cast<std::size_t>(n) + i] -=
                u[j * static_cast<std::size_t>(n) + i] * factors.values()[j];
        }
    }
    EXPECT_LE(norm(residual), c * n * epsilon * norm(x));
    for (const Values& basis : {u, v}) {
        Values gram = multiplied(Op::transpose, k, k, n, basis, n, basis, n);
        for (std::size_t j = 0; j < static_cast<std::size_t>(k); ++j) {
            gram[j * static_cast<std::size_t>(k) + j] -= 1.0;
        }
        EXPECT_LE(norm(gram), c * n * epsilon);
    }
}

TEST(SingularFactors, OfBothRoutesHaveTheSameValuesAndTheirVectorsDecomposeTheMatrix) {
    for (const int n : {1, 2, 3, 24, 25, 26, 31, 32, 33, 63, 64, 65, 130}) {
        for (const double decay : {1.0, 0.6}) {
            const Values x = randomMatrix(n, decay, 1.0);
            SingularFactors asked;
            SingularFactors atOnce;
            ASSERT_TRUE(asked.decompose(n, x));
            ASSERT_TRUE(atOnce.decompose(n, x, SingularFactors::Route::atOnce));
            ASSERT_EQ(asked.values().size(), static_cast<std::size_t>(n));
            for (std::size_t j = 0; j < asked.values().size(); ++j) {
                EXPECT_NEAR(asked.values()[j], atOnce.values()[j], 10.0 * n * epsilon * atOnce.values()[0]) << n;
            }
            for (const int k : {1, (n + 1) / 2, n}) {
                expectFactors(n, k, x, asked);
                expectFactors(n, k, x, atOnce);
            }
        }
    }
}

TEST(SingularFactors, ComeInDescendingOrder) {
    SingularFactors factors;
    ASSERT_TRUE(factors.decompose(40, randomMatrix(40, 1.05, 1.0)));
    EXPECT_TRUE(std::is_sorted(factors.values().rbegin(), factors.values().rend()));
}

TEST(SingularFactors, OutsideTheSafeRangeAreThoseOfAllVectorsAtOnceToTheBit) {
    constexpr int n = 20;
    for (const double size : {0x1p-500, 0x1p500}) {
        const Values x = randomMatrix(n, 1.0, size);
        SingularFactors asked;
        SingularFactors atOnce;
        ASSERT_TRUE(asked.decompose(n, x));
        ASSERT_TRUE(atOnce.decompose(n, x, SingularFactors::Route::atOnce));
        EXPECT_EQ(asked.values(), atOnce.values());
        EXPECT_EQ(asked.left(n), atOnce.left(n));
        EXPECT_EQ(asked.right(3), atOnce.right(3));
    }
}

TEST(SingularFactors, OfZeroAreZeroWithOrthonormalVectors) {
    constexpr int n = 7;
    const Values zero(cells(n, n), 0.0);
    SingularFactors factors;
    ASSERT_TRUE(factors.decompose(n, zero));
    EXPECT_EQ(factors.values(), Values(n, 0.0));
    expectFactors(n, n, zero, factors);
}

}  // namespace
