#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <support/failures.hpp>
#include <support/matrix_literals.hpp>
#include <support/model_families.hpp>
#include <support/transfer.hpp>

#include <qormath/control/qor_math_control.hpp>
#include <qormath/models/lti_state_space_model.hpp>

using qormath::test::identical;
using qormath::test::modalModel;
using qormath::test::ModelFamily;
using qormath::test::NormalNumbers;
using qormath::test::Poles;
using QorMathLA::Matrix;
using QorMathLA::Vector;
using QorMathLA::zeroMatrix;

namespace {

const double root = std::sqrt(0x1p-53);

LTIStateSpaceModel modelOf(const Poles& poles, systemType type = discreteSystem) {
    NormalNumbers numbers(31);
    LTIStateSpaceModel model = modalModel(poles, 2, 3, type, numbers);
    model.sampleTime = 7.0;
    return model;
}

/// A model that shows whether it has been written.
LTIStateSpaceModel unwritten() {
    LTIStateSpaceModel model = modelOf({0.125});
    model.sampleTime = 99.0;
    return model;
}

void expectEmpty(const LTIStateSpaceModel& model) {
    EXPECT_TRUE(identical(model, LTIStateSpaceModel()));
}

LTIStateSpaceModel minimal(LTIStateSpaceModel model) {
    Vector<int> report;
    QorMathControl::MinimalRealization(model, report, -1.0, -1.0, -1.0);
    return model;
}

// See the tests of the minimal realisation: a distance of 0.095 from the stable poles to the others.
constexpr double decouplingGrowth = (1.0 + 1.0 / 0.095) * (1.0 + 1.0 / 0.095);

}  // namespace

TEST(RemoveUnstable, SplitsEveryFamilyIntoPartsThatAddUpToIt) {
    for (const systemType type : {discreteSystem, continuousSystem}) {
        for (const ModelFamily& family : qormath::test::modelFamilies(type)) {
            SCOPED_TRACE(family.name + (type == discreteSystem ? ", discrete" : ", continuous"));
            for (const double tolerance : {root, -root}) {
                LTIStateSpaceModel model = family.model;
                LTIStateSpaceModel stable;
                LTIStateSpaceModel unstable;
                QorMathControl::RemoveUnstable(model, stable, unstable, tolerance);
                EXPECT_TRUE(identical(model, family.model)) << "the model is read only";
                EXPECT_EQ(stable.A.rows(), family.stable + (tolerance > 0.0 ? family.marginal : 0));
                EXPECT_EQ(unstable.A.rows(), family.unstable + (tolerance < 0.0 ? family.marginal : 0));
                const bool split = unstable.A.rows() > 0;
                EXPECT_LE(qormath::test::transferRatio(family.model, split ? stable + unstable : stable),
                          20.0 * decouplingGrowth);
            }
        }
    }
}

TEST(RemoveUnstable, GivesTheMinimalRealisationOfAStableModel) {
    for (const systemType type : {discreteSystem, continuousSystem}) {
        LTIStateSpaceModel model = modelOf(qormath::test::polesOf({{-0.5, 0.0}, {-1.0, 0.5}}, type), type);
        LTIStateSpaceModel stable = unwritten();
        LTIStateSpaceModel unstable = unwritten();
        QorMathControl::RemoveUnstable(model, stable, unstable, 0.0);
        EXPECT_TRUE(identical(stable, minimal(model)));
        expectEmpty(unstable);
    }
}

TEST(RemoveUnstable, KeepsAPoleOnTheLimitAtAPositiveToleranceAndMovesItAtANegativeOne) {
    for (const systemType type : {discreteSystem, continuousSystem}) {
        const Poles poles = qormath::test::polesOf({0.0, {-0.5, 0.0}}, type);
        LTIStateSpaceModel model = modelOf(poles, type);
        LTIStateSpaceModel stable;
        LTIStateSpaceModel unstable = unwritten();
        QorMathControl::RemoveUnstable(model, stable, unstable, root);
        EXPECT_TRUE(identical(stable, minimal(model)));
        expectEmpty(unstable);

        QorMathControl::RemoveUnstable(model, stable, unstable, -root);
        ASSERT_EQ(stable.A.rows(), 1);
        EXPECT_NEAR(stable.A(0, 0), poles[1].real(), 1e-14);
        ASSERT_EQ(unstable.A.rows(), 1);
        EXPECT_EQ(unstable.A(0, 0), poles[0].real());
        EXPECT_TRUE(identical(stable.D, model.D));
        EXPECT_TRUE(identical(unstable.D, zeroMatrix(3, 2)));
        EXPECT_EQ(unstable.sampleTime, 7.0);
        EXPECT_EQ(unstable.sysType, type);
        EXPECT_EQ(stable.sampleTime, 7.0);
    }
}

