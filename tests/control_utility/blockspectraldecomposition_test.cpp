#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <gtest/gtest.h>
#include <limits>
#include <vector>

#include <qormath/control_utility/blockspectraldecomposition.hpp>

#include "support/raw_matrix.hpp"
#include "support/schur_checks.hpp"

namespace {

using namespace qormath;
using control_utility::BLOCKSPECTRALDECOMPOSITION;
using control_utility::SpectralMeasure;
using control_utility::toOrderedSchurForm;
using test::NormalNumbers;
using test::RawMatrix;

// The factorisation and the exchanges, 10 n eps each.
constexpr double ratioLimit = 20.0;

struct Problem {
    Problem(int states, int inputs, int outputs, unsigned seed) : n(states), m(inputs), p(outputs) {
        NormalNumbers numbers(seed);
        a = test::rawRandom(n, n, numbers);
        for (double& element : a.elements) {
            element /= std::sqrt(std::max(1.0, 1.0 * n));  // the spectrum fills the unit disc
        }
        b = test::rawRandom(n, m, numbers);
        c = test::rawRandom(p, n, numbers);
        u = RawMatrix(n, n);
        wr.resize(static_cast<std::size_t>(n));
        wi.resize(static_cast<std::size_t>(n));
    }

    int run(double alpha) {
        const int mode = 0;
        const int lwork = 3 * n;
        std::vector<double> work(static_cast<std::size_t>(lwork));
        int info = -99;
        BLOCKSPECTRALDECOMPOSITION(&mode, &n, &m, &p, &alpha, a.data(), &n, b.data(), &n, c.data(), &p, &count,
                                   u.data(), &n, wr.data(), wi.data(), work.data(), &lwork, &info);
        return info;
    }

    int n, m, p;
    RawMatrix a, b, c, u;
    std::vector<double> wr, wi;
    int count = -1;
};

double measureOf(const Problem& problem, std::size_t k, double alpha) {
    return alpha < 0.0 ? problem.wr[k] : std::hypot(problem.wr[k], problem.wi[k]);
}

/// ||x - y|| / (n eps ||y||).
double ratio(int n, const RawMatrix& x, const RawMatrix& y) {
    const double error = test::frobeniusNorm(test::difference(x, y));
    return error == 0.0 ? 0.0 : error / (std::max(1, n) * lapack::machineEpsilon() * test::frobeniusNorm(y));
}

}  // namespace

TEST(BLOCKSPECTRALDECOMPOSITION, IsOneOrthogonalSimilarityToAnOrderedSchurFormForEverySizeAndBothMeasures) {
    using lapack::Op;
    for (const int n : {1, 2, 3, 10, 60, 128, 129, 200}) {
        for (const double alpha : {0.6, -0.2}) {
            SCOPED_TRACE(testing::Message() << "n " << n << " alpha " << alpha);
            const Problem before(n, 3, 2, 2210u + static_cast<unsigned>(n));
            Problem after = before;
            ASSERT_EQ(after.run(alpha), 0);
            EXPECT_LE(test::schurRatio(n, before.a.elements, after.a.elements, after.u.elements), ratioLimit);
            EXPECT_LE(test::orthogonalityRatio(n, after.u.elements), ratioLimit);
            EXPECT_TRUE(test::isStandardSchurForm(n, after.a.elements));
            EXPECT_LE(ratio(n, after.b, test::product(after.u, before.b, Op::transpose)), ratioLimit);
            EXPECT_LE(ratio(n, after.c, test::product(before.c, after.u)), ratioLimit);
            ASSERT_GE(after.count, 0);
            for (std::size_t k = 0; k < after.wr.size(); ++k) {
                EXPECT_EQ(after.wr[k], after.a(static_cast<int>(k), static_cast<int>(k)));
                const bool leads = static_cast<int>(k) < after.count;
                // An exchange moves an eigenvalue by rounding; here none lies that close to alpha.
                EXPECT_EQ(measureOf(after, k, alpha) >= alpha, leads) << k;
            }
        }
    }
}

TEST(BLOCKSPECTRALDECOMPOSITION, TakesEigenvaluesOnAlphaAsLeading) {
    Problem problem(3, 1, 1, 2220);
    problem.a = RawMatrix(3, 3);
    problem.a(0, 0) = 0.25;
    problem.a(1, 1) = 0.5;
    problem.a(2, 2) = -0.5;
    ASSERT_EQ(problem.run(0.5), 0);
    EXPECT_EQ(problem.count, 2);
    EXPECT_EQ(problem.wr, (std::vector<double>{0.5, -0.5, 0.25}));

    Problem real(2, 1, 1, 2221);
    real.a = RawMatrix(2, 2);
    real.a(0, 0) = -3.0;
    real.a(1, 1) = -0.5;
    ASSERT_EQ(real.run(-0.5), 0);
    EXPECT_EQ(real.count, 1);
    EXPECT_EQ(real.wr, (std::vector<double>{-0.5, -3.0}));
}

