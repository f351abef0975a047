// The gain of a model, and its restoration through the output matrix, on models whose numbers are known.

#include <gtest/gtest.h>
#include <support/matrix_compare.hpp>
#include <support/matrix_literals.hpp>
#include <vector>

#include <qormath/core/arithmetic.hpp>
#include <qormath/pipeline/detail/gain_by_outputs.hpp>

namespace qormath::pipeline {
namespace {

using qormath::test::matrixOf;
using qormath::test::maxDifference;
using QorMathLA::Matrix;

constexpr double byDefault = 0.0;  // percent: no error is allowed but a small one

/// Two lags with gains of their own, and a part of each input that comes through at once.
LTIStateSpaceModel lagsWithFeedthrough() {
    LTIStateSpaceModel model;
    model.A = matrixOf({{0.5, 0.0}, {0.0, 0.75}});
    model.B = matrixOf({{1.0, 0.0}, {0.0, 1.0}});
    model.C = matrixOf({{1.0, 2.0}, {3.0, 0.0}});
    model.D = matrixOf({{10.0, 20.0}, {30.0, 40.0}});
    return model;
}

TEST(SettledStates, AreWhereAUnitStepTakesThem) {
    EXPECT_EQ(maxDifference(settledStates(lagsWithFeedthrough()), matrixOf({{2.0, 0.0}, {0.0, 4.0}})), 0.0);
}

TEST(SettledStates, OfAnIntegratorThrowTheIntMinusOne) {
    LTIStateSpaceModel model = lagsWithFeedthrough();
    model.A(0, 0) = 1.0;
    EXPECT_THROW(settledStates(model), int);
}

TEST(GainsOf, HoldTheFeedthroughAsWell) {
    const LTIStateSpaceModel model = lagsWithFeedthrough();
    const Matrix<double> expected = matrixOf({{12.0, 28.0}, {36.0, 40.0}});
    EXPECT_EQ(maxDifference(gainsOf(model, settledStates(model)), expected), 0.0);
}

TEST(RetainGainByOutputs, ReachesTheGainsOfTheOutputsInNeedAlone) {
    LTIStateSpaceModel model = lagsWithFeedthrough();
    const Matrix<double> settled = settledStates(model);
    const Matrix<double> wanted = matrixOf({{13.0, 26.0}, {36.0, 48.0}});
    ASSERT_TRUE(retainGainByOutputs(model, wanted, settled, {true, true}, byDefault));
    EXPECT_LE(maxDifference(gainsOf(model, settled), wanted), 1e-14);
    EXPECT_EQ(model.D(1, 1), 40.0);

    LTIStateSpaceModel other = lagsWithFeedthrough();
    EXPECT_FALSE(retainGainByOutputs(other, wanted, settled, {true, false}, byDefault));
    EXPECT_LE(maxDifference(other.C.row(0), model.C.row(0)), 1e-14);
    EXPECT_EQ(other.C(1, 0), 3.0);
    EXPECT_EQ(other.C(1, 1), 0.0);
}

TEST(RetainGainByOutputs, SaysSoWhereTheStatesCannotTellTheInputsApart) {
    LTIStateSpaceModel model = lagsWithFeedthrough();
    model.B = matrixOf({{1.0, 1.0}, {1.0, 1.0}});
    const Matrix<double> settled = settledStates(model);
    Matrix<double> wanted = gainsOf(model, settled);
    wanted(0, 0) += 1.0;
    EXPECT_FALSE(retainGainByOutputs(model, wanted, settled, {true, true}, byDefault));
}

TEST(ExcessOf, IsTheWorstOfAnOutputInMultiplesOfWhatIsAllowed) {
    const Matrix<double> wanted = matrixOf({{1.0, 2.0}, {4.0, 8.0}});
    const Matrix<double> gains = matrixOf({{1.0, 2.0}, {4.5, 7.5}});
    const std::vector<double> excess = excessOf(gains, wanted, 10.0);
    ASSERT_EQ(excess.size(), 2U);
    EXPECT_EQ(excess[0], 0.0);
    EXPECT_DOUBLE_EQ(excess[1], 0.5 / 0.4);
    EXPECT_EQ(needOf(gains, wanted, 10.0), (std::vector<bool>{false, true}));
    EXPECT_EQ(needOf(gains, wanted, 20.0), (std::vector<bool>{false, false}));
}

}  // namespace
}  // namespace qormath::pipeline
