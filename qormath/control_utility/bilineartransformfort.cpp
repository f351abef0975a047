#include <algorithm>
#include <cmath>
#include <cstddef>
#include <utility>
#include <vector>

#include <qormath/control_utility/bilineartransformfort.hpp>
#include <qormath/control_utility/inverse.hpp>
#include <qormath/control_utility/work_array.hpp>
#include <qormath/lapack/finite.hpp>
#include <qormath/lapack/lapack.hpp>

namespace qormath::control_utility {

namespace {

using lapack::Op;
using Elements = std::vector<double>;

enum Outcome : int { success = 0, notFinite = 1, singular = 2 };

std::size_t cells(int rows, int columns) {
    return static_cast<std::size_t>(rows) * static_cast<std::size_t>(columns);
}

std::size_t index(int row, int column, int rows) {
    return static_cast<std::size_t>(row) + cells(column, rows);
}

/// The power of two that brings a magnitude into [1/2, 1).
double scaleOf(double magnitude) {
    int exponent = 0;
    std::frexp(magnitude, &exponent);
    return std::ldexp(1.0, -exponent);
}

/// The LU factors of M = a + shift I with scaled rows and columns.
class ScaledFactorisation {
  public:
    ScaledFactorisation(int n, const double* a, double shift)
        : n_(n),
          lu_(cells(n, n) + workToInvert(n)),
          rowScale_(static_cast<std::size_t>(n), 1.0),
          columnScale_(static_cast<std::size_t>(n), 1.0),
          pivots_(static_cast<std::size_t>(n)) {
        Elements largest(static_cast<std::size_t>(n), 0.0);
        outcome_ = take(a, shift, largest);
        if (outcome_ == success &&
            !(equilibrate(largest) && lapack::getrf(n_, n_, lu_.get(), n_, pivots_.data()) == 0)) {
            outcome_ = singular;
        }
    }

    /// Nothing can be solved for unless it is success: M is not finite, or elimination has met a zero pivot.
    Outcome outcome() const { return outcome_; }

    /// Whether M is singular to working precision: a reciprocal condition within the rounding that n additions leave,
    /// by an estimate that costs a few substitutions.
    bool isSingular() const {
        Elements work(4 * static_cast<std::size_t>(n_));
        std::vector<int> integerWork(static_cast<std::size_t>(n_));
        double reciprocal = 0.0;
        lapack::gecon(n_, lu_.get(), n_, norm_, reciprocal, work.data(), integerWork.data());
        return !(reciprocal > n_ * lapack::machineEpsilon());
    }

    /// result = scale (factor M^-1 + sign I), with sign 1 or -1, by one inverse in the place of the factors instead of
    /// a solution for n right-hand sides. False, and nothing is written, unless M is regular beyond doubt: by the norm
    /// of the inverse itself, which the estimate can only take for smaller. Neither where the sum is below one of its
    /// terms, so that it would lose digits that a solution has, nor where it is close to what a number can hold.
    bool intoMap(double factor, double sign, double scale, double* result) && {
        const std::vector<int> order = invertFactors(n_, lu_.get(), pivots_.data(), lu_.get() + cells(n_, n_));
        double ofInverse = 0.0;
        double ofSum = 0.0;
        double total = 0.0;
        for (int k = 0; k < n_; ++k) {
            double* const column = lu_.get() + cells(n_, order[static_cast<std::size_t>(k)]);
            ofInverse = std::max(ofInverse, lapack::asum(n_, column, 1));
            const double factorOfColumn = factor * rowScale_[static_cast<std::size_t>(k)];
            for (int i = 0; i < n_; ++i) {
                column[i] *= factorOfColumn * columnScale_[static_cast<std::size_t>(i)];
            }
            column[k] += sign;
            const double sum = lapack::asum(n_, column, 1);
            ofSum = std::max(ofSum, sum);
            total += sum;
        }
        const bool isRegular = 1.0 / (norm_ * ofInverse) > 2.0 * n_ * lapack::machineEpsilon();
        if (!isRegular || !(ofSum >= 1.0) || !std::isfinite(total * scale)) {
            return false;
        }
        for (int k = 0; k < n_; ++k) {
            const double* const column = lu_.get() + cells(n_, order[static_cast<std::size_t>(k)]);
            std::transform(column, column + n_, result + cells(n_, k), [scale](double value) { return scale * value; });
        }
        return true;
    }

    /// x = M^-1 x, for count columns.
    void solve(double* x, int count) const {
        scaleRows(x, count, rowScale_);
        lapack::getrs(Op::none, n_, count, lu_.get(), n_, pivots_.data(), x, n_);
        scaleRows(x, count, columnScale_);
    }

    /// x = M'^-1 x, for count columns.
    void solveTransposed(double* x, int count) const {
        scaleRows(x, count, columnScale_);
        lapack::getrs(Op::transpose, n_, count, lu_.get(), n_, pivots_.data(), x, n_);
        scaleRows(x, count, rowScale_);
    }

  private:
    /// Takes M over, and the largest modulus of each of its rows, of which there are zeros.
    Outcome take(const double* a, double shift, Elements& largest) {
        for (int j = 0; j < n_; ++j) {
            double* const column = lu_.get() + cells(n_, j);
            std::copy_n(a + cells(n_, j), n_, column);
            column[j] += shift;
            if (!lapack::allFinite(n_, 1, column, n_)) {
                return notFinite;
            }
            for (int i = 0; i < n_; ++i) {
                double& row = largest[static_cast<std::size_t>(i)];
                row = std::max(row, std::fabs(column[i]));
            }
        }
        return success;
    }

