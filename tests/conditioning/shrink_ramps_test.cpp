#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <support/failures.hpp>
#include <support/matrix_literals.hpp>
#include <support/transfer.hpp>

#include <qormath/control/qor_math_control.hpp>
#include <qormath/models/lti_state_space_model.hpp>

using qormath::test::identical;
using qormath::test::matrixOf;
using QorMathLA::Matrix;
using QorMathLA::product;
using QorMathLA::zeroMatrix;

namespace {

const double root = std::sqrt(0x1p-53);

/// Two integrators of two inputs and two outputs, with feedthrough.
LTIStateSpaceModel twoRamps(systemType type) {
    const double pole = type == discreteSystem ? 1.0 : 0.0;
    return {matrixOf({{pole, 0}, {0, pole}}),
            matrixOf({{1, 2}, {-1, 1}}),
            matrixOf({{3, 1}, {0, 2}}),
            matrixOf({{5, 6}, {7, 8}}),
            type,
            1.0};
}

/// The ramp rates of two models of two states, C B, differ by no more than the rounding of two reflections.
void expectSameRates(const LTIStateSpaceModel& model, const LTIStateSpaceModel& reference) {
    const double bound =
        20 * 2 * 0x1p-53 * qormath::test::frobeniusNorm(reference.B) * qormath::test::frobeniusNorm(reference.C);
    EXPECT_LE(qormath::test::maxDifference(product(model.C, model.B), product(reference.C, reference.B)), bound);
}

}  // namespace

TEST(ShrinkRamps, KeepsTheRatesOfIndependentRampsAndClearsTheFeedthrough) {
    for (const systemType type : {discreteSystem, continuousSystem}) {
        const LTIStateSpaceModel before = twoRamps(type);
        LTIStateSpaceModel model = before;
        QorMathControl::ShrinkRamps(model, root);
        EXPECT_EQ(model.A.rows(), 2);
        expectSameRates(model, before);
        EXPECT_TRUE(identical(model.D, zeroMatrix(2, 2)));
        EXPECT_EQ(model.sysType, type);
    }
}

TEST(ShrinkRamps, MergesRampsThatMoveTogether) {
    // The second state follows the first, so one of the two is not controllable apart from it.
    for (const systemType type : {discreteSystem, continuousSystem}) {
        LTIStateSpaceModel before = twoRamps(type);
        before.B = matrixOf({{1, 2}, {2, 4}});
        LTIStateSpaceModel model = before;
        QorMathControl::ShrinkRamps(model, root);
        EXPECT_EQ(model.A.rows(), 1);
        expectSameRates(model, before);
    }
}

TEST(ShrinkRamps, MergesRampsThatTheOutputsDoNotTellApart) {
    for (const systemType type : {discreteSystem, continuousSystem}) {
        LTIStateSpaceModel before = twoRamps(type);
        before.C = matrixOf({{1, 2}, {2, 4}});
        LTIStateSpaceModel model = before;
        QorMathControl::ShrinkRamps(model, root);
        EXPECT_EQ(model.A.rows(), 1);
        expectSameRates(model, before);
    }
}

TEST(ShrinkRamps, LeavesTheDiagonalOfAContinuousModel) {
    LTIStateSpaceModel model(matrixOf({{0.25}}), matrixOf({{1}}), matrixOf({{1}}), matrixOf({{1}}), continuousSystem,
                             1.0);
    QorMathControl::ShrinkRamps(model, root);
    EXPECT_EQ(model.A(0, 0), 0.25);
    model.sysType = static_cast<systemType>(-3);
    QorMathControl::ShrinkRamps(model, root);
    EXPECT_EQ(model.A(0, 0), 0.25);
}

TEST(ShrinkRamps, SetsEveryDiagonalElementOfADiscreteModelToOne) {
    LTIStateSpaceModel model(matrixOf({{1.5, 0}, {0, -1.25}}), matrixOf({{1}, {1}}), matrixOf({{1, 1}}),
                             matrixOf({{1}}), discreteSystem, 1.0);
    QorMathControl::ShrinkRamps(model, root);
    ASSERT_EQ(model.A.rows(), 2);
    EXPECT_EQ(model.A(0, 0), 1.0);
    EXPECT_EQ(model.A(1, 1), 1.0);
}

TEST(ShrinkRamps, DropsAllStatesWhereNoneIsControllable) {
    for (const systemType type : {discreteSystem, continuousSystem}) {
        LTIStateSpaceModel model = twoRamps(type);
        model.B = zeroMatrix(2, 2);
        QorMathControl::ShrinkRamps(model, root);
        EXPECT_EQ(model.A.rows(), 0);
        EXPECT_EQ(model.B.rows(), 0);
        EXPECT_EQ(model.B.cols(), 2);
        EXPECT_EQ(model.C.rows(), 2);
        EXPECT_EQ(model.C.cols(), 0);
        EXPECT_TRUE(identical(model.D, zeroMatrix(2, 2)));
    }
}

