#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <gtest/gtest.h>
#include <limits>
#include <random>
#include <string>
#include <string_view>
#include <support/comma_locale.hpp>

#include <qormath/models/detail/fir_lines.hpp>
#include <qormath/models/detail/scan.hpp>

using namespace qormath::models;

namespace {

// sscanf of this platform in the C locale is the oracle. It wraps integers that do not fit; those are asked for as
// long, in which every text of these tests fits or is clamped, and count as unreadable.
bool fitsInt(long value) {
    return value >= std::numeric_limits<int>::min() && value <= std::numeric_limits<int>::max();
}

bool sameNumber(double left, double right) {
    return std::signbit(left) == std::signbit(right) && (left == right || (std::isnan(left) && std::isnan(right)));
}

void expectSameInteger(const std::string& text) {
    long expected = 0;
    const bool readable = std::sscanf(text.c_str(), "%ld", &expected) == 1 && fitsInt(expected);
    int value = 0;
    ASSERT_EQ(Scanner(text).integer(value), readable) << '"' << text << '"';
    if (readable) {
        ASSERT_EQ(value, expected) << '"' << text << '"';
    }
    const bool readableInFive = std::sscanf(text.c_str(), "%5ld", &expected) == 1;
    ASSERT_EQ(Scanner(text).integer(value, 5), readableInFive) << '"' << text << '"';
    if (readableInFive) {
        ASSERT_EQ(value, expected) << '"' << text << '"';
    }
}

void expectSameReal(const std::string& text) {
    double expected = 0.0;
    double value = 0.0;
    const bool readable = std::sscanf(text.c_str(), "%lf", &expected) == 1;
    ASSERT_EQ(Scanner(text).real(value), readable) << '"' << text << '"';
    if (readable) {
        ASSERT_TRUE(sameNumber(value, expected)) << '"' << text << "\" is " << expected << ", not " << value;
    }
    float expectedFloat = 0.0F;
    float valueFloat = 0.0F;
    const bool readableFloat = std::sscanf(text.c_str(), "%f", &expectedFloat) == 1;
    ASSERT_EQ(Scanner(text).real(valueFloat), readableFloat) << '"' << text << '"';
    if (readableFloat) {
        ASSERT_TRUE(sameNumber(double{valueFloat}, double{expectedFloat}))
            << '"' << text << "\" is " << expectedFloat << ", not " << valueFloat;
    }
}

void expectSameDataLine(const std::string& text) {
    std::array<float, 5> expected{};
    std::array<float, 5> values{};
    const bool readable = std::sscanf(text.c_str(), "%f %f %f %f %f", &expected[0], &expected[1], &expected[2],
                                      &expected[3], &expected[4]) == 5;
    ASSERT_EQ(parseDataLine(text, values.data()), readable) << '"' << text << '"';
    for (std::size_t k = 0; readable && k < 5; ++k) {
        ASSERT_TRUE(sameNumber(double{values[k]}, double{expected[k]})) << '"' << text << "\", number " << k + 1;
    }
}

std::string cleaned(const char* text) {
    std::string result(text);
    while (!result.empty() && std::isgraph(static_cast<unsigned char>(result.back())) == 0) {
        result.pop_back();
    }
    for (char& c : result) {
        c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    }
    return result;
}

void expectSameListLine(const std::string& text) {
    std::array<char, 13> name{};
    std::array<char, 13> descriptor{};
    long first = 0;
    long second = 0;
    int count = std::sscanf(text.c_str(), "%*36c%12c%*c%12c", name.data(), descriptor.data());
    FIRTexts texts;
    ASSERT_EQ(parseInputLine(text, texts), count >= 1) << '"' << text << '"';
    if (count >= 1) {
        ASSERT_STREQ(texts.name.data(), cleaned(name.data()).c_str());
        ASSERT_STREQ(texts.descriptor.data(), count == 2 ? cleaned(descriptor.data()).c_str() : "");
    }
    name = {};
    descriptor = {};
    count = std::sscanf(text.c_str(), "%*36c%12c%*c%12c %5ld %5ld", name.data(), descriptor.data(), &first, &second);
    int ramp = 0;
    int curves = 0;
    ASSERT_EQ(parseOutputLine(text, texts, ramp, curves), count == 4) << '"' << text << '"';
    if (count == 4) {
        ASSERT_STREQ(texts.name.data(), cleaned(name.data()).c_str());
        ASSERT_STREQ(texts.descriptor.data(), cleaned(descriptor.data()).c_str());
        ASSERT_EQ(ramp, first);
        ASSERT_EQ(curves, second);
    }
}

void expectSameBlockLines(const std::string& text) {
    std::array<char, 13> name{};
    std::array<char, 13> descriptor{};
    long number = 0;
    int count = std::sscanf(text.c_str(), "%12c%*c%12c%5ld%*f", name.data(), descriptor.data(), &number);
    FIRTexts texts;
    int ramp = 0;
    ASSERT_EQ(parseBlockLine(text, texts, ramp), count == 3) << '"' << text << '"';
    if (count == 3) {
        ASSERT_STREQ(texts.name.data(), cleaned(name.data()).c_str());
        ASSERT_STREQ(texts.descriptor.data(), cleaned(descriptor.data()).c_str());
        ASSERT_EQ(ramp, number);
    }
    name = {};
    descriptor = {};
    count = std::sscanf(text.c_str(), "%12c%*c%12c", name.data(), descriptor.data());
    ASSERT_EQ(parseCurveNameLine(text, texts), count >= 1) << '"' << text << '"';
    if (count >= 1) {
        ASSERT_STREQ(texts.name.data(), cleaned(name.data()).c_str());
        ASSERT_STREQ(texts.descriptor.data(), count == 2 ? cleaned(descriptor.data()).c_str() : "");
    }
    double expected = 0.0;
    double gain = 0.0;
    const bool readable = std::sscanf(text.c_str(), "%*36c%lf", &expected) == 1;
    ASSERT_EQ(parseGainLine(text, gain), readable) << '"' << text << '"';
    if (readable) {
        ASSERT_TRUE(sameNumber(gain, expected)) << '"' << text << '"';
    }
}

using Generator = std::mt19937_64;

std::size_t below(Generator& generator, std::size_t limit) {
    return generator() % limit;
}

template <std::size_t size>
std::string_view oneOf(Generator& generator, const std::array<std::string_view, size>& choices) {
    return choices[below(generator, size)];
}

std::string randomDigits(Generator& generator, std::size_t most, std::string_view alphabet) {
    std::string digits;
    for (std::size_t k = below(generator, most + 1); k > 0; --k) {
        digits += alphabet[below(generator, alphabet.size())];
    }
    return digits;
}

// A number as a person or a program may write it, most of them well formed.
std::string randomNumber(Generator& generator) {
    static constexpr std::array<std::string_view, 7> blanks = {"", " ", "   ", "\t", "\n", "\r\n", "\v\f "};
    static constexpr std::array<std::string_view, 6> signs = {"", "", "", "-", "+", "-"};
    static constexpr std::array<std::string_view, 14> words = {"inf",   "INF",   "infinity", "Infinity", "nan",
                                                               "NaN",   "nan()", "nan(12)",  "infi",     "infinit",
                                                               "infin", "na",    "in",       "NAN"};
    std::string text(oneOf(generator, blanks));
    text += oneOf(generator, signs);
    const std::size_t kind = below(generator, 20);
    if (kind == 0) {
        return text += oneOf(generator, words);
    }
    const bool hexadecimal = kind <= 3;
    const std::string_view digits = hexadecimal ? "0123456789abcdefABCDEF" : "0123456789";
    if (hexadecimal) {
        text += below(generator, 2) == 0 ? "0x" : "0X";
    }
    text += randomDigits(generator, kind == 19 ? 30 : 4, digits);
    if (below(generator, 4) != 0) {
        text += '.';
        text += randomDigits(generator, kind == 18 ? 40 : 9, digits);
    }
    if (below(generator, 3) != 0) {
        static constexpr std::array<std::string_view, 4> decimalMarks = {"e", "E", "e", "p"};
        static constexpr std::array<std::string_view, 4> hexadecimalMarks = {"p", "P", "p", "e"};
        text += hexadecimal ? oneOf(generator, hexadecimalMarks) : oneOf(generator, decimalMarks);
        text += oneOf(generator, signs);
        text += randomDigits(generator, kind == 17 ? 12 : 3, "0123456789");
    }
    return text;
}

std::string mutated(Generator& generator, std::string text) {
    static constexpr std::string_view alphabet = " \t\r\n0123456789+-.,eExXpPinfatyINFATY()abcdefghZ~\x7f\x80\xff";
    for (std::size_t k = below(generator, 3); k > 0; --k) {
        const std::size_t position = below(generator, text.size() + 1);
        const char c = alphabet[below(generator, alphabet.size())];
        switch (below(generator, 3)) {
            case 0:
                text.insert(position, 1, c);
                break;
            case 1:
                text.erase(position, 1);
                break;
            default:
                if (position < text.size()) {
                    text[position] = c;
                }
        }
    }
    return text;
}

constexpr int rounds = 200000;

}  // namespace

