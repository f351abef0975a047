#include <algorithm>
#include <cmath>
#include <cstddef>
#include <gtest/gtest.h>
#include <limits>
#include <string>
#include <vector>

#include <qormath/control_utility/dgees_mine.hpp>
#include <qormath/lapack/lapack.hpp>

#include "support/schur_checks.hpp"

namespace {

using namespace qormath;
using namespace qormath::control_utility;

// Backward error and orthogonality in units of n * eps (times the norm).
constexpr double ratioLimit = 10.0;
const double margin = std::sqrt(0x1p-53);

struct Result {
    std::vector<double> t, q, wr, wi;
    std::vector<int> logical;
    int sdim = -7;
    int info = -7;
};

Result schurOf(int n, const std::vector<double>& a, char sort, SchurSelector selector, char job = 'V') {
    Result r;
    const auto order = static_cast<std::size_t>(n);
    r.t = a;
    r.q.assign(order * order, 0.0);
    r.wr.assign(order, 0.0);
    r.wi.assign(order, 0.0);
    r.logical.assign(order, 0);
    std::vector<double> work(std::max<std::size_t>(1, 3 * order));
    const int workLength = static_cast<int>(work.size());
    const int ld = std::max(1, n);
    DGEES_MINE(&job, 1, &sort, 1, selector, &n, r.t.data(), &ld, &r.sdim, r.wr.data(), r.wi.data(), r.q.data(), &ld,
               work.data(), &workLength, r.logical.data(), &r.info);
    return r;
}

/// A random matrix with the given real eigenvalues and pairs: a diagonal-block matrix under a random orthogonal
/// similarity with a random strictly upper part, so that it is not normal.
std::vector<double> matrixWithPairs(int n, const std::vector<double>& re, const std::vector<double>& im,
                                    unsigned seed) {
    test::NormalNumbers numbers(seed);
    std::vector<double> t(test::cells(n, n));
    for (int j = 0; j < n; ++j) {
        for (int i = 0; i < j; ++i) {
            t[test::cells(j, n) + static_cast<std::size_t>(i)] = numbers.normal() / n;
        }
        t[test::cells(j, n + 1)] = re[static_cast<std::size_t>(j)];
    }
    for (int j = 0; j + 1 < n; ++j) {
        const double imaginary = im[static_cast<std::size_t>(j)];
        if (imaginary > 0.0) {
            t[test::cells(j, n + 1) + 1] = -imaginary;
            t[test::cells(j + 1, n + 1) - 1] = imaginary;
        }
    }
    const Result basis = schurOf(n, numbers.matrix(n, n), 'N', nullptr);
    using lapack::Op;
    return test::product(Op::none, Op::transpose, n, n, n, test::product(Op::none, Op::none, n, n, n, basis.q, t),
                         basis.q);
}

void expectSchurForm(int n, const std::vector<double>& a, const Result& r) {
    EXPECT_TRUE(test::isStandardSchurForm(n, r.t));
    EXPECT_LE(test::orthogonalityRatio(n, r.q), ratioLimit);
    EXPECT_LE(test::schurRatio(n, a, r.t, r.q), ratioLimit);
    for (int i = 0; i < n; ++i) {
        ASSERT_EQ(r.wr[static_cast<std::size_t>(i)], r.t[test::cells(i, n + 1)]);
    }
}

int countOf(const Result& r, SchurSelector selector, int from, int to) {
    int count = 0;
    for (int i = from; i < to; ++i) {
        count += selector(&r.wr[static_cast<std::size_t>(i)], &r.wi[static_cast<std::size_t>(i)]);
    }
    return count;
}

TEST(SchurSelectors, TakeTheStableOnesForTheUpperLeftAndTheOthersForTheLowerRight) {
    struct Case {
        double re, im;
        int stableDiscrete, stableContinuous;
    };
    for (const Case& c : {Case{0.5, 0.0, 1, 0}, Case{-0.5, 0.0, 1, 1}, Case{-2.0, 0.0, 0, 1}, Case{2.0, 0.0, 0, 0},
                          Case{0.0, 0.0, 1, 0}, Case{1.0, 0.0, 0, 0}, Case{-0.8, 0.8, 0, 1}, Case{0.6, -0.6, 1, 0}}) {
        SCOPED_TRACE(std::to_string(c.re) + " " + std::to_string(c.im));
        EXPECT_EQ(SELECT_UL_DISCRETE(&c.re, &c.im), c.stableDiscrete);
        EXPECT_EQ(SELECT_LR_DISCRETE(&c.re, &c.im), 1 - c.stableDiscrete);
        EXPECT_EQ(SELECT_UL_CONTINUOUS(&c.re, &c.im), c.stableContinuous);
        EXPECT_EQ(SELECT_LR_CONTINUOUS(&c.re, &c.im), 1 - c.stableContinuous);
    }
}

TEST(SchurSelectors, KeepComputedIntegratorsWithTheMarginalOnes) {
    const double zero = 0.0;
    const double discrete = 1.0 - 1e-12;
    const double continuous = -1e-12;
    EXPECT_EQ(SELECT_UL_DISCRETE(&discrete, &zero), 0);
    EXPECT_EQ(SELECT_LR_DISCRETE(&discrete, &zero), 1);
    EXPECT_EQ(SELECT_UL_CONTINUOUS(&continuous, &zero), 0);
    EXPECT_EQ(SELECT_LR_CONTINUOUS(&continuous, &zero), 1);
}

TEST(SchurSelectors, CountAnEigenvalueExactlyAtTheMarginAsMarginal) {
    const double zero = 0.0;
    const double discrete = 1.0 - margin;
    const double inside = std::nextafter(discrete, 0.0);
    const double continuous = -margin;
    const double left = std::nextafter(continuous, -1.0);
    EXPECT_EQ(SELECT_LR_DISCRETE(&discrete, &zero), 1);
    EXPECT_EQ(SELECT_UL_DISCRETE(&inside, &zero), 1);
    EXPECT_EQ(SELECT_LR_CONTINUOUS(&continuous, &zero), 1);
    EXPECT_EQ(SELECT_UL_CONTINUOUS(&left, &zero), 1);
}

TEST(SchurSelectors, SelectNaNNowhereAndSurviveHugeParts) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const double huge = 1e300;
    for (const SchurSelector selector :
         {SELECT_UL_DISCRETE, SELECT_LR_DISCRETE, SELECT_UL_CONTINUOUS, SELECT_LR_CONTINUOUS}) {
        EXPECT_EQ(selector(&nan, &nan), 0);
    }
    EXPECT_EQ(SELECT_LR_DISCRETE(&huge, &huge), 1);
}

