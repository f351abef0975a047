// Sums and differences by loops over addresses, beside the same by a walk over both operands, in every layout.

#include <gtest/gtest.h>
#include <limits>
#include <support/random_matrices.hpp>

#include <qormath/core/arithmetic.hpp>

namespace {

using qormath::test::NormalNumbers;
using qormath::test::randomMatrix;
using QorMathLA::Matrix;
using QorMathLA::MatrixSoft;
using QorMathLA::Range;
using QorMathLA::xmsg;

/// A rows by cols view: a matrix of its own, or a part of a larger one of NaN, or the transpose of such a part.
MatrixSoft<double> inLayout(int layout, int rows, int cols, NormalNumbers& numbers) {
    if (layout == 0) {
        return randomMatrix(rows, cols, numbers);
    }
    const bool transposed = layout == 2;
    const int storedRows = transposed ? cols : rows;
    const int storedCols = transposed ? rows : cols;
    Matrix<double> block(20, 21);
    block.fill(std::numeric_limits<double>::quiet_NaN());
    MatrixSoft<double> view = block(Range(2, storedRows + 1, 1), Range(3, storedCols + 2, 1));
    view = randomMatrix(storedRows, storedCols, numbers);
    return transposed ? view.transpose() : MatrixSoft<double>(view);
}

/// left + sign * right, one element of a walk after the other.
Matrix<double> byWalk(const MatrixSoft<double>& left, double sign, const MatrixSoft<double>& right) {
    Matrix<double> result(left.rows(), left.cols());
    auto target = result.begin();
    auto a = left.begin();
    for (auto b = right.begin(); !b.finished(); ++a, ++b, ++target) {
        *target = *a + sign * *b;
    }
    return result;
}

void expectSameBits(const Matrix<double>& found, const Matrix<double>& wanted) {
    ASSERT_EQ(found.rows(), wanted.rows());
    ASSERT_EQ(found.cols(), wanted.cols());
    for (int j = 0; j < found.cols(); ++j) {
        for (int i = 0; i < found.rows(); ++i) {
            ASSERT_EQ(found(i, j), wanted(i, j)) << i << ", " << j;
        }
    }
}

TEST(SmallSum, OfEveryLayoutIsThatOfAWalkToTheBit) {
    NormalNumbers numbers(1);
    for (const int rows : {1, 2, 3, 4, 7, 8, 15}) {
        for (const int cols : {1, 2, 5, 8, 16}) {
            for (int leftLayout = 0; leftLayout < 3; ++leftLayout) {
                for (int rightLayout = 0; rightLayout < 3; ++rightLayout) {
                    const MatrixSoft<double> left = inLayout(leftLayout, rows, cols, numbers);
                    const MatrixSoft<double> right = inLayout(rightLayout, rows, cols, numbers);
                    expectSameBits(left + right, byWalk(left, 1.0, right));
                    expectSameBits(left - right, byWalk(left, -1.0, right));
                }
            }
        }
    }
}

TEST(SmallSum, OfAViewInStepsOfTwoGoesByTheWalk) {
    NormalNumbers numbers(2);
    Matrix<double> left = randomMatrix(6, 7, numbers);
    const Matrix<double> right = randomMatrix(6, 4, numbers);
    left.colRange = Range(0, 6, 2);
    const MatrixSoft<double> view(left);
    expectSameBits(view + right, byWalk(view, 1.0, right));
}

TEST(SmallSum, OfDifferentShapesFailsWithAnyNumberOfElements) {
    const Matrix<double> full(2, 3);
    for (const auto& other : {Matrix<double>(3, 2), Matrix<double>(2, 2), Matrix<double>(0, 3), Matrix<double>()}) {
        try {
            full + other;
            FAIL();
        } catch (const xmsg& failure) {
            EXPECT_EQ(failure.code, QorMathLA::DimensionMismatch);
            EXPECT_EQ(failure.message, "Matrix + Matrix");
        }
    }
}

}  // namespace
