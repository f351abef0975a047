// ContinuousLyapunov and DiscreteLyapunov take one Schur form where nothing is in doubt, and go over the Sylvester
// equation everywhere else. Here both ways are taken and compared.

#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <string>
#include <utility>

#include <qormath/control/qor_math_control.hpp>
#include <qormath/control_utility/lyapunovfort.hpp>
#include <qormath/core/arithmetic.hpp>
#include <qormath/numerics/dense_gaussian_solver.hpp>

#include "support/failures.hpp"
#include "support/matrix_compare.hpp"
#include "support/matrix_literals.hpp"
#include "support/random_matrices.hpp"

namespace {

using QorMathLA::Matrix;
namespace test = qormath::test;

// Residuals are held to this many n eps norms.
constexpr double ratioLimit = 10.0;
// The inverses of the operators of the random problems below have norms of at most this: the fields of values are in
// disks of radius 0.9 around 0 or -1.
constexpr double inverseNorm = 6.0;

Matrix<double> stable(bool discrete, int n, test::NormalNumbers& numbers) {
    Matrix<double> a = test::randomMatrix(n, n, numbers);
    const double norm = test::frobeniusNorm(a);
    for (double& element : a) {
        element *= 0.9 / norm;
    }
    for (int k = 0; !discrete && k < n; ++k) {
        a(k, k) -= 1.0;
    }
    return a;
}

Matrix<double> deepTranspose(const Matrix<double>& a) {
    Matrix<double> transposed(a);
    transposed.transposeInPlace();
    return transposed;
}

// a x + x a' + q = 0 by two Schur forms.
void solveOverSylvester(Matrix<double>& x, const Matrix<double>& a, const Matrix<double>& q) {
    QorMathControl::SylvesterEquation(x, a, deepTranspose(a), q);
}

// a x a' - x + q = 0 by the bilinear map of a.
void solveOverBilinearMap(Matrix<double>& x, const Matrix<double>& a, const Matrix<double>& q) {
    const Matrix<double> identity(a.identity());
    QorMathLA::DenseGaussianSolver solver(a + identity);
    solver.initialize();
    solver.factorize();
    const Matrix<double> m(Matrix<double>(solver.solve(a - identity)), true);
    solveOverSylvester(x, m, (identity - m) * q * (identity - m.transpose()) / 2.0);
}

bool isClear(bool discrete, const Matrix<double>& a, const Matrix<double>& q) {
    Matrix<double> scratch(a), x(q * -1.0);
    return qormath::control_utility::solveClearLyapunov(discrete, a.rows(), scratch.numericData(true),
                                                        x.numericData(true));
}

double sizeOfTerms(bool discrete, const Matrix<double>& a, const Matrix<double>& x, const Matrix<double>& q) {
    const double norm = test::frobeniusNorm(a);
    return (discrete ? norm * norm + 1.0 : 2.0 * norm) * test::frobeniusNorm(x) + test::frobeniusNorm(q);
}

class LyapunovRoutes : public testing::TestWithParam<int> {};

TEST_P(LyapunovRoutes, AgreeToRoundingOnRandomContinuousProblems) {
    const int n = GetParam();
    test::NormalNumbers numbers(static_cast<unsigned>(100 + n));
    for (const bool symmetric : {false, true}) {
        const Matrix<double> a = stable(false, n, numbers);
        Matrix<double> q = test::randomMatrix(n, n, numbers);
        if (symmetric) {
            q = Matrix<double>(q + q.transpose());
        }
        ASSERT_TRUE(isClear(false, a, q));
        Matrix<double> x, other;
        QorMathControl::ContinuousLyapunov(x, a, q);
        solveOverSylvester(other, a, q);
        const double rounding = n * test::unitRoundoff * sizeOfTerms(false, a, x, q);
        EXPECT_LE(test::frobeniusNorm(Matrix<double>(a * x + x * a.transpose() + q)), ratioLimit * rounding);
        EXPECT_LE(test::frobeniusNorm(test::differenceOf(x, other)), 2.0 * ratioLimit * inverseNorm * rounding);
        if (symmetric) {
            EXPECT_TRUE(test::identical(x, x.transpose()));
        }
    }
}

TEST_P(LyapunovRoutes, AgreeToRoundingOnRandomDiscreteProblems) {
    const int n = GetParam();
    test::NormalNumbers numbers(static_cast<unsigned>(200 + n));
    for (const bool symmetric : {false, true}) {
        const Matrix<double> a = stable(true, n, numbers);
        Matrix<double> q = test::randomMatrix(n, n, numbers);
        if (symmetric) {
            q = Matrix<double>(q + q.transpose());
        }
        ASSERT_TRUE(isClear(true, a, q));
        Matrix<double> x, other;
        QorMathControl::DiscreteLyapunov(x, a, q);
        solveOverBilinearMap(other, a, q);
        const double rounding = n * test::unitRoundoff * sizeOfTerms(true, a, x, q);
        EXPECT_LE(test::frobeniusNorm(Matrix<double>(a * x * a.transpose() - x + q)), ratioLimit * rounding);
        // The map, with a + I of a condition below 20 here, has its share in the difference.
        EXPECT_LE(test::frobeniusNorm(test::differenceOf(x, other)), 20.0 * ratioLimit * inverseNorm * rounding);
    }
}

INSTANTIATE_TEST_SUITE_P(All, LyapunovRoutes, testing::Values(1, 2, 3, 5, 31, 32, 33, 64, 100));

// Of each pair of functions, what came out: the exception, and what was left in x.
template <typename Solve>
std::string outcomeOf(Solve solve, const Matrix<double>& a, const Matrix<double>& q) {
    Matrix<double> x = test::matrixOf({{7.0}});
    std::string thrown = "nothing";
    try {
        solve(x, a, q);
    } catch (int failure) {
        thrown = std::to_string(failure);
    } catch (const QorMathLA::xmsg& failure) {
        thrown = failure.message;
    }
    return thrown + " thrown, left " + test::written(x);
}

TEST(LyapunovRoutes, TakeTheSylvesterEquationToTheBitWhereTheContinuousProblemIsNotClear) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const double infinity = std::numeric_limits<double>::infinity();
    const Matrix<double> q = test::matrixOf({{1.0, 0.5}, {0.25, 2.0}});
    const Matrix<double> regular = test::matrixOf({{-1.0, 0.5}, {0.0, -2.0}});
    const Matrix<double> wide = test::matrixOf({{1.0, 2.0, 3.0}, {4.0, 5.0, 6.0}});
    const std::pair<Matrix<double>, Matrix<double>> problems[] = {
        {test::matrixOf({{0.0, 0.0}, {0.0, -1.0}}), q},    // an integrator
        {test::matrixOf({{1.0, 3.0}, {0.0, -1.0}}), q},    // opposite eigenvalues
        {test::matrixOf({{-1e-9, 0.0}, {0.0, -1.0}}), q},  // an eigenvalue near the axis
        {test::matrixOf({{0.0, 1.0}, {-1.0, 0.0}}), q},    // a pair on the axis
        {test::matrixOf({{nan, 0.0}, {0.0, -1.0}}), q},    //
        {regular, test::matrixOf({{infinity, 0.0}, {0.0, 1.0}})},
        {test::matrixOf({{-1e200, 0.0}, {0.0, -1e-200}}), q},  // out of the moderate range
        {regular, q * 1e-100},
        {regular, wide},
        {wide, q},
    };
    for (const auto& [a, constant] : problems) {
        EXPECT_EQ(outcomeOf(QorMathControl::ContinuousLyapunov, a, constant),
                  outcomeOf(solveOverSylvester, a, constant));
    }
}

