// The command report, and the page that reduce writes with --report. What a browser makes of the page is tested in
// tests/report.

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <limits>
#include <nlohmann/json.hpp>
#include <regex>
#include <string>
#include <vector>

#include "json_value.hpp"
#include "model_file.hpp"
#include "models.hpp"
#include "program_run.hpp"
#include "report_page.hpp"

namespace qormath::cli {
namespace {

using nlohmann::json;
using qormath::test::exampleModel;
using qormath::test::modelOf;
using qormath::test::ProgramRun;
using qormath::test::RunOptions;
using qormath::test::runQormath;
using qormath::test::TemporaryFolder;
using qormath::test::textOfFile;
using qormath::test::writeFile;
using testing::ContainsRegex;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

using Words = std::vector<std::string>;

class ReportCommand : public testing::Test {
  protected:
    void SetUp() override {
        if (!hasReportPage()) {
            GTEST_SKIP() << "built without the page of a report";
        }
    }

    std::string page() const { return textOfFile(path); }

    ProgramRun run(const std::string& model, Words options = {}) const {
        Words words{"report", model, "-o", path};
        words.insert(words.end(), options.begin(), options.end());
        return runQormath(words);
    }

    json numbers(const std::string& model, Words options = {}) const {
        options.push_back("--json");
        const ProgramRun result = run(model, options);
        EXPECT_EQ(result.status, 0) << result.err;
        return json::parse(result.out);
    }

    /// What the page has for its script to show.
    json embedded() const {
        const std::string text = page();
        const std::string opening = R"(<script type="application/json" id="data">)";
        const std::size_t start = text.find(opening) + opening.size();
        return json::parse(text.substr(start, text.find("</script>", start) - start));
    }

