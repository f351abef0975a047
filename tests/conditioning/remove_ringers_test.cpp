#include <algorithm>
#include <cmath>
#include <complex>
#include <gtest/gtest.h>
#include <limits>
#include <string>
#include <support/failures.hpp>
#include <support/matrix_literals.hpp>
#include <support/model_families.hpp>
#include <support/residualised.hpp>
#include <support/transfer.hpp>
#include <vector>

#include <qormath/control/qor_math_control.hpp>
#include <qormath/models/lti_state_space_model.hpp>

using qormath::test::countedUpTo;
using qormath::test::expectMinusOne;
using qormath::test::frobeniusNorm;
using qormath::test::hidden;
using qormath::test::identical;
using qormath::test::markovParameters;
using qormath::test::matrixOf;
using qormath::test::maxDifference;
using qormath::test::modalModel;
using qormath::test::NormalNumbers;
using qormath::test::Poles;
using qormath::test::Residualised;
using qormath::test::selected;
using qormath::test::sortedPoles;
using qormath::test::transferAt;
using QorMathLA::Matrix;
using QorMathLA::product;
using QorMathLA::Range;
using QorMathLA::Vector;

namespace {

constexpr double leaveGain = -1.0;
constexpr double root = 0x1.6a09e667f3bcdp-27;  // sqrt(2^-53)

// Below every ratio of the modes that are meant to stay, above those of the ones that are meant to go.
constexpr double dampingLimit = 0.3;

LTIStateSpaceModel modelOf(const Poles& poles, systemType type = discreteSystem) {
    NormalNumbers numbers(65);
    LTIStateSpaceModel model = modalModel(poles, 3, 2, type, numbers);
    model.sampleTime = 7.0;
    return model;
}

LTIStateSpaceModel withoutRingers(LTIStateSpaceModel model, double limit, double gainTolerance = leaveGain) {
    QorMathControl::RemoveRingers(model, limit, gainTolerance);
    return model;
}

/// What is left of the model, and its ramps.
struct Parts {
    LTIStateSpaceModel rest;
    LTIStateSpaceModel ramps;
};

Parts withRampsApart(const LTIStateSpaceModel& model) {
    Parts parts{model, {}};
    QorMathControl::RemoveRamps(parts.rest, parts.ramps);
    return parts;
}

/// The given states of a model whose modes are not coupled.
LTIStateSpaceModel modesOf(const LTIStateSpaceModel& model, const std::vector<int>& states) {
    return {selected(model.A, states, states),
            selected(model.B, states, countedUpTo(model.B.cols())),
            selected(model.C, countedUpTo(model.C.rows()), states),
            model.D,
            model.sysType,
            model.sampleTime};
}

void expectResidualised(const Residualised& expected, const LTIStateSpaceModel& model) {
    ASSERT_EQ(model.A.rows(), expected.kept());
    for (const double z : qormath::test::transferPoints()) {
        EXPECT_LE(maxDifference(transferAt(model, z), expected.transferAt(z)), 20.0 * expected.rounding(z)) << z;
    }
}

/// Of one input and one output, and of small numbers, whose rounding stays below 1e-13.
void expectMarkovParameters(const LTIStateSpaceModel& model, const std::vector<double>& expected) {
    const int count = static_cast<int>(expected.size());
    const std::vector<Matrix<double>> markov = markovParameters(model, count);
    for (std::size_t k = 0; k < expected.size(); ++k) {
        EXPECT_NEAR(markov[k](0, 0), expected[k], 1e-13) << k;
    }
    EXPECT_EQ(model.D(0, 0), expected[0]);
}

/// Modes with damping ratios of 0.5 to 1, and as many pairs as wanted with ratios of 0.02 to 0.2.
Poles mixedExponents(int damped, int ringing, NormalNumbers& numbers) {
    const auto pair = [&](double ratio) {
        const double speed = numbers.uniform(0.5, 2.5);
        return std::complex<double>(-speed * ratio, speed * std::sqrt(1.0 - ratio * ratio));
    };
    Poles exponents;
    for (int k = 0; k < damped; ++k) {
        const bool real = numbers.uniform() < 0.5;
        exponents.push_back(real ? -numbers.uniform(0.1, 2.5) : pair(numbers.uniform(0.5, 0.95)));
    }
    for (int k = 0; k < ringing; ++k) {
        exponents.push_back(pair(numbers.uniform(0.02, 0.2)));
    }
    return exponents;
}

/// A model with coupled modes, in no particular order.
LTIStateSpaceModel coupledModel(const Poles& exponents, systemType type, NormalNumbers& numbers) {
    constexpr double departure = 0.2;
    const Matrix<double> a =
        qormath::test::randomWithEigenvalues(qormath::test::polesOf(exponents, type), departure, numbers);
    return {a,
            qormath::test::strongMatrix(a.rows(), 2, numbers),
            qormath::test::strongMatrix(3, a.rows(), numbers),
            qormath::test::strongMatrix(3, 2, numbers),
            type,
            1.0};
}

/// Each problem of the sweep: sizes 2 to 72, both time bases.
template <class Action>
void forCoupledModels(Action action) {
    for (const systemType type : {discreteSystem, continuousSystem}) {
        std::uint64_t seed = 1;
        for (const auto& [damped, ringing] : std::vector<std::pair<int, int>>{
                 {0, 1}, {1, 1}, {2, 1}, {1, 3}, {4, 2}, {6, 6}, {10, 3}, {20, 10}, {24, 16}}) {
            SCOPED_TRACE(std::to_string(damped) + " damped, " + std::to_string(ringing) + " ringing" +
                         (type == discreteSystem ? ", discrete" : ", continuous"));
            NormalNumbers numbers(seed++);
            action(coupledModel(mixedExponents(damped, ringing, numbers), type, numbers));
        }
    }
}

}  // namespace