TEST(LyapunovRoutes, TakeTheBilinearMapToTheBitWhereTheDiscreteProblemIsNotClear) {
    const double infinity = std::numeric_limits<double>::infinity();
    const Matrix<double> q = test::matrixOf({{1.0, 0.5}, {0.25, 2.0}});
    const Matrix<double> regular = test::matrixOf({{-0.5, 0.5}, {0.0, 0.25}});
    const std::pair<Matrix<double>, Matrix<double>> problems[] = {
        {test::matrixOf({{1.0 - 1e-9, 0.0}, {0.0, 0.5}}), q},           // an eigenvalue near the circle
        {test::matrixOf({{1e-3, 0.0}, {0.0, 1e3 * (1.0 + 1e-9)}}), q},  // a nearly reciprocal pair
        {regular, test::matrixOf({{infinity, 0.0}, {0.0, 1.0}})},
        {regular, q * 1e-100},
    };
    for (const auto& [a, constant] : problems) {
        EXPECT_FALSE(isClear(true, a, constant));
        EXPECT_EQ(outcomeOf(QorMathControl::DiscreteLyapunov, a, constant),
                  outcomeOf(solveOverBilinearMap, a, constant));
    }
}

TEST(LyapunovRoutes, KeepTheDigitsOfADiscreteProblemWithAnEigenvalueNearMinusOne) {
    const Matrix<double> a = test::matrixOf({{-1.0 + 1e-6, 0.25}, {0.0, 0.5}});
    const Matrix<double> q = test::matrixOf({{1.0, 0.5}, {0.5, 2.0}});
    Matrix<double> x;
    QorMathControl::DiscreteLyapunov(x, a, q);
    EXPECT_LE(test::frobeniusNorm(Matrix<double>(a * x * a.transpose() - x + q)),
              ratioLimit * 2.0 * test::unitRoundoff * sizeOfTerms(true, a, x, q));
}

TEST(LyapunovRoutes, OfAClearProblemTakeNothingBeyondTheModerateRange) {
    Matrix<double> a = test::matrixOf({{-1.0}}), x = test::matrixOf({{1.0}});
    EXPECT_TRUE(isClear(false, a, x));
    EXPECT_FALSE(isClear(false, a * 0x1p201, x));
    EXPECT_FALSE(isClear(false, a * 0x1p-201, x));
    EXPECT_FALSE(isClear(false, a, x * 0x1p201));
    EXPECT_FALSE(isClear(false, a, x * 0x1p-201));
    EXPECT_FALSE(qormath::control_utility::solveClearLyapunov(false, 0, nullptr, nullptr));
}

}  // namespace
