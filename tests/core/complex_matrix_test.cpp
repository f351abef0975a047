#include <cmath>
#include <complex>
#include <gtest/gtest.h>
#include <limits>
#include <string>
#include <type_traits>

#include <qormath/core/complex_matrix.hpp>

#include "support/complex_matrices.hpp"
#include "support/failures.hpp"
#include "support/matrix_literals.hpp"

using qormath::test::Complex;
using qormath::test::complexMatrixOf;
using qormath::test::expectXmsg;
using qormath::test::frobeniusNorm;
using qormath::test::matrixOf;
using qormath::test::maxDifference;
using qormath::test::naiveProduct;
using qormath::test::NormalNumbers;
using qormath::test::randomComplexMatrix;
using qormath::test::unitRoundoff;
using QorMathLA::ComplexMatrix;
using QorMathLA::ComplexMatrixSoft;
using QorMathLA::ComplexVector;
using QorMathLA::Matrix;
using QorMathLA::Range;
using QorMathLA::Vector;

namespace {

const Range all(-1, -1, 1);

ComplexMatrix<double> counted(int rows, int cols) {
    ComplexMatrix<double> result(rows, cols);
    int k = 0;
    for (Complex& element : result) {
        ++k;
        element = {1.0 * k, -10.0 * k};
    }
    return result;
}

ComplexVector<double> vectorOf(std::initializer_list<Complex> values) {
    ComplexVector<double> result(static_cast<int>(values.size()));
    int k = 0;
    for (const Complex& value : values) {
        result[k++] = value;
    }
    return result;
}

bool isCompact(const QorMathLA::BasicMatrix<Complex>& m) {
    return !m.transposed && m.rowRange.start == 0 && m.colRange.start == 0 && m.storedRows == m.rows() &&
           m.storedCols == m.cols();
}

}  // namespace

// ---------------------------------------------------------------- containers

TEST(ComplexMatrix, IsEmptyByDefault) {
    const ComplexMatrix<double> m;
    EXPECT_EQ(m.rows(), 0);
    EXPECT_EQ(m.cols(), 0);
    EXPECT_EQ(m.blockSize(), 0);
    EXPECT_EQ(ComplexVector<double>().size(), 0);
}

TEST(ComplexMatrix, StartsWithZerosWithoutAWrite) {
    const ComplexMatrix<double> m(2, 2);
    const ComplexVector<double> v(3);
    ASSERT_EQ(m.blockSize(), 4);
    ASSERT_EQ(v.size(), 3);
    for (const Complex& element : m) {
        EXPECT_EQ(element, Complex(0.0, 0.0));
    }
    for (const Complex& element : v) {
        EXPECT_EQ(element, Complex(0.0, 0.0));
    }
}

TEST(ComplexMatrix, AddsNoFieldAndCarriesTheKindOfItsElements) {
    static_assert(sizeof(ComplexMatrix<double>) == sizeof(Matrix<Complex>));
    static_assert(sizeof(ComplexVector<double>) == sizeof(Vector<Complex>));
    static_assert(offsetof(_MKL_Complex16, real) == 0 && offsetof(_MKL_Complex16, imag) == sizeof(double));
    EXPECT_EQ(ComplexMatrix<double>(1, 1).elementKind, 3);
    EXPECT_EQ(Matrix<_MKL_Complex16>(1, 1).elementKind, 5);
    EXPECT_EQ(ComplexVector<double>(1).elementKind, 3);
    EXPECT_EQ(Vector<_MKL_Complex16>(1).elementKind, 3);
}

TEST(ComplexMatrix, CopiesDeeplyAndCompactly) {
    ComplexMatrix<double> m = counted(2, 3);
    const ComplexMatrix<double> copy(m);
    ComplexMatrix<double> assigned;
    assigned = m;
    m(0, 0) = 99.0;
    EXPECT_EQ(copy(0, 0), Complex(1.0, -10.0));
    EXPECT_EQ(assigned(0, 0), Complex(1.0, -10.0));
    const ComplexMatrix<double> view = m.transpose();
    EXPECT_TRUE(isCompact(ComplexMatrix<double>(view)));
    EXPECT_EQ(ComplexMatrix<double>(view)(2, 1), m(1, 2));
}

