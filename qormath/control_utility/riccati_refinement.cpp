#include <algorithm>
#include <cmath>
#include <utility>

#include <qormath/control_utility/quasi_triangular.hpp>
#include <qormath/control_utility/riccati_refinement.hpp>
#include <qormath/control_utility/triangular_stein.hpp>
#include <qormath/control_utility/triangular_sylvester.hpp>
#include <qormath/lapack/finite.hpp>
#include <qormath/lapack/lapack.hpp>

namespace qormath::control_utility {

namespace {

using lapack::Op;
using Elements = std::vector<double>;

// Steps converge quadratically; what has not settled after this many never will.
constexpr int mostSteps = 20;
// A step is worth another one if it has halved the residual; below that it moves within its rounding.
constexpr double worthwhileGain = 0.5;
// The rounding of a residual, in units of eps times the norms of its terms. Of 1600 random problems of either kind with
// closed-loop eigenvalues on the limit, or modes there that nothing reaches or sees, 1 unit let none pass.
constexpr double roundingsOfResidual = 2.0;
// The share of its distance to the limit that a closed loop has to keep under a change that is within its uncertainty.
constexpr double keptDistance = 0.5;

// The block width for which work arrays are laid out.
constexpr int workBlock = 64;

Elements product(Op opA, Op opB, int m, int n, int k, const Elements& a, const Elements& b) {
    Elements c(elementCount(m, n), 0.0);
    lapack::gemm(opA, opB, m, n, k, 1.0, a.data(), opA == Op::none ? m : k, b.data(), opB == Op::none ? k : n, 0.0,
                 c.data(), m);
    return c;
}

double frobenius(int m, int n, const Elements& a) {
    return lapack::lange(lapack::Norm::frobenius, m, n, a.data(), m);
}

bool allFinite(int m, int n, const Elements& a) {
    return lapack::allFinite(m, n, a.data(), m);
}

/// What the equation makes of an x.
struct Evaluation {
    Elements residual;    // symmetric
    Elements closedLoop;  // a - b gain
    Elements weightedB;   // (r or r + b' x b)^-1 b', m by n
    double norm = 0.0;    // of the residual
    double terms = 0.0;   // the sum of the norms of its terms
    double loopTerms = 0.0;
};

bool evaluate(const RiccatiProblem& problem, const Elements& x, Evaluation& result) {
    const int n = problem.n;
    const int m = problem.m;
    const Elements xb = product(Op::none, Op::none, n, m, n, x, problem.b);
    Elements weight = problem.r;
    Elements g = xb;
    if (problem.discrete) {
        lapack::gemm(Op::transpose, Op::none, m, m, n, 1.0, problem.b.data(), n, xb.data(), n, 1.0, weight.data(), m);
        g = product(Op::transpose, Op::none, n, m, n, problem.a, xb);
    }
    lapack::axpy(n * m, 1.0, problem.s.data(), 1, g.data(), 1);

    // weight^-1 [g', b']
    Elements solved(elementCount(m, 2 * n));
    for (int i = 0; i < n && m > 0; ++i) {
        lapack::copy(m, g.data() + i, n, at(solved.data(), m, 0, i), 1);
        lapack::copy(m, problem.b.data() + i, n, at(solved.data(), m, 0, n + i), 1);
    }
    std::vector<int> pivots(static_cast<std::size_t>(m));
    if (!allFinite(m, m, weight) || (m > 0 && lapack::getrf(m, m, weight.data(), m, pivots.data()) != 0)) {
        return false;
    }
    lapack::getrs(Op::none, m, 2 * n, weight.data(), m, pivots.data(), solved.data(), m);
    const std::size_t half = elementCount(m, n);
    const Elements gain(solved.begin(), solved.begin() + static_cast<std::ptrdiff_t>(half));
    result.weightedB.assign(solved.begin() + static_cast<std::ptrdiff_t>(half), solved.end());

    const Elements ax = product(Op::transpose, Op::none, n, n, n, problem.a, x);
    const Elements bGain = product(Op::none, Op::none, n, n, m, problem.b, gain);
    const Elements gGain = product(Op::none, Op::none, n, n, m, g, gain);
    const Elements free = problem.discrete ? product(Op::none, Op::none, n, n, n, ax, problem.a) : ax;
    result.closedLoop = problem.a;
    result.residual = problem.q;
    for (int j = 0; j < n; ++j) {
        for (int i = 0; i < n; ++i) {
            const std::size_t here = elementCount(n, j) + static_cast<std::size_t>(i);
            const std::size_t mirrored = elementCount(n, i) + static_cast<std::size_t>(j);
            result.closedLoop[here] -= bGain[here];
            const double linear = problem.discrete ? free[here] - x[here] : free[here] + free[mirrored];
            result.residual[here] += linear - gGain[here];
        }
    }
    symmetrize(n, result.residual);
    result.norm = frobenius(n, n, result.residual);
    result.terms = frobenius(n, n, problem.q) + frobenius(n, n, free) + frobenius(n, n, gGain) +
                   (problem.discrete ? frobenius(n, n, x) : frobenius(n, n, free));
    result.loopTerms = frobenius(n, n, problem.a) + frobenius(n, n, bGain);
    return allFinite(n, n, result.residual) && allFinite(n, n, result.closedLoop) &&
           allFinite(m, n, result.weightedB) && std::isfinite(result.terms);
}

/// The Schur form of the transposed closed loop.
struct LoopForm {
    int n = 0;
    bool discrete = false;
    Elements t;
    Elements u;
    Elements wr;
    Elements wi;
};

/// The least distance of the eigenvalues to the limit, negative when one is beyond it.
double distanceToLimit(bool discrete, const Elements& wr, const Elements& wi) {
    double distance = discrete ? 1.0 : HUGE_VAL;
    for (std::size_t i = 0; i < wr.size(); ++i) {
        distance = std::min(distance, discrete ? 1.0 - std::hypot(wr[i], wi[i]) : -wr[i]);
    }
    return distance;
}

bool decompose(const RiccatiProblem& problem, const Elements& closedLoop, LoopForm& form) {
    const int n = problem.n;
    form.n = n;
    form.discrete = problem.discrete;
    form.t.resize(elementCount(n, n));
    for (int j = 0; j < n; ++j) {
        lapack::copy(n, at(closedLoop.data(), n, 0, j), 1, form.t.data() + j, n);
    }
    form.u.resize(elementCount(n, n));
    form.wr.resize(static_cast<std::size_t>(n));
    form.wi.resize(static_cast<std::size_t>(n));
    const int workLength = workBlock * n;
    Elements work(static_cast<std::size_t>(workLength));
    return allFinite(n, n, form.t) && lapack::gees(n, form.t.data(), n, form.wr.data(), form.wi.data(), form.u.data(),
                                                   n, work.data(), workLength) == 0;
}

/// The solution d of c' d + d c + w = 0 or c' d c - d + w = 0, with c the closed loop and w symmetric.
bool solveLyapunov(const LoopForm& form, const Elements& w, Elements& d) {
    const int n = form.n;
    d = product(Op::none, Op::none, n, n, n, product(Op::transpose, Op::none, n, n, n, form.u, w), form.u);
    double scale = 1.0;
    int info = 0;
    if (form.discrete) {
        info = solveTriangularStein(n, n, form.t.data(), n, form.t.data(), n, d.data(), n, scale);
    } else {
        lapack::scal(n * n, -1.0, d.data(), 1);
        info = solveTriangularSylvester(Op::none, Op::transpose, 1, n, n, form.t.data(), n, form.t.data(), n, d.data(),
                                        n, scale);
    }
    if (info != 0 || scale != 1.0 || !allFinite(n, n, d)) {
        return false;
    }
    d = product(Op::none, Op::transpose, n, n, n, product(Op::none, Op::none, n, n, n, form.u, d), form.u);
    symmetrize(n, d);
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

/// True when the closed loop keeps its distance to the limit where x, to first order, is that for a q changed by what
/// is uncertain, to either side. The change is a multiple of the identity: rounding knows no direction.
bool isBeyondDoubt(const RiccatiProblem& problem, const Evaluation& now, const LoopForm& form) {
    const int n = problem.n;
    const double eps = lapack::machineEpsilon();
    const double distance = distanceToLimit(problem.discrete, form.wr, form.wi);
    // An eigenvalue that no input moves does not show in the test below; its own rounding is to leave it stable.
    if (!(distance > n * eps * now.loopTerms)) {
        return false;
    }
    const double change = roundingsOfResidual * std::max(now.norm, eps * now.terms);
    Elements w(elementCount(n, n)), d;
    lapack::laset(n, n, 0.0, change, w.data(), n);
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

}  // namespace

bool refineAndJudge(const RiccatiProblem& problem, Elements& x) {
    const int n = problem.n;
    Evaluation now;
    LoopForm form;
    if (!evaluate(problem, x, now) || !decompose(problem, now.closedLoop, form)) {
        return false;
    }
    for (int step = 0; step < mostSteps && now.norm > 0.0; ++step) {
        Elements d;
        if (!solveLyapunov(form, now.residual, d)) {
            break;
        }
        Elements next = x;
        lapack::axpy(n * n, 1.0, d.data(), 1, next.data(), 1);
        Evaluation ahead;
        LoopForm nextForm;
        if (!evaluate(problem, next, ahead) || !(ahead.norm < now.norm) ||
            !decompose(problem, ahead.closedLoop, nextForm)) {
            break;
        }
        const bool worthwhile = ahead.norm < worthwhileGain * now.norm;
        x = std::move(next);
        now = std::move(ahead);
        form = std::move(nextForm);
        if (!worthwhile) {
            break;
        }
    }
    return isBeyondDoubt(problem, now, form);
}

}  // namespace qormath::control_utility
