#include <gtest/gtest.h>
#include <support/failures.hpp>
#include <support/matrix_literals.hpp>
#include <support/stops.hpp>
#include <vector>

#include <qormath/core/xmsg.hpp>
#include <qormath/host/detail/svd_results.hpp>

using namespace qormath::host;
using namespace qormath::test;
using QorMathLA::Matrix;
using QorMathLA::SVDSubMatrix;
using QorMathLA::Vector;

namespace {

using SVDResultsDeathTest = testing::Test;

Vector<SVDSubMatrix> resultsOf(std::initializer_list<SVDSubMatrix> list) {
    return vectorOf<SVDSubMatrix>(list);
}

SVDSubMatrix result(const Vector<int>& rows, const Vector<int>& cols, double conditionNumber, double rga) {
    return {rows, cols, conditionNumber, rga};
}

TEST(SVDResults, ShareOnePositionForTheIndicesOfAllResults) {
    const auto results = resultsOf({result(vectorOf({4, 7}), vectorOf({1, 2}), 1.5, 10.0),
                                    result(vectorOf({5}), vectorOf({3}), 2.5, 20.0), SVDSubMatrix(),
                                    result(vectorOf({0, 1, 2}), vectorOf({9, 8, 6}), 3.5, 30.0)});
    std::vector<int> cols(7, -1);
    std::vector<int> rows(7, -1);
    std::vector<double> conditionNumbers(5, -1.0);
    std::vector<double> rgaValues(5, -1.0);
    writeResults(results, 10, {cols.data(), rows.data(), conditionNumbers.data(), rgaValues.data()});
    EXPECT_EQ(cols, (std::vector<int>{1, 2, 3, 9, 8, 6, -1}));
    EXPECT_EQ(rows, (std::vector<int>{4, 7, 5, 0, 1, 2, -1}));
    EXPECT_EQ(conditionNumbers, (std::vector<double>{1.5, 2.5, 0.0, 3.5, -1.0}));
    EXPECT_EQ(rgaValues, (std::vector<double>{10.0, 20.0, 0.0, 30.0, -1.0}));
}

TEST(SVDResults, AreSortedInPlaceByTheirOwnOrder) {
    auto results =
        resultsOf({result(vectorOf({1}), vectorOf({0}), 3.0, 1.0), result(vectorOf({2}), vectorOf({0}), 1.0, 2.0),
                   result(vectorOf({0}), vectorOf({0}), 1.0, 1.0)});
    const SVDSubMatrix* const place = results.numericData();
    sortResults(results);
    EXPECT_EQ(results.numericData(), place);
    EXPECT_EQ(results[0].getRowIndices()[0], 0);
    EXPECT_EQ(results[1].getRowIndices()[0], 2);
    EXPECT_EQ(results[2].getRowIndices()[0], 1);
}

TEST(SVDResults, OfNoneAreSorted) {
    Vector<SVDSubMatrix> results;
    sortResults(results);
    EXPECT_EQ(results.size(), 0);
}

TEST(SVDResults, OfManyAreSorted) {
    constexpr int count = 500;  // beyond the insertion form of a sort
    Vector<SVDSubMatrix> results(count);
    for (int i = 0; i < count; ++i) {
        results[i] = result(vectorOf({i}), vectorOf({i}), (i * 7) % count, 1.0);
    }
    sortResults(results);
    for (int i = 0; i < count; ++i) {
        EXPECT_EQ(results[i].getConditionNumber(), i);
    }
}

TEST(ScaledGain, IsWrittenInTheOrderOfItsBlock) {
    double target[] = {0.0, 0.0, 0.0, 0.0, -1.0};
    writeScaledGain(matrixOf({{1.0, 2.0}, {3.0, 4.0}}), 4, target);
    EXPECT_EQ(std::vector<double>(target, target + 5), (std::vector<double>{1.0, 3.0, 2.0, 4.0, -1.0}));
}

TEST(ScaledGain, ThatIsTransposedIsRefused) {
    double target = -1.0;
    expectXmsg([&] { writeScaledGain(matrixOf({{1.0}}).transpose(), 1, &target); }, QorMathLA::TransposedDataAccess,
               "Matrix: get data for Fortran call");
    EXPECT_EQ(target, -1.0);
}

TEST(ScaledGain, WithoutElementsIsNotLookedAt) {
    writeScaledGain(Matrix<double>(0, 2).transpose(), 0, nullptr);
}

TEST_F(SVDResultsDeathTest, StopAtNullPointersIfThereIsAnythingToWrite) {
    const auto results = resultsOf({result(vectorOf({1}), vectorOf({0}), 3.0, 1.0)});
    int index = 0;
    double number = 0.0;
    EXPECT_STOP(writeResults(results, 1, {nullptr, &index, &number, &number}),
                "SVDAnalysis: the array of column indices is a null pointer");
    EXPECT_STOP(writeResults(results, 1, {&index, nullptr, &number, &number}),
                "SVDAnalysis: the array of row indices is a null pointer");
    EXPECT_STOP(writeResults(results, 1, {&index, &index, nullptr, &number}),
                "SVDAnalysis: the array of condition numbers is a null pointer");
    EXPECT_STOP(writeResults(results, 1, {&index, &index, &number, nullptr}),
                "SVDAnalysis: the array of RGA values is a null pointer");
    writeResults(results, 0, {nullptr, nullptr, nullptr, nullptr});
    writeResults(Vector<SVDSubMatrix>(), 1, {nullptr, nullptr, nullptr, nullptr});
}

}  // namespace
