#include <memory>

#include <qormath/memory/large_pages.hpp>

#if defined(__linux__)
#include <sys/mman.h>
#endif

namespace QorMathLA {

void adviseLargePages([[maybe_unused]] void* first, [[maybe_unused]] std::size_t bytes) noexcept {
#if defined(__linux__) && defined(MADV_HUGEPAGE)
    // Whole pages, all of them the array's.
    if (std::align(largePage, largePage, first, bytes) != nullptr) {
        madvise(first, bytes / largePage * largePage, MADV_HUGEPAGE);
    }
#endif
}

}  // namespace QorMathLA
