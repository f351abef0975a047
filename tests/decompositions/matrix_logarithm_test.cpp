#include <algorithm>
#include <cmath>
#include <complex>
#include <gtest/gtest.h>
#include <limits>
#include <vector>

#include <qormath/control/qor_math_control.hpp>
#include <qormath/core/arithmetic.hpp>
#include <qormath/decompositions/detail/logarithm_routes.hpp>

#include "support/complex_matrices.hpp"
#include "support/control_test_access.hpp"
#include "support/failures.hpp"
#include "support/matrix_compare.hpp"
#include "support/matrix_literals.hpp"
#include "support/quad_exponential.hpp"
#include "support/random_matrices.hpp"

using qormath::test::Complex;
using qormath::test::complexMatrixOf;
using qormath::test::expectMinusOne;
using qormath::test::frobeniusNorm;
using qormath::test::identical;
using qormath::test::matrixOf;
using qormath::test::maxDifference;
using qormath::test::NormalNumbers;
using qormath::test::quadExponential;
using qormath::test::randomMatrix;
using qormath::test::randomOrthogonal;
using qormath::test::randomWithEigenvalues;
using qormath::test::realPartOf;
using qormath::test::unitRoundoff;
using QorMathLA::ComplexMatrix;
using QorMathLA::ComplexVector;
using QorMathLA::Matrix;
using QorMathLA::Range;

