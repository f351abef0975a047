#include <cmath>
#include <complex>
#include <gtest/gtest.h>
#include <vector>

#include <qormath/control/qor_math_control.hpp>
#include <qormath/core/arithmetic.hpp>
#include <qormath/models/detail/augmented.hpp>
#include <qormath/models/detail/held_logarithm.hpp>

#include "support/complex_matrices.hpp"
#include "support/failures.hpp"
#include "support/matrix_compare.hpp"
#include "support/matrix_literals.hpp"
#include "support/quad_exponential.hpp"
#include "support/random_matrices.hpp"

using qormath::models::augmented;
using qormath::models::replaceByHeldLogarithm;
using qormath::test::expectMinusOne;
using qormath::test::expectXmsg;
using qormath::test::frobeniusNorm;
using qormath::test::matrixOf;
using qormath::test::maxDifference;
using qormath::test::NormalNumbers;
using qormath::test::quadExponential;
using qormath::test::randomMatrix;
using qormath::test::randomWithEigenvalues;
using qormath::test::realPartOf;
using qormath::test::unitRoundoff;
using qormath::test::written;
using QorMathLA::Matrix;
using QorMathLA::Range;
using QorMathLA::zeroMatrix;

namespace {

using Spectrum = std::vector<std::complex<double>>;

struct Blocks {
    Matrix<double> a, b;
};

Blocks logarithmOf(Matrix<double> a, Matrix<double> b) {
    replaceByHeldLogarithm(a, b);
    return {a, b};
}

/// ||exp [la lb; 0 0] - [a b; 0 I]|| / ||[a b; 0 I]||, the exponential in quadruple precision.
double residualOf(const Blocks& logarithm, const Matrix<double>& a, const Matrix<double>& b) {
    const Matrix<double> given = augmented(a, b, 1.0);
    const Matrix<double> e = quadExponential(augmented(logarithm.a, logarithm.b, 0.0), 1.0);
    return frobeniusNorm(qormath::test::differenceOf(e, given)) / frobeniusNorm(given);
}

// What the logarithm itself accepts.
constexpr double accepted = 1000.0 * unitRoundoff;

}  // namespace

TEST(HeldLogarithm, HasTheStepAsItsExponentialWhereverTheEigenvaluesLie) {
    const std::vector<Spectrum> spectra = {
        {{0.5, 0.0}, {0.9, 0.2}},                                      // all far from 1
        {{1.0, 0.0}, {0.999, 0.001}},                                  // all near
        {{1.0, 0.0}, {0.5, 0.0}, {0.3, 0.6}},                          // an integrator
        {{1.0, 0.0}, {1.0, 0.0}, {1.0, 0.0}, {0.5, 0.0}, {0.2, 0.4}},  // three that repeat
        {{1.2, 0.0}, {1.005, 0.0}, {0.995, 0.003}, {0.7, 0.0}},        // unstable and slow ones
    };
    for (const Spectrum& spectrum : spectra) {
        for (const double departure : {0.0, 0.3}) {
            for (const int inputs : {0, 1, 4}) {
                NormalNumbers numbers(4301);
                const Matrix<double> a = randomWithEigenvalues(spectrum, departure, numbers);
                const Matrix<double> b = randomMatrix(a.rows(), inputs, numbers);
                EXPECT_LE(residualOf(logarithmOf(a, b), a, b), accepted) << departure << " " << inputs;
            }
        }
    }
}

TEST(HeldLogarithm, OfAChainOfIntegratorsHasTheCoefficientsOfTheSeries) {
    const Matrix<double> a = matrixOf({{1, 1, 0}, {0, 1, 1}, {0, 0, 1}});
    const Matrix<double> b = matrixOf({{0}, {0}, {1}});
    const Blocks logarithm = logarithmOf(a, b);
    EXPECT_LE(maxDifference(logarithm.a, matrixOf({{0, 1, -0.5}, {0, 0, 1}, {0, 0, 0}})), 4.0 * unitRoundoff);
    EXPECT_LE(maxDifference(logarithm.b, matrixOf({{1.0 / 3}, {-0.5}, {1}})), 4.0 * unitRoundoff);
}

TEST(HeldLogarithm, OfChainsWithLargeElementsConverges) {
    Matrix<double> a = matrixOf({{1.01, 100, 0, 0}, {0, 0.991, 100, 0}, {0, 0, 1.0, 100}, {0, 0, 0, 0.993}});
    a(0, 0) = 1.009;
    const Matrix<double> b = matrixOf({{1}, {1}, {1}, {1}});
    const Blocks logarithm = logarithmOf(a, b);
    // The largest element of the logarithm is the chain's product, and the exponential undoes its powers.
    EXPECT_LE(residualOf(logarithm, a, b), 100.0 * unitRoundoff * frobeniusNorm(logarithm.a) * frobeniusNorm(a));
}

TEST(HeldLogarithm, LosesNoMoreThanTheGapBetweenNearAndFarTakes) {
    const double gap = 2e-5;
    const Matrix<double> a = matrixOf({{1.0 - 0.01 - gap / 2, 1}, {0, 1.0 - 0.01 + gap / 2}});
    const Matrix<double> b = matrixOf({{1, 2}, {3, 4}});
    EXPECT_LE(residualOf(logarithmOf(a, b), a, b), 100.0 * unitRoundoff / gap);
}

