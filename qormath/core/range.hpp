#pragma once

/// @file
/// Ranges of indices.

#include <cstdint>

namespace QorMathLA {

/// Indices start, start + stride, ... up to and including end. In the fields of a container they are absolute
/// positions in its block; passed to a view operator they are relative to the view, and a negative start selects
/// everything (by convention Range(-1, -1, 1)).
class Range {
  public:
    /// The empty range 0, -1, 1.
    constexpr Range() = default;

    /// From first to last, both inclusive, by steps of step.
    constexpr Range(std::int32_t first, std::int32_t last, std::int32_t step) : start(first), end(last), stride(step) {}

    /// The number of indices. A range knows nothing of the block that it indexes, so nothing is checked against one.
    /// Throws the int -1 for a stride of zero, which no valid range has.
    constexpr std::int32_t size() const {
        if (stride == 0) {
            throw -1;
        }
        if ((end < start && stride > 0) || (end > start && stride < 0)) {
            return 0;
        }
        // In 64 bits: the difference of two 32-bit indices may not fit 32 bits. Nearly every stride is 1, and a
        // division costs more than the rest of a view.
        const std::int64_t last = std::int64_t{end} - start;
        return static_cast<std::int32_t>((stride == 1 ? last : last / stride) + 1);
    }

    std::int32_t start = 0;   ///< first index, inclusive
    std::int32_t end = -1;    ///< last index, inclusive
    std::int32_t stride = 1;  ///< step from one index to the next; never zero
};

}  // namespace QorMathLA
