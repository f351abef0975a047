// Factors of inputs that make up for units: judged by the equations of the least squares that they solve.

#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <support/matrix_literals.hpp>
#include <support/random_matrices.hpp>
#include <vector>

#include <qormath/core/matrix.hpp>
#include <qormath/pipeline/unit_factors.hpp>

namespace qormath {
namespace {

using QorMathLA::Matrix;
using QorMathLA::Vector;
using test::matrixOf;
using test::NormalNumbers;

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double nan = std::numeric_limits<double>::quiet_NaN();

// A change of at most this ends the iteration, and means over a line take up a few times as much.
constexpr double settled = 1e-12;

/// The mean of log |r g f| over the gains of each column, with the factors r of the rows that solve their half of the
/// least squares: the other half holds if all of them are 0.
double largestMean(const Matrix<double>& gain, const Vector<double>& factors) {
    const auto logarithm = [&](int i, int j) { return std::log(std::fabs(gain(i, j))) + std::log(factors[j]); };
    std::vector<double> rows;
    for (int i = 0; i < gain.rows(); ++i) {
        double sum = 0.0;
        int count = 0;
        for (int j = 0; j < gain.cols(); ++j) {
            if (gain(i, j) != 0.0) {
                sum += logarithm(i, j);
                ++count;
            }
        }
        rows.push_back(count == 0 ? 0.0 : -sum / count);
    }
    double largest = 0.0;
    for (int j = 0; j < gain.cols(); ++j) {
        double sum = 0.0;
        int count = 0;
        for (int i = 0; i < gain.rows(); ++i) {
            if (gain(i, j) != 0.0) {
                sum += logarithm(i, j) + rows[static_cast<std::size_t>(i)];
                ++count;
            }
        }
        largest = std::max(largest, count == 0 ? 0.0 : std::fabs(sum) / count);
    }
    return largest;
}

/// Gains over many orders of magnitude, some of them 0.
Matrix<double> plantOf(int rows, int cols, NormalNumbers& numbers) {
    Matrix<double> gain(rows, cols);
    for (double& element : gain) {
        element = numbers.uniform() < 0.3 ? 0.0 : numbers.normal() * std::pow(10.0, numbers.uniform(-6.0, 6.0));
    }
    return gain;
}

/// Whether b is a multiple of a, up to rounding.
void expectShared(const Vector<double>& a, const Vector<double>& b) {
    ASSERT_EQ(a.size(), b.size());
    for (int j = 0; j < a.size(); ++j) {
        EXPECT_NEAR(std::log(b[j] / a[j]), std::log(b[0] / a[0]), 10 * settled) << j;
    }
}

TEST(UnitFactors, OfAMatrixWithoutElementsAreOnes) {
    EXPECT_EQ(unitFactors(Matrix<double>(0, 0)).size(), 0);
    EXPECT_EQ(unitFactors(Matrix<double>(3, 0)).size(), 0);
    const Vector<double> factors = unitFactors(Matrix<double>(0, 3));
    ASSERT_EQ(factors.size(), 3);
    EXPECT_TRUE(std::ranges::all_of(factors, [](double factor) { return factor == 1.0; }));
}

TEST(UnitFactors, OfInputsWithoutGainsAreOnes) {
    const Vector<double> factors = unitFactors(matrixOf({{2.0, 0.0, 8.0}, {0.0, 0.0, 0.0}}));
    EXPECT_EQ(factors[1], 1.0);
    EXPECT_NEAR(factors[0] / factors[2], 4.0, 1e-11);
}

TEST(UnitFactors, UndoTheUnitsOfInputsThatActAlike) {
    // |gain| = outputs times inputs: every row becomes constant.
    const Matrix<double> gain = matrixOf({{1.0, -1e3, 1e-4}, {-20.0, 2e4, 2e-3}, {3e5, 3e8, -30.0}});
    const Vector<double> factors = unitFactors(gain);
    for (int i = 0; i < 3; ++i) {
        for (int j = 1; j < 3; ++j) {
            EXPECT_NEAR(std::fabs(gain(i, j) * factors[j]) / std::fabs(gain(i, 0) * factors[0]), 1.0, 10 * settled);
        }
    }
}

TEST(UnitFactors, SolveTheirLeastSquares) {
    NormalNumbers numbers(41);
    for (const int rows : {1, 2, 3, 7, 25}) {
        for (const int cols : {1, 2, 5, 40}) {
            const Matrix<double> gain = plantOf(rows, cols, numbers);
            EXPECT_LE(largestMean(gain, unitFactors(gain)), 10 * settled) << rows << " by " << cols;
        }
    }
}

TEST(UnitFactors, SolveThemAlongAChainToo) {
    // Each input shares one output with the next: what one end has to tell the other takes many steps.
    constexpr int length = 30;
    NormalNumbers numbers(42);
    Matrix<double> gain(length, length);
    gain.fill(0.0);
    for (int i = 0; i < length; ++i) {
        gain(i, i) = std::exp(3.0 * numbers.normal());
        if (i + 1 < length) {
            gain(i, i + 1) = std::exp(3.0 * numbers.normal());
        }
    }
    EXPECT_LE(largestMean(gain, unitFactors(gain)), 10 * settled);
}

TEST(UnitFactors, FollowTheUnitsOfInputsAndForgetThoseOfOutputs) {
    NormalNumbers numbers(43);
    const Matrix<double> gain = plantOf(6, 5, numbers);
    const Vector<double> factors = unitFactors(gain);
    Matrix<double> other = gain;
    Vector<double> expected = factors;
    for (int j = 0; j < other.cols(); ++j) {
        const double unit = std::pow(10.0, numbers.uniform(-5.0, 5.0));
        expected[j] = factors[j] / unit;
        for (int i = 0; i < other.rows(); ++i) {
            other(i, j) = gain(i, j) * unit;
        }
    }
    for (int i = 0; i < other.rows(); ++i) {
        const double unit = std::pow(10.0, numbers.uniform(-5.0, 5.0));
        for (int j = 0; j < other.cols(); ++j) {
            other(i, j) *= unit;
        }
    }
    expectShared(expected, unitFactors(other));
}

TEST(UnitFactors, DoNotCountSigns) {
    NormalNumbers numbers(44);
    const Matrix<double> gain = plantOf(4, 4, numbers);
    Matrix<double> positive = gain;
    for (double& element : positive) {
        element = std::fabs(element);
    }
    const Vector<double> one = unitFactors(gain);
    const Vector<double> other = unitFactors(positive);
    EXPECT_TRUE(std::ranges::equal(one, other));
}

TEST(UnitFactors, AreNumbersAboveZeroHoweverFarApartTheGainsAre) {
    const double smallest = std::numeric_limits<double>::denorm_min();
    const double largest = std::numeric_limits<double>::max();
    const Matrix<double> extremes[] = {matrixOf({{smallest, largest}}), matrixOf({{largest, smallest}}),
                                       matrixOf({{smallest, smallest}}), matrixOf({{largest, largest}}),
                                       matrixOf({{smallest, largest, 0.0}, {0.0, smallest, largest}})};
    for (const Matrix<double>& gain : extremes) {
        for (const double factor : unitFactors(gain)) {
            EXPECT_TRUE(std::isfinite(factor) && factor > 0.0) << factor;
        }
    }
}

TEST(UnitFactors, LeaveTheGainsAlone) {
    NormalNumbers numbers(45);
    const Matrix<double> gain = plantOf(5, 3, numbers);
    const Matrix<double> before = gain;
    unitFactors(gain);
    EXPECT_EQ(test::written(gain), test::written(before));
}

TEST(UnitFactors, AreRefusedForGainsThatAreNotFinite) {
    for (const double value : {nan, infinity, -infinity}) {
        try {
            unitFactors(matrixOf({{1.0, 2.0}, {0.0, value}}));
            ADD_FAILURE() << "a result for " << value;
        } catch (int code) {
            EXPECT_EQ(code, -1);
        }
    }
}

}  // namespace
}  // namespace qormath
