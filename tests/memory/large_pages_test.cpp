#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <gtest/gtest.h>
#include <memory>
#include <new>
#include <sys/mman.h>

#include <qormath/core/matrix.hpp>
#include <qormath/memory/large_pages.hpp>

#include "support/advised_pages.hpp"

using qormath::test::isAdvised;
using qormath::test::systemTakesAdvice;
using QorMathLA::Matrix;
using QorMathLA::detail::adviseLargePages;
using QorMathLA::detail::largePage;

namespace {

/// The first large page that is whole within so many bytes, or null.
const void* firstPageWithin(const void* first, std::size_t bytes) {
    auto* page = const_cast<void*>(first);
    return std::align(largePage, largePage, page, bytes);
}

/// So many bytes that nobody has had before: what is freed on the heap keeps the advice that was given for it.
struct FreshMapping {
    explicit FreshMapping(std::size_t size)
        : bytes(size), first(mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0)) {
        if (first == MAP_FAILED) {
            throw std::bad_alloc();
        }
    }

    FreshMapping(const FreshMapping&) = delete;
    FreshMapping& operator=(const FreshMapping&) = delete;

    ~FreshMapping() { munmap(first, bytes); }

    char* page() const { return static_cast<char*>(const_cast<void*>(firstPageWithin(first, bytes))); }

    std::size_t bytes;
    void* first;
};

}  // namespace

TEST(LargePages, AreAskedForUnderTheElementsOfALargeMatrix) {
    if (!systemTakesAdvice()) {
        GTEST_SKIP() << "the system has no large pages to ask for";
    }
    const int n = 1024;
    const Matrix<double> matrix(n, n);
    const void* const page = firstPageWithin(matrix.numericData(true), sizeof(double) * n * n);
    ASSERT_NE(page, nullptr);
    EXPECT_TRUE(isAdvised(page));
}

TEST(LargePages, AreAskedForAsFarAsWholeOnesAreWithinTheArray) {
    if (!systemTakesAdvice()) {
        GTEST_SKIP() << "the system has no large pages to ask for";
    }
    const FreshMapping mapping(5 * largePage);
    char* const page = mapping.page();
    ASSERT_FALSE(isAdvised(page));
    // From the middle of one page to the middle of the third: the second alone is whole.
    adviseLargePages(page + largePage / 2, 2 * largePage);
    EXPECT_FALSE(isAdvised(page));
    EXPECT_TRUE(isAdvised(page + largePage));
    EXPECT_TRUE(isAdvised(page + 2 * largePage - 1));
    EXPECT_FALSE(isAdvised(page + 2 * largePage));
}

TEST(LargePages, OfAnArrayWithoutAWholeOneAreNotAskedFor) {
    if (!systemTakesAdvice()) {
        GTEST_SKIP() << "the system has no large pages to ask for";
    }
    const FreshMapping mapping(4 * largePage);
    char* const page = mapping.page();
    adviseLargePages(page + 1, 2 * largePage - 2);
    for (int k = 0; k < 3; ++k) {
        EXPECT_FALSE(isAdvised(page + static_cast<std::size_t>(k) * largePage)) << k;
    }
}

TEST(LargePages, LeaveErrnoAsItIs) {
    // An address that nothing is mapped at: the system refuses.
    const FreshMapping mapping(3 * largePage);
    char* const page = mapping.page();
    munmap(page, largePage);
    errno = 0;
    adviseLargePages(page, largePage);
    adviseLargePages(nullptr, 0);
    EXPECT_EQ(errno, 0);
}