// ------------------------------------------------------------------------------------ residualisation by hand

TEST(RemoveRingers, HoldsARingerThatDrivesTheOtherModes) {
    // x2 = -0.5 x2 + 3 u is held at 2 u, which drives x1 by 0.75 times that.
    LTIStateSpaceModel model(matrixOf({{0.5, 0.75}, {0, -0.5}}), matrixOf({{1}, {3}}), matrixOf({{2, 5}}),
                             matrixOf({{7}}), discreteSystem, 1.0);
    model = withoutRingers(model, dampingLimit);
    EXPECT_EQ(model.A.rows(), 1);
    expectMarkovParameters(model, {7.0, 2 * 2.5, 2 * 2.5 / 2});
}

TEST(RemoveRingers, ShowsThroughARingerWhatDrivesIt) {
    // x1 = -0.5 x1 + 0.75 x2 + 3 u is held: the output has 2 (0.75 x2) / 1.5 for it, and no more of the input.
    LTIStateSpaceModel model(matrixOf({{-0.5, 0.75}, {0, 0.5}}), matrixOf({{1}, {3}}), matrixOf({{2, 5}}),
                             matrixOf({{7}}), discreteSystem, 1.0);
    model = withoutRingers(model, dampingLimit);
    EXPECT_EQ(model.A.rows(), 1);
    expectMarkovParameters(model, {7.0, 3.0 * 6.0, 3.0 * 6.0 / 2});
}

TEST(RemoveRingers, CouplesTheOtherModesThroughARingerBetweenThem) {
    LTIStateSpaceModel model(matrixOf({{0.5, 0.75, 0}, {0, -0.5, 0.75}, {0, 0, 0.25}}), matrixOf({{1}, {3}, {2}}),
                             matrixOf({{2, 5, 4}}), matrixOf({{7}}), discreteSystem, 1.0);
    model = withoutRingers(model, dampingLimit);
    // A = [0.5 0.375; 0 0.25], B = [2.5; 2], C = [2 6.5].
    ASSERT_EQ(model.A.rows(), 2);
    expectMarkovParameters(model, {7.0, 18.0, 7.25});
}

