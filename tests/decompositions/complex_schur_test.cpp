#include <algorithm>
#include <cmath>
#include <complex>
#include <gtest/gtest.h>
#include <limits>

#include <qormath/control/qor_math_control.hpp>
#include <qormath/core/arithmetic.hpp>

#include "support/complex_matrices.hpp"
#include "support/failures.hpp"
#include "support/matrix_compare.hpp"
#include "support/matrix_literals.hpp"
#include "support/random_matrices.hpp"

using qormath::test::Complex;
using qormath::test::conjugateTransposeOf;
using qormath::test::expectMinusOne;
using qormath::test::frobeniusNorm;
using qormath::test::identical;
using qormath::test::matrixOf;
using qormath::test::maxDifference;
using qormath::test::NormalNumbers;
using qormath::test::randomMatrix;
using qormath::test::unitRoundoff;
using QorMathLA::ComplexMatrix;
using QorMathLA::ComplexVector;
using QorMathLA::Matrix;
using QorMathLA::Range;

namespace {

struct ComplexSchur {
    ComplexMatrix<double> t;
    ComplexMatrix<double> z;
    ComplexVector<double> w;
};

ComplexSchur decompose(const Matrix<double>& a) {
    ComplexSchur schur;
    QorMathControl::ComplexSchurDecomposition(a, schur.t, schur.z, schur.w);
    return schur;
}

/// Backward error and orthogonality within 10 n eps; t exactly triangular; w its diagonal.
void expectComplexSchurFormOf(const Matrix<double>& a, const ComplexSchur& schur) {
    const int n = a.rows();
    const double bound = 10.0 * n * unitRoundoff;
    ASSERT_EQ(schur.t.rows(), n);
    ASSERT_EQ(schur.z.rows(), n);
    ASSERT_EQ(schur.w.size(), n);
    const ComplexMatrix<double> adjoint = conjugateTransposeOf(schur.z);
    const ComplexMatrix<double> product = schur.z * schur.t * adjoint;
    EXPECT_LE(frobeniusNorm(product - ComplexMatrix<double>(a)), bound * frobeniusNorm(a));
    EXPECT_LE(frobeniusNorm(adjoint * schur.z - ComplexMatrix<double>().setIdentity(n)), bound);
    for (int j = 0; j < n; ++j) {
        EXPECT_EQ(schur.w[j], schur.t(j, j));
        for (int i = j + 1; i < n; ++i) {
            ASSERT_EQ(schur.t(i, j), Complex(0.0, 0.0));
        }
    }
}

}  // namespace

TEST(ComplexSchurDecomposition, OfAnEmptyMatrixIsEmpty) {
    ComplexSchur schur{ComplexMatrix<double>(2, 2), ComplexMatrix<double>(2, 2), ComplexVector<double>(2)};
    QorMathControl::ComplexSchurDecomposition(Matrix<double>(), schur.t, schur.z, schur.w);
    EXPECT_EQ(schur.t.rows(), 0);
    EXPECT_EQ(schur.z.rows(), 0);
    EXPECT_EQ(schur.w.size(), 0);
}

TEST(ComplexSchurDecomposition, ThrowsForAMatrixThatIsNotSquareAndLeavesTheResultsUntouched) {
    for (const Matrix<double>& a : {matrixOf({{1, 2, 3}, {4, 5, 6}}), matrixOf({{1, 2}, {3, 4}, {5, 6}})}) {
        ComplexSchur schur{ComplexMatrix<double>(1, 4), ComplexMatrix<double>(1, 5), ComplexVector<double>(6)};
        schur.t(0, 0) = 7.0;
        expectMinusOne([&] { QorMathControl::ComplexSchurDecomposition(a, schur.t, schur.z, schur.w); });
        EXPECT_EQ(schur.t.cols(), 4);
        EXPECT_EQ(schur.t(0, 0), Complex(7.0));
        EXPECT_EQ(schur.z.cols(), 5);
        EXPECT_EQ(schur.w.size(), 6);
    }
}

TEST(ComplexSchurDecomposition, HoldsItsFactorisationForEverySize) {
    NormalNumbers numbers(2201);
    for (const int n : {1, 2, 3, 5, 16, 17, 40, 81}) {
        SCOPED_TRACE(n);
        const Matrix<double> a = randomMatrix(n, n, numbers);
        expectComplexSchurFormOf(a, decompose(a));
    }
}

TEST(ComplexSchurDecomposition, OfARotationHasItsComplexEigenvaluesOnTheDiagonal) {
    const Matrix<double> a = matrixOf({{0, 2}, {-2, 0}});
    const ComplexSchur schur = decompose(a);
    expectComplexSchurFormOf(a, schur);
    EXPECT_NEAR(std::fabs(schur.w[0].imag()), 2.0, 1e-15);
    EXPECT_NEAR(std::abs(schur.w[0] + schur.w[1]), 0.0, 1e-15);
}

TEST(ComplexSchurDecomposition, OfTriangularAndDefectiveMatricesKeepsTheirEigenvalues) {
    for (const Matrix<double>& a : {matrixOf({{1, 1, 0}, {0, 1, 1}, {0, 0, 1}}), matrixOf({{0, 0}, {0, 0}}),
                                    matrixOf({{-1, 5}, {0, 2}}), matrixOf({{1e200, 1e-200}, {1e-200, 1e200}})}) {
        expectComplexSchurFormOf(a, decompose(a));
    }
    EXPECT_EQ(decompose(matrixOf({{-1}})).w[0], Complex(-1.0, 0.0));
}

TEST(ComplexSchurDecomposition, ReadsATransposedViewByLogicalPositionAndLeavesItAlone) {
    NormalNumbers numbers(2202);
    const Matrix<double> block = randomMatrix(6, 6, numbers);
    const Matrix<double> before(block);
    const Matrix<double> view = block(Range(1, 4, 1), Range(0, 3, 1)).transpose();
    const ComplexSchur schur = decompose(view);
    expectComplexSchurFormOf(Matrix<double>(view, true), schur);
    EXPECT_TRUE(identical(block, before));
}

TEST(ComplexSchurDecomposition, ThrowsForWhatIsNotFinite) {
    for (const double bad : {std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity()}) {
        NormalNumbers numbers(2203);
        Matrix<double> a = randomMatrix(4, 4, numbers);
        a(2, 1) = bad;
        ComplexSchur schur;
        expectMinusOne([&] { QorMathControl::ComplexSchurDecomposition(a, schur.t, schur.z, schur.w); });
        EXPECT_EQ(schur.t.rows(), 4);
        EXPECT_EQ(schur.z.rows(), 4);
        EXPECT_EQ(schur.w.size(), 4);
    }
}
