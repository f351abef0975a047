#pragma once

// The models of examples/models.

#include <filesystem>
#include <gtest/gtest.h>
#include <string>

#include <qormath/models/lti_fir_model.hpp>

namespace qormath::test {

inline const std::string exampleNames[] = {"heavy_oil_fractionator", "null_pairs", "ogunnaike_ray", "old_version",
                                           "single_lag_30",          "surge_drum", "wood_berry"};

inline LTIFIRModel readModel(const std::filesystem::path& path) {
    LTIFIRModel model;
    std::string name = path.string();
    EXPECT_TRUE(model.ReadModel(name.data())) << name;
    return model;
}

inline LTIFIRModel exampleModel(const std::string& plant) {
    return readModel(std::filesystem::path(QORMATH_EXAMPLE_MODELS) / (plant + ".fir"));
}

}  // namespace qormath::test
