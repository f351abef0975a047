#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <functional>
#include <gtest/gtest.h>
#include <limits>
#include <new>
#include <string>
#include <vector>

#include <qormath/control/qor_math_control.hpp>
#include <qormath/core/arithmetic.hpp>
#include <qormath/models/lti_fir_model.hpp>

#include "support/matrix_literals.hpp"

using qormath::test::matrixOf;
using qormath::test::vectorOf;
using qormath::test::written;
using QorMathLA::Matrix;
using QorMathLA::MatrixSoft;
using QorMathLA::Range;
using QorMathLA::Vector;
using QorMathLA::xmsg;
using QorMathLA::zeroMatrix;

namespace {

constexpr double eps = 0x1p-53;
const Range all(-1, -1, 1);

/// A model of n coefficients whose curve of each pair is curve(input, output, k) for element k.
LTIFIRModel modelOf(int inputs, int outputs, int n, const std::function<double(int, int, int)>& curve) {
    LTIFIRModel model;
    model.coefficients = Matrix<Vector<double>>(inputs, outputs);
    model.rampFlags = Vector<bool>(outputs);
    model.rampFlags.fill(false);
    model.coefficientCount = n;
    model.horizonSeconds = 60 * n;
    model.inputNames = Vector<std::string>(inputs);
    model.inputDescriptors = Vector<std::string>(inputs);
    model.outputNames = Vector<std::string>(outputs);
    model.outputDescriptors = Vector<std::string>(outputs);
    for (int i = 0; i < inputs; ++i) {
        for (int j = 0; j < outputs; ++j) {
            model.coefficients(i, j) = Vector<double>(n + 1);
            for (int k = 0; k <= n; ++k) {
                model.coefficients(i, j)[k] = curve(i, j, k);
            }
        }
    }
    return model;
}

/// Step response of gain / (tau s + 1), sampled every unit of time.
double lag(double gain, double tau, int k) {
    return gain * (1.0 - std::exp(-k / tau));
}

/// So many modes that every state of a low order is a part of the response, and none is taken out again.
double sixteenModes(int /*input*/, int /*output*/, int k) {
    double y = 0.0;
    for (int mode = 1; mode <= 16; ++mode) {
        y += lag(1.0 / mode, mode * 1.7, k) * (mode % 2 == 0 ? -1.0 : 1.0);
    }
    return y;
}

double twoByTwoLags(int input, int output, int k) {
    static const double gains[2][2] = {{2.0, -1.0}, {0.5, 3.0}};
    static const double taus[2][2] = {{3.0, 5.0}, {7.0, 4.0}};
    return lag(gains[input][output], taus[input][output], k);
}

/// Largest distance of the curves, relative to each output's largest coefficient.
double curveError(const LTIFIRModel& model, const LTIFIRModel& reference) {
    double error = 0.0;
    for (int j = 0; j < reference.coefficients.cols(); ++j) {
        double peak = 0.0;
        double distance = 0.0;
        for (int i = 0; i < reference.coefficients.rows(); ++i) {
            for (int k = 0; k <= reference.coefficientCount; ++k) {
                const double expected =
                    reference.coefficients(i, j).size() == 0 ? 0.0 : reference.coefficients(i, j)[k];
                peak = std::max(peak, std::fabs(expected));
                distance = std::max(distance, std::fabs(model.coefficients(i, j)[k] - expected));
            }
        }
        error = std::max(error, distance / peak);
    }
    return error;
}

/// R(a, b) by its definition, the sum over t of Z(t + a) Z(t + b)'.
Matrix<double> gramByDefinition(const Matrix<double>& markov, int width, int blockCount) {
    const int q = markov.rows();
    const int terms = markov.cols() / width - blockCount - 1;
    Matrix<double> result = zeroMatrix((blockCount + 1) * q, blockCount * q);
    for (int a = 0; a <= blockCount; ++a) {
        for (int b = 0; b < blockCount; ++b) {
            for (int t = 1; t <= terms; ++t) {
                for (int i = 0; i < q; ++i) {
                    for (int j = 0; j < q; ++j) {
                        for (int c = 0; c < width; ++c) {
                            result(a * q + i, b * q + j) +=
                                markov(i, (t + a) * width + c) * markov(j, (t + b) * width + c);
                        }
                    }
                }
            }
        }
    }
    return result;
}

Matrix<double> numbered(int rows, int cols) {
    Matrix<double> result(rows, cols);
    int value = 0;
    for (double& element : result) {
        element = ++value;
    }
    return result;
}

}  // namespace

