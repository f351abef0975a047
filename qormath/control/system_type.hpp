#pragma once

/// @file
/// The time base of a model.

#include <cstdint>

/// The time base of a model.
enum systemType : std::int32_t {
    discreteSystem = 0,    ///< x(k+1) = A x(k) + B u(k)
    continuousSystem = 1,  ///< x' = A x + B u
};
