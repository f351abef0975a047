#include <cmath>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <limits>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "model_file.hpp"
#include "models.hpp"
#include "program_run.hpp"
#include "support/random_numbers.hpp"
#include "tables.hpp"

namespace qormath::cli {
namespace {

using nlohmann::json;
using qormath::test::exampleModel;
using qormath::test::ProgramRun;
using qormath::test::runQormath;
using qormath::test::tableOf;
using qormath::test::TemporaryFolder;
using testing::HasSubstr;

using Gains = std::vector<std::vector<double>>;  // outputs by inputs

// A model file of curves that jump to their gains, with outputs Y1, Y2, ... and inputs U1, U2, ...
void writeGains(const std::string& path, const Gains& gains) {
    const LTIFIRModel model = test::modelOf(
        static_cast<int>(gains[0].size()), static_cast<int>(gains.size()), 30, [&](int output, int input, int) {
            return gains[static_cast<std::size_t>(output)][static_cast<std::size_t>(input)];
        });
    writeModelFile(path, model);
}

std::vector<std::string> selectionsIn(const json& table) {
    std::vector<std::string> selections;
    for (const json& selection : table["selections"]) {
        std::string text;
        for (const json& name : selection["outputs"]) {
            text += name.get<std::string>() + " ";
        }
        text += "by";
        for (const json& name : selection["inputs"]) {
            text += " " + name.get<std::string>();
        }
        selections.push_back(text);
    }
    return selections;
}

double conditionIn(const json& table, std::size_t rank) {
    return table["selections"][rank]["conditionNumber"].get<double>();
}

double rgaIn(const json& table, std::size_t rank) {
    return table["selections"][rank]["rga"].get<double>();
}

// Of the reflux and steam loops the relative gain is known: 1 / (1 - 18.9 * 6.6 / (12.8 * 19.4)) = 2.0094. The file
// holds gains of curves that have not settled to the last digit.
TEST(PairingCommand, RanksTheInputsOfAColumn) {
    const json table = tableOf("pairing", {exampleModel("wood_berry.fir")});
    EXPECT_EQ(table["size"], 2);
    EXPECT_EQ(table["isScaled"], true);
    EXPECT_TRUE(table["conditionLimit"].is_null());
    EXPECT_EQ(selectionsIn(table),
              (std::vector<std::string>{"XD XB by REFLUX FEED", "XD XB by REFLUX STEAM", "XD XB by STEAM FEED"}));
    EXPECT_NEAR(rgaIn(table, 1), 2.0094, 0.01);
    EXPECT_LT(conditionIn(table, 0), conditionIn(table, 1));
    EXPECT_LT(conditionIn(table, 1), conditionIn(table, 2));
}

TEST(PairingCommand, PrintsATable) {
    const TemporaryFolder folder;
    const std::string path = folder.file("model.fir");
    writeGains(path, {{1.0, 0.0, 0.0}, {0.0, 2.0, -8.0}});
    const ProgramRun run = runQormath({"pairing", "--unscaled", path});
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.err, "");
    EXPECT_EQ(run.out, "model    " + path + R"(
inputs   3
outputs  2
ramps    none
size     2
gains    in the units of the model

best selections
  condition number  RGA  outputs by inputs
                 2    1  Y1, Y2 by U1, U2
                 8    1  Y1, Y2 by U1, U3
)");
}

TEST(PairingCommand, TakesTheRiseInASampleForTheGainOfARamp) {
    const ProgramRun run = runQormath({"pairing", exampleModel("surge_drum.fir")});
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_THAT(run.out, HasSubstr("ramps    LEVEL\n"));
    EXPECT_THAT(run.out, HasSubstr("gains    scaled, so that units do not count (of a ramp, its rise in a sample)\n"));
    const json table = tableOf("pairing", {exampleModel("surge_drum.fir")});
    EXPECT_EQ(table["ramps"], json::parse(R"(["LEVEL"])"));
    // The gains of info: 0.266667 and -0.0166667 of LEVEL, -1.49893 and 2.39979 of TEMP, by FEED and STEAM.
    EXPECT_EQ(selectionsIn(table)[0], "LEVEL TEMP by FEED STEAM");
    EXPECT_NEAR(rgaIn(table, 0), 1.0 / (1.0 - 0.0166667 * 1.49893 / (0.266667 * 2.39979)), 1e-5);
}

TEST(PairingCommand, GivesTheSameWhateverTheUnits) {
    const TemporaryFolder folder;
    test::NormalNumbers numbers(1);
    Gains gains(4, std::vector<double>(3));
    Gains inOtherUnits = gains;
    const double outputUnits[] = {1.0, 1e-4, 3600.0, 0.01};
    const double inputUnits[] = {1000.0, 1.0, 2.54e-3};
    for (std::size_t j = 0; j < 4; ++j) {
        for (std::size_t i = 0; i < 3; ++i) {
            gains[j][i] = j == 2 && i == 1 ? 0.0 : numbers.normal();
            inOtherUnits[j][i] = outputUnits[j] * gains[j][i] * inputUnits[i];
        }
    }
    writeGains(folder.file("model.fir"), gains);
    writeGains(folder.file("other.fir"), inOtherUnits);
    for (const char* size : {"1", "2", "3"}) {
        const json table = tableOf("pairing", {folder.file("model.fir"), "--size", size, "--top", "0"});
        const json other = tableOf("pairing", {folder.file("other.fir"), "--size", size, "--top", "0"});
        ASSERT_EQ(other["selections"].size(), table["selections"].size());
        if (std::string(size) != "1") {  // where all are equal
            EXPECT_EQ(selectionsIn(other), selectionsIn(table));
        }
        for (std::size_t rank = 0; rank < table["selections"].size(); ++rank) {
            // A gain of the file has the precision of a float, and the conditions are below 100.
            EXPECT_NEAR(conditionIn(other, rank) / conditionIn(table, rank), 1.0, 1e-4);
        }
    }
}

TEST(PairingCommand, TakesTheGainsAsTheyAreWhenAsked) {
    const TemporaryFolder folder;
    writeGains(folder.file("model.fir"), {{1000.0, 0.0}, {0.0, 1.0}});
    EXPECT_EQ(conditionIn(tableOf("pairing", {"--unscaled", folder.file("model.fir")}), 0), 1000.0);
    EXPECT_NEAR(conditionIn(tableOf("pairing", {folder.file("model.fir")}), 0), 1.0, 1e-12);
}

TEST(PairingCommand, ListsTenSelectionsUnlessTold) {
    const std::string path = exampleModel("heavy_oil_fractionator.fir");
    EXPECT_EQ(tableOf("pairing", {path})["selections"].size(), 10U);
    EXPECT_EQ(tableOf("pairing", {path, "--top", "3"})["selections"].size(), 3U);
    const json all = tableOf("pairing", {path, "--top", "0", "--size", "2"});
    EXPECT_EQ(all["selections"].size(), 21U * 10U);
    EXPECT_EQ(all["size"], 2);
}

TEST(PairingCommand, ListsSelectionsUpToALimit) {
    const std::string path = exampleModel("heavy_oil_fractionator.fir");
    const json all = tableOf("pairing", {path, "--top", "0", "--size", "2"});
    const double limit = conditionIn(all, 20);
    const json some = tableOf("pairing", {path, "--top", "0", "--size", "2", "--condition-limit",
                                          all["selections"][20]["conditionNumber"].dump()});
    EXPECT_EQ(some["selections"].size(), 21U);
    EXPECT_EQ(some["conditionLimit"], limit);
}

TEST(PairingCommand, SaysSoWhereThereIsNoSelection) {
    const TemporaryFolder folder;
    const std::string path = folder.file("model.fir");
    writeGains(path, {{1.0, 2.0}, {2.0, 4.0}});
    const ProgramRun run = runQormath({"pairing", path});
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_THAT(run.out, HasSubstr("\n\nno selection that is not singular\n"));
    EXPECT_EQ(tableOf("pairing", {path})["selections"], json::array());
    const ProgramRun limited = runQormath({"pairing", exampleModel("wood_berry.fir"), "--condition-limit", "1.5"});
    EXPECT_EQ(limited.status, 0) << limited.err;
    EXPECT_THAT(limited.out, HasSubstr("\n\nno selection that is not singular up to a condition number of 1.5\n"));
}

TEST(PairingCommand, RefusesASizeThatTheModelDoesNotHave) {
    const std::string path = exampleModel("wood_berry.fir");
    const ProgramRun run = runQormath({"pairing", path, "--size", "3"});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.out, "");
    EXPECT_EQ(run.err, "qormath: " + path + ": has no selection of size 3: there are 3 inputs and 2 outputs\n");
}

