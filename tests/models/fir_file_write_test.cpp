#include <array>
#include <csignal>
#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <limits>
#include <models/small_fir_models.hpp>
#include <string>
#include <support/comma_locale.hpp>
#include <support/plain_fir_file.hpp>
#include <support/temporary_file.hpp>
#include <vector>

#include <qormath/models/fir_file.hpp>

using namespace qormath::test;
using testing::Each;
using testing::ElementsAre;
using testing::StartsWith;
using testing::StrEq;

namespace {

const double* curveOf(void* context, int output, int input) {
    const auto& model = *static_cast<PlainModel*>(context);
    const auto& curve =
        model.curves[model.inputs.size() * static_cast<std::size_t>(output) + static_cast<std::size_t>(input)];
    return curve.empty() ? nullptr : curve.data();
}

// Opens `path` for writing and sets everything but the curves.
class Writing {
  public:
    Writing(const std::string& path, const PlainModel& plain) : model(plain) {
        EXPECT_EQ(firOpenWrite(&handle, path.c_str()), FIR_OK);
        EXPECT_EQ(firSetHeader(&handle, static_cast<int>(model.inputs.size()), static_cast<int>(model.outputs.size()),
                               model.coefficientCount, model.horizonSeconds, model.comment.c_str()),
                  FIR_OK);
        for (std::size_t i = 0; i < model.inputs.size(); ++i) {
            EXPECT_EQ(firSetInput(&handle, static_cast<int>(i), model.inputs[i].name.c_str(),
                                  model.inputs[i].descriptor.c_str()),
                      FIR_OK);
        }
        for (std::size_t j = 0; j < model.outputs.size(); ++j) {
            EXPECT_EQ(firSetOutput(&handle, static_cast<int>(j), model.outputs[j].name.c_str(),
                                   model.outputs[j].descriptor.c_str(), model.outputs[j].ramp),
                      FIR_OK);
        }
    }
    Writing(const Writing&) = delete;
    Writing& operator=(const Writing&) = delete;
    ~Writing() { firClose(&handle); }

    int write() { return firWriteCurves(&handle, curveOf, &model); }

    PlainModel model;
    FIRFileHandle handle{};
};

std::string written(const PlainModel& model) {
    const TemporaryFile file;
    {
        Writing writing(file.name(), model);
        EXPECT_EQ(writing.write(), FIR_OK);
    }
    return textOfFile(file.name());
}

std::vector<float> fractions;

int noteFraction(FIRFileHandle*, float fraction) {
    fractions.push_back(fraction);
    return 1;
}

// Everything that is written to it is refused with a full disk.
const char* const fullDisk = "/dev/full";

constexpr double infinity = std::numeric_limits<double>::infinity();

}  // namespace

TEST(FirOpenWrite, TellsMissingArgumentsAndFolders) {
    FIRFileHandle handle;
    EXPECT_EQ(firOpenWrite(&handle, nullptr), FIR_NO_FILE_NAME);
    EXPECT_EQ(handle.version, -999);
    EXPECT_EQ(firOpenWrite(nullptr, "x"), FIR_BAD_HANDLE);
    EXPECT_EQ(firOpenWrite(&handle, (testing::TempDir() + "no-such-folder/model.fir").c_str()), FIR_OPEN_FAILED);
    EXPECT_EQ(handle.stream, nullptr);
}

TEST(FirOpenWrite, MakesAClearedHandleOfTheWrittenVersion) {
    const TemporaryFile file("something old");
    FIRFileHandle handle;
    ASSERT_EQ(firOpenWrite(&handle, file.name().c_str()), FIR_OK);
    EXPECT_NE(handle.stream, nullptr);
    EXPECT_EQ(handle.version, FIR_FILE_VERSION);
    EXPECT_EQ(handle.needsScan, 1);
    EXPECT_EQ(handle.inputCount, 0);
    EXPECT_EQ(handle.comment, nullptr);
    firClose(&handle);
    EXPECT_EQ(textOfFile(file.name()), "");
}

