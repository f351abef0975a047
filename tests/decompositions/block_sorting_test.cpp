#include <cmath>
#include <gtest/gtest.h>
#include <utility>
#include <vector>

#include <qormath/control/qor_math_control.hpp>
#include <qormath/core/arithmetic.hpp>
#include <qormath/decompositions/detail/block_sorting.hpp>
#include <qormath/lapack/lapack.hpp>

#include "support/random_matrices.hpp"

// The blocks of a Schur form sorted in windows, against the exchanges of neighbours.

namespace {

using namespace qormath;
using decompositions::sortBlocksByExchanges;
using decompositions::sortBlocksInWindows;
using QorMathLA::Matrix;
using QorMathLA::product;
using QorMathLA::Vector;

const std::vector<schurOrder> sortedOrders = {schurDescendingModulus, schurAscendingModulus, schurDescendingReal,
                                              schurAscendingReal};

struct Form {
    Matrix<double> t;
    Matrix<double> q;
    Vector<double> wr;
    Vector<double> wi;
};

Form unsortedForm(const Matrix<double>& a) {
    Form form;
    QorMathControl::SchurDecomposition(a, form.t, form.q, form.wr, form.wi, schurUnordered);
    return form;
}

/// The plain exchanges; true unless they fail.
bool exchange(Form& form, schurOrder order) {
    try {
        sortBlocksByExchanges(form.t, form.q, form.wr, form.wi, order);
    } catch (int) {
        return false;
    }
    return true;
}

bool sortInWindows(Form& form, schurOrder order) {
    return sortBlocksInWindows(form.t, form.q, form.wr, form.wi, order);
}

double norm(const Matrix<double>& matrix) {
    return std::sqrt(matrix.sumSquares());
}

Matrix<double> moduli(Matrix<double> matrix) {
    for (double& element : matrix) {
        element = std::fabs(element);
    }
    return matrix;
}

bool areSame(const Vector<double>& a, const Vector<double>& b) {
    bool same = a.size() == b.size();
    for (int k = 0; same && k < a.size(); ++k) {
        same = a[k] == b[k];
    }
    return same;
}

bool areSame(const Form& a, const Form& b) {
    return areSame(a.wr, b.wr) && areSame(a.wi, b.wi) && norm(a.t - b.t) == 0.0 && norm(a.q - b.q) == 0.0;
}

/// A weakly coupled form in a random order of the eigenvalues 1, 2, 3, ..., some of which are the real parts of pairs.
/// The elements beside the diagonal of a pair differ, so that its standard form is the only one but for signs.
Form formOfSeparateEigenvalues(int n, test::NormalNumbers& numbers) {
    Form form{Matrix<double>(n, n), test::randomOrthogonal(n, numbers), Vector<double>(n), Vector<double>(n)};
    for (int j = 0; j < n; ++j) {
        for (int i = 0; i < n; ++i) {
            form.t(i, j) = i < j ? 0.1 * numbers.normal() / n : 0.0;
        }
        form.wr[j] = j + 1.0;
        form.wi[j] = 0.0;
    }
    for (int j = n - 1; j > 0; --j) {
        std::swap(form.wr[j], form.wr[numbers.integer(0, j)]);
    }
    for (int j = 0; j < n; ++j) {
        form.t(j, j) = form.wr[j];
        if (j + 1 < n && numbers.uniform() < 0.3) {
            form.wr[j + 1] = form.t(j + 1, j + 1) = form.wr[j];
            form.t(j, j + 1) = 1.0;
            form.t(j + 1, j) = -0.25;
            form.wi[j] = 0.5;
            form.wi[j + 1] = -0.5;
            ++j;
        }
    }
    return form;
}

/// The backward error of a form of a and its loss of orthogonality, within 20 n eps.
void expectFormOf(const Matrix<double>& a, const Form& form) {
    const double bound = 20.0 * a.rows() * lapack::machineEpsilon();
    EXPECT_LE(norm(product(product(form.q, form.t), form.q.transpose()) - a), bound * norm(a));
    EXPECT_LE(norm(product(form.q.transpose(), form.q) - form.q.identity()), bound);
}

}  // namespace

TEST(BlockSorting, PutsTheBlocksWhereExchangesDo) {
    test::NormalNumbers numbers(71);
    for (const int n : {1, 2, 3, 17, 64, 127, 128, 129, 200}) {
        const Matrix<double> a = test::randomMatrix(n, n, numbers);
        const Form form = unsortedForm(a);
        for (const schurOrder order : sortedOrders) {
            SCOPED_TRACE(testing::Message() << "n " << n << " order " << order);
            Form plain = form;
            Form quick = form;
            ASSERT_TRUE(exchange(plain, order));
            ASSERT_TRUE(sortInWindows(quick, order));
            EXPECT_TRUE(areSame(quick.wr, plain.wr));
            EXPECT_TRUE(areSame(quick.wi, plain.wi));
            expectFormOf(a, quick);
            for (int k = 0; k < n; ++k) {
                // Random matrices of these sizes have eigenvalues of conditions up to about n.
                ASSERT_NEAR(quick.t(k, k), quick.wr[k], 20.0 * n * n * lapack::machineEpsilon() * norm(a));
                ASSERT_EQ(k + 1 < n && quick.t(k + 1, k) != 0.0, quick.wi[k] > 0.0);
            }
        }
    }
}

