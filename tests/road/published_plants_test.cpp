// The whole journey of every example model: file, realisation, simulation, file.

#include <cmath>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include <qormath/core/arithmetic.hpp>
#include <qormath/models/lti_fir_model.hpp>

#include "example_models.hpp"
#include "support/curve_errors.hpp"
#include "support/temporary_file.hpp"

using qormath::test::curveError;
using qormath::test::exampleModel;
using qormath::test::gainError;
using qormath::test::readModel;
using qormath::test::TemporaryFile;
using QorMathLA::Matrix;
using QorMathLA::Vector;

namespace {

namespace fs = std::filesystem;

// What a realisation at the default order promises on plants of this kind.
constexpr double retainedGainError = 1e-9;
constexpr double rampRateError = 1e-7;
constexpr double retainedCurveError = 1e-2;

nlohmann::json description(const std::string& plant) {
    std::ifstream file(fs::path(QORMATH_EXAMPLE_MODELS) / (plant + ".json"));
    return nlohmann::json::parse(file);
}

class PublishedPlant : public testing::TestWithParam<std::string> {
  protected:
    LTIFIRModel model_ = exampleModel(GetParam());

    LTIFIRModel realisedCurves(bool retainGain) {
        return LTIFIRModel(model_.CreateStateSpaceModel(retainGain, 0, nullptr), model_);
    }
};

}  // namespace

TEST_P(PublishedPlant, CarriesTheDescribedSizesNamesRampsAndGains) {
    const nlohmann::json plant = description(GetParam());
    const int inputs = static_cast<int>(plant["inputs"].size());
    const int outputs = static_cast<int>(plant["outputs"].size());
    ASSERT_EQ(model_.coefficients.rows(), inputs);
    ASSERT_EQ(model_.coefficients.cols(), outputs);
    EXPECT_EQ(model_.coefficientCount, plant["coefficient_count"].get<int>());
    EXPECT_EQ(model_.horizonSeconds, plant["horizon_seconds"].get<int>());
    const auto upper = [](std::string text) {
        for (char& c : text) {
            c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
        }
        return text;
    };
    for (int i = 0; i < inputs; ++i) {
        EXPECT_EQ(model_.inputNames[i], upper(plant["inputs"][static_cast<std::size_t>(i)][0]));
        EXPECT_EQ(model_.inputDescriptors[i], upper(plant["inputs"][static_cast<std::size_t>(i)][1]));
    }
    const Matrix<double> gain = model_.GetGain();
    // A file of another version has no exact gain field: its gains come from seven digits of the curves.
    const double digits = plant.contains("file_version") ? 1e-6 : 1e-15;
    for (int j = 0; j < outputs; ++j) {
        const auto row = static_cast<std::size_t>(j);
        EXPECT_EQ(model_.outputNames[j], upper(plant["outputs"][row][0]));
        EXPECT_EQ(model_.rampFlags[j], plant["ramp_flags"][row].get<bool>());
        for (int i = 0; i < inputs; ++i) {
            const double expected = plant["file_gain"][row][static_cast<std::size_t>(i)];
            // On a ramp the gain is a difference of elements as large as the whole rise.
            const double rise = model_.rampFlags[j] ? model_.coefficientCount : 1.0;
            EXPECT_NEAR(gain(j, i), expected, digits * rise * std::max(1.0, std::fabs(expected)));
            const double exact = plant["exact_gain"][row][static_cast<std::size_t>(i)];
            const double distance = plant["largest_relative_distance_of_last_coefficient_from_exact_gain"];
            EXPECT_NEAR(gain(j, i), exact, (distance + 1e-6) * std::max(1.0, std::fabs(exact)));
        }
    }
}

TEST_P(PublishedPlant, KeepsItsCurvesThroughRealisationAndSimulation) {
    EXPECT_LE(curveError(realisedCurves(true), model_), retainedCurveError);
}

// The gains are those of the separated parts: the last step of a simulated ramp still carries what is left of the
// transient at the end of the horizon.
TEST_P(PublishedPlant, HasItsExactGainsAndRampRatesAfterRealisation) {
    LTIStateSpaceModel system = model_.CreateStateSpaceModel(true, 0, nullptr);
    LTIStateSpaceModel stable;
    LTIStateSpaceModel integrating;
    LTIStateSpaceModel unstable;
    const Vector<Matrix<double>> gains = system.gain(stable, integrating, unstable);
    const Matrix<double> expected = model_.GetGain();
    for (int j = 0; j < expected.rows(); ++j) {
        if (model_.rampFlags[j]) {
            ASSERT_GE(gains.size(), 2);
            EXPECT_LE(gainError(gains[1], expected, j), rampRateError) << model_.outputNames[j];
        } else {
            EXPECT_LE(gainError(gains[0], expected, j), retainedGainError) << model_.outputNames[j];
        }
    }
}

TEST_P(PublishedPlant, ComesBackFromAFileAsItWasWritten) {
    LTIFIRModel curves = realisedCurves(true);
    TemporaryFile file;
    ASSERT_TRUE(curves.WriteModel(file.writableName()));
    LTIFIRModel read = readModel(file.name());
    // The file holds seven digits and no element 0, which reads back as 0.
    for (int i = 0; i < curves.coefficients.rows(); ++i) {
        for (int j = 0; j < curves.coefficients.cols(); ++j) {
            const double last = curves.coefficients(i, j)[curves.coefficientCount];
            EXPECT_NEAR(read.coefficients(i, j)[curves.coefficientCount], last, 1e-6 * std::max(1.0, std::fabs(last)));
            for (int k = 1; k < curves.coefficientCount; ++k) {
                const double expected = curves.coefficients(i, j)[k];
                // Seven digits at writing, single precision and seven digits at reading.
                ASSERT_NEAR(read.coefficients(i, j)[k], expected, 1.2e-6 * std::fabs(expected));
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Examples, PublishedPlant, testing::ValuesIn(qormath::test::exampleNames),
                         [](const testing::TestParamInfo<std::string>& plant) { return plant.param; });

TEST(PublishedPlants, OfHeavyOilStayWithinPointSixPercentWithoutRetainedGain) {
    LTIFIRModel model = exampleModel("heavy_oil_fractionator");
    const LTIFIRModel back(model.CreateStateSpaceModel(false, 0, nullptr), model);
    EXPECT_LE(curveError(back, model), 6e-3);
}

TEST(PublishedPlants, OfWoodAndBerryStayWithinAHundredthOfAPercentWithoutRetainedGain) {
    LTIFIRModel model = exampleModel("wood_berry");
    const LTIFIRModel back(model.CreateStateSpaceModel(false, 0, nullptr), model);
    EXPECT_LE(curveError(back, model), 1e-4);
}
