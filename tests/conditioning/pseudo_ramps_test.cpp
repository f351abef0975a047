#include <cmath>
#include <complex>
#include <gtest/gtest.h>
#include <limits>
#include <support/control_test_access.hpp>
#include <support/failures.hpp>
#include <support/matrix_literals.hpp>
#include <support/model_families.hpp>
#include <support/transfer.hpp>

#include <qormath/models/lti_state_space_model.hpp>

using qormath::test::identical;
using qormath::test::matrixOf;
using qormath::test::modalMatrix;
using qormath::test::NormalNumbers;
using qormath::test::Poles;
using QorMathLA::Matrix;
using QorMathLA::Range;

namespace {

constexpr double tolerance = 0x1p-10;

void snap(LTIStateSpaceModel& model, double within = tolerance) {
    QorMathControlTestAccess::PseudoRamp2Ramp(model, within);
}

/// One input, one output, uncoupled modes in the order of the poles.
LTIStateSpaceModel modelOf(const Poles& poles, systemType type = discreteSystem, double sampleTime = 1.0) {
    NormalNumbers numbers(5);
    LTIStateSpaceModel model = qormath::test::modalModel(poles, 1, 1, type, numbers);
    model.sampleTime = sampleTime;
    return model;
}

/// The state matrix of a model of these poles afterwards.
Matrix<double> snapped(const Poles& poles, systemType type = discreteSystem, double sampleTime = 1.0) {
    LTIStateSpaceModel model = modelOf(poles, type, sampleTime);
    snap(model);
    return model.A;
}

}  // namespace

TEST(PseudoRamp2Ramp, MovesARealPoleWithinTheToleranceOntoTheLimitExactly) {
    for (const double part : {0.5, -0.5, 0.999, -0.999}) {
        EXPECT_EQ(snapped({1.0 + part * tolerance})(0, 0), 1.0);
        EXPECT_EQ(snapped({part * tolerance}, continuousSystem)(0, 0), 0.0);
    }
}

TEST(PseudoRamp2Ramp, LeavesARealPoleFartherAway) {
    for (const double part : {2.0, -2.0}) {
        EXPECT_EQ(snapped({1.0 + part * tolerance})(0, 0), 1.0 + part * tolerance);
        EXPECT_EQ(snapped({part * tolerance}, continuousSystem)(0, 0), part * tolerance);
    }
}

TEST(PseudoRamp2Ramp, LeavesARealPoleAtTheToleranceItself) {
    EXPECT_EQ(snapped({1.0 + tolerance})(0, 0), 1.0 + tolerance);
    EXPECT_EQ(snapped({1.0 - tolerance})(0, 0), 1.0 - tolerance);
    EXPECT_EQ(snapped({-tolerance}, continuousSystem)(0, 0), -tolerance);
}

TEST(PseudoRamp2Ramp, TakesEveryTimeBaseButDiscreteForContinuous) {
    const auto other = static_cast<systemType>(7);
    EXPECT_EQ(snapped({0.5 * tolerance}, other)(0, 0), 0.0);
    EXPECT_EQ(snapped({1.0 + 0.5 * tolerance}, other)(0, 0), 1.0 + 0.5 * tolerance);
}

TEST(PseudoRamp2Ramp, SortsADiscreteModelByModulusAndAContinuousOneByRealPart) {
    const Matrix<double> discrete = snapped({0.25, -0.75, 0.5});
    EXPECT_NEAR(discrete(0, 0), -0.75, 1e-14);
    EXPECT_NEAR(discrete(1, 1), 0.5, 1e-14);
    EXPECT_NEAR(discrete(2, 2), 0.25, 1e-14);
    const Matrix<double> continuous = snapped({0.25, -0.75, 0.5}, continuousSystem);
    EXPECT_NEAR(continuous(0, 0), 0.5, 1e-14);
    EXPECT_NEAR(continuous(1, 1), 0.25, 1e-14);
    EXPECT_NEAR(continuous(2, 2), -0.75, 1e-14);
}

