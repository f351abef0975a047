#include <algorithm>
#include <cmath>
#include <limits>

#include <qormath/control_utility/plain_products.hpp>
#include <qormath/control_utility/quasi_triangular.hpp>
#include <qormath/control_utility/riccati_evaluation.hpp>
#include <qormath/lapack/lapack.hpp>

namespace qormath::control_utility {

namespace {

using lapack::Op;
using Elements = std::vector<double>;

// The rounding of a residual, in units of eps times the norms of its terms. Of 1600 random problems of either kind with
// closed-loop eigenvalues on the limit, or modes there that nothing reaches or sees, 1 unit let none pass.
constexpr double roundingsOfResidual = 2.0;
// A residual below this many times eps, the square root of n and its terms is what rounding makes of an exact solution,
// and no step lowers it but by chance. Where n is large it is 0.1 in discrete and 0.55 to 0.62 in continuous time.
constexpr double settledResidual = 0.25;
constexpr double settledResidualOfLargeContinuous = 0.7;
constexpr int largeOrder = 64;
// What is larger than this has no room for an anchor above it, and no place in a balanced problem.
constexpr int largestAnchor = 1022;
// Binary digits of a number.
constexpr int binaryDigits = std::numeric_limits<double>::digits;

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

}  // namespace

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

Elements residualAfter(const RiccatiProblem& problem, const Evaluation& now, const Elements& d) {
    const int n = problem.n;
    const int m = problem.m;
    // c' d c - d - (b' d c)' weight^-1 (b' d c) with the closed loop c
    const Elements dc = product(Op::none, Op::none, n, n, n, d, now.closedLoop);
    const Elements bdc = product(Op::transpose, Op::none, m, n, n, problem.b, dc);
    const Elements weighted = product(Op::none, Op::none, m, n, n, now.weightedB, dc);
    Elements result = now.residual;
    lapack::axpy(n * n, -1.0, d.data(), 1, result.data(), 1);
    multiplyToSymmetric(Op::transpose, Op::none, n, n, 1.0, now.closedLoop, dc, 1.0, result);
    multiplyToSymmetric(Op::transpose, Op::none, n, m, -1.0, bdc, weighted, 1.0, result);
    return result;
}

/// The change of q that cannot be told from none, as a multiple of the identity: rounding knows no direction.
double uncertainty(const Evaluation& now) {
    return roundingsOfResidual * std::max(now.norm, lapack::machineEpsilon() * now.terms);
}

double settledNorm(const RiccatiProblem& problem, const Evaluation& now) {
    const double share =
        !problem.discrete && problem.n >= largeOrder ? settledResidualOfLargeContinuous : settledResidual;
    return share * std::sqrt(problem.n) * lapack::machineEpsilon() * now.terms;
}

bool isSettled(const RiccatiProblem& problem, const Evaluation& now) {
    return now.norm <= settledNorm(problem, now);
}

LoopChange boundedChange(double ofQ, const Elements& p, const Elements& b, const Elements& weightedB, double ofWay) {
    const auto n = static_cast<int>(std::lround(std::sqrt(p.size())));
    const auto m = static_cast<int>(b.size()) / n;
    // c' p c is p - i or less. So the gain w p c, or w p, is no larger than the root of the norms of w p w' and p.
    const double normOfP = plainNorm(p);
    const Elements wp = product(Op::none, Op::none, m, n, n, weightedB, p);
    const double ofWpw = lapack::dot(m * n, wp.data(), 1, weightedB.data(), 1);
    const double ofGain = ofQ * std::sqrt(std::max(0.0, ofWpw) * normOfP);
    const double ofPb = plainNorm(product(Op::none, Op::none, n, m, n, p, b));
    return {plainNorm(b) * ofGain + ofWay, ofPb * ofGain + normOfP * ofWay};
}

}  // namespace qormath::control_utility