TEST(Scanner, ReadsAnIntegerAsSscanfDoes) {
    for (const char* text : {"",    " ",   "0",          "7",           " \t\n\v\f\r12", "+5",    "-5",  "+-5",
                             "- 5", "+",   "-",          "00012",       "12345678",      "0x10",  "1.5", "1e3",
                             "a1",  "12a", "2147483647", "-2147483648", "1 2",           "-99999"}) {
        expectSameInteger(text);
    }
}

TEST(Scanner, DoesNotReadAnIntegerThatDoesNotFit) {
    for (const char* text : {"2147483648", "-2147483649", "4294967296", "4294967297", "9223372036854775808",
                             "99999999999999999999999999999999", "-99999999999999999999999999999999"}) {
        int value = 17;
        EXPECT_FALSE(Scanner(text).integer(value)) << text;
        EXPECT_EQ(value, 17) << text;
    }
}

TEST(Scanner, TakesNoMoreThanTheWidthOfAnIntegerAndSkipsBlanksBeforeIt) {
    Scanner scanner("   -12345678");
    int first = 0;
    int second = 0;
    ASSERT_TRUE(scanner.integer(first, 5));
    ASSERT_TRUE(scanner.integer(second, 5));
    EXPECT_EQ(first, -1234);
    EXPECT_EQ(second, 5678);
}

