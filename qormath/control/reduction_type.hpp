#pragma once

/// @file
/// The kinds of model reduction.

#include <cstdint>

/// The kinds of model reduction. Only reductionBalanced and reductionBalancedShrink are accepted, and they behave
/// alike; the others are refused.
enum reductionType : std::int32_t {
    reductionReserved0 = 0,       ///< refused
    reductionReserved1 = 1,       ///< refused
    reductionBalanced = 2,        ///< truncation of a balanced realisation
    reductionBalancedShrink = 3,  ///< the same
    reductionHankelNorm = 4,      ///< refused
};
