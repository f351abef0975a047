#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <string>
#include <support/failures.hpp>
#include <support/matrix_literals.hpp>
#include <support/model_families.hpp>
#include <support/transfer.hpp>
#include <vector>

#include <qormath/control/qor_math_control.hpp>
#include <qormath/models/lti_state_space_model.hpp>

using qormath::test::hankelChannels;
using qormath::test::hidden;
using qormath::test::matrixOf;
using qormath::test::modalModel;
using qormath::test::ModelFamily;
using qormath::test::NormalNumbers;
using qormath::test::Poles;
using qormath::test::vectorOf;
using QorMathLA::Matrix;
using QorMathLA::Vector;
using QorMathLA::zeroMatrix;

namespace {

const double root = std::sqrt(0x1p-53);

using Report = std::vector<int>;

Report realise(LTIStateSpaceModel& model, double stability = -1.0, double delay = -1.0, double ramp = -1.0) {
    Vector<int> report;
    QorMathControl::MinimalRealization(model, report, stability, delay, ramp);
    Report counts;
    for (const int count : report) {
        counts.push_back(count);
    }
    return counts;
}

/// One input and output, uncoupled modes.
LTIStateSpaceModel scalarChannel(const Poles& poles, systemType type) {
    NormalNumbers numbers(8);
    return modalModel(poles, 1, 1, type, numbers);
}

// The stable poles nearest to the limit stand 0.095 from it. The solution of the Sylvester equation that decouples
// them from poles on the limit is so up to 1 / 0.095 times as large as the coupling, and the transformation by it
// multiplies rounding by the square of one plus that.
constexpr double decouplingGrowth = (1.0 + 1.0 / 0.095) * (1.0 + 1.0 / 0.095);

}  // namespace

TEST(MinimalRealization, KeepsTheTransferFunctionOfEveryFamily) {
    for (const systemType type : {discreteSystem, continuousSystem}) {
        for (const ModelFamily& family : qormath::test::modelFamilies(type)) {
            SCOPED_TRACE(family.name + (type == discreteSystem ? ", discrete" : ", continuous"));
            LTIStateSpaceModel model = family.model;
            realise(model);
            EXPECT_LE(qormath::test::transferRatio(family.model, model), 20.0 * decouplingGrowth);
        }
    }
}

TEST(MinimalRealization, ReportsTheModesOfEveryFamily) {
    for (const systemType type : {discreteSystem, continuousSystem}) {
        for (const ModelFamily& family : qormath::test::modelFamilies(type)) {
            SCOPED_TRACE(family.name + (type == discreteSystem ? ", discrete" : ", continuous"));
            LTIStateSpaceModel model = family.model;
            const Report report = realise(model);
            ASSERT_EQ(report.size(), 7u);
            const int kept = family.stable + family.marginal + family.unstable;
            EXPECT_EQ(model.A.rows(), kept);
            EXPECT_EQ(report[0], family.model.A.rows() - kept);
            EXPECT_EQ(report[1], family.marginal + family.unstable);
            EXPECT_EQ(report[2], type == discreteSystem ? family.marginal : 0);
            EXPECT_EQ(report[3], family.stable);
            EXPECT_EQ(report[4], family.name == "delays" ? 2 : 0);
        }
    }
}

TEST(MinimalRealization, PutsTheMarginalAndUnstableModesAheadOfTheStableOnes) {
    for (const systemType type : {discreteSystem, continuousSystem}) {
        for (const ModelFamily& family : qormath::test::modelFamilies(type)) {
            SCOPED_TRACE(family.name);
            LTIStateSpaceModel model = family.model;
            const int leading = realise(model)[1];
            const int n = model.A.rows();
            const double coupling = 20 * n * 0x1p-53 * qormath::test::frobeniusNorm(model.A);
            for (int i = 0; i < n; ++i) {
                for (int j = 0; j < n; ++j) {
                    if ((i < leading) != (j < leading)) {
                        EXPECT_LE(std::fabs(model.A(i, j)), coupling);
                    }
                }
            }
            const QorMathLA::Range first(0, leading - 1, 1);
            for (const std::complex<double>& pole : qormath::test::sortedPoles(model.A(first, first))) {
                EXPECT_LE(qormath::test::stabilityOf(pole, type), root);
            }
            const QorMathLA::Range last(leading, n - 1, 1);
            for (const std::complex<double>& pole : qormath::test::sortedPoles(model.A(last, last))) {
                EXPECT_GT(qormath::test::stabilityOf(pole, type), root);
            }
        }
    }
}

