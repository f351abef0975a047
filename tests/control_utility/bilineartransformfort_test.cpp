#include <algorithm>
#include <cmath>
#include <complex>
#include <cstddef>
#include <gtest/gtest.h>
#include <limits>
#include <vector>

#include <qormath/control_utility/bilineartransformfort.hpp>

#include "support/raw_matrix.hpp"
#include "support/raw_transfer_function.hpp"

namespace {

using namespace qormath;
using control_utility::BILINEARTRANSFORMFORT;
using test::NormalNumbers;
using test::RawComplex;
using test::RawMatrix;
using Complex = std::complex<double>;

struct System {
    RawMatrix a, b, c, d;
    bool operator==(const System& other) const = default;
};

int transform(System& system, int direction, double alpha, double beta) {
    const int n = system.a.rows;
    const int m = system.d.cols;
    const int p = system.d.rows;
    int info = -99;
    BILINEARTRANSFORMFORT(&direction, &n, &m, &p, system.a.data(), system.b.data(), system.c.data(), system.d.data(),
                          &alpha, &beta, &info);
    return info;
}

/// Eigenvalues of about the given modulus, all over the plane.
System randomSystem(int n, int m, int p, double modulus, unsigned seed) {
    NormalNumbers numbers(seed);
    System system{test::rawRandom(n, n, numbers), test::rawRandom(n, m, numbers), test::rawRandom(p, n, numbers),
                  test::rawRandom(p, m, numbers)};
    for (double& element : system.a.elements) {
        element *= modulus / std::sqrt(std::max(1.0, 1.0 * n));
    }
    return system;
}

RawComplex transferAt(const System& system, Complex z) {
    RawComplex value = test::leftProduct(system.c, test::resolventTimes(system.a, system.b, z));
    for (std::size_t k = 0; k < value.elements.size(); ++k) {
        value.elements[k] += system.d.elements[k];
    }
    return value;
}

double resolventNorm(const RawMatrix& a, Complex z) {
    return frobeniusNorm(test::resolventTimes(a, test::rawIdentity(a.rows), z));
}

/// What n eps of every matrix can make of the value of the transfer function at z.
double roundingAt(const System& system, Complex z) {
    const int n = std::max(1, system.a.rows);
    const double r = resolventNorm(system.a, z);
    return n * lapack::machineEpsilon() *
           (test::frobeniusNorm(system.b) * test::frobeniusNorm(system.c) * r *
                (2.0 + r * (std::abs(z) + test::frobeniusNorm(system.a))) +
            test::frobeniusNorm(system.d));
}

/// The largest difference of the transfer functions at paired points of the plane, over what rounding explains: that of
/// both systems, times the condition of the matrix that was factored.
double transferRatio(const System& continuous, const System& discrete, double alpha, double beta, double condition) {
    double largest = 0.0;
    for (int k = 0; k < 48; ++k) {
        const Complex z = std::polar(k % 3 == 0 ? 1.0 : 0.4 * (k % 3) * std::fabs(alpha), 0.05 + 0.13 * k);
        const Complex s = beta * (z - alpha) / (z + alpha);
        const double difference = frobeniusNorm(test::differenceOf(transferAt(discrete, z), transferAt(continuous, s)));
        const double rounding = condition * (roundingAt(continuous, s) + roundingAt(discrete, z));
        largest = std::max(largest, difference == 0.0 ? 0.0 : difference / rounding);
    }
    return largest;
}

/// Condition of shift I + sign a.
double conditionOf(const RawMatrix& a, double shift, double sign) {
    RawMatrix matrix = a;
    for (double& element : matrix.elements) {
        element *= sign;
    }
    for (int k = 0; k < a.rows; ++k) {
        matrix(k, k) += shift;
    }
    const std::vector<double> values = test::rawSingularValues(matrix);
    return values.front() / values.back();
}

constexpr double ratioLimit = 10.0;

}  // namespace

TEST(BILINEARTRANSFORMFORT, PairsTheTransferFunctionsForEverySizeAndBothDirections) {
    struct Map {
        double alpha, beta;
    };
    for (const Map map :
         {Map{1.0, 2.0}, Map{1.0, 0.1}, Map{1.0, 40.0}, Map{0.7, 3.0}, Map{1.0, -2.0}, Map{-1.0, 2.0}}) {
        for (const int n : {1, 2, 3, 8, 30}) {
            SCOPED_TRACE(testing::Message() << "n " << n << " alpha " << map.alpha << " beta " << map.beta);
            const System given = randomSystem(n, 2, 3, std::fabs(map.beta), 4210u + static_cast<unsigned>(n));
            System discrete = given;
            ASSERT_EQ(transform(discrete, 0, map.alpha, map.beta), 0);
            EXPECT_LE(transferRatio(given, discrete, map.alpha, map.beta, conditionOf(given.a, map.beta, -1.0)),
                      ratioLimit);
            const System sampled = randomSystem(n, 3, 2, std::fabs(map.alpha), 4230u + static_cast<unsigned>(n));
            System continuous = sampled;
            ASSERT_EQ(transform(continuous, 1, map.alpha, map.beta), 0);
            EXPECT_LE(transferRatio(continuous, sampled, map.alpha, map.beta, conditionOf(sampled.a, map.alpha, 1.0)),
                      ratioLimit);
        }
    }
}

