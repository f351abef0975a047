// NaN and infinity in every argument of every public function that takes a floating-point number: the call ends, as it
// is said to end, and leaves its operands alone.

#include <algorithm>
#include <cctype>
#include <gtest/gtest.h>
#include <limits>
#include <optional>
#include <ostream>
#include <string>
#include <support/matrix_compare.hpp>
#include <vector>

#include <qormath/core/xmsg.hpp>

#include "numbers/calls.hpp"

namespace qormath::test {

void PrintTo(const Call& call, std::ostream* stream) {
    *stream << call.function;
}

namespace {

const char* nameOf(Outcome outcome) {
    switch (outcome) {
        case Outcome::minusOne:
            return "the int -1";
        case Outcome::xmsg5:
            return "xmsg 5";
        case Outcome::xmsg10:
            return "xmsg 10";
        case Outcome::xmsg11:
            return "xmsg 11";
        case Outcome::failure:
            return "the int -1 or xmsg 11";
        case Outcome::refusal:
            return "a refusal";
        case Outcome::marked:
            return "a result with NaN or infinity";
        case Outcome::noticed:
            return "a failure or a result with NaN or infinity";
        case Outcome::finite:
            return "a finite result";
        case Outcome::same:
            return "the same result as without";
        default:
            return "another exception";
    }
}

struct Ending {
    Outcome outcome = Outcome::unknown;
    std::vector<double> numbers;
};

Outcome outcomeOf(const QorMathLA::xmsg& failure) {
    switch (failure.code) {
        case QorMathLA::DimensionMismatch:
            return Outcome::xmsg5;
        case QorMathLA::DivisionByZero:
            return Outcome::xmsg10;
        case QorMathLA::NumericFailure:
            return Outcome::xmsg11;
        default:
            return Outcome::unknown;
    }
}

Ending endingOf(const Call& call, Operands& operands) {
    Results results;
    try {
        call.run(operands, results);
    } catch (int code) {
        return {code == -1 ? Outcome::minusOne : Outcome::unknown, {}};
    } catch (const QorMathLA::xmsg& failure) {
        return {outcomeOf(failure), {}};
    } catch (...) {
        return {};
    }
    if (results.isRefused) {
        return {Outcome::refusal, {}};
    }
    return {results.areFinite() ? Outcome::finite : Outcome::marked, results.numbers()};
}

bool isAs(Outcome wanted, const Ending& ending, const Ending& sound) {
    const bool isFailure = ending.outcome == Outcome::minusOne || ending.outcome == Outcome::xmsg11;
    switch (wanted) {
        case Outcome::same:
            return ending.outcome == sound.outcome && ending.numbers == sound.numbers;
        case Outcome::failure:
            return isFailure;
        case Outcome::noticed:
            return isFailure || ending.outcome == Outcome::marked;
        default:
            return ending.outcome == wanted;
    }
}

/// The whole operand, its corners and its middle; once where these are one number.
std::vector<Damage> placesIn(const Damage& kind, int rows, int cols) {
    std::vector<Damage> places{kind};
    for (const auto& [row, col] : {std::pair(0, 0), std::pair(rows - 1, cols - 1), std::pair(0, cols - 1),
                                   std::pair(rows - 1, 0), std::pair(rows / 2, cols / 2)}) {
        Damage place = kind;
        place.row = row;
        place.col = col;
        const bool isNew = std::none_of(places.begin(), places.end(),
                                        [&](const Damage& d) { return d.row == place.row && d.col == place.col; });
        if (isNew) {
            places.push_back(place);
        }
    }
    return places;
}

void apply(const Damage& damage, QorMathLA::Matrix<double>& operand) {
    if (damage.isWhole()) {
        operand.fill(damage.value);
    } else {
        operand(damage.row, damage.col) = damage.value;
    }
}

std::string written(const Damage& d) {
    const std::string place = d.isWhole() ? "all" : "(" + std::to_string(d.row) + ", " + std::to_string(d.col) + ")";
    return std::to_string(d.value) + " in " + d.argument + ", " + place + ", size " + std::to_string(d.size);
}

void expectUnchanged(Operands& before, Operands& after, const std::string& what) {
    for (const Operands::Operand& operand : after.list()) {
        EXPECT_TRUE(identical(operand.value, before[operand.name])) << operand.name << " was written, " << what;
    }
}

void expectEnding(const Call& call, const Damage& damage, Outcome usual, const Ending& sound) {
    Operands operands = call.operands(damage.size);
    Operands before = call.operands(damage.size);
    apply(damage, operands[damage.argument]);
    apply(damage, before[damage.argument]);
    const Ending ending = endingOf(call, operands);
    const std::optional<Outcome> exception = call.exception ? call.exception(damage) : std::nullopt;
    const Outcome wanted = exception.value_or(usual);
    // A number beside operands without elements may be looked at or not.
    const bool isIdle = damage.size == 0 && isAs(Outcome::same, ending, sound);
    EXPECT_TRUE(isIdle || isAs(wanted, ending, sound))
        << written(damage) << ": " << nameOf(ending.outcome) << " instead of " << nameOf(wanted);
    expectUnchanged(before, operands, written(damage));
}

class NotFinite : public testing::TestWithParam<Call> {};

TEST_P(NotFinite, SoundOperandsOfEverySizeGoThrough) {
    const Call& call = GetParam();
    for (const int size : call.sizes) {
        Operands operands = call.operands(size);
        Operands before = call.operands(size);
        const Outcome outcome = endingOf(call, operands).outcome;
        const Outcome wanted = size == 0 ? call.withoutElements : call.sound;
        EXPECT_EQ(outcome, wanted) << "size " << size << ": " << nameOf(outcome) << " instead of " << nameOf(wanted);
        expectUnchanged(before, operands, "size " + std::to_string(size));
    }
}

/// What is not spoken of is not read.
Expected expectedOf(const Call& call, const std::string& argument) {
    const auto said = std::ranges::find(call.expected, argument, &Expected::argument);
    return said == call.expected.end() ? Expected(argument, Outcome::same) : *said;
}

TEST_P(NotFinite, NumbersEndTheCallAsItIsSaidToEnd) {
    constexpr double infinity = std::numeric_limits<double>::infinity();
    constexpr double nan = std::numeric_limits<double>::quiet_NaN();
    const Call& call = GetParam();
    for (const int size : call.sizes) {
        Operands operands = call.operands(size);
        for (const Expected& expected : call.expected) {
            ASSERT_NO_THROW(operands[expected.argument]) << "a statement of no operand";
        }
        const Ending sound = endingOf(call, operands);
        for (const Operands::Operand& operand : operands.list()) {
            const int rows = operand.value.rows();
            const int cols = operand.value.cols();
            if (rows == 0 || cols == 0) {
                continue;
            }
            const Expected expected = expectedOf(call, operand.name);
            for (const auto& [value, outcome] : {std::pair(nan, expected.nan), std::pair(infinity, expected.infinity),
                                                 std::pair(-infinity, expected.negativeInfinity)}) {
                for (const Damage& damage : placesIn({operand.name, size, value, -1, -1, rows - 1}, rows, cols)) {
                    expectEnding(call, damage, outcome, sound);
                }
            }
        }
    }
}

/// What an operator is called in a name.
std::string wordFor(char sign) {
    switch (sign) {
        case '*':
            return "Times";
        case '/':
            return "Over";
        case '+':
            return "Plus";
        case '-':
            return "Minus";
        case '=':
            return "Assigned";
        default:
            return "";
    }
}

std::string testName(const testing::TestParamInfo<Call>& info) {
    std::string name;
    bool startsWord = true;
    for (const char c : info.param.function) {
        const bool isWritten = std::isalnum(static_cast<unsigned char>(c)) != 0;
        if (isWritten) {
            name += startsWord ? static_cast<char>(std::toupper(static_cast<unsigned char>(c))) : c;
        } else {
            name += wordFor(c);
        }
        startsWord = !isWritten;
    }
    return name;
}

INSTANTIATE_TEST_SUITE_P(Core, NotFinite, testing::ValuesIn(coreCalls()), testName);
INSTANTIATE_TEST_SUITE_P(Decompositions, NotFinite, testing::ValuesIn(decompositionCalls()), testName);
INSTANTIATE_TEST_SUITE_P(Equations, NotFinite, testing::ValuesIn(equationCalls()), testName);
INSTANTIATE_TEST_SUITE_P(Models, NotFinite, testing::ValuesIn(modelCalls()), testName);
INSTANTIATE_TEST_SUITE_P(Curves, NotFinite, testing::ValuesIn(curveCalls()), testName);
INSTANTIATE_TEST_SUITE_P(Conditioning, NotFinite, testing::ValuesIn(conditioningCalls()), testName);
INSTANTIATE_TEST_SUITE_P(Analysis, NotFinite, testing::ValuesIn(analysisCalls()), testName);

}  // namespace
}  // namespace qormath::test
