#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

namespace qormath::fuzz {

/// Reads an input as a program: small numbers, one a byte, and 0 for ever after its end.
class ByteSource {
  public:
    ByteSource(const std::uint8_t* data, std::size_t size) : position_(data), end_(data + size) {}

    bool empty() const { return position_ == end_; }

    /// From 0 to below the limit.
    std::size_t below(std::size_t limit) { return empty() ? 0 : *position_++ % limit; }

    /// From 0 to the largest, both inclusive.
    int upTo(int largest) { return static_cast<int>(below(static_cast<std::size_t>(largest) + 1)); }

    /// A double of any bits.
    double anyDouble() {
        std::uint64_t bits = 0;
        for (int k = 0; k < 8; ++k) {
            bits = bits << 8 | below(256);
        }
        return std::bit_cast<double>(bits);
    }

    /// Any characters but zero, fewer where the input ends.
    std::string text(std::size_t length) {
        std::string result;
        for (; result.size() < length && !empty(); ++position_) {
            result += static_cast<char>(*position_ == 0 ? ' ' : *position_);
        }
        return result;
    }

  private:
    const std::uint8_t* position_;
    const std::uint8_t* end_;
};

}  // namespace qormath::fuzz
