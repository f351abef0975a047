#include <algorithm>
#include <cmath>
#include <complex>
#include <cstddef>
#include <limits>
#include <vector>

#include <qormath/control/qor_math_control.hpp>
#include <qormath/core/arithmetic.hpp>
#include <qormath/decompositions/detail/logarithm_routes.hpp>
#include <qormath/decompositions/detail/row_sums.hpp>
#include <qormath/lapack/lapack.hpp>

using QorMathLA::ComplexMatrix;
using QorMathLA::ComplexVector;
using QorMathLA::Matrix;
using QorMathLA::Range;
using QorMathLA::Vector;

namespace {

using Complex = std::complex<double>;
using qormath::lapack::ComplexOp;
using qormath::lapack::machineEpsilon;

// An error estimate, or a residual, of up to this many roundings passes.
constexpr double acceptedRoundings = 1000.0;

/// The plain product, without the second look that the operator of std::complex gives to NaN.
Complex times(const Complex& a, const Complex& b) {
    return {a.real() * b.real() - a.imag() * b.imag(), a.real() * b.imag() + a.imag() * b.real()};
}

/// The quotient with the larger part of the divisor as pivot (R. L. Smith, Comm. ACM 5, 1962). Both parts are NaN where
/// either would be, and for a divisor that is not finite.
Complex quotient(const Complex& a, const Complex& b) {
    double re = 0.0;
    double im = 0.0;
    if (std::fabs(b.imag()) < std::fabs(b.real())) {
        const double ratio = b.imag() / b.real();
        const double pivot = b.real() + ratio * b.imag();
        re = (a.real() + a.imag() * ratio) / pivot;
        im = (a.imag() - a.real() * ratio) / pivot;
    } else {
        const double ratio = b.real() / b.imag();
        const double pivot = b.imag() + ratio * b.real();
        re = (a.real() * ratio + a.imag()) / pivot;
        im = (a.imag() * ratio - a.real()) / pivot;
    }
    constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();
    const bool isNumber = std::isfinite(b.real()) && std::isfinite(b.imag()) && !std::isnan(re) && !std::isnan(im);
    return isNumber ? Complex(re, im) : Complex(notANumber, notANumber);
}

/// Parlett's recurrence for the logarithm f of a triangular matrix t.
///
/// It goes column by column, upwards in each. An element needs those of its own column below it and of its own row left
/// of it; a copy of both matrices by rows makes each of the two a contiguous run. The terms are added in ascending
/// order of the inner index, as by the recurrence along superdiagonals, so that the results are the same to the bit.
class TriangularLogarithm {
  public:
    TriangularLogarithm(const ComplexMatrix<double>& t, ComplexMatrix<double>& f)
        : n_(t.rows()),
          t_(t.numericData(true)),
          f_(f.numericData(true)),
          rowsOfT_(static_cast<std::size_t>(n_) * static_cast<std::size_t>(n_)),
          rowsOfF_(rowsOfT_.size()),
          minGap_(n_ > 0 ? std::abs(t_[0]) : 0.0) {}

    /// Fills the upper triangle of f; returns the smallest difference of two eigenvalues, or the modulus of the first
    /// eigenvalue where that is smaller.
    double run() {
        for (int j = 0; j < n_; ++j) {
            for (int i = 0; i <= j; ++i) {
                rowsOfT_[at(j, i)] = t_[at(i, j)];
            }
            store(j, j, std::log(t_[at(j, j)]));
            for (int i = j - 1; i >= 0; --i) {
                fillElement(i, j);
            }
        }
        return minGap_;
    }

  private:
    std::size_t at(int row, int column) const {
        return static_cast<std::size_t>(row) + static_cast<std::size_t>(column) * static_cast<std::size_t>(n_);
    }

    void store(int i, int j, const Complex& value) {
        f_[at(i, j)] = value;
        rowsOfF_[at(j, i)] = value;
    }

    void fillElement(int i, int j) {
        const Complex* const columnOfT = t_ + at(0, j);
        const Complex* const columnOfF = f_ + at(0, j);
        const Complex* const rowOfT = rowsOfT_.data() + at(0, i);
        const Complex* const rowOfF = rowsOfF_.data() + at(0, i);
        Complex sum = times(columnOfF[j] - rowOfF[i], columnOfT[i]);
        for (int k = i + 1; k < j; ++k) {
            sum = sum + times(columnOfF[k], rowOfT[k]) - times(columnOfT[k], rowOfF[k]);
        }
        const Complex difference = columnOfT[j] - rowOfT[i];
        const double gap = std::abs(difference);
        store(i, j, gap == 0.0 ? sum : quotient(sum, difference));
        if (!(gap > minGap_)) {
            minGap_ = gap;
        }
    }

