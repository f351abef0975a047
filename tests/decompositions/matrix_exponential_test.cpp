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
#include "support/quad_exponential.hpp"
#include "support/random_matrices.hpp"

using qormath::test::Complex;
using qormath::test::complexMatrixOf;
using qormath::test::conjugateTransposeOf;
using qormath::test::expectXmsg;
using qormath::test::frobeniusNorm;
using qormath::test::identical;
using qormath::test::matrixOf;
using qormath::test::maxDifference;
using qormath::test::NormalNumbers;
using qormath::test::quadExponential;
using qormath::test::randomComplexMatrix;
using qormath::test::randomMatrix;
using qormath::test::unitRoundoff;
using QorMathLA::ComplexMatrix;
using QorMathLA::Matrix;
using QorMathLA::Range;

namespace {

constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();
constexpr double infinity = std::numeric_limits<double>::infinity();

Matrix<double> exponential(const Matrix<double>& a, double t = 1.0) {
    return QorMathControl::ExpM(a, t);
}

ComplexMatrix<double> exponential(const ComplexMatrix<double>& a) {
    return QorMathControl::ExpM(a);
}

double rowSumNorm(const Matrix<double>& a) {
    double largest = 0.0;
    for (int i = 0; i < a.rows(); ++i) {
        largest = std::max(largest, a.row(i).sumAbs());
    }
    return largest;
}

double rowSumNorm(const ComplexMatrix<double>& a) {
    double largest = 0.0;
    for (int i = 0; i < a.rows(); ++i) {
        double sum = 0.0;
        for (int j = 0; j < a.cols(); ++j) {
            sum += std::abs(a(i, j));
        }
        largest = std::max(largest, sum);
    }
    return largest;
}

/// A real normal matrix with imaginary eigenvalues, of the given largest row sum: its exponential is orthogonal.
Matrix<double> skewMatrix(int n, double norm, NormalNumbers& numbers) {
    const Matrix<double> r = randomMatrix(n, n, numbers);
    Matrix<double> skew = r - r.transpose();
    skew *= norm / std::max(rowSumNorm(skew), 1e-300);
    return skew;
}

/// The complex one: its exponential is unitary.
ComplexMatrix<double> skewComplexMatrix(int n, double norm, NormalNumbers& numbers) {
    const ComplexMatrix<double> r = randomComplexMatrix(n, n, numbers);
    ComplexMatrix<double> skew = r - conjugateTransposeOf(r);
    skew *= norm / rowSumNorm(skew);
    return skew;
}

/// The bound for normal matrices: the approximant's backward error is 3.4e-16 < 4 eps of the norm, and squaring s times
/// gathers 2^s <= 4 times the norm roundings of products of order n.
double normalBound(int n, double norm, double resultNorm) {
    return 20.0 * n * unitRoundoff * std::max(1.0, norm) * resultNorm;
}

template <class M>
void expectAllNaN(const M& matrix) {
    for (const auto& element : matrix) {
        EXPECT_TRUE(std::isnan(std::abs(element)));
    }
}

}  // namespace

// ---------------------------------------------------------------- the real form

TEST(ExpM, OfAMatrixWithoutRowsIsADivisionByZero) {
    expectXmsg([] { exponential(Matrix<double>()); }, QorMathLA::DivisionByZero, "Matrix / Type");
    expectXmsg([] { exponential(Matrix<double>(0, 3)); }, QorMathLA::DivisionByZero, "Matrix / Type");
}

TEST(ExpM, RefusesAMatrixThatIsNotSquare) {
    expectXmsg([] { exponential(matrixOf({{1, 2, 3}, {4, 5, 6}})); }, QorMathLA::DimensionMismatch, "Matrix - Matrix");
    expectXmsg([] { exponential(matrixOf({{1}, {2}})); }, QorMathLA::DimensionMismatch, "Matrix - Matrix");
    expectXmsg([] { exponential(matrixOf({{1, 2}})); }, QorMathLA::DimensionMismatch, "Matrix - Matrix");
}