TEST(RemoveRingers, HoldsAContinuousRingerAtTheZeroOfItsDerivative) {
    // The pair is held at [2; 0.5] u, the first of which drives the mode at -1.
    LTIStateSpaceModel model(matrixOf({{-1, 1, 0}, {0, -0.5, 2}, {0, -2, -0.5}}), matrixOf({{1}, {0}, {4.25}}),
                             matrixOf({{2, 5, 6}}), matrixOf({{7}}), continuousSystem, 1.0);
    model = withoutRingers(model, dampingLimit);
    EXPECT_EQ(model.A.rows(), 1);
    expectMarkovParameters(model, {7.0, 2 * 3.0, -2 * 3.0});
    EXPECT_EQ(model.sysType, continuousSystem);
}

// ------------------------------------------------------------------------------------ residualisation at large

TEST(RemoveRingers, ResidualisesRandomModels) {
    forCoupledModels([](const LTIStateSpaceModel& before) {
        const Residualised expected(before, dampingLimit);
        ASSERT_GT(expected.rang(), 0);
        const LTIStateSpaceModel model = withoutRingers(before, dampingLimit);
        expectResidualised(expected, model);
        EXPECT_TRUE(identical(model.D, before.D));
        EXPECT_EQ(model.sysType, before.sysType);
        EXPECT_EQ(model.sampleTime, before.sampleTime);
    });
}

TEST(RemoveRingers, LosesOfTheGainWhatTheRingersPassStraightThrough) {
    forCoupledModels([](LTIStateSpaceModel before) {
        const Residualised expected(before, dampingLimit);
        const Matrix<double> lost = expected.lostFeedthrough();
        LTIStateSpaceModel model = withoutRingers(before, dampingLimit);
        EXPECT_LE(maxDifference(model.gain(), before.gain() - lost), 20.0 * expected.rounding(expected.steadyPoint()));
        EXPECT_GT(frobeniusNorm(lost), 1e-3) << "a model in which nothing is lost would show nothing";
    });
}

TEST(RemoveRingers, KeepsTheOtherPolesWhereTheyAre) {
    for (const systemType type : {discreteSystem, continuousSystem}) {
        NormalNumbers numbers(3);
        const Poles damped = qormath::test::polesOf({-0.1, {-0.4, 0.6}, -1.2}, type);
        Poles poles = qormath::test::polesOf({{-0.05, 0.7}, {-0.1, 1.5}}, type);
        poles.insert(poles.end(), damped.begin(), damped.end());
        const LTIStateSpaceModel model = hidden(modalModel(poles, 2, 2, type, numbers), numbers);
        const Poles left = sortedPoles(withoutRingers(model, dampingLimit).A);
        const Poles expected = sortedPoles(qormath::test::modalMatrix(damped));
        ASSERT_EQ(left.size(), expected.size());
        for (std::size_t k = 0; k < left.size(); ++k) {
            EXPECT_LE(std::abs(left[k] - expected[k]), 1e-13);
        }
    }
}

TEST(RemoveRingers, LeavesUncoupledModesAsTheyAre) {
    const LTIStateSpaceModel before = modelOf({0.5, {0.3, 0.8}, 0.25});
    const LTIStateSpaceModel model = withoutRingers(before, dampingLimit);
    EXPECT_EQ(model.A.rows(), 2);
    EXPECT_LE(qormath::test::transferRatio(modesOf(before, {0, 3}), model), 20.0);
    EXPECT_EQ(model.sampleTime, 7.0);
}

// ------------------------------------------------------------------------------------ the damping ratio

