#pragma once

// Systems of known parts, and calls of the reduction with what they leave.

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstddef>
#include <gtest/gtest.h>
#include <numeric>
#include <random>
#include <vector>

#include <qormath/control_utility/modelreductionfort.hpp>
#include <qormath/control_utility/schur_reordering.hpp>

#include "support/raw_matrix.hpp"
#include "support/raw_transfer_function.hpp"

namespace qormath::test {

inline constexpr double eps = 0x1p-53;
inline const double root = std::sqrt(eps);

inline double marginOf(bool discrete) {
    return discrete ? 1.0 - root : -root;
}

struct Options {
    double alpha;
    int order = 0;  // of the whole result; fixed when above -1 and fixedOrder is set
    bool fixedOrder = false;
    double tolerance = 0.0;
};

struct Reduced {
    RawSystem whole;   // as returned, with the rows and columns beyond the result
    RawSystem system;  // cut to the result
    std::vector<double> hsv;
    int ns = -7;
    int nr = -7;
    int info = -7;

    int leading() const { return whole.a.rows - ns; }
    double discarded() const {
        if (info != 0) {
            return 0.0;
        }
        const auto kept = static_cast<std::ptrdiff_t>(nr - leading());
        return std::accumulate(hsv.begin() + kept, hsv.end(), 0.0);
    }
};

inline Reduced reduce(const RawSystem& system, bool discrete, const Options& options) {
    Reduced r;
    r.whole = system;
    const int n = system.a.rows;
    const int discreteFlag = discrete;
    const int fixedFlag = options.fixedOrder;
    r.nr = options.order;
    r.hsv.assign(static_cast<std::size_t>(n), -7.0);
    RawMatrix d(system.c.rows, system.b.cols, std::numeric_limits<double>::quiet_NaN());
    control_utility::MODELREDUCTIONFORT(r.whole.a.data(), r.whole.b.data(), r.whole.c.data(), d.data(), &n,
                                        &system.b.cols, &system.c.rows, &r.ns, r.hsv.data(), &discreteFlag, &fixedFlag,
                                        &options.tolerance, &r.nr, &options.alpha, &r.info);
    if (r.info == 0) {
        r.hsv.resize(static_cast<std::size_t>(r.ns));
        r.system = {part(r.whole.a, 0, r.nr, 0, r.nr), part(r.whole.b, 0, r.nr, 0, system.b.cols),
                    part(r.whole.c, 0, system.c.rows, 0, r.nr)};
    }
    return r;
}

inline Reduced reduce(const RawSystem& system, bool discrete) {
    return reduce(system, discrete, {marginOf(discrete)});
}

/// The blocks one after the other along the diagonal.
inline RawSystem parallel(const std::vector<RawSystem>& parts) {
    int n = 0;
    for (const RawSystem& part : parts) {
        n += part.a.rows;
    }
    const int m = parts[0].b.cols;
    const int p = parts[0].c.rows;
    RawSystem result{RawMatrix(n, n), RawMatrix(n, m), RawMatrix(p, n)};
    int at = 0;
    for (const RawSystem& part : parts) {
        for (int i = 0; i < part.a.rows; ++i) {
            for (int j = 0; j < part.a.rows; ++j) {
                result.a(at + i, at + j) = part.a(i, j);
            }
            for (int j = 0; j < m; ++j) {
                result.b(at + i, j) = part.b(i, j);
            }
            for (int k = 0; k < p; ++k) {
                result.c(k, at + i) = part.c(k, i);
            }
        }
        at += part.a.rows;
    }
    return result;
}

/// A random system with real eigenvalues and pairs: radius times a draw from (0.1, 0.95) when discrete; minus such a
/// draw when continuous. Upper triangular coupling of size n^-1/2 makes it non-normal.
inline RawSystem stableSystem(bool discrete, int n, int m, int p, unsigned seed) {
    std::mt19937_64 generator(seed);
    std::uniform_real_distribution<double> draw(0.1, 0.95);
    RawSystem s{rawRandom(n, n, generator), rawRandom(n, m, generator), rawRandom(p, n, generator)};
    for (int j = 0; j < n; ++j) {
        for (int i = 0; i < n; ++i) {
            s.a(i, j) = i < j ? 0.3 * s.a(i, j) / std::sqrt(n) : 0.0;
        }
    }
    for (int i = 0; i < n; ++i) {
        const double radius = draw(generator);
        const bool pair = i + 1 < n && generator() % 2 == 0;
        const double angle = pair ? 3.0 * draw(generator) : 0.0;
        const double re = discrete ? radius * std::cos(angle) : -radius;
        s.a(i, i) = re;
        if (pair) {
            const double im = radius * std::sin(angle);
            s.a(i + 1, i + 1) = re;
            s.a(i, i + 1) = im;
            s.a(i + 1, i) = -im;
            ++i;
        }
    }
    return s;
}

/// Eigenvalues spread beyond the limit: 1.1 to 2 in modulus, or 0.1 to 1 in real part.
inline RawSystem unstableSystem(bool discrete, int n, int m, int p, unsigned seed) {
    std::mt19937_64 generator(seed);
    std::uniform_real_distribution<double> draw(0.1, 1.0);
    RawSystem s{RawMatrix(n, n), rawRandom(n, m, generator), rawRandom(p, n, generator)};
    for (int i = 0; i < n; ++i) {
        s.a(i, i) = draw(generator) + (discrete ? 1.0 : 0.0);
        for (int j = i + 1; j < n; ++j) {
            s.a(i, j) = 0.1 * draw(generator);
        }
    }
    return s;
}

inline RawSystem integrator(bool discrete, int m, int p) {
    RawSystem s{RawMatrix(1, 1, discrete ? 1.0 : 0.0), RawMatrix(1, m, 1.0), RawMatrix(p, 1, 1.0)};
    return s;
}

inline RawSystem orthogonallyTransformed(const RawSystem& s, unsigned seed) {
    std::mt19937_64 generator(seed);
    const RawMatrix q = rawRandomOrthogonal(s.a.rows, generator);
    return {product(product(q, s.a, lapack::Op::transpose), q), product(q, s.b, lapack::Op::transpose),
            product(s.c, q)};
}

/// S^-1 A S and so on for S = diag(scale), exact for powers of two.
inline RawSystem scaled(RawSystem s, const std::vector<double>& scale) {
    for (int i = 0; i < s.a.rows; ++i) {
        const double factor = scale[static_cast<std::size_t>(i)];
        for (int j = 0; j < s.a.rows; ++j) {
            s.a(i, j) /= factor;
            s.a(j, i) *= factor;
        }
        for (int j = 0; j < s.b.cols; ++j) {
            s.b(i, j) /= factor;
        }
        for (int k = 0; k < s.c.rows; ++k) {
            s.c(k, i) *= factor;
        }
    }
    return s;
}

/// How much larger than eps the effect of a relative perturbation of a, b and c by eps is on the transfer function at
/// one point: ||c R|| ||a|| ||R b|| + ||c|| ||R b|| + ||c R|| ||b||, with R the resolvent.
inline double sensitivity(const RawSystem& s, std::complex<double> z) {
    const double rb = frobeniusNorm(resolventTimes(s.a, s.b, z));
    const double cr = frobeniusNorm(resolventTimes(transposeOf(s.a), transposeOf(s.c), z));
    return cr * frobeniusNorm(s.a) * rb + frobeniusNorm(s.c) * rb + cr * frobeniusNorm(s.b);
}

/// The distance of the transfer functions at each point is at most slack plus 20 n eps times the sensitivity times the
/// condition of the separation of the two parts (1 where there is one part). With an integrator the first point, which
/// is its pole, is left out.
inline void expectSameTransferFunction(const RawSystem& reference, const RawSystem& system, bool discrete, double slack,
                                       double condition = 1.0, int points = 40, bool integrating = false) {
    ASSERT_EQ(system.b.cols, reference.b.cols);
    ASSERT_EQ(system.c.rows, reference.c.rows);
    constexpr double factor = 20.0;
    for (const std::complex<double> z : frequencies(discrete, points)) {
        if (integrating && z == (discrete ? 1.0 : 0.0)) {
            continue;
        }
        const RawComplex g = leftProduct(reference.c, resolventTimes(reference.a, reference.b, z));
        const RawComplex h = leftProduct(system.c, resolventTimes(system.a, system.b, z));
        const double limit = factor * reference.a.rows * eps * sensitivity(reference, z) * condition;
        ASSERT_LE(frobeniusNorm(differenceOf(g, h)), slack + limit) << "at " << z;
    }
}

/// The two-norm of a complex matrix of two columns or two rows at most is bounded by its Frobenius norm and that by
/// sqrt(2) times it; the error bound of the reduction is one of the two-norm.
inline double peakOfDifference(const RawSystem& a, const RawSystem& b, bool discrete, int points) {
    double peak = 0.0;
    for (const std::complex<double> z : frequencies(discrete, points)) {
        const RawComplex g = leftProduct(a.c, resolventTimes(a.a, a.b, z));
        const RawComplex h = leftProduct(b.c, resolventTimes(b.a, b.b, z));
        peak = std::max(peak, frobeniusNorm(differenceOf(g, h)));
    }
    return peak;
}

inline void expectForm(const Reduced& r, bool discrete, double alpha) {
    ASSERT_EQ(r.info, 0);
    const int n = r.whole.a.rows;
    const int leading = r.leading();
    for (int j = 0; j < n; ++j) {
        for (int i = 0; i < n; ++i) {
            const bool coupling = (i < leading) != (j < leading);
            if (coupling || i >= r.nr || j >= r.nr || (i < leading && j < leading && i > j + 1)) {
                ASSERT_EQ(r.whole.a(i, j), 0.0) << i << " " << j;
                ASSERT_FALSE(std::signbit(r.whole.a(i, j)) && coupling) << i << " " << j;
            }
        }
    }
    std::vector<double> wr(static_cast<std::size_t>(leading)), wi(wr.size());
    control_utility::eigenvaluesOfSchurDiagonal(leading, r.whole.a.data(), n, wr.data(), wi.data());
    for (std::size_t k = 0; k < wr.size(); ++k) {
        // Reordering moves eigenvalues by rounding.
        EXPECT_GE((discrete ? std::hypot(wr[k], wi[k]) : wr[k]) + 1e-7, alpha);
    }
    EXPECT_TRUE(std::is_sorted(r.hsv.rbegin(), r.hsv.rend()));
    EXPECT_TRUE(std::all_of(r.hsv.begin(), r.hsv.end(), [](double h) { return h >= 0.0; }));
}

}  // namespace qormath::test
