// What reduce makes of a plant. Files are read here line by line, and the system is simulated from its matrices, so
// that nothing of the program is needed to judge it.

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <limits>
#include <map>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <support/plain_fir_file.hpp>
#include <support/transfer.hpp>
#include <vector>

#include "model_file.hpp"
#include "models.hpp"
#include "program_run.hpp"
#include "system_file.hpp"
#include "system_responses.hpp"
#include "tables.hpp"
#include "text.hpp"

namespace qormath::cli {
namespace {

using nlohmann::json;
using qormath::test::exampleModel;
using qormath::test::examplePlants;
using qormath::test::jsonOf;
using qormath::test::PlainCurve;
using qormath::test::PlainFIRFile;
using qormath::test::ProgramRun;
using qormath::test::replacedIn;
using qormath::test::runQormath;
using qormath::test::stepResponses;
using qormath::test::TemporaryFolder;
using qormath::test::textOfFile;
using qormath::test::valueOf;
using qormath::test::writeFile;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

// Numbers in a model file have seven digits.
constexpr double rounding = 1e-6;

constexpr double gainErrorOfPeak = 1e-9;
constexpr double relativeRateError = 1e-7;

/// By then the slowest mode of the examples has gone to below rounding.
constexpr int settled = 4000;

json reduced(const std::vector<std::string>& arguments) {
    return qormath::test::tableOf("reduce", arguments);
}

/// The number that stood in a file, read in single precision.
double decimal(float value) {
    char text[32];
    std::snprintf(text, sizeof text, "%.6e", static_cast<double>(value));
    return std::strtod(text, nullptr);
}

/// The curves of a model file, by its own lines.
struct FileCurves {
    explicit FileCurves(const std::string& path) : file(path) {
        EXPECT_EQ(file.openStatus, 0) << path;
        EXPECT_EQ(file.scanStatus, 0) << path;
        for (const PlainCurve& curve : file.curves) {
            std::vector<double>& values = curves[{curve.output, curve.input}];
            for (int k = 0; k < file.coefficientCount; ++k) {
                values.push_back(decimal(file.data[static_cast<std::size_t>(curve.offset + k)]));
            }
            gains[{curve.output, curve.input}] = gainOf(curve, values);
            if (!isRamp(curve.output)) {
                values.back() = gains[{curve.output, curve.input}];
            }
        }
    }

    bool isRamp(std::size_t output) const { return file.outputs[output].ramp > 0; }

    double peak(std::size_t output) const {
        double largest = 0.0;
        for (const auto& [pair, values] : curves) {
            for (const double value : values) {
                largest = pair.first == output ? std::max(largest, std::fabs(value)) : largest;
            }
        }
        return largest;
    }

    std::size_t outputCount() const { return file.outputs.size(); }
    std::size_t inputCount() const { return file.inputs.size(); }

    using Pair = std::pair<std::size_t, std::size_t>;  // output and input
    PlainFIRFile file;
    std::map<Pair, std::vector<double>> curves;
    std::map<Pair, double> gains;  // of a ramp, the rise in a sample

