#include <algorithm>
#include <cmath>
#include <complex>
#include <gtest/gtest.h>
#include <limits>
#include <random>
#include <vector>

#include <qormath/control/qor_math_control.hpp>
#include <qormath/core/arithmetic.hpp>

#include "support/control_test_access.hpp"
#include "support/matrix_literals.hpp"

using qormath::test::matrixOf;
using qormath::test::written;
using QorMathLA::Matrix;
using QorMathLA::Vector;

namespace {

constexpr double eps = 0x1p-53;

const std::vector<schurOrder> allOrders = {schurUnordered,        schurULDiscrete,     schurLRDiscrete,
                                           schurULContinuous,     schurLRContinuous,   schurDescendingModulus,
                                           schurAscendingModulus, schurDescendingReal, schurAscendingReal};

struct Schur {
    Matrix<double> t;
    Matrix<double> q;
    Vector<double> wr;
    Vector<double> wi;
};

Schur decompose(const Matrix<double>& a, schurOrder order) {
    Schur schur;
    QorMathControl::SchurDecomposition(a, schur.t, schur.q, schur.wr, schur.wi, order);
    return schur;
}

double norm(const Matrix<double>& matrix) {
    return std::sqrt(matrix.sumSquares());
}

Matrix<double> randomMatrix(int n, unsigned seed) {
    std::mt19937_64 bits(seed);
    Matrix<double> result(n, n);
    for (double& element : result) {
        element = static_cast<double>(bits() >> 11) * 0x1p-52 - 1.0;
    }
    return result;
}

/// Backward error, orthogonality, quasi-triangularity and the agreement of wr, wi with the diagonal. The bounds are the
/// usual ones of orthogonal similarities, 20 n eps times the norm, and as much again for the exchanges.
void expectSchurFormOf(const Matrix<double>& a, const Schur& schur) {
    const int n = a.rows();
    const double bound = 40.0 * std::max(n, 1) * eps;
    ASSERT_EQ(schur.t.rows(), n);
    ASSERT_EQ(schur.q.rows(), n);
    ASSERT_EQ(schur.wr.size(), n);
    ASSERT_EQ(schur.wi.size(), n);
    EXPECT_LE(norm(schur.q * schur.t * schur.q.transpose() - a), bound * norm(a));
    EXPECT_LE(norm(schur.q.transpose() * schur.q - schur.q.identity()), bound);
    for (int k = 0; k < n; ++k) {
        for (int i = k + 2; i < n; ++i) {
            ASSERT_EQ(schur.t(i, k), 0.0);
        }
        EXPECT_NEAR(schur.wr[k], schur.t(k, k), bound * norm(a));
        if (k + 1 < n && schur.t(k + 1, k) != 0.0) {
            ASSERT_EQ(schur.t(k, k), schur.t(k + 1, k + 1)) << "a 2 by 2 block is in standard form";
            const double im = std::sqrt(std::fabs(schur.t(k, k + 1))) * std::sqrt(std::fabs(schur.t(k + 1, k)));
            EXPECT_NEAR(schur.wi[k], im, 1e-6 * (1.0 + im));
            EXPECT_NEAR(schur.wi[k + 1], -im, 1e-6 * (1.0 + im));
            ++k;
        } else {
            EXPECT_EQ(schur.wi[k], 0.0);
        }
    }
}

double keyOf(const Schur& schur, int k, schurOrder order) {
    const bool byReal = order == schurDescendingReal || order == schurAscendingReal;
    return byReal ? schur.wr[k] : std::hypot(schur.wr[k], schur.wi[k]);
}

}  // namespace

TEST(SchurDecomposition, OfAnEmptyMatrixLeavesAllResultsUntouchedForEveryOrder) {
    for (const schurOrder order : allOrders) {
        Schur schur{matrixOf({{1, 2}}), matrixOf({{3}}), Vector<double>(4), Vector<double>(5)};
        QorMathControl::SchurDecomposition(Matrix<double>(), schur.t, schur.q, schur.wr, schur.wi, order);
        EXPECT_EQ(written(schur.t), "1x2 [1 2]");
        EXPECT_EQ(written(schur.q), "1x1 [3]");
        EXPECT_EQ(schur.wr.size(), 4);
        EXPECT_EQ(schur.wi.size(), 5);
    }
}

TEST(SchurDecomposition, OfOneByOneIsTheMatrixItselfForEveryOrder) {
    for (const schurOrder order : allOrders) {
        const Schur schur = decompose(matrixOf({{-2.5}}), order);
        EXPECT_EQ(schur.t(0, 0), -2.5);
        EXPECT_EQ(std::fabs(schur.q(0, 0)), 1.0);
        EXPECT_EQ(schur.wr[0], -2.5);
        EXPECT_EQ(schur.wi[0], 0.0);
    }
}

