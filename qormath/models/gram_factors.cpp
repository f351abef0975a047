#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

#include <qormath/core/arithmetic.hpp>
#include <qormath/lapack/finite.hpp>
#include <qormath/lapack/lapack.hpp>
#include <qormath/models/detail/gram_factors.hpp>

namespace qormath::models {
namespace {

using lapack::Op;
using lapack::Side;
using lapack::Triangle;
using QorMathLA::Matrix;
using QorMathLA::MatrixSoft;
using QorMathLA::product;
using QorMathLA::Range;
using QorMathLA::Vector;

constexpr int svdIterations = 75;

// Kept singular values are this many times above n eps of the largest. Closer to it the vectors are those of the
// rounding, of which either route makes its own.
constexpr double clearOfRounding = 100.0;

// The factor of a matrix of lower rank is decomposed in its place up to this part of the order; beyond it the
// factorisation costs as much as it saves.
constexpr double mostRank = 0.6;

// Down to this part of the largest value the residual of an eigenvector, some n eps of the largest, is small beside the
// value itself. The last state of a realisation may lie far below, and its modes show every digit.
constexpr double leastShareOfClearVector = 1e-6;

// Vectors on which the factor is compared with the matrix. With signs for elements each shows an error of norm e as
// one of about e, and all eight miss one at a tenth of it once in some hundred million times.
constexpr int probes = 8;

// The work array of a greater order would have more elements than an int can tell.
constexpr int largestOrder = 46000;

// Columns of a block in the panels of LAPACK's reductions; work arrays hold this many columns.
constexpr int panelWidth = 64;

std::vector<double> doubles(std::ptrdiff_t count) {
    return std::vector<double>(static_cast<std::size_t>(std::max<std::ptrdiff_t>(count, 1)));
}

std::ptrdiff_t elements(int rows, int cols) {
    return static_cast<std::ptrdiff_t>(rows) * cols;
}

/// The leading part of the eigenvectors of a symmetric matrix, largest eigenvalue first.
class SymmetricEigenSystem {
  public:
    /// Decomposes the matrix of order n of which a holds the lower triangle.
    SymmetricEigenSystem(int n, std::vector<double> a)
        : n_(n), a_(std::move(a)), values_(doubles(n)), tau_(doubles(n)), vectors_(doubles(elements(n, n))) {
        const std::ptrdiff_t length = std::max(elements(n, panelWidth), 1 + 4 * std::ptrdiff_t{n} + elements(n, n));
        std::vector<double> work = doubles(length);
        std::vector<double> offDiagonal = doubles(n);
        std::vector<int> integerWork(static_cast<std::size_t>(3 + 5 * n));
        converged_ =
            lapack::sytrd(n, a_.data(), n, values_.data(), offDiagonal.data(), tau_.data(), work.data(),
                          static_cast<int>(elements(n, panelWidth))) == 0 &&
            lapack::stedc(n, values_.data(), offDiagonal.data(), vectors_.data(), n, work.data(),
                          static_cast<int>(length), integerWork.data(), static_cast<int>(integerWork.size())) == 0;
    }

    bool converged() const { return converged_; }

    /// The eigenvalue number k, counted from the largest.
    double value(int k) const { return values_[static_cast<std::size_t>(n_ - 1 - k)]; }

    /// Writes the vectors of the largest eigenvalues into the columns of target, which has n rows.
    void copyVectors(int count, double* target, int ld) const {
        for (int k = 0; k < count; ++k) {
            std::copy_n(vectors_.data() + elements(n_ - 1 - k, n_), n_, target + elements(k, ld));
        }
        std::vector<double> work = doubles(elements(std::max(count, 1), panelWidth));
        lapack::ormtr(n_, count, a_.data(), n_, tau_.data(), target, ld, work.data(), static_cast<int>(work.size()));
    }

