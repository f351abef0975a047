#pragma once

// Quasi-triangular matrices for the tests of kernels that work on real Schur forms.

#include <cmath>
#include <cstdint>
#include <limits>
#include <vector>

#include "support/raw_matrix.hpp"
#include "support/schur_checks.hpp"

namespace qormath::test {

/// Standard quasi-triangular matrix of order n with strictly upper elements of size coupling and eigenvalues drawn by
/// makeEigenvalue(numbers), which returns a real part and an imaginary part; the imaginary part is used for pairs,
/// which take the given share of the diagonal. In a pair the two off-diagonal elements differ by up to a factor of 16.
template <typename MakeEigenvalue>
RawMatrix quasiTriangular(int n, double pairShare, double coupling, std::uint64_t seed, MakeEigenvalue makeEigenvalue) {
    NormalNumbers numbers(seed);
    RawMatrix a(n, n);
    for (int j = 0; j < n; ++j) {
        for (int i = 0; i < j; ++i) {
            a(i, j) = coupling * numbers.normal();
        }
    }
    for (int k = 0; k < n; ++k) {
        const auto [re, im] = makeEigenvalue(numbers);
        a(k, k) = re;
        if (k + 1 < n && numbers.uniform() < pairShare) {
            const double skew = std::pow(4.0, 2.0 * numbers.uniform() - 1.0);
            const double sign = numbers.uniform() < 0.5 ? -1.0 : 1.0;
            a(k + 1, k + 1) = re;
            a(k, k + 1) = sign * im * skew;
            a(k + 1, k) = -sign * im / skew;
            ++k;
        }
    }
    return a;
}

struct Eigenvalue {
    double re = 0.0;
    double im = 0.0;
};

/// Real parts in (-2, -0.1), imaginary parts in (0.1, 3).
inline Eigenvalue stableContinuous(NormalNumbers& numbers) {
    return {-0.1 - 1.9 * numbers.uniform(), 0.1 + 2.9 * numbers.uniform()};
}

/// Moduli below 0.95, spread over the disc.
inline Eigenvalue stableDiscrete(NormalNumbers& numbers) {
    const double modulus = 0.95 * std::sqrt(numbers.uniform());
    const double angle = 0.05 + 3.0 * numbers.uniform();
    return {modulus * std::cos(angle), modulus * std::sin(angle)};
}

/// The matrix in a taller array, with NaN below the subdiagonal and below the last row.
inline std::vector<double> guardedQuasiTriangular(const RawMatrix& a, int lda) {
    std::vector<double> result = withGuardRows(a.rows, a.cols, a.elements, lda);
    for (int j = 0; j < a.cols; ++j) {
        for (int i = j + 2; i < a.rows; ++i) {
            result[cells(lda, j) + static_cast<std::size_t>(i)] = std::numeric_limits<double>::quiet_NaN();
        }
    }
    return result;
}

}  // namespace qormath::test
