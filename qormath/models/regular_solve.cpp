#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <utility>
#include <vector>

#include <qormath/core/arithmetic.hpp>
#include <qormath/lapack/finite.hpp>
#include <qormath/lapack/lapack.hpp>
#include <qormath/models/detail/regular_solve.hpp>

namespace qormath::models {
namespace {

using QorMathLA::Matrix;
using QorMathLA::Vector;

constexpr int eigenvalueIterations = 30;

// Poles closer to the stability limit than this many machine precisions have no steady state to compute.
constexpr double limitTolerance = 100.0;

// Four decades above the tolerance on eigenvalues, which are computed to some n eps of the norm, and above the cut-off
// of the pseudo-inverse, 2^-52 of the largest singular value.
constexpr double leastReciprocal = 1e-10;

// Up to this order the plain factorisation is faster than the calls of LAPACK, each of which costs as much as some
// hundred multiplications.
constexpr int largestPlainOrder = 12;

bool isClear(double norm, double inverseNorm) {
    return 1.0 >= leastReciprocal * inverseNorm && 1.0 >= leastReciprocal * norm * inverseNorm;  // false for NaN
}

/// LU with partial pivoting in place, for small orders.
class PlainFactors {
  public:
    explicit PlainFactors(const Matrix<double>& matrix) : n_(matrix.rows()) {
        for (int j = 0; j < n_; ++j) {
            double sum = 0.0;
            for (int i = 0; i < n_; ++i) {
                at(i, j) = matrix(i, j);
                sum += std::fabs(matrix(i, j));
            }
            norm_ = std::max(norm_, sum);
        }
        for (int k = 0; k < n_ && regular_; ++k) {
            eliminate(k);
        }
    }

    bool isRegular() const { return regular_; }
    double norm() const { return norm_; }

    void solve(double* x) const {
        for (int k = 0; k < n_; ++k) {
            std::swap(x[k], x[pivots_[static_cast<std::size_t>(k)]]);
        }
        for (int k = 0; k < n_; ++k) {
            for (int i = k + 1; i < n_; ++i) {
                x[i] -= at(i, k) * x[k];
            }
        }
        for (int k = n_ - 1; k >= 0; --k) {
            x[k] /= at(k, k);
            for (int i = 0; i < k; ++i) {
                x[i] -= at(i, k) * x[k];
            }
        }
    }

    double inverseNorm() const {
        double largest = 0.0;
        std::array<double, largestPlainOrder> column;
        for (int j = 0; j < n_; ++j) {
            column.fill(0.0);
            column[static_cast<std::size_t>(j)] = 1.0;
            solve(column.data());
            double sum = 0.0;
            for (int i = 0; i < n_; ++i) {
                sum += std::fabs(column[static_cast<std::size_t>(i)]);
            }
            if (!(sum <= largest)) {
                largest = sum;  // a NaN stays
            }
        }
        return largest;
    }

  private:
    double& at(int i, int j) { return elements_[static_cast<std::size_t>(j * largestPlainOrder + i)]; }
    double at(int i, int j) const { return elements_[static_cast<std::size_t>(j * largestPlainOrder + i)]; }

    void eliminate(int k) {
        int pivot = k;
        for (int i = k + 1; i < n_; ++i) {
            pivot = std::fabs(at(i, k)) > std::fabs(at(pivot, k)) ? i : pivot;
        }
        pivots_[static_cast<std::size_t>(k)] = pivot;
        if (at(pivot, k) == 0.0) {
            regular_ = false;
            return;
        }
        for (int j = 0; pivot != k && j < n_; ++j) {
            std::swap(at(k, j), at(pivot, j));
        }
        for (int i = k + 1; i < n_; ++i) {
            at(i, k) /= at(k, k);
        }
        for (int j = k + 1; j < n_; ++j) {
            const double factor = at(k, j);
            for (int i = k + 1; i < n_; ++i) {
                at(i, j) -= at(i, k) * factor;
            }
        }
    }

    int n_;
    bool regular_ = true;
    double norm_ = 0.0;
    std::array<double, largestPlainOrder * largestPlainOrder> elements_;
    std::array<int, largestPlainOrder> pivots_;
};

bool solvePlainly(const Matrix<double>& matrix, const Matrix<double>& b, Matrix<double>& x) {
    const PlainFactors factors(matrix);
    if (!factors.isRegular() || !isClear(factors.norm(), factors.inverseNorm())) {
        return false;
    }
    x = b;
    for (int j = 0; j < x.cols(); ++j) {
        factors.solve(&x(0, j));
    }
    return true;
}

bool solveByLapack(const Matrix<double>& matrix, const Matrix<double>& b, Matrix<double>& x) {
    const int n = matrix.rows();
    Matrix<double> lu(matrix);
    std::vector<int> pivots(static_cast<std::size_t>(n));
    const double norm = lapack::lange1(n, n, lu.numericData(true), n);
    if (lapack::getrf(n, n, lu.numericData(true), n, pivots.data()) != 0) {
        return false;
    }
    std::vector<int> integerWork(static_cast<std::size_t>(n));
    std::vector<double> work(4 * static_cast<std::size_t>(n));
    double reciprocal = 0.0;
    if (lapack::gecon(n, lu.numericData(true), n, norm, reciprocal, work.data(), integerWork.data()) != 0 ||
        !(reciprocal > 0.0) || !isClear(norm, 1.0 / (reciprocal * norm))) {
        return false;
    }
    x = b;
    lapack::getrs(lapack::Op::none, n, x.cols(), lu.numericData(true), n, pivots.data(), x.numericData(true), n);
    return true;
}

/// Throws if an eigenvalue of the matrix is zero up to rounding.
void requireNoZeroEigenvalue(const Matrix<double>& matrix) {
    Matrix<double> work(matrix);
    Vector<double> re;
    Vector<double> im;
    work.eigenvalues(re, im, eigenvalueIterations);
    const double tolerance = limitTolerance * lapack::machineEpsilon();
    for (int i = 0; i < re.size(); ++i) {
        if (tolerance > std::sqrt(re[i] * re[i] + im[i] * im[i])) {
            throw -1;
        }
    }
}

}  // namespace

bool solveClearlyRegular(const Matrix<double>& matrix, const Matrix<double>& b, Matrix<double>& x) {
    const int n = matrix.rows();
    if (n == 0 || matrix.cols() != n || b.rows() != n || !matrix.hasUnitStrides()) {
        return false;
    }
    if (matrix.transposed) {
        return solveClearlyRegular(Matrix<double>::copyOf(matrix), b, x);
    }
    if (!lapack::allFinite(n, n, matrix.numericData(true), matrix.storedRows)) {
        return false;
    }
    return n <= largestPlainOrder ? solvePlainly(matrix, b, x) : solveByLapack(matrix, b, x);
}

Matrix<double> solveByPseudoInverse(const Matrix<double>& matrix, const Matrix<double>& b) {
    requireNoZeroEigenvalue(matrix);
    constexpr double defaultTolerance = -1.0;
    return product(pseudoInverse(matrix, defaultTolerance), b);
}

}  // namespace qormath::models
