#pragma once

#include <cstdint>

/// The order of the eigenvalues along the diagonal of a Schur form. In the UL orders the stable eigenvalues stand at
/// the upper left, in the LR orders at the lower right; Discrete judges by the modulus against 1, Continuous by the
/// real part against 0.
enum schurOrder : std::int32_t {
    schurUnordered = 0,
    schurULDiscrete = 1,
    schurLRDiscrete = 2,
    schurULContinuous = 3,
    schurLRContinuous = 4,
    schurDescendingModulus = 5,
    schurAscendingModulus = 6,
    schurDescendingReal = 7,
    schurAscendingReal = 8,
};
