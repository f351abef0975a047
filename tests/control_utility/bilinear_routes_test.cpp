#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <vector>

#include <qormath/control_utility/bilineartransformfort.hpp>
#include <qormath/lapack/lapack.hpp>

#include "support/raw_matrix.hpp"

// The bilinear map of a by one inverse, against the solution for as many right-hand sides as there are states.

namespace {

using namespace qormath;
using control_utility::transformBilinearly;
using test::NormalNumbers;
using test::RawMatrix;

struct System {
    RawMatrix a, b, c, d;
    bool operator==(const System& other) const = default;
};

int transform(System& s, int direction, double alpha, double beta, bool mayInvert) {
    return transformBilinearly(direction, s.a.rows, s.d.cols, s.d.rows, s.a.data(), s.b.data(), s.c.data(), s.d.data(),
                               alpha, beta, mayInvert);
}

System randomSystem(int n, int m, int p, double modulus, unsigned seed) {
    NormalNumbers numbers(seed);
    System system{test::rawRandom(n, n, numbers), test::rawRandom(n, m, numbers), test::rawRandom(p, n, numbers),
                  test::rawRandom(p, m, numbers)};
    for (double& element : system.a.elements) {
        element *= modulus / std::sqrt(std::max(1.0, 1.0 * n));
    }
    return system;
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

}  // namespace

TEST(BilinearRoutes, AgreeOnRandomSystems) {
    unsigned seed = 5900;
    for (const int n : {1, 2, 5, 63, 64, 65, 130, 150}) {
        for (const int direction : {0, 1}) {
            const double alpha = 1.0;
            const double beta = 4.0;
            const System system = randomSystem(n, 2, 3, direction == 0 ? 2.0 : 0.8, ++seed);
            System x = system;
            System y = system;
            ASSERT_EQ(transform(x, direction, alpha, beta, true), 0);
            ASSERT_EQ(transform(y, direction, alpha, beta, false), 0);
            const double condition =
                direction == 0 ? conditionOf(system.a, beta, -1.0) : conditionOf(system.a, alpha, 1.0);
            // Either is good to n eps times the condition, and the difference of terms at most doubles the inverse's.
            EXPECT_LE(test::frobeniusNorm(test::difference(x.a, y.a)),
                      20.0 * n * lapack::machineEpsilon() * condition * test::frobeniusNorm(y.a))
                << n << " " << direction;
            EXPECT_EQ(x.b, y.b);
            EXPECT_EQ(x.c, y.c);
            EXPECT_EQ(x.d, y.d);
        }
    }
}

TEST(BilinearRoutes, ASmallMapIsSolvedFor) {
    // Sampled so fast that a is all but the identity: the inverse would lose the digits of a - I.
    System system = randomSystem(20, 2, 2, 1e-6, 6001);
    for (int k = 0; k < 20; ++k) {
        system.a(k, k) += 1.0;
    }
    System x = system;
    System y = system;
    EXPECT_EQ(transform(x, 1, 1.0, 2.0, true), 0);
    EXPECT_EQ(transform(y, 1, 1.0, 2.0, false), 0);
    EXPECT_EQ(x, y);
}

TEST(BilinearRoutes, AMapNearTheLargestNumberIsSolvedFor) {
    // No element overflows, but their sum does, by which the inverse is judged.
    const System system = randomSystem(30, 2, 2, 2.0, 6005);
    System x = system;
    System y = system;
    EXPECT_EQ(transform(x, 0, 1e307, 4.0, true), 0);
    EXPECT_EQ(transform(y, 0, 1e307, 4.0, false), 0);
    EXPECT_EQ(x, y);
    EXPECT_GT(*std::max_element(x.a.elements.begin(), x.a.elements.end()), 1e306);
    x = system;
    y = system;
    EXPECT_EQ(transform(x, 0, 1e308, 0.7, true), transform(y, 0, 1e308, 0.7, false));
    EXPECT_EQ(x, y);
}

TEST(BilinearRoutes, FailAlike) {
    const auto expectSame = [](const System& system, int direction, int info) {
        System x = system;
        System y = system;
        EXPECT_EQ(transform(x, direction, 1.0, 2.0, true), info);
        EXPECT_EQ(transform(y, direction, 1.0, 2.0, false), info);
        EXPECT_EQ(x.a.elements.size(), y.a.elements.size());
        for (std::size_t k = 0; k < x.a.elements.size(); ++k) {
            EXPECT_TRUE(x.a.elements[k] == y.a.elements[k] || std::isnan(y.a.elements[k]));
        }
    };
    System singular = randomSystem(3, 1, 1, 1.0, 6002);
    singular.a = RawMatrix(3, 3);
    singular.a(0, 0) = 2.0;
    expectSame(singular, 0, 2);
    System nearlySingular = randomSystem(2, 1, 1, 1.0, 6004);
    nearlySingular.a(0, 0) = 1.0;
    nearlySingular.a(0, 1) = -1.0;
    nearlySingular.a(1, 0) = -1.0;
    nearlySingular.a(1, 1) = 1.0 - 0x1p-52;
    expectSame(nearlySingular, 0, 2);
    System bad = randomSystem(3, 1, 1, 1.0, 6003);
    bad.a(1, 2) = std::numeric_limits<double>::quiet_NaN();
    expectSame(bad, 0, 1);
    expectSame(bad, 1, 1);
}
