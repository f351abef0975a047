#pragma once

#include <qormath/control_utility/hessenberg_block.hpp>

namespace qormath::control_utility {

/// Rounds in a row of a window and a sweep that may go by without a converged eigenvalue. One in ten does in practice.
constexpr int mostFruitlessRounds = 30;

/// Takes the rows first to last of a Hessenberg matrix, of which those before and after are quasi-triangular already,
/// to real Schur form with standard 2 by 2 blocks. False when the budget is exceeded; h and z are then on their way.
///
/// Rounds of early deflation, and of sweeps with the eigenvalues of the window that have not converged as shifts. Both
/// work on a few dozen rows in a small array and complete their transformations by products.
///
/// Sources: K. Braman, R. Byers and R. Mathias, "The multishift QR algorithm", parts I and II, SIAM J. Matrix Anal.
/// Appl. 23 (2002), 929-947 and 948-973. Cost: about 15 n^3 flops for h and z together, nearly all in products.
bool iterateToSchurForm(const HessenbergMatrix& matrix, int first, int last, int fruitlessRounds = mostFruitlessRounds);

}  // namespace qormath::control_utility
