#include "model_diagnosis.hpp"

#include <cstddef>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sstream>
#include <string>
#include <support/temporary_folder.hpp>
#include <vector>

#include <qormath/models/fir_file.hpp>

#include "program_run.hpp"

namespace qormath::cli {
namespace {

using qormath::test::exampleModel;
using qormath::test::TemporaryFolder;
using qormath::test::textOfFile;
using qormath::test::writeFile;
using testing::StartsWith;

const char* const examples[] = {"surge_drum.fir", "null_pairs.fir", "old_version.fir", "single_lag_30.fir"};

std::vector<std::string> linesOf(const std::string& text) {
    std::istringstream stream(text);
    std::vector<std::string> lines;
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

std::string textOf(const std::vector<std::string>& lines) {
    std::string text;
    for (const std::string& line : lines) {
        text += line + "\n";
    }
    return text;
}

std::string damageOf(const std::string& text) {
    std::istringstream stream(text);
    return firstDamage(stream);
}

std::string damageAfter(const std::string& example, std::size_t number, const std::string& replacement) {
    std::vector<std::string> lines = linesOf(textOfFile(exampleModel(example)));
    lines.at(number - 1) = replacement;
    return damageOf(textOf(lines));
}

/// Whether the library reads the text as a model.
bool isReadable(const std::string& text) {
    const TemporaryFolder folder;
    writeFile(folder.file("model.fir"), text);
    FIRFileHandle handle;
    if (firOpenRead(&handle, folder.file("model.fir").c_str()) != FIR_OK) {
        return false;
    }
    const int status = firReadCurves(&handle, nullptr, nullptr, nullptr);
    firClose(&handle);
    return status == FIR_OK;
}

TEST(FirstDamage, FindsNoneInWholeFiles) {
    for (const char* example : examples) {
        EXPECT_EQ(damageOf(textOfFile(exampleModel(example))), "") << example;
    }
}

TEST(FirstDamage, NamesTheLineAtWhichAFileIsCutOff) {
    for (const char* example : examples) {
        const std::vector<std::string> lines = linesOf(textOfFile(exampleModel(example)));
        for (std::size_t kept = 1; kept < lines.size(); ++kept) {
            const std::string text = textOf({lines.begin(), lines.begin() + static_cast<std::ptrdiff_t>(kept)});
            ASSERT_FALSE(isReadable(text));
            EXPECT_THAT(damageOf(text), StartsWith("line " + std::to_string(kept + 1) + ": the file ends where "));
        }
    }
}

TEST(FirstDamage, NamesTheLineThatTheLibraryCannotRead) {
    for (const char* example : examples) {
        const std::vector<std::string> lines = linesOf(textOfFile(exampleModel(example)));
        for (std::size_t k = 0; k < lines.size(); ++k) {
            std::vector<std::string> damaged = lines;
            damaged[k] = std::string("?");
            const std::string found = damageOf(textOf(damaged));
            if (isReadable(textOf(damaged))) {
                EXPECT_EQ(found, "") << example << " with damage in line " << k + 1;
            } else {
                EXPECT_THAT(found, StartsWith("line " + std::to_string(k + 1) + ": expected ")) << example;
            }
        }
    }
}

TEST(FirstDamage, SaysWhatIsExpectedInTheHeader) {
    EXPECT_EQ(damageAfter("surge_drum.fir", 2, "many"),
              "line 2: expected the number of extra comment lines, found \"many\"");
    EXPECT_EQ(damageAfter("surge_drum.fir", 3, ""), "line 3: expected the number of inputs, found a blank line");
    EXPECT_EQ(damageAfter("surge_drum.fir", 3, "-1"), "line 3: the number of inputs is -1");
    EXPECT_EQ(damageAfter("surge_drum.fir", 4, "99999999999"),
              "line 4: expected the number of outputs, found \"99999999999\"");
    EXPECT_EQ(damageAfter("surge_drum.fir", 4, "-5"), "line 4: the number of outputs is -5");
    EXPECT_EQ(damageAfter("surge_drum.fir", 5, "0"), "line 5: the number of coefficients of a curve is 0");
    EXPECT_EQ(damageAfter("surge_drum.fir", 7, "long"), "line 7: expected the horizon in minutes, found \"long\"");
    EXPECT_EQ(damageAfter("surge_drum.fir", 7, "1e9"),
              "line 7: expected the horizon in minutes, not too large for an integer, found \"1e9\"");
    EXPECT_EQ(damageAfter("surge_drum.fir", 8, "nan"),
              "line 8: expected the version number, not too large for an integer, found \"nan\"");
}

TEST(FirstDamage, SaysWhatIsExpectedInTheLists) {
    EXPECT_EQ(damageAfter("surge_drum.fir", 9, "FEED"),
              "line 9: expected the entry of input 1 (a name from column 37 on), found \"FEED\"");
    EXPECT_EQ(damageAfter("surge_drum.fir", 13, "-0.0 TEMP"),
              "line 13: expected the entry of output 2 (name and descriptor from column 37 on, ramp value, number of "
              "curves), found \"-0.0 TEMP\"");
}

TEST(FirstDamage, SaysWhatIsExpectedInABlock) {
    EXPECT_EQ(damageAfter("surge_drum.fir", 25, "FEED"),
              "line 25: expected the gain of the curve of output LEVEL to input FEED after column 36, found \"FEED\"");
    EXPECT_EQ(damageAfter("surge_drum.fir", 27, "1 2 3 4"),
              "line 27: expected five numbers, from coefficient 6 of the curve of output LEVEL to input FEED on, found "
              "\"1 2 3 4\"");
    EXPECT_EQ(damageAfter("old_version.fir", 16, "?"),
              "line 16: expected the first line of the block of output 1 (name, descriptor, ramp value), found \"?\"");
}

TEST(FirstDamage, FindsCountsThatContradictEachOther) {
    EXPECT_EQ(damageAfter("surge_drum.fir", 6, "451"),
              "line 6: 451 stored values cannot be, for the list of outputs has 5 curves of 90 coefficients");
    EXPECT_EQ(damageAfter("single_lag_30.fir", 4, "0"),
              "line 6: 30 stored values cannot be, for the list of outputs has 0 curves of 30 coefficients");
}

TEST(FirstDamage, FindsCurvesThatAreNotThoseOfTheList) {
    std::vector<std::string> lines = linesOf(textOfFile(exampleModel("surge_drum.fir")));
    // One curve is moved from the first output to the second, so that the sum stays right.
    lines[11].back() = '2';
    lines[12].back() = '3';
    ASSERT_FALSE(isReadable(textOf(lines)));
    EXPECT_EQ(damageOf(textOf(lines)),
              "line 12: the entry of output LEVEL promises 2 curves that are not zero, its block has 3");
}

TEST(FirstDamage, FindsALineThatIsTooLong) {
    EXPECT_EQ(damageAfter("surge_drum.fir", 1, std::string(254, 'x')), "");
    EXPECT_EQ(damageAfter("surge_drum.fir", 1, std::string(255, 'x')),
              "line 1: the line is longer than 254 characters");
}

TEST(FirstDamage, QuotesTheBeginningOfALongLine) {
    EXPECT_EQ(damageAfter("surge_drum.fir", 2, std::string(100, 'x')),
              "line 2: expected the number of extra comment lines, found \"" + std::string(40, 'x') + "...\"");
}

TEST(FirstDamage, SaysThatAFileIsEmpty) {
    EXPECT_EQ(damageOf(""), "the file is empty");
}

TEST(FirstDamage, EndsSoonWhereCountsAreBeyondMeasure) {
    for (const std::size_t number : {2U, 3U, 4U, 5U}) {
        std::vector<std::string> lines = linesOf(textOfFile(exampleModel("surge_drum.fir")));
        lines[number - 1] = "2147483647";
        ASSERT_FALSE(isReadable(textOf(lines)));
        EXPECT_NE(damageOf(textOf(lines)), "") << number;
    }
}

TEST(FirstDamage, CountsExtraCommentLines) {
    std::vector<std::string> lines = linesOf(textOfFile(exampleModel("surge_drum.fir")));
    lines[1] = std::string("2");
    lines.insert(lines.begin() + 2, {"one", "two"});
    ASSERT_TRUE(isReadable(textOf(lines)));
    EXPECT_EQ(damageOf(textOf(lines)), "");
    lines[4] = std::string("?");
    EXPECT_EQ(damageOf(textOf(lines)), "line 5: expected the number of inputs, found \"?\"");
}

TEST(DiagnoseModelFile, TellsWhyAFileCannotBeOpened) {
    const TemporaryFolder folder;
    EXPECT_EQ(diagnoseModelFile(folder.file("missing")), "cannot be read: No such file or directory");
}

TEST(DiagnoseModelFile, BlamesTheMemoryWhereEveryLineIsInOrder) {
    EXPECT_EQ(diagnoseModelFile(exampleModel("surge_drum.fir")),
              "cannot be read: there is not enough memory for it, or it has just been changed");
}

TEST(DiagnoseModelFile, NamesALine) {
    const TemporaryFolder folder;
    writeFile(folder.file("model.fir"), "A letter\n\nDear reader,\n");
    EXPECT_EQ(diagnoseModelFile(folder.file("model.fir")),
              "is not a model file: line 2: expected the number of extra comment lines, found a blank line");
}

}  // namespace
}  // namespace qormath::cli
