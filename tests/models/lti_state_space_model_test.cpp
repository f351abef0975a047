#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <string>

#include <qormath/core/arithmetic.hpp>
#include <qormath/models/lti_state_space_model.hpp>

#include "support/matrix_literals.hpp"

using qormath::test::matrixOf;
using qormath::test::vectorOf;
using qormath::test::written;
using QorMathLA::Matrix;
using QorMathLA::Range;
using QorMathLA::Vector;
using QorMathLA::xmsg;
using QorMathLA::zeroMatrix;

namespace {

LTIStateSpaceModel firstOrder(double pole, systemType type = discreteSystem) {
    return {matrixOf({{pole}}), matrixOf({{1}}), matrixOf({{1}}), matrixOf({{0}}), type, 2.0};
}

template <class Call>
std::string messageOf(Call call) {
    try {
        call();
    } catch (const xmsg& error) {
        EXPECT_EQ(error.code, QorMathLA::DimensionMismatch);
        return error.message;
    }
    return "no xmsg";
}

}  // namespace

TEST(LTIStateSpaceModel, StartsEmptyAndDiscrete) {
    const LTIStateSpaceModel model;
    EXPECT_EQ(model.A.rows() + model.B.rows() + model.C.rows() + model.D.rows(), 0);
    EXPECT_EQ(model.sampleTime, 0.0);
    EXPECT_EQ(model.sysType, discreteSystem);
}

TEST(LTIStateSpaceModel, CopiesAreDeep) {
    const LTIStateSpaceModel model = firstOrder(0.5);
    LTIStateSpaceModel copy(model);
    LTIStateSpaceModel assigned;
    assigned = model;
    copy.A(0, 0) = 7.0;
    assigned.B(0, 0) = 7.0;
    EXPECT_EQ(model.A(0, 0), 0.5);
    EXPECT_EQ(model.B(0, 0), 1.0);
    EXPECT_EQ(assigned.sampleTime, 2.0);
}

TEST(LTIStateSpaceModel, TakesDeepCopiesOfTheMatricesItIsBuiltFrom) {
    Matrix<double> a = matrixOf({{0.5}});
    const LTIStateSpaceModel model(a, a, a, a, continuousSystem, 3.0);
    a(0, 0) = 9.0;
    EXPECT_EQ(model.A(0, 0), 0.5);
    EXPECT_EQ(model.D(0, 0), 0.5);
    EXPECT_EQ(model.sysType, continuousSystem);
    EXPECT_EQ(model.sampleTime, 3.0);
}

TEST(LTIStateSpaceModelOfFlags, IsEmptyForNoFlags) {
    const LTIStateSpaceModel model(Vector<bool>(), discreteSystem, 1.0);
    EXPECT_EQ(model.A.rows() + model.B.rows() + model.C.rows() + model.D.rows(), 0);
}

TEST(LTIStateSpaceModelOfFlags, IntegratesEveryChannelIfAllFlagsAreTrue) {
    const Vector<bool> flags = vectorOf<bool>({true, true, true});
    const std::string identity = "3x3 [1 0 0; 0 1 0; 0 0 1]";
    const std::string zero = "3x3 [0 0 0; 0 0 0; 0 0 0]";
    const LTIStateSpaceModel continuous(flags, continuousSystem, 1.0);
    EXPECT_EQ(written(continuous.A), zero);
    EXPECT_EQ(written(continuous.B), identity);
    EXPECT_EQ(written(continuous.C), identity);
    EXPECT_EQ(written(continuous.D), zero);
    const LTIStateSpaceModel discrete(flags, discreteSystem, 1.0);
    EXPECT_EQ(written(discrete.A), identity);
    const LTIStateSpaceModel other(flags, static_cast<systemType>(5), 1.0);
    EXPECT_EQ(written(other.A), identity) << "every value but continuousSystem acts as discrete";
}

TEST(LTIStateSpaceModelOfFlags, PassesUnflaggedChannelsThrough) {
    const LTIStateSpaceModel model(vectorOf<bool>({false, true, false}), discreteSystem, 4.0);
    EXPECT_EQ(written(model.A), "1x1 [1]");
    EXPECT_EQ(written(model.B), "1x3 [0 1 0]");
    EXPECT_EQ(written(model.C), "3x1 [0; 1; 0]");
    EXPECT_EQ(written(model.D), "3x3 [1 0 0; 0 0 0; 0 0 1]");
    EXPECT_EQ(model.sampleTime, 4.0);
}

