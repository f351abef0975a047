#pragma once

/// @file
/// The ways of a model between continuous and discrete time.

#include <cstdint>

/// How a model is carried between continuous and discrete time. Every value other than 0 acts as bilinearTransform.
enum conversionType : std::int32_t {
    zeroOrderHold = 0,      ///< inputs that stay between the samples: exact there
    bilinearTransform = 1,  ///< Tustin's rule, s = 2 / T (z - 1) / (z + 1)
};
