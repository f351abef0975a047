#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <vector>

#include <qormath/control_utility/in_place_product.hpp>

#include "support/raw_matrix.hpp"

namespace {

using namespace qormath::test;
using namespace qormath::control_utility;

const double eps = std::ldexp(1.0, -53);
const double nan = std::numeric_limits<double>::quiet_NaN();

constexpr int orders[] = {1, 2, 3, 4, 5, 7, 8, 9, 12, 13, 16, 23, 24, 25, 33, 48, 52, 65, 96};

/// Every kernel that this processor can run.
std::vector<InPlaceKernel> kernelsHere() {
    std::vector<InPlaceKernel> result;
    for (const auto kernel : {InPlaceKernel::dgemm, InPlaceKernel::fourLanes, InPlaceKernel::eightLanes}) {
        if (kernel <= fastestInPlaceKernel()) {
            result.push_back(kernel);
        }
    }
    return result;
}

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
void expectProductFromRight(InPlaceKernel kernel, int rows, int order, NormalNumbers& numbers) {
    const RawMatrix before = framed(rows, order, numbers);
    const RawMatrix v = framed(order, order, numbers);
    RawMatrix x = before;
    std::vector<double> work;
    multiplyInPlaceFromRight(rows, order, x.data(), x.rows, v.data(), v.rows, work, kernel);
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

void expectProductFromLeft(InPlaceKernel kernel, int order, int columns, NormalNumbers& numbers) {
    const RawMatrix before = framed(order, columns, numbers);
    const RawMatrix v = framed(order, order, numbers);
    RawMatrix x = before;
    std::vector<double> work;
    multiplyInPlaceFromLeft(order, columns, x.data(), x.rows, v.data(), v.rows, work, kernel);
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
    for (const InPlaceKernel kernel : kernelsHere()) {
        for (const int order : orders) {
            for (const int other : {0, 1, 2, 3, 4, 5, 8, 9, 11, 12, 13, 16, 17, 23, 24, 25, 47, 50, 255, 256, 257}) {
                SCOPED_TRACE(testing::Message()
                             << "kernel " << static_cast<int>(kernel) << ", " << order << " and " << other);
                expectProductFromRight(kernel, other, order, numbers);
                expectProductFromLeft(kernel, order, other, numbers);
            }
        }
    }
}

// Rows that are multiplied apart from the others come out alike, wherever a kernel puts them.
TEST(InPlaceProduct, OfARowDoesNotDependOnTheRowsBesideIt) {
    NormalNumbers numbers(72);
    for (const InPlaceKernel kernel : kernelsHere()) {
        if (kernel == InPlaceKernel::dgemm) {
            continue;  // promises nothing of the kind
        }
        for (const int order : orders) {
            constexpr int rows = 61;
            const RawMatrix before = framed(rows, order, numbers);
            const RawMatrix v = framed(order, order, numbers);
            RawMatrix whole = before;
            std::vector<double> work;
            multiplyInPlaceFromRight(rows, order, whole.data(), whole.rows, v.data(), v.rows, work, kernel);
            for (const int first : {0, 1, 7, 24, 60}) {
                RawMatrix part = before;
                multiplyInPlaceFromRight(rows - first, order, part.data() + first, part.rows, v.data(), v.rows, work,
                                         kernel);
                for (int j = 0; j < order; ++j) {
                    for (int i = first; i < rows; ++i) {
                        ASSERT_EQ(part(i, j), whole(i, j)) << "order " << order << ", rows from " << first;
                    }
                }
            }
        }
    }
}

TEST(InPlaceProduct, KeepsWhatIsNotFiniteInItsRowOrColumn) {
    NormalNumbers numbers(73);
    constexpr int order = 13;
    constexpr int other = 29;
    for (const InPlaceKernel kernel : kernelsHere()) {
        RawMatrix v = framed(order, order, numbers);
        RawMatrix x = framed(other, order, numbers);
        RawMatrix y = framed(order, other, numbers);
        x(other - 1, 4) = nan;
        y(4, other - 1) = std::numeric_limits<double>::infinity();
        std::vector<double> work;
        multiplyInPlaceFromRight(other, order, x.data(), x.rows, v.data(), v.rows, work, kernel);
        multiplyInPlaceFromLeft(order, other, y.data(), y.rows, v.data(), v.rows, work, kernel);
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
    for (const InPlaceKernel kernel : kernelsHere()) {
        for (const int order : {8, 25}) {
            const RawMatrix v = framed(order, order, numbers);
            const RawMatrix before = framed(30, order, numbers);
            RawMatrix x = before, y = before;
            std::vector<double> fresh, used(100000, nan);
            multiplyInPlaceFromRight(30, order, x.data(), x.rows, v.data(), v.rows, fresh, kernel);
            multiplyInPlaceFromRight(30, order, y.data(), y.rows, v.data(), v.rows, used, kernel);
            for (int j = 0; j < order; ++j) {
                for (int i = 0; i < 30; ++i) {
                    EXPECT_EQ(x(i, j), y(i, j));
                }
            }
        }
    }
}

}  // namespace