TEST(LTIStateSpaceModelOfFlags, IsTheIdentityWithoutStatesIfAllFlagsAreFalse) {
    const LTIStateSpaceModel model(vectorOf<bool>({false, false}), discreteSystem, 1.0);
    EXPECT_EQ(written(model.A), "0x0 []");
    EXPECT_EQ(written(model.D), "2x2 [1 0; 0 1]");
    EXPECT_FALSE(model.C.transposed);
}

TEST(LTIStateSpaceModelSeries, PutsTheOtherModelFirst) {
    LTIStateSpaceModel left(matrixOf({{0.5}}), matrixOf({{2}}), matrixOf({{3}}), matrixOf({{4}}), discreteSystem, 1.0);
    const LTIStateSpaceModel right(matrixOf({{0.25}}), matrixOf({{5}}), matrixOf({{6}}), matrixOf({{7}}),
                                   continuousSystem, 9.0);
    const LTIStateSpaceModel series = left * right;
    EXPECT_EQ(written(series.A), "2x2 [0.5 12; 0 0.25]");
    EXPECT_EQ(written(series.B), "2x1 [14; 5]");
    EXPECT_EQ(written(series.C), "1x2 [3 24]");
    EXPECT_EQ(written(series.D), "1x1 [28]");
    EXPECT_EQ(series.sampleTime, 1.0) << "the left operand's";
    EXPECT_EQ(series.sysType, discreteSystem);
}

TEST(LTIStateSpaceModelParallel, StacksTheStatesAndAddsTheFeedthrough) {
    LTIStateSpaceModel left = firstOrder(0.5);
    left.D(0, 0) = 1.0;
    LTIStateSpaceModel right(matrixOf({{0.25}}), matrixOf({{5}}), matrixOf({{6}}), matrixOf({{7}}), continuousSystem,
                             9.0);
    const LTIStateSpaceModel sum = left + right;
    EXPECT_EQ(written(sum.A), "2x2 [0.5 0; 0 0.25]");
    EXPECT_EQ(written(sum.B), "2x1 [1; 5]");
    EXPECT_EQ(written(sum.C), "1x2 [1 6]");
    EXPECT_EQ(written(sum.D), "1x1 [8]");
    EXPECT_EQ(sum.sampleTime, 2.0);
}

TEST(LTIStateSpaceModelConnections, GoThroughModelsWithoutStatesInEveryEmptyForm) {
    const Matrix<double> d = matrixOf({{2, 0}, {0, 3}});
    const Matrix<double> none;
    const LTIStateSpaceModel defaulted(none, none, none, d, discreteSystem, 1.0);
    const LTIStateSpaceModel shaped(none, zeroMatrix(0, 2), zeroMatrix(2, 0), d, discreteSystem, 1.0);
    const LTIStateSpaceModel dynamic(matrixOf({{0.5}}), matrixOf({{1, 2}}), matrixOf({{3}, {4}}),
                                     matrixOf({{1, 0}, {0, 1}}), discreteSystem, 1.0);
    for (const LTIStateSpaceModel& still : {defaulted, shaped}) {
        LTIStateSpaceModel left = still;
        LTIStateSpaceModel right = dynamic;
        EXPECT_EQ(written((left * dynamic).C), "2x1 [6; 12]");
        EXPECT_EQ(written((left * dynamic).B), "1x2 [1 2]");
        EXPECT_EQ(written((right * still).B), "1x2 [2 6]");
        EXPECT_EQ(written((right * still).C), "2x1 [3; 4]");
        EXPECT_EQ(written((left + dynamic).B), "1x2 [1 2]");
        EXPECT_EQ(written((right + still).C), "2x1 [3; 4]");
        EXPECT_EQ(written((right + still).D), "2x2 [3 0; 0 4]");
        EXPECT_EQ(written((left * still).D), "2x2 [4 0; 0 9]");
        EXPECT_EQ((left * still).A.rows(), 0);
    }
}

TEST(LTIStateSpaceModelConnections, GoThroughModelsWithoutInputsOrOutputs) {
    LTIStateSpaceModel noInputs(matrixOf({{0.5}}), zeroMatrix(1, 0), matrixOf({{1}}), zeroMatrix(1, 0), discreteSystem,
                                1.0);
    LTIStateSpaceModel noOutputs(matrixOf({{0.5}}), matrixOf({{1}}), zeroMatrix(0, 1), zeroMatrix(0, 1), discreteSystem,
                                 1.0);
    const LTIStateSpaceModel series = noInputs * noOutputs;
    EXPECT_EQ(written(series.A), "2x2 [0.5 0; 0 0.5]") << "a connection over no channel couples nothing";
    EXPECT_EQ(written(series.B), "2x1 [0; 1]");
    EXPECT_EQ(written(series.C), "1x2 [1 0]");
    EXPECT_EQ(written(series.D), "1x1 [0]");
    EXPECT_EQ(written((noInputs + noInputs).B), "2x0 [; ]");
    EXPECT_EQ(written((noOutputs + noOutputs).C), "0x2 []");
    EXPECT_EQ(written(noInputs.gain()), "1x0 []");
    EXPECT_EQ(written(noOutputs.gain()), "0x1 []");
}

