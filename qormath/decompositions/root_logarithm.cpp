#include <algorithm>
#include <array>
#include <cmath>
#include <complex>
#include <cstddef>
#include <utility>
#include <vector>

#include <qormath/control/qor_math_control.hpp>
#include <qormath/control_utility/quasi_triangular.hpp>
#include <qormath/control_utility/triangular_sylvester.hpp>
#include <qormath/decompositions/detail/logarithm_routes.hpp>
#include <qormath/decompositions/detail/power_bounds.hpp>
#include <qormath/lapack/blas.hpp>
#include <qormath/lapack/finite.hpp>
#include <qormath/lapack/lapack.hpp>

namespace qormath::decompositions {

namespace {

using control_utility::at;
using control_utility::cutOutsidePair;
using control_utility::startsPair;
using lapack::Op;
using QorMathLA::Matrix;
using QorMathLA::Vector;
using Complex = std::complex<double>;
using Elements = std::vector<double>;

// Bounds of the powers' norm up to which the approximants of degree 1, 2, ... have a backward error of at most 2^-53
// of the argument (Al-Mohy and Higham 2012, table 2.1).
constexpr std::array<double, 8> limits = {1.59e-5, 2.31e-3, 1.94e-2, 6.21e-2, 1.28e-1, 2.06e-1, 2.88e-1, 3.67e-1};
// A root brings the largest numbers within reach after twelve or so; a chain far from normal takes longer.
constexpr int mostRoots = 60;
// The roots have to give the matrix back within so many roundings of its norm.
constexpr double acceptedRoundings = 1000.0;
// Rows of a block in products and substitutions.
constexpr int blockRows = 64;
// Up to this order the off-diagonal block of a root comes from LAPACK directly.
constexpr int directOrder = 32;

std::size_t cells(int n) {
    return static_cast<std::size_t>(n) * static_cast<std::size_t>(n);
}

/// c = a b of quasi-triangular matrices.
void multiplyTriangular(int n, const double* a, const double* b, double* c) {
    for (int column = 0; column < n; column += blockRows) {
        const int width = std::min(blockRows, n - column);
        const int rows = std::min(n, column + width + 1);
        lapack::gemm(Op::none, Op::none, rows, width, rows, 1.0, a, n, at(b, n, 0, column), n, 0.0, at(c, n, 0, column),
                     n);
        lapack::laset(n - rows, width, 0.0, 0.0, at(c, n, rows, column), n);
    }
}

/// The largest absolute row sum.
double rowNorm(int n, const Elements& x) {
    Elements sums(static_cast<std::size_t>(n));
    for (int column = 0; column < n; ++column) {
        const double* const elements = at(x.data(), n, 0, column);
        for (int row = 0; row < n; ++row) {
            sums[static_cast<std::size_t>(row)] += std::fabs(elements[row]);
        }
    }
    double norm = 0.0;
    for (const double sum : sums) {
        norm = sum <= norm ? norm : sum;
    }
    return norm;
}

/// The diagonal blocks of a Schur form, by one eigenvalue each, that with the positive imaginary part.
struct Block {
    int row;
    bool pair;
    Complex value;
};

std::vector<Block> blocksOf(int n, const double* t) {
    std::vector<Block> blocks;
    for (int row = 0; row < n; ++row) {
        const double real = *at(t, n, row, row);
        if (startsPair(n, t, n, row)) {
            const double size =
                std::sqrt(std::fabs(*at(t, n, row + 1, row))) * std::sqrt(std::fabs(*at(t, n, row, row + 1)));
            blocks.push_back({row, true, {real, size}});
            ++row;
        } else {
            blocks.push_back({row, false, {real, 0.0}});
        }
    }
    return blocks;
}

/// Writes the function with the given value at the block's eigenvalue into x, from the block of t.
void writeBlock(int n, const Block& block, const double* t, const Complex& value, double* x) {
    const int row = block.row;
    *at(x, n, row, row) = value.real();
    if (block.pair) {
        const double factor = value.imag() / block.value.imag();
        *at(x, n, row + 1, row + 1) = value.real();
        *at(x, n, row, row + 1) = factor * *at(t, n, row, row + 1);
        *at(x, n, row + 1, row) = factor * *at(t, n, row + 1, row);
    }
}

/// exp(z) - 1 without cancellation.
Complex exponentialLessOne(const Complex& z) {
    const double half = std::sin(0.5 * z.imag());
    return {std::expm1(z.real()) * std::cos(z.imag()) - 2.0 * half * half, std::exp(z.real()) * std::sin(z.imag())};
}

/// The principal square root of a quasi-triangular matrix, in place, by halves. False where a Sylvester equation is
/// close to singular.
bool takeRoot(int n, double* t, int ld) {
    if (n == 1) {
        *t = std::sqrt(*t);
        return true;
    }
    if (n == 2 && startsPair(n, t, ld, 0)) {
        const Complex root =
            std::sqrt(Complex(*t, std::sqrt(std::fabs(*at(t, ld, 1, 0))) * std::sqrt(std::fabs(*at(t, ld, 0, 1)))));
        // The part of the block off its diagonal grows by the quotient of the imaginary parts.
        *at(t, ld, 0, 0) = *at(t, ld, 1, 1) = root.real();
        *at(t, ld, 1, 0) *= 0.5 / root.real();
        *at(t, ld, 0, 1) *= 0.5 / root.real();
        return true;
    }
    const int cut = n == 2 ? 1 : cutOutsidePair(t, ld, n / 2);
    double* const right = at(t, ld, 0, cut);
    double* const lower = at(t, ld, cut, cut);
    if (!takeRoot(cut, t, ld) || !takeRoot(n - cut, lower, ld)) {
        return false;
    }
    double scale = 1.0;
    const int info = n <= directOrder
                         ? lapack::trsyl(Op::none, Op::none, 1, cut, n - cut, t, ld, lower, ld, right, ld, scale)
                         : control_utility::solveTriangularSylvester(Op::none, Op::none, 1, cut, n - cut, t, ld, lower,
                                                                     ld, right, ld, scale);
    return info == 0 && scale == 1.0;
}

/// The nodes and weights of Gauss and Legendre's rule of up to eight points on [0, 1], by Newton's method.
std::vector<std::pair<double, double>> gaussRule(int points) {
    constexpr double pi = 3.14159265358979323846;
    constexpr int steps = 8;  // it doubles the digits of a first guess with two
    std::vector<std::pair<double, double>> rule;
    for (int k = 0; k < points; ++k) {
        double x = std::cos(pi * (k + 0.75) / (points + 0.5));
        double slope = 1.0;
        for (int step = 0; step < steps; ++step) {
            double before = 1.0;
            double value = x;
            for (int degree = 2; degree <= points; ++degree) {
                const double next = ((2 * degree - 1) * x * value - (degree - 1) * before) / degree;
                before = value;
                value = next;
            }
            slope = points * (x * value - before) / (x * x - 1.0);
            x -= value / slope;
        }
        rule.emplace_back(0.5 * (1.0 + x), 1.0 / ((1.0 - x * x) * slope * slope));
    }
    return rule;
}

/// sum += weight (I + node x)^-1 x for quasi-triangular x, by block rows from the bottom. y is workspace.
void addFraction(int n, const Elements& x, double node, double weight, Elements& y, Elements& sum) {
    std::copy(x.begin(), x.end(), y.begin());
    Elements lu(cells(blockRows + 1));
    std::vector<int> pivots(blockRows + 1);
    for (int end = n; end > 0;) {
        int begin = std::max(0, end - blockRows);
        if (begin > 0 && startsPair(n, x.data(), n, begin - 1)) {
            --begin;
        }
        const int rows = end - begin;
        double* const target = at(y.data(), n, begin, begin);
        if (end < n) {
            lapack::gemm(Op::none, Op::none, rows, n - end, n - end, -node, at(x.data(), n, begin, end), n,
                         at(y.data(), n, end, end), n, 1.0, at(y.data(), n, begin, end), n);
        }
        for (int column = 0; column < rows; ++column) {
            for (int row = 0; row < rows; ++row) {
                *at(lu.data(), rows, row, column) =
                    node * *at(x.data(), n, begin + row, begin + column) + (row == column ? 1.0 : 0.0);
            }
        }
        lapack::getrf(rows, rows, lu.data(), rows, pivots.data());
        lapack::getrs(Op::none, rows, n - begin, lu.data(), rows, pivots.data(), target, n);
        end = begin;
    }
    lapack::axpy(static_cast<int>(cells(n)), weight, y.data(), 1, sum.data(), 1);
}

/// The inverse scaling and squaring of one Schur form.
class RootLogarithm {
  public:
    RootLogarithm(int n, double* t)
        : n_(n),
          t_(t),
          blocks_(blocksOf(n, t)),
          root_(t, t + cells(n)),
          x_(cells(n)),
          work_(cells(n)),
          work2_(cells(n)) {}

