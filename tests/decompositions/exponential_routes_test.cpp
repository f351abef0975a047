#include <algorithm>
#include <cmath>
#include <cstring>
#include <gtest/gtest.h>
#include <limits>

#include <qormath/control/qor_math_control.hpp>
#include <qormath/core/arithmetic.hpp>
#include <qormath/decompositions/detail/exponential_routes.hpp>

#include "support/matrix_compare.hpp"
#include "support/matrix_literals.hpp"
#include "support/quad_exponential.hpp"
#include "support/random_matrices.hpp"

// The two routes of the real exponential against each other: the Taylor polynomials, and the approximant that runs
// where they overflow.

using qormath::decompositions::exponentialByApproximant;
using qormath::decompositions::exponentialBySeries;
using qormath::test::frobeniusNorm;
using qormath::test::identical;
using qormath::test::matrixOf;
using qormath::test::NormalNumbers;
using qormath::test::quadExponential;
using qormath::test::randomMatrix;
using qormath::test::unitRoundoff;
using QorMathLA::Matrix;
using QorMathLA::Range;

namespace {

constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();
constexpr double infinity = std::numeric_limits<double>::infinity();

Matrix<double> bySeries(const Matrix<double>& a) {
    const int n = a.rows();
    Matrix<double> result(a, true);
    EXPECT_TRUE(exponentialBySeries(n, 0, 0.0, result.numericData(true), n));
    return result;
}

/// What the approximant gives where it is the only route: on the matrix without its mean eigenvalue.
Matrix<double> byApproximant(Matrix<double> a) {
    double trace = 0.0;
    for (int k = 0; k < a.rows(); ++k) {
        trace += a(k, k);
    }
    const double shift = trace / a.rows();
    for (int k = 0; k < a.rows(); ++k) {
        a(k, k) -= shift;
    }
    Matrix<double> result = exponentialByApproximant(a);
    result *= std::exp(shift);
    return result;
}

double relativeDifference(const Matrix<double>& x, const Matrix<double>& y) {
    return frobeniusNorm(x - y) / frobeniusNorm(y);
}

/// Normal, with imaginary eigenvalues, and of the given Frobenius norm.
Matrix<double> skewMatrix(int n, double norm, NormalNumbers& numbers) {
    const Matrix<double> r = randomMatrix(n, n, numbers);
    Matrix<double> skew = r - r.transpose();
    skew *= norm / std::max(frobeniusNorm(skew), 1e-300);
    return skew;
}

/// [a b; 0 d I].
Matrix<double> whole(const Matrix<double>& a, const Matrix<double>& b, double d) {
    Matrix<double> bottom = QorMathLA::zeroMatrix(b.cols(), a.rows() + b.cols());
    for (int k = 0; k < b.cols(); ++k) {
        bottom(k, a.rows() + k) = d;
    }
    return a.appendToRight(b).appendToBottom(bottom);
}

}  // namespace

TEST(ExponentialRoutes, AgreeOnNormalMatricesOfEveryNorm) {
    NormalNumbers numbers(5101);
    // From below the limit of the smallest polynomial to several squarings of the largest.
    for (const double norm : {1e-12, 1e-5, 2e-2, 0.2, 0.9, 3.0, 50.0, 1e3}) {
        for (const int n : {2, 3, 7, 33, 64, 130}) {
            const Matrix<double> a = skewMatrix(n, norm, numbers);
            // Rounding of products of order n, gathered over squarings of twice the norm together, in either route.
            EXPECT_LE(relativeDifference(bySeries(a), exponentialByApproximant(a)),
                      20.0 * n * unitRoundoff * std::max(1.0, norm))
                << n << " " << norm;
        }
    }
}

TEST(ExponentialRoutes, AgreeOnRandomMatrices) {
    NormalNumbers numbers(5102);
    for (const double norm : {1e-3, 0.1, 0.5, 2.0}) {
        for (const int n : {2, 5, 31, 65, 129}) {
            const Matrix<double> a = randomMatrix(n, n, numbers) * (norm / std::sqrt(n));
            // The condition of the exponential is at most exp(2 ||a||), and ||a|| is about twice the scale.
            EXPECT_LE(relativeDifference(bySeries(a), exponentialByApproximant(a)),
                      20.0 * n * unitRoundoff * std::exp(2.0 * norm))
                << n << " " << norm;
        }
    }
}