// ---------------------------------------------------------------- Markov matrix

TEST(CreateMarkovMatrix, BeginsWithAZeroBlockAndHoldsTheChangesOfTheCurves) {
    LTIFIRModel model = modelOf(1, 1, 3, [](int, int, int k) { return 1.0 + k * k; });
    const Matrix<double> markov = model.CreateMarkovMatrix(nullptr, nullptr);
    EXPECT_EQ(written(markov), "1x5 [0 1 1 3 5]");
}

TEST(CreateMarkovMatrix, OfAConstantCurveIsItsValueAndZeros) {
    LTIFIRModel model = modelOf(1, 1, 3, [](int, int, int) { return 4.0; });
    EXPECT_EQ(written(model.CreateMarkovMatrix(nullptr, nullptr)), "1x5 [0 4 0 0 0]");
}

TEST(CreateMarkovMatrix, PutsOutputsInRowsAndInputsSideBySideInBlocks) {
    LTIFIRModel model =
        modelOf(2, 3, 1, [](int input, int output, int k) { return 100.0 * (input + 1) + 10.0 * (output + 1) + k; });
    const Matrix<double> markov = model.CreateMarkovMatrix(nullptr, nullptr);
    EXPECT_EQ(written(markov), "3x6 [0 0 110 210 1 1; 0 0 120 220 1 1; 0 0 130 230 1 1]");
}

TEST(CreateMarkovMatrix, DifferencesARampOnceMoreAndRepeatsTheLastEntry) {
    LTIFIRModel model = modelOf(1, 1, 4, [](int, int, int k) { return k * k * 1.0; });
    model.rampFlags[0] = true;
    // Changes 0 1 3 5 7; differences 1 2 2 2, the last one twice.
    EXPECT_EQ(written(model.CreateMarkovMatrix(nullptr, nullptr)), "1x6 [0 1 2 2 2 2]");
}

TEST(CreateMarkovMatrix, TreatsAnEmptyCurveAsZeros) {
    LTIFIRModel model = modelOf(2, 1, 2, [](int, int, int k) { return k * 1.0; });
    model.coefficients(0, 0) = Vector<double>();
    EXPECT_EQ(written(model.CreateMarkovMatrix(nullptr, nullptr)), "1x8 [0 0 0 0 0 1 0 1]");
}

// A file of a few lines can claim so many coefficients.
TEST(CreateMarkovMatrix, OfMoreBlocksThanAMatrixCanHoldFindsNoMemory) {
    constexpr int most = std::numeric_limits<int>::max();
    for (const int outputs : {0, 1}) {
        for (const int count : {(1 << 30) - 2, (1 << 30) - 1, 1 << 30, most - 2, most - 1, most, -most - 1}) {
            LTIFIRModel model = modelOf(4, outputs, 2, [](int, int, int) { return 0.0; });
            model.coefficients = Matrix<Vector<double>>(4, outputs);
            model.coefficientCount = count;
            EXPECT_THROW(model.CreateMarkovMatrix(nullptr, nullptr), std::bad_alloc) << count;
        }
    }
}

TEST(CreateMarkovMatrix, ScalesRowsByTheReciprocalPeakOfTheCurves) {
    LTIFIRModel model = modelOf(2, 1, 2, [](int input, int, int k) { return (input == 0 ? 2.0 : -8.0) * k; });
    Vector<double> scale;
    const Matrix<double> markov = model.CreateMarkovMatrix(&scale, nullptr);
    ASSERT_EQ(scale.size(), 1);
    EXPECT_EQ(scale[0], 1.0 / 16.0);
    EXPECT_EQ(markov(0, 4), 2.0 / 16.0);
    EXPECT_EQ(markov(0, 5), -8.0 / 16.0);
}

