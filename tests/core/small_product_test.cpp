// Small products by loops, beside the same products by BLAS, over every size and layout that takes the loops.

#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <support/matrix_compare.hpp>
#include <support/random_matrices.hpp>
#include <vector>

#include <qormath/core/arithmetic.hpp>
#include <qormath/core/detail/small_product.hpp>
#include <qormath/lapack/blas.hpp>

namespace {

using qormath::lapack::Op;
using qormath::test::maxDifference;
using qormath::test::NormalNumbers;
using qormath::test::randomMatrix;
using qormath::test::unitRoundoff;
using QorMathLA::Matrix;
using QorMathLA::MatrixSoft;
using QorMathLA::Range;
using QorMathLA::Vector;
using QorMathLA::VectorSoft;

/// A rows by cols view within a larger matrix of NaN.
MatrixSoft<double> embedded(int rows, int cols, bool transposed, NormalNumbers& numbers) {
    Matrix<double> block(12, 13);
    block.fill(std::numeric_limits<double>::quiet_NaN());
    const int storedRows = transposed ? cols : rows;
    const int storedCols = transposed ? rows : cols;
    MatrixSoft<double> view = block(Range(2, storedRows + 1, 1), Range(3, storedCols + 2, 1));
    view = randomMatrix(storedRows, storedCols, numbers);
    return transposed ? view.transpose() : MatrixSoft<double>(view);
}

Matrix<double> byBlas(const MatrixSoft<double>& left, const MatrixSoft<double>& right) {
    const auto op = [](const MatrixSoft<double>& m) { return m.transposed ? Op::transpose : Op::none; };
    Matrix<double> result(left.rows(), right.cols());
    qormath::lapack::gemm(op(left), op(right), left.rows(), right.cols(), left.cols(), 1.0, left.numericData(false),
                          left.storedRows, right.numericData(false), right.storedRows, 0.0, result.numericData(true),
                          result.storedRows);
    return result;
}

/// Each of k products and sums rounds once, in either order.
double bound(const MatrixSoft<double>& left, const MatrixSoft<double>& right) {
    return 2.0 * (left.cols() + 1) * unitRoundoff * left.cols() * left.maxAbs() * right.maxAbs();
}

TEST(SmallProduct, OfEverySizeAndLayoutAgreesWithBlas) {
    constexpr int beyond = QorMathLA::detail::largestSmallOrder + 1;
    NormalNumbers numbers(1);
    for (int m = 1; m <= beyond; ++m) {
        for (int n = 1; n <= beyond; ++n) {
            for (int k = 1; k <= beyond; ++k) {
                for (int layout = 0; layout < 4; ++layout) {
                    const MatrixSoft<double> left = embedded(m, k, (layout & 1) != 0, numbers);
                    const MatrixSoft<double> right = embedded(k, n, (layout & 2) != 0, numbers);
                    const Matrix<double> result = left * right;
                    ASSERT_LE(maxDifference(result, byBlas(left, right)), bound(left, right))
                        << m << ' ' << n << ' ' << k << ' ' << layout;
                }
            }
        }
    }
}

TEST(SmallProduct, WithAVectorOfAnyStrideAgreesWithTheDefinition) {
    NormalNumbers numbers(2);
    for (const int n : {1, 2, 5, 8, 9}) {
        for (const bool transposed : {false, true}) {
            const MatrixSoft<double> matrix = embedded(n, n, transposed, numbers);
            const Matrix<double> table = randomMatrix(n, n, numbers);
            VectorSoft<double> backwards(table.column(0));
            backwards.range = Range(n - 1, 0, -1);
            for (const VectorSoft<double>& x : {table.column(n - 1), table.row(n - 1), backwards}) {
                const Vector<double> result = matrix * x;
                ASSERT_EQ(result.size(), n);
                for (int i = 0; i < n; ++i) {
                    double expected = 0.0;
                    for (int k = 0; k < n; ++k) {
                        expected += matrix(i, k) * x[k];
                    }
                    EXPECT_NEAR(result[i], expected,
                                2.0 * (n + 1) * unitRoundoff * n * matrix.maxAbs() * table.maxAbs());
                }
            }
        }
    }
}

TEST(SmallProduct, CarriesNaNAndInfinityLikeAnyOther) {
    Matrix<double> a(2, 2);
    a.fill(0.0);
    Matrix<double> b(2, 2);
    b.fill(1.0);
    b(1, 0) = std::numeric_limits<double>::infinity();
    const Matrix<double> result = a * b;
    EXPECT_TRUE(std::isnan(result(0, 0)));
    EXPECT_EQ(result(0, 1), 0.0);
}

}  // namespace
