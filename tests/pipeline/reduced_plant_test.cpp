#include <cmath>
#include <gtest/gtest.h>
#include <support/curve_errors.hpp>
#include <support/matrix_compare.hpp>
#include <support/matrix_literals.hpp>
#include <support/plants.hpp>
#include <support/transfer.hpp>
#include <vector>

#include <qormath/pipeline/detail/realised_plant.hpp>
#include <qormath/pipeline/detail/reduced_plant.hpp>

namespace qormath::pipeline {
namespace {

using QorMathLA::Matrix;
using QorMathLA::product;
using test::lag;
using test::matrixOf;
using test::oscillation;
using test::plantOf;
using test::ramp;

/// Three outputs and two inputs with peaks about 1; the last output is a ramp.
LTIFIRModel plant() {
    return plantOf({{lag(1.0, 9.0, 3), oscillation(-0.8, 0.4, 0.3)},
                    {oscillation(0.7, 0.5, 0.35), lag(1.1, 7.0, 2)},
                    {ramp(0.01, 5.0), ramp(-0.008, 4.0)}},
                   120, 7200, {false, false, true});
}

}  // namespace

// ---------------------------------------------------------------- realised plant

TEST(RealisedPlant, IsTheSumOfItsStablePartAndItsRamps) {
    const LTIFIRModel model = plant();
    const RealisedPlant realised = realise(model, 30);
    LTIStateSpaceModel ramps = rampModel(realised.rates, realised.stable.sampleTime);
    const LTIFIRModel curves(ramps + realised.stable, model);
    // The slowest lag has 13 time constants in the horizon: what its last coefficient lacks does not show.
    EXPECT_LE(test::curveError(curves, model), 2e-4);
    EXPECT_EQ(realised.stable.D.maxAbs(), 0.0);
    EXPECT_EQ(realised.stable.sampleTime, 60.0);
}

TEST(RealisedPlant, TakesRatesAndGainsFromTheCurves) {
    const LTIFIRModel model = plant();
    const RealisedPlant realised = realise(model, 0);
    const Matrix<double> wanted = LTIFIRModel(model).GetGain();
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(realised.rates(2, i), wanted(2, i));
        EXPECT_EQ(realised.rates(0, i), 0.0);
        EXPECT_EQ(realised.gains(0, i), wanted(0, i));
    }
    EXPECT_LE(std::fabs(realised.gains(2, 0) - test::transferAt(realised.stable, 1.0)(2, 0)), 1e-10);
}

TEST(RealisedPlant, OfPureRampsHasNoStableStates) {
    const RealisedPlant realised = realise(plantOf({{[](int k) { return 0.5 * (k + 1); }}}, 60, 60, {true}), 0);
    EXPECT_EQ(realised.stable.A.rows(), 0);
    EXPECT_EQ(realised.rates(0, 0), 0.5);
}

// ---------------------------------------------------------------- ramps

TEST(RampModel, HasAnIntegratorForEachRampOutput) {
    const Matrix<double> rates = matrixOf({{0.0, 0.0, 0.0}, {1.0, 1e-9, -3.0}, {2.0, 0.0, 7.0}});
    const LTIStateSpaceModel model = rampModel(rates, 4.0);
    EXPECT_EQ(model.A.rows(), 2);
    EXPECT_EQ(model.sampleTime, 4.0);
    EXPECT_TRUE(test::identical(Matrix<double>(product(model.C, model.B)), rates));
}

TEST(RampModel, HasAnIntegratorForEachRampInputIfTheseAreFewer) {
    const Matrix<double> rates = matrixOf({{0.0, 4.0}, {0.0, 1e-9}, {0.0, -3.0}});
    const LTIStateSpaceModel model = rampModel(rates, 1.0);
    EXPECT_EQ(model.A.rows(), 1);
    EXPECT_TRUE(test::identical(Matrix<double>(product(model.C, model.B)), rates));
}

TEST(RampModel, WithoutRampsIsEmpty) {
    EXPECT_EQ(rampModel(matrixOf({{0.0, 0.0}}), 1.0).A.rows(), 0);
}

// ---------------------------------------------------------------- gains

TEST(ReducedPlants, HaveTheirGainsInBothWays) {
    const LTIFIRModel model = plant();
    const RealisedPlant realised = realise(model, 0);
    const LTIStateSpaceModel none = rampModel(realised.rates * 0.0, 60.0);
    for (int order = 3; order <= 8; ++order) {
        SCOPED_TRACE(order);
        const std::vector<ReducedPlant> ways = reducedPlants(realised, none, order, 0.0, 0.0);
        ASSERT_EQ(ways.size(), 2U);
        EXPECT_EQ(ways[0].gainStates, 0);
        EXPECT_EQ(ways[0].model.A.rows(), order);
        EXPECT_GT(ways[1].gainStates, 0);
        EXPECT_EQ(ways[1].model.A.rows(), order + ways[1].gainStates);
        for (const ReducedPlant& way : ways) {
            EXPECT_LE(test::maxDifference(test::transferAt(way.model, 1.0), realised.gains), 1e-9);
        }
    }
}