  private:
    double gainOf(const PlainCurve& curve, const std::vector<double>& values) const {
        constexpr int versionWithGains = 9896;
        return file.version == versionWithGains ? curve.gain : values.back();
    }
};

/// The largest distance of two files' curves, in percent of the output's largest coefficient in the second.
double largestDistancePercent(const FileCurves& found, const FileCurves& wanted) {
    double largest = 0.0;
    for (const auto& [pair, values] : wanted.curves) {
        const std::vector<double>& other = found.curves.at(pair);
        EXPECT_EQ(other.size(), values.size());
        for (std::size_t k = 0; k < values.size(); ++k) {
            largest = std::max(largest, 100.0 * std::fabs(other[k] - values[k]) / wanted.peak(pair.first));
        }
    }
    return largest;
}

std::vector<FileCurves::Pair> pairsOf(const FileCurves& file) {
    std::vector<FileCurves::Pair> pairs;
    for (const auto& [pair, values] : file.curves) {
        pairs.push_back(pair);
    }
    return pairs;
}

/// Compares gains and rates of a system, by a step that lasts until all else has settled, with those of a model file.
void expectGainsOfFile(const json& system, const FileCurves& file) {
    for (std::size_t input = 0; input < file.inputCount(); ++input) {
        const auto responses = stepResponses(system, input, settled);
        for (std::size_t output = 0; output < file.outputCount(); ++output) {
            SCOPED_TRACE("output " + std::to_string(output) + ", input " + std::to_string(input));
            const double last = responses[output][settled - 1];
            const double rise = last - responses[output][settled - 2];
            const auto found = file.gains.find({output, input});
            const double wanted = found == file.gains.end() ? 0.0 : found->second;
            if (file.isRamp(output)) {
                EXPECT_NEAR(rise, wanted, relativeRateError * std::fabs(wanted));
            } else {
                EXPECT_NEAR(last, wanted, gainErrorOfPeak * file.peak(output));
                EXPECT_NEAR(rise, 0.0, 1e-12 * file.peak(output));
            }
        }
    }
}

/// Every example reduced by the default, and both files read.
class ReducedExample : public testing::TestWithParam<const char*> {
  protected:
    static std::string example() { return exampleModel(std::string(GetParam()) + ".fir"); }

