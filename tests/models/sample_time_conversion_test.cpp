#include <cmath>
#include <complex>
#include <gtest/gtest.h>
#include <limits>
#include <string>
#include <vector>

#include <qormath/control/qor_math_control.hpp>
#include <qormath/core/arithmetic.hpp>

#include "models/conversion_systems.hpp"
#include "support/failures.hpp"
#include "support/matrix_compare.hpp"
#include "support/matrix_literals.hpp"
#include "support/model_families.hpp"

using namespace qormath::test::conversion;
using qormath::test::expectMinusOne;
using qormath::test::expectXmsg;
using qormath::test::frobeniusNorm;
using qormath::test::identical;
using qormath::test::matrixOf;
using qormath::test::maxDifference;
using qormath::test::modelFamilies;
using qormath::test::NormalNumbers;
using qormath::test::unitRoundoff;
using qormath::test::written;
using QorMathLA::Matrix;
using QorMathLA::Range;
using QorMathLA::Vector;
using QorMathLA::zeroMatrix;

// ---------------------------------------------------------------- zero-order hold, continuous to discrete

TEST(Continuous2DiscreteByHold, OfALagIsItsPulseTransferFunction) {
    for (const double t : {0.01, 1.0, 60.0}) {
        const System lag{matrixOf({{-1.0 / 30}}), matrixOf({{2.0 / 30}}), matrixOf({{1}}), matrixOf({{0.25}})};
        const System discrete = toDiscrete(lag, t, zeroOrderHold);
        // 20 n eps for order 2, and a norm of at most 4.
        EXPECT_NEAR(discrete.a(0, 0), std::exp(-t / 30), 160.0 * unitRoundoff);
        EXPECT_NEAR(discrete.b(0, 0), -2.0 * std::expm1(-t / 30), 320.0 * unitRoundoff);
    }
}

TEST(Continuous2DiscreteByHold, OfADoubleIntegratorNeedsNoInverse) {
    const double t = 0.75;
    const System integrators{matrixOf({{0, 1}, {0, 0}}), matrixOf({{0}, {1}}), matrixOf({{1, 0}}), matrixOf({{0}})};
    const System discrete = toDiscrete(integrators, t, zeroOrderHold);
    EXPECT_LE(maxDifference(discrete.a, matrixOf({{1, t}, {0, 1}})), 20.0 * unitRoundoff);
    EXPECT_LE(maxDifference(discrete.b, matrixOf({{t * t / 2}, {t}})), 20.0 * unitRoundoff);
}

TEST(Continuous2DiscreteByHold, HasTheTransferFunctionOfTheSeriesForEveryFamily) {
    for (const auto& family : modelFamilies(continuousSystem)) {
        for (const double t : {0.05, 1.0, 4.0}) {
            SCOPED_TRACE(testing::Message() << family.name << " " << t);
            const System system = systemOf(family.model);
            const double bound = exponentialBound(system, t);
            expectSameTransfer(toDiscrete(system, t, zeroOrderHold), heldBySeries(system, t), bound, bound);
        }
    }
}

TEST(Continuous2DiscreteByHold, OfAStiffModelHasItsFastModesSettled) {
    for (const double fast : {-3e3, -1e5, -1e9}) {
        SCOPED_TRACE(fast);
        const System stiff{matrixOf({{-0.01, 0.5}, {0, fast}}), matrixOf({{1}, {-fast}}), matrixOf({{1, 0}}),
                           matrixOf({{0}})};
        const System discrete = toDiscrete(stiff, 1.0, zeroOrderHold);
        // The exponential's bound of 20 n eps norm for order 3, a row sum of 2 |fast| and a result of norm 2.
        const double bound = 20.0 * 3 * unitRoundoff * 2.0 * std::fabs(fast) * 2.0;
        // x1 = -0.01 x1 + 0.5 x2 + u, x2 = fast (x2 - u), solved by hand.
        const double decay = std::exp(-0.01);
        const double lead = 0.5 / (-fast - 0.01);
        EXPECT_NEAR(discrete.a(0, 0), decay, bound);
        EXPECT_NEAR(discrete.a(0, 1), lead * decay, bound);
        EXPECT_NEAR(discrete.a(1, 0), 0.0, bound);
        EXPECT_NEAR(discrete.a(1, 1), 0.0, bound);
        EXPECT_NEAR(discrete.b(0, 0), (1.0 - decay) / 0.01 * 1.5 - lead * decay, bound);
        EXPECT_NEAR(discrete.b(1, 0), 1.0, bound);
    }
}

