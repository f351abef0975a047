// The search for an order, on reductions whose errors are made up.

#include <gtest/gtest.h>
#include <limits>
#include <map>
#include <optional>
#include <support/plants.hpp>
#include <vector>

#include <qormath/core/arithmetic.hpp>
#include <qormath/core/xmsg.hpp>
#include <qormath/pipeline/detail/order_search.hpp>

namespace qormath::pipeline {
namespace {

using QorMathLA::zeroMatrix;

struct Way {
    double errorPercent;
    int states;
};

/// A model of so many states that stay at zero, and whose output is off by the error at every sample.
ReducedPlant offBy(const Way& way) {
    ReducedPlant plant;
    plant.model = LTIStateSpaceModel(zeroMatrix(way.states, way.states), zeroMatrix(way.states, 1),
                                     zeroMatrix(1, way.states), zeroMatrix(1, 1), discreteSystem, 1.0);
    plant.model.D(0, 0) = 1.0 + way.errorPercent / 100.0;
    return plant;
}

class OrderSearch : public testing::Test {
  protected:
    Candidate search(double tolerance, int highest) {
        return smallestWithin(
            tolerance,
            [this](int order) {
                tried_.push_back(order);
                if (ways_.count(order) == 0) {
                    throw -1;
                }
                std::vector<ReducedPlant> plants;
                for (const Way& way : ways_.at(order)) {
                    plants.push_back(offBy(way));
                }
                return plants;
            },
            [this](int order) {
                const auto found = forecasts_.find(order);
                return found == forecasts_.end() ? std::optional<double>() : found->second;
            },
            highest, {plant_, measure_}, [](int) {});
    }

    LTIFIRModel plant_ = test::plantOf({{[](int) { return 1.0; }}}, 30, 30);
    CurveMeasure measure_{plant_};
    std::map<int, std::vector<Way>> ways_;
    std::map<int, double> forecasts_;
    std::vector<int> tried_;
};

}  // namespace

TEST_F(OrderSearch, TakesTheFirstOrderWithinTheTolerance) {
    ways_ = {{0, {{50, 0}}}, {1, {{9, 1}}}, {2, {{2, 2}}}, {3, {{1, 3}}}};
    EXPECT_EQ(search(5.0, 3).stableOrder, 2);
    EXPECT_EQ(tried_, (std::vector<int>{0, 1, 2}));
}

TEST_F(OrderSearch, FindsAnOrderBeforeTheErrorRisesAgain) {
    ways_ = {{0, {{50, 0}}}, {1, {{1, 1}}}, {2, {{8, 2}}}, {3, {{0.5, 3}}}};
    EXPECT_EQ(search(5.0, 3).stableOrder, 1);
}

TEST_F(OrderSearch, CountsTheStatesOfTheGain) {
    // With two lags order 1 is within the tolerance, but order 2 has fewer states without any.
    ways_ = {{0, {{50, 0}}}, {1, {{9, 1}, {4, 3}}}, {2, {{3, 2}, {2, 4}}}, {3, {{1, 3}}}};
    const Candidate found = search(5.0, 3);
    EXPECT_EQ(found.stableOrder, 2);
    EXPECT_EQ(found.plant.model.A.rows(), 2);
    EXPECT_EQ(tried_, (std::vector<int>{0, 1, 2}));
}

TEST_F(OrderSearch, TakesTheLowerOrderOfEqualStates) {
    ways_ = {{0, {{50, 0}}}, {1, {{9, 1}, {4, 2}}}, {2, {{3, 2}}}};
    EXPECT_EQ(search(5.0, 2).stableOrder, 1);
}

TEST_F(OrderSearch, ReturnsTheClosestIfNoneIsWithin) {
    ways_ = {{0, {{50, 0}}}, {1, {{7, 1}}}, {2, {{8, 2}}}, {3, {{7, 3}}}};
    const Candidate found = search(5.0, 3);
    EXPECT_EQ(found.stableOrder, 1);
    EXPECT_NEAR(found.errorPercent, 7.0, 1e-12);
    EXPECT_EQ(tried_, (std::vector<int>{0, 1, 2, 3}));
}

TEST_F(OrderSearch, PassesOverOrdersThatFail) {
    ways_ = {{0, {{50, 0}}}, {2, {{2, 2}}}};
    EXPECT_EQ(search(5.0, 2).stableOrder, 2);
}

TEST_F(OrderSearch, PassesTheFailureOnIfAllFail) {
    EXPECT_THROW(search(5.0, 2), int);
}

TEST_F(OrderSearch, PassesOverFailuresOfTheCoreAndPassesTheLastOn) {
    const QorMathLA::xmsg failure(QorMathLA::NumericFailure, "failed");
    const auto search = [&](int fewest) {
        return smallestWithin(
            5.0,
            [&](int order) -> std::vector<ReducedPlant> {
                if (order < fewest) {
                    throw failure;
                }
                return {offBy({2, order})};
            },
            [](int) { return std::optional<double>(); }, 2, {plant_, measure_}, [](int) {});
    };
    EXPECT_EQ(search(2).stableOrder, 2);
    EXPECT_THROW(search(3), QorMathLA::xmsg);
}

TEST_F(OrderSearch, NeverPrefersAnErrorThatIsNoNumber) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    ways_ = {{0, {{nan, 0}}}, {1, {{7, 1}}}, {2, {{nan, 2}}}};
    EXPECT_EQ(search(5.0, 2).stableOrder, 1);
}

TEST_F(OrderSearch, WorksOutOnlyWhatTheForecastLeaves) {
    ways_ = {{0, {{50, 0}}}, {1, {{9, 1}}}, {2, {{7, 2}}}, {3, {{4.9, 3}}}, {4, {{1, 4}}}};
    forecasts_ = {{1, 9.0}, {2, 7.0}, {3, 5.01}, {4, 1.0}};
    EXPECT_EQ(search(5.0, 4).stableOrder, 3) << "a forecast just above the tolerance is not believed";
    EXPECT_EQ(tried_, (std::vector<int>{0, 3}));
}

TEST_F(OrderSearch, WorksOutTheClosestOfTheForecastsIfNoneIsWithin) {
    ways_ = {{0, {{50, 0}}}, {1, {{7, 1}}}, {2, {{8, 2}}}, {3, {{7.05, 3}}}};
    forecasts_ = {{1, 7.02}, {2, 8.0}, {3, 7.01}};
    EXPECT_EQ(search(5.0, 3).stableOrder, 1);
    EXPECT_EQ(tried_, (std::vector<int>{0, 3, 1}));
}

TEST_F(OrderSearch, GoesOnToTheNextForecastWhereTheClosestFails) {
    ways_ = {{2, {{8, 2}}}};
    forecasts_ = {{1, 7.0}, {2, 8.0}};
    EXPECT_EQ(search(5.0, 2).stableOrder, 2);
}

TEST(ClosestOf, IsTheFirstOfEquals) {
    std::vector<Candidate> candidates(3);
    candidates[0].errorPercent = 2.0;
    candidates[1].errorPercent = 1.0;
    candidates[1].stableOrder = 4;
    candidates[2].errorPercent = 1.0;
    EXPECT_EQ(closestOf(candidates).stableOrder, 4);
    candidates[0].errorPercent = std::numeric_limits<double>::quiet_NaN();
    EXPECT_EQ(closestOf(candidates).stableOrder, 4);
}

}  // namespace qormath::pipeline
