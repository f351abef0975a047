#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <tuple>
#include <utility>
#include <vector>

#include <qormath/control_utility/lyapunovfort.hpp>
#include <qormath/lapack/lapack.hpp>

#include "support/lyapunov_ratio.hpp"
#include "support/quasi_triangular.hpp"
#include "support/raw_matrix.hpp"

namespace {

using namespace qormath;
using lapack::Op;
using test::RawMatrix;

// Residuals are held to this many n eps norms.
constexpr double ratioLimit = 10.0;

struct Solution {
    int info = -99;
    RawMatrix x;
    RawMatrix u;
    std::vector<double> wr;
    std::vector<double> wi;
};

// An array of the given elements, or of as many NaN, with a tail that may not be written.
struct Guarded {
    static constexpr double guard = 12345.0;
    static constexpr std::size_t tail = 8;

    explicit Guarded(std::vector<double> content) : elements(std::move(content)), size(elements.size()) {
        elements.resize(size + tail, guard);
    }
    explicit Guarded(std::size_t count)
        : Guarded(std::vector<double>(count, std::numeric_limits<double>::quiet_NaN())) {}
    ~Guarded() {
        for (std::size_t k = size; k < elements.size(); ++k) {
            EXPECT_EQ(elements[k], guard) << "written out of bounds";
        }
    }

    double* data() { return elements.data(); }
    std::vector<double> content() const { return {elements.begin(), elements.begin() + static_cast<long>(size)}; }

