#include <algorithm>
#include <array>
#include <cmath>
#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <limits>
#include <models/fir_reading.hpp>
#include <models/small_fir_models.hpp>
#include <string>
#include <support/comma_locale.hpp>
#include <support/plain_fir_file.hpp>
#include <vector>

#include <qormath/models/detail/round7.hpp>
#include <qormath/models/fir_file.hpp>

using namespace qormath::test;
using testing::Each;
using testing::ElementsAre;
using testing::Eq;

namespace {

std::vector<float> fractions;

int noteFraction(FIRFileHandle*, float fraction) {
    fractions.push_back(fraction);
    return 1;
}

}  // namespace

TEST(FirReadCurves, DoesNotBelieveAHostileCoefficientCount) {
    Reading reading(withLine(plainText(smallModel(30, 1)), coefficientCountLine, "2147483647"));
    ASSERT_EQ(reading.status, FIR_OK);
    EXPECT_EQ(firReadCurves(&reading.handle, nullptr, nullptr, nullptr), FIR_DATA_ERROR);
    std::string text = withLine(plainText(smallModel()), coefficientCountLine, "2147483647");
    for (std::size_t line = firstInputLine + 2; line < firstInputLine + 5; ++line) {
        text = withLine(text, line, std::string(61, ' ') + " 0     0");
    }
    Reading second(withLine(text, valueCountLine, "0"));
    ASSERT_EQ(second.status, FIR_OK);
    EXPECT_EQ(firReadCurves(&second.handle, nullptr, nullptr, nullptr), FIR_DATA_ERROR);
}

TEST(FirReadCurves, HandsOutCurvesOffsetsAndGains) {
    const PlainModel model = smallModel();
    Reading reading(plainText(model));
    ASSERT_EQ(reading.scan(), FIR_OK);
    EXPECT_THAT(reading.offsets, ElementsAre(0, 30, 60, 90, -1, 120));
    EXPECT_EQ(reading.gains[4], 0.0);
    for (const std::size_t pair : {0U, 1U, 2U, 3U, 5U}) {
        const std::vector<double>& curve = model.curves[pair];
        const double gain = pair == 2 || pair == 3 ? curve[29] - curve[28] : curve[29];
        EXPECT_NEAR(reading.gains[pair], gain, 1e-15 * std::fabs(curve[29]));
        for (std::size_t k = 0; k < 30; ++k) {
            EXPECT_NEAR(static_cast<double>(reading.data[static_cast<std::size_t>(reading.offsets[pair]) + k]),
                        curve[k], 6e-7 * std::fabs(curve[k]));
        }
    }
}

TEST(FirReadCurves, TakesAnyOfItsArraysForUnwanted) {
    Reading reading(plainText(smallModel()));
    ASSERT_EQ(reading.scan(), FIR_OK);
    std::vector<int> offsets(6);
    std::vector<float> data(180, 77.0F);
    std::vector<double> gains(6);
    EXPECT_EQ(firReadCurves(&reading.handle, nullptr, nullptr, nullptr), FIR_OK);
    EXPECT_EQ(firReadCurves(&reading.handle, offsets.data(), nullptr, nullptr), FIR_OK);
    EXPECT_EQ(firReadCurves(&reading.handle, nullptr, data.data(), nullptr), FIR_OK);
    EXPECT_EQ(firReadCurves(&reading.handle, nullptr, nullptr, gains.data()), FIR_OK);
    EXPECT_EQ(offsets, reading.offsets);
    EXPECT_EQ(data, reading.data);
    EXPECT_EQ(gains, reading.gains);
}

TEST(FirReadCurves, DerivesTheGainOfAnOtherVersionFromTheRoundedCoefficients) {
    PlainModel model = emptyModel(1, 3, 5);
    model.version = 1;
    model.outputs[1].ramp = 1;
    model.outputs[2].ramp = -1;  // not 0, though no ramp to ReadModel
    model.curves = {{1, 2, 3, 4, 0.1}, {1, 2, 3, 4, 4.5}, {1, 2, 3, 4, 4.5}};
    Reading reading(plainText(model));
    ASSERT_EQ(reading.scan(), FIR_OK);
    EXPECT_EQ(reading.gains[0], qormath::models::firRound7(static_cast<double>(0.1F)));
    EXPECT_EQ(reading.gains[1], 0.5);
    EXPECT_EQ(reading.gains[2], 0.5);
}

