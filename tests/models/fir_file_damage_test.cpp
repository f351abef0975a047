#include <algorithm>
#include <cstddef>
#include <gtest/gtest.h>
#include <models/small_fir_models.hpp>
#include <random>
#include <string>
#include <support/plain_fir_file.hpp>
#include <support/temporary_file.hpp>
#include <vector>

#include <qormath/models/fir_file.hpp>
#include <qormath/models/lti_fir_model.hpp>

using namespace qormath::test;

namespace {

constexpr int coefficients = 10;
constexpr int versionOfBlocks = 7;

enum class Role { comment, extraComment, number, inputList, outputList, blockHeader, reserved, curveHeader, data };

struct Line {
    std::string text;  // with its newline
    Role role = Role::comment;
    int valuesBefore = 0;  // values of whole curves that are not all zero, before this line
};

PlainModel damagedModel(int version) {
    PlainModel model = smallModel(coefficients, version);
    model.extraComments = {"one", "two"};
    return model;
}

std::vector<std::string> split(const std::string& text) {
    std::vector<std::string> lines;
    for (std::size_t start = 0; start < text.size();) {
        const std::size_t end = text.find('\n', start) + 1;
        lines.push_back(text.substr(start, end - start));
        start = end;
    }
    return lines;
}

// What each line of a file is, from the layout alone.
std::vector<Line> linesOf(const PlainModel& model) {
    std::vector<Role> roles = {Role::comment, Role::number};
    roles.insert(roles.end(), model.extraComments.size(), Role::extraComment);
    roles.insert(roles.end(), 6, Role::number);
    roles.insert(roles.end(), model.inputs.size(), Role::inputList);
    roles.insert(roles.end(), model.outputs.size(), Role::outputList);
    std::vector<int> values(roles.size(), 0);
    int found = 0;
    for (std::size_t j = 0; j < model.outputs.size(); ++j) {
        roles.push_back(Role::blockHeader);
        roles.insert(roles.end(), 10, Role::reserved);
        values.resize(roles.size(), found);
        for (std::size_t i = 0; i < model.inputs.size(); ++i) {
            roles.push_back(Role::curveHeader);
            roles.insert(roles.end(), coefficients / 5, Role::data);
            values.resize(roles.size(), found);
            found += isZeroCurve(model.curves[model.inputs.size() * j + i]) ? 0 : coefficients;
        }
    }
    std::vector<Line> lines;
    for (const std::string& text : split(plainText(model))) {
        lines.push_back({text, roles.at(lines.size()), values.at(lines.size())});
    }
    EXPECT_EQ(lines.size(), roles.size());
    return lines;
}

std::string joined(const std::vector<Line>& lines, std::size_t first, std::size_t last) {
    std::string text;
    for (std::size_t k = first; k < last; ++k) {
        text += lines[k].text;
    }
    return text;
}

bool isHeader(Role role) {
    return role <= Role::outputList;
}

// The status that a scan ends with at a line that is not there.
int statusOfMissing(Role role) {
    switch (role) {
        case Role::blockHeader:
        case Role::reserved:
            return FIR_OUTPUT_BLOCK_ERROR;
        case Role::curveHeader:
            return FIR_INPUT_BLOCK_ERROR;
        case Role::data:
            return FIR_DATA_ERROR;
        default:
            return FIR_HEADER_ERROR;
    }
}

// The status at a line in whose place stands a word, which is a text but no number.
int statusOfWord(Role role, bool current) {
    switch (role) {
        case Role::number:
            return FIR_HEADER_ERROR;
        case Role::inputList:
        case Role::outputList:
            return current ? FIR_HEADER_ERROR : FIR_OK;
        case Role::blockHeader:
            return current ? FIR_OK : FIR_OUTPUT_BLOCK_ERROR;
        case Role::curveHeader:
            return current ? FIR_OUTPUT_BLOCK_ERROR : FIR_OK;
        case Role::data:
            return FIR_DATA_ERROR;
        default:
            return FIR_OK;
    }
}

constexpr int allValues = 5 * coefficients;

// A scan of version 9896 that ends before the last value is a mismatch.
int scanned(int status, const Line& line, bool current) {
    return status != FIR_OK && current && line.valuesBefore != allValues ? FIR_COUNT_MISMATCH : status;
}

struct Statuses {
    int open = 0;
    int scan = 0;
    bool operator==(const Statuses&) const = default;
};

std::ostream& operator<<(std::ostream& stream, const Statuses& statuses) {
    return stream << "open " << statuses.open << ", scan " << statuses.scan;
}

Statuses expected(int status, const Line& line, bool current) {
    return isHeader(line.role) ? Statuses{status, 0} : Statuses{0, scanned(status, line, current)};
}

Statuses found(const TemporaryFile& file) {
    FIRFileHandle handle;
    Statuses statuses{firOpenRead(&handle, file.name().c_str()), 0};
    if (statuses.open == FIR_OK) {
        statuses.scan = firReadCurves(&handle, nullptr, nullptr, nullptr);
    }
    firClose(&handle);
    return statuses;
}

// Beyond these no arrays are made for a file; the counts of damaged files may be anything.
constexpr long mostPairs = 10000;
constexpr long mostValues = 1000000;

void expectSameTexts(const FIRFileHandle& handle, const PlainFIRFile& plain) {
    for (std::size_t i = 0; i < plain.inputs.size(); ++i) {
        ASSERT_EQ(handle.inputNames[i], plain.inputs[i].name);
        ASSERT_EQ(handle.inputDescriptors[i], plain.inputs[i].descriptor);
    }
    for (std::size_t j = 0; j < plain.outputs.size(); ++j) {
        ASSERT_EQ(handle.outputNames[j], plain.outputs[j].name);
        ASSERT_EQ(handle.outputDescriptors[j], plain.outputs[j].descriptor);
        ASSERT_EQ(handle.rampValues[j], plain.outputs[j].ramp);
        ASSERT_EQ(handle.curveCounts[j], plain.curveCounts[j]);
    }
}

// Reads the file and holds everything to the plain reader.
void expectReadLikePlainly(TemporaryFile& file) {
    const PlainFIRFile plain(file.name());
    FIRFileHandle handle;
    ASSERT_EQ(firOpenRead(&handle, file.name().c_str()), plain.openStatus);
    if (plain.openStatus == FIR_OK) {
        ASSERT_EQ(handle.version, plain.version);
        ASSERT_EQ(handle.horizonSeconds, plain.horizonSeconds);
        ASSERT_EQ(handle.comment, plain.comment);
        const long pairs = static_cast<long>(std::max(handle.inputCount, 0)) * std::max(handle.outputCount, 0);
        const bool small = pairs <= mostPairs && pairs * std::max(handle.coefficientCount, 1) <= mostValues;
        const auto size = static_cast<std::size_t>(small ? pairs : 0);
        std::vector<int> offsets(size, -1);
        std::vector<double> gains(size);
        std::vector<float> data(size * static_cast<std::size_t>(std::max(handle.coefficientCount, 1)));
        const int status = small ? firReadCurves(&handle, offsets.data(), data.data(), gains.data())
                                 : firReadCurves(&handle, nullptr, nullptr, nullptr);
        ASSERT_EQ(status, plain.scanStatus);
        ASSERT_EQ(handle.valueCount, plain.valueCount);
        ASSERT_EQ(handle.needsScan != 0, plain.needsScan);
        ASSERT_NO_FATAL_FAILURE(expectSameTexts(handle, plain));
        for (std::size_t k = 0; small && k < plain.curves.size(); ++k) {
            const PlainCurve& curve = plain.curves[k];
            const std::size_t pair = static_cast<std::size_t>(handle.inputCount) * curve.output + curve.input;
            ASSERT_EQ(offsets[pair], curve.offset);
            offsets[pair] = -1;
        }
        ASSERT_TRUE(std::all_of(offsets.begin(), offsets.end(), [](int offset) { return offset == -1; }));
        for (std::size_t k = 0; small && k < plain.data.size(); ++k) {
            ASSERT_TRUE(data[k] == plain.data[k] || (data[k] != data[k] && plain.data[k] != plain.data[k]));
        }
    }
    firClose(&handle);
    LTIFIRModel model;
    const bool readable =
        plain.openStatus == FIR_OK && plain.scanStatus == FIR_OK && plain.inputCount >= 0 && plain.outputCount >= 0;
    ASSERT_EQ(model.ReadModel(file.writableName()), readable);
}

class DamagedFile : public testing::TestWithParam<int> {
  protected:
    bool current() const { return GetParam() == FIR_FILE_VERSION; }
    std::vector<Line> lines = linesOf(damagedModel(GetParam()));
};

std::string versionName(const testing::TestParamInfo<int>& info) {
    return "Version" + std::to_string(info.param);
}

}  // namespace