    std::vector<double> elements;
    std::size_t size;
};

Solution solve(int discrete, const RawMatrix& a, const RawMatrix& c) {
    const int n = a.rows;
    const int workLength = (n + 3) * n;
    const auto order = static_cast<std::size_t>(n);
    Guarded matrix(a.elements);
    Guarded u(order * order);
    Guarded x(c.elements);
    Guarded wr(order);
    Guarded wi(order);
    Guarded work(test::cells(n + 3, n));
    Solution solution;
    control_utility::LYAPUNOVFORT(&discrete, &n, matrix.data(), u.data(), x.data(), wr.data(), wi.data(), work.data(),
                                  &workLength, &solution.info);
    solution.x = RawMatrix(n, n);
    solution.u = RawMatrix(n, n);
    solution.x.elements = x.content();
    solution.u.elements = u.content();
    solution.wr = wr.content();
    solution.wi = wi.content();
    return solution;
}

RawMatrix scaled(RawMatrix a, double factor) {
    for (double& element : a.elements) {
        element *= factor;
    }
    return a;
}

// q t q' with a random orthogonal q.
RawMatrix rotated(const RawMatrix& t, std::uint64_t seed) {
    test::NormalNumbers numbers(seed);
    const RawMatrix q = test::rawRandomOrthogonal(t.rows, numbers);
    return product(product(q, t), q, Op::none, Op::transpose);
}

RawMatrix stable(bool discrete, int n, std::uint64_t seed) {
    const double coupling = 1.0 / std::sqrt(std::max(1, n));
    return rotated(discrete ? test::quasiTriangular(n, 0.6, 0.5 * coupling, seed, test::stableDiscrete)
                            : test::quasiTriangular(n, 0.6, coupling, seed, test::stableContinuous),
                   seed + 1);
}

// Eigenvalues on both sides of the limit, with no two of sum 0 or product 1.
RawMatrix mixed(bool discrete, int n, std::uint64_t seed) {
    const auto draw = [=](test::NormalNumbers& numbers) {
        if (discrete) {
            const double modulus = numbers.uniform() < 0.5 ? numbers.uniform(0.1, 0.5) : numbers.uniform(2.5, 4.0);
            const double angle = 0.05 + 3.0 * numbers.uniform();
            return test::Eigenvalue{modulus * std::cos(angle), modulus * std::sin(angle)};
        }
        const double re = numbers.uniform() < 0.5 ? numbers.uniform(-1.0, -0.5) : numbers.uniform(1.5, 2.0);
        return test::Eigenvalue{re, 0.1 + numbers.uniform()};
    };
    return rotated(test::quasiTriangular(n, 0.6, 0.3 / std::max(1, n), seed, draw), seed + 1);
}

// ---------------------------------------------------------------------------------------------------- residuals

class LyapunovfortOverSizes : public ::testing::TestWithParam<std::tuple<bool, int>> {};

TEST_P(LyapunovfortOverSizes, LeavesAResidualOfRoundingSizeForAnyRightHandSide) {
    const auto [discrete, n] = GetParam();
    test::NormalNumbers numbers(5);
    const RawMatrix general = test::rawRandom(n, n, numbers);
    const RawMatrix symmetric = test::rawRandomSymmetric(n, numbers);
    for (const RawMatrix& a : {stable(discrete, n, 1), mixed(discrete, n, 2)}) {
        for (const RawMatrix& c : {general, symmetric}) {
            const Solution solution = solve(discrete, a, c);
            EXPECT_EQ(solution.info, 0);
            EXPECT_LE(test::lyapunovRatio(discrete, a, solution.x, c), ratioLimit);
        }
    }
}

TEST_P(LyapunovfortOverSizes, GivesAnExactlySymmetricSolutionForASymmetricRightHandSide) {
    const auto [discrete, n] = GetParam();
    test::NormalNumbers numbers(6);
    const Solution solution = solve(discrete, stable(discrete, n, 7), test::rawRandomSymmetric(n, numbers));
    EXPECT_EQ(solution.info, 0);
    EXPECT_EQ(solution.x, transposed(solution.x));
}

// 31 to 33 are about the order of the leaves of the triangular solve.
INSTANTIATE_TEST_SUITE_P(All, LyapunovfortOverSizes,
                         ::testing::Combine(::testing::Bool(),
                                            ::testing::Values(0, 1, 2, 3, 4, 15, 16, 17, 31, 32, 33, 65, 130)));

TEST(Lyapunovfort, LeavesAResidualOfRoundingSizeAtOrderFourHundred) {
    for (const bool discrete : {false, true}) {
        const RawMatrix a = stable(discrete, 400, 8);
        test::NormalNumbers numbers(9);
        const RawMatrix c = test::rawRandomSymmetric(400, numbers);
        const Solution solution = solve(discrete, a, c);
        EXPECT_EQ(solution.info, 0);
        EXPECT_LE(test::lyapunovRatio(discrete, a, solution.x, c), ratioLimit);
    }
}

TEST(Lyapunovfort, LeavesAResidualOfRoundingSizeNearTheLimitOfStability) {
    for (const bool discrete : {false, true}) {
        for (const int n : {1, 2, 20, 90}) {
            const auto nearLimit = [=](test::NormalNumbers& numbers) {
                const double angle = 0.1 + 2.9 * numbers.uniform();
                return discrete ? test::Eigenvalue{(1.0 - 1e-9) * std::cos(angle), (1.0 - 1e-9) * std::sin(angle)}
                                : test::Eigenvalue{-1e-9, angle};
            };
            const RawMatrix a = rotated(test::quasiTriangular(n, 1.0, 0.1 / n, 10, nearLimit), 11);
            test::NormalNumbers numbers(12);
            for (const RawMatrix& c : {test::rawRandom(n, n, numbers), test::rawRandomSymmetric(n, numbers)}) {
                const Solution solution = solve(discrete, a, c);
                EXPECT_EQ(solution.info, 0);
                EXPECT_LE(test::lyapunovRatio(discrete, a, solution.x, c), ratioLimit);
            }
        }
    }
}

TEST(Lyapunovfort, GivesTheSumOfTheSeriesOfAStableDiscreteEquation) {
    // x = -(c + a' c a + a'^2 c a^2 + ...): with modulus below 0.5 the series is complete after 60 terms.
    const auto inner = [](test::NormalNumbers& numbers) { return test::Eigenvalue{0.5 * numbers.uniform(), 0.0}; };
    const RawMatrix a = rotated(test::quasiTriangular(12, 0.0, 0.05, 13, inner), 14);
    test::NormalNumbers numbers(15);
    const RawMatrix c = test::rawRandom(12, 12, numbers);
    RawMatrix term = c;
    RawMatrix sum(12, 12);
    for (int k = 0; k < 60; ++k) {
        sum = difference(sum, term);
        term = product(product(a, term, Op::transpose, Op::none), a);
    }
    // The inverse of the operator has a norm below 2.
    const double bound = 2.0 * ratioLimit * 12 * lapack::machineEpsilon() * frobeniusNorm(sum);
    EXPECT_LE(frobeniusNorm(difference(solve(1, a, c).x, sum)), bound);
}

// ------------------------------------------------------------------------------------------------ what is what

TEST(Lyapunovfort, TakesTheDiscreteEquationForAFlagOfOneAlone) {
    const RawMatrix a(1, 1, -2.0);
    const RawMatrix c(1, 1, 12.0);
    EXPECT_EQ(solve(1, a, c).x(0, 0), 4.0);
    EXPECT_EQ(solve(0, a, c).x(0, 0), -3.0);
    EXPECT_EQ(solve(2, a, c).x(0, 0), -3.0);
    EXPECT_EQ(solve(-1, a, c).x(0, 0), -3.0);
}

TEST(Lyapunovfort, HasTheTransposeOnTheLeft) {
    // With a = [0 1; 0 0] + d the first row of a' x is d times that of x.
    RawMatrix a(2, 2);
    a(0, 0) = a(1, 1) = -1.0;
    a(0, 1) = 1.0;
    RawMatrix c(2, 2);
    c(0, 0) = -2.0;
    const Solution solution = solve(0, a, c);
    EXPECT_EQ(solution.info, 0);
    const RawMatrix expected = [] {
        RawMatrix x(2, 2);
        x(0, 0) = 1.0;
        x(0, 1) = x(1, 0) = x(1, 1) = 0.5;
        return x;
    }();
    EXPECT_LE(frobeniusNorm(difference(solution.x, expected)), 10.0 * lapack::machineEpsilon());
}

TEST(Lyapunovfort, ReturnsTheEigenvaluesAndOrthogonalVectors) {
    for (const double size : {1.0, 1e-200, 1e200}) {
        const RawMatrix a = scaled(stable(false, 20, 16), size);
        test::NormalNumbers numbers(17);
        const Solution solution = solve(0, a, test::rawRandom(20, 20, numbers));
        EXPECT_EQ(solution.info, 0);
        double sum = 0.0;
        double trace = 0.0;
        for (int k = 0; k < 20; ++k) {
            sum += solution.wr[static_cast<std::size_t>(k)];
            trace += a(k, k);
        }
        EXPECT_NEAR(sum, trace, ratioLimit * 20 * lapack::machineEpsilon() * 20.0 * size);
        const RawMatrix gram = product(solution.u, solution.u, Op::transpose, Op::none);
        EXPECT_LE(frobeniusNorm(difference(gram, test::rawIdentity(20))), ratioLimit * 20 * lapack::machineEpsilon());
    }
}

TEST(Lyapunovfort, OfAZeroRightHandSideIsZero) {
    for (const bool discrete : {false, true}) {
        const Solution solution = solve(discrete, stable(discrete, 40, 18), RawMatrix(40, 40));
        EXPECT_EQ(solution.info, 0);
        EXPECT_EQ(solution.x, RawMatrix(40, 40));
    }
}

TEST(Lyapunovfort, OfAZeroMatrixIsMinusTheRightHandSideWhenDiscrete) {
    test::NormalNumbers numbers(19);
    const RawMatrix c = test::rawRandomSymmetric(40, numbers);
    EXPECT_EQ(solve(1, RawMatrix(40, 40), c).x, scaled(c, -1.0));
}

// ------------------------------------------------------------------------------------------------- singular ones

void expectSingular(int discrete, const RawMatrix& a) {
    test::NormalNumbers numbers(20);
    const int n = a.rows;
    for (const RawMatrix& c : {test::rawRandom(n, n, numbers), test::rawRandomSymmetric(n, numbers)}) {
        const Solution solution = solve(discrete, a, c);
        EXPECT_EQ(solution.info, n + 1);
        EXPECT_EQ(solution.x, c);
    }
}

TEST(Lyapunovfort, TellsThatTheContinuousEquationIsSingular) {
    expectSingular(0, RawMatrix(1, 1));
    expectSingular(0, RawMatrix(5, 5));
    for (const int n : {2, 3, 10, 70}) {
        for (std::uint64_t seed = 1; seed <= 10; ++seed) {
            const auto draw = [](test::NormalNumbers& numbers) {
                return test::Eigenvalue{-0.1 - numbers.uniform(), 0.0};
            };
            RawMatrix opposite = test::quasiTriangular(n, 0.0, 0.0, seed, draw);
            opposite(0, 0) = 0.7;
            opposite(n - 1, n - 1) = -0.7;
            expectSingular(0, rotated(opposite, seed));
            RawMatrix integrator = test::quasiTriangular(n, 0.0, 0.0, seed, draw);
            integrator(n / 2, n / 2) = 0.0;
            expectSingular(0, rotated(integrator, seed));
            RawMatrix oscillator = test::quasiTriangular(n, 0.0, 0.0, seed, draw);
            oscillator(0, 0) = oscillator(1, 1) = 0.0;
            oscillator(0, 1) = 1.1;
            oscillator(1, 0) = -1.1;
            expectSingular(0, rotated(oscillator, seed));
        }
    }
}

TEST(Lyapunovfort, TellsThatTheDiscreteEquationIsSingular) {
    expectSingular(1, RawMatrix(1, 1, 1.0));
    expectSingular(1, RawMatrix(1, 1, -1.0));
    expectSingular(1, test::rawIdentity(5));
    for (const int n : {2, 3, 10, 70}) {
        for (std::uint64_t seed = 1; seed <= 10; ++seed) {
            const auto draw = [](test::NormalNumbers& numbers) {
                return test::Eigenvalue{0.7 * numbers.uniform(), 0.0};
            };
            RawMatrix reciprocal = test::quasiTriangular(n, 0.0, 0.0, seed, draw);
            reciprocal(0, 0) = 1.25;
            reciprocal(n - 1, n - 1) = 0.8;
            expectSingular(1, rotated(reciprocal, seed));
            RawMatrix integrator = test::quasiTriangular(n, 0.0, 0.0, seed, draw);
            integrator(n / 2, n / 2) = 1.0;
            expectSingular(1, rotated(integrator, seed));
            RawMatrix oscillator = test::quasiTriangular(n, 0.0, 0.0, seed, draw);
            oscillator(0, 0) = oscillator(1, 1) = 0.6;
            oscillator(0, 1) = 0.8;
            oscillator(1, 0) = -0.8;
            expectSingular(1, rotated(oscillator, seed));
        }
    }
}

TEST(Lyapunovfort, JudgesSingularityAgainstTheWholeMatrix) {
    // 1e-14 is far from 0 beside blocks of its own size, and nothing beside the element 1e4 elsewhere.
    RawMatrix a(80, 80);
    for (int k = 0; k < 80; ++k) {
        a(k, k) = -1e-14;
    }
    test::NormalNumbers numbers(21);
    const RawMatrix c = test::rawRandomSymmetric(80, numbers);
    EXPECT_EQ(solve(0, a, c).info, 0);
    a(0, 79) = 1e4;
    EXPECT_EQ(solve(0, a, c).info, 81);
}

TEST(Lyapunovfort, SolvesAsLongAsTheEigenvaluesCanBeTold) {
    RawMatrix a(2, 2);
    a(0, 0) = -1.0;
    const RawMatrix c = test::rawIdentity(2);
    a(1, 1) = -1e-13;
    EXPECT_EQ(solve(0, a, c).info, 0);
    a(1, 1) = -1e-16;
    EXPECT_EQ(solve(0, a, c).info, 3);
    a(1, 1) = 1.0 - 1e-13;
    a(0, 0) = 0.5;
    EXPECT_EQ(solve(1, a, c).info, 0);
    a(1, 1) = 1.0 - 0x1p-53;
    EXPECT_EQ(solve(1, a, c).info, 3);
}

// ------------------------------------------------------------------------------------------------ other failures

TEST(Lyapunovfort, ReportsNaNAndInfinityWithoutAnAnswer) {
    const double bad[] = {std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity(),
                          -std::numeric_limits<double>::infinity()};
    for (const int discrete : {0, 1}) {
        for (const int n : {1, 2, 40}) {
            for (const double value : bad) {
                const RawMatrix good = stable(discrete == 1, n, 22);
                RawMatrix broken = good;
                broken(n - 1, 0) = value;
                EXPECT_EQ(solve(discrete, broken, good).info, n + 3);
                EXPECT_EQ(solve(discrete, good, broken).info, n + 3);
            }
        }
    }
}

TEST(Lyapunovfort, NamesTheArgumentThatIsIllegal) {
    const int discrete = 0;
    int info = 0;
    int n = -1;
    int workLength = 100;
    control_utility::LYAPUNOVFORT(&discrete, &n, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, &workLength,
                                  &info);
    EXPECT_EQ(info, -2);
    n = 3;
    workLength = 17;
    control_utility::LYAPUNOVFORT(&discrete, &n, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, &workLength,
                                  &info);
    EXPECT_EQ(info, -9);
}

// ------------------------------------------------------------------------------------------------- extreme sizes

TEST(Lyapunovfort, SolvesToTheLastDigitsWhateverTheSizesOfTheOperands) {
    // Powers of 2 change nothing but exponents.
    test::NormalNumbers numbers(23);
    for (const int n : {1, 2, 40}) {
        const RawMatrix a = stable(false, n, 24);
        const RawMatrix c = test::rawRandomSymmetric(n, numbers);
        const RawMatrix x = solve(0, a, c).x;
        EXPECT_EQ(solve(0, a, scaled(c, 0x1p-900)).x, scaled(x, 0x1p-900));
        EXPECT_EQ(solve(0, a, scaled(c, 0x1p1000)).x, scaled(x, 0x1p1000));
        EXPECT_EQ(solve(0, scaled(a, 0x1p900), scaled(c, 0x1p900)).x, x);
        EXPECT_EQ(solve(0, scaled(a, 0x1p-900), scaled(c, 0x1p-800)).x, scaled(x, 0x1p100));
        const RawMatrix d = stable(true, n, 25);
        EXPECT_EQ(solve(1, d, scaled(c, 0x1p1000)).x, scaled(solve(1, d, c).x, 0x1p1000));
    }
}

TEST(Lyapunovfort, ReturnsAHugeSolutionUnscaled) {
    const int n = 60;
    for (const bool symmetric : {true, false}) {
        RawMatrix a(n, n);
        for (int k = 0; k < n; ++k) {
            a(k, k) = -1.0;
            if (k + 1 < n) {
                a(k, k + 1) = 1e5;
            }
        }
        RawMatrix c(n, n);
        c(0, 0) = 1.0;
        c(1, 0) = symmetric ? 0.0 : 1.0;
        const Solution solution = solve(0, a, c);
        // The largest element, of the order of 1e10^59, is beyond the largest number.
        EXPECT_EQ(solution.info, n + 2);
        EXPECT_EQ(solution.x, c);
        // That of the leading part of order 31 is not, but beyond what is reached without a scale inside.
        const RawMatrix part = test::part(a, 0, 31, 0, 31);
        const RawMatrix right = test::part(c, 0, 31, 0, 31);
        const Solution smaller = solve(0, part, right);
        ASSERT_EQ(smaller.info, 0);
        EXPECT_GT(std::abs(smaller.x(30, 30)), 1e290);
        EXPECT_LE(test::lyapunovRatio(false, part, scaled(smaller.x, 0x1p-600), scaled(right, 0x1p-600)), ratioLimit);
    }
}

TEST(Lyapunovfort, ReportsASolutionThatIsBeyondTheLargestNumber) {
    const RawMatrix c(1, 1, 1e300);
    for (const auto& [discrete, a] : {std::pair(0, -1e-100), std::pair(1, 1.0 - 1e-12)}) {
        const RawMatrix right(1, 1, discrete == 1 ? 1e307 : 1e300);
        const Solution solution = solve(discrete, RawMatrix(1, 1, a), right);
        EXPECT_EQ(solution.info, 3);
        EXPECT_EQ(solution.x, right);
    }
    EXPECT_EQ(solve(1, RawMatrix(1, 1, 1e200), c).info, 3);
    EXPECT_EQ(solve(0, RawMatrix(1, 1, 1e200), c).x(0, 0), 5e99);
}

}  // namespace