TEST(BLOCKSPECTRALDECOMPOSITION, KeepsPairsWhole) {
    Problem problem(3, 1, 1, 2222);
    problem.a = RawMatrix(3, 3);
    problem.a(0, 0) = 0.1;
    problem.a(1, 2) = 0.9;
    problem.a(2, 1) = -0.9;
    ASSERT_EQ(problem.run(0.8), 0);
    EXPECT_EQ(problem.count, 2);
    EXPECT_NEAR(problem.wi[0], 0.9, 1e-15);
    EXPECT_NEAR(problem.wi[1], -0.9, 1e-15);
}

TEST(BLOCKSPECTRALDECOMPOSITION, LeadsWithAllOrNoneWhereAlphaSaysSo) {
    Problem all(20, 2, 2, 2223);
    ASSERT_EQ(all.run(0.0), 0);
    EXPECT_EQ(all.count, 20);
    Problem none(20, 2, 2, 2223);
    ASSERT_EQ(none.run(100.0), 0);
    EXPECT_EQ(none.count, 0);
}

TEST(BLOCKSPECTRALDECOMPOSITION, TakesSystemsWithoutStatesInputsOrOutputs) {
    for (const int n : {0, 4}) {
        for (const int m : {0, 2}) {
            for (const int p : {0, 2}) {
                Problem problem(n, m, p, 2224);
                EXPECT_EQ(problem.run(0.5), 0);
                EXPECT_LE(problem.count, n);
            }
        }
    }
}

TEST(BLOCKSPECTRALDECOMPOSITION, StaysInsideItsLeadingDimensions) {
    const int n = 5;
    const int m = 2;
    const int p = 3;
    const int ld = 8;
    Problem packed(n, m, p, 2225);
    std::vector<double> a = test::withGuardRows(n, n, packed.a.elements, ld);
    std::vector<double> b = test::withGuardRows(n, m, packed.b.elements, ld);
    std::vector<double> c = test::withGuardRows(p, n, packed.c.elements, ld);
    std::vector<double> u(test::cells(ld, n), std::numeric_limits<double>::quiet_NaN());
    std::vector<double> wr(n), wi(n);
    int count = 0;
    ASSERT_EQ(packed.run(0.5), 0);
    ASSERT_EQ(toOrderedSchurForm(SpectralMeasure::modulus, 0.5, n, m, p, a.data(), ld, b.data(), ld, c.data(), ld,
                                 u.data(), ld, wr.data(), wi.data(), count),
              0);
    EXPECT_EQ(count, packed.count);
    EXPECT_EQ(test::packed(n, n, a.data(), ld), packed.a.elements);
    EXPECT_EQ(test::packed(n, m, b.data(), ld), packed.b.elements);
    EXPECT_EQ(test::packed(p, n, c.data(), ld), packed.c.elements);
    for (int j = 0; j < n; ++j) {
        for (int i = n; i < ld; ++i) {
            EXPECT_TRUE(std::isnan(a[test::cells(j, ld) + static_cast<std::size_t>(i)]));
            EXPECT_TRUE(std::isnan(u[test::cells(j, ld) + static_cast<std::size_t>(i)]));
            EXPECT_TRUE(std::isnan(c[test::cells(j, ld) + static_cast<std::size_t>(i)]));
        }
    }
}

namespace {

/// The same system ordered with and without the vectors.
struct BothRoutes {
    explicit BothRoutes(const Problem& problem) : with(problem), without(problem) {
        const int n = problem.n;
        outcomeWith =
            toOrderedSchurForm(SpectralMeasure::modulus, 0.6, n, with.m, with.p, with.a.data(), n, with.b.data(), n,
                               with.c.data(), with.p, with.u.data(), n, with.wr.data(), with.wi.data(), with.count);
        outcomeWithout = toOrderedSchurForm(SpectralMeasure::modulus, 0.6, n, without.m, without.p, without.a.data(), n,
                                            without.b.data(), n, without.c.data(), without.p, nullptr, 0,
                                            without.wr.data(), without.wi.data(), without.count);
    }

    Problem with, without;
    int outcomeWith = -1, outcomeWithout = -1;
};

void expectTheSameToTheBit(const RawMatrix& x, const RawMatrix& y) {
    ASSERT_EQ(x.elements.size(), y.elements.size());
    EXPECT_EQ(std::memcmp(x.data(), y.data(), x.elements.size() * sizeof(double)), 0);
}

}  // namespace

TEST(OrderedSchurForm, WithoutVectorsIsTheSameAsWithThem) {
    for (const int n : {1, 2, 60, 119, 120, 128, 129, 200}) {
        for (const int m : {0, 1, 7}) {
            for (const int p : {0, 3, 150}) {
                SCOPED_TRACE(testing::Message() << n << " states, " << m << " inputs, " << p << " outputs");
                const BothRoutes routes(Problem(n, m, p, 2230u + static_cast<unsigned>(n)));
                ASSERT_EQ(routes.outcomeWith, 0);
                ASSERT_EQ(routes.outcomeWithout, 0);
                EXPECT_EQ(routes.without.count, routes.with.count);
                EXPECT_EQ(routes.without.wr, routes.with.wr);
                EXPECT_EQ(routes.without.wi, routes.with.wi);
                expectTheSameToTheBit(routes.without.a, routes.with.a);
                EXPECT_LE(ratio(n, routes.without.b, routes.with.b), ratioLimit);
                EXPECT_LE(ratio(n, routes.without.c, routes.with.c), ratioLimit);
            }
        }
    }
}