TEST(PseudoRamp2Ramp, ReplacesANearlyRealPairByTwoRamps) {
    const Matrix<double> discrete = snapped({{1.0 - 0.2 * tolerance, 1e-4 * tolerance}});
    EXPECT_TRUE(identical(discrete, matrixOf({{1, 0}, {0, 1}})));
    const Matrix<double> continuous = snapped({{-0.2 * tolerance, 1e-4 * tolerance}}, continuousSystem);
    EXPECT_TRUE(identical(continuous, matrixOf({{0, 0}, {0, 0}})));
}

TEST(PseudoRamp2Ramp, LeavesAPairWithAVisibleImaginaryPart) {
    const std::complex<double> pole(1.0 - 0.2 * tolerance, 0.2 * tolerance);
    EXPECT_TRUE(identical(snapped({pole}), modalMatrix({pole})));
    const std::complex<double> slow(-0.2 * tolerance, 0.2 * tolerance);
    EXPECT_TRUE(identical(snapped({slow}, continuousSystem), modalMatrix({slow})));
}

TEST(PseudoRamp2Ramp, DrawsTheLineBetweenPairsAtADampingRatioOf99999In100000) {
    // With a real part of -x the ratio is 0.99999 at an imaginary part of x sqrt(1 / 0.99999^2 - 1) = 0.00447217 x.
    const double x = 0.25 * tolerance;
    const Matrix<double> zeros = matrixOf({{0, 0}, {0, 0}});
    EXPECT_TRUE(identical(snapped({{-x, 0.004472 * x}}, continuousSystem), zeros));
    EXPECT_FALSE(identical(snapped({{-x, 0.004473 * x}}, continuousSystem), zeros));
}

TEST(PseudoRamp2Ramp, LeavesAPairAtTheToleranceOrBelow) {
    for (const double distance : {tolerance, 2.0 * tolerance}) {
        const std::complex<double> pole(1.0 - distance, 1e-4 * distance);
        EXPECT_TRUE(identical(snapped({pole}), modalMatrix({pole})));
        const std::complex<double> slow(-distance, 1e-4 * distance);
        EXPECT_TRUE(identical(snapped({slow}, continuousSystem), modalMatrix({slow})));
    }
}

TEST(PseudoRamp2Ramp, ReplacesANearlyRealPairAtAnyDistanceBeyondTheLimit) {
    EXPECT_TRUE(identical(snapped({{3.0, 1e-6}}), matrixOf({{1, 0}, {0, 1}})));
    EXPECT_TRUE(identical(snapped({{3.0, 1e-6}}, continuousSystem), matrixOf({{0, 0}, {0, 0}})));
}

TEST(PseudoRamp2Ramp, KeepsTheCouplingAboveAPairThatItReplaces) {
    LTIStateSpaceModel model = modelOf({8.0, {3.0, 1e-6}});
    model.A(0, 1) = 0.75;
    model.A(0, 2) = -0.5;
    snap(model);
    EXPECT_TRUE(identical(model.A(Range(1, 2, 1), Range(1, 2, 1)), matrixOf({{1, 0}, {0, 1}})));
    // The Schur form may have turned the coordinates of a pair; the length of the coupling stays.
    EXPECT_NEAR(std::hypot(model.A(0, 1), model.A(0, 2)), std::hypot(0.75, 0.5), 1e-14);
}

TEST(PseudoRamp2Ramp, PassesOverTheRealPoleDirectlyBeforeAReplacedPair) {
    const double near = 1.0 + 0.5 * tolerance;
    const Matrix<double> a = snapped({near, {1.0 - 0.2 * tolerance, 1e-4 * tolerance}});
    EXPECT_EQ(a(0, 0), near);
    EXPECT_TRUE(identical(a(Range(1, 2, 1), Range(1, 2, 1)), matrixOf({{1, 0}, {0, 1}})));
}

TEST(PseudoRamp2Ramp, PassesOverTheRealPoleDirectlyBeforeAPairThatQualifiesButStays) {
    const double near = 1.0 + 0.5 * tolerance;
    const std::complex<double> pair(1.0 - 0.2 * tolerance, 0.2 * tolerance);
    EXPECT_TRUE(identical(snapped({near, pair}), modalMatrix({near, pair})));
}