TEST(ExponentialRoutes, TheSeriesHoldsAgainstQuadruplePrecisionInEachDegree) {
    NormalNumbers numbers(5103);
    for (const double norm : {1e-9, 2e-5, 2e-4, 3e-3, 4e-2, 0.1, 0.25, 0.6, 1.0, 2.1, 9.0}) {
        for (const int n : {2, 3, 8, 20}) {
            const Matrix<double> a = skewMatrix(n, norm, numbers);
            EXPECT_LE(relativeDifference(bySeries(a), quadExponential(a, 1.0)),
                      10.0 * n * unitRoundoff * std::max(1.0, norm))
                << n << " " << norm;
        }
    }
}

TEST(ExponentialRoutes, TheSeriesHoldsWhereRowSumsAreFarAboveTheTwoNorm) {
    // The 2-norm decides on the squarings then: of the random matrices it is about twice the scale, of the others,
    // which have one element or one row beside it, that element.
    NormalNumbers numbers(5107);
    for (const double scale : {0.4, 0.9, 1.9, 4.0}) {
        const int n = 40;
        const Matrix<double> random = randomMatrix(n, n, numbers) * (scale / std::sqrt(n));
        Matrix<double> peak(random, true);
        peak(3, 30) += 50.0;
        Matrix<double> row(random, true);
        row.row(n - 1) *= 20.0;
        for (const Matrix<double>& a : {random, peak, row}) {
            // The approximant scales by the row sums.
            const Matrix<double> exact = quadExponential(a, 1.0);
            EXPECT_LE(relativeDifference(bySeries(a), exact),
                      relativeDifference(exponentialByApproximant(a), exact) + 10.0 * n * unitRoundoff)
                << scale;
        }
    }
}

TEST(ExponentialRoutes, TheSeriesOfARotationHoldsForEveryAngle) {
    // Order 2 leaves little rounding, in which the end of a series could hide, and all norms are the angle: just below
    // the limit of a polynomial its own error is largest.
    for (double angle = 1e-9; angle < 40.0; angle *= 1.01) {
        const Matrix<double> exact =
            matrixOf({{std::cos(angle), -std::sin(angle)}, {std::sin(angle), std::cos(angle)}});
        EXPECT_LE(relativeDifference(bySeries(matrixOf({{0, -angle}, {angle, 0}})), exact),
                  20.0 * unitRoundoff * std::max(1.0, angle))
            << angle;
    }
}

TEST(ExponentialRoutes, TheSeriesHoldsForPowersOfRankOneWhoseNormsAreSampled) {
    // Of such matrices samples tell least.
    NormalNumbers numbers(5108);
    const int n = 150;
    for (double eigenvalue = 1.2; eigenvalue < 12.0; eigenvalue *= 1.1) {
        for (const double sign : {1.0, -1.0, 1.0, -1.0}) {
            Matrix<double> direction = randomMatrix(n, 1, numbers);
            direction *= 1.0 / frobeniusNorm(direction);
            const Matrix<double> projector = direction * direction.transpose();
            const Matrix<double> a = projector * (sign * eigenvalue);
            const Matrix<double> exact = Matrix<double>().identity(n) + projector * std::expm1(sign * eigenvalue);
            const Matrix<double> result = bySeries(a);
            // Sums of n products err like a random walk; squarings double what was there before. Not relative to the
            // norm of the exponential, most of which is that of the identity.
            EXPECT_LE(frobeniusNorm(result - exact),
                      4.0 * std::sqrt(n) * unitRoundoff * eigenvalue * std::max(1.0, std::exp(sign * eigenvalue)))
                << sign * eigenvalue;
            EXPECT_TRUE(identical(bySeries(a), result));
        }
    }
}

