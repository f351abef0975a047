#pragma once

#include <cstdint>

/// The time base of a model.
enum systemType : std::int32_t {
    discreteSystem = 0,
    continuousSystem = 1,
};
