#pragma once

// The steps of structure-preserving doubling, in double or in single precision (Real). riccati_doubling.hpp tells where
// they lead to and where they come from.

#include <algorithm>
#include <cmath>
#include <utility>
#include <vector>

#include <qormath/control_utility/plain_products.hpp>
#include <qormath/control_utility/quasi_triangular.hpp>
#include <qormath/control_utility/riccati_problem.hpp>
#include <qormath/lapack/finite.hpp>
#include <qormath/lapack/lapack.hpp>

namespace qormath::control_utility {

// Up to this share of n, columns in the factor of g make a step cheaper than g itself does: it is 0.6 of one there.
constexpr double thinFactor = 0.4;

/// The factors of a regular matrix, which take its place. False where it is singular or not finite.
template <typename Real>
bool factorize(int n, std::vector<Real>& matrix, std::vector<int>& pivots) {
    pivots.resize(static_cast<std::size_t>(n));
    return lapack::allFinite(n, n, matrix.data(), n) && lapack::getrf(n, n, matrix.data(), n, pivots.data()) == 0;
}

/// g as f k^-1 f', with few columns at first: a step doubles them. With k2 = k + f' h f,
///
///   (i + g h)^-1 a = a - f k2^-1 f' h a    and    g + a (i + g h)^-1 g a' = [f, a f] diag(k, k2)^-1 [f, a f]'.
template <typename Real>
class InputFactor {
  public:
    using Elements = std::vector<Real>;

    InputFactor() = default;

    InputFactor(int n, int m, Elements f, Elements k) : n_(n), columns_(m), f_(std::move(f)), k_(std::move(k)) {}

    template <typename Other>
    explicit InputFactor(const InputFactor<Other>& other)
        : n_(other.order()),
          columns_(other.columns()),
          f_(inPrecisionOf<Real>(other.f())),
          k_(inPrecisionOf<Real>(other.k())) {}

    int order() const { return n_; }
    int columns() const { return columns_; }
    const Elements& f() const { return f_; }
    const Elements& k() const { return k_; }

    bool isThin() const { return columns_ > 0 && columns_ <= thinFactor * n_; }

    /// (i + g h)^-1 a. False where k2 is singular.
    bool solve(const Elements& h, const Elements& a, Elements& solvedA) {
        using lapack::Op;
        const int p = columns_;
        Elements hf(elementCount(n_, p)), weighted(elementCount(p, n_));
        lapack::gemm(Op::none, Op::none, n_, p, n_, Real{1}, h.data(), n_, f_.data(), n_, Real{0}, hf.data(), n_);
        k2_ = k_;
        lapack::gemm(Op::transpose, Op::none, p, p, n_, Real{1}, f_.data(), n_, hf.data(), n_, Real{1}, k2_.data(), p);
        lapack::gemm(Op::transpose, Op::none, p, n_, n_, Real{1}, hf.data(), n_, a.data(), n_, Real{0}, weighted.data(),
                     p);
        Elements factor = k2_;
        std::vector<int> pivots;
        if (!factorize(p, factor, pivots)) {
            return false;
        }
        lapack::getrs(Op::none, p, n_, factor.data(), p, pivots.data(), weighted.data(), p);
        solvedA = a;
        lapack::gemm(Op::none, Op::none, n_, n_, p, Real{-1}, f_.data(), n_, weighted.data(), p, Real{1},
                     solvedA.data(), n_);
        return true;
    }

    /// Goes on to the next g, by the k2 of the last solution.
    void square(const Elements& a) {
        const int p = columns_;
        f_.resize(elementCount(n_, 2 * p));
        lapack::gemm(lapack::Op::none, lapack::Op::none, n_, p, n_, Real{1}, a.data(), n_, f_.data(), n_, Real{0},
                     at(f_.data(), n_, 0, p), n_);
        Elements k(elementCount(2 * p, 2 * p), Real{0});
        for (int j = 0; j < p; ++j) {
            std::copy_n(at(k_.data(), p, 0, j), p, at(k.data(), 2 * p, 0, j));
            std::copy_n(at(k2_.data(), p, 0, j), p, at(k.data(), 2 * p, p, p + j));
        }
        k_ = std::move(k);
        columns_ = 2 * p;
    }

    /// Goes on to (i + g h)^-1 g, by the k2 of the last solution.
    void shift() { k_ = k2_; }

