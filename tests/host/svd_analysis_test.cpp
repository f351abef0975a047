#include <climits>
#include <cstddef>
#include <gtest/gtest.h>
#include <limits>
#include <support/failures.hpp>
#include <support/random_numbers.hpp>
#include <support/stops.hpp>
#include <vector>

#include <qormath/host/host_api.h>
#include <qormath/numerics/qor_svd_analysis.hpp>

using namespace qormath::test;
using Doubles = std::vector<double>;
using Integers = std::vector<int>;

namespace {

using SVDAnalysisDeathTest = testing::Test;

constexpr double untouched = -12345.0;
constexpr int untouchedIndex = -12345;

// A call in the making: the arguments by name, and arrays with room to spare that show what was written.
struct Call {
    int nCols;
    int nRows;
    Doubles gain;
    Doubles scaling = Doubles(static_cast<std::size_t>(nCols), 1.0);
    int paramB = 0;
    int paramA = 0;
    int flagValue = 0;
    double value = 0.0;
    int maxResults = 20;

    Doubles scaledGain = Doubles(40, untouched);
    Doubles conditionNumbers = Doubles(40, untouched);
    Doubles rgaValues = Doubles(40, untouched);
    Integers colIndices = Integers(80, untouchedIndex);
    Integers rowIndices = Integers(80, untouchedIndex);
    int resultCount = untouchedIndex;

