#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <vector>

#include <qormath/numerics/svd_sub_matrix.hpp>

#include "support/failures.hpp"
#include "support/matrix_literals.hpp"

namespace {

using QorMathLA::Range;
using QorMathLA::SharedArray;
using QorMathLA::SVDSubMatrix;
using QorMathLA::Vector;
using QorMathLA::VectorSoft;
namespace test = qormath::test;

std::vector<int> listed(const Vector<int>& v) {
    std::vector<int> list;
    for (const int value : v) {
        list.push_back(value);
    }
    return list;
}

SVDSubMatrix subMatrix(std::initializer_list<int> rows, std::initializer_list<int> cols, double conditionNumber,
                       double rga) {
    return {test::vectorOf(rows), test::vectorOf(cols), conditionNumber, rga};
}

bool areEqual(const SVDSubMatrix& a, const SVDSubMatrix& b) {
    return !(a < b) && !(b < a);
}

TEST(SVDSubMatrix, WithoutArgumentsHasNoRowsAndNoColumns) {
    const SVDSubMatrix none;
    EXPECT_EQ(none.getRowIndices().size(), 0);
    EXPECT_EQ(none.getColIndices().size(), 0);
    EXPECT_EQ(none.getConditionNumber(), 0.0);
    EXPECT_EQ(none.getRGA(), 0.0);
    EXPECT_FALSE(none < SVDSubMatrix());
    EXPECT_TRUE(none < subMatrix({0}, {0}, 1.0, 1.0));
}

TEST(SVDSubMatrix, HoldsWhatItIsGiven) {
    const SVDSubMatrix s = subMatrix({4, 7}, {1, 3}, 2.5, 1.25);
    EXPECT_EQ(listed(s.getRowIndices()), (std::vector<int>{4, 7}));
    EXPECT_EQ(listed(s.getColIndices()), (std::vector<int>{1, 3}));
    EXPECT_EQ(s.getConditionNumber(), 2.5);
    EXPECT_EQ(s.getRGA(), 1.25);
}

TEST(SVDSubMatrix, RefusesMoreRowsThanColumns) {
    test::expectMinusOne([] { subMatrix({1, 2}, {1}, 1.0, 1.0); });
}

TEST(SVDSubMatrix, IsNotChangedThroughTheListsThatItGivesAway) {
    const SVDSubMatrix s = subMatrix({4, 7}, {1, 3}, 2.5, 1.25);
    const SVDSubMatrix copy(s);
    Vector<int> rows = s.getRowIndices();
    rows[0] = 99;
    EXPECT_EQ(listed(s.getRowIndices()), (std::vector<int>{4, 7}));
    EXPECT_EQ(listed(copy.getRowIndices()), (std::vector<int>{4, 7}));
}

TEST(SVDSubMatrix, OutlivesWhatItWasCopiedFrom) {
    SVDSubMatrix kept;
    {
        const SVDSubMatrix s = subMatrix({4, 7}, {1, 3}, 2.5, 1.25);
        kept = s;
    }
    EXPECT_EQ(listed(kept.getColIndices()), (std::vector<int>{1, 3}));
    kept = *&kept;
    EXPECT_EQ(listed(kept.getColIndices()), (std::vector<int>{1, 3}));
}

TEST(SVDSubMatrix, IsOrderedByConditionNumberThenRgaThenRowsThenColumns) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const double infinite = std::numeric_limits<double>::infinity();
    // Ascending: each entry differs from the one before it where the order decides.
    const std::vector<SVDSubMatrix> ascending{
        subMatrix({8, 9}, {8, 9}, 1.0, 9.0), subMatrix({0, 1}, {0, 1}, 2.0, 1.0), subMatrix({0, 1}, {0, 2}, 2.0, 1.0),
        subMatrix({0, 1}, {1, 2}, 2.0, 1.0), subMatrix({0, 2}, {0, 1}, 2.0, 1.0), subMatrix({1}, {5}, 2.0, 1.0),
        subMatrix({1, 2}, {0, 1}, 2.0, 1.0), subMatrix({0, 1}, {0, 1}, 2.0, 3.0), subMatrix({0, 1}, {0, 1}, 2.0, nan),
        subMatrix({0}, {0}, infinite, 0.0),  subMatrix({0}, {0}, nan, 0.0),       subMatrix({0}, {1}, nan, 0.0)};
    for (std::size_t i = 0; i < ascending.size(); ++i) {
        for (std::size_t j = 0; j < ascending.size(); ++j) {
            EXPECT_EQ(ascending[i] < ascending[j], i < j) << i << " " << j;
        }
    }
}

TEST(SVDSubMatrix, IsNeitherBeforeNorAfterItsCopy) {
    const SVDSubMatrix s = subMatrix({4, 7}, {1, 3}, 2.5, 1.25);
    EXPECT_TRUE(areEqual(s, SVDSubMatrix(s)));
    EXPECT_TRUE(areEqual(s, subMatrix({4, 7}, {1, 3}, 2.5, 1.25)));
}

TEST(VectorOfSVDSubMatrix, StartsWithDefaultElements) {
    const Vector<SVDSubMatrix> v(3);
    ASSERT_EQ(v.size(), 3);
    EXPECT_TRUE(areEqual(v[2], SVDSubMatrix()));
    EXPECT_EQ(v.elementKind, 3);
}

TEST(VectorOfSVDSubMatrix, CopiesSharesAndWritesThroughViews) {
    Vector<SVDSubMatrix> v(4);
    for (int i = 0; i < 4; ++i) {
        v[i] = subMatrix({i}, {i}, 1.0 + i, 1.0);
    }
    const Vector<SVDSubMatrix> copy(v);
    const VectorSoft<SVDSubMatrix> lastTwo = v(Range(2, 3, 1));
    ASSERT_EQ(lastTwo.size(), 2);
    EXPECT_TRUE(areEqual(lastTwo[1], v[3]));
    v(Range(0, 1, 1)) = lastTwo;
    EXPECT_TRUE(areEqual(v[0], copy[2]));
    EXPECT_TRUE(areEqual(v[1], copy[3]));
    EXPECT_EQ(copy[0].getConditionNumber(), 1.0);
    const Vector<SVDSubMatrix> part(lastTwo);
    EXPECT_EQ(part.data, v.data);
    Vector<SVDSubMatrix> other;
    other = Vector<SVDSubMatrix>(part);
    EXPECT_NE(other.data, v.data);
    ASSERT_EQ(other.size(), 2);
    EXPECT_EQ(listed(other[1].getRowIndices()), (std::vector<int>{3}));
}

TEST(VectorOfSVDSubMatrix, IsSortedInPlace) {
    Vector<SVDSubMatrix> v(50);
    for (int i = 0; i < 50; ++i) {
        v[i] = subMatrix({(i * 7) % 50}, {0}, 1.0, 1.0);
    }
    std::sort(v.numericData(), v.numericData() + v.size());
    for (int i = 0; i < 50; ++i) {
        EXPECT_EQ(listed(v[i].getRowIndices()), (std::vector<int>{i}));
    }
}

TEST(SharedArrayOfSVDSubMatrix, IsHeldByAllItsCopies) {
    SharedArray<SVDSubMatrix> block;
    block.initialise(2, nullptr, false);
    block.data[1] = subMatrix({3}, {5}, 1.0, 1.0);
    const SharedArray<SVDSubMatrix> holder(block);
    EXPECT_EQ(*block.refCount, 2);
    block.release();
    EXPECT_EQ(listed(holder.data[1].getColIndices()), (std::vector<int>{5}));
}

}  // namespace
