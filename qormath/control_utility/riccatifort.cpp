#include <algorithm>
#include <cmath>
#include <vector>

#include <qormath/control_utility/plain_products.hpp>
#include <qormath/control_utility/quasi_triangular.hpp>
#include <qormath/control_utility/riccati_doubling.hpp>
#include <qormath/control_utility/riccati_problem.hpp>
#include <qormath/control_utility/riccati_refinement.hpp>
#include <qormath/control_utility/riccati_smith_refinement.hpp>
#include <qormath/control_utility/riccati_subspace.hpp>
#include <qormath/control_utility/riccatifort.hpp>
#include <qormath/lapack/finite.hpp>
#include <qormath/lapack/lapack.hpp>

namespace qormath::control_utility {

namespace {

using Elements = std::vector<double>;

enum Outcome : int { success = 0, notFinite = 1, notSymmetric = 2, noStabilisingSolution = 3 };

// With a worse conditioned r, its inverse would cost more than half of the digits.
constexpr double wellConditioned = 0x1p-26;

// Below this order doubling is no faster in continuous time than the Hamiltonian Schur form.
constexpr int leastOrderToDouble = 32;

// Below this order single precision saves nothing that counts.
constexpr int leastOrderToApproximate = 64;

int illegalArgument(int n, int m, const double* a, const double* b, const double* q, const double* r, const double* s,
                    const double* x) {
    if (n < 0) {
        return -2;
    }
    if (m < 0) {
        return -3;
    }
    if (n == 0) {
        return 0;
    }
    const double* const arrays[] = {a, b, q, r, s, x};
    const bool needed[] = {true, m > 0, true, m > 0, m > 0, true};
    for (int k = 0; k < 6; ++k) {
        if (needed[k] && arrays[k] == nullptr) {
            return -4 - k;
        }
    }
    return 0;
}

bool isWellConditioned(const RiccatiProblem& problem) {
    const int m = problem.m;
    if (m == 0) {
        return true;
    }
    Elements factor = problem.r;
    std::vector<int> pivots(static_cast<std::size_t>(m)), integerWork(static_cast<std::size_t>(m));
    Elements work(4 * static_cast<std::size_t>(m));
    const double norm = lapack::lange1(m, m, factor.data(), m);
    double reciprocal = 0.0;
    return norm > 0.0 && lapack::getrf(m, m, factor.data(), m, pivots.data()) == 0 &&
           lapack::gecon(m, factor.data(), m, norm, reciprocal, work.data(), integerWork.data()) == 0 &&
           reciprocal >= wellConditioned;
}

bool solveBalanced(const RiccatiProblem& problem, Elements& x) {
    if (isWellConditioned(problem)) {
        const Closeness closeness = suitsSquares(problem) ? Closeness::coarse : Closeness::near;
        if (problem.n >= leastOrderToApproximate && approximateByDoubling(problem, x, closeness) &&
            refineClearSolution(problem, x)) {
            return true;
        }
        if (!problem.discrete && problem.n >= leastOrderToDouble && solveByDoubling(problem, x) &&
            refineClearSolution(problem, x)) {
            return true;
        }
        const bool found = problem.discrete ? solveByDoubling(problem, x) : solveByHamiltonian(problem, x);
        if (found && refineAndJudge(problem, x)) {
            return true;
        }
    }
    return solveByExtendedPencil(problem, x) && refineAndJudge(problem, x);
}

bool allFinite(const RiccatiProblem& problem) {
    const int n = problem.n;
    const int m = problem.m;
    return lapack::allFinite(n, n, problem.a.data(), n) && lapack::allFinite(n, m, problem.b.data(), n) &&
           lapack::allFinite(n, n, problem.q.data(), n) && lapack::allFinite(m, m, problem.r.data(), m) &&
           lapack::allFinite(n, m, problem.s.data(), n);
}

Outcome solve(RiccatiProblem& problem, double* x) {
    const int n = problem.n;
    if (!allFinite(problem)) {
        return notFinite;
    }
    if (!isSymmetric(n, problem.q) || !isSymmetric(problem.m, problem.r)) {
        return notSymmetric;
    }
    symmetrize(n, problem.q);
    symmetrize(problem.m, problem.r);
    if (!leaveOutIdleInputs(problem) || !allFinite(problem)) {
        return noStabilisingSolution;
    }
    const RiccatiScaling scaling = balanceRiccatiProblem(problem);
    Elements y;
    if (!allFinite(problem) || !solveBalanced(problem, y)) {
        return noStabilisingSolution;
    }
    for (int j = 0; j < n; ++j) {
        for (int i = 0; i < n; ++i) {
            const double factors =
                scaling.state[static_cast<std::size_t>(i)] * scaling.state[static_cast<std::size_t>(j)];
            *at(y.data(), n, i, j) *= scaling.weight / factors;
        }
    }
    if (!lapack::allFinite(n, n, y.data(), n)) {
        return noStabilisingSolution;
    }
    std::copy(y.begin(), y.end(), x);
    return success;
}

}  // namespace

void RICCATIFORT(const int* discrete, const int* n, const int* m, const double* a, const double* b, const double* q,
                 const double* r, const double* s, double* x, int* info) {
    *info = illegalArgument(*n, *m, a, b, q, r, s, x);
    if (*info != 0 || *n == 0) {
        return;
    }
    const auto copied = [](const double* source, int rows, int columns) {
        return columns > 0 ? Elements(source, source + elementCount(rows, columns)) : Elements();
    };
    RiccatiProblem problem{
        *discrete != 0,   *n, *m, copied(a, *n, *n), copied(b, *n, *m), copied(q, *n, *n), copied(r, *m, *m),
        copied(s, *n, *m)};
    *info = solve(problem, x);
}

}  // namespace qormath::control_utility