TEST(DgeesMine, OfAnEmptyMatrixSucceeds) {
    for (const char sort : {'N', 'S'}) {
        const Result r = schurOf(0, {}, sort, SELECT_UL_DISCRETE);
        EXPECT_EQ(r.info, 0);
        EXPECT_EQ(r.sdim, 0);
    }
}

TEST(DgeesMine, WithoutSortingGivesASchurFormOfAnySize) {
    for (const int n : {1, 2, 3, 10, 63, 64, 65, 128, 129, 200}) {
        SCOPED_TRACE(n);
        test::NormalNumbers numbers(11);
        const std::vector<double> a = numbers.matrix(n, n);
        const Result r = schurOf(n, a, 'N', nullptr);
        ASSERT_EQ(r.info, 0);
        EXPECT_EQ(r.sdim, 0);
        expectSchurForm(n, a, r);
    }
}

TEST(DgeesMine, PutsTheSelectedEigenvaluesFirstWithEverySelector) {
    for (const int n : {1, 2, 3, 10, 64, 129, 200}) {
        for (const SchurSelector selector :
             {SELECT_UL_DISCRETE, SELECT_LR_DISCRETE, SELECT_UL_CONTINUOUS, SELECT_LR_CONTINUOUS}) {
            SCOPED_TRACE(n);
            test::NormalNumbers numbers(12);
            std::vector<double> a = numbers.matrix(n, n);
            // Half of the eigenvalues of a random matrix lie within the disc of radius sqrt(n / 2).
            lapack::scal(n * n, std::sqrt(2.0 / n), a.data(), 1);
            const Result r = schurOf(n, a, 'S', selector);
            ASSERT_EQ(r.info, 0);
            expectSchurForm(n, a, r);
            EXPECT_EQ(r.sdim, countOf(r, selector, 0, n));
            EXPECT_EQ(r.sdim, countOf(r, selector, 0, r.sdim));
        }
    }
}

TEST(DgeesMine, CountsKnownStableMarginalAndUnstableEigenvalues) {
    // Two integrators, one of them as computed from data, two unstable ones, a stable pair, a pair beyond the circle.
    const std::vector<double> re = {0.3, 1.0, 0.5, 0.5, -1.5, 1.0 - 1e-12, 1.2, 0.9, 0.9, -0.2};
    const std::vector<double> im = {0.0, 0.0, 0.4, -0.4, 0.0, 0.0, 0.0, 0.8, -0.8, 0.0};
    const std::vector<double> a = matrixWithPairs(10, re, im, 13);
    const Result upper = schurOf(10, a, 'S', SELECT_UL_DISCRETE);
    ASSERT_EQ(upper.info, 0);
    EXPECT_EQ(upper.sdim, 4);
    expectSchurForm(10, a, upper);
    const Result lower = schurOf(10, a, 'S', SELECT_LR_DISCRETE);
    ASSERT_EQ(lower.info, 0);
    EXPECT_EQ(lower.sdim, 6);
    EXPECT_EQ(countOf(lower, SELECT_UL_DISCRETE, 6, 10), 4);
    expectSchurForm(10, a, lower);
}

