// The measure of curves against those of a model.

#include <gtest/gtest.h>
#include <support/plants.hpp>

#include <qormath/pipeline/detail/closeness.hpp>

namespace qormath::pipeline {
namespace {

using test::lag;
using test::plantOf;

constexpr int samples = 20;

/// Two outputs with peaks near 4 and 1, and two inputs; the second one has no curve to the second output.
LTIFIRModel model() {
    return plantOf({{lag(4.0, 3), lag(-2.0, 5)}, {lag(1.0, 4), nullptr}}, samples, samples, {false, false});
}

TEST(CurveMeasure, SeesADistanceAtEveryElement) {
    const LTIFIRModel one = model();
    const CurveMeasure measure(one);
    EXPECT_EQ(measure.distancePercent(one, one, 0, 0), 0.0);
    for (int k = 0; k < one.coefficients(0, 0).size(); ++k) {
        LTIFIRModel other = model();
        other.coefficients(0, 0)[k] += 0.5;
        const double expected = 100.0 * 0.5 / measure.peak(0);
        EXPECT_NEAR(measure.distancePercent(one, other, 0, 0), expected, 1e-12) << k;
        EXPECT_NEAR(measure.distancePercent(other, one, 0, 0), expected, 1e-12) << k;
        const auto largest = measure.largestPercent(one, other);
        ASSERT_TRUE(largest.has_value());
        EXPECT_NEAR(largest->value, expected, 1e-12);
        EXPECT_EQ(largest->pair.output, 0);
        EXPECT_EQ(largest->pair.input, 0);
    }
}

TEST(CurveMeasure, TakesAPairWithoutACurveForZeros) {
    const LTIFIRModel one = model();
    const CurveMeasure measure(one);
    LTIFIRModel other = model();
    other.coefficients(1, 1) = QorMathLA::Vector<double>(samples + 1);
    other.coefficients(1, 1).fill(0.0);
    other.coefficients(1, 1)[samples] = 0.25;
    EXPECT_NEAR(measure.distancePercent(one, other, 1, 1), 25.0 / measure.peak(1), 1e-12);
}

}  // namespace
}  // namespace qormath::pipeline
