#include <algorithm>
#include <cmath>
#include <cstddef>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "models.hpp"
#include "program_run.hpp"
#include "system_file.hpp"
#include "system_responses.hpp"

namespace qormath::cli {
namespace {

using nlohmann::json;
using qormath::test::exampleModel;
using qormath::test::firstOrder;
using qormath::test::matrixOf;
using qormath::test::ProgramRun;
using qormath::test::runQormath;
using qormath::test::stepResponse;
using qormath::test::TemporaryFolder;
using qormath::test::textOfFile;
using qormath::test::writeFile;
using testing::HasSubstr;

class ConversionCommands : public testing::Test {
  protected:
    ProgramRun run(const std::vector<std::string>& words) const { return runQormath(words); }

    SystemFile convert(const SystemFile& file, const std::vector<std::string>& more) const {
        return convertBy("convert", file, more);
    }

    SystemFile resample(const SystemFile& file, const std::vector<std::string>& more) const {
        return convertBy("resample", file, more);
    }

    SystemFile convertBy(const std::string& command, const SystemFile& file,
                         const std::vector<std::string>& more) const {
        writeSystemFile(system, file);
        std::vector<std::string> words{command, system, "-o", output};
        words.insert(words.end(), more.begin(), more.end());
        const ProgramRun result = run(words);
        EXPECT_EQ(result.status, 0) << result.err;
        EXPECT_EQ(result.err, "");
        return readSystemFile(output);
    }

    /// The command is to fail, and to leave the old output as it was.
    void expectError(const std::string& command, const SystemFile& file, const std::vector<std::string>& more,
                     const std::string& cause) const {
        writeSystemFile(system, file);
        writeFile(output, "old");
        std::vector<std::string> words{command, system, "-o", output};
        words.insert(words.end(), more.begin(), more.end());
        const ProgramRun result = run(words);
        EXPECT_EQ(result.status, 1);
        EXPECT_EQ(result.out, "");
        EXPECT_EQ(result.err, "qormath: " + system + ": " + cause + "\n");
        EXPECT_EQ(textOfFile(output), "old");
    }

