#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <vector>

#include <qormath/control_utility/in_place_product.hpp>

#include "processor_lanes_here.hpp"
#include "support/raw_matrix.hpp"

namespace {

using namespace qormath::test;
using namespace qormath::control_utility;

const double eps = std::ldexp(1.0, -53);
const double nan = std::numeric_limits<double>::quiet_NaN();

// About the sizes of tiles, and those that Schur forms use.
constexpr int orders[] = {1, 2, 3, 4, 5, 7, 8, 9, 12, 13, 16, 23, 24, 25, 33, 48, 52, 65, 96};

/// A random matrix with more rows, and columns to the right, that nobody may touch.
RawMatrix framed(int rows, int columns, NormalNumbers& numbers) {
    RawMatrix result(rows + 3, columns + 2, nan);
    for (int j = 0; j < columns; ++j) {
        for (int i = 0; i < rows; ++i) {
            result(i, j) = numbers.normal();
        }
    }
    return result;
}

void expectUntouchedFrame(const RawMatrix& x, int rows, int columns) {
    for (int j = 0; j < x.cols; ++j) {
        for (int i = 0; i < x.rows; ++i) {
            ASSERT_TRUE(std::isnan(x(i, j)) == (i >= rows || j >= columns)) << "element " << i << ", " << j;
        }
    }
}

/// Compares with the definition, element by element.
void expectProductFromRight(Lanes lanes, int rows, int order, NormalNumbers& numbers) {
    const RawMatrix before = framed(rows, order, numbers);
    const RawMatrix v = framed(order, order, numbers);
    RawMatrix x = before;
    std::vector<double> work;
    multiplyInPlaceFromRight(rows, order, x.data(), x.rows, v.data(), v.rows, work, lanes);
    expectUntouchedFrame(x, rows, order);
    for (int j = 0; j < order; ++j) {
        for (int i = 0; i < rows; ++i) {
            double sum = 0.0, size = 0.0;
            for (int k = 0; k < order; ++k) {
                sum += before(i, k) * v(k, j);
                size += std::abs(before(i, k) * v(k, j));
            }
            // Each of the two sums is off by n eps of its terms at the most.
            ASSERT_LE(std::abs(x(i, j) - sum), 2 * (order + 1) * eps * size) << "element " << i << ", " << j;
        }
    }
}

void expectProductFromLeft(Lanes lanes, int order, int columns, NormalNumbers& numbers) {
    const RawMatrix before = framed(order, columns, numbers);
    const RawMatrix v = framed(order, order, numbers);
    RawMatrix x = before;
    std::vector<double> work;
    multiplyInPlaceFromLeft(order, columns, x.data(), x.rows, v.data(), v.rows, work, lanes);
    expectUntouchedFrame(x, order, columns);
    for (int j = 0; j < columns; ++j) {
        for (int i = 0; i < order; ++i) {
            double sum = 0.0, size = 0.0;
            for (int k = 0; k < order; ++k) {
                sum += v(k, i) * before(k, j);
                size += std::abs(v(k, i) * before(k, j));
            }
            ASSERT_LE(std::abs(x(i, j) - sum), 2 * (order + 1) * eps * size) << "element " << i << ", " << j;
        }
    }
}

TEST(InPlaceProduct, IsTheProductWhateverTheSizes) {
    NormalNumbers numbers(71);
    for (const Lanes lanes : allLanesHere()) {
        for (const int order : orders) {
            for (const int other : {0, 1, 2, 3, 4, 5, 8, 9, 11, 12, 13, 16, 17, 23, 24, 25, 47, 50, 255, 256, 257}) {
                SCOPED_TRACE(testing::Message()
                             << "lanes " << static_cast<int>(lanes) << ", " << order << " and " << other);
                expectProductFromRight(lanes, other, order, numbers);
                expectProductFromLeft(lanes, order, other, numbers);
            }
        }
    }
}

void expectSameElements(const RawMatrix& x, const RawMatrix& y, int firstRow, int firstColumn, int rows, int columns) {
    for (int j = firstColumn; j < columns; ++j) {
        for (int i = firstRow; i < rows; ++i) {
            ASSERT_EQ(x(i, j), y(i, j)) << "element " << i << ", " << j;
        }
    }
}

// What is multiplied apart from the rest comes out alike, wherever a kernel puts it.
TEST(InPlaceProduct, OfARowOrColumnDoesNotDependOnThoseBesideIt) {
    NormalNumbers numbers(72);
    constexpr int count = 61;
    for (const Lanes lanes : allLanesHere()) {
        if (lanes == Lanes::none) {
            continue;  // promises nothing of the kind
        }
        for (const int order : orders) {
            const RawMatrix tall = framed(count, order, numbers);
            const RawMatrix wide = framed(order, count, numbers);
            const RawMatrix v = framed(order, order, numbers);
            RawMatrix wholeTall = tall, wholeWide = wide;
            std::vector<double> work;
            multiplyInPlaceFromRight(count, order, wholeTall.data(), tall.rows, v.data(), v.rows, work, lanes);
            multiplyInPlaceFromLeft(order, count, wholeWide.data(), wide.rows, v.data(), v.rows, work, lanes);
            for (const int first : {0, 1, 7, 24, 60}) {
                SCOPED_TRACE(testing::Message() << "order " << order << ", from " << first);
                RawMatrix partTall = tall, partWide = wide;
                multiplyInPlaceFromRight(count - first, order, partTall.data() + first, tall.rows, v.data(), v.rows,
                                         work, lanes);
                multiplyInPlaceFromLeft(order, count - first, &partWide(0, first), wide.rows, v.data(), v.rows, work,
                                        lanes);
                expectSameElements(partTall, wholeTall, first, 0, count, order);
                expectSameElements(partWide, wholeWide, 0, first, order, count);
            }
        }
    }
}

// Both sum in the order of the terms.
TEST(InPlaceProduct, IsTheSameToTheBitWithFourLanesAndEight) {
    if (lanesOfProcessor() < Lanes::eight) {
        GTEST_SKIP() << "this processor has no eight lanes";
    }
    NormalNumbers numbers(75);
    constexpr int count = 53;
    for (const int order : orders) {
        const RawMatrix tall = framed(count, order, numbers);
        const RawMatrix wide = framed(order, count, numbers);
        const RawMatrix v = framed(order, order, numbers);
        RawMatrix tallByFour = tall, tallByEight = tall, wideByFour = wide, wideByEight = wide;
        std::vector<double> work;
        for (const Lanes lanes : {Lanes::four, Lanes::eight}) {
            const bool isFour = lanes == Lanes::four;
            multiplyInPlaceFromRight(count, order, (isFour ? tallByFour : tallByEight).data(), tall.rows, v.data(),
                                     v.rows, work, lanes);
            multiplyInPlaceFromLeft(order, count, (isFour ? wideByFour : wideByEight).data(), wide.rows, v.data(),
                                    v.rows, work, lanes);
        }
        SCOPED_TRACE(order);
        expectSameElements(tallByFour, tallByEight, 0, 0, count, order);
        expectSameElements(wideByFour, wideByEight, 0, 0, order, count);
    }
}

TEST(InPlaceProduct, KeepsWhatIsNotFiniteInItsRowOrColumn) {
    NormalNumbers numbers(73);
    constexpr int order = 13;
    constexpr int other = 29;
    for (const Lanes lanes : allLanesHere()) {
        RawMatrix v = framed(order, order, numbers);
        RawMatrix x = framed(other, order, numbers);
        RawMatrix y = framed(order, other, numbers);
        x(other - 1, 4) = nan;
        y(4, other - 1) = std::numeric_limits<double>::infinity();
        std::vector<double> work;
        multiplyInPlaceFromRight(other, order, x.data(), x.rows, v.data(), v.rows, work, lanes);
        multiplyInPlaceFromLeft(order, other, y.data(), y.rows, v.data(), v.rows, work, lanes);
        for (int j = 0; j < order; ++j) {
            for (int i = 0; i < other; ++i) {
                EXPECT_EQ(std::isfinite(x(i, j)), i < other - 1);
                EXPECT_EQ(std::isfinite(y(j, i)), i < other - 1);
            }
        }
    }
}

TEST(InPlaceProduct, TakesAWorkArrayOfAnySizeAndContents) {
    NormalNumbers numbers(74);
    constexpr int count = 30;
    for (const Lanes lanes : allLanesHere()) {
        for (const int order : {8, 25}) {
            const RawMatrix v = framed(order, order, numbers);
            const RawMatrix tall = framed(count, order, numbers);
            const RawMatrix wide = framed(order, count, numbers);
            RawMatrix tall1 = tall, tall2 = tall, wide1 = wide, wide2 = wide;
            std::vector<double> fresh, used(100000, nan);
            multiplyInPlaceFromRight(count, order, tall1.data(), tall.rows, v.data(), v.rows, fresh, lanes);
            multiplyInPlaceFromRight(count, order, tall2.data(), tall.rows, v.data(), v.rows, used, lanes);
            multiplyInPlaceFromLeft(order, count, wide1.data(), wide.rows, v.data(), v.rows, fresh, lanes);
            multiplyInPlaceFromLeft(order, count, wide2.data(), wide.rows, v.data(), v.rows, used, lanes);
            expectSameElements(tall1, tall2, 0, 0, count, order);
            expectSameElements(wide1, wide2, 0, 0, order, count);
        }
    }
}

TEST(InPlaceProduct, NeverEnlargesAWorkArrayOfTheLengthThatIsTold) {
    NormalNumbers numbers(76);
    constexpr int count = 300;
    for (const Lanes lanes : allLanesHere()) {
        for (const int order : orders) {
            RawMatrix tall = framed(count, order, numbers);
            RawMatrix wide = framed(order, count, numbers);
            const RawMatrix v = framed(order, order, numbers);
            const std::size_t length = inPlaceWorkLength(order);
            std::vector<double> work(length);
            multiplyInPlaceFromRight(count, order, tall.data(), tall.rows, v.data(), v.rows, work, lanes);
            multiplyInPlaceFromLeft(order, count, wide.data(), wide.rows, v.data(), v.rows, work, lanes);
            EXPECT_EQ(work.size(), length) << order;
        }
    }
}

TEST(InPlaceProduct, OfOrderZeroTouchesNothing) {
    for (const Lanes lanes : allLanesHere()) {
        double x = 7.0;
        std::vector<double> work;
        multiplyInPlaceFromRight(1, 0, &x, 1, &x, 1, work, lanes);
        multiplyInPlaceFromLeft(0, 1, &x, 1, &x, 1, work, lanes);
        EXPECT_EQ(x, 7.0);
    }
}

}  // namespace