  private:
    int n_;
    std::vector<double> a_;
    std::vector<double> values_;
    std::vector<double> tau_;
    std::vector<double> vectors_;
    bool converged_ = false;
};

/// A matrix of n by rank elements of which the product with its own transpose is the matrix, rows in the order of the
/// pivots. The matrix has n rows too.
struct LowRankFactor {
    std::vector<double> columns;
    std::vector<int> pivots;
    int rank = 0;
};

/// Signs from a fixed sequence (Marsaglia's xorshift), so that the same matrix always takes the same route.
std::vector<double> probeSigns(int n) {
    std::vector<double> signs = doubles(elements(n, probes));
    std::uint64_t state = 88172645463325252U;
    for (double& sign : signs) {
        state ^= state << 13;
        state ^= state >> 7;
        state ^= state << 17;
        sign = (state >> 63) != 0 ? 1.0 : -1.0;
    }
    return signs;
}

/// The largest length of what the matrix less the product of the factor makes of the probes.
double probedError(const MatrixSoft<double>& gram, const LowRankFactor& factor) {
    const int n = gram.rows();
    const std::vector<double> signs = probeSigns(n);
    std::vector<double> images = doubles(elements(n, probes));
    lapack::gemm(Op::none, Op::none, n, probes, n, 1.0, gram.numericData(true), gram.storedRows, signs.data(), n, 0.0,
                 images.data(), n);
    std::vector<double> pivoted = doubles(elements(n, probes));
    std::vector<double> error = doubles(elements(n, probes));
    for (int j = 0; j < probes; ++j) {
        for (int i = 0; i < n; ++i) {
            const auto from = static_cast<std::size_t>(elements(j, n) + factor.pivots[static_cast<std::size_t>(i)] - 1);
            const auto to = static_cast<std::size_t>(elements(j, n) + i);
            pivoted[to] = signs[from];
            error[to] = images[from];
        }
    }
    std::vector<double> inner = doubles(elements(factor.rank, probes));
    lapack::gemm(Op::transpose, Op::none, factor.rank, probes, n, 1.0, factor.columns.data(), n, pivoted.data(), n, 0.0,
                 inner.data(), factor.rank);
    lapack::gemm(Op::none, Op::none, n, probes, factor.rank, -1.0, factor.columns.data(), n, inner.data(), factor.rank,
                 1.0, error.data(), n);
    double largest = 0.0;
    for (int j = 0; j < probes; ++j) {
        largest = std::max(largest, lapack::nrm2(n, error.data() + elements(j, n), 1));
    }
    return largest;
}

/// No more than the 2-norm of a symmetric matrix, and mostly near it: what it makes of its column with the largest
/// diagonal element, or that element.
double lowerBoundOfNorm(const MatrixSoft<double>& gram) {
    const int n = gram.rows();
    int pivot = 0;
    for (int k = 1; k < n; ++k) {
        pivot = gram(k, k) > gram(pivot, pivot) ? k : pivot;
    }
    const double* const column = gram.numericData(true) + elements(pivot, gram.storedRows);
    std::vector<double> image = doubles(n);
    lapack::gemv(Op::none, n, n, 1.0, gram.numericData(true), gram.storedRows, column, 1, 0.0, image.data(), 1);
    const double growth = lapack::nrm2(n, image.data(), 1) / lapack::nrm2(n, column, 1);
    return growth > gram(pivot, pivot) && std::isfinite(growth) ? growth : gram(pivot, pivot);
}

/// The pivoted Cholesky factor down to the rounding of the largest singular value, as far as a bound tells it: what is
/// left adds up to n eps of that. Its rank is 0 where there is nothing to save.
LowRankFactor lowRankFactor(const MatrixSoft<double>& gram) {
    const int n = gram.rows();
    LowRankFactor factor;
    factor.columns = doubles(elements(n, n));
    lapack::lacpy(Triangle::lower, n, n, gram.numericData(true), gram.storedRows, factor.columns.data(), n);
    const double largest = lowerBoundOfNorm(gram);
    factor.pivots.resize(static_cast<std::size_t>(n));
    std::vector<double> work = doubles(2 * std::ptrdiff_t{n});
    lapack::pstrf(n, factor.columns.data(), n, factor.pivots.data(), factor.rank, largest * lapack::machineEpsilon(),
                  work.data());
    if (factor.rank > mostRank * n) {
        factor.rank = 0;
    }
    for (int k = 1; k < factor.rank; ++k) {
        std::fill_n(factor.columns.data() + elements(k, n), k, 0.0);  // above the diagonal stands the matrix still
    }
    return factor;
}

class LowRankRoute {
  public:
    /// The factor becomes q r, and the eigenvalues of the matrix are those of r r'.
    explicit LowRankRoute(LowRankFactor factor, int n)
        : n_(n), factor_(std::move(factor)), tau_(doubles(factor_.rank)), inner_(decompose()) {}

