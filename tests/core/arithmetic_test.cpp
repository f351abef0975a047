#include <cmath>
#include <functional>
#include <gtest/gtest.h>
#include <limits>
#include <string>
#include <support/matrix_compare.hpp>
#include <support/matrix_literals.hpp>
#include <support/random_matrices.hpp>
#include <utility>
#include <vector>

#include <qormath/core/arithmetic.hpp>

namespace {

using namespace qormath::test;
using QorMathLA::Matrix;
using QorMathLA::MatrixSoft;
using QorMathLA::Range;
using QorMathLA::Vector;
using QorMathLA::VectorSoft;
using QorMathLA::xmsg;

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();
const int sizes[] = {0, 1, 2, 3, 7, 16, 33};

void expectXmsg(const std::function<void()>& work, int code, const std::string& message) {
    try {
        work();
        FAIL() << "nothing was thrown instead of \"" << message << '"';
    } catch (const xmsg& error) {
        EXPECT_EQ(error.code, code);
        EXPECT_EQ(error.message, message);
    }
}

/// The same logical matrix as a plain one, a transposed one, and views of both inside larger ones full of NaN.
std::vector<Matrix<double>> formsOf(const Matrix<double>& m) {
    const int rows = m.rows();
    const int cols = m.cols();
    Matrix<double> frame(rows + 3, cols + 4);
    frame.fill(notANumber);
    Matrix<double> inside = frame(Range(2, rows + 1, 1), Range(1, cols, 1));
    MatrixSoft<double>(inside).operator=(m);
    Matrix<double> turnedFrame(cols + 2, rows + 5);
    turnedFrame.fill(notANumber);
    const Matrix<double> turnedInside = turnedFrame(Range(1, cols, 1), Range(3, rows + 2, 1)).transpose();
    MatrixSoft<double>(turnedInside).operator=(m);
    Matrix<double> turned(cols, rows);
    turned.transpose() = m;
    std::vector<Matrix<double>> forms;
    forms.reserve(4);
    forms.emplace_back(m);
    forms.emplace_back(MatrixSoft<double>(turned.transpose()));
    forms.emplace_back(inside, false);
    forms.emplace_back(turnedInside, false);
    return forms;
}

/// The same logical vector, plain, strided and running downwards.
std::vector<Vector<double>> vectorFormsOf(const Vector<double>& v) {
    const int length = v.size();
    Vector<double> strided(3 * length + 2);
    strided.fill(notANumber);
    strided.range = length == 0 ? Range() : Range(1, 3 * length - 2, 3);
    Vector<double> downwards(length);
    for (int k = 0; k < length; ++k) {
        strided[k] = v[k];
        downwards[length - 1 - k] = v[k];
    }
    downwards.range = length < 2 ? downwards.range : Range(length - 1, 0, -1);
    std::vector<Vector<double>> forms;
    forms.reserve(3);
    forms.emplace_back(v);
    forms.emplace_back(strided, false);
    forms.emplace_back(downwards, false);
    return forms;
}

TEST(MatrixProduct, OfEveryFormAgreesWithItsDefinition) {
    NormalNumbers numbers(21);
    for (const int m : {1, 2, 5, 16, 33}) {
        for (const int k : {1, 2, 7, 32}) {
            for (const int n : {1, 3, 17}) {
                const Matrix<double> a = randomMatrix(m, k, numbers);
                const Matrix<double> b = randomMatrix(k, n, numbers);
                const Matrix<double> expected = naiveProduct(a, b);
                const double bound = 10.0 * k * unitRoundoff * frobeniusNorm(a) * frobeniusNorm(b);
                for (const Matrix<double>& left : formsOf(a)) {
                    for (const Matrix<double>& right : formsOf(b)) {
                        ASSERT_LE(maxDifference(left * right, expected), bound);
                    }
                }
            }
        }
    }
}

TEST(MatrixProduct, OfStridedViewsIsPacked) {
    NormalNumbers numbers(22);
    Matrix<double> a = randomMatrix(9, 8, numbers);
    const Matrix<double> b = randomMatrix(4, 3, numbers);
    a.rowRange = Range(1, 7, 3);
    a.colRange = Range(0, 7, 2);
    const Matrix<double> packed(a, true);
    EXPECT_LE(maxDifference(a * b, naiveProduct(packed, b)), 10.0 * 4 * unitRoundoff * 100.0);
    const Vector<double> x = b.column(1);
    EXPECT_EQ(maxDifference(a * x, packed * x), 0.0);
}

TEST(MatrixProduct, WithInnerSizeZeroIsTheEmptyDefaultMatrix) {
    const Matrix<double> result = Matrix<double>(2, 0) * Matrix<double>(0, 3);
    EXPECT_EQ(result.rows(), 0);
    EXPECT_EQ(result.cols(), 0);
    EXPECT_EQ(result.storedCols, 0);
}

TEST(MatrixProduct, WithoutRowsOrColumnsKeepsItsShape) {
    const Matrix<double> wide = Matrix<double>(0, 2) * Matrix<double>(2, 3);
    EXPECT_EQ(wide.rows(), 0);
    EXPECT_EQ(wide.cols(), 3);
    const Matrix<double> tall = Matrix<double>(3, 2) * Matrix<double>(2, 0);
    EXPECT_EQ(tall.rows(), 3);
    EXPECT_EQ(tall.cols(), 0);
}

TEST(MatrixProduct, AsAFunctionGivesZerosForInnerSizeZero) {
    const Matrix<double> zeros = QorMathLA::product(Matrix<double>(2, 0), Matrix<double>(0, 3));
    EXPECT_EQ(maxDifference(zeros, matrixOf({{0.0, 0.0, 0.0}, {0.0, 0.0, 0.0}})), 0.0);
    EXPECT_EQ(maxDifference(QorMathLA::product(matrixOf({{2.0}}), matrixOf({{3.0}})), matrixOf({{6.0}})), 0.0);
    expectXmsg([] { QorMathLA::product(Matrix<double>(2, 0), Matrix<double>(1, 3)); }, 5, "Matrix * Matrix");
}

TEST(MatrixProduct, OfSizesThatDoNotFitIsRefused) {
    expectXmsg([] { Matrix<double>(2, 3) * Matrix<double>(2, 3); }, 5, "Matrix * Matrix");
    expectXmsg([] { Matrix<double>(2, 0) * Matrix<double>(1, 3); }, 5, "Matrix * Matrix");
}

TEST(MatrixVectorProduct, OfEveryFormAgreesWithItsDefinition) {
    NormalNumbers numbers(23);
    for (const int m : sizes) {
        for (const int k : sizes) {
            const Matrix<double> a = randomMatrix(m, k, numbers);
            const Vector<double> x = randomVector(k, numbers);
            Vector<double> expected(m);
            for (int i = 0; i < m; ++i) {
                expected[i] = 0.0;
                for (int j = 0; j < k; ++j) {
                    expected[i] += a(i, j) * x[j];
                }
            }
            const double bound = 10.0 * k * unitRoundoff * frobeniusNorm(a) * euclideanNorm(x);
            for (const Matrix<double>& left : formsOf(a)) {
                for (const Vector<double>& right : vectorFormsOf(x)) {
                    ASSERT_LE(maxDifference(left * right, expected), bound) << m << " by " << k;
                }
            }
        }
    }
}

TEST(MatrixVectorProduct, WithoutColumnsIsZeros) {
    EXPECT_EQ(maxDifference(Matrix<double>(2, 0) * Vector<double>(), vectorOf({0.0, 0.0})), 0.0);
    EXPECT_EQ(maxDifference(Matrix<double>(0, 2).transpose() * Vector<double>(), vectorOf({0.0, 0.0})), 0.0);
    EXPECT_EQ(Vector<double>(Matrix<double>(0, 2) * Vector<double>(2)).size(), 0);
}

TEST(MatrixVectorProduct, OfSizesThatDoNotFitIsRefused) {
    expectXmsg([] { Matrix<double>(2, 3) * Vector<double>(2); }, 5, "Matrix * Vector");
}

TEST(VectorArithmetic, OfEveryFormGoesByIndex) {
    NormalNumbers numbers(24);
    for (const int n : sizes) {
        const Vector<double> x = randomVector(n, numbers);
        const Vector<double> y = randomVector(n, numbers);
        double dot = 0.0;
        Vector<double> sum(n);
        Vector<double> difference(n);
        for (int k = 0; k < n; ++k) {
            dot += x[k] * y[k];
            sum[k] = x[k] + y[k];
            difference[k] = x[k] - y[k];
        }
        const double bound = 10.0 * n * unitRoundoff * euclideanNorm(x) * euclideanNorm(y);
        for (const Vector<double>& right : vectorFormsOf(y)) {
            EXPECT_EQ(maxDifference(x + right, sum), 0.0);
            for (Vector<double>& left : vectorFormsOf(x)) {
                EXPECT_LE(std::fabs(left * right - dot), bound);
                left += right;
                EXPECT_EQ(maxDifference(left, sum), 0.0);
                left -= right;
                left -= right;
                EXPECT_LE(maxDifference(left, difference), 10.0 * unitRoundoff * (x.maxAbs() + y.maxAbs()));
            }
        }
    }
}

TEST(VectorArithmetic, ByAScalar) {
    const Vector<double> x = vectorOf({1.0, -2.0, 3.0});
    EXPECT_EQ(maxDifference(x * 2.0, vectorOf({2.0, -4.0, 6.0})), 0.0);
    EXPECT_EQ(maxDifference(x / 2.0, vectorOf({0.5, -1.0, 1.5})), 0.0);
    Vector<double> y = x;
    y *= 3.0;
    y /= 1.5;
    EXPECT_EQ(maxDifference(y, vectorOf({2.0, -4.0, 6.0})), 0.0);
    EXPECT_EQ(maxDifference(x, vectorOf({1.0, -2.0, 3.0})), 0.0);
}

TEST(VectorArithmetic, MultipliedByOneOfItsOwnElementsTakesTheValueThatItHad) {
    Vector<double> x = vectorOf({2.0, 3.0});
    x *= x[0];
    EXPECT_EQ(maxDifference(x, vectorOf({4.0, 6.0})), 0.0);
}

TEST(VectorArithmetic, DivisionByZeroOfEitherSignIsRefusedAndChangesNothing) {
    Vector<double> x = vectorOf({1.0, 2.0});
    for (const double zero : {0.0, -0.0}) {
        expectXmsg([&] { x / zero; }, 10, "Vector / Type");
        expectXmsg([&] { x /= zero; }, 10, "Vector / Type");
    }
    EXPECT_EQ(maxDifference(x, vectorOf({1.0, 2.0})), 0.0);
    EXPECT_EQ(maxDifference(x / 1e-300, vectorOf({1.0 / 1e-300, 2.0 / 1e-300})), 0.0);
}

TEST(VectorArithmetic, DivisionByAVectorTestsNoDivisor) {
    const Vector<double> result = vectorOf({1.0, -1.0, 0.0, 6.0}) / vectorOf({0.0, 0.0, 0.0, 3.0});
    EXPECT_EQ(maxDifference(result, vectorOf({infinity, -infinity, notANumber, 2.0})), 0.0);
    Vector<double> x = vectorOf({6.0, 8.0});
    x /= vectorOf({3.0, 2.0});
    EXPECT_EQ(maxDifference(x, vectorOf({2.0, 4.0})), 0.0);
}

TEST(VectorArithmetic, OfLengthsThatDifferIsRefusedAndChangesNothing) {
    Vector<double> x = vectorOf({1.0, 2.0});
    const Vector<double> y = vectorOf({1.0, 2.0, 3.0});
    expectXmsg([&] { x* y; }, 5, "Vector * Vector");
    expectXmsg([&] { x + y; }, 5, "Vector + Vector");
    expectXmsg([&] { x += y; }, 5, "Vector + Vector");
    expectXmsg([&] { x -= y; }, 5, "Vector - Vector");
    expectXmsg([&] { x / y; }, 5, "Vector / Vector");
    expectXmsg([&] { x /= y; }, 5, "Vector / Vector");
    EXPECT_EQ(maxDifference(x, vectorOf({1.0, 2.0})), 0.0);
}

TEST(MatrixArithmetic, SumsOfViewsInStepsWriteNothingBetween) {
    NormalNumbers numbers(24);
    const Matrix<double> block = randomMatrix(5, 4, numbers);
    Matrix<double> target(block, true);
    Matrix<double> view(target, false);
    view.rowRange = Range(0, 4, 2);
    view.colRange = Range(1, 3, 2);
    const Matrix<double> term = randomMatrix(3, 2, numbers);
    view += term;
    view -= term * 3.0;
    for (int j = 0; j < 4; ++j) {
        for (int i = 0; i < 5; ++i) {
            const bool isShown = i % 2 == 0 && j % 2 == 1;
            const double wanted = isShown ? block(i, j) + term(i / 2, j / 2) - term(i / 2, j / 2) * 3.0 : block(i, j);
            EXPECT_EQ(target(i, j), wanted);
        }
    }
}

TEST(MatrixArithmetic, SumsGoByLogicalPosition) {
    NormalNumbers numbers(25);
    for (const int m : sizes) {
        for (const int n : {0, 1, 2, 9}) {
            const Matrix<double> a = randomMatrix(m, n, numbers);
            const Matrix<double> b = randomMatrix(m, n, numbers);
            Matrix<double> sum(m, n);
            for (int i = 0; i < m; ++i) {
                for (int j = 0; j < n; ++j) {
                    sum(i, j) = a(i, j) + b(i, j);
                }
            }
            for (Matrix<double>& left : formsOf(a)) {
                for (const Matrix<double>& right : formsOf(b)) {
                    EXPECT_EQ(maxDifference(left + right, sum), 0.0);
                    EXPECT_EQ(maxDifference(left - right, differenceOf(a, b)), 0.0);
                }
                left += b;
                EXPECT_EQ(maxDifference(left, sum), 0.0);
                left -= b;
                EXPECT_LE(maxDifference(left, a), 10.0 * unitRoundoff * (a.maxAbs() + b.maxAbs()));
            }
        }
    }
}

TEST(MatrixArithmetic, OfAMatrixAndItsTransposeIsSymmetric) {
    NormalNumbers numbers(26);
    const Matrix<double> a = randomMatrix(5, 5, numbers);
    const Matrix<double> s = a + a.transpose();
    EXPECT_TRUE(identical(s, s.transpose()));
}

TEST(MatrixArithmetic, OfShapesThatDifferIsRefusedAndChangesNothing) {
    Matrix<double> a = matrixOf({{1.0, 2.0}});
    const Matrix<double> others[] = {matrixOf({{1.0}, {2.0}}), matrixOf({{1.0, 2.0, 3.0}}), Matrix<double>()};
    for (const Matrix<double>& b : others) {
        expectXmsg([&] { a + b; }, 5, "Matrix + Matrix");
        expectXmsg([&] { a += b; }, 5, "Matrix + Matrix");
        expectXmsg([&] { a - b; }, 5, "Matrix - Matrix");
        expectXmsg([&] { a -= b; }, 5, "Matrix - Matrix");
    }
    EXPECT_EQ(maxDifference(a, matrixOf({{1.0, 2.0}})), 0.0);
}

TEST(MatrixArithmetic, ByAScalar) {
    Matrix<double> a = matrixOf({{1.0, 2.0}, {3.0, 4.0}});
    EXPECT_EQ(maxDifference(a * 2.0, matrixOf({{2.0, 4.0}, {6.0, 8.0}})), 0.0);
    EXPECT_EQ(maxDifference(a.transpose() / 2.0, matrixOf({{0.5, 1.5}, {1.0, 2.0}})), 0.0);
    EXPECT_EQ(a(1, 1), 4.0);
    a(Range(0, 0, 1), Range(-1, -1, 1)) *= 10.0;
    EXPECT_EQ(maxDifference(a, matrixOf({{10.0, 20.0}, {3.0, 4.0}})), 0.0);
    expectXmsg([&] { a / 0.0; }, 10, "Matrix / Type");
    expectXmsg([&] { a / -0.0; }, 10, "Matrix / Type");
    expectXmsg([] { Matrix<double>() / 0.0; }, 10, "Matrix / Type");
    EXPECT_EQ(Matrix<double>(a / 1e-300)(1, 1), 4.0 / 1e-300);
}

TEST(MatrixScaling, MultipliesColumnsOrRowsOfACopy) {
    const Matrix<double> a = matrixOf({{1.0, 2.0, 3.0}, {4.0, 5.0, 6.0}});
    EXPECT_EQ(
        maxDifference(a.scaleColumnsBy(vectorOf({1.0, 10.0, 0.0})), matrixOf({{1.0, 20.0, 0.0}, {4.0, 50.0, 0.0}})),
        0.0);
    EXPECT_EQ(maxDifference(a.scaleRowsBy(vectorOf({2.0, -1.0})), matrixOf({{2.0, 4.0, 6.0}, {-4.0, -5.0, -6.0}})),
              0.0);
    EXPECT_EQ(maxDifference(a.transpose().scaleRowsBy(vectorOf({1.0, 10.0, 0.0})),
                            a.scaleColumnsBy(vectorOf({1.0, 10.0, 0.0})).transpose()),
              0.0);
    EXPECT_EQ(a(1, 2), 6.0);
    expectXmsg([&] { a.scaleColumnsBy(vectorOf({1.0, 2.0})); }, 5, "Matrix scaleColumnsBy");
    expectXmsg([&] { a.scaleRowsBy(vectorOf({1.0, 2.0, 3.0})); }, 5, "Matrix scaleRowsBy");
}

TEST(MatrixAppend, PutsTheLeftOrTheUpperFirstAndSharesNothing) {
    const Matrix<double> column = matrixOf({{1.0}, {2.0}});
    const Matrix<double> square = matrixOf({{3.0, 4.0}, {5.0, 6.0}});
    Matrix<double> joined = column.appendToRight(square);
    EXPECT_EQ(maxDifference(joined, matrixOf({{1.0, 3.0, 4.0}, {2.0, 5.0, 6.0}})), 0.0);
    joined.fill(0.0);
    EXPECT_EQ(square(1, 1), 6.0);
    EXPECT_EQ(maxDifference(column.transpose().appendToBottom(square.transpose()),
                            matrixOf({{1.0, 2.0}, {3.0, 5.0}, {4.0, 6.0}})),
              0.0);
}

TEST(MatrixAppend, OfEmptyOperandsGoesByTheirShapes) {
    const Matrix<double> square = matrixOf({{3.0, 4.0}, {5.0, 6.0}});
    EXPECT_EQ(maxDifference(Matrix<double>(2, 0).appendToRight(square), square), 0.0);
    EXPECT_EQ(maxDifference(square.appendToRight(Matrix<double>(2, 0)), square), 0.0);
    EXPECT_EQ(maxDifference(Matrix<double>(0, 2).appendToBottom(square), square), 0.0);
    EXPECT_EQ(maxDifference(square.appendToBottom(Matrix<double>(0, 2)), square), 0.0);
    const Matrix<double> wide = Matrix<double>(0, 2).appendToRight(Matrix<double>(0, 3));
    EXPECT_EQ(wide.rows(), 0);
    EXPECT_EQ(wide.cols(), 5);
    EXPECT_EQ(Matrix<double>(Matrix<double>().appendToRight(Matrix<double>())).blockSize(), 0);
    expectXmsg([&] { Matrix<double>().appendToRight(square); }, 5, "Matrix appendToRight");
    expectXmsg([&] { square.appendToBottom(Matrix<double>()); }, 5, "Matrix appendToBottom");
    expectXmsg([] { Matrix<double>(2, 1).appendToRight(Matrix<double>(3, 1)); }, 5, "Matrix appendToRight");
}

TEST(MatrixReductions, GoByTheLogicalMatrix) {
    const Matrix<double> a = matrixOf({{1.0, -2.0, 100.0}, {3.0, -4.0, 100.0}});
    const Matrix<double> view = a(Range(-1, -1, 1), Range(0, 1, 1));
    EXPECT_EQ(view.sumSquares(), 30.0);
    EXPECT_EQ(view.transpose().sumSquares(), 30.0);
    EXPECT_EQ(view.maxAbs(), 4.0);
    EXPECT_EQ(Matrix<double>().maxAbs(), 0.0);
    EXPECT_EQ(Matrix<double>(0, 3).sumSquares(), 0.0);
}

TEST(MatrixReductions, TheLargestElementTakesNaNAndTheNextReplacesIt) {
    EXPECT_EQ(matrixOf({{5.0, notANumber, 1.0}}).maxAbs(), 1.0);
    EXPECT_TRUE(std::isnan(matrixOf({{5.0, notANumber}}).maxAbs()));
}

TEST(MatrixReductions, TheLargestElementIsThatOfAWalkInOrder) {
    NormalNumbers numbers(81);
    for (const int rows : {1, 2, 7, 8, 9, 17}) {
        for (const int columns : {1, 3, 10}) {
            Matrix<double> a = randomMatrix(rows + 1, columns + 2, numbers);
            a(0, 0) = 1e300;  // outside the view
            const Matrix<double> view = a(Range(1, rows, 1), Range(1, columns, 1));
            const auto expectOfWalk = [&](const char* what) {
                for (const Matrix<double>& matrix : formsOf(view)) {
                    double largest = 0.0;
                    for (const double element : matrix) {
                        largest = largest > std::fabs(element) ? largest : std::fabs(element);
                    }
                    const double found = matrix.maxAbs();
                    EXPECT_TRUE(found == largest || (std::isnan(found) && std::isnan(largest)))
                        << what << ", " << rows << " by " << columns;
                }
            };
            expectOfWalk("ordinary");
            for (const double special : {infinity, -infinity, notANumber}) {
                const int row = rows - numbers.integer(0, rows - 1);
                const int column = columns - numbers.integer(0, columns - 1);
                const double before = a(row, column);
                a(row, column) = special;
                expectOfWalk("one that is not finite");
                a(row, column) = before;
            }
            a.fill(-0.0);
            expectOfWalk("zeros");
        }
    }
}

TEST(LeftDivision, SolvesASquareSystem) {
    NormalNumbers numbers(27);
    for (const int n : {1, 2, 5, 20}) {
        const Matrix<double> a = randomMatrix(n, n, numbers);
        const Matrix<double> b = randomMatrix(n, 3, numbers);
        const Matrix<double> inverse = pseudoInverse(a, -1.0);
        const Matrix<double> x = a.leftDivide(b);
        const double condition = frobeniusNorm(a) * frobeniusNorm(inverse);
        EXPECT_LE(frobeniusNorm(differenceOf(a * x, b)), 20.0 * n * unitRoundoff * condition * frobeniusNorm(b));
    }
}

TEST(LeftDivision, OfASingularMatrixIsThePseudoInverseSolution) {
    const Matrix<double> x = matrixOf({{2.0, 0.0}, {0.0, 0.0}}).leftDivide(matrixOf({{4.0}, {3.0}}));
    EXPECT_LE(maxDifference(x, matrixOf({{2.0}, {0.0}})), 20.0 * unitRoundoff * 4.0);
}

TEST(LeftDivision, OfAWideMatrixIsTheSolutionOfLeastNorm) {
    const Matrix<double> x = matrixOf({{1.0, 1.0}}).leftDivide(matrixOf({{4.0}}));
    EXPECT_LE(maxDifference(x, matrixOf({{2.0}, {2.0}})), 20.0 * unitRoundoff * 4.0);
}

TEST(LeftDivision, OfShapesWithoutElementsKeepsTheirShape) {
    EXPECT_EQ(Matrix<double>(Matrix<double>().leftDivide(Matrix<double>(0, 3))).cols(), 3);
    const Matrix<double> zeros = Matrix<double>(0, 2).leftDivide(Matrix<double>(0, 1));
    EXPECT_EQ(maxDifference(zeros, matrixOf({{0.0}, {0.0}})), 0.0);
    const Matrix<double> none = Matrix<double>(2, 0).leftDivide(Matrix<double>(2, 3));
    EXPECT_EQ(none.rows(), 0);
    EXPECT_EQ(none.cols(), 3);
}

TEST(LeftDivision, OfRowCountsThatDifferIsRefused) {
    expectXmsg([] { Matrix<double>(2, 2).leftDivide(Matrix<double>(3, 1)); }, 5, "Matrix left division: %");
}

}  // namespace
