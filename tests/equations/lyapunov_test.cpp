#include <cmath>
#include <complex>
#include <gtest/gtest.h>
#include <limits>
#include <vector>

#include <qormath/control/qor_math_control.hpp>
#include <qormath/core/arithmetic.hpp>

#include "support/control_test_access.hpp"
#include "support/failures.hpp"
#include "support/matrix_compare.hpp"
#include "support/matrix_literals.hpp"
#include "support/random_matrices.hpp"

namespace {

using QorMathLA::Matrix;
using QorMathLA::Range;
using test_access = QorMathControlTestAccess;
namespace test = qormath::test;

// Residuals are held to this many n eps norms.
constexpr double ratioLimit = 10.0;

// Eigenvalues inside the unit circle: stable as it stands when discrete, and with the identity taken off when not.
Matrix<double> stable(const systemType& type, int n, test::NormalNumbers& numbers) {
    Matrix<double> a = test::randomMatrix(n, n, numbers);
    const double norm = test::frobeniusNorm(a);
    for (double& element : a) {
        element *= 0.9 / norm;
    }
    for (int k = 0; type == continuousSystem && k < n; ++k) {
        a(k, k) -= 1.0;
    }
    return a;
}

// Complex pairs at a distance of 1e-9 from the limit of stability, at angles from 0.1 to 2.5 where discrete.
Matrix<double> nearlyUnstable(const systemType& type, int n, test::NormalNumbers& numbers) {
    std::vector<std::complex<double>> eigenvalues;
    for (int k = 0; k < n / 2; ++k) {
        const double angle = numbers.uniform(0.1, 2.5);
        eigenvalues.push_back(type == discreteSystem ? std::polar(1.0 - 1e-9, angle)
                                                     : std::complex<double>(-1e-9, angle));
    }
    return test::randomWithEigenvalues(eigenvalues, 0.1 / n, numbers);
}

// ------------------------------------------------------------------------------------------------- LyapunovHelper

// The residual of a' x + x a + c or a' x a - x + c over n eps and the norms of its terms.
double helperRatio(const Matrix<double>& x, const Matrix<double>& a, const Matrix<double>& c, const systemType& type) {
    const double normA = test::frobeniusNorm(a);
    const bool discrete = type == discreteSystem;
    const Matrix<double> left = a.transpose() * x;
    const Matrix<double> residual = discrete ? left * a - x + c : left + x * a + c;
    const double growth = discrete ? normA * normA + 1.0 : 2.0 * normA;
    const double size = growth * test::frobeniusNorm(x) + test::frobeniusNorm(c);
    return test::frobeniusNorm(residual) / (a.rows() * test::unitRoundoff * size);
}

TEST(LyapunovHelper, SolvesTheEquationWithTheTransposeOnTheLeft) {
    test::NormalNumbers numbers(1);
    for (const systemType type : {discreteSystem, continuousSystem}) {
        for (const int n : {1, 2, 3, 10, 50}) {
            const Matrix<double> a = stable(type, n, numbers);
            const Matrix<double> c = test::randomMatrix(n, n, numbers);
            Matrix<double> x;
            test_access::LyapunovHelper(x, a, c, type);
            EXPECT_LE(helperRatio(x, a, c, type), ratioLimit);
        }
    }
}

TEST(LyapunovHelper, LeavesAResidualOfRoundingSizeNearTheLimitOfStability) {
    test::NormalNumbers numbers(7);
    for (const systemType type : {discreteSystem, continuousSystem}) {
        for (const int n : {2, 10, 50}) {
            const Matrix<double> a = nearlyUnstable(type, n, numbers);
            const Matrix<double> c = test::randomMatrix(n, n, numbers);
            Matrix<double> x;
            test_access::LyapunovHelper(x, a, c, type);
            EXPECT_LE(helperRatio(x, a, c, type), ratioLimit);
        }
    }
}

TEST(LyapunovHelper, TakesEveryOtherTypeForAContinuousSystem) {
    const Matrix<double> a = test::matrixOf({{-2.0}});
    const Matrix<double> c = test::matrixOf({{12.0}});
    Matrix<double> x;
    test_access::LyapunovHelper(x, a, c, discreteSystem);
    EXPECT_EQ(x(0, 0), -4.0);
    test_access::LyapunovHelper(x, a, c, continuousSystem);
    EXPECT_EQ(x(0, 0), 3.0);
    test_access::LyapunovHelper(x, a, c, static_cast<systemType>(7));
    EXPECT_EQ(x(0, 0), 3.0);
}

TEST(LyapunovHelper, GivesASymmetricSolutionForASymmetricRightHandSide) {
    test::NormalNumbers numbers(2);
    for (const systemType type : {discreteSystem, continuousSystem}) {
        const Matrix<double> a = stable(type, 40, numbers);
        const Matrix<double> half = test::randomMatrix(40, 40, numbers);
        const Matrix<double> c = half + half.transpose();
        Matrix<double> x;
        test_access::LyapunovHelper(x, a, c, type);
        EXPECT_TRUE(test::identical(x, x.transpose()));
    }
}

TEST(LyapunovHelper, LeavesItsOperandsUnchanged) {
    test::NormalNumbers numbers(3);
    for (const systemType type : {discreteSystem, continuousSystem}) {
        const Matrix<double> a = stable(type, 10, numbers);
        const Matrix<double> c = test::randomMatrix(10, 10, numbers);
        const Matrix<double> sameA(a);
        const Matrix<double> sameC(c);
        Matrix<double> x;
        test_access::LyapunovHelper(x, a, c, type);
        EXPECT_TRUE(test::identical(a, sameA));
        EXPECT_TRUE(test::identical(c, sameC));
    }
}

TEST(LyapunovHelper, TakesPartsOfLargerMatrices) {
    test::NormalNumbers numbers(4);
    Matrix<double> wide = test::randomMatrix(12, 12, numbers);
    Matrix<double> right = test::randomMatrix(9, 9, numbers);
    const Matrix<double> a = wide(Range(3, 6, 1), Range(5, 8, 1));
    const Matrix<double> c = right(Range(1, 4, 1), Range(2, 5, 1)).transpose();
    Matrix<double> x;
    Matrix<double> expected;
    test_access::LyapunovHelper(x, a, c, continuousSystem);
    test_access::LyapunovHelper(expected, Matrix<double>(a, true), Matrix<double>(c, true), continuousSystem);
    EXPECT_TRUE(test::identical(x, expected));
}

TEST(LyapunovHelper, OfEmptyOperandsIsEmpty) {
    Matrix<double> x = test::matrixOf({{1.0}});
    test_access::LyapunovHelper(x, Matrix<double>(), Matrix<double>(), discreteSystem);
    EXPECT_EQ(x.rows(), 0);
    EXPECT_EQ(x.cols(), 0);
}

TEST(LyapunovHelper, ThrowsMinusOneWhereTheEquationIsSingular) {
    const Matrix<double> c = test::matrixOf({{1.0, 0.0}, {0.0, 1.0}});
    const Matrix<double> opposite = test::matrixOf({{2.0, 1.0}, {0.0, -2.0}});
    const Matrix<double> reciprocal = test::matrixOf({{2.0, 1.0}, {0.0, 0.5}});
    Matrix<double> x;
    test::expectMinusOne([&] { test_access::LyapunovHelper(x, opposite, c, continuousSystem); });
    test::expectMinusOne([&] { test_access::LyapunovHelper(x, reciprocal, c, discreteSystem); });
    EXPECT_NO_THROW(test_access::LyapunovHelper(x, opposite, c, discreteSystem));
    EXPECT_NO_THROW(test_access::LyapunovHelper(x, reciprocal, c, continuousSystem));
}

TEST(LyapunovHelper, LeavesMinusTheConstantTermWhereItThrows) {
    const Matrix<double> c = test::matrixOf({{1.0, 2.0}, {3.0, 4.0}});
    Matrix<double> x;
    test::expectMinusOne([&] { test_access::LyapunovHelper(x, Matrix<double>(2, 2) = 0.0, c, continuousSystem); });
    EXPECT_EQ(test::written(x), test::written(c * -1.0));
}

TEST(LyapunovHelper, ThrowsMinusOneForNaN) {
    const Matrix<double> good = test::matrixOf({{-1.0, 0.5}, {0.0, -2.0}});
    const Matrix<double> bad = test::matrixOf({{-1.0, std::numeric_limits<double>::quiet_NaN()}, {0.0, -2.0}});
    Matrix<double> x;
    for (const systemType type : {discreteSystem, continuousSystem}) {
        test::expectMinusOne([&] { test_access::LyapunovHelper(x, good, bad, type); });
        test::expectMinusOne([&] { test_access::LyapunovHelper(x, bad, good, type); });
    }
}

TEST(LyapunovHelper, ThrowsMinusOneForOrdersThatDiffer) {
    test::NormalNumbers numbers(5);
    const Matrix<double> square = test::randomMatrix(3, 3, numbers);
    const Matrix<double> wide = test::randomMatrix(3, 4, numbers);
    const Matrix<double> tall = test::randomMatrix(4, 3, numbers);
    Matrix<double> x;
    for (const Matrix<double>& other : {wide, tall, Matrix<double>()}) {
        test::expectMinusOne([&] { test_access::LyapunovHelper(x, square, other, continuousSystem); });
        test::expectMinusOne([&] { test_access::LyapunovHelper(x, other, square, continuousSystem); });
    }
}

TEST(LyapunovHelper, RefusesATransposedMatrixAfterItHasAssignedX) {
    test::NormalNumbers numbers(6);
    const Matrix<double> square = test::randomMatrix(3, 3, numbers);
    const Matrix<double> transposed = square.transpose();
    Matrix<double> x;
    test::expectXmsg([&] { test_access::LyapunovHelper(x, transposed, square, continuousSystem); },
                     QorMathLA::TransposedDataAccess, "Matrix: get data for Fortran call");
    EXPECT_TRUE(test::identical(x, square * -1.0));
}

// --------------------------------------------------------------------------------------------- ContinuousLyapunov

// ||a x + x a' + q|| / (n eps (2 ||a|| ||x|| + ||q||))
double continuousRatio(const Matrix<double>& x, const Matrix<double>& a, const Matrix<double>& q) {
    const Matrix<double> residual = a * x + x * a.transpose() + q;
    const double size = 2.0 * test::frobeniusNorm(a) * test::frobeniusNorm(x) + test::frobeniusNorm(q);
    return test::frobeniusNorm(residual) / (a.rows() * test::unitRoundoff * size);
}

Matrix<double> positiveSemiDefinite(int n, int rank, test::NormalNumbers& numbers) {
    const Matrix<double> b = test::randomMatrix(n, rank, numbers);
    return Matrix<double>(b * b.transpose());
}

TEST(ContinuousLyapunov, SolvesTheEquationWithTheTransposeOnTheRight) {
    test::NormalNumbers numbers(11);
    for (const int n : {1, 2, 3, 10, 33, 80}) {
        const Matrix<double> a = stable(continuousSystem, n, numbers);
        const Matrix<double> q = test::randomMatrix(n, n, numbers);
        Matrix<double> x;
        QorMathControl::ContinuousLyapunov(x, a, q);
        EXPECT_LE(continuousRatio(x, a, q), ratioLimit);
    }
}

TEST(ContinuousLyapunov, LeavesAResidualOfRoundingSizeAtAllSizesAndNearTheLimitOfStability) {
    test::NormalNumbers numbers(15);
    for (const int n : {2, 10, 50, 400}) {
        const Matrix<double> a = nearlyUnstable(continuousSystem, n, numbers);
        const Matrix<double> q = test::randomMatrix(n, n, numbers);
        Matrix<double> x;
        QorMathControl::ContinuousLyapunov(x, a, q);
        EXPECT_LE(continuousRatio(x, a, q), ratioLimit);
    }
}

TEST(ContinuousLyapunov, GivesASymmetricSolutionUpToRoundingForAStableMatrix) {
    test::NormalNumbers numbers(12);
    for (const int n : {2, 10, 80}) {
        const Matrix<double> a = stable(continuousSystem, n, numbers);
        const Matrix<double> q = positiveSemiDefinite(n, 2, numbers);
        Matrix<double> x;
        QorMathControl::ContinuousLyapunov(x, a, q);
        EXPECT_LE(continuousRatio(x, a, q), ratioLimit);
        // The field of values of a stays left of -0.1, so that the inverse of the operator has a norm below 5.
        const double bound = 5.0 * ratioLimit * n * test::unitRoundoff *
                             (2.0 * test::frobeniusNorm(a) * test::frobeniusNorm(x) + test::frobeniusNorm(q));
        EXPECT_LE(test::frobeniusNorm(test::differenceOf(x, x.transpose())), 2.0 * bound);
    }
}

TEST(ContinuousLyapunov, LeavesItsOperandsUnchangedAndMayReplaceThem) {
    test::NormalNumbers numbers(13);
    const Matrix<double> a = stable(continuousSystem, 8, numbers);
    const Matrix<double> q = test::randomMatrix(8, 8, numbers);
    const Matrix<double> sameA(a), sameQ(q);
    Matrix<double> expected;
    QorMathControl::ContinuousLyapunov(expected, a, q);
    EXPECT_TRUE(test::identical(a, sameA));
    EXPECT_TRUE(test::identical(q, sameQ));
    Matrix<double> x = q;
    QorMathControl::ContinuousLyapunov(x, a, x);
    EXPECT_TRUE(test::identical(x, expected));
    x = a;
    QorMathControl::ContinuousLyapunov(x, x, q);
    EXPECT_TRUE(test::identical(x, expected));
}

TEST(ContinuousLyapunov, TakesATransposedView) {
    test::NormalNumbers numbers(14);
    const Matrix<double> a = stable(continuousSystem, 8, numbers).transpose();
    const Matrix<double> q = test::randomMatrix(8, 8, numbers);
    Matrix<double> x;
    QorMathControl::ContinuousLyapunov(x, a, q);
    EXPECT_LE(continuousRatio(x, a, q), ratioLimit);
}

TEST(ContinuousLyapunov, OfEmptyOperandsIsEmpty) {
    Matrix<double> x = test::matrixOf({{1.0}});
    QorMathControl::ContinuousLyapunov(x, Matrix<double>(), Matrix<double>());
    EXPECT_EQ(x.rows(), 0);
    EXPECT_EQ(x.cols(), 0);
}

TEST(ContinuousLyapunov, ThrowsMinusOneForAnIntegratorAndLeavesThePerturbedSolution) {
    Matrix<double> x;
    const Matrix<double> a = test::matrixOf({{0.0, 0.0}, {0.0, -1.0}});
    test::expectMinusOne([&] { QorMathControl::ContinuousLyapunov(x, a, test::matrixOf({{1.0, 0.0}, {0.0, 1.0}})); });
    EXPECT_EQ(x(0, 0), -0x1p52);
    EXPECT_EQ(x(1, 1), 0.5);
}

TEST(ContinuousLyapunov, PassesOnTheErrorsOfTheSylvesterEquation) {
    const Matrix<double> two = test::matrixOf({{-1.0, 0.5}, {0.0, -2.0}});
    const Matrix<double> broken = test::matrixOf({{-1.0, std::numeric_limits<double>::quiet_NaN()}, {0.0, -2.0}});
    Matrix<double> x;
    test::expectMinusOne([&] { QorMathControl::ContinuousLyapunov(x, broken, two); });
    test::expectXmsg([&] { QorMathControl::ContinuousLyapunov(x, two, Matrix<double>(3, 3) = 0.0); },
                     QorMathLA::DimensionMismatch, "Matrix * Matrix");
}

// ----------------------------------------------------------------------------------------------- DiscreteLyapunov

// ||a x a' - x + q|| / (n eps ((||a||^2 + 1) ||x|| + ||q||))
double discreteRatio(const Matrix<double>& x, const Matrix<double>& a, const Matrix<double>& q) {
    const Matrix<double> residual = a * x * a.transpose() - x + q;
    const double normA = test::frobeniusNorm(a);
    const double size = (normA * normA + 1.0) * test::frobeniusNorm(x) + test::frobeniusNorm(q);
    return test::frobeniusNorm(residual) / (a.rows() * test::unitRoundoff * size);
}

TEST(DiscreteLyapunov, SolvesTheEquationWithTheTransposeOnTheRight) {
    // The moduli stay below 0.9, so that a + i has a condition below 20 and its inverse spoils no digits.
    test::NormalNumbers numbers(21);
    for (const int n : {1, 2, 3, 10, 33, 80}) {
        const Matrix<double> a = stable(discreteSystem, n, numbers);
        const Matrix<double> q = test::randomMatrix(n, n, numbers);
        Matrix<double> x;
        QorMathControl::DiscreteLyapunov(x, a, q);
        EXPECT_LE(discreteRatio(x, a, q), ratioLimit);
    }
}

TEST(DiscreteLyapunov, LeavesAResidualOfRoundingSizeAtAllSizesAndNearTheLimitOfStability) {
    // Eigenvalues that stay away from -1 keep the condition of a + i below 10 for these nearly normal matrices.
    test::NormalNumbers numbers(25);
    for (const int n : {2, 10, 50, 400}) {
        const Matrix<double> a = nearlyUnstable(discreteSystem, n, numbers);
        const Matrix<double> q = test::randomMatrix(n, n, numbers);
        Matrix<double> x;
        QorMathControl::DiscreteLyapunov(x, a, q);
        EXPECT_LE(discreteRatio(x, a, q), ratioLimit);
    }
}

TEST(DiscreteLyapunov, LeavesAResidualThatGrowsWithTheConditionOfTheBilinearMapAlone) {
    test::NormalNumbers numbers(26);
    for (const double distance : {1e-2, 1e-4, 1e-6}) {
        std::vector<std::complex<double>> eigenvalues = {distance - 1.0};
        for (int k = 0; k < 9; ++k) {
            eigenvalues.emplace_back(numbers.uniform(0.0, 0.8));
        }
        const Matrix<double> a = test::randomWithEigenvalues(eigenvalues, 0.0, numbers);
        const Matrix<double> q = test::randomMatrix(10, 10, numbers);
        Matrix<double> x;
        QorMathControl::DiscreteLyapunov(x, a, q);
        EXPECT_LE(discreteRatio(x, a, q), ratioLimit * 1.8 / distance);
    }
}

TEST(DiscreteLyapunov, CarriesNaNOfTheConstantTermIntoX) {
    test::NormalNumbers numbers(27);
    const Matrix<double> a = stable(discreteSystem, 3, numbers);
    Matrix<double> q = test::randomMatrix(3, 3, numbers);
    q(1, 1) = std::numeric_limits<double>::quiet_NaN();
    Matrix<double> x;
    QorMathControl::DiscreteLyapunov(x, a, q);
    EXPECT_TRUE(std::isnan(x(1, 1)));
}

TEST(DiscreteLyapunov, OfAZeroMatrixIsTheConstantTerm) {
    test::NormalNumbers numbers(22);
    for (const int n : {1, 2, 40}) {
        const Matrix<double> q = test::randomMatrix(n, n, numbers);
        Matrix<double> x;
        QorMathControl::DiscreteLyapunov(x, QorMathLA::zeroMatrix(n, n), q);
        EXPECT_EQ(test::maxDifference(x, q), 0.0);
    }
}

TEST(DiscreteLyapunov, SolvesForAnUnstableMatrixToo) {
    const Matrix<double> a = test::matrixOf({{3.0, 1.0}, {0.0, 0.5}});
    const Matrix<double> q = test::matrixOf({{1.0, 2.0}, {2.0, 5.0}});
    Matrix<double> x;
    QorMathControl::DiscreteLyapunov(x, a, q);
    EXPECT_LE(discreteRatio(x, a, q), ratioLimit);
}

TEST(DiscreteLyapunov, LeavesItsOperandsUnchangedAndMayReplaceThem) {
    test::NormalNumbers numbers(23);
    const Matrix<double> a = stable(discreteSystem, 8, numbers);
    const Matrix<double> q = test::randomMatrix(8, 8, numbers);
    const Matrix<double> sameA(a), sameQ(q);
    Matrix<double> expected;
    QorMathControl::DiscreteLyapunov(expected, a, q);
    EXPECT_TRUE(test::identical(a, sameA));
    EXPECT_TRUE(test::identical(q, sameQ));
    Matrix<double> x = q;
    QorMathControl::DiscreteLyapunov(x, a, x);
    EXPECT_TRUE(test::identical(x, expected));
    x = a;
    QorMathControl::DiscreteLyapunov(x, x, q);
    EXPECT_TRUE(test::identical(x, expected));
}

TEST(DiscreteLyapunov, OfEmptyOperandsIsEmpty) {
    Matrix<double> x = test::matrixOf({{1.0}});
    QorMathControl::DiscreteLyapunov(x, Matrix<double>(), Matrix<double>());
    EXPECT_EQ(x.rows(), 0);
    EXPECT_EQ(x.cols(), 0);
}

// The identity added to this is singular to working precision, although no product of two eigenvalues is near 1.
const Matrix<double>& beyondTheBilinearMap() {
    static const Matrix<double> a = test::matrixOf({{0.0, 1e17}, {0.0, 0.0}});
    return a;
}

TEST(DiscreteLyapunov, FallsBackOnTheEquationWithTheTransposeOnTheLeft) {
    const Matrix<double>& a = beyondTheBilinearMap();
    const Matrix<double> q = test::matrixOf({{1.0, 0.0}, {0.0, 1.0}});
    Matrix<double> x;
    QorMathControl::DiscreteLyapunov(x, a, q);
    // q + a' q a, where the other equation has q + a q a'.
    EXPECT_EQ(test::written(x), test::written(test::matrixOf({{1.0, 0.0}, {0.0, 1e17 * 1e17}})));
}

TEST(DiscreteLyapunov, LeavesItsOperandsUnchangedWhenItFallsBackAndMayReplaceThem) {
    const Matrix<double> a = beyondTheBilinearMap();
    const Matrix<double> q = test::matrixOf({{1.0, 2.0}, {3.0, 4.0}});
    const Matrix<double> sameQ(q);
    Matrix<double> expected;
    QorMathControl::DiscreteLyapunov(expected, a, q);
    EXPECT_TRUE(test::identical(a, beyondTheBilinearMap()));
    EXPECT_TRUE(test::identical(q, sameQ));
    Matrix<double> x = q;
    QorMathControl::DiscreteLyapunov(x, a, x);
    EXPECT_TRUE(test::identical(x, expected));
    x = a;
    QorMathControl::DiscreteLyapunov(x, x, q);
    EXPECT_TRUE(test::identical(x, expected));
}

TEST(DiscreteLyapunov, ThrowsMinusOneWhereTheFallbackFailsToo) {
    const Matrix<double> q = test::matrixOf({{1.0, 0.0}, {0.0, 1.0}});
    const double nan = std::numeric_limits<double>::quiet_NaN();
    Matrix<double> x;
    for (const Matrix<double>& a :
         {test::matrixOf({{-1.0, 0.0}, {0.0, -1.0}}), test::matrixOf({{0.5, 0.0}, {0.0, -1.0}}),
          test::matrixOf({{1.0, 0.0}, {0.0, 0.5}}), test::matrixOf({{2.0, 0.0}, {0.0, 0.5}}),
          test::matrixOf({{0.6, 0.8}, {-0.8, 0.6}}), test::matrixOf({{nan, 0.0}, {0.0, 0.5}}),
          test::matrixOf({{0.5, 0.0, 0.0}, {0.0, 0.5, 0.0}}), test::matrixOf({{0.5}})}) {
        test::expectMinusOne([&] { QorMathControl::DiscreteLyapunov(x, a, q); });
        EXPECT_EQ(test::maxDifference(x, q * -1.0), 0.0);
    }
}

TEST(DiscreteLyapunov, TakesTransposedViews) {
    test::NormalNumbers numbers(24);
    const Matrix<double> a = stable(discreteSystem, 8, numbers).transpose();
    const Matrix<double> q = test::randomMatrix(8, 8, numbers).transpose();
    Matrix<double> x;
    QorMathControl::DiscreteLyapunov(x, a, q);
    EXPECT_LE(discreteRatio(x, a, q), ratioLimit);
}

}  // namespace