TEST(FirWriteCurves, WritesTheFileOfOneLagByteForByte) {
    PlainModel model;
    model.coefficientCount = 30;
    model.horizonSeconds = 1800;
    model.inputs = {{"FEED", "INLET", 0}};
    model.outputs = {{"TEMP", "REACTOR", 0}};
    model.curves = {{0.307037, 0.566937, 0.786939, 0.973166, 1.130804, 1.264241, 1.377194, 1.472806,
                     1.553740, 1.622249, 1.680241, 1.729329, 1.770882, 1.806056, 1.835830, 1.861033,
                     1.882367, 1.900426, 1.915712, 1.928652, 1.939605, 1.948877, 1.956725, 1.963369,
                     1.968992, 1.973753, 1.977782, 1.981193, 1.984080, 1.986524}};
    EXPECT_EQ(written(model),
              "No comment\n"
              "           0\n"
              "           1\n"
              "           1\n"
              "          30\n"
              "          30\n"
              "       30.000000\n"
              "     9896.000000\n"
              "     -999.000000                    FEED         INLET       \n"
              "       -0.000000                    TEMP         REACTOR          0     1\n"
              "TEMP         REACTOR         0      0.000000\n"
              "        0.000000\n"
              "        0.000000\n"
              "        0.000000\n"
              "        0.000000\n"
              "        0.000000\n"
              "        0.000000\n"
              "        0.000000\n"
              "        0.000000\n"
              "        0.000000\n"
              "        0.000000\n"
              "FEED         INLET                              1.986524000000000e+00\n"
              "   3.070370e-01   5.669370e-01   7.869390e-01   9.731660e-01   1.130804e+00\n"
              "   1.264241e+00   1.377194e+00   1.472806e+00   1.553740e+00   1.622249e+00\n"
              "   1.680241e+00   1.729329e+00   1.770882e+00   1.806056e+00   1.835830e+00\n"
              "   1.861033e+00   1.882367e+00   1.900426e+00   1.915712e+00   1.928652e+00\n"
              "   1.939605e+00   1.948877e+00   1.956725e+00   1.963369e+00   1.968992e+00\n"
              "   1.973753e+00   1.977782e+00   1.981193e+00   1.984080e+00   1.986524e+00\n");
}

TEST(FirWriteCurves, WritesWhatFprintfWrites) {
    for (const auto& [inputs, outputs] :
         std::vector<std::pair<int, int>>{{0, 0}, {0, 3}, {3, 0}, {1, 1}, {7, 4}, {12, 15}}) {
        PlainModel model = emptyModel(inputs, outputs, 45);
        model.horizonSeconds = 7 * inputs + 1;
        double gain = 1e-8;
        for (std::size_t pair = 0; pair < model.curves.size(); ++pair, gain *= -1.7) {
            if (pair % 5 != 3) {
                model.curves[pair] = lagCurve(gain, 3.0 + static_cast<double>(pair), 45);
            }
            if (pair % 11 == 0) {
                model.outputs[pair / model.inputs.size()].ramp = 1;
            }
        }
        EXPECT_EQ(written(model), plainText(model)) << inputs << " by " << outputs;
    }
}

TEST(FirWriteCurves, WritesInfinityNaNAndMinusZeroAsPrintfDoes) {
    PlainModel model = emptyModel(1, 2, 5);
    model.curves[0] = {-0.0, infinity, -infinity, 1e-320, std::numeric_limits<double>::quiet_NaN()};
    model.curves[1] = {1e300, -1e-300, 123456789.5, -0.0, -infinity};
    EXPECT_EQ(written(model), plainText(model));
}

TEST(FirWriteCurves, LooksAtNoLocale) {
    const PlainModel model = smallModel();
    const std::string text = plainText(model);
    const CommaLocale locale;
    EXPECT_EQ(written(model), text);
}