    const SymmetricEigenSystem& inner() const { return inner_; }

    /// The vectors of the largest eigenvalues of the whole matrix.
    Matrix<double> vectors(int count) const {
        Matrix<double> pivoted(n_, count);
        pivoted.fill(0.0);
        inner_.copyVectors(count, pivoted.numericData(true), n_);
        std::vector<double> work = doubles(elements(std::max(count, 1), panelWidth));
        lapack::ormqr(Side::left, Op::none, n_, count, factor_.rank, factor_.columns.data(), n_, tau_.data(),
                      pivoted.numericData(true), n_, work.data(), static_cast<int>(work.size()));
        Matrix<double> result(n_, count);
        for (int k = 0; k < count; ++k) {
            for (int i = 0; i < n_; ++i) {
                result(factor_.pivots[static_cast<std::size_t>(i)] - 1, k) = pivoted(i, k);
            }
        }
        return result;
    }

  private:
    SymmetricEigenSystem decompose() {
        const int r = factor_.rank;
        std::vector<double> work = doubles(elements(std::max(r, 1), panelWidth));
        lapack::geqrf(n_, r, factor_.columns.data(), n_, tau_.data(), work.data(), static_cast<int>(work.size()));
        std::vector<double> triangle = doubles(elements(r, r));
        lapack::lacpy(Triangle::upper, r, r, factor_.columns.data(), n_, triangle.data(), r);
        std::vector<double> product = doubles(elements(r, r));
        lapack::syrk(Triangle::lower, Op::none, r, r, 1.0, triangle.data(), r, 0.0, product.data(), r);
        return {r, std::move(product)};
    }

