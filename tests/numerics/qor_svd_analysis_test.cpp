#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <vector>

#include <qormath/numerics/qor_svd_analysis.hpp>

#include "support/failures.hpp"
#include "support/matrix_literals.hpp"

namespace {

using QorMathLA::Matrix;
using QorMathLA::QorSVDAnalysis;
using QorMathLA::SVDSubMatrix;
using QorMathLA::Vector;
namespace test = qormath::test;

Vector<double> ones(int length) {
    return Vector<double>(length).filled(1.0);
}

Vector<SVDSubMatrix> resultsOf(const Matrix<double>& gain, int size, int maxResults = 0, double limit = 0.0) {
    QorSVDAnalysis analysis(gain, ones(gain.cols()), size, maxResults, false, limit);
    analysis.computeAnalysis();
    return analysis.getResults();
}

std::vector<int> listed(const Vector<int>& v) {
    std::vector<int> list;
    for (const int value : v) {
        list.push_back(value);
    }
    return list;
}

TEST(QorSVDAnalysis, RanksTheSelectionsOfAMatrixWhoseAnswerIsKnownByHand) {
    // diag(1, 2), diag(1, -4), and the singular [0 2; 0 -4].
    const Matrix<double> gain = test::matrixOf({{1.0, 0.0}, {0.0, 2.0}, {0.0, -4.0}});
    const Vector<SVDSubMatrix> results = resultsOf(gain, 2);
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

TEST(QorSVDAnalysis, LeavesOutAnIntegerMatrixThatIsExactlySingular) {
    const Matrix<double> gain = test::matrixOf({{1.0, 2.0, 3.0}, {4.0, 5.0, 6.0}, {7.0, 8.0, 9.0}});
    EXPECT_EQ(resultsOf(gain, 3).size(), 0);
    EXPECT_EQ(resultsOf(gain, 2).size(), 9);
}

TEST(QorSVDAnalysis, KeepsABadlyScaledMatrixThatIsNotSingular) {
    const Vector<SVDSubMatrix> results = resultsOf(test::matrixOf({{1.0, 0.0}, {0.0, 1e-20}}), 2);
    ASSERT_EQ(results.size(), 1);
    EXPECT_DOUBLE_EQ(results[0].getConditionNumber(), 1e20);
    EXPECT_EQ(results[0].getRGA(), 1.0);
}

}  // namespace