TEST(OrderedSchurForm, WithoutVectorsTakesThemAllTheSameWhereInputsOrOutputsAreNotModerate) {
    // A not-a-number stays in its column of b, or row of c, and what is near the end of the range does not leave it.
    for (const double element :
         {std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity(), 1e300}) {
        for (const bool inB : {true, false}) {
            Problem problem(130, 2, 3, 2240);
            (inB ? problem.b(5, 1) : problem.c(1, 7)) = element;
            const BothRoutes routes(problem);
            ASSERT_EQ(routes.outcomeWith, 0);
            ASSERT_EQ(routes.outcomeWithout, 0);
            expectTheSameToTheBit(routes.without.a, routes.with.a);
            expectTheSameToTheBit(routes.without.b, routes.with.b);
            expectTheSameToTheBit(routes.without.c, routes.with.c);
        }
    }
}

TEST(OrderedSchurForm, WithoutVectorsTellsWhatIsNotFiniteAndWritesNothing) {
    Problem problem(4, 2, 2, 2241);
    problem.a(3, 0) = std::numeric_limits<double>::quiet_NaN();
    const BothRoutes routes(problem);
    EXPECT_EQ(routes.outcomeWithout, 1);
    EXPECT_EQ(routes.without.count, 0);
    expectTheSameToTheBit(routes.without.a, problem.a);
    EXPECT_TRUE(routes.without.b == problem.b);
    EXPECT_TRUE(routes.without.c == problem.c);
}

TEST(BLOCKSPECTRALDECOMPOSITION, MakesNoVectorsWhereTheirPlaceIsNull) {
    Problem with(130, 2, 3, 2243);
    Problem without = with;
    const int mode = 0;
    const int workLength = 3 * with.n;
    const double alpha = 0.6;
    std::vector<double> work(static_cast<std::size_t>(workLength));
    int info = -99;
    ASSERT_EQ(with.run(alpha), 0);
    BLOCKSPECTRALDECOMPOSITION(&mode, &without.n, &without.m, &without.p, &alpha, without.a.data(), &without.n,
                               without.b.data(), &without.n, without.c.data(), &without.p, &without.count, nullptr,
                               &without.n, without.wr.data(), without.wi.data(), work.data(), &workLength, &info);
    ASSERT_EQ(info, 0);
    EXPECT_EQ(without.count, with.count);
    expectTheSameToTheBit(without.a, with.a);
    EXPECT_LE(ratio(with.n, without.b, with.b), ratioLimit);
    EXPECT_LE(ratio(with.n, without.c, with.c), ratioLimit);
}

TEST(BLOCKSPECTRALDECOMPOSITION, TellsWhatIsNotFiniteAndWritesNothing) {
    Problem problem(4, 2, 2, 2226);
    problem.a(3, 0) = std::numeric_limits<double>::infinity();
    const Problem before = problem;
    EXPECT_EQ(problem.run(0.5), 1);
    EXPECT_EQ(problem.count, 0);
    EXPECT_TRUE(problem.a == before.a);
    EXPECT_TRUE(problem.b == before.b);
    EXPECT_TRUE(problem.c == before.c);
}

TEST(BLOCKSPECTRALDECOMPOSITION, TellsTheFirstIllegalArgument) {
    const double notANumber = std::numeric_limits<double>::quiet_NaN();
    struct Case {
        int expected;
        int mode = 0, n = 2, m = 1, p = 1, lda = 2, ldb = 2, ldc = 1, ldu = 2, lwork = 12;
        double alpha = 0.5;
    };
    std::vector<Case> cases(10);
    cases[0] = {.expected = -1, .mode = 1};
    cases[1] = {.expected = -2, .n = -1};
    cases[2] = {.expected = -3, .m = -1};
    cases[3] = {.expected = -4, .p = -1};
    cases[4] = {.expected = -5, .alpha = notANumber};
    cases[5] = {.expected = -7, .lda = 1};
    cases[6] = {.expected = -9, .ldb = 1};
    cases[7] = {.expected = -11, .ldc = 0};
    cases[8] = {.expected = -14, .ldu = 1};
    cases[9] = {.expected = -18, .lwork = 5};
    for (const Case& at : cases) {
        int count = 5;
        int info = 0;
        BLOCKSPECTRALDECOMPOSITION(&at.mode, &at.n, &at.m, &at.p, &at.alpha, nullptr, &at.lda, nullptr, &at.ldb,
                                   nullptr, &at.ldc, &count, nullptr, &at.ldu, nullptr, nullptr, nullptr, &at.lwork,
                                   &info);
        EXPECT_EQ(info, at.expected);
        EXPECT_EQ(count, 0);
    }
}
