#include <algorithm>
#include <cmath>
#include <cstddef>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <string>
#include <utility>
#include <vector>

#include "model_file.hpp"
#include "models.hpp"
#include "program_run.hpp"
#include "system_file.hpp"
#include "system_responses.hpp"
#include "tables.hpp"

namespace qormath::cli {
namespace {

using nlohmann::json;
using qormath::test::exampleModel;
using qormath::test::jsonOf;
using qormath::test::ProgramRun;
using qormath::test::replacedIn;
using qormath::test::runQormath;
using qormath::test::stepResponse;
using qormath::test::TemporaryFolder;
using qormath::test::textOfFile;
using qormath::test::valueOf;
using qormath::test::writeFile;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

json realised(const std::vector<std::string>& arguments) {
    return qormath::test::tableOf("realise", arguments);
}

/// The solution X of (I - A) X = B by elimination with partial pivoting, and D + C X of it.
std::vector<std::vector<double>> steadyGain(const json& system) {
    const auto a = system["A"].get<std::vector<std::vector<double>>>();
    const auto c = system["C"].get<std::vector<std::vector<double>>>();
    auto x = system["B"].get<std::vector<std::vector<double>>>();
    auto gain = system["D"].get<std::vector<std::vector<double>>>();
    auto m = a;
    const std::size_t n = a.size();
    for (std::size_t i = 0; i < n; ++i) {
        for (std::size_t j = 0; j < n; ++j) {
            m[i][j] = (i == j ? 1.0 : 0.0) - a[i][j];
        }
    }
    for (std::size_t k = 0; k < n; ++k) {
        std::size_t pivot = k;
        for (std::size_t i = k; i < n; ++i) {
            pivot = std::fabs(m[i][k]) > std::fabs(m[pivot][k]) ? i : pivot;
        }
        std::swap(m[k], m[pivot]);
        std::swap(x[k], x[pivot]);
        for (std::size_t i = 0; i < n; ++i) {
            const double factor = i == k ? 0.0 : m[i][k] / m[k][k];
            for (std::size_t j = 0; j < n; ++j) {
                m[i][j] -= factor * m[k][j];
            }
            for (std::size_t j = 0; j < x[i].size(); ++j) {
                x[i][j] -= factor * x[k][j];
            }
        }
    }
    for (std::size_t i = 0; i < gain.size(); ++i) {
        for (std::size_t j = 0; j < gain[i].size(); ++j) {
            for (std::size_t k = 0; k < n; ++k) {
                gain[i][j] += c[i][k] * x[k][j] / m[k][k];
            }
        }
    }
    return gain;
}

double largestOf(const std::vector<double>& row) {
    double largest = 0.0;
    for (const double value : row) {
        largest = std::max(largest, std::fabs(value));
    }
    return largest;
}

TEST(RealiseCommand, ComesCloseToEveryPlant) {
    const TemporaryFolder folder;
    for (const char* plant : qormath::test::examplePlants) {
        SCOPED_TRACE(plant);
        const json table = realised({exampleModel(std::string(plant) + ".fir"), "-o", folder.file("system.json")});
        // The gain is corrected to what the correction itself can round off.
        EXPECT_LT(valueOf(table, "largestGainError"), 1e-9);
        EXPECT_LT(valueOf(table, "largestCurveErrorPercent"), 1.0);
        if (!table["ramps"].empty()) {
            EXPECT_LT(valueOf(table, "largestRampRateError"), 1e-7);
        }
    }
}

TEST(RealiseCommand, WritesASystemWithTheGainsOfTheFileAndThePublishedPlant) {
    const TemporaryFolder folder;
    for (const std::string plant :
         {"heavy_oil_fractionator", "wood_berry", "ogunnaike_ray", "null_pairs", "old_version"}) {
        SCOPED_TRACE(plant);
        realised({exampleModel(plant + ".fir"), "-o", folder.file("system.json")});
        const auto gains = steadyGain(jsonOf(folder.file("system.json")));
        const json published = jsonOf(exampleModel(plant + ".json"));
        const auto ofFile = published["file_gain"].get<std::vector<std::vector<double>>>();
        const auto exact = published["exact_gain"].get<std::vector<std::vector<double>>>();
        // The curves end before they have settled; so far is the file from the plant.
        const double distance =
            published["largest_relative_distance_of_last_coefficient_from_exact_gain"].get<double>();
        // A file of another version has its gains from coefficients of seven digits.
        const double digits = plant == "old_version" ? 1e-6 : 1e-9;
        ASSERT_EQ(gains.size(), ofFile.size());
        for (std::size_t j = 0; j < gains.size(); ++j) {
            ASSERT_EQ(gains[j].size(), ofFile[j].size());
            for (std::size_t i = 0; i < gains[j].size(); ++i) {
                const double scale = ofFile[j][i] != 0.0 ? std::fabs(ofFile[j][i]) : largestOf(ofFile[j]);
                EXPECT_NEAR(gains[j][i], ofFile[j][i], digits * scale) << j << ", " << i;
                EXPECT_NEAR(gains[j][i], exact[j][i], distance * std::fabs(exact[j][i]) + digits * scale)
                    << j << ", " << i;
            }
        }
    }
}

TEST(RealiseCommand, WritesARampThatRisesAtThePublishedRate) {
    const TemporaryFolder folder;
    realised({exampleModel("surge_drum.fir"), "-o", folder.file("system.json")});
    const json system = jsonOf(folder.file("system.json"));
    const json published = jsonOf(exampleModel("surge_drum.json"));
    for (std::size_t i = 0; i < 3; ++i) {
        // By then the slowest other mode has gone, and the rise is that of the integrator alone.
        const std::vector<double> response = stepResponse(system, 0, i, 3000);
        const double rate = published["file_gain"][0][i].get<double>();
        EXPECT_NEAR(response[2999] - response[2998], rate, 1e-7 * std::fabs(rate));
    }
}

TEST(RealiseCommand, ComesCloserToTheCurvesWithoutRetainingTheGain) {
    const TemporaryFolder folder;
    const std::string system = folder.file("system.json");
    // Singular values from 1e-5 of the largest on are kept; these are the curve errors that leaves.
    EXPECT_LT(valueOf(realised({exampleModel("heavy_oil_fractionator.fir"), "-o", system, "--no-retain-gain"}),
                      "largestCurveErrorPercent"),
              0.6);
    EXPECT_LT(valueOf(realised({exampleModel("wood_berry.fir"), "-o", system, "--no-retain-gain"}),
                      "largestCurveErrorPercent"),
              0.01);
}

TEST(RealiseCommand, WritesASystemFile) {
    const TemporaryFolder folder;
    const json table = realised({exampleModel("surge_drum.fir"), "-o", folder.file("system.json")});
    const json system = jsonOf(folder.file("system.json"));
    EXPECT_EQ(system["format"], "qormath-system");
    EXPECT_EQ(system["type"], "discrete");
    EXPECT_EQ(system["sampleTime"], 20.0);
    EXPECT_EQ(system["curveOffset"], 1);
    EXPECT_EQ(system["inputs"], json::parse(R"(["FEED", "OUTFLOW", "STEAM"])"));
    EXPECT_EQ(system["outputs"], json::parse(R"(["LEVEL", "TEMP"])"));
    EXPECT_EQ(system["states"], table["states"]);
    EXPECT_EQ(table["system"], folder.file("system.json"));
    EXPECT_EQ(table["ramps"], json::parse(R"(["LEVEL"])"));
    EXPECT_THAT(folder.names(), ElementsAre("system.json"));
}

TEST(RealiseCommand, WritesASystemWhoseLaterStepResponseIsTheCurve) {
    const TemporaryFolder folder;
    const LTIFIRModel model = readModelFile(exampleModel("wood_berry.fir"));
    realised({exampleModel("wood_berry.fir"), "-o", folder.file("system.json"), "--no-retain-gain"});
    const json system = jsonOf(folder.file("system.json"));
    for (std::size_t i = 0; i < 3; ++i) {
        for (std::size_t j = 0; j < 2; ++j) {
            const std::vector<double> response = stepResponse(system, j, i, model.coefficientCount + 2);
            const auto& curve = model.coefficients(static_cast<int>(i), static_cast<int>(j));
            for (int k = 0; k <= model.coefficientCount; ++k) {
                // 0.01 % of the largest coefficient of the output, which is near 19.
                EXPECT_NEAR(response[static_cast<std::size_t>(k) + 1], curve[k], 0.01 * 0.19);
            }
        }
    }
}

TEST(RealiseCommand, WritesAnAlignedSystemWhoseStepResponseIsTheCurve) {
    const TemporaryFolder folder;
    const LTIFIRModel model = readModelFile(exampleModel("wood_berry.fir"));
    realised({exampleModel("wood_berry.fir"), "-o", folder.file("system.json"), "--no-retain-gain", "--aligned"});
    const json system = jsonOf(folder.file("system.json"));
    EXPECT_EQ(system["curveOffset"], 0);
    for (std::size_t i = 0; i < 3; ++i) {
        for (std::size_t j = 0; j < 2; ++j) {
            const std::vector<double> response = stepResponse(system, j, i, model.coefficientCount + 1);
            const auto& curve = model.coefficients(static_cast<int>(i), static_cast<int>(j));
            for (int k = 0; k <= model.coefficientCount; ++k) {
                EXPECT_NEAR(response[static_cast<std::size_t>(k)], curve[k], 0.01 * 0.19);
            }
        }
    }
}

TEST(RealiseCommand, TakesTheOrderThatItIsGiven) {
    const TemporaryFolder folder;
    const std::string system = folder.file("system.json");
    const json table = realised({exampleModel("wood_berry.fir"), "-o", system, "--order", "3", "--no-retain-gain"});
    EXPECT_EQ(table["states"], 4);
    const json ramp = realised({exampleModel("surge_drum.fir"), "-o", system, "--order", "3", "--no-retain-gain"});
    EXPECT_EQ(ramp["states"], 5);
}

TEST(RealiseCommand, KeepsASampleTimeOfPartsOfASecond) {
    const TemporaryFolder folder;
    std::string text = textOfFile(exampleModel("single_lag_30.fir"));
    text.replace(text.find("       30.000000"), 16, "        0.166667");  // minutes: 10 s for 30 coefficients
    writeFile(folder.file("model.fir"), text);
    realised({folder.file("model.fir"), "-o", folder.file("system.json")});
    const json system = jsonOf(folder.file("system.json"));
    EXPECT_EQ(system["sampleTime"], 10.0 / 30.0);
}

TEST(RealiseCommand, PrintsATable) {
    const TemporaryFolder folder;
    const ProgramRun run = runQormath({"realise", exampleModel("surge_drum.fir"), "-o", folder.file("system.json")});
    EXPECT_EQ(run.status, 0) << run.err;
    for (const char* label :
         {"model  ", "system  ", "inputs  ", "outputs  ", "coefficients  ", "sample time  ", "ramps  ", "states  ",
          "largest gain error  ", "largest ramp rate error  ", "largest curve error  "}) {
        EXPECT_THAT(run.out, HasSubstr(label));
    }
    EXPECT_THAT(run.out, HasSubstr("(output TEMP, input "));
}

TEST(RealiseCommand, GivesTheSameBytesOnEveryRun) {
    const TemporaryFolder folder;
    realised({exampleModel("surge_drum.fir"), "-o", folder.file("one.json")});
    realised({exampleModel("surge_drum.fir"), "-o", folder.file("two.json")});
    EXPECT_EQ(textOfFile(folder.file("one.json")), textOfFile(folder.file("two.json")));
}

/// Runs realise on a text; it is to fail, and to leave the old system file as it was.
std::string errorFor(const std::string& text) {
    const TemporaryFolder folder;
    const std::string model = folder.file("model.fir");
    const std::string system = folder.file("system.json");
    writeFile(model, text);
    writeFile(system, "old");
    const ProgramRun run = runQormath({"realise", model, "-o", system});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.out, "");
    EXPECT_EQ(textOfFile(system), "old");
    EXPECT_THAT(folder.names(), testing::UnorderedElementsAre("model.fir", "system.json"));
    const std::string start = "qormath: " + model + ": ";
    EXPECT_THAT(run.err, testing::StartsWith(start));
    return run.err.substr(std::min(start.size(), run.err.size()));
}

std::string counts(int inputs, int outputs, int coefficients, int values) {
    std::string text = "comment\n0\n";
    for (const int count : {inputs, outputs, coefficients, values}) {
        text += std::to_string(count) + "\n";
    }
    return text + "30.0\n9896.0\n";
}

TEST(RealiseCommand, RefusesAValueThatIsNotFinite) {
    const std::string text = textOfFile(exampleModel("single_lag_30.fir"));
    for (const std::string value : {"nan", "inf", "1e39"}) {
        EXPECT_EQ(
            errorFor(replacedIn(text, "3.070370e-01", value)),
            "cannot be realised: the curve of output TEMP to input FEED has a value that is not a finite number\n");
    }
}

TEST(RealiseCommand, RefusesAnOutputWithoutCurves) {
    const std::string blanks(36, ' ');
    std::string text = counts(1, 1, 30, 0) + blanks + "FEED         INLET       \n" + blanks +
                       "TEMP         REACTOR          0     0\nTEMP\n";
    for (int k = 0; k < 10; ++k) {
        text += "0.0\n";
    }
    text += blanks + "0.0\n";
    for (int k = 0; k < 6; ++k) {
        text += "0 0 0 0 0\n";
    }
    EXPECT_EQ(errorFor(text), "cannot be realised: output TEMP has no curve; take it out of the model\n");
}

TEST(RealiseCommand, RefusesAModelWithoutInputsOrOutputs) {
    EXPECT_EQ(errorFor(counts(0, 0, 30, 0)), "cannot be realised: the model has no inputs or no outputs\n");
}

TEST(RealiseCommand, RefusesAnOrderAtWhichAStepFails) {
    // The output takes its new value at once: of the singular values all but the first few are zero.
    const TemporaryFolder folder;
    const std::string model = folder.file("model.fir");
    writeModelFile(model, qormath::test::modelOf(1, 1, 30, [](int, int, int k) { return k > 0 ? 1.0 : 0.0; }));
    const ProgramRun run = runQormath({"realise", model, "-o", folder.file("system.json"), "--order", "9"});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.out, "");
    EXPECT_EQ(run.err, "qormath: " + model + ": cannot be realised: a numerical step failed; another --order may do\n");
    EXPECT_THAT(folder.names(), ElementsAre("model.fir"));
}

