#include <cmath>
#include <utility>

#include <qormath/control_utility/loop_squares.hpp>
#include <qormath/control_utility/plain_products.hpp>
#include <qormath/control_utility/quasi_triangular.hpp>
#include <qormath/control_utility/riccati_smith_refinement.hpp>
#include <qormath/lapack/lapack.hpp>

namespace qormath::control_utility {

namespace {

using lapack::Op;
using Elements = std::vector<double>;

// Below this order a Schur form is nearly as fast, and approximations are not made in single precision.
constexpr int leastOrder = 64;
// Each step, of one solution or two, gains as many digits as the first one, which is two at least, until only rounding
// is left.
constexpr int mostSteps = 8;
constexpr double gainOfFirstStep = 0x1p-8;
// What one solution in single precision is good for: where the residual has further to go, a step takes two.
constexpr double gainOfSolution = 0x1p-18;
// After a fast step, a slow one tells that the residual is nothing but its own rounding.
constexpr double gainWithinRounding = 0.5;
// What a step leaves out on purpose is this share of a settled residual.
constexpr double shareOfSettled = 0.25;
// The share of the identity that a Lyapunov function has to leave. The rest is for what single precision makes of it.
constexpr double leastShare = 0.5;
// So many times its uncertainty may not bring the closed loop nearer to the limit than half of its distance. Where
// eigenvalues decide, four times are enough to be clear: the margin beyond that is for the distance, which is estimated
// here, to a few per cent of itself where the loop is not far from normal.
constexpr double clearMultiple = 64.0;

/// Takes steps until the residual is at its rounding. False where they are not fast.
bool improve(const RiccatiProblem& problem, const LoopSquares& squares, Elements& x, Evaluation& now) {
    for (int step = 0; step < mostSteps && !isSettled(problem, now); ++step) {
        Elements next = newtonStep(problem, squares, now);
        lapack::axpy(problem.n * problem.n, 1.0, x.data(), 1, next.data(), 1);
        Evaluation ahead;
        if (!evaluate(problem, next, ahead)) {
            return false;
        }
        const double gain = ahead.norm / now.norm;
        if (step == 0 && !(gain <= gainOfFirstStep)) {
            return false;
        }
        if (gain < 1.0) {
            x = std::move(next);
            now = std::move(ahead);
        }
        if (!(gain < gainWithinRounding)) {
            return true;
        }
    }
    return isSettled(problem, now);
}

/// True when p, and p - loop' p loop / radius^2 - leastShare i, are shown to be positive definite. No eigenvalue of the
/// loop is beyond the radius then.
bool isLyapunovFunction(int n, const Elements& p, const Elements& loop, double radius) {
    const double weight = 1.0 / (radius * radius);
    // p - weight loop' p loop - i
    Elements defect = p;
    multiplyToSymmetric(Op::transpose, Op::none, n, n, -weight, loop, product(Op::none, Op::none, n, n, n, p, loop),
                        1.0, defect);
    Elements factor = p;
    for (int k = 0; k < n; ++k) {
        *at(defect.data(), n, k, k) -= 1.0;
        *at(factor.data(), n, k, k) -= leastShare;
    }
    // What rounding makes of the defect: n eps times the norms of the factors for each of the two products, and less
    // for the sums. What it makes of a Cholesky factor is n eps times the trace, or the root of n times the norm.
    const double ofLoop = plainNorm(loop);
    const double rounding =
        (n + 4) * lapack::machineEpsilon() * plainNorm(p) * (std::sqrt(n) + 2.0 * weight * ofLoop * ofLoop);
    return plainNorm(defect) + rounding <= 1.0 - leastShare && rounding < leastShare &&
           lapack::potrf(n, factor.data(), n) == 0;
}

/// True when norms show what the judgement of refineClearSolution asks for, and more. With a p for half of the distance
/// to the limit and the loop c moved by e, p is a Lyapunov function of the moved loop as long as |p e| (2 |c| + |e|) is
/// below the square of 1 - distance: no eigenvalue is then nearer to the limit than that. e is the change, to first
/// order, by the multiple of the uncertainty, and the rounding of the loop itself.
bool isSurelyStable(const RiccatiProblem& problem, const LoopSquares& squares, const Evaluation& now) {
    const double distance = keptDistance * (1.0 - squares.radius());
    const double rounding = problem.n * lapack::machineEpsilon() * now.loopTerms;
    if (!(distance > rounding)) {
        return false;
    }
    const double radius = 1.0 - distance;
    Elements p = squares.lyapunovFunction(radius);
    if (!std::isfinite(plainNorm(p)) || !isLyapunovFunction(problem.n, p, now.closedLoop, radius)) {
        return false;
    }
    scaleMatrix(problem.n, problem.n, 1.0 / leastShare, p.data(), problem.n);
    const LoopChange change = boundedChange(clearMultiple * uncertainty(now), p, problem.b, now.weightedB, rounding);
    return change.pe * (2.0 * plainNorm(now.closedLoop) + change.e) < radius * radius;
}

}  // namespace

Elements newtonStep(const RiccatiProblem& problem, const LoopSquares& squares, const Evaluation& now) {
    const double settled = settledNorm(problem, now);
    Elements d = squares.solve(now.residual, shareOfSettled * settled / now.norm);
    if (now.norm * gainOfSolution <= settled) {
        return d;
    }
    const Elements residual = residualAfter(problem, now, d);
    const double norm = plainNorm(residual);
    if (norm > settled) {
        const Elements further = squares.solve(residual, shareOfSettled * settled / norm);
        lapack::axpy(problem.n * problem.n, 1.0, further.data(), 1, d.data(), 1);
    }
    return d;
}

bool suitsSquares(const RiccatiProblem& problem) {
    return problem.discrete && problem.n >= leastOrder;
}

bool refineBySquares(const RiccatiProblem& problem, Elements& x, const Evaluation& start) {
    Elements refined = x;
    Evaluation now = start;
    LoopSquares squares;
    if (!squares.make(problem.n, now.closedLoop) || !improve(problem, squares, refined, now) ||
        !isSurelyStable(problem, squares, now)) {
        return false;
    }
    x = std::move(refined);
    return true;
}

}  // namespace qormath::control_utility
