#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <limits>

#include <qormath/control/qor_math_control.hpp>
#include <qormath/core/arithmetic.hpp>

#include "support/failures.hpp"
#include "support/matrix_literals.hpp"
#include "support/model_families.hpp"
#include "support/transfer.hpp"

using qormath::test::expectMinusOne;
using qormath::test::expectXmsg;
using qormath::test::matrixOf;
using qormath::test::modelFamilies;
using qormath::test::stabilityOf;
using qormath::test::transferRatio;
using qormath::test::written;
using QorMathLA::Matrix;
using QorMathLA::Range;
using QorMathLA::Vector;

namespace {

// Two orthogonal similarities of 10 n eps each, the factorisation and the exchanges.
constexpr double ratioLimit = 20.0;

void separate(LTIStateSpaceModel& model) {
    QorMathControl::BlockSpectralDecompostion(model.A, model.B, model.C, model.D, model.sysType);
}

/// The eigenvalues of the part of a quasi-triangular matrix, which must end at the borders of blocks.
qormath::test::Poles polesOfPart(const Matrix<double>& a, int first, int last) {
    return qormath::test::sortedPoles(Matrix<double>(a(Range(first, last, 1), Range(first, last, 1)), true));
}

}  // namespace

TEST(BlockSpectralDecompostion, PutsMarginalAndUnstableEigenvaluesFirstAndKeepsTheTransferFunction) {
    for (const systemType type : {discreteSystem, continuousSystem}) {
        for (const auto& family : modelFamilies(type)) {
            SCOPED_TRACE(family.name);
            const LTIStateSpaceModel before = family.model;
            LTIStateSpaceModel after = before;
            separate(after);
            const int n = after.A.rows();
            ASSERT_EQ(n, before.A.rows());
            EXPECT_LE(transferRatio(before, after), ratioLimit);
            for (int j = 0; j < n; ++j) {
                for (int i = j + 2; i < n; ++i) {
                    ASSERT_EQ(after.A(i, j), 0.0);
                }
            }
            int leading = 0;
            for (const auto& pole : qormath::test::sortedPoles(before.A)) {
                leading += stabilityOf(pole, type) <= std::sqrt(0x1p-53);
            }
            ASSERT_TRUE(leading == 0 || leading == n || after.A(leading, leading - 1) == 0.0);
            for (const auto& pole : polesOfPart(after.A, 0, leading - 1)) {
                EXPECT_LE(stabilityOf(pole, type), 2.0 * std::sqrt(0x1p-53));
            }
            for (const auto& pole : polesOfPart(after.A, leading, n - 1)) {
                EXPECT_GT(stabilityOf(pole, type), 0.5 * std::sqrt(0x1p-53));
            }
        }
    }
}

TEST(BlockSpectralDecompostion, JudgesEveryTypeButDiscreteByTheRealPart) {
    Matrix<double> a = matrixOf({{-0.5, 1}, {0, 0.5}});  // stable and unstable, both of modulus 0.5
    Matrix<double> b = matrixOf({{1}, {1}});
    Matrix<double> c = matrixOf({{1, 1}});
    Matrix<double> d;
    Matrix<double> a2(a);
    Matrix<double> b2(b);
    Matrix<double> c2(c);
    QorMathControl::BlockSpectralDecompostion(a, b, c, d, static_cast<systemType>(7));
    EXPECT_NEAR(a(0, 0), 0.5, 1e-15);
    QorMathControl::BlockSpectralDecompostion(a2, b2, c2, d, discreteSystem);
    EXPECT_NEAR(a2(0, 0), -0.5, 1e-15);
}

TEST(BlockSpectralDecompostion, CountsAnEigenvalueWithinTheRootOfThePrecisionAsMarginal) {
    const double root = std::sqrt(0x1p-53);
    for (const double factor : {0.5, 2.0}) {
        Matrix<double> a = matrixOf({{0.25, 0}, {0, 1.0 - factor * root}});
        Matrix<double> b = matrixOf({{1}, {2}});
        Matrix<double> c = matrixOf({{1, 2}});
        Matrix<double> d;
        QorMathControl::BlockSpectralDecompostion(a, b, c, d, discreteSystem);
        EXPECT_EQ(a(0, 0) > 0.5, factor < 1.0);
        Matrix<double> s = matrixOf({{-1, 0}, {0, -factor * root}});
        QorMathControl::BlockSpectralDecompostion(s, b, c, d, continuousSystem);
        EXPECT_EQ(s(0, 0) > -0.5, factor < 1.0);
    }
}

TEST(BlockSpectralDecompostion, NeverReadsTheFeedthrough) {
    Matrix<double> a = matrixOf({{0.5}});
    Matrix<double> b = matrixOf({{1}});
    Matrix<double> c = matrixOf({{1}});
    Matrix<double> d = matrixOf({{std::numeric_limits<double>::quiet_NaN(), 2}, {3, 4}}).transpose();
    QorMathControl::BlockSpectralDecompostion(a, b, c, d, discreteSystem);
    EXPECT_EQ(d(1, 0), 2.0);
    EXPECT_TRUE(d.transposed);
}

