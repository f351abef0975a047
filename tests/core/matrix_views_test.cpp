#include <gtest/gtest.h>
#include <support/matrix_compare.hpp>
#include <support/matrix_literals.hpp>
#include <support/random_matrices.hpp>
#include <utility>

#include <qormath/core/matrix.hpp>

namespace {

using namespace qormath::test;
using QorMathLA::Matrix;
using QorMathLA::MatrixSoft;
using QorMathLA::Range;
using QorMathLA::Vector;
using QorMathLA::VectorSoft;
using QorMathLA::xmsg;

const Range all(-1, -1, 1);

/// Element (i, j) is 10 i + j.
Matrix<double> numbered(int rows, int cols) {
    Matrix<double> result(rows, cols);
    for (int i = 0; i < rows; ++i) {
        for (int j = 0; j < cols; ++j) {
            result(i, j) = 10.0 * i + j;
        }
    }
    return result;
}

MatrixSoft<double> softOf(const Matrix<double>& m) {
    return m;
}

TEST(MatrixView, TransposeExchangesTheShapeAndKeepsTheAddresses) {
    const Matrix<double> m = numbered(2, 3);
    const MatrixSoft<double> t = m.transpose();
    EXPECT_EQ(t.rows(), 3);
    EXPECT_EQ(t.cols(), 2);
    for (int i = 0; i < 3; ++i) {
        for (int j = 0; j < 2; ++j) {
            EXPECT_EQ(&t(i, j), &m(j, i));
        }
    }
    EXPECT_EQ(&t.transpose()(1, 2), &m(1, 2));
}

TEST(MatrixView, WriteThroughASubMatrixChangesTheMatrixAndGivesTheHolderBack) {
    Matrix<double> m = numbered(3, 2);
    const Matrix<double> other = matrixOf({{7.0, 8.0}});
    m(Range(0, 0, 1), all) = other;
    EXPECT_EQ(maxDifference(m, matrixOf({{7.0, 8.0}, {10.0, 11.0}, {20.0, 21.0}})), 0.0);
    EXPECT_EQ(*m.array.refCount, 1);
    m(Range(1, 1, 1), all) = softOf(other);
    EXPECT_EQ(m(1, 1), 8.0);
    m(Range(2, 2, 1), all) = 5.0;
    EXPECT_EQ(m(2, 0), 5.0);
}

TEST(MatrixView, SelectsInLogicalTermsRelativeToTheView) {
    const Matrix<double> m = numbered(6, 7);
    const MatrixSoft<double> view = m(Range(1, 4, 1), Range(2, 6, 1));
    const MatrixSoft<double> inner = view(Range(1, 2, 1), Range(0, 3, 1));
    EXPECT_EQ(inner.rows(), 2);
    EXPECT_EQ(inner.cols(), 4);
    EXPECT_EQ(&inner(0, 0), &m(2, 2));
    EXPECT_EQ(inner.storedRows, 6);
    const MatrixSoft<double> turned = view.transpose()(Range(0, 3, 1), Range(1, 2, 1));
    EXPECT_EQ(turned.rows(), 4);
    EXPECT_EQ(turned.cols(), 2);
    EXPECT_EQ(&turned(3, 1), &inner(1, 3));
}

TEST(MatrixView, OfNegativeStartsSelectsEverything) {
    const Matrix<double> m = numbered(6, 7);
    const MatrixSoft<double> view = m(Range(1, 4, 1), Range(2, 6, 1));
    const MatrixSoft<double> same = view(all, Range(-3, 2, 1));
    EXPECT_EQ(same.rows(), 4);
    EXPECT_EQ(same.cols(), 5);
    EXPECT_EQ(&same(0, 0), &m(1, 2));
}

TEST(MatrixView, OfAnotherStrideThrowsTheIntMinusOneAndNoXmsg) {
    const Matrix<double> m = numbered(4, 4);
    const Range two(0, 2, 2);
    for (const bool inRows : {true, false}) {
        for (const MatrixSoft<double>& view : {softOf(m), m.transpose()}) {
            try {
                view(inRows ? two : all, inRows ? all : two);
                FAIL() << "nothing was thrown";
            } catch (const int error) {
                EXPECT_EQ(error, -1);
            }
        }
    }
    EXPECT_THROW(m(Range(-1, -1, -1), all), int);
    EXPECT_EQ(*m.array.refCount, 1);
}

TEST(MatrixView, OfAStridedMatrixTakesItsStride) {
    Matrix<double> m = numbered(7, 2);
    m.rowRange = Range(0, 6, 2);
    const MatrixSoft<double> view = m(Range(2, 4, 2), all);
    EXPECT_EQ(view.rowRange.start, 2);
    EXPECT_EQ(view.rowRange.end, 4);
}

TEST(MatrixView, RowsAndColumnsHaveTheToldRanges) {
    Matrix<double> m = numbered(4, 5);
    const Matrix<double> view = m(Range(1, 3, 1), Range(2, 4, 1));
    const VectorSoft<double> row = view.row(1);
    EXPECT_EQ(row.range.start, 4 * 2 + 2);
    EXPECT_EQ(row.range.end, 4 * 4 + 2);
    EXPECT_EQ(row.range.stride, 4);
    const VectorSoft<double> column = view.column(1);
    EXPECT_EQ(column.range.start, 3 * 4 + 1);
    EXPECT_EQ(column.range.end, 3 * 4 + 3);
    EXPECT_EQ(column.range.stride, 1);
    const MatrixSoft<double> turned = view.transpose();
    EXPECT_EQ(turned.row(1).range.start, column.range.start);
    EXPECT_EQ(turned.row(1).range.end, column.range.end);
    EXPECT_EQ(turned.column(1).range.stride, 4);
    EXPECT_EQ(turned.column(1).range.end, row.range.end);
    m.elementKind = 5;
    EXPECT_EQ(m.row(0).elementKind, 5);
}

TEST(MatrixView, RowAndColumnOfMatricesWithoutElementsHaveNoElements) {
    EXPECT_EQ(Matrix<double>().row(0).range.stride, 1);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(Matrix<double>(3, 0).row(i).size(), 0);
        EXPECT_EQ(Matrix<double>(0, 3).column(i).size(), 0);
        EXPECT_EQ(Matrix<double>(3, 0).transpose().column(i).size(), 0);
        EXPECT_EQ(Matrix<double>(0, 3).transpose().row(i).size(), 0);
        EXPECT_EQ(Matrix<double>(3, 0).row(i) * Matrix<double>(0, 3).column(i), 0.0);
    }
}

