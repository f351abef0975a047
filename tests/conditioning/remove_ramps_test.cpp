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
using qormath::test::NormalNumbers;
using qormath::test::Poles;
using QorMathLA::Matrix;
using QorMathLA::Vector;
using QorMathLA::zeroMatrix;

namespace {

LTIStateSpaceModel modelOf(const Poles& poles, systemType type = discreteSystem) {
    NormalNumbers numbers(77);
    LTIStateSpaceModel model = modalModel(poles, 3, 2, type, numbers);
    model.sampleTime = 7.0;
    return model;
}

LTIStateSpaceModel minimal(LTIStateSpaceModel model) {
    Vector<int> report;
    QorMathControl::MinimalRealization(model, report, -1.0, -1.0, -1.0);
    return model;
}

// The models here keep the stable poles 0.4 from the others.
constexpr double decouplingGrowth = (1.0 + 1.0 / 0.4) * (1.0 + 1.0 / 0.4);

void expectSum(const LTIStateSpaceModel& model, LTIStateSpaceModel rest, const LTIStateSpaceModel& ramps) {
    EXPECT_LE(qormath::test::transferRatio(model, rest + ramps), 20.0 * decouplingGrowth);
}

}  // namespace

TEST(RemoveRamps, ChangesNothingWithoutIntegrators) {
    for (const Poles& poles : {Poles{0.5, 0.25}, Poles{2.0, 0.5}, Poles{-1.0, 0.5}, Poles{}}) {
        LTIStateSpaceModel model = modelOf(poles);
        if (model.A.rows() > 1) {
            model.B.row(1) = 0.0;  // a state that a realisation would drop
        }
        const LTIStateSpaceModel before = model;
        LTIStateSpaceModel ramps = modelOf({0.125});
        const LTIStateSpaceModel rampsBefore = ramps;
        QorMathControl::RemoveRamps(model, ramps);
        EXPECT_TRUE(identical(model, before));
        EXPECT_TRUE(identical(ramps, rampsBefore));
    }
}

TEST(RemoveRamps, DoesNotCountAContinuousIntegrator) {
    LTIStateSpaceModel model = modelOf({0.0, -0.5}, continuousSystem);
    const LTIStateSpaceModel before = model;
    LTIStateSpaceModel ramps;
    QorMathControl::RemoveRamps(model, ramps);
    EXPECT_TRUE(identical(model, before));
    EXPECT_EQ(ramps.A.rows(), 0);
}

TEST(RemoveRamps, CountsAContinuousPoleAtOne) {
    LTIStateSpaceModel model = modelOf({1.0, -0.5}, continuousSystem);
    const LTIStateSpaceModel before = model;
    LTIStateSpaceModel ramps;
    QorMathControl::RemoveRamps(model, ramps);
    ASSERT_EQ(ramps.A.rows(), 1);
    EXPECT_EQ(ramps.A(0, 0), 1.0);
    EXPECT_EQ(ramps.sysType, continuousSystem);
    EXPECT_EQ(model.A.rows(), 1);
    expectSum(before, model, ramps);
}

TEST(RemoveRamps, TakesTheIntegratorsOutAndLeavesTheFeedthrough) {
    LTIStateSpaceModel model = modelOf({0.5, 1.0, 0.25, 1.0});
    const LTIStateSpaceModel before = model;
    LTIStateSpaceModel ramps;
    QorMathControl::RemoveRamps(model, ramps);
    ASSERT_EQ(ramps.A.rows(), 2);
    EXPECT_EQ(ramps.A(0, 0), 1.0);
    EXPECT_EQ(ramps.A(1, 1), 1.0);
    EXPECT_TRUE(identical(ramps.D, zeroMatrix(2, 3)));
    EXPECT_EQ(ramps.sampleTime, 7.0);
    EXPECT_EQ(model.A.rows(), 2);
    EXPECT_TRUE(identical(model.D, before.D));
    EXPECT_EQ(model.sampleTime, 7.0);
    expectSum(before, model, ramps);
}

