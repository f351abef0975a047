// The errors of other orders than the one that was chosen, and what is told of each pair.

#include <algorithm>
#include <cmath>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <optional>
#include <string>
#include <support/curve_errors.hpp>
#include <support/plants.hpp>
#include <support/random_plants.hpp>
#include <vector>

#include <qormath/control/qor_math_control.hpp>
#include <qormath/core/arithmetic.hpp>
#include <qormath/core/xmsg.hpp>
#include <qormath/pipeline/detail/order_study.hpp>
#include <qormath/pipeline/reduce.hpp>

namespace qormath {
namespace {

using test::lag;
using test::oscillation;
using test::plantOf;
using test::ramp;
using test::sum;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using Choice = ReduceOptions::OrderChoice;

LTIFIRModel columnWithRamp() {
    return plantOf({{ramp(0.02, 3.0), ramp(-0.05, 5.0)}, {lag(1.0, 4.0), lag(2.0, 8.0, 3)}}, 120, 7200, {true, false});
}

ReduceOptions studying(Choice choice, int order = 0) {
    ReduceOptions options;
    options.orderChoice = choice;
    options.order = order;
    options.studiesOrders = true;
    return options;
}

std::vector<int> ordersOf(const ReduceResult& result) {
    std::vector<int> orders;
    for (const ReduceResult::OrderError& error : result.orderErrors) {
        orders.push_back(error.order);
    }
    return orders;
}

TEST(OrdersToStudy, AreAllWhereThereAreFew) {
    EXPECT_THAT(pipeline::ordersToStudy(0, {}, true), ElementsAre(0));
    EXPECT_THAT(pipeline::ordersToStudy(3, {}, true), ElementsAre(0, 1, 2, 3));
    EXPECT_THAT(pipeline::ordersToStudy(3, {}, false), ElementsAre(0, 1, 2, 3));
}

TEST(OrdersToStudy, AreBoundedInNumberAndHoldWhatIsMarked) {
    for (const bool isForecast : {true, false}) {
        const std::vector<int> marked{-1, 0, 123, 321, 399, 401};
        const std::vector<int> orders = pipeline::ordersToStudy(400, marked, isForecast);
        EXPECT_LE(orders.size(), isForecast ? 100U : 30U);
        EXPECT_TRUE(std::is_sorted(orders.begin(), orders.end()));
        EXPECT_EQ(std::adjacent_find(orders.begin(), orders.end()), orders.end());
        EXPECT_EQ(orders.front(), 0);
        EXPECT_EQ(orders.back(), 400);
        for (const int order : {123, 321, 399}) {
            EXPECT_THAT(orders, Contains(order));
        }
    }
}

TEST(OrderStudy, LeavesOrdersOutAtWhichAStepFails) {
    const LTIFIRModel plant = plantOf({{[](int) { return 1.0; }}}, 30, 30);
    const pipeline::CurveMeasure measure(plant);
    const auto reduction = [](int order) -> std::vector<pipeline::ReducedPlant> {
        if (order == 1) {
            throw -1;
        }
        if (order == 2) {
            throw QorMathLA::xmsg(QorMathLA::NumericFailure, "failed");
        }
        pipeline::ReducedPlant reduced;
        const auto none = QorMathLA::zeroMatrix(0, 0);
        reduced.model = LTIStateSpaceModel(none, none, none, QorMathLA::zeroMatrix(1, 1), discreteSystem, 1.0);
        reduced.model.D(0, 0) = 1.02;
        return {reduced};
    };
    std::vector<int> told;
    const std::vector<ReduceResult::OrderError> errors = pipeline::studyOrders(
        {0, 1, 2, 3}, reduction, [](int) { return std::optional<double>(); }, {plant, measure},
        [&](int done) { told.push_back(done); });
    ASSERT_EQ(errors.size(), 2U);
    EXPECT_EQ(errors[0].order, 0);
    EXPECT_EQ(errors[1].order, 3);
    EXPECT_NEAR(errors[1].curveErrorPercent, 2.0, 1e-12);
    EXPECT_THAT(told, ElementsAre(0, 1, 2, 3));
}

TEST(OrderStudy, IsNotMadeUnlessAskedFor) {
    const ReduceResult result = reduce(columnWithRamp(), {});
    EXPECT_THAT(result.orderErrors, IsEmpty());
    EXPECT_THAT(result.hankelSingularValues, IsEmpty());
}

TEST(OrderStudy, ChangesNothingElse) {
    for (const Choice choice : {Choice::byCurveTolerance, Choice::middle}) {
        ReduceOptions options = studying(choice);
        const ReduceResult with = reduce(columnWithRamp(), options);
        options.studiesOrders = false;
        const ReduceResult without = reduce(columnWithRamp(), options);
        EXPECT_EQ(with.orderReached, without.orderReached);
        EXPECT_EQ(with.curveErrorPercent->value, without.curveErrorPercent->value);
    }
}

TEST(OrderStudy, HasTheErrorsOfTheReductionsToItsOrders) {
    for (unsigned seed = 0; seed < 20; ++seed) {
        const LTIFIRModel model = test::randomPlant(seed, 4).model;
        ReduceOptions options = studying(Choice::fine);
        options.clearNullPairs = false;
        const ReduceResult result = reduce(model, options);
        ASSERT_EQ(result.refusal, "");
        ASSERT_GT(result.orderErrors.size(), 3U);
        for (const ReduceResult::OrderError& error : result.orderErrors) {
            SCOPED_TRACE("seed " + std::to_string(seed) + ", order " + std::to_string(error.order) + " of " +
                         std::to_string(result.rampStates + result.stableStates));
            ReduceOptions byNumber = options;
            byNumber.orderChoice = Choice::byNumber;
            byNumber.order = error.order;
            byNumber.studiesOrders = false;
            const ReduceResult reduced = reduce(model, byNumber);
            // As close as forecasts are to what is worked out.
            const double expected = reduced.curveErrorPercent->value;
            EXPECT_NEAR(error.curveErrorPercent, expected, 1e-3 * (expected + 1e-3));
        }
    }
}

TEST(OrderStudy, HasTheErrorsWithoutRingersWhereTheyGo) {
    const LTIFIRModel model =
        plantOf({{sum(lag(1.0, 10.0), oscillation(0.1, 0.05, 0.6)), lag(0.5, 5.0, 2)}}, 120, 7200);
    ReduceOptions options = studying(Choice::byNumber, 6);
    options.dampingLimit = 0.3;
    const ReduceResult result = reduce(model, options);
    ASSERT_EQ(result.refusal, "");
    ASSERT_FALSE(result.orderErrors.empty());
    const auto chosen = std::find_if(result.orderErrors.begin(), result.orderErrors.end(),
                                     [](const ReduceResult::OrderError& error) { return error.order == 6; });
    ASSERT_NE(chosen, result.orderErrors.end());
    EXPECT_NEAR(chosen->curveErrorPercent, result.curveErrorPercent->value, 1e-9);
}

TEST(OrderStudy, HasTheOrdersThatAreSuggestedAndTheOneReached) {
    for (const ReduceOptions& options : {studying(Choice::byCurveTolerance), studying(Choice::byNumber, 7)}) {
        const ReduceResult result = reduce(columnWithRamp(), options);
        const std::vector<int> orders = ordersOf(result);
        for (const int order : {result.coarseOrder, result.middleOrder, result.fineOrder, result.orderAsked,
                                result.rampStates + result.stableStates}) {
            EXPECT_THAT(orders, Contains(order));
        }
        EXPECT_EQ(orders.front(), result.rampStates);
        EXPECT_TRUE(std::is_sorted(orders.begin(), orders.end()));
    }
}

TEST(OrderStudy, HasTheHankelSingularValuesByWhichOrdersAreSuggested) {
    const ReduceResult result = reduce(columnWithRamp(), studying(Choice::byCurveTolerance));
    const std::vector<double>& values = result.hankelSingularValues;
    ASSERT_EQ(values.size(), static_cast<std::size_t>(result.stableStates));
    EXPECT_TRUE(std::is_sorted(values.rbegin(), values.rend()));
    const auto countAbove = [&](double share) {
        return static_cast<int>(
            std::count_if(values.begin(), values.end(), [&](double value) { return value >= share * values.front(); }));
    };
    EXPECT_EQ(result.rampStates + countAbove(5e-3), result.coarseOrder);
    EXPECT_EQ(result.rampStates + countAbove(1e-5), result.fineOrder);
}

TEST(OrderStudy, OfAPlantWithoutStatesHasOneOrder) {
    const LTIFIRModel model = plantOf({{[](int k) { return 0.5 * (k + 1); }}}, 60, 3600, {true});
    const ReduceResult result = reduce(model, studying(Choice::byNumber, 0));
    ASSERT_EQ(result.refusal, "");
    EXPECT_GE(result.orderErrors.size(), 1U);
    EXPECT_EQ(result.orderErrors.front().order, result.rampStates);
}

TEST(PairReport, HasTheLargestErrorsAmongItsOwn) {
    for (unsigned seed = 0; seed < 8; ++seed) {
        const LTIFIRModel model = test::randomPlant(seed, 4).model;
        const ReduceResult result = reduce(model, studying(Choice::coarse));
        ASSERT_EQ(result.refusal, "");
        const int outputs = model.coefficients.cols();
        const int inputs = model.coefficients.rows();
        ASSERT_EQ(result.curveErrorsPercent.rows(), outputs);
        ASSERT_EQ(result.curveErrorsPercent.cols(), inputs);
        double curveError = 0.0;
        double gainError = 0.0;
        double rampRateError = 0.0;
        for (int j = 0; j < outputs; ++j) {
            for (int i = 0; i < inputs; ++i) {
                curveError = std::max(curveError, result.curveErrorsPercent(j, i));
                double& largest = model.rampFlags[j] ? rampRateError : gainError;
                largest = std::fmax(largest, result.gainErrors(j, i));
            }
        }
        EXPECT_EQ(curveError, result.curveErrorPercent->value);
        EXPECT_EQ(gainError, result.gainError ? result.gainError->value : 0.0);
        EXPECT_EQ(rampRateError, result.rampRateError ? result.rampRateError->value : 0.0);
    }
}

TEST(PairReport, HasTheGainsOfTheModelAndOnRampsTheRiseInASample) {
    const LTIFIRModel model = columnWithRamp();
    const ReduceResult result = reduce(model, {});
    EXPECT_EQ(result.gains(0, 0), LTIFIRModel(model).GetGain()(0, 0));
    EXPECT_EQ(result.gains(0, 1), LTIFIRModel(model).GetGain()(0, 1));
    EXPECT_NEAR(result.gains(1, 0), 1.0, 1e-9);
    EXPECT_NEAR(result.gains(1, 1), 2.0, 1e-5);
}

}  // namespace
}  // namespace qormath
