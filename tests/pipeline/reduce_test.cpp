// What reduce adds to the functions it calls, each on a plant built for it.

#include <cmath>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <limits>
#include <string>
#include <support/curve_errors.hpp>
#include <support/matrix_compare.hpp>
#include <support/plants.hpp>
#include <support/reduced_models.hpp>
#include <vector>

#include <qormath/pipeline/reduce.hpp>

namespace qormath {
namespace {

using test::curveError;
using test::lag;
using test::largestGainErrorOfPeak;
using test::largestRateError;
using test::oscillation;
using test::plantOf;
using test::ramp;
using test::scaledBy;
using test::sum;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using Choice = ReduceOptions::OrderChoice;

constexpr double gainErrorOfPeak = 1e-9;
constexpr double rateError = 1e-7;

/// Two inputs, two outputs, settled to 1e-4.
LTIFIRModel column() {
    return plantOf({{lag(2.0, 10.0, 1), lag(-1.5, 12.0, 4)}, {lag(0.8, 6.0, 3), lag(-3.0, 9.0, 2)}}, 120, 120 * 60);
}

LTIFIRModel inUnits(const LTIFIRModel& model, const std::vector<double>& outputs, const std::vector<double>& inputs) {
    LTIFIRModel result(model);
    for (std::size_t j = 0; j < outputs.size(); ++j) {
        for (std::size_t i = 0; i < inputs.size(); ++i) {
            auto& curve = result.coefficients(static_cast<int>(i), static_cast<int>(j));
            curve = curve * (outputs[j] * inputs[i]);
        }
    }
    return result;
}

ReduceOptions ofOrder(Choice choice, int order = 0) {
    ReduceOptions options;
    options.orderChoice = choice;
    options.order = order;
    return options;
}

ReduceOptions ofTolerance(double percent) {
    ReduceOptions options;
    options.curveTolerance = percent;
    return options;
}

void expectKept(const ReduceResult& result, const LTIFIRModel& model, double tolerancePercent = 1.0) {
    ASSERT_EQ(result.refusal, "");
    EXPECT_TRUE(result.isWithinTolerance);
    EXPECT_LE(100.0 * curveError(result.curves, model), tolerancePercent);
    EXPECT_LE(largestGainErrorOfPeak(result, model), gainErrorOfPeak);
    EXPECT_LE(largestRateError(result, model), rateError);
}

}  // namespace

// ---------------------------------------------------------------- units

TEST(ReduceUnits, OfOutputsDoNotMatterAtAllByPowersOfTwo) {
    const LTIFIRModel plain = column();
    const LTIFIRModel other = inUnits(plain, {0x1p-20, 0x1p17}, {0x1p20, 0x1p20});
    const ReduceResult expected = reduce(plain, {});
    const ReduceResult found = reduce(other, {});
    // To the bit, for the units of the work are the same.
    EXPECT_TRUE(test::identical(found.model.A, expected.model.A));
    EXPECT_EQ(found.curveErrorPercent->value, expected.curveErrorPercent->value);
    EXPECT_EQ(found.orderReached, expected.orderReached);
    expectKept(found, other);
}

TEST(ReduceUnits, OfMoleFractionsDegreesAndPascalsComeOutAsWellAsPercent) {
    const LTIFIRModel percent = plantOf({{lag(2.0, 10.0, 1), lag(-1.5, 12.0, 4), lag(1.0, 5.0)},
                                         {lag(0.8, 6.0, 3), lag(-3.0, 9.0, 2), lag(2.0, 7.0, 1)},
                                         {lag(1.8, 3.0), lag(1.0, 8.0, 5), lag(-2.0, 11.0, 2)}},
                                        120, 7200);
    const std::vector<double> outputs{1e-6, 1.0, 1e5};
    const std::vector<double> inputs{1e-5, 1e3, 1.0};
    const LTIFIRModel physical = inUnits(percent, outputs, inputs);
    const ReduceResult inPercent = reduce(percent, {});
    const ReduceResult inPhysical = reduce(physical, {});
    expectKept(inPercent, percent);
    expectKept(inPhysical, physical);
    // Each curve is as good as in percent, even that of an input whose unit makes it vanish beside the others.
    const LTIFIRModel back = inUnits(inPhysical.curves, {1e6, 1.0, 1e-5}, {1e5, 1e-3, 1.0});
    EXPECT_LE(100.0 * curveError(back, percent), 1.0);
}

TEST(ReduceUnits, OfAnInputThatIsOnlyWeakerAreThoseOfTheOutputsPeak) {
    // A fifth of the peak is a weaker input, not another unit: its curves may be off by 1 % of the output's peak.
    const LTIFIRModel model = plantOf({{lag(5.0, 10.0, 2), oscillation(1.0, 0.3, 0.5)}}, 120, 7200);
    const ReduceResult result = reduce(model, ofTolerance(4.0));
    expectKept(result, model, 4.0);
    ASSERT_TRUE(result.curveErrorPercent);
    EXPECT_NEAR(result.curveErrorPercent->value, 100.0 * curveError(result.curves, model), 1e-9);
}

TEST(ReduceUnits, MayBeAsLargeOrSmallAsDoublesGo) {
    for (const double unit : {1e-150, 1e150}) {
        const LTIFIRModel model = inUnits(column(), {unit, unit}, {1.0, 1.0});
        expectKept(reduce(model, {}), model);
    }
}

// ---------------------------------------------------------------- gains

TEST(ReduceGains, LandOnTheirOwnOutputWhereverAnIntegratorStands) {
    const std::vector<test::CurveFunction> temperature{lag(2.0, 8.0, 3), oscillation(-1.0, 0.5, 0.4)};
    const std::vector<test::CurveFunction> level{ramp(0.02, 3.0), ramp(-0.05, 5.0)};
    const LTIFIRModel first = plantOf({level, temperature}, 120, 7200, {true, false});
    const LTIFIRModel last = plantOf({temperature, level}, 120, 7200, {false, true});
    for (const LTIFIRModel& model : {first, last}) {
        for (const int order : {2, 3, 4}) {
            SCOPED_TRACE(order);
            const ReduceResult result = reduce(model, ofOrder(Choice::byNumber, order));
            ASSERT_EQ(result.refusal, "");
            EXPECT_LE(largestGainErrorOfPeak(result, model), gainErrorOfPeak);
            EXPECT_LE(largestRateError(result, model), rateError);
        }
        expectKept(reduce(model, {}), model);
    }
}

TEST(ReduceGains, AreLeftAloneWithinTheirTolerance) {
    ReduceOptions options = ofOrder(Choice::byNumber, 3);
    options.gainTolerance = 1000.0;
    const LTIFIRModel model = column();
    const ReduceResult left = reduce(model, options);
    EXPECT_EQ(left.gainStates, 0);
    EXPECT_GT(largestGainErrorOfPeak(left, model), 1e-6);
    options.gainTolerance = 0.01;
    EXPECT_LE(largestGainErrorOfPeak(reduce(model, options), model), 1.001e-4);
}

TEST(ReduceGains, AreNotRestoredWithANegativeTolerance) {
    ReduceOptions options = ofOrder(Choice::byNumber, 3);
    options.gainTolerance = -1.0;
    const LTIFIRModel model = column();
    const ReduceResult result = reduce(model, options);
    EXPECT_EQ(result.gainStates, 0);
    EXPECT_GT(largestGainErrorOfPeak(result, model), 1e-6);
}

TEST(ReduceGains, AreThoseOfTheCurvesWithoutAnyState) {
    const LTIFIRModel model = column();
    const ReduceResult result = reduce(model, ofOrder(Choice::byNumber, 0));
    EXPECT_EQ(result.orderReached, 0);
    EXPECT_TRUE(test::identical(result.model.D, LTIFIRModel(model).GetGain()));
    EXPECT_EQ(result.curves.coefficients(0, 0)[0], result.model.D(0, 0));
}

TEST(ReduceGains, AreReportedAsTheyAre) {
    const LTIFIRModel model = column();
    ReduceOptions options = ofOrder(Choice::byNumber, 3);
    options.gainTolerance = -1.0;
    const ReduceResult result = reduce(model, options);
    ASSERT_TRUE(result.gainError);
    const double expected = largestGainErrorOfPeak(result, model);
    EXPECT_NEAR(result.gainError->value, expected, 1e-10 * expected);
    EXPECT_FALSE(result.rampRateError);
}

// ---------------------------------------------------------------- sample time

TEST(ReduceSampleTime, IsTheExactQuotient) {
    LTIFIRModel model = column();
    model.horizonSeconds = 700;
    EXPECT_EQ(reduce(model, {}).model.sampleTime, 700.0 / 120.0);
    model.horizonSeconds = 30;  // a quarter of a second
    EXPECT_EQ(reduce(model, {}).model.sampleTime, 0.25);
}

TEST(ReduceSampleTime, IsTheExactOneWithRampsToo) {
    const LTIFIRModel model = plantOf({{ramp(0.1, 3.0)}}, 90, 45, {true});
    EXPECT_EQ(reduce(model, {}).model.sampleTime, 0.5);
}

TEST(ReduceSampleTime, BelowASecondStillTellsRingers) {
    LTIFIRModel model = plantOf({{sum(lag(1.0, 5.0), oscillation(0.2, 0.05, 0.8))}}, 120, 30);
    ReduceOptions options;
    options.dampingLimit = 0.1;
    const ReduceResult result = reduce(model, options);
    ASSERT_EQ(result.ringers.size(), 1U);
    EXPECT_NEAR(result.ringers[0].dampingRatio, 0.05, 1e-3);
    // 2 pi / (0.8 sqrt(1 - 0.05^2)) samples of a quarter of a second.
    EXPECT_NEAR(result.ringers[0].period, 2.0 * 3.14159265358979 / 0.8 / std::sqrt(1.0 - 0.0025) * 0.25, 1e-3);
}

// ---------------------------------------------------------------- ramps

TEST(ReduceRamps, KeepTheirRatesToTheBitAndLead) {
    const LTIFIRModel model =
        plantOf({{ramp(0.02, 3.0), ramp(-0.05, 5.0)}, {lag(1.0, 4.0), lag(2.0, 8.0, 3)}, {ramp(3.0, 2.0), nullptr}},
                120, 7200, {true, false, true});
    const ReduceResult result = reduce(model, {});
    expectKept(result, model);
    EXPECT_EQ(result.rampStates, 2);
    EXPECT_TRUE(test::integratorsLead(result));
    EXPECT_EQ(largestRateError(result, model), 0.0);
    ASSERT_TRUE(result.rampRateError);
    EXPECT_EQ(result.rampRateError->value, 0.0);
    EXPECT_THAT(result.warnings, IsEmpty());
}

TEST(ReduceRamps, OfOneInputShareItsIntegrator) {
    const LTIFIRModel model =
        plantOf({{lag(1.0, 4.0), ramp(-0.05, 5.0)}, {nullptr, ramp(-0.1, 4.0)}, {lag(1.0, 4.0), ramp(3.0, 4.0)}}, 120,
                7200, {true, true, true});
    LTIFIRModel exact(model);
    for (const int j : {0, 2}) {
        exact.coefficients(0, j)[120] = exact.coefficients(0, j)[119];  // settled, to the bit
    }
    const ReduceResult result = reduce(exact, {});
    EXPECT_EQ(result.rampStates, 1);
    expectKept(result, exact);
    EXPECT_EQ(largestRateError(result, exact), 0.0);
}

TEST(ReduceRamps, ThatAreSlowSurvive) {
    // Alone, beside a fast transient of its own, and in the output of a strong input.
    const LTIFIRModel model = plantOf({{ramp(1e-8, 3.0), ramp(2e-8, 4.0)},
                                       {sum(lag(1.0, 3.0), ramp(1e-8, 3.0)), lag(0.5, 4.0)},
                                       {ramp(1.0, 3.0), ramp(1e-8, 3.0)}},
                                      120, 7200, {true, true, true});
    const ReduceResult result = reduce(model, {});
    expectKept(result, model);
    EXPECT_EQ(result.rampStates, 2);
    for (int j = 0; j < 3; ++j) {
        double rate = 0.0;
        for (int k = 0; k < result.rampStates; ++k) {
            rate += result.model.C(j, k) * result.model.B(k, 1);
        }
        const auto& curve = model.coefficients(1, j);
        EXPECT_EQ(rate, curve[120] - curve[119]) << j;
    }
}

TEST(ReduceRamps, WithoutAFlagAreToldByNameAndKept) {
    const LTIFIRModel model = plantOf({{lag(1.0, 4.0), lag(2.0, 8.0)}, {ramp(0.02, 3.0), lag(1.0, 5.0)}}, 120, 7200);
    const ReduceResult result = reduce(model, {});
    EXPECT_THAT(result.warnings,
                ElementsAre(HasSubstr("output Y2 keeps rising on a straight line but is not flagged")));
    EXPECT_LE(100.0 * curveError(result.curves, model), 1.0);
    EXPECT_FALSE(result.curves.rampFlags[1]);
    EXPECT_EQ(result.rampStates, 1);
    ASSERT_TRUE(result.gainError);
    EXPECT_LE(result.gainError->value, gainErrorOfPeak);
}

TEST(ReduceRamps, ThatSettleAreToldByName) {
    const LTIFIRModel model = plantOf({{lag(1.0, 4.0)}, {ramp(0.02, 3.0)}}, 120, 7200, {true, true});
    const ReduceResult result = reduce(model, {});
    EXPECT_THAT(result.warnings, ElementsAre(HasSubstr("output Y1 is flagged as a ramp but its curves settle")));
    expectKept(result, model);
}

TEST(ReduceRamps, OfOutputsThatHaveNotSettledAreNoRamps) {
    const LTIFIRModel model = plantOf({{lag(1.0, 60.0)}}, 120, 7200);
    const ReduceResult result = reduce(model, {});
    EXPECT_THAT(result.warnings, ElementsAre(HasSubstr("output Y1 has not settled")));
    EXPECT_EQ(result.rampStates, 0);
    EXPECT_LE(largestGainErrorOfPeak(result, model), gainErrorOfPeak);
}

TEST(ReduceRamps, WithoutAnyTransientAreAsGoodAsTheyAre) {
    // A blip, and a start that is not on the line: the tolerance asks for more than there is to realise.
    const LTIFIRModel model =
        plantOf({{[](int k) { return 0.5 * (k + 1) + (k == 30 ? 1e-3 : 0.0); }}}, 60, 3600, {true});
    LTIFIRModel straight = plantOf({{[](int k) { return 0.5 * (k + 1); }}}, 60, 3600, {true});
    straight.coefficients(0, 0)[0] = 0.0;  // files do not have the start
    for (const LTIFIRModel& plant : {model, straight}) {
        const ReduceResult result = reduce(plant, ofTolerance(1e-6));
        EXPECT_EQ(result.refusal, "");
        EXPECT_EQ(largestRateError(result, plant), 0.0);
    }
}

TEST(ReduceRamps, WithoutAnyTransientNeedNoOtherState) {
    const LTIFIRModel model = plantOf({{[](int k) { return 0.5 * (k + 1); }}}, 60, 3600, {true});
    const ReduceResult result = reduce(model, {});
    expectKept(result, model);
    EXPECT_EQ(result.orderReached, 1);
}

// ---------------------------------------------------------------- pairs and outputs without a curve

TEST(ReduceNullPairs, HaveNoCurveInTheResult) {
    LTIFIRModel model = plantOf(
        {{lag(2.0, 10.0, 1), nullptr, lag(1.0, 3.0)}, {lag(0.8, 6.0, 3), lag(-3.0, 9.0, 2), nullptr}}, 120, 7200);
    model.coefficients(2, 1) = model.coefficients(0, 0) * 0.0;  // a curve of zeros is none
    ReduceOptions options = ofTolerance(3.0);
    const ReduceResult cleared = reduce(model, options);
    EXPECT_EQ(cleared.curves.coefficients(1, 0).size(), 0);
    EXPECT_EQ(cleared.curves.coefficients(2, 1).size(), 121);
    EXPECT_EQ(cleared.curves.coefficients(2, 1).maxAbs(), 0.0);
    ASSERT_EQ(cleared.clearedPairs.size(), 2U);
    EXPECT_EQ(cleared.clearedPairs[0].output, 0);
    EXPECT_EQ(cleared.clearedPairs[0].input, 1);

    options.clearNullPairs = false;
    const ReduceResult kept = reduce(model, options);
    EXPECT_THAT(kept.clearedPairs, IsEmpty());
    EXPECT_EQ(kept.curves.coefficients(1, 0).size(), 121);
    double largest = 0.0;
    for (const auto& [j, i] : {std::pair{0, 1}, std::pair{1, 2}}) {
        const double peak = test::peakOfOutput(model, j);
        largest = std::max(largest, 100.0 * kept.curves.coefficients(i, j).maxAbs() / peak);
    }
    EXPECT_NEAR(cleared.largestClearedPercent, largest, 1e-12 * largest);
    EXPECT_GT(largest, 0.0);
}

TEST(ReduceNullOutputs, AreToldByNameAndStayAtZero) {
    const LTIFIRModel model =
        plantOf({{nullptr, nullptr}, {lag(2.0, 10.0, 1), lag(-1.5, 12.0, 4)}}, 120, 7200, {true, false});
    const ReduceResult result = reduce(model, {});
    expectKept(result, model);
    EXPECT_THAT(result.warnings, ElementsAre(HasSubstr("output Y1 has no curve")));
    EXPECT_EQ(result.model.C.row(0).maxAbs(), 0.0);
    EXPECT_EQ(result.model.C.rows(), 2);
    EXPECT_EQ(result.curves.coefficients(0, 0).size(), 0);
}

TEST(ReduceNullInputs, MoveNothing) {
    const LTIFIRModel model = plantOf({{nullptr, lag(-1.5, 12.0, 4)}}, 120, 7200);
    const ReduceResult result = reduce(model, {});
    expectKept(result, model);
    EXPECT_EQ(result.model.B.column(0).maxAbs(), 0.0);
}

// ---------------------------------------------------------------- ringers

TEST(ReduceRingers, GoAndLeaveTheGain) {
    const LTIFIRModel model =
        plantOf({{sum(lag(1.0, 10.0, 2), oscillation(0.3, 0.04, 0.7)), lag(2.0, 6.0)}, {lag(1.0, 4.0), ramp(0.1, 4.0)}},
                150, 9000, {false, true});
    ReduceOptions options;
    options.dampingLimit = 0.1;
    const ReduceResult result = reduce(model, options);
    ASSERT_EQ(result.refusal, "");
    ASSERT_FALSE(result.ringers.empty());
    EXPECT_NEAR(result.ringers[0].dampingRatio, 0.04, 2e-3);
    EXPECT_GT(test::leastDampingRatio(result), 0.1);
    EXPECT_LE(largestGainErrorOfPeak(result, model), gainErrorOfPeak);
    EXPECT_LE(largestRateError(result, model), rateError);
    EXPECT_TRUE(result.isJudgedWithoutRingers);
    EXPECT_TRUE(result.isWithinTolerance);
    // The oscillation has an amplitude of 0.3 of a peak of about 2; it is out of the curves, and nothing else is.
    EXPECT_LE(100.0 * curveError(result.curves, model), 100.0 * 0.3 / 1.3 + 1.0);
}

TEST(ReduceRingers, OfThePlantAreToldWhereASmallOrderHasNone) {
    // A tenth of the peak rings; the plant without that is one lag.
    const LTIFIRModel model = plantOf({{sum(lag(1.0, 10.0), oscillation(0.1, 0.04, 0.7))}}, 150, 9000);
    ReduceOptions options;
    options.dampingLimit = 0.1;
    const ReduceResult result = reduce(model, options);
    EXPECT_TRUE(result.isJudgedWithoutRingers);
    ASSERT_EQ(result.ringers.size(), 1U);
    EXPECT_NEAR(result.ringers[0].dampingRatio, 0.04, 1e-3);
}

TEST(ReduceRingers, StayUnlessTheirRemovalIsAskedFor) {
    const LTIFIRModel model = plantOf({{sum(lag(1.0, 10.0, 2), oscillation(0.3, 0.04, 0.7))}}, 150, 9000);
    const ReduceResult result = reduce(model, {});
    expectKept(result, model);
    EXPECT_THAT(result.ringers, IsEmpty());
    EXPECT_LT(test::leastDampingRatio(result), 0.05);
}

TEST(ReduceRingers, ThatDoNotShowCostNoAccuracy) {
    // The ringer is worth 0.1 % of the peak: the tolerance is kept against the curves themselves.
    const LTIFIRModel model = plantOf({{sum(lag(1.0, 10.0), oscillation(0.001, 0.04, 0.7))}}, 150, 9000);
    ReduceOptions options;
    options.dampingLimit = 0.1;
    const ReduceResult result = reduce(model, options);
    expectKept(result, model);
    EXPECT_FALSE(result.isJudgedWithoutRingers);
}

TEST(ReduceRingers, AreAllModesAtALimitOfOne) {
    ReduceOptions options = ofOrder(Choice::byNumber, 4);
    options.dampingLimit = 1.0;
    const LTIFIRModel model = column();
    const ReduceResult result = reduce(model, options);
    ASSERT_EQ(result.refusal, "");
    EXPECT_LE(largestGainErrorOfPeak(result, model), gainErrorOfPeak);
}

// ---------------------------------------------------------------- orders

TEST(ReduceOrder, ByToleranceIsTheSmallestWithinIt) {
    const LTIFIRModel model = column();
    for (const double tolerance : {10.0, 3.0, 1.0, 0.3, 0.1}) {
        SCOPED_TRACE(tolerance);
        const ReduceResult result = reduce(model, ofTolerance(tolerance));
        expectKept(result, model, tolerance);
        // In no order below is there a model with as few states that keeps the tolerance.
        for (int order = 0; order < result.orderReached; ++order) {
            const ReduceResult smaller = reduce(model, ofOrder(Choice::byNumber, order));
            EXPECT_TRUE(100.0 * curveError(smaller.curves, model) > tolerance ||
                        smaller.orderReached >= result.orderReached)
                << order;
        }
    }
}

TEST(ReduceOrder, ByToleranceIsTheClosestWhereNoneIsWithinIt) {
    // The last coefficient lies 0.7 % below the gain that the curve points to: no model has both.
    const LTIFIRModel model = plantOf({{lag(1.0, 6.0)}}, 30, 1800);
    const ReduceResult result = reduce(model, ofTolerance(0.01));
    EXPECT_FALSE(result.isWithinTolerance);
    EXPECT_LE(100.0 * curveError(result.curves, model), 1.0);
    EXPECT_LE(largestGainErrorOfPeak(result, model), gainErrorOfPeak);
}

TEST(ReduceOrder, TakesMoreSingularValuesForASmallTolerance) {
    const LTIFIRModel model = column();
    EXPECT_GT(reduce(model, ofTolerance(0.002)).statesRealised, reduce(model, ofTolerance(20.0)).statesRealised);
}

TEST(ReduceOrder, ByNumberCountsRampsAndLeavesTheRestToTheStablePart) {
    const LTIFIRModel model =
        plantOf({{ramp(0.02, 3.0), ramp(-0.05, 5.0)}, {lag(1.0, 4.0), lag(2.0, 8.0, 3)}}, 120, 7200, {true, false});
    const ReduceResult result = reduce(model, ofOrder(Choice::byNumber, 4));
    EXPECT_EQ(result.rampStates, 1);
    EXPECT_EQ(result.orderAsked, 4);
    EXPECT_EQ(result.orderReached, 4 + result.gainStates);
}

TEST(ReduceOrder, BelowTheRampsKeepsThem) {
    const LTIFIRModel model =
        plantOf({{ramp(0.02, 3.0), ramp(-0.05, 5.0)}, {lag(1.0, 4.0), lag(2.0, 8.0, 3)}}, 120, 7200, {true, false});
    const ReduceResult result = reduce(model, ofOrder(Choice::byNumber, 0));
    EXPECT_EQ(result.orderReached, 1);
    EXPECT_LE(largestRateError(result, model), rateError);
    EXPECT_LE(largestGainErrorOfPeak(result, model), gainErrorOfPeak);
}

TEST(ReduceOrder, AboveTheModelsIsRefused) {
    const LTIFIRModel model = column();
    const int available = reduce(model, ofOrder(Choice::byNumber, 1)).stableStates;
    EXPECT_EQ(reduce(model, ofOrder(Choice::byNumber, available)).refusal, "");
    const ReduceResult result = reduce(model, ofOrder(Choice::byNumber, available + 1));
    EXPECT_EQ(result.refusal, "order " + std::to_string(available + 1) + " is above that of the model, which has " +
                                  std::to_string(available) + " states");
    EXPECT_EQ(result.model.A.rows(), 0);
}

TEST(ReduceOrder, ByNameTakesTheSuggestions) {
    const LTIFIRModel model = column();
    const ReduceResult coarse = reduce(model, ofOrder(Choice::coarse));
    const ReduceResult middle = reduce(model, ofOrder(Choice::middle));
    const ReduceResult fine = reduce(model, ofOrder(Choice::fine));
    EXPECT_LT(coarse.coarseOrder, coarse.fineOrder);
    EXPECT_EQ(coarse.orderAsked, coarse.coarseOrder);
    EXPECT_EQ(middle.orderAsked, (coarse.coarseOrder + coarse.fineOrder + 1) / 2);
    EXPECT_EQ(fine.orderAsked, coarse.fineOrder);
    for (const ReduceResult& result : {coarse, middle, fine}) {
        EXPECT_LE(largestGainErrorOfPeak(result, model), gainErrorOfPeak);
    }
}

// ---------------------------------------------------------------- refusals, progress, report

TEST(ReduceRefusals, NameWhatIsWrongWithTheModel) {
    const LTIFIRModel good = column();
    const auto refusalOf = [&](const std::function<void(LTIFIRModel&)>& damage) {
        LTIFIRModel model(good);
        damage(model);
        const ReduceResult result = reduce(model, {});
        EXPECT_EQ(result.model.A.rows(), 0);
        return result.refusal;
    };
    const double nan = std::numeric_limits<double>::quiet_NaN();
    EXPECT_EQ(reduce(LTIFIRModel(), {}).refusal, "the model has no inputs or no outputs");
    EXPECT_EQ(refusalOf([](LTIFIRModel& m) { m.horizonSeconds = 0; }), "its horizon is 0 s");
    EXPECT_EQ(refusalOf([](LTIFIRModel& m) { m.coefficientCount = 9; }),
              "its curves have 9 coefficients, and at least 10 are needed");
    EXPECT_EQ(refusalOf([](LTIFIRModel& m) { m.coefficientCount = 60; }),
              "the curve of output Y1 to input U1 has 120 coefficients, not 60");
    EXPECT_EQ(refusalOf([](LTIFIRModel& m) { m.coefficientCount = std::numeric_limits<int>::max(); }),
              "the curve of output Y1 to input U1 has 120 coefficients, not 2147483647");
    EXPECT_EQ(refusalOf([&](LTIFIRModel& m) { m.coefficients(1, 0)[7] = nan; }),
              "the curve of output Y1 to input U2 has a value that is not a finite number");
    EXPECT_EQ(refusalOf([](LTIFIRModel& m) { m.rampFlags = QorMathLA::Vector<bool>(1); }),
              "the model has another number of names or ramp flags than of inputs and outputs");
    EXPECT_EQ(reduce(plantOf({{nullptr, nullptr}}, 60, 60), {}).refusal, "none of its outputs has a curve");
}

TEST(ReduceRefusals, NameWhatIsWrongWithTheOptions) {
    const LTIFIRModel model = column();
    const double nan = std::numeric_limits<double>::quiet_NaN();
    for (const double limit : {-0.1, 1.1, nan}) {
        ReduceOptions options;
        options.dampingLimit = limit;
        EXPECT_EQ(reduce(model, options).refusal, "the damping limit is not between 0 and 1");
    }
    for (const double tolerance : {0.0, -1.0, nan, std::numeric_limits<double>::infinity()}) {
        EXPECT_EQ(reduce(model, ofTolerance(tolerance)).refusal, "the curve tolerance is not a number above 0");
    }
    ReduceOptions options;
    options.gainTolerance = nan;
    EXPECT_EQ(reduce(model, options).refusal, "the gain tolerance is not a finite number");
    EXPECT_EQ(reduce(model, ofOrder(Choice::byNumber, -1)).refusal, "the order is negative");
}

TEST(ReduceProgress, TellsItsStagesAndLetsTheCallerStop) {
    const LTIFIRModel model = column();
    std::vector<std::string> stages;
    ReduceOptions options;
    options.progress = [&](const char* stage, int done, int total) {
        EXPECT_LE(0, done);
        EXPECT_LE(done, total);
        if (stages.empty() || stages.back() != stage) {
            stages.push_back(stage);
        }
    };
    reduce(model, options);
    EXPECT_EQ(stages.front(), "realising");
    EXPECT_EQ(stages.back(), "trying orders");

    struct Stopped {};
    options.progress = [](const char*, int, int) { throw Stopped(); };
    EXPECT_THROW(reduce(model, options), Stopped);
}

TEST(ReduceReport, AddsUp) {
    const LTIFIRModel model =
        plantOf({{ramp(0.02, 3.0), ramp(-0.05, 5.0)}, {lag(1.0, 4.0), lag(2.0, 8.0, 3)}}, 120, 7200, {true, false});
    const ReduceResult result = reduce(model, {});
    EXPECT_EQ(result.statesRealised, result.rampStates + result.stableStates + result.statesRemoved);
    EXPECT_LE(result.coarseOrder, result.fineOrder);
    EXPECT_LE(result.fineOrder, result.rampStates + result.stableStates);
    EXPECT_EQ(result.orderReached, result.orderAsked + result.gainStates);
    EXPECT_EQ(result.model.sysType, discreteSystem);
    EXPECT_EQ(result.curves.outputNames[1], "Y2");
}

TEST(Reduce, LeavesTheModelAloneAndIsTheSameOnEveryRun) {
    const LTIFIRModel model = column();
    const ReduceResult one = reduce(model, {});
    const ReduceResult two = reduce(model, {});
    EXPECT_TRUE(test::identical(one.model.A, two.model.A));
    EXPECT_TRUE(test::identical(one.model.B, two.model.B));
    EXPECT_TRUE(test::identical(one.model.C, two.model.C));
    EXPECT_EQ(test::curveError(model, column()), 0.0);
}

TEST(Reduce, ManagesPlantsAtTheEdge) {
    const auto jump = [](int) { return 2.0; };
    const auto alternating = [](int k) { return k == 0 ? 0.0 : 1.0 + 0.5 * std::pow(-0.5, k); };
    const auto delayed = [](int k) { return k > 15 ? 1.0 : 0.0; };
    for (const test::CurveFunction& curve : std::vector<test::CurveFunction>{jump, alternating, delayed}) {
        const LTIFIRModel model = plantOf({{curve}}, 60, 60);
        expectKept(reduce(model, {}), model);
    }
    const LTIFIRModel wide = plantOf({{lag(1, 2), lag(2, 3), lag(3, 4), lag(4, 5), lag(5, 6)}}, 60, 60);
    expectKept(reduce(wide, {}), wide);
    const LTIFIRModel tall = plantOf({{lag(1, 2)}, {lag(2, 3)}, {lag(3, 4)}, {lag(4, 5)}, {lag(5, 6)}}, 60, 60);
    expectKept(reduce(tall, {}), tall);
}

TEST(Reduce, KeepsTheGainsOfCurvesThatAreTooShortForTheirDynamics) {
    const LTIFIRModel model = plantOf({{lag(1.0, 1.2), lag(-2.0, 1.5)}}, 10, 10);
    const ReduceResult result = reduce(model, {});
    ASSERT_EQ(result.refusal, "");
    EXPECT_FALSE(result.isWithinTolerance);
    EXPECT_LE(largestGainErrorOfPeak(result, model), gainErrorOfPeak);
}

TEST(ReduceRingers, LeaveTheDelaysOfTheOthers) {
    const LTIFIRModel model = plantOf({{sum(lag(1.0, 6.0, 6), oscillation(0.002, 0.04, 0.7))}}, 150, 9000);
    ReduceOptions options;
    options.dampingLimit = 0.1;
    const ReduceResult result = reduce(model, options);
    expectKept(result, model);
    EXPECT_GT(test::leastDampingRatio(result), 0.1);
}

}  // namespace qormath
