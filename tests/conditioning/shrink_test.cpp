#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <support/failures.hpp>
#include <support/matrix_literals.hpp>
#include <support/model_families.hpp>
#include <support/raw_conversion.hpp>
#include <support/shrink_calls.hpp>
#include <support/transfer.hpp>
#include <utility>
#include <vector>

#include <qormath/control/qor_math_control.hpp>
#include <qormath/models/lti_state_space_model.hpp>

using qormath::test::clearingLimit;
using qormath::test::expectMinusOne;
using qormath::test::hankelChannels;
using qormath::test::identical;
using qormath::test::isQuasiTriangular;
using qormath::test::matrixOf;
using qormath::test::maxDifference;
using qormath::test::minimalParts;
using qormath::test::modalModel;
using qormath::test::NormalNumbers;
using qormath::test::Parts;
using qormath::test::Poles;
using qormath::test::ShrinkOptions;
using qormath::test::shrunk;
using qormath::test::sortedPoles;
using QorMathLA::Matrix;
using QorMathLA::product;
using QorMathLA::Range;
using QorMathLA::zeroMatrix;

namespace {

/// Eight stable states. Four have Hankel singular values below 0.005, the last one of them below 1e-5.
LTIStateSpaceModel eightStates(systemType type = discreteSystem) {
    const std::vector<double> hankel{1.0, 0.5, 0.2, 0.1, 0.004, 0.002, 1e-4, 1e-6};
    std::vector<double> poles{0.5, 0.4, 0.3, -0.3, -0.4, 0.2, 0.6, -0.6};
    if (type == continuousSystem) {
        poles = {-0.5, -0.4, -0.3, -1.0, -2.0, -3.0, -0.6, -0.7};
    }
    return hankelChannels(poles, hankel, type);
}

/// The same beside an integrator and an unstable mode, in channels of their own behind the stable ones.
LTIStateSpaceModel tenStates() {
    LTIStateSpaceModel model = hankelChannels({0.5, 0.4, 0.3, -0.3, -0.4, 0.2, 0.6, -0.6, 1.0, 2.0},
                                              {1.0, 0.5, 0.2, 0.1, 0.004, 0.002, 1e-4, 1e-6, 1.0, 1.0}, discreteSystem);
    model.C(8, 8) = 1.0;
    return model;
}

/// A discrete channel of its own for each pole, whose input and output have the given strength: the reduction leaves
/// the scale of such a state alone.
LTIStateSpaceModel weakChannels(const std::vector<double>& poles, const std::vector<double>& strengths) {
    LTIStateSpaceModel model = hankelChannels(poles, strengths, discreteSystem);
    for (int k = 0; k < model.A.rows(); ++k) {
        model.B(k, k) = strengths[static_cast<std::size_t>(k)];
        model.C(k, k) = strengths[static_cast<std::size_t>(k)];
    }
    return model;
}

LTIStateSpaceModel modelOf(const Poles& poles, systemType type = discreteSystem, int inputs = 3, int outputs = 2) {
    NormalNumbers numbers(67);
    LTIStateSpaceModel model = modalModel(poles, inputs, outputs, type, numbers);
    model.sampleTime = 7.0;
    return model;
}

/// The order that comes back, and the states that the result has.
std::pair<int, int> ordersOf(const LTIStateSpaceModel& model, int order) {
    const LTIStateSpaceModel result = shrunk(model, order);
    return {order, result.A.rows()};
}

}  // namespace

// ------------------------------------------------------------------------------------ the order

TEST(Shrink, GivesTheNumberOfStatesThatIsAskedFor) {
    for (const systemType type : {discreteSystem, continuousSystem}) {
        for (int order = 0; order <= 8; ++order) {
            EXPECT_EQ(ordersOf(eightStates(type), order), std::pair(order, order));
        }
    }
}

TEST(Shrink, CutsAnOrderAboveTheModelToItsStates) {
    EXPECT_EQ(ordersOf(eightStates(), 9), std::pair(8, 8));
    EXPECT_EQ(ordersOf(eightStates(), std::numeric_limits<int>::max()), std::pair(8, 8));
}

