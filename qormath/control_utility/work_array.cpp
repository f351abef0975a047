#include <limits>
#include <new>

#include <qormath/control_utility/work_array.hpp>
#include <qormath/memory/large_pages.hpp>

namespace qormath::control_utility {

namespace {

// Numbers in a large page.
constexpr std::size_t largePage = QorMathLA::largePage / sizeof(double);
// Below this the page that is left free, though it is never touched, would be too large a share.
constexpr std::size_t leastLargeArray = 2 * largePage;
// The array gets the rest of its last page, which costs memory that nobody uses, where that is no larger share of it.
constexpr std::size_t largestRest = 4;

/// As many numbers, or those of whole large pages.
std::size_t countOnPages(std::size_t count) {
    const std::size_t whole = (count + largePage - 1) / largePage * largePage;
    return (whole - count) * largestRest <= count ? whole : count;
}

/// The first number on a boundary of large pages.
double* alignToLargePage(double* first, std::size_t count) {
    void* aligned = first;
    std::size_t space = (count + largePage) * sizeof(double);
    return static_cast<double*>(std::align(largePage * sizeof(double), count * sizeof(double), aligned, space));
}

}  // namespace

WorkArray::WorkArray(std::size_t count) {
    if (count > std::numeric_limits<std::size_t>::max() / sizeof(double) - 2 * largePage) {
        throw std::bad_alloc();
    }
    // Unset, unlike what make_unique gives.
    if (count < leastLargeArray) {
        block_.reset(new double[count]);
        first_ = block_.get();
        return;
    }
    const std::size_t taken = countOnPages(count);
    block_.reset(new double[taken + largePage]);
    first_ = alignToLargePage(block_.get(), taken);
    QorMathLA::adviseLargePages(first_, taken * sizeof(double));
}

}  // namespace qormath::control_utility