TEST(FirWriteCurves, CountsNoValuesWhereAllCurvesAreZero) {
    PlainModel model = emptyModel(2, 2, 30);
    model.curves[1] = std::vector<double>(30, 0.0);
    model.curves[2] = std::vector<double>(30, -0.0);
    const TemporaryFile file;
    Writing writing(file.name(), model);
    ASSERT_EQ(writing.write(), FIR_OK);
    EXPECT_EQ(writing.handle.valueCount, 0);
    EXPECT_THAT(std::vector<int>(writing.handle.curveCounts, writing.handle.curveCounts + 2), Each(0));
    firClose(&writing.handle);
    FIRFileHandle handle;
    ASSERT_EQ(firOpenRead(&handle, file.name().c_str()), FIR_OK);
    EXPECT_EQ(handle.valueCount, 0);
    std::array<int, 4> offsets{};
    EXPECT_EQ(firReadCurves(&handle, offsets.data(), nullptr, nullptr), FIR_OK);
    EXPECT_THAT(offsets, Each(-1));
    firClose(&handle);
}

TEST(FirWriteCurves, CountsAnyValueButZeroAndNaNToo) {
    PlainModel model = emptyModel(3, 1, 5);
    model.curves[0] = {0, 0, 0, 0, 1e-320};
    model.curves[1] = {0, 0, std::numeric_limits<double>::quiet_NaN(), 0, 0};
    model.curves[2] = {0, 0, 0, 0, 0};
    const TemporaryFile file;
    Writing writing(file.name(), model);
    ASSERT_EQ(writing.write(), FIR_OK);
    EXPECT_EQ(writing.handle.valueCount, 10);
    EXPECT_EQ(writing.handle.curveCounts[0], 2);
}

TEST(FirWriteCurves, TakesTheLastStepForTheGainOfARamp) {
    PlainModel model = emptyModel(1, 2, 5);
    model.outputs[1].ramp = 1;
    model.curves[0] = {1, 2, 3, 4.0, 4.5};
    model.curves[1] = {1, 2, 3, 4.0, 4.5};
    const TemporaryFile file(written(model));
    const PlainFIRFile plain(file.name());
    ASSERT_EQ(plain.curves.size(), 2U);
    EXPECT_EQ(plain.curves[0].gain, 4.5);
    EXPECT_EQ(plain.curves[1].gain, 0.5);
}

TEST(FirWriteCurves, TakesOnlyARampValueAboveZeroForARamp) {
    PlainModel model = emptyModel(1, 1, 5);
    model.outputs[0].ramp = -1;
    model.curves[0] = {1, 2, 3, 4.0, 4.5};
    const TemporaryFile file(written(model));
    EXPECT_EQ(PlainFIRFile(file.name()).curves.at(0).gain, 4.5);
}

// The callback owes n values; what lies behind them is not looked at.
TEST(FirWriteCurves, FillsTheLastLineOfACountThatIsNoMultipleOfFive) {
    for (int count = 1; count <= 9; ++count) {
        PlainModel model = emptyModel(1, 2, count);
        model.outputs[1].ramp = 1;
        for (auto& curve : model.curves) {
            curve = lagCurve(2.0, 3.0, count);
            curve.shrink_to_fit();
        }
        const TemporaryFile file(written(model));
        const PlainFIRFile plain(file.name());
        ASSERT_EQ(plain.scanStatus, 0) << count;
        EXPECT_EQ(plain.data.size(), 2U * static_cast<std::size_t>(count));
        const double first = count > 1 ? model.curves[1][static_cast<std::size_t>(count) - 2] : 0.0;
        EXPECT_NEAR(plain.curves[1].gain, model.curves[1].back() - first, 1e-15);
    }
}

TEST(FirWriteCurves, WantsACallback) {
    const TemporaryFile file;
    Writing writing(file.name(), smallModel());
    EXPECT_EQ(firWriteCurves(&writing.handle, nullptr, &writing.model), FIR_NO_CALLBACK);
    EXPECT_EQ(firWriteCurves(nullptr, nullptr, nullptr), FIR_BAD_HANDLE);
}

