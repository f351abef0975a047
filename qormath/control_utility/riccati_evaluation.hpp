#pragma once

#include <vector>

#include <qormath/control_utility/riccati_problem.hpp>

namespace qormath::control_utility {

// The share of its distance to the limit that a closed loop has to keep under a change that is within its uncertainty.
constexpr double keptDistance = 0.5;

/// What the equation makes of an x.
struct Evaluation {
    std::vector<double> residual;    // symmetric
    std::vector<double> closedLoop;  // a - b gain
    std::vector<double> weightedB;   // (r or r + b' x b)^-1 b', m by n
    double norm = 0.0;               // of the residual
    double terms = 0.0;              // the sum of the norms of its terms
    double loopTerms = 0.0;
};

/// Puts an x into the equation. False where the weight r, or r + b' x b, is singular or something is not finite; the
/// result has no meaning then. The product x b is made to nearly full accuracy. Cost: 4 n^3 flops in discrete time, 2
/// n^3 in continuous time, and products with the inputs.
bool evaluate(const RiccatiProblem& problem, const std::vector<double>& x, Evaluation& result);

/// In discrete time, the residual of x + d for a symmetric d, from what x makes of the equation: it is quadratic in d
/// but for the change of the weight r + b' x b, of third order, which is left out. Cost: 3 n^3 flops, and products with
/// the inputs.
std::vector<double> residualAfter(const RiccatiProblem& problem, const Evaluation& now, const std::vector<double>& d);

/// The change of q that cannot be told from none, as a multiple of the identity: rounding knows no direction.
double uncertainty(const Evaluation& now);

/// The norm of the residual below which it is what rounding makes of that of an exact solution: no step lowers it but
/// by chance.
double settledNorm(const RiccatiProblem& problem, const Evaluation& now);

/// True when the residual is no larger than that.
bool isSettled(const RiccatiProblem& problem, const Evaluation& now);

/// Norms of a change e of the closed loop, and of p e.
struct LoopChange {
    double e = 0.0;
    double pe = 0.0;
};

/// Bounds of the change of a closed loop c, to first order, where q changes by so many times i, and of a change of the
/// given norm beside it. p is symmetric with p - c' p c - i positive semidefinite, or -(c' p + p c) - i, so that x
/// changes by no more than p where q does by i.
LoopChange boundedChange(double ofQ, const std::vector<double>& p, const std::vector<double>& b,
                         const std::vector<double>& weightedB, double ofWay);

}  // namespace qormath::control_utility
