#include <algorithm>
#include <cmath>
#include <cstddef>
#include <initializer_list>
#include <random>
#include <utility>
#include <vector>

#include <qormath/control_utility/work_array.hpp>
#include <qormath/decompositions/detail/exponential_routes.hpp>
#include <qormath/decompositions/detail/power_bounds.hpp>
#include <qormath/lapack/blas.hpp>
#include <qormath/lapack/finite.hpp>
#include <qormath/lapack/lapack.hpp>

namespace qormath::decompositions {

namespace {

using control_utility::WorkArray;
using lapack::Op;

// Bounds of the powers' norm up to which the polynomials have a backward error of at most 2^-53 of the matrix: the sums
// of the absolute coefficients of log(exp(-x) T(x)) / x.
constexpr double limitOf2 = 2.580e-8;
constexpr double limitOf4 = 3.397e-4;
constexpr double limitOf8 = 4.991e-2;
constexpr double limitOf12 = 2.996e-1;
constexpr double limitOf21 = 1.758;
// The norm itself up to which the polynomial may be evaluated: roundings of the powers add up to eps exp(norm). They
// follow the 2-norm. That of row sums, a bound that is up to the root of the order larger, serves where it is small.
constexpr double largestNorm = 4.0;
// Multiples of it fill the unit interval evenly, so that a vector made of them is along no pattern of a matrix.
constexpr double goldenRatio = 0.61803398874989485;
// Steps of power iteration for an estimate of the 2-norm, which is seldom more than a few tenths below it by then.
constexpr int normSteps = 8;
// Random vectors that sample the norm of a power, and the factor by which the result is taken for larger. The root mean
// square of eight comes out below half the norm for one matrix of rank one in fifty, and below a seventh for one in
// 500,000, which adds eight times 2^-53 to the backward error; of a higher rank it is closer.
constexpr int sampleCount = 8;
constexpr double sampleReserve = 2.0;
// The order at which six products with them cost as much as one of order n.
constexpr int sampleCost = 96;
// Elements that linear combinations treat at a time, so that those of seven matrices stay in the first-level cache.
constexpr std::size_t stripLength = 512;

/// [a b; 0 d I] by its top rows, the two blocks side by side, and d.
struct Augmented {
    WorkArray top;
    double corner = 0.0;
};

struct Term {
    double factor;
    const Augmented* matrix;
};

/// out = constant I + the terms.
struct Combination {
    Augmented* out;
    double constant;
    std::initializer_list<Term> terms;
};

class SeriesExponential {
  public:
    /// For [a b; 0 0] less shift I.
    SeriesExponential(int n, int m, double shift, const double* top, int ldTop)
        : n_(n), m_(m), a_(fresh()), rowSums_(static_cast<std::size_t>(n)) {
        lapack::lacpy(n, n + m, top, ldTop, a_.top.get(), n);
        const std::size_t step = static_cast<std::size_t>(n) + 1;
        for (std::size_t k = 0; k < static_cast<std::size_t>(n); ++k) {
            a_.top[k * step] -= shift;
        }
        a_.corner = -shift;
    }

    /// False where a power overflows.
    bool run() {
        const double norm = note(1, a_);
        a2_ = product(a_, a_);
        if (!std::isfinite(note(2, a2_))) {
            return false;
        }
        const bool small = norm <= largestNorm;
        if (small && bounds_.root(3) <= limitOf2) {
            result_ = fresh();
            combine(result_, 1.0, {{1.0, &a_}, {0.5, &a2_}});
        } else if (small && bounds_.root(5) <= limitOf4) {
            evaluate4();
        } else if (small && bounds_.root(9) <= limitOf8) {
            evaluate8();
        } else {
            return evaluateHigher(norm);
        }
        return true;
    }

    bool isFinite() const { return lapack::allFinite(n_, n_ + m_, result_.top.get(), n_); }

    void copyTo(double factor, double* top, int ldTop) const {
        for (std::ptrdiff_t column = 0; column < n_ + m_; ++column) {
            const double* const from = result_.top.get() + column * n_;
            std::transform(from, from + n_, top + column * ldTop, [factor](double value) { return factor * value; });
        }
    }