TEST(RealiseCommand, RefusesCurvesThatAreTooShort) {
    const std::string blanks(36, ' ');
    std::string text = counts(1, 1, 5, 5) + blanks + "FEED         INLET       \n" + blanks +
                       "TEMP         REACTOR          0     1\nTEMP\n";
    for (int k = 0; k < 10; ++k) {
        text += "0.0\n";
    }
    EXPECT_EQ(errorFor(text + blanks + "1.0\n1 1 1 1 1\n"),
              "cannot be realised: its curves have 5 coefficients, and at least 10 are needed\n");
}

TEST(RealiseCommand, RefusesAModelThatSpansNoTime) {
    const std::string text = textOfFile(exampleModel("single_lag_30.fir"));
    EXPECT_EQ(errorFor(replacedIn(text, "       30.000000", "        0.000000")),
              "cannot be realised: its horizon is 0 s\n");
}

TEST(RealiseCommand, NamesTheDamagedLine) {
    EXPECT_EQ(errorFor("a letter\n"),
              "is not a model file: line 2: the file ends where the number of extra comment lines "
              "should stand\n");
}

TEST(RealiseCommand, RefusesAPlaceThatCannotBeWritten) {
    const TemporaryFolder folder;
    const std::string model = exampleModel("single_lag_30.fir");
    ProgramRun run = runQormath({"realise", model, "-o", folder.path()});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.err, "qormath: " + folder.path() + ": cannot be written: Is a directory\n");
    run = runQormath({"realise", model, "-o", folder.file("missing/system.json")});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.err,
              "qormath: " + folder.file("missing/system.json") + ": cannot be written: No such file or directory\n");
    EXPECT_THAT(folder.names(), IsEmpty());
}

