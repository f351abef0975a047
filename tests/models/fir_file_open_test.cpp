#include <array>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <models/fir_reading.hpp>
#include <models/small_fir_models.hpp>
#include <string>
#include <support/plain_fir_file.hpp>
#include <support/temporary_file.hpp>
#include <vector>

#include <qormath/models/fir_file.hpp>

using namespace qormath::test;
using testing::Each;
using testing::ElementsAre;
using testing::Eq;

TEST(FirOpenRead, TellsMissingArgumentsAndFiles) {
    FIRFileHandle handle;
    EXPECT_EQ(firOpenRead(&handle, nullptr), FIR_NO_FILE_NAME);
    expectCleared(handle);
    EXPECT_EQ(firOpenRead(nullptr, "x"), FIR_BAD_HANDLE);
    EXPECT_EQ(firOpenRead(nullptr, nullptr), FIR_NO_FILE_NAME);
    const TemporaryFile none;
    EXPECT_EQ(firOpenRead(&handle, none.name().c_str()), FIR_OPEN_FAILED);
    expectCleared(handle);
}

TEST(FirOpenRead, OfAFolderOrAnEmptyFileIsAHeaderErrorAndLeavesTheRecordCleared) {
    FIRFileHandle handle;
    EXPECT_EQ(firOpenRead(&handle, testing::TempDir().c_str()), FIR_HEADER_ERROR);
    expectCleared(handle);
    const TemporaryFile empty("");
    EXPECT_EQ(firOpenRead(&handle, empty.name().c_str()), FIR_HEADER_ERROR);
    expectCleared(handle);
}

TEST(FirOpenRead, KnowsHeaderAndListsOfVersion9896WithoutAScan) {
    Reading reading(plainText(smallModel()));
    ASSERT_EQ(reading.status, FIR_OK);
    const FIRFileHandle& handle = reading.handle;
    EXPECT_EQ(handle.version, FIR_FILE_VERSION);
    EXPECT_EQ(handle.inputCount, 2);
    EXPECT_EQ(handle.outputCount, 3);
    EXPECT_EQ(handle.coefficientCount, 30);
    EXPECT_EQ(handle.valueCount, 150);
    EXPECT_EQ(handle.horizonSeconds, 1800);
    EXPECT_STREQ(handle.comment, "No comment");
    EXPECT_EQ(handle.needsScan, 0);
    EXPECT_STREQ(handle.inputNames[1], "IN1");
    EXPECT_STREQ(handle.inputDescriptors[1], "VALVE");
    EXPECT_STREQ(handle.outputNames[2], "OUT2");
    EXPECT_STREQ(handle.outputDescriptors[2], "SENSOR");
    EXPECT_EQ(handle.rampValues[1], 1);
    EXPECT_EQ(handle.curveCounts[1], 2);
    EXPECT_EQ(handle.curveCounts[2], 1);
}

TEST(FirOpenRead, ReadsAnOtherVersionByItsBlocksAlone) {
    Reading reading(plainText(smallModel(30, 1)));
    ASSERT_EQ(reading.status, FIR_OK);
    EXPECT_EQ(reading.handle.version, 1);
    EXPECT_EQ(reading.handle.valueCount, -1);
    EXPECT_EQ(reading.handle.needsScan, 1);
    EXPECT_STREQ(reading.handle.inputNames[0], "");
    EXPECT_THAT(std::vector<int>(reading.handle.curveCounts, reading.handle.curveCounts + 3), Each(Eq(0)));
    ASSERT_EQ(reading.scan(), FIR_OK);
    EXPECT_EQ(reading.handle.valueCount, 150);
    EXPECT_EQ(reading.handle.needsScan, 0);
    EXPECT_STREQ(reading.handle.inputNames[1], "IN1");
    EXPECT_STREQ(reading.handle.outputDescriptors[2], "SENSOR");
    EXPECT_THAT(std::vector<int>(reading.handle.rampValues, reading.handle.rampValues + 3), ElementsAre(0, 1, 0));
    EXPECT_THAT(std::vector<int>(reading.handle.curveCounts, reading.handle.curveCounts + 3), ElementsAre(2, 2, 1));
}

TEST(FirOpenRead, DoesNotParseTheListsOfAnOtherVersion) {
    std::string text = plainText(smallModel(30, 1));
    for (std::size_t line = 0; line < 5; ++line) {
        text = withLine(text, firstInputLine + line, "?");
    }
    Reading reading(text);
    ASSERT_EQ(reading.status, FIR_OK);
    EXPECT_EQ(reading.scan(), FIR_OK);
}

