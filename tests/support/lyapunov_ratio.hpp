#pragma once

// How well a solution satisfies a Lyapunov or Stein equation, on raw matrices.

#include <algorithm>
#include <cstddef>

#include <qormath/lapack/lapack.hpp>

#include "support/raw_matrix.hpp"

namespace qormath::test {

/// A symmetric matrix of the symmetric part of standard normal elements.
inline RawMatrix rawRandomSymmetric(int n, NormalNumbers& numbers) {
    RawMatrix result = rawRandom(n, n, numbers);
    for (int j = 0; j < n; ++j) {
        for (int i = 0; i <= j; ++i) {
            result(i, j) = 0.5 * (result(i, j) + result(j, i));
            result(j, i) = result(i, j);
        }
    }
    return result;
}

/// The residual of a' x + x a = c, or when discrete a' x a - x = c, over n eps times the norms of what it is made of,
/// 2 ||a|| ||x|| + ||c|| or (||a||^2 + 1) ||x|| + ||c||. A method of backward error eps in each product and each
/// orthogonal transformation keeps it below a small number.
inline double lyapunovRatio(bool discrete, const RawMatrix& a, const RawMatrix& x, const RawMatrix& c) {
    using lapack::Op;
    const RawMatrix left = product(a, x, Op::transpose, Op::none);
    const RawMatrix defect =
        discrete ? difference(difference(product(left, a), x), c) : difference(difference(c, left), product(x, a));
    const double normA = frobeniusNorm(a);
    const double factor = discrete ? normA * normA + 1.0 : 2.0 * normA;
    const double size = factor * frobeniusNorm(x) + frobeniusNorm(c);
    const double error = frobeniusNorm(defect);
    return error == 0.0 ? 0.0 : error / (std::max(1, a.rows) * lapack::machineEpsilon() * size);
}

}  // namespace qormath::test
