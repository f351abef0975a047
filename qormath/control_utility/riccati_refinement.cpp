#include <algorithm>
#include <cmath>
#include <utility>

#include <qormath/control_utility/plain_products.hpp>
#include <qormath/control_utility/quasi_triangular.hpp>
#include <qormath/control_utility/real_schur_form.hpp>
#include <qormath/control_utility/riccati_evaluation.hpp>
#include <qormath/control_utility/riccati_refinement.hpp>
#include <qormath/control_utility/riccati_smith_refinement.hpp>
#include <qormath/control_utility/triangular_lyapunov.hpp>
#include <qormath/lapack/lapack.hpp>

namespace qormath::control_utility {

namespace {

using lapack::Op;
using Elements = std::vector<double>;

// Steps converge quadratically; what has not settled after this many never will.
constexpr int mostSteps = 20;
// A step is worth another one if it has halved the residual; below that it moves within its rounding.
constexpr double worthwhileGain = 0.5;
// Where the form of an earlier loop makes steps converge by this factor at least, it is not to blame for their end.
constexpr double fastConvergence = 0.25;
// The backward error of a Schur form, in units of n eps times the Frobenius norm, stays below this.
constexpr double roundingsOfSchurForm = 1.0;
// What leaves a larger share of the terms as residual has lost digits on its way, and nothing is clear about it.
constexpr double clearResidual = 0x1p-20;
// Nor is anything clear about what this many times its uncertainty would put in doubt.
constexpr double clearMultiple = 4.0;

// The block width for which work arrays are laid out.
constexpr int workBlock = 64;

/// The Schur form of the transpose of a closed loop.
struct LoopForm {
    int n = 0;
    bool discrete = false;
    Elements loop;
    Elements t;
    Elements u;
    Elements wr;
    Elements wi;
    // The solution p of loop' p + p loop + i = 0 or loop' p loop - p + i = 0, turned as t is, empty until it is needed,
    // and its norm; infinite where the loop is not stable.
    Elements p;
    double normOfP = HUGE_VAL;
};

/// The least distance of the eigenvalues to the limit, negative when one is beyond it.
double distanceToLimit(bool discrete, const Elements& wr, const Elements& wi) {
    double distance = discrete ? 1.0 : HUGE_VAL;
    for (std::size_t i = 0; i < wr.size(); ++i) {
        distance = std::min(distance, discrete ? 1.0 - std::hypot(wr[i], wi[i]) : -wr[i]);
    }
    return distance;
}

/// Solves for the p of a form with the eigenvalues of the loop moved towards the limit by the distance, in continuous
/// time, or in discrete time with the loop divided by 1 - distance. Returns its norm.
double solveForP(const LoopForm& form, double distance, Elements& p) {
    const int n = form.n;
    Elements t = form.t;
    if (form.discrete && distance != 0.0) {
        lapack::scal(n * n, 1.0 / (1.0 - distance), t.data(), 1);
    }
    for (int k = 0; k < n && !form.discrete; ++k) {
        *at(t.data(), n, k, k) += distance;
    }
    p.resize(elementCount(n, n));
    lapack::laset(n, n, 0.0, form.discrete ? 1.0 : -1.0, p.data(), n);
    double scale = 1.0;
    if (solveTriangularLyapunov(form.discrete, n, t.data(), n, p.data(), n, scale) != 0 || scale != 1.0) {
        return HUGE_VAL;
    }
    const double norm = plainNorm(p);
    return std::isfinite(norm) ? norm : HUGE_VAL;
}

bool decompose(const RiccatiProblem& problem, const Elements& closedLoop, LoopForm& form) {
    const int n = problem.n;
    form.n = n;
    form.discrete = problem.discrete;
    form.loop = closedLoop;
    form.t.resize(elementCount(n, n));
    for (int j = 0; j < n; ++j) {
        lapack::copy(n, at(closedLoop.data(), n, 0, j), 1, form.t.data() + j, n);
    }
    form.u.resize(elementCount(n, n));
    form.wr.resize(static_cast<std::size_t>(n));
    form.wi.resize(static_cast<std::size_t>(n));
    if (!allFinite(n, n, form.t) ||
        realSchurForm(n, form.t.data(), n, form.wr.data(), form.wi.data(), form.u.data(), n) != 0) {
        return false;
    }
    form.p.clear();
    return true;
}

/// Makes the p of a form where that has not been done. False where there is none.
bool provideP(LoopForm& form) {
    if (form.p.empty()) {
        const bool stable = distanceToLimit(form.discrete, form.wr, form.wi) > 0.0;
        form.normOfP = stable ? solveForP(form, 0.0, form.p) : HUGE_VAL;
    }
    return std::isfinite(form.normOfP);
}

/// op(u)' w op(u) for a symmetric w, of which the upper triangle is used, with both triangles filled.
Elements turned(Op op, int n, const Elements& u, Elements w) {
    // With w = r + r' for a triangular r it is the sum of a product and its transpose.
    lapack::scal(n, 0.5, w.data(), n + 1);
    Elements half = u;
    lapack::trmm(op == Op::none ? lapack::Side::left : lapack::Side::right, lapack::Triangle::upper, Op::none,
                 lapack::Diagonal::stored, n, n, 1.0, w.data(), n, half.data(), n);
    lapack::syr2k(lapack::Triangle::upper, lapack::opposite(op), n, n, 1.0, half.data(), n, u.data(), n, 0.0, w.data(),
                  n);
    mirrorUpperTriangle(n, w.data(), n);
    return w;
}

/// The solution d of c' d + d c + w = 0 or c' d c - d + w = 0, with c the closed loop of the form and w symmetric.
bool solveLyapunov(const LoopForm& form, const Elements& w, Elements& d) {
    const int n = form.n;
    d = turned(Op::none, n, form.u, w);
    if (!form.discrete) {
        lapack::scal(n * n, -1.0, d.data(), 1);
    }
    double scale = 1.0;
    if (solveTriangularLyapunov(form.discrete, n, form.t.data(), n, d.data(), n, scale) != 0 || scale != 1.0 ||
        !allFinite(n, n, d)) {
        return false;
    }
    d = turned(Op::transpose, n, form.u, std::move(d));
    return allFinite(n, n, d);
}

bool eigenvalues(int n, Elements matrix, Elements& wr, Elements& wi) {
    if (!allFinite(n, n, matrix)) {
        return false;
    }
    const int workLength = workBlock * n;
    Elements tau(static_cast<std::size_t>(n)), work(static_cast<std::size_t>(workLength));
    double unused = 0.0;
    lapack::gehrd(n, 1, n, matrix.data(), n, tau.data(), work.data(), workLength);
    return lapack::hseqr('E', 'N', n, 1, n, matrix.data(), n, wr.data(), wi.data(), &unused, 1, work.data(),
                         workLength) == 0;
}

/// An eigenvalue that no input moves does not show in a change of the loop; its own rounding is to leave it stable.
bool isStableByMoreThanRounding(const RiccatiProblem& problem, const Evaluation& now, const LoopForm& form) {
    return distanceToLimit(problem.discrete, form.wr, form.wi) > problem.n * lapack::machineEpsilon() * now.loopTerms;
}

/// The way from the loop of the form to the closed loop as it is now.
Elements wayFrom(const LoopForm& form, const Evaluation& now) {
    Elements way = now.closedLoop;
    lapack::axpy(form.n * form.n, -1.0, form.loop.data(), 1, way.data(), 1);
    return way;
}

/// p way, with the way turned as p is, from the left alone.
Elements productWithWay(const LoopForm& form, const Elements& p, const Elements& way) {
    const int n = form.n;
    return product(Op::none, Op::none, n, n, n, p, product(Op::transpose, Op::none, n, n, n, form.u, way));
}

/// The change of the loop by the uncertainty and by the way, without the bounds of boundedChange, by products of order
/// n.
LoopChange exactChange(const Evaluation& now, const LoopForm& form, const Elements& p, const Elements& turnedB,
                       const Elements& turnedWeightedB, const Elements& way) {
    const int n = form.n;
    const auto m = static_cast<int>(turnedB.size()) / n;
    Elements gain = product(Op::none, Op::none, m, n, n, turnedWeightedB, form.p);
    if (form.discrete) {
        gain = product(Op::none, Op::transpose, m, n, n, gain, form.t);
    }
    const Elements ofInputs =
        product(Op::none, Op::none, n, n, m, product(Op::none, Op::none, n, m, n, p, turnedB), gain);
    return {plainNorm(turnedB) * plainNorm(gain) * uncertainty(now) + plainNorm(way),
            plainNorm(ofInputs) * uncertainty(now) + plainNorm(productWithWay(form, p, way))};
}

/// True when bounds alone show what isBeyondDoubt asks for. With p for half of the distance to the limit and the loop
/// moved by e, p is a Lyapunov function of the moved loop as long as 2 |p e| < 1, or |p e| (2 |c| + |e|) below the
/// square of 1 - distance: no eigenvalue is then nearer to the limit than that. e is the change to first order, the way
/// from the loop of the form, and the rounding of the form.
bool isSurelyBeyondDoubt(const RiccatiProblem& problem, const Evaluation& now, LoopForm& form) {
    if (!isStableByMoreThanRounding(problem, now, form)) {
        return false;
    }
    const int n = problem.n;
    const int m = problem.m;
    const double distance = keptDistance * distanceToLimit(problem.discrete, form.wr, form.wi);
    Elements p;
    const double normOfP = solveForP(form, distance, p);
    if (!std::isfinite(normOfP)) {
        return false;
    }
    const double loop = plainNorm(form.loop);
    const double roundingOfForm = roundingsOfSchurForm * n * lapack::machineEpsilon() * loop;
    const auto isHarmless = [&](const LoopChange& change) {
        const double e = change.e + roundingOfForm;
        const double pe = change.pe + normOfP * roundingOfForm;
        return problem.discrete ? pe * (2.0 * loop + e) < (1.0 - distance) * (1.0 - distance) : 2.0 * pe < 1.0;
    };
    const Elements way = wayFrom(form, now);
    const Elements turnedB = product(Op::transpose, Op::none, n, m, n, form.u, problem.b);
    const Elements turnedWeightedB = product(Op::none, Op::none, m, n, n, now.weightedB, form.u);
    return isHarmless(boundedChange(uncertainty(now), p, turnedB, turnedWeightedB, plainNorm(way))) ||
           (provideP(form) && isHarmless(exactChange(now, form, p, turnedB, turnedWeightedB, way)));
}

/// True when the closed loop keeps its distance to the limit where x, to first order, is that for a q changed by what
/// is uncertain, to either side, or a multiple of it. The form is that of the closed loop, or as good as that.
bool isBeyondDoubt(const RiccatiProblem& problem, const Evaluation& now, const LoopForm& form, double multiple) {
    const int n = problem.n;
    if (!isStableByMoreThanRounding(problem, now, form)) {
        return false;
    }
    const double distance = distanceToLimit(problem.discrete, form.wr, form.wi);
    Elements w(elementCount(n, n)), d;
    lapack::laset(n, n, 0.0, multiple * uncertainty(now), w.data(), n);
    if (!solveLyapunov(form, w, d)) {
        return false;
    }
    Elements gainChange = product(Op::none, Op::none, problem.m, n, n, now.weightedB, d);
    if (problem.discrete) {
        gainChange = product(Op::none, Op::none, problem.m, n, n, gainChange, now.closedLoop);
    }
    Elements wr(form.wr), wi(form.wi);
    for (const double sign : {1.0, -1.0}) {
        Elements moved = now.closedLoop;
        lapack::gemm(Op::none, Op::none, n, n, problem.m, sign, problem.b.data(), n, gainChange.data(), problem.m, 1.0,
                     moved.data(), n);
        if (!eigenvalues(n, std::move(moved), wr, wi) ||
            !(distanceToLimit(problem.discrete, wr, wi) > keptDistance * distance)) {
            return false;
        }
    }
    return true;
}

/// One solution on its way: x, what the equation makes of it, and the Schur form of its closed loop or an earlier one.
struct Iterate {
    Elements x;
    Evaluation now;
    LoopForm form;
    bool isFormFresh = true;
};

/// Takes a Newton step if it lowers the residual; true if the next one is worth a try with the same form. With a form
/// that is not fresh it is a step of the simplified iteration, which converges by the factor by which the loop has
/// moved.
bool improve(const RiccatiProblem& problem, Iterate& iterate) {
    const int n = problem.n;
    Elements d;
    if (!solveLyapunov(iterate.form, iterate.now.residual, d)) {
        return false;
    }
    Elements next = iterate.x;
    lapack::axpy(n * n, 1.0, d.data(), 1, next.data(), 1);
    Evaluation ahead;
    if (!evaluate(problem, next, ahead) || !(ahead.norm < iterate.now.norm)) {
        return false;
    }
    const bool worthwhile = ahead.norm < worthwhileGain * iterate.now.norm;
    iterate.x = std::move(next);
    iterate.now = std::move(ahead);
    iterate.isFormFresh = false;
    return worthwhile;
}

/// True when the form of an earlier loop serves the steps as well as a fresh one would.
bool isFormGood(Iterate& iterate) {
    LoopForm& form = iterate.form;
    if (iterate.isFormFresh || !provideP(form)) {
        return iterate.isFormFresh;
    }
    const Elements way = wayFrom(form, iterate.now);
    const double ofWay = plainNorm(way);
    const double growth = form.discrete ? 2.0 * plainNorm(form.loop) + ofWay : 2.0;
    return growth * form.normOfP * ofWay <= fastConvergence ||
           growth * plainNorm(productWithWay(form, form.p, way)) <= fastConvergence;
}

bool makeFormFresh(const RiccatiProblem& problem, Iterate& iterate) {
    iterate.isFormFresh = iterate.isFormFresh || decompose(problem, iterate.now.closedLoop, iterate.form);
    return iterate.isFormFresh;
}

/// Improves x until the residual stops falling. False where a Schur form does not come about.
bool refine(const RiccatiProblem& problem, Iterate& iterate) {
    for (int step = 0; step < mostSteps && !isSettled(problem, iterate.now); ++step) {
        const bool wasFresh = iterate.isFormFresh;
        if (improve(problem, iterate)) {
            continue;
        }
        if (wasFresh || isFormGood(iterate)) {
            break;
        }
        if (!makeFormFresh(problem, iterate)) {
            return false;
        }
    }
    return true;
}

}  // namespace

bool refineAndJudge(const RiccatiProblem& problem, Elements& x) {
    Iterate iterate;
    iterate.x = x;
    if (!evaluate(problem, x, iterate.now) || !decompose(problem, iterate.now.closedLoop, iterate.form) ||
        !refine(problem, iterate)) {
        return false;
    }
    x = iterate.x;
    return isSurelyBeyondDoubt(problem, iterate.now, iterate.form) ||
           (makeFormFresh(problem, iterate) && isBeyondDoubt(problem, iterate.now, iterate.form, 1.0));
}

bool refineClearSolution(const RiccatiProblem& problem, Elements& x, bool mayUseSquares) {
    Iterate iterate;
    if (!evaluate(problem, x, iterate.now) || !(iterate.now.norm <= clearResidual * iterate.now.terms)) {
        return false;
    }
    if (mayUseSquares && suitsSquares(problem) && refineBySquares(problem, x, iterate.now)) {
        return true;
    }
    iterate.x = x;
    if (!decompose(problem, iterate.now.closedLoop, iterate.form) ||
        !isStableByMoreThanRounding(problem, iterate.now, iterate.form) || !refine(problem, iterate)) {
        return false;
    }
    if (!isSurelyBeyondDoubt(problem, iterate.now, iterate.form) &&
        !((isFormGood(iterate) || makeFormFresh(problem, iterate)) &&
          isBeyondDoubt(problem, iterate.now, iterate.form, clearMultiple))) {
        return false;
    }
    x = std::move(iterate.x);
    return true;
}

}  // namespace qormath::control_utility
