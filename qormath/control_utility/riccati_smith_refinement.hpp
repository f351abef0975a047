#pragma once

#include <vector>

#include <qormath/control_utility/loop_squares.hpp>
#include <qormath/control_utility/riccati_evaluation.hpp>
#include <qormath/control_utility/riccati_problem.hpp>

namespace qormath::control_utility {

/// True for the problems in which refineBySquares is faster than a Schur form: discrete ones of large order.
bool suitsSquares(const RiccatiProblem& problem);

/// What a Newton step adds to x, by the powers of its closed loop or one nearby: the solution of a Stein equation in
/// single precision, and where that cannot be enough, the solution for the residual that it leaves, which follows from
/// that before it without an evaluation (residualAfter).
std::vector<double> newtonStep(const RiccatiProblem& problem, const LoopSquares& squares, const Evaluation& now);

/// What refineClearSolution does in discrete time, without a Schur form: the Newton steps are made with the powers of
/// the first closed loop in single precision (loop_squares.hpp), and a Lyapunov function from the same powers shows
/// that the closed loop is stable. start is what the equation makes of x. Returns false, and leaves x as it is, where
/// the powers do not come to an end soon, the first step lowers the residual by less than 2^-8, or the Lyapunov
/// function does not show enough: that four times the uncertainty of x moves no eigenvalue by half of its distance to
/// the limit has to be clear by far.
///
/// In single precision a solution is good for five or six digits of the residual, which is evaluated in double
/// precision: two take it to its rounding. Cost: one or two evaluations beside that of the start, 6 n^3 flops in double
/// and about 60 n^3 in single precision, all in products.
bool refineBySquares(const RiccatiProblem& problem, std::vector<double>& x, const Evaluation& start);

}  // namespace qormath::control_utility