INSTANTIATE_TEST_SUITE_P(Versions, DamagedFile, testing::Values(FIR_FILE_VERSION, versionOfBlocks), versionName);

TEST_P(DamagedFile, IsWholeBeforeTheDamage) {
    EXPECT_EQ(found(TemporaryFile(joined(lines, 0, lines.size()))), Statuses{});
}

TEST_P(DamagedFile, CutOffBeforeAnyLineHasTheStatusOfThatLine) {
    for (std::size_t k = 0; k < lines.size(); ++k) {
        const TemporaryFile file(joined(lines, 0, k));
        EXPECT_EQ(found(file), expected(statusOfMissing(lines[k].role), lines[k], current())) << "line " << k + 1;
    }
}

TEST_P(DamagedFile, CutOffWithinAnyLineHasTheStatusOfTheFirstThatIsNotWhole) {
    for (std::size_t k = 0; k < lines.size(); ++k) {
        // Three characters: blanks of a number, too few for a list, the beginning of a text.
        const TemporaryFile file(joined(lines, 0, k) + lines[k].text.substr(0, 3));
        int status = statusOfWord(lines[k].role, current());
        const Line* damaged = &lines[k];
        if (status == FIR_OK) {
            // The line passes, and the next one is missing.
            damaged = &lines[k + 1];
            status = statusOfMissing(damaged->role);
        }
        EXPECT_EQ(found(file), expected(status, *damaged, current())) << "line " << k + 1;
    }
}