TEST(ComplexMatrix, SharesTheBlockOfASoftMatrix) {
    ComplexMatrix<double> m = counted(2, 2);
    const ComplexMatrix<double> built = m(all, Range(1, 1, 1));
    ComplexMatrix<double> assigned;
    assigned = m.transpose();
    m(0, 1) = 7.0;
    EXPECT_EQ(built(0, 0), Complex(7.0));
    EXPECT_EQ(assigned(1, 0), Complex(7.0));
}

TEST(ComplexMatrix, WritesThroughItsViews) {
    ComplexMatrix<double> m = counted(2, 2);
    m(Range(1, 1, 1), all) = m(Range(0, 0, 1), all);
    EXPECT_EQ(m(1, 1), Complex(3.0, -30.0));
}

TEST(ComplexMatrix, TransposesWithoutConjugating) {
    const ComplexMatrix<double> m = counted(2, 3);
    const ComplexMatrixSoft<double> view = m.transpose();
    EXPECT_EQ(view.rows(), 3);
    EXPECT_EQ(&view(2, 1), &m(1, 2));
    EXPECT_EQ(view(2, 1), Complex(6.0, -60.0));
}

TEST(ComplexMatrix, FillsTheViewAndNothingElse) {
    const ComplexMatrix<double> m = counted(2, 2);
    ComplexMatrix<double> part = m(all, Range(1, 1, 1));
    EXPECT_EQ(&part.fill({2.0, 3.0}), &part);
    EXPECT_EQ(m(0, 1), Complex(2.0, 3.0));
    EXPECT_EQ(m(1, 1), Complex(2.0, 3.0));
    EXPECT_EQ(m(1, 0), Complex(2.0, -20.0));
    part = Complex(4.0, 5.0);
    EXPECT_EQ(m(1, 1), Complex(4.0, 5.0));
}

TEST(ComplexVector, FillsItsViewAndSharesTheBlockOfASoftVector) {
    const ComplexVector<double> v = vectorOf({{1, 2}, {3, 4}, {5, 6}});
    ComplexVector<double> part;
    part = v(Range(1, 2, 1));
    EXPECT_EQ(&part.fill({2.0, 3.0}), &part);
    EXPECT_EQ(v[0], Complex(1.0, 2.0));
    EXPECT_EQ(v[1], Complex(2.0, 3.0));
    part = Complex(4.0, 5.0);
    EXPECT_EQ(v[2], Complex(4.0, 5.0));
}

TEST(ComplexMatrix, BecomesTheIdentityOfItsRowCountOrOfAnOrder) {
    ComplexMatrix<double> m = counted(3, 2);
    const ComplexMatrix<double> holder = ComplexMatrixSoft<double>(m);
    EXPECT_EQ(&m.setIdentity(), &m);
    ASSERT_EQ(m.rows(), 3);
    ASSERT_EQ(m.cols(), 3);
    for (int i = 0; i < 3; ++i) {
        for (int j = 0; j < 3; ++j) {
            EXPECT_EQ(m(i, j), Complex(i == j ? 1.0 : 0.0, 0.0));
        }
    }
    EXPECT_EQ(holder(0, 0), Complex(1.0, -10.0));  // the old block stays with its other holder
    EXPECT_EQ(m.setIdentity(2).rows(), 2);
    EXPECT_EQ(ComplexMatrix<double>().setIdentity().rows(), 0);
}

TEST(ComplexMatrix, RefusesRawDataOfATransposedView) {
    const ComplexMatrix<double> m = counted(2, 3).transpose();
    expectXmsg([&] { m.numericData(true); }, QorMathLA::TransposedDataAccess, "Matrix: get data for Fortran call");
}

// ---------------------------------------------------------------- conversions

TEST(ComplexConversion, OfARealMatrixHasZeroImaginaryParts) {
    const Matrix<double> real = matrixOf({{1, 2, 3}, {4, 5, 6}});
    const ComplexMatrix<double> m(real);
    EXPECT_EQ(m.rows(), 2);
    EXPECT_EQ(m(1, 2), Complex(6.0, 0.0));
    const Matrix<double> turned = real.transpose();
    const ComplexMatrix<double> t = turned;
    EXPECT_TRUE(isCompact(t));
    EXPECT_EQ(t.rows(), 3);
    EXPECT_EQ(t(2, 0), Complex(3.0, 0.0));
}