    bool run() {
        if (!isClearOfNegativeAxis()) {
            return false;
        }
        int degree = 0;
        for (; roots_ <= mostRoots; ++roots_) {
            if (largestOfBlocks() <= limits.back() && (degree = degreeOf()) > 0) {
                break;
            }
            if (!takeRoot(n_, root_.data(), n_)) {
                return false;
            }
        }
        if (degree == 0 || !givesBack()) {
            return false;
        }
        sumFractions(degree);
        return lapack::allFinite(n_, n_, t_, n_);
    }

  private:
    /// An eigenvalue counts as negative within the root of rounding of the axis, and as zero within rounding.
    bool isClearOfNegativeAxis() const {
        const double eps = lapack::machineEpsilon();
        const double tiny = n_ * eps * rowNorm(n_, root_);
        return std::all_of(blocks_.begin(), blocks_.end(), [=](const Block& block) {
            const Complex& value = block.value;
            return std::abs(value) > tiny && (value.real() > 0.0 || value.imag() > std::sqrt(eps) * -value.real());
        });
    }

    /// The eigenvalue of root - I that belongs to one of t.
    Complex rootLessOne(const Block& block) const {
        return exponentialLessOne(std::ldexp(1.0, -roots_) * std::log(block.value));
    }

    double largestOfBlocks() const {
        double largest = 0.0;
        for (const Block& block : blocks_) {
            largest = std::max(largest, std::abs(rootLessOne(block)));
        }
        return largest;
    }