TEST(SchurDecomposition, HoldsItsFactorisationForEveryOrderAndSize) {
    for (const int n : {1, 2, 3, 5, 8, 17, 40}) {
        for (const schurOrder order : allOrders) {
            SCOPED_TRACE(testing::Message() << "n " << n << " order " << order);
            const Matrix<double> a = randomMatrix(n, static_cast<unsigned>(n));
            expectSchurFormOf(a, decompose(a, order));
        }
    }
}

TEST(SchurDecomposition, SortsByKeyInTheFourSortedOrders) {
    for (const int n : {2, 3, 6, 15, 30}) {
        for (const schurOrder order :
             {schurDescendingModulus, schurAscendingModulus, schurDescendingReal, schurAscendingReal}) {
            SCOPED_TRACE(testing::Message() << "n " << n << " order " << order);
            const Schur schur = decompose(randomMatrix(n, 100u + static_cast<unsigned>(n)), order);
            const bool descending = order == schurDescendingModulus || order == schurDescendingReal;
            for (int k = 1; k < n; ++k) {
                const double rise = keyOf(schur, k, order) - keyOf(schur, k - 1, order);
                // Keys within 1e-10 are not exchanged; the eigenvalues themselves move by rounding in an exchange.
                EXPECT_LE(descending ? rise : -rise, 1e-10 + 1e-12);
            }
        }
    }
}

TEST(SchurDecomposition, KeepsThePairOfAComplexEigenvalueTogetherUnderDescendingReal) {
    const Schur schur = decompose(randomMatrix(25, 7), schurDescendingReal);
    for (int k = 0; k < 25; ++k) {
        if (schur.wi[k] != 0.0) {
            ASSERT_LT(k + 1, 25);
            EXPECT_GT(schur.wi[k], 0.0);
            EXPECT_EQ(schur.wi[k + 1], -schur.wi[k]);
            EXPECT_EQ(schur.wr[k + 1], schur.wr[k]);
            ++k;
        }
    }
}

TEST(SchurDecomposition, MovesAPairAheadOfASmallerRealEigenvalue) {
    // Upper triangular already: the real eigenvalue 2 stands first, then the pair of modulus 3.
    const Matrix<double> a = matrixOf({{2, 0.5, 0.25}, {0, 0, 3}, {0, -3, 0}});
    const Schur schur = decompose(a, schurDescendingModulus);
    expectSchurFormOf(a, schur);
    EXPECT_NEAR(schur.wi[0], 3.0, 1e-14);
    EXPECT_NEAR(schur.wi[1], -3.0, 1e-14);
    EXPECT_NEAR(schur.wr[2], 2.0, 1e-14);
    EXPECT_EQ(schur.wi[2], 0.0);
}

TEST(SchurDecomposition, MovesARealEigenvalueAheadOfASmallerPair) {
    const Matrix<double> a = matrixOf({{0, 1, 0.5}, {-1, 0, 0.25}, {0, 0, 4}});
    const Schur schur = decompose(a, schurDescendingModulus);
    expectSchurFormOf(a, schur);
    EXPECT_NEAR(schur.wr[0], 4.0, 1e-14);
    EXPECT_NEAR(schur.wi[1], 1.0, 1e-14);
    EXPECT_NEAR(schur.wi[2], -1.0, 1e-14);
}

TEST(SchurDecomposition, ExchangesTwoPairs) {
    const Matrix<double> a = matrixOf({{0, 1, 0.5, 0.1}, {-1, 0, 0.25, 0.2}, {0, 0, 0, 3}, {0, 0, -3, 0}});
    const Schur schur = decompose(a, schurDescendingModulus);
    expectSchurFormOf(a, schur);
    EXPECT_NEAR(schur.wi[0], 3.0, 1e-14);
    EXPECT_NEAR(schur.wi[2], 1.0, 1e-14);
}

TEST(SchurDecomposition, DoesNotExchangeKeysWithinTheAbsoluteTolerance) {
    for (const double difference : {1e-10, 5e-11, -1e-10}) {
        const Matrix<double> a = matrixOf({{0.5, 1.0}, {0.0, 0.5 + difference}});
        for (const schurOrder order :
             {schurDescendingModulus, schurAscendingModulus, schurDescendingReal, schurAscendingReal}) {
            const Schur schur = decompose(a, order);
            // 0.5 + 1e-10 is rounded, so 1e-10 itself is met from below or above by less than eps.
            if (std::fabs(a(1, 1) - a(0, 0)) <= 1e-10) {
                EXPECT_EQ(schur.wr[0], 0.5);
                EXPECT_EQ(written(schur.t), written(a));
            }
        }
    }
}

TEST(SchurDecomposition, ExchangesKeysBeyondTheAbsoluteTolerance) {
    const Matrix<double> a = matrixOf({{0.5, 1.0}, {0.0, 0.5 + 3e-10}});
    const Schur schur = decompose(a, schurDescendingReal);
    EXPECT_GT(schur.wr[0], schur.wr[1]);
}

