#include <limits>
#include <new>

#include <qormath/control_utility/work_array.hpp>
#include <qormath/memory/large_pages.hpp>

namespace qormath::control_utility {

namespace {

constexpr std::size_t numbersInLargePage = QorMathLA::detail::largePage / sizeof(double);
// Below this the page that is left free, though it is never touched, would be too large a share.
constexpr std::size_t leastLargeArray = 2 * numbersInLargePage;
// An array of at least so many times what is left over of its last page takes that too: memory that nobody uses, but a
// quarter more at the most.
constexpr std::size_t leastMultipleOfRest = 4;

/// The first number on a boundary of large pages.
double* alignToLargePage(double* first, std::size_t count) {
    void* aligned = first;
    std::size_t space = (count + numbersInLargePage) * sizeof(double);
    return static_cast<double*>(std::align(QorMathLA::detail::largePage, count * sizeof(double), aligned, space));
}

}  // namespace

std::size_t countOnLargePages(std::size_t count) {
    const std::size_t whole = (count + numbersInLargePage - 1) / numbersInLargePage * numbersInLargePage;
    return (whole - count) * leastMultipleOfRest <= count ? whole : count;
}

WorkArray::WorkArray(std::size_t count) {
    if (count > std::numeric_limits<std::size_t>::max() / sizeof(double) - 2 * numbersInLargePage) {
        throw std::bad_alloc();
    }
    // Unset, unlike what make_unique gives.
    if (count < leastLargeArray) {
        block_.reset(new double[count]);
        first_ = block_.get();
        return;
    }
    const std::size_t taken = countOnLargePages(count);
    block_.reset(new double[taken + numbersInLargePage]);
    first_ = alignToLargePage(block_.get(), taken);
    QorMathLA::detail::adviseLargePages(first_, taken * sizeof(double));
}

}  // namespace qormath::control_utility