TEST(MatrixView, OneRowIsWrittenIntoAnother) {
    Matrix<double> m = numbered(3, 4);
    m.row(0) = m.row(1);
    EXPECT_EQ(maxDifference(m.row(0), vectorOf({10.0, 11.0, 12.0, 13.0})), 0.0);
    EXPECT_EQ(*m.array.refCount, 1);
    m.row(2) += m.row(1);
    EXPECT_EQ(m(2, 3), 36.0);
    m.column(0) = vectorOf({1.0, 2.0, 3.0});
    EXPECT_EQ(m(2, 0), 3.0);
}

TEST(MatrixView, KeepsTheBlockAliveWhenItsMatrixIsGone) {
    const auto rowOfLocal = [] {
        const Matrix<double> local = numbered(3, 3);
        return local.row(2);
    };
    const VectorSoft<double> kept = rowOfLocal();
    EXPECT_EQ(maxDifference(kept, vectorOf({20.0, 21.0, 22.0})), 0.0);
    EXPECT_EQ(*kept.refCount, 1);
}

TEST(MatrixSlice, OfAColumnOrARowBeginsAtTheOffset) {
    const Matrix<double> m = numbered(4, 5);
    EXPECT_EQ(maxDifference(m.slice(2, true, 1), vectorOf({12.0, 22.0, 32.0})), 0.0);
    EXPECT_EQ(maxDifference(m.slice(2, true, 1, 2), vectorOf({12.0, 22.0})), 0.0);
    EXPECT_EQ(maxDifference(m.slice(2, false, 1), vectorOf({21.0, 22.0, 23.0, 24.0})), 0.0);
    EXPECT_EQ(maxDifference(m.slice(2, false, 1, 2), vectorOf({21.0, 22.0})), 0.0);
    EXPECT_EQ(maxDifference(m.slice(2, false, 1, -4), vectorOf({21.0, 22.0, 23.0, 24.0})), 0.0);
}

TEST(MatrixSlice, OfATransposedMatrixExchangesTheForms) {
    const Matrix<double> m = numbered(4, 5);
    const MatrixSoft<double> t = m.transpose();
    EXPECT_EQ(maxDifference(t.slice(2, false, 1, 2), m.slice(2, true, 1, 2)), 0.0);
    EXPECT_EQ(maxDifference(t.slice(2, true, 1), m.slice(2, false, 1)), 0.0);
}