TEST(Shrink, CountsTheStatesOfTheMinimalRealisation) {
    LTIStateSpaceModel model = modelOf({0.5, 0.25, -0.75});
    model.B.row(1) = 0.0;
    EXPECT_EQ(ordersOf(model, 3), std::pair(2, 2));
}

TEST(Shrink, TakesTheMiddleOfBothSuggestionsForMinusOne) {
    EXPECT_EQ(ordersOf(eightStates(), -1), std::pair(6, 6)) << "(4 + 7) / 2 is rounded up";
    LTIStateSpaceModel model = eightStates();
    model.C(6, 6) = 0.0;  // coarse 4 and fine 6: (4 + 6) / 2 + 1 / 2 is cut to 5
    EXPECT_EQ(ordersOf(model, -1), std::pair(5, 5));
}

TEST(Shrink, TakesTheCoarseSuggestionForMinusTwo) {
    EXPECT_EQ(ordersOf(eightStates(), -2), std::pair(4, 4));
}

TEST(Shrink, TakesTheFineSuggestionForEveryOtherNegativeOrder) {
    for (const int order : {-3, -4, -1000, std::numeric_limits<int>::min()}) {
        EXPECT_EQ(ordersOf(eightStates(), order), std::pair(7, 7));
    }
}

TEST(Shrink, TellsTheOrderOfTheStablePartBesideAnUnstableOne) {
    EXPECT_EQ(ordersOf(tenStates(), 5), std::pair(3, 5));
    EXPECT_EQ(ordersOf(tenStates(), 10), std::pair(8, 10));
    EXPECT_EQ(ordersOf(tenStates(), 11), std::pair(8, 10));
    EXPECT_EQ(ordersOf(tenStates(), -1), std::pair(6, 8)) << "the middle of 6 and 9";
    EXPECT_EQ(ordersOf(tenStates(), -2), std::pair(4, 6));
    EXPECT_EQ(ordersOf(tenStates(), -3), std::pair(7, 9));
}

TEST(Shrink, AsksNoStableStatesOfAnOrderThatTheUnstablePartFills) {
    for (const int order : {0, 1, 2}) {
        EXPECT_EQ(ordersOf(tenStates(), order), std::pair(0, 2));
    }
}

TEST(Shrink, ReducesAutomaticallyIfTheSuggestionItselfIsNegative) {
    // Three integrators of one channel, which a tolerance of 0.0 leaves in the stable part until they are moved to 1:
    // two of them count as weak there, and once more when the ramps are merged. The order is 5 - 2 - 4. The stable
    // modes are kept even if they are weak: the automatic order has no tolerance of its own.
    const std::vector<double> poles{1.0 - 1e-9, 1.0 - 3e-9, 1.0 - 6e-9, 0.5, 0.25};
    const std::vector<double> strengths{1.0, 1e-4, 1e-5, 1.0, 1e-2};
    LTIStateSpaceModel model = weakChannels(poles, strengths);
    for (const int k : {1, 2}) {
        std::swap(model.B(k, 0), model.B(k, k));
        std::swap(model.C(0, k), model.C(k, k));
    }
    const Parts parts = minimalParts(model, 0.0);
    ASSERT_EQ(qormath::test::elementsOf(parts.report), std::vector<int>({2, 1, 1, 2, 0, -1, -1}));
    for (const int asked : {-2, -3}) {
        int order = asked;
        ShrinkOptions options;
        options.stabilityTolerance = 0.0;
        const LTIStateSpaceModel result = shrunk(model, order, options);
        EXPECT_EQ(order, -1) << "no part of it goes to the ramps";
        EXPECT_EQ(result.A.rows(), 3);
    }
}

// ------------------------------------------------------------------------------------ order 0

TEST(Shrink, LeavesOfAStableModelItsGain) {
    for (const systemType type : {discreteSystem, continuousSystem}) {
        LTIStateSpaceModel model = modelOf(qormath::test::polesOf({-0.5, {-0.4, 0.6}}, type), type);
        int order = 0;
        const LTIStateSpaceModel result = shrunk(model, order);
        EXPECT_EQ(order, 0);
        EXPECT_EQ(result.A.rows(), 0);
        EXPECT_EQ(result.A.cols(), 0);
        EXPECT_EQ(result.B.rows(), 0);
        EXPECT_EQ(result.B.cols(), 3);
        EXPECT_EQ(result.C.rows(), 2);
        EXPECT_EQ(result.C.cols(), 0);
        EXPECT_LE(maxDifference(result.D, model.gain()), 1e-13);
        EXPECT_EQ(result.sysType, type);
        EXPECT_EQ(result.sampleTime, 7.0);
    }
}

