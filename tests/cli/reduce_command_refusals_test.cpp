// Bad input to reduce: one line on standard error that names the file and the cause, exit status 1, and every file as
// it was.

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "model_file.hpp"
#include "models.hpp"
#include "program_run.hpp"

namespace qormath::cli {
namespace {

using qormath::test::exampleModel;
using qormath::test::ProgramRun;
using qormath::test::replacedIn;
using qormath::test::RunOptions;
using qormath::test::runQormath;
using qormath::test::TemporaryFolder;
using qormath::test::textOfFile;
using qormath::test::writeFile;
using testing::UnorderedElementsAre;

/// A folder with a model and the old files of an earlier run.
class ReduceCommandRefusal : public testing::Test {
  protected:
    ReduceCommandRefusal() {
        writeFile(model, textOfFile(exampleModel("single_lag_30.fir")));
        writeFile(reduced, "old curves");
        writeFile(system, "old system");
    }

    /// What a run that is to fail says, without the program's name and the line's end. Both old files are to stay.
    std::string errorOf(const std::vector<std::string>& arguments, const RunOptions& options = {}) {
        std::vector<std::string> words{"reduce"};
        words.insert(words.end(), arguments.begin(), arguments.end());
        const std::string modelBefore = textOfFile(model);
        const ProgramRun run = runQormath(words, options);
        EXPECT_EQ(run.status, 1) << run.err;
        EXPECT_EQ(run.out, "");
        EXPECT_EQ(textOfFile(reduced), "old curves");
        EXPECT_EQ(textOfFile(system), "old system");
        EXPECT_EQ(textOfFile(model), modelBefore);
        EXPECT_THAT(folder.names(), UnorderedElementsAre("model.fir", "reduced.fir", "system.json"));
        const std::string start = "qormath: ";
        EXPECT_THAT(run.err, testing::StartsWith(start));
        EXPECT_EQ(run.err.find('\n'), run.err.size() - 1) << run.err;
        return run.err.size() > start.size() ? run.err.substr(start.size(), run.err.size() - start.size() - 1) : "";
    }

    /// The same of a run with the usual files and some more words.
    std::string errorWith(const std::vector<std::string>& more, const RunOptions& options = {}) {
        std::vector<std::string> words{model, "-o", reduced, "--state-space", system};
        words.insert(words.end(), more.begin(), more.end());
        return errorOf(words, options);
    }

