#include "model_file.hpp"

#include <cfloat>
#include <functional>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <limits>
#include <string>
#include <support/temporary_folder.hpp>

#include "models.hpp"
#include "program_error.hpp"
#include "program_run.hpp"

namespace qormath::cli {
namespace {

using qormath::test::exampleModel;
using qormath::test::modelOf;
using qormath::test::TemporaryFolder;
using qormath::test::textOfFile;
using qormath::test::textsOf;
using qormath::test::writeFile;
using qormath::test::zeroModel;
using testing::ElementsAre;
using testing::IsEmpty;

std::string errorOf(const std::function<void()>& action) {
    try {
        action();
    } catch (const ProgramError& error) {
        return error.what();
    }
    return "no error";
}

TEST(ReadModelFile, ReadsAPublishedPlant) {
    const LTIFIRModel model = readModelFile(exampleModel("surge_drum.fir"));
    EXPECT_EQ(inputCountOf(model), 3);
    EXPECT_EQ(outputCountOf(model), 2);
    EXPECT_EQ(model.coefficientCount, 90);
    EXPECT_EQ(sampleTimeOf(model), 20.0);
    EXPECT_THAT(namesOf(model.inputNames), ElementsAre("FEED", "OUTFLOW", "STEAM"));
    EXPECT_THAT(rampNamesOf(model), ElementsAre("LEVEL"));
}

TEST(ReadModelFile, NamesTheFileAndTheLineOfItsDamage) {
    const TemporaryFolder folder;
    const std::string path = folder.file("model.fir");
    EXPECT_EQ(errorOf([&] { readModelFile(path); }), path + ": cannot be read: No such file or directory");
    writeFile(path, "");
    EXPECT_EQ(errorOf([&] { readModelFile(path); }), path + ": is not a model file: the file is empty");
    writeFile(path, "comment\n0\nx\n");
    EXPECT_EQ(errorOf([&] { readModelFile(path); }),
              path + ": is not a model file: line 3: expected the number of inputs, found \"x\"");
    EXPECT_EQ(errorOf([&] { readModelFile(folder.path()); }), folder.path() + ": is a directory, not a model file");
    EXPECT_EQ(errorOf([&] { readModelFile("/dev/null"); }), "/dev/null: is not a regular file; copy the model to one");
}

TEST(SampleTimeOf, IsTheExactQuotient) {
    LTIFIRModel model = zeroModel(1, 1, 30);
    model.horizonSeconds = 100;
    EXPECT_EQ(sampleTimeOf(model), 100.0 / 30.0);
    model.horizonSeconds = 15;
    EXPECT_EQ(sampleTimeOf(model), 0.5);
}

TEST(NamesOf, AreUtf8) {
    LTIFIRModel model = zeroModel(1, 1, 30);
    model.inputNames[0] = "K\xDCHLER";
    EXPECT_THAT(namesOf(model.inputNames), ElementsAre("K\xC3\x9CHLER"));
}

TEST(WriteModelFile, WritesWhatReadModelFileReads) {
    const TemporaryFolder folder;
    const std::string path = folder.file("model.fir");
    const LTIFIRModel model = readModelFile(exampleModel("surge_drum.fir"));
    writeModelFile(path, model);
    const LTIFIRModel back = readModelFile(path);
    EXPECT_EQ(textOfFile(path), textOfFile(exampleModel("surge_drum.fir")));
    EXPECT_THAT(namesOf(back.outputNames), namesOf(model.outputNames));
    EXPECT_THAT(folder.names(), ElementsAre("model.fir"));
}

TEST(WriteModelFile, LeavesTheModelAsItIs) {
    const TemporaryFolder folder;
    const LTIFIRModel model = zeroModel(1, 1, 30);
    writeModelFile(folder.file("model.fir"), model);
    EXPECT_EQ(model.coefficients(0, 0).size(), 31);
}

TEST(WriteModelFile, StoresCurvesThatSinglePrecisionCannotTellFromZeroAsNullCurves) {
    const TemporaryFolder folder;
    const std::string path = folder.file("model.fir");
    writeModelFile(path, modelOf(1, 2, 30, [](int output, int, int) { return output == 0 ? 1e-50 : 1e-30; }));
    const LTIFIRModel back = readModelFile(path);
    EXPECT_EQ(back.coefficients(0, 0).size(), 0);
    EXPECT_EQ(back.coefficients(0, 1).size(), 31);
}

TEST(WriteModelFile, RefusesACountThatTheFormatDoesNotKnow) {
    const TemporaryFolder folder;
    const std::string path = folder.file("model.fir");
    for (const int count : {0, 1, 15, 29, 31, 40, 50, 100}) {
        EXPECT_EQ(errorOf([&] { writeModelFile(path, zeroModel(1, 1, count)); }),
                  path +
                      ": cannot be written: a model file has curves of a multiple of 30, 45, 75 or 105 "
                      "coefficients, this model has " +
                      std::to_string(count));
    }
    EXPECT_THAT(folder.names(), IsEmpty());
    for (const int count : {30, 45, 60, 75, 90, 105, 120}) {
        EXPECT_EQ(errorOf([&] { writeModelFile(path, zeroModel(1, 1, count)); }), "no error");
    }
}

TEST(WriteModelFile, RefusesValuesThatCannotBeReadAgain) {
    const TemporaryFolder folder;
    const std::string path = folder.file("model.fir");
    constexpr double infinity = std::numeric_limits<double>::infinity();
    for (const double value : {1e39, -1e39, infinity, -infinity, std::numeric_limits<double>::quiet_NaN()}) {
        LTIFIRModel model = zeroModel(2, 2, 30);
        model.coefficients(1, 0)[30] = value;
        EXPECT_EQ(errorOf([&] { writeModelFile(path, model); }),
                  path +
                      ": cannot be written: the step response of output Y1 to input U2 grows beyond what a model "
                      "file can hold");
    }
    EXPECT_THAT(folder.names(), IsEmpty());
    LTIFIRModel model = zeroModel(1, 1, 30);
    model.coefficients(0, 0)[30] = FLT_MAX;
    EXPECT_EQ(errorOf([&] { writeModelFile(path, model); }), "no error");
}

TEST(WriteModelFile, ReportsAFullDevice) {
    EXPECT_EQ(errorOf([] { writeModelFile("/dev/full", zeroModel(1, 1, 30)); }),
              "/dev/full: cannot be written: No space left on device");
}

TEST(WriteModelFile, RefusesAFolder) {
    const TemporaryFolder folder;
    EXPECT_EQ(errorOf([&] { writeModelFile(folder.path(), zeroModel(1, 1, 30)); }),
              folder.path() + ": cannot be written: Is a directory");
}

}  // namespace
}  // namespace qormath::cli
