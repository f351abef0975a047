#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include <qormath/control_utility/plain_products.hpp>
#include <qormath/control_utility/quasi_triangular.hpp>
#include <qormath/control_utility/real_schur_form.hpp>
#include <qormath/control_utility/riccati_refinement.hpp>
#include <qormath/control_utility/triangular_lyapunov.hpp>
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
// Where the form of an earlier loop makes steps converge by this factor at least, it is not to blame for their end.
constexpr double fastConvergence = 0.25;
// A residual below this many times eps, the square root of n and its terms is what rounding makes of an exact solution,
// and no step lowers it but by chance. Where n is large it is 0.1 in discrete and 0.55 to 0.62 in continuous time.
constexpr double settledResidual = 0.25;
constexpr double settledResidualOfLargeContinuous = 0.7;
constexpr int largeOrder = 64;
// The share of its distance to the limit that a closed loop has to keep under a change that is within its uncertainty.
constexpr double keptDistance = 0.5;
// The backward error of a Schur form, in units of n eps times the Frobenius norm, stays below this.
constexpr double roundingsOfSchurForm = 1.0;
// What leaves a larger share of the terms as residual has lost digits on its way, and nothing is clear about it.
constexpr double clearResidual = 0x1p-20;
// Nor is anything clear about what this many times its uncertainty would put in doubt.
constexpr double clearMultiple = 4.0;

// What is larger than this has no room for an anchor above it, and no place in a balanced problem.
constexpr int largestAnchor = 1022;
// Binary digits of a number.
constexpr int binaryDigits = std::numeric_limits<double>::digits;

// The block width for which work arrays are laid out.
constexpr int workBlock = 64;

Elements product(Op opA, Op opB, int m, int n, int k, const Elements& a, const Elements& b) {
    Elements c(elementCount(m, n), 0.0);
    lapack::gemm(opA, opB, m, n, k, 1.0, a.data(), opA == Op::none ? m : k, b.data(), opB == Op::none ? k : n, 0.0,
                 c.data(), m);
    return c;
}

bool allFinite(int m, int n, const Elements& a) {
    return lapack::allFinite(m, n, a.data(), m);
}

int exponentAbove(double largest) {
    return largest > 0.0 && std::isfinite(largest) ? std::ilogb(largest) + 1 : 0;
}

/// What, added to a number of no more than the modulus and taken away again, leaves so many leading bits of it.
double anchorFor(double largest, int bits) {
    return std::ldexp(1.5, std::min(exponentAbove(largest) + binaryDigits - 1 - bits, largestAnchor));
}

/// x b for a symmetric x, to nearly full accuracy of each element: a gain is what is left where large products cancel.
/// The leading bits of x, a row at a time, and of b, a column at a time, are so few that their product is exact.
///
/// Source: K. Ozaki, T. Ogita, S. Oishi and S. M. Rump, "Error-free transformations of matrix multiplication by using
/// fast routines of matrix multiplication and its applications", Numer. Algorithms 59 (2012), 95-118.
Elements accurateProduct(int n, int m, const Elements& x, const Elements& b) {
    const int bits = (binaryDigits - std::ilogb(std::max(1, n)) - 1) / 2;
    Elements leadingX(x.size()), trailingX(x.size()), leadingB(b.size()), trailingB(b.size());
    Elements anchors(static_cast<std::size_t>(n));
    for (int j = 0; j < n; ++j) {
        anchors[static_cast<std::size_t>(j)] = anchorFor(largestElement(n, 1, at(x.data(), n, 0, j), n), bits);
    }
    for (int j = 0; j < n; ++j) {
        const double* const whole = at(x.data(), n, 0, j);
        double* const leading = at(leadingX.data(), n, 0, j);
        double* const trailing = at(trailingX.data(), n, 0, j);
        for (int i = 0; i < n; ++i) {
            leading[i] = (whole[i] + anchors[static_cast<std::size_t>(i)]) - anchors[static_cast<std::size_t>(i)];
            trailing[i] = whole[i] - leading[i];
        }
    }
    for (int j = 0; j < m; ++j) {
        const double* const whole = at(b.data(), n, 0, j);
        const double anchor = anchorFor(largestElement(n, 1, whole, n), bits);
        for (int i = 0; i < n; ++i) {
            *at(leadingB.data(), n, i, j) = (whole[i] + anchor) - anchor;
            *at(trailingB.data(), n, i, j) = whole[i] - *at(leadingB.data(), n, i, j);
        }
    }
    Elements rest = product(Op::none, Op::none, n, m, n, trailingX, b);
    lapack::gemm(Op::none, Op::none, n, m, n, 1.0, leadingX.data(), n, trailingB.data(), n, 1.0, rest.data(), n);
    const Elements leading = product(Op::none, Op::none, n, m, n, leadingX, leadingB);
    lapack::axpy(n * m, 1.0, leading.data(), 1, rest.data(), 1);
    return rest;
}