int selectUpperHalfPlane(const double* /*re*/, const double* im) {
    return *im > 0.0;
}

TEST(DgeesMine, KeepsAPairWholeOfWhichOneMemberIsSelected) {
    const std::vector<double> a = matrixWithPairs(5, {3.0, 1.0, 1.0, 2.0, 2.0}, {0.0, 0.5, -0.5, 0.7, -0.7}, 14);
    const Result r = schurOf(5, a, 'S', selectUpperHalfPlane);
    ASSERT_EQ(r.info, 0);
    EXPECT_EQ(r.sdim, 4);
    expectSchurForm(5, a, r);
    EXPECT_EQ(r.wi[4], 0.0);
}

TEST(DgeesMine, TakesEigenvaluesThatRoundingMovesOverTheLimitForNoFailure) {
    // Pairs whose real parts lie within a few roundings of the limit and which are coupled: swapping them moves each by
    // more than its distance from the limit, so the mask of the unsorted form cannot hold afterwards for all.
    const int n = 40;
    test::NormalNumbers numbers(15);
    std::vector<double> a(test::cells(n, n));
    for (int j = 0; j < n; ++j) {
        for (int i = 0; i < j; ++i) {
            a[test::cells(j, n) + static_cast<std::size_t>(i)] = numbers.normal();
        }
    }
    for (int j = 0; j < n; j += 2) {
        a[test::cells(j, n + 1)] = a[test::cells(j + 1, n + 1)] = -margin + 1e-16 * numbers.normal();
        a[test::cells(j + 1, n + 1) - 1] = 1.0 + numbers.uniform();
        a[test::cells(j, n + 1) + 1] = -1.0;
    }
    const Result unsorted = schurOf(n, a, 'N', nullptr);
    const Result r = schurOf(n, a, 'S', SELECT_UL_CONTINUOUS);
    ASSERT_EQ(unsorted.info, 0);
    ASSERT_EQ(r.info, 0);
    EXPECT_EQ(r.sdim, countOf(unsorted, SELECT_UL_CONTINUOUS, 0, n));
    expectSchurForm(n, a, r);
    EXPECT_LT(countOf(r, SELECT_UL_CONTINUOUS, 0, r.sdim), r.sdim) << "the problem is too easy to show anything";
}

int selectEverySecondPair(const double* /*re*/, const double* /*im*/) {
    static int calls = 0;
    return (calls++ / 2) % 2;
}

TEST(DgeesMine, ReportsPairsThatAreTooCloseToSwap) {
    const std::vector<double> a = {1.0,
                                   -1.7227846628785451e-07,
                                   0.0,
                                   0.0,
                                   4170.4426566991224,
                                   1.0,
                                   0.0,
                                   0.0,
                                   0.014903194558390179,
                                   -6490.8312515568596,
                                   1.0,
                                   -1.7227846628785451e-07,
                                   0.043921123973788126,
                                   -0.0048507734713005126,
                                   4170.4426566991224,
                                   1.0};
    const Result r = schurOf(4, a, 'S', selectEverySecondPair);
    EXPECT_EQ(r.info, 5);
    EXPECT_EQ(r.sdim, 0);
    expectSchurForm(4, a, r);
}

TEST(DgeesMine, ReportsNaNAndInfinityAtOnceAndWritesNothing) {
    for (const double bad : {std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity(),
                             -std::numeric_limits<double>::infinity()}) {
        for (const int n : {1, 3, 200}) {
            test::NormalNumbers numbers(16);
            std::vector<double> a = numbers.matrix(n, n);
            a[a.size() / 2] = bad;
            const Result r = schurOf(n, a, 'S', SELECT_UL_DISCRETE);
            EXPECT_EQ(r.info, n + 3);
            EXPECT_EQ(r.sdim, 0);
            EXPECT_TRUE(std::equal(a.begin(), a.end(), r.t.begin(),
                                   [](double x, double y) { return x == y || (std::isnan(x) && std::isnan(y)); }));
            EXPECT_EQ(r.wr, std::vector<double>(static_cast<std::size_t>(n), 0.0));
        }
    }
}