  private:
    std::size_t length() const { return static_cast<std::size_t>(n_) * static_cast<std::size_t>(n_ + m_); }

    Augmented fresh() const { return {WorkArray(length()), 0.0}; }

    /// r = factor p q + beta r.
    void addProduct(const Augmented& p, const Augmented& q, double beta, Augmented& r, double factor = 1.0) const {
        lapack::gemm(Op::none, Op::none, n_, n_ + m_, n_, factor, p.top.get(), n_, q.top.get(), n_, beta, r.top.get(),
                     n_);
        const std::size_t right = static_cast<std::size_t>(n_) * static_cast<std::size_t>(n_);
        for (std::size_t k = right; k < length(); ++k) {
            r.top[k] += factor * q.corner * p.top[k];
        }
        r.corner = factor * p.corner * q.corner + beta * r.corner;
    }

    Augmented product(const Augmented& p, const Augmented& q) const {
        Augmented r = fresh();
        addProduct(p, q, 0.0, r);
        return r;
    }

    /// out = constant I + the terms, of which out may be one only as the first.
    void combine(Augmented& out, double constant, std::initializer_list<Term> terms) const {
        combine({{&out, constant, terms}});
    }

    /// The same for several combinations, none of which may be a term of a later one, a strip of all at a time: what
    /// they have in common is read once.
    void combine(std::initializer_list<Combination> combinations) const {
        for (std::size_t begin = 0; begin < length(); begin += stripLength) {
            const std::size_t end = std::min(length(), begin + stripLength);
            for (const Combination& combination : combinations) {
                combineStrip(combination, begin, end);
            }
        }
        for (const Combination& combination : combinations) {
            double corner = combination.constant;
            for (const Term& term : combination.terms) {
                corner += term.factor * term.matrix->corner;
            }
            combination.out->corner = corner;
            const std::size_t step = static_cast<std::size_t>(n_) + 1;
            for (std::size_t k = 0; k < static_cast<std::size_t>(n_); ++k) {
                combination.out->top[k * step] += combination.constant;
            }
        }
    }

    static void combineStrip(const Combination& combination, std::size_t begin, std::size_t end) {
        double* const to = combination.out->top.get();
        const auto first = combination.terms.begin();
        for (std::size_t k = begin; k < end; ++k) {
            to[k] = first->factor * first->matrix->top[k];
        }
        // Two terms at a time, in their order.
        auto term = first + 1;
        for (; combination.terms.end() - term >= 2; term += 2) {
            const double factor1 = term[0].factor, factor2 = term[1].factor;
            const double* const from1 = term[0].matrix->top.get();
            const double* const from2 = term[1].matrix->top.get();
            for (std::size_t k = begin; k < end; ++k) {
                to[k] = (to[k] + factor1 * from1[k]) + factor2 * from2[k];
            }
        }
        for (; term != combination.terms.end(); ++term) {
            const double* const from = term->matrix->top.get();
            for (std::size_t k = begin; k < end; ++k) {
                to[k] += term->factor * from[k];
            }
        }
    }

    /// The largest absolute row sum of a power of a and of d.
    double note(int power, const Augmented& x) {
        std::fill(rowSums_.begin(), rowSums_.end(), 0.0);
        for (int column = 0; column < n_; ++column) {
            const double* const elements = x.top.get() + static_cast<std::ptrdiff_t>(column) * n_;
            for (int row = 0; row < n_; ++row) {
                rowSums_[static_cast<std::size_t>(row)] += std::fabs(elements[row]);
            }
        }
        double norm = std::fabs(x.corner);
        for (const double sum : rowSums_) {
            norm = sum <= norm ? norm : sum;
        }
        bounds_.set(power, norm);
        return norm;
    }