TEST(Continuous2DiscreteByHold, PassesOnWhatIsNotFiniteAndWhatTrulyOverflows) {
    const System unstable{matrixOf({{800, 0}, {0, -800}}), matrixOf({{1}, {1}}), matrixOf({{1, 1}}), matrixOf({{0}})};
    EXPECT_FALSE(std::isfinite(toDiscrete(unstable, 1.0, zeroOrderHold).a(0, 0)));
    const System unknown{matrixOf({{std::nan(""), 0}, {0, -1}}), matrixOf({{1}, {1}}), matrixOf({{1, 1}}),
                         matrixOf({{0}})};
    EXPECT_TRUE(std::isnan(toDiscrete(unknown, 1.0, zeroOrderHold).a(0, 0)));
}

TEST(Continuous2DiscreteByHold, DoesNotDependOnTheUnitsOfTheInputs) {
    const System plain = randomSystem(slow, 0.3, 4218);
    System inUnits = plain;
    const double units[] = {std::ldexp(1.0, 60), std::ldexp(1.0, -900)};
    for (int j = 0; j < 2; ++j) {
        inUnits.b.column(j) *= units[j];
    }
    const System expected = toDiscrete(plain, 0.5, zeroOrderHold);
    const System discrete = toDiscrete(inUnits, 0.5, zeroOrderHold);
    EXPECT_EQ(written(discrete.a), written(expected.a));
    for (int j = 0; j < 2; ++j) {
        discrete.b.column(j) /= units[j];
    }
    EXPECT_EQ(written(discrete.b), written(expected.b));
}

TEST(Continuous2DiscreteByHold, LeavesOutputsAndFeedthroughAsTheyAre) {
    const System system = randomSystem(slow, 0.3, 4201);
    const System discrete = toDiscrete(system, 0.5, zeroOrderHold);
    EXPECT_TRUE(identical(discrete.c, system.c));
    EXPECT_TRUE(identical(discrete.d, system.d));
    EXPECT_FALSE(identical(discrete.a, system.a));
}

TEST(Continuous2DiscreteByHold, TakesTransposedViewsByLogicalPosition) {
    System system = randomSystem(slow, 0.3, 4202);
    const System expected = toDiscrete(system, 0.5, zeroOrderHold);
    const Matrix<double> storedTurned(Matrix<double>(system.a.transpose()), true);
    system.a = storedTurned.transpose();
    ASSERT_TRUE(system.a.transposed);
    QorMathControl::Continuous2Discrete(system.a, system.b, system.c, system.d, 0.5, zeroOrderHold);
    EXPECT_EQ(textOf(system), textOf(expected));
}

TEST(Continuous2DiscreteByHold, RefusesShapesThatDoNotFit) {
    System system = randomSystem(slow, 0.0, 4203);
    system.b = zeroMatrix(2, 2);
    expectXmsg([&] { toDiscrete(system, 1.0, zeroOrderHold); }, QorMathLA::DimensionMismatch, "Matrix appendToRight");
    system.a = zeroMatrix(2, 3);
    expectXmsg([&] { toDiscrete(system, 1.0, zeroOrderHold); }, QorMathLA::DimensionMismatch, "Matrix appendToBottom");
}

// ---------------------------------------------------------------- zero-order hold, discrete to continuous

TEST(Discrete2ContinuousByHold, OfOnePositiveStateIsItsLogarithm) {
    for (const double t : {0.5, 1.0, 60.0}) {
        const System discrete{matrixOf({{0.5}}), matrixOf({{3}}), matrixOf({{1}}), matrixOf({{0.25}})};
        const System continuous = toContinuous(discrete, t, zeroOrderHold);
        ASSERT_EQ(continuous.a.rows(), 1);
        EXPECT_NEAR(continuous.a(0, 0) * t, std::log(0.5), 10.0 * unitRoundoff);
        // The gain 3 / (1 - 0.5) stays.
        EXPECT_NEAR(-continuous.b(0, 0) / continuous.a(0, 0), 6.0, 100.0 * unitRoundoff);
        EXPECT_EQ(continuous.d(0, 0), 0.25);
    }
}