TEST(FirOpenRead, SkipsExtraCommentLinesInHeaderAndScan) {
    PlainModel model = smallModel();
    model.extraComments = {"written on a Monday", ""};
    Reading reading(plainText(model));
    ASSERT_EQ(reading.status, FIR_OK);
    EXPECT_EQ(reading.handle.inputCount, 2);
    ASSERT_EQ(reading.scan(), FIR_OK);
    EXPECT_EQ(reading.gains[0], PlainFIRFile(reading.file.name()).curves[0].gain);
}

TEST(FirOpenRead, TakesANegativeNumberOfExtraCommentLinesForNone) {
    Reading reading(withLine(plainText(smallModel()), extraCountLine, "          -3"));
    ASSERT_EQ(reading.status, FIR_OK);
    EXPECT_EQ(reading.scan(), FIR_OK);
}

TEST(FirOpenRead, CutsTheCommentAfterItsLastGraphicCharacterAndKeepsItsCase) {
    Reading reading(withLine(plainText(smallModel()), commentLine, "  Unit 3, first test \t\x01 "));
    ASSERT_EQ(reading.status, FIR_OK);
    EXPECT_STREQ(reading.handle.comment, "  Unit 3, first test");
}

TEST(FirOpenRead, TakesALineOf254CharactersAndItsNewlineForOneLine) {
    const std::string comment(254, 'c');
    Reading reading(withLine(plainText(smallModel()), commentLine, comment));
    ASSERT_EQ(reading.status, FIR_OK);
    EXPECT_EQ(reading.handle.comment, comment);
    EXPECT_EQ(reading.scan(), FIR_OK);
}

TEST(FirOpenRead, BreaksALongerLineInTwo) {
    // 255 characters fill the first piece; the second one is the newline, which is no number of extra lines.
    EXPECT_EQ(Reading(withLine(plainText(smallModel()), commentLine, std::string(255, 'c'))).status, FIR_HEADER_ERROR);
    // A second piece with a number takes the place of line 2.
    PlainModel model = smallModel();
    const std::string text = plainText(model);
    const std::string tail = text.substr(text.find('\n', text.find('\n') + 1) + 1);
    Reading reading(std::string(255, 'c') + "           0\n" + tail);
    ASSERT_EQ(reading.status, FIR_OK);
    EXPECT_EQ(std::string(reading.handle.comment), std::string(255, 'c'));
    std::array<char, 256> comment{};
    EXPECT_EQ(firGetHeader(&reading.handle, nullptr, nullptr, nullptr, nullptr, comment.data()), FIR_OK);
    EXPECT_EQ(std::string(comment.data()), std::string(255, 'c'));
    EXPECT_EQ(reading.scan(), FIR_OK);
}

TEST(FirOpenRead, ReadsLinesThatEndInCrLfLikeOthers) {
    for (const int version : {9896, 1}) {
        const std::string text = plainText(smallModel(30, version));
        std::string crlf;
        for (const char c : text) {
            crlf += c == '\n' ? "\r\n" : std::string(1, c);
        }
        Reading plain(text);
        Reading reading(crlf);
        ASSERT_EQ(reading.status, FIR_OK);
        EXPECT_STREQ(reading.handle.comment, "No comment");
        ASSERT_EQ(reading.scan(), FIR_OK);
        ASSERT_EQ(plain.scan(), FIR_OK);
        EXPECT_EQ(reading.offsets, plain.offsets);
        EXPECT_EQ(reading.data, plain.data);
        EXPECT_EQ(reading.gains, plain.gains);
        for (int i = 0; i < 2; ++i) {
            EXPECT_STREQ(reading.handle.inputNames[i], plain.handle.inputNames[i]);
            EXPECT_STREQ(reading.handle.inputDescriptors[i], plain.handle.inputDescriptors[i]);
        }
        for (int j = 0; j < 3; ++j) {
            EXPECT_STREQ(reading.handle.outputNames[j], plain.handle.outputNames[j]);
            EXPECT_EQ(reading.handle.rampValues[j], plain.handle.rampValues[j]);
        }
    }
}

TEST(FirOpenRead, AcceptsListsWhoseTrailingBlanksWereTrimmed) {
    std::string text = plainText(smallModel());
    const std::string columns = "     -999.000000                    ";
    text = withLine(text, firstInputLine, columns + "In0          Valve");
    text = withLine(text, firstInputLine + 1, columns + "In1");
    Reading reading(text);
    ASSERT_EQ(reading.status, FIR_OK);
    EXPECT_STREQ(reading.handle.inputNames[0], "IN0");
    EXPECT_STREQ(reading.handle.inputDescriptors[0], "VALVE");
    EXPECT_STREQ(reading.handle.inputNames[1], "IN1");
    EXPECT_STREQ(reading.handle.inputDescriptors[1], "");
    EXPECT_EQ(reading.scan(), FIR_OK);
}

