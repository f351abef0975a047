#include <gtest/gtest.h>
#include <limits>
#include <string>
#include <support/random_plants.hpp>

#include <qormath/pipeline/detail/order_search.hpp>
#include <qormath/pipeline/detail/plant_scaling.hpp>
#include <qormath/pipeline/detail/truncation_forecast.hpp>

namespace qormath::pipeline {
namespace {

/// A random plant in the units of the work, realised.
struct Prepared {
    explicit Prepared(unsigned seed, int size)
        : model(test::randomPlant(seed, size).model),
          scaling(model),
          scaled(scaling.scaled(model)),
          measure(CurveMeasure(model).scaled(scaling)),
          realised(realise(scaled, 0)),
          ramps(rampModel(realised.rates, realised.stable.sampleTime)) {}

    double workedOut(int order, double gainTolerance) const {
        const auto ways = [&](int k) { return reducedPlants(realised, ramps, k, 0.0, gainTolerance); };
        return closestOf(candidatesOf(ways, order, {scaled, measure})).errorPercent;
    }

    LTIFIRModel model;
    PlantScaling scaling;
    LTIFIRModel scaled;
    CurveMeasure measure;
    RealisedPlant realised;
    LTIStateSpaceModel ramps;
};

// Elements below 1e-9 that are cleared on the way, and rounding, beside errors from 1e-3 % on: what the search leaves
// as a margin is 1 %.
constexpr double agreement = 1e-3;

}  // namespace

TEST(TruncationForecast, IsTheErrorOfTheReducedPlant) {
    int compared = 0;
    for (unsigned seed = 0; seed < 12; ++seed) {
        const Prepared plant(seed, 5);
        for (const double gainTolerance : {0.0, 1.0, -1.0}) {
            const TruncationForecast forecast(plant.realised, plant.scaled, plant.measure, gainTolerance);
            for (int order = 1; order <= plant.realised.stable.A.rows(); order += 3) {
                SCOPED_TRACE("seed " + std::to_string(seed) + ", order " + std::to_string(order));
                const std::optional<double> error = forecast.errorPercent(order);
                ASSERT_TRUE(error);
                const double expected = plant.workedOut(order, gainTolerance);
                EXPECT_NEAR(*error, expected, agreement * (expected + 1e-3));
                ++compared;
            }
        }
    }
    EXPECT_GT(compared, 100);
}

TEST(TruncationForecast, IsNotMadeWithoutStatesOrBeyondThem) {
    const Prepared plant(3, 3);
    const TruncationForecast forecast(plant.realised, plant.scaled, plant.measure, 0.0);
    EXPECT_FALSE(forecast.errorPercent(0));
    EXPECT_FALSE(forecast.errorPercent(plant.realised.stable.A.rows() + 1));
}

TEST(TruncationForecast, IsNotMadeOfAModelThatIsNotStable) {
    Prepared plant(3, 3);
    plant.realised.stable.A(0, 0) = 20.0;
    const TruncationForecast forecast(plant.realised, plant.scaled, plant.measure, 0.0);
    EXPECT_FALSE(forecast.errorPercent(1));
}

TEST(TruncationForecast, IsNotMadeWhereNoInputReachesAStateOrANumberIsNotFinite) {
    Prepared idle(3, 3);
    idle.realised.stable.B.fill(0.0);
    EXPECT_FALSE(TruncationForecast(idle.realised, idle.scaled, idle.measure, 0.0).errorPercent(1));
    Prepared damaged(3, 3);
    damaged.realised.stable.A(0, 0) = std::numeric_limits<double>::quiet_NaN();
    EXPECT_FALSE(TruncationForecast(damaged.realised, damaged.scaled, damaged.measure, 0.0).errorPercent(1));
}

}  // namespace qormath::pipeline