TEST(Discrete2ContinuousByHold, GivesANegativeStateAPartnerThatNoOutputShows) {
    const System discrete{matrixOf({{-0.5}}), matrixOf({{3}}), matrixOf({{2}, {1}}), matrixOf({{0.25}, {0}})};
    const System continuous = toContinuous(discrete, 1.0, zeroOrderHold);
    ASSERT_EQ(continuous.a.rows(), 2);
    ASSERT_EQ(continuous.a.cols(), 2);
    ASSERT_EQ(continuous.b.rows(), 2);
    EXPECT_EQ(written(continuous.c), "2x2 [2 0; 1 0]");
    EXPECT_TRUE(identical(continuous.d, discrete.d));
    // The logarithms of the pair -0.5 +- 5 root i; the recurrence divides its rounding by their distance.
    const Complex exponent = std::log(Complex(-0.5, 5.0 * root));
    const double trace = continuous.a(0, 0) + continuous.a(1, 1);
    const double determinant = continuous.a(0, 0) * continuous.a(1, 1) - continuous.a(0, 1) * continuous.a(1, 0);
    EXPECT_NEAR(trace, 2.0 * exponent.real(), 10.0 * unitRoundoff / (10.0 * root));
    EXPECT_NEAR(determinant, std::norm(exponent), 10.0 * std::norm(exponent) * unitRoundoff / (10.0 * root));
}

TEST(Discrete2ContinuousByHold, KeepsTheSampledTransferFunctionWithNegativeEigenvalues) {
    const std::vector<Eigenvalues> spectra = {
        {{-0.5, 0.0}},
        {{-0.5, 0.0}, {0.6, 0.0}},
        {{-0.9, 0.0}, {-0.3, 0.0}, {0.7, 0.0}, {0.4, 0.3}},
        {{-0.2, 0.0}, {-0.4, 0.0}, {-0.6, 0.0}, {0.1, 0.7}},
    };
    for (const Eigenvalues& spectrum : spectra) {
        for (const double departure : {0.0, 0.2}) {
            const System discrete = randomSystem(spectrum, departure, 4204);
            const System continuous = toContinuous(discrete, 2.0, zeroOrderHold);
            int negative = 0;
            for (const Complex& value : spectrum) {
                negative += value.imag() == 0.0 && value.real() < 0.0;
            }
            ASSERT_EQ(continuous.a.rows(), discrete.a.rows() + negative);
            const System back = toDiscrete(continuous, 2.0, zeroOrderHold);
            // The recurrence divides its rounding, 10 n eps, by the distance of the pair, 20 root |value|; the pair's
            // own displacement counts by its square alone, 100 eps, for no output shows the partner.
            expectSameTransfer(back, discrete, 4.0 * root, 4.0 * root);
        }
    }
}

TEST(Discrete2ContinuousByHold, ReturnsTheMatricesOfAHeldSystemWithinTheAccuracyOfTheFunctions) {
    for (const double departure : {0.0, 0.3}) {
        const System given = randomSystem(slow, departure, 4205);
        const double t = 0.8;
        const System back = toContinuous(toDiscrete(given, t, zeroOrderHold), t, zeroOrderHold);
        // 1000 eps is what the logarithm accepts; the smallest distance of two eigenvalues of the exponential, one of
        // them 1, is 0.016, and so the logarithm passes on at most the reciprocal.
        const double bound = 1000.0 * unitRoundoff / 0.016;
        EXPECT_LE(maxDifference(back.a, given.a), bound * frobeniusNorm(given.a));
        EXPECT_LE(maxDifference(back.b, given.b), bound * frobeniusNorm(given.b));
        EXPECT_LE(maxDifference(back.c, given.c), 0.0);  // the balancing goes by powers of two
        EXPECT_TRUE(identical(back.d, given.d));
    }
}