TEST(RemoveRingers, JudgesANegativeRealPoleByTheHalfTurnOfItsLogarithm) {
    // ln(-0.5) = -ln 2 + j pi, so that the ratio is 1 / sqrt(1 + (pi / ln 2)^2).
    const double quotient = 3.14159265358979323846 / 0.69314718055994530942;
    const double ratio = 1.0 / std::sqrt(1.0 + quotient * quotient);
    EXPECT_NEAR(ratio, 0.2154, 1e-4);
    const LTIStateSpaceModel model = modelOf({0.5, -0.5});
    EXPECT_TRUE(identical(withoutRingers(model, ratio - 1e-12), model));
    const LTIStateSpaceModel left = withoutRingers(model, ratio + 1e-12);
    ASSERT_EQ(left.A.rows(), 1);
    EXPECT_NEAR(left.A(0, 0), 0.5, 1e-15);
}

TEST(RemoveRingers, JudgesADiscretePairByItsContinuousDamping) {
    const double ratio = 0.6;
    const LTIStateSpaceModel model = modelOf({0.5, qormath::test::poleOf({-0.6, 0.8}, discreteSystem)});
    EXPECT_TRUE(identical(withoutRingers(model, ratio - 1e-12), model));
    EXPECT_EQ(withoutRingers(model, ratio + 1e-12).A.rows(), 1);
}

TEST(RemoveRingers, TakesAModeAtTheLimitItself) {
    // |-3 + 4j| = 5: the ratio is the double 3.0 / 5.0.
    const LTIStateSpaceModel model = modelOf({-1.0, {-3.0, 4.0}}, continuousSystem);
    EXPECT_EQ(withoutRingers(model, 0.6).A.rows(), 1);
    EXPECT_TRUE(identical(withoutRingers(model, std::nextafter(0.6, 0.0)), model));
}

TEST(RemoveRingers, TakesAllRealModesAtALimitOfOne) {
    for (const systemType type : {discreteSystem, continuousSystem}) {
        const LTIStateSpaceModel model = modelOf(qormath::test::polesOf({-0.5, -1.0, {-0.4, 0.6}}, type), type);
        for (const double limit : {1.0, 2.0}) {
            const LTIStateSpaceModel left = withoutRingers(model, limit);
            EXPECT_EQ(left.A.rows(), 0);
            EXPECT_EQ(left.B.cols(), 3);
            EXPECT_EQ(left.C.rows(), 2);
            EXPECT_TRUE(identical(left.D, model.D));
            EXPECT_EQ(left.sysType, type);
            EXPECT_EQ(left.sampleTime, 7.0);
        }
        EXPECT_EQ(withoutRingers(model, std::nextafter(1.0, 0.0)).A.rows(), 2) << "the pair alone goes";
    }
}

TEST(RemoveRingers, TakesAModeOnTheImaginaryAxisAtALimitOfZero) {
    for (const systemType type : {discreteSystem, continuousSystem}) {
        const Poles poles = type == discreteSystem ? Poles{0.5, -1.0} : Poles{-0.5, {0.0, 2.0}};
        const LTIStateSpaceModel model = modelOf(poles, type);
        EXPECT_EQ(withoutRingers(model, 0.0).A.rows(), 1);
        EXPECT_TRUE(identical(withoutRingers(model, -1e-300), model));
    }
}

TEST(RemoveRingers, TakesAGrowingOscillationForARinger) {
    for (const systemType type : {discreteSystem, continuousSystem}) {
        const LTIStateSpaceModel model = modelOf(qormath::test::polesOf({-0.5, {0.1, 0.99}}, type), type);
        EXPECT_EQ(withoutRingers(model, 0.09).A.rows(), 3);
        EXPECT_EQ(withoutRingers(model, 0.11).A.rows(), 1);
    }
}

TEST(RemoveRingers, HasNoDefaultForTheLimit) {
    const LTIStateSpaceModel model = modelOf({-1.0, {0.3, 0.8}, 0.5});
    EXPECT_TRUE(identical(withoutRingers(model, -1.0), model));
    EXPECT_TRUE(identical(withoutRingers(model, std::numeric_limits<double>::quiet_NaN()), model));
}