TEST(BILINEARTRANSFORMFORT, IsItsFormulaForOneState) {
    System system{RawMatrix(1, 1, -3.0), RawMatrix(1, 1, 5.0), RawMatrix(1, 1, 7.0), RawMatrix(1, 1, 11.0)};
    ASSERT_EQ(transform(system, 0, 1.0, 2.0), 0);
    EXPECT_DOUBLE_EQ(system.a(0, 0), (2.0 - 3.0) / (2.0 + 3.0));
    EXPECT_DOUBLE_EQ(system.b(0, 0), 2.0 * 5.0 / 5.0);
    EXPECT_DOUBLE_EQ(system.c(0, 0), 2.0 * 7.0 / 5.0);
    EXPECT_DOUBLE_EQ(system.d(0, 0), 11.0 + 7.0 * 5.0 / 5.0);
}

TEST(BILINEARTRANSFORMFORT, UndoesItselfMatrixByMatrix) {
    for (const int n : {1, 4, 15}) {
        const System given = randomSystem(n, 2, 2, 1.0, 4240u + static_cast<unsigned>(n));
        const double condition = conditionOf(given.a, 2.0, -1.0);
        System there = given;
        ASSERT_EQ(transform(there, 0, 1.0, 2.0), 0);
        const double back = conditionOf(there.a, 1.0, 1.0);
        ASSERT_EQ(transform(there, 1, 1.0, 2.0), 0);
        const double bound = 10.0 * n * lapack::machineEpsilon() * condition * back;
        EXPECT_LE(test::frobeniusNorm(test::difference(there.a, given.a)), bound * test::frobeniusNorm(given.a));
        EXPECT_LE(test::frobeniusNorm(test::difference(there.b, given.b)), bound * test::frobeniusNorm(given.b));
        EXPECT_LE(test::frobeniusNorm(test::difference(there.c, given.c)), bound * test::frobeniusNorm(given.c));
        const double through =
            test::frobeniusNorm(given.d) + test::frobeniusNorm(given.c) * test::frobeniusNorm(given.b);
        EXPECT_LE(test::frobeniusNorm(test::difference(there.d, given.d)), bound * through);
    }
}

TEST(BILINEARTRANSFORMFORT, OfAnIntegratorIsTheTrapezoidalRule) {
    System integrator{RawMatrix(1, 1, 0.0), RawMatrix(1, 1, 1.0), RawMatrix(1, 1, 1.0), RawMatrix(1, 1, 0.0)};
    ASSERT_EQ(transform(integrator, 0, 1.0, 4.0), 0);  // a sample time of 1/2
    EXPECT_EQ(integrator.a(0, 0), 1.0);
    EXPECT_DOUBLE_EQ(integrator.b(0, 0) * integrator.c(0, 0), 0.5);
    EXPECT_DOUBLE_EQ(integrator.d(0, 0), 0.25);
}

TEST(BILINEARTRANSFORMFORT, TellsASingularMatrixAndWritesNothing) {
    // A pole of the continuous system at beta, or of the discrete one at -alpha, in plain and in hidden coordinates.
    for (const int direction : {0, 1}) {
        for (const int n : {1, 2, 6}) {
            for (const bool hide : {false, true}) {
                System system = randomSystem(n, 2, 2, 0.5, 4250);
                const double pole = direction == 0 ? 2.0 : -1.0;
                for (int i = 0; i < n; ++i) {
                    for (int j = 0; j < i; ++j) {
                        system.a(i, j) = 0.0;
                    }
                }
                system.a(n - 1, n - 1) = pole;
                if (hide && n > 1) {
                    NormalNumbers numbers(4251);
                    const RawMatrix q = test::rawRandomOrthogonal(n, numbers);
                    system.a = test::product(test::product(q, system.a), q, lapack::Op::none, lapack::Op::transpose);
                }
                const System before = system;
                EXPECT_EQ(transform(system, direction, 1.0, 2.0), 2) << n << " " << direction << " " << hide;
                EXPECT_TRUE(system == before);
            }
        }
    }
}

