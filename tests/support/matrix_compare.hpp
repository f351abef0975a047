#pragma once

// Comparisons of the library's matrices and vectors. They go by logical elements, so that views, transposes and
// compact copies compare alike. Shapes that differ, and NaN on one side alone, are an infinite difference.

#include <cmath>
#include <cstring>
#include <limits>

#include <qormath/core/matrix.hpp>
#include <qormath/core/vector.hpp>

namespace qormath::test {

/// Relative machine precision, the unit of rounding: 2^-53.
inline constexpr double unitRoundoff = 0x1p-53;

/// The larger of two magnitudes; a NaN wins, so that it is never lost in a maximum.
inline double largerOf(double a, double b) {
    return std::isnan(a) || std::isnan(b) ? std::numeric_limits<double>::infinity() : std::fmax(a, b);
}

/// Largest absolute difference of two elements. Equal infinities, and NaN on both sides, differ by 0.
inline double maxDifference(const QorMathLA::BasicMatrix<double>& a, const QorMathLA::BasicMatrix<double>& b) {
    if (a.rows() != b.rows() || a.cols() != b.cols()) {
        return std::numeric_limits<double>::infinity();
    }
    double largest = 0.0;
    for (int j = 0; j < a.cols(); ++j) {
        for (int i = 0; i < a.rows(); ++i) {
            const bool same = a(i, j) == b(i, j) || (std::isnan(a(i, j)) && std::isnan(b(i, j)));
            largest = same ? largest : largerOf(largest, std::fabs(a(i, j) - b(i, j)));
        }
    }
    return largest;
}

inline double maxDifference(const QorMathLA::BasicVector<double>& a, const QorMathLA::BasicVector<double>& b) {
    if (a.size() != b.size()) {
        return std::numeric_limits<double>::infinity();
    }
    double largest = 0.0;
    for (int k = 0; k < a.size(); ++k) {
        const bool same = a[k] == b[k] || (std::isnan(a[k]) && std::isnan(b[k]));
        largest = same ? largest : largerOf(largest, std::fabs(a[k] - b[k]));
    }
    return largest;
}

/// True when the shapes agree and all elements have the same bits: the check that an input has not been written.
inline bool identical(const QorMathLA::BasicMatrix<double>& a, const QorMathLA::BasicMatrix<double>& b) {
    if (a.rows() != b.rows() || a.cols() != b.cols()) {
        return false;
    }
    for (int j = 0; j < a.cols(); ++j) {
        for (int i = 0; i < a.rows(); ++i) {
            if (std::memcmp(&a(i, j), &b(i, j), sizeof(double)) != 0) {
                return false;
            }
        }
    }
    return true;
}

inline bool identical(const QorMathLA::BasicVector<double>& a, const QorMathLA::BasicVector<double>& b) {
    if (a.size() != b.size()) {
        return false;
    }
    for (int k = 0; k < a.size(); ++k) {
        if (std::memcmp(&a[k], &b[k], sizeof(double)) != 0) {
            return false;
        }
    }
    return true;
}

/// The Frobenius norm, without overflow or underflow on the way.
inline double frobeniusNorm(const QorMathLA::BasicMatrix<double>& a) {
    double norm = 0.0;
    for (int j = 0; j < a.cols(); ++j) {
        for (int i = 0; i < a.rows(); ++i) {
            norm = std::hypot(norm, a(i, j));
        }
    }
    return norm;
}

inline double euclideanNorm(const QorMathLA::BasicVector<double>& v) {
    double norm = 0.0;
    for (int k = 0; k < v.size(); ++k) {
        norm = std::hypot(norm, v[k]);
    }
    return norm;
}

/// a b by its definition, one element after the other: the oracle of products.
inline QorMathLA::Matrix<double> naiveProduct(const QorMathLA::BasicMatrix<double>& a,
                                              const QorMathLA::BasicMatrix<double>& b) {
    QorMathLA::Matrix<double> result(a.rows(), b.cols());
    for (int j = 0; j < b.cols(); ++j) {
        for (int i = 0; i < a.rows(); ++i) {
            double sum = 0.0;
            for (int k = 0; k < a.cols(); ++k) {
                sum += a(i, k) * b(k, j);
            }
            result(i, j) = sum;
        }
    }
    return result;
}

/// The difference a - b as a new matrix, element by element; the shapes must agree.
inline QorMathLA::Matrix<double> differenceOf(const QorMathLA::BasicMatrix<double>& a,
                                              const QorMathLA::BasicMatrix<double>& b) {
    QorMathLA::Matrix<double> result(a.rows(), a.cols());
    for (int j = 0; j < a.cols(); ++j) {
        for (int i = 0; i < a.rows(); ++i) {
            result(i, j) = a(i, j) - b(i, j);
        }
    }
    return result;
}

/// ||q' q - i|| in the Frobenius norm: how far the columns of q are from being orthonormal.
inline double orthonormalityDefect(const QorMathLA::BasicMatrix<double>& q) {
    QorMathLA::Matrix<double> gram = QorMathLA::product(q.transpose(), q);
    for (int k = 0; k < gram.rows(); ++k) {
        gram(k, k) -= 1.0;
    }
    return frobeniusNorm(gram);
}

}  // namespace qormath::test