TEST(FirOpenRead, TurnsTextsToUpperCase) {
    PlainModel model = smallModel();
    model.inputs[0] = {"Feed_a", "m3/h \xe4", 0};
    model.outputs[0] = {"tEmp", "dEg", 0};
    for (const int version : {9896, 1}) {
        model.version = version;
        Reading reading(plainText(model));
        std::array<char, 13> name{};
        std::array<char, 13> descriptor{};
        ASSERT_EQ(firGetInput(&reading.handle, 0, name.data(), descriptor.data()), FIR_OK);
        EXPECT_STREQ(name.data(), "FEED_A");
        // Only ASCII is graphic, so the last character goes, and the blank before it.
        EXPECT_STREQ(descriptor.data(), "M3/H");
        ASSERT_EQ(firGetOutput(&reading.handle, 0, name.data(), descriptor.data(), nullptr, nullptr), FIR_OK);
        EXPECT_STREQ(name.data(), "TEMP");
        EXPECT_STREQ(descriptor.data(), "DEG");
    }
}

TEST(FirOpenRead, KeepsTwelveCharactersOfAName) {
    PlainModel model = smallModel();
    model.inputs[0] = {"ABCDEFGHIJKL", "MNOPQRSTUVWX", 0};
    model.outputs[0] = {"abcdefghijkl", "mnopqrstuvwx", 0};
    for (const int version : {9896, 1}) {
        model.version = version;
        Reading reading(plainText(model));
        std::array<char, 13> name{};
        std::array<char, 13> descriptor{};
        ASSERT_EQ(firGetInput(&reading.handle, 0, name.data(), descriptor.data()), FIR_OK);
        EXPECT_STREQ(name.data(), "ABCDEFGHIJKL");
        EXPECT_STREQ(descriptor.data(), "MNOPQRSTUVWX");
        ASSERT_EQ(firGetOutput(&reading.handle, 0, name.data(), descriptor.data(), nullptr, nullptr), FIR_OK);
        EXPECT_STREQ(name.data(), "ABCDEFGHIJKL");
        EXPECT_STREQ(descriptor.data(), "MNOPQRSTUVWX");
    }
}

TEST(FirOpenRead, RoundsTheHorizonToWholeSeconds) {
    const std::string text = plainText(smallModel());
    for (const auto& [minutes, seconds] : std::vector<std::pair<std::string, int>>{{"30", 1800},
                                                                                   {"0.02", 1},
                                                                                   {"0.008", 0},
                                                                                   {"-1.0", -59},
                                                                                   {"1e-10", 0},
                                                                                   {"0x10", 960},
                                                                                   {"35791392", 2147483520}}) {
        Reading reading(withLine(text, horizonLine, minutes));
        ASSERT_EQ(reading.status, FIR_OK) << minutes;
        EXPECT_EQ(reading.handle.horizonSeconds, seconds) << minutes;
    }
}

TEST(FirOpenRead, TakesANumberThatDoesNotFitForUnreadable) {
    const std::string text = plainText(smallModel());
    for (const std::string number : {"nan", "inf", "-inf", "1e30", "-1e30", "3e10"}) {
        EXPECT_EQ(Reading(withLine(text, horizonLine, number)).status, FIR_HEADER_ERROR) << number;
        EXPECT_EQ(Reading(withLine(text, versionLine, number)).status, FIR_HEADER_ERROR) << number;
    }
    // 35791396 minutes are 2147483760 seconds, 2147483648 is the first version that is too large.
    EXPECT_EQ(Reading(withLine(text, horizonLine, "35791396")).status, FIR_HEADER_ERROR);
    EXPECT_EQ(Reading(withLine(text, versionLine, "2147483648")).status, FIR_HEADER_ERROR);
    EXPECT_EQ(Reading(withLine(text, versionLine, "-2147483648")).status, FIR_OK);
    for (const std::size_t line :
         {extraCountLine, inputCountLine, outputCountLine, coefficientCountLine, valueCountLine}) {
        for (const std::string number : {"2147483648", "-2147483649", "4294967296", "99999999999999999999"}) {
            EXPECT_EQ(Reading(withLine(text, line, number)).status, FIR_HEADER_ERROR) << line << ' ' << number;
        }
    }
}

