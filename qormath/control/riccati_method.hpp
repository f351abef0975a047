#pragma once

/// @file
/// The ways to solve a Riccati equation.

#include <cstdint>

/// How a Riccati equation is solved. Any value other than riccatiNewton and riccatiSchur acts as riccatiSchurNewton.
enum riccatiMethod : std::int32_t {
    riccatiSchurNewton = 0,  ///< the direct solution, then Newton from it; Newton from a start value where it fails
    riccatiNewton = 1,       ///< Newton's iteration alone
    riccatiSchur = 2,        ///< the direct solution alone
};