TEST(PseudoRamp2Ramp, PassesOverOnePoleAlone) {
    const double farther = 1.0 + 0.6 * tolerance;
    const double near = 1.0 + 0.5 * tolerance;
    const Matrix<double> a = snapped({farther, near, {1.0 - 0.2 * tolerance, 0.2 * tolerance}});
    EXPECT_EQ(a(0, 0), 1.0);
    EXPECT_EQ(a(1, 1), near);
}

TEST(PseudoRamp2Ramp, MovesTheRealPoleBeforeAPairThatDoesNotQualify) {
    const Matrix<double> a = snapped({1.0 + 0.5 * tolerance, {0.5, 0.5}});
    EXPECT_EQ(a(0, 0), 1.0);
    EXPECT_NEAR(a(1, 1), 0.5, 1e-14);
}

TEST(PseudoRamp2Ramp, LooksAtThePairBeforeAPairThatQualifies) {
    // What is passed over is the second row of the pair before, in which there is nothing to do.
    const double visible = 1e-4 * tolerance;
    const Matrix<double> a = snapped({{1.0 + 0.5 * tolerance, visible}, {1.0 - 0.2 * tolerance, visible}});
    EXPECT_TRUE(identical(a(Range(0, 1, 1), Range(0, 1, 1)), matrixOf({{1, 0}, {0, 1}})));
    EXPECT_TRUE(identical(a(Range(2, 3, 1), Range(2, 3, 1)), matrixOf({{1, 0}, {0, 1}})));
}

TEST(PseudoRamp2Ramp, JudgesAPairAlikeAtEverySampleTimeButZero) {
    const Poles pair{{1.0 - 0.2 * tolerance, 1e-4 * tolerance}};
    const Matrix<double> identity = matrixOf({{1, 0}, {0, 1}});
    EXPECT_TRUE(identical(snapped(pair, discreteSystem, 1e-3), identity));
    EXPECT_TRUE(identical(snapped(pair, discreteSystem, -60.0), identity));
    EXPECT_TRUE(identical(snapped(pair, discreteSystem, 0.0), modalMatrix(pair))) << "the ratio is not a number";
}

TEST(PseudoRamp2Ramp, KeepsTheTransferFunctionWhereNothingIsNearTheLimit) {
    for (const systemType type : {discreteSystem, continuousSystem}) {
        for (const qormath::test::ModelFamily& family : qormath::test::modelFamilies(type)) {
            if (family.marginal > 0) {
                continue;
            }
            SCOPED_TRACE(family.name);
            LTIStateSpaceModel model = family.model;
            snap(model, 1e-8);
            EXPECT_LE(qormath::test::transferRatio(family.model, model), 20.0);
            EXPECT_TRUE(identical(model.D, family.model.D));
            for (int i = 2; i < model.A.rows(); ++i) {
                EXPECT_EQ(model.A(i, i - 2), 0.0);
            }
        }
    }
}

TEST(PseudoRamp2Ramp, KeepsTheShapesOfAModelWithoutStates) {
    LTIStateSpaceModel shaped(Matrix<double>(), Matrix<double>(0, 3), Matrix<double>(2, 0), Matrix<double>(2, 3),
                              discreteSystem, 1.0);
    snap(shaped);
    EXPECT_EQ(shaped.A.rows(), 0);
    EXPECT_EQ(shaped.B.cols(), 3);
    EXPECT_EQ(shaped.C.rows(), 2);
    LTIStateSpaceModel empty;
    snap(empty);
    EXPECT_EQ(empty.A.rows() + empty.B.cols() + empty.C.rows(), 0);
}

TEST(PseudoRamp2Ramp, LeavesTheModelUnchangedIfTheSchurFormFails) {
    LTIStateSpaceModel model = modelOf({1.0 + 0.5 * tolerance, 0.5});
    model.A(0, 1) = std::numeric_limits<double>::quiet_NaN();
    const LTIStateSpaceModel before = model;
    qormath::test::expectMinusOne([&] { snap(model); });
    EXPECT_TRUE(identical(model, before));
}
