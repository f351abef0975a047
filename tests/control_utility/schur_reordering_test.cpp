#include <algorithm>
#include <cmath>
#include <cstddef>
#include <gtest/gtest.h>
#include <numeric>
#include <string>
#include <vector>

#include <qormath/control_utility/schur_reordering.hpp>
#include <qormath/lapack/lapack.hpp>

#include "support/schur_checks.hpp"

namespace {

using namespace qormath;
using control_utility::eigenvaluesOfSchurDiagonal;
using control_utility::reorderSchurForm;
using control_utility::reorderSchurFormPlain;
using control_utility::reorderSchurFormWithRows;
using control_utility::sortSchurForm;

// Residuals are held to this many n * eps * norm. Each element passes about n swaps, but only through the blocks that
// cross it, and rounding errors of rotations add up like their root.
constexpr double ratioLimit = 10.0;

// Where all blocks pass each other there are twice as many swaps as where half of them move to the top.
constexpr double ratioLimitOfSorting = 20.0;

struct Form {
    int n = 0;
    std::vector<double> t, q, wr, wi;
};

/// A standard quasi-triangular form with eigenvalues 1, 2, 3, ... (real parts; a pair shares one and has imaginary part
/// 1/2), weakly coupled, so that each eigenvalue is known to about n * eps * n; q is the identity.
Form knownForm(int n, double pairShare, unsigned seed) {
    Form form{n, std::vector<double>(test::cells(n, n)), std::vector<double>(test::cells(n, n)), {}, {}};
    form.wr.resize(static_cast<std::size_t>(n));
    form.wi.resize(static_cast<std::size_t>(n));
    test::NormalNumbers numbers(seed);
    const auto at = [&](int i, int j) -> double& { return form.t[test::cells(j, n) + static_cast<std::size_t>(i)]; };
    for (int j = 0; j < n; ++j) {
        for (int i = 0; i < j; ++i) {
            at(i, j) = 0.1 * numbers.normal() / n;
        }
    }
    for (int row = 0; row < n;) {
        const double value = row + 1.0;
        at(row, row) = value;
        if (row + 1 < n && numbers.uniform() < pairShare) {
            at(row + 1, row + 1) = value;
            at(row, row + 1) = 1.0;
            at(row + 1, row) = -0.25;
            ++row;
        }
        ++row;
    }
    lapack::laset(n, n, 0.0, 1.0, form.q.data(), n);
    eigenvaluesOfSchurDiagonal(n, form.t.data(), n, form.wr.data(), form.wi.data());
    return form;
}

/// A form of single rows but for two equal pairs in rows n / 2 - 1 to n / 2 + 2, each far from normal, with a coupling
/// that no swap resolves to working accuracy.
Form formWithStubbornPairs(int n) {
    Form form = knownForm(n, 0.0, 9);
    const int corner = n / 2 - 1;
    const auto at = [&](int i, int j) -> double& {
        return form.t[test::cells(corner + j, n) + static_cast<std::size_t>(corner + i)];
    };
    for (const int k : {0, 2}) {
        at(k, k) = at(k + 1, k + 1) = 1.0;
        at(k, k + 1) = 4170.4426566991224;
        at(k + 1, k) = -1.7227846628785451e-07;
    }
    at(0, 2) = 0.014903194558390179;
    at(1, 2) = -6490.8312515568596;
    at(0, 3) = 0.043921123973788126;
    at(1, 3) = -0.0048507734713005126;
    return form;
}

/// Marks about the given share of the blocks, pairs whole.
std::vector<char> marksOf(const Form& form, double share, unsigned seed) {
    test::NormalNumbers numbers(seed);
    std::vector<char> marks(static_cast<std::size_t>(form.n));
    for (std::size_t row = 0; row < marks.size(); ++row) {
        marks[row] = row > 0 && form.wi[row] < 0.0 ? marks[row - 1] : numbers.uniform() < share;
    }
    return marks;
}

std::vector<std::size_t> expectedOrder(const std::vector<char>& marks) {
    std::vector<std::size_t> order(marks.size());
    std::iota(order.begin(), order.end(), std::size_t{0});
    std::stable_partition(order.begin(), order.end(), [&](std::size_t row) { return marks[row] != 0; });
    return order;
}

/// A random rank for each block, the same in both rows of a pair.
std::vector<int> randomRanks(const Form& form, unsigned seed) {
    test::NormalNumbers numbers(seed);
    std::vector<int> ranks(static_cast<std::size_t>(form.n));
    std::iota(ranks.begin(), ranks.end(), 0);
    for (std::size_t row = ranks.size(); row > 1; --row) {
        std::swap(ranks[row - 1], ranks[static_cast<std::size_t>(numbers.integer(0, static_cast<int>(row) - 1))]);
    }
    for (std::size_t row = 1; row < ranks.size(); ++row) {
        ranks[row] = form.wi[row] < 0.0 ? ranks[row - 1] : ranks[row];
    }
    return ranks;
}

std::vector<std::size_t> orderOf(const std::vector<int>& ranks) {
    std::vector<std::size_t> order(ranks.size());
    std::iota(order.begin(), order.end(), std::size_t{0});
    std::stable_sort(order.begin(), order.end(), [&](std::size_t a, std::size_t b) { return ranks[a] < ranks[b]; });
    return order;
}

int sort(const std::vector<int>& ranks, Form& form) {
    const int info =
        sortSchurForm(ranks.data(), form.n, form.t.data(), std::max(1, form.n), form.q.data(), std::max(1, form.n));
    eigenvaluesOfSchurDiagonal(form.n, form.t.data(), std::max(1, form.n), form.wr.data(), form.wi.data());
    return info;
}

void expectValidReordering(const Form& before, const Form& after, double limit = ratioLimit) {
    EXPECT_TRUE(test::isStandardSchurForm(after.n, after.t));
    EXPECT_LE(test::orthogonalityRatio(after.n, after.q), limit);
    const std::vector<double> a = test::product(
        lapack::Op::none, lapack::Op::transpose, before.n, before.n, before.n,
        test::product(lapack::Op::none, lapack::Op::none, before.n, before.n, before.n, before.q, before.t), before.q);
    EXPECT_LE(test::schurRatio(after.n, a, after.t, after.q), limit);
    Form read = after;
    eigenvaluesOfSchurDiagonal(read.n, read.t.data(), read.n, read.wr.data(), read.wi.data());
    EXPECT_EQ(read.wr, after.wr);
    EXPECT_EQ(read.wi, after.wi);
}

int reorder(const std::vector<char>& marks, Form& form, int& leading) {
    return reorderSchurForm(marks.data(), form.n, form.t.data(), form.n, form.q.data(), form.n, form.wr.data(),
                            form.wi.data(), leading);
}

// The limits of the kernel: windows of 64 rows, groups of 32, single swaps up to 128.
const std::vector<int> sizes = {0, 1, 2, 3, 31, 32, 33, 63, 64, 65, 127, 128, 129, 130, 191, 193, 257, 320};

TEST(SchurReordering, OfAnEmptyFormSucceedsAndLeadsWithNothing) {
    int leading = -1;
    EXPECT_EQ(reorderSchurForm(nullptr, 0, nullptr, 0, nullptr, 0, nullptr, nullptr, leading), 0);
    EXPECT_EQ(leading, 0);
}

TEST(SchurReordering, ChangesNoBitWhenNothingOrEverythingIsMarked) {
    for (const int n : sizes) {
        for (const char mark : {char{0}, char{1}}) {
            const Form before = knownForm(n, 0.4, 1);
            Form after = before;
            int leading = -1;
            ASSERT_EQ(reorder(std::vector<char>(static_cast<std::size_t>(n), mark), after, leading), 0);
            EXPECT_EQ(leading, mark != 0 ? n : 0);
            EXPECT_EQ(after.t, before.t);
            EXPECT_EQ(after.q, before.q);
            EXPECT_EQ(after.wr, before.wr);
            EXPECT_EQ(after.wi, before.wi);
        }
    }
}

TEST(SchurReordering, BringsMarkedBlocksToTheTopInTheirOrder) {
    for (const int n : sizes) {
        for (const double pairShare : {0.0, 0.4, 1.0}) {
            for (const double markShare : {0.03, 0.5, 0.95}) {
                SCOPED_TRACE(std::to_string(n) + " rows, pairs " + std::to_string(pairShare) + ", marked " +
                             std::to_string(markShare));
                const Form before = knownForm(n, pairShare, 2);
                const std::vector<char> marks = marksOf(before, markShare, 3);
                Form after = before;
                int leading = -1;
                ASSERT_EQ(reorder(marks, after, leading), 0);
                EXPECT_EQ(leading, std::count(marks.begin(), marks.end(), char{1}));
                expectValidReordering(before, after);
                const std::vector<std::size_t> order = expectedOrder(marks);
                // Backward error times the condition of the eigenvalues, which the weak coupling keeps near 1 (pairs:
                // 1.25, from the ratio 4 of their off-diagonal elements).
                const double limit = 2.0 * ratioLimit * n * lapack::machineEpsilon() * test::frobenius(before.t);
                for (std::size_t row = 0; row < order.size(); ++row) {
                    ASSERT_NEAR(after.wr[row], before.wr[order[row]], limit) << "row " << row;
                    ASSERT_NEAR(after.wi[row], before.wi[order[row]], limit) << "row " << row;
                }
            }
        }
    }
}

TEST(SchurReordering, InWindowsGivesTheOrderOfSingleSwaps) {
    for (const int n : {129, 200, 300}) {
        test::NormalNumbers numbers(4);
        Form form{n, numbers.matrix(n, n), std::vector<double>(test::cells(n, n)), {}, {}};
        form.wr.resize(static_cast<std::size_t>(n));
        form.wi.resize(static_cast<std::size_t>(n));
        std::vector<double> work(static_cast<std::size_t>(40 * n));
        ASSERT_EQ(
            lapack::gees(n, form.t.data(), n, form.wr.data(), form.wi.data(), form.q.data(), n, work.data(), 40 * n),
            0);
        const std::vector<char> marks = marksOf(form, 0.5, 5);
        Form blocked = form;
        Form plain = form;
        int leading = -1;
        int leadingPlain = -2;
        ASSERT_EQ(reorder(marks, blocked, leading), 0);
        ASSERT_EQ(reorderSchurFormPlain(marks.data(), n, plain.t.data(), n, plain.q.data(), n, plain.wr.data(),
                                        plain.wi.data(), leadingPlain),
                  0);
        EXPECT_EQ(leading, leadingPlain);
        expectValidReordering(form, blocked);
        expectValidReordering(form, plain);
        // Random spectra of this size have eigenvalue conditions up to about n: 1e-9 is eps * n * n * norm with room.
        for (std::size_t row = 0; row < marks.size(); ++row) {
            ASSERT_NEAR(blocked.wr[row], plain.wr[row], 1e-9);
            ASSERT_NEAR(std::abs(blocked.wi[row]), std::abs(plain.wi[row]), 1e-9);
        }
    }
}

TEST(SchurReordering, WithRowsIsTheSameFormAndTheProductOfTheRows) {
    for (const int n : {0, 1, 2, 65, 128, 129, 200}) {
        for (const int rows : {0, 1, 7, n + 2}) {
            SCOPED_TRACE(testing::Message() << "n " << n << ", " << rows << " rows");
            Form form = knownForm(n, 0.4, 14);
            test::NormalNumbers numbers(15);
            const std::vector<double> before = numbers.matrix(rows, n);
            const int ldz = rows + 1;
            std::vector<double> z = test::withGuardRows(
                rows, n, test::product(lapack::Op::none, lapack::Op::none, rows, n, n, before, form.q), ldz);
            const std::vector<char> marks = marksOf(form, 0.5, 16);
            Form along = form;
            int leading = -1;
            int leadingAlong = -2;
            ASSERT_EQ(reorder(marks, form, leading), 0);
            ASSERT_EQ(reorderSchurFormWithRows(marks.data(), n, along.t.data(), n, rows, z.data(), ldz, along.wr.data(),
                                               along.wi.data(), leadingAlong),
                      0);
            EXPECT_EQ(leadingAlong, leading);
            EXPECT_EQ(along.t, form.t);
            EXPECT_EQ(along.wr, form.wr);
            EXPECT_EQ(along.wi, form.wi);
            const std::vector<double> expected =
                test::product(lapack::Op::none, lapack::Op::none, rows, n, n, before, form.q);
            EXPECT_LE(test::frobeniusOfDifference(test::packed(rows, n, z.data(), ldz), expected),
                      2.0 * ratioLimit * n * lapack::machineEpsilon() * test::frobenius(before));
        }
    }
}

TEST(SchurReordering, KeepsAPairWholeOfWhichEitherRowIsMarked) {
    for (const int n : {6, 150}) {
        const Form before = knownForm(n, 1.0, 6);
        for (const int marked : {n - 2, n - 1}) {
            std::vector<char> marks(static_cast<std::size_t>(n), 0);
            marks[static_cast<std::size_t>(marked)] = 1;
            Form after = before;
            int leading = -1;
            ASSERT_EQ(reorder(marks, after, leading), 0);
            EXPECT_EQ(leading, 2);
            expectValidReordering(before, after);
            EXPECT_NEAR(after.wr[0], n - 1.0, 1e-9);
            EXPECT_NEAR(after.wr[1], n - 1.0, 1e-9);
            EXPECT_GT(after.wi[0], 0.4);
        }
    }
}

TEST(SchurReordering, TouchesNothingBeyondTheRowsOfTheForm) {
    for (const int n : {5, 140}) {
        const Form before = knownForm(n, 0.4, 7);
        const std::vector<char> marks = marksOf(before, 0.5, 8);
        Form after = before;
        const int ld = n + 3;
        std::vector<double> t = test::withGuardRows(n, n, before.t, ld);
        std::vector<double> q = test::withGuardRows(n, n, before.q, ld + 1);
        int leading = -1;
        ASSERT_EQ(reorderSchurForm(marks.data(), n, t.data(), ld, q.data(), ld + 1, after.wr.data(), after.wi.data(),
                                   leading),
                  0);
        after.t = test::packed(n, n, t.data(), ld);
        after.q = test::packed(n, n, q.data(), ld + 1);
        expectValidReordering(before, after);
        for (int j = 0; j < n; ++j) {
            for (int i = n; i < ld; ++i) {
                ASSERT_TRUE(std::isnan(t[test::cells(j, ld) + static_cast<std::size_t>(i)]));
                ASSERT_TRUE(std::isnan(q[test::cells(j, ld + 1) + static_cast<std::size_t>(i)]));
            }
        }
    }
}

TEST(SchurReordering, ReportsBlocksTooCloseToSwapAndLeavesAValidForm) {
    for (const int n : {6, 150}) {
        const Form before = formWithStubbornPairs(n);
        const int corner = n / 2 - 1;
        std::vector<char> marks(static_cast<std::size_t>(n), 0);
        // The first row can be moved, and has reached the top when the swap of the pairs fails.
        marks[0] = 1;
        marks[static_cast<std::size_t>(corner) + 2] = 1;
        Form after = before;
        int leading = -1;
        EXPECT_EQ(reorder(marks, after, leading), 1);
        EXPECT_EQ(leading, 1);
        expectValidReordering(before, after);
    }
}

TEST(SchurSorting, BringsTheBlocksIntoTheOrderOfTheirRanks) {
    for (const int n : sizes) {
        for (const double pairShare : {0.0, 0.4, 1.0}) {
            SCOPED_TRACE(std::to_string(n) + " rows, pairs " + std::to_string(pairShare));
            const Form before = knownForm(n, pairShare, 21);
            const std::vector<int> ranks = randomRanks(before, 22);
            Form after = before;
            ASSERT_EQ(sort(ranks, after), 0);
            expectValidReordering(before, after, ratioLimitOfSorting);
            const std::vector<std::size_t> order = orderOf(ranks);
            // As for marked blocks.
            const double limit = 2.0 * ratioLimit * n * lapack::machineEpsilon() * test::frobenius(before.t);
            for (std::size_t row = 0; row < order.size(); ++row) {
                ASSERT_NEAR(after.wr[row], before.wr[order[row]], limit) << "row " << row;
                ASSERT_NEAR(after.wi[row], before.wi[order[row]], limit) << "row " << row;
            }
        }
    }
}

TEST(SchurSorting, ChangesNoBitWhereTheBlocksAreSorted) {
    for (const int n : sizes) {
        const Form before = knownForm(n, 0.0, 23);
        std::vector<int> ranks(static_cast<std::size_t>(n));
        std::iota(ranks.begin(), ranks.end(), 5);
        Form after = before;
        ASSERT_EQ(sort(ranks, after), 0);
        // Products with a window's identity keep every bit but the sign of a zero.
        EXPECT_EQ(after.t, before.t);
        EXPECT_EQ(after.q, before.q);
    }
}

TEST(SchurSorting, ReversesAForm) {
    for (const int n : {130, 320}) {
        const Form before = knownForm(n, 0.4, 24);
        std::vector<int> ranks(static_cast<std::size_t>(n));
        std::transform(before.wr.begin(), before.wr.end(), ranks.begin(),
                       [n](double value) { return n - static_cast<int>(value); });
        Form after = before;
        ASSERT_EQ(sort(ranks, after), 0);
        expectValidReordering(before, after, ratioLimitOfSorting);
        // Eigenvalues are a distance of 1 apart, and known far better than that.
        EXPECT_TRUE(std::is_sorted(after.wr.rbegin(), after.wr.rend(), [](double a, double b) { return a < b - 0.5; }));
        EXPECT_NEAR(after.wr.front(), *std::max_element(before.wr.begin(), before.wr.end()), 1e-9);
    }
}

TEST(SchurSorting, ReportsBlocksTooCloseToSwapAndLeavesAValidForm) {
    for (const int n : {6, 150}) {
        const Form before = formWithStubbornPairs(n);
        std::vector<int> ranks(static_cast<std::size_t>(n));
        std::iota(ranks.begin(), ranks.end(), 0);
        const auto corner = static_cast<std::size_t>(n / 2 - 1);
        std::swap(ranks[corner], ranks[corner + 2]);
        ranks[corner + 1] = ranks[corner];
        ranks[corner + 3] = ranks[corner + 2];
        Form after = before;
        EXPECT_EQ(sort(ranks, after), 1);
        expectValidReordering(before, after, ratioLimitOfSorting);
    }
}

TEST(SchurSorting, TouchesNothingBeyondTheRowsOfTheForm) {
    for (const int n : {5, 140}) {
        const Form before = knownForm(n, 0.4, 25);
        const std::vector<int> ranks = randomRanks(before, 26);
        const int ld = n + 3;
        std::vector<double> t = test::withGuardRows(n, n, before.t, ld);
        std::vector<double> q = test::withGuardRows(n, n, before.q, ld + 1);
        ASSERT_EQ(sortSchurForm(ranks.data(), n, t.data(), ld, q.data(), ld + 1), 0);
        Form after = before;
        ASSERT_EQ(sort(ranks, after), 0);
        EXPECT_EQ(test::packed(n, n, t.data(), ld), after.t);
        EXPECT_EQ(test::packed(n, n, q.data(), ld + 1), after.q);
        for (int j = 0; j < n; ++j) {
            for (int i = n; i < ld; ++i) {
                ASSERT_TRUE(std::isnan(t[test::cells(j, ld) + static_cast<std::size_t>(i)]));
                ASSERT_TRUE(std::isnan(q[test::cells(j, ld + 1) + static_cast<std::size_t>(i)]));
            }
        }
    }
}

TEST(SchurReordering, ReadsEigenvaluesWhoseOffDiagonalProductOverflows) {
    const std::vector<double> t = {2.0, -1e200, 1e200, 2.0};
    double wr[2], wi[2];
    eigenvaluesOfSchurDiagonal(2, t.data(), 2, wr, wi);
    EXPECT_EQ(wr[0], 2.0);
    EXPECT_EQ(wr[1], 2.0);
    EXPECT_NEAR(wi[0] / 1e200, 1.0, 4.0 * lapack::machineEpsilon());
    EXPECT_EQ(wi[1], -wi[0]);
}

}  // namespace