TEST(RealiseCommand, RefusesToWriteTheSystemOverTheModel) {
    const TemporaryFolder folder;
    const std::string model = folder.file("model.fir");
    const std::string text = textOfFile(exampleModel("single_lag_30.fir"));
    writeFile(model, text);
    const ProgramRun run = runQormath({"realise", model, "-o", model});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.err, "qormath: " + model + ": cannot be written: the model is read from there\n");
    EXPECT_EQ(textOfFile(model), text);
}

TEST(RealiseCommand, LeavesTheOldFileOnAFullDisk) {
    const TemporaryFolder folder;
    const std::string system = folder.file("system.json");
    writeFile(system, "old");
    const ProgramRun run =
        runQormath({"realise", exampleModel("heavy_oil_fractionator.fir"), "-o", system}, {.largestFile = 4096});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.out, "");
    EXPECT_EQ(run.err, "qormath: " + system + ": cannot be written: File too large\n");
    EXPECT_EQ(textOfFile(system), "old");
    EXPECT_THAT(folder.names(), ElementsAre("system.json"));
}

TEST(RealiseCommand, KeepsStandardOutputForTheTable) {
    const ProgramRun run = runQormath({"realise", exampleModel("single_lag_30.fir"), "-o", "/dev/stdout"});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.out, "");
    EXPECT_EQ(run.err, "qormath: /dev/stdout: cannot be written: the table goes there; name a file\n");
}

}  // namespace
}  // namespace qormath::cli
