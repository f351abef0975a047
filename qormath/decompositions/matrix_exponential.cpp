#include <algorithm>
#include <cmath>
#include <complex>
#include <cstddef>
#include <limits>
#include <utility>
#include <vector>

#include <qormath/control/qor_math_control.hpp>
#include <qormath/core/arithmetic.hpp>
#include <qormath/decompositions/detail/exponential_routes.hpp>
#include <qormath/decompositions/detail/row_sums.hpp>
#include <qormath/lapack/finite.hpp>
#include <qormath/lapack/lapack.hpp>

using QorMathLA::ComplexMatrix;
using QorMathLA::Matrix;
using QorMathLA::MatrixSoft;

namespace {

// Degree of numerator and denominator of the approximant.
constexpr int degree = 6;

template <class M>
void addToDiagonal(M& matrix, double value) {
    for (int k = 0; k < matrix.rows(); ++k) {
        matrix(k, k) += value;
    }
}

/// The largest absolute row sum, but not below the given value. NaN counts for nothing.
template <class M>
double largestRowSum(const M& matrix, double least) {
    double largest = least;
    for (const double sum : qormath::decompositions::absoluteRowSums(matrix)) {
        largest = std::max(largest, sum);
    }
    return largest;
}

/// The power of two to divide by, so that a norm comes below 1/2. A norm that is not finite has none; any will do.
int scalingExponent(double norm) {
    int exponent = 0;
    if (std::isfinite(norm)) {
        std::frexp(norm, &exponent);
    }
    return std::max(0, exponent + 1);
}

/// Numerator and denominator of the Padé approximant of exp(m).
template <class M>
struct Approximant {
    explicit Approximant(const M& m) : numer(m), denom(m) {
        double c = 0.5;
        numer *= c;
        denom *= -c;
        addToDiagonal(numer, 1.0);
        addToDiagonal(denom, 1.0);
        M power = m;
        for (int k = 2; k <= degree; ++k) {
            c = c * (degree + 1 - k) / ((2 * degree + 1 - k) * k);
            power = m * power;
            M term = power;
            term *= c;
            numer += term;
            if (k % 2 == 0) {
                denom += term;
            } else {
                denom -= term;
            }
        }
    }

    M numer;
    M denom;
};

template <class M>
void squareRepeatedly(M& matrix, int times) {
    for (int k = 0; k < times; ++k) {
        matrix = matrix * matrix;
    }
}

void requireSquare(bool isSquare, const char* operation) {
    if (!isSquare) {
        throw QorMathLA::xmsg(QorMathLA::DimensionMismatch, operation);
    }
}

/// denom^-1 numer through the pseudo-inverse. Its singular value decomposition would refuse what is not finite; here
/// that is an answer.
Matrix<double> quotientOf(const Approximant<Matrix<double>>& approximant) {
    const Matrix<double>& denom = approximant.denom;
    const int n = denom.rows();
    if (qormath::lapack::allFinite(n, n, denom.numericData(true), n)) {
        return denom.leftDivide(approximant.numer);
    }
    Matrix<double> unknown(n, n);
    unknown.fill(std::numeric_limits<double>::quiet_NaN());
    return unknown;
}

/// The number of rows at the bottom that are zero, but not all rows.
int zeroRowsAtBottom(const Matrix<double>& m) {
    const int n = m.rows();
    const double* const data = m.numericData(true);
    int others = 1;
    for (int j = 0; j < n; ++j) {
        const double* const column = data + static_cast<std::ptrdiff_t>(j) * n;
        int row = n;
        while (row > others && column[row - 1] == 0.0) {
            --row;
        }
        others = row;
    }
    return n - others;
}

/// Replaces m by its exponential, with a multiple of the identity taken off on the way. False, with m as it was, where
/// the series gives no result. Rows of zeros at the bottom, those of inputs that stay, take no part in the products.
bool exponentialBySeries(Matrix<double>& m, double shift) {
    const int n = m.rows();
    double* const data = m.numericData(true);
    if (!qormath::lapack::allFinite(n, n, data, n)) {
        return false;
    }
    const int zeroRows = zeroRowsAtBottom(m);
    const int rows = n - zeroRows;
    if (!qormath::decompositions::exponentialBySeries(rows, zeroRows, shift, data, n)) {
        return false;
    }
    for (int k = rows; k < n; ++k) {
        m(k, k) = 1.0;
    }
    return true;
}

}  // namespace

Matrix<double> qormath::decompositions::exponentialByApproximant(Matrix<double> m) {
    const int scaling = scalingExponent(largestRowSum(m, 1.0));
    m *= std::ldexp(1.0, -scaling);
    Matrix<double> result = quotientOf(Approximant<Matrix<double>>(m));
    squareRepeatedly(result, scaling);
    return result;
}

MatrixSoft<double> QorMathControl::ExpM(const Matrix<double>& a, double t) {
    Matrix<double> m = a * t;
    const int n = m.rows();
    if (n == 0) {
        throw QorMathLA::xmsg(QorMathLA::DivisionByZero, "Matrix / Type");  // there is no mean eigenvalue
    }
    requireSquare(m.cols() == n, "Matrix - Matrix");
    if (n == 1) {
        m(0, 0) = std::exp(m(0, 0));
        return m;
    }
    double trace = 0.0;
    for (int k = 0; k < n; ++k) {
        trace += m(k, k);
    }
    const double shift = trace / n;
    if (exponentialBySeries(m, shift)) {
        return m;
    }
    addToDiagonal(m, -shift);
    Matrix<double> result = qormath::decompositions::exponentialByApproximant(std::move(m));
    result *= std::exp(shift);
    return result;
}

ComplexMatrix<double> QorMathControl::ExpM(const ComplexMatrix<double>& a) {
    ComplexMatrix<double> m = a;
    const int n = m.rows();
    requireSquare(m.cols() == n, "Matrix + Matrix");
    const int scaling = scalingExponent(largestRowSum(m, 0.0));
    m *= std::complex<double>(std::ldexp(1.0, -scaling), 0.0);
    Approximant<ComplexMatrix<double>> approximant(m);
    m = approximant.numer;
    std::vector<int> pivots(static_cast<std::size_t>(n));
    // Of a finite matrix the denominator is never close to singular, and of any other there is nothing to save.
    qormath::lapack::gesv(n, n, approximant.denom.numericData(true), n, pivots.data(), m.numericData(true), n);
    squareRepeatedly(m, scaling);
    return m;
}
