// Small elements of Gramian factors, and small Hankel singular values, against what is known of them.

#include <cmath>
#include <complex>
#include <gtest/gtest.h>
#include <vector>

#include <qormath/control_utility/gramian_factor.hpp>
#include <qormath/lapack/lapack.hpp>

#include "support/gramian_factors.hpp"
#include "support/raw_matrix.hpp"

namespace {

using namespace qormath;
using test::controllability;
using test::Factor;
using test::observability;
using test::RawMatrix;

constexpr double ratioLimit = test::gramianRatioLimit;

struct Poles {
    std::vector<std::complex<double>> poles;
    RawMatrix a;
    RawMatrix b;
};

// Uncoupled cells with one input; pairs stand where the imaginary part is not zero.
Poles uncoupled(const std::vector<std::complex<double>>& cells) {
    Poles system;
    for (const std::complex<double>& pole : cells) {
        system.poles.push_back(pole);
        if (pole.imag() != 0.0) {
            system.poles.push_back(std::conj(pole));
        }
    }
    const int n = static_cast<int>(system.poles.size());
    system.a = RawMatrix(n, n);
    system.b = RawMatrix(n, 1, 1.0);
    for (int k = 0; k < n; ++k) {
        const std::complex<double> pole = system.poles[static_cast<std::size_t>(k)];
        system.a(k, k) = pole.real();
        if (pole.imag() > 0.0) {
            system.a(k, k + 1) = pole.imag();
            system.a(k + 1, k) = -pole.imag();
        }
    }
    return system;
}

// The Gramian of uncoupled complex modes is a Cauchy matrix, whose determinants are known in closed form. What a cell
// adds to the determinant of the factor is the product over its poles p, with b of its modes, of
// |b| / sqrt(q(p)) * prod |p - r| / |h(p, r)| over all later poles r, with q = -2 Re p and h = p + conj(r) in
// continuous time, q = 1 - |p|^2 and h = 1 - p conj(r) in discrete time. With both rows of b equal to 1, |b| of a mode
// of a pair is 1.
double expectedDeterminant(bool discrete, const Poles& system, std::size_t first, std::size_t order) {
    double determinant = 1.0;
    for (std::size_t k = first; k < first + order; ++k) {
        const std::complex<double> p = system.poles[k];
        const double q = discrete ? (1.0 - std::abs(p)) * (1.0 + std::abs(p)) : -2.0 * p.real();
        determinant /= std::sqrt(q);
        for (std::size_t later = k + 1; later < system.poles.size(); ++later) {
            const std::complex<double> r = system.poles[later];
            const std::complex<double> h = discrete ? 1.0 - p * std::conj(r) : p + std::conj(r);
            determinant *= std::abs(p - r) / std::abs(h);
        }
    }
    return determinant;
}

// The relative error that one rounding of each pole brings to the factors of the expected value, and n roundings
// besides.
double expectedError(bool discrete, const Poles& system) {
    double amplification = static_cast<double>(system.poles.size());
    for (std::size_t k = 0; k < system.poles.size(); ++k) {
        const std::complex<double> p = system.poles[k];
        if (discrete) {
            amplification += std::norm(p) / ((1.0 - std::abs(p)) * (1.0 + std::abs(p)));
        }
        for (std::size_t later = k + 1; later < system.poles.size(); ++later) {
            const std::complex<double> r = system.poles[later];
            const std::complex<double> h = discrete ? 1.0 - p * std::conj(r) : p + std::conj(r);
            amplification += (std::abs(p) + std::abs(r)) * (1.0 / std::abs(p - r) + 1.0 / std::abs(h));
        }
    }
    return ratioLimit * amplification * lapack::machineEpsilon();
}

void expectKnownDeterminants(bool discrete, const Poles& system, const RawMatrix& scaling) {
    const int n = system.a.rows;
    RawMatrix a = system.a;
    RawMatrix b = system.b;
    for (int j = 0; j < n; ++j) {
        b(j, 0) *= scaling(j, 0);
        for (int i = 0; i < n; ++i) {
            a(i, j) *= scaling(i, 0) / scaling(j, 0);
        }
    }
    const Factor s = controllability(discrete, a, b);
    ASSERT_EQ(s.info, 0);
    for (int k = 0; k < n;) {
        const int order = system.poles[static_cast<std::size_t>(k)].imag() > 0.0 ? 2 : 1;
        double determinant = 1.0;
        for (int row = k; row < k + order; ++row) {
            determinant *= s.upper(row, row) / scaling(row, 0);
        }
        const double expected =
            expectedDeterminant(discrete, system, static_cast<std::size_t>(k), static_cast<std::size_t>(order));
        EXPECT_NEAR(determinant / expected, 1.0, expectedError(discrete, system)) << "row " << k;
        k += order;
    }
}

// Rows scaled by powers of 2 up and down, as badly scaled states are; rounding does not see them.
RawMatrix badScaling(int n) {
    RawMatrix scaling(n, 1);
    for (int k = 0; k < n; ++k) {
        scaling(k, 0) = std::ldexp(1.0, (k * 37) % 81 - 40);
    }
    return scaling;
}

TEST(GramianFactor, KeepsTheRelativeAccuracyOfTinyElementsInContinuousTime) {
    // With 24 poles the Gramian, a scaled Hilbert matrix, has a condition of about 1e35.
    std::vector<std::complex<double>> real;
    for (int k = 1; k <= 24; ++k) {
        real.emplace_back(-k, 0.0);
    }
    for (const auto& cells : {real,
                              {{-1.0, 1e-7}},
                              {{-1.0, 0.0}, {-1.0 - 1e-7, 0.0}},
                              {{-1.0, 2.0}, {-1.5, 2.5}, {-3.0, 0.0}, {-1.0, 1e-3}, {-1e-6, 5.0}}}) {
        const Poles system = uncoupled(cells);
        expectKnownDeterminants(false, system, RawMatrix(system.a.rows, 1, 1.0));
        expectKnownDeterminants(false, system, badScaling(system.a.rows));
    }
}

TEST(GramianFactor, KeepsTheRelativeAccuracyOfTinyElementsInDiscreteTime) {
    std::vector<std::complex<double>> real;
    for (int k = -9; k <= 9; ++k) {
        real.emplace_back(0.1 * k, 0.0);
    }
    for (const auto& cells : {real,
                              {{0.5, 1e-7}},
                              {{-0.5, 1e-7}},
                              {{0.0, 1e-7}},
                              {{0.5, 0.0}, {0.5 + 1e-7, 0.0}},
                              {{0.3, 0.2}, {0.35, 0.25}, {0.0, 0.0}, {-0.9, 1e-3}, {0.0, 0.999999}}}) {
        const Poles system = uncoupled(cells);
        expectKnownDeterminants(true, system, RawMatrix(system.a.rows, 1, 1.0));
        expectKnownDeterminants(true, system, badScaling(system.a.rows));
    }
}

TEST(GramianFactor, KeepsATinyHankelSingularValueOfABadlyScaledSystem) {
    // Two nearly equal poles: the product of the Hankel singular values is the product of the determinants, with
    // det P = det Q = (p - r)^2 / (4 p r (p + r)^2), while their sum is about 1. The Gramians hold 1e-14 beside 1 and
    // their product 1e-28.
    const double p = -1.0;
    const double r = -1.0 - 1e-7;
    const double product = (p - r) * (p - r) / (4.0 * p * r * (p + r) * (p + r));
    RawMatrix a(2, 2);
    a(0, 0) = p;
    a(1, 1) = r;
    RawMatrix b(2, 1);
    b(0, 0) = 0x1p30;
    b(1, 0) = 0x1p-35;
    RawMatrix c(1, 2);
    c(0, 0) = 0x1p-30;
    c(0, 1) = 0x1p35;
    const Factor s = controllability(false, a, b);
    const Factor q = observability(false, a, c);
    ASSERT_EQ(s.info + q.info, 0);
    const std::vector<double> values = test::rawSingularValues(test::product(q.upper, s.upper));
    const double determinant = s.upper(0, 0) * s.upper(1, 1) * q.upper(0, 0) * q.upper(1, 1);
    const double smallest = determinant / values[0];
    EXPECT_NEAR(smallest * values[0] / product, 1.0, 100.0 * lapack::machineEpsilon() / 1e-7);
    EXPECT_LE(std::abs(values[1] - smallest), 10.0 * lapack::machineEpsilon() * values[0]);
}

}  // namespace
