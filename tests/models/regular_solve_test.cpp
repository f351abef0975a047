// Both routes to the steady state, over random matrices and over what the faster one has to leave to the other.

#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <support/failures.hpp>
#include <support/matrix_compare.hpp>
#include <support/random_matrices.hpp>
#include <vector>

#include <qormath/core/arithmetic.hpp>
#include <qormath/models/detail/regular_solve.hpp>
#include <qormath/models/lti_state_space_model.hpp>

namespace {

using qormath::models::solveByPseudoInverse;
using qormath::models::solveClearlyRegular;
using qormath::test::frobeniusNorm;
using qormath::test::identical;
using qormath::test::NormalNumbers;
using qormath::test::randomMatrix;
using qormath::test::unitRoundoff;
using QorMathLA::Matrix;
using QorMathLA::product;
using QorMathLA::zeroMatrix;

// Below, at and above the order up to which loops take the place of LAPACK.
constexpr int orders[] = {1, 2, 3, 8, 11, 12, 13, 40};

/// A matrix of order n whose singular values fall from largest by the condition number.
Matrix<double> conditioned(int n, double largest, double condition, NormalNumbers& numbers) {
    std::vector<double> values;
    for (int k = 0; k < n; ++k) {
        values.push_back(largest * std::pow(condition, n == 1 ? 0.0 : -static_cast<double>(k) / (n - 1)));
    }
    return qormath::test::randomWithSingularValues(n, n, values, numbers);
}

TEST(ClearlyRegularSolve, AgreesWithThePseudoInverse) {
    constexpr double c = 10.0;
    NormalNumbers numbers(1);
    for (const int n : orders) {
        for (const double condition : {1.0, 1e3, 1e6}) {
            for (const double largest : {1.0, 1e3, 1e-3}) {
                const Matrix<double> matrix = conditioned(n, largest, condition, numbers);
                const Matrix<double> b = randomMatrix(n, 3, numbers);
                const Matrix<double> before(matrix);
                Matrix<double> fast;
                ASSERT_TRUE(solveClearlyRegular(matrix, b, fast)) << n << ' ' << condition;
                EXPECT_TRUE(identical(matrix, before));
                const Matrix<double> plain = solveByPseudoInverse(matrix, b);
                const double inverse = condition / largest;
                EXPECT_LE(frobeniusNorm(fast - plain), c * n * unitRoundoff * condition * inverse * frobeniusNorm(b));
            }
        }
    }
}

// No worse than the pseudo-inverse: the residual of an LU factorisation does not grow with the condition.
TEST(ClearlyRegularSolve, LeavesAResidualInTheRounding) {
    constexpr double c = 10.0;
    NormalNumbers numbers(2);
    for (const int n : orders) {
        const Matrix<double> matrix = conditioned(n, 1.0, 1e6, numbers);
        const Matrix<double> b = randomMatrix(n, 2, numbers);
        Matrix<double> x;
        ASSERT_TRUE(solveClearlyRegular(matrix, b, x));
        EXPECT_LE(frobeniusNorm(product(matrix, x) - b),
                  c * n * unitRoundoff * (frobeniusNorm(matrix) * frobeniusNorm(x) + frobeniusNorm(b)));
    }
}

TEST(ClearlyRegularSolve, TakesTransposedMatricesAndViews) {
    NormalNumbers numbers(3);
    const Matrix<double> matrix = conditioned(5, 1.0, 10.0, numbers);
    const Matrix<double> b = randomMatrix(5, 2, numbers);
    const Matrix<double> turned = matrix.transpose();
    Matrix<double> x;
    ASSERT_TRUE(solveClearlyRegular(turned, b, x));
    EXPECT_LE(frobeniusNorm(product(matrix.transpose(), x) - b), 1e3 * unitRoundoff * frobeniusNorm(b));
}

void expectRefusal(const Matrix<double>& matrix, const Matrix<double>& b) {
    Matrix<double> x;
    EXPECT_FALSE(solveClearlyRegular(matrix, b, x));
}

TEST(ClearlyRegularSolve, RefusesWhatIsNotClearlyRegular) {
    NormalNumbers numbers(4);
    for (const int n : orders) {
        const Matrix<double> b = randomMatrix(n, 2, numbers);
        expectRefusal(zeroMatrix(n, n), b);
        expectRefusal(conditioned(n, 1e-12, 1.0, numbers), b);  // an eigenvalue might count as zero
        if (n > 1) {
            expectRefusal(conditioned(n, 1.0, 1e13, numbers), b);
            expectRefusal(conditioned(n, 1e8, 1e13, numbers), b);
            Matrix<double> singular = conditioned(n, 1.0, 1.0, numbers);
            singular.column(0) = 0.0;
            expectRefusal(singular, b);
        }
    }
}

TEST(ClearlyRegularSolve, RefusesWhatIsNotFiniteOrDoesNotFit) {
    NormalNumbers numbers(5);
    for (const int n : orders) {
        for (const double poison :
             {std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity()}) {
            Matrix<double> matrix = conditioned(n, 1.0, 10.0, numbers);
            matrix(n - 1, 0) = poison;
            expectRefusal(matrix, randomMatrix(n, 1, numbers));
        }
        expectRefusal(conditioned(n, 1.0, 10.0, numbers), randomMatrix(n + 1, 1, numbers));
        expectRefusal(randomMatrix(n, n + 1, numbers), randomMatrix(n, 1, numbers));
    }
    expectRefusal(zeroMatrix(0, 0), zeroMatrix(0, 2));
}

// What the fast route refuses fails as it always has, or gives the pseudo-inverse's result.
TEST(ClearlyRegularSolve, LeavesFailuresOfTheGainAsTheyAre) {
    NormalNumbers numbers(6);
    for (const int n : orders) {
        const auto gainOf = [n](const Matrix<double>& a, const Matrix<double>& b) {
            LTIStateSpaceModel model(a, b, zeroMatrix(1, n), zeroMatrix(1, 1), continuousSystem, 1.0);
            return model.gain();
        };
        const Matrix<double> b = randomMatrix(n, 1, numbers);
        qormath::test::expectMinusOne([&] { gainOf(zeroMatrix(n, n), b); });
        Matrix<double> poisoned = conditioned(n, 1.0, 10.0, numbers);
        poisoned(0, 0) = std::numeric_limits<double>::quiet_NaN();
        qormath::test::expectXmsg([&] { gainOf(poisoned, b); }, QorMathLA::NumericFailure, "Matrix balance");
        qormath::test::expectXmsg([&] { gainOf(conditioned(n, 1.0, 10.0, numbers), randomMatrix(n + 1, 1, numbers)); },
                                  QorMathLA::DimensionMismatch, "Matrix * Matrix");
    }
}

}  // namespace
