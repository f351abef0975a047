#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <support/failures.hpp>
#include <support/matrix_literals.hpp>
#include <support/model_families.hpp>
#include <support/transfer.hpp>

#include <qormath/control/qor_math_control.hpp>
#include <qormath/models/lti_state_space_model.hpp>

using qormath::test::expectMinusOne;
using qormath::test::expectXmsg;
using qormath::test::identical;
using qormath::test::matrixOf;
using qormath::test::modalModel;
using qormath::test::NormalNumbers;
using QorMathLA::Matrix;
using QorMathLA::Vector;
using QorMathLA::zeroMatrix;

namespace {

constexpr double byDefault = -1.0;

/// A model and the Hankel singular values that a reduction finds.
struct Reduced {
    LTIStateSpaceModel model;
    Vector<double> hsv;
};

void reduce(Reduced& reduced, int order, double alpha = byDefault, double tolerance = 0.0,
            reductionType type = reductionBalancedShrink) {
    LTIStateSpaceModel& model = reduced.model;
    QorMathControl::ModelReduction(model.A, model.B, model.C, model.D, reduced.hsv, type, model.sysType, order, alpha,
                                   tolerance);
}

Reduced plant(const qormath::test::Poles& poles, systemType type = discreteSystem) {
    NormalNumbers numbers(12);
    return {qormath::test::hidden(modalModel(poles, 2, 2, type, numbers), numbers), Vector<double>()};
}

const qormath::test::Poles fourStable{0.9, 0.6, 0.3, -0.4};

}  // namespace

TEST(ModelReduction, ReducesToTheWantedOrderWithinTheErrorBound) {
    for (int order = 1; order <= 3; ++order) {
        Reduced reduced = plant(fourStable);
        const LTIStateSpaceModel before = reduced.model;
        reduce(reduced, order);
        EXPECT_EQ(reduced.model.A.rows(), order);
        EXPECT_EQ(reduced.model.A.cols(), order);
        EXPECT_EQ(reduced.model.B.rows(), order);
        EXPECT_EQ(reduced.model.C.cols(), order);
        ASSERT_EQ(reduced.hsv.size(), 4);
        double discarded = 0.0;
        for (int k = order; k < 4; ++k) {
            discarded += reduced.hsv[k];
        }
        for (const double z : {-1.0, 1.0}) {
            EXPECT_LE(qormath::test::maxDifference(qormath::test::transferAt(before, z),
                                                   qormath::test::transferAt(reduced.model, z)),
                      2.0 * discarded);
        }
        EXPECT_TRUE(identical(reduced.model.D, before.D));
    }
}

TEST(ModelReduction, GivesTheHankelSingularValuesLargestFirst) {
    // One state a channel: |c b| / (1 - a^2).
    Reduced reduced{{matrixOf({{0.5, 0}, {0, 0.25}}), matrixOf({{3, 0}, {0, 45}}), matrixOf({{1, 0}, {0, 1}}),
                     zeroMatrix(2, 2), discreteSystem, 1.0},
                    Vector<double>()};
    reduce(reduced, 0);
    ASSERT_EQ(reduced.hsv.size(), 2);
    EXPECT_NEAR(reduced.hsv[0], 48.0, 20 * 2 * 0x1p-53 * 48.0);
    EXPECT_NEAR(reduced.hsv[1], 4.0, 20 * 2 * 0x1p-53 * 48.0);
}

TEST(ModelReduction, CutsAnOrderAboveTheStatesToTheirNumber) {
    Reduced reduced = plant(fourStable);
    reduce(reduced, 1000);
    EXPECT_EQ(reduced.model.A.rows(), 4);
}

TEST(ModelReduction, FixesAnOrderAboveTheStatesWhateverTheTolerance) {
    // Automatic selection with this tolerance would keep no stable state.
    Reduced fixed = plant(fourStable);
    reduce(fixed, 1000, byDefault, 1e6);
    EXPECT_EQ(fixed.model.A.rows(), 4);
    Reduced automatic = plant(fourStable);
    reduce(automatic, 0, byDefault, 1e6);
    EXPECT_EQ(automatic.model.A.rows(), 0);
}

