#pragma once

#include <cstdio>
#include <cstdlib>

namespace qormath::fuzz {

/// Ends the process where something does not hold, as a sanitizer does: the fuzzer keeps the input then.
inline void expect(bool holds, const char* what) {
    if (!holds) {
        std::fprintf(stderr, "does not hold: %s\n", what);
        std::abort();
    }
}

}  // namespace qormath::fuzz
