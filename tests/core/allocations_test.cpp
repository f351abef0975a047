// What costs an allocation and what does not. This source replaces operator new for the whole executable, so that a
// double that is read before it was written is NaN in every test of the core.

#include <gtest/gtest.h>
#include <support/count_allocations.hpp>
#include <support/matrix_compare.hpp>
#include <utility>

#include <qormath/core/matrix.hpp>

namespace {

using qormath::test::AllocationCounter;
using QorMathLA::Matrix;
using QorMathLA::MatrixSoft;
using QorMathLA::Range;
using QorMathLA::SharedArray;
using QorMathLA::Vector;
using QorMathLA::VectorSoft;

Matrix<double> filled(int rows, int cols, double value) {
    Matrix<double> result(rows, cols);
    result.fill(value);
    return result;
}

TEST(Allocations, OfABlockAreThree) {
    const AllocationCounter counter;
    SharedArray<double> array;
    array.initialise(100, nullptr, false);
    EXPECT_EQ(counter.count(), 3);
}

TEST(Allocations, OfEmptyAndAdoptedContainersAreNone) {
    double numbers[6] = {};
    const AllocationCounter counter;
    const Matrix<double> adopted(2, 3, numbers, true);
    const Matrix<double> empty(0, 3);
    const Vector<double> none;
    EXPECT_EQ(counter.count(), 0);
    EXPECT_EQ(adopted.rows() + empty.cols() + none.size(), 5);
}

TEST(Allocations, OfViewsAreNone) {
    Matrix<double> m = filled(4, 5, 1.0);
    const Range all(-1, -1, 1);
    const AllocationCounter counter;
    double sum = 0.0;
    for (int i = 0; i < 4; ++i) {
        const VectorSoft<double> row = m.row(i);
        const VectorSoft<double> column = m.column(i);
        const VectorSoft<double> slice = m.slice(i, false, 1, 2);
        const VectorSoft<double> part = row(Range(1, 2, row.range.stride));
        const MatrixSoft<double> block = m(Range(i, i, 1), all);
        const MatrixSoft<double> turned = block.transpose();
        const Matrix<double> shared(turned);
        sum += row[0] + column[0] + slice[0] + part[0] + block(0, 0) + shared(0, 0) + m(i, i);
    }
    EXPECT_EQ(counter.count(), 0);
    EXPECT_EQ(sum, 28.0);
}

TEST(Allocations, OfWritesThroughViewsAreNone) {
    Matrix<double> m = filled(4, 4, 1.0);
    const Vector<double> v = m.row(0).filled(2.0);
    const AllocationCounter counter;
    m.row(0) = m.row(1);
    m.row(1) += v;
    m.row(2) -= v;
    m.column(3) *= 2.0;
    m.transpose() += m;
    m *= 0.5;
    EXPECT_EQ(counter.count(), 0);
    EXPECT_EQ(m(1, 1), 3.0);
}

TEST(Allocations, OfAResultAreThoseOfItsBlock) {
    const Matrix<double> a = filled(4, 4, 1.0);
    const AllocationCounter counter;
    const Matrix<double> b = a * a;
    EXPECT_EQ(counter.count(), 3);
    const Matrix<double> c = a + b;
    EXPECT_EQ(counter.count(), 6);
    EXPECT_EQ(c(0, 0), 5.0);
}

TEST(Allocations, OfAMovedMatrixAreNone) {
    Matrix<double> a = filled(4, 4, 1.0);
    const AllocationCounter counter;
    const Matrix<double> b(std::move(a));
    EXPECT_EQ(counter.count(), 0);
    EXPECT_EQ(b(3, 3), 1.0);
}

TEST(Allocations, OfAResultThatTakesTheBlockOfALocalMatrixAreNone) {
    Matrix<double> a = filled(4, 4, 1.0);
    const double* const elements = a.array.data;
    const AllocationCounter counter;
    MatrixSoft<double> soft(std::move(a));
    EXPECT_EQ(a.rows(), 0);
    EXPECT_EQ(a.array.data, nullptr);
    EXPECT_EQ(*soft.array.refCount, 1);
    const Matrix<double> b(std::move(soft));
    EXPECT_EQ(soft.cols(), 0);
    EXPECT_EQ(*b.array.refCount, 1);
    EXPECT_EQ(b.array.data, elements);
    Vector<double> v = b.column(0).filled(2.0);
    EXPECT_EQ(*v.refCount, 1);
    v = VectorSoft<double>(std::move(v));
    EXPECT_EQ(*v.refCount, 1);
    EXPECT_EQ(v[3], 2.0);
    EXPECT_EQ(counter.count(), 3);  // of the vector
}

}  // namespace