    int n_;
    const Complex* t_;
    Complex* f_;
    std::vector<Complex> rowsOfT_;  // row i of the matrix is column i here
    std::vector<Complex> rowsOfF_;
    double minGap_;
};

/// f = u f u^H.
void transformBack(const ComplexMatrix<double>& u, ComplexMatrix<double>& f) {
    using qormath::lapack::gemm;
    const int n = u.rows();
    ComplexMatrix<double> product(n, n);
    gemm(ComplexOp::none, ComplexOp::none, n, n, n, 1.0, u.numericData(true), n, f.numericData(true), n, 0.0,
         product.numericData(true), n);
    gemm(ComplexOp::none, ComplexOp::conjugateTranspose, n, n, n, 1.0, product.numericData(true), n,
         u.numericData(true), n, 0.0, f.numericData(true), n);
}

/// The largest column sum of the moduli above the diagonal.
double upperColumnNorm(const ComplexMatrix<double>& t) {
    double largest = 0.0;
    for (int j = 1; j < t.cols(); ++j) {
        double sum = 0.0;
        for (int k = 0; k < j; ++k) {
            sum += std::abs(t(k, j));
        }
        largest = std::max(largest, sum);
    }
    return largest;
}

/// The largest row sum of the moduli; NaN where there is one.
template <class M>
double rowNorm(const M& matrix) {
    double largest = 0.0;
    for (const double sum : qormath::decompositions::absoluteRowSums(matrix)) {
        largest = std::isnan(sum) || sum > largest ? sum : largest;
        if (std::isnan(largest)) {
            break;
        }
    }
    return largest;
}

/// ||exp(logarithm) - a|| / ||a||.
double relativeResidual(const ComplexMatrix<double>& logarithm, const Matrix<double>& a) {
    ComplexMatrix<double> difference = QorMathControl::ExpM(logarithm);
    difference -= ComplexMatrix<double>(a);
    return rowNorm(difference) / rowNorm(a);
}

/// An orthogonal matrix of order n that is always the same and has no structure of its own: the left singular vectors
/// of I + g + g', where every column of g holds 1, 2, ..., n. Its columns are fewer where that matrix is of lower rank
/// to working precision.
Matrix<double> fixedRotation(int n) {
    constexpr int maxIterations = 75;
    Matrix<double> h(n, n);
    for (int j = 0; j < n; ++j) {
        for (int i = 0; i < n; ++i) {
            h(i, j) = (i == j ? 1.0 : 0.0) + (i + 1.0) + (j + 1.0);
        }
    }
    Vector<double> s;
    Matrix<double> unused;
    h.svd(s, unused, maxIterations, false);
    const double limit = n * s.maxAbs() * machineEpsilon();
    const auto rank = static_cast<int>(
        std::count_if(s.numericData(), s.numericData() + n, [limit](double value) { return value > limit; }));
    return h(Range(-1, -1, 1), Range(0, rank - 1, 1));
}

}  // namespace

ComplexMatrix<double> QorMathControl::LogM(const Matrix<double>& a) {
    Matrix<double> real;
    if (qormath::decompositions::logarithmByRoots(a, real)) {
        return ComplexMatrix<double>(real);
    }
    return qormath::decompositions::logarithmByRecurrence(a, &ParlettsLog);
}

ComplexMatrix<double> qormath::decompositions::logarithmByRecurrence(
    const Matrix<double>& a, void (*recurrence)(const Matrix<double>&, ComplexMatrix<double>&, double&)) {
    const double accepted = acceptedRoundings * machineEpsilon();
    ComplexMatrix<double> result;
    double err = 0.0;
    recurrence(a, result, err);
    if (!(err > accepted)) {
        return result;
    }
    // A logarithm that is not finite is that of a singular matrix, and no rotation brings it nearer.
    if (!std::isfinite(rowNorm(result)) || !(relativeResidual(result, a) > accepted)) {
        return result;
    }
    const Matrix<double> q = fixedRotation(a.rows());
    recurrence(q * a * q.transpose(), result, err);
    const ComplexMatrix<double> complexQ(q);
    return complexQ.transpose() * result * complexQ;
}

void QorMathControl::ParlettsLog(const Matrix<double>& a, ComplexMatrix<double>& f, double& err) {
    const int n = a.rows();
    ComplexMatrix<double> t;
    ComplexMatrix<double> u;
    ComplexVector<double> w;
    ComplexSchurDecomposition(a, t, u, w);
    f = ComplexMatrix<double>(n, n);
    const double smallestGap = TriangularLogarithm(t, f).run();
    if (n > 1) {  // a number commutes with its rotation, and minus infinity would not survive the products
        transformBack(u, f);
    }
    const double eps = machineEpsilon();
    const double minGap = smallestGap == 0.0 ? eps : smallestGap;
    err = std::min(1.0, std::max(eps, eps / minGap * upperColumnNorm(t)));
}
