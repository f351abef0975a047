#pragma once

// A packed column-major matrix for the tests of kernels that work on raw arrays.

#include <cstddef>
#include <random>
#include <vector>

#include <qormath/lapack/lapack.hpp>

#include "support/random_numbers.hpp"

namespace qormath::test {

struct RawMatrix {
    RawMatrix() = default;
    RawMatrix(int m, int n, double value = 0.0)
        : rows(m), cols(n), elements(static_cast<std::size_t>(m) * static_cast<std::size_t>(n), value) {}

    double& operator()(int i, int j) { return elements[index(i, j)]; }
    double operator()(int i, int j) const { return elements[index(i, j)]; }
    double* data() { return elements.data(); }
    const double* data() const { return elements.data(); }
    bool operator==(const RawMatrix& other) const = default;

    int rows = 0;
    int cols = 0;
    std::vector<double> elements;

  private:
    std::size_t index(int i, int j) const {
        return static_cast<std::size_t>(i) + static_cast<std::size_t>(j) * static_cast<std::size_t>(rows);
    }
};

inline RawMatrix rawIdentity(int n) {
    RawMatrix result(n, n);
    for (int k = 0; k < n; ++k) {
        result(k, k) = 1.0;
    }
    return result;
}

/// op(a) op(b); zeros where the inner size is 0.
inline RawMatrix product(const RawMatrix& a, const RawMatrix& b, lapack::Op opA = lapack::Op::none,
                         lapack::Op opB = lapack::Op::none) {
    const bool plainA = opA == lapack::Op::none;
    const bool plainB = opB == lapack::Op::none;
    RawMatrix result(plainA ? a.rows : a.cols, plainB ? b.cols : b.rows);
    lapack::gemm(opA, opB, result.rows, result.cols, plainA ? a.cols : a.rows, 1.0, a.data(), a.rows, b.data(), b.rows,
                 0.0, result.data(), result.rows);
    return result;
}

inline RawMatrix difference(const RawMatrix& a, const RawMatrix& b) {
    RawMatrix result = a;
    for (std::size_t k = 0; k < result.elements.size(); ++k) {
        result.elements[k] -= b.elements[k];
    }
    return result;
}

inline RawMatrix transposed(const RawMatrix& a) {
    RawMatrix result(a.cols, a.rows);
    for (int j = 0; j < a.cols; ++j) {
        for (int i = 0; i < a.rows; ++i) {
            result(j, i) = a(i, j);
        }
    }
    return result;
}

inline RawMatrix part(const RawMatrix& a, int firstRow, int rows, int firstColumn, int cols) {
    RawMatrix result(rows, cols);
    for (int j = 0; j < cols; ++j) {
        for (int i = 0; i < rows; ++i) {
            result(i, j) = a(firstRow + i, firstColumn + j);
        }
    }
    return result;
}

inline double frobeniusNorm(const RawMatrix& a) {
    return lapack::lange(lapack::Norm::frobenius, a.rows, a.cols, a.data(), a.rows);
}

/// Elements drawn from the standard normal distribution.
inline RawMatrix rawRandom(int m, int n, NormalNumbers& generator) {
    RawMatrix result(m, n);
    for (double& element : result.elements) {
        element = generator.normal();
    }
    return result;
}

/// The same for a test that has a bare engine.
inline RawMatrix rawRandom(int m, int n, std::mt19937_64& engine) {
    NormalNumbers generator(engine());
    return rawRandom(m, n, generator);
}

/// The orthogonal factor of a random matrix.
template <class Generator>
RawMatrix rawRandomOrthogonal(int n, Generator& generator) {
    RawMatrix q = rawRandom(n, n, generator);
    const int lwork = 64 * (n + 1);
    std::vector<double> factors(static_cast<std::size_t>(n) + 1);
    std::vector<double> work(static_cast<std::size_t>(lwork));
    lapack::geqrf(n, n, q.data(), n, factors.data(), work.data(), lwork);
    lapack::orgqr(n, n, n, q.data(), n, factors.data(), work.data(), lwork);
    return q;
}

/// The singular values in descending order.
inline std::vector<double> rawSingularValues(RawMatrix a) {
    const int count = a.rows < a.cols ? a.rows : a.cols;
    std::vector<double> values(static_cast<std::size_t>(count));
    if (count == 0) {
        return values;
    }
    const int lwork = 8 * (a.rows + a.cols);
    std::vector<double> work(static_cast<std::size_t>(lwork));
    double unused = 0.0;
    lapack::gesvd('N', 'N', a.rows, a.cols, a.data(), a.rows, values.data(), &unused, 1, &unused, 1, work.data(),
                  lwork);
    return values;
}

}  // namespace qormath::test