TEST(ModelReduction, SelectsAutomaticallyForOrdersOfZeroAndBelow) {
    for (const int order : {0, -1, -1000}) {
        Reduced reduced = plant(fourStable);
        reduced.model.B.fill(0.0);
        reduce(reduced, order);
        EXPECT_EQ(reduced.model.A.rows(), 0);
        EXPECT_EQ(reduced.model.B.cols(), 2);
        EXPECT_EQ(reduced.model.C.rows(), 2);
        EXPECT_EQ(reduced.hsv.size(), 4);
    }
}

TEST(ModelReduction, TakesANegativeToleranceForTheDefault) {
    Reduced reduced = plant(fourStable);
    reduce(reduced, 0, byDefault, -5.0);
    EXPECT_EQ(reduced.model.A.rows(), 4);
}

TEST(ModelReduction, DropsWhatLiesBelowTheResidualTolerance) {
    Reduced probe = plant(fourStable);
    reduce(probe, 0);
    const double between = std::sqrt(probe.hsv[1] * probe.hsv[2]);
    Reduced reduced = plant(fourStable);
    reduce(reduced, 0, byDefault, between);
    EXPECT_EQ(reduced.model.A.rows(), 2);
}

TEST(ModelReduction, UsesABoundaryOfMinusNineTenthsAsItStands) {
    // A continuous pole at -0.5 lies beyond -0.9 and inside the default.
    Reduced reduced = plant({-0.5, -2.0}, continuousSystem);
    reduce(reduced, 0, -0.9);
    EXPECT_EQ(reduced.hsv.size(), 1);
    reduced = plant({-0.5, -2.0}, continuousSystem);
    reduce(reduced, 0, -0.90001);
    EXPECT_EQ(reduced.hsv.size(), 2);
    // Every modulus lies beyond a negative one.
    reduced = plant({0.5, 0.25});
    reduce(reduced, 0, -0.9);
    EXPECT_EQ(reduced.hsv.size(), 0);
    reduced = plant({0.5, 0.25});
    reduce(reduced, 0, -0.90001);
    EXPECT_EQ(reduced.hsv.size(), 2);
}

TEST(ModelReduction, PutsTheDefaultBoundaryARootOfThePrecisionInsideTheLimit) {
    const double root = std::sqrt(0x1p-53);
    for (const auto& [distance, stableCount] : {std::pair(0.5 * root, 0), std::pair(2.0 * root, 1)}) {
        Reduced discrete = plant({1.0 - distance});
        reduce(discrete, 0);
        EXPECT_EQ(discrete.hsv.size(), stableCount);
        Reduced continuous = plant({-distance}, continuousSystem);
        reduce(continuous, 0);
        EXPECT_EQ(continuous.hsv.size(), stableCount);
        Reduced other = plant({-distance}, static_cast<systemType>(2));
        reduce(other, 0);
        EXPECT_EQ(other.hsv.size(), stableCount) << "every time base but discrete acts as continuous";
    }
}

TEST(ModelReduction, LeavesNoHankelSingularValueWithoutStablePart) {
    Reduced reduced = plant({2.0, -3.0, 1.0});
    const LTIStateSpaceModel before = reduced.model;
    reduce(reduced, 0);
    EXPECT_EQ(reduced.hsv.size(), 0);
    EXPECT_EQ(reduced.model.A.rows(), 3);
    EXPECT_LE(qormath::test::maxDifference(qormath::test::transferAt(before, 8.0),
                                           qormath::test::transferAt(reduced.model, 8.0)),
              1e-13);
}