    /// The 2-norm of a, estimated from below, or the bound where that is less or the estimate is no number.
    double sizeOf(double bound) const {
        const int columns = n_ + m_;
        std::vector<double> right(static_cast<std::size_t>(columns));
        std::vector<double> left(static_cast<std::size_t>(n_));
        for (int j = 0; j < columns; ++j) {
            right[static_cast<std::size_t>(j)] =
                (0.5 + std::fmod(goldenRatio * j, 1.0)) *
                lapack::nrm2(n_, a_.top.get() + static_cast<std::ptrdiff_t>(j) * n_, 1);
        }
        double estimate = 0.0;
        for (int k = 0; k < normSteps; ++k) {
            const double length = lapack::nrm2(columns, right.data(), 1);
            if (!(length > 0.0)) {
                return bound;
            }
            lapack::scal(columns, 1.0 / length, right.data(), 1);
            lapack::gemv(Op::none, n_, columns, 1.0, a_.top.get(), n_, right.data(), 1, 0.0, left.data(), 1);
            lapack::gemv(Op::transpose, n_, columns, 1.0, a_.top.get(), n_, left.data(), 1, 0.0, right.data(), 1);
            estimate = lapack::nrm2(n_, left.data(), 1);
        }
        const double size = std::max(estimate, std::fabs(a_.corner));
        return size <= bound ? size : bound;
    }

    void evaluate4() {
        Augmented right = fresh();
        combine(right, 0.5, {{1.0 / 6.0, &a_}, {1.0 / 24.0, &a2_}});
        result_ = fresh();
        combine(result_, 1.0, {{1.0, &a_}});
        addProduct(a2_, right, 1.0, result_);
    }

    void evaluate8() {
        const double r = std::sqrt(177.0);
        constexpr double x3 = 2.0 / 3.0;
        Augmented left = fresh();
        Augmented right = fresh();
        result_ = fresh();
        combine(left, 0.0, {{x3 * (1.0 + r) / 88.0, &a_}, {x3 * (1.0 + r) / 352.0, &a2_}});
        const Augmented a4 = product(a2_, left);
        combine(left, 0.0, {{x3, &a2_}, {1.0, &a4}});
        combine(right, (29.0 * r - 271.0) / (315.0 * x3),
                {{11.0 * (r - 1.0) / (1260.0 * x3), &a_},
                 {11.0 * (r - 9.0) / (5040.0 * x3), &a2_},
                 {(89.0 - r) / (5040.0 * x3 * x3), &a4}});
        combine(result_, 1.0, {{1.0, &a_}, {(857.0 - 58.0 * r) / 630.0, &a2_}});
        addProduct(left, right, 1.0, result_);
    }

    static int squaringsFor(double excess) { return excess > 1.0 ? static_cast<int>(std::ceil(std::log2(excess))) : 0; }

    /// bounds_.root(22), with Frobenius norms of powers up to the twelfth in place of row sums of the first three. Each
    /// comes from the lengths of its products with a few random vectors. Such a norm may be as far above the 2-norm as
    /// row sums are, but of a twelfth power the twelfth root is taken.
    double sampledRoot() const {
        std::mt19937_64 numbers;
        std::uniform_real_distribution<double> uniform(-std::sqrt(3.0), std::sqrt(3.0));
        std::vector<double> x(static_cast<std::size_t>(n_) * sampleCount);
        std::generate(x.begin(), x.end(), [&] { return uniform(numbers); });
        PowerBounds bounds;
        const auto multiplied = [&](const Augmented& matrix, const std::vector<double>& vectors, int power) {
            std::vector<double> product(vectors.size());
            lapack::gemm(Op::none, Op::none, n_, sampleCount, n_, 1.0, matrix.top.get(), n_, vectors.data(), n_, 0.0,
                         product.data(), n_);
            const double length = lapack::nrm2(n_ * sampleCount, product.data(), 1) / std::sqrt(double{sampleCount});
            bounds.set(power, std::max(sampleReserve * length, std::pow(std::fabs(a_.corner), power)));
            return product;
        };
        x = multiplied(a3_, x, 3);
        x = multiplied(a3_, x, 6);
        x = multiplied(a3_, x, 9);
        multiplied(a_, x, 10);
        multiplied(a2_, x, 11);
        multiplied(a3_, x, 12);
        return bounds.root(22);
    }

