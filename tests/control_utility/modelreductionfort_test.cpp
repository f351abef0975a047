#include <algorithm>
#include <cmath>
#include <complex>
#include <cstddef>
#include <gtest/gtest.h>
#include <limits>
#include <numeric>
#include <random>
#include <string>
#include <vector>

#include <qormath/control_utility/modelreductionfort.hpp>
#include <qormath/control_utility/schur_reordering.hpp>

#include "support/raw_matrix.hpp"
#include "support/raw_transfer_function.hpp"

namespace {

using namespace qormath;
using test::RawMatrix;
using test::RawSystem;

constexpr double eps = 0x1p-53;
const double root = std::sqrt(eps);

double marginOf(bool discrete) {
    return discrete ? 1.0 - root : -root;
}

struct Options {
    double alpha;
    int order = 0;  // of the whole result; fixed when above -1 and fixedOrder is set
    bool fixedOrder = false;
    double tolerance = 0.0;
};

struct Reduced {
    RawSystem whole;   // as returned, with the rows and columns beyond the result
    RawSystem system;  // cut to the result
    std::vector<double> hsv;
    int ns = -7;
    int nr = -7;
    int info = -7;

    int leading() const { return whole.a.rows - ns; }
    double discarded() const {
        if (info != 0) {
            return 0.0;
        }
        const auto kept = static_cast<std::ptrdiff_t>(nr - leading());
        return std::accumulate(hsv.begin() + kept, hsv.end(), 0.0);
    }
};

Reduced reduce(const RawSystem& system, bool discrete, const Options& options) {
    Reduced r;
    r.whole = system;
    const int n = system.a.rows;
    const int discreteFlag = discrete;
    const int fixedFlag = options.fixedOrder;
    r.nr = options.order;
    r.hsv.assign(static_cast<std::size_t>(n), -7.0);
    RawMatrix d(system.c.rows, system.b.cols, std::numeric_limits<double>::quiet_NaN());
    control_utility::MODELREDUCTIONFORT(r.whole.a.data(), r.whole.b.data(), r.whole.c.data(), d.data(), &n,
                                        &system.b.cols, &system.c.rows, &r.ns, r.hsv.data(), &discreteFlag, &fixedFlag,
                                        &options.tolerance, &r.nr, &options.alpha, &r.info);
    if (r.info == 0) {
        r.hsv.resize(static_cast<std::size_t>(r.ns));
        r.system = {test::part(r.whole.a, 0, r.nr, 0, r.nr), test::part(r.whole.b, 0, r.nr, 0, system.b.cols),
                    test::part(r.whole.c, 0, system.c.rows, 0, r.nr)};
    }
    return r;
}

Reduced reduce(const RawSystem& system, bool discrete) {
    return reduce(system, discrete, {marginOf(discrete)});
}

/// The blocks one after the other along the diagonal.
RawSystem parallel(const std::vector<RawSystem>& parts) {
    int n = 0;
    for (const RawSystem& part : parts) {
        n += part.a.rows;
    }
    const int m = parts[0].b.cols;
    const int p = parts[0].c.rows;
    RawSystem result{RawMatrix(n, n), RawMatrix(n, m), RawMatrix(p, n)};
    int at = 0;
    for (const RawSystem& part : parts) {
        for (int i = 0; i < part.a.rows; ++i) {
            for (int j = 0; j < part.a.rows; ++j) {
                result.a(at + i, at + j) = part.a(i, j);
            }
            for (int j = 0; j < m; ++j) {
                result.b(at + i, j) = part.b(i, j);
            }
            for (int k = 0; k < p; ++k) {
                result.c(k, at + i) = part.c(k, i);
            }
        }
        at += part.a.rows;
    }
    return result;
}

/// A random system with real eigenvalues and pairs: radius times a draw from (0.1, 0.95) when discrete; minus such a
/// draw when continuous. Upper triangular coupling of size n^-1/2 makes it non-normal.
RawSystem stableSystem(bool discrete, int n, int m, int p, unsigned seed) {
    std::mt19937_64 generator(seed);
    std::uniform_real_distribution<double> draw(0.1, 0.95);
    RawSystem s{test::rawRandom(n, n, generator), test::rawRandom(n, m, generator), test::rawRandom(p, n, generator)};
    for (int j = 0; j < n; ++j) {
        for (int i = 0; i < n; ++i) {
            s.a(i, j) = i < j ? 0.3 * s.a(i, j) / std::sqrt(n) : 0.0;
        }
    }
    for (int i = 0; i < n; ++i) {
        const double radius = draw(generator);
        const bool pair = i + 1 < n && generator() % 2 == 0;
        const double angle = pair ? 3.0 * draw(generator) : 0.0;
        const double re = discrete ? radius * std::cos(angle) : -radius;
        s.a(i, i) = re;
        if (pair) {
            const double im = radius * std::sin(angle);
            s.a(i + 1, i + 1) = re;
            s.a(i, i + 1) = im;
            s.a(i + 1, i) = -im;
            ++i;
        }
    }
    return s;
}

/// Eigenvalues spread beyond the limit: 1.1 to 2 in modulus, or 0.1 to 1 in real part.
RawSystem unstableSystem(bool discrete, int n, int m, int p, unsigned seed) {
    std::mt19937_64 generator(seed);
    std::uniform_real_distribution<double> draw(0.1, 1.0);
    RawSystem s{RawMatrix(n, n), test::rawRandom(n, m, generator), test::rawRandom(p, n, generator)};
    for (int i = 0; i < n; ++i) {
        s.a(i, i) = draw(generator) + (discrete ? 1.0 : 0.0);
        for (int j = i + 1; j < n; ++j) {
            s.a(i, j) = 0.1 * draw(generator);
        }
    }
    return s;
}

RawSystem integrator(bool discrete, int m, int p) {
    RawSystem s{RawMatrix(1, 1, discrete ? 1.0 : 0.0), RawMatrix(1, m, 1.0), RawMatrix(p, 1, 1.0)};
    return s;
}

RawSystem orthogonallyTransformed(const RawSystem& s, unsigned seed) {
    std::mt19937_64 generator(seed);
    const RawMatrix q = test::rawRandomOrthogonal(s.a.rows, generator);
    return {test::product(test::product(q, s.a, lapack::Op::transpose), q),
            test::product(q, s.b, lapack::Op::transpose), test::product(s.c, q)};
}

/// S^-1 A S and so on for S = diag(scale), exact for powers of two.
RawSystem scaled(RawSystem s, const std::vector<double>& scale) {
    for (int i = 0; i < s.a.rows; ++i) {
        const double factor = scale[static_cast<std::size_t>(i)];
        for (int j = 0; j < s.a.rows; ++j) {
            s.a(i, j) /= factor;
            s.a(j, i) *= factor;
        }
        for (int j = 0; j < s.b.cols; ++j) {
            s.b(i, j) /= factor;
        }
        for (int k = 0; k < s.c.rows; ++k) {
            s.c(k, i) *= factor;
        }
    }
    return s;
}

/// How much larger than eps the effect of a relative perturbation of a, b and c by eps is on the transfer function at
/// one point: ||c R|| ||a|| ||R b|| + ||c|| ||R b|| + ||c R|| ||b||, with R the resolvent.
double sensitivity(const RawSystem& s, std::complex<double> z) {
    const double rb = test::frobeniusNorm(test::resolventTimes(s.a, s.b, z));
    const double cr = test::frobeniusNorm(test::resolventTimes(test::transposeOf(s.a), test::transposeOf(s.c), z));
    return cr * test::frobeniusNorm(s.a) * rb + test::frobeniusNorm(s.c) * rb + cr * test::frobeniusNorm(s.b);
}

/// The distance of the transfer functions at each point is at most slack plus 20 n eps times the sensitivity times the
/// condition of the separation of the two parts (1 where there is one part). With an integrator the first point, which
/// is its pole, is left out.
void expectSameTransferFunction(const RawSystem& reference, const RawSystem& system, bool discrete, double slack,
                                double condition = 1.0, int points = 40, bool integrating = false) {
    ASSERT_EQ(system.b.cols, reference.b.cols);
    ASSERT_EQ(system.c.rows, reference.c.rows);
    constexpr double factor = 20.0;
    for (const std::complex<double> z : test::frequencies(discrete, points)) {
        if (integrating && z == (discrete ? 1.0 : 0.0)) {
            continue;
        }
        const test::RawComplex g = test::leftProduct(reference.c, test::resolventTimes(reference.a, reference.b, z));
        const test::RawComplex h = test::leftProduct(system.c, test::resolventTimes(system.a, system.b, z));
        const double limit = factor * reference.a.rows * eps * sensitivity(reference, z) * condition;
        ASSERT_LE(test::frobeniusNorm(test::differenceOf(g, h)), slack + limit) << "at " << z;
    }
}

/// The two-norm of a complex matrix of two columns or two rows at most is bounded by its Frobenius norm and that by
/// sqrt(2) times it; the error bound of the reduction is one of the two-norm.
double peakOfDifference(const RawSystem& a, const RawSystem& b, bool discrete, int points) {
    double peak = 0.0;
    for (const std::complex<double> z : test::frequencies(discrete, points)) {
        const test::RawComplex g = test::leftProduct(a.c, test::resolventTimes(a.a, a.b, z));
        const test::RawComplex h = test::leftProduct(b.c, test::resolventTimes(b.a, b.b, z));
        peak = std::max(peak, test::frobeniusNorm(test::differenceOf(g, h)));
    }
    return peak;
}

void expectForm(const Reduced& r, bool discrete, double alpha) {
    ASSERT_EQ(r.info, 0);
    const int n = r.whole.a.rows;
    const int leading = r.leading();
    for (int j = 0; j < n; ++j) {
        for (int i = 0; i < n; ++i) {
            const bool coupling = (i < leading) != (j < leading);
            if (coupling || i >= r.nr || j >= r.nr || (i < leading && j < leading && i > j + 1)) {
                ASSERT_EQ(r.whole.a(i, j), 0.0) << i << " " << j;
                ASSERT_FALSE(std::signbit(r.whole.a(i, j)) && coupling) << i << " " << j;
            }
        }
    }
    std::vector<double> wr(static_cast<std::size_t>(leading)), wi(wr.size());
    control_utility::eigenvaluesOfSchurDiagonal(leading, r.whole.a.data(), n, wr.data(), wi.data());
    for (std::size_t k = 0; k < wr.size(); ++k) {
        // Reordering moves eigenvalues by rounding.
        EXPECT_GE((discrete ? std::hypot(wr[k], wi[k]) : wr[k]) + 1e-7, alpha);
    }
    EXPECT_TRUE(std::is_sorted(r.hsv.rbegin(), r.hsv.rend()));
    EXPECT_TRUE(std::all_of(r.hsv.begin(), r.hsv.end(), [](double h) { return h >= 0.0; }));
}

// ---------------------------------------------------------------- systems without something

TEST(ModelReduction, OfASystemWithoutStatesIsEmpty) {
    for (const bool fixed : {false, true}) {
        const Reduced r = reduce({RawMatrix(0, 0), RawMatrix(0, 2), RawMatrix(3, 0)}, true, {marginOf(true), 5, fixed});
        EXPECT_EQ(r.info, 0);
        EXPECT_EQ(r.ns, 0);
        EXPECT_EQ(r.nr, 0);
    }
}

TEST(ModelReduction, WithoutInputsOrOutputsKeepsTheLeadingBlockAlone) {
    for (const bool discrete : {true, false}) {
        for (const auto& [m, p] : {std::pair{0, 2}, std::pair{2, 0}, std::pair{0, 0}}) {
            const RawSystem system = orthogonallyTransformed(
                parallel({stableSystem(discrete, 6, m, p, 1), unstableSystem(discrete, 3, m, p, 2)}), 3);
            const Reduced r = reduce(system, discrete);
            expectForm(r, discrete, marginOf(discrete));
            EXPECT_EQ(r.ns, 6);
            EXPECT_EQ(r.nr, 3);
            EXPECT_EQ(r.hsv, std::vector<double>(6, 0.0));
        }
    }
}

TEST(ModelReduction, WithoutAStablePartChangesTheBasisAlone) {
    for (const bool discrete : {true, false}) {
        const RawSystem system = orthogonallyTransformed(unstableSystem(discrete, 7, 2, 2, 4), 5);
        for (const bool fixed : {false, true}) {
            const Reduced r = reduce(system, discrete, {marginOf(discrete), 1, fixed});
            expectForm(r, discrete, marginOf(discrete));
            EXPECT_EQ(r.ns, 0);
            EXPECT_EQ(r.nr, 7);
            EXPECT_TRUE(r.hsv.empty());
            expectSameTransferFunction(system, r.system, discrete, 0.0);
        }
    }
}

TEST(ModelReduction, OfAStablePartThatNothingReachesDropsIt) {
    RawSystem system = stableSystem(true, 5, 2, 2, 6);
    system.b = RawMatrix(5, 2);
    const Reduced r = reduce(system, true);
    expectForm(r, true, marginOf(true));
    EXPECT_EQ(r.ns, 5);
    EXPECT_EQ(r.nr, 0);
    EXPECT_EQ(r.hsv, std::vector<double>(5, 0.0));
}

// ---------------------------------------------------------------- values that are known

TEST(ModelReduction, FindsTheHankelSingularValueOfOneState) {
    const RawSystem continuous{RawMatrix(1, 1, -1.0), RawMatrix(1, 1, 3.0), RawMatrix(1, 1, 4.0)};
    const Reduced c = reduce(continuous, false);
    ASSERT_EQ(c.info, 0);
    EXPECT_EQ(c.nr, 1);
    EXPECT_NEAR(c.hsv[0], 6.0, 10.0 * 6.0 * eps);

    const RawSystem discrete{RawMatrix(1, 1, 0.5), RawMatrix(1, 1, 3.0), RawMatrix(1, 1, 1.0)};
    const Reduced d = reduce(discrete, true);
    ASSERT_EQ(d.info, 0);
    EXPECT_NEAR(d.hsv[0], 4.0, 10.0 * 4.0 * eps);
}

TEST(ModelReduction, FindsTheHankelSingularValuesOfADelayLine) {
    // z^-5 has five Hankel singular values of 1, none of which may go without the others.
    RawSystem system{RawMatrix(5, 5), RawMatrix(5, 1), RawMatrix(1, 5)};
    for (int i = 0; i + 1 < 5; ++i) {
        system.a(i, i + 1) = 1.0;
    }
    system.b(4, 0) = 1.0;
    system.c(0, 0) = 1.0;
    const Reduced r = reduce(system, true);
    expectForm(r, true, marginOf(true));
    EXPECT_EQ(r.nr, 5);
    for (const double h : r.hsv) {
        EXPECT_NEAR(h, 1.0, 10.0 * 5.0 * eps);
    }
    expectSameTransferFunction(system, r.system, true, 0.0);
}

TEST(ModelReduction, DoesNotDependOnTheBasisOrTheUnstablePart) {
    for (const bool discrete : {true, false}) {
        const RawSystem stable = stableSystem(discrete, 8, 2, 2, 7);
        const Reduced alone = reduce(stable, discrete);
        const Reduced mixed =
            reduce(orthogonallyTransformed(parallel({stable, unstableSystem(discrete, 4, 2, 2, 8)}), 9), discrete);
        ASSERT_EQ(alone.info, 0);
        ASSERT_EQ(mixed.info, 0);
        ASSERT_EQ(mixed.ns, 8);
        for (std::size_t k = 0; k < 8; ++k) {
            // Errors of Hankel singular values are relative to the largest; 1e-12 leaves a condition of 500.
            EXPECT_NEAR(mixed.hsv[k], alone.hsv[k], 1e-12 * alone.hsv[0]);
        }
    }
}

// ---------------------------------------------------------------- the division at alpha

TEST(ModelReduction, CountsAnEigenvalueAtAlphaAsOnTheBoundary) {
    RawSystem system{RawMatrix(3, 3), RawMatrix(3, 1, 1.0), RawMatrix(1, 3, 1.0)};
    system.a(0, 0) = 0.25;
    system.a(1, 1) = 0.5;
    system.a(2, 2) = -0.75;
    const Reduced at = reduce(system, true, {0.5});
    expectForm(at, true, 0.5);
    EXPECT_EQ(at.ns, 1);
    const Reduced above = reduce(system, true, {std::nextafter(0.5, 1.0)});
    expectForm(above, true, 0.5);
    EXPECT_EQ(above.ns, 2);

    system.a(0, 0) = -0.25;
    system.a(1, 1) = -0.5;
    const Reduced continuous = reduce(system, false, {-0.5});
    expectForm(continuous, false, -0.5);
    EXPECT_EQ(continuous.ns, 1);
    const Reduced right = reduce(system, false, {std::nextafter(-0.5, 0.0)});
    EXPECT_EQ(right.ns, 2);
}

TEST(ModelReduction, WithAlphaBelowAllEigenvaluesReducesNothing) {
    const RawSystem system = stableSystem(true, 6, 2, 2, 10);
    const Reduced r = reduce(system, true, {-std::numeric_limits<double>::infinity()});
    expectForm(r, true, 0.0);
    EXPECT_EQ(r.ns, 0);
    EXPECT_EQ(r.nr, 6);
    expectSameTransferFunction(system, r.system, true, 0.0);
}

TEST(ModelReduction, ReportsAStablePartThatIsNotStable) {
    const RawSystem discrete{RawMatrix(1, 1, 1.5), RawMatrix(1, 1, 1.0), RawMatrix(1, 1, 1.0)};
    EXPECT_EQ(reduce(discrete, true, {2.0}).info, 4);
    EXPECT_EQ(reduce(discrete, true, {std::numeric_limits<double>::infinity()}).info, 4);
    const RawSystem continuous{RawMatrix(1, 1, 0.5), RawMatrix(1, 1, 1.0), RawMatrix(1, 1, 1.0)};
    EXPECT_EQ(reduce(continuous, false, {1.0}).info, 4);
}

TEST(ModelReduction, ReportsPartsThatAreTooCloseToSeparate) {
    RawSystem system{RawMatrix(2, 2), RawMatrix(2, 1, 1.0), RawMatrix(1, 2, 1.0)};
    system.a(0, 0) = 0.5;
    system.a(0, 1) = 1.0;
    system.a(1, 1) = std::nextafter(0.5, 0.0);
    const Reduced r = reduce(system, true, {0.5});
    EXPECT_EQ(r.info, 3);
    EXPECT_EQ(r.ns, 0);
    EXPECT_EQ(r.whole.a, system.a);
    EXPECT_EQ(r.whole.b, system.b);
    EXPECT_EQ(r.whole.c, system.c);
}

// ---------------------------------------------------------------- the transfer function

TEST(ModelReduction, KeepsTheTransferFunctionOfTheMinimalOrder) {
    for (const bool discrete : {true, false}) {
        for (const int stableOrder : {1, 2, 3, 10, 40, 65}) {
            for (const int unstableOrder : {0, 1, 4}) {
                SCOPED_TRACE(std::to_string(discrete) + " " + std::to_string(stableOrder) + " " +
                             std::to_string(unstableOrder));
                const RawSystem stable = stableSystem(discrete, stableOrder, 2, 2, 11);
                const RawSystem system = orthogonallyTransformed(
                    unstableOrder == 0 ? stable : parallel({unstableSystem(discrete, unstableOrder, 2, 2, 12), stable}),
                    13);
                const Reduced r = reduce(system, discrete);
                expectForm(r, discrete, marginOf(discrete));
                EXPECT_EQ(r.ns, stableOrder);
                expectSameTransferFunction(system, r.system, discrete, 2.0 * r.discarded());
            }
        }
    }
}

TEST(ModelReduction, KeepsTheTransferFunctionUpToTheConditionOfTheSeparation) {
    for (const bool discrete : {true, false}) {
        for (const double coupling : {1.0, 1e2, 1e4}) {
            SCOPED_TRACE(coupling);
            std::mt19937_64 generator(14);
            RawSystem system = parallel({unstableSystem(discrete, 3, 2, 2, 15), stableSystem(discrete, 6, 2, 2, 16)});
            // The similarity [I X; 0 I] has the condition (1 + ||X||)^2.
            RawMatrix x = test::rawIdentity(9), inverse = x;
            double size = 0.0;
            std::normal_distribution<double> normal;
            for (int i = 0; i < 3; ++i) {
                for (int j = 3; j < 9; ++j) {
                    x(i, j) = coupling * normal(generator);
                    inverse(i, j) = -x(i, j);
                    size = std::hypot(size, x(i, j));
                }
            }
            system = {test::product(test::product(inverse, system.a), x), test::product(inverse, system.b),
                      test::product(system.c, x)};
            system = orthogonallyTransformed(system, 17);
            const Reduced r = reduce(system, discrete);
            expectForm(r, discrete, marginOf(discrete));
            EXPECT_EQ(r.nr, 9);
            expectSameTransferFunction(system, r.system, discrete, 2.0 * r.discarded(), (1.0 + size) * (1.0 + size));
        }
    }
}

TEST(ModelReduction, KeepsTheErrorWithinTwiceTheDiscardedHankelSingularValues) {
    for (const bool discrete : {true, false}) {
        for (const int n : {2, 5, 12, 40}) {
            for (const int channels : {1, 2}) {
                const RawSystem system = stableSystem(discrete, n, channels, channels, 18);
                for (int order = 0; order < n; order += 1 + n / 6) {
                    SCOPED_TRACE(std::to_string(discrete) + " " + std::to_string(n) + " " + std::to_string(order));
                    const Reduced r = reduce(system, discrete, {marginOf(discrete), order, true});
                    expectForm(r, discrete, marginOf(discrete));
                    EXPECT_LE(r.nr, order);
                    // The bound is one of the two-norm; the Frobenius norm is at most sqrt(channels) times that. The
                    // relative slack of 1e-6, and 1e-12 of the largest value, cover rounding.
                    const double bound = 2.0 * r.discarded() * (1.0 + 1e-6) + 1e-12 * r.hsv[0];
                    EXPECT_LE(peakOfDifference(system, r.system, discrete, 200), std::sqrt(channels) * bound);
                }
            }
        }
    }
}

TEST(ModelReduction, KeepsTheErrorBoundBesideAnUnreducedPart) {
    for (const bool discrete : {true, false}) {
        const RawSystem stable = stableSystem(discrete, 10, 1, 1, 19);
        const RawSystem system = orthogonallyTransformed(parallel({unstableSystem(discrete, 2, 1, 1, 20), stable}), 21);
        for (const int order : {2, 4, 7}) {
            const Reduced r = reduce(system, discrete, {marginOf(discrete), order, true});
            expectForm(r, discrete, marginOf(discrete));
            EXPECT_EQ(r.nr, order);
            EXPECT_LE(peakOfDifference(system, r.system, discrete, 200), 2.0 * r.discarded() * (1.0 + 1e-6) + 1e-10);
        }
    }
}

TEST(ModelReduction, KeepsTheReducedModelStable) {
    for (const bool discrete : {true, false}) {
        const RawSystem system = stableSystem(discrete, 20, 2, 2, 22);
        for (int order = 1; order <= 20; ++order) {
            const Reduced r = reduce(system, discrete, {marginOf(discrete), order, true});
            ASSERT_EQ(r.info, 0);
            const Reduced again = reduce(r.system, discrete, {marginOf(discrete), order, true});
            ASSERT_EQ(again.info, 0);
            EXPECT_EQ(again.ns, r.nr);
        }
    }
}

TEST(ModelReduction, GivesABalancedContinuousModelWithTheHankelSingularValuesThatWereKept) {
    RawSystem system = stableSystem(false, 15, 2, 2, 23);
    lapack::scal(30, 1e6, system.b.data(), 1);
    lapack::scal(30, 1e-3, system.c.data(), 1);
    const Reduced r = reduce(system, false, {marginOf(false), 6, true});
    ASSERT_EQ(r.info, 0);
    ASSERT_EQ(r.nr, 6);
    RawMatrix gramian(6, 6);
    for (int k = 0; k < 6; ++k) {
        gramian(k, k) = r.hsv[static_cast<std::size_t>(k)];
    }
    for (const bool observability : {false, true}) {
        const RawMatrix a = observability ? test::transposeOf(r.system.a) : r.system.a;
        const RawMatrix b = observability ? test::transposeOf(r.system.c) : r.system.b;
        const RawMatrix ap = test::product(a, gramian);
        RawMatrix defect = test::product(b, b, lapack::Op::none, lapack::Op::transpose);
        for (int j = 0; j < 6; ++j) {
            for (int i = 0; i < 6; ++i) {
                defect(i, j) += ap(i, j) + ap(j, i);
            }
        }
        EXPECT_LE(test::frobeniusNorm(defect), 1e-11 * r.hsv[0]);
    }
}

// ---------------------------------------------------------------- orders and counts

TEST(ModelReduction, LimitsAFixedOrderToTheMinimalOrderAndTheLeadingBlock) {
    RawSystem system =
        parallel({unstableSystem(true, 2, 1, 1, 24), stableSystem(true, 3, 1, 1, 25), stableSystem(true, 4, 1, 1, 26)});
    for (int i = 5; i < 9; ++i) {
        system.b(i, 0) = 0.0;
    }
    const auto orderFor = [&](int wanted) {
        const Reduced r = reduce(system, true, {marginOf(true), wanted, true});
        expectForm(r, true, marginOf(true));
        EXPECT_EQ(r.ns, 7);
        return r.nr;
    };
    EXPECT_EQ(orderFor(0), 2);
    EXPECT_EQ(orderFor(1), 2);
    EXPECT_EQ(orderFor(2), 2);
    EXPECT_EQ(orderFor(3), 3);
    EXPECT_EQ(orderFor(5), 5);
    EXPECT_EQ(orderFor(6), 5);
    EXPECT_EQ(orderFor(1000), 5);
}

TEST(ModelReduction, SelectsTheValuesAboveTheTolerance) {
    const RawSystem system = stableSystem(false, 12, 2, 2, 27);
    const Reduced all = reduce(system, false);
    ASSERT_EQ(all.info, 0);
    for (std::size_t k = 1; k < 8; ++k) {
        const double between = std::sqrt(all.hsv[k - 1] * all.hsv[k]);
        EXPECT_EQ(reduce(system, false, {marginOf(false), 0, false, between}).nr, static_cast<int>(k));
    }
    EXPECT_EQ(reduce(system, false, {marginOf(false), 0, false, 2.0 * all.hsv[0]}).nr, 0);
    EXPECT_EQ(reduce(system, false, {marginOf(false), 0, false, -1.0}).nr, all.nr);
    EXPECT_EQ(reduce(system, false, {marginOf(false), 0, false, std::numeric_limits<double>::min()}).nr, all.nr);
}

TEST(ModelReduction, DoesNotSplitEqualHankelSingularValues) {
    // Two equal channels, so that each value comes twice, under a similarity that makes the two differ by rounding.
    const RawSystem one = stableSystem(true, 7, 1, 1, 28);
    RawSystem system{RawMatrix(14, 14), RawMatrix(14, 2), RawMatrix(2, 14)};
    for (int channel = 0; channel < 2; ++channel) {
        for (int i = 0; i < 7; ++i) {
            for (int j = 0; j < 7; ++j) {
                system.a(7 * channel + i, 7 * channel + j) = one.a(i, j);
            }
            system.b(7 * channel + i, channel) = one.b(i, 0);
            system.c(channel, 7 * channel + i) = one.c(0, i);
        }
    }
    system = orthogonallyTransformed(system, 29);
    const Reduced all = reduce(system, true);
    ASSERT_EQ(all.info, 0);
    EXPECT_EQ(all.nr % 2, 0);
    int differing = 0;
    for (std::size_t k = 0; k < 12; k += 2) {
        differing += all.hsv[k] != all.hsv[k + 1];
        const Reduced r = reduce(system, true, {marginOf(true), 0, false, all.hsv[k + 1]});
        ASSERT_EQ(r.info, 0);
        EXPECT_EQ(r.nr % 2, 0) << "pair " << k;
    }
    EXPECT_GT(differing, 0) << "rounding never split a pair, so nothing was shown";
}

TEST(ModelReduction, TakesASmoothTailForNoGroup) {
    const RawSystem system = stableSystem(false, 60, 2, 2, 45);
    const Reduced all = reduce(system, false);
    ASSERT_EQ(all.info, 0);
    int tried = 0;
    for (double share = 1e-2; share > 1e-13; share *= 0.1) {
        const double tolerance = share * all.hsv[0];
        const auto above = static_cast<std::size_t>(
            std::count_if(all.hsv.begin(), all.hsv.end(), [=](double h) { return h > tolerance; }));
        if (above < 60 && all.hsv[above] < 0.99 * all.hsv[above - 1]) {
            ++tried;
            EXPECT_EQ(reduce(system, false, {marginOf(false), 0, false, tolerance}).nr, static_cast<int>(above));
        }
    }
    EXPECT_GE(tried, 8);
}

/// Known parts: two unstable states, an integrator, four stable ones, delays (or fast poles), three that the input does
/// not reach and two that the output does not see.
RawSystem systemOfKnownParts(bool discrete) {
    RawSystem delays{RawMatrix(3, 3), RawMatrix(3, 2), RawMatrix(2, 3)};
    delays.a(0, 1) = delays.a(1, 2) = 1.0;
    for (int i = 0; i < 3; ++i) {
        delays.a(i, i) = discrete ? 0.0 : -4.0 - i;
    }
    delays.b(2, 0) = delays.b(2, 1) = delays.c(0, 0) = 1.0;
    delays.c(1, 0) = -1.0;
    RawSystem unreached = stableSystem(discrete, 3, 2, 2, 31);
    unreached.b = RawMatrix(3, 2);
    RawSystem unseen = stableSystem(discrete, 2, 2, 2, 32);
    unseen.c = RawMatrix(2, 2);
    return parallel({unreached, stableSystem(discrete, 4, 2, 2, 30), delays, integrator(discrete, 2, 2), unseen,
                     unstableSystem(discrete, 2, 2, 2, 33)});
}

TEST(ModelReduction, CountsKnownUnstableIntegratingDelayAndUselessStates) {
    for (const bool discrete : {true, false}) {
        const RawSystem system = systemOfKnownParts(discrete);
        const Reduced r = reduce(system, discrete);
        expectForm(r, discrete, marginOf(discrete));
        EXPECT_EQ(r.leading(), 3);
        EXPECT_EQ(r.ns, 12);
        EXPECT_EQ(r.nr, 10);
        expectSameTransferFunction(system, r.system, discrete, 2.0 * r.discarded(), 1.0, 40, true);

        // A random basis carries roundings into what was exactly zero: more than the default tolerance allows for.
        const Reduced hidden =
            reduce(orthogonallyTransformed(system, 34), discrete, {marginOf(discrete), 0, false, 1e-12 * r.hsv[0]});
        expectForm(hidden, discrete, marginOf(discrete));
        EXPECT_EQ(hidden.leading(), 3);
        EXPECT_EQ(hidden.nr, 10);
    }
}

TEST(ModelReduction, CountsTheSameOnABadlyScaledSystem) {
    for (const bool discrete : {true, false}) {
        const RawSystem system = systemOfKnownParts(discrete);
        std::mt19937_64 generator(35);
        std::vector<double> scale(static_cast<std::size_t>(system.a.rows));
        for (double& factor : scale) {
            // 2^40 is 1.1e12.
            factor = std::ldexp(1.0, static_cast<int>(generator() % 81) - 40);
        }
        const RawSystem bad = scaled(system, scale);
        const Reduced r = reduce(bad, discrete);
        expectForm(r, discrete, marginOf(discrete));
        EXPECT_EQ(r.leading(), 3);
        EXPECT_EQ(r.nr, 10);
        expectSameTransferFunction(system, r.system, discrete, 2.0 * r.discarded(), 1.0, 40, true);
    }
}

TEST(ModelReduction, KeepsTheDigitsOfABadlyScaledFullSystem) {
    for (const bool discrete : {true, false}) {
        const RawSystem system = orthogonallyTransformed(
            parallel({unstableSystem(discrete, 3, 2, 2, 36), stableSystem(discrete, 12, 2, 2, 37)}), 38);
        std::mt19937_64 generator(39);
        std::vector<double> scale(15);
        for (double& factor : scale) {
            factor = std::ldexp(1.0, static_cast<int>(generator() % 81) - 40);
        }
        const Reduced r = reduce(scaled(system, scale), discrete);
        expectForm(r, discrete, marginOf(discrete));
        EXPECT_EQ(r.leading(), 3);
        // The sensitivity is that of the well scaled system.
        expectSameTransferFunction(system, r.system, discrete, 2.0 * r.discarded());
    }
}

TEST(ModelReduction, KeepsTheDigitsBesideAStateThatNothingReaches) {
    // The state drives all others by 1e12 but stays at rest, so it is not in the transfer function. Its elements are by
    // far the largest of the matrix.
    for (const bool discrete : {true, false}) {
        const RawSystem system = parallel({stableSystem(discrete, 8, 2, 2, 46), unstableSystem(discrete, 1, 2, 2, 47)});
        const RawSystem resting{RawMatrix(1, 1, discrete ? 0.3 : -0.3), RawMatrix(1, 2), RawMatrix(2, 1, 1e12)};
        RawSystem driven = parallel({resting, system});
        for (int i = 1; i < 10; ++i) {
            driven.a(i, 0) = i * 1e12;
        }
        const Reduced r = reduce(driven, discrete);
        expectForm(r, discrete, marginOf(discrete));
        EXPECT_EQ(r.nr, 9);
        expectSameTransferFunction(system, r.system, discrete, 2.0 * r.discarded());
        const Reduced alone = reduce(stableSystem(discrete, 8, 2, 2, 46), discrete);
        ASSERT_EQ(alone.info, 0);
        for (std::size_t k = 0; k < 8; ++k) {
            EXPECT_NEAR(r.hsv[k], alone.hsv[k], 1e-12 * alone.hsv[0]);
        }
    }
}

TEST(ModelReduction, FollowsTheUnitsOfInputsAndOutputs) {
    const RawSystem system = stableSystem(false, 8, 2, 2, 40);
    const Reduced plain = reduce(system, false);
    ASSERT_EQ(plain.info, 0);
    for (const double unit : {0x1p-300, 0x1p-40, 0x1p40, 0x1p300}) {
        RawSystem other = system;
        lapack::scal(16, unit, other.b.data(), 1);
        lapack::scal(16, unit, other.c.data(), 1);
        const Reduced r = reduce(other, false);
        ASSERT_EQ(r.info, 0);
        EXPECT_EQ(r.nr, plain.nr);
        for (std::size_t k = 0; k < 8; ++k) {
            EXPECT_NEAR(r.hsv[k] / unit / unit, plain.hsv[k], 1e-12 * plain.hsv[0]);
        }
    }
}

TEST(ModelReduction, HandlesSystemsOfSeveralBlocks) {
    for (const bool discrete : {true, false}) {
        const RawSystem system = orthogonallyTransformed(
            parallel({stableSystem(discrete, 170, 2, 2, 41), unstableSystem(discrete, 5, 2, 2, 42)}), 43);
        const Reduced r = reduce(system, discrete);
        expectForm(r, discrete, marginOf(discrete));
        EXPECT_EQ(r.leading(), 5);
        EXPECT_LT(r.nr, 175);
        expectSameTransferFunction(system, r.system, discrete, 2.0 * r.discarded(), 1.0, 6);
    }
}

// ---------------------------------------------------------------- failures

TEST(ModelReduction, ReportsNaNAndInfinityAndWritesNothing) {
    for (const double bad : {std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity()}) {
        for (int where = 0; where < 3; ++where) {
            RawSystem system = stableSystem(true, 5, 2, 2, 44);
            RawMatrix& matrix = where == 0 ? system.a : where == 1 ? system.b : system.c;
            matrix(1, 1) = bad;
            const Reduced r = reduce(system, true, {marginOf(true), 3, true});
            EXPECT_EQ(r.info, 1);
            EXPECT_EQ(r.ns, 0);
            EXPECT_EQ(r.nr, 3);
            EXPECT_EQ(r.hsv, std::vector<double>(5, -7.0));
            EXPECT_EQ(r.whole.a(0, 0), system.a(0, 0));
            EXPECT_EQ(r.whole.c(0, 4), system.c(0, 4));
        }
    }
}

TEST(ModelReduction, NamesTheIllegalArgument) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const auto infoOf = [](int n, int m, int p, int fixedOrder, double tolerance, int nr, double alpha) {
        double a = 0.5, b = 1.0, c = 1.0, d = 0.0, hsv = 0.0;
        int ns = -1, info = 99;
        const int discrete = 1;
        control_utility::MODELREDUCTIONFORT(&a, &b, &c, &d, &n, &m, &p, &ns, &hsv, &discrete, &fixedOrder, &tolerance,
                                            &nr, &alpha, &info);
        return info;
    };
    EXPECT_EQ(infoOf(1, 1, 1, 0, 0.0, 0, 1.0), 0);
    EXPECT_EQ(infoOf(-1, 1, 1, 0, 0.0, 0, 1.0), -5);
    EXPECT_EQ(infoOf(1, -1, 1, 0, 0.0, 0, 1.0), -6);
    EXPECT_EQ(infoOf(1, 1, -1, 0, 0.0, 0, 1.0), -7);
    EXPECT_EQ(infoOf(1, 1, 1, 0, nan, 0, 1.0), -12);
    EXPECT_EQ(infoOf(1, 1, 1, 1, 0.0, -1, 1.0), -13);
    EXPECT_EQ(infoOf(1, 1, 1, 0, 0.0, -1, 1.0), 0);
    EXPECT_EQ(infoOf(1, 1, 1, 0, 0.0, 0, nan), -14);
}

}  // namespace