TEST(RemoveUnstable, CountsAPoleAtTheToleranceItself) {
    for (const systemType type : {discreteSystem, continuousSystem}) {
        const double pole = type == discreteSystem ? 1.25 : 0.25;
        LTIStateSpaceModel model = modelOf({pole}, type);
        LTIStateSpaceModel stable;
        LTIStateSpaceModel unstable;
        QorMathControl::RemoveUnstable(model, stable, unstable, 0.25);
        EXPECT_EQ(unstable.A.rows(), 1);
        QorMathControl::RemoveUnstable(model, stable, unstable, 0.2500001);
        EXPECT_EQ(unstable.A.rows(), 0);
        EXPECT_EQ(stable.A.rows(), 1);
    }
}

TEST(RemoveUnstable, JudgesAComplexPairByModulusOrRealPart) {
    LTIStateSpaceModel stable;
    LTIStateSpaceModel unstable;
    LTIStateSpaceModel discrete = modelOf({{0.6, 0.9}, 0.5});
    QorMathControl::RemoveUnstable(discrete, stable, unstable, 0.05);
    EXPECT_EQ(unstable.A.rows(), 2);
    EXPECT_EQ(stable.A.rows(), 1);
    LTIStateSpaceModel continuous = modelOf({{0.1, 5.0}, {-0.1, 5.0}}, continuousSystem);
    QorMathControl::RemoveUnstable(continuous, stable, unstable, 0.05);
    EXPECT_EQ(unstable.A.rows(), 2);
    EXPECT_EQ(stable.A.rows(), 2);
}

TEST(RemoveUnstable, LosesTheFeedthroughWhereAllStatesAreUnstable) {
    LTIStateSpaceModel model = modelOf({2.0, -1.5});
    LTIStateSpaceModel stable = unwritten();
    LTIStateSpaceModel unstable;
    QorMathControl::RemoveUnstable(model, stable, unstable, root);
    expectEmpty(stable);
    EXPECT_EQ(unstable.A.rows(), 2);
    EXPECT_TRUE(identical(unstable.D, zeroMatrix(3, 2)));
    LTIStateSpaceModel feedthrough(Matrix<double>(), Matrix<double>(), Matrix<double>(), model.D, discreteSystem, 7.0);
    EXPECT_LE(qormath::test::transferRatio(model, unstable + feedthrough), 20.0);
}

TEST(RemoveUnstable, WritesTheStablePartOverTheModelItself) {
    const LTIStateSpaceModel original = modelOf({2.0, 0.5, 0.25});
    LTIStateSpaceModel model = original;
    LTIStateSpaceModel copy = original;
    LTIStateSpaceModel stable;
    LTIStateSpaceModel unstable;
    LTIStateSpaceModel other;
    QorMathControl::RemoveUnstable(copy, stable, unstable, root);
    QorMathControl::RemoveUnstable(model, model, other, root);
    EXPECT_TRUE(identical(model, stable));
    EXPECT_TRUE(identical(other, unstable));
}

TEST(RemoveUnstable, TakesEveryTimeBaseButDiscreteForContinuous) {
    const auto other = static_cast<systemType>(2);
    LTIStateSpaceModel model = modelOf({0.5, -0.5}, other);
    LTIStateSpaceModel stable;
    LTIStateSpaceModel unstable;
    QorMathControl::RemoveUnstable(model, stable, unstable, root);
    ASSERT_EQ(unstable.A.rows(), 1);
    EXPECT_NEAR(unstable.A(0, 0), 0.5, 1e-14);
    EXPECT_EQ(unstable.sysType, other);
}

TEST(RemoveUnstable, AcceptsAModelWithoutStates) {
    LTIStateSpaceModel model;
    model.D = zeroMatrix(3, 2);
    LTIStateSpaceModel stable;
    LTIStateSpaceModel unstable = unwritten();
    QorMathControl::RemoveUnstable(model, stable, unstable, root);
    EXPECT_TRUE(identical(stable.D, model.D));
    EXPECT_EQ(stable.A.rows(), 0);
    expectEmpty(unstable);
}

TEST(RemoveUnstable, LeavesBothPartsAsTheyWereIfTheRealisationFails) {
    LTIStateSpaceModel model = modelOf({0.5, 2.0});
    model.A(1, 0) = std::numeric_limits<double>::infinity();
    LTIStateSpaceModel stable = unwritten();
    LTIStateSpaceModel unstable = unwritten();
    qormath::test::expectMinusOne([&] { QorMathControl::RemoveUnstable(model, stable, unstable, root); });
    EXPECT_TRUE(identical(stable, unwritten()));
    EXPECT_TRUE(identical(unstable, unwritten()));
}
