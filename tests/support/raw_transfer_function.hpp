#pragma once

// The transfer function of a system given by raw matrices, one frequency at a time.

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstddef>
#include <utility>
#include <vector>

#include "support/raw_matrix.hpp"

namespace qormath::test {

struct RawSystem {
    RawMatrix a, b, c;
};

/// Column-major complex matrix.
struct RawComplex {
    RawComplex(int m, int n) : rows(m), cols(n), elements(static_cast<std::size_t>(m) * static_cast<std::size_t>(n)) {}

    std::complex<double>& operator()(int i, int j) {
        return elements[static_cast<std::size_t>(i) + static_cast<std::size_t>(j) * static_cast<std::size_t>(rows)];
    }
    std::complex<double> operator()(int i, int j) const {
        return elements[static_cast<std::size_t>(i) + static_cast<std::size_t>(j) * static_cast<std::size_t>(rows)];
    }

    int rows;
    int cols;
    std::vector<std::complex<double>> elements;
};

inline double frobeniusNorm(const RawComplex& x) {
    double sum = 0.0;
    for (const std::complex<double>& element : x.elements) {
        sum += std::norm(element);
    }
    return std::sqrt(sum);
}

/// (z I - a)^-1 b by Gaussian elimination with partial pivoting.
inline RawComplex resolventTimes(const RawMatrix& a, const RawMatrix& b, std::complex<double> z) {
    const int n = a.rows;
    RawComplex left(n, n), x(n, b.cols);
    for (int j = 0; j < n; ++j) {
        for (int i = 0; i < n; ++i) {
            left(i, j) = (i == j ? z : 0.0) - a(i, j);
        }
    }
    std::copy(b.elements.begin(), b.elements.end(), x.elements.begin());
    for (int k = 0; k < n; ++k) {
        int pivot = k;
        for (int i = k + 1; i < n; ++i) {
            pivot = std::abs(left(i, k)) > std::abs(left(pivot, k)) ? i : pivot;
        }
        for (int j = 0; j < n; ++j) {
            std::swap(left(k, j), left(pivot, j));
        }
        for (int j = 0; j < x.cols; ++j) {
            std::swap(x(k, j), x(pivot, j));
        }
        const std::complex<double> inverse = 1.0 / left(k, k);
        for (int i = k + 1; i < n; ++i) {
            left(i, k) *= inverse;
        }
        for (int j = k + 1; j < n; ++j) {
            for (int i = k + 1; i < n; ++i) {
                left(i, j) -= left(i, k) * left(k, j);
            }
        }
        for (int j = 0; j < x.cols; ++j) {
            for (int i = k + 1; i < n; ++i) {
                x(i, j) -= left(i, k) * x(k, j);
            }
        }
    }
    for (int j = 0; j < x.cols; ++j) {
        for (int k = n - 1; k >= 0; --k) {
            x(k, j) /= left(k, k);
            for (int i = 0; i < k; ++i) {
                x(i, j) -= left(i, k) * x(k, j);
            }
        }
    }
    return x;
}

/// c x.
inline RawComplex leftProduct(const RawMatrix& c, const RawComplex& x) {
    RawComplex result(c.rows, x.cols);
    for (int j = 0; j < x.cols; ++j) {
        for (int k = 0; k < c.cols; ++k) {
            for (int i = 0; i < c.rows; ++i) {
                result(i, j) += c(i, k) * x(k, j);
            }
        }
    }
    return result;
}

inline RawMatrix transposeOf(const RawMatrix& x) {
    RawMatrix result(x.cols, x.rows);
    for (int j = 0; j < x.cols; ++j) {
        for (int i = 0; i < x.rows; ++i) {
            result(j, i) = x(i, j);
        }
    }
    return result;
}

inline RawComplex differenceOf(RawComplex a, const RawComplex& b) {
    for (std::size_t k = 0; k < a.elements.size(); ++k) {
        a.elements[k] -= b.elements[k];
    }
    return a;
}

/// Points of the stability limit: the upper half of the unit circle, or count frequencies from 1e-4 to 1e4 and 0.
inline std::vector<std::complex<double>> frequencies(bool discrete, int count) {
    std::vector<std::complex<double>> points;
    for (int k = 0; k < count; ++k) {
        const double share = static_cast<double>(k) / (count - 1);
        points.push_back(discrete ? std::polar(1.0, 3.141592653589793 * share)
                                  : std::complex<double>(0.0, k == 0 ? 0.0 : std::pow(10.0, -4.0 + 8.0 * share)));
    }
    return points;
}

}  // namespace qormath::test
