// Every example model reduced from curves to curves, by a tolerance and to the suggested orders.

#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <ostream>
#include <string>
#include <support/curve_errors.hpp>
#include <support/reduced_models.hpp>
#include <tuple>

#include <qormath/models/lti_fir_model.hpp>
#include <qormath/pipeline/reduce.hpp>

#include "example_models.hpp"

using qormath::ReduceOptions;
using qormath::ReduceResult;
using qormath::test::curveError;
using qormath::test::elementOf;
using qormath::test::largestGainErrorOfPeak;
using qormath::test::largestRateError;
using qormath::test::peakOfOutput;
using Choice = ReduceOptions::OrderChoice;

namespace {

constexpr double percent = 100.0;
constexpr double gainErrorOfPeak = 1e-9;
constexpr double rateError = 1e-7;

struct Order {
    Choice choice;
    const char* name;

    friend std::ostream& operator<<(std::ostream& out, const Order& order) { return out << order.name; }
};

constexpr Order orders[] = {{Choice::byCurveTolerance, "tolerance"},
                            {Choice::coarse, "coarse"},
                            {Choice::middle, "middle"},
                            {Choice::fine, "fine"}};

/// The result of a plant that is not refused.
ReduceResult reduced(const LTIFIRModel& model, const ReduceOptions& options) {
    ReduceResult result = qormath::reduce(model, options);
    EXPECT_EQ(result.refusal, "");
    EXPECT_TRUE(result.warnings.empty());
    return result;
}

/// The largest part of an output's peak that an input's curves have.
double effectOf(const LTIFIRModel& model, int input) {
    double effect = 0.0;
    for (int j = 0; j < model.coefficients.cols(); ++j) {
        const QorMathLA::Vector<double>& curve = model.coefficients(input, j);
        for (const double value : curve) {
            effect = std::max(effect, std::fabs(value) / peakOfOutput(model, j));
        }
    }
    return effect;
}

/// The largest distance of two curves in percent of the output's peak, or, of an input whose effect is below a tenth
/// of every peak, in percent of that effect.
double curveErrorAsTold(const LTIFIRModel& curves, const LTIFIRModel& model) {
    double largest = 0.0;
    for (int i = 0; i < model.coefficients.rows(); ++i) {
        const double effect = effectOf(model, i);
        const double weight = effect < 0.1 ? 1.0 / effect : 1.0;
        for (int j = 0; j < model.coefficients.cols(); ++j) {
            for (int k = 0; k <= model.coefficientCount; ++k) {
                const double distance =
                    elementOf(curves.coefficients(i, j), k) - elementOf(model.coefficients(i, j), k);
                largest = std::max(largest, percent * weight * std::fabs(distance) / peakOfOutput(model, j));
            }
        }
    }
    return largest;
}

class ReducedPlant : public testing::TestWithParam<std::tuple<std::string, Order>> {
  protected:
    ReducedPlant() { options_.orderChoice = std::get<1>(GetParam()).choice; }

    const LTIFIRModel model_ = qormath::test::exampleModel(std::get<0>(GetParam()));
    ReduceOptions options_;
};

}  // namespace

TEST_P(ReducedPlant, KeepsItsGainsAndRampRates) {
    const ReduceResult result = reduced(model_, options_);
    EXPECT_LE(largestGainErrorOfPeak(result, model_), gainErrorOfPeak);
    EXPECT_LE(largestRateError(result, model_), rateError);
    // An order by number puts accuracy behind size; what the suggestions give is near the tolerance all the same.
    EXPECT_LE(percent * curveError(result.curves, model_), 2.0);
}

TEST_P(ReducedPlant, HasTheCurvesOfItsModel) {
    options_.clearNullPairs = false;
    const ReduceResult result = reduced(model_, options_);
    EXPECT_EQ(curveError(LTIFIRModel(result.model, model_), result.curves), 0.0);
}

TEST_P(ReducedPlant, HasNoCurveWhereThePlantHasNone) {
    const ReduceResult result = reduced(model_, options_);
    for (int i = 0; i < model_.coefficients.rows(); ++i) {
        for (int j = 0; j < model_.coefficients.cols(); ++j) {
            EXPECT_EQ(result.curves.coefficients(i, j).size(), model_.coefficients(i, j).size());
        }
    }
}

TEST_P(ReducedPlant, TellsItsErrorsAsTheyAre) {
    const ReduceResult result = reduced(model_, options_);
    ASSERT_TRUE(result.gainError && result.curveErrorPercent);
    const double curves = curveErrorAsTold(result.curves, model_);
    EXPECT_NEAR(result.curveErrorPercent->value, curves, 1e-12 * curves);
    // Both solve for a gain of the size of the peak.
    EXPECT_NEAR(result.gainError->value, largestGainErrorOfPeak(result, model_), 1e-11);
    EXPECT_EQ(result.rampRateError.has_value(), result.rampStates > 0);
    EXPECT_NEAR(result.rampRateError ? result.rampRateError->value : 0.0, largestRateError(result, model_), 1e-14);
}

TEST_P(ReducedPlant, HasTheOrderThatIsTold) {
    const ReduceResult result = reduced(model_, options_);
    EXPECT_EQ(result.model.A.rows(), result.orderReached);
    EXPECT_EQ(result.orderReached, result.orderAsked + result.gainStates);
    EXPECT_LE(result.orderAsked, result.statesRealised);
}

INSTANTIATE_TEST_SUITE_P(Examples, ReducedPlant,
                         testing::Combine(testing::ValuesIn(qormath::test::exampleNames), testing::ValuesIn(orders)),
                         [](const auto& plant) {
                             return std::get<0>(plant.param) + "_" + std::get<1>(plant.param).name;
                         });

namespace {

class PlantWithinATolerance : public testing::TestWithParam<std::string> {};

}  // namespace

TEST_P(PlantWithinATolerance, StaysWithinIt) {
    const LTIFIRModel model = qormath::test::exampleModel(GetParam());
    int previous = 0;
    for (const double tolerance : {10.0, 3.0, 1.0}) {
        SCOPED_TRACE(tolerance);
        ReduceOptions options;
        options.curveTolerance = tolerance;
        const ReduceResult result = reduced(model, options);
        EXPECT_TRUE(result.isWithinTolerance);
        EXPECT_LE(percent * curveError(result.curves, model), tolerance);
        EXPECT_LE(largestGainErrorOfPeak(result, model), gainErrorOfPeak);
        EXPECT_LE(largestRateError(result, model), rateError);
        EXPECT_GE(result.orderReached, previous);
        previous = result.orderReached;
    }
}

INSTANTIATE_TEST_SUITE_P(Examples, PlantWithinATolerance, testing::ValuesIn(qormath::test::exampleNames),
                         [](const auto& plant) { return plant.param; });