TEST(MinimalRealization, DropsStatesThatDoNotConnectInputsWithOutputs) {
    for (const systemType type : {discreteSystem, continuousSystem}) {
        for (int seed = 1; seed <= 10; ++seed) {
            SCOPED_TRACE("seed " + std::to_string(seed) + (type == discreteSystem ? ", discrete" : ", continuous"));
            NormalNumbers numbers(static_cast<std::uint64_t>(seed));
            const Poles exponents{0.0, 0.0, 0.0, 0.0, {-0.2, 0.0}, {-0.5, 0.7}, {-2.0, 0.0}, {-2.5, 0.0}, {-3.0, 0.0}};
            LTIStateSpaceModel plain = modalModel(qormath::test::polesOf(exponents, type), 3, 3, type, numbers);
            // Integrators 2 and 3 and the last three modes do nothing; what they could do is small beside the others.
            for (const int k : {2, 7, 8}) {
                plain.B.row(k) = 0.0;
                plain.C.column(k) *= 0.01;
            }
            for (const int k : {3, 9}) {
                plain.C.column(k) = 0.0;
                plain.B.row(k) *= 0.01;
            }
            LTIStateSpaceModel model = hidden(plain, numbers);
            const Report report = realise(model);
            EXPECT_EQ(report[0], 5);
            EXPECT_EQ(report[1], 2);
            EXPECT_EQ(report[2], type == discreteSystem ? 2 : 0);
            EXPECT_EQ(report[3], 3);
            EXPECT_EQ(report[4], 0);
            EXPECT_EQ(model.A.rows(), 5);
            // Elements of the integrators below the root of the precision have been cleared.
            for (const double z : qormath::test::transferPoints()) {
                EXPECT_LE(qormath::test::maxDifference(qormath::test::transferAt(plain, z),
                                                       qormath::test::transferAt(model, z)),
                          20 * root);
            }
        }
    }
}

TEST(MinimalRealization, UncouplesTheShrunkModesToTheBit) {
    LTIStateSpaceModel model = scalarChannel({1.0, 1.0, 0.5, 0.25}, discreteSystem);
    model.A(0, 2) = 0.75;
    EXPECT_EQ(realise(model)[1], 1);
    ASSERT_EQ(model.A.rows(), 3);
    for (const int k : {1, 2}) {
        EXPECT_EQ(model.A(0, k), 0.0);
        EXPECT_EQ(model.A(k, 0), 0.0);
    }
}

TEST(MinimalRealization, TakesAllModesOfAShrunkDiscreteBlockForIntegrators) {
    // Two integrators of one channel become one; the unstable mode beside them is set to 1.0 with them.
    LTIStateSpaceModel model = scalarChannel({2.0, 1.0, 1.0, 0.5}, discreteSystem);
    const Report report = realise(model);
    EXPECT_EQ(report[0], 1);
    EXPECT_EQ(report[1], 2);
    EXPECT_EQ(report[2], 2);
    EXPECT_EQ(model.A(0, 0), 1.0);
    EXPECT_EQ(model.A(1, 1), 1.0);
}

TEST(MinimalRealization, DropsAMarginalBlockThatNothingDrives) {
    for (const systemType type : {discreteSystem, continuousSystem}) {
        LTIStateSpaceModel model = scalarChannel({type == discreteSystem ? 1.0 : 0.0}, type);
        model.B(0, 0) = 0.0;
        const Matrix<double> feedthrough = model.D;
        EXPECT_EQ(realise(model), Report({1, 0, 0, 0, 0, 0, 0}));
        EXPECT_EQ(model.A.rows(), 0);
        EXPECT_EQ(model.B.cols(), 1);
        EXPECT_EQ(model.C.rows(), 1);
        EXPECT_TRUE(qormath::test::identical(model.D, feedthrough));
    }
}

TEST(MinimalRealization, SortsAStableModelAndCountsNothingMarginal) {
    LTIStateSpaceModel discrete = scalarChannel({0.25, -0.75, 0.5}, discreteSystem);
    EXPECT_EQ(realise(discrete), Report({0, 0, 0, 3, 0, 3, 3}));
    EXPECT_NEAR(discrete.A(0, 0), -0.75, 1e-13);
    EXPECT_NEAR(discrete.A(1, 1), 0.5, 1e-13);
    EXPECT_NEAR(discrete.A(2, 2), 0.25, 1e-13);
    LTIStateSpaceModel continuous = scalarChannel({-3.0, -0.5, -1.0}, continuousSystem);
    EXPECT_EQ(realise(continuous)[1], 0);
    EXPECT_NEAR(continuous.A(0, 0), -0.5, 1e-13);
    EXPECT_NEAR(continuous.A(1, 1), -1.0, 1e-13);
    EXPECT_NEAR(continuous.A(2, 2), -3.0, 1e-13);
}

