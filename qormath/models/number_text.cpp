#include <array>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>

#include <qormath/models/detail/number_text.hpp>

namespace qormath::models {
namespace {

__extension__ using Wide = unsigned __int128;

// Moves a text that begins at `out` to the right end of a field of the given width.
char* alignRight(char* out, char* textEnd, int width) {
    const auto length = textEnd - out;
    if (length >= width) {
        return textEnd;
    }
    const auto blanks = width - length;
    std::memmove(out + blanks, out, static_cast<std::size_t>(length));
    std::memset(out, ' ', static_cast<std::size_t>(blanks));
    return out + width;
}

char* writeReal(char* out, double value, std::chars_format format, int precision, int width) {
    if (std::isfinite(value)) {
        const auto result = std::to_chars(out, out + longestNumberText, value, format, precision);
        return alignRight(out, result.ptr, width);
    }
    char* position = out;
    if (std::signbit(value)) {
        *position++ = '-';
    }
    std::memcpy(position, std::isnan(value) ? "nan" : "inf", 3);
    return alignRight(out, position + 3, width);
}

// 10^power is about significands[power - least] * 2^(binaryExponent(power) - 63), cut off, not rounded: each entry is
// below the power by less than two units of its last place. The recurrences carry 128 bits and lose at most 16 units
// of the last of these in each of some 300 steps.
struct PowerTable {
    static constexpr int least = -294;
    static constexpr int greatest = 308;
    std::array<std::uint64_t, greatest - least + 1> significands{};

    constexpr PowerTable() {
        constexpr Wide top = Wide{1} << 127;
        Wide power = top;
        for (int k = 0; k <= greatest; ++k) {
            significands[static_cast<std::size_t>(k - least)] = static_cast<std::uint64_t>(power >> 64);
            // Times 10/8, or 10/16 where that would not fit.
            const Wide quarter = power >> 2;
            power = power > ~Wide{0} - quarter ? (power >> 1) + (quarter >> 1) : power + quarter;
        }
        power = top;
        for (int k = 0; k >= least; --k) {
            significands[static_cast<std::size_t>(k - least)] = static_cast<std::uint64_t>(power >> 64);
            power /= 10;
            while (power < top) {
                power <<= 1;
            }
        }
    }
};

constexpr PowerTable powers;

// floor(power * log2(10)), right for every |power| below 1651.
constexpr int binaryExponent(int power) {
    return (power * 217706) >> 16;
}

// floor(exponent * log10(2)), right for every |exponent| below 1651.
constexpr int decimalExponent(int exponent) {
    return (exponent * 78913) >> 18;
}

constexpr std::uint64_t sevenDigits = 10000000;

// Rounds significand * 2^exponent * 10^power to an integer; false where the table's error leaves the rounding open.
// The significand has its top bit set, and the result has about seven digits.
bool roundScaled(std::uint64_t significand, int exponent, int power, std::uint64_t& rounded) {
    const Wide product = Wide{significand} * powers.significands[static_cast<std::size_t>(power - PowerTable::least)];
    const int shift = -(exponent + binaryExponent(power) - 63);
    const Wide half = Wide{1} << (shift - 1);
    const Wide rest = product & (2 * half - 1);
    constexpr Wide error = Wide{1} << 65;
    // The table is never too large, so a rest above one half is above it.
    if (rest <= half && rest + error >= half) {
        return false;
    }
    rounded = static_cast<std::uint64_t>(product >> shift) + (rest > half ? 1 : 0);
    return true;
}

constexpr auto digitPairs = [] {
    std::array<char, 200> pairs{};
    for (std::size_t i = 0; i < 100; ++i) {
        pairs[2 * i] = static_cast<char>('0' + i / 10);
        pairs[2 * i + 1] = static_cast<char>('0' + i % 10);
    }
    return pairs;
}();

char* writePair(char* out, std::uint64_t value) {
    std::memcpy(out, digitPairs.data() + 2 * value, 2);
    return out + 2;
}

char* writeSevenDigits(char* out, bool negative, std::uint64_t digits, int exponent) {
    const bool longExponent = exponent <= -100 || exponent >= 100;
    const int length = 12 + (negative ? 1 : 0) + (longExponent ? 1 : 0);
    std::memset(out, ' ', 4);
    out += 15 - length;
    if (negative) {
        *out++ = '-';
    }
    *out++ = static_cast<char>('0' + digits / 1000000);
    *out++ = '.';
    out = writePair(out, digits / 10000 % 100);
    out = writePair(out, digits / 100 % 100);
    out = writePair(out, digits % 100);
    *out++ = 'e';
    *out++ = exponent < 0 ? '-' : '+';
    auto magnitude = static_cast<std::uint64_t>(exponent < 0 ? -exponent : exponent);
    if (longExponent) {
        *out++ = static_cast<char>('0' + magnitude / 100);
        magnitude %= 100;
    }
    return writePair(out, magnitude);
}

// Seven digits of a number within 1e-300 to 1e300, from one 128-bit product; false where that leaves the last digit
// open, which happens at ties alone.
bool sevenDigitsOf(double magnitude, std::uint64_t& digits, int& exponent) {
    constexpr double least = 1e-300;
    constexpr double greatest = 1e300;
    if (!(magnitude >= least && magnitude <= greatest)) {
        return false;
    }
    const auto bits = std::bit_cast<std::uint64_t>(magnitude);
    const std::uint64_t significand = (bits << 11) | (std::uint64_t{1} << 63);
    const int binary = static_cast<int>(bits >> 52) - 1023;
    exponent = decimalExponent(binary);
    if (!roundScaled(significand, binary - 63, 6 - exponent, digits)) {
        return false;
    }
    if (digits > sevenDigits) {
        // The estimate is one too low at times: an eighth digit.
        ++exponent;
        if (!roundScaled(significand, binary - 63, 6 - exponent, digits)) {
            return false;
        }
    }
    if (digits == sevenDigits) {
        digits = sevenDigits / 10;
        ++exponent;
    }
    return true;
}

}  // namespace

char* writeInteger(char* out, int value, int width) {
    const auto result = std::to_chars(out, out + longestNumberText, value);
    return alignRight(out, result.ptr, width);
}

char* writeFixed16(char* out, double value) {
    return writeReal(out, value, std::chars_format::fixed, 6, 16);
}

char* writeScientific15(char* out, double value) {
    if (value == 0.0) {
        std::memcpy(out, std::signbit(value) ? "  -0.000000e+00" : "   0.000000e+00", 15);
        return out + 15;
    }
    std::uint64_t digits = 0;
    int exponent = 0;
    if (sevenDigitsOf(std::fabs(value), digits, exponent)) {
        return writeSevenDigits(out, value < 0.0, digits, exponent);
    }
    return writeReal(out, value, std::chars_format::scientific, 6, 15);
}

char* writeScientific24(char* out, double value) {
    return writeReal(out, value, std::chars_format::scientific, 15, 24);
}

}  // namespace qormath::models
