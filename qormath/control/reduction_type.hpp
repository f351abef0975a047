#pragma once

#include <cstdint>

/// The kinds of model reduction. Only reductionBalanced and reductionBalancedShrink are accepted, and they behave
/// alike; the others are refused.
enum reductionType : std::int32_t {
    reductionReserved0 = 0,
    reductionReserved1 = 1,
    reductionBalanced = 2,
    reductionBalancedShrink = 3,
    reductionHankelNorm = 4,
};
