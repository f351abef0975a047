#include <algorithm>
#include <cmath>
#include <complex>
#include <cstddef>
#include <functional>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include <qormath/control_utility/real_schur_form.hpp>
#include <qormath/lapack/lapack.hpp>

#include "support/schur_checks.hpp"

namespace {

using namespace qormath;
using namespace qormath::control_utility;
using lapack::Op;
using Elements = std::vector<double>;

// Backward error and orthogonality in units of n eps (times the norm).
constexpr double ratioLimit = 10.0;

struct Form {
    explicit Form(int order, Elements a)
        : n(order),
          t(std::move(a)),
          q(test::cells(n, n)),
          wr(static_cast<std::size_t>(n)),
          wi(static_cast<std::size_t>(n)) {}

    int n;
    Elements t, q, wr, wi;
};

Form byLapack(int n, const Elements& a) {
    Form form(n, a);
    EXPECT_EQ(realSchurFormByLapack(n, form.t.data(), n, form.wr.data(), form.wi.data(), form.q.data(), n), 0);
    return form;
}

Form byOwnIteration(int n, const Elements& a) {
    Form form(n, a);
    EXPECT_TRUE(realSchurFormByOwnIteration(n, form.t.data(), n, form.wr.data(), form.wi.data(), form.q.data(), n));
    return form;
}

void expectSchurForm(const Elements& a, const Form& form) {
    const int n = form.n;
    EXPECT_TRUE(test::isStandardSchurForm(n, form.t));
    EXPECT_LE(test::orthogonalityRatio(n, form.q), ratioLimit);
    EXPECT_LE(test::schurRatio(n, a, form.t, form.q), ratioLimit);
    for (int i = 0; i < n; ++i) {
        const auto k = static_cast<std::size_t>(i);
        ASSERT_EQ(form.wr[k], form.t[test::cells(i, n + 1)]);
        if (i + 1 < n && form.t[test::cells(i, n + 1) + 1] != 0.0) {
            const double product = form.t[test::cells(i, n + 1) + 1] * form.t[test::cells(i + 1, n + 1) - 1];
            EXPECT_GT(form.wi[k], 0.0);
            EXPECT_EQ(form.wi[k + 1], -form.wi[k]);
            EXPECT_NEAR(form.wi[k], std::sqrt(-product), 1e-14 * std::sqrt(-product));
            ++i;
        } else {
            EXPECT_EQ(form.wi[k], 0.0);
        }
    }
}

/// The largest distance of an eigenvalue of one form from the one of the other that it is paired with, the nearest
/// that is free.
double distanceOfSpectra(const Form& one, const Form& other) {
    std::vector<char> isTaken(one.wr.size(), 0);
    double largest = 0.0;
    for (std::size_t i = 0; i < one.wr.size(); ++i) {
        double best = HUGE_VAL;
        std::size_t nearest = 0;
        for (std::size_t k = 0; k < other.wr.size(); ++k) {
            const double distance = std::hypot(one.wr[i] - other.wr[k], one.wi[i] - other.wi[k]);
            if (isTaken[k] == 0 && distance < best) {
                best = distance;
                nearest = k;
            }
        }
        isTaken[nearest] = 1;
        largest = std::max(largest, best);
    }
    return largest;
}

Elements orthogonalSimilarity(int n, const Elements& t, unsigned seed) {
    test::NormalNumbers numbers(seed);
    const Form basis = byLapack(n, numbers.matrix(n, n));
    return test::product(Op::none, Op::transpose, n, n, n, test::product(Op::none, Op::none, n, n, n, basis.q, t),
                         basis.q);
}

/// A normal matrix with pairs in every third place: its eigenvalues move by no more than the matrix does.
Elements normalMatrix(int n, unsigned seed) {
    test::NormalNumbers numbers(seed);
    Elements t(test::cells(n, n));
    for (int i = 0; i < n; ++i) {
        t[test::cells(i, n + 1)] = numbers.uniform(-1.0, 1.0);
        if (i % 3 == 2) {
            t[test::cells(i, n + 1)] = t[test::cells(i - 1, n + 1)];
            t[test::cells(i, n + 1) - 1] = numbers.uniform(0.1, 1.0);
            t[test::cells(i - 1, n + 1) + 1] = -t[test::cells(i, n + 1) - 1];
        }
    }
    return orthogonalSimilarity(n, t, seed + 1);
}

Elements changed(int n, Elements a, const std::function<double(int, int, double)>& change) {
    for (int j = 0; j < n; ++j) {
        for (int i = 0; i < n; ++i) {
            double& element = a[test::cells(j, n) + static_cast<std::size_t>(i)];
            element = change(i, j, element);
        }
    }
    return a;
}

struct Family {
    std::string name;
    std::function<Elements(int, unsigned)> make;
};

std::vector<Family> families() {
    const auto random = [](int n, unsigned seed) { return test::NormalNumbers(seed).matrix(n, n); };
    return {
        {"random", random},
        {"normal", normalMatrix},
        {"graded down",
         [=](int n, unsigned seed) {
             return changed(n, random(n, seed),
                            [=](int i, int j, double x) { return x * std::pow(10.0, -15.0 * (i + j) / (2.0 * n)); });
         }},
        {"graded up",
         [=](int n, unsigned seed) {
             return changed(n, random(n, seed),
                            [=](int i, int j, double x) { return x * std::pow(10.0, 15.0 * (i + j) / (2.0 * n)); });
         }},
        {"nearly reducible",
         [=](int n, unsigned seed) {
             return changed(n, random(n, seed), [=](int i, int j, double x) {
                 return (i >= n / 3 && j < n / 3) || (i >= n / 2 && j < n / 2) ? 1e-13 * x : x;
             });
         }},
        {"clusters",
         [](int n, unsigned seed) {
             test::NormalNumbers numbers(seed);
             Elements t(test::cells(n, n));
             for (int i = 0; i < n; ++i) {
                 t[test::cells(i, n + 1)] = i % 4 + 1e-9 * numbers.normal();
                 if (i > 0) {
                     t[test::cells(i, n + 1) - 1] = 0.1 * numbers.normal();
                 }
             }
             return orthogonalSimilarity(n, t, seed);
         }},
        {"companion",
         [](int n, unsigned seed) {
             test::NormalNumbers numbers(seed);
             Elements a(test::cells(n, n));
             for (int i = 0; i < n; ++i) {
                 a[test::cells(i, n)] = numbers.normal();
                 if (i > 0) {
                     a[test::cells(i - 1, n) + static_cast<std::size_t>(i)] = 1.0;
                 }
             }
             return a;
         }},
        {"cyclic permutation",
         [](int n, unsigned) {
             Elements a(test::cells(n, n));
             for (int i = 0; i < n; ++i) {
                 a[test::cells(i, n) + static_cast<std::size_t>((i + 1) % n)] = 1.0;
             }
             return a;
         }},
        {"rows of zeros",
         [=](int n, unsigned seed) {
             return changed(n, random(n, seed), [](int i, int, double x) { return i % 3 == 1 ? 0.0 : x; });
         }},
        {"isolated rows and columns",
         [=](int n, unsigned seed) {
             return changed(n, random(n, seed),
                            [=](int i, int j, double x) { return i % 5 == 2 && (j % 5 != 2 || j < i) ? 0.0 : x; });
         }},
        {"triangular",
         [=](int n, unsigned seed) {
             return changed(n, random(n, seed), [](int i, int j, double x) { return i <= j ? x : 0.0; });
         }},
        {"one Jordan block, turned",
         [](int n, unsigned seed) {
             Elements t(test::cells(n, n));
             for (int i = 0; i < n; ++i) {
                 t[test::cells(i, n + 1)] = 1.0;
                 if (i > 0) {
                     t[test::cells(i, n + 1) - 1] = 1.0;
                 }
             }
             return orthogonalSimilarity(n, t, seed);
         }},
        {"symmetric",
         [=](int n, unsigned seed) {
             const Elements a = random(n, seed);
             return changed(
                 n, a, [&](int i, int j, double x) { return x + a[test::cells(i, n) + static_cast<std::size_t>(j)]; });
         }},
        {"skew",
         [=](int n, unsigned seed) {
             const Elements a = random(n, seed);
             return changed(
                 n, a, [&](int i, int j, double x) { return x - a[test::cells(i, n) + static_cast<std::size_t>(j)]; });
         }},
    };
}

TEST(RealSchurForm, IsASchurFormByTheOwnIterationForEveryFamily) {
    for (const Family& family : families()) {
        for (const int n : {119, 120, 121, 160}) {
            SCOPED_TRACE(testing::Message() << family.name << ", n " << n);
            const Elements a = family.make(n, static_cast<unsigned>(n));
            expectSchurForm(a, byOwnIteration(n, a));
        }
    }
}

TEST(RealSchurForm, IsASchurFormByTheOwnIterationForEverySizeOfItsRounds) {
    // About the orders that are solved at once, and the one at which the sizes of the rounds change.
    for (const int n : {1, 2, 3, 4, 5, 10, 63, 64, 65, 66, 67, 96, 250, 599, 600, 601, 620}) {
        SCOPED_TRACE(n);
        test::NormalNumbers numbers(static_cast<std::uint64_t>(n) + 5);
        const Elements a = numbers.matrix(n, n);
        expectSchurForm(a, byOwnIteration(n, a));
    }
}

/// That the form for z = z q is the one with q, and z that product; z has guard rows, and NaN in them stays there.
void expectTheSameFormWithRows(int n, const Elements& a, int rows) {
    SCOPED_TRACE(testing::Message() << rows << " rows");
    Form form(n, a);
    ASSERT_EQ(realSchurForm(n, form.t.data(), n, form.wr.data(), form.wi.data(), form.q.data(), n), 0);
    const Elements before = test::NormalNumbers(17).matrix(rows, n);
    const int ldz = rows + 2;
    Elements guarded = test::withGuardRows(rows, n, before, ldz);
    Form along(n, a);
    ASSERT_EQ(realSchurFormWithRows(n, along.t.data(), n, along.wr.data(), along.wi.data(), rows, guarded.data(), ldz),
              0);
    EXPECT_EQ(along.t, form.t);
    EXPECT_EQ(along.wr, form.wr);
    EXPECT_EQ(along.wi, form.wi);
    const Elements z = test::packed(rows, n, guarded.data(), ldz);
    const Elements expected = test::product(Op::none, Op::none, rows, n, n, before, form.q);
    EXPECT_LE(test::frobeniusOfDifference(z, expected),
              2.0 * ratioLimit * n * lapack::machineEpsilon() * test::frobenius(before));
    for (int j = 0; j < n; ++j) {
        EXPECT_TRUE(std::isnan(guarded[test::cells(j, ldz) + static_cast<std::size_t>(rows)]));
    }
}

TEST(RealSchurForm, WithRowsIsTheFormWithVectorsAndTheProductOfTheRowsWithThem) {
    for (const Family& family : families()) {
        SCOPED_TRACE(family.name);
        expectTheSameFormWithRows(130, family.make(130, 18), 5);
    }
    for (const int n : {1, 2, 119, 120, 300}) {
        SCOPED_TRACE(n);
        const Elements a = test::NormalNumbers(19).matrix(n, n);
        for (const int rows : {0, 1, 20, n + 3}) {
            expectTheSameFormWithRows(n, a, rows);
        }
    }
}

TEST(RealSchurForm, WithRowsGoesThroughLapackWhereTheOwnIterationDoesNotServe) {
    const int n = 130;
    const Elements a = test::NormalNumbers(20).matrix(n, n);
    expectTheSameFormWithRows(n, changed(n, a, [](int, int, double x) { return std::scalbn(x, 400); }), 4);
    expectTheSameFormWithRows(n, Elements(test::cells(n, n)), 4);
}

TEST(RealSchurForm, HasTheSameEigenvaluesByBothRoutes) {
    // Of a normal matrix they differ by the backward errors of the two.
    for (const int n : {65, 120, 200, 300}) {
        for (unsigned seed = 0; seed < 3; ++seed) {
            SCOPED_TRACE(testing::Message() << n << ", " << seed);
            const Elements a = normalMatrix(n, 100 * seed + static_cast<unsigned>(n));
            const Form one = byOwnIteration(n, a);
            const Form other = byLapack(n, a);
            EXPECT_LE(distanceOfSpectra(one, other),
                      2.0 * ratioLimit * n * lapack::machineEpsilon() * test::frobenius(a));
        }
    }
}

TEST(RealSchurForm, IsTheSameOnEveryRun) {
    const int n = 180;
    const Elements a = test::NormalNumbers(1).matrix(n, n);
    const Form one = byOwnIteration(n, a);
    const Form other = byOwnIteration(n, a);
    EXPECT_EQ(one.t, other.t);
    EXPECT_EQ(one.q, other.q);
}

TEST(RealSchurForm, StaysWithinLeadingDimensions) {
    const int n = 130;
    const int lda = n + 3;
    const int ldq = n + 2;
    const Elements a = test::NormalNumbers(2).matrix(n, n);
    Elements t = test::withGuardRows(n, n, a, lda);
    Elements q = test::withGuardRows(n, n, Elements(test::cells(n, n)), ldq);
    Form form(n, a);
    ASSERT_TRUE(realSchurFormByOwnIteration(n, t.data(), lda, form.wr.data(), form.wi.data(), q.data(), ldq));
    form.t = test::packed(n, n, t.data(), lda);
    form.q = test::packed(n, n, q.data(), ldq);
    expectSchurForm(a, form);
    for (int j = 0; j < n; ++j) {
        EXPECT_TRUE(std::isnan(t[test::cells(j, lda) + static_cast<std::size_t>(n)]));
        EXPECT_TRUE(std::isnan(q[test::cells(j, ldq) + static_cast<std::size_t>(n)]));
    }
}

TEST(RealSchurForm, TakesTheOwnIterationForLargeMatricesAndLapackForSmallOnes) {
    for (const int n : {100, 120}) {
        const Elements a = test::NormalNumbers(3).matrix(n, n);
        Form form(n, a);
        ASSERT_EQ(realSchurForm(n, form.t.data(), n, form.wr.data(), form.wi.data(), form.q.data(), n), 0);
        EXPECT_EQ(form.t, (n < 120 ? byLapack(n, a) : byOwnIteration(n, a)).t);
    }
}

TEST(RealSchurForm, LeavesTheMatrixAsItWasWhenTheBudgetIsExceeded) {
    // No eigenvalue of this one converges in the first round, and no further round is allowed.
    const int n = 300;
    const Elements a = test::NormalNumbers(4).matrix(n, n);
    Form form(n, a);
    EXPECT_FALSE(realSchurFormByOwnIteration(n, form.t.data(), n, form.wr.data(), form.wi.data(), form.q.data(), n, 0));
    EXPECT_EQ(form.t, a);
}

TEST(RealSchurForm, LeavesElementsNearTheEndsOfTheRangeToLapack) {
    const int n = 130;
    const Elements a = test::NormalNumbers(5).matrix(n, n);
    for (const int exponent : {-1000, -400, 400, 1000}) {
        SCOPED_TRACE(exponent);
        const Elements scaled = changed(n, a, [=](int, int, double x) { return std::scalbn(x, exponent); });
        Form own(n, scaled);
        EXPECT_FALSE(realSchurFormByOwnIteration(n, own.t.data(), n, own.wr.data(), own.wi.data(), own.q.data(), n));
        EXPECT_EQ(own.t, scaled);
        Form form(n, scaled);
        ASSERT_EQ(realSchurForm(n, form.t.data(), n, form.wr.data(), form.wi.data(), form.q.data(), n), 0);
        EXPECT_EQ(form.t, byLapack(n, scaled).t);
    }
    Form zero(n, Elements(test::cells(n, n)));
    ASSERT_EQ(realSchurForm(n, zero.t.data(), n, zero.wr.data(), zero.wi.data(), zero.q.data(), n), 0);
    EXPECT_EQ(zero.q, byLapack(n, Elements(test::cells(n, n))).q);
}

TEST(RealSchurForm, KeepsItsAccuracyOverTheRangeThatItTakes) {
    const int n = 130;
    const Elements a = test::NormalNumbers(6).matrix(n, n);
    for (const int exponent : {-300, 295}) {
        SCOPED_TRACE(exponent);
        const Elements scaled = changed(n, a, [=](int, int, double x) { return std::scalbn(x, exponent); });
        expectSchurForm(scaled, byOwnIteration(n, scaled));
    }
}

}  // namespace
