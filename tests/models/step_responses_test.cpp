// Both routes to the step responses, over random systems and over what the faster one has to leave to the other.

#include <algorithm>
#include <cmath>
#include <complex>
#include <gtest/gtest.h>
#include <limits>
#include <support/matrix_compare.hpp>
#include <support/matrix_literals.hpp>
#include <support/random_matrices.hpp>
#include <utility>
#include <vector>

#include <qormath/core/arithmetic.hpp>
#include <qormath/models/detail/step_curves.hpp>
#include <qormath/models/detail/step_responses.hpp>

namespace {

using qormath::models::stepResponses;
using qormath::models::stepResponsesByPowers;
using qormath::models::stepResponsesBySample;
using qormath::test::frobeniusNorm;
using qormath::test::identical;
using qormath::test::matrixOf;
using qormath::test::maxDifference;
using qormath::test::NormalNumbers;
using qormath::test::randomMatrix;
using qormath::test::unitRoundoff;
using QorMathLA::Matrix;
using QorMathLA::product;
using QorMathLA::zeroMatrix;

struct System {
    Matrix<double> a;
    Matrix<double> b;
    Matrix<double> c;
};

System randomSystem(int states, int inputs, int outputs, double radius, double departure, NormalNumbers& numbers) {
    std::vector<std::complex<double>> poles;
    for (int k = 0; k < states; ++k) {
        const bool pair = k + 1 < states && numbers.uniform() < 0.5;
        const double angle = pair ? numbers.uniform(0.1, 3.0) : 0.0;
        poles.push_back(std::polar(radius * numbers.uniform(0.3, 1.0), angle));
        if (!pair) {
            poles.back() = poles.back().real();
        }
        k += pair ? 1 : 0;
    }
    return {qormath::test::randomWithEigenvalues(poles, departure, numbers), randomMatrix(states, inputs, numbers),
            randomMatrix(outputs, states, numbers)};
}

/// The largest state on the way, which carries the rounding of the recursion.
double largestState(const System& system, int samples) {
    Matrix<double> x = zeroMatrix(system.a.rows(), system.b.cols());
    double largest = 0.0;
    for (int k = 0; k < samples; ++k) {
        x = product(system.a, x) + system.b;
        largest = std::max(largest, frobeniusNorm(x));
    }
    return largest;
}

/// Either route commits n eps of the states at a sample, amplified by what the powers amplify: by 4 sqrt(n) at most
/// where powers are taken, twice that in a square. The dual recursion, from the outputs, has the rows in place of the
/// states.
void expectAgreement(const System& system, int samples) {
    constexpr double c = 10.0;
    Matrix<double> fast;
    ASSERT_TRUE(stepResponsesByPowers(system.a, system.b, system.c, samples, fast));
    const Matrix<double> plain = stepResponsesBySample(system.a, system.b, system.c, samples);
    const System dual{system.a.transpose(), system.c.transpose(), system.b.transpose()};
    const double scale = std::max(frobeniusNorm(system.c) * largestState(system, samples),
                                  frobeniusNorm(system.b) * largestState(dual, samples));
    EXPECT_LE(maxDifference(fast, plain), c * system.a.rows() * unitRoundoff * scale);
}

TEST(StepResponses, ByPowersAgreeWithTheRecursion) {
    NormalNumbers numbers(1);
    for (const int states : {1, 2, 5, 20, 60}) {
        for (const auto& [inputs, outputs] : {std::pair(1, 1), std::pair(3, 4), std::pair(4, 3), std::pair(20, 20)}) {
            for (const double departure : {0.0, 0.1}) {
                if (std::min(inputs, outputs) * 20 >= states && states >= std::max(inputs, outputs)) {
                    expectAgreement(randomSystem(states, inputs, outputs, 0.98, departure, numbers), 121);
                }
            }
        }
    }
}

TEST(StepResponses, ByPowersHaveEverySampleOfAnyCount) {
    NormalNumbers numbers(2);
    const System system = randomSystem(12, 4, 4, 0.9, 0.1, numbers);
    for (int samples = 30; samples <= 90; ++samples) {
        expectAgreement(system, samples);
    }
}

TEST(StepResponses, ByPowersAgreeForUnstableAndMarginalSystems) {
    NormalNumbers numbers(3);
    for (const double radius : {1.0, 1.05, 1.2}) {
        expectAgreement(randomSystem(12, 6, 8, radius, 0.05, numbers), 100);
    }
}

TEST(StepResponses, ByPowersLeaveTheirArgumentsAlone) {
    NormalNumbers numbers(4);
    for (const int inputs : {3, 9}) {
        const System system = randomSystem(10, inputs, 6, 0.9, 0.1, numbers);
        const System before{Matrix<double>(system.a), Matrix<double>(system.b), Matrix<double>(system.c)};
        Matrix<double> responses;
        ASSERT_TRUE(stepResponsesByPowers(system.a, system.b, system.c, 50, responses));
        EXPECT_TRUE(identical(system.a, before.a) && identical(system.b, before.b) && identical(system.c, before.c));
    }
}

/// The faster route refuses, and the recursion's result comes out to the bit.
void expectRecursion(const System& system, int samples) {
    Matrix<double> responses;
    EXPECT_FALSE(stepResponsesByPowers(system.a, system.b, system.c, samples, responses));
    EXPECT_TRUE(identical(stepResponses(system.a, system.b, system.c, samples),
                          stepResponsesBySample(system.a, system.b, system.c, samples)));
}

TEST(StepResponses, OfFewSamplesOrManyStatesGoByTheRecursion) {
    NormalNumbers numbers(5);
    expectRecursion(randomSystem(6, 4, 5, 0.9, 0.1, numbers), 1);
    expectRecursion(randomSystem(6, 4, 5, 0.9, 0.1, numbers), 0);
    expectRecursion(randomSystem(60, 1, 1, 0.9, 0.1, numbers), 30);
}

// Powers of a chain with large couplings are far larger than what the inputs excite.
TEST(StepResponses, OfMatricesThatAmplifyGoByTheRecursion) {
    NormalNumbers numbers(6);
    System chain = randomSystem(8, 8, 8, 0.9, 0.0, numbers);
    for (int k = 0; k + 1 < 8; ++k) {
        chain.a(k, k + 1) += 1e3;
    }
    expectRecursion(chain, 121);
    // The matrix itself is modest, its powers are not.
    expectRecursion(randomSystem(8, 8, 8, 3.0, 0.0, numbers), 121);
}

TEST(StepResponses, WithoutStatesGoByTheRecursion) {
    expectRecursion({zeroMatrix(0, 0), zeroMatrix(0, 3), zeroMatrix(2, 0)}, 40);
    expectRecursion({zeroMatrix(0, 0), zeroMatrix(0, 2), zeroMatrix(3, 0)}, 40);
}

TEST(StepResponses, ThatAreNotFiniteGoByTheRecursion) {
    NormalNumbers numbers(7);
    for (const double poison : {std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity()}) {
        System system = randomSystem(6, 4, 5, 0.9, 0.1, numbers);
        system.b(2, 1) = poison;
        expectRecursion(system, 60);
        system = randomSystem(6, 4, 5, 0.9, 0.1, numbers);
        system.a(2, 1) = poison;
        expectRecursion(system, 60);
    }
    System huge = randomSystem(6, 4, 5, 0.9, 0.0, numbers);
    huge.a.setIdentity();
    huge.b.fill(1e307);  // a hundred times this is too large
    expectRecursion(huge, 121);
}

QorMathLA::Matrix<QorMathLA::Vector<double>> curvesOf(const System& system, const Matrix<double>& feedthrough,
                                                      int samples, double largestTable) {
    QorMathLA::Matrix<QorMathLA::Vector<double>> curves(system.b.cols(), system.c.rows());
    for (QorMathLA::Vector<double>& curve : curves) {
        curve = QorMathLA::Vector<double>(samples);
    }
    qormath::models::fillStepCurves(curves, system.a, system.b, system.c, feedthrough, samples, largestTable);
    return curves;
}

TEST(StepCurves, AreTheResponsesWithTheFeedthrough) {
    const System lag{matrixOf({{0.5}}), matrixOf({{1.0}}), matrixOf({{2.0}})};
    for (const double largestTable : {0.0, qormath::models::largestStepTable}) {
        const auto curves = curvesOf(lag, matrixOf({{10.0}}), 3, largestTable);
        EXPECT_EQ(curves(0, 0)[0], 12.0);
        EXPECT_EQ(curves(0, 0)[1], 13.0);
        EXPECT_EQ(curves(0, 0)[2], 13.5);
    }
}

TEST(StepCurves, WithoutATableAreThoseFromATable) {
    NormalNumbers numbers(8);
    for (const auto& [inputs, outputs] : {std::pair(1, 1), std::pair(3, 4), std::pair(4, 3)}) {
        for (const int samples : {1, 7, 8, 9, 50}) {
            const System system = randomSystem(6, inputs, outputs, 0.9, 1.0, numbers);
            const Matrix<double> feedthrough = randomMatrix(outputs, inputs, numbers);
            const Matrix<double> responses = stepResponsesBySample(system.a, system.b, system.c, samples);
            const auto curves = curvesOf(system, feedthrough, samples, 0.0);
            const auto fromTable = curvesOf(system, feedthrough, samples, qormath::models::largestStepTable);
            const double limit = 10.0 * 6 * unitRoundoff * frobeniusNorm(system.c) * largestState(system, samples) +
                                 10.0 * 6 * unitRoundoff * (frobeniusNorm(feedthrough) + frobeniusNorm(responses));
            for (int input = 0; input < inputs; ++input) {
                for (int output = 0; output < outputs; ++output) {
                    for (int k = 0; k < samples; ++k) {
                        EXPECT_EQ(curves(input, output)[k],
                                  responses(output, k * inputs + input) + feedthrough(output, input));
                        EXPECT_NEAR(fromTable(input, output)[k], curves(input, output)[k], limit);
                    }
                }
            }
        }
    }
}

}  // namespace