TEST(MatrixSlice, IsHeldToTheLengthOfAColumnOrTheEndOfARow) {
    const Matrix<double> m = numbered(4, 5);
    EXPECT_EQ(m.slice(0, true, 0, 9).size(), 4);
    EXPECT_EQ(m.slice(1, false, 2, 9).size(), 3);
    EXPECT_EQ(maxDifference(m.slice(1, false, 2, 9), vectorOf({12.0, 13.0, 14.0})), 0.0);
    const VectorSoft<double> none = Matrix<double>(0, 3).slice(1, true, 0, 2);
    EXPECT_EQ(none.size(), 0);
    EXPECT_EQ(none.range.end, none.range.start - 1);
    EXPECT_EQ(Matrix<double>(0, 3).slice(0, false, 0, 1).range.stride, 1);
}

TEST(MatrixSlice, OfAViewIsRelativeToTheView) {
    const Matrix<double> m = numbered(5, 6);
    const MatrixSoft<double> view = m(Range(1, 4, 1), Range(2, 5, 1));
    EXPECT_EQ(maxDifference(view.slice(1, true, 2), vectorOf({33.0, 43.0})), 0.0);
    EXPECT_EQ(maxDifference(view.slice(1, false, 2), vectorOf({24.0, 25.0})), 0.0);
}

TEST(MatrixSoft, CopiedFromASoftShares) {
    Matrix<double> a = numbered(2, 2);
    const MatrixSoft<double> first(a);
    MatrixSoft<double> second(first);
    MatrixSoft<double> third(std::move(second));
    EXPECT_EQ(*a.array.refCount, 4);  // a move leaves its source a holder too
    third(1, 1) = 5.0;
    EXPECT_EQ(a(1, 1), 5.0);
}

TEST(MatrixSoft, AssignmentOfAnRvalueIsNeverARebind) {
    Matrix<double> a = numbered(2, 2);
    const Matrix<double> b = matrixOf({{-1.0, -2.0}, {-3.0, -4.0}});
    MatrixSoft<double> view(a);
    view = b.transpose();
    EXPECT_EQ(view.array.data, a.array.data);
    EXPECT_FALSE(view.transposed);
    EXPECT_EQ(maxDifference(a, b.transpose()), 0.0);
}

TEST(MatrixSoft, AssignmentMatchesShapesInWalkingOrder) {
    const Matrix<double> source = matrixOf({{1.0, 3.0}, {2.0, 4.0}});
    Matrix<double> row(1, 4);
    softOf(row) = source;
    EXPECT_EQ(maxDifference(row, matrixOf({{1.0, 2.0, 3.0, 4.0}})), 0.0);
    Matrix<double> column = matrixOf({{8.0}, {9.0}});
    softOf(column) = row;
    EXPECT_EQ(maxDifference(column, matrixOf({{1.0}, {2.0}})), 0.0);
    Matrix<double> turned(2, 2);
    turned.fill(0.0);
    turned.transpose() = row;
    EXPECT_EQ(maxDifference(turned, matrixOf({{1.0, 2.0}, {3.0, 4.0}})), 0.0);
    softOf(turned) = Matrix<double>();
    EXPECT_EQ(turned(0, 1), 2.0);
    softOf(turned) = matrixOf({{7.0}});
    EXPECT_EQ(maxDifference(turned, matrixOf({{7.0, 2.0}, {3.0, 4.0}})), 0.0);
}

TEST(MatrixNumericData, IsTheFirstStoredElementOfTheView) {
    Matrix<double> m = numbered(4, 5);
    EXPECT_EQ(m.numericData(true), m.array.data);
    MatrixSoft<double> view = m(Range(1, 2, 1), Range(3, 4, 1));
    EXPECT_EQ(view.numericData(true), m.array.data + 3 * 4 + 1);
    EXPECT_EQ(view.leadingDimension(true), 4);
    EXPECT_EQ(view.transpose().numericData(false), view.numericData(true));
    EXPECT_EQ(view.transpose().leadingDimension(false), 4);
    EXPECT_EQ(view.transpose().leadingDimension(true), 5);
    // Views into nothing have no address, wherever they begin.
    EXPECT_EQ(Matrix<double>(3, 0)(Range(1, 2, 1), all).numericData(true), nullptr);
    EXPECT_EQ(Matrix<double>(3, 0).row(2).numericData(), nullptr);
}

TEST(MatrixNumericData, OfATransposedMatrixIsRefusedWhateverItsShape) {
    const Matrix<double> square = numbered(2, 2);
    const Matrix<double> empty;
    const Matrix<double> row(1, 3);
    for (const Matrix<double>* m : {&square, &empty, &row}) {
        try {
            m->transpose().numericData(true);
            FAIL() << "nothing was thrown";
        } catch (const xmsg& error) {
            EXPECT_EQ(error.code, 9);
            EXPECT_EQ(error.message, "Matrix: get data for Fortran call");
        }
        EXPECT_EQ(m->transpose().numericData(false), m->array.data);
    }
}

}  // namespace