TEST(ExpM, OfZeroIsTheIdentity) {
    for (const int n : {2, 3, 8}) {
        Matrix<double> identity;
        identity.setIdentity(n);
        Matrix<double> zero(n, n);
        zero.fill(0.0);
        EXPECT_LE(maxDifference(exponential(zero), identity), 4.0 * unitRoundoff);
        NormalNumbers numbers(2301);
        EXPECT_LE(maxDifference(exponential(randomMatrix(n, n, numbers), 0.0), identity), 4.0 * unitRoundoff);
    }
}

TEST(ExpM, OfOneByOneIsTheExponentialFunctionToTheBit) {
    for (const double x : {0.0, 1.0, -3.7, 1e-9, 700.0, -745.0, 1000.0}) {
        EXPECT_EQ(exponential(matrixOf({{x}}), 0.75)(0, 0), std::exp(0.75 * x));
    }
    EXPECT_TRUE(std::isnan(exponential(matrixOf({{notANumber}}))(0, 0)));
    EXPECT_EQ(exponential(matrixOf({{-infinity}}))(0, 0), 0.0);
}

TEST(ExpM, OfAMultipleOfTheIdentityIsTheExponentialOnTheDiagonal) {
    for (const double x : {3.0, -50.0, 600.0, -700.0}) {
        Matrix<double> a;
        a.setIdentity(4);
        a *= x;
        Matrix<double> expected;
        expected.setIdentity(4);
        expected *= std::exp(x);
        // The shift leaves zero, so that only the sum of the diagonal and its quotient are rounded.
        EXPECT_LE(maxDifference(exponential(a), expected), 8.0 * unitRoundoff * std::exp(x)) << x;
    }
}

TEST(ExpM, OfANilpotentMatrixEndsAfterItsPowers) {
    // Far from normal, the exponential passes on a change of the matrix times the square of its own norm: the change is
    // the quotient's rounding, in proportion to the norm.
    for (const double t : {1e-8, 0.1, 1.0, -3.0, 1e3}) {
        const Matrix<double> expected = matrixOf({{1, t}, {0, 1}});
        const double condition = frobeniusNorm(expected) * frobeniusNorm(expected);
        EXPECT_LE(maxDifference(exponential(matrixOf({{0, 1}, {0, 0}}), t), expected),
                  normalBound(2, std::fabs(t), condition))
            << t;
    }
    for (const double x : {0.5, 4.0, 30.0}) {
        const Matrix<double> chain = matrixOf({{0, x, 0}, {0, 0, x}, {0, 0, 0}});
        const Matrix<double> expected = matrixOf({{1, x, x * x / 2}, {0, 1, x}, {0, 0, 1}});
        const double condition = frobeniusNorm(expected) * frobeniusNorm(expected);
        EXPECT_LE(maxDifference(exponential(chain), expected), normalBound(3, x, condition)) << x;
    }
}

TEST(ExpM, AgreesWithTheSeriesOnSkewMatricesOfNormsUpToTwoToTheTwenty) {
    NormalNumbers numbers(2302);
    for (const int n : {2, 3, 5, 12}) {
        for (const double norm : {1e-8, 1e-3, 0.49, 0.5, 1.0, 3.0, 64.0, 1e4, std::ldexp(1.0, 20)}) {
            const Matrix<double> a = skewMatrix(n, norm, numbers);
            const double bound = normalBound(n, norm, std::sqrt(n));
            EXPECT_LE(maxDifference(exponential(a), quadExponential(a, 1.0)), bound) << n << " " << norm;
        }
    }
}

TEST(ExpM, AgreesWithTheSeriesOnSymmetricMatricesWhoseExponentialDecays) {
    NormalNumbers numbers(2303);
    for (const int n : {2, 4, 9}) {
        for (const double norm : {1e-8, 0.1, 2.0, 30.0, 300.0}) {
            const Matrix<double> r = randomMatrix(n, n, numbers);
            Matrix<double> a = r * r.transpose();
            a *= -norm / rowSumNorm(a);
            // The shift takes half of the spread of the spectrum upwards, and back down at the end: what is small is
            // computed with the error of the largest eigenvalue's part.
            EXPECT_LE(maxDifference(exponential(a), quadExponential(a, 1.0)), normalBound(n, norm, std::sqrt(n)))
                << n << " " << norm;
        }
    }
}