TEST(Discrete2ContinuousByHold, ReturnsTheTransferFunctionOfEveryHeldFamily) {
    for (const auto& family : modelFamilies(continuousSystem)) {
        SCOPED_TRACE(family.name);
        const double t = 0.5;
        const System given = systemOf(family.model);
        const System held = toDiscrete(given, t, zeroOrderHold);
        const System back = toDiscrete(toContinuous(held, t, zeroOrderHold), t, zeroOrderHold);
        // What the logarithm accepts, times the norm of what it is taken of.
        const double accuracy = 1000.0 * unitRoundoff;
        const double spread = 1.0 + frobeniusNorm(held.a) + frobeniusNorm(held.b);
        expectSameTransfer(back, held, accuracy * spread, accuracy * spread);
    }
}

TEST(Discrete2ContinuousByHold, OfAnIntegratorIsOneToTheBit) {
    const System steps{matrixOf({{1}}), matrixOf({{0.25, 0.5, -1}}), matrixOf({{1}}), matrixOf({{0, 0, 0}})};
    const System continuous = toContinuous(steps, 0.25, zeroOrderHold);
    EXPECT_EQ(written(continuous.a), "1x1 [0]");
    EXPECT_EQ(written(continuous.b), "1x3 [1 2 -4]");
}

TEST(Discrete2ContinuousByHold, KeepsIntegratorsAmongOtherStatesWhateverTheNumberOfInputs) {
    for (const int integrators : {1, 2, 3}) {
        for (const bool inARow : {false, true}) {
            for (const int inputs : {1, 2, 3, 5}) {
                for (const bool hide : {false, true}) {
                    SCOPED_TRACE(testing::Message() << integrators << " " << inARow << " " << inputs << " " << hide);
                    NormalNumbers numbers(4220u + static_cast<unsigned>(integrators + inputs));
                    qormath::test::Poles poles(static_cast<std::size_t>(integrators), 1.0);
                    poles.insert(poles.end(), {{0.6, 0.0}, {0.5, 0.4}, {0.995, 0.0}});
                    LTIStateSpaceModel model = qormath::test::modalModel(poles, inputs, 2, discreteSystem, numbers);
                    for (int k = 0; inARow && k + 1 < integrators; ++k) {
                        model.A(k, k + 1) = 1.0;
                    }
                    const System discrete = systemOf(hide ? qormath::test::hidden(model, numbers) : model);
                    const System back = toDiscrete(toContinuous(discrete, 2.0, zeroOrderHold), 2.0, zeroOrderHold);
                    const double bound =
                        1000.0 * unitRoundoff * (1.0 + frobeniusNorm(discrete.a) + frobeniusNorm(discrete.b));
                    EXPECT_LE(maxDifference(back.a, discrete.a), bound);
                    EXPECT_LE(maxDifference(back.b, discrete.b), bound);
                }
            }
        }
    }
}

TEST(Discrete2ContinuousByHold, ThrowsForAnEigenvalueAtZeroAndLeavesTheSystemBalanced) {
    for (const double zero : {0.0, 0.5 * root, -0.5 * root}) {
        System system{matrixOf({{0.5, 4096}, {0, zero}}), matrixOf({{1}, {1}}), matrixOf({{1, 1}}), matrixOf({{2}})};
        System balanced = system;
        Vector<double> scale;
        QorMathControl::BalanceABC(balanced.a, balanced.b, balanced.c, scale, 10.0);
        expectMinusOne(
            [&] { QorMathControl::Discrete2Continuous(system.a, system.b, system.c, system.d, 1.0, zeroOrderHold); });
        EXPECT_EQ(textOf(system), textOf(balanced));
    }
    EXPECT_EQ(
        toContinuous({matrixOf({{2.0 * root}}), matrixOf({{1}}), matrixOf({{1}}), matrixOf({{0}})}, 1.0, zeroOrderHold)
            .a.rows(),
        1);
    expectMinusOne([&] {
        toContinuous({matrixOf({{0}}), matrixOf({{1}}), matrixOf({{1}}), matrixOf({{0}})}, 1.0, zeroOrderHold);
    });
}

TEST(Discrete2ContinuousByHold, PassesOnTheFailuresOfItsParts) {
    System system = randomSystem({{0.5, 0.0}, {0.7, 0.0}}, 0.1, 4206);
    System turned = system;
    turned.a = system.a.transpose();
    expectXmsg([&] { QorMathControl::Discrete2Continuous(turned.a, turned.b, turned.c, turned.d, 1.0, zeroOrderHold); },
               QorMathLA::TransposedDataAccess, "Matrix: get data for Fortran call");
    system.a(0, 1) = std::numeric_limits<double>::quiet_NaN();
    expectMinusOne([&] { toContinuous(system, 1.0, zeroOrderHold); });
    expectMinusOne([&] {
        toContinuous({matrixOf({{1, 2}}), matrixOf({{1}}), matrixOf({{1}}), matrixOf({{0}})}, 1.0, zeroOrderHold);
    });
}