TEST(CreateMarkovMatrix, TakesThePeakOfARampFromItsChanges) {
    LTIFIRModel model = modelOf(1, 1, 4, [](int, int, int k) { return 3.0 * k; });
    model.rampFlags[0] = true;
    Vector<double> scale;
    model.CreateMarkovMatrix(&scale, nullptr);
    EXPECT_EQ(scale[0], 1.0 / 3.0);
}

TEST(CreateMarkovMatrix, MultipliesTheInputScaleThatItIsGiven) {
    LTIFIRModel model = modelOf(2, 1, 1, [](int, int, int k) { return 1.0 + k; });
    Vector<double> inputScale = vectorOf<double>({10.0, 100.0});
    EXPECT_EQ(written(model.CreateMarkovMatrix(nullptr, &inputScale)), "1x6 [0 0 10 100 10 100]");
    EXPECT_EQ(inputScale[1], 100.0);
}

TEST(CreateMarkovMatrix, ChoosesTheInputScaleFromTheGainsIfTheLengthDiffers) {
    LTIFIRModel model = modelOf(3, 2, 1, [](int input, int, int k) {
        return input == 0 ? -4.0 * k : input == 1 ? 1e-5 * k : 0.0;
    });
    Vector<double> inputScale;
    model.CreateMarkovMatrix(nullptr, &inputScale);
    ASSERT_EQ(inputScale.size(), 3);
    EXPECT_EQ(inputScale[0], 4.0);
    EXPECT_EQ(inputScale[1], 1.0) << "a peak must be above 1e-5";
    EXPECT_EQ(inputScale[2], 1.0);
}

TEST(CreateMarkovMatrix, ScalesTheRowsOfAnOutputWithoutCurvesByInfinity) {
    LTIFIRModel model = modelOf(1, 1, 2, [](int, int, int) { return 0.0; });
    model.coefficients(0, 0) = Vector<double>();
    Vector<double> scale;
    const Matrix<double> markov = model.CreateMarkovMatrix(&scale, nullptr);
    EXPECT_TRUE(std::isinf(scale[0]));
    EXPECT_TRUE(std::isnan(markov(0, 1)));
}

// ---------------------------------------------------------------- Hankel matrix

TEST(CreateHankelMatrix, IsTheGramMatrixOfItsDefinition) {
    LTIFIRModel model;
    for (const int q : {1, 2, 3}) {
        for (const int width : {1, 2, 4}) {
            for (const int blockCount : {1, 2, 5}) {
                SCOPED_TRACE(testing::Message() << q << " " << width << " " << blockCount);
                Matrix<double> markov(q, width * (blockCount + 7));
                double value = 0.5;
                for (double& element : markov) {
                    value = 3.9 * value * (1.0 - value);
                    element = value - 0.5;
                }
                Matrix<double> feedthrough;
                const Matrix<double> gram = model.CreateHankelMatrix(markov, width, blockCount, feedthrough);
                const Matrix<double> expected = gramByDefinition(markov, width, blockCount);
                ASSERT_EQ(gram.rows(), expected.rows());
                ASSERT_EQ(gram.cols(), expected.cols());
                // Each sum has at most width * 11 terms below 1/4, and as many slides.
                EXPECT_LE((gram - expected).maxAbs(), 20.0 * 11 * width * eps);
                EXPECT_EQ(written(feedthrough), written(markov(all, Range(0, width - 1, 1))));
                for (int i = 0; i < blockCount * q; ++i) {
                    for (int j = 0; j < blockCount * q; ++j) {
                        ASSERT_EQ(gram(i, j), gram(j, i)) << "symmetric to the bit";
                    }
                }
            }
        }
    }
}