    const TemporaryFolder folder;
    const json table =
        reduced({example(), "-o", folder.file("reduced.fir"), "--state-space", folder.file("system.json")});
    const FileCurves wanted{example()};
    const FileCurves found{folder.file("reduced.fir")};
};

TEST_P(ReducedExample, LiesWithinOnePercentOfItsCurves) {
    const double distance = largestDistancePercent(found, wanted);
    EXPECT_LE(distance, 1.0 + 100.0 * rounding);
    // An input in small units is measured more strictly.
    EXPECT_LE(distance, valueOf(table, "largestCurveErrorPercent") + 100.0 * rounding);
    EXPECT_LE(valueOf(table, "largestCurveErrorPercent"), 1.0);
    EXPECT_EQ(table["isWithinTolerance"], true);
    EXPECT_EQ(pairsOf(found), pairsOf(wanted));
}

TEST_P(ReducedExample, HasTheGainsAndRampRatesOfThePlant) {
    expectGainsOfFile(jsonOf(folder.file("system.json")), wanted);
    EXPECT_LE(valueOf(table, "largestGainError"), gainErrorOfPeak);
    EXPECT_EQ(table["largestRampRateError"].is_null(), table["ramps"].empty());
    if (!table["ramps"].empty()) {
        EXPECT_LE(valueOf(table, "largestRampRateError"), relativeRateError);
    }
}

TEST_P(ReducedExample, HasTheNamesRampsAndTimesOfThePlant) {
    EXPECT_EQ(found.file.coefficientCount, wanted.file.coefficientCount);
    EXPECT_EQ(found.file.horizonSeconds, wanted.file.horizonSeconds);
    ASSERT_EQ(found.inputCount(), wanted.inputCount());
    ASSERT_EQ(found.outputCount(), wanted.outputCount());
    for (std::size_t i = 0; i < wanted.inputCount(); ++i) {
        EXPECT_EQ(found.file.inputs[i].name, wanted.file.inputs[i].name);
        EXPECT_EQ(found.file.inputs[i].descriptor, wanted.file.inputs[i].descriptor);
    }
    for (std::size_t j = 0; j < wanted.outputCount(); ++j) {
        EXPECT_EQ(found.file.outputs[j].name, wanted.file.outputs[j].name);
        EXPECT_EQ(found.file.outputs[j].descriptor, wanted.file.outputs[j].descriptor);
        EXPECT_EQ(found.isRamp(j), wanted.isRamp(j));
    }
    EXPECT_EQ(table["inputs"], wanted.inputCount());
    EXPECT_EQ(table["outputs"], wanted.outputCount());
    EXPECT_EQ(table["coefficients"], wanted.file.coefficientCount);
}

INSTANTIATE_TEST_SUITE_P(Examples, ReducedExample, testing::ValuesIn(examplePlants),
                         [](const testing::TestParamInfo<const char*>& plant) { return std::string(plant.param); });

/// Compares the step response of a system, offset samples later, with a reduced file.
void expectCurvesOfSystem(const json& system, int offset, const FileCurves& file) {
    for (const auto& [pair, values] : file.curves) {
        const auto responses = stepResponses(system, pair.second, file.file.coefficientCount + offset + 1);
        for (int k = 1; k <= file.file.coefficientCount; ++k) {
            EXPECT_NEAR(responses[pair.first][static_cast<std::size_t>(k + offset)],
                        values[static_cast<std::size_t>(k - 1)], rounding * file.peak(pair.first));
        }
    }
}

TEST(ReduceCommand, WritesTheCurvesOfItsSystem) {
    const TemporaryFolder folder;
    const std::string model = exampleModel("surge_drum.fir");
    const json table = reduced({model, "-o", folder.file("reduced.fir"), "--state-space", folder.file("system.json")});
    const json system = jsonOf(folder.file("system.json"));
    EXPECT_EQ(system["format"], "qormath-system");
    EXPECT_EQ(system["type"], "discrete");
    EXPECT_EQ(system["sampleTime"], 20.0);
    EXPECT_EQ(system["curveOffset"], 1);
    EXPECT_EQ(system["inputs"], json::parse(R"(["FEED", "OUTFLOW", "STEAM"])"));
    EXPECT_EQ(system["outputs"], json::parse(R"(["LEVEL", "TEMP"])"));
    EXPECT_EQ(system["states"], table["orderReached"]);
    EXPECT_EQ(table["system"], folder.file("system.json"));
    EXPECT_EQ(table["reduced"], folder.file("reduced.fir"));
    expectCurvesOfSystem(system, 1, FileCurves(folder.file("reduced.fir")));
    EXPECT_THAT(folder.names(), testing::UnorderedElementsAre("reduced.fir", "system.json"));
}

TEST(ReduceCommand, WritesAnAlignedSystemWhoseOrdinaryStepResponseIsTheCurve) {
    const TemporaryFolder folder;
    reduced({exampleModel("wood_berry.fir"), "-o", folder.file("reduced.fir"), "--state-space",
             folder.file("system.json"), "--aligned"});
    const json system = jsonOf(folder.file("system.json"));
    EXPECT_EQ(system["curveOffset"], 0);
    expectCurvesOfSystem(system, 0, FileCurves(folder.file("reduced.fir")));
    expectGainsOfFile(system, FileCurves(exampleModel("wood_berry.fir")));
}

TEST(ReduceCommand, WritesNoSystemUnlessAsked) {
    const TemporaryFolder folder;
    const json table = reduced({exampleModel("wood_berry.fir"), "-o", folder.file("reduced.fir")});
    EXPECT_FALSE(table.contains("system"));
    EXPECT_THAT(folder.names(), ElementsAre("reduced.fir"));
}

TEST(ReduceCommand, TakesTheOrderThatItIsGiven) {
    const TemporaryFolder folder;
    const std::string system = folder.file("system.json");
    for (const int order : {0, 1, 6, 22}) {
        SCOPED_TRACE(order);
        const json table = reduced({exampleModel("wood_berry.fir"), "-o", folder.file("reduced.fir"), "--order",
                                    std::to_string(order), "--state-space", system});
        EXPECT_EQ(table["orderChoice"], "number");
        EXPECT_EQ(table["orderAsked"], order);
        EXPECT_EQ(table["orderReached"].get<int>() - table["gainStates"].get<int>(), order);
        EXPECT_EQ(jsonOf(system)["states"], table["orderReached"]);
        expectGainsOfFile(jsonOf(system), FileCurves(exampleModel("wood_berry.fir")));
    }
}

TEST(ReduceCommand, KeepsTheRampsWhateverTheOrder) {
    const TemporaryFolder folder;
    const std::string system = folder.file("system.json");
    const json table = reduced(
        {exampleModel("surge_drum.fir"), "-o", folder.file("reduced.fir"), "--order", "0", "--state-space", system});
    EXPECT_EQ(table["orderAsked"], 0);
    EXPECT_EQ(table["orderReached"], 1);
    expectGainsOfFile(jsonOf(system), FileCurves(exampleModel("surge_drum.fir")));
}

TEST(ReduceCommand, TakesTheOrdersThatAreSuggested) {
    const TemporaryFolder folder;
    for (const std::string plant : examplePlants) {
        SCOPED_TRACE(plant);
        const auto tableOf = [&](const std::string& order) {
            return reduced({exampleModel(plant + ".fir"), "-o", folder.file("reduced.fir"), "--order", order});
        };
        const json coarse = tableOf("coarse");
        const json middle = tableOf("middle");
        const json fine = tableOf("fine");
        EXPECT_EQ(coarse["orderAsked"], coarse["coarseOrder"]);
        EXPECT_EQ(fine["orderAsked"], fine["fineOrder"]);
        EXPECT_LE(coarse["orderAsked"], middle["orderAsked"]);
        EXPECT_LE(middle["orderAsked"], fine["orderAsked"]);
        EXPECT_EQ(coarse["orderChoice"], "coarse");
        EXPECT_EQ(middle["orderChoice"], "middle");
        EXPECT_EQ(fine["orderChoice"], "fine");
        EXPECT_FALSE(fine.contains("isWithinTolerance"));
    }
}

TEST(ReduceCommand, FindsTheSmallestModelInsideATolerance) {
    const TemporaryFolder folder;
    const std::string file = folder.file("reduced.fir");
    const std::string model = exampleModel("surge_drum.fir");
    for (const std::string tolerance : {"0.5", "5", "20"}) {
        SCOPED_TRACE(tolerance);
        const json found = reduced({model, "-o", file, "--curve-tolerance", tolerance});
        const double limit = std::stod(tolerance);
        EXPECT_EQ(found["curveTolerancePercent"], limit);
        EXPECT_LE(valueOf(found, "largestCurveErrorPercent"), limit);
        for (int order = 0; order < found["orderReached"]; ++order) {
            const json smaller = reduced({model, "-o", file, "--order", std::to_string(order)});
            ASSERT_EQ(smaller["statesRealised"], found["statesRealised"]);
            EXPECT_TRUE(valueOf(smaller, "largestCurveErrorPercent") > limit ||
                        smaller["orderReached"] >= found["orderReached"])
                << order;
        }
    }
}

TEST(ReduceCommand, TakesATighterToleranceAtItsWord) {
    const TemporaryFolder folder;
    for (const std::string tolerance : {"0.3", "0.15"}) {
        const json table =
            reduced({exampleModel("null_pairs.fir"), "-o", folder.file("reduced.fir"), "--curve-tolerance", tolerance});
        EXPECT_EQ(table["isWithinTolerance"], true);
        const double distance =
            largestDistancePercent(FileCurves(folder.file("reduced.fir")), FileCurves(exampleModel("null_pairs.fir")));
        EXPECT_LE(distance, std::stod(tolerance) + 100.0 * rounding);
    }
}

/// A lag of 10 s with a tenth of its gain ringing: damping ratio 0.05, decaying with 15 s.
class Ringing : public testing::Test {
  protected:
    static constexpr double ratio = 0.05;
    static constexpr double decay = 15.0;