TEST(RemoveRingers, JudgesByTheMagnitudeOfTheSampleTime) {
    LTIStateSpaceModel model = modelOf({0.5, -0.5, {0.3, 0.8}});
    LTIStateSpaceModel negative = model;
    negative.sampleTime = -7.0;
    model = withoutRingers(model, dampingLimit);
    negative = withoutRingers(negative, dampingLimit);
    EXPECT_EQ(negative.sampleTime, -7.0);
    negative.sampleTime = 7.0;
    EXPECT_TRUE(identical(negative, model));
    EXPECT_EQ(model.A.rows(), 1);
}

TEST(RemoveRingers, JudgesNoDiscreteModeWithoutASampleTime) {
    // What is divided by a sample time of 0.0 is infinite, and no ratio of infinities is a number.
    LTIStateSpaceModel model = modelOf({0.5, -0.5, {0.3, 0.8}});
    model.sampleTime = 0.0;
    EXPECT_TRUE(identical(withoutRingers(model, 1.0), model));
    LTIStateSpaceModel continuous = modelOf({-1.0, {-0.1, 0.8}}, continuousSystem);
    continuous.sampleTime = 0.0;
    EXPECT_EQ(withoutRingers(continuous, dampingLimit).A.rows(), 1) << "a continuous mode needs none";
}

TEST(RemoveRingers, TakesEveryTimeBaseButDiscreteForContinuous) {
    NormalNumbers numbers(17);
    LTIStateSpaceModel model = coupledModel({-0.5, {-0.1, 0.7}, {-0.6, 0.4}}, continuousSystem, numbers);
    const LTIStateSpaceModel expected = withoutRingers(model, dampingLimit);
    model.sysType = static_cast<systemType>(3);
    LTIStateSpaceModel other = withoutRingers(model, dampingLimit);
    EXPECT_EQ(other.A.rows(), 3);
    EXPECT_EQ(other.sysType, static_cast<systemType>(3));
    other.sysType = continuousSystem;
    EXPECT_TRUE(identical(other, expected));
}

// ------------------------------------------------------------------------------------ modes without a ratio

TEST(RemoveRingers, DropsADelayWithoutATraceWhereAnotherModeRings) {
    // Held at its steady state the delay would drive the first state by 0.25 times its input, 0.25 * 3.
    const LTIStateSpaceModel model(matrixOf({{0.5, 0.25, 0}, {0, 0, 0}, {0, 0, -0.5}}), matrixOf({{1}, {3}, {2}}),
                                   matrixOf({{2, 5, 4}}), matrixOf({{7}}), discreteSystem, 1.0);
    const LTIStateSpaceModel left = withoutRingers(model, dampingLimit);
    ASSERT_EQ(left.A.rows(), 1);
    expectMarkovParameters(left, {7.0, 2.0, 1.0});
}

TEST(RemoveRingers, KeepsADelayWhereNothingRings) {
    const LTIStateSpaceModel model = modelOf({0.0, 0.5, 0.0});
    EXPECT_TRUE(identical(withoutRingers(model, dampingLimit), model));
    const LTIStateSpaceModel delays = modelOf({0.0, 0.0});
    EXPECT_TRUE(identical(withoutRingers(delays, 2.0), delays)) << "a delay rings at no limit";
}

TEST(RemoveRingers, DropsAContinuousIntegratorWhereAnotherModeRings) {
    // It is no ramp to RemoveRamps, and 0 / 0 is no ratio.
    const LTIStateSpaceModel quiet = modelOf({0.0, -0.5}, continuousSystem);
    EXPECT_TRUE(identical(withoutRingers(quiet, dampingLimit), quiet));
    const LTIStateSpaceModel left = withoutRingers(modelOf({0.0, -0.5, {-0.1, 2.0}}, continuousSystem), dampingLimit);
    ASSERT_EQ(left.A.rows(), 1);
    EXPECT_NEAR(left.A(0, 0), -0.5, 1e-14);
}