    TemporaryFolder folder;
    std::string system = folder.file("system.json");
    std::string output = folder.file("out.json");
};

/// An ordinary system: its curves have no offset.
SystemFile ordinary(SystemFile file) {
    file.curveOffset = 0;
    return file;
}

SystemFile lagWithTimeConstant(double tau) {
    SystemFile file = ordinary(firstOrder(-1.0 / tau, 1.0, 3.0 / tau, 0.0));
    file.system.sysType = continuousSystem;
    file.system.sampleTime = 0.0;
    return file;
}

}  // namespace

TEST_F(ConversionCommands, SampleALagAsItsExponential) {
    const SystemFile result = convert(lagWithTimeConstant(8.0), {"--to", "discrete", "--sample-time", "2"});
    EXPECT_EQ(result.system.sysType, discreteSystem);
    EXPECT_EQ(result.system.sampleTime, 2.0);
    EXPECT_NEAR(result.system.A(0, 0), std::exp(-0.25), 1e-15);
    const std::vector<double> response = stepResponse(json::parse(textOfFile(output)), 0, 0, 30);
    // An error of eps in A or B moves the settled response by its gain over 1 - A.
    const double bound = 20.0 * 0x1p-53 * 3.0 / (1.0 - std::exp(-0.25));
    for (std::size_t k = 0; k < response.size(); ++k) {
        EXPECT_NEAR(response[k], 3.0 * (1.0 - std::exp(-0.25 * static_cast<double>(k))), bound);
    }
}

TEST_F(ConversionCommands, MakeADiscreteLagContinuous) {
    SystemFile file = ordinary(firstOrder(0.5, 1.0, 2.0, 0.25));
    file.system.sampleTime = 4.0;
    const SystemFile result = convert(file, {"--to", "continuous"});
    EXPECT_EQ(result.system.sysType, continuousSystem);
    EXPECT_EQ(result.system.sampleTime, 4.0) << "what it was sampled at is remembered";
    EXPECT_NEAR(result.system.A(0, 0), std::log(0.5) / 4.0, 1e-15);
    EXPECT_EQ(result.system.D(0, 0), 0.25);
    EXPECT_EQ(result.inputs, file.inputs);
    EXPECT_EQ(result.outputs, file.outputs);
    EXPECT_EQ(convert(result, {"--to", "discrete"}).system.sampleTime, 4.0);
}

TEST_F(ConversionCommands, KeepTheCurvesOfAnOffsetSystemAtTheirTimes) {
    const SystemFile offset = firstOrder(0.5, 1.0, 2.0, 0.0);
    const SystemFile result = convert(convert(offset, {"--to", "continuous"}), {"--to", "discrete"});
    EXPECT_EQ(result.curveOffset, 0);
    writeSystemFile(system, offset);
    const std::vector<double> before = stepResponse(json::parse(textOfFile(system)), 0, 0, 31);
    const std::vector<double> after = stepResponse(json::parse(textOfFile(output)), 0, 0, 30);
    for (std::size_t k = 0; k < after.size(); ++k) {
        EXPECT_NEAR(after[k], before[k + 1], 1e-13);
    }
}

TEST_F(ConversionCommands, ReturnByTustinToTheSameTransferFunction) {
    const SystemFile file = ordinary(firstOrder(0.5, 1.0, 2.0, 0.25));
    const SystemFile continuous = convert(file, {"--to", "continuous", "--method", "tustin"});
    // s = 2 (z - 1) / (z + 1) takes 0.5 to -2/3.
    EXPECT_NEAR(continuous.system.A(0, 0), -2.0 / 3.0, 1e-15);
    const SystemFile result = convert(continuous, {"--to", "discrete", "--method", "tustin"});
    EXPECT_NEAR(result.system.A(0, 0), 0.5, 1e-15);
    EXPECT_NEAR(result.system.C(0, 0) * result.system.B(0, 0), 2.0, 1e-14);
    EXPECT_NEAR(result.system.D(0, 0), 0.25, 1e-15);
}

TEST_F(ConversionCommands, ResampleByAWholeFactor) {
    const SystemFile result = resample(ordinary(firstOrder(0.5, 1.0, 2.0, 0.25)), {"--sample-time", "3"});
    EXPECT_EQ(result.system.A(0, 0), 0.125);
    EXPECT_EQ(result.system.B(0, 0), 1.75);
    EXPECT_EQ(result.system.sampleTime, 3.0);
}

TEST_F(ConversionCommands, ResampleAPlantAtAnyRatio) {
    const std::string plant = folder.file("plant.json");
    ASSERT_EQ(run({"reduce", exampleModel("wood_berry.fir"), "-o", folder.file("small.fir"), "--state-space", plant,
                   "--aligned"})
                  .status,
              0);
    for (const char* sampleTime : {"20", "45", "180"}) {
        SCOPED_TRACE(sampleTime);
        ASSERT_EQ(run({"resample", plant, "-o", output, "--sample-time", sampleTime}).status, 0);
        const json before = json::parse(textOfFile(plant));
        const json after = json::parse(textOfFile(output));
        // Both are sampled at every 180 s. The steps of a minute hold between the samples of 20 s and of 45 s alike.
        const int ratio = 180 / std::stoi(sampleTime);
        for (std::size_t j = 0; j < 2; ++j) {
            const std::vector<double> slow = stepResponse(before, j, 0, 120);
            const std::vector<double> fast = stepResponse(after, j, 0, 39 * ratio + 1);
            for (int k = 0; k < 39; ++k) {
                EXPECT_NEAR(fast[static_cast<std::size_t>(k * ratio)], slow[static_cast<std::size_t>(3 * k)], 1e-5);
            }
        }
    }
}

TEST_F(ConversionCommands, PrintATable) {
    writeSystemFile(system, ordinary(firstOrder(0.5, 1.0, 2.0, 0.25)));
    const ProgramRun result = run({"convert", system, "--to", "continuous", "-o", output});
    EXPECT_EQ(result.status, 0);
    for (const char* line : {"inputs               1\n", "outputs              1\n",
                             "from                 discrete, every 1 s\n", "to                   continuous\n",
                             "method               zoh\n", "states before        1\n", "states after         1\n"}) {
        EXPECT_THAT(result.out, HasSubstr(line));
    }
}

TEST_F(ConversionCommands, PrintJson) {
    writeSystemFile(system, ordinary(firstOrder(0.5, 1.0, 2.0, 0.25)));
    const ProgramRun result =
        run({"resample", system, "--sample-time", "2.5", "--method", "tustin", "-o", output, "--json"});
    const json object = json::parse(result.out);
    EXPECT_EQ(object["system"], system);
    EXPECT_EQ(object["converted"], output);
    EXPECT_EQ(object["typeBefore"], "discrete");
    EXPECT_EQ(object["typeAfter"], "discrete");
    EXPECT_EQ(object["sampleTimeBefore"], 1.0);
    EXPECT_EQ(object["sampleTimeAfter"], 2.5);
    EXPECT_EQ(object["method"], "tustin");
    EXPECT_EQ(object["statesBefore"], 1);
    EXPECT_EQ(object["statesAfter"], 1);
    EXPECT_LE(object["largestGainChange"].get<double>(), 1e-14);
}

TEST_F(ConversionCommands, SayNothingOfTheGainOfAnIntegrator) {
    writeSystemFile(system, ordinary(firstOrder(1.0, 1.0, 2.0, 0.0)));
    const ProgramRun result = run({"convert", system, "--to", "continuous", "-o", output, "--json"});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_TRUE(json::parse(result.out)["largestGainChange"].is_null());
}

TEST_F(ConversionCommands, AddAStateForANegativeEigenvalue) {
    const SystemFile result = convert(ordinary(firstOrder(-0.5, 1.0, 2.0, 0.0)), {"--to", "continuous"});
    EXPECT_EQ(result.system.A.rows(), 2);
}

TEST_F(ConversionCommands, TakeASystemWithoutStates) {
    SystemFile file = ordinary(firstOrder(0.5, 1.0, 2.0, 0.25));
    file.system.A = matrixOf({}, 0);
    file.system.B = matrixOf({}, 1);
    file.system.C = matrixOf({{}}, 0);
    const SystemFile result = convert(file, {"--to", "continuous"});
    EXPECT_EQ(result.system.A.rows(), 0);
    EXPECT_EQ(result.system.D(0, 0), 0.25);
}

TEST_F(ConversionCommands, RefuseADelayByZohAndTakeItByTustin) {
    const SystemFile delay = ordinary(firstOrder(0.0, 1.0, 2.0, 0.0));
    expectError("convert", delay, {"--to", "continuous"},
                "the system cannot be made continuous: it has an eigenvalue at zero, a delay, of which no system of "
                "finite order is the continuous counterpart; --method tustin approximates it");
    EXPECT_NEAR(convert(delay, {"--to", "continuous", "--method", "tustin"}).system.A(0, 0), -2.0, 1e-15);
    expectError("resample", delay, {"--sample-time", "2.5"},
                "the system cannot be resampled: it has an eigenvalue at zero, a delay, of which no system of finite "
                "order is the continuous counterpart; --method tustin approximates it");
    EXPECT_EQ(resample(delay, {"--sample-time", "2"}).system.A(0, 0), 0.0) << "a whole factor needs no logarithm";
}

TEST_F(ConversionCommands, RefuseWhatTustinCannotMap) {
    expectError("convert", ordinary(firstOrder(-1.0, 1.0, 2.0, 0.0)), {"--to", "continuous", "--method", "tustin"},
                "the system cannot be made continuous: a numerical step failed");
}

TEST_F(ConversionCommands, RefuseASystemOfTheWrongKind) {
    expectError("convert", lagWithTimeConstant(2.0), {"--to", "continuous"}, "the system is continuous");
    expectError("resample", lagWithTimeConstant(2.0), {"--sample-time", "3"}, "the system is continuous");
    expectError("convert", ordinary(firstOrder(0.5, 1, 1, 0)), {"--to", "discrete", "--sample-time", "3"},
                "the system is discrete; 'qormath resample' gives it another sample time");
    SystemFile offset = lagWithTimeConstant(2.0);
    offset.curveOffset = 1;
    expectError("convert", offset, {"--to", "discrete", "--sample-time", "3"},
                "the system is continuous, and its curves have an offset, which only a sample can be");
}

TEST_F(ConversionCommands, RefuseASampleTimeThatCannotBe) {
    const SystemFile file = ordinary(firstOrder(0.5, 1, 1, 0));
    for (const char* time : {"0", "-1", "nan", "inf"}) {
        expectError("resample", file, {"--sample-time=" + std::string(time)},
                    "the sample time asked for is not a time in seconds above 0");
        expectError("convert", file, {"--to", "continuous", "--sample-time=" + std::string(time)},
                    "the sample time asked for is not a time in seconds above 0");
        expectError("convert", lagWithTimeConstant(2.0), {"--to", "discrete", "--sample-time=" + std::string(time)},
                    "the sample time asked for is not a time in seconds above 0");
    }
    expectError("convert", file, {"--to", "continuous", "--sample-time", "2"},
                "the system has a sample time of 1 s, not of 2 s");
    expectError("convert", lagWithTimeConstant(2.0), {"--to", "discrete"},
                "the system remembers no sample time; --sample-time tells one");
    expectError("resample", file, {"--sample-time", "1e-9"},
                "a sample time of 1e-09 s is out of reach of the system's, 1 s");
    expectError("resample", file, {"--sample-time", "1e9"},
                "a sample time of 1e+09 s is out of reach of the system's, 1 s");
}

TEST_F(ConversionCommands, RefuseAWrongCommandLine) {
    writeSystemFile(system, ordinary(firstOrder(0.5, 1, 1, 0)));
    EXPECT_EQ(run({"convert", system, "-o", output}).status, 2);
    EXPECT_EQ(run({"convert", system, "-o", output, "--to", "sideways"}).status, 2);
    EXPECT_EQ(run({"convert", system, "-o", output, "--to", "continuous", "--method", "magic"}).status, 2);
    EXPECT_EQ(run({"resample", system, "-o", output}).status, 2);
    EXPECT_EQ(run({"resample", system, "-o", output, "--sample-time", "soon"}).status, 2);
}

TEST_F(ConversionCommands, NameAFileThatIsNoSystem) {
    writeFile(system, "{}");
    const ProgramRun result = run({"resample", system, "-o", output, "--sample-time", "2"});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err, HasSubstr(system + ": this is not a system file"));
}

TEST_F(ConversionCommands, WorkInPlace) {
    writeSystemFile(system, ordinary(firstOrder(0.5, 1.0, 2.0, 0.25)));
    EXPECT_EQ(run({"resample", system, "-o", system, "--sample-time", "2"}).status, 0);
    EXPECT_EQ(readSystemFile(system).system.A(0, 0), 0.25);
}

}  // namespace qormath::cli
