#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <vector>

#include <qormath/core/arithmetic.hpp>
#include <qormath/numerics/dense_gaussian_solver.hpp>

#include "support/failures.hpp"
#include "support/matrix_compare.hpp"
#include "support/matrix_literals.hpp"
#include "support/random_matrices.hpp"

namespace {

using QorMathLA::DenseGaussianSolver;
using QorMathLA::Matrix;
using QorMathLA::Range;
namespace test = qormath::test;

// Residuals are held to this many n eps norms.
constexpr double ratioLimit = 10.0;

DenseGaussianSolver factorized(const Matrix<double>& a) {
    DenseGaussianSolver solver(a);
    solver.initialize();
    solver.factorize();
    return solver;
}

// ||a y - b|| / (n eps (||a|| ||y|| + ||b||))
double solveRatio(const Matrix<double>& a, const Matrix<double>& y, const Matrix<double>& b) {
    const double error = test::frobeniusNorm(test::differenceOf(QorMathLA::product(a, y), b));
    const double size = test::frobeniusNorm(a) * test::frobeniusNorm(y) + test::frobeniusNorm(b);
    return error == 0.0 ? 0.0 : error / (a.rows() * test::unitRoundoff * size);
}

Matrix<double> scaled(const Matrix<double>& a, double factor) {
    return a * factor;
}

TEST(DenseGaussianSolver, SolvesForAllColumns) {
    test::NormalNumbers numbers(1);
    for (const int n : {1, 2, 3, 10, 63, 64, 65, 200}) {
        for (const int columns : {1, 2, 30}) {
            const Matrix<double> a = test::randomMatrix(n, n, numbers);
            const Matrix<double> b = test::randomMatrix(n, columns, numbers);
            const Matrix<double> y = factorized(a).solve(b);
            ASSERT_EQ(y.rows(), n);
            ASSERT_EQ(y.cols(), columns);
            EXPECT_LE(solveRatio(a, y, b), ratioLimit);
        }
    }
}

TEST(DenseGaussianSolver, ExchangesRowsWhereAPivotIsZeroOrSmall) {
    const Matrix<double> a = test::matrixOf({{0.0, 1.0}, {1.0, 0.0}});
    const Matrix<double> b = test::matrixOf({{3.0}, {5.0}});
    EXPECT_EQ(test::written(factorized(a).solve(b)), "2x1 [5; 3]");
    const Matrix<double> small = test::matrixOf({{1e-20, 1.0}, {1.0, 1.0}});
    const Matrix<double> right = test::matrixOf({{1.0}, {2.0}});
    const Matrix<double> y = factorized(small).solve(right);
    EXPECT_LE(solveRatio(small, y, right), ratioLimit);
}

TEST(DenseGaussianSolver, ServesManyRightHandSides) {
    test::NormalNumbers numbers(2);
    const Matrix<double> a = test::randomMatrix(20, 20, numbers);
    const DenseGaussianSolver solver = factorized(a);
    for (int k = 0; k < 3; ++k) {
        const Matrix<double> b = test::randomMatrix(20, 4, numbers);
        EXPECT_LE(solveRatio(a, solver.solve(b), b), ratioLimit);
    }
}

TEST(DenseGaussianSolver, TakesPartsAndTransposes) {
    test::NormalNumbers numbers(3);
    Matrix<double> large = test::randomMatrix(12, 12, numbers);
    const Matrix<double> part = large(Range(2, 6, 1), Range(4, 8, 1)).transpose();
    const Matrix<double> right = large(Range(0, 2, 1), Range(0, 4, 1)).transpose();
    EXPECT_LE(solveRatio(part, factorized(part).solve(right), right), ratioLimit);
}

TEST(DenseGaussianSolver, LeavesItsOperandsUnchangedAndKeepsNoShareOfThem) {
    test::NormalNumbers numbers(4);
    Matrix<double> a = test::randomMatrix(10, 10, numbers);
    const Matrix<double> sameA(a);
    Matrix<double> b = test::randomMatrix(10, 2, numbers);
    const Matrix<double> sameB(b);
    DenseGaussianSolver solver(a);
    solver.initialize();
    solver.factorize();
    const Matrix<double> y = solver.solve(b);
    EXPECT_TRUE(test::identical(a, sameA));
    EXPECT_TRUE(test::identical(b, sameB));
    a.fill(0.0);
    solver.initialize();
    solver.factorize();
    EXPECT_TRUE(test::identical(solver.solve(b), y));
}

TEST(DenseGaussianSolver, OfOrderZeroGivesAnEmptySolution) {
    const Matrix<double> y = factorized(Matrix<double>()).solve(Matrix<double>(0, 3));
    EXPECT_EQ(y.rows(), 0);
    EXPECT_EQ(y.cols(), 3);
}

TEST(DenseGaussianSolver, OfNoColumnsGivesNoColumns) {
    const Matrix<double> y = factorized(test::matrixOf({{2.0, 0.0}, {0.0, 2.0}})).solve(Matrix<double>(2, 0));
    EXPECT_EQ(y.rows(), 2);
    EXPECT_EQ(y.cols(), 0);
}

TEST(DenseGaussianSolver, SolvesAlikeWhateverTheSizeOfTheMatrix) {
    // A power of 2 changes nothing but exponents.
    test::NormalNumbers numbers(5);
    const Matrix<double> a = test::randomMatrix(30, 30, numbers);
    const Matrix<double> b = test::randomMatrix(30, 2, numbers);
    const Matrix<double> y = factorized(a).solve(b);
    for (const double factor : {0x1p900, 0x1p1020, 0x1p-900}) {
        EXPECT_TRUE(test::identical(factorized(scaled(a, factor)).solve(scaled(b, 0x1p100)),
                                    scaled(scaled(y, 0x1p100), 1.0 / factor)));
    }
}

TEST(DenseGaussianSolver, CopiesWithItsFactors) {
    const Matrix<double> b = test::matrixOf({{8.0}});
    DenseGaussianSolver original(test::matrixOf({{2.0}}));
    original.initialize();
    DenseGaussianSolver copy(original);
    copy.factorize();
    EXPECT_EQ(Matrix<double>(copy.solve(b))(0, 0), 4.0);
    test::expectMinusOne([&] { original.solve(b); });
    original.factorize();
    EXPECT_EQ(Matrix<double>(original.solve(b))(0, 0), 4.0);
}

TEST(DenseGaussianSolver, FactorisesOnceHoweverOftenItIsAsked) {
    DenseGaussianSolver solver(test::matrixOf({{0.0, 2.0}, {4.0, 1.0}}));
    solver.initialize();
    solver.factorize();
    solver.factorize();
    EXPECT_EQ(test::written(solver.solve(test::matrixOf({{2.0}, {5.0}}))), "2x1 [1; 1]");
}

// ---------------------------------------------------------------------------------------------------- failures

void expectSingular(const Matrix<double>& a) {
    DenseGaussianSolver solver(a);
    solver.initialize();
    test::expectMinusOne([&] { solver.factorize(); });
    test::expectMinusOne([&] { solver.solve(a); });
    test::expectMinusOne([&] { solver.factorize(); });
}

TEST(DenseGaussianSolver, ThrowsMinusOneForASingularMatrix) {
    expectSingular(test::matrixOf({{0.0}}));
    expectSingular(test::matrixOf({{1.0, 2.0}, {2.0, 4.0}}));
    expectSingular(QorMathLA::zeroMatrix(5, 5));
}

TEST(DenseGaussianSolver, ThrowsMinusOneForAMatrixThatIsSingularToWorkingPrecision) {
    test::NormalNumbers numbers(6);
    for (const int n : {2, 5, 80}) {
        std::vector<double> values(static_cast<std::size_t>(n), 1.0);
        values.back() = 1e-19;
        expectSingular(test::randomWithSingularValues(n, n, values, numbers));
    }
}

TEST(DenseGaussianSolver, SolvesWhatIsNearlySingular) {
    test::NormalNumbers numbers(7);
    for (const int n : {2, 5, 80}) {
        std::vector<double> values(static_cast<std::size_t>(n), 1.0);
        values.back() = 1e-12;
        const Matrix<double> a = test::randomWithSingularValues(n, n, values, numbers);
        const Matrix<double> b = test::randomMatrix(n, 3, numbers);
        EXPECT_LE(solveRatio(a, factorized(a).solve(b), b), ratioLimit);
    }
}

TEST(DenseGaussianSolver, ThrowsMinusOneForAMatrixThatIsNotSquare) {
    for (const Matrix<double>& a : {Matrix<double>(2, 3), Matrix<double>(3, 2), Matrix<double>(0, 2)}) {
        DenseGaussianSolver solver(a);
        test::expectMinusOne([&] { solver.initialize(); });
        test::expectMinusOne([&] { solver.factorize(); });
    }
}

TEST(DenseGaussianSolver, ThrowsMinusOneForNaNAndInfinity) {
    for (const double bad : {std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity()}) {
        DenseGaussianSolver solver(test::matrixOf({{1.0, bad}, {0.0, 1.0}}));
        test::expectMinusOne([&] { solver.initialize(); });
    }
}

TEST(DenseGaussianSolver, ThrowsMinusOneForAStepThatComesTooEarly) {
    const Matrix<double> one = test::matrixOf({{1.0}});
    DenseGaussianSolver solver(one);
    test::expectMinusOne([&] { solver.factorize(); });
    test::expectMinusOne([&] { solver.solve(one); });
    solver.initialize();
    test::expectMinusOne([&] { solver.solve(one); });
    solver.factorize();
    EXPECT_NO_THROW(solver.solve(one));
    solver.initialize();
    test::expectMinusOne([&] { solver.solve(one); });
}

TEST(DenseGaussianSolver, ThrowsMinusOneForARightHandSideOfOtherRows) {
    const DenseGaussianSolver solver = factorized(test::matrixOf({{1.0, 0.0}, {0.0, 1.0}}));
    test::expectMinusOne([&] { solver.solve(Matrix<double>(1, 2)); });
    test::expectMinusOne([&] { solver.solve(Matrix<double>(3, 2)); });
    test::expectMinusOne([&] { solver.solve(Matrix<double>()); });
}

TEST(DenseGaussianSolver, KeepsNaNOfARightHandSideInItsColumn) {
    test::NormalNumbers numbers(8);
    const Matrix<double> a = test::randomMatrix(5, 5, numbers);
    Matrix<double> b = test::randomMatrix(5, 2, numbers);
    const Matrix<double> clean = b;
    b(0, 0) = std::numeric_limits<double>::quiet_NaN();
    const Matrix<double> y = factorized(a).solve(b);
    EXPECT_TRUE(std::isnan(y(4, 0)));
    EXPECT_LE(solveRatio(a, Matrix<double>(y.column(1).size(), 1, y.numericData(true) + 5),
                         Matrix<double>(5, 1, clean.numericData(true) + 5)),
              ratioLimit);
}

}  // namespace