// ------------------------------------------------------------------------------------ ramps

TEST(RemoveRingers, LosesTheRampsWhereNoModeRings) {
    const LTIStateSpaceModel model = modelOf({0.5, 1.0, {0.4, 0.2}});
    const LTIStateSpaceModel left = withoutRingers(model, dampingLimit, 0.0);
    EXPECT_TRUE(identical(left, withRampsApart(model).rest));
    EXPECT_EQ(left.A.rows(), 3);
    for (const std::complex<double>& pole : sortedPoles(left.A)) {
        EXPECT_LT(std::abs(pole), 0.6);
    }
}

TEST(RemoveRingers, LosesAModelOfRampsAloneFeedthroughIncluded) {
    EXPECT_TRUE(identical(withoutRingers(modelOf({1.0, 1.0}), 1.0), LTIStateSpaceModel()));
}

TEST(RemoveRingers, ChangesNothingWhereNothingRingsOrRamps) {
    LTIStateSpaceModel model = modelOf({0.5, 0.25, {0.4, 0.2}});
    model.B.row(1) = 0.0;  // a state that a realisation would drop
    EXPECT_TRUE(identical(withoutRingers(model, dampingLimit, 0.0), model));
    const LTIStateSpaceModel empty = modelOf({});
    EXPECT_TRUE(identical(withoutRingers(empty, 1.0, 0.0), empty));
    EXPECT_TRUE(identical(withoutRingers(LTIStateSpaceModel(), 1.0, 0.0), LTIStateSpaceModel()));
}

TEST(RemoveRingers, GivesTheRampsBackInFront) {
    const LTIStateSpaceModel model = modelOf({0.5, {0.3, 0.8}, 1.0, 0.25, 1.0});
    Parts parts = withRampsApart(model);
    ASSERT_EQ(parts.ramps.A.rows(), 2);
    for (const double gainTolerance : {leaveGain, 0.0}) {
        const LTIStateSpaceModel left = withoutRingers(model, dampingLimit, gainTolerance);
        EXPECT_TRUE(identical(left, parts.ramps + withoutRingers(parts.rest, dampingLimit, gainTolerance)));
        EXPECT_EQ(left.A(0, 0), 1.0);
        EXPECT_EQ(left.A(1, 1), 1.0);
        EXPECT_TRUE(identical(left.D, model.D));
        EXPECT_EQ(left.sampleTime, 7.0);
    }
    const LTIStateSpaceModel left = withoutRingers(model, dampingLimit);
    EXPECT_EQ(left.A.rows(), 4);
    const LTIStateSpaceModel expected = modesOf(model, {0, 3, 4, 5});
    // The realisation uncouples modes that stand 0.4 apart from the others at least.
    EXPECT_LE(qormath::test::transferRatio(expected, left), 20.0 * (1.0 + 1.0 / 0.4) * (1.0 + 1.0 / 0.4));
}

TEST(RemoveRingers, DoesNotJudgeTheRamps) {
    // A mode at 1 + 1e-9 has a ratio of 1.0, but it is a ramp, and ramps are set aside.
    const LTIStateSpaceModel left = withoutRingers(modelOf({0.5, 1.0 + 1e-9, 0.25}), 1.0);
    ASSERT_EQ(left.A.rows(), 1);
    EXPECT_EQ(left.A(0, 0), 1.0);
    EXPECT_EQ(left.C.rows(), 2);
}

