#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <utility>
#include <vector>

#include <qormath/numerics/qor_svd_analysis.hpp>

#include "gain_selections.hpp"
#include "support/failures.hpp"
#include "support/matrix_compare.hpp"
#include "support/matrix_literals.hpp"
#include "support/random_matrices.hpp"

namespace {

using QorMathLA::Matrix;
using QorMathLA::QorSVDAnalysis;
using QorMathLA::Range;
using QorMathLA::SVDSubMatrix;
using QorMathLA::Vector;
namespace test = qormath::test;
using test::describe;
using test::listed;
using test::ones;
using test::resultsOf;

const double nan = std::numeric_limits<double>::quiet_NaN();
const double infinite = std::numeric_limits<double>::infinity();

Matrix<double> scaledGainOf(const Matrix<double>& gain, const Vector<double>& scaling, bool scaleRows) {
    return QorSVDAnalysis(gain, scaling, 0, 0, scaleRows, 0.0).getScaledGainMatrix();
}

// Its selections of order 2 are diag(1, 2), diag(1, -4) and the singular [0 2; 0 -4].
Matrix<double> threeByTwo() {
    return test::matrixOf({{1.0, 0.0}, {0.0, 2.0}, {0.0, -4.0}});
}

// diag(10, 2, 1): the condition numbers of its selections are ratios of its diagonal.
Matrix<double> diagonal() {
    return test::matrixOf({{10.0, 0.0, 0.0}, {0.0, 2.0, 0.0}, {0.0, 0.0, 1.0}});
}

// ---------------------------------------------------------------- answers known by hand

TEST(QorSVDAnalysis, RanksTheSelectionsOfAMatrixWhoseAnswerIsKnownByHand) {
    const Vector<SVDSubMatrix> results = resultsOf(threeByTwo(), 2);
    ASSERT_EQ(results.size(), 2);
    EXPECT_EQ(listed(results[0].getRowIndices()), (std::vector<int>{0, 1}));
    EXPECT_EQ(listed(results[0].getColIndices()), (std::vector<int>{0, 1}));
    EXPECT_EQ(results[0].getConditionNumber(), 2.0);
    EXPECT_EQ(results[0].getRGA(), 1.0);
    EXPECT_EQ(listed(results[1].getRowIndices()), (std::vector<int>{0, 2}));
    EXPECT_EQ(listed(results[1].getColIndices()), (std::vector<int>{0, 1}));
    EXPECT_EQ(results[1].getConditionNumber(), 4.0);
    EXPECT_EQ(results[1].getRGA(), 1.0);
}

TEST(QorSVDAnalysis, TellsRowsFromColumnsOfAMatrixThatIsWiderThanHigh) {
    const Vector<SVDSubMatrix> results = resultsOf(threeByTwo().transpose(), 2);
    ASSERT_EQ(results.size(), 2);
    EXPECT_EQ(listed(results[1].getRowIndices()), (std::vector<int>{0, 1}));
    EXPECT_EQ(listed(results[1].getColIndices()), (std::vector<int>{0, 2}));
}

TEST(QorSVDAnalysis, GivesIndicesInAscendingOrder) {
    test::NormalNumbers numbers(5);
    for (const SVDSubMatrix& result : resultsOf(test::randomMatrix(6, 5, numbers), 3)) {
        EXPECT_TRUE(std::ranges::is_sorted(listed(result.getRowIndices())));
        EXPECT_TRUE(std::ranges::is_sorted(listed(result.getColIndices())));
    }
}

// [2 1; 1 1]: the singular values are (3 +- sqrt(5)) / 2; the first element of the relative gain array is
// 1 / (1 - 1/2) = 2, and its rows and columns sum to 1.
TEST(QorSVDAnalysis, MeasuresByTwoNormAndByTheLargestRelativeGain) {
    const Vector<SVDSubMatrix> results = resultsOf(test::matrixOf({{2.0, 1.0}, {1.0, 1.0}}), 2);
    ASSERT_EQ(results.size(), 1);
    const double root = std::sqrt(5.0);
    EXPECT_NEAR(results[0].getConditionNumber(), (3.0 + root) / (3.0 - root), 1e-14);
    EXPECT_NEAR(results[0].getRGA(), 2.0, 1e-15);
}

TEST(QorSVDAnalysis, TakesTheAbsoluteValueOfRelativeGains) {
    // The relative gains are -1 and 2, and with the columns exchanged 2 and -1.
    EXPECT_NEAR(resultsOf(test::matrixOf({{1.0, 2.0}, {1.0, 1.0}}), 2)[0].getRGA(), 2.0, 1e-15);
    // 1 / (1 - 4/3) = -3 and 4.
    EXPECT_NEAR(resultsOf(test::matrixOf({{1.0, 4.0}, {1.0, 3.0}}), 2)[0].getRGA(), 4.0, 1e-14);
}

TEST(QorSVDAnalysis, OfOrderOneFindsEveryElementButTheZeros) {
    const Vector<SVDSubMatrix> results = resultsOf(threeByTwo(), 1);
    ASSERT_EQ(results.size(), 3);
    EXPECT_EQ(describe(results[0]), "rows 0 cols 0 condition 1 rga 1");
    EXPECT_EQ(describe(results[1]), "rows 1 cols 1 condition 1 rga 1");
    EXPECT_EQ(describe(results[2]), "rows 2 cols 1 condition 1 rga 1");
}

TEST(QorSVDAnalysis, OrdersSelectionsOfOneConditionNumberByTheirRga) {
    // An orthogonal matrix and a diagonal one, both of condition number 1.
    const Matrix<double> gain = test::matrixOf({{1.0, 1.0, 0.0, 0.0}, {1.0, -1.0, 0.0, 0.0}, {0.0, 0.0, 1.0, 0.0}});
    const Vector<SVDSubMatrix> results = resultsOf(gain, 2, 0, 1.0 + 1e-15);
    ASSERT_EQ(results.size(), 5);
    EXPECT_EQ(describe(results[0]), "rows 0 1 cols 0 1 condition 1 rga 0.5");
    EXPECT_EQ(describe(results[1]), "rows 0 2 cols 0 2 condition 1 rga 1");
    EXPECT_EQ(describe(results[2]), "rows 0 2 cols 1 2 condition 1 rga 1");
    EXPECT_EQ(describe(results[3]), "rows 1 2 cols 0 2 condition 1 rga 1");
    EXPECT_EQ(describe(results[4]), "rows 1 2 cols 1 2 condition 1 rga 1");
}

// ---------------------------------------------------------------- published gains

// S. Skogestad, M. Morari, J. C. Doyle, "Robust control of ill-conditioned plants: high-purity distillation", IEEE
// Trans. Automatic Control 33 (1988): by reflux and boilup a condition number of 141.7 and a relative gain of 35.1, by
// distillate and boilup 70.8 and 0.45, so that the other relative gain is 0.55.
TEST(QorSVDAnalysis, AgreesWithThePublishedFiguresOfAHighPurityColumn) {
    const Vector<SVDSubMatrix> reflux = resultsOf(test::matrixOf({{0.878, -0.864}, {1.082, -1.096}}), 2);
    ASSERT_EQ(reflux.size(), 1);
    EXPECT_NEAR(reflux[0].getConditionNumber(), 141.7, 0.05);
    EXPECT_NEAR(reflux[0].getRGA(), 35.1, 0.05);
    const Vector<SVDSubMatrix> distillate = resultsOf(test::matrixOf({{-0.878, 0.014}, {-1.082, -0.014}}), 2);
    ASSERT_EQ(distillate.size(), 1);
    EXPECT_NEAR(distillate[0].getConditionNumber(), 70.8, 0.05);
    EXPECT_NEAR(distillate[0].getRGA(), 0.55, 0.005);
}

// R. K. Wood, M. W. Berry, "Terminal composition control of a binary distillation column", Chem. Eng. Sci. 28 (1973):
// the relative gain of reflux and overhead is 1 / (1 - 18.9 * 6.6 / (12.8 * 19.4)).
TEST(QorSVDAnalysis, AgreesWithTheRelativeGainOfABinaryColumn) {
    const Vector<SVDSubMatrix> results = resultsOf(test::matrixOf({{12.8, -18.9}, {6.6, -19.4}}), 2);
    ASSERT_EQ(results.size(), 1);
    EXPECT_NEAR(results[0].getRGA(), 1.0 / (1.0 - 18.9 * 6.6 / (12.8 * 19.4)), 1e-14);
    EXPECT_NEAR(results[0].getRGA(), 2.01, 0.005);
}

// ---------------------------------------------------------------- the size

TEST(QorSVDAnalysis, TakesTheSmallerDimensionForASizeOfZeroOrBelowOrAboveIt) {
    for (const int size : {0, -1, std::numeric_limits<int>::min(), 3, std::numeric_limits<int>::max()}) {
        const Vector<SVDSubMatrix> results = resultsOf(threeByTwo(), size);
        ASSERT_EQ(results.size(), 2) << size;
        EXPECT_EQ(results[0].getRowIndices().size(), 2);
    }
}

// ---------------------------------------------------------------- the number of results

TEST(QorSVDAnalysis, KeepsTheBestResults) {
    const Vector<SVDSubMatrix> all = resultsOf(diagonal(), 2);
    ASSERT_EQ(all.size(), 3);
    EXPECT_EQ(all[0].getConditionNumber(), 2.0);
    EXPECT_EQ(all[1].getConditionNumber(), 5.0);
    EXPECT_EQ(all[2].getConditionNumber(), 10.0);
    for (const int count : {1, 2, 3}) {
        const Vector<SVDSubMatrix> best = resultsOf(diagonal(), 2, count);
        ASSERT_EQ(best.size(), count);
        for (int r = 0; r < count; ++r) {
            EXPECT_EQ(describe(best[r]), describe(all[r]));
        }
    }
}

TEST(QorSVDAnalysis, KeepsAllForACountOfZeroOrBelowOrAboveTheirNumber) {
    for (const int count : {0, -1, std::numeric_limits<int>::min(), 4, std::numeric_limits<int>::max()}) {
        EXPECT_EQ(resultsOf(diagonal(), 2, count).size(), 3) << count;
    }
}

// ---------------------------------------------------------------- the limit

TEST(QorSVDAnalysis, CountsAConditionNumberThatEqualsTheLimit) {
    EXPECT_EQ(resultsOf(diagonal(), 2, 0, 5.0).size(), 2);
    EXPECT_EQ(resultsOf(diagonal(), 2, 0, std::nextafter(5.0, 0.0)).size(), 1);
    EXPECT_EQ(resultsOf(diagonal(), 2, 0, 10.0).size(), 3);
    EXPECT_EQ(resultsOf(diagonal(), 2, 0, 0.5).size(), 0);
}

TEST(QorSVDAnalysis, TakesAnyFiniteConditionNumberWithoutALimit) {
    for (const double limit : {0.0, -0.0, -5.0, nan, infinite, -infinite}) {
        EXPECT_EQ(resultsOf(diagonal(), 2, 0, limit).size(), 3) << limit;
    }
}

TEST(QorSVDAnalysis, AppliesLimitAndCountTogether) {
    const Vector<SVDSubMatrix> results = resultsOf(diagonal(), 2, 1, 5.0);
    ASSERT_EQ(results.size(), 1);
    EXPECT_EQ(results[0].getConditionNumber(), 2.0);
    EXPECT_EQ(resultsOf(diagonal(), 2, 3, 5.0).size(), 2);
}

// ---------------------------------------------------------------- scaling

TEST(QorSVDAnalysis, MultipliesColumnsByTheScaling) {
    const Matrix<double> gain = test::matrixOf({{1.0, 2.0}, {3.0, 4.0}, {0.0, 0.0}});
    EXPECT_EQ(test::written(scaledGainOf(gain, test::vectorOf({10.0, -0.5}), false)), "3x2 [10 -1; 30 -2; 0 -0]");
}

TEST(QorSVDAnalysis, DividesRowsByTheirLargestElementsAfterTheScaling) {
    const Matrix<double> gain = test::matrixOf({{1.0, 2.0}, {3.0, 4.0}, {0.0, 0.0}});
    EXPECT_EQ(test::written(scaledGainOf(gain, test::vectorOf({8.0, -1.0}), true)),
              "3x2 [1 -0.25; 1 -0.16666666666666666; 0 -0]");
}

TEST(QorSVDAnalysis, LeavesARowOfZerosAsItIs) {
    const Matrix<double> gain = test::matrixOf({{0.0, 0.0}, {5.0, 0.0}, {0.0, 0.25}});
    EXPECT_EQ(test::written(scaledGainOf(gain, ones(2), true)), "3x2 [0 0; 1 0; 0 1]");
    QorSVDAnalysis analysis(gain, ones(2), 2, 0, true, 0.0);
    analysis.computeAnalysis();
    ASSERT_EQ(analysis.getResults().size(), 1);
    EXPECT_EQ(describe(analysis.getResults()[0]), "rows 1 2 cols 0 1 condition 1 rga 1");
}

TEST(QorSVDAnalysis, MeasuresTheScaledGain) {
    const Matrix<double> gain = test::matrixOf({{1.0, 0.0}, {0.0, 4.0}});
    QorSVDAnalysis analysis(gain, test::vectorOf({1.0, 0.5}), 2, 0, false, 0.0);
    analysis.computeAnalysis();
    EXPECT_EQ(analysis.getResults()[0].getConditionNumber(), 2.0);
}

TEST(QorSVDAnalysis, FindsNothingInAColumnThatIsScaledToZero) {
    QorSVDAnalysis analysis(diagonal(), test::vectorOf({1.0, 0.0, 1.0}), 2, 0, false, 0.0);
    analysis.computeAnalysis();
    ASSERT_EQ(analysis.getResults().size(), 1);
    EXPECT_EQ(describe(analysis.getResults()[0]), "rows 0 2 cols 0 2 condition 10 rga 1");
}

TEST(QorSVDAnalysis, GivesTheScaledGainAsAWholeMatrix) {
    test::NormalNumbers numbers(6);
    const Matrix<double> big = test::randomMatrix(7, 6, numbers);
    const Matrix<double> view(big(Range(2, 5, 1), Range(1, 3, 1)).transpose());
    const Matrix<double> scaled = scaledGainOf(view, ones(4), false);
    EXPECT_FALSE(scaled.transposed);
    EXPECT_EQ(scaled.storedRows, 3);
    EXPECT_EQ(scaled.storedCols, 4);
    EXPECT_EQ(scaled.array.count, 12);
    EXPECT_EQ(scaled.rowRange.start, 0);
    EXPECT_EQ(scaled.colRange.start, 0);
    EXPECT_EQ(test::maxDifference(scaled, view), 0.0);
}

TEST(QorSVDAnalysis, NeitherWritesNorKeepsItsArguments) {
    Matrix<double> gain = diagonal();
    Vector<double> scaling = ones(3);
    QorSVDAnalysis analysis(gain, scaling, 2, 0, true, 0.0);
    EXPECT_TRUE(test::identical(gain, diagonal()));
    gain.fill(nan);
    scaling.fill(nan);
    analysis.computeAnalysis();
    EXPECT_EQ(analysis.getResults().size(), 3);
}

TEST(QorSVDAnalysis, GivesAwayCopies) {
    QorSVDAnalysis analysis(diagonal(), ones(3), 2, 0, false, 0.0);
    analysis.computeAnalysis();
    analysis.getScaledGainMatrix().fill(nan);
    Vector<SVDSubMatrix> results = analysis.getResults();
    results[0] = SVDSubMatrix();
    EXPECT_TRUE(test::identical(analysis.getScaledGainMatrix(), diagonal()));
    EXPECT_EQ(analysis.getResults()[0].getConditionNumber(), 2.0);
}

// ---------------------------------------------------------------- order of use and refusals

TEST(QorSVDAnalysis, HasNoResultsBeforeItIsComputed) {
    const QorSVDAnalysis analysis(diagonal(), ones(3), 2, 0, false, 0.0);
    EXPECT_EQ(analysis.getResults().size(), 0);
    EXPECT_TRUE(test::identical(analysis.getScaledGainMatrix(), diagonal()));
}

TEST(QorSVDAnalysis, FindsTheSameWhenItIsComputedAgain) {
    QorSVDAnalysis analysis(diagonal(), ones(3), 2, 2, false, 0.0);
    analysis.computeAnalysis();
    const Vector<SVDSubMatrix> first = analysis.getResults();
    analysis.computeAnalysis();
    const Vector<SVDSubMatrix> second = analysis.getResults();
    ASSERT_EQ(second.size(), 2);
    for (int r = 0; r < 2; ++r) {
        EXPECT_EQ(describe(second[r]), describe(first[r]));
    }
}

TEST(QorSVDAnalysis, OfAMatrixWithoutRowsOrColumnsFindsNothing) {
    for (const auto& [rows, cols] : {std::pair{0, 0}, std::pair{0, 3}, std::pair{3, 0}, std::pair{-1, -2}}) {
        for (const int scalingLength : {0, 3, 7}) {
            QorSVDAnalysis analysis(Matrix<double>(rows, cols), ones(scalingLength), 1, 0, true, 0.0);
            analysis.computeAnalysis();
            EXPECT_EQ(analysis.getResults().size(), 0);
            EXPECT_EQ(analysis.getScaledGainMatrix().blockSize(), 0);
        }
    }
}

TEST(QorSVDAnalysis, RefusesAScalingOfAnotherLength) {
    for (const int length : {0, 2, 4}) {
        test::expectMinusOne([&] { QorSVDAnalysis(diagonal(), ones(length), 2, 0, false, 0.0); });
    }
}

TEST(QorSVDAnalysis, RefusesWhatIsNotFinite) {
    for (const double bad : {nan, infinite, -infinite}) {
        for (const bool scaleRows : {false, true}) {
            Matrix<double> gain = diagonal();
            gain(2, 0) = bad;
            test::expectMinusOne([&] { QorSVDAnalysis(gain, ones(3), 2, 0, scaleRows, 0.0); });
            Vector<double> scaling = ones(3);
            scaling[1] = bad;
            test::expectMinusOne([&] { QorSVDAnalysis(diagonal(), scaling, 2, 0, scaleRows, 0.0); });
        }
    }
}

TEST(QorSVDAnalysis, RefusesAScaledGainThatOverflows) {
    const Matrix<double> gain = test::matrixOf({{1e200}});
    test::expectMinusOne([&] { QorSVDAnalysis(gain, test::vectorOf({1e200}), 1, 0, false, 0.0); });
}

TEST(QorSVDAnalysis, RefusesToRankMoreThanCanBeKeptBeforeItBegins) {
    Matrix<double> gain(200, 100);
    gain.fill(1.0);
    QorSVDAnalysis analysis(gain, ones(100), 50, 0, false, 0.0);
    test::expectMinusOne([&] { analysis.computeAnalysis(); });
    EXPECT_EQ(analysis.getResults().size(), 0);
}

// ---------------------------------------------------------------- singular and nearly singular

TEST(QorSVDAnalysis, LeavesOutIntegerMatricesThatAreExactlySingular) {
    const Matrix<double> gain = test::matrixOf({{1.0, 2.0, 3.0}, {4.0, 5.0, 6.0}, {7.0, 8.0, 9.0}});
    EXPECT_EQ(resultsOf(gain, 3).size(), 0);
    EXPECT_EQ(resultsOf(gain, 2).size(), 9);
    // Of rank 2, of elements up to about 1000 and so of rounding errors that do not cancel.
    test::NormalNumbers numbers(7);
    for (int round = 0; round < 200; ++round) {
        const int order = numbers.integer(3, 7);
        Matrix<double> a(order, order);
        for (int j = 0; j < order; ++j) {
            for (int i = 0; i < order; ++i) {
                a(i, j) = j < 2 ? numbers.integer(-99, 99) : 3.0 * a(i, 0) - (j + 2.0) * a(i, 1);
            }
        }
        EXPECT_EQ(resultsOf(a, order).size(), 0) << test::written(a);
    }
}

TEST(QorSVDAnalysis, LeavesOutASingularMatrixWhoseRowsAreRounded) {
    const Matrix<double> gain = test::matrixOf({{1.0, 2.0, 3.0}, {4.0, 5.0, 6.0}, {7.0, 8.0, 9.0}});
    QorSVDAnalysis analysis(gain, test::vectorOf({0.1, 0.7, 1.3}), 3, 0, true, 0.0);
    analysis.computeAnalysis();
    EXPECT_EQ(analysis.getResults().size(), 0);
}

TEST(QorSVDAnalysis, KeepsABadlyScaledMatrixThatIsNotSingular) {
    const Vector<SVDSubMatrix> results = resultsOf(test::matrixOf({{1.0, 0.0}, {0.0, 1e-20}}), 2);
    ASSERT_EQ(results.size(), 1);
    EXPECT_DOUBLE_EQ(results[0].getConditionNumber(), 1e20);
    EXPECT_EQ(results[0].getRGA(), 1.0);
}

TEST(QorSVDAnalysis, KeepsAMatrixThatIsIllConditionedWithinWorkingPrecision) {
    const Vector<SVDSubMatrix> results = resultsOf(test::matrixOf({{1.0, 1.0}, {1.0, 1.0 + 1e-12}}), 2);
    ASSERT_EQ(results.size(), 1);
    EXPECT_NEAR(results[0].getConditionNumber() / 4e12, 1.0, 1e-3);
    EXPECT_NEAR(results[0].getRGA() / 1e12, 1.0, 1e-3);
}

TEST(QorSVDAnalysis, LeavesOutAConditionNumberBeyondTheRangeOfNumbers) {
    EXPECT_EQ(resultsOf(test::matrixOf({{1e200, 0.0}, {0.0, 1e-200}}), 2).size(), 0);
    EXPECT_EQ(resultsOf(test::matrixOf({{1e150, 0.0}, {0.0, 1e-150}}), 2).size(), 1);
}

}  // namespace
