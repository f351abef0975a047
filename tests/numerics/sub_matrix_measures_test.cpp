#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <vector>

#include <qormath/core/arithmetic.hpp>
#include <qormath/numerics/dense_gaussian_solver.hpp>
#include <qormath/numerics/detail/sub_matrix_measures.hpp>

#include "support/matrix_compare.hpp"
#include "support/matrix_literals.hpp"
#include "support/random_matrices.hpp"

namespace {

using qormath::numerics::SubMatrixMeasures;
using qormath::numerics::SubMatrixMeter;
using QorMathLA::Matrix;
using QorMathLA::Vector;
namespace test = qormath::test;

const double infinite = std::numeric_limits<double>::infinity();

SubMatrixMeasures measured(const Matrix<double>& a) {
    return SubMatrixMeter(a.rows()).measure(a.numericData(true));
}

double conditionBySvd(const Matrix<double>& a) {
    Matrix<double> copy(a);
    Vector<double> values;
    Matrix<double> v;
    copy.svd(values, v, 0, false);
    return values[0] / values[a.rows() - 1];
}

double rgaBySolver(const Matrix<double>& a) {
    QorMathLA::DenseGaussianSolver solver(a);
    solver.initialize();
    solver.factorize();
    Matrix<double> identity;
    identity.setIdentity(a.rows());
    const Matrix<double> inverse = solver.solve(identity);
    double largest = 0.0;
    for (int j = 0; j < a.rows(); ++j) {
        for (int i = 0; i < a.rows(); ++i) {
            largest = std::max(largest, std::abs(a(i, j) * inverse(j, i)));
        }
    }
    return largest;
}

// The relative error of either route to the smallest singular value, and to the inverse, is some n eps times the
// condition number; the factor 20 is that of the other residual tests.
TEST(SubMatrixMeter, AgreesWithSingularValuesAndWithTheInverse) {
    test::NormalNumbers numbers(31);
    for (const int order : {2, 3, 4, 5, 8, 12, 13, 14, 40, 120}) {
        for (int round = 0; round < 20; ++round) {
            const double condition = std::pow(10.0, numbers.uniform(0.0, 8.0));
            std::vector<double> values;
            for (int t = 0; t < order; ++t) {
                values.push_back(std::pow(condition, -static_cast<double>(t) / (order - 1)));
            }
            const Matrix<double> a = test::randomWithSingularValues(order, order, values, numbers);
            const SubMatrixMeasures measures = measured(a);
            const double tolerance = 20.0 * order * test::unitRoundoff * condition;
            EXPECT_NEAR(measures.conditionNumber / conditionBySvd(a), 1.0, tolerance) << order;
            EXPECT_NEAR(measures.rga / rgaBySolver(a), 1.0, 20.0 * tolerance) << order;
        }
    }
}

// Two equal largest singular values, or all of them equal, are where a closed formula would lose digits.
TEST(SubMatrixMeter, IsAccurateWhereSingularValuesCoincide) {
    test::NormalNumbers numbers(32);
    const std::vector<std::vector<double>> families{{1, 1, 1},          {1, 1, 0.5},         {1, 0.5, 0.5},
                                                    {1, 1 - 1e-8, 0.1}, {1, 1 - 1e-12, 0.1}, {1, 0.1, 0.1 - 1e-9}};
    for (const std::vector<double>& values : families) {
        for (int round = 0; round < 50; ++round) {
            const Matrix<double> a = test::randomWithSingularValues(3, 3, values, numbers);
            const double condition = values[0] / values[2];
            EXPECT_NEAR(measured(a).conditionNumber / condition, 1.0, 60.0 * test::unitRoundoff * condition);
        }
    }
}

TEST(SubMatrixMeter, IsNeverBelowOne) {
    test::NormalNumbers numbers(33);
    for (int round = 0; round < 500; ++round) {
        EXPECT_GE(measured(test::randomOrthogonal(numbers.integer(1, 6), numbers)).conditionNumber, 1.0);
    }
}

TEST(SubMatrixMeter, IsExactForDiagonalMatrices) {
    EXPECT_EQ(measured(test::matrixOf({{0.0, 10.0}, {-2.0, 0.0}})).conditionNumber, 5.0);
    EXPECT_EQ(measured(test::matrixOf({{3.0, 0.0, 0.0}, {0.0, 0.0, 6.0}, {0.0, 12.0, 0.0}})).conditionNumber, 4.0);
    EXPECT_EQ(measured(test::matrixOf({{3.0, 0.0, 0.0}, {0.0, 0.0, 6.0}, {0.0, 12.0, 0.0}})).rga, 1.0);
}

TEST(SubMatrixMeter, DoesNotDependOnPowersOfTwo) {
    test::NormalNumbers numbers(34);
    for (const int order : {1, 2, 3, 6, 14}) {
        const Matrix<double> a = test::randomMatrix(order, order, numbers);
        const SubMatrixMeasures expected = measured(a);
        for (const double scale : {0x1p-900, 0x1p-7, 0x1p900}) {
            const SubMatrixMeasures measures = measured(a * scale);
            EXPECT_EQ(measures.conditionNumber, expected.conditionNumber);
            EXPECT_EQ(measures.rga, expected.rga);
        }
    }
}

TEST(SubMatrixMeter, DoesNotChangeRelativeGainsByScaling) {
    test::NormalNumbers numbers(35);
    for (const int order : {2, 3, 5}) {
        Matrix<double> a = test::randomMatrix(order, order, numbers);
        const double expected = measured(a).rga;
        for (int j = 0; j < order; ++j) {
            const double factor = std::ldexp(1.0, numbers.integer(-300, 300));
            for (int i = 0; i < order; ++i) {
                a(i, j) *= factor;
            }
        }
        EXPECT_NEAR(measured(a).rga / expected, 1.0, 1e-13);
    }
}

TEST(SubMatrixMeter, FindsZerosAndDependenceSingular) {
    for (const Matrix<double>& a :
         {test::matrixOf({{0.0}}), test::matrixOf({{0.0, 0.0}, {1.0, 1.0}}), test::matrixOf({{0.0, 1.0}, {0.0, 1.0}}),
          test::matrixOf({{1.0, 2.0}, {3.0, 6.0}}), test::matrixOf({{0.1, 0.3}, {0.7, 2.1}}),
          test::matrixOf({{1.0, 0.0, 0.0}, {3.0, 0.0, 0.0}, {10.0, 1.0, 1.0}}),
          test::matrixOf({{1e-150, 2e-150}, {3e150, 6e150}})}) {
        EXPECT_EQ(measured(a).conditionNumber, infinite) << test::written(a);
    }
}

TEST(SubMatrixMeter, MeasuresGradedMatricesOfAnyScale) {
    // Rows of 1e-150 and 1e150: the inverse of diag(d) B is B^-1 diag(1 / d), so that the large row and the column of
    // the inverse that belongs to the small one decide.
    const Matrix<double> a = test::matrixOf({{3e-150, 4e-150}, {4e150, -3e150}});
    EXPECT_NEAR(measured(a).conditionNumber / 1e300, 1.0, 1e-14);
    EXPECT_NEAR(measured(a).rga, 0.64, 1e-14);
    EXPECT_EQ(measured(test::matrixOf({{1e-200, 0.0}, {0.0, 1e200}})).conditionNumber, infinite);
    EXPECT_EQ(measured(test::matrixOf({{5e-324, 0.0}, {0.0, 5e-324}})).conditionNumber, 1.0);
}

}  // namespace
