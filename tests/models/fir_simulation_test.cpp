#include <gtest/gtest.h>
#include <limits>
#include <new>
#include <string>

#include <qormath/core/arithmetic.hpp>
#include <qormath/models/lti_fir_model.hpp>

#include "support/matrix_literals.hpp"

using qormath::test::matrixOf;
using qormath::test::vectorOf;
using QorMathLA::Matrix;
using QorMathLA::Vector;
using QorMathLA::xmsg;
using QorMathLA::zeroMatrix;

namespace {

/// A reference with names and n coefficients, whose curves are never looked at.
LTIFIRModel referenceOf(int inputs, int outputs, int n) {
    LTIFIRModel reference;
    reference.rampFlags = Vector<bool>(outputs);
    reference.rampFlags.fill(false);
    reference.coefficientCount = n;
    reference.horizonSeconds = 60 * n;
    reference.inputNames = Vector<std::string>(inputs);
    reference.inputDescriptors = Vector<std::string>(inputs);
    reference.outputNames = Vector<std::string>(outputs);
    reference.outputDescriptors = Vector<std::string>(outputs);
    for (int i = 0; i < inputs; ++i) {
        reference.inputNames[i] = "IN" + std::to_string(i);
    }
    for (int j = 0; j < outputs; ++j) {
        reference.outputNames[j] = "OUT" + std::to_string(j);
    }
    return reference;
}

LTIStateSpaceModel oneState(double pole) {
    return {matrixOf({{pole}}), matrixOf({{1}}), matrixOf({{1}}), matrixOf({{0}}), discreteSystem, 1.0};
}

std::string messageOf(const LTIStateSpaceModel& system) {
    try {
        const LTIFIRModel model(system, referenceOf(1, 1, 3));
    } catch (const xmsg& error) {
        EXPECT_EQ(error.code, QorMathLA::DimensionMismatch);
        return error.message;
    }
    return "no xmsg";
}

}  // namespace

TEST(FirSimulation, TakesTheOutputAfterTheStateHasMoved) {
    const LTIFIRModel model(oneState(0.5), referenceOf(1, 1, 4));
    const Vector<double>& curve = model.coefficients(0, 0);
    ASSERT_EQ(curve.size(), 5);
    EXPECT_EQ(curve[0], 1.0);
    EXPECT_EQ(curve[1], 1.5);
    EXPECT_EQ(curve[2], 1.75);
    EXPECT_EQ(curve[4], 1.9375);
}

TEST(FirSimulation, AddsTheFeedthroughFromTheFirstElementOn) {
    LTIStateSpaceModel system = oneState(0.0);
    system.D(0, 0) = 10.0;
    const LTIFIRModel model(system, referenceOf(1, 1, 2));
    EXPECT_EQ(model.coefficients(0, 0)[0], 11.0);
    EXPECT_EQ(model.coefficients(0, 0)[2], 11.0);
}

TEST(FirSimulation, OfAModelWithoutStatesIsItsFeedthroughInEveryEmptyForm) {
    const Matrix<double> d = matrixOf({{1, 2}, {3, 4}, {5, 6}});
    const Matrix<double> none;
    for (const LTIStateSpaceModel& system :
         {LTIStateSpaceModel(none, none, none, d, discreteSystem, 1.0),
          LTIStateSpaceModel(none, zeroMatrix(0, 2), zeroMatrix(3, 0), d, discreteSystem, 1.0)}) {
        const LTIFIRModel model(system, referenceOf(2, 3, 3));
        ASSERT_EQ(model.coefficients.rows(), 2);
        ASSERT_EQ(model.coefficients.cols(), 3);
        for (int k = 0; k <= 3; ++k) {
            EXPECT_EQ(model.coefficients(1, 2)[k], 6.0);
            EXPECT_EQ(model.coefficients(0, 1)[k], 3.0);
        }
    }
}

TEST(FirSimulation, WithoutCoefficientsStoresElementZeroAlone) {
    const LTIFIRModel model(oneState(0.5), referenceOf(1, 1, 0));
    ASSERT_EQ(model.coefficients(0, 0).size(), 1);
    EXPECT_EQ(model.coefficients(0, 0)[0], 1.0);
}

TEST(FirSimulation, OfAnIntegratorRisesByOneAStepAndReportsItsSlopeAsGain) {
    const LTIStateSpaceModel integrator(vectorOf<bool>({true}), discreteSystem, 1.0);
    LTIFIRModel reference = referenceOf(1, 1, 5);
    reference.rampFlags[0] = true;
    LTIFIRModel model(integrator, reference);
    for (int k = 0; k <= 5; ++k) {
        EXPECT_EQ(model.coefficients(0, 0)[k], k + 1.0);
    }
    EXPECT_EQ(model.GetGain()(0, 0), 1.0);
}

TEST(FirSimulation, TakesEverythingButTheCurvesFromTheReference) {
    const LTIFIRModel reference = referenceOf(1, 1, 4);
    LTIFIRModel model(oneState(0.5), reference);
    EXPECT_EQ(model.coefficientCount, 4);
    EXPECT_EQ(model.horizonSeconds, 240);
    EXPECT_EQ(model.inputNames[0], "IN0");
    EXPECT_EQ(model.outputNames[0], "OUT0");
    model.inputNames[0] = "CHANGED";
    EXPECT_EQ(reference.inputNames[0], "IN0") << "deep copies";
}

