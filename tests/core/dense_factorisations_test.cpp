#include <algorithm>
#include <cmath>
#include <complex>
#include <functional>
#include <gtest/gtest.h>
#include <limits>
#include <string>
#include <support/matrix_compare.hpp>
#include <support/matrix_literals.hpp>
#include <support/random_matrices.hpp>
#include <utility>
#include <vector>

#include <qormath/core/arithmetic.hpp>

namespace {

using namespace qormath::test;
using QorMathLA::Matrix;
using QorMathLA::MatrixSoft;
using QorMathLA::pseudoInverse;
using QorMathLA::Range;
using QorMathLA::Vector;
using QorMathLA::xmsg;

constexpr int svdIterations = 75;
constexpr int eigenvalueIterations = 30;
constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();
const Range all(-1, -1, 1);

void expectXmsg(const std::function<void()>& work, int code, const std::string& message) {
    try {
        work();
        FAIL() << "nothing was thrown instead of \"" << message << '"';
    } catch (const xmsg& error) {
        EXPECT_EQ(error.code, code);
        EXPECT_EQ(error.message, message);
    }
}

TEST(Svd, GivesFactorsOfTheMatrix) {
    NormalNumbers numbers(31);
    for (const auto& [m, n] : {std::pair(1, 1), std::pair(3, 2), std::pair(2, 3), std::pair(7, 7), std::pair(40, 5),
                               std::pair(5, 40), std::pair(33, 32)}) {
        const Matrix<double> a = randomMatrix(m, n, numbers);
        const int smaller = std::min(m, n);
        Matrix<double> u(a);
        Vector<double> s;
        Matrix<double> v;
        u.svd(s, v, svdIterations, true);
        ASSERT_EQ(s.size(), n);
        ASSERT_EQ(v.rows(), n);
        ASSERT_EQ(v.cols(), n);
        ASSERT_FALSE(v.transposed);
        for (int k = 1; k < smaller; ++k) {
            EXPECT_GE(s[k - 1], s[k]);
        }
        EXPECT_GE(s[smaller - 1], 0.0);
        const Matrix<double> leading = u(all, Range(0, smaller - 1, 1));
        const double bound = 20.0 * std::max(m, n) * unitRoundoff;
        EXPECT_LE(orthonormalityDefect(leading), bound);
        EXPECT_LE(orthonormalityDefect(v), bound);
        const Vector<double> values = s(Range(0, smaller - 1, 1));
        const Matrix<double> back = leading.scaleColumnsBy(values) * v(all, Range(0, smaller - 1, 1)).transpose();
        EXPECT_LE(frobeniusNorm(differenceOf(back, a)), bound * frobeniusNorm(a));
    }
}

TEST(Svd, OfATallMatrixHasAValueForEachColumn) {
    Matrix<double> m = matrixOf({{3.0, 0.0}, {0.0, 4.0}, {0.0, 0.0}});
    Vector<double> s;
    Matrix<double> v;
    m.svd(s, v, svdIterations, true);
    EXPECT_EQ(maxDifference(s, vectorOf({4.0, 3.0})), 0.0);
    EXPECT_EQ(v.rows(), 2);
    EXPECT_EQ(m.rows(), 3);
    EXPECT_EQ(m.cols(), 2);
}

TEST(Svd, OfAWideMatrixHasAnElementForEachColumn) {
    Matrix<double> m = matrixOf({{3.0, 0.0, 0.0}, {0.0, 4.0, 0.0}});
    Vector<double> s;
    Matrix<double> v;
    m.svd(s, v, svdIterations, true);
    ASSERT_EQ(s.size(), 3);
    EXPECT_EQ(s[0], 4.0);
    EXPECT_EQ(s[1], 3.0);
}

TEST(Svd, WithoutVectorsLeavesVAlone) {
    NormalNumbers numbers(32);
    const Matrix<double> a = randomMatrix(6, 4, numbers);
    Matrix<double> plain(a);
    Matrix<double> full(a);
    Vector<double> s;
    Vector<double> reference;
    Matrix<double> v = matrixOf({{5.0}});
    Matrix<double> vectors;
    plain.svd(s, v, svdIterations, false);
    full.svd(reference, vectors, svdIterations, true);
    EXPECT_EQ(maxDifference(v, matrixOf({{5.0}})), 0.0);
    EXPECT_LE(maxDifference(s, reference), 20.0 * 6 * unitRoundoff * reference[0]);
}

TEST(Svd, OfAViewWorksInsideItsBlock) {
    Matrix<double> frame(5, 4);
    frame.fill(notANumber);
    Matrix<double> view = frame(Range(1, 3, 1), Range(1, 2, 1));
    MatrixSoft<double>(view).operator=(matrixOf({{3.0, 0.0}, {0.0, 4.0}, {0.0, 0.0}}));
    Vector<double> s;
    Matrix<double> v;
    view.svd(s, v, svdIterations, true);
    EXPECT_EQ(maxDifference(s, vectorOf({4.0, 3.0})), 0.0);
    EXPECT_TRUE(std::isnan(frame(0, 1)));
    EXPECT_TRUE(std::isnan(frame(4, 2)));
    EXPECT_FALSE(std::isnan(frame(1, 1)));
}

TEST(Svd, OfMatricesWithoutElementsIsEmptyOrTheIdentity) {
    Vector<double> s;
    Matrix<double> v;
    Matrix<double> none;
    none.svd(s, v, svdIterations, true);
    EXPECT_EQ(s.size(), 0);
    EXPECT_EQ(v.rows(), 0);
    Matrix<double> tall(3, 0);
    tall.svd(s, v, svdIterations, true);
    EXPECT_EQ(s.size(), 0);
    Matrix<double> wide(0, 2);
    wide.svd(s, v, svdIterations, true);
    EXPECT_EQ(s.size(), 2);
    EXPECT_EQ(maxDifference(v, matrixOf({{1.0, 0.0}, {0.0, 1.0}})), 0.0);
}

TEST(Svd, OfNaNOrInfinityIsAFailure) {
    for (const double bad : {notANumber, infinity, -infinity}) {
        Matrix<double> m = matrixOf({{1.0, 2.0}, {3.0, bad}});
        Vector<double> s;
        Matrix<double> v;
        expectXmsg([&] { m.svd(s, v, svdIterations, true); }, 11, "Matrix SVD");
        expectXmsg([&] { pseudoInverse(m, -1.0); }, 11, "Matrix SVD");
    }
}

TEST(Svd, OfATransposedMatrixIsRefused) {
    Matrix<double> m = matrixOf({{1.0, 2.0}, {3.0, 4.0}}).transpose();
    const Matrix<double> before(m);
    Vector<double> s;
    Matrix<double> v;
    expectXmsg([&] { m.svd(s, v, svdIterations, true); }, 9, "Matrix: get data for Fortran call");
    EXPECT_TRUE(identical(m, before));
}

TEST(Svd, OfACopyLeavesItsMatrixAlone) {
    NormalNumbers numbers(33);
    const Matrix<double> a = randomMatrix(4, 3, numbers);
    const Matrix<double> before(a);
    Vector<double> s;
    Matrix<double> v;
    const Matrix<double> u = QorMathLA::svdCopy(a.transpose(), s, v, svdIterations, true);
    EXPECT_TRUE(identical(a, before));
    EXPECT_EQ(u.rows(), 3);
    EXPECT_EQ(u.cols(), 4);
}

TEST(PseudoInverse, HasThePropertiesOfPenrose) {
    NormalNumbers numbers(34);
    for (const auto& [m, n] :
         {std::pair(1, 1), std::pair(4, 4), std::pair(7, 3), std::pair(3, 7), std::pair(30, 20), std::pair(20, 30)}) {
        std::vector<double> values;
        for (int k = 0; k < std::min(m, n); ++k) {
            values.push_back(2.0 / (1.0 + k));
        }
        const Matrix<double> a = randomWithSingularValues(m, n, values, numbers);
        const Matrix<double> x = pseudoInverse(a, -1.0);
        ASSERT_EQ(x.rows(), n);
        ASSERT_EQ(x.cols(), m);
        const double condition = frobeniusNorm(a) * frobeniusNorm(x);
        const double bound = 20.0 * std::max(m, n) * unitRoundoff * condition;
        const Matrix<double> ax = a * x;
        const Matrix<double> xa = x * a;
        EXPECT_LE(frobeniusNorm(differenceOf(ax * a, a)), bound * frobeniusNorm(a));
        EXPECT_LE(frobeniusNorm(differenceOf(xa * x, x)), bound * frobeniusNorm(x));
        EXPECT_LE(frobeniusNorm(differenceOf(ax, ax.transpose())), bound);
        EXPECT_LE(frobeniusNorm(differenceOf(xa, xa.transpose())), bound);
    }
}

TEST(PseudoInverse, OfAZeroMatrixIsZero) {
    const Matrix<double> zeros = QorMathLA::zeroMatrix(3, 2);
    for (const double tolerance : {-1.0, 0.0, 0.5, infinity}) {
        EXPECT_EQ(maxDifference(pseudoInverse(zeros, tolerance), QorMathLA::zeroMatrix(2, 3)), 0.0);
    }
}

TEST(PseudoInverse, CutsByTheToleranceRelativeToTheLargest) {
    const Matrix<double> a = matrixOf({{1.0, 0.0}, {0.0, 1e-20}});
    EXPECT_EQ(maxDifference(pseudoInverse(a, -1.0), matrixOf({{1.0, 0.0}, {0.0, 0.0}})), 0.0);
    EXPECT_EQ(maxDifference(pseudoInverse(a, notANumber), matrixOf({{1.0, 0.0}, {0.0, 0.0}})), 0.0);
    EXPECT_LE(maxDifference(pseudoInverse(a, 0.0), matrixOf({{1.0, 0.0}, {0.0, 1e20}})), 20.0 * unitRoundoff * 1e20);
    const Matrix<double> b = matrixOf({{8.0, 0.0}, {0.0, 2.0}});
    EXPECT_EQ(maxDifference(pseudoInverse(b, 0.25), matrixOf({{0.125, 0.0}, {0.0, 0.5}})),
              0.0);  // at the cut-off stays
    EXPECT_EQ(maxDifference(pseudoInverse(b, 0.26), matrixOf({{0.125, 0.0}, {0.0, 0.0}})), 0.0);
}

TEST(PseudoInverse, WithoutElementsHasTheTransposedShape) {
    for (const auto& [m, n] : {std::pair(0, 0), std::pair(3, 0), std::pair(0, 3)}) {
        const Matrix<double> x = pseudoInverse(Matrix<double>(m, n), -1.0);
        EXPECT_EQ(x.rows(), n);
        EXPECT_EQ(x.cols(), m);
    }
}

TEST(PseudoInverse, TakesATransposedView) {
    const Matrix<double> a = matrixOf({{1.0, 2.0}, {0.0, 4.0}});
    EXPECT_LE(maxDifference(pseudoInverse(a.transpose(), -1.0), matrixOf({{1.0, 0.0}, {-0.5, 0.25}})),
              20.0 * 2 * unitRoundoff * 5.0);
}

TEST(Balance, ScalesByPowersOfTwoAndKeepsTheDiagonal) {
    Matrix<double> m = matrixOf({{1.0, 1e6}, {1e-6, 2.0}});
    EXPECT_EQ(&m.balance(), &m);
    EXPECT_EQ(m(0, 0), 1.0);
    EXPECT_EQ(m(1, 1), 2.0);
    EXPECT_NEAR(m(0, 1) * m(1, 0), 1.0, 10.0 * unitRoundoff);
    int exponent = 0;
    EXPECT_EQ(std::frexp(m(0, 1) / 1e6, &exponent), 0.5);
    EXPECT_LT(std::fabs(m(0, 1)), 10.0);
}

TEST(Balance, DoesNotPermute) {
    const Matrix<double> triangular = matrixOf({{1.0, 0.0, 0.0}, {1.0, 2.0, 0.0}, {1.0, 1.0, 3.0}});
    Matrix<double> m(triangular);
    m.balance();
    for (int k = 0; k < 3; ++k) {
        EXPECT_EQ(m(k, k), k + 1.0);
        for (int j = k + 1; j < 3; ++j) {
            EXPECT_EQ(m(k, j), 0.0);
        }
    }
}

TEST(Hessenberg, KeepsTheEigenvaluesAndTheNorm) {
    NormalNumbers numbers(35);
    for (const int n : {1, 2, 3, 10, 35}) {
        const Matrix<double> a = randomMatrix(n, n, numbers);
        Matrix<double> h(a);
        EXPECT_EQ(&h.hessenberg(), &h);
        double trace = 0.0;
        for (int j = 0; j < n; ++j) {
            trace += h(j, j) - a(j, j);
            for (int i = j + 2; i < n; ++i) {
                h(i, j) = 0.0;
            }
        }
        const double bound = 20.0 * n * unitRoundoff * frobeniusNorm(a);
        EXPECT_NEAR(frobeniusNorm(h), frobeniusNorm(a), bound);
        EXPECT_NEAR(trace, 0.0, std::sqrt(n) * bound);
    }
}

TEST(HessenbergEigenvalues, ReadNothingBelowTheSubdiagonal) {
    Matrix<double> h = matrixOf({{1.0, 2.0, 3.0}, {0.0, 4.0, 5.0}, {notANumber, 0.0, 6.0}});
    Vector<double> re;
    Vector<double> im;
    EXPECT_EQ(&h.hessenbergEigenvalues(re, im, eigenvalueIterations), &h);
    EXPECT_EQ(maxDifference(re, vectorOf({1.0, 4.0, 6.0})), 0.0);
    EXPECT_EQ(im.sumAbs(), 0.0);
}

TEST(Eigenvalues, OfARotationAreAPairWithThePositiveImaginaryPartFirst) {
    Matrix<double> m = matrixOf({{0.0, 1.0}, {-1.0, 0.0}});
    Vector<double> re;
    Vector<double> im;
    m.eigenvalues(re, im, eigenvalueIterations);
    EXPECT_EQ(maxDifference(re, vectorOf({0.0, 0.0})), 0.0);
    EXPECT_EQ(maxDifference(im, vectorOf({1.0, -1.0})), 0.0);
}

TEST(Eigenvalues, OfNormalMatricesAreThoseThatWereBuiltIn) {
    NormalNumbers numbers(36);
    for (const int pairs : {0, 1, 4, 12}) {
        std::vector<std::complex<double>> expected = {{0.5, 0.0}, {-2.0, 0.0}};
        for (int k = 0; k < pairs; ++k) {
            expected.emplace_back(numbers.normal(), 0.1 + numbers.uniform());
        }
        Matrix<double> a = randomWithEigenvalues(expected, 0.0, numbers);
        const int n = a.rows();
        const double norm = frobeniusNorm(a);
        Vector<double> re;
        Vector<double> im;
        a.eigenvalues(re, im, eigenvalueIterations);
        ASSERT_EQ(re.size(), n);
        for (const std::complex<double>& value : expected) {
            double distance = infinity;
            for (int k = 0; k < n; ++k) {
                distance = std::min(distance, std::abs(std::complex<double>(re[k], im[k]) - value));
            }
            EXPECT_LE(distance, 20.0 * n * unitRoundoff * norm);
        }
        for (int k = 0; k < n; ++k) {
            if (im[k] > 0.0) {
                EXPECT_EQ(re[k + 1], re[k]);
                EXPECT_EQ(im[k + 1], -im[k]);
            }
        }
    }
}

TEST(Eigenvalues, OfAMatrixWithoutElementsAreNone) {
    Matrix<double> m;
    Vector<double> re = vectorOf({1.0});
    Vector<double> im;
    m.eigenvalues(re, im, eigenvalueIterations);
    EXPECT_EQ(re.size(), 0);
    EXPECT_EQ(im.size(), 0);
}

TEST(Eigenvalues, OfNaNOrInfinityAreAFailure) {
    for (const double bad : {notANumber, infinity}) {
        Matrix<double> m = matrixOf({{1.0, bad}, {2.0, 3.0}});
        Vector<double> re;
        Vector<double> im;
        expectXmsg([&] { m.eigenvalues(re, im, eigenvalueIterations); }, 11, "Matrix balance");
        expectXmsg([&] { m.hessenbergEigenvalues(re, im, eigenvalueIterations); }, 11, "Hessenburg Matrix eigenvalues");
        for (const int n : {2, 5, 200}) {  // the reduction does not iterate: it comes back
            Matrix<double> large(n, n);
            large.fill(1.0);
            large(n - 1, 0) = bad;
            EXPECT_EQ(&large.hessenberg(), &large);
        }
    }
}

TEST(Eigenvalues, OfAHessenbergMatrixWithNaNOnTheSubdiagonalAreAFailure) {
    for (const double bad : {notANumber, infinity, -infinity}) {
        Matrix<double> h = matrixOf({{1.0, 2.0, 3.0}, {4.0, 5.0, 6.0}, {0.0, bad, 7.0}});
        Vector<double> re;
        Vector<double> im;
        expectXmsg([&] { h.hessenbergEigenvalues(re, im, eigenvalueIterations); }, 11, "Hessenburg Matrix eigenvalues");
    }
}

TEST(Eigenvalues, StepsOnATransposedMatrixAreRefusedBeforeAnyWork) {
    const std::string message = "Matrix: get data for Fortran call";
    const Matrix<double> a = matrixOf({{1.0, 2.0}, {3.0, 4.0}});
    Matrix<double> m = a.transpose();
    Vector<double> re = vectorOf({7.0});
    Vector<double> im = vectorOf({8.0});
    expectXmsg([&] { m.balance(); }, 9, message);
    expectXmsg([&] { m.hessenberg(); }, 9, message);
    expectXmsg([&] { m.hessenbergEigenvalues(re, im, eigenvalueIterations); }, 9, message);
    EXPECT_EQ(maxDifference(a, matrixOf({{1.0, 2.0}, {3.0, 4.0}})), 0.0);
    EXPECT_EQ(re[0], 7.0);
    EXPECT_EQ(im[0], 8.0);
}

TEST(Eigenvalues, StepsOnAMatrixThatIsNotSquareAreAFailure) {
    Vector<double> re;
    Vector<double> im;
    for (const auto& [m, n] : {std::pair(2, 3), std::pair(3, 2), std::pair(0, 2)}) {
        Matrix<double> a = QorMathLA::zeroMatrix(m, n);
        expectXmsg([&] { a.balance(); }, 11, "Matrix balance");
        expectXmsg([&] { a.hessenberg(); }, 11, "Matrix Hessenburg reduction");
        expectXmsg([&] { a.hessenbergEigenvalues(re, im, eigenvalueIterations); }, 11, "Hessenburg Matrix eigenvalues");
    }
}

TEST(DenseFactorisations, RefuseStridedViewsWithTheIntMinusOne) {
    Matrix<double> a = QorMathLA::zeroMatrix(6, 6);
    a.rowRange = Range(0, 4, 2);
    a.colRange = Range(0, 2, 1);
    Vector<double> s;
    Matrix<double> v;
    EXPECT_THROW(a.svd(s, v, svdIterations, true), int);
    EXPECT_THROW(a.balance(), int);
    EXPECT_THROW(a.hessenberg(), int);
    EXPECT_THROW(a.hessenbergEigenvalues(s, s, eigenvalueIterations), int);
}

}  // namespace