// ---------------------------------------------------------------- bilinear transform

TEST(Continuous2DiscreteByTustin, PairsTheFrequencyResponsesForEveryFamily) {
    for (const auto& family : modelFamilies(continuousSystem)) {
        for (const double t : {0.1, 0.7}) {
            SCOPED_TRACE(testing::Message() << family.name << " " << t);
            const System continuous = systemOf(family.model);
            const System discrete = toDiscrete(continuous, t, bilinearTransform);
            const double beta = 2.0 / t;
            const double condition = continuous.a.rows() == 0 ? 1.0 : beta * resolventNorm(continuous.a, beta) * 10.0;
            for (const Complex z : unitCircle()) {
                const Complex s = beta * (z - 1.0) / (z + 1.0);
                const double difference =
                    frobeniusNorm(differenceOf(transferAt(discrete, z), transferAt(continuous, s)));
                EXPECT_LE(difference, condition * (reachOf(continuous, s, 0.0, 0.0) + reachOf(discrete, z, 0.0, 0.0)))
                    << z;
            }
        }
    }
}

TEST(Discrete2ContinuousByTustin, UndoesTheWayThereForEveryFamily) {
    for (const auto& family : modelFamilies(discreteSystem)) {
        SCOPED_TRACE(family.name);
        const System discrete = systemOf(family.model);
        const System continuous = toContinuous(discrete, 0.5, bilinearTransform);
        const System back = toDiscrete(continuous, 0.5, bilinearTransform);
        const double condition = discrete.a.rows() == 0 ? 1.0 : resolventNorm(discrete.a, -1.0);
        const double change = 20.0 * std::max(1, discrete.a.rows()) * unitRoundoff * condition;
        const double spread = frobeniusNorm(discrete.a) + frobeniusNorm(discrete.b) + 1.0;
        expectSameTransfer(back, discrete, change * spread, change * spread);
    }
}

TEST(SampleTimeConversion, TakesEveryTypeButTheHoldForTustin) {
    const System system = randomSystem(slow, 0.2, 4207);
    const std::string expected = textOf(toDiscrete(system, 0.5, bilinearTransform));
    const std::string undone = textOf(toContinuous(system, 0.5, bilinearTransform));
    for (const int value : {2, 100, -1}) {
        EXPECT_EQ(textOf(toDiscrete(system, 0.5, static_cast<conversionType>(value))), expected);
        EXPECT_EQ(textOf(toContinuous(system, 0.5, static_cast<conversionType>(value))), undone);
    }
}

TEST(SampleTimeConversionByTustin, ThrowsWhereTheMapLeadsToInfinityAndLeavesTheSystemUnchanged) {
    System pole{matrixOf({{4, 0}, {0, -1}}), matrixOf({{1}, {1}}), matrixOf({{1, 1}}), matrixOf({{0}})};
    std::string before = textOf(pole);
    expectMinusOne(
        [&] { QorMathControl::Continuous2Discrete(pole.a, pole.b, pole.c, pole.d, 0.5, bilinearTransform); });
    EXPECT_EQ(textOf(pole), before);
    pole.a(0, 0) = 0.5;
    before = textOf(pole);
    expectMinusOne(
        [&] { QorMathControl::Discrete2Continuous(pole.a, pole.b, pole.c, pole.d, 0.5, bilinearTransform); });
    EXPECT_EQ(textOf(pole), before);
    pole.a(1, 1) = 0.25;
    for (const double time : {0.0, std::numeric_limits<double>::infinity(), std::nan("")}) {
        expectMinusOne([&] { toDiscrete(pole, time, bilinearTransform); });
    }
}

