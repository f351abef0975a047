#include "fidelity.hpp"

#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <nlohmann/json.hpp>
#include <sstream>

#include "models.hpp"
#include "simulation.hpp"

namespace qormath::cli {
namespace {

using qormath::test::firstOrder;
using qormath::test::matrixOf;
using qormath::test::modelOf;
using qormath::test::zeroModel;
using QorMathLA::Matrix;
using QorMathLA::Vector;

/// Two static outputs of two inputs.
LTIStateSpaceModel staticSystem(const std::vector<std::vector<double>>& gains) {
    return LTIStateSpaceModel(Matrix<double>(0, 0), Matrix<double>(0, 2), Matrix<double>(2, 0), matrixOf(gains, 2),
                              discreteSystem, 1.0);
}

LTIFIRModel staticModel(const std::vector<std::vector<double>>& gains) {
    return modelOf(2, 2, 3, [&](int output, int input, int) {
        return gains[static_cast<std::size_t>(output)][static_cast<std::size_t>(input)];
    });
}

Fidelity compareStatic(const std::vector<std::vector<double>>& gains, const LTIFIRModel& model) {
    return compare(staticSystem(gains), staticModel(gains), model);
}

TEST(Compare, FindsNoErrorBetweenEquals) {
    const Fidelity fidelity = compareStatic({{1.0, 2.0}, {3.0, 4.0}}, staticModel({{1.0, 2.0}, {3.0, 4.0}}));
    ASSERT_TRUE(fidelity.gain && fidelity.curve);
    EXPECT_EQ(fidelity.gain->value, 0.0);
    EXPECT_EQ(fidelity.curve->value, 0.0);
    EXPECT_FALSE(fidelity.rampRate);
}

TEST(Compare, FindsTheLargestGainErrorRelativeToItsPair) {
    const Fidelity fidelity = compareStatic({{1.0, 2.5}, {-3.0, 8.5}}, staticModel({{1.0, 2.0}, {-3.0, 8.0}}));
    ASSERT_TRUE(fidelity.gain);
    EXPECT_EQ(fidelity.gain->value, 0.25);
    EXPECT_EQ(fidelity.gain->output, "Y1");
    EXPECT_EQ(fidelity.gain->input, "U2");
}

TEST(Compare, FindsAGainErrorWhereThereShouldBeNoneRelativeToTheOutput) {
    const Fidelity fidelity = compareStatic({{1.0, 2.0}, {0.5, 4.0}}, staticModel({{1.0, 2.0}, {0.0, 4.0}}));
    ASSERT_TRUE(fidelity.gain);
    EXPECT_EQ(fidelity.gain->value, 0.125);
    EXPECT_EQ(fidelity.gain->output, "Y2");
    EXPECT_EQ(fidelity.gain->input, "U1");
}

TEST(Compare, FindsTheLargestCurveErrorInPercentOfTheOutputsLargestCoefficient) {
    const Fidelity fidelity = compareStatic({{1.0, 2.5}, {-3.0, 8.5}}, staticModel({{1.0, 2.0}, {-3.0, 8.0}}));
    ASSERT_TRUE(fidelity.curve);
    EXPECT_EQ(fidelity.curve->value, 25.0);
    EXPECT_EQ(fidelity.curve->output, "Y1");
    EXPECT_EQ(fidelity.curve->input, "U2");
}

TEST(Compare, LooksAtEveryElementOfACurve) {
    for (int element = 0; element <= 3; ++element) {
        LTIFIRModel model = staticModel({{1.0, 1.0}, {1.0, 1.0}});
        model.coefficients(0, 1)[element] = 0.5;
        const Fidelity fidelity = compareStatic({{1.0, 1.0}, {1.0, 1.0}}, model);
        ASSERT_TRUE(fidelity.curve);
        EXPECT_EQ(fidelity.curve->value, 50.0) << element;
        EXPECT_EQ(fidelity.curve->output, "Y2");
        EXPECT_EQ(fidelity.curve->input, "U1");
    }
}

TEST(Compare, TakesANullCurveForZeros) {
    LTIFIRModel model = staticModel({{4.0, 0.0}, {1.0, 1.0}});
    model.coefficients(1, 0) = Vector<double>();
    const Fidelity fidelity = compareStatic({{4.0, 1.0}, {1.0, 1.0}}, model);
    ASSERT_TRUE(fidelity.curve && fidelity.gain);
    EXPECT_EQ(fidelity.curve->value, 25.0);
    EXPECT_EQ(fidelity.gain->value, 0.25);
}

TEST(Compare, IsAbsoluteOnAnOutputWithoutCurves) {
    const Fidelity fidelity = compareStatic({{0.0, 0.25}, {1.0, 1.0}}, staticModel({{0.0, 0.0}, {1.0, 1.0}}));
    ASSERT_TRUE(fidelity.curve && fidelity.gain);
    EXPECT_EQ(fidelity.curve->value, 25.0);
    EXPECT_EQ(fidelity.gain->value, 0.25);
}

TEST(Compare, KeepsANumberThatIsNone) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    LTIFIRModel simulated = staticModel({{1.0, 1.0}, {1.0, 1.0}});
    simulated.coefficients(0, 0)[1] = nan;
    const Fidelity fidelity =
        compare(staticSystem({{1.0, 1.0}, {1.0, 1.0}}), simulated, staticModel({{2.0, 2.0}, {2.0, 2.0}}));
    ASSERT_TRUE(fidelity.curve);
    EXPECT_TRUE(std::isnan(fidelity.curve->value));
    EXPECT_EQ(fidelity.curve->output, "Y1");
}

TEST(Compare, MeasuresTheRateOfARampAndTheGainOfTheOtherOutputs) {
    // Output 1 rises by 2 each sample; output 2 goes to 3 by halves.
    SystemFile file;
    file.system =
        LTIStateSpaceModel(matrixOf({{1.0, 0.0}, {0.0, 0.5}}, 2), matrixOf({{2.0}, {1.5}}, 1),
                           matrixOf({{1.0, 0.0}, {0.0, 1.0}}, 2), matrixOf({{0.0}, {0.0}}, 1), discreteSystem, 1.0);
    file.inputs = {"U1"};
    file.outputs = {"Y1", "Y2"};
    LTIFIRModel model = modelOf(1, 2, 4, [](int output, int, int k) { return output == 0 ? 2.5 * (k + 1) : 4.0; });
    model.rampFlags[0] = true;
    const Fidelity fidelity = compare(file.system, simulate(file, model), model);
    ASSERT_TRUE(fidelity.gain && fidelity.rampRate && fidelity.curve);
    // The split goes through similarities of order 2, each of whose entries has a few roundings.
    EXPECT_NEAR(fidelity.rampRate->value, 0.2, 100.0 * 0x1p-53);
    EXPECT_EQ(fidelity.rampRate->output, "Y1");
    EXPECT_NEAR(fidelity.gain->value, 0.25, 100.0 * 0x1p-53);
    EXPECT_EQ(fidelity.gain->output, "Y2");
    EXPECT_EQ(fidelity.curve->value, 62.5);
    EXPECT_EQ(fidelity.curve->output, "Y2");
}

TEST(Compare, FindsNoGainOfAnUnstableSystem) {
    const SystemFile file = firstOrder(1.5, 1.0, 1.0, 0.0);
    LTIStateSpaceModel withIntegrator(matrixOf({{1.5, 0.0}, {0.0, 1.0}}, 2), matrixOf({{1.0}, {1.0}}, 1),
                                      matrixOf({{1.0, 1.0}}, 2), matrixOf({{0.0}}, 1), discreteSystem, 1.0);
    for (const LTIStateSpaceModel& system : {file.system, withIntegrator}) {
        SystemFile unstable = file;
        unstable.system = system;
        const LTIFIRModel model = zeroModel(1, 1, 4);
        const Fidelity fidelity = compare(system, simulate(unstable, model), model);
        EXPECT_FALSE(fidelity.gain);
        EXPECT_FALSE(fidelity.rampRate);
        EXPECT_TRUE(fidelity.curve);
    }
}

TEST(Compare, FindsNothingInAModelWithoutInputs) {
    const LTIStateSpaceModel system(Matrix<double>(0, 0), Matrix<double>(0, 0), Matrix<double>(1, 0),
                                    Matrix<double>(1, 0), discreteSystem, 1.0);
    const LTIFIRModel model = zeroModel(0, 1, 4);
    const Fidelity fidelity = compare(system, model, model);
    EXPECT_FALSE(fidelity.gain);
    EXPECT_FALSE(fidelity.curve);
}

TEST(FidelityFacts, NameThePair) {
    Fidelity fidelity;
    fidelity.gain = PairError{0.001234, "TEMP", "FEED"};
    FactTable table;
    addFidelityFacts(table, fidelity);
    std::ostringstream out;
    table.print(out);
    EXPECT_EQ(out.str(),
              "largest gain error   0.00123  (output TEMP, input FEED)\n"
              "largest curve error  none\n");
}

TEST(FidelityFacts, AreNullInJsonWhereThereIsNone) {
    Fidelity fidelity;
    fidelity.curve = PairError{0.5, "TEMP", "FEED"};
    JsonValue object;
    addFidelityFacts(object, fidelity);
    std::ostringstream out;
    object.print(out);
    EXPECT_EQ(nlohmann::ordered_json::parse(out.str()), nlohmann::ordered_json::parse(
                                                            R"({"largestGainError": null, "largestRampRateError": null,
                              "largestCurveErrorPercent": {"value": 0.5, "output": "TEMP", "input": "FEED"}})"));
}

}  // namespace
}  // namespace qormath::cli
