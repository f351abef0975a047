#pragma once

// Norms and products of packed matrices, in double or in single precision (Real).

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <type_traits>
#include <vector>

#include <qormath/control_utility/quasi_triangular.hpp>
#include <qormath/lapack/finite.hpp>
#include <qormath/lapack/lapack.hpp>

namespace qormath::control_utility {

/// Number of elements of a packed matrix.
inline std::size_t elementCount(int rows, int columns) {
    return static_cast<std::size_t>(rows) * static_cast<std::size_t>(columns);
}

/// The elements in single precision, or in double again.
template <typename To, typename From>
std::vector<To> inPrecisionOf(const std::vector<From>& elements) {
    std::vector<To> result(elements.size());
    std::transform(elements.begin(), elements.end(), result.begin(),
                   [](From element) { return static_cast<To>(element); });
    return result;
}

/// The Frobenius norm of a matrix.
template <typename Real>
double plainNorm(const std::vector<Real>& a) {
    // Eight sums side by side, for each addition waits for the one before it.
    constexpr std::size_t lanes = 8;
    double sums[lanes] = {};
    const std::size_t whole = a.size() - a.size() % lanes;
    for (std::size_t k = 0; k < whole; k += lanes) {
        for (std::size_t lane = 0; lane < lanes; ++lane) {
            const double element = a[k + lane];
            sums[lane] += element * element;
        }
    }
    for (std::size_t k = whole; k < a.size(); ++k) {
        sums[0] += static_cast<double>(a[k]) * static_cast<double>(a[k]);
    }
    double sum = 0.0;
    for (const double part : sums) {
        sum += part;
    }
    // Squares of single precision are numbers, and regular ones.
    constexpr double safe = 0x1p900;
    if constexpr (std::is_same_v<Real, double>) {
        if (!(sum >= 1.0 / safe && sum <= safe)) {
            const auto count = static_cast<int>(a.size());
            return lapack::lange(lapack::Norm::frobenius, count, 1, a.data(), count);
        }
    }
    return std::sqrt(sum);
}

/// op(a) op(b), of m by n with inner size k.
inline std::vector<double> product(lapack::Op opA, lapack::Op opB, int m, int n, int k, const std::vector<double>& a,
                                   const std::vector<double>& b) {
    std::vector<double> c(elementCount(m, n), 0.0);
    lapack::gemm(opA, opB, m, n, k, 1.0, a.data(), opA == lapack::Op::none ? m : k, b.data(),
                 opB == lapack::Op::none ? k : n, 0.0, c.data(), m);
    return c;
}

/// True when no element of a matrix of m by n is NaN or infinite.
template <typename Real>
bool allFinite(int m, int n, const std::vector<Real>& a) {
    return lapack::allFinite(m, n, a.data(), m);
}

/// c := factor op(a) op(b) + beta c for square matrices.
template <typename Real>
void multiply(lapack::Op opA, lapack::Op opB, int n, Real factor, const std::vector<Real>& a,
              const std::vector<Real>& b, Real beta, std::vector<Real>& c) {
    lapack::gemm(opA, opB, n, n, n, factor, a.data(), n, b.data(), n, beta, c.data(), n);
}

/// c := factor op(a) op(b) + beta c where that is known to be symmetric.
template <typename Real>
void multiplyToSymmetric(lapack::Op opA, lapack::Op opB, int n, int inner, Real factor, const std::vector<Real>& a,
                         const std::vector<Real>& b, Real beta, std::vector<Real>& c) {
    // Columns that are made together. What is above the diagonal block is made once, not twice.
    constexpr int stripWidth = 96;
    const int lda = opA == lapack::Op::none ? n : inner;
    const int ldb = opB == lapack::Op::none ? inner : n;
    for (int first = 0; first < n; first += stripWidth) {
        const int last = std::min(n, first + stripWidth);
        const Real* const strip = opB == lapack::Op::none ? at(b.data(), ldb, 0, first) : at(b.data(), ldb, first, 0);
        lapack::gemm(opA, opB, last, last - first, inner, factor, a.data(), lda, strip, ldb, beta,
                     at(c.data(), n, 0, first), n);
    }
    mirrorUpperTriangle(n, c.data(), n);
}

}  // namespace qormath::control_utility
