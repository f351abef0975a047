#include <algorithm>
#include <cstring>

#include <qormath/models/detail/line_reader.hpp>

namespace qormath::models {

LineReader::LineReader(std::FILE* source) : stream(source) {
    std::rewind(stream);
}

void LineReader::refill() {
    std::memmove(buffer.data(), buffer.data() + first, last - first);
    last -= first;
    first = 0;
    const std::size_t wanted = bufferSize - last;
    const std::size_t got = std::fread(buffer.data() + last, 1, wanted, stream);
    last += got;
    exhausted = got < wanted;
}

bool LineReader::take(std::string_view& line) {
    if (last - first < longestLine && !exhausted) {
        refill();
    }
    const std::size_t available = std::min(last - first, longestLine);
    if (available == 0) {
        return false;
    }
    const char* const text = buffer.data() + first;
    const void* const newline = std::memchr(text, '\n', available);
    const std::size_t length =
        newline == nullptr ? available : static_cast<std::size_t>(static_cast<const char*>(newline) - text) + 1;
    first += length;
    line = std::string_view(text, length);
    return true;
}

const char* LineReader::peek(std::size_t length) {
    if (last - first < longestLine && !exhausted) {
        refill();
    }
    return last - first < length ? nullptr : buffer.data() + first;
}

bool LineReader::next(std::string_view& line) {
    if (!take(line)) {
        return false;
    }
    const void* const zero = std::memchr(line.data(), '\0', line.size());
    if (zero != nullptr) {
        line = line.substr(0, static_cast<std::size_t>(static_cast<const char*>(zero) - line.data()));
    }
    return true;
}

bool LineReader::skip(std::int64_t count) {
    std::string_view ignored;
    for (std::int64_t i = 0; i < count; ++i) {
        if (!take(ignored)) {
            return false;
        }
    }
    return true;
}

}  // namespace qormath::models
