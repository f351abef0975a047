#include <gtest/gtest.h>
#include <support/matrix_compare.hpp>
#include <support/matrix_literals.hpp>
#include <support/random_matrices.hpp>

#include <qormath/conditioning/detail/masked_sub_matrix.hpp>

using qormath::conditioning::maskedSubMatrix;
using qormath::test::identical;
using qormath::test::matrixOf;
using qormath::test::vectorOf;
using QorMathLA::Matrix;
using QorMathLA::Range;
using QorMathLA::Vector;

namespace {

const Vector<bool> all;

Matrix<double> threeByFour() {
    return matrixOf({{11, 12, 13, 14}, {21, 22, 23, 24}, {31, 32, 33, 34}});
}

}  // namespace

TEST(MaskedSubMatrix, TakesTheMarkedRowsAndColumnsInTheirOrder) {
    EXPECT_TRUE(identical(
        maskedSubMatrix(threeByFour(), vectorOf<bool>({true, false, true}), vectorOf<bool>({false, true, false, true})),
        matrixOf({{12, 14}, {32, 34}})));
}

TEST(MaskedSubMatrix, TakesAllIndicesForAMaskWithoutElements) {
    const Vector<bool> rows = vectorOf<bool>({false, true, false});
    const Vector<bool> cols = vectorOf<bool>({false, false, true, false});
    EXPECT_TRUE(identical(maskedSubMatrix(threeByFour(), all, all), threeByFour()));
    EXPECT_TRUE(identical(maskedSubMatrix(threeByFour(), rows, all), matrixOf({{21, 22, 23, 24}})));
    EXPECT_TRUE(identical(maskedSubMatrix(threeByFour(), all, cols), matrixOf({{13}, {23}, {33}})));
}

TEST(MaskedSubMatrix, LeavesOutTheIndicesPastAShortMask) {
    EXPECT_TRUE(identical(maskedSubMatrix(threeByFour(), vectorOf<bool>({true, true}), vectorOf<bool>({true})),
                          matrixOf({{11}, {21}})));
}

TEST(MaskedSubMatrix, ReadsALongMaskForTheIndicesOfTheMatrixAlone) {
    EXPECT_TRUE(identical(maskedSubMatrix(threeByFour(), vectorOf<bool>({false, false, true, true, true}),
                                          vectorOf<bool>({true, false, false, false, true, true})),
                          matrixOf({{31}})));
}

TEST(MaskedSubMatrix, TakesNothingForAMaskThatMarksNothing) {
    const Vector<bool> none = vectorOf<bool>({false, false, false});
    const Matrix<double> noRows = maskedSubMatrix(threeByFour(), none, all);
    EXPECT_EQ(noRows.rows(), 0);
    EXPECT_EQ(noRows.cols(), 4);
    const Matrix<double> noColumns = maskedSubMatrix(threeByFour(), all, none);
    EXPECT_EQ(noColumns.rows(), 3);
    EXPECT_EQ(noColumns.cols(), 0);
}

TEST(MaskedSubMatrix, HasNoIndicesToTakeFromAnEmptyMatrix) {
    const Vector<bool> mask = vectorOf<bool>({true, false, true});
    const Matrix<double> noRows = maskedSubMatrix(Matrix<double>(0, 3), mask, mask);
    EXPECT_EQ(noRows.rows(), 0);
    EXPECT_EQ(noRows.cols(), 2);
    const Matrix<double> noColumns = maskedSubMatrix(Matrix<double>(3, 0), mask, all);
    EXPECT_EQ(noColumns.rows(), 2);
    EXPECT_EQ(noColumns.cols(), 0);
    EXPECT_EQ(maskedSubMatrix(Matrix<double>(), all, mask).blockSize(), 0);
}

TEST(MaskedSubMatrix, ReadsAViewAsWhatItShows) {
    Matrix<double> whole = threeByFour();
    const Vector<bool> first = vectorOf<bool>({true, false});
    EXPECT_TRUE(identical(maskedSubMatrix(whole(Range(1, 2, 1), Range(2, 3, 1)), first, all), matrixOf({{23, 24}})));
    EXPECT_TRUE(identical(maskedSubMatrix(whole.transpose(), all, vectorOf<bool>({false, false, true})),
                          matrixOf({{31}, {32}, {33}, {34}})));
}

TEST(MaskedSubMatrix, IsAPackedCopy) {
    const Matrix<double> whole = threeByFour();
    Matrix<double> copy = maskedSubMatrix(whole, all, all);
    copy(0, 0) = 99.0;
    EXPECT_TRUE(identical(whole, threeByFour()));
    EXPECT_EQ(maskedSubMatrix(whole, vectorOf<bool>({true, false, true}), all).blockSize(), 8);
}

TEST(MaskedSubMatrix, AgreesWithTheElementsOfRandomSelections) {
    qormath::test::NormalNumbers numbers(65);
    for (const int size : {1, 2, 7, 40}) {
        const Matrix<double> whole = qormath::test::randomMatrix(size, size + 3, numbers);
        Vector<bool> rows(size);
        Vector<bool> cols(size + 3);
        for (bool& flag : rows) {
            flag = numbers.uniform() < 0.5;
        }
        for (bool& flag : cols) {
            flag = numbers.uniform() < 0.5;
        }
        const Matrix<double> selected = maskedSubMatrix(whole, rows, cols);
        int row = 0;
        for (int i = 0; i < whole.rows(); ++i) {
            int col = 0;
            for (int j = 0; rows[i] && j < whole.cols(); ++j) {
                if (cols[j]) {
                    EXPECT_EQ(selected(row, col++), whole(i, j));
                }
            }
            EXPECT_TRUE(!rows[i] || col == selected.cols());
            row += rows[i] ? 1 : 0;
        }
        EXPECT_EQ(row, selected.rows());
    }
}