TEST(DgeesMine, HandlesElementsNearTheEndsOfTheRange) {
    for (const double scale : {1e-290, 1e-150, 1e150, 1e290}) {
        SCOPED_TRACE(scale);
        test::NormalNumbers numbers(17);
        const int n = 20;
        const std::vector<double> unit = numbers.matrix(n, n);
        std::vector<double> a = unit;
        lapack::scal(n * n, scale, a.data(), 1);
        Result r = schurOf(n, a, 'S', SELECT_LR_CONTINUOUS);
        ASSERT_EQ(r.info, 0);
        lapack::scal(n * n, 1.0 / scale, r.t.data(), 1);
        EXPECT_LE(test::schurRatio(n, unit, r.t, r.q), ratioLimit);
        EXPECT_LE(test::orthogonalityRatio(n, r.q), ratioLimit);
    }
}

TEST(DgeesMine, WithoutVectorsGivesTheSameFormAndLeavesTheVectorsAlone) {
    test::NormalNumbers numbers(18);
    const std::vector<double> a = numbers.matrix(30, 30);
    const Result with = schurOf(30, a, 'S', SELECT_UL_CONTINUOUS);
    const Result without = schurOf(30, a, 'S', SELECT_UL_CONTINUOUS, 'N');
    ASSERT_EQ(without.info, 0);
    EXPECT_EQ(without.t, with.t);
    EXPECT_EQ(without.sdim, with.sdim);
    EXPECT_EQ(without.q, std::vector<double>(900, 0.0));
}

TEST(DgeesMine, ReadsNothingBeyondTheRowsOfTheMatrix) {
    test::NormalNumbers numbers(19);
    const int n = 17, ld = 20, ldq = 19, workLength = 3 * n;
    const std::vector<double> a = numbers.matrix(n, n);
    std::vector<double> t = test::withGuardRows(n, n, a, ld);
    std::vector<double> q(test::cells(ldq, n), std::numeric_limits<double>::quiet_NaN());
    std::vector<double> wr(17), wi(17), work(51);
    std::vector<int> logical(17);
    int sdim = -1, info = -1;
    DGEES_MINE("V", 1, "S", 1, SELECT_UL_CONTINUOUS, &n, t.data(), &ld, &sdim, wr.data(), wi.data(), q.data(), &ldq,
               work.data(), &workLength, logical.data(), &info);
    ASSERT_EQ(info, 0);
    EXPECT_LE(test::schurRatio(n, a, test::packed(n, n, t.data(), ld), test::packed(n, n, q.data(), ldq)), ratioLimit);
    for (int j = 0; j < n; ++j) {
        EXPECT_TRUE(std::isnan(t[test::cells(j, ld) + n]));
        EXPECT_TRUE(std::isnan(q[test::cells(j, ldq) + n]));
    }
}

TEST(DgeesMine, NamesTheIllegalArgument) {
    const auto infoOf = [](const char* job, const char* sort, SchurSelector selector, int n, int ld, int ldVectors,
                           int workLength) {
        double a[4] = {1.0, 2.0, 3.0, 4.0};
        double q[4], wr[2], wi[2], work[6];
        int logical[2];
        int sdim = -1, info = 99;
        DGEES_MINE(job, 1, sort, 1, selector, &n, a, &ld, &sdim, wr, wi, q, &ldVectors, work, &workLength, logical,
                   &info);
        return info;
    };
    EXPECT_EQ(infoOf("V", "S", SELECT_UL_DISCRETE, 2, 2, 2, 6), 0);
    EXPECT_EQ(infoOf("X", "S", SELECT_UL_DISCRETE, 2, 2, 2, 6), -1);
    EXPECT_EQ(infoOf("V", "X", SELECT_UL_DISCRETE, 2, 2, 2, 6), -2);
    EXPECT_EQ(infoOf("V", "S", nullptr, 2, 2, 2, 6), -3);
    EXPECT_EQ(infoOf("V", "N", nullptr, 2, 2, 2, 6), 0);
    EXPECT_EQ(infoOf("V", "N", nullptr, -1, 2, 2, 6), -4);
    EXPECT_EQ(infoOf("V", "N", nullptr, 2, 1, 2, 6), -6);
    EXPECT_EQ(infoOf("V", "N", nullptr, 2, 2, 1, 6), -11);
    EXPECT_EQ(infoOf("V", "N", nullptr, 2, 2, 2, 5), -13);
}

TEST(DgeesMine, AnswersAQueryOfTheWorkLength) {
    const int n = 7, query = -1;
    int sdim = -1, info = -1;
    double length = 0.0;
    DGEES_MINE("V", 1, "N", 1, nullptr, &n, nullptr, &n, &sdim, nullptr, nullptr, nullptr, &n, &length, &query, nullptr,
               &info);
    EXPECT_EQ(info, 0);
    EXPECT_EQ(length, 21.0);
}

}  // namespace
