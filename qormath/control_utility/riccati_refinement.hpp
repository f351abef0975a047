#pragma once

#include <vector>

#include <qormath/control_utility/riccati_problem.hpp>

namespace qormath::control_utility {

/// Improves an approximate solution x of a Riccati equation by Newton's method until its residual stops falling, and
/// judges what comes out. Returns true when x is the stabilising solution, beyond doubt at the working precision; x is
/// then symmetric to the bit. Otherwise x has no meaning.
///
/// A Newton step solves a Lyapunov or Stein equation with the closed loop, by the Schur form of that or of an earlier
/// one; a new form is made where steps with the old one no longer lower a residual that is more than rounding. A step
/// that does not lower the residual is not taken.
///
/// Doubt is settled like this: the closed loop has to be stable, and a change of q by the size of the residual, or of
/// its rounding if that is larger, may move no eigenvalue of the closed loop by as much as half of its distance to the
/// limit. The reason: where closed-loop eigenvalues are on the limit, an approximate solution is wrong by the root of
/// its residual, and so is their distance; it then cannot tell on which side they are. Where they are not, however
/// near, the solution is wrong by a multiple of its residual alone, and the distance stands.
///
/// Source of the iteration: D. L. Kleinman, "On an iterative technique for Riccati equation computations", IEEE Trans.
/// Automat. Control 13 (1968), 114-115; G. A. Hewer, "An iterative technique for the computation of the steady state
/// gains for the discrete optimal regulator", IEEE Trans. Automat. Control 16 (1971), 382-384. Cost: about 40 n^3 flops
/// for the Schur form
/// of the closed loop, which serves all steps as long as they converge, and 20 n^3 for each of two or three steps.
bool refineAndJudge(const RiccatiProblem& problem, std::vector<double>& x);

/// The same where nothing is in doubt from the start, and false at once where something is: x leaves a residual of no
/// more than 2^-20 of its terms, its closed loop is stable, and bounds of norms show what refineAndJudge else finds
/// from the eigenvalues of moved loops. x is untouched then.
///
/// Where that is faster, in discrete time and from an order of 64 on, refineBySquares is tried first (mayUseSquares);
/// what it does not find clear goes the way of the Schur form, from the x that was given.
bool refineClearSolution(const RiccatiProblem& problem, std::vector<double>& x, bool mayUseSquares = true);

}  // namespace qormath::control_utility
