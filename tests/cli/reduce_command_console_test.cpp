// What reduce says on standard error: warnings, and on a terminal its progress.

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <stdlib.h>
#include <string>
#include <thread>
#include <unistd.h>
#include <vector>

#include "model_file.hpp"
#include "models.hpp"
#include "program_run.hpp"

namespace qormath::cli {
namespace {

using qormath::test::exampleModel;
using qormath::test::examplePlants;
using qormath::test::modelOf;
using qormath::test::ProgramRun;
using qormath::test::runQormath;
using qormath::test::TemporaryFolder;
using qormath::test::textOfFile;
using testing::HasSubstr;

const std::string eraseLine = "\r\033[K";

/// A terminal that keeps what is written to it.
class Terminal {
  public:
    Terminal() : master_(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC)) {
        if (master_ < 0 || grantpt(master_) != 0 || unlockpt(master_) != 0) {
            throw std::runtime_error("no terminal can be made");
        }
        name_ = ptsname(master_);
        // While the other end is open somewhere, reading waits instead of failing.
        slave_ = open(name_.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
        reader_ = std::thread([this] { read(); });
    }
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;
    ~Terminal() {
        finish();
        close(master_);
    }

    const std::string& name() const { return name_; }

    /// All that has been written, once nobody writes any more.
    const std::string& text() {
        finish();
        return text_;
    }

  private:
    void read() {
        char buffer[256];
        for (ssize_t count = ::read(master_, buffer, sizeof buffer); count > 0;
             count = ::read(master_, buffer, sizeof buffer)) {
            text_.append(buffer, static_cast<std::size_t>(count));
        }
    }

    void finish() {
        if (reader_.joinable()) {
            close(slave_);
            reader_.join();
        }
    }

    int master_;
    int slave_ = -1;
    std::string name_;
    std::string text_;
    std::thread reader_;
};

/// What is to be seen in the end of a text that moves back to the start of a line and erases lines.
std::string visible(const std::string& text) {
    std::string result;
    std::size_t column = 0;  // from the end of the last whole line
    std::size_t line = 0;
    for (std::size_t k = 0; k < text.size(); ++k) {
        if (text.compare(k, 3, "\033[K") == 0) {
            result.resize(line + column);
            k += 2;
        } else if (text[k] == '\r') {
            column = 0;
        } else if (text[k] == '\n') {
            result += '\n';
            line = result.size();
            column = 0;
        } else {
            result.resize(std::max(result.size(), line + column + 1));
            result[line + column] = text[k];
            ++column;
        }
    }
    return result;
}

struct TerminalRun {
    ProgramRun run;
    std::string shown;
};

TerminalRun runOnTerminal(const std::vector<std::string>& arguments) {
    Terminal terminal;
    const ProgramRun run = runQormath(arguments, {.standardError = terminal.name()});
    return {run, terminal.text()};
}

TEST(ReduceCommandOnATerminal, ShowsStageAndProgressAndErasesThem) {
    const TemporaryFolder folder;
    const std::vector<std::string> arguments{"reduce", exampleModel("heavy_oil_fractionator.fir"), "-o",
                                             folder.file("reduced.fir")};
    const auto [run, shown] = runOnTerminal(arguments);
    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(shown, HasSubstr(eraseLine + "realising ..."));
    EXPECT_THAT(shown, testing::ContainsRegex("trying orders 1 of [0-9]+ \\.\\.\\."));
    EXPECT_THAT(shown, testing::EndsWith(eraseLine));
    EXPECT_EQ(shown.find('\n'), std::string::npos);
    EXPECT_EQ(visible(shown), "");
    EXPECT_EQ(run.out, runQormath(arguments).out);
}

TEST(ReduceCommandOnATerminal, ShowsTheReductionToAGivenOrder) {
    const TemporaryFolder folder;
    const auto [run, shown] = runOnTerminal(
        {"reduce", exampleModel("wood_berry.fir"), "-o", folder.file("reduced.fir"), "--order", "coarse"});
    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(shown, HasSubstr(eraseLine + "reducing ..."));
    EXPECT_EQ(visible(shown), "");
}

TEST(ReduceCommandOnATerminal, ErasesItsProgressBeforeAWarning) {
    const TemporaryFolder folder;
    const auto [run, shown] = runOnTerminal(
        {"reduce", exampleModel("surge_drum.fir"), "-o", folder.file("reduced.fir"), "--curve-tolerance", "1e-9"});
    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(shown, HasSubstr("trying orders"));
    EXPECT_EQ(visible(shown), "qormath: warning: " + exampleModel("surge_drum.fir") +
                                  ": no order keeps every curve within 1e-09 %; the closest model has been written\n");
}

TEST(ReduceCommandOnATerminal, ErasesItsProgressBeforeAnError) {
    const TemporaryFolder folder;
    const auto [run, shown] =
        runOnTerminal({"reduce", exampleModel("single_lag_30.fir"), "-o", folder.file("reduced.fir"), "--order", "99"});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.out, "");
    EXPECT_THAT(shown, HasSubstr("realising ..."));
    EXPECT_EQ(visible(shown), "qormath: " + exampleModel("single_lag_30.fir") +
                                  ": cannot be reduced: order 99 is above that of the model, which has 3 states\n");
}

TEST(ReduceCommandInAPipe, IsSilentOnStandardError) {
    const TemporaryFolder folder;
    for (const std::string plant : examplePlants) {
        for (const std::vector<std::string>& more : {std::vector<std::string>{}, {"--order", "fine"}, {"--json"}}) {
            std::vector<std::string> words{"reduce", exampleModel(plant + ".fir"), "-o", folder.file("reduced.fir")};
            words.insert(words.end(), more.begin(), more.end());
            const ProgramRun run = runQormath(words);
            EXPECT_EQ(run.status, 0);
            EXPECT_EQ(run.err, "");
            EXPECT_EQ(run.out.find('\033'), std::string::npos);
        }
    }
}

/// Five outputs of one input over 120 s: one that rises without a flag, one with a flag that settles, one that is still
/// on its way, one that nothing moves, and one of which there is nothing to be said.
LTIFIRModel questionablePlant() {
    constexpr int samples = 120;
    LTIFIRModel model = modelOf(1, 5, samples, [](int output, int, int k) {
        const auto lag = [k](double tau) { return 1.0 - std::exp(-k / tau); };
        const double curves[] = {lag(10.0) + 0.02 * k, lag(6.0), lag(samples / 3.0), 0.0, lag(10.0)};
        return curves[output];
    });
    model.rampFlags[1] = true;
    return model;
}

TEST(ReduceCommandWarnings, NameTheOutputsWhoseFlagsAndCurvesDoNotAgree) {
    const TemporaryFolder folder;
    const std::string model = folder.file("model.fir");
    writeModelFile(model, questionablePlant());
    // The output that has not settled is 5 % short of where its curve leads.
    const ProgramRun run =
        runQormath({"reduce", model, "-o", folder.file("reduced.fir"), "--json", "--curve-tolerance", "6"});
    EXPECT_EQ(run.status, 0);
    const std::vector<std::string> warnings{
        "output Y1 keeps rising on a straight line but is not flagged as a ramp; it is modelled as one, at the rate of "
        "its last step",
        "output Y2 is flagged as a ramp but its curves settle; it is modelled as a ramp at the rate of its last step",
        "output Y3 has not settled at the end of its curves; its last coefficients are taken for its gains",
        "output Y4 has no curve: no input moves it, and the model leaves it at 0"};
    std::string lines;
    for (const std::string& warning : warnings) {
        lines += "qormath: warning: " + model + ": " + warning + "\n";
    }
    EXPECT_EQ(run.err, lines);
    EXPECT_EQ(nlohmann::json::parse(run.out)["warnings"], nlohmann::json(warnings));
}

TEST(ReduceCommandWarnings, KeepNothingFromBeingWritten) {
    const TemporaryFolder folder;
    writeModelFile(folder.file("model.fir"), questionablePlant());
    const ProgramRun run =
        runQormath({"reduce", folder.file("model.fir"), "-o", folder.file("reduced.fir"), "--curve-tolerance", "6"});
    EXPECT_EQ(run.status, 0);
    const LTIFIRModel reduced = readModelFile(folder.file("reduced.fir"));
    const LTIFIRModel wanted = readModelFile(folder.file("model.fir"));
    EXPECT_EQ(reduced.coefficients(0, 3).size(), 0);
    for (const int output : {0, 1, 2, 4}) {
        for (int k = 1; k <= wanted.coefficientCount; ++k) {
            EXPECT_NEAR(reduced.coefficients(0, output)[k], wanted.coefficients(0, output)[k],
                        0.06001 * test::largestOf(wanted.coefficients(0, output)));
        }
    }
}

TEST(ReduceCommandWarnings, SayPlainlyThatNoOrderKeepsTheTolerance) {
    const TemporaryFolder folder;
    const std::vector<std::string> arguments{
        "reduce", exampleModel("surge_drum.fir"), "-o", folder.file("reduced.fir"), "--curve-tolerance", "1e-9"};
    const ProgramRun run = runQormath(arguments);
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.err, "qormath: warning: " + exampleModel("surge_drum.fir") +
                           ": no order keeps every curve within 1e-09 %; the closest model has been written\n");
    EXPECT_THAT(run.out, HasSubstr("(the closest; no order is within 1e-09 %)"));
    std::vector<std::string> words(arguments);
    words.push_back("--json");
    const nlohmann::json table = nlohmann::json::parse(runQormath(words).out);
    EXPECT_EQ(table["isWithinTolerance"], false);
    EXPECT_GT(table["largestCurveErrorPercent"]["value"], 1e-9);
    // Far closer than what the default gives all the same.
    EXPECT_LT(table["largestCurveErrorPercent"]["value"], 0.05);
}

}  // namespace
}  // namespace qormath::cli