/// a + a'
void addTranspose(int n, Elements& a) {
    lapack::scal(n, 2.0, a.data(), n + 1);
    forEachAboveDiagonal(n, [n, elements = a.data()](int i, int j) {
        const double sum = *at(elements, n, i, j) + *at(elements, n, j, i);
        *at(elements, n, i, j) = sum;
        *at(elements, n, j, i) = sum;
    });
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
    const Elements xb = accurateProduct(n, m, x, problem.b);
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

    // a' x + x a, or a' x a. Its triangles are made apart, and so are those of g gain: of the two roundings of an
    // element, the residual has the mean.
    Elements free = product(Op::transpose, Op::none, n, n, n, problem.a, x);
    double termsOfX = 0.0;
    if (problem.discrete) {
        free = product(Op::none, Op::none, n, n, n, free, problem.a);
        termsOfX = plainNorm(free) + plainNorm(x);
    } else {
        termsOfX = 2.0 * plainNorm(free);
        addTranspose(n, free);
    }
    const Elements bGain = product(Op::none, Op::none, n, n, m, problem.b, gain);
    const Elements gGain = product(Op::none, Op::none, n, n, m, g, gain);
    result.closedLoop.resize(x.size());
    result.residual.resize(x.size());
    for (std::size_t k = 0; k < x.size(); ++k) {
        result.closedLoop[k] = problem.a[k] - bGain[k];
        result.residual[k] = problem.q[k] + ((problem.discrete ? free[k] - x[k] : free[k]) - gGain[k]);
    }
    symmetrize(n, result.residual);
    result.norm = plainNorm(result.residual);
    result.terms = plainNorm(problem.q) + termsOfX + plainNorm(gGain);
    result.loopTerms = plainNorm(problem.a) + plainNorm(bGain);
    return allFinite(n, n, result.residual) && allFinite(n, n, result.closedLoop) &&
           allFinite(m, n, result.weightedB) && std::isfinite(result.terms);
}

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

/// The change of q that cannot be told from none, as a multiple of the identity: rounding knows no direction.
double uncertainty(const Evaluation& now) {
    return roundingsOfResidual * std::max(now.norm, lapack::machineEpsilon() * now.terms);
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

/// What the bounds of isSurelyBeyondDoubt are made of: norms of the change e of the loop, and of p e.
struct LoopChange {
    double e = 0.0;
    double pe = 0.0;
};

/// p for the loop moved by distance is no smaller than the p of the form, by which x changes where q changes by i, and
/// t p t' is p - i. So the gain w p t', or w p, is no larger than the root of the norms of w p w' and p.
LoopChange boundedChange(const Evaluation& now, const LoopForm& form, const Elements& p, const Elements& turnedB,
                         const Elements& turnedWeightedB, const Elements& way) {
    const int n = form.n;
    const auto m = static_cast<int>(turnedB.size()) / n;
    const double normOfP = plainNorm(p);
    const Elements wp = product(Op::none, Op::none, m, n, n, turnedWeightedB, p);
    const double ofWpw = lapack::dot(m * n, wp.data(), 1, turnedWeightedB.data(), 1);
    const double ofGain = uncertainty(now) * std::sqrt(std::max(0.0, ofWpw) * normOfP);
    const double ofPb = plainNorm(product(Op::none, Op::none, n, m, n, p, turnedB));
    const double ofWay = plainNorm(way);
    return {plainNorm(turnedB) * ofGain + ofWay, ofPb * ofGain + normOfP * ofWay};
}

/// The same without the bounds, by products of order n.
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
    return isHarmless(boundedChange(now, form, p, turnedB, turnedWeightedB, way)) ||
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
    const double share =
        !problem.discrete && problem.n >= largeOrder ? settledResidualOfLargeContinuous : settledResidual;
    const double settled = share * std::sqrt(problem.n) * lapack::machineEpsilon();
    for (int step = 0; step < mostSteps && iterate.now.norm > settled * iterate.now.terms; ++step) {
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

bool refineClearSolution(const RiccatiProblem& problem, Elements& x) {
    Iterate iterate;
    iterate.x = x;
    if (!evaluate(problem, x, iterate.now) || !(iterate.now.norm <= clearResidual * iterate.now.terms) ||
        !decompose(problem, iterate.now.closedLoop, iterate.form) ||
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