TEST(ExpM, AgreesWithTheSeriesOnMatricesThatAreNotNormal) {
    NormalNumbers numbers(2304);
    for (const int n : {2, 3, 7, 20}) {
        for (const double norm : {1e-8, 0.4, 1.0, 5.0, 20.0}) {
            Matrix<double> a = randomMatrix(n, n, numbers);
            a *= norm / rowSumNorm(a);
            // Without normality exp(norm) takes the place of the result's norm.
            EXPECT_LE(maxDifference(exponential(a), quadExponential(a, 1.0)), normalBound(n, norm, std::exp(norm)))
                << n << " " << norm;
        }
    }
}

TEST(ExpM, KeepsItsAccuracyUnderALargeMeanEigenvalue) {
    NormalNumbers numbers(2305);
    for (const double mean : {-500.0, 300.0}) {
        Matrix<double> a = skewMatrix(4, 2.0, numbers);
        const Matrix<double> rotation = quadExponential(a, 1.0);
        for (int k = 0; k < 4; ++k) {
            a(k, k) += mean;
        }
        Matrix<double> expected(rotation);
        expected *= std::exp(mean);
        // The sum with the mean rounds the elements of a by eps |mean| each.
        const double bound = normalBound(4, std::fabs(mean), 2.0 * std::exp(mean));
        EXPECT_LE(maxDifference(exponential(a), expected), bound) << mean;
    }
}

TEST(ExpM, MultipliesByTime) {
    NormalNumbers numbers(2306);
    const Matrix<double> a = skewMatrix(5, 1.0, numbers);
    EXPECT_LE(maxDifference(exponential(a, 7.5), quadExponential(a, 7.5)), normalBound(5, 7.5, std::sqrt(5.0)));
    EXPECT_LE(maxDifference(exponential(a, -7.5), Matrix<double>(exponential(a, 7.5)).transpose()),
              2.0 * normalBound(5, 7.5, std::sqrt(5.0)));
}

TEST(ExpM, TakesViewsAndLeavesItsArgumentAlone) {
    NormalNumbers numbers(2307);
    const Matrix<double> block = randomMatrix(6, 7, numbers);
    const Matrix<double> before(block);
    const Matrix<double> view = block(Range(1, 4, 1), Range(2, 5, 1)).transpose();
    const Matrix<double> copy(view, true);
    EXPECT_TRUE(identical(exponential(view, 0.3), exponential(copy, 0.3)));
    EXPECT_TRUE(identical(block, before));
}

TEST(ExpM, PassesWhatIsNotFiniteThroughToTheResult) {
    for (const double bad : {notANumber, infinity, -infinity}) {
        expectAllNaN(exponential(matrixOf({{0, bad}, {0, 0}})));
        expectAllNaN(exponential(matrixOf({{bad, 0}, {0, 1}})));
        expectAllNaN(exponential(matrixOf({{1, 2}, {3, 4}}), bad));
    }
}

// ---------------------------------------------------------------- the complex form

TEST(ComplexExpM, OfAnEmptyMatrixIsEmpty) {
    EXPECT_EQ(exponential(ComplexMatrix<double>()).rows(), 0);
}

TEST(ComplexExpM, RefusesAMatrixThatIsNotSquare) {
    expectXmsg([] { exponential(ComplexMatrix<double>(2, 3)); }, QorMathLA::DimensionMismatch, "Matrix + Matrix");
    expectXmsg([] { exponential(ComplexMatrix<double>(3, 2)); }, QorMathLA::DimensionMismatch, "Matrix + Matrix");
}

TEST(ComplexExpM, OfZeroIsTheIdentityToTheBit) {
    for (const int n : {1, 2, 5}) {
        EXPECT_EQ(maxDifference(exponential(ComplexMatrix<double>(n, n)), ComplexMatrix<double>().setIdentity(n)), 0.0);
    }
}

TEST(ComplexExpM, OfOneByOneGoesThroughTheApproximant) {
    for (const Complex z : {Complex(1.0, 0.0), Complex(-2.0, 3.0), Complex(0.0, 1000.0), Complex(1e-8, -1e-8)}) {
        const double bound = normalBound(1, std::abs(z), std::exp(z.real()));
        EXPECT_LE(std::abs(exponential(complexMatrixOf({{z}}))(0, 0) - std::exp(z)), bound) << z;
    }
}