TEST(FirWriteCurves, WantsACommentThatFitsALine) {
    const TemporaryFile file;
    FIRFileHandle handle;
    ASSERT_EQ(firOpenWrite(&handle, file.name().c_str()), FIR_OK);
    ASSERT_EQ(firSetHeader(&handle, 0, 0, 30, 60, nullptr), FIR_OK);
    EXPECT_EQ(firWriteCurves(&handle, curveOf, nullptr), FIR_HEADER_ERROR);
    ASSERT_EQ(firSetHeader(&handle, 0, 0, 30, 60, std::string(255, 'c').c_str()), FIR_OK);
    EXPECT_EQ(firWriteCurves(&handle, curveOf, nullptr), FIR_HEADER_ERROR);
    ASSERT_EQ(firSetHeader(&handle, 0, 0, 30, 60, std::string(254, 'c').c_str()), FIR_OK);
    EXPECT_EQ(firWriteCurves(&handle, curveOf, nullptr), FIR_OK);
    firClose(&handle);
    EXPECT_THAT(textOfFile(file.name()), StartsWith(std::string(254, 'c') + "\n           0\n"));
}

TEST(FirWriteCurves, WantsEveryText) {
    const TemporaryFile file;
    for (int text = 0; text < 4; ++text) {
        Writing writing(file.name(), smallModel());
        char** const table =
            std::array{writing.handle.inputNames, writing.handle.inputDescriptors, writing.handle.outputNames,
                       writing.handle.outputDescriptors}[static_cast<std::size_t>(text)];
        table[1] = nullptr;
        EXPECT_EQ(writing.write(), FIR_HEADER_ERROR) << text;
    }
}

TEST(FirWriteCurves, CallsProgressAfterEachBlockWithInputsByOutputs) {
    const TemporaryFile file;
    Writing writing(file.name(), smallModel());
    ASSERT_EQ(firSetProgress(&writing.handle, noteFraction), FIR_OK);
    fractions.clear();
    ASSERT_EQ(writing.write(), FIR_OK);
    EXPECT_THAT(fractions, ElementsAre(2.0F / 3.0F, 2.0F / 3.0F, 2.0F / 3.0F));
}

TEST(FirWriteCurves, TellsAFullDiskByTheLineThatItRefuses) {
    if (!std::filesystem::exists(fullDisk)) {
        GTEST_SKIP() << "this system has no " << fullDisk;
    }
    EXPECT_EQ(Writing(fullDisk, smallModel()).write(), FIR_DATA_ERROR);
    EXPECT_EQ(Writing(fullDisk, emptyModel(20, 20, 90)).write(), FIR_DATA_ERROR);
    EXPECT_EQ(Writing(fullDisk, emptyModel(2, 0, 30)).write(), FIR_HEADER_ERROR);
    EXPECT_EQ(Writing(fullDisk, emptyModel(0, 2, 30)).write(), FIR_HEADER_ERROR);
    // Lists that are larger than what is kept back before the system is asked.
    EXPECT_EQ(Writing(fullDisk, emptyModel(5000, 1, 30)).write(), FIR_HEADER_ERROR);
    EXPECT_EQ(Writing(fullDisk, emptyModel(0, 5000, 30)).write(), FIR_HEADER_ERROR);
}

TEST(FirSetHeader, MakesTablesOfEmptyTexts) {
    const TemporaryFile file;
    FIRFileHandle handle;
    ASSERT_EQ(firOpenWrite(&handle, file.name().c_str()), FIR_OK);
    ASSERT_EQ(firSetHeader(&handle, 2, 3, 45, 900, "first"), FIR_OK);
    EXPECT_EQ(handle.coefficientCount, 45);
    EXPECT_EQ(handle.horizonSeconds, 900);
    EXPECT_STREQ(handle.comment, "first");
    EXPECT_STREQ(handle.inputNames[1], "");
    EXPECT_STREQ(handle.outputDescriptors[2], "");
    EXPECT_EQ(handle.rampValues[2], 0);
    // A null comment leaves the one that is there; the tables are new.
    ASSERT_EQ(firSetInput(&handle, 0, "X", "Y"), FIR_OK);
    ASSERT_EQ(firSetHeader(&handle, 1, 0, 30, 60, nullptr), FIR_OK);
    EXPECT_STREQ(handle.comment, "first");
    EXPECT_STREQ(handle.inputNames[0], "");
    EXPECT_EQ(handle.outputNames, nullptr);
    ASSERT_EQ(firSetHeader(&handle, -1, -1, 30, 60, nullptr), FIR_OK);
    EXPECT_EQ(handle.inputNames, nullptr);
    firClose(&handle);
}