TEST(RemoveRingers, ResidualisesWhatIsLeftBesideRampsAndUnstableModes) {
    for (int seed = 1; seed <= 10; ++seed) {
        SCOPED_TRACE(seed);
        NormalNumbers numbers(static_cast<std::uint64_t>(seed));
        Poles exponents = mixedExponents(4, 2, numbers);
        exponents.insert(exponents.begin(), {0.0, 0.0, 0.25});
        const LTIStateSpaceModel model = hidden(
            modalModel(qormath::test::polesOf(exponents, discreteSystem), 2, 3, discreteSystem, numbers), numbers);
        Parts parts = withRampsApart(model);
        ASSERT_EQ(parts.ramps.A.rows(), 2);
        const Residualised expected(parts.rest, dampingLimit);
        ASSERT_GE(expected.rang(), 4);
        const LTIStateSpaceModel left = withoutRingers(model, dampingLimit);
        ASSERT_EQ(left.A.rows(), 2 + expected.kept());
        for (const double z : qormath::test::transferPoints()) {
            EXPECT_LE(maxDifference(transferAt(left, z), transferAt(parts.ramps, z) + expected.transferAt(z)),
                      20.0 * expected.rounding(z));
        }
    }
}

// ------------------------------------------------------------------------------------ the gain

TEST(RemoveRingers, RestoresTheGainOfRandomModels) {
    forCoupledModels([](LTIStateSpaceModel before) {
        if (withoutRingers(before, dampingLimit).A.rows() == 0 && before.sysType == continuousSystem) {
            return;  // no mean pole from which the correction could take its speed
        }
        LTIStateSpaceModel model = withoutRingers(before, dampingLimit, 0.0);
        EXPECT_LE(maxDifference(model.gain(), before.gain()), root) << "the least error that is allowed";
        EXPECT_TRUE(identical(model.D, before.D));
    });
}

TEST(RemoveRingers, LeavesTheGainWithinTheTolerance) {
    // One output, of gain 12 before and 2 after the ringer goes: an error of 83.3 percent.
    const LTIStateSpaceModel model(matrixOf({{0.5, 0}, {0, -0.5}}), matrixOf({{1}, {3}}), matrixOf({{1, 5}}),
                                   matrixOf({{0}}), discreteSystem, 1.0);
    EXPECT_TRUE(identical(withoutRingers(model, dampingLimit, 84.0), withoutRingers(model, dampingLimit)));
    EXPECT_NEAR(withoutRingers(model, dampingLimit).gain()(0, 0), 2.0, 1e-14);
    EXPECT_NEAR(withoutRingers(model, dampingLimit, 83.0).gain()(0, 0), 12.0, 1e-13);
    EXPECT_NEAR(withoutRingers(model, dampingLimit, 0.0).gain()(0, 0), 12.0, 1e-13);
}

TEST(RemoveRingers, RestoresTheGainOfTheModelWithoutItsRamps) {
    const LTIStateSpaceModel model = modelOf({0.5, {0.3, 0.8}, 1.0, 0.25});
    Parts parts = withRampsApart(model);
    LTIStateSpaceModel left = withoutRingers(model, dampingLimit, 0.0);
    LTIStateSpaceModel stable = left;
    stable.ExtractRange(Range(1, left.A.rows() - 1, 1), false);
    EXPECT_LE(maxDifference(stable.gain(), parts.rest.gain()), 1e-12);
    LTIStateSpaceModel ramp = left;
    ramp.ExtractRange(Range(0, 0, 1), true);
    EXPECT_TRUE(identical(product(ramp.C, ramp.B), product(parts.ramps.C, parts.ramps.B))) << "the rates stay";
}

TEST(RemoveRingers, RestoresTheGainWhereNoModeIsLeft) {
    const LTIStateSpaceModel before = modelOf({-0.5, {0.3, 0.8}});
    LTIStateSpaceModel model = withoutRingers(before, dampingLimit, 0.0);
    LTIStateSpaceModel original = before;
    EXPECT_LE(maxDifference(model.gain(), original.gain()), 1e-13);
    ASSERT_EQ(model.A.rows(), 2) << "a correction for each output";
    for (const std::complex<double>& pole : sortedPoles(model.A)) {
        EXPECT_NEAR(std::abs(pole - 0.5), 0.0, 1e-14);
    }
}