    /// Makes g of the factor, which has no columns any more then. False where k is singular.
    bool multiplyOut(Elements& g) {
        const int p = columns_;
        Elements solved(elementCount(p, n_));
        std::vector<int> pivots;
        if (!factorize(p, k_, pivots)) {
            return false;
        }
        for (int j = 0; j < n_; ++j) {
            for (int i = 0; i < p; ++i) {
                *at(solved.data(), p, i, j) = *at(f_.data(), n_, j, i);
            }
        }
        lapack::getrs(lapack::Op::none, p, n_, k_.data(), p, pivots.data(), solved.data(), p);
        g.resize(elementCount(n_, n_));
        multiplyToSymmetric(lapack::Op::none, lapack::Op::none, n_, p, Real{1}, f_, solved, Real{0}, g);
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
template <typename Real>
class Doubling {
  public:
    using Elements = std::vector<Real>;

    /// g is not read where the factor of the inputs is thin.
    Doubling(int n, Elements a, Elements g, Elements h, InputFactor<Real> inputs)
        : n_(n),
          a_(std::move(a)),
          g_(std::move(g)),
          h_(std::move(h)),
          inputs_(std::move(inputs)),
          solvedA_(elementCount(n, n)),
          half_(solvedA_.size()),
          change_(solvedA_.size()) {}

    template <typename Other>
    explicit Doubling(const Doubling<Other>& other)
        : Doubling(other.order(), inPrecisionOf<Real>(other.a()), inPrecisionOf<Real>(other.g()),
                   inPrecisionOf<Real>(other.h()), InputFactor<Real>(other.inputs())) {}

    int order() const { return n_; }
    const Elements& a() const { return a_; }
    const Elements& g() const { return g_; }
    const Elements& h() const { return h_; }
    const InputFactor<Real>& inputs() const { return inputs_; }
    /// What the last step has added to h.
    const Elements& change() const { return change_; }

    /// h + a' h (i + g h)^-1 a. False where i + g h is singular.
    bool addToSolution() {
        if (!solve()) {
            return false;
        }
        multiply(lapack::Op::none, lapack::Op::none, n_, Real{1}, h_, solvedA_, Real{0}, half_);
        multiplyToSymmetric(lapack::Op::transpose, lapack::Op::none, n_, n_, Real{1}, a_, half_, Real{0}, change_);
        std::transform(h_.begin(), h_.end(), change_.begin(), h_.begin(), [](Real x, Real y) { return x + y; });
        return true;
    }

    /// g + a (i + g h)^-1 g a' and a (i + g h)^-1 a, with the h before addToSolution
    bool square() {
        using lapack::Op;
        if (inputs_.isThin()) {
            inputs_.square(a_);
            if (!inputs_.isThin() && !inputs_.multiplyOut(g_)) {
                return false;
            }
        } else {
            change_ = g_;
            lapack::getrs(Op::none, n_, n_, factor_.data(), n_, pivots_.data(), change_.data(), n_);
            multiply(Op::none, Op::none, n_, Real{1}, a_, change_, Real{0}, half_);
            multiplyToSymmetric(Op::none, Op::transpose, n_, n_, Real{1}, half_, a_, Real{1}, g_);
        }
        multiply(Op::none, Op::none, n_, Real{1}, a_, solvedA_, Real{0}, half_);
        a_.swap(half_);
        return true;
    }

    /// Of the h before addToSolution and what has come to it, goes on to the equation of x - h: a becomes
    /// (i + g h)^-1 a, which is the closed loop of h, g becomes (i + g h)^-1 g, and h what has come.
    void shift() {
        if (inputs_.isThin()) {
            inputs_.shift();
        } else {
            lapack::getrs(lapack::Op::none, n_, n_, factor_.data(), n_, pivots_.data(), g_.data(), n_);
            mirrorUpperTriangle(n_, g_.data(), n_);
        }
        a_.swap(solvedA_);
        h_.swap(change_);
    }

  private:
    /// (i + g h)^-1 a
    bool solve() {
        if (inputs_.isThin()) {
            return inputs_.solve(h_, a_, solvedA_);
        }
        factor_.assign(elementCount(n_, n_), Real{0});
        for (int k = 0; k < n_; ++k) {
            *at(factor_.data(), n_, k, k) = Real{1};
        }
        multiply(lapack::Op::none, lapack::Op::none, n_, Real{1}, g_, h_, Real{1}, factor_);
        if (!factorize(n_, factor_, pivots_)) {
            return false;
        }
        solvedA_ = a_;
        lapack::getrs(lapack::Op::none, n_, n_, factor_.data(), n_, pivots_.data(), solvedA_.data(), n_);
        return true;
    }

    int n_;
    Elements a_;
    Elements g_;
    Elements h_;
    InputFactor<Real> inputs_;
    Elements factor_;
    Elements solvedA_;
    Elements half_;
    Elements change_;
    std::vector<int> pivots_;
};

}  // namespace qormath::control_utility