TEST(BILINEARTRANSFORMFORT, DoesNotTakeDifferentUnitsForASingularMatrix) {
    System stiff{RawMatrix(2, 2), RawMatrix(2, 1, 1.0), RawMatrix(1, 2, 1.0), RawMatrix(1, 1, 0.0)};
    stiff.a(0, 0) = -1.0;
    stiff.a(1, 1) = -1e25;
    ASSERT_EQ(transform(stiff, 0, 1.0, 2.0), 0);
    EXPECT_DOUBLE_EQ(stiff.a(0, 0), 1.0 / 3.0);
    EXPECT_DOUBLE_EQ(stiff.a(1, 1), -1.0);

    System mixed = randomSystem(4, 2, 2, 1.0, 4260);
    System reference = mixed;
    const double units[] = {1.0, std::ldexp(1.0, 60), std::ldexp(1.0, -50), std::ldexp(1.0, 10)};
    for (int i = 0; i < 4; ++i) {
        for (int j = 0; j < 4; ++j) {
            mixed.a(i, j) *= units[i] / units[j];
        }
        for (int j = 0; j < 2; ++j) {
            mixed.b(i, j) *= units[i];
            mixed.c(j, i) /= units[i];
        }
    }
    ASSERT_EQ(transform(mixed, 0, 1.0, 2.0), 0);
    ASSERT_EQ(transform(reference, 0, 1.0, 2.0), 0);
    const double bound =
        10.0 * 4 * lapack::machineEpsilon() * conditionOf(randomSystem(4, 2, 2, 1.0, 4260).a, 2.0, -1.0);
    for (int i = 0; i < 4; ++i) {
        for (int j = 0; j < 4; ++j) {
            EXPECT_NEAR(mixed.a(i, j) * units[j] / units[i], reference.a(i, j),
                        bound * (1.0 + test::frobeniusNorm(reference.a)));
        }
    }
}

TEST(BILINEARTRANSFORMFORT, TellsWhatIsNotFiniteAndWritesNothing) {
    for (const int direction : {0, 1}) {
        for (const double bad : {std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity()}) {
            System system = randomSystem(3, 1, 1, 1.0, 4270);
            system.a(1, 2) = bad;
            const std::vector<double> b = system.b.elements;
            const std::vector<double> d = system.d.elements;
            EXPECT_EQ(transform(system, direction, 1.0, 2.0), 1);
            EXPECT_EQ(system.b.elements, b);
            EXPECT_EQ(system.d.elements, d);
        }
    }
}

TEST(BILINEARTRANSFORMFORT, LetsWhatIsNotFiniteInAnInputStayInItsColumn) {
    System system = randomSystem(3, 2, 2, 1.0, 4271);
    system.b(0, 1) = std::numeric_limits<double>::quiet_NaN();
    ASSERT_EQ(transform(system, 0, 1.0, 2.0), 0);
    for (int i = 0; i < 3; ++i) {
        EXPECT_TRUE(std::isfinite(system.b(i, 0)));
        EXPECT_TRUE(std::isnan(system.b(i, 1)));
    }
    EXPECT_TRUE(std::isfinite(system.d(0, 0)));
    EXPECT_TRUE(std::isnan(system.d(0, 1)));
}

TEST(BILINEARTRANSFORMFORT, TakesSystemsWithoutStatesInputsOrOutputs) {
    for (const int n : {0, 3}) {
        for (const int m : {0, 2}) {
            for (const int p : {0, 2}) {
                System system = randomSystem(n, m, p, 1.0, 4280);
                const RawMatrix d = system.d;
                EXPECT_EQ(transform(system, 0, 1.0, 2.0), 0);
                EXPECT_TRUE(n > 0 || system.d == d);
            }
        }
    }
}

TEST(BILINEARTRANSFORMFORT, TellsTheFirstIllegalArgument) {
    const double bad[] = {0.0, std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity()};
    System system = randomSystem(2, 1, 1, 1.0, 4290);
    const System before = system;
    EXPECT_EQ(transform(system, 2, 1.0, 2.0), -1);
    EXPECT_EQ(transform(system, -1, 1.0, 2.0), -1);
    for (const double value : bad) {
        EXPECT_EQ(transform(system, 0, value, 2.0), -9);
        EXPECT_EQ(transform(system, 0, 1.0, value), -10);
    }
    const int sizes[][4] = {{-1, 1, 1, -2}, {1, -1, 1, -3}, {1, 1, -1, -4}};
    for (const auto& size : sizes) {
        const int direction = 0;
        const double one = 1.0;
        int info = 0;
        BILINEARTRANSFORMFORT(&direction, &size[0], &size[1], &size[2], nullptr, nullptr, nullptr, nullptr, &one, &one,
                              &info);
        EXPECT_EQ(info, size[3]);
    }
    EXPECT_TRUE(system == before);
}