TEST(LTIStateSpaceModelConnections, TellWhatDoesNotFitAndLeaveTheOperandsAlone) {
    LTIStateSpaceModel one = firstOrder(0.5);
    LTIStateSpaceModel two(matrixOf({{0.5}}), matrixOf({{1, 1}}), matrixOf({{1}, {1}}), zeroMatrix(2, 2),
                           discreteSystem, 1.0);
    EXPECT_EQ(messageOf([&] { one* two; }), "Matrix * Matrix");
    EXPECT_EQ(messageOf([&] { one + two; }), "Matrix appendToBottom");
    LTIStateSpaceModel tall(matrixOf({{0.5}}), matrixOf({{1}}), matrixOf({{1}, {1}}), zeroMatrix(2, 1), discreteSystem,
                            1.0);
    EXPECT_EQ(messageOf([&] { one + tall; }), "Matrix appendToRight");
    LTIStateSpaceModel wide = firstOrder(0.5);
    wide.D = zeroMatrix(1, 2);
    EXPECT_EQ(messageOf([&] { one + wide; }), "Matrix + Matrix");
    EXPECT_EQ(written(one.A), "1x1 [0.5]");
    EXPECT_EQ(written(two.B), "1x2 [1 1]");
}

TEST(LTIStateSpaceModelExtractRange, KeepsTheStatesOfTheRange) {
    LTIStateSpaceModel model(matrixOf({{1, 2, 3}, {4, 5, 6}, {7, 8, 9}}), matrixOf({{1}, {2}, {3}}),
                             matrixOf({{4, 5, 6}}), matrixOf({{8}}), discreteSystem, 1.0);
    Range states(1, 2, 1);
    EXPECT_EQ(&model.ExtractRange(states, false), &model);
    EXPECT_EQ(written(model.A), "2x2 [5 6; 8 9]");
    EXPECT_EQ(written(model.B), "2x1 [2; 3]");
    EXPECT_EQ(written(model.C), "1x2 [5 6]");
    EXPECT_EQ(written(model.D), "1x1 [8]") << "the feedthrough stays unless it is to be cleared";
    EXPECT_EQ(model.A.storedRows, 2) << "the result is packed";
    EXPECT_EQ(model.A.rowRange.start, 0);
}

TEST(LTIStateSpaceModelExtractRange, ClearsTheFeedthroughAndKeepsItsShape) {
    LTIStateSpaceModel model(matrixOf({{1}}), matrixOf({{1, 2}}), matrixOf({{4}}), matrixOf({{8, 9}}), discreteSystem,
                             1.0);
    model.ExtractRange(Range(-1, -1, 1), true);
    EXPECT_EQ(written(model.A), "1x1 [1]") << "a negative start keeps all states";
    EXPECT_EQ(written(model.D), "1x2 [0 0]");
}

TEST(LTIStateSpaceModelExtractRange, OfAnEmptyRangeLeavesAModelWithoutStates) {
    LTIStateSpaceModel model(matrixOf({{1}}), matrixOf({{1, 2}}), matrixOf({{4}}), matrixOf({{8, 9}}), discreteSystem,
                             1.0);
    model.ExtractRange(Range(0, -1, 1), false);
    EXPECT_EQ(written(model.A), "0x0 []");
    EXPECT_EQ(model.B.rows(), 0);
    EXPECT_EQ(model.B.cols(), 2);
    EXPECT_EQ(model.C.rows(), 1);
    EXPECT_EQ(model.C.cols(), 0);
    EXPECT_EQ(written(model.gain()), "1x2 [8 9]");
}

TEST(LTIStateSpaceModelGain, IsTheFeedthroughOfAModelWithoutStates) {
    LTIStateSpaceModel model;
    model.D = matrixOf({{1, 2}});
    const Matrix<double> gain = model.gain();
    EXPECT_EQ(written(gain), "1x2 [1 2]");
    EXPECT_NE(gain.array.data, model.D.array.data) << "a packed copy";
}

