#pragma once

// Pairs (A, B) with a known controllable part.

#include <cmath>

#include "support/raw_matrix.hpp"

namespace qormath::test {

struct Pair {
    RawMatrix a;
    RawMatrix b;
};

/// Shift chains: input j drives state j, and state i drives state i + m. Each chain has a gain of its own, so that no
/// pivot is a matter of rounding, and all lie close to 1, so that many stairs amplify rounding little.
inline Pair shiftChain(int n, int m) {
    Pair pair{RawMatrix(n, n), RawMatrix(n, m)};
    for (int i = 0; i < n; ++i) {
        const double gain = 1.0 + (i % m) / (64.0 * m);
        if (i < m) {
            pair.b(i, i) = gain;
        } else {
            pair.a(i, i - m) = gain;
        }
    }
    return pair;
}

inline Pair rotated(const Pair& pair, NormalNumbers& generator) {
    const RawMatrix q = rawRandomOrthogonal(pair.a.rows, generator);
    return {product(product(q, pair.a), q, lapack::Op::none, lapack::Op::transpose), product(q, pair.b)};
}

/// A shift chain of the given order, with random uncontrollable states that drive it, behind a random orthogonal
/// transformation. The rounding of the transformation is not amplified on its way along such a chain: see
/// chainTolerance.
inline Pair hiddenChain(int n, int m, int order, NormalNumbers& generator) {
    Pair pair = shiftChain(n, m);
    const RawMatrix random = rawRandom(n, n, generator);
    for (int i = 0; i < n; ++i) {
        for (int j = 0; j < n; ++j) {
            if (j >= order) {
                pair.a(i, j) = random(i, j) / std::sqrt(n);
            } else if (i >= order) {
                pair.a(i, j) = 0.0;
            }
        }
        for (int j = 0; j < m && i >= order; ++j) {
            pair.b(i, j) = 0.0;
        }
    }
    return rotated(pair, generator);
}

/// A few roundings of each element of the transformed pair: with a handful of states they exceed the default, n eps.
inline double chainTolerance(int n) {
    return 10 * n * lapack::machineEpsilon();
}

/// A random pair with a controllable part of the given order behind a random orthogonal transformation. Random stairs
/// amplify the rounding of the transformation, far above the default tolerance.
inline Pair hiddenRandom(int n, int m, int order, NormalNumbers& generator) {
    Pair pair{rawRandom(n, n, generator), rawRandom(n, m, generator)};
    for (int i = order; i < n; ++i) {
        for (int j = 0; j < order; ++j) {
            pair.a(i, j) = 0.0;
        }
        for (int j = 0; j < m; ++j) {
            pair.b(i, j) = 0.0;
        }
    }
    return rotated(pair, generator);
}

}  // namespace qormath::test