TEST_P(DamagedFile, WithAWordOrNothingInPlaceOfAnyLineHasTheStatusOfThatLine) {
    for (const std::string word : {"garbage\n", "\n", "???? ????\r\n"}) {
        for (std::size_t k = 0; k < lines.size(); ++k) {
            const TemporaryFile file(joined(lines, 0, k) + word + joined(lines, k + 1, lines.size()));
            EXPECT_EQ(found(file), expected(statusOfWord(lines[k].role, current()), lines[k], current()))
                << "line " << k + 1 << ' ' << word;
        }
    }
}

TEST_P(DamagedFile, WithoutAnyOneLineReadsLikePlainly) {
    for (std::size_t k = 0; k < lines.size(); ++k) {
        TemporaryFile file(joined(lines, 0, k) + joined(lines, k + 1, lines.size()));
        ASSERT_NO_FATAL_FAILURE(expectReadLikePlainly(file)) << "line " << k + 1;
    }
}

TEST_P(DamagedFile, WithAnyOneLineTwiceReadsLikePlainly) {
    for (std::size_t k = 0; k < lines.size(); ++k) {
        TemporaryFile file(joined(lines, 0, k) + joined(lines, k, lines.size()));
        ASSERT_NO_FATAL_FAILURE(expectReadLikePlainly(file)) << "line " << k + 1;
    }
}

TEST_P(DamagedFile, WithAnyOneLineTooLongReadsLikePlainly) {
    for (const char filling : {'x', ' ', '7', '\0'}) {
        for (const std::size_t length : {253U, 254U, 255U, 256U, 509U, 510U, 511U, 600U, 70000U}) {
            for (std::size_t k = 0; k < lines.size(); ++k) {
                std::string text = lines[k].text;
                text.insert(text.size() - 1, length - std::min(length, text.size() - 1), filling);
                TemporaryFile file(joined(lines, 0, k) + text + joined(lines, k + 1, lines.size()));
                ASSERT_NO_FATAL_FAILURE(expectReadLikePlainly(file)) << "line " << k + 1 << ", length " << length;
                k += length > 600 ? 6 : 0;
            }
        }
    }
}

TEST_P(DamagedFile, WithAnyCountInTheHeaderReadsLikePlainly) {
    for (const char* count :
         {"-2147483648", "-5",  "-1",    "0",       "1",          "2",   "3",   "4",  "5",   "9",  "11",
          "50",          "100", "99999", "1000000", "2147483647", "1e3", "0x2", "+2", "nan", "inf"}) {
        for (std::size_t k = 0; k < lines.size(); ++k) {
            if (lines[k].role == Role::number) {
                TemporaryFile file(joined(lines, 0, k) + count + "\n" + joined(lines, k + 1, lines.size()));
                ASSERT_NO_FATAL_FAILURE(expectReadLikePlainly(file)) << "line " << k + 1 << ' ' << count;
            }
        }
    }
}

TEST_P(DamagedFile, WithRandomBytesReadsLikePlainly) {
    std::mt19937_64 generator(static_cast<std::uint64_t>(GetParam()));
    const std::string whole = joined(lines, 0, lines.size());
    const auto below = [&](std::size_t limit) { return generator() % limit; };
    static constexpr std::string_view likely = "0123456789+-.eExnaif \n\r\t";
    for (int round = 0; round < 4000; ++round) {
        std::string text = whole;
        for (std::size_t k = 1 + below(6); k > 0; --k) {
            // Every other damage falls on the header, where the counts stand.
            const std::size_t position = below(below(2) == 0 ? 400 : text.size());
            const char c = below(4) == 0 ? static_cast<char>(below(256)) : likely[below(likely.size())];
            switch (below(5)) {
                case 0:
                    text.insert(position, 1 + below(3), c);
                    break;
                case 1:
                    text.erase(position, 1 + below(below(4) == 0 ? 200 : 3));
                    break;
                case 2:
                    text.insert(position, text.substr(below(text.size()), below(100)));
                    break;
                default:
                    text[position] = c;
            }
        }
        TemporaryFile file(text);
        ASSERT_NO_FATAL_FAILURE(expectReadLikePlainly(file)) << "round " << round;
    }
}
