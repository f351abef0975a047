#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <random>
#include <string>
#include <string_view>
#include <vector>

extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t* data, std::size_t size, std::size_t maximum);

/// A mutator for text of lines, for exactly one source of a target to include: bytes changed at random seldom leave a
/// file whose counts agree with its lines, and nothing behind the header would be reached.
namespace qormath::fuzz {

inline std::vector<std::string> linesOf(std::string_view text) {
    std::vector<std::string> lines;
    while (!text.empty()) {
        const std::size_t end = std::min(text.find('\n'), text.size() - 1) + 1;
        lines.emplace_back(text.substr(0, end));
        text.remove_prefix(end);
    }
    return lines;
}

/// Puts a number that readers stumble over in the place of one of the words of a line.
inline void replaceWord(std::string& line, std::mt19937& random) {
    static constexpr std::array<std::string_view, 48> numbers = {"0",           "1",           "2",
                                                                 "3",           "5",           "30",
                                                                 "45",          "9896.000000", "-1",
                                                                 "-5",          "1.0",         "9895.6",
                                                                 "9896.49",     "2147483647",  "2147483648",
                                                                 "-2147483648", "4294967296",  "99999",
                                                                 "1e3",         "0x10",        "0x1.8p3",
                                                                 "0x.p1",       "+7",          "-0.0",
                                                                 "nan",         "-nan",        "nan(1)",
                                                                 "inf",         "Infinity",    "infini",
                                                                 "-inf",        "1e38",        "3.4028236e38",
                                                                 "1e39",        "1e-38",       "1e-45",
                                                                 "1e-46",       "1e-30",       "1.00000001e-30",
                                                                 "1e400",       "1e-400",      "9.9999995",
                                                                 "16777217",    "0.5e",        "1e+",
                                                                 ".",           "5.",          "1234567.5"};
    std::vector<std::size_t> starts;
    for (std::size_t k = 0; k < line.size(); ++k) {
        if (line[k] > ' ' && (k == 0 || line[k - 1] <= ' ')) {
            starts.push_back(k);
        }
    }
    if (starts.empty()) {
        return;
    }
    const std::size_t start = starts[random() % starts.size()];
    std::size_t end = start;
    while (end < line.size() && line[end] > ' ') {
        ++end;
    }
    line.replace(start, end - start, numbers[random() % numbers.size()]);
}

inline void mutateLines(std::vector<std::string>& lines, std::mt19937& random) {
    const std::size_t k = random() % lines.size();
    switch (random() % 6) {
        case 0:
            lines.erase(lines.begin() + static_cast<std::ptrdiff_t>(k));
            break;
        case 1:
            lines.insert(lines.begin() + static_cast<std::ptrdiff_t>(k), lines[random() % lines.size()]);
            break;
        case 2:
            lines[k] = lines[random() % lines.size()];
            break;
        case 3:
            lines[k].insert(random() % lines[k].size(), random() % 300, static_cast<char>(random() % 128));
            break;
        default:
            replaceWord(lines[k], random);
    }
}

}  // namespace qormath::fuzz

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t maximum,
                                               unsigned int seed) {
    std::mt19937 random(seed);
    std::vector<std::string> lines =
        qormath::fuzz::linesOf(std::string_view(reinterpret_cast<const char*>(data), size));
    if (lines.empty() || random() % 3 == 0) {
        return LLVMFuzzerMutate(data, size, maximum);
    }
    for (std::size_t count = 1 + random() % 3; count > 0 && !lines.empty(); --count) {
        qormath::fuzz::mutateLines(lines, random);
    }
    std::string text;
    for (const std::string& line : lines) {
        text += line;
    }
    text.resize(std::min(text.size(), maximum));
    std::memcpy(data, text.data(), text.size());
    return text.size();
}