TEST(ShrinkRamps, DropsAllStatesWhereNoneIsObservable) {
    LTIStateSpaceModel model = twoRamps(discreteSystem);
    model.C = zeroMatrix(2, 2);
    QorMathControl::ShrinkRamps(model, root);
    EXPECT_EQ(model.A.rows(), 0);
    EXPECT_EQ(model.B.cols(), 2);
    EXPECT_EQ(model.C.rows(), 2);
}

TEST(ShrinkRamps, DropsAllStatesWithoutInputsOrWithoutOutputs) {
    LTIStateSpaceModel noInputs = twoRamps(discreteSystem);
    noInputs.B = Matrix<double>(2, 0);
    noInputs.D = Matrix<double>(2, 0);
    QorMathControl::ShrinkRamps(noInputs, root);
    EXPECT_EQ(noInputs.A.rows(), 0);
    EXPECT_EQ(noInputs.C.rows(), 2);
    LTIStateSpaceModel noOutputs = twoRamps(continuousSystem);
    noOutputs.C = Matrix<double>(0, 2);
    noOutputs.D = Matrix<double>(0, 2);
    QorMathControl::ShrinkRamps(noOutputs, root);
    EXPECT_EQ(noOutputs.A.rows(), 0);
    EXPECT_EQ(noOutputs.B.cols(), 2);
}

TEST(ShrinkRamps, ClearsElementsBelowTheRootOfThePrecisionWhateverTheTolerance) {
    LTIStateSpaceModel model(matrixOf({{0.5 * root}}), matrixOf({{1, 0, 0}}), matrixOf({{1}, {0.9 * root}, {1e-5}}),
                             zeroMatrix(3, 3), continuousSystem, 1.0);
    QorMathControl::ShrinkRamps(model, 1e-3);
    ASSERT_EQ(model.A.rows(), 1);
    EXPECT_EQ(model.A(0, 0), 0.0);
    EXPECT_EQ(std::fabs(model.C(0, 0)), 1.0);
    EXPECT_EQ(model.C(1, 0), 0.0);
    EXPECT_EQ(std::fabs(model.C(2, 0)), 1e-5);
    model.B = matrixOf({{1, 0.9 * root, 1e-5}});
    QorMathControl::ShrinkRamps(model, 1e-3);
    EXPECT_EQ(std::fabs(model.B(0, 0)), 1.0);
    EXPECT_EQ(model.B(0, 1), 0.0);
    EXPECT_EQ(std::fabs(model.B(0, 2)), 1e-5);
}

TEST(ShrinkRamps, AcceptsAModelWithoutStates) {
    LTIStateSpaceModel empty;
    QorMathControl::ShrinkRamps(empty, root);
    EXPECT_EQ(empty.A.rows(), 0);
    LTIStateSpaceModel shaped(Matrix<double>(), Matrix<double>(0, 3), Matrix<double>(1, 0), matrixOf({{1, 1, 1}}),
                              discreteSystem, 1.0);
    QorMathControl::ShrinkRamps(shaped, root);
    EXPECT_EQ(shaped.B.cols(), 3);
    EXPECT_EQ(shaped.C.rows(), 1);
    EXPECT_TRUE(identical(shaped.D, zeroMatrix(1, 3)));
}

TEST(ShrinkRamps, RefusesATransposedMatrix) {
    LTIStateSpaceModel model = twoRamps(discreteSystem);
    model.B = model.B.transpose();
    qormath::test::expectXmsg([&] { QorMathControl::ShrinkRamps(model, root); }, QorMathLA::TransposedDataAccess,
                              "Matrix: get data for Fortran call");
}

TEST(ShrinkRamps, OfAModelWithNaNOrInfinityThrowsTheIntMinusOneAndLeavesItAlone) {
    const double infinity = std::numeric_limits<double>::infinity();
    for (const double bad : {std::numeric_limits<double>::quiet_NaN(), infinity, -infinity}) {
        for (const auto member : {&LTIStateSpaceModel::A, &LTIStateSpaceModel::B, &LTIStateSpaceModel::C}) {
            LTIStateSpaceModel model = twoRamps(discreteSystem);
            (model.*member)(1, 0) = bad;
            const LTIStateSpaceModel before(model);
            qormath::test::expectMinusOne([&] { QorMathControl::ShrinkRamps(model, -1.0); });
            EXPECT_TRUE(identical(model.A, before.A));
            EXPECT_TRUE(identical(model.B, before.B));
            EXPECT_TRUE(identical(model.C, before.C));
            EXPECT_TRUE(identical(model.D, before.D));
        }
    }
}
