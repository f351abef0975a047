#include <cmath>
#include <gtest/gtest.h>
#include <support/matrix_compare.hpp>
#include <support/matrix_literals.hpp>
#include <support/plants.hpp>

#include <qormath/pipeline/detail/closeness.hpp>
#include <qormath/pipeline/detail/plant_check.hpp>
#include <qormath/pipeline/detail/plant_scaling.hpp>

namespace qormath::pipeline {
namespace {

using test::lag;
using test::matrixOf;
using test::plantOf;

/// Outputs with peaks 3e-6, none, and 700; the third input is 1e-4 of the others.
LTIFIRModel plant() {
    return plantOf({{lag(1e-6, 3), lag(3e-6, 5), lag(3e-10, 2)},
                    {nullptr, nullptr, nullptr},
                    {lag(700, 4), lag(-200, 3), lag(0.07, 4)}},
                   60, 60, {false, true, true});
}

}  // namespace

TEST(PlantScaling, BringsEveryPeakToOneUpToTwo) {
    const LTIFIRModel model = plant();
    const PlantScaling scaling(model);
    const LTIFIRModel scaled = scaling.scaled(model);
    ASSERT_EQ(scaled.coefficients.cols(), 2);
    for (int j = 0; j < 2; ++j) {
        double peak = 0.0;
        for (int i = 0; i < 3; ++i) {
            peak = std::max(peak, peakOf(scaled.coefficients(i, j)));
        }
        EXPECT_GE(peak, 1.0);
        EXPECT_LT(peak, 2.0);
    }
    for (int i = 0; i < 3; ++i) {
        const double peak = std::max(peakOf(scaled.coefficients(i, 0)), peakOf(scaled.coefficients(i, 1)));
        EXPECT_GE(peak, 1.0);
        EXPECT_LT(peak, 2.0);
    }
    EXPECT_FALSE(scaled.rampFlags[0]);
    EXPECT_TRUE(scaled.rampFlags[1]);
    EXPECT_EQ(scaled.outputNames[1], "Y3");
    EXPECT_EQ(scaled.horizonSeconds, 60);
}

TEST(PlantScaling, RoundsNothing) {
    const LTIFIRModel model = plant();
    const PlantScaling scaling(model);
    const LTIFIRModel scaled = scaling.scaled(model);
    for (int i = 0; i < 3; ++i) {
        for (int k = 0; k < 60; ++k) {
            int exponent = 0;
            int scaledExponent = 0;
            EXPECT_EQ(std::frexp(model.coefficients(i, 2)[k], &exponent),
                      std::frexp(scaled.coefficients(i, 1)[k], &scaledExponent));
        }
    }
}

TEST(PlantScaling, IsUndoneInAModelOfTheScaledPlant) {
    const LTIFIRModel model = plant();
    const PlantScaling scaling(model);
    const LTIFIRModel scaled = scaling.scaled(model);
    // A model of one state whose first Markov parameter and feedthrough are those of the scaled curves.
    LTIStateSpaceModel system(matrixOf({{0.5}}), matrixOf({{1, 2, 3}}), matrixOf({{4}, {5}}),
                              matrixOf({{1, 2, 3}, {4, 5, 6}}), discreteSystem, 1.0);
    const LTIFIRModel curves(system, scaled);
    const LTIStateSpaceModel unscaled = scaling.unscaled(system);
    const LTIFIRModel back(unscaled, model);
    const int outputs[] = {0, 2};
    for (int k = 0; k < 2; ++k) {
        for (int i = 0; i < 3; ++i) {
            const double factor = model.coefficients(i, outputs[k])[60] / scaled.coefficients(i, k)[60];
            EXPECT_EQ(back.coefficients(i, outputs[k])[7], factor * curves.coefficients(i, k)[7]);
        }
    }
    EXPECT_EQ(unscaled.C.row(1).maxAbs(), 0.0);
    EXPECT_EQ(unscaled.D.row(1).maxAbs(), 0.0);
    EXPECT_TRUE(test::identical(unscaled.A, system.A));
}

TEST(CurveMeasure, IsPercentOfTheOutputsPeak) {
    const LTIFIRModel model = plantOf({{lag(2.0, 3.0), lag(1.0, 3.0)}, {nullptr, nullptr}}, 60, 60);
    LTIFIRModel other(model);
    other.coefficients(1, 0)[9] += 0.02;
    const CurveMeasure measure(model);
    EXPECT_NEAR(measure.distancePercent(other, model, 0, 1), 1.0, 1e-6);
    EXPECT_EQ(measure.distancePercent(other, model, 0, 0), 0.0);
    const auto largest = measure.largestPercent(other, model);
    ASSERT_TRUE(largest);
    EXPECT_EQ(largest->pair.output, 0);
    EXPECT_EQ(largest->pair.input, 1);
}

TEST(CurveMeasure, TakesAnInputOfSmallUnitsInItsOwn) {
    const LTIFIRModel model = plantOf({{lag(2.0, 3.0), lag(0.002, 3.0), lag(0.4, 3.0)}}, 60, 60);
    LTIFIRModel other(model);
    other.coefficients(1, 0)[9] += 0.00002;
    other.coefficients(2, 0)[9] += 0.004;
    const CurveMeasure measure(model);
    EXPECT_NEAR(measure.distancePercent(other, model, 0, 1), 1.0, 1e-6);
    EXPECT_NEAR(measure.distancePercent(other, model, 0, 2), 0.2, 1e-6);
}

TEST(CurveMeasure, IsTheSameInScaledUnits) {
    const LTIFIRModel model = plant();
    const PlantScaling scaling(model);
    LTIFIRModel other(model);
    for (int i = 0; i < 3; ++i) {
        other.coefficients(i, 0)[9] *= 1.25;
        other.coefficients(i, 2)[9] *= 1.125;
    }
    const CurveMeasure measure(model);
    const CurveMeasure scaled = measure.scaled(scaling);
    for (int i = 0; i < 3; ++i) {
        for (int k = 0; k < 2; ++k) {
            const double expected = measure.distancePercent(other, model, 2 * k, i);
            const double found = scaled.distancePercent(scaling.scaled(other), scaling.scaled(model), k, i);
            EXPECT_NEAR(found, expected, 1e-12 * expected);
        }
    }
}

TEST(CurveMeasure, TakesANumberThatIsNoneForTheLargest) {
    const LTIFIRModel model = plant();
    LTIFIRModel other(model);
    other.coefficients(0, 0)[9] = std::numeric_limits<double>::quiet_NaN();
    other.coefficients(0, 2)[9] = 1e9;
    EXPECT_TRUE(std::isnan(CurveMeasure(model).largestPercent(other, model)->value));
}

TEST(Endings, AreTold) {
    const LTIFIRModel model = plantOf({{lag(1, 3)},
                                       {[](int k) { return 0.1 * k; }},
                                       {lag(1, 50)},
                                       {nullptr},
                                       {test::ramp(1e-6, 2)},
                                       {test::sum(lag(1.0, 2.0), test::ramp(1e-6, 2))}},
                                      120, 120, {false, false, false, false, true, true});
    EXPECT_EQ(endingsOf(model), (std::vector<Ending>{Ending::settled, Ending::rising, Ending::unsettled,
                                                     Ending::withoutCurve, Ending::rising, Ending::rising}));
}

TEST(Endings, OfATinyRiseWithoutAFlagAreSettled) {
    const LTIFIRModel model = plantOf({{test::sum(lag(1.0, 2.0), test::ramp(1e-6, 2))}}, 120, 120);
    EXPECT_EQ(endingsOf(model), std::vector<Ending>{Ending::settled});
}

}  // namespace qormath::pipeline