TEST(LTIStateSpaceModelGain, OfADiscreteAndAContinuousModelIsTheirSteadyState) {
    LTIStateSpaceModel discrete(matrixOf({{0.5, 0.1}, {0, 0.8}}), matrixOf({{1}, {2}}), matrixOf({{3, 4}}),
                                matrixOf({{5}}), discreteSystem, 1.0);
    // (I - A)^-1 B = (4, 10)', since 0.5 x1 - 0.1 x2 = 1 and 0.2 x2 = 2.
    EXPECT_NEAR(discrete.gain()(0, 0), 5.0 + 3.0 * 4.0 + 4.0 * 10.0, 1e-12);
    LTIStateSpaceModel continuous(matrixOf({{-2, 1}, {0, -4}}), matrixOf({{1}, {2}}), matrixOf({{3, 4}}),
                                  matrixOf({{5}}), continuousSystem, 1.0);
    // -A^-1 B = (0.75, 0.5)'.
    EXPECT_NEAR(continuous.gain()(0, 0), 5.0 + 3.0 * 0.75 + 4.0 * 0.5, 1e-13);
    LTIStateSpaceModel other = discrete;
    other.sysType = static_cast<systemType>(2);
    EXPECT_EQ(other.gain()(0, 0), discrete.gain()(0, 0));
}

TEST(LTIStateSpaceModelGain, RefusesAPoleAtTheLimit) {
    LTIStateSpaceModel discrete = firstOrder(1.0);
    LTIStateSpaceModel continuous = firstOrder(0.0, continuousSystem);
    for (LTIStateSpaceModel* model : {&discrete, &continuous}) {
        try {
            model->gain();
            FAIL() << "no exception";
        } catch (const int code) {
            EXPECT_EQ(code, -1);
        }
    }
}

TEST(LTIStateSpaceModelGain, DrawsTheLimitAtAHundredMachinePrecisions) {
    const double limit = 100.0 * 0x1p-53;
    LTIStateSpaceModel inside = firstOrder(-0.99 * limit, continuousSystem);
    EXPECT_THROW(inside.gain(), int);
    LTIStateSpaceModel atLimit = firstOrder(-limit, continuousSystem);
    EXPECT_NEAR(atLimit.gain()(0, 0) * limit, 1.0, 1e-15) << "the comparison is strict";
    LTIStateSpaceModel complexInside(matrixOf({{0, 0.5 * limit}, {-0.5 * limit, 0}}), zeroMatrix(2, 1),
                                     zeroMatrix(1, 2), zeroMatrix(1, 1), continuousSystem, 1.0);
    EXPECT_THROW(complexInside.gain(), int);
}

TEST(LTIStateSpaceModelGain, OfPolesFarApartKeepsTheDigitsThatTheirDistanceLeaves) {
    // Condition 1e12: two paths through the solution, each exact up to the condition.
    for (const double slow : {-1e-3, -1e-9, -1e-12}) {
        LTIStateSpaceModel model(matrixOf({{slow, 0}, {0, -1}}), matrixOf({{1}, {1}}), matrixOf({{1, 1}}),
                                 matrixOf({{0}}), continuousSystem, 1.0);
        const double expected = -1.0 / slow + 1.0;
        EXPECT_NEAR(model.gain()(0, 0) / expected, 1.0, 20.0 * 0x1p-53) << "a diagonal matrix loses nothing";
    }
}

TEST(LTIStateSpaceModelGain, TakesADirectionBelowThePseudoInversesCutOffAsNoResponse) {
    // The eigenvalues are -1 and -1e-11, so that the model is accepted, but the smaller singular value is 1e-23 of the
    // larger one.
    LTIStateSpaceModel model(matrixOf({{-1, 1e6}, {0, -1e-11}}), matrixOf({{0}, {1}}), matrixOf({{0, 1}}),
                             matrixOf({{0}}), continuousSystem, 1.0);
    EXPECT_LT(std::fabs(model.gain()(0, 0)), 1e-5);
}

TEST(LTIStateSpaceModelGain, ReportsWhatIsNotFiniteAndWhatDoesNotFit) {
    LTIStateSpaceModel model = firstOrder(std::numeric_limits<double>::quiet_NaN());
    EXPECT_THROW(model.gain(), xmsg);
    LTIStateSpaceModel misfit = firstOrder(0.5);
    misfit.C = zeroMatrix(1, 2);
    EXPECT_EQ(messageOf([&] { misfit.gain(); }), "Matrix * Matrix");
}
