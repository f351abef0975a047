#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string_view>

namespace qormath::models {

/// Reads a stream line by line from its start, in large pieces.
///
/// A line has at most 255 characters, its newline among them; a longer one comes in several pieces of which all but
/// the last have 255 characters. The text handed out ends before the first zero byte, the position after the line.
class LineReader {
  public:
    /// Rewinds the stream.
    explicit LineReader(std::FILE* source);

    /// The next line with its newline, valid until the next call. False at the end of the file.
    bool next(std::string_view& line);

    /// The next `length` characters, at most 255, without taking them; null where the file ends before.
    const char* peek(std::size_t length);

    /// Takes characters that peek has shown.
    void pass(std::size_t length) { first += length; }

    /// Passes over `count` lines; a count below 1 is none. False where the file ends before.
    bool skip(std::int64_t count);

  private:
    static constexpr std::size_t longestLine = 255;
    // Large enough that the calls to the C library cost nothing beside the parsing, small enough for any stack.
    static constexpr std::size_t bufferSize = 32768;

    bool take(std::string_view& line);
    void refill();

    std::FILE* stream;
    std::size_t first = 0;
    std::size_t last = 0;
    bool exhausted = false;
    std::array<char, bufferSize> buffer;
};

}  // namespace qormath::models
