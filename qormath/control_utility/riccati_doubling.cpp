#include <algorithm>
#include <cmath>

#include <qormath/control_utility/quasi_triangular.hpp>
#include <qormath/control_utility/riccati_doubling.hpp>
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
// Up to this share of n, columns in the factor of g make a step cheaper than g itself does: it is 0.6 of one there.
constexpr double thinFactor = 0.4;
// Below this order the factor saves nothing.
constexpr int leastOrderForFactor = 64;
// Columns of a symmetric product that are made together. What is above the diagonal block is made once, not twice.
constexpr int stripWidth = 96;

bool allFinite(int n, const Elements& a) {
    return lapack::allFinite(n, n, a.data(), n);
}

double frobenius(int n, const Elements& a) {
    return lapack::lange(lapack::Norm::frobenius, n, n, a.data(), n);
}

void multiply(Op opA, Op opB, int n, double factor, const Elements& a, const Elements& b, double beta, Elements& c) {
    lapack::gemm(opA, opB, n, n, n, factor, a.data(), n, b.data(), n, beta, c.data(), n);
}

/// c := factor op(a) op(b) + beta c where that is known to be symmetric.
void multiplyToSymmetric(Op opA, Op opB, int n, int inner, double factor, const double* a, const double* b, double beta,
                         Elements& c) {
    const int lda = opA == Op::none ? n : inner;
    const int ldb = opB == Op::none ? inner : n;
    for (int first = 0; first < n; first += stripWidth) {
        const int last = std::min(n, first + stripWidth);
        const double* const strip = opB == Op::none ? at(b, ldb, 0, first) : at(b, ldb, first, 0);
        lapack::gemm(opA, opB, last, last - first, inner, factor, a, lda, strip, ldb, beta, at(c.data(), n, 0, first),
                     n);
    }
    mirrorUpperTriangle(n, c.data(), n);
}

void multiplyToSymmetric(Op opA, Op opB, int n, double factor, const Elements& a, const Elements& b, double beta,
                         Elements& c) {
    multiplyToSymmetric(opA, opB, n, n, factor, a.data(), b.data(), beta, c);
}

bool factorize(int n, Elements& matrix, std::vector<int>& pivots) {
    return allFinite(n, matrix) && lapack::getrf(n, n, matrix.data(), n, pivots.data()) == 0;
}

/// g as f k^-1 f', with few columns at first: a step doubles them. With k2 = k + f' h f,
///
///   (i + g h)^-1 a = a - f k2^-1 f' h a    and    g + a (i + g h)^-1 g a' = [f, a f] diag(k, k2)^-1 [f, a f]'.
class InputFactor {
  public:
    InputFactor() = default;

    InputFactor(int n, int m, const Elements& b, const Elements& r) : n_(n), columns_(m), f_(b), k_(r) {}

    bool isThin() const { return columns_ > 0 && columns_ <= thinFactor * n_; }

    /// (i + g h)^-1 a. False where k2 is singular.
    bool solve(const Elements& h, const Elements& a, Elements& solvedA) {
        const int p = columns_;
        Elements hf(elementCount(n_, p)), weighted(elementCount(p, n_));
        lapack::gemm(Op::none, Op::none, n_, p, n_, 1.0, h.data(), n_, f_.data(), n_, 0.0, hf.data(), n_);
        k2_ = k_;
        lapack::gemm(Op::transpose, Op::none, p, p, n_, 1.0, f_.data(), n_, hf.data(), n_, 1.0, k2_.data(), p);
        lapack::gemm(Op::transpose, Op::none, p, n_, n_, 1.0, hf.data(), n_, a.data(), n_, 0.0, weighted.data(), p);
        Elements factor = k2_;
        std::vector<int> pivots(static_cast<std::size_t>(p));
        if (!factorize(p, factor, pivots)) {
            return false;
        }
        lapack::getrs(Op::none, p, n_, factor.data(), p, pivots.data(), weighted.data(), p);
        solvedA = a;
        lapack::gemm(Op::none, Op::none, n_, n_, p, -1.0, f_.data(), n_, weighted.data(), p, 1.0, solvedA.data(), n_);
        return true;
    }