TEST(ExponentialRoutes, TheSeriesIsNotWorseFarFromNormal) {
    NormalNumbers numbers(5104);
    for (const double departure : {1.0, 1e2, 1e4}) {
        for (int trial = 0; trial < 10; ++trial) {
            Matrix<double> a = randomMatrix(6, 6, numbers);
            for (int j = 0; j < 6; ++j) {
                for (int i = 0; i < 6; ++i) {
                    a(i, j) *= i > j ? 0.0 : i == j ? 1.0 : departure;
                }
            }
            const Matrix<double> exact = quadExponential(a, 1.0);
            const double noise = 10.0 * 6.0 * unitRoundoff;
            EXPECT_LE(relativeDifference(bySeries(a), exact),
                      relativeDifference(exponentialByApproximant(a), exact) + noise)
                << departure;
        }
    }
}

TEST(ExponentialRoutes, TheSeriesOfAMatrixWithoutPowersEndsAfterTwoTerms) {
    EXPECT_TRUE(identical(bySeries(matrixOf({{0, 1e6, 0}, {0, 0, 0}, {0, 0, 0}})),
                          matrixOf({{1, 1e6, 0}, {0, 1, 0}, {0, 0, 1}})));
    EXPECT_TRUE(identical(bySeries(matrixOf({{0, 3e-9}, {0, 0}})), matrixOf({{1, 3e-9}, {0, 1}})));
    EXPECT_TRUE(identical(bySeries(matrixOf({{0, 0}, {0, 0}})), matrixOf({{1, 0}, {0, 1}})));
}

TEST(ExponentialRoutes, ZeroRowsTakeNoPartButGiveTheSame) {
    NormalNumbers numbers(5105);
    for (const int n : {1, 2, 9, 63}) {
        for (const int m : {1, 4, 20}) {
            for (const double norm : {1e-6, 0.04, 0.2, 1.0, 12.0}) {
                const Matrix<double> a = skewMatrix(n, norm, numbers);
                const Matrix<double> b = randomMatrix(n, m, numbers) * (std::max(norm, 1e-3) / std::sqrt(n * m));
                const double bound = 20.0 * (n + m) * unitRoundoff * std::max(1.0, norm);
                const Matrix<double> m0 = whole(a, b, 0.0);
                const Matrix<double> e = QorMathControl::ExpM(m0, 1.0);
                // The whole is not normal: a change of it is passed on times the square of the result's norm.
                EXPECT_LE(relativeDifference(e, byApproximant(m0)), bound * frobeniusNorm(e))
                    << n << " " << m << " " << norm;
                const Range states(0, n - 1, 1);
                const Range inputs(n, n + m - 1, 1);
                for (int i = n; i < n + m; ++i) {
                    for (int j = 0; j < n + m; ++j) {
                        EXPECT_EQ(e(i, j), i == j ? 1.0 : 0.0);
                    }
                }
                if (n + m < 14) {  // the block by itself, where it is small beside the other
                    EXPECT_LE(relativeDifference(Matrix<double>(e(states, inputs), true),
                                                 Matrix<double>(quadExponential(m0, 1.0)(states, inputs), true)),
                              bound)
                        << n << " " << m << " " << norm;
                }
            }
        }
    }
}

TEST(ExponentialRoutes, TheTopRightBlockIsLinearInItsArgumentToTheBit) {
    NormalNumbers numbers(5106);
    const int n = 12;
    const int m = 3;
    const Matrix<double> a = randomMatrix(n, n, numbers);
    const Matrix<double> b = randomMatrix(n, m, numbers);
    const Range states(0, n - 1, 1);
    const Range inputs(n, n + m - 1, 1);
    const Matrix<double> plain = QorMathControl::ExpM(whole(a, b, 0.0), 1.0);
    for (const int exponent : {-300, -40, 60, 400}) {
        const double factor = std::ldexp(1.0, exponent);
        const Matrix<double> scaled = QorMathControl::ExpM(whole(a, b * factor, 0.0), 1.0);
        EXPECT_TRUE(
            identical(Matrix<double>(scaled(states, states), true), Matrix<double>(plain(states, states), true)));
        Matrix<double> expected(plain(states, inputs), true);
        expected *= factor;
        EXPECT_TRUE(identical(Matrix<double>(scaled(states, inputs), true), expected)) << exponent;
    }
}

