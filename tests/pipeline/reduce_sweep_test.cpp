// Three hundred random plants: nothing throws, and what reduce promises holds on each.

#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <support/curve_errors.hpp>
#include <support/random_plants.hpp>
#include <support/reduced_models.hpp>

#include <qormath/pipeline/reduce.hpp>

using qormath::ReduceOptions;
using qormath::ReduceResult;
using qormath::test::curveError;
using qormath::test::RandomPlant;
using qormath::test::randomPlant;

namespace {

constexpr int plantCount = 300;
constexpr int plantsOfATest = 25;
constexpr int largestSize = 12;

constexpr double gainErrorOfPeak = 1e-9;
constexpr double rateError = 1e-7;

void expectGains(const ReduceResult& result, const LTIFIRModel& model) {
    EXPECT_LE(qormath::test::largestGainErrorOfPeak(result, model), gainErrorOfPeak);
    EXPECT_LE(qormath::test::largestRateError(result, model), rateError);
}

void expectNullPairs(const ReduceResult& result, const LTIFIRModel& model) {
    for (int j = 0; j < model.coefficients.cols(); ++j) {
        for (int i = 0; i < model.coefficients.rows(); ++i) {
            EXPECT_EQ(result.curves.coefficients(i, j).size() == 0, model.coefficients(i, j).size() == 0);
        }
    }
}

class RandomPlants : public testing::TestWithParam<int> {};

}  // namespace

TEST_P(RandomPlants, KeepTheirCurvesGainsRampsAndNullPairs) {
    for (int k = 0; k < plantsOfATest; ++k) {
        const int seed = GetParam() * plantsOfATest + k;
        SCOPED_TRACE("seed " + std::to_string(seed));
        const RandomPlant plant = randomPlant(static_cast<unsigned>(seed), largestSize);
        const ReduceOptions options;
        const ReduceResult result = qormath::reduce(plant.model, options);
        ASSERT_EQ(result.refusal, "");
        EXPECT_TRUE(result.isWithinTolerance);
        EXPECT_LE(100.0 * curveError(result.curves, plant.model), options.curveTolerance);
        expectGains(result, plant.model);
        expectNullPairs(result, plant.model);
        EXPECT_EQ(result.orderReached, result.model.A.rows());
    }
}

TEST_P(RandomPlants, LoseTheirRingersAndKeepTheRest) {
    for (int k = 0; k < plantsOfATest; ++k) {
        const int seed = GetParam() * plantsOfATest + k;
        SCOPED_TRACE("seed " + std::to_string(seed));
        const RandomPlant plant = randomPlant(static_cast<unsigned>(seed), largestSize);
        if (!plant.hasRingers) {
            continue;
        }
        ReduceOptions options;
        options.dampingLimit = 0.1;
        const ReduceResult result = qormath::reduce(plant.model, options);
        ASSERT_EQ(result.refusal, "");
        EXPECT_FALSE(result.ringers.empty());
        EXPECT_GT(qormath::test::leastDampingRatio(result), options.dampingLimit);
        expectGains(result, plant.model);
        expectNullPairs(result, plant.model);
    }
}

INSTANTIATE_TEST_SUITE_P(Seeds, RandomPlants, testing::Range(0, plantCount / plantsOfATest));