TEST(Shrink, LeavesOfAMixedModelItsUnstablePartAndTheGainOfTheRest) {
    Poles poles{1.0, 0.5, 2.0, {0.3, 0.4}};
    const LTIStateSpaceModel model = modelOf(poles);
    Parts parts = minimalParts(model);
    ASSERT_EQ(parts.unstable.A.rows(), 2);
    for (int asked : {0, 2}) {
        const LTIStateSpaceModel result = shrunk(model, asked);
        EXPECT_TRUE(identical(result.A, parts.unstable.A));
        EXPECT_TRUE(identical(result.B, parts.unstable.B));
        EXPECT_TRUE(identical(result.C, parts.unstable.C));
        EXPECT_TRUE(identical(result.D, parts.stable.gain()));
        EXPECT_EQ(result.sampleTime, 7.0);
    }
    LTIStateSpaceModel rest = modelOf(poles);
    rest.B.row(0) = 0.0;
    rest.B.row(2) = 0.0;
    rest.A(0, 0) = 0.0;
    int order = 0;
    // The decoupling from poles 0.5 away multiplies rounding by the square of 1 + 1 / 0.5.
    EXPECT_LE(maxDifference(shrunk(model, order).D, rest.gain()), 20 * 5 * 0x1p-53 * 9 * 10);
}

TEST(Shrink, LeavesTheGainOfAModelWithoutStates) {
    for (const int asked : {-3, -2, -1, 0, 5}) {
        for (const LTIStateSpaceModel& model : {modelOf({}), modelOf({}, continuousSystem)}) {
            int order = asked;
            EXPECT_TRUE(identical(shrunk(model, order), model));
            EXPECT_EQ(order, 0);
        }
    }
}

TEST(Shrink, BringsAnUnstablePartAloneToNoSchurForm) {
    // The cut to the core of the block leaves it in coordinates that are not those of a Schur form.
    NormalNumbers numbers(9);
    LTIStateSpaceModel plain = modalModel({{0.1, 0.5}, {0.2, 0.9}, 0.4, -1.0}, 1, 1, continuousSystem, numbers);
    plain.B.row(4) = 0.0;
    const LTIStateSpaceModel model = qormath::test::hidden(plain, numbers);
    const Parts parts = minimalParts(model);
    ASSERT_EQ(parts.unstable.A.rows(), 4);
    ASSERT_FALSE(isQuasiTriangular(parts.unstable.A));
    int order = 4;
    EXPECT_TRUE(identical(shrunk(model, order).A, parts.unstable.A));
    order = 5;
    EXPECT_TRUE(isQuasiTriangular(shrunk(model, order).A));
}

TEST(Shrink, ClearsNoElementsOfAnUnstablePartAlone) {
    const LTIStateSpaceModel model = weakChannels({2.0, 0.5}, {0.5 * clearingLimit, 1.0});
    ShrinkOptions options;
    options.stabilityTolerance = 0.0;  // at its default the realisation would drop the weak mode
    int order = 1;
    const LTIStateSpaceModel unstable = shrunk(model, order, options);
    EXPECT_EQ(std::fabs(unstable.B(0, 0)), 0.5 * clearingLimit);
    EXPECT_EQ(std::fabs(unstable.C(0, 0)), 0.5 * clearingLimit);
    order = 2;
    const LTIStateSpaceModel cleared = shrunk(model, order, options);
    EXPECT_EQ(cleared.A.rows(), 2);
    EXPECT_EQ(cleared.B(0, 0), 0.0);
    EXPECT_EQ(cleared.C(0, 0), 0.0);
}

TEST(Shrink, LeavesTheGainAloneWhateverTheOptionsSay) {
    LTIStateSpaceModel model = modelOf({0.5, {0.3, 0.8}});
    ShrinkOptions options;
    options.gainTolerance = 0.0;
    options.dampingLimit = 1.0;
    int order = 0;
    const LTIStateSpaceModel plain = shrunk(model, order);
    EXPECT_TRUE(identical(shrunk(model, order, options), plain));
}

