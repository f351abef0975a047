#pragma once

// Random complex matrices, their norms, and products by definition.

#include <algorithm>
#include <cmath>
#include <complex>
#include <initializer_list>
#include <limits>
#include <support/matrix_compare.hpp>
#include <support/random_numbers.hpp>

#include <qormath/core/complex_matrix.hpp>

namespace qormath::test {

using Complex = std::complex<double>;

/// The complex matrix of the given rows, which are of one length.
inline QorMathLA::ComplexMatrix<double> complexMatrixOf(std::initializer_list<std::initializer_list<Complex>> rows) {
    const int rowCount = static_cast<int>(rows.size());
    const int colCount = rowCount == 0 ? 0 : static_cast<int>(rows.begin()->size());
    QorMathLA::ComplexMatrix<double> result(rowCount, colCount);
    int i = 0;
    for (const auto& row : rows) {
        int j = 0;
        for (const Complex& value : row) {
            result(i, j++) = value;
        }
        ++i;
    }
    return result;
}

/// Real and imaginary parts standard normal.
inline QorMathLA::ComplexMatrix<double> randomComplexMatrix(int rows, int cols, NormalNumbers& numbers) {
    QorMathLA::ComplexMatrix<double> result(rows, cols);
    for (Complex& element : result) {
        const double re = numbers.normal();
        element = {re, numbers.normal()};
    }
    return result;
}

/// The Frobenius norm; infinite where an element is NaN.
inline double frobeniusNorm(const QorMathLA::BasicMatrix<Complex>& a) {
    double norm = 0.0;
    for (int j = 0; j < a.cols(); ++j) {
        for (int i = 0; i < a.rows(); ++i) {
            norm = std::isnan(std::abs(a(i, j))) ? std::numeric_limits<double>::infinity()
                                                 : std::hypot(norm, std::abs(a(i, j)));
        }
    }
    return norm;
}

/// Largest modulus of a difference of two elements, infinite for shapes that differ and for NaN.
inline double maxDifference(const QorMathLA::BasicMatrix<Complex>& a, const QorMathLA::BasicMatrix<Complex>& b) {
    if (a.rows() != b.rows() || a.cols() != b.cols()) {
        return std::numeric_limits<double>::infinity();
    }
    double largest = 0.0;
    for (int j = 0; j < a.cols(); ++j) {
        for (int i = 0; i < a.rows(); ++i) {
            largest = largerOf(largest, std::abs(a(i, j) - b(i, j)));
        }
    }
    return largest;
}

/// a b by its definition; the oracle of products.
inline QorMathLA::ComplexMatrix<double> naiveProduct(const QorMathLA::BasicMatrix<Complex>& a,
                                                     const QorMathLA::BasicMatrix<Complex>& b) {
    QorMathLA::ComplexMatrix<double> result(a.rows(), b.cols());
    for (int j = 0; j < b.cols(); ++j) {
        for (int i = 0; i < a.rows(); ++i) {
            for (int k = 0; k < a.cols(); ++k) {
                result(i, j) += a(i, k) * b(k, j);
            }
        }
    }
    return result;
}

/// The conjugate transpose in a new block.
inline QorMathLA::ComplexMatrix<double> conjugateTransposeOf(const QorMathLA::BasicMatrix<Complex>& a) {
    QorMathLA::ComplexMatrix<double> result(a.cols(), a.rows());
    for (int j = 0; j < a.cols(); ++j) {
        for (int i = 0; i < a.rows(); ++i) {
            result(j, i) = std::conj(a(i, j));
        }
    }
    return result;
}

inline QorMathLA::Matrix<double> realPartOf(const QorMathLA::BasicMatrix<Complex>& a) {
    QorMathLA::Matrix<double> result(a.rows(), a.cols());
    for (int j = 0; j < a.cols(); ++j) {
        for (int i = 0; i < a.rows(); ++i) {
            result(i, j) = a(i, j).real();
        }
    }
    return result;
}

}  // namespace qormath::test
