#include "text.hpp"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstddef>
#include <nlohmann/json.hpp>
#include <ostream>

namespace qormath::cli {

namespace {

bool isUtf8(std::string_view text) {
    try {
        nlohmann::json(text).dump();
        return true;
    } catch (const nlohmann::json::type_error&) {
        return false;
    }
}

bool isContinuation(char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U;
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