    /// Brings the largest element of each row, then of each column, into [1/2, 1), and takes the norm. False where
    /// there is none.
    bool equilibrate(const Elements& largest) {
        if (std::find(largest.begin(), largest.end(), 0.0) != largest.end()) {
            return false;
        }
        std::transform(largest.begin(), largest.end(), rowScale_.begin(), scaleOf);
        // A column at a time, while it is in the cache.
        for (int j = 0; j < n_; ++j) {
            double* const column = lu_.get() + cells(j, n_);
            scaleRows(column, 1, rowScale_);
            const double top = std::fabs(column[lapack::iamax(n_, column, 1)]);
            if (top == 0.0) {
                return false;
            }
            columnScale_[static_cast<std::size_t>(j)] = scaleOf(top);
            lapack::scal(n_, scaleOf(top), column, 1);
            norm_ = std::max(norm_, lapack::asum(n_, column, 1));
        }
        return true;
    }

    void scaleRows(double* x, int columns, const Elements& scale) const {
        for (int j = 0; j < columns; ++j) {
            for (int i = 0; i < n_; ++i) {
                x[index(i, j, n_)] *= scale[static_cast<std::size_t>(i)];
            }
        }
    }

    int n_;
    WorkArray lu_;  // and what their inversion needs, on the same large pages
    Elements rowScale_;
    Elements columnScale_;
    std::vector<int> pivots_;
    double norm_ = 0.0;
    Outcome outcome_ = success;
};

/// a + shift I.
Elements shifted(int n, const double* a, double shift) {
    Elements result(a, a + cells(n, n));
    for (int k = 0; k < n; ++k) {
        result[index(k, k, n)] += shift;
    }
    return result;
}

/// The n by p transpose of a p by n matrix.
Elements transposeOf(int p, int n, const double* c) {
    Elements result(cells(n, p));
    for (int j = 0; j < n; ++j) {
        for (int i = 0; i < p; ++i) {
            result[index(j, i, n)] = c[index(i, j, p)];
        }
    }
    return result;
}

int illegalArgument(int direction, int n, int m, int p, double alpha, double beta) {
    const auto isFactor = [](double value) { return std::isfinite(value) && value != 0.0; };
    if (direction != 0 && direction != 1) {
        return -1;
    }
    if (n < 0) {
        return -2;
    }
    if (m < 0) {
        return -3;
    }
    if (p < 0) {
        return -4;
    }
    if (!isFactor(alpha)) {
        return -9;
    }
    return isFactor(beta) ? 0 : -10;
}

}  // namespace

int transformBilinearly(int direction, int states, int inputs, int outputs, double* a, double* b, double* c, double* d,
                        double alpha, double beta, bool mayInvert) {
    const int illegal = illegalArgument(direction, states, inputs, outputs, alpha, beta);
    if (illegal != 0 || states == 0) {
        return illegal;
    }
    // In either direction N = a + shift I is factored, which is -M on the way to discrete time.
    const bool toDiscrete = direction == 0;
    const double sign = toDiscrete ? -1.0 : 1.0;
    const double shift = toDiscrete ? -beta : alpha;
    ScaledFactorisation factorisation(states, a, shift);
    if (factorisation.outcome() != success) {
        return factorisation.outcome();
    }
    Elements solvedB(b, b + cells(states, inputs));
    Elements y = transposeOf(outputs, states, c);
    factorisation.solve(solvedB.data(), inputs);
    factorisation.solveTransposed(y.data(), outputs);
    const double scale = toDiscrete ? alpha : beta;
    if (!mayInvert || !std::move(factorisation).intoMap(-2.0 * (toDiscrete ? beta : alpha), sign, scale, a)) {
        const ScaledFactorisation again(states, a, shift);
        if (again.isSingular()) {
            return singular;
        }
        Elements x = shifted(states, a, -shift);
        again.solve(x.data(), states);
        lapack::scal(states * states, sign, x.data(), 1);
        lapack::scal(states * states, scale, x.data(), 1);
        if (!lapack::allFinite(states, states, x.data(), states)) {
            return notFinite;
        }
        std::copy_n(x.data(), cells(states, states), a);
    }

    const double factor = sign * std::sqrt(2.0) * std::sqrt(std::fabs(alpha)) * std::sqrt(std::fabs(beta));
    lapack::gemm(Op::none, Op::none, outputs, inputs, states, -1.0, c, outputs, solvedB.data(), states, 1.0, d,
                 outputs);
    std::transform(solvedB.begin(), solvedB.end(), b, [=](double value) { return factor * value; });
    const double factorOfC = (alpha < 0.0) == (beta < 0.0) ? factor : -factor;
    for (int j = 0; j < states; ++j) {
        for (int i = 0; i < outputs; ++i) {
            c[index(i, j, outputs)] = factorOfC * y[index(j, i, states)];
        }
    }
    return success;
}

void BILINEARTRANSFORMFORT(const int* direction, const int* n, const int* m, const int* p, double* a, double* b,
                           double* c, double* d, const double* alpha, const double* beta, int* info) {
    *info = transformBilinearly(*direction, *n, *m, *p, a, b, c, d, *alpha, *beta, true);
}

}  // namespace qormath::control_utility