TEST(CreateHankelMatrix, ThrowsAPlainIntIfNoTermIsLeft) {
    LTIFIRModel model;
    Matrix<double> markov = numbered(2, 12);
    Matrix<double> feedthrough;
    EXPECT_EQ(model.CreateHankelMatrix(markov, 2, 4, feedthrough).rows(), 10) << "6 blocks leave one term";
    feedthrough = numbered(1, 1);
    EXPECT_THROW(model.CreateHankelMatrix(markov, 2, 5, feedthrough), int);
    EXPECT_EQ(written(feedthrough), "2x2 [0 0; 0 0]");
}

TEST(CreateHankelMatrix, OfNoBlockRowsHasNoColumns) {
    LTIFIRModel model;
    Matrix<double> markov = numbered(2, 12);
    for (const int blockCount : {0, -1}) {
        Matrix<double> feedthrough;
        const Matrix<double> gram = model.CreateHankelMatrix(markov, 3, blockCount, feedthrough);
        EXPECT_EQ(gram.rows(), 2);
        EXPECT_EQ(gram.cols(), 0);
        EXPECT_EQ(written(feedthrough), "2x3 [0 0 0; 0 0 0]");
    }
}

TEST(CreateHankelMatrix, OfBlocksWithoutWidthThrowsInsteadOfDividing) {
    LTIFIRModel model;
    Matrix<double> markov(2, 0);
    Matrix<double> feedthrough;
    EXPECT_THROW(model.CreateHankelMatrix(markov, 0, 10, feedthrough), int);
}

// ---------------------------------------------------------------- block transposition

TEST(BlockTransposition, StacksTheBlocksOfARow) {
    LTIFIRModel model;
    Matrix<double> source = matrixOf({{1, 2, 5, 6, 9}, {3, 4, 7, 8, 9}});
    EXPECT_EQ(written(model.BlockTransposition(source, true, 99, 2, 2)), "4x2 [1 2; 3 4; 5 6; 7 8]");
}

TEST(BlockTransposition, LaysOutAStackElementByElementIntoTheColumns) {
    LTIFIRModel model;
    Matrix<double> source = matrixOf({{1, 2}, {3, 4}, {5, 6}, {7, 8}});
    // A block of 2 by 2 goes into two columns of 4: walked in column order, it fills the first of them.
    EXPECT_EQ(written(model.BlockTransposition(source, false, 2, 2, 4)), "4x4 [1 0 5 0; 3 0 7 0; 2 0 6 0; 4 0 8 0]");
    EXPECT_EQ(written(model.BlockTransposition(source, false, 4, 1, 2)), written(source));
}

TEST(BlockTransposition, StaysInsideAResultWithTooFewColumns) {
    LTIFIRModel model;
    Matrix<double> source = matrixOf({{1}, {2}, {3}});
    EXPECT_EQ(written(model.BlockTransposition(source, false, 1, 3, 2)), "3x2 [1 2; 0 0; 0 0]");
}

TEST(BlockTransposition, OfNoBlocksIsTheZeroMatrix) {
    LTIFIRModel model;
    Matrix<double> source = numbered(2, 2);
    const Matrix<double> result = model.BlockTransposition(source, true, 1, 0, 2);
    EXPECT_EQ(result.rows(), 0);
    EXPECT_EQ(result.cols(), 2);
}

// ---------------------------------------------------------------- realisation

TEST(CreateStateSpaceModel, DecomposesAThirdOfTheCurveBetweenTenAndThirtyBlockRows) {
    const std::vector<std::pair<int, int>> expected = {{10, 10}, {29, 10}, {30, 10},  {60, 20},
                                                       {90, 30}, {93, 30}, {105, 30}, {150, 30}};
    for (const auto& [n, blockRows] : expected) {
        LTIFIRModel model = modelOf(1, 1, n, [](int, int, int k) { return lag(1.0, 4.0, k); });
        Vector<double> singularValues;
        model.CreateStateSpaceModel(false, 0, &singularValues);
        EXPECT_EQ(singularValues.size(), blockRows) << n;
    }
}

