#include <gtest/gtest.h>
#include <limits>
#include <new>
#include <string>

#include <qormath/core/arithmetic.hpp>

#include "support/matrix_literals.hpp"

using qormath::test::matrixOf;
using qormath::test::written;
using QorMathLA::addProduct;
using QorMathLA::Matrix;
using QorMathLA::MatrixSoft;
using QorMathLA::product;
using QorMathLA::Range;
using QorMathLA::xmsg;
using QorMathLA::zeroMatrix;

namespace {

template <class Call>
std::string messageOf(Call call, int code) {
    try {
        call();
    } catch (const xmsg& error) {
        EXPECT_EQ(error.code, code);
        return error.message;
    }
    return "no xmsg";
}

}  // namespace

TEST(AddProduct, AddsIntoTheViewAloneAndHonoursTransposedFactors) {
    const Matrix<double> target = matrixOf({{1, 1, 1}, {1, 1, 1}});
    const Matrix<double> left = matrixOf({{1, 2}, {3, 4}});
    const Matrix<double> right = matrixOf({{10, 0}, {0, 100}});
    const Range all(-1, -1, 1);
    addProduct(target(all, Range(1, 2, 1)), -1.0, left.transpose(), right);
    EXPECT_EQ(written(target), "2x3 [1 -9 -299; 1 -19 -399]");
}

TEST(AddProduct, OfInnerSizeZeroAddsNothing) {
    const Matrix<double> target = matrixOf({{5}});
    addProduct(MatrixSoft<double>(target), 1.0, zeroMatrix(1, 0), zeroMatrix(0, 1));
    EXPECT_EQ(written(target), "1x1 [5]");
}

TEST(AddProduct, TellsWhatDoesNotFitAndLeavesTheTargetAlone) {
    const Matrix<double> target = matrixOf({{5, 6}});
    const Matrix<double> row = matrixOf({{1, 2}});
    EXPECT_EQ(messageOf([&] { addProduct(MatrixSoft<double>(target), 1.0, row, row); }, 5), "Matrix * Matrix");
    EXPECT_EQ(messageOf([&] { addProduct(MatrixSoft<double>(target), 1.0, row.transpose(), row); }, 5),
              "Matrix + Matrix");
    EXPECT_EQ(messageOf([&] { addProduct(target.transpose(), 1.0, row.transpose(), matrixOf({{1}})); }, 9),
              "Matrix: get data for Fortran call");
    EXPECT_EQ(written(target), "1x2 [5 6]");
}

TEST(Product, OfInnerSizeZeroIsZerosOfTheRightShape) {
    EXPECT_EQ(written(product(zeroMatrix(2, 0), zeroMatrix(0, 3))), "2x3 [0 0 0; 0 0 0]");
    EXPECT_EQ(written(product(zeroMatrix(0, 0), zeroMatrix(0, 3))), "0x3 []");
    EXPECT_EQ(written(product(matrixOf({{2}}), matrixOf({{3}}))), "1x1 [6]");
    EXPECT_EQ(messageOf([] { product(zeroMatrix(2, 0), zeroMatrix(1, 3)); }, 5), "Matrix * Matrix");
}

TEST(ZeroMatrix, OfMoreElementsThanAnIntNumbersFindsNoMemory) {
    EXPECT_THROW(zeroMatrix(1 << 16, 1 << 16), std::bad_alloc);
    EXPECT_THROW(zeroMatrix(1 << 16, (1 << 16) + 1), std::bad_alloc);
    EXPECT_THROW(zeroMatrix(1 << 30, 2), std::bad_alloc);
    EXPECT_EQ(zeroMatrix(0, std::numeric_limits<int>::max()).cols(), std::numeric_limits<int>::max());
}