TEST(FirSetInput, RefusesIndicesOutsideTheCountsAndMissingNames) {
    const TemporaryFile file;
    Writing writing(file.name(), smallModel());
    FIRFileHandle* const handle = &writing.handle;
    for (const int index : {-1, 2}) {
        EXPECT_EQ(firSetInput(handle, index, "X", "Y"), FIR_BAD_INDEX);
        EXPECT_EQ(firSetInput(handle, index, nullptr, nullptr), FIR_BAD_INDEX);
    }
    EXPECT_EQ(firSetInput(handle, 0, nullptr, "Y"), FIR_NO_NAME);
    EXPECT_STREQ(handle->inputNames[0], "IN0");
    EXPECT_EQ(firSetInput(handle, 0, "X", nullptr), FIR_OK);
    EXPECT_STREQ(handle->inputNames[0], "X");
    EXPECT_STREQ(handle->inputDescriptors[0], "");
}

TEST(FirSetOutput, RefusesIndicesOutsideTheCountsAndMissingNames) {
    const TemporaryFile file;
    Writing writing(file.name(), smallModel());
    FIRFileHandle* const handle = &writing.handle;
    for (const int index : {-1, 3}) {
        EXPECT_EQ(firSetOutput(handle, index, "X", "Y", 0), FIR_BAD_INDEX);
    }
    EXPECT_EQ(firSetOutput(handle, 0, nullptr, "Y", 1), FIR_NO_NAME);
    EXPECT_EQ(handle->rampValues[0], 0);
    EXPECT_EQ(firSetOutput(handle, 0, "X", nullptr, 1), FIR_OK);
    EXPECT_STREQ(handle->outputDescriptors[0], "");
    EXPECT_EQ(handle->rampValues[0], 1);
}

TEST(FirSetInput, TakesTwelveCharacters) {
    const TemporaryFile file;
    Writing writing(file.name(), smallModel());
    EXPECT_EQ(firSetInput(&writing.handle, 0, "abcdefghijkl", "mnopqrstuvwx"), FIR_OK);
    EXPECT_STREQ(writing.handle.inputNames[0], "abcdefghijkl");
    EXPECT_STREQ(writing.handle.inputDescriptors[0], "mnopqrstuvwx");
}

using FirTextDeathTest = testing::Test;

TEST(FirTextDeathTest, StopsTheProcessAtATextThatDoesNotFit) {
    // A BLAS may have threads of its own, so the process that is to die is started anew.
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    // A process that stops does not remove its files.
    Writing writing("/dev/null", smallModel());
    FIRFileHandle* const handle = &writing.handle;
    const auto aborted = testing::KilledBySignal(SIGABRT);
    const auto tooLong = [](const std::string& function, const std::string& what) {
        return function + ": " + what + " has 13 characters, the limit is 12\n";
    };
    EXPECT_EXIT(firSetInput(handle, 0, "abcdefghijklm", "x"), aborted, StrEq(tooLong("firSetInput", "the name")));
    EXPECT_EXIT(firSetInput(handle, 0, "x", "abcdefghijklm"), aborted, StrEq(tooLong("firSetInput", "the descriptor")));
    EXPECT_EXIT(firSetOutput(handle, 0, "abcdefghijklm", "x", 0), aborted, StrEq(tooLong("firSetOutput", "the name")));
    EXPECT_EXIT(firSetOutput(handle, 0, "x", "abcdefghijklm", 0), aborted,
                StrEq(tooLong("firSetOutput", "the descriptor")));
    EXPECT_EXIT(firSetHeader(handle, 1, 1, 30, 60, std::string(256, 'c').c_str()), aborted,
                StrEq("firSetHeader: the comment has 256 characters, the limit is 255\n"));
}