TEST(BlockSpectralDecompostion, RewritesViewsInTheirBlocksAndNothingBeside) {
    const Matrix<double> block = matrixOf({{9, 9, 9, 9}, {9, 0.5, 1, 9}, {9, 0, 2, 9}, {9, 9, 9, 9}});
    Matrix<double> a = block(Range(1, 2, 1), Range(1, 2, 1));
    Matrix<double> b = matrixOf({{1}, {1}});
    Matrix<double> c = matrixOf({{1, 1}});
    Matrix<double> d;
    QorMathControl::BlockSpectralDecompostion(a, b, c, d, discreteSystem);
    EXPECT_NEAR(block(1, 1), 2.0, 1e-15);
    EXPECT_NEAR(block(2, 2), 0.5, 1e-15);
    for (int k = 0; k < 4; ++k) {
        EXPECT_EQ(block(0, k), 9.0);
        EXPECT_EQ(block(3, k), 9.0);
        EXPECT_EQ(block(k, 0), 9.0);
        EXPECT_EQ(block(k, 3), 9.0);
    }
}

TEST(BlockSpectralDecompostion, RefusesTransposedMatricesBeforeAnythingIsWritten) {
    for (const int which : {0, 1, 2}) {
        Matrix<double> a = matrixOf({{0.5, 1}, {0, 2}});
        Matrix<double> b = matrixOf({{1, 0}, {1, 1}});
        Matrix<double> c = matrixOf({{1, 1}, {0, 1}});
        Matrix<double> d;
        Matrix<double>& turned = which == 0 ? a : which == 1 ? b : c;
        turned = turned.transpose();
        const std::string before = written(a) + written(b) + written(c);
        expectXmsg([&] { QorMathControl::BlockSpectralDecompostion(a, b, c, d, discreteSystem); },
                   QorMathLA::TransposedDataAccess, "Matrix: get data for Fortran call");
        EXPECT_EQ(written(a) + written(b) + written(c), before);
    }
}

TEST(BlockSpectralDecompostion, RefusesViewsWithGapsBeforeAnythingIsWritten) {
    const Matrix<double> block = matrixOf({{0.5, 7, 1, 7}, {7, 7, 7, 7}, {0, 7, 2, 7}, {7, 7, 7, 7}});
    const std::string before = written(block);
    for (const int which : {0, 1, 2}) {
        Matrix<double> a = matrixOf({{0.5, 1}, {0, 2}});
        Matrix<double> b = matrixOf({{1, 0}, {1, 1}});
        Matrix<double> c = matrixOf({{1, 1}, {0, 1}});
        Matrix<double> d;
        Matrix<double> gapped = block(Range(-1, -1, 1), Range(-1, -1, 1));
        gapped.rowRange = Range(0, 3, 2);
        gapped.colRange = Range(0, 3, 2);
        expectMinusOne([&] {
            QorMathControl::BlockSpectralDecompostion(which == 0 ? gapped : a, which == 1 ? gapped : b,
                                                      which == 2 ? gapped : c, d, discreteSystem);
        });
        EXPECT_EQ(written(block), before);
        EXPECT_EQ(written(a), "2x2 [0.5 1; 0 2]");
    }
}

TEST(BlockSpectralDecompostion, ThrowsForShapesThatDoNotFit) {
    Matrix<double> d;
    const auto attempt = [&](Matrix<double> a, Matrix<double> b, Matrix<double> c) {
        expectMinusOne([&] { QorMathControl::BlockSpectralDecompostion(a, b, c, d, discreteSystem); });
    };
    attempt(matrixOf({{1, 2}}), matrixOf({{1}}), matrixOf({{1, 2}}));
    attempt(matrixOf({{1, 2}, {3, 4}}), matrixOf({{1}}), matrixOf({{1, 2}}));
    attempt(matrixOf({{1, 2}, {3, 4}}), matrixOf({{1}, {2}}), matrixOf({{1}}));
}

TEST(BlockSpectralDecompostion, ThrowsForWhatIsNotFinite) {
    Matrix<double> a = matrixOf({{1, std::numeric_limits<double>::infinity()}, {0, 2}});
    Matrix<double> b = matrixOf({{1}, {1}});
    Matrix<double> c = matrixOf({{1, 1}});
    Matrix<double> d;
    expectMinusOne([&] { QorMathControl::BlockSpectralDecompostion(a, b, c, d, discreteSystem); });
    EXPECT_EQ(written(b), "2x1 [1; 1]");
}

TEST(BlockSpectralDecompostion, OfASystemWithoutStatesDoesNothing) {
    Matrix<double> a;
    Matrix<double> b;
    Matrix<double> c;
    Matrix<double> d = matrixOf({{1}});
    QorMathControl::BlockSpectralDecompostion(a, b, c, d, discreteSystem);
    EXPECT_EQ(a.rows(), 0);
}

TEST(FromSchurToBlockDiagonalForm, AlwaysThrowsAfterTheIdentityAndTheZerosAreInPlace) {
    for (const Matrix<double>& t : {matrixOf({{1, 2}, {0, 3}}), matrixOf({{1, 2, 3}, {4, 5, 6}}), Matrix<double>()}) {
        Matrix<double> form(t);
        Matrix<double> q = matrixOf({{7, 7, 7}});
        Vector<int> blocks(9);
        int count = 42;
        expectMinusOne([&] { QorMathControl::FromSchurToBlockDiagonalForm(form, q, count, blocks); });
        const int n = t.rows();
        EXPECT_EQ(written(q), written(Matrix<double>().identity(n)));
        ASSERT_EQ(blocks.size(), n);
        EXPECT_EQ(blocks.sum(), 0);
        EXPECT_EQ(written(form), written(t));
        EXPECT_EQ(count, 42);
    }
}
