#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "model_file.hpp"
#include "models.hpp"
#include "program_run.hpp"
#include "system_file.hpp"

namespace qormath::cli {
namespace {

using nlohmann::json;
using qormath::test::exampleModel;
using qormath::test::firstOrder;
using qormath::test::ProgramRun;
using qormath::test::runQormath;
using qormath::test::TemporaryFolder;
using qormath::test::textOfFile;
using qormath::test::writeFile;
using qormath::test::zeroModel;
using testing::ElementsAre;
using testing::HasSubstr;

/// A folder with a first-order system and a model of one input, one output and thirty coefficients.
class SimulateCommand : public testing::Test {
  protected:
    SimulateCommand() {
        writeModelFile(reference, zeroModel(1, 1, 30));
        writeSystemFile(system, file);
    }

    ProgramRun run(const std::vector<std::string>& more = {}) const {
        std::vector<std::string> words{"simulate", system, "--like", reference, "-o", output};
        words.insert(words.end(), more.begin(), more.end());
        return runQormath(words);
    }

    /// The command is to fail and to leave no file.
    void expectError(const std::string& blamed, const std::string& cause) const {
        const ProgramRun result = run();
        EXPECT_EQ(result.status, 1);
        EXPECT_EQ(result.out, "");
        EXPECT_EQ(result.err, "qormath: " + blamed + ": " + cause + "\n");
        EXPECT_THAT(folder.names(), testing::UnorderedElementsAre("system.json", "reference.fir"));
    }

    TemporaryFolder folder;
    std::string system = folder.file("system.json");
    std::string reference = folder.file("reference.fir");
    std::string output = folder.file("out.fir");
    SystemFile file = firstOrder(0.5, 1.0, 2.0, 0.25);
};

TEST_F(SimulateCommand, WritesTheCurvesOfASystem) {
    EXPECT_EQ(run().status, 0);
    const LTIFIRModel model = readModelFile(output);
    ASSERT_EQ(model.coefficientCount, 30);
    EXPECT_EQ(model.coefficients(0, 0)[1], 3.25);
    EXPECT_EQ(model.coefficients(0, 0)[2], 3.75);
    EXPECT_EQ(model.inputNames[0], "U1");
    EXPECT_EQ(model.outputDescriptors[0], "OUT1");
}

TEST_F(SimulateCommand, HonoursTheCurveOffset) {
    file.curveOffset = 0;
    writeSystemFile(system, file);
    EXPECT_EQ(run().status, 0);
    const LTIFIRModel model = readModelFile(output);
    EXPECT_EQ(model.coefficients(0, 0)[1], 2.25);
    EXPECT_EQ(model.coefficients(0, 0)[2], 3.25);
}

TEST_F(SimulateCommand, PrintsATable) {
    const ProgramRun result = run();
    EXPECT_EQ(result.status, 0) << result.err;
    for (const char* label :
         {"system  ", "compared with  ", "model  ", "inputs  ", "outputs  ", "coefficients  ", "sample time  ",
          "ramps  ", "states  ", "largest gain error  ", "largest curve error  "}) {
        EXPECT_THAT(result.out, HasSubstr(label));
    }
}

TEST_F(SimulateCommand, PrintsTheSameAsJson) {
    const ProgramRun result = run({"--json"});
    EXPECT_EQ(result.status, 0) << result.err;
    const json table = json::parse(result.out);
    EXPECT_EQ(table["system"], system);
    EXPECT_EQ(table["like"], reference);
    EXPECT_EQ(table["model"], output);
    EXPECT_EQ(table["states"], 1);
    EXPECT_EQ(table["largestGainError"]["value"], 4.25);  // of a model whose gain is 0
    EXPECT_TRUE(table["largestRampRateError"].is_null());
}

TEST_F(SimulateCommand, WarnsOfOtherNamesAndTakesThoseOfTheModel) {
    file.inputs = {"ANOTHER"};
    writeSystemFile(system, file);
    const ProgramRun result = run();
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.err, "qormath: warning: " + system + " names its inputs and outputs otherwise than " + reference +
                              ", whose names are taken\n");
    EXPECT_EQ(readModelFile(output).inputNames[0], "U1");
}

TEST_F(SimulateCommand, TakesNamesInLowerCaseForTheSame) {
    file.inputs = {"u1"};
    writeSystemFile(system, file);
    EXPECT_EQ(run().err, "");
}

TEST_F(SimulateCommand, MayReplaceTheModelThatItIsLike) {
    output = reference;
    EXPECT_EQ(run().status, 0);
    EXPECT_EQ(readModelFile(reference).coefficients(0, 0)[1], 3.25);
    EXPECT_THAT(folder.names(), testing::UnorderedElementsAre("system.json", "reference.fir"));
}

TEST_F(SimulateCommand, RefusesASystemOfOtherCounts) {
    writeModelFile(reference, zeroModel(2, 1, 30));
    expectError(system, "does not belong to " + reference +
                            ": the system has 1 inputs and 1 outputs, the model 2 inputs and 1 outputs");
}

TEST_F(SimulateCommand, RefusesAContinuousSystem) {
    file.system.sysType = continuousSystem;
    writeSystemFile(system, file);
    expectError(system, "does not belong to " + reference +
                            ": the system is continuous; only a discrete system can be simulated");
}

TEST_F(SimulateCommand, RefusesASystemOfAnotherSampleTime) {
    file.system.sampleTime = 60.0;
    writeSystemFile(system, file);
    expectError(system,
                "does not belong to " + reference + ": the system has a sample time of 60 s, the model one of 1 s");
}

TEST_F(SimulateCommand, RefusesAResponseThatGrowsBeyondMeasure) {
    file.system.A(0, 0) = 1e3;
    writeSystemFile(system, file);
    expectError(output,
                "cannot be written: the step response of output Y1 to input U1 grows beyond what a model file "
                "can hold");
}

TEST_F(SimulateCommand, SaysWhatIsWrongInTheSystemFile) {
    std::string text = textOfFile(system);
    text.replace(text.find("\"discrete\""), 10, "\"any\"");
    writeFile(system, text);
    expectError(system, "the field \"type\" is to be \"discrete\" or \"continuous\"");
}

TEST_F(SimulateCommand, SaysWhatIsWrongInTheModelFile) {
    writeFile(reference, "comment\n?\n");
    expectError(reference, "is not a model file: line 2: expected the number of extra comment lines, found \"?\"");
}

TEST_F(SimulateCommand, RefusesAPlaceThatCannotBeWritten) {
    output = folder.file("missing/out.fir");
    expectError(output, "cannot be written: No such file or directory");
    output = "/dev/full";
    expectError(output, "cannot be written: No space left on device");
}

TEST_F(SimulateCommand, LeavesTheOldFileOnAFullDisk) {
    const std::string path = folder.file("old.fir");
    writeFile(path, "old");
    const ProgramRun result = runQormath({"simulate", system, "--like", reference, "-o", path}, {.largestFile = 512});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, "qormath: " + path + ": cannot be written: File too large\n");
    EXPECT_EQ(textOfFile(path), "old");
    EXPECT_THAT(folder.names(), testing::UnorderedElementsAre("system.json", "reference.fir", "old.fir"));
}