TEST(PairingCommand, RefusesMoreSelectionsThanItCanRank) {
    const TemporaryFolder folder;
    const std::string path = folder.file("model.fir");
    test::NormalNumbers numbers(2);
    Gains gains(30, std::vector<double>(30));
    for (std::vector<double>& row : gains) {
        for (double& gain : row) {
            gain = numbers.normal();
        }
    }
    writeGains(path, gains);
    const ProgramRun run = runQormath({"pairing", path, "--size", "15", "--top", "0"});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.out, "");
    EXPECT_EQ(run.err, "qormath: " + path +
                           ": has too many selections of size 15 to rank; fewer with --top, a --condition-limit, or "
                           "another --size may do\n");
}

TEST(PairingCommand, RefusesNumbersThatMakeNoSense) {
    const std::string path = exampleModel("wood_berry.fir");
    for (const std::vector<std::string>& wrong : std::vector<std::vector<std::string>>{{"--size", "0"},
                                                                                       {"--size", "-1"},
                                                                                       {"--size", "two"},
                                                                                       {"--top", "-1"},
                                                                                       {"--condition-limit", "0"},
                                                                                       {"--condition-limit", "nan"},
                                                                                       {"--condition-limit", "inf"},
                                                                                       {"--condition-limit", "10x"}}) {
        const ProgramRun run = runQormath({"pairing", path, wrong[0], wrong[1]});
        EXPECT_EQ(run.status, 2) << wrong[0] << " " << wrong[1];
        EXPECT_THAT(run.err, HasSubstr(wrong[0]));
    }
}