// ------------------------------------------------------------------------------------ the form of the result

TEST(Shrink, PutsContinuousUnstableModesFirstByTheirRealPart) {
    // By modulus the mode at -3 would come before the one at 0.25.
    for (const systemType type : {continuousSystem, static_cast<systemType>(3)}) {
        LTIStateSpaceModel model = modelOf({-3.0, 0.25, -0.5}, type);
        int order = 3;
        const LTIStateSpaceModel result = shrunk(model, order);
        ASSERT_EQ(result.A.rows(), 3);
        EXPECT_NEAR(result.A(0, 0), 0.25, 1e-13);
        EXPECT_EQ(result.sysType, type);
    }
}

TEST(Shrink, PutsDiscreteUnstableModesFirstByTheirModulus) {
    // By real part the mode at -2 would come behind the one at 0.5.
    int order = 3;
    const LTIStateSpaceModel result = shrunk(modelOf({0.5, -2.0, 0.25}), order);
    ASSERT_EQ(result.A.rows(), 3);
    EXPECT_NEAR(result.A(0, 0), -2.0, 1e-13);
}

TEST(Shrink, ClearsElementsBelowTheLimitAlone) {
    const LTIStateSpaceModel model = weakChannels({3.0, 2.0, 0.5}, {0.99 * clearingLimit, 1.01 * clearingLimit, 1.0});
    ShrinkOptions options;
    options.stabilityTolerance = 0.0;
    int order = 3;
    const LTIStateSpaceModel result = shrunk(model, order, options);
    ASSERT_EQ(result.A.rows(), 3);
    EXPECT_NEAR(result.A(0, 0), 3.0, 1e-14);
    EXPECT_NEAR(result.A(1, 1), 2.0, 1e-14);
    EXPECT_EQ(result.B(0, 0), 0.0);
    EXPECT_EQ(result.C(0, 0), 0.0);
    EXPECT_NEAR(std::fabs(result.B(1, 1)), 1.01 * clearingLimit, 1e-20);
    EXPECT_NEAR(std::fabs(result.C(1, 1)), 1.01 * clearingLimit, 1e-20);
}

TEST(Shrink, ClearsTinyCouplings) {
    LTIStateSpaceModel model = weakChannels({3.0, 2.0, 0.5}, {1.0, 1.0, 1.0});
    model.A(0, 1) = 0.9 * clearingLimit;
    int order = 2;
    EXPECT_NEAR(std::fabs(shrunk(model, order).A(0, 1)), 0.9 * clearingLimit, 1e-15);
    order = 3;
    EXPECT_EQ(shrunk(model, order).A(0, 1), 0.0);
}

TEST(Shrink, KeepsTheFeedthroughOfTheModel) {
    const LTIStateSpaceModel model = modelOf({1.0, 0.5, {0.3, 0.8}, 0.25});
    for (const double gainTolerance : {-1.0, 0.0}) {
        for (const double dampingLimit : {-1.0, 0.3}) {
            int order = 3;
            ShrinkOptions options;
            options.gainTolerance = gainTolerance;
            options.dampingLimit = dampingLimit;
            EXPECT_TRUE(identical(shrunk(model, order, options).D, model.D));
            EXPECT_EQ(order, 2);
        }
    }
}

// ------------------------------------------------------------------------------------ gain and ringers

TEST(Shrink, LeavesTheGainThatTheReductionGivesIfTheToleranceIsNegative) {
    const LTIStateSpaceModel model = modelOf({0.75, 0.5, -0.5, {0.3, 0.4}});
    Parts parts = minimalParts(model);
    LTIStateSpaceModel reduced = parts.stable;
    QorMathLA::Vector<double> hsv;
    QorMathControl::ModelReduction(reduced.A, reduced.B, reduced.C, reduced.D, hsv, reductionBalancedShrink,
                                   discreteSystem, 2, -1.0, 0.0);
    int order = 2;
    LTIStateSpaceModel result = shrunk(model, order);
    EXPECT_EQ(result.A.rows(), 2);
    EXPECT_LE(maxDifference(result.gain(), reduced.gain()), 1e-12);
    EXPECT_GT(maxDifference(result.gain(), parts.stable.gain()), 1e-3) << "there has to be an error to be left";
}