TEST(ModelReduction, PutsTheUnstablePartFirstAndLeavesABlockDiagonal) {
    Reduced reduced = plant({0.5, 2.0, 0.25, -1.5, 0.1});
    reduce(reduced, 4);
    ASSERT_EQ(reduced.model.A.rows(), 4);
    for (int i = 0; i < 2; ++i) {
        for (int j = 2; j < 4; ++j) {
            EXPECT_EQ(reduced.model.A(i, j), 0.0);
            EXPECT_EQ(reduced.model.A(j, i), 0.0);
        }
    }
    EXPECT_GE(std::min(std::fabs(reduced.model.A(0, 0)), std::fabs(reduced.model.A(1, 1))), 1.0);
}

TEST(ModelReduction, TakesBothBalancedKindsForTheSame) {
    Reduced shrink = plant(fourStable);
    Reduced balanced = plant(fourStable);
    reduce(shrink, 2, byDefault, 0.0, reductionBalancedShrink);
    reduce(balanced, 2, byDefault, 0.0, reductionBalanced);
    EXPECT_TRUE(identical(shrink.model, balanced.model));
}

TEST(ModelReduction, RefusesTheOtherKindsAndLeavesTheSystem) {
    for (const int kind : {0, 1, 4, 5, -1}) {
        Reduced reduced = plant(fourStable);
        const LTIStateSpaceModel before = reduced.model;
        expectMinusOne([&] { reduce(reduced, 2, byDefault, 0.0, static_cast<reductionType>(kind)); });
        EXPECT_TRUE(identical(reduced.model, before));
        EXPECT_EQ(reduced.hsv.size(), 4) << "resized before the kind is looked at";
    }
}

TEST(ModelReduction, RefusesATransposedMatrixAndLeavesTheSystem) {
    for (Matrix<double> LTIStateSpaceModel::*matrix :
         {&LTIStateSpaceModel::A, &LTIStateSpaceModel::B, &LTIStateSpaceModel::C, &LTIStateSpaceModel::D}) {
        Reduced reduced = plant({0.9, 0.5});
        reduced.model.*matrix = (reduced.model.*matrix).transpose();
        const LTIStateSpaceModel before = reduced.model;
        expectXmsg([&] { reduce(reduced, 1); }, QorMathLA::TransposedDataAccess, "Matrix: get data for Fortran call");
        EXPECT_TRUE(identical(reduced.model, before));
    }
}

TEST(ModelReduction, ThrowsMinusOneForNaNAndInfinity) {
    for (const double bad : {std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity()}) {
        Reduced reduced = plant(fourStable);
        reduced.model.B(1, 0) = bad;
        expectMinusOne([&] { reduce(reduced, 0); });
    }
}

TEST(ModelReduction, ThrowsMinusOneForMatricesThatAreTooSmallForEachOther) {
    Reduced shortInput = plant(fourStable);
    shortInput.model.B = zeroMatrix(3, 2);
    expectMinusOne([&] { reduce(shortInput, 0); });
    Reduced narrowOutput = plant(fourStable);
    narrowOutput.model.C = zeroMatrix(2, 3);
    expectMinusOne([&] { reduce(narrowOutput, 0); });
    Reduced notSquare = plant(fourStable);
    notSquare.model.A = zeroMatrix(4, 3);
    expectMinusOne([&] { reduce(notSquare, 0); });
}

TEST(ModelReduction, ReadsAViewOfPartOfABlockAsWhatItShows) {
    Reduced whole = plant(fourStable);
    Reduced part = whole;
    Matrix<double> larger(7, 6);
    larger.fill(std::numeric_limits<double>::quiet_NaN());
    const QorMathLA::Range rows(2, 5, 1);
    const QorMathLA::Range cols(1, 4, 1);
    larger(rows, cols) = part.model.A;
    part.model.A = larger(rows, cols);
    reduce(part, 2);
    reduce(whole, 2);
    EXPECT_TRUE(identical(part.model, whole.model));
    EXPECT_TRUE(std::isnan(larger(0, 0)));
}

