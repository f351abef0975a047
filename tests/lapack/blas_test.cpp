// The routines of the BLAS that take steps, on vectors that end where the address space does. A routine that looks
// beyond the last element stops the process.

#include <cmath>
#include <complex>
#include <cstddef>
#include <gtest/gtest.h>
#include <limits>
#include <support/guarded_block.hpp>

#include <qormath/lapack/blas.hpp>
#include <qormath/lapack/lapack.hpp>

namespace {

using qormath::test::GuardedBlock;
namespace lapack = qormath::lapack;

using Complex = std::complex<double>;

// Up to three passes of a kernel that takes sixteen elements at once, and what is left over.
constexpr int longest = 50;
constexpr int steps[] = {1, 2, 5, 700};

std::size_t roomOf(int n, int step) {
    return n == 0 ? 0 : static_cast<std::size_t>(n - 1) * static_cast<std::size_t>(step) + 1;
}

/// n elements 1, 2, 3... in steps, at the end of what can be read. Between them stands what no sum may contain.
template <class Element>
class Stepped {
  public:
    Stepped(int n, int step) : block_(roomOf(n, step)), step_(static_cast<std::size_t>(step)) {
        for (std::size_t k = 0; k < roomOf(n, step); ++k) {
            block_[k] = 1e300;
        }
        for (int k = 0; k < n; ++k) {
            (*this)[k] = static_cast<double>(k + 1);
        }
    }
    Element& operator[](int k) const { return block_[static_cast<std::size_t>(k) * step_]; }
    Element* data() const { return block_.data(); }

  private:
    GuardedBlock<Element> block_;
    std::size_t step_;
};

double sumTo(int n) {
    return 0.5 * n * (n + 1);
}

double sumOfSquaresTo(int n) {
    return n * (n + 1.0) * (2.0 * n + 1.0) / 6.0;
}

template <class Check>
void forAllSteps(Check check) {
    for (const int stepX : steps) {
        for (const int stepY : steps) {
            for (int n = 0; n <= longest; ++n) {
                SCOPED_TRACE(testing::Message() << n << " elements, steps " << stepX << " and " << stepY);
                check(n, stepX, stepY);
            }
        }
    }
}

}  // namespace

TEST(Blas, ComplexDotReadsTheElementsAlone) {
    forAllSteps([](int n, int stepX, int stepY) {
        const Stepped<Complex> x(n, stepX);
        const Stepped<Complex> y(n, stepY);
        EXPECT_EQ(lapack::dotc(n, x.data(), stepX, y.data(), stepY), sumOfSquaresTo(n));
    });
}

TEST(Blas, ComplexDotConjugatesTheFirstVector) {
    for (const int step : {1, 3}) {
        const Stepped<Complex> x(2, step);
        const Stepped<Complex> y(2, step);
        x[0] = {1.0, 2.0};
        x[1] = {0.0, -1.0};
        y[0] = {3.0, 5.0};
        y[1] = {7.0, 0.0};
        EXPECT_EQ(lapack::dotc(2, x.data(), step, y.data(), step), Complex(13.0, 6.0));
    }
}

TEST(Blas, ComplexDotWalksBackwardsInNegativeSteps) {
    const Stepped<Complex> x(3, 2);
    const Stepped<Complex> y(3, 1);
    EXPECT_EQ(lapack::dotc(3, x.data(), -2, y.data(), 1), 3.0 * 1.0 + 2.0 * 2.0 + 1.0 * 3.0);
    EXPECT_EQ(lapack::dotc(3, x.data(), 2, y.data(), -1), 3.0 * 1.0 + 2.0 * 2.0 + 1.0 * 3.0);
    EXPECT_EQ(lapack::dotc(3, x.data(), -2, y.data(), -1), 14.0);
}

TEST(Blas, SumsReadTheElementsAlone) {
    forAllSteps([](int n, int stepX, int stepY) {
        const Stepped<double> x(n, stepX);
        const Stepped<double> y(n, stepY);
        EXPECT_EQ(lapack::dot(n, x.data(), stepX, y.data(), stepY), sumOfSquaresTo(n));
        EXPECT_EQ(lapack::asum(n, x.data(), stepX), sumTo(n));
        EXPECT_DOUBLE_EQ(lapack::nrm2(n, x.data(), stepX), std::sqrt(sumOfSquaresTo(n)));
    });
}