TEST(ComplexConversion, KeepsEveryValueBothWaysAndIsCompactFromAnyView) {
    const ComplexMatrix<double> block = counted(4, 5);
    for (const ComplexMatrixSoft<double>& view :
         {block.transpose(), block(Range(1, 3, 1), Range(2, 3, 1)), block(all, all),
          block.transpose()(Range(0, 1, 1), Range(1, 3, 1)), block(Range(2, 1, 1), all)}) {
        const ComplexMatrix<double> source = view;
        const Matrix<_MKL_Complex16> pairs(source);
        ASSERT_EQ(pairs.rows(), source.rows());
        ASSERT_EQ(pairs.cols(), source.cols());
        EXPECT_FALSE(pairs.transposed);
        EXPECT_EQ(pairs.blockSize(), source.rows() * source.cols());
        const ComplexMatrix<double> back(pairs);
        EXPECT_TRUE(isCompact(back));
        EXPECT_EQ(maxDifference(back, source), 0.0);
        EXPECT_EQ(ComplexMatrix<double>(Matrix<_MKL_Complex16>(pairs.transpose())).rows(), source.cols());
    }
}

TEST(ComplexConversion, ToPairsMakesANewBlock) {
    ComplexMatrix<double> m = counted(1, 1);
    Matrix<_MKL_Complex16> pairs = m;
    m(0, 0) = 0.0;
    EXPECT_EQ(pairs(0, 0).real, 1.0);
    EXPECT_EQ(pairs(0, 0).imag, -10.0);
    pairs = m;
    EXPECT_EQ(pairs(0, 0).imag, 0.0);
}

TEST(ComplexConversion, OfAWalkThatFindsNothingIsZeros) {
    const ComplexMatrix<double> block = counted(3, 1);
    ComplexMatrix<double> downwards = block(all, all);
    downwards.rowRange = Range(2, 0, -1);
    ASSERT_EQ(downwards.rows(), 3);
    const Matrix<_MKL_Complex16> pairs(downwards);
    ASSERT_EQ(pairs.rows(), 3);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(pairs(i, 0).real, 0.0);
        EXPECT_EQ(pairs(i, 0).imag, 0.0);
    }
}

TEST(ComplexConversion, OfVectorsKeepsEveryValueBothWays) {
    const ComplexMatrix<double> block = counted(3, 3);
    const ComplexVector<double> row = block.row(1);
    const Vector<_MKL_Complex16> pairs(row);
    ASSERT_EQ(pairs.size(), 3);
    EXPECT_EQ(pairs.range.stride, 1);
    EXPECT_EQ(pairs[2].imag, -80.0);
    const ComplexVector<double> back(pairs);
    for (int k = 0; k < 3; ++k) {
        EXPECT_EQ(back[k], row[k]);
    }
    EXPECT_EQ(Vector<_MKL_Complex16>(ComplexVector<double>()).size(), 0);
}

TEST(ComplexConversion, CarriesNaNAndSignedZero) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const ComplexMatrix<double> back(Matrix<_MKL_Complex16>(complexMatrixOf({{{nan, -0.0}, {-0.0, nan}}})));
    EXPECT_TRUE(std::isnan(back(0, 0).real()));
    EXPECT_TRUE(std::signbit(back(0, 0).imag()));
    EXPECT_TRUE(std::signbit(back(0, 1).real()));
    EXPECT_TRUE(std::isnan(back(0, 1).imag()));
}

// ---------------------------------------------------------------- products

TEST(ComplexProduct, IsTheSumOfProductsForEveryShape) {
    NormalNumbers numbers(1501);
    for (const int m : {1, 2, 5, 33}) {
        for (const int k : {1, 3, 40}) {
            for (const int n : {1, 4, 17}) {
                const ComplexMatrix<double> a = randomComplexMatrix(m, k, numbers);
                const ComplexMatrix<double> b = randomComplexMatrix(k, n, numbers);
                const ComplexMatrix<double> product = a * b;
                // k products and sums of complex numbers: 2 k + 4 roundings of each real part at most.
                const double bound = (2.0 * k + 4.0) * unitRoundoff * 2.0 * frobeniusNorm(a) * frobeniusNorm(b);
                EXPECT_LE(maxDifference(product, naiveProduct(a, b)), bound) << m << " " << k << " " << n;
            }
        }
    }
}