    /// Goes on to the next g, by the k2 of the last solution.
    void square(const Elements& a) {
        const int p = columns_;
        f_.resize(elementCount(n_, 2 * p));
        lapack::gemm(Op::none, Op::none, n_, p, n_, 1.0, a.data(), n_, f_.data(), n_, 0.0, at(f_.data(), n_, 0, p), n_);
        Elements k(elementCount(2 * p, 2 * p), 0.0);
        lapack::lacpy(p, p, k_.data(), p, k.data(), 2 * p);
        lapack::lacpy(p, p, k2_.data(), p, at(k.data(), 2 * p, p, p), 2 * p);
        k_ = std::move(k);
        columns_ = 2 * p;
    }

    /// Makes g of the factor, which has no columns any more then. False where k is singular.
    bool multiplyOut(Elements& g) {
        const int p = columns_;
        Elements solved(elementCount(p, n_));
        std::vector<int> pivots(static_cast<std::size_t>(p));
        if (!factorize(p, k_, pivots)) {
            return false;
        }
        for (int j = 0; j < n_; ++j) {
            lapack::copy(p, f_.data() + j, n_, at(solved.data(), p, 0, j), 1);
        }
        lapack::getrs(Op::none, p, n_, k_.data(), p, pivots.data(), solved.data(), p);
        multiplyToSymmetric(Op::none, Op::none, n_, p, 1.0, f_.data(), solved.data(), 0.0, g);
        columns_ = 0;
        return true;
    }

  private:
    int n_ = 0;
    int columns_ = 0;
    Elements f_;
    Elements k_;
    Elements k2_;
};

/// Of a, g and h with h + a' x (i + g x)^-1 a = x, what has the same x and the squared closed loop in place of a.
class Doubling {
  public:
    /// g may be given by a factor as well.
    Doubling(int n, PlainForm form, InputFactor inputs)
        : n_(n),
          form_(std::move(form)),
          inputs_(std::move(inputs)),
          factor_(elementCount(n, n)),
          solvedA_(factor_.size()),
          solvedG_(factor_.size()),
          half_(factor_.size()),
          change_(factor_.size()),
          pivots_(static_cast<std::size_t>(n)) {}

    bool run(int mostSteps, Elements& x) {
        for (int step = 0; step < mostSteps; ++step) {
            if (!solve()) {
                return false;
            }
            const double change = addToSolution();
            const double norm = frobenius(n_, form_.h);
            if (!std::isfinite(norm) || !std::isfinite(change)) {
                return false;
            }
            const bool isSettled = change <= smallChange * norm && frobenius(n_, form_.a) <= smallLoop;
            if (isSettled || change <= n_ * lapack::machineEpsilon() * norm) {
                x = std::move(form_.h);
                return true;
            }
            if (!square()) {
                return false;
            }
        }
        return false;
    }

  private:
    /// (i + g h)^-1 [a, g]
    bool solve() {
        if (inputs_.isThin()) {
            return inputs_.solve(form_.h, form_.a, solvedA_);
        }
        lapack::laset(n_, n_, 0.0, 1.0, factor_.data(), n_);
        multiply(Op::none, Op::none, n_, 1.0, form_.g, form_.h, 1.0, factor_);
        if (!factorize(n_, factor_, pivots_)) {
            return false;
        }
        solvedA_ = form_.a;
        solvedG_ = form_.g;
        for (Elements* const sides : {&solvedA_, &solvedG_}) {
            lapack::getrs(Op::none, n_, n_, factor_.data(), n_, pivots_.data(), sides->data(), n_);
        }
        return true;
    }