TEST(CreateStateSpaceModel, GivesOneStateMoreThanTheSingularValuesAboveTheCut) {
    for (const int n : {30, 60, 90}) {
        LTIFIRModel model = modelOf(1, 1, n, sixteenModes);
        Vector<double> s;
        const LTIStateSpaceModel system = model.CreateStateSpaceModel(false, 0, &s);
        int above = 0;
        while (above < s.size() && s[above] >= 1e-5 * s[0]) {
            ++above;
        }
        EXPECT_GE(above, 2);
        EXPECT_EQ(system.A.rows(), above + 1) << n;
    }
}

TEST(CreateStateSpaceModel, GivesOneStateMoreThanTheOrderAskedFor) {
    LTIFIRModel model = modelOf(1, 1, 60, sixteenModes);
    EXPECT_EQ(model.CreateStateSpaceModel(false, 2, nullptr).A.rows(), 3);
    EXPECT_EQ(model.CreateStateSpaceModel(false, 3, nullptr).A.rows(), 4);
}

TEST(CreateStateSpaceModel, ReproducesTheCurvesOfAFiniteOrderModel) {
    for (const int n : {30, 45, 60, 120}) {
        LTIFIRModel model = modelOf(2, 2, n, twoByTwoLags);
        LTIStateSpaceModel system = model.CreateStateSpaceModel(true, 0, nullptr);
        const LTIFIRModel back(system, model);
        EXPECT_LE(curveError(back, model), 1e-2) << n;
        EXPECT_LE((system.gain() - model.GetGain()).maxAbs(), 1e-9 * model.GetGain().maxAbs()) << n;
    }
}

TEST(CreateStateSpaceModel, KeepsTheIndexConventionOfSimulatedCurves) {
    const LTIStateSpaceModel original(matrixOf({{0.8, 0.1}, {-0.2, 0.6}}), matrixOf({{1}, {0.5}}), matrixOf({{1, -1}}),
                                      zeroMatrix(1, 1), discreteSystem, 60.0);
    const LTIFIRModel curves(original, modelOf(1, 1, 60, [](int, int, int) { return 0.0; }));
    LTIFIRModel copy = curves;
    LTIStateSpaceModel system = copy.CreateStateSpaceModel(false, 2, nullptr);
    // Z(t + 1) is C A^t B: compare the first Markov parameters with those of the original.
    Matrix<double> x = original.B;
    Matrix<double> y = system.B;
    for (int t = 0; t < 10; ++t) {
        EXPECT_NEAR((system.C * y)(0, 0), (original.C * x)(0, 0), 1e-6);
        x = original.A * x;
        y = system.A * y;
    }
    EXPECT_LE(curveError(LTIFIRModel(system, curves), curves), 1e-6);
}

TEST(CreateStateSpaceModel, TruncatesTheSampleTimeAndItsOverloadDoesNot) {
    LTIFIRModel model = modelOf(1, 1, 30, [](int, int, int k) { return lag(1.0, 4.0, k); });
    model.horizonSeconds = 100;
    EXPECT_EQ(model.CreateStateSpaceModel(false, 0, nullptr).sampleTime, 3.0);
    Matrix<double> markov = model.CreateMarkovMatrix(nullptr, nullptr);
    EXPECT_EQ(model.CreateStateSpaceModel(markov, false, 0, nullptr, nullptr, nullptr).sampleTime, 3.3333333333333335);
    model.rampFlags[0] = true;
    markov = model.CreateMarkovMatrix(nullptr, nullptr);
    EXPECT_EQ(model.CreateStateSpaceModel(markov, false, 0, nullptr, nullptr, nullptr).sampleTime, 1.0);
    EXPECT_EQ(model.CreateStateSpaceModel(false, 0, nullptr).sampleTime, 3.0);
}