TEST(FirReadCurves, DerivesTheGainOfASingleCoefficient) {
    PlainModel model = emptyModel(1, 2, 1);
    model.version = 1;
    model.outputs[1].ramp = 1;
    std::string text = plainText(model);
    const std::string zeros = "   0.000000e+00   0.000000e+00   0.000000e+00   0.000000e+00   0.000000e+00";
    text = replaced(replaced(text, zeros, "2.5 9 9 9 9"), zeros, "3.5 9 9 9 9");
    Reading reading(text);
    ASSERT_EQ(reading.scan(), FIR_OK);
    EXPECT_THAT(reading.gains, ElementsAre(2.5, 3.5));
    EXPECT_THAT(reading.data, ElementsAre(2.5F, 3.5F));
}

TEST(FirReadCurves, HoldsTheWholeLastLineOfACountThatIsNoMultipleOfFive) {
    for (int count = 1; count <= 12; ++count) {
        for (const int version : {9896, 1}) {
            PlainModel model = emptyModel(2, 2, count);
            model.version = version;
            for (auto& curve : model.curves) {
                for (int k = 0; k < std::max(count, 2); ++k) {
                    curve.push_back(k + 1);
                }
                curve.resize(static_cast<std::size_t>(count));
            }
            Reading reading(plainText(model));
            ASSERT_EQ(reading.status, FIR_OK) << count;
            ASSERT_EQ(reading.scan(), FIR_OK) << count;
            for (std::size_t k = 0; k < reading.data.size(); ++k) {
                EXPECT_EQ(reading.data[k], static_cast<float>(k % static_cast<std::size_t>(count) + 1)) << count;
            }
        }
    }
}

TEST(FirReadCurves, OfACountBelowOneIsABadHandleAndTouchesNothing) {
    for (const std::string count : {"0", "-5"}) {
        Reading reading(withLine(plainText(smallModel(30, 1)), coefficientCountLine, count));
        ASSERT_EQ(reading.status, FIR_OK);
        std::array<int, 6> offsets = {5, 5, 5, 5, 5, 5};
        EXPECT_EQ(firReadCurves(&reading.handle, offsets.data(), nullptr, nullptr), FIR_BAD_HANDLE);
        EXPECT_THAT(offsets, Each(Eq(5)));
        EXPECT_EQ(reading.handle.needsScan, 1);
        EXPECT_EQ(reading.handle.valueCount, -1);
    }
}

TEST(FirReadCurves, CountsTheCurvesOfAnOtherVersionOnceHoweverOftenItScans) {
    Reading reading(plainText(smallModel(30, 1)));
    ASSERT_EQ(reading.scan(), FIR_OK);
    ASSERT_EQ(reading.scan(), FIR_OK);
    EXPECT_THAT(std::vector<int>(reading.handle.curveCounts, reading.handle.curveCounts + 3), ElementsAre(2, 2, 1));
}

TEST(FirReadCurves, IgnoresTheGainFieldOfAnAllZeroCurve) {
    PlainModel model = smallModel();
    model.curves[4] = std::vector<double>(30, 0.0);
    std::string text = plainText(model);
    const std::string header = "IN0          VALVE                              0.000000000000000e+00";
    text = replaced(text, header, "IN0          VALVE                              7.000000000000000e+00");
    Reading reading(text);
    ASSERT_EQ(reading.scan(), FIR_OK);
    EXPECT_EQ(reading.offsets[4], -1);
    EXPECT_EQ(reading.gains[4], 0.0);
}

TEST(FirReadCurves, TakesANaNForAValue) {
    PlainModel model = emptyModel(1, 1, 5);
    model.curves[0] = {0.0, std::numeric_limits<double>::quiet_NaN(), 0.0, 0.0, 0.0};
    Reading reading(plainText(model));
    ASSERT_EQ(reading.scan(), FIR_OK);
    EXPECT_EQ(reading.offsets[0], 0);
    EXPECT_TRUE(std::isnan(reading.data[1]));
}

TEST(FirReadCurves, DoesNotFindAValueThatAFloatCannotHold) {
    PlainModel model = emptyModel(1, 1, 5);
    model.curves[0] = {0.0, 0.0, 1e-50, 0.0, 0.0};
    Reading reading(plainText(model));
    ASSERT_EQ(reading.status, FIR_OK);
    EXPECT_EQ(reading.handle.valueCount, 5);
    EXPECT_EQ(reading.scan(), FIR_COUNT_MISMATCH);
}

