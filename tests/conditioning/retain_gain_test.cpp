#include <cmath>
#include <gtest/gtest.h>
#include <support/failures.hpp>
#include <support/matrix_literals.hpp>
#include <support/model_families.hpp>
#include <support/transfer.hpp>

#include <qormath/control/qor_math_control.hpp>
#include <qormath/models/lti_state_space_model.hpp>

using qormath::test::identical;
using qormath::test::matrixOf;
using qormath::test::maxDifference;
using qormath::test::modalModel;
using qormath::test::ModelFamily;
using qormath::test::NormalNumbers;
using qormath::test::Poles;
using QorMathLA::Matrix;
using QorMathLA::Range;
using QorMathLA::Vector;
using QorMathLA::zeroMatrix;

namespace {

const double root = std::sqrt(0x1p-53);

LTIStateSpaceModel modelOf(const Poles& poles, systemType type, int outputs = 2) {
    NormalNumbers numbers(44);
    LTIStateSpaceModel model = modalModel(poles, 2, outputs, type, numbers);
    model.sampleTime = 7.0;
    return model;
}

/// A model without dynamics of note: gain 1 in each of its channels.
LTIStateSpaceModel unitGain(systemType type = discreteSystem) {
    const double pole = type == discreteSystem ? 0.25 : -1.0;
    return {matrixOf({{pole}}), matrixOf({{0.5, 0.5}}), matrixOf({{0}, {0}}), matrixOf({{1, 1}, {1, 1}}), type, 7.0};
}

bool isCorrected(const Matrix<double>& target, double gainTolerance) {
    LTIStateSpaceModel model = unitGain();
    QorMathControl::RetainGain(model, target, -1.0, gainTolerance);
    return !identical(model, unitGain());
}

}  // namespace

TEST(RetainGain, ChangesNothingWithinTheTolerance) {
    LTIStateSpaceModel model = unitGain();
    model.B.row(0) = 0.0;  // a realisation would drop the state
    const LTIStateSpaceModel before = model;
    QorMathControl::RetainGain(model, matrixOf({{1.009, 0.991}, {1, 1}}), -1.0, 1.0);
    EXPECT_TRUE(identical(model, before));
}

TEST(RetainGain, MeasuresTheErrorInPercentOfTheTarget) {
    EXPECT_FALSE(isCorrected(matrixOf({{1.25, 1}, {1, 1}}), 20.0)) << "an error at the allowance itself is none";
    EXPECT_TRUE(isCorrected(matrixOf({{1.25, 1}, {1, 1}}), 19.9));
    EXPECT_TRUE(isCorrected(matrixOf({{1, 1}, {1, 0.8}}), 24.9));
    EXPECT_FALSE(isCorrected(matrixOf({{1, 1}, {1, 0.8}}), 25.1));
    EXPECT_FALSE(isCorrected(matrixOf({{-1, 1}, {1, 1}}), 200.1)) << "the allowance is a magnitude";
    EXPECT_FALSE(isCorrected(matrixOf({{1.25, 1}, {1, 1}}), -20.1));
}

TEST(RetainGain, AllowsTheRootOfThePrecisionAtAToleranceOfZero) {
    EXPECT_FALSE(isCorrected(matrixOf({{1.0 + 0.9 * root, 1}, {1, 1}}), 0.0));
    EXPECT_TRUE(isCorrected(matrixOf({{1.0 + 1.1 * root, 1}, {1, 1}}), 0.0));
}

TEST(RetainGain, AllowsTheRootOfThePrecisionForATargetOfZero) {
    EXPECT_TRUE(isCorrected(matrixOf({{0, 1}, {1, 1}}), 50.0));
    LTIStateSpaceModel model = unitGain();
    model.D(0, 0) = 0.9 * root;
    const LTIStateSpaceModel before = model;
    QorMathControl::RetainGain(model, matrixOf({{0, 1}, {1, 1}}), -1.0, 50.0);
    EXPECT_TRUE(identical(model, before));
}

TEST(RetainGain, RestoresTheGainOfADiscreteModelByPolesAtOneHalf) {
    LTIStateSpaceModel model = modelOf({0.9, {0.2, 0.3}}, discreteSystem);
    const LTIStateSpaceModel before = model;
    const Matrix<double> target = model.gain() + matrixOf({{0.5, -0.25}, {1, 3}});
    QorMathControl::RetainGain(model, target, -1.0, 0.0);
    ASSERT_EQ(model.A.rows(), 5);
    const Range correction(3, 4, 1);
    for (const std::complex<double>& pole : qormath::test::sortedPoles(model.A(correction, correction))) {
        EXPECT_NEAR(std::abs(pole - 0.5), 0.0, 1e-14);
    }
    // The nearest pole stands 0.1 from the limit, which multiplies the rounding by ten.
    EXPECT_LE(maxDifference(model.gain(), target), 20 * 5 * 0x1p-53 * 10 * 10);
    EXPECT_TRUE(identical(model.A(Range(0, 2, 1), Range(0, 2, 1)), before.A)) << "the plain sum, the model first";
    EXPECT_TRUE(identical(model.D, before.D));
    EXPECT_EQ(model.sampleTime, 7.0);
}

