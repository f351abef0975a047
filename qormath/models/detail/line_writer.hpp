#pragma once

#include <array>
#include <cstddef>
#include <cstdio>

namespace qormath::models {

/// Builds lines of fixed columns and hands them to a stream in large pieces.
class LineWriter {
  public:
    explicit LineWriter(std::FILE* target) : stream(target) { position = buffer.data(); }

    /// "%s"; at most 255 characters.
    void text(const char* value);

    /// "%-12.12s".
    void name(const char* value);

    void blanks(int count);

    /// "%<width>d".
    void integer(int value, int width);

    /// "%16.6f".
    void fixed16(double value);

    /// "%14.6f" of 0.0.
    void zero14();

    /// "%15.6e".
    void scientific15(double value);

    /// "%24.15e".
    void scientific24(double value);

    /// Ends the line. False once the stream has refused something.
    bool endLine();

    /// Hands everything to the operating system. False once something has been refused.
    bool flush();

  private:
    // Far above a block of the C library, so that it passes the pieces on instead of copying them once more.
    static constexpr std::size_t bufferSize = 32768;
    // Free at the start of every line. The longest line is a comment; no number here comes near its longest text,
    // but the room for that is kept as well.
    static constexpr std::size_t roomForLine = 1024;

    bool drain();

    std::FILE* stream;
    std::array<char, bufferSize> buffer;
    char* position = nullptr;
    bool healthy = true;
};

}  // namespace qormath::models