TEST(Scanner, ReadsRandomIntegersAsSscanfDoes) {
    Generator generator(1);
    for (int k = 0; k < rounds; ++k) {
        const std::string text = randomDigits(generator, 2, " \t") + randomDigits(generator, 1, "+-") +
                                 randomDigits(generator, 13, "0123456789") + randomDigits(generator, 2, "0.x e");
        ASSERT_NO_FATAL_FAILURE(expectSameInteger(mutated(generator, text)));
    }
}

TEST(Scanner, ReadsTheOddSpellingsOfRealsAsSscanfDoes) {
    for (const char* text : {"",
                             " ",
                             ".",
                             "-",
                             "+",
                             "+.",
                             "-.5",
                             "5.",
                             ".5e1",
                             "1e",
                             "1e+",
                             "1e-",
                             "1e5",
                             "1E5",
                             "1e+5x",
                             "1.5.5",
                             "1..5",
                             "1e5.5",
                             "e5",
                             ".e5",
                             "0x",
                             "0X",
                             "0x.",
                             "0x.p1",
                             "0xp1",
                             "0x1",
                             "0x1p",
                             "0x1p+",
                             "0x1p3",
                             "0x1.8p1",
                             "0x.8",
                             "0xABCDEF",
                             "0x1.8P-1",
                             "0x1e5",
                             "0x1p5p5",
                             "00x1",
                             "1x",
                             "0e",
                             "0e0",
                             "-0",
                             "-0.0e5",
                             "inf",
                             "-inf",
                             "+INF",
                             "infinity",
                             "INFINITY",
                             "infi",
                             "infinit",
                             "infinityx",
                             "infx",
                             "in",
                             "nan",
                             "-nan",
                             "NAN",
                             "nan(1)",
                             "nan()",
                             "na",
                             "nanx",
                             "1e400",
                             "-1e400",
                             "1e-400",
                             "-1e-400",
                             "1e39",
                             "1e-46",
                             "7e-46",
                             "1e-45",
                             "3e-324",
                             "2e-324",
                             "4.9e-324",
                             "1e999999999999999999999",
                             "1e-999999999999999999999",
                             "0e999999999999999999999",
                             "0x1p1024",
                             "0x1p-1075",
                             "0x1.8p-1075",
                             "0x1p128",
                             "0x1p-150",
                             "0x1.000002p-150",
                             "0x0.0000000000000000000000001p2000",
                             "0x0p99999",
                             "3.4028235e38",
                             "3.4028236e38",
                             "3.40282357e38",
                             "1.17549435e-38",
                             "1.1754942e-38",
                             "16777217",
                             "16777219",
                             "9007199254740993",
                             "0.000000000000000000000000000000000000000000000000000001",
                             "1,5",
                             "1'000",
                             "1p5",
                             "123456789012345678901234567890",
                             "000000000000000000000000001.5",
                             "1e00000000000000000000000000000001",
                             "2.2250738585072011e-308",
                             "8.5000001e-46",
                             "0x1.ffffffp127",
                             "0x1.fffffefp127",
                             "0x1.fffffffffffff8p1023"}) {
        expectSameReal(text);
    }
}

