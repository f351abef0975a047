#include <algorithm>
#include <cmath>
#include <cstddef>
#include <utility>
#include <vector>

#include <qormath/control_utility/bilineartransformfort.hpp>
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

/// Up to this order the inverse of a triangle comes from one substitution.
constexpr int plainTriangle = 64;

/// Replaces the upper triangle of u, of order n, by its inverse. What stands below the diagonal is not read, and of no
/// use afterwards.
void invertUpper(int n, double* u, int ld) {
    if (n <= plainTriangle) {
        Elements inverse(cells(n, n));
        lapack::laset(n, n, 0.0, 1.0, inverse.data(), n);
        lapack::trsm(lapack::Side::left, lapack::Triangle::upper, Op::none, lapack::Diagonal::stored, n, n, 1.0, u, ld,
                     inverse.data(), n);
        lapack::lacpy(n, n, inverse.data(), n, u, ld);
        return;
    }
    const int cut = n / 2;
    double* const right = u + static_cast<std::ptrdiff_t>(cut) * ld;
    lapack::trsm(lapack::Side::left, lapack::Triangle::upper, Op::none, lapack::Diagonal::stored, cut, n - cut, -1.0, u,
                 ld, right, ld);
    lapack::trsm(lapack::Side::right, lapack::Triangle::upper, Op::none, lapack::Diagonal::stored, cut, n - cut, 1.0,
                 right + cut, ld, right, ld);
    invertUpper(cut, u, ld);
    invertUpper(n - cut, right + cut, ld);
}

/// The LU factors of a square matrix with scaled rows and columns.
class ScaledFactorisation {
  public:
    /// Factors a finite matrix; ask isSingular before anything is solved.
    ScaledFactorisation(int n, Elements matrix)
        : n_(n),
          lu_(std::move(matrix)),
          rowScale_(static_cast<std::size_t>(n), 1.0),
          columnScale_(static_cast<std::size_t>(n), 1.0),
          pivots_(static_cast<std::size_t>(n)) {
        factored_ = equilibrate() && factor();
    }

    /// Whether the matrix is singular to working precision: a reciprocal condition within the rounding that n additions
    /// leave, by an estimate that costs a few substitutions.
    bool isSingular() const {
        if (!factored_) {
            return true;
        }
        Elements work(4 * static_cast<std::size_t>(n_));
        std::vector<int> integerWork(static_cast<std::size_t>(n_));
        double reciprocal = 0.0;
        lapack::gecon(n_, lu_.data(), n_, norm_, reciprocal, work.data(), integerWork.data());
        return !(reciprocal > n_ * lapack::machineEpsilon());
    }

    /// The inverse, if the matrix is regular beyond doubt: by its own norm the condition, which the estimate can only
    /// take for smaller. Empty otherwise.
    Elements inverse() const {
        if (!factored_) {
            return {};
        }
        Elements x(lu_);
        invertUpper(n_, x.data(), n_);
        for (int j = 0; j < n_; ++j) {
            std::fill_n(x.begin() + static_cast<std::ptrdiff_t>(index(j + 1, j, n_)), n_ - j - 1, 0.0);
        }
        lapack::trsm(lapack::Side::right, lapack::Triangle::lower, Op::none, lapack::Diagonal::unit, n_, n_, 1.0,
                     lu_.data(), n_, x.data(), n_);
        for (int j = n_ - 1; j >= 0; --j) {
            const int other = pivots_[static_cast<std::size_t>(j)] - 1;
            if (other != j) {
                lapack::swap(n_, x.data() + cells(j, n_), 1, x.data() + cells(other, n_), 1);
            }
        }
        const double reciprocal = 1.0 / (norm_ * lapack::lange1(n_, n_, x.data(), n_));
        if (!(reciprocal > 2.0 * n_ * lapack::machineEpsilon())) {
            return {};
        }
        for (int j = 0; j < n_; ++j) {
            const double factor = rowScale_[static_cast<std::size_t>(j)];
            double* const column = x.data() + cells(j, n_);
            for (int i = 0; i < n_; ++i) {
                column[i] *= factor * columnScale_[static_cast<std::size_t>(i)];
            }
        }
        return x;
    }

    /// x = M^-1 x, for count columns.
    void solve(double* x, int count) const {
        scaleRows(x, count, rowScale_);
        lapack::getrs(Op::none, n_, count, lu_.data(), n_, pivots_.data(), x, n_);
        scaleRows(x, count, columnScale_);
    }

    /// x = M'^-1 x, for count columns.
    void solveTransposed(double* x, int count) const {
        scaleRows(x, count, columnScale_);
        lapack::getrs(Op::transpose, n_, count, lu_.data(), n_, pivots_.data(), x, n_);
        scaleRows(x, count, rowScale_);
    }

