#pragma once

// What the system was advised about the pages of an address, by its own account.

#include <cstdint>
#include <fstream>
#include <sstream>
#include <string>

namespace qormath::test {

inline bool systemHasLargePages() {
    return std::ifstream("/sys/kernel/mm/transparent_hugepage/enabled").good() &&
           std::ifstream("/proc/self/smaps").good();
}

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

}  // namespace qormath::test