TEST(MinimalRealization, CountsADiscreteIntegratorWithinTheRampTolerance) {
    LTIStateSpaceModel model = scalarChannel({1.0 - 0.5 * root, 0.5}, discreteSystem);
    EXPECT_EQ(realise(model), Report({0, 1, 1, 1, 0, 2, 2}));
    EXPECT_EQ(model.A(0, 0), 1.0);
}

TEST(MinimalRealization, CountsAContinuousIntegratorAsMarginalAlone) {
    LTIStateSpaceModel model = scalarChannel({-0.5 * root, -1.0}, continuousSystem);
    EXPECT_EQ(realise(model), Report({0, 1, 0, 1, 0, 2, 2}));
    EXPECT_EQ(model.A(0, 0), 0.0);
}

TEST(MinimalRealization, CountsAContinuousPoleAtOneAmongTheIntegrators) {
    LTIStateSpaceModel model = scalarChannel({1.0, -1.0}, continuousSystem);
    EXPECT_EQ(realise(model), Report({0, 1, 1, 1, 0, 2, 2}));
}

TEST(MinimalRealization, CountsAPoleAtTheMarginItselfAsMarginal) {
    const double margin = 0x1p-6;
    LTIStateSpaceModel discrete = scalarChannel({1.0 - margin}, discreteSystem);
    EXPECT_EQ(realise(discrete, margin, -1.0, 0.0)[1], 1);
    LTIStateSpaceModel inside = scalarChannel({1.0 - 1.001 * margin}, discreteSystem);
    EXPECT_EQ(realise(inside, margin, -1.0, 0.0)[1], 0);
    LTIStateSpaceModel continuous = scalarChannel({-margin}, continuousSystem);
    EXPECT_EQ(realise(continuous, margin, -1.0, 0.0)[1], 1);
    LTIStateSpaceModel slower = scalarChannel({-1.001 * margin}, continuousSystem);
    EXPECT_EQ(realise(slower, margin, -1.0, 0.0)[1], 0);
}

TEST(MinimalRealization, TakesAStabilityToleranceOfZeroAsItStands) {
    // Just inside the limit: marginal at the default margin, stable where the limit itself is the margin.
    const double distance = 0.5 * root;
    for (const systemType type : {discreteSystem, continuousSystem}) {
        const double pole = type == discreteSystem ? 1.0 - distance : -distance;
        LTIStateSpaceModel atLimit = scalarChannel({pole}, type);
        // The ramp tolerance follows the stability tolerance but is never below the root, so the pole moves after the
        // reduction has taken it for stable, and is counted where it has come to.
        EXPECT_EQ(realise(atLimit, 0.0)[1], 1);
        LTIStateSpaceModel farther = scalarChannel({type == discreteSystem ? 1.0 - 1.5 * root : -1.5 * root}, type);
        EXPECT_EQ(realise(farther, 0.0)[1], 0);
        LTIStateSpaceModel marginal = scalarChannel({type == discreteSystem ? 1.0 : 0.0}, type);
        EXPECT_EQ(realise(marginal, 0.0)[1], 1);
    }
}

TEST(MinimalRealization, LetsTheRampToleranceFollowTheStabilityTolerance) {
    LTIStateSpaceModel model = scalarChannel({1.0 + 0.5e-3}, discreteSystem);
    EXPECT_EQ(realise(model, 1e-3)[2], 1);
    EXPECT_EQ(model.A(0, 0), 1.0);
    LTIStateSpaceModel own = scalarChannel({1.0 + 0.5e-3}, discreteSystem);
    EXPECT_EQ(realise(own, 1e-3, -1.0, 1e-4)[2], 0);
}

TEST(MinimalRealization, CountsDelaysAndKeepsThem) {
    LTIStateSpaceModel model = scalarChannel({0.0, 0.5}, discreteSystem);
    const LTIStateSpaceModel before = model;
    EXPECT_EQ(realise(model), Report({0, 0, 0, 2, 1, 2, 2}));
    EXPECT_LE(qormath::test::transferRatio(before, model), 20.0);
}

TEST(MinimalRealization, CountsAsDelaysWhatLiesBelowTheDelayTolerance) {
    LTIStateSpaceModel counted = scalarChannel({0.009, 0.5}, discreteSystem);
    EXPECT_EQ(realise(counted, -1.0, 0.01)[4], 1);
    LTIStateSpaceModel other = scalarChannel({0.011, 0.5}, discreteSystem);
    EXPECT_EQ(realise(other, -1.0, 0.01)[4], 0);
    LTIStateSpaceModel floored = scalarChannel({0.5 * root, 0.5}, discreteSystem);
    EXPECT_EQ(realise(floored, -1.0, 0.0)[4], 1) << "the tolerance is never below the root of the precision";
    LTIStateSpaceModel continuous = scalarChannel({-1e-3, -0.5}, continuousSystem);
    EXPECT_EQ(realise(continuous, -1.0, 0.01)[4], 0);
}