TEST(RemoveRamps, GivesAModelOfIntegratorsAwayAsAWhole) {
    LTIStateSpaceModel model = modelOf({1.0, 1.0});
    const LTIStateSpaceModel before = model;
    LTIStateSpaceModel ramps;
    QorMathControl::RemoveRamps(model, ramps);
    EXPECT_TRUE(identical(model, LTIStateSpaceModel()));
    EXPECT_TRUE(identical(ramps, minimal(before)));
    EXPECT_TRUE(identical(ramps.D, before.D));
}

TEST(RemoveRamps, LeavesUnstableModesWithTheModel) {
    const LTIStateSpaceModel before = minimal(modelOf({1.0, 0.5, 2.0, -1.5, 1.0}));
    LTIStateSpaceModel model = before;
    LTIStateSpaceModel ramps;
    QorMathControl::RemoveRamps(model, ramps);
    ASSERT_EQ(ramps.A.rows(), 2);
    for (const std::complex<double>& pole : qormath::test::sortedPoles(ramps.A)) {
        EXPECT_NEAR(pole.real(), 1.0, 1e-13);
    }
    EXPECT_TRUE(identical(ramps.D, zeroMatrix(2, 3)));
    EXPECT_EQ(ramps.sampleTime, 7.0);
    const Poles left = qormath::test::sortedPoles(model.A);
    ASSERT_EQ(left.size(), 3u);
    EXPECT_NEAR(left[0].real(), -1.5, 1e-13);
    EXPECT_NEAR(left[1].real(), 0.5, 1e-13);
    EXPECT_NEAR(left[2].real(), 2.0, 1e-13);
    EXPECT_TRUE(identical(model.D, before.D));
    expectSum(before, model, ramps);
}

TEST(RemoveRamps, LeavesUnstableModesWithTheModelWhereNothingIsStable) {
    const LTIStateSpaceModel before = minimal(modelOf({1.0, 2.0}));
    LTIStateSpaceModel model = before;
    LTIStateSpaceModel ramps;
    QorMathControl::RemoveRamps(model, ramps);
    ASSERT_EQ(ramps.A.rows(), 1);
    EXPECT_NEAR(ramps.A(0, 0), 1.0, 1e-14);
    EXPECT_TRUE(identical(ramps.D, zeroMatrix(2, 3)));
    ASSERT_EQ(model.A.rows(), 1);
    EXPECT_NEAR(model.A(0, 0), 2.0, 1e-14);
    EXPECT_TRUE(identical(model.D, before.D)) << "the marginal part came as a whole, feedthrough included";
    expectSum(before, model, ramps);
}

TEST(RemoveRamps, SortsAContinuousMarginalBlockByRealPart) {
    const LTIStateSpaceModel before = minimal(modelOf({3.0, 1.0, -0.5}, continuousSystem));
    LTIStateSpaceModel model = before;
    LTIStateSpaceModel ramps;
    QorMathControl::RemoveRamps(model, ramps);
    ASSERT_EQ(ramps.A.rows(), 1);
    EXPECT_NEAR(ramps.A(0, 0), 1.0, 1e-13);
    expectSum(before, model, ramps);
}

TEST(RemoveRamps, DividesTheLeadingBlockOfTheModelAsItCame) {
    // In the argument the stable state leads: its pole is what the first states of the argument hold.
    LTIStateSpaceModel model = modelOf({0.5, 1.0, 2.0});
    LTIStateSpaceModel ramps;
    QorMathControl::RemoveRamps(model, ramps);
    ASSERT_EQ(ramps.A.rows(), 1);
    EXPECT_EQ(ramps.A(0, 0), 0.5);
    ASSERT_EQ(model.A.rows(), 2);
    EXPECT_EQ(model.A(0, 0), 1.0);
    EXPECT_NEAR(model.A(1, 1), 0.5, 1e-14);
}

TEST(RemoveRamps, LeavesBothModelsAsTheyWereIfTheRealisationFails) {
    LTIStateSpaceModel model = modelOf({1.0, 0.5});
    model.C(0, 0) = std::numeric_limits<double>::quiet_NaN();
    const LTIStateSpaceModel before = model;
    LTIStateSpaceModel ramps;
    qormath::test::expectMinusOne([&] { QorMathControl::RemoveRamps(model, ramps); });
    EXPECT_TRUE(identical(model, before));
    EXPECT_EQ(ramps.A.rows(), 0);
}
