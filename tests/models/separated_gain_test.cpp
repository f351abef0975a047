#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <support/failures.hpp>
#include <support/matrix_literals.hpp>
#include <support/model_families.hpp>
#include <support/transfer.hpp>

#include <qormath/models/lti_state_space_model.hpp>

using qormath::test::identical;
using qormath::test::matrixOf;
using qormath::test::maxDifference;
using qormath::test::modalModel;
using qormath::test::ModelFamily;
using qormath::test::NormalNumbers;
using qormath::test::Poles;
using QorMathLA::Matrix;
using QorMathLA::product;
using QorMathLA::Range;
using QorMathLA::Vector;
using QorMathLA::zeroMatrix;

namespace {

/// A model and what its three parts become; the parts start with contents that show whether they have been written.
struct Separation {
    explicit Separation(const LTIStateSpaceModel& whole) : model(whole) {
        NormalNumbers numbers(3);
        stable = integrating = unstable = modalModel({0.125}, 1, 1, discreteSystem, numbers);
    }

    Vector<Matrix<double>> gains() { return model.gain(stable, integrating, unstable); }

    LTIStateSpaceModel model;
    LTIStateSpaceModel stable;
    LTIStateSpaceModel integrating;
    LTIStateSpaceModel unstable;
};

LTIStateSpaceModel modelOf(const Poles& poles, systemType type = discreteSystem) {
    NormalNumbers numbers(6);
    return modalModel(poles, 3, 2, type, numbers);
}

/// The gain of the given states of a modal model, with its feedthrough.
Matrix<double> gainOf(LTIStateSpaceModel model, const Range& states) {
    Range kept = states;
    return model.ExtractRange(kept, false).gain();
}

Matrix<double> rateOf(const LTIStateSpaceModel& model, int state) {
    const Range one(state, state, 1);
    const Range all(-1, -1, 1);
    return product(model.C(all, one), model.B(one, all));
}

// Rounding of a few states with elements of size 1, poles 0.4 and more from each other and from the limit.
constexpr double bound = 20 * 4 * 0x1p-53 * (1 / 0.4) * (1 / 0.4) * 10;

}  // namespace

TEST(SeparatedGain, OfAStableModelIsItsGainAlone) {
    for (const systemType type : {discreteSystem, continuousSystem}) {
        Separation parts(modelOf(qormath::test::polesOf({{-0.6, 0.0}, {-0.7, 0.4}}, type), type));
        const LTIStateSpaceModel before = parts.model;
        const Vector<Matrix<double>> gains = parts.gains();
        ASSERT_EQ(gains.size(), 1);
        EXPECT_LE(maxDifference(gains[0], parts.model.gain()), bound);
        EXPECT_EQ(parts.stable.A.rows(), 3);
        EXPECT_TRUE(identical(parts.integrating, LTIStateSpaceModel()));
        EXPECT_TRUE(identical(parts.unstable, LTIStateSpaceModel()));
        EXPECT_TRUE(identical(parts.model, before));
    }
}

TEST(SeparatedGain, OfASingleIntegratorIsAnEmptyStablePartAndTheRate) {
    for (const systemType type : {discreteSystem, continuousSystem}) {
        Separation parts({matrixOf({{type == discreteSystem ? 1.0 : 0.0}}), matrixOf({{2}}), matrixOf({{3}}),
                          matrixOf({{5}}), type, 1.0});
        const Vector<Matrix<double>> gains = parts.gains();
        ASSERT_EQ(gains.size(), 2);
        EXPECT_EQ(gains[0].rows(), 0);
        EXPECT_NEAR(gains[1](0, 0), 6.0, 20 * 6 * 0x1p-53);
        EXPECT_EQ(parts.integrating.A.rows(), 1);
        EXPECT_EQ(parts.unstable.A.rows(), 0);
    }
}

TEST(SeparatedGain, TellsStableIntegratingAndUnstablePartsApart) {
    for (const systemType type : {discreteSystem, continuousSystem}) {
        const Poles poles = type == discreteSystem ? Poles{0.5, 1.0, 1.5} : Poles{-0.5, 0.0, 0.5};
        Separation parts(modelOf(poles, type));
        const Vector<Matrix<double>> gains = parts.gains();
        ASSERT_EQ(gains.size(), 3);
        EXPECT_LE(maxDifference(gains[0], gainOf(parts.model, Range(0, 0, 1))), bound);
        EXPECT_LE(maxDifference(gains[1], rateOf(parts.model, 1)), bound);
        // At the point 2, whatever the time base.
        const Matrix<double> atTwo = rateOf(parts.model, 2) * (1.0 / (2.0 - poles[2].real()));
        EXPECT_LE(maxDifference(gains[2], atTwo), bound);
        EXPECT_EQ(parts.stable.A.rows(), 1);
        EXPECT_EQ(parts.integrating.A.rows(), 1);
        EXPECT_EQ(parts.unstable.A.rows(), 1);
    }
}