TEST(SampleTimeConversionByTustin, RefusesTransposedMatricesBeforeAnythingIsWritten) {
    for (const int which : {0, 1, 2, 3}) {
        System system{matrixOf({{-1, 0.5}, {0, -2}}), matrixOf({{1, 2}, {3, 4}}), matrixOf({{1, 2}, {3, 4}}),
                      matrixOf({{1, 2}, {3, 4}})};
        Matrix<double>& turned = which == 0 ? system.a : which == 1 ? system.b : which == 2 ? system.c : system.d;
        turned = turned.transpose();
        const std::string before = textOf(system);
        for (const bool discrete : {false, true}) {
            expectXmsg(
                [&] {
                    if (discrete) {
                        QorMathControl::Discrete2Continuous(system.a, system.b, system.c, system.d, 1.0,
                                                            bilinearTransform);
                    } else {
                        QorMathControl::Continuous2Discrete(system.a, system.b, system.c, system.d, 1.0,
                                                            bilinearTransform);
                    }
                },
                QorMathLA::TransposedDataAccess, "Matrix: get data for Fortran call");
        }
        EXPECT_EQ(textOf(system), before);
    }
}

TEST(SampleTimeConversionByTustin, ThrowsForShapesThatDoNotFit) {
    const Matrix<double> two = matrixOf({{-1, 0.5}, {0, -2}});
    const auto attempt = [](const System& system) {
        expectMinusOne([&] { toDiscrete(system, 1.0, bilinearTransform); });
    };
    attempt({matrixOf({{1, 2}}), two, two, two});
    attempt({two, matrixOf({{1}}), two, two});
    attempt({two, two, matrixOf({{1}}), two});
    attempt({two, two, two, matrixOf({{1, 2}})});
}

TEST(SampleTimeConversionByTustin, TakesViewsOfPartOfABlockAndLeavesTheBlockAlone) {
    const Matrix<double> block = matrixOf({{9, 9, 9}, {9, -1, 0.5}, {9, 0, -2}});
    const std::string before = written(block);
    const Matrix<double> part = block(Range(1, 2, 1), Range(1, 2, 1));
    const System plain{Matrix<double>(part, true), matrixOf({{1}, {2}}), matrixOf({{1, 2}}), matrixOf({{0}})};
    System system(plain);
    system.a = block(Range(1, 2, 1), Range(1, 2, 1));
    QorMathControl::Continuous2Discrete(system.a, system.b, system.c, system.d, 1.0, bilinearTransform);
    EXPECT_EQ(textOf(system), textOf(toDiscrete(plain, 1.0, bilinearTransform)));
    EXPECT_EQ(written(block), before);
}

TEST(SampleTimeConversion, OfAModelWithoutStatesLeavesTheFeedthrough) {
    for (const conversionType type : {zeroOrderHold, bilinearTransform}) {
        const System bare{{}, {}, {}, matrixOf({{1, 2}, {3, 4}})};
        EXPECT_EQ(textOf(toDiscrete(bare, 1.0, type)), textOf(bare));
        EXPECT_EQ(textOf(toContinuous(bare, 1.0, type)), textOf(bare));
        EXPECT_EQ(textOf(resampled(bare, 1.0, 3.0, type)), textOf(bare));
        EXPECT_EQ(textOf(resampled(bare, 1.0, 2.5, type)), textOf(bare));
        const System shaped{zeroMatrix(0, 0), zeroMatrix(0, 2), zeroMatrix(2, 0), matrixOf({{1, 2}, {3, 4}})};
        EXPECT_EQ(textOf(toDiscrete(shaped, 1.0, type)), textOf(shaped));
        EXPECT_EQ(textOf(toContinuous(shaped, 1.0, type)), textOf(shaped));
        EXPECT_EQ(textOf(resampled(shaped, 1.0, 2.5, type)), textOf(shaped));
    }
}

// ---------------------------------------------------------------- all that the hold leaves alone

TEST(SampleTimeConversion, ByHoldAndByWholeFactorsNeverTouchesTheFeedthrough) {
    const System system = randomSystem({{0.9, 0.0}, {-0.4, 0.0}, {0.4, 0.3}}, 0.2, 4217);
    for (const System& result :
         {toDiscrete(system, 0.5, zeroOrderHold), toContinuous(system, 0.5, zeroOrderHold),
          resampled(system, 1.0, 3.0, bilinearTransform), resampled(system, 1.0, 2.5, zeroOrderHold)}) {
        EXPECT_TRUE(identical(result.d, system.d));
    }
}
