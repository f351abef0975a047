#include <gtest/gtest.h>
#include <limits>

#include <qormath/core/range.hpp>

namespace {

using QorMathLA::Range;

TEST(Range, ByDefaultIsEmpty) {
    const Range range;
    EXPECT_EQ(range.start, 0);
    EXPECT_EQ(range.end, -1);
    EXPECT_EQ(range.stride, 1);
    EXPECT_EQ(range.size(), 0);
}

TEST(Range, KeepsItsThreeNumbers) {
    const Range range(3, 11, 4);
    EXPECT_EQ(range.start, 3);
    EXPECT_EQ(range.end, 11);
    EXPECT_EQ(range.stride, 4);
}

TEST(Range, CountsBothEnds) {
    EXPECT_EQ(Range(0, 9, 1).size(), 10);
    EXPECT_EQ(Range(-1, -1, 1).size(), 1);
}

TEST(Range, WithAWiderStrideStopsAtTheLastIndexThatIsNotBeyondTheEnd) {
    EXPECT_EQ(Range(0, 9, 2).size(), 5);
    EXPECT_EQ(Range(0, 9, 4).size(), 3);
    EXPECT_EQ(Range(0, 8, 4).size(), 3);
    EXPECT_EQ(Range(0, 7, 4).size(), 2);
}

TEST(Range, DownwardsCountsTheSame) {
    EXPECT_EQ(Range(9, 0, -3).size(), 4);
    EXPECT_EQ(Range(9, 0, -1).size(), 10);
}

TEST(Range, OfOneIndexHasSizeOneWhateverItsStride) {
    EXPECT_EQ(Range(5, 5, 1).size(), 1);
    EXPECT_EQ(Range(3, 3, 1).size(), 1);
    EXPECT_EQ(Range(3, 3, -1).size(), 1);
    EXPECT_EQ(Range(3, 3, 7).size(), 1);
}

TEST(Range, WhoseStrideLeadsAwayFromItsEndIsEmpty) {
    EXPECT_EQ(Range(9, 0, 1).size(), 0);
    EXPECT_EQ(Range(0, 9, -1).size(), 0);
    EXPECT_EQ(Range(0, -1, 1).size(), 0);
}

TEST(Range, WithAStrideOfZeroThrowsTheIntMinusOneEvenForOneIndex) {
    for (const Range range : {Range(0, 9, 0), Range(4, 4, 0), Range(0, -1, 0)}) {
        try {
            range.size();
            FAIL() << "nothing was thrown";
        } catch (const int error) {
            EXPECT_EQ(error, -1);
        }
    }
}

TEST(Range, OfTheWidestDifferencesDoesNotOverflow) {
    constexpr int lowest = std::numeric_limits<int>::min();
    constexpr int highest = std::numeric_limits<int>::max();
    EXPECT_EQ(Range(lowest, highest, highest).size(), 3);
    EXPECT_EQ(Range(0, highest, 1 << 30).size(), 2);
}

TEST(Range, EqualsTheCountOfALoopOverItsIndices) {
    for (int start = -3; start <= 3; ++start) {
        for (int end = -4; end <= 8; ++end) {
            for (const int stride : {1, 2, 3, 5}) {
                int upwards = 0;
                for (int index = start; index <= end; index += stride) {
                    ++upwards;
                }
                EXPECT_EQ(Range(start, end, stride).size(), upwards);
                EXPECT_EQ(Range(-start, -end, -stride).size(), upwards);
            }
        }
    }
}

}  // namespace
