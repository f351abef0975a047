#include <algorithm>
#include <cmath>
#include <complex>
#include <cstddef>
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

// The two routes of the logarithm against each other: square roots of the real Schur form, and Parlett's recurrence on
// the complex one, which runs where there is no real logarithm.

using qormath::decompositions::logarithmByRecurrence;
using qormath::decompositions::logarithmByRoots;
using qormath::test::expectMinusOne;
using qormath::test::frobeniusNorm;
using qormath::test::matrixOf;
using qormath::test::maxDifference;
using qormath::test::NormalNumbers;
using qormath::test::quadExponential;
using qormath::test::randomWithEigenvalues;
using qormath::test::realPartOf;
using qormath::test::unitRoundoff;
using QorMathLA::ComplexMatrix;
using QorMathLA::Matrix;

namespace {

using Spectrum = std::vector<std::complex<double>>;

ComplexMatrix<double> byRecurrence(const Matrix<double>& a) {
    return logarithmByRecurrence(a, &QorMathControlTestAccess::ParlettsLog);
}

Matrix<double> byRoots(const Matrix<double>& a) {
    Matrix<double> result = a;
    EXPECT_TRUE(logarithmByRoots(a, result));
    return result;
}

/// n moduli from low to high without a pattern; real ones and pairs at angles up to 2.5.
Spectrum spectrumOf(int n, double low, double high, NormalNumbers& numbers) {
    Spectrum spectrum;
    for (int k = 0; k < n;) {
        const bool single = k + 1 == n || numbers.uniform(0.0, 1.0) < 0.4;
        spectrum.push_back(std::polar(numbers.uniform(low, high), single ? 0.0 : numbers.uniform(0.1, 2.5)));
        k += single ? 1 : 2;
    }
    return spectrum;
}

double relativeResidual(const Matrix<double>& logarithm, const Matrix<double>& a) {
    return frobeniusNorm(quadExponential(logarithm, 1.0) - a) / frobeniusNorm(a);
}

double relativeDifference(const Matrix<double>& x, const Matrix<double>& y) {
    return frobeniusNorm(x - y) / std::max(frobeniusNorm(y), 1e-300);
}

bool sameElements(const ComplexMatrix<double>& x, const ComplexMatrix<double>& y) {
    const auto same = [](double a, double b) { return a == b || (std::isnan(a) && std::isnan(b)); };
    bool result = x.rows() == y.rows() && x.cols() == y.cols();
    for (int j = 0; result && j < x.cols(); ++j) {
        for (int i = 0; i < x.rows(); ++i) {
            result = result && same(x(i, j).real(), y(i, j).real()) && same(x(i, j).imag(), y(i, j).imag());
        }
    }
    return result;
}

}  // namespace

TEST(LogarithmRoutes, AgreeWhereEigenvaluesAreApart) {
    NormalNumbers numbers(5201);
    for (const int n : {1, 2, 3, 8, 31, 33, 63, 65, 130}) {
        const Matrix<double> a = randomWithEigenvalues(spectrumOf(n, 0.3, 2.0, numbers), 0.1 / std::sqrt(n), numbers);
        ComplexMatrix<double> direct;
        double err = 0.0;
        QorMathControlTestAccess::ParlettsLog(a, direct, err);
        // The recurrence says itself what the differences of eigenvalues cost it.
        EXPECT_LE(relativeDifference(byRoots(a), realPartOf(direct)), 20.0 * n * std::max(err, unitRoundoff)) << n;
        EXPECT_LE(maxDifference(QorMathControl::LogM(a), ComplexMatrix<double>(byRoots(a))), 0.0);
    }
}

TEST(LogarithmRoutes, TheRootsGiveTheMatrixBackNoWorseThanTheRecurrence) {
    NormalNumbers numbers(5202);
    for (const int n : {2, 5, 12, 24}) {
        for (const double departure : {0.0, 0.3, 3.0}) {
            const Matrix<double> a = randomWithEigenvalues(spectrumOf(n, 0.05, 5.0, numbers), departure, numbers);
            // Far from normal, whether the roots are refused hangs on rounding; what LogM gives then has to be as good.
            const Matrix<double> roots = departure < 1.0 ? byRoots(a) : realPartOf(QorMathControl::LogM(a));
            const double noise = 20.0 * n * unitRoundoff * std::max(1.0, frobeniusNorm(roots));
            EXPECT_LE(relativeResidual(roots, a), relativeResidual(realPartOf(byRecurrence(a)), a) + noise)
                << n << " " << departure;
        }
    }
}