    const TemporaryFolder folder;
    const std::string model = folder.file("model.fir");
    const std::string reduced = folder.file("reduced.fir");
    const std::string system = folder.file("system.json");
};

TEST_F(ReduceCommandRefusal, OfAnOrderAboveTheModels) {
    EXPECT_EQ(errorWith({"--order", "4"}),
              model + ": cannot be reduced: order 4 is above that of the model, which has 3 states");
    EXPECT_EQ(errorWith({"--order", "2147483647"}),
              model + ": cannot be reduced: order 2147483647 is above that of the model, which has 3 states");
}

TEST_F(ReduceCommandRefusal, OfADampingLimitThatIsNone) {
    for (const char* limit : {"-0.1", "1.5", "nan", "inf", "-inf"}) {
        EXPECT_EQ(errorWith({"--damping", limit}),
                  model + ": cannot be reduced: the damping limit is not between 0 and 1")
            << limit;
    }
}

TEST_F(ReduceCommandRefusal, OfACurveToleranceThatIsNone) {
    for (const char* tolerance : {"0", "-1", "nan"}) {
        EXPECT_EQ(errorWith({"--curve-tolerance", tolerance}),
                  model + ": cannot be reduced: the curve tolerance is not a number above 0")
            << tolerance;
    }
}

TEST_F(ReduceCommandRefusal, OfAGainToleranceThatIsNone) {
    for (const char* tolerance : {"nan", "inf", "-inf"}) {
        EXPECT_EQ(errorWith({"--gain-tolerance", tolerance}),
                  model + ": cannot be reduced: the gain tolerance is not a finite number")
            << tolerance;
    }
}

TEST_F(ReduceCommandRefusal, OfAFileThatIsNoModelNamesTheLineAndWhatShouldStandThere) {
    writeFile(model, "a letter\n");
    EXPECT_EQ(errorWith({}), model +
                                 ": is not a model file: line 2: the file ends where the number of extra comment lines "
                                 "should stand");
    writeFile(model, replacedIn(textOfFile(exampleModel("single_lag_30.fir")), "3.070370e-01", "three tenths"));
    EXPECT_THAT(errorWith({}), testing::MatchesRegex(".*model.fir: is not a model file: line [0-9]+: .+"));
    writeFile(model, "");
    EXPECT_EQ(errorWith({}), model + ": is not a model file: the file is empty");
}

TEST_F(ReduceCommandRefusal, OfAModelFileThatCannotBeRead) {
    EXPECT_EQ(errorOf({folder.file("missing.fir"), "-o", reduced}),
              folder.file("missing.fir") + ": cannot be read: No such file or directory");
    EXPECT_EQ(errorOf({folder.path(), "-o", reduced}), folder.path() + ": is a directory, not a model file");
}

TEST_F(ReduceCommandRefusal, OfValuesThatAreNotFinite) {
    for (const std::string value : {"nan", "inf", "1e39"}) {
        writeFile(model, replacedIn(textOfFile(exampleModel("single_lag_30.fir")), "3.070370e-01", value));
        EXPECT_EQ(errorWith({}),
                  model +
                      ": cannot be reduced: the curve of output TEMP to input FEED has a value that is not a "
                      "finite number");
    }
}

TEST_F(ReduceCommandRefusal, OfAModelWithoutAnyCurve) {
    writeModelFile(model, test::zeroModel(2, 2, 30));
    EXPECT_EQ(errorWith({}), model + ": cannot be reduced: none of its outputs has a curve");
}

TEST_F(ReduceCommandRefusal, OfAModelThatSpansNoTime) {
    writeFile(model, replacedIn(textOfFile(exampleModel("single_lag_30.fir")), "       30.000000", "        0.000000"));
    EXPECT_EQ(errorWith({}), model + ": cannot be reduced: its horizon is 0 s");
}

TEST_F(ReduceCommandRefusal, OfAFolderAsOutput) {
    EXPECT_EQ(errorOf({model, "-o", folder.path(), "--state-space", system}),
              folder.path() + ": cannot be written: Is a directory");
    EXPECT_EQ(errorOf({model, "-o", reduced, "--state-space", folder.path()}),
              folder.path() + ": cannot be written: Is a directory");
}

TEST_F(ReduceCommandRefusal, OfAnOutputInAFolderThatDoesNotExist) {
    const std::string missing = folder.file("missing/file");
    EXPECT_EQ(errorOf({model, "-o", missing, "--state-space", system}),
              missing + ": cannot be written: No such file or directory");
    EXPECT_EQ(errorOf({model, "-o", reduced, "--state-space", missing}),
              missing + ": cannot be written: No such file or directory");
}

TEST_F(ReduceCommandRefusal, OfStandardOutputWhichIsForTheTable) {
    EXPECT_EQ(errorOf({model, "-o", "/dev/stdout"}),
              "/dev/stdout: cannot be written: the table goes there; name a file");
    EXPECT_EQ(errorOf({model, "-o", reduced, "--state-space", "/dev/stdout"}),
              "/dev/stdout: cannot be written: the table goes there; name a file");
}

TEST_F(ReduceCommandRefusal, OfOneFileForBothOutputs) {
    EXPECT_EQ(errorOf({model, "-o", reduced, "--state-space", reduced}),
              reduced + ": cannot be written: the reduced model goes there");
    EXPECT_EQ(errorOf({model, "-o", reduced, "--state-space", folder.file("./reduced.fir")}),
              folder.file("./reduced.fir") + ": cannot be written: the reduced model goes there");
    const std::string fresh = folder.file("new");
    EXPECT_EQ(errorOf({model, "-o", fresh, "--state-space", fresh}),
              fresh + ": cannot be written: the reduced model goes there");
}

TEST_F(ReduceCommandRefusal, OfTheSystemInPlaceOfTheModel) {
    EXPECT_EQ(errorOf({model, "-o", reduced, "--state-space", model}),
              model + ": cannot be written: the model is read from there");
}

TEST_F(ReduceCommandRefusal, OfAFullDevice) {
    EXPECT_EQ(errorOf({model, "-o", "/dev/full", "--state-space", system}),
              "/dev/full: cannot be written: No space left on device");
    EXPECT_EQ(errorOf({model, "-o", reduced, "--state-space", "/dev/full"}),
              "/dev/full: cannot be written: No space left on device");
}

/// Sizes of the two files that a run writes.
struct Sizes {
    std::uintmax_t reduced = 0;
    std::uintmax_t system = 0;
};

Sizes sizesOf(const std::string& model, const std::string& order) {
    const TemporaryFolder folder;
    const ProgramRun run = runQormath({"reduce", model, "-o", folder.file("reduced.fir"), "--order", order,
                                       "--state-space", folder.file("system.json")});
    EXPECT_EQ(run.status, 0) << run.err;
    return {std::filesystem::file_size(folder.file("reduced.fir")),
            std::filesystem::file_size(folder.file("system.json"))};
}

TEST_F(ReduceCommandRefusal, OfADiskThatIsFullBeforeTheCurvesAreWritten) {
    writeFile(model, textOfFile(exampleModel("wood_berry.fir")));
    const Sizes sizes = sizesOf(model, "1");
    ASSERT_GT(sizes.reduced, sizes.system);
    EXPECT_EQ(errorWith({"--order", "1"}, {.largestFile = sizes.system}),
              reduced + ": cannot be written: File too large");
}

TEST_F(ReduceCommandRefusal, OfADiskThatIsFullBeforeTheSystemIsWritten) {
    // Short curves of many modes: delays of their own for each pair.
    writeModelFile(model, test::modelOf(3, 3, 30, [](int output, int input, int k) {
                       const int time = std::max(0, k - 2 * output - 3 * input);
                       return 1.0 - std::exp(-time / (1.5 + output + 0.5 * input));
                   }));
    const Sizes sizes = sizesOf(model, "fine");
    ASSERT_GT(sizes.system, sizes.reduced);
    EXPECT_EQ(errorWith({"--order", "fine"}, {.largestFile = sizes.reduced}),
              system + ": cannot be written: File too large");
}

TEST_F(ReduceCommandRefusal, OfACountOfCoefficientsThatModelFilesCannotHold) {
    // Forty coefficients, of which a reader has nothing to say.
    std::string text = "comment\n0\n1\n1\n40\n40\n40.0\n9896.0\n" + std::string(36, ' ') +
                       "FEED         INLET       \n" + std::string(36, ' ') +
                       "TEMP         REACTOR          0     1\nTEMP\n";
    for (int k = 0; k < 10; ++k) {
        text += "0.0\n";
    }
    text += std::string(36, ' ') + "1.0\n";
    for (int k = 0; k < 8; ++k) {
        text += "0.5 1.0 1.0 1.0 1.0\n";
    }
    writeFile(model, text);
    EXPECT_EQ(errorWith({}),
              reduced +
                  ": cannot be written: a model file has curves of a multiple of 30, 45, 75 or 105 coefficients, this "
                  "model has 40");
}

}  // namespace
}  // namespace qormath::cli