TEST(Scanner, ReadsRandomRealsAsSscanfDoes) {
    Generator generator(2);
    for (int k = 0; k < rounds; ++k) {
        const std::string text = randomNumber(generator);
        ASSERT_NO_FATAL_FAILURE(expectSameReal(text));
        ASSERT_NO_FATAL_FAILURE(expectSameReal(mutated(generator, text)));
    }
}

TEST(Scanner, ReadsPrintedDoublesAndFloatsAsSscanfDoes) {
    Generator generator(3);
    std::array<char, 64> text{};
    for (int k = 0; k < rounds; ++k) {
        const auto value = std::bit_cast<double>(generator());
        std::snprintf(text.data(), text.size(), "%.*e", static_cast<int>(generator() % 19), value);
        ASSERT_NO_FATAL_FAILURE(expectSameReal(text.data()));
        const auto single = std::bit_cast<float>(static_cast<std::uint32_t>(generator()));
        std::snprintf(text.data(), text.size(), "%.*e", static_cast<int>(generator() % 12), double{single});
        ASSERT_NO_FATAL_FAILURE(expectSameReal(text.data()));
    }
}

// The middle of two neighbouring floats, a little above and a little below it: where a float made by way of a double
// goes wrong.
TEST(Scanner, RoundsOnceWhereFloatsMeet) {
    Generator generator(4);
    std::array<char, 64> text{};
    for (int k = 0; k < rounds; ++k) {
        const float lower = std::bit_cast<float>(static_cast<std::uint32_t>(generator() & 0x7fffffff));
        const float upper = std::nextafter(lower, std::numeric_limits<float>::infinity());
        const double middle = (double{lower} + double{upper}) / 2;
        const int digits = std::array{16, 17, 18, 20, 25, 30, 35}[below(generator, 7)];
        std::snprintf(text.data(), text.size(), "%.*e", digits, middle);
        ASSERT_NO_FATAL_FAILURE(expectSameReal(text.data()));
    }
    for (const int whole : {16777217, 16777219, 33554434, 33554438}) {
        for (const char* ending : {"", ".0", ".0000000001", "e0", "e5", "e-7", "e-22", "e22"}) {
            ASSERT_NO_FATAL_FAILURE(expectSameReal(std::to_string(whole) + ending));
            ASSERT_NO_FATAL_FAILURE(expectSameReal(std::to_string(whole - 1) + ".9999999999" + ending));
        }
    }
}

TEST(Scanner, TakesTheNextNumberWhereSscanfDoes) {
    for (const char* text : {"1 2 3 4 5", "1-1-1-1-1", ".1.1.1.1.1", "1+1.1-.1+1", "nannannannannan", "infinfinfinfinf",
                             "1e 2 3 4 5", "1e+ 2 3 4 5", "0x. 2 3 4 5", "0x1p 2 3 4 5", "nan(1) 2 3 4 5", "1 2 3 4",
                             "1 2 3 4 x", "1,2,3,4,5", "1 2 3 4 5 6", " \n1\t2\r3\v4\f5", "infinity 2 3 4 inf"}) {
        expectSameDataLine(text);
    }
    Generator generator(5);
    for (int k = 0; k < rounds; ++k) {
        std::string text;
        for (int number = 0; number < 5; ++number) {
            text += below(generator, 8) == 0 ? "" : " ";
            text += randomNumber(generator);
        }
        ASSERT_NO_FATAL_FAILURE(expectSameDataLine(below(generator, 2) == 0 ? text : mutated(generator, text)));
    }
}

