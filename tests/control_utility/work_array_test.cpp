#include <cstddef>
#include <cstdint>
#include <gtest/gtest.h>
#include <limits>
#include <new>
#include <utility>

#include <qormath/control_utility/work_array.hpp>
#include <qormath/memory/large_pages.hpp>

#include "support/advised_pages.hpp"

using qormath::control_utility::countOnLargePages;
using qormath::control_utility::WorkArray;
using qormath::test::isAdvised;
using qormath::test::systemTakesAdvice;
using QorMathLA::detail::largePage;

namespace {

/// Writes all of an array and reads it again.
bool holds(const WorkArray& array, std::size_t count) {
    for (std::size_t k = 0; k < count; ++k) {
        array[k] = static_cast<double>(k);
    }
    std::size_t right = 0;
    for (std::size_t k = 0; k < count; ++k) {
        right += array.get()[k] == static_cast<double>(k) ? 1 : 0;
    }
    return right == count;
}

}  // namespace

TEST(WorkArray, HoldsAsManyNumbersAsItWasMadeFor) {
    // About the size from which an array lies on large pages.
    const std::size_t limit = 2 * largePage / sizeof(double);
    for (const std::size_t count :
         {std::size_t{0}, std::size_t{1}, std::size_t{1000}, limit - 1, limit, limit + 1, 3 * limit / 2 + 7}) {
        EXPECT_TRUE(holds(WorkArray(count), count)) << count;
    }
}

TEST(WorkArray, BeginsOnALargePageWhereItIsLarge) {
    for (const std::size_t count : {2 * largePage / sizeof(double), 3 * largePage / sizeof(double) + 11}) {
        const WorkArray array(count);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(array.get()) % largePage, 0U);
    }
}

TEST(WorkArray, AsksForALargePageUnderItsEndWhereTheRestIsASmallShare) {
    if (!systemTakesAdvice()) {
        GTEST_SKIP() << "the system has no large pages to ask for";
    }
    const std::size_t page = largePage / sizeof(double);
    for (const std::size_t count : {2 * page, 5 * page / 2, 3 * page - 1, 9 * page + page / 4}) {
        const WorkArray array(count);
        EXPECT_TRUE(isAdvised(array.get())) << count;
        EXPECT_TRUE(isAdvised(array.get() + count - 1)) << count;
        // All of the page is the array's: the numbers before the next one can be written to.
        array[(count + page - 1) / page * page - 1] = 1.0;
    }
}

TEST(WorkArray, TakesWholeLargePagesWhereThatIsAQuarterMoreAtMost) {
    const std::size_t page = largePage / sizeof(double);
    EXPECT_EQ(countOnLargePages(2 * page), 2 * page);
    EXPECT_EQ(countOnLargePages(2 * page + 1), 2 * page + 1);
    // Two fifths into the third page.
    const std::size_t least = 2 * page + 2 * page / 5 + 1;
    EXPECT_EQ(countOnLargePages(least), 3 * page);
    EXPECT_EQ(countOnLargePages(least - 1), least - 1);
    EXPECT_EQ(countOnLargePages(4 * page + 1), 5 * page);
}

TEST(WorkArray, IsNothingUntilItIsGivenAnArray) {
    WorkArray array;
    EXPECT_EQ(array.get(), nullptr);
    WorkArray source(5);
    source[4] = 2.0;
    double* const first = source.get();
    array = std::move(source);
    EXPECT_EQ(array.get(), first);
    EXPECT_EQ(array[4], 2.0);
    EXPECT_EQ(source.get(), nullptr);
    const WorkArray further(std::move(array));
    EXPECT_EQ(further.get(), first);
    EXPECT_EQ(array.get(), nullptr);
}

TEST(WorkArray, OfMoreThanMemoryCanAddressIsRefused) {
    const std::size_t most = std::numeric_limits<std::size_t>::max();
    for (const std::size_t count : {most, most / sizeof(double), most / sizeof(double) - 1}) {
        EXPECT_THROW(WorkArray{count}, std::bad_alloc) << count;
    }
}