    /// Makes x = root - I. The degree of the approximant that serves for it, or 0.
    int degreeOf() {
        std::copy(root_.begin(), root_.end(), x_.begin());
        for (const Block& block : blocks_) {
            writeBlock(n_, block, t_, rootLessOne(block), x_.data());
        }
        PowerBounds bounds;
        bounds.set(1, rowNorm(n_, x_));
        multiplyTriangular(n_, x_.data(), x_.data(), work_.data());
        bounds.set(2, rowNorm(n_, work_));
        multiplyTriangular(n_, x_.data(), work_.data(), work2_.data());
        bounds.set(3, rowNorm(n_, work2_));
        for (int degree = 1; degree <= static_cast<int>(limits.size()); ++degree) {
            if (bounds.root(2 * degree + 1) <= limits[static_cast<std::size_t>(degree) - 1]) {
                return degree;
            }
        }
        return 0;
    }

    /// Whether the repeated square of the root is the matrix.
    bool givesBack() {
        std::copy(root_.begin(), root_.end(), work_.begin());
        for (int k = 0; k < roots_; ++k) {
            multiplyTriangular(n_, work_.data(), work_.data(), work2_.data());
            std::swap(work_, work2_);
        }
        const double* const t = t_;
        Elements& difference = work2_;
        std::transform(work_.begin(), work_.end(), t, difference.begin(), [](double x, double y) { return x - y; });
        std::copy_n(t, cells(n_), work_.begin());
        return rowNorm(n_, difference) <= acceptedRoundings * lapack::machineEpsilon() * rowNorm(n_, work_);
    }

    void sumFractions(int degree) {
        Elements sum(cells(n_));
        for (const auto& [node, weight] : gaussRule(degree)) {
            addFraction(n_, x_, node, weight, work_, sum);
        }
        lapack::scal(static_cast<int>(cells(n_)), std::ldexp(1.0, roots_), sum.data(), 1);
        for (const Block& block : blocks_) {
            writeBlock(n_, block, t_, std::log(block.value), sum.data());
        }
        std::copy(sum.begin(), sum.end(), t_);
    }

    int n_;
    double* t_;
    std::vector<Block> blocks_;
    int roots_ = 0;
    Elements root_;  // of t, to the power 2^-roots
    Elements x_;
    Elements work_;
    Elements work2_;
};

}  // namespace

bool logarithmOfSchurForm(Matrix<double>& t) {
    const int n = t.rows();
    double* const data = t.numericData(true);
    return lapack::allFinite(n, n, data, n) && RootLogarithm(n, data).run();
}

Matrix<double> fromSchurBasis(const Matrix<double>& u, const Matrix<double>& t) {
    const int n = u.rows();
    Matrix<double> product(n, n);
    Matrix<double> result(n, n);
    for (int column = 0; column < n; column += blockRows) {
        const int width = std::min(blockRows, n - column);
        const int inner = std::min(n, column + width + 1);
        lapack::gemm(Op::none, Op::none, n, width, inner, 1.0, u.numericData(true), n,
                     at(t.numericData(true), n, 0, column), n, 0.0, at(product.numericData(true), n, 0, column), n);
    }
    lapack::gemm(Op::none, Op::transpose, n, n, n, 1.0, product.numericData(true), n, u.numericData(true), n, 0.0,
                 result.numericData(true), n);
    return result;
}

bool logarithmByRoots(const Matrix<double>& a, Matrix<double>& logarithm) {
    const int n = a.rows();
    const Matrix<double> copy(a);
    if (n == 0 || a.cols() != n || !lapack::allFinite(n, n, copy.numericData(true), n)) {
        return false;
    }
    Matrix<double> t;
    Matrix<double> u;
    Vector<double> wr;
    Vector<double> wi;
    try {
        QorMathControl::SchurDecomposition(copy, t, u, wr, wi, schurUnordered);
    } catch (int) {
        return false;  // the iteration has not converged
    }
    if (!logarithmOfSchurForm(t)) {
        return false;
    }
    logarithm = fromSchurBasis(u, t);
    return true;
}

}  // namespace qormath::decompositions