TEST(FirReadCurves, ParsesTheBlockHeaderInOtherVersionsOnly) {
    for (const int version : {9896, 1}) {
        Reading reading(replaced(plainText(smallModel(30, version)), "\nOUT1         SENSOR          1      0.000000\n",
                                 "\nOUT1\n"));
        ASSERT_EQ(reading.status, FIR_OK);
        EXPECT_EQ(reading.scan(), version == 9896 ? FIR_OK : FIR_OUTPUT_BLOCK_ERROR);
    }
}

TEST(FirReadCurves, DoesNotNeedTheFloatOfABlockHeader) {
    Reading reading(replaced(plainText(smallModel(30, 1)), "\nOUT1         SENSOR          1      0.000000\n",
                             "\nOUT1         SENSOR          1\n"));
    EXPECT_EQ(reading.scan(), FIR_OK);
    EXPECT_EQ(reading.handle.rampValues[1], 1);
}

TEST(FirReadCurves, AcceptsAGainAnywhereAfterColumn36) {
    PlainModel model = smallModel();
    const std::string text = plainText(model);
    const auto position = text.find("\nIN0          VALVE  ") + 1;
    Reading reading(text.substr(0, position) + std::string(36, '#') + "0x1.8p1 and so on" +
                    text.substr(text.find('\n', position)));
    ASSERT_EQ(reading.scan(), FIR_OK);
    EXPECT_EQ(reading.gains[0], 3.0);
}

TEST(FirReadCurves, CutOffAtADataLineIsADataErrorAndInVersion9896AMismatch) {
    for (const int version : {9896, 1}) {
        std::string text = plainText(smallModel(30, version));
        text.resize(text.rfind('\n', text.size() - 2) + 1);
        Reading reading(text);
        ASSERT_EQ(reading.status, FIR_OK);
        EXPECT_EQ(reading.scan(), version == 9896 ? FIR_COUNT_MISMATCH : FIR_DATA_ERROR);
        // The scan is done all the same.
        EXPECT_EQ(reading.handle.valueCount, 120);
        EXPECT_EQ(reading.handle.needsScan, 0);
    }
}

TEST(FirReadCurves, KeepsTheStatusOfADamageBehindTheLastValue) {
    PlainModel model = smallModel();
    model.curves[5].clear();
    std::string text = plainText(model);
    text.resize(text.rfind('\n', text.size() - 2) + 1);
    Reading reading(text);
    EXPECT_EQ(reading.scan(), FIR_DATA_ERROR);
}

TEST(FirReadCurves, StopsAtOnceWhereAnOutputHasNotItsNumberOfCurves) {
    // The first two outputs swap one curve between their counts, so that the header is in order.
    std::string text = plainText(smallModel());
    text = replaced(text, "OUT0         SENSOR           0     2", "OUT0         SENSOR           0     1");
    text = replaced(text, "OUT1         SENSOR           1     2", "OUT1         SENSOR           1     3");
    Reading reading(text);
    ASSERT_EQ(reading.status, FIR_OK);
    reading.handle.needsScan = 1;
    EXPECT_EQ(reading.scan(), FIR_COUNT_MISMATCH);
    // Nothing was concluded from the rest of the file.
    EXPECT_EQ(reading.handle.valueCount, 150);
    EXPECT_EQ(reading.handle.needsScan, 1);
    EXPECT_EQ(reading.offsets[1], 30);
    EXPECT_EQ(reading.offsets[2], -1);
}

TEST(FirReadCurves, WritesNoDataBeyondThePromisedCount) {
    // Counts that agree with each other promise less than the blocks hold.
    std::string text = withLine(plainText(smallModel()), valueCountLine, "30");
    text = replaced(text, "OUT0         SENSOR           0     2", "OUT0         SENSOR           0     1");
    text = replaced(text, "OUT1         SENSOR           1     2", "OUT1         SENSOR           1     0");
    text = replaced(text, "OUT2         SENSOR           0     1", "OUT2         SENSOR           0     0");
    Reading reading(text);
    ASSERT_EQ(reading.status, FIR_OK);
    EXPECT_EQ(reading.scan(), FIR_COUNT_MISMATCH);
    EXPECT_EQ(reading.offsets[0], 0);
    EXPECT_EQ(reading.offsets[1], -1);
    EXPECT_TRUE(std::all_of(reading.data.begin() + 30, reading.data.end(), [](float v) { return v == 77.0F; }));
}

