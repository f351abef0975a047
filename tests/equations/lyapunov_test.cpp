#include <gtest/gtest.h>
#include <limits>

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

}  // namespace