TEST(RemoveRingers, RealisesTheCorrectedModelWithoutAMargin) {
    // Without a margin the mode at -1e-9 is stable, and the weak mode at -1 nothing beside its Hankel singular value:
    // the realisation saves a state and is kept. A margin of the root would set the slow mode apart.
    const double slow = -1e-9;
    LTIStateSpaceModel model(qormath::test::modalMatrix({slow, -1.0, {-0.1, 2.0}}), matrixOf({{1}, {1e-4}, {1}, {1}}),
                             matrixOf({{1, 1e-4, 1, 1}}), matrixOf({{0}}), continuousSystem, 1.0);
    EXPECT_EQ(withoutRingers(model, dampingLimit).A.rows(), 2);
    model = withoutRingers(model, dampingLimit, 1e-12);
    EXPECT_EQ(model.A.rows(), 2);
}

TEST(RemoveRingers, NeedsNoSteadyStateIfTheGainIsLeft) {
    const LTIStateSpaceModel model = modelOf({0.0, -0.5, {-0.1, 2.0}}, continuousSystem);
    EXPECT_EQ(withoutRingers(model, dampingLimit, leaveGain).A.rows(), 1);
    EXPECT_EQ(withoutRingers(model, dampingLimit, -1e-300).A.rows(), 1);
}

// ------------------------------------------------------------------------------------ shapes and failures

TEST(RemoveRingers, TakesRingersOutOfAModelWithoutInputsOrOutputs) {
    NormalNumbers numbers(5);
    const Poles poles{0.5, {0.3, 0.8}};
    for (const auto& [inputs, outputs] : {std::pair{0, 2}, std::pair{3, 0}}) {
        const LTIStateSpaceModel left =
            withoutRingers(modalModel(poles, inputs, outputs, discreteSystem, numbers), dampingLimit, 0.0);
        EXPECT_EQ(left.A.rows(), 1);
        EXPECT_EQ(left.B.rows(), 1);
        EXPECT_EQ(left.B.cols(), inputs);
        EXPECT_EQ(left.C.rows(), outputs);
        EXPECT_EQ(left.C.cols(), 1);
    }
}

TEST(RemoveRingers, ThrowsMinusOneAndChangesNothingIfTheRealisationFails) {
    LTIStateSpaceModel model = modelOf({0.5, 1.0, {0.3, 0.8}});
    model.B(0, 0) = std::numeric_limits<double>::quiet_NaN();
    const LTIStateSpaceModel before = model;
    expectMinusOne([&] { QorMathControl::RemoveRingers(model, dampingLimit, 0.0); });
    EXPECT_TRUE(identical(model, before));
}

TEST(RemoveRingers, ThrowsMinusOneForAGainThatDoesNotExist) {
    LTIStateSpaceModel model = modelOf({0.0, -0.5, {-0.1, 2.0}}, continuousSystem);
    const LTIStateSpaceModel before = model;
    expectMinusOne([&] { QorMathControl::RemoveRingers(model, dampingLimit, 0.0); });
    EXPECT_TRUE(identical(model, before));
}

TEST(RemoveRingers, ThrowsMinusOneForACorrectionWithoutAPoleToFollow) {
    LTIStateSpaceModel model = modelOf({{-0.1, 2.0}}, continuousSystem);
    const LTIStateSpaceModel before = model;
    expectMinusOne([&] { QorMathControl::RemoveRingers(model, dampingLimit, 0.0); });
    EXPECT_TRUE(identical(model, before));
}

TEST(RemoveRingers, HasLostTheRampsIfALaterStepFails) {
    // The model is not in minimal form: RemoveRamps takes the leading state for the ramp and leaves the pole at 1.
    LTIStateSpaceModel model = modelOf({0.5, 1.0, 2.0, -0.5});
    const Parts parts = withRampsApart(model);
    ASSERT_EQ(parts.ramps.A.rows(), 1);
    ASSERT_EQ(parts.rest.A.rows(), 3);
    expectMinusOne([&] { QorMathControl::RemoveRingers(model, dampingLimit, 0.0); });
    EXPECT_TRUE(identical(model, parts.rest));
}