    void run() {
        SVDAnalysis(nCols, nRows, gain.data(), scaledGain.data(), scaling.data(), paramB, paramA, flagValue, value,
                    colIndices.data(), rowIndices.data(), conditionNumbers.data(), rgaValues.data(), &resultCount,
                    maxResults);
    }
};

template <class T>
std::vector<T> start(const std::vector<T>& list, std::size_t count) {
    return {list.begin(), list.begin() + static_cast<std::ptrdiff_t>(count)};
}

void expectNear(const Doubles& list, const Doubles& expected) {
    for (std::size_t i = 0; i < expected.size(); ++i) {
        EXPECT_NEAR(list[i], expected[i], 10 * std::numeric_limits<double>::epsilon() * expected[i]) << "number " << i;
    }
    for (std::size_t i = expected.size(); i < list.size(); ++i) {
        EXPECT_EQ(list[i], untouched) << "number " << i;
    }
}

void expectIndices(const Integers& list, Integers expected) {
    expected.resize(list.size(), untouchedIndex);
    EXPECT_EQ(list, expected);
}

// [1 0; 0 2; 0 -4]. Rows {0, 1} have condition number 2, rows {0, 2} have 4, rows {1, 2} are singular.
Call threeByTwo() {
    Call call{.nCols = 2, .nRows = 3, .gain = {1.0, 0.0, 0.0, 0.0, 2.0, -4.0}};
    call.paramA = 2;
    return call;
}

// diag(1, 2, 8). Of order 2 its regular parts are diag(1, 2), diag(2, 8) and diag(1, 8).
Call diagonal() {
    Call call{.nCols = 3, .nRows = 3, .gain = {1.0, 0.0, 0.0, 0.0, 2.0, 0.0, 0.0, 0.0, 8.0}};
    call.paramA = 2;
    return call;
}

// ------------------------------------------------------------------------------------ results

TEST(SVDAnalysis, RanksTheSelectionsOfAMatrixWhoseAnswerIsKnownByHand) {
    Call call = threeByTwo();
    call.run();
    EXPECT_EQ(call.resultCount, 2);
    expectNear(call.conditionNumbers, {2.0, 4.0});
    expectNear(call.rgaValues, {1.0, 1.0});
    expectIndices(call.rowIndices, {0, 1, 0, 2});
    expectIndices(call.colIndices, {0, 1, 0, 1});
}

TEST(SVDAnalysis, FindsTheRelativeGainOfAnInteractingPair) {
    // [2 1; 1 1] has the relative gain 2 * 1 / (2 * 1 - 1 * 1) = 2 on its diagonal.
    Call call{.nCols = 2, .nRows = 2, .gain = {2.0, 1.0, 1.0, 1.0}};
    call.run();
    EXPECT_EQ(call.resultCount, 1);
    expectNear(call.rgaValues, {2.0});
    expectIndices(call.rowIndices, {0, 1});
    expectIndices(call.colIndices, {0, 1});
}

TEST(SVDAnalysis, TakesColumnsBeforeRows) {
    // The six values of threeByTwo as two rows: [1 0 2; 0 0 -4], of which the columns 0 and 2 are regular.
    Call call = threeByTwo();
    call.nCols = 3;
    call.nRows = 2;
    call.scaling = {1.0, 1.0, 1.0};
    call.run();
    EXPECT_EQ(call.resultCount, 1);
    expectIndices(call.rowIndices, {0, 1});
    expectIndices(call.colIndices, {0, 2});
}

TEST(SVDAnalysis, WritesTheIndicesOfAllResultsOneRunAfterTheOther) {
    Call call = diagonal();
    call.run();
    EXPECT_EQ(call.resultCount, 3);
    expectNear(call.conditionNumbers, {2.0, 4.0, 8.0});
    expectNear(call.rgaValues, {1.0, 1.0, 1.0});
    expectIndices(call.rowIndices, {0, 1, 1, 2, 0, 2});
    expectIndices(call.colIndices, {0, 1, 1, 2, 0, 2});
}

TEST(SVDAnalysis, IsTheAnalysisOfTheClassInAFlatForm) {
    constexpr int nRows = 6;
    constexpr int nCols = 5;
    constexpr int order = 2;
    NormalNumbers numbers(71);
    Call call{.nCols = nCols, .nRows = nRows, .gain = numbers.matrix(nRows, nCols)};
    call.scaling = {1.0, 2.0, 3.0, 4.0, 5.0};
    call.paramA = order;
    call.paramB = 30;
    call.flagValue = 1;
    call.value = 50.0;
    call.run();

    QorMathLA::QorSVDAnalysis analysis(QorMathLA::Matrix<double>(nRows, nCols, call.gain.data()),
                                       QorMathLA::Vector<double>(nCols, call.scaling.data()), order, 30, true, 50.0);
    analysis.computeAnalysis();
    const auto results = analysis.getResults();
    ASSERT_EQ(call.resultCount, results.size());
    ASSERT_GT(results.size(), call.maxResults);
    for (int i = 0; i < call.maxResults; ++i) {
        const auto place = static_cast<std::size_t>(i);
        EXPECT_EQ(call.conditionNumbers[place], results[i].getConditionNumber());
        EXPECT_EQ(call.rgaValues[place], results[i].getRGA());
        for (int t = 0; t < order; ++t) {
            EXPECT_EQ(call.rowIndices[place * order + static_cast<std::size_t>(t)], results[i].getRowIndices()[t]);
            EXPECT_EQ(call.colIndices[place * order + static_cast<std::size_t>(t)], results[i].getColIndices()[t]);
        }
    }
    const auto scaled = analysis.getScaledGainMatrix();
    EXPECT_EQ(start(call.scaledGain, 30), Doubles(scaled.numericData(true), scaled.numericData(true) + 30));
    EXPECT_EQ(call.scaledGain[30], untouched);
}

// ------------------------------------------------------------------------------------ the arguments one by one

TEST(SVDAnalysis, WritesTheScaledGainInTheOrderOfItsBlock) {
    Call call = threeByTwo();
    call.scaling = {10.0, -3.0};
    call.run();
    EXPECT_EQ(start(call.scaledGain, 7), (Doubles{10.0, 0.0, 0.0, 0.0, -6.0, 12.0, untouched}));
}

TEST(SVDAnalysis, ParamAIsTheOrderAndParamBTheNumberOfResultsKept) {
    Call call = diagonal();
    call.paramA = 2;
    call.paramB = 1;
    call.run();
    EXPECT_EQ(call.resultCount, 1);
    expectIndices(call.rowIndices, {0, 1});

    Call exchanged = diagonal();
    exchanged.paramA = 1;
    exchanged.paramB = 2;
    exchanged.run();
    EXPECT_EQ(exchanged.resultCount, 2);
    expectIndices(exchanged.rowIndices, {0, 1});
    expectNear(exchanged.conditionNumbers, {1.0, 1.0});
}

TEST(SVDAnalysis, ParamAOutsideTheDimensionsMeansTheSmallerOne) {
    for (const int paramA : {0, -1, 3, INT_MAX, INT_MIN}) {
        Call call = threeByTwo();
        call.paramA = paramA;
        call.run();
        EXPECT_EQ(call.resultCount, 2);
        expectIndices(call.rowIndices, {0, 1, 0, 2});
    }
}

TEST(SVDAnalysis, ParamBBelowOneKeepsAllResults) {
    for (const int paramB : {0, -1, INT_MIN}) {
        Call call = diagonal();
        call.paramB = paramB;
        call.run();
        EXPECT_EQ(call.resultCount, 3);
    }
}

TEST(SVDAnalysis, AFlagOfExactlyOneDividesTheRows) {
    for (const int flagValue : {0, 1, 2, -1}) {
        Call call = threeByTwo();
        call.flagValue = flagValue;
        call.run();
        EXPECT_EQ(start(call.scaledGain, 6), flagValue == 1 ? (Doubles{1.0, 0.0, 0.0, 0.0, 1.0, -1.0}) : call.gain);
    }
}

TEST(SVDAnalysis, TheValueIsTheLargestConditionNumberOfAResult) {
    Call call = diagonal();
    call.value = 5.0;
    call.run();
    EXPECT_EQ(call.resultCount, 2);
    expectNear(call.conditionNumbers, {2.0, 4.0});

    for (const double value : {0.0, -1.0, std::numeric_limits<double>::quiet_NaN()}) {
        Call unlimited = diagonal();
        unlimited.value = value;
        unlimited.run();
        EXPECT_EQ(unlimited.resultCount, 3);
    }
}

TEST(SVDAnalysis, CountsTheResultsBeforeTheyAreCut) {
    Call call = diagonal();
    call.maxResults = 2;
    call.run();
    EXPECT_EQ(call.resultCount, 3);
    expectNear(call.conditionNumbers, {2.0, 4.0});
    expectNear(call.rgaValues, {1.0, 1.0});
    expectIndices(call.rowIndices, {0, 1, 1, 2});
    expectIndices(call.colIndices, {0, 1, 1, 2});
}

TEST(SVDAnalysis, WritesNoResultsWhereNoneAreWanted) {
    for (const int maxResults : {0, -1, INT_MIN}) {
        Call call = diagonal();
        SVDAnalysis(call.nCols, call.nRows, call.gain.data(), call.scaledGain.data(), call.scaling.data(), call.paramB,
                    call.paramA, call.flagValue, call.value, nullptr, nullptr, nullptr, nullptr, &call.resultCount,
                    maxResults);
        EXPECT_EQ(call.resultCount, 3);
        EXPECT_EQ(start(call.scaledGain, 9), call.gain);
    }
}

TEST(SVDAnalysis, WritesNoResultsWhereNoneAreFound) {
    Call call{.nCols = 2, .nRows = 2, .gain = {1.0, 2.0, 2.0, 4.0}};
    call.run();
    EXPECT_EQ(call.resultCount, 0);
    expectNear(call.conditionNumbers, {});
    expectNear(call.rgaValues, {});
    expectIndices(call.rowIndices, {});
    expectIndices(call.colIndices, {});
}

// ------------------------------------------------------------------------------------ empty matrices

TEST(SVDAnalysis, FindsNothingInAMatrixWithoutElements) {
    for (const int nRows : {0, 3}) {
        Call call{.nCols = nRows == 0 ? 2 : 0, .nRows = nRows, .gain = {}};
        call.run();
        EXPECT_EQ(call.resultCount, 0);
        EXPECT_EQ(call.scaledGain[0], untouched);
        expectNear(call.conditionNumbers, {});
        expectIndices(call.rowIndices, {});
    }
}

TEST(SVDAnalysis, NeedsNoArraysForAMatrixWithoutRowsAndColumns) {
    int resultCount = -1;
    SVDAnalysis(0, 0, nullptr, nullptr, nullptr, 0, 0, 0, 0.0, nullptr, nullptr, nullptr, nullptr, &resultCount, 10);
    EXPECT_EQ(resultCount, 0);
}

// ------------------------------------------------------------------------------------ what is the host's stays so

TEST(SVDAnalysis, LeavesTheArraysOfTheHostAsTheyWere) {
    Call call = threeByTwo();
    call.scaling = {10.0, -3.0};
    call.flagValue = 1;
    const Call before = call;
    call.run();
    EXPECT_EQ(call.gain, before.gain);
    EXPECT_EQ(call.scaling, before.scaling);
    call.run();  // they are still there to be read
    EXPECT_EQ(call.resultCount, 2);
}

TEST(SVDAnalysis, PassesOnTheFailureOfAnAnalysisThatWouldNotEnd) {
    constexpr int order = 40;
    NormalNumbers numbers(72);
    Call call{.nCols = order, .nRows = order, .gain = numbers.matrix(order, order)};
    call.paramA = order / 2;
    call.scaledGain.assign(static_cast<std::size_t>(order) * order, untouched);
    expectMinusOne([&] { call.run(); });
    EXPECT_EQ(call.scaledGain, Doubles(static_cast<std::size_t>(order) * order, untouched));
    EXPECT_EQ(call.resultCount, untouchedIndex);
    expectNear(call.conditionNumbers, {});
    expectIndices(call.rowIndices, {});
}

TEST(SVDAnalysis, PassesOnTheFailureOfAGainThatIsNotFinite) {
    Call call = threeByTwo();
    call.gain[1] = std::numeric_limits<double>::infinity();
    expectMinusOne([&] { call.run(); });
    EXPECT_EQ(call.scaledGain[0], untouched);
    EXPECT_EQ(call.resultCount, untouchedIndex);
}

// ------------------------------------------------------------------------------------ what stops the process

TEST_F(SVDAnalysisDeathTest, StopsAtANegativeCount) {
    Call call = threeByTwo();
    call.nRows = -3;
    EXPECT_STOP(call.run(), "SVDAnalysis: the gain matrix has -3 rows and 2 columns, the limit is 0");
    call.nCols = -2;  // the product is positive again
    EXPECT_STOP(call.run(), "SVDAnalysis: the gain matrix has -3 rows and -2 columns, the limit is 0");
}

TEST_F(SVDAnalysisDeathTest, StopsAtMoreElementsThanAMatrixCanHave) {
    Call call = threeByTwo();
    call.nRows = 65536;
    call.nCols = 65536;
    EXPECT_STOP(call.run(), "SVDAnalysis: the gain matrix has 4294967296 elements, the limit is 2147483647");
}

TEST_F(SVDAnalysisDeathTest, StopsAtNullPointers) {
    Doubles room(4);
    double* const someDoubles = room.data();
    int count = 0;
    const auto analyse = [](double* gain, double* scaledGain, double* scaling, int* resultCount) {
        SVDAnalysis(2, 2, gain, scaledGain, scaling, 0, 0, 0, 0.0, nullptr, nullptr, nullptr, nullptr, resultCount, 0);
    };
    EXPECT_STOP(analyse(nullptr, someDoubles, someDoubles, &count), "SVDAnalysis: the gain matrix is a null pointer");
    EXPECT_STOP(analyse(someDoubles, nullptr, someDoubles, &count),
                "SVDAnalysis: the scaled gain matrix is a null pointer");
    EXPECT_STOP(analyse(someDoubles, someDoubles, nullptr, &count), "SVDAnalysis: the scaling is a null pointer");
    EXPECT_STOP(analyse(someDoubles, someDoubles, someDoubles, nullptr),
                "SVDAnalysis: the result count is a null pointer");
}

}  // namespace
