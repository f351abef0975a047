#pragma once

// Calls of the kernels for the factors of Gramians, and what holds for every result.

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <gtest/gtest.h>
#include <vector>

#include <qormath/control_utility/gramian_factor.hpp>
#include <qormath/lapack/lapack.hpp>

#include "support/quasi_triangular.hpp"
#include "support/random_numbers.hpp"
#include "support/raw_matrix.hpp"

namespace qormath::test {

// Residuals are held to this many n eps norms: a backward stable solution leaves a few.
inline constexpr double gramianRatioLimit = 10.0;

struct Factor {
    int info = 0;
    double scale = 0.0;
    RawMatrix upper;
};

// Calls the kernel on arrays with NaN below the subdiagonal and beyond the leading dimensions, and checks that inputs
// stay as they are and that nothing is written beyond the result.
template <typename Kernel>
inline Factor callGuarded(Kernel kernel, bool discrete, int n, int other, const RawMatrix& a, const RawMatrix& b) {
    const int lda = n + 2;
    const int ldb = b.rows + 3;
    const int lds = n + 1;
    const std::vector<double> guardedA = guardedQuasiTriangular(a, lda);
    const std::vector<double> guardedB = withGuardRows(b.rows, b.cols, b.elements, ldb);
    std::vector<double> aIn = guardedA;
    std::vector<double> bIn = guardedB;
    std::vector<double> s(cells(lds, n), -7.0);
    Factor factor;
    factor.info = kernel(discrete, n, other, aIn.data(), lda, bIn.data(), ldb, s.data(), lds, factor.scale);
    const auto sameBits = [](const std::vector<double>& x, const std::vector<double>& y) {
        return std::equal(x.begin(), x.end(), y.begin(), y.end(),
                          [](double u, double v) { return u == v || (std::isnan(u) && std::isnan(v)); });
    };
    EXPECT_TRUE(sameBits(aIn, guardedA));
    EXPECT_TRUE(sameBits(bIn, guardedB));
    for (int j = 0; j < n; ++j) {
        EXPECT_EQ(s[cells(lds, j) + static_cast<std::size_t>(n)], -7.0);
    }
    factor.upper = RawMatrix(n, n);
    factor.upper.elements = packed(n, n, s.data(), lds);
    return factor;
}

inline Factor controllability(bool discrete, const RawMatrix& a, const RawMatrix& b) {
    return callGuarded(control_utility::controllabilityFactor, discrete, a.rows, b.cols, a, b);
}

inline Factor observability(bool discrete, const RawMatrix& a, const RawMatrix& c) {
    return callGuarded(control_utility::observabilityFactor, discrete, a.rows, c.rows, a, c);
}

inline RawMatrix sum(const RawMatrix& a, const RawMatrix& b, double factor = 1.0) {
    RawMatrix result = a;
    for (std::size_t k = 0; k < result.elements.size(); ++k) {
        result.elements[k] += factor * b.elements[k];
    }
    return result;
}

// || a P + P a' + b b' || / (n eps (2 ||a|| ||P|| + ||b b'||)), or of a P a' - P + b b' with (||a||^2 + 1) ||P||. With
// left true, of the equations with a transposed and b' b.
inline double gramianRatio(bool discrete, const RawMatrix& a, const RawMatrix& b, const RawMatrix& gramian, bool left) {
    const int n = a.rows;
    const lapack::Op plain = left ? lapack::Op::transpose : lapack::Op::none;
    const RawMatrix right = left ? product(b, b, lapack::Op::transpose, lapack::Op::none)
                                 : product(b, b, lapack::Op::none, lapack::Op::transpose);
    const RawMatrix once = product(a, gramian, plain, lapack::Op::none);
    const double normA = frobeniusNorm(a);
    RawMatrix residual;
    double size = 0.0;
    if (discrete) {
        residual = sum(sum(product(once, a, lapack::Op::none, lapack::opposite(plain)), gramian, -1.0), right);
        size = (normA * normA + 1.0) * frobeniusNorm(gramian) + frobeniusNorm(right);
    } else {
        const RawMatrix other = product(gramian, a, lapack::Op::none, lapack::opposite(plain));
        residual = sum(sum(once, other), right);
        size = 2.0 * normA * frobeniusNorm(gramian) + frobeniusNorm(right);
    }
    const double error = frobeniusNorm(residual);
    return error == 0.0 ? 0.0 : error / (std::max(1, n) * lapack::machineEpsilon() * size);
}

inline RawMatrix gramianOf(const RawMatrix& upper, bool left) {
    return left ? product(upper, upper, lapack::Op::transpose, lapack::Op::none)
                : product(upper, upper, lapack::Op::none, lapack::Op::transpose);
}

inline void expectUpperWithDiagonalNotNegative(const RawMatrix& s) {
    for (int j = 0; j < s.cols; ++j) {
        EXPECT_GE(s(j, j), 0.0);
        for (int i = j + 1; i < s.rows; ++i) {
            EXPECT_EQ(s(i, j), 0.0);
        }
    }
}

inline RawMatrix stableMatrix(bool discrete, int n, double pairShare, std::uint64_t seed) {
    // The coupling keeps the norm of the strictly upper part at the size of the eigenvalues.
    const double coupling = 1.0 / std::sqrt(std::max(1, n));
    return discrete ? quasiTriangular(n, pairShare, 0.5 * coupling, seed, stableDiscrete)
                    : quasiTriangular(n, pairShare, coupling, seed, stableContinuous);
}

}  // namespace qormath::test