TEST(FirSimulation, IgnoresTheTimeBase) {
    LTIStateSpaceModel system = oneState(0.5);
    system.sysType = continuousSystem;
    system.sampleTime = 17.0;
    const LTIFIRModel model(system, referenceOf(1, 1, 2));
    EXPECT_EQ(model.coefficients(0, 0)[1], 1.5);
}

TEST(FirSimulation, StoresZeroCurvesInFull) {
    LTIStateSpaceModel system = oneState(0.5);
    system.C(0, 0) = 0.0;
    const LTIFIRModel model(system, referenceOf(1, 1, 3));
    ASSERT_EQ(model.coefficients(0, 0).size(), 4);
    EXPECT_EQ(model.coefficients(0, 0).maxAbs(), 0.0);
}

TEST(FirSimulation, SimulatesEachInputAlone) {
    const LTIStateSpaceModel system(matrixOf({{0.5, 0}, {0, 0.25}}), matrixOf({{1, 0}, {0, 2}}),
                                    matrixOf({{1, 0}, {1, 1}}), zeroMatrix(2, 2), discreteSystem, 1.0);
    const LTIFIRModel model(system, referenceOf(2, 2, 2));
    EXPECT_EQ(model.coefficients(0, 0)[1], 1.5);
    EXPECT_EQ(model.coefficients(0, 1)[1], 1.5);
    EXPECT_EQ(model.coefficients(1, 0)[1], 0.0);
    EXPECT_EQ(model.coefficients(1, 1)[1], 2.5);
}

TEST(FirSimulation, OfManyInputsIsThatOfEachInputByItself) {
    const Matrix<double> a = matrixOf({{0.5, 0.25}, {-0.5, 0.75}});
    const Matrix<double> b = matrixOf({{1, 2, -1}, {0.5, 0, 4}});
    const Matrix<double> c = matrixOf({{1, -2}});
    const Matrix<double> d = matrixOf({{0, 1, 2}});
    const LTIFIRModel together(LTIStateSpaceModel(a, b, c, d, discreteSystem, 1.0), referenceOf(3, 1, 40));
    for (int input = 0; input < 3; ++input) {
        const QorMathLA::Range one(input, input, 1);
        const QorMathLA::Range all(-1, -1, 1);
        const LTIFIRModel alone(LTIStateSpaceModel(a, b(all, one), c, d(all, one), discreteSystem, 1.0),
                                referenceOf(1, 1, 40));
        for (int k = 0; k <= 40; ++k) {
            // The curves stay below 20, and each of 41 samples rounds a few times.
            ASSERT_NEAR(together.coefficients(input, 0)[k], alone.coefficients(0, 0)[k], 20.0 * 41 * 4 * 0x1p-53);
        }
    }
}

TEST(FirSimulation, WithoutInputsOrOutputsGivesAnEmptyTable) {
    const LTIStateSpaceModel noInputs(matrixOf({{0.5}}), zeroMatrix(1, 0), matrixOf({{1}}), zeroMatrix(1, 0),
                                      discreteSystem, 1.0);
    EXPECT_EQ(LTIFIRModel(noInputs, referenceOf(0, 1, 3)).coefficients.rows(), 0);
    const LTIStateSpaceModel noOutputs(matrixOf({{0.5}}), matrixOf({{1}}), zeroMatrix(0, 1), zeroMatrix(0, 1),
                                       discreteSystem, 1.0);
    EXPECT_EQ(LTIFIRModel(noOutputs, referenceOf(1, 0, 3)).coefficients.cols(), 0);
}

TEST(FirSimulation, OfMoreCoefficientsThanACurveCanHoldFindsNoMemory) {
    constexpr int most = std::numeric_limits<int>::max();
    LTIFIRModel reference = referenceOf(1, 1, 3);
    reference.coefficientCount = most;
    EXPECT_THROW(LTIFIRModel(oneState(0.5), reference), std::bad_alloc);
}

TEST(FirSimulation, WithoutOutputsAsksForNoMemoryWhateverTheCoefficientCount) {
    for (const int count : {1 << 30, std::numeric_limits<int>::max()}) {
        LTIFIRModel reference = referenceOf(4, 0, 3);
        reference.coefficientCount = count;
        const LTIStateSpaceModel system(matrixOf({{0.5}}), matrixOf({{1, 1, 1, 1}}), zeroMatrix(0, 1), zeroMatrix(0, 4),
                                        discreteSystem, 1.0);
        const LTIFIRModel model(system, reference);
        EXPECT_EQ(model.coefficients.rows(), 4);
        EXPECT_EQ(model.coefficients.cols(), 0);
        EXPECT_EQ(model.coefficientCount, count);
    }
}

TEST(FirSimulation, TellsWhatDoesNotFit) {
    LTIStateSpaceModel notSquare = oneState(0.5);
    notSquare.A = zeroMatrix(1, 2);
    EXPECT_EQ(messageOf(notSquare), "Matrix * Vector");
    LTIStateSpaceModel tallB = oneState(0.5);
    tallB.B = zeroMatrix(2, 1);
    EXPECT_EQ(messageOf(tallB), "Vector + Vector");
    LTIStateSpaceModel wideC = oneState(0.5);
    wideC.C = zeroMatrix(1, 2);
    EXPECT_EQ(messageOf(wideC), "Matrix * Vector");
    LTIStateSpaceModel wideD = oneState(0.5);
    wideD.D = zeroMatrix(1, 2);
    EXPECT_EQ(messageOf(wideD), "Matrix * Vector");
    LTIStateSpaceModel tallD = oneState(0.5);
    tallD.D = zeroMatrix(2, 1);
    EXPECT_EQ(messageOf(tallD), "Vector + Vector");
}
