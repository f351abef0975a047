#include <algorithm>
#include <cmath>
#include <cstdint>
#include <functional>
#include <gtest/gtest.h>
#include <limits>
#include <utility>
#include <vector>

#include <qormath/numerics/detail/sub_matrix_search.hpp>

#include "gain_selections.hpp"
#include "support/failures.hpp"
#include "support/random_matrices.hpp"

namespace {

using QorMathLA::Matrix;
using QorMathLA::SVDSubMatrix;
using QorMathLA::Vector;
namespace numerics = qormath::numerics;
namespace test = qormath::test;

const double infinite = std::numeric_limits<double>::infinity();

// The results of the analysis are those of measuring all selections, bit by bit.
void expectFirstOf(const std::vector<SVDSubMatrix>& measured, const Matrix<double>& gain, int size, int maxResults,
                   double limit) {
    const std::vector<SVDSubMatrix> expected = test::firstOf(measured, maxResults, limit);
    const Vector<SVDSubMatrix> results = test::resultsOf(gain, size, maxResults, limit);
    ASSERT_EQ(results.size(), static_cast<int>(expected.size()))
        << gain.rows() << "x" << gain.cols() << " size " << size << " count " << maxResults << " limit " << limit;
    for (int r = 0; r < results.size(); ++r) {
        const SVDSubMatrix& wanted = expected[static_cast<std::size_t>(r)];
        ASSERT_FALSE(results[r] < wanted || wanted < results[r])
            << test::describe(results[r]) << " instead of " << test::describe(wanted);
    }
}

// With all sizes, and with limits and counts from none over sharp to so large that they leave nothing out.
void expectAllMeasured(const Matrix<double>& gain) {
    for (int size = 1; size <= std::min(gain.rows(), gain.cols()); ++size) {
        const std::vector<SVDSubMatrix> measured = test::measureAll(gain, size);
        expectFirstOf(measured, gain, size, 0, 0.0);
        for (const int maxResults : {1, 2, 7, 40, 1000000}) {
            expectFirstOf(measured, gain, size, maxResults, 0.0);
        }
        for (const double limit : {1.0, 1.5, 3.0, 20.0, 1e4, 1e12}) {
            expectFirstOf(measured, gain, size, 0, limit);
            expectFirstOf(measured, gain, size, 5, limit);
        }
    }
}

void overShapes(std::uint64_t seed, const std::function<Matrix<double>(int, int, test::NormalNumbers&)>& gain) {
    test::NormalNumbers numbers(seed);
    for (const auto& [rows, cols] : {std::pair{1, 1}, std::pair{1, 4}, std::pair{2, 2}, std::pair{3, 2},
                                     std::pair{4, 4}, std::pair{5, 8}, std::pair{8, 5}, std::pair{7, 6}}) {
        expectAllMeasured(gain(rows, cols, numbers));
    }
}

TEST(SubMatrixSearch, EqualsMeasuringAllOfRandomGains) {
    overShapes(
        11, [](int rows, int cols, test::NormalNumbers& numbers) { return test::randomMatrix(rows, cols, numbers); });
}

// Many selections share one condition number: the order has to be decided by what comes after it.
TEST(SubMatrixSearch, EqualsMeasuringAllOfSmallIntegers) {
    overShapes(12, [](int rows, int cols, test::NormalNumbers& numbers) {
        Matrix<double> gain(rows, cols);
        for (double& element : gain) {
            element = numbers.integer(-1, 1);
        }
        return gain;
    });
}

TEST(SubMatrixSearch, EqualsMeasuringAllWhereRowsAndColumnsOccurTwice) {
    overShapes(13, [](int rows, int cols, test::NormalNumbers& numbers) {
        Matrix<double> gain = test::randomMatrix(rows, cols, numbers);
        for (int j = 0; j < cols; ++j) {
            gain(rows - 1, j) = -2.0 * gain(0, j);
        }
        for (int i = 0; i < rows; ++i) {
            gain(i, cols / 2) = gain(i, 0);
        }
        return gain;
    });
}

TEST(SubMatrixSearch, EqualsMeasuringAllOfARankOfTwo) {
    overShapes(14, [](int rows, int cols, test::NormalNumbers& numbers) {
        const Matrix<double> left = test::randomMatrix(rows, 2, numbers);
        const Matrix<double> right = test::randomMatrix(2, cols, numbers);
        Matrix<double> gain(rows, cols);
        for (int j = 0; j < cols; ++j) {
            for (int i = 0; i < rows; ++i) {
                gain(i, j) = left(i, 0) * right(0, j) + left(i, 1) * right(1, j);
            }
        }
        return gain;
    });
}

TEST(SubMatrixSearch, EqualsMeasuringAllWhereTwoColumnsAreNearlyDependent) {
    for (const double distance : {1e-3, 1e-7, 1e-9, 1e-13}) {
        overShapes(15, [distance](int rows, int cols, test::NormalNumbers& numbers) {
            Matrix<double> gain = test::randomMatrix(rows, cols, numbers);
            for (int i = 0; i < rows; ++i) {
                gain(i, cols - 1) = gain(i, 0) + distance * numbers.normal();
            }
            return gain;
        });
    }
}

TEST(SubMatrixSearch, EqualsMeasuringAllOfSparseGains) {
    overShapes(16, [](int rows, int cols, test::NormalNumbers& numbers) {
        Matrix<double> gain = test::randomMatrix(rows, cols, numbers);
        for (double& element : gain) {
            element = numbers.uniform() < 0.6 ? 0.0 : element;
        }
        return gain;
    });
}

// Elements from 1e-150 to 1e150, of which neither the squares nor the products are numbers.
TEST(SubMatrixSearch, EqualsMeasuringAllAtExtremeScales) {
    overShapes(17, [](int rows, int cols, test::NormalNumbers& numbers) {
        Matrix<double> gain = test::randomMatrix(rows, cols, numbers);
        for (double& element : gain) {
            element *= std::pow(10.0, numbers.integer(-150, 150));
        }
        return gain;
    });
    for (const double scale : {1e-300, 1e-150, 1e150, 1e300}) {
        overShapes(18, [scale](int rows, int cols, test::NormalNumbers& numbers) {
            Matrix<double> gain = test::randomMatrix(rows, cols, numbers);
            for (double& element : gain) {
                element *= scale;
            }
            return gain;
        });
    }
}

// Beside one element so large, products of the squares of the others are below the range of numbers, or at its edge.
TEST(SubMatrixSearch, EqualsMeasuringAllBesideOneElementThatIsLargerByFar) {
    for (int exponent = 120; exponent <= 400; exponent += 20) {
        SCOPED_TRACE(exponent);
        test::NormalNumbers numbers(static_cast<std::uint64_t>(exponent));
        for (int round = 0; round < 10; ++round) {
            Matrix<double> gain = test::randomMatrix(3, 3, numbers);
            gain(2, 0) = std::ldexp(gain(2, 0), exponent);
            expectAllMeasured(gain);
        }
    }
}

TEST(SubMatrixSearch, EqualsMeasuringAllOfTheThreeByThreeSelectionsOfATwentyByTwelveGain) {
    test::NormalNumbers numbers(19);
    const Matrix<double> gain = test::randomMatrix(20, 12, numbers);
    EXPECT_EQ(test::resultsOf(gain, 3).size(), 250800);
    const std::vector<SVDSubMatrix> measured = test::measureAll(gain, 3);
    expectFirstOf(measured, gain, 3, 0, 0.0);
    expectFirstOf(measured, gain, 3, 25, 0.0);
    expectFirstOf(measured, gain, 3, 0, 2.0);
}

TEST(SubMatrixSearch, FindsTheBestOfMoreSelectionsThanCouldBeRanked) {
    // Nearly a permutation stands hidden among small elements; there are 2.5 * 10^9 selections.
    test::NormalNumbers numbers(20);
    Matrix<double> gain = test::randomMatrix(24, 18, numbers);
    for (double& element : gain) {
        element *= 1e-3;
    }
    for (int t = 0; t < 6; ++t) {
        gain(3 + 4 * t, 2 + 3 * t) += 1.0;
    }
    const Vector<SVDSubMatrix> best = test::resultsOf(gain, 6, 1);
    ASSERT_EQ(best.size(), 1);
    EXPECT_EQ(test::listed(best[0].getRowIndices()), (std::vector<int>{3, 7, 11, 15, 19, 23}));
    EXPECT_EQ(test::listed(best[0].getColIndices()), (std::vector<int>{2, 5, 8, 11, 14, 17}));
}

// ---------------------------------------------------------------- the budget

numerics::SelectionProblem problemOf(const Matrix<double>& gain, int order, int maxResults, double limit) {
    return {gain.numericData(true), gain.rows(), gain.cols(), order, maxResults, limit};
}

TEST(SubMatrixSearch, StopsWhenTheBudgetIsSpent) {
    test::NormalNumbers numbers(21);
    const Matrix<double> gain = test::randomMatrix(10, 8, numbers);
    const numerics::SelectionProblem problem = problemOf(gain, 4, 3, infinite);
    std::uint64_t enough = 1;
    const auto fits = [&](std::uint64_t budget) {
        try {
            return numerics::searchSelections(problem, budget).entries.size() == 3;
        } catch (int failure) {
            EXPECT_EQ(failure, -1);
            return false;
        }
    };
    while (!fits(enough)) {
        ASSERT_LT(enough, std::uint64_t{1} << 40U);
        enough *= 2;
    }
    // 70 selections of columns at 64 units each, and the measures of some of 210 selections of rows for each of them.
    EXPECT_GT(enough, 70 * 64);
    EXPECT_LT(enough, 2 * 70 * (64 + 3 * 210));
}

TEST(SubMatrixSearch, ChargesTwentyUnitsForASmallSelectionThatIsKept) {
    test::NormalNumbers numbers(22);
    const Matrix<double> gain = test::randomMatrix(10, 5, numbers);
    const std::uint64_t candidates = 45 * 10;
    test::expectMinusOne([&] { numerics::searchSelections(problemOf(gain, 2, 0, infinite), 20 * candidates - 1); });
    EXPECT_EQ(numerics::searchSelections(problemOf(gain, 2, 0, infinite), 30 * candidates).entries.size(), candidates);
    // A place for each is no less work than no limit to places.
    test::expectMinusOne([&] { numerics::searchSelections(problemOf(gain, 2, 450, infinite), 20 * candidates - 1); });
    EXPECT_EQ(numerics::searchSelections(problemOf(gain, 2, 449, infinite), 30 * candidates).entries.size(), 449U);
}

TEST(Combinations, AreCounted) {
    EXPECT_EQ(numerics::combinations(0, 0), 1U);
    EXPECT_EQ(numerics::combinations(5, 0), 1U);
    EXPECT_EQ(numerics::combinations(5, 5), 1U);
    EXPECT_EQ(numerics::combinations(20, 3), 1140U);
    EXPECT_EQ(numerics::combinations(12, 3), 220U);
    EXPECT_EQ(numerics::combinations(52, 5), 2598960U);
    EXPECT_EQ(numerics::combinations(67, 33), 14226520737620288370U);
}

TEST(Combinations, BeyondTheLargestNumberAreTheLargestNumber) {
    EXPECT_EQ(numerics::combinations(68, 34), std::numeric_limits<std::uint64_t>::max());
    EXPECT_EQ(numerics::combinations(std::numeric_limits<int>::max(), 1000), std::numeric_limits<std::uint64_t>::max());
}

}  // namespace
