#pragma once

#include <vector>

#include <qormath/control_utility/riccati_problem.hpp>

namespace qormath::control_utility {

/// The stabilising solution of a Riccati equation whose coefficients are of like magnitude, by the structure-preserving
/// doubling algorithm, which squares the closed loop in each step. r is inverted. A continuous equation is taken to a
/// discrete one of the same solution by Cayley's transform.
///
/// Fills x (n by n, packed, exactly symmetric) and returns true, or false where it comes to no end: when the closed
/// loop is nearer to the limit than about 2e-11, or in continuous time when its eigenvalues reach over more than about
/// seven decades. What is found is not checked, and as accurate as the coefficients, and the factors on the way, allow;
/// judgement and refinement are those of riccati_refinement.hpp.
///
/// In discrete time, where there are few inputs, b r^-1 b' is kept in factors for the first steps, in which they are
/// thin (mayFactorInputs); where that comes to no end it is multiplied out from the start.
///
/// Source: E. K.-W. Chu, H.-Y. Fan, W.-W. Lin and C.-S. Wang, "Structure-preserving algorithms for periodic
/// discrete-time algebraic Riccati equations", Int. J. Control 77 (2004), 767-788; E. K.-W. Chu, H.-Y. Fan and W.-W.
/// Lin, "A structure-preserving doubling algorithm for continuous-time algebraic Riccati equations", Linear Algebra
/// Appl. 396 (2005), 55-80. Cost: about 15 n^3 flops a step, in products and a factorisation, and nine steps for an
/// ordinary problem; the transform is another step.
bool solveByDoubling(const RiccatiProblem& problem, std::vector<double>& x, bool mayFactorInputs = true);

/// How near to the solution an approximation in discrete time comes: to seven digits or more for one Newton step, or to
/// about six for two of them.
enum class Closeness { near, coarse };

/// The same to about seven digits, for Newton steps to start from: the steps end one earlier; in discrete time those
/// that add no more than what is there already are made in single precision, on the equation of what is still missing;
/// and factors of few inputs are kept in continuous time as well. False where that comes to no end within 16 steps, or
/// leaves the range of the numbers; x has no meaning then. A coarse one goes over to single precision after a step or
/// two, and leaves out the last one of what an ordinary problem needs.
bool approximateByDoubling(const RiccatiProblem& problem, std::vector<double>& x,
                           Closeness closeness = Closeness::near);

}  // namespace qormath::control_utility
