#pragma once

// What the system was advised about the pages of an address, by its own account.

#include <cstddef>
#include <cstdint>
#include <fstream>
#include <sstream>
#include <string>
#include <sys/mman.h>

namespace qormath::test {

/// Whether the system was advised to put a large page under the address: the flag hg of its mapping.
inline bool isAdvised(const void* address) {
    const auto wanted = reinterpret_cast<std::uintptr_t>(address);
    std::ifstream mappings("/proc/self/smaps");
    bool isWithin = false;
    for (std::string line; std::getline(mappings, line);) {
        std::istringstream words(line);
        std::uintptr_t begin = 0;
        std::uintptr_t end = 0;
        char dash = 0;
        if (words >> std::hex >> begin >> dash >> end && dash == '-') {
            isWithin = begin <= wanted && wanted < end;
        } else if (isWithin && line.starts_with("VmFlags:")) {
            return line.find(" hg") != std::string::npos;
        }
    }
    return false;
}

/// Whether advice that is given to the system directly can be seen here.
inline bool systemTakesAdvice() {
#if defined(MADV_HUGEPAGE)
    constexpr std::size_t bytes = std::size_t{1} << 22;
    void* const probe = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (probe == MAP_FAILED) {
        return false;
    }
    const bool isSeen = madvise(probe, bytes, MADV_HUGEPAGE) == 0 && isAdvised(probe);
    munmap(probe, bytes);
    return isSeen;
#else
    return false;
#endif
}

}  // namespace qormath::test
