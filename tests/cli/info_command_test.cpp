#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <string>

#include "program_run.hpp"

namespace qormath::cli {
namespace {

using nlohmann::json;
using qormath::test::exampleModel;
using qormath::test::ProgramRun;
using qormath::test::runQormath;
using qormath::test::TemporaryFolder;
using qormath::test::textOfFile;
using qormath::test::writeFile;
using testing::HasSubstr;

TEST(InfoCommand, TellsWhatAModelHolds) {
    const std::string path = exampleModel("surge_drum.fir");
    const ProgramRun run = runQormath({"info", path});
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.err, "");
    EXPECT_EQ(run.out, "model         " + path + R"(
inputs        3
outputs       2
coefficients  90
sample time   20 s
ramps         LEVEL
horizon       1800 s
null pairs    1 of 6

inputs
  FEED     INLET
  OUTFLOW  VALVE
  STEAM    HEATER

outputs
  LEVEL  DRUM
  TEMP   DRUM

gains (of a ramp, its rise in a sample)
             FEED    OUTFLOW       STEAM
  LEVEL  0.266667  -0.266667  -0.0166667
  TEMP   -1.49893          -     2.39979
)");
}

TEST(InfoCommand, TellsTheSameAsJson) {
    const std::string path = exampleModel("surge_drum.fir");
    const ProgramRun run = runQormath({"info", "--json", path});
    EXPECT_EQ(run.status, 0) << run.err;
    const json object = json::parse(run.out);
    EXPECT_EQ(object["model"], path);
    EXPECT_EQ(object["inputs"], 3);
    EXPECT_EQ(object["outputs"], 2);
    EXPECT_EQ(object["coefficients"], 90);
    EXPECT_EQ(object["sampleTime"], 20.0);
    EXPECT_EQ(object["horizon"], 1800);
    EXPECT_EQ(object["ramps"], json::parse(R"(["LEVEL"])"));
    EXPECT_EQ(object["nullPairs"], 1);
    EXPECT_EQ(object["inputNames"], json::parse(R"(["FEED", "OUTFLOW", "STEAM"])"));
    EXPECT_EQ(object["outputDescriptors"], json::parse(R"(["DRUM", "DRUM"])"));
    ASSERT_EQ(object["gains"].size(), 2U);
    EXPECT_EQ(object["gains"][1][0], -1.498934738416736);  // the gain field of the file
    EXPECT_TRUE(object["gains"][1][1].is_null());
}

TEST(InfoCommand, ReadsFilesOfOtherVersions) {
    const ProgramRun run = runQormath({"info", exampleModel("old_version.fir")});
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_THAT(run.out, HasSubstr("ramps         none\n"));
    EXPECT_THAT(run.out, HasSubstr("REFLUX"));
}

TEST(InfoCommand, KeepsWhatANameHoldsFromTheTerminal) {
    const TemporaryFolder folder;
    std::string text = textOfFile(exampleModel("single_lag_30.fir"));
    text.replace(text.find("FEED"), 4, "\x1B[2J");
    writeFile(folder.file("model.fir"), text);
    const ProgramRun run = runQormath({"info", folder.file("model.fir")});
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.out.find('\x1B'), std::string::npos);
    EXPECT_THAT(run.out, HasSubstr("?[2J"));
}

TEST(InfoCommand, GivesValidJsonForNamesInLatin1) {
    const TemporaryFolder folder;
    std::string text = textOfFile(exampleModel("single_lag_30.fir"));
    text.replace(text.find("FEED"), 4, "K\xDCHL");
    writeFile(folder.file("model.fir"), text);
    const ProgramRun run = runQormath({"info", "--json", folder.file("model.fir")});
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(json::parse(run.out)["inputNames"][0], "K\xC3\x9CHL");
}

TEST(InfoCommand, NamesTheDamagedLine) {
    const TemporaryFolder folder;
    const std::string path = folder.file("model.fir");
    std::string text = textOfFile(exampleModel("surge_drum.fir"));
    writeFile(path, text.substr(0, text.size() / 2));
    const ProgramRun run = runQormath({"info", path});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.out, "");
    EXPECT_THAT(run.err, testing::MatchesRegex("qormath: " + path + ": is not a model file: line [0-9]+: .*\n"));
}

TEST(InfoCommand, RefusesAFolder) {
    const TemporaryFolder folder;
    const ProgramRun run = runQormath({"info", folder.path()});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.err, "qormath: " + folder.path() + ": is a directory, not a model file\n");
}

}  // namespace
}  // namespace qormath::cli