TEST(FirReadCurves, CallsProgressAfterEachBlockWithFractionsOfTheOutputs) {
    Reading reading(plainText(smallModel()));
    ASSERT_EQ(firSetProgress(&reading.handle, noteFraction), FIR_OK);
    fractions.clear();
    ASSERT_EQ(reading.scan(), FIR_OK);
    EXPECT_THAT(fractions, ElementsAre(0.0F, 1.0F / 3.0F, 2.0F / 3.0F));
}

TEST(FirReadCurves, DoesNoHarmWithZeroBytesInTheFile) {
    const std::string text = plainText(smallModel());
    for (std::size_t position = 0; position < text.size(); position += 7) {
        std::string damaged = text;
        damaged[position] = '\0';
        Reading reading(damaged);
        const PlainFIRFile plain(reading.file.name());
        ASSERT_EQ(reading.status, plain.openStatus) << position;
        if (reading.status == FIR_OK) {
            ASSERT_EQ(reading.scan(), plain.scanStatus) << position;
        }
    }
}

TEST(FirReadCurves, LooksAtNoLocale) {
    const std::string text = plainText(smallModel());
    Reading plain(text);
    ASSERT_EQ(plain.scan(), FIR_OK);
    const CommaLocale locale;
    Reading reading(text);
    ASSERT_EQ(reading.scan(), FIR_OK);
    EXPECT_EQ(reading.data, plain.data);
    EXPECT_EQ(reading.gains, plain.gains);
}

TEST(FirReadCurves, ReadsEveryExampleModelAsThePlainReaderDoes) {
    int models = 0;
    for (const auto& entry : std::filesystem::directory_iterator(QORMATH_EXAMPLE_MODELS)) {
        if (entry.path().extension() != ".fir") {
            continue;
        }
        ++models;
        const PlainFIRFile plain(entry.path().string());
        Reading reading(textOfFile(entry.path().string()));
        ASSERT_EQ(reading.status, FIR_OK) << entry.path();
        ASSERT_EQ(reading.scan(), FIR_OK) << entry.path();
        EXPECT_EQ(reading.handle.valueCount, static_cast<int>(plain.data.size()));
        EXPECT_TRUE(std::equal(plain.data.begin(), plain.data.end(), reading.data.begin()));
        EXPECT_EQ(
            std::count(reading.offsets.begin(), reading.offsets.end(), -1) + static_cast<long>(plain.curves.size()),
            static_cast<long>(reading.offsets.size()));
        for (const PlainCurve& curve : plain.curves) {
            EXPECT_EQ(reading.offsets[static_cast<std::size_t>(plain.inputCount) * curve.output + curve.input],
                      curve.offset);
        }
    }
    EXPECT_EQ(models, 7);
}

TEST(FirHandle, WithoutAStreamIsRefusedEverywhere) {
    FIRFileHandle closed;
    EXPECT_EQ(firOpenRead(&closed, nullptr), FIR_NO_FILE_NAME);
    for (FIRFileHandle* handle : {static_cast<FIRFileHandle*>(nullptr), &closed}) {
        EXPECT_EQ(firGetHeader(handle, nullptr, nullptr, nullptr, nullptr, nullptr), FIR_BAD_HANDLE);
        EXPECT_EQ(firGetValueCount(handle, nullptr), FIR_BAD_HANDLE);
        EXPECT_EQ(firGetInput(handle, 0, nullptr, nullptr), FIR_BAD_HANDLE);
        EXPECT_EQ(firGetOutput(handle, 0, nullptr, nullptr, nullptr, nullptr), FIR_BAD_HANDLE);
        EXPECT_EQ(firReadCurves(handle, nullptr, nullptr, nullptr), FIR_BAD_HANDLE);
        EXPECT_EQ(firSetProgress(handle, nullptr), FIR_BAD_HANDLE);
        EXPECT_EQ(firSetHeader(handle, 1, 1, 30, 60, "x"), FIR_BAD_HANDLE);
        EXPECT_EQ(firSetInput(handle, 0, "x", "x"), FIR_BAD_HANDLE);
        EXPECT_EQ(firSetOutput(handle, 0, "x", "x", 0), FIR_BAD_HANDLE);
        EXPECT_EQ(firWriteCurves(handle, nullptr, nullptr), FIR_BAD_HANDLE);
        firClose(handle);
    }
    expectCleared(closed);
}