TEST(TheRoad, GivesTheSameCurvesAlignedOrNot) {
    const TemporaryFolder folder;
    const std::string plant = exampleModel("heavy_oil_fractionator.fir");
    const std::string system = folder.file("system.json");
    ASSERT_EQ(runQormath({"realise", plant, "-o", system}).status, 0);
    ASSERT_EQ(runQormath({"simulate", system, "--like", plant, "-o", folder.file("plain.fir")}).status, 0);
    ASSERT_EQ(runQormath({"realise", plant, "-o", system, "--aligned"}).status, 0);
    ASSERT_EQ(runQormath({"simulate", system, "--like", plant, "-o", folder.file("aligned.fir")}).status, 0);
    const LTIFIRModel plain = readModelFile(folder.file("plain.fir"));
    const LTIFIRModel aligned = readModelFile(folder.file("aligned.fir"));
    for (int i = 0; i < inputCountOf(plain); ++i) {
        for (int j = 0; j < outputCountOf(plain); ++j) {
            for (int k = 1; k <= plain.coefficientCount; ++k) {
                // Files hold seven digits, of coefficients that stay below 10.
                EXPECT_NEAR(plain.coefficients(i, j)[k], aligned.coefficients(i, j)[k], 2e-6);
            }
        }
    }
}

TEST(TheRoad, ComparesTheSimulationAsItComparedTheRealisation) {
    const TemporaryFolder folder;
    const std::string plant = exampleModel("surge_drum.fir");
    const std::string system = folder.file("system.json");
    const ProgramRun realised = runQormath({"realise", "--json", plant, "-o", system});
    const ProgramRun simulated =
        runQormath({"simulate", "--json", system, "--like", plant, "-o", folder.file("back.fir")});
    ASSERT_EQ(realised.status, 0) << realised.err;
    ASSERT_EQ(simulated.status, 0) << simulated.err;
    EXPECT_EQ(simulated.err, "");
    const json one = json::parse(realised.out);
    const json two = json::parse(simulated.out);
    for (const char* fact :
         {"states", "sampleTime", "ramps", "largestGainError", "largestRampRateError", "largestCurveErrorPercent"}) {
        EXPECT_EQ(one[fact], two[fact]) << fact;
    }
}

TEST_F(SimulateCommand, RefusesToWriteTheModelOverTheSystem) {
    const std::string text = textOfFile(system);
    const ProgramRun run = runQormath({"simulate", system, "--like", reference, "-o", system});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.err, "qormath: " + system + ": cannot be written: the system is read from there\n");
    EXPECT_EQ(textOfFile(system), text);
}

}  // namespace
}  // namespace qormath::cli