TEST(Scanner, TakesTheLinesOfListsAndBlocksApartAsSscanfDoes) {
    Generator generator(6);
    static constexpr std::string_view alphabet = "  aZ09_-#\t\xe4";
    for (int k = 0; k < rounds; ++k) {
        std::string text = std::string(36, ' ') + randomDigits(generator, 30, alphabet);
        if (below(generator, 2) == 0) {
            std::array<char, 128> line{};
            std::snprintf(line.data(), line.size(), "%16.6f%20s%-12.12s %-12.12s %5d %5d\n", -0.0, "",
                          randomDigits(generator, 12, "abXY 1").c_str(), randomDigits(generator, 12, "abXY 1").c_str(),
                          static_cast<int>(below(generator, 3)), static_cast<int>(below(generator, 100000)));
            text = line.data();
        }
        if (below(generator, 3) == 0) {
            text.resize(below(generator, text.size() + 1));
        }
        text = mutated(generator, text);
        ASSERT_NO_FATAL_FAILURE(expectSameListLine(text));
        ASSERT_NO_FATAL_FAILURE(expectSameBlockLines(text));
        ASSERT_NO_FATAL_FAILURE(expectSameBlockLines(text.substr(std::min<std::size_t>(text.size(), 36))));
    }
}

TEST(Scanner, AcceptsATextThatTheEndOfTheLineCutsShort) {
    FIRTexts texts;
    EXPECT_TRUE(parseInputLine(std::string(36, ' ') + "Feed\n", texts));
    EXPECT_STREQ(texts.name.data(), "FEED");
    EXPECT_STREQ(texts.descriptor.data(), "");
    EXPECT_TRUE(parseInputLine(std::string(36, ' ') + "Feed         in\r\n", texts));
    EXPECT_STREQ(texts.name.data(), "FEED");
    EXPECT_STREQ(texts.descriptor.data(), "IN");
    EXPECT_FALSE(parseInputLine(std::string(36, ' '), texts));
}

TEST(Scanner, LooksAtNoLocale) {
    const qormath::test::CommaLocale locale;
    double value = 0.0;
    float single = 0.0F;
    ASSERT_TRUE(Scanner("   1.250000e+00").real(value));
    EXPECT_EQ(value, 1.25);
    ASSERT_TRUE(Scanner("1,5").real(value));
    EXPECT_EQ(value, 1.0);
    ASSERT_TRUE(Scanner("0x1.8p1").real(single));
    EXPECT_EQ(single, 3.0F);
    ASSERT_TRUE(Scanner("123456.7890123456789012345").real(value));
    EXPECT_EQ(value, 123456.7890123456789012345);
    int integer = 0;
    ASSERT_TRUE(Scanner("1.234").integer(integer));
    EXPECT_EQ(integer, 1);
}

namespace {

/// Five columns, of random numbers in the range of a float and beyond.
std::string writtenDataLine(std::mt19937_64& generator, int leastExponent, int greatestExponent) {
    std::string line;
    for (int k = 0; k < firValuesPerLine; ++k) {
        const auto span = static_cast<std::uint64_t>(greatestExponent - leastExponent + 1);
        const int exponent = leastExponent + static_cast<int>(generator() % span);
        const double mantissa = static_cast<double>(generator() >> 11) * 0x1p-53 * 18.0 - 9.0;
        std::array<char, 32> column{};
        std::snprintf(column.data(), column.size(), "%15.6e", mantissa * std::pow(10.0, exponent));
        line += column.data();
    }
    return line + '\n';
}

/// What the fixed columns read is what sscanf reads from the line.
void expectFixedLineLikePlain(const std::string& line, int& taken) {
    std::array<float, firValuesPerLine> values{};
    if (!parseFixedDataLine(line.c_str(), values.data())) {
        return;
    }
    ++taken;
    std::array<float, firValuesPerLine> expected{};
    ASSERT_EQ(std::sscanf(line.c_str(), "%f %f %f %f %f", &expected[0], &expected[1], &expected[2], &expected[3],
                          &expected[4]),
              firValuesPerLine)
        << line;
    for (std::size_t k = 0; k < values.size(); ++k) {
        ASSERT_EQ(std::bit_cast<std::uint32_t>(values[k]), std::bit_cast<std::uint32_t>(expected[k])) << line;
    }
}

}  // namespace

TEST(FixedColumns, OfWrittenLinesReadLikeScanf) {
    std::mt19937_64 generator(11);
    int taken = 0;
    constexpr int lines = 20000;
    for (int k = 0; k < lines; ++k) {
        expectFixedLineLikePlain(writtenDataLine(generator, -9, 5), taken);
    }
    // A text in the middle of two floats is left to the exact conversion. Below 2^24, seven digits rarely are.
    EXPECT_GT(taken, lines - lines / 20);
}