    TemporaryFolder folder;
    std::string path = folder.file("report.html");
    std::string plant = exampleModel("wood_berry.fir");
};

int countOf(const std::string& text, const std::string& part) {
    int count = 0;
    for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
        ++count;
    }
    return count;
}

TEST_F(ReportCommand, HasTheSameNumbersOnThePageAndInJson) {
    for (const Words& options : {Words{}, Words{"--order", "coarse"}, Words{"--order", "5", "--gain-tolerance", "-1"},
                                 Words{"--curve-tolerance", "3"}, Words{"--damping", "0.3", "--keep-null-pairs"}}) {
        const json told = numbers(exampleModel("null_pairs.fir"), options);
        EXPECT_EQ(told, embedded());
    }
}

TEST_F(ReportCommand, TellsTheFactsThatReduceTells) {
    for (const Words& options : {Words{}, Words{"--order", "4"}, Words{"--order", "fine"}}) {
        const json told = numbers(plant, options);
        Words words{"reduce", plant, "-o", folder.file("reduced.fir"), "--json"};
        words.insert(words.end(), options.begin(), options.end());
        const json facts = json::parse(runQormath(words).out);
        for (const auto& [name, value] : facts.items()) {
            if (name != "reduced") {
                EXPECT_EQ(told.at(name), value) << name;
            }
        }
    }
}

TEST_F(ReportCommand, PrintsTheTableOfReduce) {
    const ProgramRun told = run(plant);
    const ProgramRun reduced = runQormath({"reduce", plant, "-o", folder.file("reduced.fir")});
    EXPECT_EQ(told.status, 0) << told.err;
    const auto facts = [](const std::string& table) { return table.substr(table.find("inputs")); };
    EXPECT_EQ(facts(told.out), facts(reduced.out));
    EXPECT_THAT(told.out, StartsWith("model "));
    EXPECT_THAT(told.out, HasSubstr("report "));
}

TEST_F(ReportCommand, HasEveryPairWithItsCurvesAsTheyStandInTheFiles) {
    const json told = numbers(plant);
    const ProgramRun reduced = runQormath({"reduce", plant, "-o", folder.file("reduced.fir")});
    ASSERT_EQ(reduced.status, 0);
    const LTIFIRModel original = readModelFile(plant);
    const LTIFIRModel small = readModelFile(folder.file("reduced.fir"));
    ASSERT_EQ(told["pairs"].size(), 6U);
    for (const json& pair : told["pairs"]) {
        const int j = pair["output"];
        const int i = pair["input"];
        for (const auto& [name, model] : {std::pair("curve", &original), std::pair("reducedCurve", &small)}) {
            const QorMathLA::Vector<double>& curve = model->coefficients(i, j);
            ASSERT_EQ(pair[name].size(), static_cast<std::size_t>(curve.size()));
            for (int k = 1; k < curve.size(); ++k) {
                // Seven digits here, and seven of a file that is read in single precision.
                const double element = pair[name][static_cast<std::size_t>(k)];
                EXPECT_NEAR(element, curve[k], 1e-6 * std::abs(curve[k]) + 1e-30);
            }
        }
    }
}

TEST_F(ReportCommand, HasErrorsOfPairsThatAddUpToTheLargest) {
    const json told = numbers(exampleModel("surge_drum.fir"), {"--order", "5"});
    double largestCurveError = 0.0;
    double largestGainError = 0.0;
    for (const json& pair : told["pairs"]) {
        largestCurveError = std::max(largestCurveError, pair["curveErrorPercent"].get<double>());
        if (!told["rampFlags"][pair["output"].get<std::size_t>()].get<bool>()) {
            largestGainError = std::max(largestGainError, pair["gainErrorPercent"].get<double>());
        }
    }
    EXPECT_EQ(largestCurveError, told["largestCurveErrorPercent"]["value"]);
    EXPECT_DOUBLE_EQ(largestGainError, 100.0 * told["largestGainError"]["value"].get<double>());
}

TEST_F(ReportCommand, MarksTheOrdersOnTheCurveOfErrors) {
    for (const Words& options : {Words{}, Words{"--order", "7"}}) {
        const json told = numbers(plant, options);
        const json& orders = told["orders"];
        for (const char* name : {"coarse", "middle", "fine", "chosen", "tolerance"}) {
            const bool isThere = std::any_of(told["orderErrors"].begin(), told["orderErrors"].end(),
                                             [&](const json& point) { return point["order"] == orders[name]; });
            EXPECT_TRUE(isThere) << name;
        }
        EXPECT_EQ(orders["coarse"], told["coarseOrder"]);
        EXPECT_EQ(orders["fine"], told["fineOrder"]);
        EXPECT_EQ(orders["chosen"], told["orderAsked"]);
    }
    EXPECT_EQ(numbers(plant)["orders"]["tolerance"], numbers(plant, {"--order", "7"})["orders"]["tolerance"]);
}

TEST_F(ReportCommand, HasNoOrderByToleranceWhereNoneKeepsIt) {
    EXPECT_TRUE(numbers(plant, {"--curve-tolerance", "1e-9"})["orders"]["tolerance"].is_null());
}

TEST_F(ReportCommand, HasAPoleForEachState) {
    const json told = numbers(exampleModel("surge_drum.fir"));
    EXPECT_EQ(told["poles"].size(), told["orderReached"].get<std::size_t>());
    EXPECT_EQ(told["poles"][0]["magnitude"], 1.0);  // the ramp
}

// ---------------------------------------------------------------- the page by itself

TEST_F(ReportCommand, WritesAPageThatNeedsNothingElse) {
    ASSERT_EQ(run(plant).status, 0);
    std::string text = page();
    EXPECT_THAT(text, StartsWith("<!DOCTYPE html>"));
    EXPECT_THAT(text, HasSubstr("default-src 'none'"));
    EXPECT_THAT(text, Not(HasSubstr("unsafe-inline")));
    EXPECT_THAT(text, Not(ContainsRegex("<(link|img|iframe|object|embed)[ >]")));
    EXPECT_THAT(text, Not(ContainsRegex(" src=")));
    EXPECT_THAT(text, Not(HasSubstr("@import")));
    EXPECT_THAT(text, HasSubstr("Permission is hereby granted"));
    // The chart library names its home in a comment.
    const std::string home = "https://github.com/leeoniya/uPlot (v";
    EXPECT_EQ(countOf(text, "http"), countOf(text, "http-equiv") + countOf(text, home));
    EXPECT_EQ(countOf(text, "//# sourceMappingURL"), 0);
}

TEST_F(ReportCommand, GivesTheSameBytesOnEveryRun) {
    ASSERT_EQ(run(plant).status, 0);
    const std::string first = page();
    ASSERT_EQ(run(plant).status, 0);
    EXPECT_TRUE(page() == first);
}

TEST_F(ReportCommand, TakesNamesForTextWhateverTheySay) {
    const std::vector<std::string> names{"</script>", "<script>", "<!--", "a&b\"'\\", "\xe2\x80\xa8\xe2\x80\xa9",
                                         "\xff\xfe",  "__proto__"};
    LTIFIRModel model =
        modelOf(static_cast<int>(names.size()), 1, 30, [](int, int, int k) { return 1.0 - std::pow(0.7, k); });
    for (std::size_t k = 0; k < names.size(); ++k) {
        model.inputNames[static_cast<int>(k)] = names[k];
        model.inputDescriptors[static_cast<int>(k)] = names[k];
    }
    const std::string file = folder.file("hostile.fir");
    writeModelFile(file, model);

    ASSERT_EQ(run(exampleModel("wood_berry.fir")).status, 0);
    const std::string harmless = page();
    const json told = numbers(file);
    EXPECT_EQ(told, embedded());
    EXPECT_EQ(told["inputNames"][0], "</SCRIPT>");  // files have capital letters
    const std::string hostile = page();
    for (const char* part : {"<script", "</script", "<SCRIPT", "</SCRIPT", "<!--"}) {
        EXPECT_EQ(countOf(hostile, part), countOf(harmless, part)) << part;
    }
    EXPECT_EQ(hostile.find("\xe2\x80\xa8"), std::string::npos);
}

TEST(ReportData, AreSafeInsideAScriptElement) {
    JsonValue data;
    const std::string name = "</script><!--&\xe2\x80\xa8\xe2\x80\xa9\xe2\x80\xaa\xc3\xa9\"\\\n";
    data.add("name", name);
    data.add("nan", std::vector<double>{std::numeric_limits<double>::quiet_NaN(),
                                        std::numeric_limits<double>::infinity(), 0.5});
    const std::string text = data.scriptText();
    for (const char* part : {"<", ">", "&", "\xe2\x80\xa8", "\xe2\x80\xa9", "\n"}) {
        EXPECT_EQ(text.find(part), std::string::npos) << part;
    }
    const json read = json::parse(text);
    EXPECT_EQ(read["name"], name);
    EXPECT_EQ(read["nan"], (json{nullptr, nullptr, 0.5}));
}

// ---------------------------------------------------------------- failures

TEST_F(ReportCommand, LeavesTheOldPageWhereItFails) {
    writeFile(path, "old page");
    const std::string noModel = folder.file("no.fir");
    writeFile(noModel, "no model");
    for (const ProgramRun& failed : {run(noModel), run(folder.file("none.fir")), run(plant, {"--order", "1000"}),
                                     run(plant, {"--curve-tolerance", "0"})}) {
        EXPECT_EQ(failed.status, 1);
        EXPECT_EQ(failed.out, "");
        EXPECT_THAT(failed.err, StartsWith("qormath: "));
    }
    RunOptions full;
    full.standardOutput = "/dev/full";
    EXPECT_EQ(runQormath({"report", plant, "-o", path}, full).status, 1);
    full = {};
    full.largestFile = 20000;
    EXPECT_EQ(runQormath({"report", plant, "-o", path}, full).status, 1);
    EXPECT_EQ(page(), "old page");
}

TEST_F(ReportCommand, RefusesToWriteOverItsModel) {
    const std::string model = folder.file("model.fir");
    writeFile(model, textOfFile(plant));
    const ProgramRun refused = runQormath({"report", model, "-o", model});
    EXPECT_EQ(refused.status, 1);
    EXPECT_THAT(refused.err, HasSubstr("the model is read from there"));
    EXPECT_EQ(textOfFile(model), textOfFile(plant));
}

TEST_F(ReportCommand, IsWrittenByReduceAsWell) {
    ASSERT_EQ(run(plant).status, 0);
    const std::string alone = page();
    const Words words{"reduce", plant, "-o", folder.file("reduced.fir"), "--report", path, "--json"};
    const ProgramRun told = runQormath(words);
    ASSERT_EQ(told.status, 0) << told.err;
    EXPECT_TRUE(page() == alone);
    EXPECT_EQ(json::parse(told.out)["report"], path);
    EXPECT_EQ(textOfFile(folder.file("reduced.fir")).empty(), false);
}

TEST_F(ReportCommand, DoesNotChangeWhatReduceMakes) {
    const std::string with = folder.file("with.fir");
    const std::string without = folder.file("without.fir");
    ASSERT_EQ(runQormath({"reduce", plant, "-o", with, "--report", path}).status, 0);
    ASSERT_EQ(runQormath({"reduce", plant, "-o", without}).status, 0);
    EXPECT_EQ(textOfFile(with), textOfFile(without));
}

TEST_F(ReportCommand, OfReduceIsOfOneModel) {
    const ProgramRun refused = runQormath({"reduce", plant, "--out-dir", folder.file("small"), "--report", path});
    EXPECT_EQ(refused.status, 2);
    EXPECT_THAT(refused.err, HasSubstr("--report"));
}

TEST_F(ReportCommand, OfReduceNeedsAFileOfItsOwn) {
    const std::string model = folder.file("model.fir");
    const std::string system = folder.file("system.json");
    writeFile(model, textOfFile(plant));
    for (const std::string& taken : {model, folder.file("reduced.fir"), system}) {
        const ProgramRun refused =
            runQormath({"reduce", model, "-o", folder.file("reduced.fir"), "--state-space", system, "--report", taken});
        EXPECT_EQ(refused.status, 1) << taken;
        EXPECT_THAT(refused.err, HasSubstr(taken));
    }
    EXPECT_EQ(textOfFile(model), textOfFile(plant));
}

TEST(ReportCommandWithoutAPage, SaysSo) {
    if (hasReportPage()) {
        GTEST_SKIP() << "this build has the page";
    }
    const TemporaryFolder folder;
    const std::string plant = exampleModel("wood_berry.fir");
    for (const Words& words :
         {Words{"report", plant, "-o", folder.file("report.html")},
          Words{"reduce", plant, "-o", folder.file("r.fir"), "--report", folder.file("report.html")}}) {
        const ProgramRun run = runQormath(words);
        EXPECT_EQ(run.status, 1);
        EXPECT_THAT(run.err, HasSubstr("has been built without the page of a report"));
    }
}

}  // namespace
}  // namespace qormath::cli