TEST(ReducedPlants, CorrectTheOutputThatNeedsItWhereverItStands) {
    // Output 1 is exact at order 2, and outputs 0 and 2 are not: lags must come to these two.
    const LTIFIRModel model = plantOf({{lag(1.0, 9.0, 5)}, {lag(1.0, 4.0)}, {lag(-1.0, 6.0, 7)}}, 120, 7200);
    RealisedPlant realised = realise(model, 0);
    const LTIStateSpaceModel none = rampModel(realised.rates, 60.0);
    const std::vector<ReducedPlant> plain = reducedPlants(realised, none, 4, 0.0, -1.0);
    ASSERT_EQ(plain.size(), 1U);
    realised.gains.row(1) = test::transferAt(plain[0].model, 1.0).row(1);
    realised.gains(0, 0) += 0.25;
    realised.gains(2, 0) -= 0.5;
    const ReducedPlant lags = reducedPlants(realised, none, 4, 0.0, 0.0).back();
    EXPECT_EQ(lags.gainStates, 1) << "one input can be corrected by one lag";
    EXPECT_LE(test::maxDifference(test::transferAt(lags.model, 1.0), realised.gains), 1e-9);
    // What an output did before the lags is what it does after one sample's rest, but for the lags themselves: the
    // second output has none.
    const auto before = test::markovParameters(plain[0].model, 30);
    const auto after = test::markovParameters(lags.model, 30);
    for (std::size_t k = 0; k < before.size(); ++k) {
        EXPECT_NEAR(after[k](1, 0), before[k](1, 0), 1e-9) << k;
    }
    EXPECT_GT(std::fabs(after[1](0, 0) - before[1](0, 0)), 0.05);
}

TEST(ReducedPlants, NeedNoCorrectionWhereTheGainsAreRight) {
    const LTIFIRModel model = plant();
    RealisedPlant realised = realise(model, 0);
    const LTIStateSpaceModel none = rampModel(realised.rates * 0.0, 60.0);
    realised.gains = test::transferAt(reducedPlants(realised, none, 5, 0.0, -1.0)[0].model, 1.0);
    const std::vector<ReducedPlant> ways = reducedPlants(realised, none, 5, 0.0, 0.0);
    ASSERT_EQ(ways.size(), 1U);
    EXPECT_EQ(ways[0].gainStates, 0);
}

TEST(ReducedPlants, OfOneStateAndTwoInputsCanOnlyBeCorrectedByLags) {
    const LTIFIRModel model = plantOf({{lag(1.0, 9.0, 3), lag(-0.8, 3.0)}}, 120, 7200);
    const RealisedPlant realised = realise(model, 0);
    const LTIStateSpaceModel none = rampModel(realised.rates, 60.0);
    const std::vector<ReducedPlant> ways = reducedPlants(realised, none, 1, 0.0, 0.0);
    ASSERT_EQ(ways.size(), 1U);
    EXPECT_EQ(ways[0].gainStates, 1);
    EXPECT_LE(test::maxDifference(test::transferAt(ways[0].model, 1.0), realised.gains), 1e-9);
}

// ---------------------------------------------------------------- ringers

TEST(ReducedPlants, TellTheirRingersLeastDampedFirst) {
    const LTIFIRModel model = plantOf({{oscillation(1.0, 0.08, 0.3), oscillation(1.0, 0.05, 0.9)}}, 210, 420);
    const RealisedPlant realised = realise(model, 0);
    const LTIStateSpaceModel none = rampModel(realised.rates, 2.0);
    const ReducedPlant reduced = reducedPlants(realised, none, realised.stable.A.rows(), 0.1, 0.0)[0];
    ASSERT_EQ(reduced.ringers.size(), 2U);
    EXPECT_NEAR(reduced.ringers[0].dampingRatio, 0.05, 1e-4);
    EXPECT_NEAR(reduced.ringers[1].dampingRatio, 0.08, 1e-4);
    const double pi = 3.14159265358979;
    EXPECT_NEAR(reduced.ringers[0].period, 2.0 * 2.0 * pi / (0.9 * std::sqrt(1.0 - 0.0025)), 1e-2);
}

}  // namespace qormath::pipeline