// Above 2^26 the floats lie 8 apart, and every other multiple of 20 is in the middle of two of them.
TEST(FixedColumns, InTheMiddleOfTwoFloatsAreLeftToTheScanner) {
    int middles = 0;
    for (int digits = 6800000; digits < 6800400; ++digits) {
        std::array<char, 32> column{};
        std::snprintf(column.data(), column.size(), "%15.6e", digits * 10.0);
        float value = 0.0F;
        const bool isMiddle = digits * 10 % 8 == 4;
        ASSERT_EQ(readFixedColumns(column.data(), 1, &value), !isMiddle) << column.data();
        middles += isMiddle ? 1 : 0;
        const std::string line =
            std::string(column.data()) + column.data() + column.data() + column.data() + column.data();
        std::array<float, firValuesPerLine> values{};
        ASSERT_TRUE(parseDataLine(line, values.data()));
        ASSERT_EQ(values[4], std::strtof(column.data(), nullptr)) << column.data();
    }
    EXPECT_EQ(middles, 100);
}

TEST(FixedColumns, OfZerosKeepTheirSigns) {
    int taken = 0;
    expectFixedLineLikePlain("   0.000000e+00  -0.000000e+00   0.000000e+00   0.000000e+00  -0.000000e+00\n", taken);
    EXPECT_EQ(taken, 1);
}

TEST(FixedColumns, OfAnyExponentReadLikeScanfOrAreLeftToIt) {
    std::mt19937_64 generator(12);
    int taken = 0;
    for (int k = 0; k < 20000; ++k) {
        expectFixedLineLikePlain(writtenDataLine(generator, -320, 300), taken);
        expectFixedLineLikePlain(writtenDataLine(generator, -45, 45), taken);
    }
    EXPECT_GT(taken, 0);
}

// One character anywhere replaced by any other: the line is refused, or still reads as scanf reads it.
TEST(FixedColumns, OfDamagedLinesReadLikeScanfOrAreLeftToIt) {
    std::mt19937_64 generator(13);
    int taken = 0;
    for (int round = 0; round < 4; ++round) {
        const std::string line = writtenDataLine(generator, -9, 9);
        for (std::size_t position = 0; position < line.size(); ++position) {
            for (int c = 1; c < 256; ++c) {
                std::string damaged = line;
                damaged[position] = static_cast<char>(c);
                expectFixedLineLikePlain(damaged, taken);
            }
            std::string cut = line;
            cut[position] = '\0';
            std::array<float, firValuesPerLine> values{};
            EXPECT_FALSE(parseFixedDataLine(cut.c_str(), values.data())) << position;
        }
    }
    EXPECT_GT(taken, 0);
}

TEST(FixedColumns, LeaveOtherSpellingsToTheScanner) {
    float value = 7.0F;
    for (const char* column :
         {"       nan     ", "  +1.000000e+00", "   1.000000e+0 ", "  1.0000000e+00", "   1,000000e+00",
          "   1.000000f+00", "   1.000000e 00", "1.00000000e+00 ", "   1.000000e+99"}) {
        EXPECT_FALSE(readFixedColumns(column, 1, &value)) << column;
        EXPECT_EQ(value, 7.0F);
    }
    EXPECT_TRUE(readFixedColumns("  -1.250000E-01", 1, &value));
    EXPECT_EQ(value, -0.125F);
    // The largest powers of ten that are tried, and the next ones.
    EXPECT_TRUE(readFixedColumns("   1.000000e+28", 1, &value));
    EXPECT_EQ(value, 1e28F);
    EXPECT_FALSE(readFixedColumns("   1.000000e+29", 1, &value));
    EXPECT_TRUE(readFixedColumns("   1.000000e-16", 1, &value));
    EXPECT_EQ(value, 1e-16F);
    EXPECT_FALSE(readFixedColumns("   1.000000e-17", 1, &value));
    // The columns before one that is refused are read, those after it are not.
    std::array<float, 3> three{7.0F, 7.0F, 7.0F};
    EXPECT_FALSE(readFixedColumns("   1.000000e+00   +2.00000e+00   3.000000e+00", 3, three.data()));
    EXPECT_EQ(three, (std::array<float, 3>{1.0F, 7.0F, 7.0F}));
}