TEST(Blas, UpdatesTouchTheElementsAlone) {
    forAllSteps([](int n, int stepX, int stepY) {
        const Stepped<double> x(n, stepX);
        const Stepped<double> y(n, stepY);
        lapack::axpy(n, 2.0, x.data(), stepX, y.data(), stepY);
        lapack::scal(n, 5.0, x.data(), stepX);
        lapack::swap(n, x.data(), stepX, y.data(), stepY);
        for (int k = 0; k < n; ++k) {
            EXPECT_EQ(x[k], 3.0 * (k + 1));
            EXPECT_EQ(y[k], 5.0 * (k + 1));
        }
        lapack::rot(n, x.data(), stepX, y.data(), stepY, 0.0, 1.0);
        for (int k = 0; k < n; ++k) {
            EXPECT_EQ(x[k], 5.0 * (k + 1));
            EXPECT_EQ(y[k], -3.0 * (k + 1));
        }
        lapack::copy(n, x.data(), stepX, y.data(), stepY);
        for (int k = 0; k < n; ++k) {
            EXPECT_EQ(y[k], 5.0 * (k + 1));
        }
    });
}

TEST(Blas, ProductsWithAMatrixReadTheVectorsAlone) {
    constexpr int rows = 7;
    for (const lapack::Op op : {lapack::Op::none, lapack::Op::transpose}) {
        forAllSteps([op](int n, int stepX, int stepY) {
            const int m = op == lapack::Op::none ? rows : n;
            const int inner = op == lapack::Op::none ? n : rows;
            const GuardedBlock<double> ones(static_cast<std::size_t>(rows) * static_cast<std::size_t>(n));
            for (std::size_t k = 0; k < static_cast<std::size_t>(rows) * static_cast<std::size_t>(n); ++k) {
                ones[k] = 1.0;
            }
            const Stepped<double> x(inner, stepX);
            const Stepped<double> y(m, stepY);
            lapack::gemv(op, rows, n, 1.0, ones.data(), rows, x.data(), stepX, 0.0, y.data(), stepY);
            for (int k = 0; k < m && n > 0; ++k) {
                EXPECT_EQ(y[k], sumTo(inner));
            }
        });
    }
}

TEST(Blas, UpdatesOfRankOneReadTheVectorsAlone) {
    forAllSteps([](int n, int stepX, int stepY) {
        constexpr int rows = 7;
        const GuardedBlock<double> a(static_cast<std::size_t>(rows) * static_cast<std::size_t>(n));
        const Stepped<double> x(rows, stepX);
        const Stepped<double> y(n, stepY);
        lapack::ger(rows, n, 1.0, x.data(), stepX, y.data(), stepY, a.data(), rows);
        for (int k = 0; k < n; ++k) {
            EXPECT_EQ(a[static_cast<std::size_t>(k) * rows + 6], 7.0 * (k + 1));
        }
    });
}

TEST(Blas, TriangularProductsAndSolutionsTouchTheElementsAlone) {
    for (const int step : steps) {
        for (int n = 0; n <= longest; ++n) {
            SCOPED_TRACE(testing::Message() << n << " elements, step " << step);
            const auto order = static_cast<std::size_t>(n);
            const GuardedBlock<double> a(order * order);
            for (std::size_t k = 0; k < order * order; ++k) {
                a[k] = 1.0;
            }
            for (const lapack::Triangle triangle : {lapack::Triangle::upper, lapack::Triangle::lower}) {
                for (const lapack::Op op : {lapack::Op::none, lapack::Op::transpose}) {
                    const Stepped<double> x(n, step);
                    lapack::trmv(triangle, op, lapack::Diagonal::stored, n, a.data(), n, x.data(), step);
                    const bool isUpper = (triangle == lapack::Triangle::upper) == (op == lapack::Op::none);
                    for (int k = 0; k < n; ++k) {
                        EXPECT_EQ(x[k], isUpper ? sumTo(n) - sumTo(k) : sumTo(k + 1));
                    }
                    lapack::trsv(triangle, op, lapack::Diagonal::stored, n, a.data(), n, x.data(), step);
                    for (int k = 0; k < n; ++k) {
                        EXPECT_EQ(x[k], static_cast<double>(k + 1));
                    }
                }
            }
        }
    }
}

TEST(Lapack, OneNormIsTheLargestSumOfAColumn) {
    // Two rows of three, and a third that is not looked at.
    const double a[] = {1.0, -2.0, 100.0, -3.0, 4.0, 100.0, 5.0, 0.0, 100.0};
    EXPECT_EQ(lapack::lange1(2, 3, a, 3), 7.0);
    EXPECT_EQ(lapack::lange1(2, 1, a, 3), 3.0);
    EXPECT_EQ(lapack::lange1(0, 3, a, 3), 0.0);
    EXPECT_EQ(lapack::lange1(2, 0, a, 3), 0.0);
}

TEST(Lapack, OneNormIsNoNumberWhereAnElementIsNone) {
    for (int place = 0; place < 4; ++place) {
        double a[] = {1.0, 2.0, 3.0, 4.0};
        a[place] = std::numeric_limits<double>::quiet_NaN();
        EXPECT_TRUE(std::isnan(lapack::lange1(2, 2, a, 2))) << place;
        a[place] = std::numeric_limits<double>::infinity();
        EXPECT_EQ(lapack::lange1(2, 2, a, 2), std::numeric_limits<double>::infinity()) << place;
    }
}