TEST(Shrink, RestoresTheGainOfTheUnreducedStablePart) {
    for (const systemType type : {discreteSystem, continuousSystem}) {
        LTIStateSpaceModel model = modelOf(qormath::test::polesOf({-0.3, -0.7, -1.0, {-0.8, 0.9}}, type), type);
        const Matrix<double> gain = model.gain();
        for (int asked = 1; asked <= 4; ++asked) {
            int order = asked;
            ShrinkOptions options;
            options.gainTolerance = 0.0;
            LTIStateSpaceModel result = shrunk(model, order, options);
            EXPECT_EQ(order, asked);
            EXPECT_GT(result.A.rows(), asked) << "the correction has states of its own";
            EXPECT_LE(maxDifference(result.gain(), gain), 10 * clearingLimit);
        }
    }
}

TEST(Shrink, HandsTheGainToleranceOn) {
    LTIStateSpaceModel model = modelOf({0.5, -0.5}, discreteSystem, 1, 1);
    int order = 1;
    LTIStateSpaceModel left = shrunk(model, order);
    const double gain = model.gain()(0, 0);
    const double percent = 100.0 * std::fabs((gain - left.gain()(0, 0)) / gain);
    ASSERT_GT(percent, 1.0);
    ShrinkOptions options;
    options.gainTolerance = 1.001 * percent;
    EXPECT_TRUE(identical(shrunk(model, order, options), left));
    options.gainTolerance = 0.999 * percent;
    LTIStateSpaceModel corrected = shrunk(model, order, options);
    EXPECT_EQ(corrected.A.rows(), 2);
    EXPECT_NEAR(corrected.gain()(0, 0), gain, 10 * clearingLimit);
}

TEST(Shrink, TakesRingersOutAndKeepsTheirGain) {
    for (const systemType type : {discreteSystem, continuousSystem}) {
        LTIStateSpaceModel model = modelOf(qormath::test::polesOf({-0.3, {-0.05, 0.9}, {-0.6, 0.6}}, type), type);
        int order = 5;
        ShrinkOptions options;
        options.dampingLimit = 0.1;
        LTIStateSpaceModel left = shrunk(model, order, options);
        EXPECT_EQ(order, 5);
        ASSERT_EQ(left.A.rows(), 3);
        const Poles expected =
            sortedPoles(qormath::test::modalMatrix(qormath::test::polesOf({-0.3, {-0.6, 0.6}}, type)));
        const Poles poles = sortedPoles(left.A);
        for (std::size_t k = 0; k < 3; ++k) {
            EXPECT_LE(std::abs(poles[k] - expected[k]), 1e-12);
        }
        EXPECT_GT(maxDifference(left.gain(), model.gain()), 1e-3);
        options.gainTolerance = 0.0;
        EXPECT_LE(maxDifference(shrunk(model, order, options).gain(), model.gain()), 10 * clearingLimit);
    }
}

TEST(Shrink, KeepsRampsAndUnstableModesBesideTheRingersThatGo) {
    // The growing oscillation has a ratio below the limit too, but it stands in the part that is kept whole.
    const LTIStateSpaceModel model =
        modelOf(qormath::test::polesOf({0.0, {0.05, 0.9}, -0.3, {-0.05, 0.7}}, discreteSystem));
    Parts parts = minimalParts(model);
    int order = 6;
    ShrinkOptions options;
    options.dampingLimit = 0.1;
    LTIStateSpaceModel result = shrunk(model, order, options);
    EXPECT_EQ(order, 3);
    ASSERT_EQ(result.A.rows(), 4);
    result.ExtractRange(Range(0, 2, 1), true);
    EXPECT_LE(qormath::test::transferRatio(parts.unstable, result), 20.0);
}

// ------------------------------------------------------------------------------------ tolerances

TEST(Shrink, KeepsWholeWhatTheStabilityToleranceCallsMarginal) {
    const LTIStateSpaceModel model = modelOf({0.5, -0.8, 0.25});
    ShrinkOptions options;
    options.stabilityTolerance = 0.3;
    int order = 1;
    const LTIStateSpaceModel result = shrunk(model, order, options);
    EXPECT_EQ(order, 0);
    ASSERT_EQ(result.A.rows(), 1);
    EXPECT_NEAR(result.A(0, 0), -0.8, 1e-14);
    order = 2;
    EXPECT_NEAR(shrunk(model, order, options).A(0, 0), -0.8, 1e-14);
    EXPECT_EQ(order, 1);
}