TEST(SchurDecomposition, TakesAnUnknownOrderAsUnordered) {
    const Matrix<double> a = randomMatrix(9, 3);
    const Schur unordered = decompose(a, schurUnordered);
    for (const std::int32_t value : {9, 100, -1, std::numeric_limits<std::int32_t>::min()}) {
        const Schur schur = decompose(a, static_cast<schurOrder>(value));
        EXPECT_EQ(written(schur.t), written(unordered.t));
        EXPECT_EQ(written(schur.q), written(unordered.q));
    }
}

TEST(SchurDecomposition, PutsTheStableEigenvaluesWhereTheCornerSays) {
    const Matrix<double> a = matrixOf({{0.5, 0.1, 0.2}, {0.0, 2.0, 0.3}, {0.0, 0.0, -0.25}});
    EXPECT_NEAR(decompose(a, schurULDiscrete).wr[2], 2.0, 1e-14);
    EXPECT_NEAR(decompose(a, schurLRDiscrete).wr[0], 2.0, 1e-14);
    EXPECT_NEAR(decompose(a, schurULContinuous).wr[0], -0.25, 1e-14);
    EXPECT_NEAR(decompose(a, schurLRContinuous).wr[2], -0.25, 1e-14);
}

TEST(SchurDecomposition, KeepsAnIntegratorWithRoundingErrorsAmongTheMarginalOnes) {
    const Matrix<double> a = matrixOf({{0.5, 1.0}, {0.0, 1.0 - 1e-12}});
    EXPECT_NEAR(decompose(a, schurLRDiscrete).wr[0], 1.0, 1e-10);
    const Matrix<double> c = matrixOf({{-0.5, 1.0}, {0.0, -1e-12}});
    EXPECT_NEAR(decompose(c, schurLRContinuous).wr[0], 0.0, 1e-10);
}

TEST(SchurDecomposition, AcceptsATransposedViewAndTheInputAsItsOwnResult) {
    const Matrix<double> a = randomMatrix(6, 11);
    const Matrix<double> view = a.transpose();
    expectSchurFormOf(view, decompose(view, schurDescendingModulus));
    Matrix<double> t = a;
    Matrix<double> q;
    Vector<double> wr;
    Vector<double> wi;
    QorMathControl::SchurDecomposition(t, t, q, wr, wi, schurDescendingReal);
    EXPECT_EQ(written(t), written(decompose(a, schurDescendingReal).t));
}

TEST(SchurDecomposition, ThrowsAPlainIntForWhatIsNotFinite) {
    for (const double bad : {std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity()}) {
        for (const schurOrder order : allOrders) {
            Matrix<double> a = randomMatrix(5, 1);
            a(3, 2) = bad;
            try {
                decompose(a, order);
                FAIL() << "no exception";
            } catch (const int code) {
                EXPECT_EQ(code, -1);
            }
        }
    }
}

TEST(SchurDecomposition, ThrowsAPlainIntForAMatrixWithFewerColumnsThanRows) {
    EXPECT_THROW(decompose(matrixOf({{1}, {2}}), schurUnordered), int);
}

TEST(SchurDecompositionHelper, RefusesASortedOrderAfterCopyingTheMatrix) {
    Schur schur;
    EXPECT_THROW(QorMathControlTestAccess::SchurDecompositionHelper(matrixOf({{1, 2}, {0, 3}}), schur.t, schur.q,
                                                                    schur.wr, schur.wi, schurDescendingModulus),
                 int);
    EXPECT_EQ(written(schur.t), "2x2 [1 2; 0 3]");
    EXPECT_EQ(schur.wr.size(), 2);
    EXPECT_EQ(schur.wi.size(), 2);
}

TEST(ReorderBlockDiagonalsOfSchurForm, ReplacesTheVectorsAndReordersNothing) {
    Matrix<double> t = matrixOf({{1, 2}, {0, 3}});
    Matrix<double> q = matrixOf({{7}});
    int count = 42;
    QorMathControl::ReorderBlockDiagonalsOfSchurForm(t, q, count, discreteSystem, schurDescendingReal);
    EXPECT_EQ(written(t), "2x2 [1 2; 0 3]");
    EXPECT_EQ(q.rows(), 2);
    EXPECT_EQ(q.cols(), 2);
    EXPECT_EQ(count, 42);
}

TEST(ReorderBlockDiagonalsOfSchurForm, ThrowsForUnorderedAfterReplacingTheVectors) {
    Matrix<double> t = matrixOf({{1, 2}, {0, 3}});
    Matrix<double> q;
    int count = 0;
    EXPECT_THROW(QorMathControl::ReorderBlockDiagonalsOfSchurForm(t, q, count, continuousSystem, schurUnordered), int);
    EXPECT_EQ(q.rows(), 2);
}