TEST(SeparatedGain, HasThreeElementsWithoutAnIntegratingPartToo) {
    Separation parts(modelOf({0.5, 1.5}));
    const Vector<Matrix<double>> gains = parts.gains();
    ASSERT_EQ(gains.size(), 3);
    EXPECT_EQ(parts.integrating.A.rows(), 0);
    EXPECT_EQ(gains[1].rows(), 0);
    EXPECT_EQ(gains[1].cols(), 0);
    EXPECT_LE(maxDifference(gains[2], rateOf(parts.model, 1) * 2.0), bound);
}

TEST(SeparatedGain, TakesThePseudoInverseForAnUnstablePoleAtTwo) {
    Separation parts(modelOf({0.5, 2.0}));
    const Vector<Matrix<double>> gains = parts.gains();
    ASSERT_EQ(gains.size(), 3);
    for (const double element : gains[2]) {
        EXPECT_TRUE(std::isfinite(element));
    }
}

TEST(SeparatedGain, OfAModelWithoutStatesIsAPackedCopyOfTheFeedthrough) {
    const Matrix<double> d = matrixOf({{1, 2, 3}, {4, 5, 6}});
    const Matrix<double> none;
    for (const LTIStateSpaceModel& still :
         {LTIStateSpaceModel(none, none, none, d, discreteSystem, 1.0),
          LTIStateSpaceModel(none, zeroMatrix(0, 3), zeroMatrix(2, 0), d, continuousSystem, 1.0)}) {
        Separation parts(still);
        parts.model.D = d(Range(0, 1, 1), Range(1, 2, 1));
        const LTIStateSpaceModel untouched = parts.stable;
        Vector<Matrix<double>> gains = parts.gains();
        ASSERT_EQ(gains.size(), 1);
        EXPECT_TRUE(identical(gains[0], matrixOf({{2, 3}, {5, 6}})));
        EXPECT_EQ(gains[0].blockSize(), 4);
        gains[0](0, 0) = 99.0;
        EXPECT_EQ(d(0, 1), 2.0);
        EXPECT_TRUE(identical(parts.stable, untouched));
        EXPECT_TRUE(identical(parts.integrating, untouched));
        EXPECT_TRUE(identical(parts.unstable, untouched));
    }
}

TEST(SeparatedGain, GivesPartsOfEveryFamilyThatAddUpToIt) {
    for (const systemType type : {discreteSystem, continuousSystem}) {
        for (const ModelFamily& family : qormath::test::modelFamilies(type)) {
            SCOPED_TRACE(family.name);
            Separation parts(family.model);
            const int length = parts.gains().size();
            if (family.name.starts_with("no states")) {
                EXPECT_EQ(length, 1);
                continue;
            }
            EXPECT_EQ(length, family.unstable > 0 ? 3 : family.marginal > 0 ? 2 : 1);
            EXPECT_EQ(parts.stable.A.rows(), family.stable);
            EXPECT_EQ(parts.integrating.A.rows(), family.marginal);
            EXPECT_EQ(parts.unstable.A.rows(), family.unstable);
            LTIStateSpaceModel sum = parts.stable;
            for (const LTIStateSpaceModel& part : {parts.integrating, parts.unstable}) {
                sum = part.A.rows() > 0 ? sum + part : sum;
            }
            // The stable poles stand 0.095 and more from the others; the split is made twice.
            constexpr double decouplingGrowth = (1.0 + 1.0 / 0.095) * (1.0 + 1.0 / 0.095);
            EXPECT_LE(qormath::test::transferRatio(family.model, sum), 2 * 20.0 * decouplingGrowth);
        }
    }
}

TEST(SeparatedGain, PassesOnTheFailureOfTheSplitBeforeAnyPartIsWritten) {
    LTIStateSpaceModel broken = modelOf({0.5, 1.0});
    broken.A(1, 1) = std::numeric_limits<double>::quiet_NaN();
    Separation parts(broken);
    const LTIStateSpaceModel untouched = parts.stable;
    qormath::test::expectMinusOne([&] { parts.gains(); });
    EXPECT_TRUE(identical(parts.stable, untouched));
    EXPECT_TRUE(identical(parts.integrating, untouched));
    EXPECT_TRUE(identical(parts.unstable, untouched));
}

TEST(SeparatedGain, SplitsEveryTimeBaseButDiscreteAsContinuous) {
    Separation parts(modelOf({-0.5, 0.0}, static_cast<systemType>(2)));
    const Vector<Matrix<double>> gains = parts.gains();
    ASSERT_EQ(gains.size(), 2);
    // The gain itself takes every time base but continuous for discrete.
    EXPECT_LE(maxDifference(gains[0], parts.model.D + rateOf(parts.model, 0) * (1.0 / 1.5)), bound);
    EXPECT_LE(maxDifference(gains[1], rateOf(parts.model, 1)), bound);
}
