#include <algorithm>
#include <cmath>
#include <complex>
#include <cstdint>
#include <gtest/gtest.h>
#include <limits>
#include <string>
#include <tuple>
#include <vector>

#include <qormath/control_utility/gramian_factor.hpp>
#include <qormath/lapack/lapack.hpp>

#include "support/quasi_triangular.hpp"
#include "support/raw_matrix.hpp"

namespace {

using namespace qormath;
using lapack::Op;
using test::RawMatrix;

// Residuals are held to this many n eps norms: a backward stable solution leaves a few.
constexpr double ratioLimit = 10.0;

struct Factor {
    int info = 0;
    double scale = 0.0;
    RawMatrix upper;
};

// Calls the kernel on arrays with NaN below the subdiagonal and beyond the leading dimensions, and checks that inputs
// stay as they are and that nothing is written beyond the result.
template <typename Kernel>
Factor callGuarded(Kernel kernel, bool discrete, int n, int other, const RawMatrix& a, const RawMatrix& b) {
    const int lda = n + 2;
    const int ldb = b.rows + 3;
    const int lds = n + 1;
    const std::vector<double> guardedA = test::guardedQuasiTriangular(a, lda);
    const std::vector<double> guardedB = test::withGuardRows(b.rows, b.cols, b.elements, ldb);
    std::vector<double> aIn = guardedA;
    std::vector<double> bIn = guardedB;
    std::vector<double> s(test::cells(lds, n), -7.0);
    Factor factor;
    factor.info = kernel(discrete, n, other, aIn.data(), lda, bIn.data(), ldb, s.data(), lds, factor.scale);
    const auto sameBits = [](const std::vector<double>& x, const std::vector<double>& y) {
        return std::equal(x.begin(), x.end(), y.begin(), y.end(),
                          [](double u, double v) { return u == v || (std::isnan(u) && std::isnan(v)); });
    };
    EXPECT_TRUE(sameBits(aIn, guardedA));
    EXPECT_TRUE(sameBits(bIn, guardedB));
    for (int j = 0; j < n; ++j) {
        EXPECT_EQ(s[test::cells(lds, j) + static_cast<std::size_t>(n)], -7.0);
    }
    factor.upper = RawMatrix(n, n);
    factor.upper.elements = test::packed(n, n, s.data(), lds);
    return factor;
}

Factor controllability(bool discrete, const RawMatrix& a, const RawMatrix& b) {
    return callGuarded(control_utility::controllabilityFactor, discrete, a.rows, b.cols, a, b);
}

Factor observability(bool discrete, const RawMatrix& a, const RawMatrix& c) {
    return callGuarded(control_utility::observabilityFactor, discrete, a.rows, c.rows, a, c);
}

RawMatrix sum(const RawMatrix& a, const RawMatrix& b, double factor = 1.0) {
    RawMatrix result = a;
    for (std::size_t k = 0; k < result.elements.size(); ++k) {
        result.elements[k] += factor * b.elements[k];
    }
    return result;
}

// || a P + P a' + b b' || / (n eps (2 ||a|| ||P|| + ||b b'||)), or of a P a' - P + b b' with (||a||^2 + 1) ||P||. With
// left true, of the equations with a transposed and b' b.
double gramianRatio(bool discrete, const RawMatrix& a, const RawMatrix& b, const RawMatrix& gramian, bool left) {
    const int n = a.rows;
    const Op plain = left ? Op::transpose : Op::none;
    const RawMatrix right = left ? product(b, b, Op::transpose, Op::none) : product(b, b, Op::none, Op::transpose);
    const RawMatrix once = product(a, gramian, plain, Op::none);
    const double normA = frobeniusNorm(a);
    RawMatrix residual;
    double size = 0.0;
    if (discrete) {
        residual = sum(sum(product(once, a, Op::none, lapack::opposite(plain)), gramian, -1.0), right);
        size = (normA * normA + 1.0) * frobeniusNorm(gramian) + frobeniusNorm(right);
    } else {
        const RawMatrix other = product(gramian, a, Op::none, lapack::opposite(plain));
        residual = sum(sum(once, other), right);
        size = 2.0 * normA * frobeniusNorm(gramian) + frobeniusNorm(right);
    }
    const double error = frobeniusNorm(residual);
    return error == 0.0 ? 0.0 : error / (std::max(1, n) * lapack::machineEpsilon() * size);
}

RawMatrix gramianOf(const RawMatrix& upper, bool left) {
    return left ? product(upper, upper, Op::transpose, Op::none) : product(upper, upper, Op::none, Op::transpose);
}

void expectUpperWithDiagonalNotNegative(const RawMatrix& s) {
    for (int j = 0; j < s.cols; ++j) {
        EXPECT_GE(s(j, j), 0.0);
        for (int i = j + 1; i < s.rows; ++i) {
            EXPECT_EQ(s(i, j), 0.0);
        }
    }
}

RawMatrix stableMatrix(bool discrete, int n, double pairShare, std::uint64_t seed) {
    // The coupling keeps the norm of the strictly upper part at the size of the eigenvalues.
    const double coupling = 1.0 / std::sqrt(std::max(1, n));
    return discrete ? test::quasiTriangular(n, pairShare, 0.5 * coupling, seed, test::stableDiscrete)
                    : test::quasiTriangular(n, pairShare, coupling, seed, test::stableContinuous);
}

// ------------------------------------------------------------------------------------ sizes, time bases, pair shares

class GramianFactorOverSizes : public ::testing::TestWithParam<std::tuple<bool, int, double>> {};

TEST_P(GramianFactorOverSizes, LeavesAResidualOfRoundingSizeForAnyNumberOfInputs) {
    const auto [discrete, n, pairShare] = GetParam();
    for (const int inputs : {0, 1, 3, n + 5}) {
        SCOPED_TRACE("inputs " + std::to_string(inputs));
        const RawMatrix a = stableMatrix(discrete, n, pairShare, 11 + static_cast<std::uint64_t>(n));
        test::NormalNumbers numbers(5 + static_cast<std::uint64_t>(inputs));
        RawMatrix b(n, inputs);
        b.elements = numbers.matrix(n, inputs);

        const Factor s = controllability(discrete, a, b);
        ASSERT_EQ(s.info, 0);
        EXPECT_EQ(s.scale, 1.0);
        expectUpperWithDiagonalNotNegative(s.upper);
        EXPECT_LE(gramianRatio(discrete, a, b, gramianOf(s.upper, false), false), ratioLimit);

        RawMatrix c(inputs, n);
        c.elements = numbers.matrix(inputs, n);
        const Factor r = observability(discrete, a, c);
        ASSERT_EQ(r.info, 0);
        EXPECT_EQ(r.scale, 1.0);
        expectUpperWithDiagonalNotNegative(r.upper);
        EXPECT_LE(gramianRatio(discrete, a, c, gramianOf(r.upper, true), true), ratioLimit);
    }
}

// 47, 48 and 49 are about the order of the diagonal blocks.
INSTANTIATE_TEST_SUITE_P(All, GramianFactorOverSizes,
                         ::testing::Combine(::testing::Bool(),
                                            ::testing::Values(0, 1, 2, 3, 4, 5, 17, 47, 48, 49, 97, 200),
                                            ::testing::Values(0.0, 0.5, 1.0)));

// ------------------------------------------------------------------------------ against the equation of all elements

// The Gramian from the linear system of its n^2 elements, and the condition of that system.
RawMatrix gramianByElements(bool discrete, const RawMatrix& a, const RawMatrix& b, double& condition) {
    const int n = a.rows;
    RawMatrix system(n * n, n * n);
    for (int j = 0; j < n; ++j) {
        for (int i = 0; i < n; ++i) {
            const int row = i + j * n;
            if (discrete) {
                for (int l = 0; l < n; ++l) {
                    for (int k = 0; k < n; ++k) {
                        system(row, k + l * n) += a(i, k) * a(j, l);
                    }
                }
                system(row, row) -= 1.0;
            } else {
                for (int k = 0; k < n; ++k) {
                    system(row, k + j * n) += a(i, k);
                    system(row, i + k * n) += a(j, k);
                }
            }
        }
    }
    const std::vector<double> values = test::rawSingularValues(system);
    condition = values.front() / values.back();
    RawMatrix gramian = product(b, b, Op::none, Op::transpose);
    for (double& element : gramian.elements) {
        element = -element;
    }
    std::vector<int> pivots(static_cast<std::size_t>(n) * static_cast<std::size_t>(n));
    EXPECT_EQ(lapack::getrf(n * n, n * n, system.data(), n * n, pivots.data()), 0);
    EXPECT_EQ(lapack::getrs(Op::none, n * n, 1, system.data(), n * n, pivots.data(), gramian.data(), n * n), 0);
    return gramian;
}

TEST(GramianFactor, AgreesWithTheLinearSystemOfAllElements) {
    for (const bool discrete : {false, true}) {
        for (int n = 1; n <= 7; ++n) {
            for (const int inputs : {1, 2, 9}) {
                for (std::uint64_t seed = 0; seed < 6; ++seed) {
                    const RawMatrix a = stableMatrix(discrete, n, 0.6, 100 + seed);
                    test::NormalNumbers numbers(seed);
                    RawMatrix b(n, inputs);
                    b.elements = numbers.matrix(n, inputs);
                    double condition = 0.0;
                    const RawMatrix expected = gramianByElements(discrete, a, b, condition);
                    const Factor s = controllability(discrete, a, b);
                    ASSERT_EQ(s.info, 0);
                    EXPECT_LE(frobeniusNorm(difference(gramianOf(s.upper, false), expected)),
                              ratioLimit * n * lapack::machineEpsilon() * condition * frobeniusNorm(expected));
                }
            }
        }
    }
}

TEST(GramianFactor, OfObservabilityIsThatOfTheDualSystemReversed) {
    for (const bool discrete : {false, true}) {
        const int n = 60;
        const RawMatrix a = stableMatrix(discrete, n, 0.5, 7);
        test::NormalNumbers numbers(8);
        RawMatrix c(2, n);
        c.elements = numbers.matrix(2, n);
        RawMatrix dualA(n, n);
        RawMatrix dualB(n, 2);
        for (int j = 0; j < n; ++j) {
            for (int i = 0; i < n; ++i) {
                dualA(i, j) = a(n - 1 - j, n - 1 - i);
            }
            dualB(j, 0) = c(0, n - 1 - j);
            dualB(j, 1) = c(1, n - 1 - j);
        }
        const Factor s = controllability(discrete, dualA, dualB);
        const Factor r = observability(discrete, a, c);
        for (int j = 0; j < n; ++j) {
            for (int i = 0; i < n; ++i) {
                EXPECT_EQ(r.upper(i, j), s.upper(n - 1 - j, n - 1 - i));
            }
        }
    }
}

// ----------------------------------------------------------------------------------------- accuracy of small elements

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

// ----------------------------------------------------------------------------------------------------- special poles

TEST(GramianFactor, OfADelayLineIsTheIdentity) {
    for (const int n : {1, 2, 7, 48, 49, 120}) {
        RawMatrix shift(n, n);
        for (int k = 1; k < n; ++k) {
            shift(k - 1, k) = 1.0;
        }
        RawMatrix b(n, 1);
        b(n - 1, 0) = 1.0;
        RawMatrix c(1, n);
        c(0, 0) = 1.0;
        EXPECT_EQ(controllability(true, shift, b).upper, test::rawIdentity(n));
        EXPECT_EQ(observability(true, shift, c).upper, test::rawIdentity(n));
    }
}

TEST(GramianFactor, OfANilpotentMatrixIsThatOfItsFiniteSum) {
    for (const int n : {2, 5, 9}) {
        for (const int inputs : {1, 2}) {
            test::NormalNumbers numbers(17);
            RawMatrix a(n, n);
            for (int j = 0; j < n; ++j) {
                for (int i = 0; i < j; ++i) {
                    a(i, j) = 0.5 * numbers.normal();
                }
            }
            RawMatrix b(n, inputs);
            b.elements = numbers.matrix(n, inputs);
            RawMatrix power = b;
            RawMatrix expected(n, n);
            for (int step = 0; step < n; ++step) {
                expected = sum(expected, test::product(power, power, Op::none, Op::transpose));
                power = test::product(a, power);
            }
            const Factor s = controllability(true, a, b);
            EXPECT_LE(frobeniusNorm(difference(gramianOf(s.upper, false), expected)),
                      ratioLimit * n * lapack::machineEpsilon() * frobeniusNorm(expected));
        }
    }
}

TEST(GramianFactor, OfAZeroMatrixInDiscreteTimeHasTheProductOfTheInputs) {
    const int n = 60;
    test::NormalNumbers numbers(18);
    RawMatrix b(n, 5);
    b.elements = numbers.matrix(n, 5);
    const Factor s = controllability(true, RawMatrix(n, n), b);
    const RawMatrix expected = test::product(b, b, Op::none, Op::transpose);
    EXPECT_LE(frobeniusNorm(difference(gramianOf(s.upper, false), expected)),
              ratioLimit * n * lapack::machineEpsilon() * frobeniusNorm(expected));
}

TEST(GramianFactor, LeavesAResidualOfRoundingSizeForNearlyUnstablePoles) {
    for (const int n : {1, 2, 30, 120}) {
        for (const int inputs : {1, 4}) {
            test::NormalNumbers numbers(19);
            RawMatrix b(n, inputs);
            b.elements = numbers.matrix(n, inputs);
            const auto slow = [](test::NormalNumbers& draws) { return test::Eigenvalue{-1e-9, draws.uniform()}; };
            const RawMatrix a = test::quasiTriangular(n, 0.7, 0.1 / n, 20, slow);
            const Factor continuous = controllability(false, a, b);
            ASSERT_EQ(continuous.info, 0);
            EXPECT_LE(gramianRatio(false, a, b, gramianOf(continuous.upper, false), false), ratioLimit);

            const auto nearCircle = [](test::NormalNumbers& draws) {
                const double angle = 0.1 + 2.9 * draws.uniform();
                return test::Eigenvalue{(1.0 - 1e-9) * std::cos(angle), (1.0 - 1e-9) * std::sin(angle)};
            };
            const RawMatrix f = test::quasiTriangular(n, 1.0, 0.1 / n, 20, nearCircle);
            const Factor discrete = controllability(true, f, b);
            ASSERT_EQ(discrete.info, 0);
            EXPECT_LE(gramianRatio(true, f, b, gramianOf(discrete.upper, false), false), ratioLimit);
        }
    }
    RawMatrix pole(1, 1, 1.0 - 1e-9);
    const double expected = 1.0 / std::sqrt((1.0 - pole(0, 0)) * (1.0 + pole(0, 0)));
    EXPECT_NEAR(controllability(true, pole, RawMatrix(1, 1, 1.0)).upper(0, 0) / expected, 1.0, 1e-15);
}

// A block may come in any form that has a nonzero element below the diagonal.
TEST(GramianFactor, TakesPairsThatAreNotInStandardForm) {
    const std::vector<std::vector<double>> blocks = {
        {-1.0, 0.4, 0.5, -2.0},    // real eigenvalues, by columns
        {-1.0, 3.0, -2.0, -0.5},   // complex eigenvalues
        {-1.0, 1.0, -0.25, -2.0},  // a double eigenvalue
        {-1.0, 0.5, 0.0, -2.0},    // lower triangular
    };
    for (const bool discrete : {false, true}) {
        for (const std::vector<double>& block : blocks) {
            for (const int inputs : {1, 3}) {
                RawMatrix a = stableMatrix(discrete, 6, 0.0, 22);
                for (int j = 0; j < 2; ++j) {
                    for (int i = 0; i < 2; ++i) {
                        a(2 + i, 2 + j) = (discrete ? 0.2 : 1.0) * block[static_cast<std::size_t>(i + 2 * j)];
                    }
                }
                test::NormalNumbers numbers(23);
                RawMatrix b(6, inputs);
                b.elements = numbers.matrix(6, inputs);
                for (const bool reachable : {true, false}) {
                    for (int k = 0; k < inputs && !reachable; ++k) {
                        b(2, k) = b(3, k) = b(4, k) = b(5, k) = 0.0;
                    }
                    const Factor s = controllability(discrete, a, b);
                    ASSERT_EQ(s.info, 0);
                    expectUpperWithDiagonalNotNegative(s.upper);
                    EXPECT_LE(gramianRatio(discrete, a, b, gramianOf(s.upper, false), false), ratioLimit);
                }
            }
        }
    }
}

// ------------------------------------------------------------------------------------------------ deficient right
// sides

TEST(GramianFactor, HasZeroColumnsForStatesThatNoInputReaches) {
    for (const bool discrete : {false, true}) {
        for (const int n : {2, 40, 130}) {
            const int reached = n / 2;
            RawMatrix a = stableMatrix(discrete, n, 0.5, 24);
            if (a(reached, reached - 1) != 0.0) {
                a(reached, reached - 1) = 0.0;
            }
            test::NormalNumbers numbers(25);
            RawMatrix b(n, 2);
            for (int k = 0; k < reached; ++k) {
                b(k, 0) = numbers.normal();
                b(k, 1) = numbers.normal();
            }
            const Factor s = controllability(discrete, a, b);
            ASSERT_EQ(s.info, 0);
            for (int j = reached; j < n; ++j) {
                for (int i = 0; i < n; ++i) {
                    EXPECT_EQ(s.upper(i, j), 0.0);
                }
            }
            EXPECT_LE(gramianRatio(discrete, a, b, gramianOf(s.upper, false), false), ratioLimit);
        }
    }
}

TEST(GramianFactor, TakesUncoupledGapsInTheReachOfTheInputs) {
    // States 10..20 neither take input nor couple to others: their columns are zero in the midst of others.
    for (const bool discrete : {false, true}) {
        const int n = 70;
        RawMatrix a = stableMatrix(discrete, n, 0.0, 26);
        test::NormalNumbers numbers(27);
        RawMatrix b(n, 3);
        b.elements = numbers.matrix(n, 3);
        for (int k = 10; k <= 20; ++k) {
            for (int j = 0; j < n; ++j) {
                if (j != k) {
                    a(k, j) = 0.0;
                }
            }
            b(k, 0) = b(k, 1) = b(k, 2) = 0.0;
        }
        const Factor s = controllability(discrete, a, b);
        ASSERT_EQ(s.info, 0);
        EXPECT_LE(gramianRatio(discrete, a, b, gramianOf(s.upper, false), false), ratioLimit);
        for (int k = 10; k <= 20; ++k) {
            EXPECT_EQ(s.upper(k, k), 0.0);
        }
    }
}

TEST(GramianFactor, TakesInputsOfLowRank) {
    for (const bool discrete : {false, true}) {
        for (const int n : {3, 60}) {
            RawMatrix equalPoles(n, n);
            for (int k = 0; k < n; ++k) {
                equalPoles(k, k) = discrete ? 0.5 : -1.0;
            }
            const RawMatrix b(n, 4, 1.0);
            const Factor s = controllability(discrete, equalPoles, b);
            ASSERT_EQ(s.info, 0);
            // All elements of the Gramian are equal: 4 / 2 or 4 / (1 - 1/4).
            const RawMatrix expected(n, n, discrete ? 16.0 / 3.0 : 2.0);
            EXPECT_LE(frobeniusNorm(difference(gramianOf(s.upper, false), expected)),
                      ratioLimit * n * lapack::machineEpsilon() * frobeniusNorm(expected));
        }
    }
}

TEST(GramianFactor, OfZeroInputsIsZero) {
    for (const bool discrete : {false, true}) {
        const RawMatrix a = stableMatrix(discrete, 55, 0.5, 28);
        EXPECT_EQ(controllability(discrete, a, RawMatrix(55, 3)).upper, RawMatrix(55, 55));
        EXPECT_EQ(observability(discrete, a, RawMatrix(3, 55)).upper, RawMatrix(55, 55));
    }
}

// --------------------------------------------------------------------------------------------------------- range

TEST(GramianFactor, IsProportionalToInputsOfAnySize) {
    for (const bool discrete : {false, true}) {
        const int n = 50;
        const RawMatrix a = stableMatrix(discrete, n, 0.5, 29);
        test::NormalNumbers numbers(30);
        RawMatrix b(n, 2);
        b.elements = numbers.matrix(n, 2);
        const Factor s = controllability(discrete, a, b);
        for (const int exponent : {-900, 900}) {
            RawMatrix far = b;
            for (double& element : far.elements) {
                element = std::ldexp(element, exponent);
            }
            const Factor t = controllability(discrete, a, far);
            EXPECT_EQ(t.scale, 1.0);
            RawMatrix back = t.upper;
            for (double& element : back.elements) {
                element = std::ldexp(element, -exponent);
            }
            EXPECT_LE(frobeniusNorm(difference(back, s.upper)),
                      ratioLimit * n * lapack::machineEpsilon() * frobeniusNorm(s.upper));
        }
    }
}

TEST(GramianFactor, ScalesAFactorThatWouldOverflow) {
    RawMatrix a(2, 2);
    a(0, 0) = -1e-300;
    a(1, 1) = -1.0;
    RawMatrix b(2, 1, 1e200);
    const Factor s = controllability(false, a, b);
    ASSERT_EQ(s.info, 0);
    EXPECT_GT(s.scale, 0.0);
    EXPECT_LT(s.scale, 1e-40);
    // The last element of the factor is scale * 1e200 / sqrt(2), and P(0, 0) is scale^2 1e400 / 2e-300.
    EXPECT_NEAR(s.upper(1, 1) / (s.scale * 1e200 / std::sqrt(2.0)), 1.0, 1e-14);
    const double row = std::hypot(s.upper(0, 0), s.upper(0, 1));
    ASSERT_TRUE(std::isfinite(row));
    EXPECT_NEAR(row / (s.scale * 1e200) * 1e-150 * std::sqrt(2.0), 1.0, 1e-14);
}

// ------------------------------------------------------------------------------------------------------- failures

TEST(GramianFactor, TellsThatAMatrixIsNotStableAndWritesNothing) {
    for (const bool discrete : {false, true}) {
        for (const int inputs : {0, 2}) {
            for (const double pole : {discrete ? 1.0 : 0.0, discrete ? -1.0 : 1e-300, 2.0}) {
                RawMatrix a = stableMatrix(discrete, 60, 0.0, 31);
                a(33, 33) = pole;
                const Factor s = controllability(discrete, a, RawMatrix(60, inputs, 1.0));
                EXPECT_EQ(s.info, 1);
                EXPECT_EQ(s.upper, RawMatrix(60, 60, -7.0));
                EXPECT_EQ(s.scale, 0.0);
                EXPECT_EQ(observability(discrete, a, RawMatrix(inputs, 60, 1.0)).info, 1);
            }
        }
    }
}

TEST(GramianFactor, TellsThatAPairIsNotStable) {
    RawMatrix pair(2, 2);
    pair(0, 1) = 2.0;
    pair(1, 0) = -2.0;
    EXPECT_EQ(controllability(false, pair, RawMatrix(2, 1, 1.0)).info, 1);
    EXPECT_EQ(controllability(true, pair, RawMatrix(2, 1, 1.0)).info, 1);
    pair(0, 1) = 1.0;
    pair(1, 0) = -1.0;
    EXPECT_EQ(controllability(true, pair, RawMatrix(2, 1, 1.0)).info, 1);
    // Real eigenvalues 1 and -3, with a stable trace.
    pair(0, 0) = pair(1, 1) = -1.0;
    pair(0, 1) = pair(1, 0) = 2.0;
    EXPECT_EQ(controllability(false, pair, RawMatrix(2, 1, 1.0)).info, 1);
}

TEST(GramianFactor, TellsThatAnArgumentIsNotFiniteAndWritesNothing) {
    for (const bool discrete : {false, true}) {
        for (const double bad : {std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity()}) {
            const RawMatrix good = stableMatrix(discrete, 60, 0.5, 32);
            for (const int row : {0, 5, 58}) {
                RawMatrix a = good;
                a(row, 59) = bad;
                const Factor s = controllability(discrete, a, RawMatrix(60, 1, 1.0));
                EXPECT_EQ(s.info, 2);
                EXPECT_EQ(s.upper, RawMatrix(60, 60, -7.0));
                EXPECT_EQ(observability(discrete, a, RawMatrix(1, 60, 1.0)).info, 2);
            }
            RawMatrix b(60, 2, 1.0);
            b(17, 1) = bad;
            EXPECT_EQ(controllability(discrete, good, b).info, 2);
            RawMatrix c(2, 60, 1.0);
            c(1, 17) = bad;
            EXPECT_EQ(observability(discrete, good, c).info, 2);
        }
    }
}

}  // namespace
