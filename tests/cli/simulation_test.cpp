#include "simulation.hpp"

#include <functional>
#include <gtest/gtest.h>
#include <random>
#include <string>

#include "models.hpp"
#include "program_error.hpp"

namespace qormath::cli {
namespace {

using qormath::test::firstOrder;
using qormath::test::matrixOf;
using qormath::test::zeroModel;
using QorMathLA::Matrix;
using QorMathLA::Vector;

std::string errorOf(const std::function<void()>& action) {
    try {
        action();
    } catch (const ProgramError& error) {
        return error.what();
    }
    return "no error";
}

void expectCurve(const Vector<double>& curve, const std::vector<double>& expected) {
    ASSERT_EQ(curve.size(), static_cast<int>(expected.size()));
    for (int k = 0; k < curve.size(); ++k) {
        EXPECT_EQ(curve[k], expected[static_cast<std::size_t>(k)]) << k;
    }
}

TEST(Simulate, TakesElementZeroOneSampleAfterTheStep) {
    SystemFile file = firstOrder(0.5, 1.0, 2.0, 0.25);
    file.curveOffset = 1;
    expectCurve(simulate(file, zeroModel(1, 1, 3)).coefficients(0, 0), {2.25, 3.25, 3.75, 4.0});
}

TEST(Simulate, TakesElementZeroAtTheStepOfAnAlignedSystem) {
    SystemFile file = firstOrder(0.5, 1.0, 2.0, 0.25);
    file.curveOffset = 0;
    expectCurve(simulate(file, zeroModel(1, 1, 3)).coefficients(0, 0), {0.25, 2.25, 3.25, 3.75});
}

TEST(Simulate, TakesElementZeroOfEachPairFromItsFeedthrough) {
    SystemFile file;
    const Matrix<double> none(0, 0);
    file.system = LTIStateSpaceModel(none, Matrix<double>(0, 3), Matrix<double>(2, 0),
                                     matrixOf({{1.0, 2.0, 3.0}, {4.0, 5.0, 6.0}}, 3), discreteSystem, 1.0);
    file.inputs = {"U1", "U2", "U3"};
    file.outputs = {"Y1", "Y2"};
    for (const int offset : {0, 1}) {
        file.curveOffset = offset;
        LTIFIRModel model = simulate(file, zeroModel(3, 2, 2));
        for (int i = 0; i < 3; ++i) {
            for (int j = 0; j < 2; ++j) {
                const double gain = 3.0 * j + i + 1.0;
                expectCurve(model.coefficients(i, j), {gain, gain, gain});
            }
        }
    }
}

TEST(Simulate, TakesEverythingElseFromTheReference) {
    LTIFIRModel reference = zeroModel(1, 1, 3);
    reference.rampFlags[0] = true;
    const LTIFIRModel model = simulate(firstOrder(1.0, 1.0, 1.0, 0.0), reference);
    EXPECT_TRUE(model.rampFlags[0]);
    EXPECT_EQ(model.coefficientCount, 3);
    EXPECT_EQ(model.horizonSeconds, 3);
    EXPECT_EQ(model.inputNames[0], "U1");
    EXPECT_EQ(model.outputDescriptors[0], "OUT1");
}

TEST(Simulate, RefusesOtherCounts) {
    EXPECT_EQ(errorOf([] { simulate(firstOrder(0.5, 1.0, 1.0, 0.0), zeroModel(2, 3, 4)); }),
              "the system has 1 inputs and 1 outputs, the model 2 inputs and 3 outputs");
}

TEST(Simulate, RefusesAContinuousSystem) {
    SystemFile file = firstOrder(-1.0, 1.0, 1.0, 0.0);
    file.system.sysType = continuousSystem;
    EXPECT_EQ(errorOf([&] { simulate(file, zeroModel(1, 1, 4)); }),
              "the system is continuous; only a discrete system can be simulated");
}

TEST(Simulate, RefusesAnotherSampleTime) {
    SystemFile file = firstOrder(0.5, 1.0, 1.0, 0.0);
    file.system.sampleTime = 60.0;
    EXPECT_EQ(errorOf([&] { simulate(file, zeroModel(1, 1, 4)); }),
              "the system has a sample time of 60 s, the model one of 1 s");
}

TEST(Simulate, TakesASampleTimeThatWasRoundedInPrint) {
    SystemFile file = firstOrder(0.5, 1.0, 1.0, 0.0);
    LTIFIRModel reference = zeroModel(1, 1, 3);
    reference.horizonSeconds = 1;
    file.system.sampleTime = 0.3333333333;
    EXPECT_EQ(errorOf([&] { simulate(file, reference); }), "no error");
    file.system.sampleTime = 0.33333;
    EXPECT_EQ(errorOf([&] { simulate(file, reference); }),
              "the system has a sample time of 0.33333 s, the model one of 0.333333 s");
}

TEST(AdvancedByOneSample, TakesCAForCAndAddsCBToD) {
    const LTIStateSpaceModel system = firstOrder(0.5, 3.0, 2.0, 0.25).system;
    const LTIStateSpaceModel advanced = advancedByOneSample(system);
    EXPECT_EQ(advanced.A(0, 0), 0.5);
    EXPECT_EQ(advanced.B(0, 0), 3.0);
    EXPECT_EQ(advanced.C(0, 0), 1.0);
    EXPECT_EQ(advanced.D(0, 0), 6.25);
    EXPECT_EQ(system.C(0, 0), 2.0);
    EXPECT_EQ(system.D(0, 0), 0.25);
    EXPECT_EQ(advanced.sampleTime, 1.0);
}

TEST(AdvancedByOneSample, LeavesAModelWithoutStates) {
    const LTIStateSpaceModel system(Matrix<double>(), Matrix<double>(), Matrix<double>(), matrixOf({{1.0, 2.0}}, 2),
                                    discreteSystem, 1.0);
    const LTIStateSpaceModel advanced = advancedByOneSample(system);
    EXPECT_EQ(advanced.D.rows(), 1);
    EXPECT_EQ(advanced.D(0, 1), 2.0);
}

/// Entries between -1 and 1 over the order, so that no mode grows.
Matrix<double> randomMatrix(int rows, int columns, double size, std::mt19937& generator) {
    std::uniform_real_distribution<double> entry(-size, size);
    Matrix<double> result(rows, columns);
    for (double& element : result) {
        element = entry(generator);
    }
    return result;
}

TEST(AdvancedByOneSample, HasTheCurvesOfTheSystemAtOffsetZero) {
    std::mt19937 generator(7);
    for (const int states : {1, 2, 5, 20}) {
        SystemFile file;
        file.inputs = {"U1", "U2"};
        file.outputs = {"Y1", "Y2", "Y3"};
        file.system = LTIStateSpaceModel(
            randomMatrix(states, states, 1.0 / states, generator), randomMatrix(states, 2, 1.0, generator),
            randomMatrix(3, states, 1.0, generator), randomMatrix(3, 2, 1.0, generator), discreteSystem, 1.0);
        SystemFile aligned = file;
        aligned.system = advancedByOneSample(file.system);
        aligned.curveOffset = 0;
        const LTIFIRModel expected = simulate(file, zeroModel(2, 3, 30));
        const LTIFIRModel found = simulate(aligned, zeroModel(2, 3, 30));
        // Products of length states in another order; the state stays below 1 + 1 / (1 - 1) sums of 31 terms.
        const double bound = 10.0 * states * 31.0 * 31.0 * 0x1p-53;
        for (int i = 0; i < 2; ++i) {
            for (int j = 0; j < 3; ++j) {
                for (int k = 0; k <= 30; ++k) {
                    EXPECT_NEAR(found.coefficients(i, j)[k], expected.coefficients(i, j)[k], bound);
                }
            }
        }
    }
}

}  // namespace
}  // namespace qormath::cli