TEST(ModelReduction, AcceptsASystemWithoutStatesInEveryEmptyForm) {
    Reduced empty;
    reduce(empty, 3);
    EXPECT_EQ(empty.model.A.rows(), 0);
    EXPECT_EQ(empty.hsv.size(), 0);
    Reduced shaped{
        {Matrix<double>(), Matrix<double>(0, 3), Matrix<double>(2, 0), zeroMatrix(2, 3), discreteSystem, 1.0},
        Vector<double>(4)};
    reduce(shaped, 0);
    EXPECT_EQ(shaped.model.B.cols(), 3);
    EXPECT_EQ(shaped.model.C.rows(), 2);
    EXPECT_EQ(shaped.hsv.size(), 0);
}

TEST(BalanceABC, ScalesByASimilarityInPowersOfTwo) {
    const Matrix<double> a0 = matrixOf({{1, 1e6, 0}, {1e-5, 2, 1e4}, {0, 1e-7, 3}});
    const Matrix<double> b0 = matrixOf({{1e5}, {1}, {1e-4}});
    const Matrix<double> c0 = matrixOf({{1e-6, 1, 1e3}});
    Matrix<double> a = a0;
    Matrix<double> b = b0;
    Matrix<double> c = c0;
    Vector<double> scale;
    QorMathControl::BalanceABC(a, b, c, scale, 10.0);
    ASSERT_EQ(scale.size(), 3);
    for (int i = 0; i < 3; ++i) {
        int exponent = 0;
        EXPECT_EQ(std::frexp(scale[i], &exponent), 0.5);
        EXPECT_EQ(b(i, 0), b0(i, 0) / scale[i]);
        EXPECT_EQ(c(0, i), c0(0, i) * scale[i]);
        for (int j = 0; j < 3; ++j) {
            EXPECT_EQ(a(i, j), a0(i, j) / scale[i] * scale[j]);
        }
    }
    const auto norm = [](const Matrix<double>& x, const Matrix<double>& y, const Matrix<double>& z) {
        return std::sqrt(x.sumSquares() + y.sumSquares() + z.sumSquares());
    };
    EXPECT_LT(norm(a, b, c), 0.1 * norm(a0, b0, c0));
}

TEST(BalanceABC, AcceptsASystemWithoutStates) {
    Matrix<double> a;
    Matrix<double> b(0, 3);
    Matrix<double> c(2, 0);
    Vector<double> scale(5);
    QorMathControl::BalanceABC(a, b, c, scale, 10.0);
    EXPECT_EQ(scale.size(), 0);
    EXPECT_EQ(b.cols(), 3);
}

TEST(BalanceABC, RefusesATransposedMatrix) {
    for (int which = 0; which < 3; ++which) {
        Matrix<double> matrices[] = {matrixOf({{1, 2}, {3, 4}}), matrixOf({{1, 2}, {3, 4}}),
                                     matrixOf({{1, 2}, {3, 4}})};
        matrices[which] = matrices[which].transpose();
        Vector<double> scale;
        expectXmsg([&] { QorMathControl::BalanceABC(matrices[0], matrices[1], matrices[2], scale, 10.0); },
                   QorMathLA::TransposedDataAccess, "Matrix: get data for Fortran call");
    }
}

TEST(BalanceABC, ThrowsMinusOneForNaNAndForAReductionBetweenZeroAndOne) {
    Matrix<double> a = matrixOf({{1, 2}, {3, 4}});
    Matrix<double> b = matrixOf({{1}, {1}});
    Matrix<double> c = matrixOf({{1, 1}});
    Vector<double> scale;
    expectMinusOne([&] { QorMathControl::BalanceABC(a, b, c, scale, 0.5); });
    a(0, 1) = std::numeric_limits<double>::quiet_NaN();
    expectMinusOne([&] { QorMathControl::BalanceABC(a, b, c, scale, 10.0); });
}

TEST(BalanceABC, ThrowsMinusOneForMatricesThatAreTooSmallForEachOther) {
    Matrix<double> a = matrixOf({{1, 2}, {3, 4}});
    Matrix<double> b = matrixOf({{1}});
    Matrix<double> c = matrixOf({{1, 1}});
    Vector<double> scale;
    expectMinusOne([&] { QorMathControl::BalanceABC(a, b, c, scale, 10.0); });
}