    bool evaluateHigher(double norm) {
        a3_ = product(a_, a2_);
        if (!std::isfinite(note(3, a3_))) {
            return false;
        }
        const double size = norm <= largestNorm ? norm : sizeOf(norm);
        if (size <= largestNorm && bounds_.root(13) <= limitOf12) {
            evaluate12();
            return true;
        }
        const double bySize = size / largestNorm;
        double byPowers = bounds_.root(22) / limitOf21;
        if ((squaringsFor(byPowers) - squaringsFor(bySize)) * n_ > sampleCost) {
            byPowers = std::min(byPowers, sampledRoot() / limitOf21);
        }
        const int scaling = squaringsFor(std::max(byPowers, bySize));
        evaluate21(std::ldexp(1.0, -scaling));
        Augmented next = std::move(a_);
        for (int k = 0; k < scaling; ++k) {
            addProduct(result_, result_, 0.0, next);
            std::swap(result_, next);
        }
        return true;
    }

    void evaluate12() {
        Augmented b4 = fresh();
        combine(b4, 0.0,
                {{-0.13181061013830184015, &a_}, {-0.02027855540589259079, &a2_}, {-0.00675951846863086359, &a3_}});
        Augmented a6 = fresh();
        combine(a6, 0.21169311829980944294,
                {{0.15822438471572672537, &a_}, {0.16563516943672741501, &a2_}, {0.01078627793157924250, &a3_}});
        addProduct(b4, b4, 1.0, a6);
        Augmented left = fresh();
        combine(left, 4.6,
                {{1.0, &a6},
                 {0.99287510353848683614, &a_},
                 {-0.13244556105279963884, &a2_},
                 {0.00172990000000000000, &a3_}});
        result_ = std::move(b4);
        combine(result_, -0.01860232051462055322,
                {{-0.00500702322573317730, &a_}, {-0.57342012296052226390, &a2_}, {-0.13339969394389205970, &a3_}});
        addProduct(left, a6, 1.0, result_);
    }

    /// The polynomial of the matrix times a factor.
    void evaluate21(double f) {
        const double f2 = f * f;
        const double f3 = f2 * f;
        Augmented left = fresh();
        combine(left, 0.0,
                {{1.4153242342651282345e-4 * f, &a_},
                 {9.7273119291048367828e-6 * f2, &a2_},
                 {8.3642045627164039144e-7 * f3, &a3_}});
        Augmented y0 = fresh();
        addProduct(a3_, left, 0.0, y0, f3);
        Augmented right = fresh();
        Augmented y1 = fresh();
        combine({{&left,
                  0.0,
                  {{1.0, &y0},
                   {0.71660226428751329924 * f, &a_},
                   {0.016248068508814449496 * f2, &a2_},
                   {0.0059413238694081596609 * f3, &a3_}}},
                 {&right,
                  0.0,
                  {{1.0, &y0}, {-0.0065245255293971552582 * f2, &a2_}, {-0.0017239650325682732727 * f3, &a3_}}},
                 {&y1,
                  0.0,
                  {{40.833051410822242512, &y0},
                   {-0.0083880410203329003994 * f2, &a2_},
                   {0.014213803808210910280 * f3, &a3_}}}});
        addProduct(left, right, 1.0, y1);
        combine({{&left,
                  0.0,
                  {{1.0, &y1},
                   {2.1894827353087483537 * f, &a_},
                   {0.62565052402702841958 * f2, &a2_},
                   {0.052055999193503563256 * f3, &a3_}}},
                 {&right, 0.0, {{1.0, &y1}, {-27.785272738459793173, &y0}, {0.27768948384859539540 * f, &a_}}},
                 {&y0,
                  1.0,
                  {{58.853349290036111503, &y0},
                   {0.11865484306696043378, &y1},
                   {f, &a_},
                   {-0.10700104897239031624 * f2, &a2_},
                   {0.012493070202923288957 * f3, &a3_}}}});
        result_ = std::move(y0);
        addProduct(left, right, 1.0, result_);
    }

    int n_;
    int m_;
    Augmented a_;
    Augmented a2_;
    Augmented a3_;
    Augmented result_;
    PowerBounds bounds_;
    std::vector<double> rowSums_;
};

}  // namespace

bool exponentialBySeries(int n, int m, double shift, double* top, int ldTop) {
    const double factor = std::exp(shift);
    if (!std::isfinite(factor)) {
        return false;
    }
    SeriesExponential exponential(n, m, shift, top, ldTop);
    if (!exponential.run() || !exponential.isFinite()) {
        return false;
    }
    exponential.copyTo(factor, top, ldTop);
    return true;
}

}  // namespace qormath::decompositions