    Ringing() {
        writeModelFile(model, test::modelOf(1, 1, 120, [](int, int, int k) {
                           const std::complex<double> ringing(-1.0 / decay, frequency());
                           return 3.6 * (1.0 - std::exp(-k / 10.0)) +
                                  0.4 * (1.0 - std::exp(ringing * static_cast<double>(k)).real());
                       }));
    }

    static double frequency() { return std::sqrt(1.0 - ratio * ratio) / (ratio * decay); }

    double leastDampingRatio() const {
        double least = std::numeric_limits<double>::infinity();
        for (const std::complex<double>& pole : test::sortedPoles(readSystemFile(system).system.A)) {
            const std::complex<double> s = std::log(pole);
            least = std::min(least, -s.real() / std::abs(s));
        }
        return least;
    }

    const TemporaryFolder folder;
    const std::string model = folder.file("model.fir");
    const std::string output = folder.file("reduced.fir");
    const std::string system = folder.file("system.json");
};

TEST_F(Ringing, GoesIfItsDampingIsBelowTheLimitAndTheGainStays) {
    const json table = reduced({model, "-o", output, "--damping", "0.1", "--state-space", system});
    ASSERT_EQ(table["ringers"].size(), 1U);
    EXPECT_NEAR(table["ringers"][0]["dampingRatio"].get<double>(), ratio, 0.01 * ratio);
    EXPECT_NEAR(table["ringers"][0]["period"].get<double>(), 2.0 * M_PI / frequency(), 0.05);
    EXPECT_EQ(table["isJudgedWithoutRingers"], true);
    EXPECT_GT(leastDampingRatio(), 0.1);
    expectGainsOfFile(jsonOf(system), FileCurves(model));
}

TEST_F(Ringing, StaysOtherwise) {
    for (const std::string limit : {"0", "0.04"}) {
        const json table = reduced({model, "-o", output, "--damping", limit, "--state-space", system});
        EXPECT_THAT(table["ringers"], IsEmpty());
        EXPECT_EQ(table["isJudgedWithoutRingers"], false);
        EXPECT_NEAR(leastDampingRatio(), ratio, 0.02 * ratio);
    }
    EXPECT_THAT(reduced({model, "-o", output})["ringers"], IsEmpty());
}

TEST_F(Ringing, IsToldInTheTable) {
    const ProgramRun run = runQormath({"reduce", model, "-o", output, "--damping", "0.1"});
    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(run.out, HasSubstr("of the plant without its ringers)"));
    EXPECT_THAT(run.out, HasSubstr(", without 2 ringing states\n"));
    EXPECT_THAT(run.out, HasSubstr("ringers taken out    damping ratio 0.05 with a period of 4.72 s\n"));
}

TEST_F(Ringing, OfManyModesIsToldOfFiveAndTheirNumber) {
    const std::vector<std::string> words{
        exampleModel("wood_berry.fir"), "-o", output, "--order", "coarse", "--damping", "1"};
    const std::size_t count = reduced(words)["ringers"].size();
    ASSERT_GT(count, 5U);
    std::vector<std::string> command{"reduce"};
    command.insert(command.end(), words.begin(), words.end());
    const ProgramRun run = runQormath(command);
    EXPECT_THAT(run.out, HasSubstr(", and " + std::to_string(count - 5) + " more\n"));
}

TEST_F(Ringing, HasNoPeriodIfItIsALag) {
    const ProgramRun run = runQormath({"reduce", model, "-o", output, "--order", "fine", "--damping", "1"});
    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(run.out, HasSubstr("damping ratio 1 without a period"));
    const json table = reduced({model, "-o", output, "--order", "fine", "--damping", "1"});
    EXPECT_TRUE(table["ringers"].back()["period"].is_null());
}

TEST(ReduceCommand, LeavesAGainAloneThatIsOffByLessThanItsTolerance) {
    const TemporaryFolder folder;
    const std::string model = exampleModel("wood_berry.fir");
    const auto tableOf = [&](const std::string& tolerance, const std::string& file) {
        return reduced({model, "-o", folder.file(file), "--order", "8", "--gain-tolerance", tolerance});
    };
    const json never = tableOf("-1", "never.fir");
    EXPECT_GT(valueOf(never, "largestGainError"), 1e-4);
    EXPECT_EQ(never["gainStates"], 0);
    tableOf("1e6", "lenient.fir");
    EXPECT_EQ(textOfFile(folder.file("lenient.fir")), textOfFile(folder.file("never.fir")));
    const json strict = tableOf("1e-6", "strict.fir");
    EXPECT_LT(valueOf(strict, "largestGainError"), 1e-8);
    const json exact = tableOf("0", "exact.fir");
    EXPECT_LT(valueOf(exact, "largestGainError"), gainErrorOfPeak);
}

TEST(ReduceCommand, ClearsPairsWithoutACurveUnlessTheyAreToBeKept) {
    const TemporaryFolder folder;
    const std::string file = folder.file("reduced.fir");
    const FileCurves wanted(exampleModel("null_pairs.fir"));
    const std::size_t pairs = wanted.inputCount() * wanted.outputCount();
    const json cleared = reduced({exampleModel("null_pairs.fir"), "-o", file});
    EXPECT_EQ(pairsOf(FileCurves(file)), pairsOf(wanted));
    ASSERT_EQ(cleared["clearedPairs"].size(), pairs - wanted.curves.size());
    for (const json& pair : cleared["clearedPairs"]) {
        const auto indexOf = [](const auto& variables, const std::string& name) {
            const auto found = std::find_if(variables.begin(), variables.end(),
                                            [&](const auto& variable) { return variable.name == name; });
            return static_cast<std::size_t>(found - variables.begin());
        };
        const std::size_t output = indexOf(wanted.file.outputs, pair["output"]);
        const std::size_t input = indexOf(wanted.file.inputs, pair["input"]);
        EXPECT_LT(output, wanted.outputCount());
        EXPECT_LT(input, wanted.inputCount());
        EXPECT_FALSE(wanted.curves.contains({output, input}));
    }
    EXPECT_GT(cleared["largestClearedPercent"], 0.0);
    EXPECT_LE(cleared["largestClearedPercent"], 1.0);

    const json kept = reduced({exampleModel("null_pairs.fir"), "-o", file, "--keep-null-pairs"});
    EXPECT_EQ(FileCurves(file).curves.size(), pairs);
    EXPECT_THAT(kept["clearedPairs"], IsEmpty());
    EXPECT_EQ(kept["largestClearedPercent"], 0.0);
}

TEST(ReduceCommand, KeepsASampleTimeOfPartsOfASecond) {
    const TemporaryFolder folder;
    // 10 s, in minutes, for 30 coefficients.
    writeFile(folder.file("model.fir"),
              replacedIn(textOfFile(exampleModel("single_lag_30.fir")), "       30.000000", "        0.166667"));
    const json table = reduced(
        {folder.file("model.fir"), "-o", folder.file("reduced.fir"), "--state-space", folder.file("system.json")});
    EXPECT_EQ(table["sampleTime"], 10.0 / 30.0);
    EXPECT_EQ(jsonOf(folder.file("system.json"))["sampleTime"], 10.0 / 30.0);
}

TEST(ReduceCommand, ReducesAModelInItsPlace) {
    const TemporaryFolder folder;
    const std::string model = folder.file("model.fir");
    writeFile(model, textOfFile(exampleModel("wood_berry.fir")));
    reduced({exampleModel("wood_berry.fir"), "-o", folder.file("elsewhere.fir")});
    reduced({model, "-o", model});
    EXPECT_EQ(textOfFile(model), textOfFile(folder.file("elsewhere.fir")));
}

TEST(ReduceCommand, GivesTheSameBytesOnEveryRun) {
    const TemporaryFolder folder;
    const auto everything = [&](const std::vector<std::string>& more) {
        std::vector<std::string> words{"reduce",
                                       exampleModel("heavy_oil_fractionator.fir"),
                                       "-o",
                                       folder.file("reduced.fir"),
                                       "--state-space",
                                       folder.file("system.json")};
        words.insert(words.end(), more.begin(), more.end());
        const ProgramRun run = runQormath(words);
        EXPECT_EQ(run.status, 0);
        return run.out + textOfFile(folder.file("reduced.fir")) + textOfFile(folder.file("system.json"));
    };
    EXPECT_EQ(everything({}), everything({}));
    EXPECT_EQ(everything({"--json"}), everything({"--json"}));
}

struct Fact {
    std::string label;
    std::string value;
};

std::vector<Fact> factsOf(const std::string& table) {
    std::vector<Fact> facts;
    std::istringstream lines(table);
    for (std::string line; std::getline(lines, line);) {
        const std::size_t gap = line.find("  ");
        facts.push_back({line.substr(0, gap), line.substr(line.find_first_not_of(' ', gap))});
    }
    return facts;
}

std::string described(const json& error, const std::string& unit) {
    return formatNumber(error["value"].get<double>(), 3) + unit + "  (output " + error["output"].get<std::string>() +
           ", input " + error["input"].get<std::string>() + ")";
}

TEST(ReduceCommand, TellsTheSameFactsInTheTableAndInJson) {
    const TemporaryFolder folder;
    const std::vector<std::string> arguments{exampleModel("surge_drum.fir"), "-o", folder.file("reduced.fir"),
                                             "--state-space", folder.file("system.json")};
    const json told = reduced(arguments);
    std::vector<std::string> words{"reduce"};
    words.insert(words.end(), arguments.begin(), arguments.end());
    const ProgramRun run = runQormath(words);
    EXPECT_EQ(run.status, 0);
    const auto number = [&](const char* name) { return std::to_string(told[name].get<int>()); };
    const std::vector<Fact> wanted{
        {"model", arguments[0]},
        {"reduced", arguments[2]},
        {"system", arguments[4]},
        {"inputs", number("inputs")},
        {"outputs", number("outputs")},
        {"coefficients", number("coefficients")},
        {"sample time", formatNumber(told["sampleTime"].get<double>()) + " s"},
        {"ramps", "LEVEL"},
        {"states realised", number("statesRealised")},
        {"minimal realisation", number("rampStates") + " ramp, " + number("stableStates") + " stable (" +
                                    number("delayStates") + " of them delays), " + number("statesRemoved") +
                                    " removed; suggested orders " + number("coarseOrder") + " (coarse) to " +
                                    number("fineOrder") + " (fine)"},
        {"order asked for", number("orderAsked") + " (the smallest within 1 %)"},
        {"order reached", number("orderReached")},
        {"ringers taken out", "none"},
        {"null pairs cleared", std::to_string(told["clearedPairs"].size()) + ", up to " +
                                   formatNumber(told["largestClearedPercent"].get<double>(), 2) + " %"},
        {"largest gain error", described(told["largestGainError"], "")},
        {"largest ramp rate error", described(told["largestRampRateError"], "")},
        {"largest curve error", described(told["largestCurveErrorPercent"], " %")}};
    const std::vector<Fact> found = factsOf(run.out);
    ASSERT_EQ(found.size(), wanted.size()) << run.out;
    for (std::size_t k = 0; k < wanted.size(); ++k) {
        EXPECT_EQ(found[k].label, wanted[k].label);
        EXPECT_EQ(found[k].value, wanted[k].value);
    }
    EXPECT_EQ(told["ramps"], json::parse(R"(["LEVEL"])"));
    EXPECT_EQ(told["orderChoice"], "curveTolerance");
    EXPECT_EQ(told["gainStates"], 0);
    EXPECT_THAT(told["ringers"], IsEmpty());
    EXPECT_THAT(told["warnings"], IsEmpty());
}

TEST(ReduceCommand, TellsWhichOrderWasAskedForInTheTable) {
    const TemporaryFolder folder;
    const auto orderLineOf = [&](const std::string& order) {
        const ProgramRun run =
            runQormath({"reduce", exampleModel("surge_drum.fir"), "-o", folder.file("reduced.fir"), "--order", order});
        for (const Fact& fact : factsOf(run.out)) {
            if (fact.label == "order asked for") {
                return fact.value;
            }
        }
        return std::string("not told");
    };
    EXPECT_EQ(orderLineOf("0"), "0 (ramps stay all the same)");
    EXPECT_EQ(orderLineOf("5"), "5");
    EXPECT_THAT(orderLineOf("coarse"), testing::EndsWith(" (coarse)"));
    EXPECT_THAT(orderLineOf("middle"), testing::EndsWith(" (middle)"));
    EXPECT_THAT(orderLineOf("fine"), testing::EndsWith(" (fine)"));
}

}  // namespace
}  // namespace qormath::cli
