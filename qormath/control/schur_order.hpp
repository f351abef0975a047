#pragma once

/// @file
/// The orders of the eigenvalues of a Schur form.

#include <cstdint>

/// The order of the eigenvalues along the diagonal of a Schur form. In the UL orders the stable eigenvalues stand at
/// the upper left, in the LR orders at the lower right; Discrete judges by the modulus against 1, Continuous by the
/// real part against 0.
enum schurOrder : std::int32_t {
    schurUnordered = 0,          ///< as the iteration leaves them
    schurULDiscrete = 1,         ///< modulus below 1 at the upper left
    schurLRDiscrete = 2,         ///< modulus below 1 at the lower right
    schurULContinuous = 3,       ///< real part below 0 at the upper left
    schurLRContinuous = 4,       ///< real part below 0 at the lower right
    schurDescendingModulus = 5,  ///< largest modulus first
    schurAscendingModulus = 6,   ///< smallest modulus first
    schurDescendingReal = 7,     ///< largest real part first
    schurAscendingReal = 8,      ///< smallest real part first
};