TEST(FirHandle, IsClearedByClosingAndCanBeOpenedAgain) {
    Reading reading(plainText(smallModel()));
    ASSERT_EQ(reading.status, FIR_OK);
    firClose(&reading.handle);
    expectCleared(reading.handle);
    firClose(&reading.handle);
    ASSERT_EQ(firOpenRead(&reading.handle, reading.file.name().c_str()), FIR_OK);
    EXPECT_EQ(reading.scan(), FIR_OK);
}

TEST(FirHandle, GivesTheHeaderIntoWhatIsWanted) {
    Reading reading(plainText(smallModel()));
    EXPECT_EQ(firGetHeader(&reading.handle, nullptr, nullptr, nullptr, nullptr, nullptr), FIR_OK);
    int inputs = 0;
    int outputs = 0;
    int count = 0;
    int seconds = 0;
    std::array<char, 256> comment{};
    EXPECT_EQ(firGetHeader(&reading.handle, &inputs, &outputs, &count, &seconds, comment.data()), FIR_OK);
    EXPECT_EQ(inputs, 2);
    EXPECT_EQ(outputs, 3);
    EXPECT_EQ(count, 30);
    EXPECT_EQ(seconds, 1800);
    EXPECT_STREQ(comment.data(), "No comment");
}

TEST(FirHandle, ScansForTheValueCountOfAnOtherVersion) {
    Reading current(plainText(smallModel()));
    int count = 0;
    EXPECT_EQ(firGetValueCount(&current.handle, &count), FIR_OK);
    EXPECT_EQ(count, 150);
    Reading other(plainText(smallModel(30, 1)));
    EXPECT_EQ(firGetValueCount(&other.handle, nullptr), FIR_OK);
    EXPECT_EQ(other.handle.needsScan, 0);
    EXPECT_EQ(firGetValueCount(&other.handle, &count), FIR_OK);
    EXPECT_EQ(count, 150);
    std::string text = plainText(smallModel(30, 1));
    text.resize(text.size() / 2);
    Reading damaged(text);
    count = -5;
    EXPECT_EQ(firGetValueCount(&damaged.handle, &count), FIR_DATA_ERROR);
    EXPECT_EQ(count, -5);
}

TEST(FirHandle, ScansForTheTextsOfAnOtherVersion) {
    std::array<char, 13> name{};
    std::array<char, 13> descriptor{};
    int ramp = 0;
    int curves = 0;
    Reading inputs(plainText(smallModel(30, 1)));
    EXPECT_EQ(firGetInput(&inputs.handle, 1, name.data(), descriptor.data()), FIR_OK);
    EXPECT_STREQ(name.data(), "IN1");
    EXPECT_STREQ(descriptor.data(), "VALVE");
    Reading outputs(plainText(smallModel(30, 1)));
    EXPECT_EQ(firGetOutput(&outputs.handle, 1, name.data(), descriptor.data(), &ramp, &curves), FIR_OK);
    EXPECT_STREQ(name.data(), "OUT1");
    EXPECT_STREQ(descriptor.data(), "SENSOR");
    EXPECT_EQ(ramp, 1);
    EXPECT_EQ(curves, 2);
    EXPECT_EQ(firGetOutput(&outputs.handle, 2, nullptr, nullptr, nullptr, nullptr), FIR_OK);
    std::string text = plainText(smallModel(30, 1));
    text.resize(text.size() / 2);
    Reading damaged(text);
    EXPECT_EQ(firGetInput(&damaged.handle, 0, name.data(), nullptr), FIR_DATA_ERROR);
    Reading damagedToo(text);
    EXPECT_EQ(firGetOutput(&damagedToo.handle, 0, nullptr, nullptr, &ramp, nullptr), FIR_DATA_ERROR);
}

TEST(FirHandle, RefusesAnIndexOutsideTheCounts) {
    Reading reading(plainText(smallModel(30, 1)));
    for (const int index : {-1, 2, std::numeric_limits<int>::max(), std::numeric_limits<int>::min()}) {
        EXPECT_EQ(firGetInput(&reading.handle, index, nullptr, nullptr), FIR_BAD_INDEX);
    }
    for (const int index : {-1, 3}) {
        EXPECT_EQ(firGetOutput(&reading.handle, index, nullptr, nullptr, nullptr, nullptr), FIR_BAD_INDEX);
    }
    // An index is refused before anything is scanned for it.
    EXPECT_EQ(reading.handle.needsScan, 1);
}