TEST(CreateStateSpaceModel, AddsAnIntegratorForARampOutput) {
    const auto ramp = [](int, int, int k) { return 0.25 * k - 0.25 * lag(2.0, 2.0, k); };
    LTIFIRModel model = modelOf(1, 1, 60, ramp);
    model.rampFlags[0] = true;
    LTIFIRModel differenced =
        modelOf(1, 1, 60, [&](int, int, int k) { return k == 0 ? 0.0 : ramp(0, 0, k) - ramp(0, 0, k - 1); });
    Matrix<double> markov = model.CreateMarkovMatrix(nullptr, nullptr);
    const LTIStateSpaceModel withIntegrator = model.CreateStateSpaceModel(markov, false, 0, nullptr, nullptr, nullptr);
    const LTIStateSpaceModel without = differenced.CreateStateSpaceModel(markov, false, 0, nullptr, nullptr, nullptr);
    EXPECT_EQ(withIntegrator.A.rows(), without.A.rows() + 1);
    EXPECT_EQ(withIntegrator.A(0, 0), 1.0) << "the integrator is the left factor, whose states come first";
    const LTIFIRModel back(model.CreateStateSpaceModel(true, 0, nullptr), model);
    EXPECT_LE(curveError(back, model), 1e-2);
    LTIFIRModel rates = back;
    EXPECT_NEAR(rates.GetGain()(0, 0), model.GetGain()(0, 0), 1e-7 * 0.25);
}

TEST(CreateStateSpaceModel, UnscalesByTheFactorsItIsGiven) {
    LTIFIRModel model = modelOf(2, 2, 60, twoByTwoLags);
    Matrix<double> markov = model.CreateMarkovMatrix(nullptr, nullptr);
    const LTIStateSpaceModel plain = model.CreateStateSpaceModel(markov, false, 3, nullptr, nullptr, nullptr);
    Vector<double> outputs = vectorOf<double>({2.0, 4.0});
    Vector<double> inputs = vectorOf<double>({8.0, 16.0});
    const LTIStateSpaceModel scaled = model.CreateStateSpaceModel(markov, false, 3, nullptr, &outputs, &inputs);
    const Matrix<double> first = plain.C * plain.B;
    const Matrix<double> scaledFirst = scaled.C * scaled.B;
    for (int i = 0; i < 2; ++i) {
        for (int j = 0; j < 2; ++j) {
            EXPECT_NEAR(scaledFirst(i, j), first(i, j) * outputs[i] * inputs[j], 1e-9);
        }
    }
}

TEST(CreateStateSpaceModel, TellsScalesOfAnotherLength) {
    LTIFIRModel model = modelOf(2, 2, 30, twoByTwoLags);
    Matrix<double> markov = model.CreateMarkovMatrix(nullptr, nullptr);
    Vector<double> wrong(3);
    wrong.fill(1.0);
    try {
        model.CreateStateSpaceModel(markov, false, 0, nullptr, &wrong, nullptr);
        FAIL() << "no exception";
    } catch (const xmsg& error) {
        EXPECT_EQ(error.code, QorMathLA::DimensionMismatch);
        EXPECT_EQ(error.message, "Matrix scaleRowsBy");
    }
    try {
        model.CreateStateSpaceModel(markov, false, 0, nullptr, nullptr, &wrong);
        FAIL() << "no exception";
    } catch (const xmsg& error) {
        EXPECT_EQ(error.message, "Matrix scaleColumnsBy");
    }
}

TEST(CreateStateSpaceModel, TakesAnOrderBeyondTheSingularValuesAsAllOfThem) {
    LTIFIRModel model = modelOf(1, 1, 30, [](int, int, int k) { return std::sin(1.0 + k * k) * std::exp(-0.05 * k); });
    for (const int order : {10, 11, 1000, std::numeric_limits<int>::max()}) {
        Vector<double> s;
        const LTIStateSpaceModel system = model.CreateStateSpaceModel(false, order, &s);
        EXPECT_EQ(s.size(), 10);
        EXPECT_LE(system.A.rows(), 10);
    }
}