TEST(FirOpenRead, RoundsTheVersion) {
    const std::string text = plainText(smallModel());
    EXPECT_EQ(Reading(withLine(text, versionLine, "9895.6")).handle.version, 9896);
    EXPECT_EQ(Reading(withLine(text, versionLine, "9896.4")).handle.version, 9896);
    EXPECT_EQ(Reading(withLine(text, versionLine, "9896.5")).handle.version, 9897);
    EXPECT_EQ(Reading(withLine(text, versionLine, "0")).handle.version, 0);
}

TEST(FirOpenRead, ComparesTheCountsOfVersion9896) {
    const std::string text = plainText(smallModel());
    EXPECT_EQ(Reading(withLine(text, valueCountLine, "120")).status, FIR_COUNT_MISMATCH);
    EXPECT_EQ(Reading(withLine(text, coefficientCountLine, "31")).status, FIR_COUNT_MISMATCH);
    EXPECT_EQ(Reading(withLine(text, coefficientCountLine, "0")).status, FIR_COUNT_MISMATCH);
    EXPECT_EQ(Reading(withLine(text, coefficientCountLine, "-30")).status, FIR_COUNT_MISMATCH);
}

TEST(FirOpenRead, DoesNotCompareTheCountsOfAnOtherVersion) {
    Reading reading(withLine(plainText(smallModel(30, 1)), valueCountLine, "-17"));
    ASSERT_EQ(reading.status, FIR_OK);
    EXPECT_EQ(reading.scan(), FIR_OK);
}

// n times the sum of the counts is beyond 64 bits here, and must not come out as anything by accident.
TEST(FirOpenRead, DoesNotMultiplyCountsBeyondTheirRange) {
    PlainModel model = emptyModel(0, 45000, 30);
    std::string text = plainText(model);
    std::string::size_type position = 0;
    while ((position = text.find("      0     0\n", position)) != std::string::npos) {
        text.replace(position, 13, "      0 99999");
        position += 13;
    }
    EXPECT_EQ(Reading(withLine(text, coefficientCountLine, "2147483647")).status, FIR_COUNT_MISMATCH);
    EXPECT_EQ(Reading(withLine(text, coefficientCountLine, "-2147483648")).status, FIR_COUNT_MISMATCH);
}

TEST(FirOpenRead, OfAModelWithoutOutputsWantsNoValues) {
    const std::string text = plainText(emptyModel(2, 0, 30));
    Reading reading(text);
    ASSERT_EQ(reading.status, FIR_OK);
    EXPECT_EQ(reading.handle.needsScan, 0);
    EXPECT_EQ(reading.handle.outputNames, nullptr);
    EXPECT_EQ(reading.handle.rampValues, nullptr);
    EXPECT_STREQ(reading.handle.inputNames[1], "IN1");
    EXPECT_EQ(reading.scan(), FIR_OK);
    EXPECT_EQ(Reading(withLine(text, valueCountLine, "30")).status, FIR_COUNT_MISMATCH);
}

TEST(FirOpenRead, LetsNegativeCountsPass) {
    const std::string noOutputs = plainText(emptyModel(2, 0, 30));
    Reading reading(withLine(noOutputs, outputCountLine, "-1"));
    ASSERT_EQ(reading.status, FIR_OK);
    EXPECT_EQ(reading.handle.outputCount, -1);
    EXPECT_EQ(firReadCurves(&reading.handle, nullptr, nullptr, nullptr), FIR_OK);
    const std::string noInputs = plainText(emptyModel(0, 2, 30));
    Reading second(withLine(noInputs, inputCountLine, "-7"));
    ASSERT_EQ(second.status, FIR_OK);
    EXPECT_EQ(second.handle.inputCount, -7);
    std::array<int, 4> untouched = {5, 5, 5, 5};
    EXPECT_EQ(firReadCurves(&second.handle, untouched.data(), nullptr, nullptr), FIR_OK);
    EXPECT_THAT(untouched, Each(Eq(5)));
}

// Each of these would be gigabytes if the counts were believed; the status is that of the first line that is missing.
TEST(FirOpenRead, DoesNotBelieveHostileCounts) {
    for (const int version : {9896, 1}) {
        const std::string text = plainText(smallModel(30, version));
        EXPECT_EQ(Reading(withLine(text, extraCountLine, "2147483647")).status, FIR_HEADER_ERROR);
        EXPECT_EQ(Reading(withLine(text, inputCountLine, "2147483647")).status, FIR_HEADER_ERROR);
        EXPECT_EQ(Reading(withLine(text, outputCountLine, "2147483647")).status, FIR_HEADER_ERROR);
        // A negative count beside it does not make up for the missing lines.
        EXPECT_EQ(
            Reading(withLine(withLine(text, outputCountLine, "2147483647"), inputCountLine, "-2147483648")).status,
            FIR_HEADER_ERROR);
    }
}