namespace {

constexpr double pi = 3.141592653589793;
constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double accepted = 1000.0 * unitRoundoff;

ComplexMatrix<double> logarithm(const Matrix<double>& a) {
    return QorMathControl::LogM(a);
}

/// By the recurrence, also where there is a shorter way.
ComplexMatrix<double> logarithmOfRecurrence(const Matrix<double>& a) {
    return qormath::decompositions::logarithmByRecurrence(a, &QorMathControlTestAccess::ParlettsLog);
}

struct Recurrence {
    ComplexMatrix<double> f;
    double err = -1.0;
};

Recurrence recurrence(const Matrix<double>& a) {
    Recurrence result;
    QorMathControlTestAccess::ParlettsLog(a, result.f, result.err);
    return result;
}

double rowNorm(const QorMathLA::BasicMatrix<Complex>& a) {
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

/// ||exp(f) - a|| / ||a|| in the largest row sum, the exponential in quadruple precision.
double residualOf(const ComplexMatrix<double>& f, const Matrix<double>& a) {
    const ComplexMatrix<double> wanted(a);
    return rowNorm(quadExponential(f) - wanted) / rowNorm(wanted);
}

Matrix<double> imaginaryPartOf(const ComplexMatrix<double>& a) {
    ComplexMatrix<double> turned = a;
    turned *= Complex(0.0, -1.0);
    return realPartOf(turned);
}

/// A random upper triangular matrix with the eigenvalues 1, 1.5, 2, ... in an order of no pattern.
Matrix<double> triangularMatrix(int n, NormalNumbers& numbers) {
    Matrix<double> t = randomMatrix(n, n, numbers);
    for (int j = 0; j < n; ++j) {
        t(j, j) = 1.0 + 0.5 * ((7 * j) % n);
        for (int i = j + 1; i < n; ++i) {
            t(i, j) = 0.0;
        }
    }
    return t;
}

Complex times(const Complex& a, const Complex& b) {
    return {a.real() * b.real() - a.imag() * b.imag(), a.real() * b.imag() + a.imag() * b.real()};
}

/// The recurrence superdiagonal by superdiagonal, for a real triangular matrix with different eigenvalues.
ComplexMatrix<double> recurrenceBySuperdiagonals(const Matrix<double>& t) {
    const int n = t.rows();
    ComplexMatrix<double> f(n, n);
    for (int i = 0; i < n; ++i) {
        f(i, i) = std::log(Complex(t(i, i)));
    }
    for (int p = 1; p < n; ++p) {
        for (int j = p; j < n; ++j) {
            const int i = j - p;
            Complex sum = times(f(j, j) - f(i, i), t(i, j));
            for (int k = i + 1; k < j; ++k) {
                sum = sum + times(f(k, j), t(i, k)) - times(t(k, j), f(i, k));
            }
            f(i, j) = sum / (t(j, j) - t(i, i));
        }
    }
    return f;
}

}  // namespace

// ---------------------------------------------------------------- the recurrence

TEST(ParlettsLog, OfATriangularMatrixIsTheRecurrenceAlongSuperdiagonalsToTheBit) {
    NormalNumbers numbers(2401);
    for (const int n : {1, 2, 3, 8, 33}) {
        const Matrix<double> t = triangularMatrix(n, numbers);
        EXPECT_EQ(maxDifference(recurrence(t).f, recurrenceBySuperdiagonals(t)), 0.0) << n;
    }
}

TEST(ParlettsLog, EstimatesItsErrorFromTheSmallestGapAndTheLargestColumnAboveTheDiagonal) {
    // Triangular already, so that the matrix is its own Schur form: gaps 2, 4 and 6, first eigenvalue 2.
    const Matrix<double> t = matrixOf({{2, 3, 400}, {0, 4, -500}, {0, 0, 8}});
    EXPECT_DOUBLE_EQ(recurrence(t).err, unitRoundoff / 2.0 * 900.0);
    // The modulus of the first eigenvalue is where the smallest gap starts from.
    const Matrix<double> small = matrixOf({{0.125, 3}, {0, 4}});
    EXPECT_DOUBLE_EQ(recurrence(small).err, unitRoundoff / 0.125 * 3.0);
}

TEST(ParlettsLog, NeverEstimatesBelowThePrecisionNorAboveOne) {
    EXPECT_EQ(recurrence(matrixOf({{1, 0}, {0, 1000}})).err, unitRoundoff);
    EXPECT_EQ(recurrence(matrixOf({{2, 1e-3}, {0, 4}})).err, unitRoundoff);
    EXPECT_EQ(recurrence(matrixOf({{1, 5}, {0, 1}})).err, 1.0);
}

TEST(ParlettsLog, LeavesTheNumeratorUndividedForARepeatedEigenvalue) {
    const Recurrence jordan = recurrence(matrixOf({{4, 1}, {0, 4}}));
    EXPECT_EQ(jordan.f(0, 1), Complex(0.0));  // (log 4 - log 4) 1
    EXPECT_EQ(jordan.f(0, 0), Complex(std::log(4.0)));
    EXPECT_EQ(jordan.err, 1.0);  // eps takes the place of the gap of zero
}

TEST(ParlettsLog, OfTheIdentityIsZeroWithTheSmallestEstimate) {
    for (const int n : {1, 2, 6}) {
        const Recurrence identity = recurrence(Matrix<double>().identity(n));
        EXPECT_EQ(frobeniusNorm(identity.f), 0.0);
        EXPECT_EQ(identity.f.rows(), n);
        EXPECT_EQ(identity.err, unitRoundoff);
    }
}

TEST(ParlettsLog, OfAnEmptyMatrixIsEmptyWithTheSmallestEstimate) {
    Recurrence empty{ComplexMatrix<double>(3, 3)};
    QorMathControlTestAccess::ParlettsLog(Matrix<double>(), empty.f, empty.err);
    EXPECT_EQ(empty.f.rows(), 0);
    EXPECT_EQ(empty.err, unitRoundoff);
}

TEST(ParlettsLog, MakesBothPartsNaNWhereADifferenceOverflows) {
    const double huge = 1.5e308;
    const Recurrence result = recurrence(matrixOf({{huge, huge}, {0, -huge}}));
    // The rotation of the Schur form is the identity, but products with its zeros spread the NaN.
    EXPECT_TRUE(std::isnan(result.f(0, 1).real()));
    EXPECT_TRUE(std::isnan(result.f(0, 1).imag()));
}

TEST(ParlettsLog, ThrowsWhatTheSchurFormThrows) {
    expectMinusOne([] { recurrence(matrixOf({{1, 2}})); });
    expectMinusOne([] { recurrence(matrixOf({{1, infinity}, {0, 1}})); });
}

// ---------------------------------------------------------------- the logarithm

TEST(LogM, OfAnEmptyMatrixIsEmpty) {
    EXPECT_EQ(logarithm(Matrix<double>()).rows(), 0);
}

TEST(LogM, OfOneByOneIsTheLogarithmOfItsElement) {
    for (const double x : {1.0, 0.5, 1e-300, 7.0, 1e300}) {
        EXPECT_EQ(logarithm(matrixOf({{x}}))(0, 0), Complex(std::log(x), 0.0));
    }
    const Complex ofMinusOne = logarithm(matrixOf({{-1}}))(0, 0);
    EXPECT_EQ(ofMinusOne, Complex(0.0, pi));
    const Complex ofMinusTwo = logarithm(matrixOf({{-2}}))(0, 0);
    EXPECT_EQ(ofMinusTwo, Complex(std::log(2.0), pi));
}

TEST(LogM, OfOneByOneZeroIsMinusInfinity) {
    EXPECT_EQ(logarithm(matrixOf({{0}}))(0, 0).real(), -infinity);
}

TEST(LogM, OfTheIdentityIsZero) {
    EXPECT_EQ(frobeniusNorm(logarithm(Matrix<double>().identity(5))), 0.0);
}

TEST(LogM, OfADiagonalMatrixTakesTheLogarithmsAlongIt) {
    const ComplexMatrix<double> f = logarithm(matrixOf({{2, 0, 0}, {0, 0.25, 0}, {0, 0, -3}}));
    const ComplexMatrix<double> expected =
        complexMatrixOf({{std::log(2.0), 0.0, 0.0}, {0.0, std::log(0.25), 0.0}, {0.0, 0.0, {std::log(3.0), pi}}});
    EXPECT_LE(maxDifference(f, expected), 4.0 * unitRoundoff);
}

TEST(LogM, OfAQuarterTurnIsItsAntisymmetricGenerator) {
    const ComplexMatrix<double> f = logarithm(matrixOf({{0, -1}, {1, 0}}));
    const ComplexMatrix<double> expected(matrixOf({{0, -pi / 2}, {pi / 2, 0}}));
    EXPECT_LE(maxDifference(f, expected), 20.0 * unitRoundoff);
}

TEST(LogM, HasTheMatrixAsItsExponentialForSeparatedPositiveEigenvalues) {
    NormalNumbers numbers(2402);
    for (const int n : {2, 3, 5, 10, 20}) {
        std::vector<Complex> eigenvalues;
        for (int k = 0; k < n; ++k) {
            eigenvalues.emplace_back(0.5 + 0.3 * k, 0.0);
        }
        const Matrix<double> a = randomWithEigenvalues(eigenvalues, 0.1, numbers);
        EXPECT_LE(residualOf(logarithm(a), a), accepted) << n;
        EXPECT_LE(frobeniusNorm(imaginaryPartOf(logarithm(a))), accepted * n) << n;
    }
}

TEST(LogM, HasTheMatrixAsItsExponentialForComplexAndNegativeEigenvalues) {
    NormalNumbers numbers(2403);
    const std::vector<std::vector<Complex>> spectra = {
        {{0.9, 0.3}, {-0.2, 0.7}, {0.4, 0.0}},
        {{-0.5, 0.0}, {0.5, 0.0}},
        {{-1.0, 0.0}, {-2.0, 0.0}, {-4.0, 0.0}, {1.0, 0.0}},
        {{-0.8, 0.1}, {-0.8, 0.0}, {0.3, 0.0}},
        {{1e-6, 0.0}, {1.0, 0.0}, {1e3, 0.0}},
    };
    for (const auto& spectrum : spectra) {
        const Matrix<double> a = randomWithEigenvalues(spectrum, 0.2, numbers);
        EXPECT_LE(residualOf(logarithm(a), a), accepted);
    }
}

TEST(LogM, UndoesTheExponentialOfNormalMatricesInsideTheStrip) {
    NormalNumbers numbers(2404);
    for (const int n : {2, 4, 7, 12}) {
        std::vector<Complex> exponents;
        for (int k = 0; 2 * k + 1 < n; ++k) {
            exponents.emplace_back(-0.2 * k, 0.3 + 2.4 * k / n);
        }
        if (n % 2 == 1) {
            exponents.emplace_back(-1.5, 0.0);
        }
        const Matrix<double> x = randomWithEigenvalues(exponents, 0.0, numbers);
        const Matrix<double> a = quadExponential(x, 1.0);
        const ComplexMatrix<double> f = logarithm(a);
        // Of a normal matrix the logarithm passes on a change by the reciprocal of the smallest modulus at most; the
        // Schur form changes a by 10 n eps, and the recurrence divides its rounding by the smallest gap.
        const double smallest = std::exp(-1.5);
        const double gap = 0.05;
        EXPECT_LE(frobeniusNorm(f - ComplexMatrix<double>(x)), 20.0 * n * unitRoundoff / (smallest * gap)) << n;
    }
}

TEST(LogM, OfAJordanBlockIsGoodToTheRootOfThePrecision) {
    // The rotated retry splits the eigenvalue into k at a distance of the k-th root of the rounding of the Schur form,
    // 10 n eps, and is wrong by as much, times the norm of the rotation's part.
    for (const double lambda : {1.0, 0.5, 3.0}) {
        const ComplexMatrix<double> f = logarithm(matrixOf({{lambda, 1}, {0, lambda}}));
        const double log = std::log(lambda);
        const ComplexMatrix<double> expected(matrixOf({{log, 1 / lambda}, {0, log}}));
        EXPECT_LE(maxDifference(f, expected), 10.0 * std::sqrt(20.0 * unitRoundoff)) << lambda;
    }
    const ComplexMatrix<double> f = logarithm(matrixOf({{1, 1, 0}, {0, 1, 1}, {0, 0, 1}}));
    const ComplexMatrix<double> expected(matrixOf({{0, 1, -0.5}, {0, 0, 1}, {0, 0, 0}}));
    EXPECT_LE(maxDifference(f, expected), 10.0 * std::cbrt(30.0 * unitRoundoff));
}

TEST(LogM, OfNearlyDefectiveEigenvaluesLosesNoMoreThanTheGapTakes) {
    for (const double gap : {1e-3, 1e-5, 1e-7}) {
        const Matrix<double> a = matrixOf({{1, 1}, {0, 1 + gap}});
        const ComplexMatrix<double> f = logarithm(a);
        const double slope = std::log1p(a(1, 1) - 1.0) / (a(1, 1) - 1.0);
        // Two logarithms of about the gap, each rounded by eps of one, in the numerator; the gap below.
        EXPECT_LE(std::abs(f(0, 1) - slope), 10.0 * unitRoundoff / gap) << gap;
        EXPECT_LE(residualOf(f, a), 10.0 * unitRoundoff / gap) << gap;
    }
}

TEST(LogM, ReturnsWhatTheRecurrenceGaveWhereTheResidualIsGood) {
    // A repeated eigenvalue without coupling: the estimate is as bad as can be, the result is exact.
    const Matrix<double> a = matrixOf({{2, 0, 5}, {0, 2, 0}, {0, 0, 1}});
    const Recurrence direct = recurrence(a);
    EXPECT_EQ(direct.err, 1.0);
    EXPECT_EQ(maxDifference(logarithmOfRecurrence(a), direct.f), 0.0);
    EXPECT_LE(residualOf(direct.f, a), accepted);
}

TEST(LogM, RetriesOnARotatedMatrixWhereEstimateAndResidualAreBad) {
    const Matrix<double> a = matrixOf({{4, 1}, {0, 4}});
    EXPECT_GT(residualOf(recurrence(a).f, a), 0.1);
    EXPECT_LT(residualOf(logarithmOfRecurrence(a), a), 1e-6);
}

TEST(LogM, OfASingularMatrixIsReturnedAsItStandsWithoutAFailure) {
    for (const Matrix<double>& a : {matrixOf({{0, 1}, {0, 1}}), matrixOf({{0, 0}, {0, 1}}), matrixOf({{0, 1}, {0, 0}}),
                                    matrixOf({{1, 2, 3}, {0, 0, 4}, {0, 0, 2}})}) {
        const ComplexMatrix<double> f = logarithm(a);
        bool allFinite = true;
        for (const Complex& element : f) {
            allFinite = allFinite && std::isfinite(element.real()) && std::isfinite(element.imag());
        }
        EXPECT_FALSE(allFinite);
        EXPECT_EQ(f.rows(), a.rows());
    }
}

TEST(LogM, ThrowsForAMatrixThatIsNotSquareAndForWhatIsNotFinite) {
    expectMinusOne([] { logarithm(matrixOf({{1, 2, 3}, {4, 5, 6}})); });
    expectMinusOne([] { logarithm(Matrix<double>(0, 3)); });
    expectMinusOne([] { logarithm(matrixOf({{1, std::nan("")}, {0, 1}})); });
    expectMinusOne([] { logarithm(matrixOf({{infinity}})); });
}

TEST(LogM, TakesViewsAndLeavesItsArgumentAlone) {
    NormalNumbers numbers(2405);
    const Matrix<double> block = randomMatrix(5, 5, numbers);
    const Matrix<double> before(block);
    const Matrix<double> view = block(Range(0, 3, 1), Range(1, 4, 1)).transpose();
    EXPECT_EQ(maxDifference(logarithm(view), logarithm(Matrix<double>(view, true))), 0.0);
    EXPECT_TRUE(identical(block, before));
}

TEST(LogM, OfADiscreteModelWithManyInputsHasNoInputsOfItsOwn) {
    // The augmented matrix of a discrete model: as many repeated eigenvalues of one as there are inputs.
    NormalNumbers numbers(2406);
    const Matrix<double> x = randomWithEigenvalues({{-0.1, 0.0}, {-0.7, 0.4}}, 0.3, numbers);
    Matrix<double> augmented(6, 6);
    augmented.fill(0.0);
    augmented(Range(0, 2, 1), Range(0, 2, 1)) = x;
    augmented(Range(0, 2, 1), Range(3, 5, 1)) = randomMatrix(3, 3, numbers);
    const Matrix<double> a = quadExponential(augmented, 1.0);
    const ComplexMatrix<double> f = logarithm(a);
    EXPECT_LE(residualOf(f, a), accepted);
    EXPECT_LE(maxDifference(realPartOf(f), augmented), 1e4 * unitRoundoff);
    for (int i = 3; i < 6; ++i) {
        for (int j = 0; j < 6; ++j) {
            EXPECT_EQ(f(i, j), Complex(0.0));
        }
    }
}