TEST(Shrink, ReducesAllThatIsStableAtANegativeStabilityTolerance) {
    // The realisation takes its default for it; the boundary of the reduction moves out beyond every stable pole.
    for (const systemType type : {discreteSystem, continuousSystem}) {
        const LTIStateSpaceModel model =
            modelOf(qormath::test::polesOf({0.0, 0.2, -1e-4, -0.5, {-0.4, 0.6}}, type), type);
        ShrinkOptions options;
        options.gainTolerance = 0.0;
        int order = 4;
        const LTIStateSpaceModel expected = shrunk(model, order, options);
        for (const double tolerance : {-1e-6, -0.5, -1.0, -3.0}) {
            options.stabilityTolerance = tolerance;
            order = 4;
            EXPECT_TRUE(identical(shrunk(model, order, options), expected)) << tolerance;
            EXPECT_EQ(order, 2);
        }
    }
}

TEST(Shrink, HandsTheStabilityToleranceToTheCorrectionOfTheGain) {
    // A margin of 0.6 makes a weak ramp of the correction's pole at 0.5, and the realisation of the sum drops it.
    const LTIStateSpaceModel model = modelOf({0.3, -0.3}, discreteSystem, 1, 1);
    ShrinkOptions options;
    options.gainTolerance = 0.0;
    int order = 1;
    EXPECT_EQ(shrunk(model, order, options).A.rows(), 2);
    options.stabilityTolerance = 0.6;
    EXPECT_EQ(shrunk(model, order, options).A.rows(), 1);
}

TEST(Shrink, ReducesAlikeWhateverCountsAsADelay) {
    const LTIStateSpaceModel model = modelOf({0.0, 0.5, 1.0, 0.25});
    int order = -1;
    ShrinkOptions options;
    const LTIStateSpaceModel expected = shrunk(model, order, options);
    options.delayTolerance = 0.75;
    order = -1;
    EXPECT_TRUE(identical(shrunk(model, order, options), expected));
}

namespace {

/// A pair so slow that its two states count as one ramp, unless the tolerance is 0.0.
const std::complex<double> nearlyARamp(1.0 - 2e-9, 1e-9);

}  // namespace

TEST(Shrink, ReducesASlowPairWithTheRestAtAStabilityToleranceOfZero) {
    const LTIStateSpaceModel model = modelOf({nearlyARamp, 0.5}, discreteSystem, 1, 1);
    int order = 2;
    EXPECT_EQ(shrunk(model, order).A.rows(), 2) << "a ramp and a stable mode";
    EXPECT_EQ(order, 1);
    ShrinkOptions options;
    options.stabilityTolerance = 0.0;
    order = 3;
    shrunk(model, order, options);
    EXPECT_EQ(order, 3) << "three stable modes";
}

TEST(Shrink, ReducesUpToTheMarginOfTheStabilityTolerance) {
    // With a margin of its own the reduction would keep the pair whole.
    const LTIStateSpaceModel model = modelOf({{-2e-9, 1e-9}, -0.5}, continuousSystem, 1, 1);
    ShrinkOptions options;
    options.stabilityTolerance = 0.0;
    int order = 1;
    EXPECT_EQ(shrunk(model, order, options).A.rows(), 1);
    EXPECT_EQ(order, 1);
}

TEST(Shrink, LosesASlowPairThatIsARampToTheRemovalOfRingers) {
    const LTIStateSpaceModel model = modelOf({nearlyARamp, 0.5}, discreteSystem, 1, 1);
    ShrinkOptions options;
    options.stabilityTolerance = 0.0;
    int order = 3;
    const LTIStateSpaceModel result = shrunk(model, order, options);
    ASSERT_EQ(result.A.rows(), 1) << "no mode rings, and the ramp is not given back";
    EXPECT_NEAR(result.A(0, 0), 0.5, 1e-7);
    EXPECT_TRUE(identical(result.D, model.D));
}