    int n_;
    LowRankFactor factor_;
    std::vector<double> tau_;
    SymmetricEigenSystem inner_;
};

/// The values of an eigensystem that may be smaller than the matrix; what is missing, or below zero, is rounding.
Vector<double> singularValues(const SymmetricEigenSystem& system, int found, int n) {
    Vector<double> s(n);
    for (int k = 0; k < n; ++k) {
        s[k] = k < found ? std::max(system.value(k), 0.0) : 0.0;
    }
    return s;
}

/// The number of vectors to keep, or 0 where one of them belongs to the rounding.
int clearCount(const Vector<double>& s, const KeptCount& kept) {
    const int count = kept(s);
    const double rounding = s.size() * lapack::machineEpsilon() * s[0];
    return count > 0 && s[count - 1] > clearOfRounding * rounding ? count : 0;
}

bool isSymmetric(const MatrixSoft<double>& gram) {
    const int n = gram.rows();
    double scale = 0.0;
    double difference = 0.0;
    for (int j = 0; j < n; ++j) {
        scale = std::max(scale, std::fabs(gram(j, j)));
        for (int i = 0; i < j; ++i) {
            difference = std::max(difference, std::fabs(gram(i, j) - gram(j, i)));
        }
    }
    return difference <= n * lapack::machineEpsilon() * scale;
}

/// From a factor of fewer columns; untouched tells that there is none that reproduces the matrix.
enum class Outcome { untouched, unclear, done };

Outcome factorsOfLowRank(const MatrixSoft<double>& gram, const KeptCount& kept, GramFactors& factors) {
    const int n = gram.rows();
    LowRankFactor factor = lowRankFactor(gram);
    if (factor.rank == 0) {
        return Outcome::untouched;
    }
    const int rank = factor.rank;
    const double error = probedError(gram, factor);
    const LowRankRoute route(std::move(factor), n);
    factors.s = singularValues(route.inner(), rank, n);
    if (!route.inner().converged() || !(error <= n * lapack::machineEpsilon() * factors.s[0])) {
        return Outcome::untouched;
    }
    const int count = clearCount(factors.s, kept);
    if (count == 0) {
        return Outcome::unclear;
    }
    factors.v = route.vectors(count);
    factors.u = Matrix<double>(factors.v, false);
    return Outcome::done;
}

/// The same from the matrix itself, of which the lower triangle is read.
bool factorsOfWhole(const MatrixSoft<double>& gram, const KeptCount& kept, GramFactors& factors) {
    const int n = gram.rows();
    if (!isSymmetric(gram)) {
        return false;
    }
    std::vector<double> whole = doubles(elements(n, n));
    lapack::lacpy(Triangle::lower, n, n, gram.numericData(true), gram.storedRows, whole.data(), n);
    const SymmetricEigenSystem system(n, std::move(whole));
    factors.s = singularValues(system, n, n);
    const bool semidefinite = system.converged() && system.value(n - 1) >= -n * lapack::machineEpsilon() * factors.s[0];
    const int count = semidefinite ? clearCount(factors.s, kept) : 0;
    if (count > 0) {
        factors.v = Matrix<double>(n, count);
        system.copyVectors(count, factors.v.numericData(true), n);
        factors.u = Matrix<double>(factors.v, false);
    }
    return count > 0;
}

}  // namespace

GramFactors factorsBySvd(const MatrixSoft<double>& gram, const KeptCount& kept) {
    const Range all(-1, -1, 1);
    Matrix<double> u(gram, true);
    Matrix<double> v;
    GramFactors factors;
    u.svd(factors.s, v, svdIterations, true);
    const Range leading(0, kept(factors.s) - 1, 1);
    factors.u = u(all, leading);
    factors.v = v(all, leading);
    return factors;
}

bool factorsBySymmetry(const MatrixSoft<double>& gram, const KeptCount& kept, GramFactors& factors) {
    const int n = gram.rows();
    if (n == 0 || n > largestOrder || !lapack::allFinite(n, n, gram.numericData(true), gram.storedRows)) {
        return false;
    }
    const Outcome outcome = factorsOfLowRank(gram, kept, factors);
    factors.areEigenvectors =
        outcome == Outcome::untouched ? factorsOfWhole(gram, kept, factors) : outcome == Outcome::done;
    return factors.areEigenvectors;
}

GramFactors gramFactors(const MatrixSoft<double>& gram, const KeptCount& kept) {
    GramFactors factors;
    return factorsBySymmetry(gram, kept, factors) ? factors : factorsBySvd(gram, kept);
}

Matrix<double> shiftedBetweenVectors(const Matrix<double>& extendedGram, int shift, const GramFactors& factors) {
    const Range all(-1, -1, 1);
    const int n = extendedGram.cols();
    const MatrixSoft<double> ut = factors.u.transpose();
    if (!factors.areEigenvectors) {
        const MatrixSoft<double> shifted = extendedGram(Range(shift, n + shift - 1, 1), all);
        return product(product(ut, shifted), factors.v);
    }
    const int count = factors.v.cols();
    int clear = 0;
    while (clear < count && factors.s[clear] >= leastShareOfClearVector * factors.s[0]) {
        ++clear;
    }
    const int known = n - shift;
    const double* const v = factors.v.numericData(true);
    const double* const extended = extendedGram.numericData(true);
    Matrix<double> right(n, count);
    double* const result = right.numericData(true);
    for (int k = 0; k < clear; ++k) {
        std::transform(v + elements(k, n) + shift, v + elements(k + 1, n), result + elements(k, n),
                       [value = factors.s[k]](double element) { return value * element; });
    }
    lapack::gemm(Op::none, Op::none, shift, clear, n, 1.0, extended + n, extendedGram.storedRows, v, n, 0.0,
                 result + known, n);
    lapack::gemm(Op::none, Op::none, n, count - clear, n, 1.0, extended + shift, extendedGram.storedRows,
                 v + elements(clear, n), n, 0.0, result + elements(clear, n), n);
    return product(ut, right);
}

}  // namespace qormath::models
