#include <algorithm>
#include <cmath>
#include <functional>
#include <utility>

#include <qormath/control_utility/plain_products.hpp>
#include <qormath/control_utility/quasi_triangular.hpp>
#include <qormath/control_utility/riccati_doubling.hpp>
#include <qormath/control_utility/riccati_doubling_steps.hpp>
#include <qormath/lapack/finite.hpp>
#include <qormath/lapack/lapack.hpp>

namespace qormath::control_utility {

namespace {

using lapack::Op;
using Elements = std::vector<double>;

// A closed loop of radius 1 - d has converged after about log2(20 / d) doublings: d is 2e-11 here, far below the
// distance that can be told from none.
constexpr int mostDoublings = 40;
// In continuous time the other way is at hand: a loop whose eigenvalues reach over more than seven decades is left to
// it.
constexpr int mostDoublingsOfContinuous = 18;
// Where the closed loop, squared so often, has become this small, and with it the last change, the next change is of
// the size of the squares of both: below the digits that are lost on the way. A small change alone tells nothing of a
// loop near the limit, which grows slowly.
constexpr double smallLoop = 0x1p-10;
constexpr double smallChange = 0x1p-20;
// Below this order the factor saves nothing.
constexpr int leastOrderForFactor = 64;

// An approximation does with fewer steps: a closed loop of radius above 1 - 2^-12, or one that reaches over as many
// decades in continuous time, is not clear enough for it.
constexpr int mostStepsToApproximation = 16;
// A change of this share is the last one that an approximation needs: the next one is of the size of its square, times
// that of the loop where that is small as well.
constexpr double lastChange = 0x1p-13;
constexpr double lastLoop = 0.5;
// Where no more than this share has come to h in a step, single precision serves for what is still to come.
constexpr double changeInSinglePrecision = 0.3;
constexpr int mostStepsInSinglePrecision = 8;
// A coarse approximation goes over to single precision sooner, and does without the last step. Changes fall
// quadratically at the end: the share of the next one in this is the square of the share of this in the one before.
constexpr double changeInSinglePrecisionOfCoarse = 0.7;
constexpr double fastFall = 0x1p-3;
constexpr double missingInCoarse = 0x1p-21;

/// What a step has come to, in norms.
struct Progress {
    double change = 0.0;
    double solution = 0.0;
    double loop = 0.0;  // a before it is squared
};

/// False where the numbers do not suffice.
template <typename Real>
bool step(Doubling<Real>& doubling, Progress& progress) {
    if (!doubling.addToSolution()) {
        return false;
    }
    progress = {plainNorm(doubling.change()), plainNorm(doubling.h()), plainNorm(doubling.a())};
    return std::isfinite(progress.change) && std::isfinite(progress.solution);
}

bool run(Doubling<double> doubling, int mostSteps, Elements& x) {
    const double rounding = doubling.order() * lapack::machineEpsilon();
    Progress now;
    for (int k = 0; k < mostSteps && step(doubling, now); ++k) {
        if ((now.change <= smallChange * now.solution && now.loop <= smallLoop) ||
            now.change <= rounding * now.solution) {
            x = doubling.h();
            return true;
        }
        if (!doubling.square()) {
            return false;
        }
    }
    return false;
}

/// True when Newton steps can do the rest.
bool isLast(const Progress& now, double solution) {
    return now.change <= lastChange * solution && now.loop <= lastLoop;
}

/// True when what further steps would add is little enough for a coarse approximation.
bool isLastOfCoarse(const Progress& now, double changeBefore, double solution) {
    const double fall = now.change / changeBefore;
    return fall <= fastFall && now.change * fall * fall <= missingInCoarse * solution;
}

/// Adds to x what comes to h in further steps.
bool addInSinglePrecision(Doubling<float> doubling, Closeness closeness, Elements& x) {
    Progress now;
    for (int k = 0; k < mostStepsInSinglePrecision; ++k) {
        const double changeBefore = now.change;
        if (!step(doubling, now)) {
            return false;
        }
        std::transform(x.begin(), x.end(), doubling.change().begin(), x.begin(), std::plus<double>());
        const double solution = plainNorm(x);
        if (isLast(now, solution) ||
            (closeness == Closeness::coarse && k > 0 && isLastOfCoarse(now, changeBefore, solution))) {
            return true;
        }
        if (!doubling.square()) {
            return false;
        }
    }
    return false;
}

bool runToApproximation(Doubling<double> doubling, bool mayGoOnInSinglePrecision, Closeness closeness, Elements& x) {
    const double changeToGoOn =
        closeness == Closeness::coarse ? changeInSinglePrecisionOfCoarse : changeInSinglePrecision;
    Progress now;
    for (int k = 0; k < mostStepsToApproximation && step(doubling, now); ++k) {
        if (isLast(now, now.solution)) {
            x = doubling.h();
            return true;
        }
        if (mayGoOnInSinglePrecision && now.change <= changeToGoOn * now.solution) {
            x = doubling.h();
            // In the equation of what is still missing, all is small beside i and x: i + g h is well conditioned.
            doubling.shift();
            return addInSinglePrecision(Doubling<float>(doubling), closeness, x);
        }
        if (!doubling.square()) {
            return false;
        }
    }
    return false;
}

/// The root of the mean square of the eigenvalues, were the Hamiltonian matrix a normal one.
double middleOfSpectrum(int n, const PlainForm& form) {
    const double gh = std::sqrt(plainNorm(form.g)) * std::sqrt(plainNorm(form.h));
    return std::hypot(plainNorm(form.a), gh) / std::sqrt(n);
}

bool shiftOf(int n, const PlainForm& form, double& s, Elements& shifted) {
    s = middleOfSpectrum(n, form);
    if (!(s > 0.0) || !std::isfinite(s)) {
        return false;
    }
    shifted = form.a;
    for (int k = 0; k < n; ++k) {
        *at(shifted.data(), n, k, k) -= s;
    }
    return true;
}

bool isFinite(int n, const PlainForm& form) {
    return lapack::allFinite(n, n, form.a.data(), n) && lapack::allFinite(n, n, form.g.data(), n) &&
           lapack::allFinite(n, n, form.h.data(), n);
}

/// Cayley's transform of the continuous problem, which keeps x: eigenvalues l of the closed loop become
/// (l + s) / (l - s).
bool transformToDiscrete(int n, PlainForm& form) {
    double s = 0.0;
    Elements shifted;
    if (!shiftOf(n, form, s, shifted)) {
        return false;
    }
    Elements w(shifted.size()), solvedG = form.g, solvedH = form.h;
    for (int j = 0; j < n; ++j) {
        lapack::copy(n, at(shifted.data(), n, 0, j), 1, w.data() + j, n);
    }
    std::vector<int> pivots;
    if (!factorize(n, shifted, pivots)) {
        return false;
    }
    lapack::getrs(Op::none, n, n, shifted.data(), n, pivots.data(), solvedG.data(), n);
    lapack::getrs(Op::transpose, n, n, shifted.data(), n, pivots.data(), solvedH.data(), n);
    // w = (a - s i)' + h (a - s i)^-1 g
    multiply(Op::none, Op::none, n, 1.0, form.h, solvedG, 1.0, w);
    if (!factorize(n, w, pivots)) {
        return false;
    }
    Elements inverse(w.size());
    lapack::laset(n, n, 0.0, 1.0, inverse.data(), n);
    lapack::getrs(Op::none, n, n, w.data(), n, pivots.data(), inverse.data(), n);
    multiplyToSymmetric(Op::none, Op::none, n, n, 2.0 * s, solvedG, inverse, 0.0, form.g);
    multiplyToSymmetric(Op::none, Op::transpose, n, n, 2.0 * s, inverse, solvedH, 0.0, form.h);
    for (int j = 0; j < n; ++j) {
        for (int i = 0; i < n; ++i) {
            *at(form.a.data(), n, i, j) = (i == j ? 1.0 : 0.0) + 2.0 * s * *at(inverse.data(), n, j, i);
        }
    }
    return isFinite(n, form);
}

/// The same with b and r in place of g, which become the factors of the new g. With v = (a - s i)^-1, f = v b,
/// k = r + f' h f and e = v' h f, a becomes i + 2 s (v - f k^-1 e'), g 2 s f k^-1 f' and h 2 s (v' h v - e k^-1 e').
bool transformFactorToDiscrete(const RiccatiProblem& problem, PlainForm& form, InputFactor<double>& inputs) {
    const int n = problem.n;
    const int m = problem.m;
    double s = 0.0;
    Elements shifted;
    std::vector<int> pivots;
    if (!shiftOf(n, form, s, shifted) || !factorize(n, shifted, pivots)) {
        return false;
    }
    Elements v(shifted.size()), hv(v.size());
    lapack::laset(n, n, 0.0, 1.0, v.data(), n);
    lapack::getrs(Op::none, n, n, shifted.data(), n, pivots.data(), v.data(), n);
    multiply(Op::none, Op::none, n, 1.0, form.h, v, 0.0, hv);

    Elements f(elementCount(n, m)), hf(f.size()), e(f.size()), k = problem.r;
    const auto times = [&](Op op, const Elements& left, const Elements& right, Elements& result) {
        lapack::gemm(op, Op::none, n, m, n, 1.0, left.data(), n, right.data(), n, 0.0, result.data(), n);
    };
    times(Op::none, v, problem.b, f);
    times(Op::none, hv, problem.b, hf);
    times(Op::transpose, hv, f, e);
    lapack::gemm(Op::transpose, Op::none, m, m, n, 1.0, f.data(), n, hf.data(), n, 1.0, k.data(), m);
    symmetrize(m, k);
    Elements factor = k, weighted(elementCount(m, n));
    for (int i = 0; i < n; ++i) {
        lapack::copy(m, e.data() + i, n, at(weighted.data(), m, 0, i), 1);
    }
    if (!factorize(m, factor, pivots)) {
        return false;
    }
    lapack::getrs(Op::none, m, n, factor.data(), m, pivots.data(), weighted.data(), m);

    multiplyToSymmetric(Op::transpose, Op::none, n, n, 2.0 * s, v, hv, 0.0, form.h);
    multiplyToSymmetric(Op::none, Op::none, n, m, -2.0 * s, e, weighted, 1.0, form.h);
    lapack::laset(n, n, 0.0, 1.0, form.a.data(), n);
    lapack::axpy(n * n, 2.0 * s, v.data(), 1, form.a.data(), 1);
    lapack::gemm(Op::none, Op::none, n, n, m, -2.0 * s, f.data(), n, weighted.data(), m, 1.0, form.a.data(), n);
    lapack::scal(m * m, 1.0 / (2.0 * s), k.data(), 1);
    inputs = {n, m, std::move(f), std::move(k)};
    return isFinite(n, form);
}

Doubling<double> doublingOf(int n, PlainForm form, InputFactor<double> inputs) {
    return {n, std::move(form.a), std::move(form.g), std::move(form.h), std::move(inputs)};
}

}  // namespace

bool solveByDoubling(const RiccatiProblem& problem, Elements& x, bool mayFactorInputs) {
    const int n = problem.n;
    PlainForm form;
    if (!takeInCrossTerm(problem, form) || (!problem.discrete && !transformToDiscrete(n, form))) {
        return false;
    }
    const int steps = problem.discrete ? mostDoublings : mostDoublingsOfContinuous;
    const InputFactor<double> inputs(n, problem.m, problem.b, problem.r);
    if (mayFactorInputs && problem.discrete && n >= leastOrderForFactor && inputs.isThin() &&
        run(doublingOf(n, form, inputs), steps, x)) {
        return true;
    }
    return run(doublingOf(n, std::move(form), {}), steps, x);
}

bool approximateByDoubling(const RiccatiProblem& problem, Elements& x, Closeness closeness) {
    const int n = problem.n;
    PlainForm form;
    if (!takeInCrossTerm(problem, form)) {
        return false;
    }
    InputFactor<double> inputs(n, problem.m, problem.b, problem.r);
    if (!inputs.isThin()) {
        inputs = {};
    }
    const bool isTransformed = problem.discrete || (inputs.isThin() ? transformFactorToDiscrete(problem, form, inputs)
                                                                    : transformToDiscrete(n, form));
    // Cayley's transform leaves loops that are slower by far, for which single precision has not enough digits.
    return isTransformed &&
           runToApproximation(doublingOf(n, std::move(form), std::move(inputs)), problem.discrete, closeness, x);
}

}  // namespace qormath::control_utility
