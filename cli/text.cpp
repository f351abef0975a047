#include "text.hpp"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstddef>
#include <ostream>

namespace qormath::cli {

namespace {

bool isContinuation(char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U;
}

/// What begins a character of several bytes in UTF-8: the first byte, from one to another, the range of the second, and
/// how many bytes there are (RFC 3629). What is longer than it must be, a surrogate or beyond U+10FFFF is in no row.
struct FirstByte {
    unsigned char from;
    unsigned char to;
    unsigned char secondFrom;
    unsigned char secondTo;
    std::size_t length;
};
constexpr FirstByte firstBytes[] = {
    {0xC2, 0xDF, 0x80, 0xBF, 2}, {0xE0, 0xE0, 0xA0, 0xBF, 3}, {0xE1, 0xEC, 0x80, 0xBF, 3}, {0xED, 0xED, 0x80, 0x9F, 3},
    {0xEE, 0xEF, 0x80, 0xBF, 3}, {0xF0, 0xF0, 0x90, 0xBF, 4}, {0xF1, 0xF3, 0x80, 0xBF, 4}, {0xF4, 0xF4, 0x80, 0x8F, 4}};

/// The bytes of the character of UTF-8 that the text, which is not empty, begins with; 0 if it begins with none.
std::size_t lengthOfFirst(std::string_view text) {
    const auto isBetween = [](char byte, unsigned char from, unsigned char to) {
        return static_cast<unsigned char>(byte) >= from && static_cast<unsigned char>(byte) <= to;
    };
    if (isBetween(text[0], 0x00, 0x7F)) {
        return 1;
    }
    for (const FirstByte& row : firstBytes) {
        if (isBetween(text[0], row.from, row.to) && text.size() >= row.length &&
            isBetween(text[1], row.secondFrom, row.secondTo)) {
            const std::string_view rest = text.substr(2, row.length - 2);
            return std::all_of(rest.begin(), rest.end(), isContinuation) ? row.length : 0;
        }
    }
    return 0;
}

bool isUtf8(std::string_view text) {
    while (!text.empty()) {
        const std::size_t length = lengthOfFirst(text);
        if (length == 0) {
            return false;
        }
        text.remove_prefix(length);
    }
    return true;
}

/// The number of characters of a UTF-8 text, which is its width in the scripts that plants are named in.
std::size_t widthOf(std::string_view text) {
    return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), [](char c) { return !isContinuation(c); }));
}

std::string blanks(std::size_t wanted, std::size_t present) {
    return std::string(wanted > present ? wanted - present : 0, ' ');
}

}  // namespace

std::string toUtf8(std::string_view text) {
    if (isUtf8(text)) {
        return std::string(text);
    }
    std::string result;
    for (const char character : text) {
        const auto code = static_cast<unsigned char>(character);
        if (code < 0x80U) {
            result += character;
        } else {
            result += static_cast<char>(0xC0U | (code >> 6U));
            result += static_cast<char>(0x80U | (code & 0x3FU));
        }
    }
    return result;
}

std::string printable(std::string_view text) {
    const std::string source = toUtf8(text);
    std::string result;
    for (const char character : source) {
        const auto code = static_cast<unsigned char>(character);
        // U+0080 to U+009F are control characters too; in UTF-8 they are 0xC2 and their own value.
        const bool isSecondHalf = code >= 0x80U && code < 0xA0U && !result.empty() && result.back() == '\xC2';
        if (isSecondHalf) {
            result.back() = '?';
        } else {
            result += code < 0x20U || code == 0x7FU ? '?' : character;
        }
    }
    return result;
}

std::string formatNumber(double value, int significantDigits) {
    std::array<char, 64> buffer;
    const auto [end, error] = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value,
                                            std::chars_format::general, significantDigits);
    return error == std::errc() ? std::string(buffer.data(), end) : "?";
}

std::string joined(const std::vector<std::string>& names) {
    std::string result;
    for (const std::string& name : names) {
        result += (result.empty() ? "" : ", ") + name;
    }
    return names.empty() ? "none" : result;
}

void FactTable::print(std::ostream& out) const {
    std::size_t width = 0;
    for (const auto& [label, value] : facts_) {
        width = std::max(width, widthOf(label));
    }
    for (const auto& [label, value] : facts_) {
        out << label << blanks(width, widthOf(label)) << "  " << printable(value) << '\n';
    }
}

void printGrid(std::ostream& out, const std::vector<std::vector<std::string>>& rows) {
    std::vector<std::size_t> widths;
    for (const auto& row : rows) {
        widths.resize(std::max(widths.size(), row.size()));
        for (std::size_t column = 0; column < row.size(); ++column) {
            widths[column] = std::max(widths[column], widthOf(printable(row[column])));
        }
    }
    for (const auto& row : rows) {
        std::string line;
        for (std::size_t column = 0; column < row.size(); ++column) {
            const std::string cell = printable(row[column]);
            const std::string padding = blanks(widths[column], widthOf(cell));
            line += column == 0 ? cell + padding : "  " + padding + cell;
        }
        line.erase(line.find_last_not_of(' ') + 1);
        out << line << '\n';
    }
}

}  // namespace qormath::cli