TEST(BlockSorting, GivesTheFormOfExchangesWhereEigenvaluesAreApart) {
    test::NormalNumbers numbers(72);
    for (const int n : {70, 150}) {
        const Form form = formOfSeparateEigenvalues(n, numbers);
        for (const schurOrder order : sortedOrders) {
            SCOPED_TRACE(testing::Message() << "n " << n << " order " << order);
            Form plain = form;
            Form quick = form;
            ASSERT_TRUE(exchange(plain, order));
            ASSERT_TRUE(sortInWindows(quick, order));
            EXPECT_TRUE(areSame(quick.wr, plain.wr));
            // Signs are free, and vectors are good to the backward error over the gap of 1.
            const double backward = 20.0 * n * lapack::machineEpsilon() * norm(form.t);
            EXPECT_LE(norm(moduli(quick.q) - moduli(plain.q)), backward);
            EXPECT_LE(norm(moduli(quick.t) - moduli(plain.t)), backward * norm(form.t));
        }
    }
}

TEST(BlockSorting, LeavesASortedFormAndAnOrderThatSortsByNothingToTheBit) {
    test::NormalNumbers numbers(73);
    Form form = unsortedForm(test::randomMatrix(150, 150, numbers));
    Form untouched = form;
    EXPECT_TRUE(sortInWindows(untouched, static_cast<schurOrder>(9)));
    EXPECT_TRUE(areSame(untouched, form));
    ASSERT_TRUE(sortInWindows(form, schurDescendingReal));
    Form again = form;
    EXPECT_TRUE(sortInWindows(again, schurDescendingReal));
    EXPECT_TRUE(areSame(again, form));
}

TEST(BlockSorting, OfKeysWithinTheToleranceStopsWhereExchangesDo) {
    // Triangular, with clusters of eigenvalues 4e-11 apart: of two neighbours within 1e-10 none moves, so that the
    // order that comes out is not sorted and depends on the passes.
    test::NormalNumbers numbers(74);
    const int n = 140;
    Form form{Matrix<double>(n, n), Matrix<double>(n, n), Vector<double>(n), Vector<double>(n)};
    form.q.setIdentity(n);
    for (int j = 0; j < n; ++j) {
        for (int i = 0; i < n; ++i) {
            form.t(i, j) = i < j ? numbers.normal() : 0.0;
        }
        form.t(j, j) = form.wr[j] = numbers.integer(1, 4) + 4e-11 * numbers.integer(0, 5);
        form.wi[j] = 0.0;
    }
    for (const schurOrder order : sortedOrders) {
        Form plain = form;
        Form quick = form;
        ASSERT_TRUE(exchange(plain, order));
        ASSERT_TRUE(sortInWindows(quick, order));
        EXPECT_TRUE(areSame(quick.wr, plain.wr));
        expectFormOf(product(product(form.q, form.t), form.q.transpose()), quick);
    }
}

TEST(BlockSorting, LeavesAFormAloneOfWhichTwoPairsAreTooCloseToSwap) {
    // Equal pairs far from normal, with a coupling that no swap resolves to working accuracy; the keys, which say that
    // they are to be swapped, are not read anew.
    for (const int n : {6, 150}) {
        Form form{QorMathLA::zeroMatrix(n, n), Matrix<double>(n, n), Vector<double>(n), Vector<double>(n)};
        form.q.setIdentity(n);
        for (int k = 0; k < n; ++k) {
            form.t(k, k) = form.wr[k] = 10.0 + k;
            form.wi[k] = 0.0;
        }
        const int corner = n / 2 - 1;
        const auto at = [&](int i, int j) -> double& { return form.t(corner + i, corner + j); };
        for (const int k : {0, 2}) {
            at(k, k) = at(k + 1, k + 1) = 1.0;
            at(k, k + 1) = 4170.4426566991224;
            at(k + 1, k) = -1.7227846628785451e-07;
            form.wr[corner + k] = form.wr[corner + k + 1] = k == 0 ? 1.0 : 1.5;
            form.wi[corner + k] = 0.027;
            form.wi[corner + k + 1] = -0.027;
        }
        at(0, 2) = 0.014903194558390179;
        at(1, 2) = -6490.8312515568596;
        at(0, 3) = 0.043921123973788126;
        at(1, 3) = -0.0048507734713005126;
        Form quick = form;
        EXPECT_FALSE(sortInWindows(quick, schurDescendingReal));
        EXPECT_TRUE(areSame(quick, form));
        EXPECT_FALSE(exchange(form, schurDescendingReal));
    }
}

TEST(BlockSorting, LeavesAFormAloneOfWhichAPairBecomesReal) {
    // The pair is so close to a double eigenvalue that the rounding of an exchange decides between two real ones and a
    // pair.
    test::NormalNumbers numbers(75);
    int refused = 0;
    for (int k = 0; k < 40; ++k) {
        const int n = k % 2 == 0 ? 3 : 140;
        Form form{Matrix<double>(n, n), Matrix<double>(n, n), Vector<double>(n), Vector<double>(n)};
        form.q.setIdentity(n);
        for (int j = 0; j < n; ++j) {
            for (int i = 0; i < n; ++i) {
                form.t(i, j) = i < j ? numbers.normal() / n : 0.0;
            }
            form.t(j, j) = form.wr[j] = j < 2 ? 1.0 : j;
            form.wi[j] = 0.0;
        }
        form.t(0, 1) = 1.0;
        form.t(1, 0) = -1e-22;
        form.wi[0] = 1e-11;
        form.wi[1] = -1e-11;
        Form quick = form;
        if (sortInWindows(quick, schurDescendingReal)) {
            EXPECT_NE(quick.t(n - 1, n - 2), 0.0);
            EXPECT_EQ(quick.wi[n - 2], 1e-11);
        } else {
            ++refused;
            EXPECT_TRUE(areSame(quick, form));
        }
    }
    EXPECT_GT(refused, 0);
}