TEST(ComplexProduct, OfTransposedAndPartialViewsAgreesWithThatOfTheirCopies) {
    NormalNumbers numbers(1502);
    const ComplexMatrix<double> a = randomComplexMatrix(6, 5, numbers);
    const ComplexMatrix<double> b = randomComplexMatrix(7, 6, numbers);
    const ComplexMatrix<double> partA = a.transpose()(Range(1, 3, 1), Range(0, 3, 1));
    const ComplexMatrix<double> partB = b(Range(2, 5, 1), Range(1, 4, 1));
    const ComplexMatrix<double> copyA(partA);
    const ComplexMatrix<double> copyB(partB);
    const double bound = 20.0 * unitRoundoff * frobeniusNorm(copyA) * frobeniusNorm(copyB);
    EXPECT_LE(maxDifference(partA * partB, copyA * copyB), bound);
    EXPECT_LE(maxDifference(partA * partB, naiveProduct(partA, partB)), bound);
    EXPECT_LE(maxDifference(partB.transpose() * partA.transpose(), ComplexMatrix<double>(partA * partB).transpose()),
              bound);
}

TEST(ComplexProduct, OfAStridedViewAgreesWithThatOfItsCopy) {
    NormalNumbers numbers(1503);
    const ComplexMatrix<double> a = randomComplexMatrix(5, 3, numbers);
    ComplexMatrix<double> everySecondRow = ComplexMatrixSoft<double>(a);
    everySecondRow.rowRange = Range(0, 4, 2);
    const ComplexMatrix<double> copy(everySecondRow);
    ASSERT_EQ(copy.rows(), 3);
    EXPECT_EQ(maxDifference(everySecondRow * copy, copy * copy), 0.0);
}

TEST(ComplexProduct, WithInnerSizeZeroIsTheEmptyMatrix) {
    const ComplexMatrix<double> product = ComplexMatrix<double>(2, 0) * ComplexMatrix<double>(0, 3);
    EXPECT_EQ(product.rows(), 0);
    EXPECT_EQ(product.cols(), 0);
}

TEST(ComplexProduct, OfOperandsWithoutRowsOrColumnsHasTheirShape) {
    const ComplexMatrix<double> product = ComplexMatrix<double>(0, 2) * ComplexMatrix<double>(2, 3);
    EXPECT_EQ(product.rows(), 0);
    EXPECT_EQ(product.cols(), 3);
}

TEST(ComplexProduct, RefusesInnerSizesThatDiffer) {
    expectXmsg([] { counted(2, 3) * counted(2, 3); }, QorMathLA::DimensionMismatch, "Matrix * Matrix");
}

TEST(ComplexProduct, OfVectorsConjugatesTheLeftOne) {
    const ComplexVector<double> u = vectorOf({{1.0, 2.0}, {0.0, 1.0}});
    const ComplexVector<double> v = vectorOf({{3.0, -1.0}, {5.0, 0.0}});
    // conj(1 + 2i) (3 - i) + conj(i) 5 = (1 - 7i) - 5i
    EXPECT_EQ(u * v, Complex(1.0, -12.0));
    EXPECT_EQ(v * u, Complex(1.0, 12.0));
}

TEST(ComplexProduct, OfVectorsHonoursTheirStrides) {
    ComplexMatrix<double> m = counted(2, 3);
    const ComplexVector<double> row(Vector<Complex>(m.row(1)));
    ComplexVector<double> backwards = ComplexVector<double>(3);
    backwards.range = Range(2, 0, -1);
    for (int k = 0; k < 3; ++k) {
        backwards[k] = row[k];
    }
    EXPECT_EQ(m.row(1) * m.row(1), row * row);
    EXPECT_EQ(m.row(1) * backwards, row * row);
    EXPECT_EQ(backwards.data[0], row[2]);
}

TEST(ComplexProduct, OfVectorsRefusesLengthsThatDiffer) {
    expectXmsg([] { ComplexVector<double>(2) * ComplexVector<double>(3); }, QorMathLA::DimensionMismatch,
               "Vector * Vector");
    EXPECT_EQ(ComplexVector<double>() * ComplexVector<double>(), Complex(0.0));
}

// ---------------------------------------------------------------- sums and scalar factors