/// [a b], with more rows below it that nobody may touch.
Matrix<double> framedTop(const Matrix<double>& a, const Matrix<double>& b) {
    Matrix<double> below(2, a.cols() + b.cols());
    below.fill(notANumber);
    return a.appendToRight(b).appendToBottom(below);
}

TEST(ExponentialRoutes, TheSeriesTakesAShiftOffAndLeavesTheRowsBelow) {
    NormalNumbers numbers(5110);
    for (const int n : {1, 5, 40}) {
        for (const int m : {0, 3}) {
            SCOPED_TRACE(testing::Message() << n << " states, " << m << " inputs");
            Matrix<double> a = randomMatrix(n, n, numbers) * (0.8 / std::sqrt(n));
            for (int k = 0; k < n; ++k) {
                a(k, k) -= 1.5;
            }
            const Matrix<double> b = randomMatrix(n, m, numbers);
            Matrix<double> top = framedTop(a, b);
            ASSERT_TRUE(exponentialBySeries(n, m, -1.5, top.numericData(true), n + 2));
            const Matrix<double> expected = exponentialByApproximant(whole(a, b, 0.0));
            for (int j = 0; j < n + m; ++j) {
                for (int i = 0; i < n; ++i) {
                    // The two differ by some roundings of the norm, which is below that of the inputs.
                    EXPECT_NEAR(top(i, j), expected(i, j), 200.0 * unitRoundoff * (1.0 + frobeniusNorm(b)));
                }
                EXPECT_TRUE(std::isnan(top(n, j)) && std::isnan(top(n + 1, j)));
            }
        }
    }
}

TEST(ExponentialRoutes, TheSeriesTouchesNothingWhereItGivesNoResult) {
    const Matrix<double> b = matrixOf({{1.0}, {2.0}});
    const auto expectUntouched = [&](const Matrix<double>& a, double shift) {
        const Matrix<double> before = framedTop(a, b);
        Matrix<double> top(before, true);
        EXPECT_FALSE(exponentialBySeries(2, 1, shift, top.numericData(true), 4));
        EXPECT_EQ(std::memcmp(top.numericData(true), before.numericData(true), 12 * sizeof(double)), 0);
    };
    expectUntouched(matrixOf({{900, 1}, {0, 900}}), 900.0);     // the factor of the shift
    expectUntouched(matrixOf({{0, 1e200}, {-1e200, 0}}), 0.0);  // a power
    expectUntouched(matrixOf({{800, 1}, {0, -800}}), 0.0);      // the result
}

TEST(ExponentialRoutes, TheApproximantRunsWhereAPowerOverflows) {
    for (const Matrix<double>& a : {matrixOf({{0, 1e200}, {-1e200, 0}}), matrixOf({{1e160, 2e160}, {3e160, -1e160}})}) {
        Matrix<double> kept(a, true);
        EXPECT_FALSE(exponentialBySeries(2, 0, 0.0, kept.numericData(true), 2));
        EXPECT_TRUE(identical(kept, a));
        EXPECT_TRUE(identical(QorMathControl::ExpM(a, 1.0), byApproximant(a)));
    }
}

TEST(ExponentialRoutes, TheApproximantRunsWhereTheResultOverflows) {
    const Matrix<double> a = matrixOf({{800, 1}, {0, -800}});
    Matrix<double> kept(a, true);
    EXPECT_FALSE(exponentialBySeries(2, 0, 0.0, kept.numericData(true), 2));
    EXPECT_TRUE(identical(kept, a));
    EXPECT_TRUE(identical(QorMathControl::ExpM(a, 1.0), byApproximant(a)));
    // Here the factor of the mean eigenvalue alone does.
    const Matrix<double> b = matrixOf({{900, 1}, {0, 900}});
    EXPECT_TRUE(identical(QorMathControl::ExpM(b, 1.0), byApproximant(b)));
}

TEST(ExponentialRoutes, TheApproximantRunsForWhatIsNotFinite) {
    for (const double bad : {notANumber, infinity, -infinity}) {
        const Matrix<double> a = matrixOf({{1, bad}, {0, 2}});
        for (const double element : QorMathControl::ExpM(a, 1.0)) {
            EXPECT_TRUE(std::isnan(element));
        }
    }
}