TEST(RetainGain, RestoresTheGainOfAContinuousModelTenTimesFasterThanItsMeanPole) {
    LTIStateSpaceModel model = modelOf({-0.3, {-0.9, 2.0}}, continuousSystem);
    const Matrix<double> target = model.gain() + matrixOf({{0.5, -0.25}, {1, 3}});
    QorMathControl::RetainGain(model, target, -1.0, 0.0);
    ASSERT_EQ(model.A.rows(), 5);
    const Range correction(3, 4, 1);
    for (const std::complex<double>& pole : qormath::test::sortedPoles(model.A(correction, correction))) {
        EXPECT_NEAR(std::abs(pole + 7.0), 0.0, 1e-13);
    }
    EXPECT_LE(maxDifference(model.gain(), target), 20 * 5 * 0x1p-53 * 10 * 10);
    EXPECT_EQ(model.sysType, continuousSystem);
}

TEST(RetainGain, LetsTheCorrectionOfSomeOutputsActOnTheFirstOnes) {
    LTIStateSpaceModel model = modelOf({0.9, 0.3}, discreteSystem, 3);
    const Matrix<double> gain = model.gain();
    Matrix<double> target = gain;
    target(1, 0) += 0.5;
    target(2, 1) -= 0.25;
    QorMathControl::RetainGain(model, target, -1.0, 0.0);
    ASSERT_EQ(model.A.rows(), 4);
    Matrix<double> expected = gain;
    expected(0, 0) += 0.5;
    expected(1, 1) -= 0.25;
    EXPECT_LE(maxDifference(model.gain(), expected), 20 * 4 * 0x1p-53 * 10 * 10);
}

TEST(RetainGain, CorrectsAllInputsOfABadOutput) {
    // The second element of the row is within its allowance, but its error is corrected with the row.
    LTIStateSpaceModel model = unitGain();
    const Matrix<double> target = matrixOf({{2, 1.01}, {1, 1}});
    QorMathControl::RetainGain(model, target, -1.0, 5.0);
    EXPECT_LE(maxDifference(model.gain(), target), 20 * 2 * 0x1p-53 * 10);
}

TEST(RetainGain, KeepsTheRealisationOfTheSumIfItSavesStates) {
    // The correction has the pole that the model has already.
    LTIStateSpaceModel model(matrixOf({{0.5}}), matrixOf({{1}}), matrixOf({{1}}), matrixOf({{0}}), discreteSystem, 7.0);
    QorMathControl::RetainGain(model, matrixOf({{3}}), -1.0, 0.0);
    ASSERT_EQ(model.A.rows(), 1);
    EXPECT_NEAR(model.A(0, 0), 0.5, 1e-14);
    EXPECT_NEAR(model.gain()(0, 0), 3.0, 1e-14);
    EXPECT_EQ(model.sampleTime, 7.0);
}

TEST(RetainGain, HandsTheRealisationToleranceToTheRealisationOfTheSum) {
    // Judged with a margin of 0.1 the two slow states of one channel are marginal and merge.
    const LTIStateSpaceModel slow(matrixOf({{0.95, 0}, {0, 0.99}}), matrixOf({{0.05}, {0.01}}), matrixOf({{1, 1}}),
                                  matrixOf({{0}}), discreteSystem, 7.0);
    LTIStateSpaceModel kept = slow;
    QorMathControl::RetainGain(kept, matrixOf({{3}}), 0.0, 0.0);
    EXPECT_EQ(kept.A.rows(), 3);
    LTIStateSpaceModel merged = slow;
    QorMathControl::RetainGain(merged, matrixOf({{3}}), 0.1, 0.0);
    EXPECT_EQ(merged.A.rows(), 2);
}

TEST(RetainGain, RestoresTheGainOfEveryStableFamily) {
    for (const systemType type : {discreteSystem, continuousSystem}) {
        for (const ModelFamily& family : qormath::test::modelFamilies(type)) {
            if (family.marginal + family.unstable > 0 || family.name.starts_with("no ")) {
                continue;
            }
            SCOPED_TRACE(family.name);
            LTIStateSpaceModel model = family.model;
            const Matrix<double> target = model.gain() + matrixOf({{1, 0.5, -2}, {0.25, -1, 1}});
            QorMathControl::RetainGain(model, target, 0.0, 0.0);
            // The ringer's pole stands 0.01 from the limit: gains up to 1 / 0.01 from elements of size 1.
            EXPECT_LE(maxDifference(model.gain(), target), 20 * 8 * 0x1p-53 * 100 * 100);
        }
    }
}