TEST(ComplexSum, AddsAndSubtractsByLogicalPosition) {
    const ComplexMatrix<double> a = counted(2, 2);
    const ComplexMatrix<double> sum = a + a.transpose();
    EXPECT_EQ(sum(0, 1), Complex(5.0, -50.0));
    EXPECT_EQ(sum(1, 0), Complex(5.0, -50.0));
    const ComplexMatrix<double> difference = a - a.transpose();
    EXPECT_EQ(difference(0, 1), Complex(1.0, -10.0));
    EXPECT_EQ(a(0, 1), Complex(3.0, -30.0));  // the operands stay
}

TEST(ComplexSum, InPlaceWritesThroughTheView) {
    ComplexMatrix<double> m = counted(2, 2);
    m(all, Range(0, 0, 1)) += m(all, Range(1, 1, 1));
    EXPECT_EQ(m(1, 0), Complex(6.0, -60.0));
    EXPECT_EQ(&(m -= m), &m);
    EXPECT_EQ(frobeniusNorm(m), 0.0);
}

TEST(ComplexSum, RefusesOtherShapesBeforeItWritesAndTakesATransposedOneThatFits) {
    ComplexMatrix<double> a = counted(2, 3);
    const ComplexMatrix<double> before(a);
    const ComplexMatrix<double> b = counted(3, 2);
    expectXmsg([&] { a += b; }, QorMathLA::DimensionMismatch, "Matrix + Matrix");
    expectXmsg([&] { a -= b; }, QorMathLA::DimensionMismatch, "Matrix - Matrix");
    expectXmsg([&] { a + b; }, QorMathLA::DimensionMismatch, "Matrix + Matrix");
    expectXmsg([&] { a - b; }, QorMathLA::DimensionMismatch, "Matrix - Matrix");
    expectXmsg([&] { a += counted(2, 2); }, QorMathLA::DimensionMismatch, "Matrix + Matrix");
    EXPECT_EQ(maxDifference(a, before), 0.0);
    a += b.transpose();
    EXPECT_EQ(a(0, 1), Complex(3.0, -30.0) + Complex(2.0, -20.0));
}

TEST(ComplexSum, OfEmptyMatricesIsEmpty) {
    const ComplexMatrix<double> sum = ComplexMatrix<double>(0, 3) + ComplexMatrix<double>(0, 3);
    EXPECT_EQ(sum.rows(), 0);
    EXPECT_EQ(sum.cols(), 3);
}

TEST(ComplexScaling, MultipliesEveryElementOfTheViewInPlace) {
    ComplexMatrix<double> m = complexMatrixOf({{{1.0, 2.0}, {3.0, 0.0}}, {{0.0, 1.0}, {1.0, 1.0}}});
    EXPECT_EQ(&(m *= Complex(0.0, 2.0)), &m);
    EXPECT_EQ(m(0, 0), Complex(-4.0, 2.0));
    EXPECT_EQ(m(0, 1), Complex(0.0, 6.0));
    m(Range(1, 1, 1), all) *= 0.5;
    EXPECT_EQ(m(1, 1), Complex(-1.0, 1.0));
    EXPECT_EQ(m(0, 0), Complex(-4.0, 2.0));
}

TEST(ComplexScaling, IsThePlainFormulaWhereAPartIsInfinite) {
    const double infinity = std::numeric_limits<double>::infinity();
    ComplexMatrix<double> m = complexMatrixOf({{{infinity, 0.0}}});
    m *= Complex(1.0, 1.0);
    EXPECT_EQ(m(0, 0).real(), infinity);  // inf 1 - 0 1
    EXPECT_EQ(m(0, 0).imag(), infinity);  // 0 1 + inf 1
    m *= Complex(0.0, 1.0);
    EXPECT_TRUE(std::isnan(m(0, 0).real()));  // inf 0 - inf 1
}

// ---------------------------------------------------------------- no real operand mixes in by itself

template <class Left, class Right>
concept Multiplies = requires(const Left& left, const Right& right) {
    left* right;
};

TEST(ComplexProduct, TakesARealFactorThroughAConversionOnly) {
    static_assert(!Multiplies<ComplexMatrix<double>, Matrix<double>>);
    static_assert(Multiplies<ComplexMatrix<double>, ComplexMatrix<double>>);
    const ComplexMatrix<double> product = counted(1, 1) * ComplexMatrix<double>(matrixOf({{2}}));
    EXPECT_EQ(product(0, 0), Complex(2.0, -20.0));
}