TEST(HeldLogarithm, IsThatOfTheWholeMatrixWithoutEigenvaluesNearOne) {
    NormalNumbers numbers(4302);
    const Matrix<double> a = randomWithEigenvalues({{0.5, 0.0}, {0.9, 0.2}, {-0.3, 0.5}}, 0.2, numbers);
    Matrix<double> b = randomMatrix(5, 2, numbers);
    b(0, 0) = 0.75;
    b(1, 1) = -0.5;
    for (int k = 2; k < 5; ++k) {
        b(k, 0) = b(k, 1) = 0.125 * k;
        b(0, 1) = b(1, 0) = 0.25;
    }
    const Blocks logarithm = logarithmOf(a, b);
    const Matrix<double> whole = realPartOf(QorMathControl::LogM(augmented(a, b, 1.0)));
    EXPECT_EQ(written(logarithm.a), written(whole(Range(0, 4, 1), Range(0, 4, 1))));
    EXPECT_EQ(written(logarithm.b), written(whole(Range(0, 4, 1), Range(5, 6, 1))));
}

TEST(HeldLogarithm, OfANegativeEigenvalueBesideAnIntegratorIsTheRealPart) {
    const Blocks logarithm = logarithmOf(matrixOf({{-0.5, 0}, {0, 1}}), matrixOf({{2}, {3}}));
    // The upper element of the logarithm of [l b; 0 1] is b log(l) / (l - 1).
    EXPECT_NEAR(logarithm.a(0, 0), std::log(0.5), 1e-15);
    EXPECT_NEAR(logarithm.b(0, 0), 2.0 * std::log(0.5) / -1.5, 1e-15);
    EXPECT_EQ(logarithm.a(1, 1), 0.0);
    EXPECT_EQ(logarithm.b(1, 0), 3.0);
}

TEST(HeldLogarithm, OfNearAndFarEigenvaluesThatRoundingDoesNotTellApartIsThatOfTheWholeMatrix) {
    // 1.0101 and 1.0099 lie on both sides of the limit, within the rounding of the largest element.
    const Matrix<double> a = matrixOf({{1e15, 1, 2}, {0, 1.0101, 1}, {0, 0, 1.0099}});
    const Matrix<double> b = matrixOf({{1}, {1}, {1}});
    const Blocks logarithm = logarithmOf(Matrix<double>(a), Matrix<double>(b));
    const Matrix<double> whole = realPartOf(QorMathControl::LogM(augmented(a, b, 1.0)));
    EXPECT_LE(maxDifference(logarithm.a, whole(Range(0, 2, 1), Range(0, 2, 1))), accepted * frobeniusNorm(whole));
    EXPECT_LE(maxDifference(logarithm.b, whole(Range(0, 2, 1), Range(3, 3, 1))), accepted * frobeniusNorm(whole));
}

TEST(HeldLogarithm, DoesNotDependOnTheUnitsOfTheInputs) {
    NormalNumbers numbers(4303);
    for (const Spectrum& spectrum : {Spectrum{{0.5, 0.0}, {0.9, 0.2}}, Spectrum{{1.0, 0.0}, {0.9, 0.2}}}) {
        const Matrix<double> a = randomWithEigenvalues(spectrum, 0.2, numbers);
        const Matrix<double> b = randomMatrix(3, 3, numbers);
        Matrix<double> inUnits(b);
        const double units[] = {std::ldexp(1.0, 60), 1.0, std::ldexp(1.0, -900)};
        for (int j = 0; j < 3; ++j) {
            inUnits.column(j) *= units[j];
        }
        const Blocks expected = logarithmOf(a, b);
        const Blocks logarithm = logarithmOf(a, inUnits);
        EXPECT_EQ(written(logarithm.a), written(expected.a));
        for (int j = 0; j < 3; ++j) {
            logarithm.b.column(j) /= units[j];
        }
        EXPECT_EQ(written(logarithm.b), written(expected.b));
    }
}

TEST(HeldLogarithm, TakesSystemsWithoutStatesOrInputs) {
    EXPECT_EQ(written(logarithmOf(zeroMatrix(0, 0), zeroMatrix(0, 3)).b), "0x3 []");
    EXPECT_EQ(written(logarithmOf(Matrix<double>(), Matrix<double>()).a), "0x0 []");
    EXPECT_EQ(written(logarithmOf(matrixOf({{1}}), zeroMatrix(1, 0)).a), "1x1 [0]");
}

TEST(HeldLogarithm, RefusesWhatIsNotFiniteAndShapesThatDoNotFit) {
    expectMinusOne([] { logarithmOf(matrixOf({{1, std::nan("")}, {0, 1}}), matrixOf({{1}, {1}})); });
    expectXmsg(
        [] {
            logarithmOf(matrixOf({{1}}), matrixOf({{1}, {1}}));
        },
        QorMathLA::DimensionMismatch, "Matrix appendToRight");
    expectXmsg(
        [] {
            logarithmOf(matrixOf({{1, 2}}), matrixOf({{1}}));
        },
        QorMathLA::DimensionMismatch, "Matrix appendToBottom");
}
