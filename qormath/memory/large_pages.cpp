#include <cerrno>
#include <memory>

#include <qormath/memory/large_pages.hpp>

#if defined(__linux__)
#include <sys/mman.h>
#endif

namespace QorMathLA::detail {

void adviseLargePages([[maybe_unused]] void* first, [[maybe_unused]] std::size_t bytes) noexcept {
#if defined(__linux__) && defined(MADV_HUGEPAGE)
    // Whole pages, all of them the array's.
    if (std::align(largePage, largePage, first, bytes) != nullptr) {
        // A refusal is no failure of what the caller is about.
        const int before = errno;
        madvise(first, bytes / largePage * largePage, MADV_HUGEPAGE);
        errno = before;
    }
#endif
}

}  // namespace QorMathLA::detail
