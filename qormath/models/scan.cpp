#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <system_error>

#include <qormath/models/detail/powers_of_ten.hpp>
#include <qormath/models/detail/scan.hpp>

namespace qormath::models {
namespace {

bool isBlank(char c) {
    return c == ' ' || (c >= '\t' && c <= '\r');
}

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

char lower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool isHexDigit(char c) {
    return isDigit(c) || (lower(c) >= 'a' && lower(c) <= 'f');
}

const char* skipBlanks(const char* position, const char* end) {
    while (position != end && isBlank(*position)) {
        ++position;
    }
    return position;
}

// Integers up to 2^53 are exact, and so are powers of ten up to the 22nd: one multiplication or division of the two is
// then the correctly rounded value (Clinger 1990).
constexpr std::uint64_t largestExactInteger = std::uint64_t{1} << 53;

// Digits that are sure not to overflow 64 bits, and exponents that are sure not to overflow an int.
constexpr int mostQuickDigits = 18;
constexpr int mostQuickExponentDigits = 4;

bool narrow(double value, double& result) {
    result = value;
    return true;
}

// A double that is off by up to two units of its last place gives the right float unless it lies as near to the middle
// of two floats.
bool isNearMiddleOfFloats(double value) {
    constexpr std::uint64_t belowFloat = (std::uint64_t{1} << 29) - 1;
    constexpr std::uint64_t middle = std::uint64_t{1} << 28;
    constexpr std::uint64_t slack = 2;
    const std::uint64_t rest = std::bit_cast<std::uint64_t>(value) & belowFloat;
    return rest - (middle - slack) <= 2 * slack;
}

bool narrow(double value, float& result) {
    const bool normal = value >= double{std::numeric_limits<float>::min()} && value < 1e38;
    if (value != 0.0 && (isNearMiddleOfFloats(value) || !normal)) {
        return false;
    }
    result = static_cast<float>(value);
    return true;
}

constexpr std::uint64_t everyByte(std::uint64_t byte) {
    return byte * 0x0101010101010101U;
}

// Eight characters in one word, the first in the lowest byte.
std::uint64_t loadEight(const char* text) {
    std::uint64_t word = 0;
    std::memcpy(&word, text, sizeof word);
    return word;
}

template <class Bytes>
constexpr std::uint64_t wordOf(const Bytes& bytes) {
    std::uint64_t word = 0;
    for (std::size_t k = 0; k < sizeof word; ++k) {
        word |= std::uint64_t{static_cast<unsigned char>(bytes[k])} << (8 * k);
    }
    return word;
}

// Eight digits, one a byte, become pairs, then, in two multiplications, their sum.
std::uint64_t numberOf(std::uint64_t word) {
    word = word * 10 + (word >> 8);
    constexpr std::uint64_t everyFourth = 0x000000ff000000ffU;
    constexpr std::uint64_t firstAndThird = 100 + (std::uint64_t{1000000} << 32);
    constexpr std::uint64_t secondAndFourth = 1 + (std::uint64_t{10000} << 32);
    return ((word & everyFourth) * firstAndThird + ((word >> 16) & everyFourth) * secondAndFourth) >> 32;
}

// Added to a byte of less than 128, these set its top bit where it is above 0, or above 9. A byte beyond has that bit
// of itself, and only such a byte carries into the next.
constexpr char onlyZero = 0x7f;
constexpr char uptoNine = 0x76;

// "  -d.dddddde-dd", with a blank for the sign of a positive number. No branch depends on signs or digits, which a
// processor could not foresee.
inline bool readFixedColumn(const char* column, float& value) {
    // Two words that share a digit, the first character in the lowest byte. Where the text is as expected, digits
    // become their values and all else becomes 0. A minus for the blank, or a plus for the minus of the exponent,
    // leaves a known value, of which one bit tells that it has to be taken off; any other character leaves something
    // there.
    constexpr std::uint64_t minus = ' ' ^ '-';
    constexpr std::uint64_t plus = '-' ^ '+';
    constexpr std::uint64_t eitherCase = std::uint64_t{'e' ^ 'E'} << 32;
    std::uint64_t front = loadEight(column) ^ wordOf("   0.000");
    std::uint64_t back = (loadEight(column + 7) | eitherCase) ^ wordOf("0000e-00");
    const std::uint64_t negative = (front >> 16) & 1;
    const std::uint64_t positiveExponent = (back >> 41) & 1;
    front ^= (negative * minus) << 16;
    back ^= (positiveExponent * plus) << 40;
    constexpr std::array<char, 8> frontLimits = {onlyZero, onlyZero, onlyZero, uptoNine,
                                                 onlyZero, uptoNine, uptoNine, uptoNine};
    constexpr std::array<char, 8> backLimits = {uptoNine, uptoNine, uptoNine, uptoNine,
                                                onlyZero, onlyZero, uptoNine, uptoNine};
    const std::uint64_t excess = front | (front + wordOf(frontLimits)) | back | (back + wordOf(backLimits));
    if ((excess & everyByte(0x80)) != 0) {
        return false;
    }
    constexpr int decimals = 6;
    const int given = static_cast<int>(((back >> 48) & 0xff) * 10 + (back >> 56));
    const int exponent = (positiveExponent != 0 ? given : -given) - decimals;
    if (exponent < -largestExactPower || exponent > largestExactPower) {
        return false;
    }
    // A zero, the digit before the point and the six after it.
    const std::uint64_t digits = ((front >> 16) & 0xff00) | ((front >> 24) & 0xffff0000) | (back << 32);
    // Two roundings, of the power and of the product: less than two units of the last place.
    const double scaled = static_cast<double>(static_cast<std::int64_t>(numberOf(digits))) * powerOfTen(exponent);
    if (isNearMiddleOfFloats(scaled)) {
        return false;
    }
    constexpr int floatSign = 31;
    value = std::bit_cast<float>(std::bit_cast<std::uint32_t>(static_cast<float>(scaled)) |
                                 static_cast<std::uint32_t>(negative) << floatSign);
    return true;
}

// The ordinary spelling in one pass: digits, perhaps with a point, perhaps an exponent. Gives null, and the caller
// takes the long way, for everything else and wherever one rounding is not sure to be the right one.
template <class Real>
const char* quickReal(const char* position, const char* end, Real& value) {
    std::uint64_t digits = 0;
    const char* const first = position;
    for (; position != end && isDigit(*position); ++position) {
        digits = digits * 10 + static_cast<std::uint64_t>(*position - '0');
    }
    auto digitCount = position - first;
    int exponent = 0;
    if (position != end && *position == '.') {
        const char* const fraction = ++position;
        for (; position != end && isDigit(*position); ++position) {
            digits = digits * 10 + static_cast<std::uint64_t>(*position - '0');
        }
        exponent = static_cast<int>(fraction - position);
        digitCount += position - fraction;
    }
    if (digitCount == 0 || digitCount > mostQuickDigits || digits > largestExactInteger) {
        return nullptr;
    }
    if (position != end && lower(*position) == 'e') {
        ++position;
        const bool negative = position != end && *position == '-';
        if (position != end && (*position == '-' || *position == '+')) {
            ++position;
        }
        const char* const exponentFirst = position;
        int given = 0;
        for (; position != end && isDigit(*position) && position - exponentFirst < mostQuickExponentDigits;
             ++position) {
            given = given * 10 + (*position - '0');
        }
        if (position == exponentFirst || (position != end && isDigit(*position))) {
            return nullptr;
        }
        exponent += negative ? -given : given;
    } else if (position != end && lower(*position) == 'x') {
        return nullptr;
    }
    if (exponent < -largestExactPower || exponent > largestExactPower) {
        return nullptr;
    }
    const double scaled = exponent < 0 ? static_cast<double>(digits) / powerOfTen(-exponent)
                                       : static_cast<double>(digits) * powerOfTen(exponent);
    return narrow(scaled, value) ? position : nullptr;
}

// What scanf takes for the characters of one number after the sign.
struct NumberText {
    std::string_view text;  // without the 0x of a hexadecimal number
    bool hexadecimal = false;
};

NumberText takeNumberText(const char*& position, const char* end) {
    NumberText number;
    const char* first = position;
    bool seenDigit = false;
    if (end - position >= 2 && position[0] == '0' && lower(position[1]) == 'x') {
        number.hexadecimal = true;
        position += 2;
        first = position;
    }
    const char exponentMark = number.hexadecimal ? 'p' : 'e';
    bool seenPoint = false;
    bool seenExponent = false;
    for (; position != end; ++position) {
        const char c = *position;
        if (isDigit(c) || (number.hexadecimal && !seenExponent && isHexDigit(c))) {
            seenDigit = true;
        } else if (seenExponent && lower(position[-1]) == exponentMark && (c == '-' || c == '+')) {
            continue;
        } else if (seenDigit && !seenExponent && lower(c) == exponentMark) {
            seenExponent = true;
        } else if (!seenPoint && !seenExponent && c == '.') {
            seenPoint = true;
        } else {
            break;
        }
    }
    number.text = std::string_view(first, static_cast<std::size_t>(position - first));
    return number;
}

// Whether a number that is out of range is too large: its first digit stands before the point once the exponent is
// applied.
bool isTooLarge(const NumberText& number) {
    const char exponentMark = number.hexadecimal ? 'p' : 'e';
    const int digitsPerUnit = number.hexadecimal ? 4 : 1;
    long magnitude = 0;
    bool seenPoint = false;
    bool seenNonZero = false;
    const char* position = number.text.data();
    const char* const end = position + number.text.size();
    for (; position != end && lower(*position) != exponentMark; ++position) {
        if (*position == '.') {
            seenPoint = true;
            continue;
        }
        seenNonZero = seenNonZero || *position != '0';
        if (seenNonZero && !seenPoint) {
            magnitude += digitsPerUnit;
        } else if (!seenNonZero && seenPoint) {
            magnitude -= digitsPerUnit;
        }
    }
    if (position == end) {
        return magnitude > 0;
    }
    ++position;
    const bool negative = position != end && *position == '-';
    if (position != end && (*position == '-' || *position == '+')) {
        ++position;
    }
    constexpr long beyondEveryLine = 1000000;
    long exponent = 0;
    for (; position != end; ++position) {
        exponent = std::min(exponent * 10 + (*position - '0'), beyondEveryLine);
    }
    return magnitude + (negative ? -exponent : exponent) > 0;
}

template <class Real>
bool convert(const NumberText& number, Real& value) {
    const char* const first = number.text.data();
    const char* const last = first + number.text.size();
    const auto format = number.hexadecimal ? std::chars_format::hex : std::chars_format::general;
    Real converted = 0;
    const std::from_chars_result result = std::from_chars(first, last, converted, format);
    if (result.ec == std::errc::result_out_of_range) {
        converted = isTooLarge(number) ? std::numeric_limits<Real>::infinity() : Real{0};
    } else if (result.ec != std::errc{}) {
        // "0x." is the number 0 and an x; "." is no number.
        if (!number.hexadecimal || number.text.empty()) {
            return false;
        }
        converted = 0;
    }
    value = converted;
    return true;
}

// Takes `word` whatever its case; false where another character stands.
bool takeWord(const char*& position, const char* end, std::string_view word) {
    for (const char expected : word) {
        if (position == end || lower(*position) != expected) {
            return false;
        }
        ++position;
    }
    return true;
}

}  // namespace

bool Scanner::integer(int& value, int width) {
    position = skipBlanks(position, end);
    const char* const last = width > 0 && end - position > width ? position + width : end;
    const bool negative = position != last && *position == '-';
    if (position != last && (*position == '-' || *position == '+')) {
        ++position;
    }
    const char* const first = position;
    constexpr std::int64_t beyondEveryInt = std::int64_t{1} << 40;
    std::int64_t magnitude = 0;
    for (; position != last && isDigit(*position); ++position) {
        magnitude = std::min(magnitude * 10 + (*position - '0'), beyondEveryInt);
    }
    const std::int64_t number = negative ? -magnitude : magnitude;
    if (position == first || number < std::numeric_limits<int>::min() || number > std::numeric_limits<int>::max()) {
        return false;
    }
    value = static_cast<int>(number);
    return true;
}

template <class Real>
bool Scanner::scanReal(Real& value) {
    position = skipBlanks(position, end);
    const bool negative = position != end && *position == '-';
    if (position != end && (*position == '-' || *position == '+')) {
        ++position;
    }
    if (position == end) {
        return false;
    }
    Real magnitude = 0;
    if (const char* const after = quickReal(position, end, magnitude)) {
        position = after;
    } else if (lower(*position) == 'n') {
        if (!takeWord(position, end, "nan")) {
            return false;
        }
        magnitude = std::numeric_limits<Real>::quiet_NaN();
    } else if (lower(*position) == 'i') {
        if (!takeWord(position, end, "inf")) {
            return false;
        }
        // A further i commits to the long spelling.
        if (position != end && lower(*position) == 'i' && !takeWord(position, end, "inity")) {
            return false;
        }
        magnitude = std::numeric_limits<Real>::infinity();
    } else if (!convert(takeNumberText(position, end), magnitude)) {
        return false;
    }
    value = negative ? -magnitude : magnitude;
    return true;
}

bool readFixedColumns(const char* text, int count, float* values) {
    if constexpr (std::endian::native != std::endian::little) {
        return false;
    }
    for (int k = 0; k < count; ++k) {
        if (!readFixedColumn(text + k * fixedColumnWidth, values[k])) {
            return false;
        }
    }
    return true;
}

bool Scanner::real(float& value) {
    return scanReal(value);
}

bool Scanner::real(double& value) {
    return scanReal(value);
}

bool Scanner::characters(int width, std::string_view& text) {
    const auto length = std::min<std::ptrdiff_t>(width, end - position);
    text = std::string_view(position, static_cast<std::size_t>(length));
    position += length;
    return length > 0;
}

bool Scanner::skip(int width) {
    std::string_view ignored;
    return characters(width, ignored);
}

}  // namespace qormath::models
