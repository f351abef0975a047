#include <complex>
#include <gtest/gtest.h>

#include <qormath/control/qor_math_control.hpp>

#include "support/complex_matrices.hpp"

using qormath::test::Complex;
using qormath::test::maxDifference;
using qormath::test::NormalNumbers;
using qormath::test::randomComplexMatrix;
using QorMathLA::ComplexMatrix;
using QorMathLA::ComplexVector;
using QorMathLA::Matrix;
using QorMathLA::Range;
using QorMathLA::Vector;

TEST(ConvertComplexMatrix, ToAndFroGivesTheValuesBackInCompactForm) {
    NormalNumbers numbers(1511);
    const ComplexMatrix<double> block = randomComplexMatrix(4, 3, numbers);
    for (const bool transposed : {false, true}) {
        ComplexMatrix<double> source = transposed ? block.transpose() : block(Range(1, 2, 1), Range(0, 1, 1));
        Matrix<_MKL_Complex16> pairs(7, 7);
        QorMathControl::convertComplexMatrix(source, pairs, false);
        EXPECT_EQ(pairs.rows(), source.rows());
        EXPECT_EQ(pairs.storedRows, source.rows());
        EXPECT_FALSE(pairs.transposed);
        ComplexMatrix<double> back(5, 5);
        QorMathControl::convertComplexMatrix(back, pairs, true);
        EXPECT_EQ(maxDifference(back, source), 0.0);
        EXPECT_FALSE(back.transposed);
        EXPECT_EQ(back.blockSize(), source.rows() * source.cols());
    }
}

TEST(ConvertComplexMatrix, LeavesItsSourceAndItsSourcesBlockAlone) {
    NormalNumbers numbers(1512);
    ComplexMatrix<double> source = randomComplexMatrix(2, 2, numbers);
    const ComplexMatrix<double> before(source);
    Matrix<_MKL_Complex16> pairs;
    QorMathControl::convertComplexMatrix(source, pairs, false);
    pairs(0, 0) = {5.0, 6.0};
    EXPECT_EQ(maxDifference(source, before), 0.0);
    QorMathControl::convertComplexMatrix(source, pairs, true);
    source(0, 0) = 0.0;
    EXPECT_EQ(pairs(0, 0).real, 5.0);
}

TEST(ConvertComplexMatrix, OfAnEmptyMatrixIsEmptyBothWays) {
    ComplexMatrix<double> empty(0, 3);
    Matrix<_MKL_Complex16> pairs(2, 2);
    QorMathControl::convertComplexMatrix(empty, pairs, false);
    EXPECT_EQ(pairs.rows(), 0);
    EXPECT_EQ(pairs.cols(), 3);
    ComplexMatrix<double> back(2, 2);
    QorMathControl::convertComplexMatrix(back, pairs, true);
    EXPECT_EQ(back.cols(), 3);
}

TEST(ConvertComplexVector, ToAndFroGivesTheValuesBackInCompactForm) {
    NormalNumbers numbers(1513);
    const ComplexMatrix<double> block = randomComplexMatrix(3, 4, numbers);
    ComplexVector<double> source = block.row(1);
    Vector<_MKL_Complex16> pairs;
    QorMathControl::convertComplexVector(source, pairs, false);
    ASSERT_EQ(pairs.size(), 4);
    EXPECT_EQ(pairs.range.stride, 1);
    ComplexVector<double> back(9);
    QorMathControl::convertComplexVector(back, pairs, true);
    ASSERT_EQ(back.size(), 4);
    for (int k = 0; k < 4; ++k) {
        EXPECT_EQ(back[k], block(1, k));
    }
    pairs[0] = {1.0, 2.0};
    EXPECT_EQ(block(1, 0), back[0]);
}
