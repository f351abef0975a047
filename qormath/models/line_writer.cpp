#include <algorithm>
#include <cstring>

#include <qormath/models/detail/line_writer.hpp>
#include <qormath/models/detail/number_text.hpp>

namespace qormath::models {
namespace {

constexpr std::size_t longestText = 255;
constexpr std::size_t nameWidth = 12;

}  // namespace

void LineWriter::text(const char* value) {
    const std::size_t length = strnlen(value, longestText);
    std::memcpy(position, value, length);
    position += length;
}

void LineWriter::name(const char* value) {
    const std::size_t length = strnlen(value, nameWidth);
    std::memcpy(position, value, length);
    std::memset(position + length, ' ', nameWidth - length);
    position += nameWidth;
}

void LineWriter::blanks(int count) {
    std::memset(position, ' ', static_cast<std::size_t>(count));
    position += count;
}

void LineWriter::integer(int value, int width) {
    position = writeInteger(position, value, width);
}

void LineWriter::fixed16(double value) {
    position = writeFixed16(position, value);
}

void LineWriter::zero14() {
    text("      0.000000");
}

void LineWriter::scientific15(double value) {
    position = writeScientific15(position, value);
}

void LineWriter::scientific24(double value) {
    position = writeScientific24(position, value);
}

bool LineWriter::endLine() {
    *position++ = '\n';
    const auto used = static_cast<std::size_t>(position - buffer.data());
    return used + roomForLine <= bufferSize ? healthy : drain();
}

bool LineWriter::drain() {
    const auto used = static_cast<std::size_t>(position - buffer.data());
    healthy = healthy && std::fwrite(buffer.data(), 1, used, stream) == used;
    position = buffer.data();
    return healthy;
}

bool LineWriter::flush() {
    drain();
    healthy = healthy && std::fflush(stream) == 0;
    return healthy;
}

}  // namespace qormath::models