TEST(PairingCommand, RefusesAModelWithoutInputs) {
    const TemporaryFolder folder;
    const std::string path = folder.file("none.fir");
    writeModelFile(path, test::modelOf(0, 2, 30, [](int, int, int) { return 0.0; }));
    const ProgramRun run = runQormath({"pairing", path});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.out, "");
    EXPECT_EQ(run.err, "qormath: " + path + ": has no inputs, or no outputs, to select from\n");
}

TEST(PairingCommand, RefusesGainsThatAreNotFinite) {
    const TemporaryFolder folder;
    std::string path = folder.file("infinite.fir");
    for (const double gain : {std::numeric_limits<double>::infinity(), std::numeric_limits<double>::quiet_NaN()}) {
        LTIFIRModel model = test::modelOf(1, 1, 30, [&](int, int, int) { return gain; });
        ASSERT_TRUE(model.WriteModel(path.data()));
        const ProgramRun run = runQormath({"pairing", path});
        EXPECT_EQ(run.status, 1);
        EXPECT_EQ(run.out, "");
        EXPECT_EQ(run.err, "qormath: " + path + ": has gains that are not finite\n");
    }
}

TEST(PairingCommand, RefusesAFileThatIsNoModel) {
    const TemporaryFolder folder;
    const ProgramRun run = runQormath({"pairing", folder.path()});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.err, "qormath: " + folder.path() + ": is a directory, not a model file\n");
}

}  // namespace
}  // namespace qormath::cli