    /// h + a' h (i + g h)^-1 a; gives the norm of what has come to h.
    double addToSolution() {
        multiply(Op::none, Op::none, n_, 1.0, form_.h, solvedA_, 0.0, half_);
        multiplyToSymmetric(Op::transpose, Op::none, n_, 1.0, form_.a, half_, 0.0, change_);
        lapack::axpy(n_ * n_, 1.0, change_.data(), 1, form_.h.data(), 1);
        return frobenius(n_, change_);
    }

    /// g + a (i + g h)^-1 g a' and a (i + g h)^-1 a
    bool square() {
        if (inputs_.isThin()) {
            inputs_.square(form_.a);
            if (!inputs_.isThin() && !inputs_.multiplyOut(form_.g)) {
                return false;
            }
        } else {
            multiply(Op::none, Op::none, n_, 1.0, form_.a, solvedG_, 0.0, half_);
            multiplyToSymmetric(Op::none, Op::transpose, n_, 1.0, half_, form_.a, 1.0, form_.g);
        }
        multiply(Op::none, Op::none, n_, 1.0, form_.a, solvedA_, 0.0, half_);
        form_.a.swap(half_);
        return true;
    }

    int n_;
    PlainForm form_;
    InputFactor inputs_;
    Elements factor_;
    Elements solvedA_;
    Elements solvedG_;
    Elements half_;
    Elements change_;
    std::vector<int> pivots_;
};

/// The root of the mean square of the eigenvalues, were the Hamiltonian matrix a normal one.
double middleOfSpectrum(int n, const PlainForm& form) {
    const double a = frobenius(n, form.a);
    const double gh = std::sqrt(frobenius(n, form.g)) * std::sqrt(frobenius(n, form.h));
    return std::hypot(a, gh) / std::sqrt(n);
}

/// Cayley's transform of the continuous problem, which keeps x: eigenvalues l of the closed loop become
/// (l + s) / (l - s).
bool transformToDiscrete(int n, PlainForm& form) {
    const double s = middleOfSpectrum(n, form);
    if (!(s > 0.0) || !std::isfinite(s)) {
        return false;
    }
    Elements shifted = form.a;
    for (int k = 0; k < n; ++k) {
        *at(shifted.data(), n, k, k) -= s;
    }
    Elements w(shifted.size()), solvedG = form.g, solvedH = form.h;
    for (int j = 0; j < n; ++j) {
        lapack::copy(n, at(shifted.data(), n, 0, j), 1, w.data() + j, n);
    }
    std::vector<int> pivots(static_cast<std::size_t>(n));
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
    multiplyToSymmetric(Op::none, Op::none, n, 2.0 * s, solvedG, inverse, 0.0, form.g);
    multiplyToSymmetric(Op::none, Op::transpose, n, 2.0 * s, inverse, solvedH, 0.0, form.h);
    for (int j = 0; j < n; ++j) {
        for (int i = 0; i < n; ++i) {
            *at(form.a.data(), n, i, j) = (i == j ? 1.0 : 0.0) + 2.0 * s * *at(inverse.data(), n, j, i);
        }
    }
    return allFinite(n, form.a) && allFinite(n, form.g) && allFinite(n, form.h);
}

}  // namespace

bool solveByDoubling(const RiccatiProblem& problem, Elements& x, bool mayFactorInputs) {
    PlainForm form;
    if (!takeInCrossTerm(problem, form) || (!problem.discrete && !transformToDiscrete(problem.n, form))) {
        return false;
    }
    const int steps = problem.discrete ? mostDoublings : mostDoublingsOfContinuous;
    const InputFactor inputs(problem.n, problem.m, problem.b, problem.r);
    if (mayFactorInputs && problem.discrete && problem.n >= leastOrderForFactor && inputs.isThin() &&
        Doubling(problem.n, form, inputs).run(steps, x)) {
        return true;
    }
    return Doubling(problem.n, std::move(form), {}).run(steps, x);
}

}  // namespace qormath::control_utility
