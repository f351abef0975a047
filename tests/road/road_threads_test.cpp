#include <gtest/gtest.h>
#include <string>
#include <thread>
#include <vector>

#include <qormath/models/lti_fir_model.hpp>

#include "support/curve_errors.hpp"

namespace {

LTIFIRModel roundTrip(const std::string& plant) {
    LTIFIRModel model;
    std::string path = std::string(QORMATH_EXAMPLE_MODELS) + "/" + plant + ".fir";
    EXPECT_TRUE(model.ReadModel(path.data()));
    return LTIFIRModel(model.CreateStateSpaceModel(true, 0, nullptr), model);
}

}  // namespace

TEST(RoadThreads, TwoModelsGoTheirRoadsSideBySide) {
    const std::vector<std::string> plants = {"wood_berry", "surge_drum"};
    std::vector<LTIFIRModel> alone;
    for (const std::string& plant : plants) {
        alone.push_back(roundTrip(plant));
    }
    std::vector<LTIFIRModel> together(plants.size());
    std::vector<std::thread> threads;
    for (std::size_t k = 0; k < plants.size(); ++k) {
        threads.emplace_back([&, k] { together[k] = roundTrip(plants[k]); });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    for (std::size_t k = 0; k < plants.size(); ++k) {
        // The same up to the rounding that another split of the products among BLAS threads may bring.
        EXPECT_LE(qormath::test::curveError(together[k], alone[k]), 1e-9);
    }
}

TEST(RoadThreads, OneModelIsReadFromTwoThreads) {
    LTIFIRModel model = roundTrip("wood_berry");
    std::vector<double> sums(2);
    std::vector<std::thread> threads;
    for (double& sum : sums) {
        threads.emplace_back([&model, &sum] {
            for (int round = 0; round < 200; ++round) {
                LTIFIRModel copy = model;
                sum += copy.GetGain().sumSquares();
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(sums[0], sums[1]);
}