TEST(Shrink, KeepsARampInPlaceOfASlowPairIfAnotherModeRings) {
    const LTIStateSpaceModel model = modelOf({nearlyARamp, 0.5, -0.5}, discreteSystem, 1, 1);
    ShrinkOptions options;
    options.stabilityTolerance = 0.0;
    options.dampingLimit = 0.3;
    int order = 4;
    const LTIStateSpaceModel result = shrunk(model, order, options);
    EXPECT_EQ(order, 4);
    ASSERT_EQ(result.A.rows(), 2);
    EXPECT_EQ(result.A(0, 0), 1.0);
    EXPECT_NEAR(result.A(1, 1), 0.5, 1e-7);
}

// ------------------------------------------------------------------------------------ failures

TEST(Shrink, ThrowsMinusOneForNaNBeforeTheOrderIsKnown) {
    LTIStateSpaceModel model = modelOf({0.5, 0.25});
    model.C(0, 0) = std::numeric_limits<double>::quiet_NaN();
    const LTIStateSpaceModel before = model;
    int order = 17;
    expectMinusOne([&] { shrunk(model, order); });
    EXPECT_EQ(order, 17);
    EXPECT_TRUE(identical(model, before));
}

TEST(Shrink, ThrowsMinusOneForAStablePartWithoutASteadyStateWhenTheOrderIsWritten) {
    // A pair within the rounding of the limit, and stable at a tolerance of 0.0.
    const LTIStateSpaceModel model = modelOf({{-4e-15, 4e-15}}, continuousSystem, 1, 1);
    const LTIStateSpaceModel before = model;
    ShrinkOptions options;
    options.stabilityTolerance = 0.0;
    options.gainTolerance = 0.0;
    int order = 100;
    expectMinusOne([&] { shrunk(model, order, options); });
    EXPECT_EQ(order, 2);
    order = 0;
    expectMinusOne([&] { shrunk(model, order, options); });
    EXPECT_EQ(order, 0);
    EXPECT_TRUE(identical(model, before));
    options.gainTolerance = -1.0;
    order = 100;
    EXPECT_EQ(shrunk(model, order, options).A.rows(), 2) << "without a gain to restore there is nothing to refuse";
}

TEST(Shrink, RefusesToRestoreTheGainOfAModelThatWasAllRamp) {
    // What RemoveRingers loses then is the model itself, feedthrough and shapes included.
    const LTIStateSpaceModel model = modelOf({nearlyARamp}, discreteSystem, 1, 1);
    const LTIStateSpaceModel before = model;
    ShrinkOptions options;
    options.stabilityTolerance = 0.0;
    int order = 2;
    EXPECT_TRUE(identical(shrunk(model, order, options), LTIStateSpaceModel()));
    options.gainTolerance = 0.0;
    order = 2;
    qormath::test::expectXmsg([&] { shrunk(model, order, options); }, QorMathLA::DimensionMismatch, "Matrix - Matrix");
    EXPECT_EQ(order, 2);
    EXPECT_TRUE(identical(model, before));
}

TEST(Shrink, ThrowsMinusOneForAContinuousModelOfRingersAlone) {
    // The correction of the gain takes its speed from the poles, of which none is left.
    const LTIStateSpaceModel model = modelOf({{-0.1, 1.0}}, continuousSystem);
    ShrinkOptions options;
    options.gainTolerance = 0.0;
    options.dampingLimit = 0.3;
    int order = -3;
    expectMinusOne([&] { shrunk(model, order, options); });
    EXPECT_EQ(order, 2);
}

TEST(Shrink, GivesAModelOfRingersAloneAsItsFeedthroughIfTheGainIsLeft) {
    for (const systemType type : {discreteSystem, continuousSystem}) {
        const LTIStateSpaceModel model = modelOf(qormath::test::polesOf({{-0.1, 1.0}}, type), type);
        ShrinkOptions options;
        options.dampingLimit = 0.3;
        int order = 2;
        const LTIStateSpaceModel result = shrunk(model, order, options);
        EXPECT_EQ(result.A.rows(), 0);
        EXPECT_EQ(result.B.cols(), 3);
        EXPECT_EQ(result.C.rows(), 2);
        EXPECT_TRUE(identical(result.D, model.D));
    }
}