TEST(RetainGain, GivesADiscreteModelWithoutStatesTheCorrectionAlone) {
    LTIStateSpaceModel model;
    model.D = matrixOf({{1, 2}});
    QorMathControl::RetainGain(model, matrixOf({{1, 4}}), -1.0, 0.0);
    EXPECT_EQ(model.A.rows(), 1);
    EXPECT_NEAR(model.gain()(0, 1), 4.0, 1e-14);
    EXPECT_NEAR(model.gain()(0, 0), 1.0, 1e-14);
}

TEST(RetainGain, ThrowsMinusOneForAContinuousModelWithoutStates) {
    LTIStateSpaceModel model;
    model.D = matrixOf({{1, 2}});
    model.sysType = continuousSystem;
    const LTIStateSpaceModel before = model;
    qormath::test::expectMinusOne([&] { QorMathControl::RetainGain(model, matrixOf({{1, 4}}), -1.0, 0.0); });
    EXPECT_TRUE(identical(model, before)) << "the mean of no poles is not a number";
    QorMathControl::RetainGain(model, matrixOf({{1, 2}}), -1.0, 0.0);
    EXPECT_TRUE(identical(model, before)) << "without an error no mean is taken";
}

TEST(RetainGain, ChangesNothingWhereTheMeanPoleIsZero) {
    LTIStateSpaceModel model = modelOf({1.0, -1.0}, continuousSystem);
    const LTIStateSpaceModel before = model;
    QorMathControl::RetainGain(model, model.gain() + matrixOf({{1, 1}, {1, 1}}), -1.0, 0.0);
    EXPECT_TRUE(identical(model, before));
}

TEST(RetainGain, AddsAnUnstableCorrectionWhereTheMeanPoleIsPositive) {
    LTIStateSpaceModel model = modelOf({0.5}, continuousSystem);
    QorMathControl::RetainGain(model, model.gain() + matrixOf({{1, 0}, {0, 1}}), -1.0, 0.0);
    const Poles poles = qormath::test::sortedPoles(model.A);
    ASSERT_EQ(poles.size(), 3u);
    EXPECT_NEAR(poles[2].real(), 5.0, 1e-13);
}

TEST(RetainGain, KeepsACorrectionThatIsSmallBesideAnother) {
    // The correction is realised at tolerances of zero: at the default ones a marginal state whose input is below the
    // root of the precision, relative to the largest, would go.
    LTIStateSpaceModel model = modelOf({0.5}, continuousSystem);
    QorMathControl::RetainGain(model, model.gain() + matrixOf({{1e3, 0}, {0, 2 * root}}), 0.0, 0.0);
    EXPECT_EQ(model.A.rows(), 3);
}

TEST(RetainGain, TakesEveryTimeBaseButDiscreteForContinuous) {
    // The gain itself is that of a discrete model, for which every value but continuousSystem acts as discrete.
    const auto other = static_cast<systemType>(3);
    LTIStateSpaceModel model = modelOf({-0.5}, other);
    QorMathControl::RetainGain(model, model.gain() + matrixOf({{1, 0}, {0, 1}}), -1.0, 0.0);
    const Poles poles = qormath::test::sortedPoles(model.A);
    ASSERT_EQ(poles.size(), 3u);
    EXPECT_NEAR(poles[0].real(), -5.0, 1e-13);
}

TEST(RetainGain, ThrowsMinusOneForAModelWithAnIntegrator) {
    for (const systemType type : {discreteSystem, continuousSystem}) {
        LTIStateSpaceModel model = modelOf({type == discreteSystem ? 1.0 : 0.0}, type);
        const LTIStateSpaceModel before = model;
        qormath::test::expectMinusOne([&] { QorMathControl::RetainGain(model, zeroMatrix(2, 2), -1.0, 0.0); });
        EXPECT_TRUE(identical(model, before));
    }
}

TEST(RetainGain, RefusesATargetOfAnotherShape) {
    LTIStateSpaceModel model = unitGain();
    qormath::test::expectXmsg([&] { QorMathControl::RetainGain(model, zeroMatrix(2, 3), -1.0, 0.0); },
                              QorMathLA::DimensionMismatch, "Matrix - Matrix");
    EXPECT_TRUE(identical(model, unitGain()));
}

TEST(RetainGain, HasNothingToDoWithoutInputsOrOutputs) {
    LTIStateSpaceModel noInputs(matrixOf({{0.5}}), Matrix<double>(1, 0), matrixOf({{1}, {1}}), Matrix<double>(2, 0),
                                discreteSystem, 1.0);
    QorMathControl::RetainGain(noInputs, zeroMatrix(2, 0), -1.0, 0.0);
    EXPECT_EQ(noInputs.A.rows(), 1);
    LTIStateSpaceModel noOutputs(matrixOf({{0.5}}), matrixOf({{1, 1}}), Matrix<double>(0, 1), Matrix<double>(0, 2),
                                 discreteSystem, 1.0);
    QorMathControl::RetainGain(noOutputs, zeroMatrix(0, 2), -1.0, 0.0);
    EXPECT_EQ(noOutputs.A.rows(), 1);
}