TEST(ComplexExpM, AgreesWithTheSeriesOnSkewMatricesOfNormsUpToTwoToTheTwenty) {
    NormalNumbers numbers(2311);
    for (const int n : {1, 2, 3, 6}) {
        for (const double norm : {1e-8, 1e-3, 0.49, 0.5, 1.0, 3.0, 64.0, 1e4, std::ldexp(1.0, 20)}) {
            const ComplexMatrix<double> a = skewComplexMatrix(n, norm, numbers);
            EXPECT_LE(maxDifference(exponential(a), quadExponential(a)), normalBound(n, norm, std::sqrt(n)))
                << n << " " << norm;
        }
    }
}

TEST(ComplexExpM, AgreesWithTheSeriesOnMatricesThatAreNotNormal) {
    NormalNumbers numbers(2312);
    for (const int n : {2, 5, 11}) {
        for (const double norm : {1e-8, 0.4, 1.0, 5.0, 20.0}) {
            ComplexMatrix<double> a = randomComplexMatrix(n, n, numbers);
            a *= norm / rowSumNorm(a);
            EXPECT_LE(maxDifference(exponential(a), quadExponential(a)), normalBound(n, norm, std::exp(norm)))
                << n << " " << norm;
        }
    }
}

TEST(ComplexExpM, AgreesWithTheRealFormOnRealMatrices) {
    NormalNumbers numbers(2313);
    for (const int n : {2, 4, 10}) {
        for (const double norm : {1e-8, 0.3, 2.0, 100.0}) {
            const Matrix<double> a = skewMatrix(n, norm, numbers);
            const ComplexMatrix<double> difference =
                exponential(ComplexMatrix<double>(a)) - ComplexMatrix<double>(exponential(a));
            EXPECT_LE(frobeniusNorm(difference), 2.0 * normalBound(n, norm, std::sqrt(n))) << n << " " << norm;
        }
    }
}

TEST(ComplexExpM, TakesViewsAndLeavesItsArgumentAlone) {
    NormalNumbers numbers(2314);
    const ComplexMatrix<double> block = randomComplexMatrix(4, 5, numbers);
    const ComplexMatrix<double> before(block);
    const ComplexMatrix<double> view = block(Range(1, 3, 1), Range(0, 2, 1)).transpose();
    EXPECT_EQ(maxDifference(exponential(view), exponential(ComplexMatrix<double>(view))), 0.0);
    EXPECT_EQ(maxDifference(block, before), 0.0);
}

TEST(ComplexExpM, PassesWhatIsNotFiniteThroughToTheResult) {
    for (const Complex bad : {Complex(notANumber, 0.0), Complex(0.0, infinity), Complex(-infinity, notANumber)}) {
        const ComplexMatrix<double> e = exponential(complexMatrixOf({{0.0, bad}, {1.0, 0.0}}));
        EXPECT_EQ(frobeniusNorm(e), infinity);
    }
}

TEST(ComplexExpM, ScalesByPowersOfTwoThatAloneWouldOverflow) {
    const double huge = std::ldexp(1.5, 1023);
    const ComplexMatrix<double> e = exponential(complexMatrixOf({{0.0, {0.0, huge}}, {0.0, 0.0}}));
    EXPECT_EQ(e(1, 0), Complex(0.0));
    EXPECT_NEAR(e(0, 1).imag() / huge, 1.0, 1e-12);
}

TEST(ComplexExpM, OfANilpotentMatrixOfNormTwoToTheTwentyEndsAfterItsPowers) {
    // Triangular factors stay triangular here, and so no rounding comes below the diagonal to be amplified.
    const double norm = std::ldexp(1.0, 20);
    const ComplexMatrix<double> chain = complexMatrixOf({{0.0, norm, 0.0}, {0.0, 0.0, {0.0, norm}}, {0.0, 0.0, 0.0}});
    const ComplexMatrix<double> expected =
        complexMatrixOf({{1.0, norm, {0.0, norm * norm / 2}}, {0.0, 1.0, {0.0, norm}}, {0.0, 0.0, 1.0}});
    EXPECT_LE(maxDifference(exponential(chain), expected), normalBound(3, norm, frobeniusNorm(expected)));
}