TEST(MinimalRealization, SuggestsOrdersByTheWeakHankelSingularValues) {
    const std::vector<double> hankel{1.0, 0.0051, 0.0049, 1.1e-5, 0.9e-5, 1e-7};
    LTIStateSpaceModel discrete = hankelChannels({0.5, 0.4, 0.3, -0.3, -0.4, 0.2}, hankel, discreteSystem);
    EXPECT_EQ(realise(discrete), Report({0, 0, 0, 6, 0, 2, 4}));
    LTIStateSpaceModel continuous = hankelChannels({-0.5, -0.4, -0.3, -1.0, -2.0, -3.0}, hankel, continuousSystem);
    EXPECT_EQ(realise(continuous), Report({0, 0, 0, 6, 0, 2, 4}));
}

TEST(MinimalRealization, SuggestsOrdersThatCountTheStatesOfTheUnreducedStablePart) {
    // The value 0 is removed from the model and weak at both views: it lowers both orders, as the merged ramp does.
    LTIStateSpaceModel model = hankelChannels({0.5, 0.4, 1.0, 1.0}, {1.0, 0.0, 1.0, 1.0}, discreteSystem);
    model.C(2, 2) = 1.0;
    model.C(3, 3) = 0.0;
    EXPECT_EQ(realise(model), Report({2, 1, 1, 1, 0, 2, 2}));
}

TEST(MinimalRealization, SuggestsTheOrderOfAModelWithoutStablePart) {
    LTIStateSpaceModel model = scalarChannel({2.0, -3.0}, discreteSystem);
    EXPECT_EQ(realise(model), Report({0, 2, 0, 0, 0, 2, 2}));
}

TEST(MinimalRealization, ReportsZerosForAModelWithoutStates) {
    LTIStateSpaceModel empty;
    EXPECT_EQ(realise(empty), Report(7, 0));
    LTIStateSpaceModel shaped(Matrix<double>(), Matrix<double>(0, 3), Matrix<double>(2, 0),
                              matrixOf({{1, 2, 3}, {4, 5, 6}}), continuousSystem, 1.0);
    EXPECT_EQ(realise(shaped), Report(7, 0));
    EXPECT_EQ(shaped.B.cols(), 3);
    EXPECT_EQ(shaped.C.rows(), 2);
    EXPECT_EQ(shaped.D(1, 2), 6.0);
}

TEST(MinimalRealization, TakesEveryTimeBaseButDiscreteForContinuous) {
    LTIStateSpaceModel model = scalarChannel({-0.5 * root, -1.0}, static_cast<systemType>(4));
    EXPECT_EQ(realise(model), Report({0, 1, 0, 1, 0, 2, 2}));
}

TEST(MinimalRealization, ReplacesTheReportWithoutTouchingWhoSharesItsBlock) {
    Vector<int> report = vectorOf<int>({9, 9});
    const Vector<int> sharer(report, false);
    LTIStateSpaceModel model = scalarChannel({0.5}, discreteSystem);
    QorMathControl::MinimalRealization(model, report, -1.0, -1.0, -1.0);
    EXPECT_EQ(report.size(), 7);
    EXPECT_EQ(sharer.size(), 2);
    EXPECT_EQ(sharer[0], 9);
}

TEST(MinimalRealization, ThrowsMinusOneForNaNAndKeepsTheReport) {
    LTIStateSpaceModel model = scalarChannel({0.5, 0.25}, discreteSystem);
    model.A(0, 1) = std::numeric_limits<double>::quiet_NaN();
    Vector<int> report = vectorOf<int>({9, 9});
    qormath::test::expectMinusOne([&] { QorMathControl::MinimalRealization(model, report, -1.0, -1.0, -1.0); });
    EXPECT_EQ(report.size(), 2);
}

TEST(MinimalRealization, ChangesNothingThatMattersTheSecondTime) {
    for (const systemType type : {discreteSystem, continuousSystem}) {
        for (const ModelFamily& family : qormath::test::modelFamilies(type)) {
            SCOPED_TRACE(family.name);
            LTIStateSpaceModel model = family.model;
            Report first = realise(model);
            const LTIStateSpaceModel once = model;
            Report second = realise(model);
            EXPECT_EQ(second[0], 0);
            EXPECT_EQ(Report(second.begin() + 1, second.begin() + 5), Report(first.begin() + 1, first.begin() + 5));
            EXPECT_LE(qormath::test::transferRatio(once, model), 20.0 * decouplingGrowth);
        }
    }
}