  private:
    /// Brings the largest element of each row, then of each column, into [1/2, 1). False where there is none.
    bool equilibrate() {
        Elements largest(static_cast<std::size_t>(n_));
        for (int j = 0; j < n_; ++j) {
            for (int i = 0; i < n_; ++i) {
                double& row = largest[static_cast<std::size_t>(i)];
                row = std::max(row, std::fabs(lu_[index(i, j, n_)]));
            }
        }
        if (std::find(largest.begin(), largest.end(), 0.0) != largest.end()) {
            return false;
        }
        std::transform(largest.begin(), largest.end(), rowScale_.begin(), scaleOf);
        scaleRows(lu_.data(), n_, rowScale_);
        for (int j = 0; j < n_; ++j) {
            const auto column = lu_.begin() + static_cast<std::ptrdiff_t>(index(0, j, n_));
            const double top = std::fabs(
                *std::max_element(column, column + n_, [](double x, double y) { return std::fabs(x) < std::fabs(y); }));
            if (top == 0.0) {
                return false;
            }
            columnScale_[static_cast<std::size_t>(j)] = scaleOf(top);
            lapack::scal(n_, scaleOf(top), &*column, 1);
        }
        return true;
    }

    /// False where a pivot is zero.
    bool factor() {
        norm_ = lapack::lange1(n_, n_, lu_.data(), n_);
        return lapack::getrf(n_, n_, lu_.data(), n_, pivots_.data()) == 0;
    }

    void scaleRows(double* x, int columns, const Elements& scale) const {
        for (int j = 0; j < columns; ++j) {
            for (int i = 0; i < n_; ++i) {
                x[index(i, j, n_)] *= scale[static_cast<std::size_t>(i)];
            }
        }
    }

    int n_;
    Elements lu_;
    Elements rowScale_;
    Elements columnScale_;
    std::vector<int> pivots_;
    double norm_ = 0.0;
    bool factored_ = false;
};

/// factor I + sign a.
Elements shifted(int n, const double* a, double sign, double factor) {
    Elements result(a, a + cells(n, n));
    for (double& element : result) {
        element *= sign;
    }
    for (int k = 0; k < n; ++k) {
        result[index(k, k, n)] += factor;
    }
    return result;
}

/// factor M^-1 + sign I, which is the map of a but for a factor, by one inverse instead of a solution for n right-hand
/// sides. Empty where M is close to singular, or where the difference is below one of its terms, so that it would lose
/// digits that M^-1 (a - I) has.
Elements mapByInverse(const ScaledFactorisation& factorisation, int n, double factor, double sign) {
    Elements x = factorisation.inverse();
    if (x.empty()) {
        return x;
    }
    lapack::scal(n * n, factor, x.data(), 1);
    for (int k = 0; k < n; ++k) {
        x[index(k, k, n)] += sign;
    }
    return lapack::lange1(n, n, x.data(), n) >= 1.0 ? x : Elements();
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
    const bool toDiscrete = direction == 0;
    Elements matrix = toDiscrete ? shifted(states, a, -1.0, beta) : shifted(states, a, 1.0, alpha);
    if (!lapack::allFinite(states, states, matrix.data(), states)) {
        return notFinite;
    }
    const ScaledFactorisation factorisation(states, std::move(matrix));
    Elements x;
    if (mayInvert) {
        x = mapByInverse(factorisation, states, toDiscrete ? 2.0 * beta : -2.0 * alpha, toDiscrete ? -1.0 : 1.0);
    }
    if (x.empty()) {
        if (factorisation.isSingular()) {
            return singular;
        }
        x = toDiscrete ? shifted(states, a, 1.0, beta) : shifted(states, a, 1.0, -alpha);
        factorisation.solve(x.data(), states);
    }
    Elements solvedB(b, b + cells(states, inputs));
    factorisation.solve(solvedB.data(), inputs);
    Elements y = transposeOf(outputs, states, c);
    factorisation.solveTransposed(y.data(), outputs);
    lapack::scal(states * states, toDiscrete ? alpha : beta, x.data(), 1);
    if (!lapack::allFinite(states, states, x.data(), states)) {
        return notFinite;
    }

    const double factor = std::sqrt(2.0) * std::sqrt(std::fabs(alpha)) * std::sqrt(std::fabs(beta));
    lapack::gemm(Op::none, Op::none, outputs, inputs, states, toDiscrete ? 1.0 : -1.0, c, outputs, solvedB.data(),
                 states, 1.0, d, outputs);
    std::copy_n(x.data(), cells(states, states), a);
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
