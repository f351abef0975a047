#include <algorithm>
#include <cmath>
#include <complex>
#include <gtest/gtest.h>
#include <limits>
#include <tuple>
#include <vector>

#include <qormath/control/qor_math_control.hpp>
#include <qormath/core/arithmetic.hpp>
#include <qormath/lapack/lapack.hpp>

#include "support/failures.hpp"
#include "support/matrix_compare.hpp"
#include "support/matrix_literals.hpp"
#include "support/random_matrices.hpp"

namespace {

using QorMathLA::Matrix;
using QorMathLA::Range;
using QorMathLA::Vector;
namespace lapack = qormath::lapack;
namespace test = qormath::test;

// Residuals are held to this many (m + n) eps norms.
constexpr double ratioLimit = 10.0;

// ||a x + x b + c|| / ((m + n) eps ((||a|| + ||b||) ||x|| + ||c||))
double sylvesterRatio(const Matrix<double>& x, const Matrix<double>& a, const Matrix<double>& b,
                      const Matrix<double>& c) {
    const Matrix<double> residual = a * x + x * b + c;
    const double size =
        (test::frobeniusNorm(a) + test::frobeniusNorm(b)) * test::frobeniusNorm(x) + test::frobeniusNorm(c);
    return test::frobeniusNorm(residual) / ((a.rows() + b.rows()) * test::unitRoundoff * size);
}

// Eigenvalues with real parts in (low, high), half of them in pairs, in random coordinates.
Matrix<double> withRealParts(int n, double low, double high, test::NormalNumbers& numbers) {
    std::vector<std::complex<double>> eigenvalues;
    for (int order = 0; order < n;) {
        const bool pair = order + 1 < n && numbers.uniform() < 0.5;
        eigenvalues.emplace_back(numbers.uniform(low, high), pair ? numbers.uniform(0.1, 2.0) : 0.0);
        order += pair ? 2 : 1;
    }
    return test::randomWithEigenvalues(eigenvalues, 1.0 / std::sqrt(n), numbers);
}

// What the equation comes to with the column-wise routine alone, on the Schur forms that the library makes.
struct Columnwise {
    int info = 0;
    double scale = 0.0;
    Matrix<double> x;
};

Columnwise solveColumnwise(const Matrix<double>& a, const Matrix<double>& b, const Matrix<double>& c) {
    Columnwise result;
    Matrix<double> ta, tb, u, v;
    Vector<double> wr, wi;
    QorMathControl::SchurDecomposition(a, ta, u, wr, wi, schurUnordered);
    QorMathControl::SchurDecomposition(b, tb, v, wr, wi, schurUnordered);
    Matrix<double> f = (u.transpose() * -1.0) * c * v;
    result.info = lapack::trsyl(lapack::Op::none, lapack::Op::none, 1, a.rows(), b.rows(), ta.numericData(true),
                                a.rows(), tb.numericData(true), b.rows(), f.numericData(true), a.rows(), result.scale);
    result.x = u * f * v.transpose();
    return result;
}

// ---------------------------------------------------------------------------------------------------- solutions

TEST(SylvesterEquation, OfMinusIdentitiesHalvesTheConstantTerm) {
    const Matrix<double> minusOne = test::matrixOf({{-1.0, 0.0}, {0.0, -1.0}});
    const Matrix<double> c = test::matrixOf({{2.0, 0.0}, {0.0, 2.0}});
    Matrix<double> x;
    QorMathControl::SylvesterEquation(x, minusOne, minusOne, c);
    EXPECT_EQ(test::maxDifference(x, test::matrixOf({{1.0, 0.0}, {0.0, 1.0}})), 0.0);
}

TEST(SylvesterEquation, OfNumbersIsADivision) {
    Matrix<double> x;
    QorMathControl::SylvesterEquation(x, test::matrixOf({{3.0}}), test::matrixOf({{1.0}}), test::matrixOf({{-8.0}}));
    EXPECT_EQ(test::written(x), "1x1 [2]");
}

class SylvesterEquationOverSizes : public ::testing::TestWithParam<std::tuple<int, int>> {};

TEST_P(SylvesterEquationOverSizes, LeavesAResidualOfRoundingSize) {
    const auto [m, n] = GetParam();
    test::NormalNumbers numbers(1);
    const Matrix<double> c = test::randomMatrix(m, n, numbers);
    Matrix<double> x;
    const Matrix<double> apartA = withRealParts(m, 0.5, 2.0, numbers);
    const Matrix<double> apartB = withRealParts(n, 0.5, 2.0, numbers);
    QorMathControl::SylvesterEquation(x, apartA, apartB, c);
    ASSERT_EQ(x.rows(), m);
    ASSERT_EQ(x.cols(), n);
    EXPECT_LE(sylvesterRatio(x, apartA, apartB, c), ratioLimit);
    // Distances down to 2e-8 between the spectra of a and -b.
    const Matrix<double> nearA = withRealParts(m, 1e-8, 1e-6, numbers);
    const Matrix<double> nearB = withRealParts(n, 1e-8, 1e-6, numbers);
    QorMathControl::SylvesterEquation(x, nearA, nearB, c);
    EXPECT_LE(sylvesterRatio(x, nearA, nearB, c), ratioLimit);
}

INSTANTIATE_TEST_SUITE_P(All, SylvesterEquationOverSizes,
                         ::testing::Values(std::tuple(1, 1), std::tuple(1, 2), std::tuple(2, 1), std::tuple(2, 2),
                                           std::tuple(3, 7), std::tuple(32, 33), std::tuple(33, 1), std::tuple(1, 40),
                                           std::tuple(64, 65), std::tuple(120, 30), std::tuple(400, 20)));

TEST(SylvesterEquation, RecoversAKnownSolutionToTheSeparationOfTheSpectra) {
    // Symmetric a and b with eigenvalues in (1, 2) keep the separation above 2.
    test::NormalNumbers numbers(2);
    const auto positive = [&](int n) {
        const Matrix<double> q = test::randomOrthogonal(n, numbers);
        Vector<double> values(n);
        for (double& value : values) {
            value = numbers.uniform(1.0, 2.0);
        }
        return Matrix<double>(q.scaleColumnsBy(values) * q.transpose());
    };
    const Matrix<double> a = positive(50);
    const Matrix<double> b = positive(40);
    const Matrix<double> expected = test::randomMatrix(50, 40, numbers);
    const Matrix<double> c = (a * expected + expected * b) * -1.0;
    Matrix<double> x;
    QorMathControl::SylvesterEquation(x, a, b, c);
    const double bound = ratioLimit * 90 * test::unitRoundoff * (test::frobeniusNorm(a) + test::frobeniusNorm(b)) /
                         2.0 * test::frobeniusNorm(expected);
    EXPECT_LE(test::frobeniusNorm(test::differenceOf(x, expected)), bound);
}

// ------------------------------------------------------------------------------------------------------ operands

TEST(SylvesterEquation, TakesPartsAndTransposesOfLargerMatrices) {
    test::NormalNumbers numbers(3);
    Matrix<double> parent = test::randomMatrix(20, 20, numbers);
    for (int k = 0; k < 20; ++k) {
        parent(k, k) += 10.0;
    }
    const Matrix<double> a = parent(Range(2, 8, 1), Range(2, 8, 1));
    const Matrix<double> b = parent(Range(10, 13, 1), Range(10, 13, 1)).transpose();
    const Matrix<double> c = parent(Range(0, 3, 1), Range(13, 19, 1)).transpose();
    Matrix<double> x;
    Matrix<double> expected;
    QorMathControl::SylvesterEquation(x, a, b, c);
    EXPECT_LE(sylvesterRatio(x, a, b, c), ratioLimit);
    QorMathControl::SylvesterEquation(expected, Matrix<double>(a), Matrix<double>(b), Matrix<double>(c));
    EXPECT_LE(test::maxDifference(x, expected), ratioLimit * 11 * test::unitRoundoff * test::frobeniusNorm(x));
}

TEST(SylvesterEquation, LeavesItsOperandsUnchanged) {
    test::NormalNumbers numbers(4);
    const Matrix<double> a = withRealParts(6, 0.5, 1.0, numbers);
    const Matrix<double> b = withRealParts(5, 0.5, 1.0, numbers);
    const Matrix<double> c = test::randomMatrix(6, 5, numbers);
    const Matrix<double> sameA(a), sameB(b), sameC(c);
    Matrix<double> x;
    QorMathControl::SylvesterEquation(x, a, b, c);
    EXPECT_TRUE(test::identical(a, sameA));
    EXPECT_TRUE(test::identical(b, sameB));
    EXPECT_TRUE(test::identical(c, sameC));
}

TEST(SylvesterEquation, MayReplaceAnyOfItsOperands) {
    test::NormalNumbers numbers(5);
    const Matrix<double> a = withRealParts(6, 0.5, 1.0, numbers);
    const Matrix<double> b = withRealParts(6, 0.5, 1.0, numbers);
    const Matrix<double> c = test::randomMatrix(6, 6, numbers);
    Matrix<double> expected;
    QorMathControl::SylvesterEquation(expected, a, b, c);
    Matrix<double> x = a;
    QorMathControl::SylvesterEquation(x, x, b, c);
    EXPECT_TRUE(test::identical(x, expected));
    x = b;
    QorMathControl::SylvesterEquation(x, a, x, c);
    EXPECT_TRUE(test::identical(x, expected));
    x = c;
    QorMathControl::SylvesterEquation(x, a, b, x);
    EXPECT_TRUE(test::identical(x, expected));
}

TEST(SylvesterEquation, OfEmptyOperandsIsEmpty) {
    const Matrix<double> none;
    const Matrix<double> two = test::matrixOf({{1.0, 0.5}, {0.0, 2.0}});
    for (const auto& [a, b] : {std::pair(none, none), std::pair(none, two), std::pair(two, none)}) {
        Matrix<double> x = two;
        QorMathControl::SylvesterEquation(x, a, b, Matrix<double>(a.rows(), b.rows()));
        EXPECT_EQ(x.rows(), a.rows());
        EXPECT_EQ(x.cols(), b.rows());
    }
}

// ------------------------------------------------------------------------------------------------ equal eigenvalues

TEST(SylvesterEquation, ThrowsMinusOneForACommonEigenvalueAndLeavesThePerturbedSolution) {
    const Matrix<double> a = test::matrixOf({{2.0}});
    const Matrix<double> b = test::matrixOf({{-2.0}});
    Matrix<double> x;
    test::expectMinusOne([&] { QorMathControl::SylvesterEquation(x, a, b, test::matrixOf({{3.0}})); });
    // The distance is taken for 2^-52 times the largest element.
    EXPECT_EQ(x(0, 0), -3.0 / (0x1p-52 * 2.0));
}

TEST(SylvesterEquation, LeavesThePerturbedSolutionOfTheColumnwiseRoutineAtAnyOrder) {
    test::NormalNumbers numbers(6);
    for (const int n : {2, 10, 40, 90}) {
        const Matrix<double> a = withRealParts(n, 0.5, 1.0, numbers);
        const Matrix<double> b = a * -1.0;
        const Matrix<double> c = test::randomMatrix(n, n, numbers);
        Matrix<double> x;
        const Columnwise expected = solveColumnwise(a, b, c);
        ASSERT_EQ(expected.info, 1);
        test::expectMinusOne([&] { QorMathControl::SylvesterEquation(x, a, b, c); });
        EXPECT_TRUE(test::identical(x, expected.x));
    }
}

// One small eigenvalue in each, far beside an element that makes their distance a matter of rounding.
TEST(SylvesterEquation, JudgesTheDistanceOfSpectraAgainstTheWholeOfTheSchurForms) {
    const int n = 70;
    for (const double large : {1.0, 1e8, 1e20}) {
        Matrix<double> a = QorMathLA::zeroMatrix(n, n);
        for (int k = 0; k < n; ++k) {
            a(k, k) = k < n / 2 ? 1.0 : 2.0;
        }
        a(0, n - 1) = large;
        const Matrix<double> b = a * 0.5;
        const Matrix<double> c = a;
        Matrix<double> x;
        const int expected = solveColumnwise(a, b, c).info;
        EXPECT_EQ(expected, large > 1e16 ? 1 : 0);
        if (expected == 0) {
            EXPECT_NO_THROW(QorMathControl::SylvesterEquation(x, a, b, c));
        } else {
            test::expectMinusOne([&] { QorMathControl::SylvesterEquation(x, a, b, c); });
        }
    }
}

// ------------------------------------------------------------------------------------------------ the dropped scale

TEST(SylvesterEquation, DoesNotTakeTheScaleAgainstOverflowBackOut) {
    const Matrix<double> half = test::matrixOf({{0.5e-290}});
    Matrix<double> x;
    QorMathControl::SylvesterEquation(x, half, half, test::matrixOf({{-1e100}}));
    // The solution, 1e390, is beyond the largest number; 1e-100 times it is not.
    EXPECT_NEAR(x(0, 0) / 1e290, 1.0, 1e-12);
}

TEST(SylvesterEquation, DropsTheScaleOfTheColumnwiseRoutineAtAnyOrder) {
    test::NormalNumbers numbers(7);
    for (const int n : {2, 40, 80}) {
        const Matrix<double> a = withRealParts(n, 1e-6, 1e-5, numbers);
        const Matrix<double> c = test::randomMatrix(n, n, numbers) * 1e303;
        const Columnwise expected = solveColumnwise(a, a, c);
        ASSERT_LT(expected.scale, 1.0);
        Matrix<double> x;
        QorMathControl::SylvesterEquation(x, a, a, c);
        EXPECT_TRUE(test::identical(x, expected.x));
    }
}

// -------------------------------------------------------------------------------------------------------- failures

TEST(SylvesterEquation, ThrowsMinusOneAndLeavesXWhereASchurFormFails) {
    const Matrix<double> good = test::matrixOf({{1.0, 0.5}, {0.0, 2.0}});
    const Matrix<double> tall = Matrix<double>(2, 1);
    for (const double bad : {std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity()}) {
        const Matrix<double> broken = test::matrixOf({{1.0, bad}, {0.0, 2.0}});
        Matrix<double> x = test::matrixOf({{7.0}});
        test::expectMinusOne([&] { QorMathControl::SylvesterEquation(x, broken, good, good); });
        test::expectMinusOne([&] { QorMathControl::SylvesterEquation(x, good, broken, good); });
        test::expectMinusOne([&] { QorMathControl::SylvesterEquation(x, tall, good, good); });
        test::expectMinusOne([&] { QorMathControl::SylvesterEquation(x, good, tall, good); });
        EXPECT_EQ(test::written(x), "1x1 [7]");
    }
}

TEST(SylvesterEquation, ThrowsTheErrorOfTheProductWhereOrdersDoNotFit) {
    const Matrix<double> two = test::matrixOf({{1.0, 0.5}, {0.0, 2.0}});
    const auto expectMismatch = [&](const Matrix<double>& a, const Matrix<double>& b, const Matrix<double>& c) {
        Matrix<double> x;
        test::expectXmsg([&] { QorMathControl::SylvesterEquation(x, a, b, c); }, QorMathLA::DimensionMismatch,
                         "Matrix * Matrix");
    };
    expectMismatch(two, two, Matrix<double>(3, 2));
    expectMismatch(two, two, Matrix<double>(2, 3));
    expectMismatch(two, two, Matrix<double>());
    expectMismatch(Matrix<double>(), two, two);
    expectMismatch(two, Matrix<double>(), two);
}

TEST(SylvesterEquation, CarriesNaNOfTheConstantTermIntoX) {
    test::NormalNumbers numbers(8);
    for (const int n : {1, 2, 50}) {
        const Matrix<double> a = withRealParts(n, 0.5, 1.0, numbers);
        Matrix<double> c = test::randomMatrix(n, n, numbers);
        c(0, 0) = std::numeric_limits<double>::quiet_NaN();
        Matrix<double> x;
        QorMathControl::SylvesterEquation(x, a, a, c);
        EXPECT_TRUE(std::isnan(x(0, 0)));
    }
}

}  // namespace
