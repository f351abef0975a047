#pragma once

// The exponential of a matrix by its power series in more than twice the precision of double: the oracle of the
// exponential in double.

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstddef>
#include <support/random_numbers.hpp>
#include <vector>

#include <qormath/core/complex_matrix.hpp>
#include <qormath/core/matrix.hpp>

namespace qormath::test {

#ifdef __SIZEOF_FLOAT128__
__extension__ typedef __float128 Quad;  // 113 bits
#else
using Quad = long double;  // 113 bits where there is no __float128
#endif

/// A packed square matrix of quadruple precision.
struct QuadMatrix {
    explicit QuadMatrix(int order) : n(order), elements(cells(order, order), Quad(0)) {}

    Quad& operator()(int i, int j) { return elements[cells(j, n) + static_cast<std::size_t>(i)]; }
    Quad operator()(int i, int j) const { return elements[cells(j, n) + static_cast<std::size_t>(i)]; }

    int n;
    std::vector<Quad> elements;
};

inline QuadMatrix operator*(const QuadMatrix& a, const QuadMatrix& b) {
    QuadMatrix result(a.n);
    for (int j = 0; j < a.n; ++j) {
        for (int k = 0; k < a.n; ++k) {
            const Quad factor = b(k, j);
            for (int i = 0; i < a.n; ++i) {
                result(i, j) += a(i, k) * factor;
            }
        }
    }
    return result;
}

/// Scaled to a norm below 2^-8, where 16 terms of the series are exact to 2^-150; then squared back, which costs one
/// bit for each squaring.
inline QuadMatrix exponentialOf(QuadMatrix m) {
    constexpr int targetExponent = -8;
    constexpr int terms = 16;
    double norm = 0.0;
    for (int i = 0; i < m.n; ++i) {
        double sum = 0.0;
        for (int j = 0; j < m.n; ++j) {
            sum += std::fabs(static_cast<double>(m(i, j)));
        }
        norm = std::max(norm, sum);
    }
    int exponent = 0;
    std::frexp(norm, &exponent);
    const int squarings = std::max(0, exponent - targetExponent);
    const Quad factor = static_cast<Quad>(std::ldexp(1.0, -squarings));
    for (Quad& element : m.elements) {
        element *= factor;
    }
    QuadMatrix result(m.n);
    QuadMatrix term(m.n);
    for (int k = 0; k < m.n; ++k) {
        result(k, k) = 1;
        term(k, k) = 1;
    }
    for (int order = 1; order <= terms; ++order) {
        term = term * m;
        for (std::size_t k = 0; k < term.elements.size(); ++k) {
            term.elements[k] /= static_cast<Quad>(order);
            result.elements[k] += term.elements[k];
        }
    }
    for (int k = 0; k < squarings; ++k) {
        result = result * result;
    }
    return result;
}

/// exp(a t), rounded to double.
inline QorMathLA::Matrix<double> quadExponential(const QorMathLA::BasicMatrix<double>& a, double t) {
    QuadMatrix m(a.rows());
    for (int j = 0; j < m.n; ++j) {
        for (int i = 0; i < m.n; ++i) {
            m(i, j) = static_cast<Quad>(a(i, j)) * static_cast<Quad>(t);
        }
    }
    const QuadMatrix exponential = exponentialOf(m);
    QorMathLA::Matrix<double> result(m.n, m.n);
    for (int j = 0; j < m.n; ++j) {
        for (int i = 0; i < m.n; ++i) {
            result(i, j) = static_cast<double>(exponential(i, j));
        }
    }
    return result;
}

/// exp(a), through the real matrix [Re -Im; Im Re] of twice the order.
inline QorMathLA::ComplexMatrix<double> quadExponential(const QorMathLA::BasicMatrix<std::complex<double>>& a) {
    const int n = a.rows();
    QuadMatrix m(2 * n);
    for (int j = 0; j < n; ++j) {
        for (int i = 0; i < n; ++i) {
            m(i, j) = m(n + i, n + j) = static_cast<Quad>(a(i, j).real());
            m(n + i, j) = static_cast<Quad>(a(i, j).imag());
            m(i, n + j) = -m(n + i, j);
        }
    }
    const QuadMatrix exponential = exponentialOf(m);
    QorMathLA::ComplexMatrix<double> result(n, n);
    for (int j = 0; j < n; ++j) {
        for (int i = 0; i < n; ++i) {
            result(i, j) = {static_cast<double>(exponential(i, j)), static_cast<double>(exponential(n + i, j))};
        }
    }
    return result;
}

}  // namespace qormath::test
