#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <string>

#include <qormath/control_utility/thin_products.hpp>

#include "processor_lanes_here.hpp"
#include "support/raw_matrix.hpp"

namespace {

using namespace qormath::test;
using qormath::control_utility::Lanes;
using qormath::control_utility::multiplyThin;
using qormath::lapack::Op;

const double eps = std::ldexp(1.0, -53);
const double nan = std::numeric_limits<double>::quiet_NaN();

/// A random matrix over rows that nobody may read.
RawMatrix withPoisonBelow(int rows, int columns, int below, NormalNumbers& numbers) {
    RawMatrix result(rows + below, columns, nan);
    for (int j = 0; j < columns; ++j) {
        for (int i = 0; i < rows; ++i) {
            result(i, j) = numbers.normal();
        }
    }
    return result;
}

/// Compares a product with its definition, element by element.
void expectTheProduct(Lanes lanes, Op opB, int m, int n, int k, double alpha, double beta, NormalNumbers& numbers) {
    const bool plain = opB == Op::none;
    const RawMatrix a = withPoisonBelow(m, k, 3, numbers);
    const RawMatrix b = withPoisonBelow(plain ? k : n, plain ? n : k, 1, numbers);
    const RawMatrix before = beta == 0.0 ? RawMatrix(m + 2, n, nan) : withPoisonBelow(m, n, 2, numbers);
    RawMatrix c = before;
    multiplyThin(opB, m, n, k, alpha, a.data(), a.rows, b.data(), b.rows, beta, c.data(), c.rows, lanes);
    for (int j = 0; j < n; ++j) {
        for (int i = 0; i < m; ++i) {
            double sum = beta == 0.0 ? 0.0 : beta * before(i, j);
            double size = std::abs(sum);
            for (int l = 0; l < k; ++l) {
                const double term = alpha * a(i, l) * (plain ? b(l, j) : b(j, l));
                sum += term;
                size += std::abs(term);
            }
            ASSERT_LE(std::abs(c(i, j) - sum), 2 * (k + 3) * eps * size) << "element " << i << ", " << j;
        }
        for (int i = m; i < c.rows; ++i) {
            ASSERT_TRUE(std::isnan(c(i, j))) << "below column " << j;
        }
    }
}

TEST(ThinProduct, IsTheProductWhateverTheSizes) {
    NormalNumbers numbers(1);
    for (int n = 0; n <= 18; ++n) {
        for (int m : {0, 1, 2, 3, 4, 5, 7, 8, 9, 12, 15, 16, 17, 24, 27, 50}) {
            for (int k : {0, 1, 2, 23, 24, 25, 48, 60}) {
                for (Op opB : {Op::none, Op::transpose}) {
                    SCOPED_TRACE(std::to_string(m) + " by " + std::to_string(n) + ", inner size " + std::to_string(k) +
                                 (opB == Op::none ? "" : ", transposed"));
                    for (const Lanes lanes : allLanesHere()) {
                        expectTheProduct(lanes, opB, m, n, k, 1.0, 0.0, numbers);
                        expectTheProduct(lanes, opB, m, n, k, -1.0, 1.0, numbers);
                        expectTheProduct(lanes, opB, m, n, k, 0.7, -0.3, numbers);
                    }
                }
            }
        }
    }
}

// Both sum in the order of the terms, a panel at a time. Rows that fill no vector of eight are left out: where the
// other kernel has them in vectors, a compiler may fuse operations in one and not in the other.
TEST(ThinProduct, IsTheSameToTheBitWithFourLanesAndEight) {
    if (qormath::control_utility::lanesOfProcessor() < Lanes::eight) {
        GTEST_SKIP() << "this processor has no eight lanes";
    }
    NormalNumbers numbers(2);
    for (int n : {2, 5, 7, 10, 16}) {
        for (int m : {8, 16, 24, 64}) {
            constexpr int k = 53;
            const RawMatrix a = withPoisonBelow(m, k, 0, numbers);
            const RawMatrix b = withPoisonBelow(k, n, 0, numbers);
            const RawMatrix before = withPoisonBelow(m, n, 0, numbers);
            RawMatrix byFour = before, byEight = before;
            multiplyThin(Op::none, m, n, k, 0.7, a.data(), m, b.data(), k, 1.0, byFour.data(), m, Lanes::four);
            multiplyThin(Op::none, m, n, k, 0.7, a.data(), m, b.data(), k, 1.0, byEight.data(), m, Lanes::eight);
            EXPECT_EQ(byFour, byEight) << m << " by " << n;
        }
    }
}

TEST(ThinProduct, PassesOnWhatIsNotFinite) {
    const double infinity = std::numeric_limits<double>::infinity();
    for (const Lanes lanes : allLanesHere()) {
        for (int n : {1, 2, 10, 16, 17}) {
            for (int m : {1, 4, 8, 11, 19}) {
                RawMatrix a(m, 30, 1.0), b(30, n, 1.0), c(m, n);
                a(m - 1, 29) = nan;
                b(3, n - 1) = infinity;
                multiplyThin(Op::none, m, n, 30, 1.0, a.data(), m, b.data(), 30, 0.0, c.data(), m, lanes);
                for (int j = 0; j < n; ++j) {
                    for (int i = 0; i < m; ++i) {
                        if (i == m - 1) {
                            EXPECT_TRUE(std::isnan(c(i, j)));
                        } else {
                            EXPECT_EQ(c(i, j), j == n - 1 ? infinity : 30.0);
                        }
                    }
                }
            }
        }
    }
}

}  // namespace
