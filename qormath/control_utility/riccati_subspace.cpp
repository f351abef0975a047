#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>

#include <qormath/control_utility/plain_products.hpp>
#include <qormath/control_utility/quasi_triangular.hpp>
#include <qormath/control_utility/real_schur_form.hpp>
#include <qormath/control_utility/riccati_subspace.hpp>
#include <qormath/control_utility/schur_reordering.hpp>
#include <qormath/lapack/lapack.hpp>

namespace qormath::control_utility {

namespace {

using lapack::Op;
using Elements = std::vector<double>;

// The block width for which work arrays of the orthogonal factorisations are laid out.
constexpr int workBlock = 64;

/// x = u2 u1^-1 from the upper and lower half of the leading columns of a 2 n by 2 n matrix.
bool solutionOfSubspace(int n, const Elements& vectors, Elements& x) {
    const int order = 2 * n;
    Elements factor(elementCount(n, n)), result(elementCount(n, n));
    for (int i = 0; i < n; ++i) {  // u1' x = u2', since x is symmetric
        lapack::copy(n, at(vectors.data(), order, i, 0), order, at(factor.data(), n, 0, i), 1);
        lapack::copy(n, at(vectors.data(), order, n + i, 0), order, at(result.data(), n, 0, i), 1);
    }
    std::vector<int> pivots(static_cast<std::size_t>(n));
    if (lapack::getrf(n, n, factor.data(), n, pivots.data()) != 0) {
        return false;
    }
    lapack::getrs(Op::none, n, n, factor.data(), n, pivots.data(), result.data(), n);
    if (!allFinite(n, n, result)) {
        return false;
    }
    symmetrize(n, result);
    x = std::move(result);
    return true;
}

/// Marks the n smallest of 2 n keys. False when the next one is no larger: there is then no set of n.
bool markSmallest(const Elements& keys, std::vector<int>& selected) {
    const std::size_t n = keys.size() / 2;
    std::vector<std::size_t> order(keys.size());
    std::iota(order.begin(), order.end(), std::size_t{0});
    std::stable_sort(order.begin(), order.end(), [&](std::size_t i, std::size_t j) { return keys[i] < keys[j]; });
    selected.assign(keys.size(), 0);
    for (std::size_t i = 0; i < n; ++i) {
        selected[order[i]] = 1;
    }
    return n == 0 || keys[order[n - 1]] < keys[order[n]];
}

/// The pencil alpha - lambda beta of the extended problem, without its last m columns, and the transformation of the
/// rows that takes those out.
struct ExtendedPencil {
    Elements alpha;
    Elements beta;
};

/// The rows tell, in this order, of the next state, the costate and the optimal input, in terms of (x, p, u):
///   continuous:  x' = a x + b u,     p' = -q x - a' p - s u,   0 = s' x + b' p + r u
///   discrete:    x+ = a x + b u,     a' p+ = -q x + p - s u,   -b' p+ = s' x + r u
ExtendedPencil extendedPencil(const RiccatiProblem& problem, Elements& inputs) {
    const int n = problem.n;
    const int m = problem.m;
    const int height = 2 * n + m;
    ExtendedPencil pencil{Elements(elementCount(height, 2 * n), 0.0), Elements(elementCount(height, 2 * n), 0.0)};
    inputs.assign(elementCount(height, m), 0.0);
    const double costate = problem.discrete ? 1.0 : 0.0;
    for (int j = 0; j < n; ++j) {
        *at(pencil.beta.data(), height, j, j) = 1.0;
        *at(pencil.beta.data(), height, n + j, n + j) = 1.0 - costate;
        *at(pencil.alpha.data(), height, n + j, n + j) = costate;
        for (int i = 0; i < n; ++i) {
            *at(pencil.alpha.data(), height, i, j) = *at(problem.a.data(), n, i, j);
            *at(pencil.alpha.data(), height, n + i, j) = -*at(problem.q.data(), n, i, j);
            if (problem.discrete) {
                *at(pencil.beta.data(), height, n + i, n + j) = *at(problem.a.data(), n, j, i);
            } else {
                *at(pencil.alpha.data(), height, n + i, n + j) = -*at(problem.a.data(), n, j, i);
            }
        }
        for (int i = 0; i < m; ++i) {
            *at(pencil.alpha.data(), height, 2 * n + i, j) = *at(problem.s.data(), n, j, i);
            Elements& ofCostate = problem.discrete ? pencil.beta : pencil.alpha;
            *at(ofCostate.data(), height, 2 * n + i, n + j) =
                (problem.discrete ? -1.0 : 1.0) * *at(problem.b.data(), n, j, i);
        }
    }
    for (int j = 0; j < m; ++j) {
        for (int i = 0; i < n; ++i) {
            *at(inputs.data(), height, i, j) = *at(problem.b.data(), n, i, j);
            *at(inputs.data(), height, n + i, j) = -*at(problem.s.data(), n, i, j);
        }
        std::copy_n(at(problem.r.data(), m, 0, j), m, at(inputs.data(), height, 2 * n, j));
    }
    return pencil;
}

/// Multiplies the rows by the orthogonal factor that makes the inputs triangular, and keeps the last 2 n rows, in which
/// no input is left.
bool compressInputs(int n, int m, Elements& inputs, ExtendedPencil& pencil) {
    const int height = 2 * n + m;
    const int workLength = workBlock * std::max(2 * n, m);
    Elements tau(static_cast<std::size_t>(m)), work(static_cast<std::size_t>(workLength));
    if (m > 0) {
        if (lapack::geqrf(height, m, inputs.data(), height, tau.data(), work.data(), workLength) != 0) {
            return false;
        }
        for (Elements* const part : {&pencil.alpha, &pencil.beta}) {
            lapack::ormqr(lapack::Side::left, Op::transpose, height, 2 * n, m, inputs.data(), height, tau.data(),
                          part->data(), height, work.data(), workLength);
        }
    }
    for (Elements* const part : {&pencil.alpha, &pencil.beta}) {
        Elements rest(elementCount(2 * n, 2 * n));
        lapack::lacpy(2 * n, 2 * n, part->data() + m, height, rest.data(), 2 * n);
        *part = std::move(rest);
    }
    return true;
}

}  // namespace

bool solveByHamiltonian(const RiccatiProblem& problem, Elements& x) {
    const int n = problem.n;
    const int order = 2 * n;
    PlainForm plain;
    if (!takeInCrossTerm(problem, plain)) {
        return false;
    }
    Elements hamiltonian(elementCount(order, order));
    for (int j = 0; j < n; ++j) {
        for (int i = 0; i < n; ++i) {
            *at(hamiltonian.data(), order, i, j) = *at(plain.a.data(), n, i, j);
            *at(hamiltonian.data(), order, i, n + j) = -*at(plain.g.data(), n, i, j);
            *at(hamiltonian.data(), order, n + i, j) = -*at(plain.h.data(), n, i, j);
            *at(hamiltonian.data(), order, n + i, n + j) = -*at(plain.a.data(), n, j, i);
        }
    }
    if (!allFinite(order, order, hamiltonian)) {
        return false;
    }
    const auto length = static_cast<std::size_t>(order);
    Elements wr(length), wi(length), vectors(elementCount(order, order));
    if (realSchurForm(order, hamiltonian.data(), order, wr.data(), wi.data(), vectors.data(), order) != 0) {
        return false;
    }
    std::vector<int> selected;
    if (!markSmallest(wr, selected)) {
        return false;
    }
    const std::vector<char> marks(selected.begin(), selected.end());
    int leading = 0;
    return reorderSchurForm(marks.data(), order, hamiltonian.data(), order, vectors.data(), order, wr.data(), wi.data(),
                            leading) == 0 &&
           leading == n && solutionOfSubspace(n, vectors, x);
}

bool solveByExtendedPencil(const RiccatiProblem& problem, Elements& x) {
    const int n = problem.n;
    const int order = 2 * n;
    Elements inputs;
    ExtendedPencil pencil = extendedPencil(problem, inputs);
    if (!compressInputs(n, problem.m, inputs, pencil) || !allFinite(order, order, pencil.alpha) ||
        !allFinite(order, order, pencil.beta)) {
        return false;
    }
    const auto length = static_cast<std::size_t>(order);
    const int workLength = 8 * order + workBlock * order + 16;
    Elements alphaRe(length), alphaIm(length), beta(length), vectors(elementCount(order, order));
    Elements work(static_cast<std::size_t>(workLength));
    if (lapack::gges(order, pencil.alpha.data(), order, pencil.beta.data(), order, alphaRe.data(), alphaIm.data(),
                     beta.data(), vectors.data(), order, work.data(), workLength) != 0) {
        return false;
    }
    // The nearer to the stable side, the smaller the key. An infinite eigenvalue has beta 0; 0/0, the sign of a
    // singular pencil, counts as infinite too, and x is found unfit later.
    Elements keys(length);
    for (std::size_t i = 0; i < length; ++i) {
        const double modulus = std::hypot(alphaRe[i], alphaIm[i]);
        if (beta[i] == 0.0) {
            keys[i] = std::numeric_limits<double>::infinity();
        } else {
            keys[i] = (problem.discrete ? modulus : alphaRe[i]) / beta[i];
        }
    }
    std::vector<int> selected;
    int leading = 0;
    return markSmallest(keys, selected) &&
           lapack::tgsen(selected.data(), order, pencil.alpha.data(), order, pencil.beta.data(), order, alphaRe.data(),
                         alphaIm.data(), beta.data(), vectors.data(), order, leading, work.data(), workLength) == 0 &&
           leading == n && solutionOfSubspace(n, vectors, x);
}

}  // namespace qormath::control_utility