TEST(LogarithmRoutes, TheRootsServeForRepeatedEigenvalues) {
    for (const int n : {2, 3, 7}) {
        Matrix<double> a(n, n);
        for (int j = 0; j < n; ++j) {
            for (int i = 0; i < n; ++i) {
                a(i, j) = i == j ? 0.7 : j == i + 1 ? 0.5 : 0.0;
            }
        }
        EXPECT_LE(relativeResidual(byRoots(a), a), 20.0 * n * unitRoundoff * frobeniusNorm(byRoots(a)));
    }
    const Matrix<double> step = matrixOf({{1, 0.5, 0.125}, {0, 1, 0.5}, {0, 0, 1}});
    EXPECT_LE(maxDifference(byRoots(step), matrixOf({{0, 0.5, 0}, {0, 0, 0.5}, {0, 0, 0}})), 20.0 * unitRoundoff);
}

TEST(LogarithmRoutes, TheRootsServeForEigenvaluesOfEverySize) {
    NormalNumbers numbers(5203);
    for (const double size : {1e-12, 1e-8, 1e8, 1e12}) {
        const Matrix<double> a = randomWithEigenvalues(spectrumOf(9, 0.5, 2.0, numbers), 0.2, numbers) * size;
        Matrix<double> roots = byRoots(a);
        for (int k = 0; k < 9; ++k) {
            roots(k, k) -= std::log(size);
        }
        const double rounding = 20.0 * 9.0 * unitRoundoff * std::fabs(std::log(size));
        EXPECT_LE(relativeResidual(roots, a * (1.0 / size)), 10.0 * rounding) << size;
    }
}

TEST(LogarithmRoutes, TheRecurrenceRunsWhereSoManyRootsLoseTheMatrix) {
    NormalNumbers numbers(5205);
    // A dozen roots are undone by squarings that double the roundings of products of order 60 each time.
    for (const double size : {1e-250, 1e250}) {
        const Matrix<double> a = randomWithEigenvalues(spectrumOf(60, 0.5, 2.0, numbers), 0.2, numbers) * size;
        Matrix<double> result;
        EXPECT_FALSE(logarithmByRoots(a, result));
        EXPECT_TRUE(sameElements(QorMathControl::LogM(a), byRecurrence(a)));
    }
}

TEST(LogarithmRoutes, TheRootsServeForAPairBesideTheNegativeAxis) {
    // The distance at which a conversion puts the partner of a negative eigenvalue.
    const double distance = 10.0 * std::sqrt(unitRoundoff);
    const Matrix<double> a = matrixOf({{-0.5, 0.5 * distance}, {-0.5 * distance, -0.5}});
    EXPECT_LE(relativeResidual(byRoots(a), a), 40.0 * unitRoundoff * 4.0);
}

TEST(LogarithmRoutes, TheRecurrenceRunsForNegativeEigenvalues) {
    NormalNumbers numbers(5204);
    Matrix<double> result;
    for (const Matrix<double>& a : {matrixOf({{-1}}), matrixOf({{2, 1}, {0, -3}}),
                                    randomWithEigenvalues({{0.5, 0.0}, {-0.7, 0.0}, {0.2, 0.9}}, 0.3, numbers),
                                    randomWithEigenvalues({{0.5, 0.0}, {-0.7, 1e-9}, {0.2, 0.9}}, 0.0, numbers)}) {
        EXPECT_FALSE(logarithmByRoots(a, result));
        EXPECT_TRUE(sameElements(QorMathControl::LogM(a), byRecurrence(a)));
    }
}

TEST(LogarithmRoutes, TheRecurrenceRunsForSingularMatrices) {
    Matrix<double> result;
    for (const Matrix<double>& a :
         {matrixOf({{0}}), matrixOf({{0, 1}, {0, 1}}), matrixOf({{0, 0}, {0, 1}}), matrixOf({{1, 0}, {0, 1e-17}})}) {
        EXPECT_FALSE(logarithmByRoots(a, result));
        EXPECT_TRUE(sameElements(QorMathControl::LogM(a), byRecurrence(a)));
    }
}

TEST(LogarithmRoutes, WhatIsNotFiniteOrNotSquareFailsAsTheRecurrenceDoes) {
    Matrix<double> result;
    for (const Matrix<double>& a : {matrixOf({{1, std::nan("")}, {0, 1}}), matrixOf({{1, 2, 3}, {4, 5, 6}}),
                                    matrixOf({{std::numeric_limits<double>::infinity()}})}) {
        EXPECT_FALSE(logarithmByRoots(a, result));
        expectMinusOne([&] { QorMathControl::LogM(a); });
        expectMinusOne([&] { byRecurrence(a); });
    }
    EXPECT_EQ(QorMathControl::LogM(Matrix<double>(0, 0)).rows(), 0);
}
