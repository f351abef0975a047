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

/// The first number on a boundary of large pages.
double* alignToLargePage(double* first, std::size_t count) {
    void* aligned = first;
    std::size_t space = (count + largePage) * sizeof(double);
    return static_cast<double*>(std::align(largePage * sizeof(double), count * sizeof(double), aligned, space));
}

}  // namespace

WorkArray::WorkArray(std::size_t count) {
    if (count > std::numeric_limits<std::size_t>::max() / sizeof(double) - largePage) {
        throw std::bad_alloc();
    }
    const bool isLarge = count >= leastLargeArray;
    block_.reset(new double[isLarge ? count + largePage : count]);  // unset, unlike make_unique's
    first_ = isLarge ? alignToLargePage(block_.get(), count) : block_.get();
    if (isLarge) {
        QorMathLA::adviseLargePages(first_, count * sizeof(double));
    }
}

}  // namespace qormath::control_utility