TEST(CreateStateSpaceModel, ThrowsAPlainIntBelowTenCoefficients) {
    for (const int n : {1, 5, 9}) {
        LTIFIRModel model = modelOf(1, 1, n, [](int, int, int k) { return lag(1.0, 4.0, k); });
        EXPECT_THROW(model.CreateStateSpaceModel(false, 0, nullptr), int) << n;
    }
    LTIFIRModel ten = modelOf(1, 1, 10, [](int, int, int k) { return lag(1.0, 4.0, k); });
    EXPECT_NO_THROW(ten.CreateStateSpaceModel(false, 0, nullptr));
}

TEST(CreateStateSpaceModel, EndsInAnExceptionForAnOutputWithoutAnyCurve) {
    LTIFIRModel model = modelOf(1, 2, 30, [](int, int, int k) { return lag(1.0, 4.0, k); });
    model.coefficients(0, 1) = Vector<double>();
    try {
        model.CreateStateSpaceModel(true, 0, nullptr);
        FAIL() << "no exception";
    } catch (const xmsg& error) {
        EXPECT_EQ(error.code, QorMathLA::NumericFailure);
        EXPECT_EQ(error.message, "Matrix SVD");
    }
}

TEST(CreateStateSpaceModel, EndsInAnExceptionForCurvesThatAreNotFinite) {
    for (const double bad : {std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity()}) {
        LTIFIRModel model = modelOf(1, 1, 30, [](int, int, int k) { return lag(1.0, 4.0, k); });
        model.coefficients(0, 0)[12] = bad;
        EXPECT_THROW(model.CreateStateSpaceModel(true, 0, nullptr), xmsg);
    }
}

TEST(CreateStateSpaceModel, EndsInAnExceptionIfAKeptSingularValueIsZero) {
    // Without scaling, a model of zeros has nothing but zero singular values.
    LTIFIRModel model = modelOf(1, 1, 30, [](int, int, int) { return 0.0; });
    Matrix<double> markov = model.CreateMarkovMatrix(nullptr, nullptr);
    EXPECT_THROW(model.CreateStateSpaceModel(markov, false, 0, nullptr, nullptr, nullptr), int);
}

TEST(CreateStateSpaceModel, OfATableWithoutInputsOrOutputsEnds) {
    LTIFIRModel noInputs = modelOf(0, 1, 30, [](int, int, int) { return 0.0; });
    EXPECT_THROW(noInputs.CreateStateSpaceModel(true, 0, nullptr), int);
    LTIFIRModel noOutputs = modelOf(1, 0, 30, [](int, int, int) { return 0.0; });
    const LTIStateSpaceModel system = noOutputs.CreateStateSpaceModel(true, 0, nullptr);
    EXPECT_EQ(system.A.rows(), 0);
}

TEST(CreateStateSpaceModel, DropsAnUnstablePart) {
    LTIFIRModel model = modelOf(1, 1, 30, [](int, int, int k) { return lag(1.0, 4.0, k) + 1e-3 * std::pow(1.2, k); });
    LTIStateSpaceModel system = model.CreateStateSpaceModel(false, 0, nullptr);
    Vector<double> re;
    Vector<double> im;
    Matrix<double> a = system.A;
    a.eigenvalues(re, im, 30);
    for (int i = 0; i < re.size(); ++i) {
        EXPECT_LT(std::hypot(re[i], im[i]), 1.0 + 1e-7);
    }
}

TEST(CreateStateSpaceModel, LeavesTheCurvesAloneAndGivesTheSameBitsTwice) {
    LTIFIRModel model = modelOf(2, 2, 60, twoByTwoLags);
    const LTIFIRModel before = model;
    const LTIStateSpaceModel first = model.CreateStateSpaceModel(true, 0, nullptr);
    const LTIStateSpaceModel second = model.CreateStateSpaceModel(true, 0, nullptr);
    EXPECT_EQ(written(first.A), written(second.A));
    EXPECT_EQ(written(first.B), written(second.B));
    for (int k = 0; k <= 60; ++k) {
        ASSERT_EQ(model.coefficients(1, 0)[k], before.coefficients(1, 0)[k]);
    }
}
