// Many models in one run: what becomes of each, and of the rest when one of them fails.

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <map>
#include <nlohmann/json.hpp>
#include <sstream>
#include <stdlib.h>
#include <string>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>
#include <utility>
#include <vector>

#include "many_runs.hpp"
#include "program_run.hpp"
#include "tables.hpp"

namespace qormath::cli {
namespace {

namespace files = std::filesystem;
using nlohmann::json;
using qormath::test::contentOf;
using qormath::test::modelsOf;
using qormath::test::namesIn;
using qormath::test::quickPlants;
using qormath::test::reduceInto;
using qormath::test::runWithScript;
using qormath::test::Variable;
using qormath::test::Words;
using qormath::test::operator+;
using qormath::test::becomeProgram;
using qormath::test::exampleModel;
using qormath::test::examplePlants;
using qormath::test::ProgramRun;
using qormath::test::runQormath;
using qormath::test::TemporaryFolder;
using qormath::test::textOfFile;
using qormath::test::writeFile;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;
using testing::UnorderedElementsAre;

constexpr int failed = 1;

// ---------------------------------------------------------------- what is written

TEST(ManyModels, BecomeWhatEachBecomesAlone) {
    const Variable oneThread("OPENBLAS_NUM_THREADS", "1");
    const TemporaryFolder folder;
    const Words options{"--order",          "coarse", "--damping",         "0.3",
                        "--gain-tolerance", "-1",     "--keep-null-pairs", "--aligned"};
    for (const Words& chosen : {Words{}, Words{"--curve-tolerance", "0.3"}, options}) {
        const std::string out = folder.file("out");
        const ProgramRun run = reduceInto(out, modelsOf(quickPlants), chosen);
        ASSERT_EQ(run.status, 0) << run.err;
        for (const std::string& plant : quickPlants) {
            SCOPED_TRACE(plant);
            const ProgramRun alone =
                runQormath(Words{"reduce", exampleModel(plant + ".fir"), "-o", folder.file("alone.fir"),
                                 "--state-space", folder.file("alone.json")} +
                           chosen);
            ASSERT_EQ(alone.status, 0) << alone.err;
            EXPECT_TRUE(textOfFile(out + "/" + plant + ".fir") == textOfFile(folder.file("alone.fir")));
            EXPECT_TRUE(textOfFile(out + "/" + plant + ".json") == textOfFile(folder.file("alone.json")));
        }
        EXPECT_THAT(namesIn(out), UnorderedElementsAre("wood_berry.fir", "wood_berry.json", "surge_drum.fir",
                                                       "surge_drum.json", "null_pairs.fir", "null_pairs.json"));
    }
}

TEST(ManyModels, GiveTheSameBytesHoweverManyRunAtOnce) {
    const TemporaryFolder folder;
    const Words models = modelsOf(Words(std::begin(examplePlants), std::end(examplePlants)));
    std::map<std::string, std::string> first;
    std::string printed;
    for (const char* jobs : {"1", "2", "4", "100"}) {
        // Threads that the caller asks BLAS for change nothing either.
        const Variable threads("OPENBLAS_NUM_THREADS", jobs);
        const std::string out = folder.file(jobs);
        const ProgramRun run = reduceInto(out, models, {"--jobs", jobs});
        ASSERT_EQ(run.status, 0) << run.err;
        const auto content = contentOf(out);
        EXPECT_EQ(content.size(), 2 * models.size());
        if (first.empty()) {
            first = content;
            printed = run.out + run.err;
        }
        EXPECT_TRUE(content == first) << jobs;
        EXPECT_EQ(run.out + run.err, printed) << jobs;
    }
}

TEST(ManyModels, MayBeOne) {
    const TemporaryFolder folder;
    const ProgramRun run = reduceInto(folder.file("out"), modelsOf({"wood_berry"}));
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_THAT(namesIn(folder.file("out")), ElementsAre("wood_berry.fir", "wood_berry.json"));
}

TEST(ManyModels, KeepAllOfTheirNameButTheEnding) {
    const TemporaryFolder folder;
    const std::string text = textOfFile(exampleModel("single_lag_30.fir"));
    Words models;
    for (const char* name : {"unit.1.fir", "unit.2.FIR", "plain", ".hidden", "-dash.fir", "a b\n.fir", "\xe9.fir"}) {
        models.push_back(folder.file(name));
        writeFile(models.back(), text);
    }
    const std::string out = folder.file("out");
    ASSERT_EQ(reduceInto(out, models).status, 0);
    EXPECT_THAT(namesIn(out),
                UnorderedElementsAre("unit.1.fir", "unit.1.json", "unit.2.fir", "unit.2.json", "plain.fir",
                                     "plain.json", ".hidden.fir", ".hidden.json", "-dash.fir", "-dash.json",
                                     "a b\n.fir", "a b\n.json", "\xe9.fir", "\xe9.json"));
}

TEST(ManyModels, MayHaveNamesThatLookLikeOptions) {
    const TemporaryFolder folder;
    const files::path former = files::current_path();
    files::current_path(folder.path());
    writeFile("--json", textOfFile(exampleModel("single_lag_30.fir")));
    const ProgramRun run = runQormath({"reduce", "--out-dir", "out", "--", "--json"});
    files::current_path(former);
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_THAT(namesIn(folder.file("out")), ElementsAre("--json.fir", "--json.json"));
}

TEST(ManyModels, ReplaceOldResultsAndKeepTheirPermissions) {
    const TemporaryFolder folder;
    writeFile(folder.file("wood_berry.fir"), "old");
    ASSERT_EQ(chmod(folder.file("wood_berry.fir").c_str(), 0640), 0);
    ASSERT_EQ(reduceInto(folder.path(), modelsOf({"wood_berry"})).status, 0);
    EXPECT_NE(textOfFile(folder.file("wood_berry.fir")), "old");
    struct stat found {};
    ASSERT_EQ(stat(folder.file("wood_berry.fir").c_str(), &found), 0);
    EXPECT_EQ(found.st_mode & 0777U, 0640U);
}

// ---------------------------------------------------------------- failures

TEST(ManyModels, OfWhichSomeAreBadAreReducedAllTheSame) {
    const TemporaryFolder folder;
    const std::string bad = folder.file("bad.fir");
    const std::string nowhere = folder.file("nowhere.fir");
    const std::string taken = folder.file("taken.fir");
    const std::string out = folder.file("out");
    writeFile(bad, "hello\n");
    writeFile(taken, textOfFile(exampleModel("single_lag_30.fir")));
    files::create_directories(out + "/taken.fir");
    const Words models =
        Words{bad} + modelsOf({"wood_berry"}) + Words{nowhere, folder.path(), taken} + modelsOf({"surge_drum"});
    const ProgramRun run = reduceInto(out, models, {"--jobs", "2"});
    EXPECT_EQ(run.status, failed);
    const std::string folderName = files::path(folder.path()).filename().string();
    EXPECT_THAT(namesIn(out), UnorderedElementsAre("wood_berry.fir", "wood_berry.json", "surge_drum.fir",
                                                   "surge_drum.json", "taken.fir"));
    // A sentence each, in the order of the models.
    std::istringstream lines(run.err);
    Words errors;
    for (std::string line; std::getline(lines, line);) {
        errors.push_back(line);
    }
    ASSERT_THAT(errors, testing::SizeIs(5)) << run.err;
    EXPECT_THAT(errors[0], StartsWith("qormath: " + bad + ": is not a model file"));
    EXPECT_EQ(errors[1], "qormath: " + nowhere + ": cannot be read: No such file or directory");
    EXPECT_EQ(errors[2], "qormath: " + folder.path() + ": is a directory, not a model file");
    EXPECT_EQ(errors[3], "qormath: " + taken + ": " + out + "/taken.fir: cannot be written: Is a directory");
    EXPECT_EQ(errors[4], "qormath: 4 of 6 models could not be reduced");
}

TEST(ManyModels, ThatCannotBeReducedAreNamedWithTheCauseThatOneHas) {
    const TemporaryFolder folder;
    const ProgramRun run = reduceInto(folder.file("out"), modelsOf({"wood_berry"}), {"--damping", "2"});
    const ProgramRun alone =
        runQormath({"reduce", exampleModel("wood_berry.fir"), "-o", folder.file("x.fir"), "--damping", "2"});
    EXPECT_EQ(run.status, failed);
    EXPECT_EQ(run.err, alone.err + "qormath: 1 of 1 models could not be reduced\n");
    EXPECT_THAT(namesIn(folder.file("out")), IsEmpty());
}

TEST(ManyModels, WhoseProcessDiesFailAlone) {
    const TemporaryFolder folder;
    const std::string out = folder.file("out");
    const ProgramRun run = runWithScript(
        folder,
        "case \"$*\" in *surge*) echo half >\"$4\"; kill -9 $$ ;; *null*) exit 3 ;; esac\nexec " QORMATH_PROGRAM
        " \"$@\"\n",
        Words{"reduce"} + modelsOf(quickPlants) + Words{"--out-dir", out});
    EXPECT_EQ(run.status, failed);
    EXPECT_THAT(run.err, HasSubstr("surge_drum.fir: the process that reduced it ended with signal 9 (Killed)\n"));
    EXPECT_THAT(run.err, HasSubstr("null_pairs.fir: the process that reduced it ended with status 3\n"));
    EXPECT_THAT(run.err, HasSubstr("qormath: 2 of 3 models could not be reduced\n"));
    EXPECT_THAT(namesIn(out), ElementsAre("wood_berry.fir", "wood_berry.json"));
}

TEST(ManyModels, WhoseProcessTellsNothingOfUseFail) {
    const TemporaryFolder folder;
    for (const char* script : {"exit 0\n", "echo nonsense; touch \"$4\" \"$6\"\n"}) {
        const ProgramRun run = runWithScript(
            folder, script, Words{"reduce"} + modelsOf(quickPlants) + Words{"--out-dir", folder.file("out")});
        EXPECT_EQ(run.status, failed) << script;
        EXPECT_THAT(run.err, HasSubstr("qormath: 3 of 3 models could not be reduced\n"));
        EXPECT_THAT(namesIn(folder.file("out")), IsEmpty());
    }
}

TEST(ManyModels, KeepNoMoreProcessesBusyThanAskedFor) {
    const TemporaryFolder folder;
    // Each process leaves a mark while it runs, and writes down how many marks it has seen.
    const std::string script =
        "mkdir -p \"$MARKS\"; touch \"$MARKS/$$\"; ls \"$MARKS\" | wc -l >>\"$MARKS.seen\"\n" QORMATH_PROGRAM
        " \"$@\"; status=$?; rm \"$MARKS/$$\"; exit $status\n";
    Words models;
    for (int k = 0; k < 8; ++k) {
        models.push_back(folder.file("m" + std::to_string(k) + ".fir"));
        writeFile(models.back(), textOfFile(exampleModel("single_lag_30.fir")));
    }
    for (const int jobs : {1, 3}) {
        const std::string marks = folder.file("marks" + std::to_string(jobs));
        const Variable variable("MARKS", marks);
        const ProgramRun run = runWithScript(
            folder, script,
            Words{"reduce"} + models + Words{"--out-dir", folder.file("out"), "--jobs", std::to_string(jobs)});
        ASSERT_EQ(run.status, 0) << run.err;
        std::ifstream seen(marks + ".seen");
        int count = 0;
        int most = 0;
        for (int number = 0; seen >> number; ++count) {
            most = std::max(most, number);
        }
        EXPECT_EQ(count, 8);
        EXPECT_LE(most, jobs);
    }
}

// ---------------------------------------------------------------- going on

TEST(ManyModels, WhoseResultsStandAreLeftOutWithResume) {
    const TemporaryFolder folder;
    const std::string out = folder.file("out");
    files::create_directory(out);
    writeFile(out + "/wood_berry.fir", "a result");
    // A system file alone is no result: the model file comes last.
    writeFile(out + "/surge_drum.json", "half a result");
    const ProgramRun resumed = reduceInto(out, modelsOf(quickPlants), {"--resume", "--json"});
    ASSERT_EQ(resumed.status, 0) << resumed.err;
    EXPECT_EQ(textOfFile(out + "/wood_berry.fir"), "a result");
    EXPECT_FALSE(files::exists(out + "/wood_berry.json"));
    EXPECT_NE(textOfFile(out + "/surge_drum.json"), "half a result");
    const json summary = json::parse(resumed.out);
    EXPECT_EQ(summary["skipped"], 1);
    EXPECT_EQ(summary["reduced"], 2);
    EXPECT_EQ(summary["models"][0]["outcome"], "skipped");

    const auto before = contentOf(out);
    EXPECT_EQ(reduceInto(out, modelsOf(quickPlants), {"--resume"}).status, 0);
    EXPECT_TRUE(contentOf(out) == before);
    EXPECT_EQ(reduceInto(out, modelsOf(quickPlants)).status, 0);
    EXPECT_NE(textOfFile(out + "/wood_berry.fir"), "a result");
}

TEST(ManyModels, ThatFailedAreTriedAgainWithResume) {
    const TemporaryFolder folder;
    const std::string model = folder.file("model.fir");
    const std::string out = folder.file("out");
    writeFile(model, "not yet");
    EXPECT_EQ(reduceInto(out, {model}).status, failed);
    EXPECT_EQ(reduceInto(out, {model}, {"--resume"}).status, failed);
    writeFile(model, textOfFile(exampleModel("single_lag_30.fir")));
    EXPECT_EQ(reduceInto(out, {model}, {"--resume"}).status, 0);
}

/// The program on its way, in a group of processes of its own, as a terminal has it.
pid_t started(const Words& words, const TemporaryFolder& folder) {
    const pid_t process = fork();
    if (process == 0) {
        setpgid(0, 0);
        std::signal(SIGINT, SIG_DFL);
        becomeProgram(Words{QORMATH_PROGRAM} + words, folder.file("printed"), folder.file("said"), {});
    }
    setpgid(process, process);
    return process;
}

/// Whether a process has not ended yet; nothing is taken from whoever waits for its end.
bool isRunning(pid_t process) {
    siginfo_t found{};
    return waitid(P_PID, static_cast<id_t>(process), &found, WEXITED | WNOHANG | WNOWAIT) == 0 && found.si_pid == 0;
}

/// Copies of a model that takes a while.
Words copiesOf(const std::string& plant, int count, const TemporaryFolder& folder) {
    Words models;
    for (int k = 0; k < count; ++k) {
        models.push_back(folder.file(plant + std::to_string(k) + ".fir"));
        writeFile(models.back(), textOfFile(exampleModel(plant + ".fir")));
    }
    return models;
}

TEST(ManyModels, ThatAreInterruptedLeaveWholeFilesAndGoOnFromThere) {
    const TemporaryFolder folder;
    const TemporaryFolder scratch;
    const Variable temporary("TMPDIR", scratch.path());
    constexpr int count = 60;
    const Words models = copiesOf("heavy_oil_fractionator", count, folder);
    const std::string whole = folder.file("whole");
    ASSERT_EQ(reduceInto(whole, {models[0]}).status, 0);
    const std::string curves = textOfFile(whole + "/heavy_oil_fractionator0.fir");
    const std::string system = textOfFile(whole + "/heavy_oil_fractionator0.json");

    const std::string out = folder.file("out");
    const Words words = Words{"reduce"} + models + Words{"--out-dir", out, "--jobs", "2", "--resume"};
    const auto finished = [&] {
        return std::count_if(models.begin(), models.end(), [&](const std::string& model) {
            return files::exists(out + "/" + files::path(model).filename().string());
        });
    };
    long before = 0;
    for (const auto& [signal, toAll] : {std::pair{SIGTERM, false}, std::pair{SIGINT, true}}) {
        const pid_t process = started(words, folder);
        while (finished() == before && isRunning(process)) {
            std::this_thread::yield();
        }
        ASSERT_EQ(kill(toAll ? -process : process, signal), 0);
        int state = 0;
        ASSERT_EQ(waitpid(process, &state, 0), process);
        ASSERT_TRUE(WIFSIGNALED(state)) << "it was done before it could be interrupted";
        EXPECT_EQ(WTERMSIG(state), signal);
        EXPECT_EQ(textOfFile(folder.file("printed")), "");
        EXPECT_EQ(textOfFile(folder.file("said")), "qormath: interrupted; --resume goes on from here\n");
        EXPECT_LT(finished(), count);
        EXPECT_GT(finished(), before);
        before = finished();
        for (const auto& [name, text] : contentOf(out)) {
            EXPECT_TRUE(text == (name.ends_with(".fir") ? curves : system)) << name;
        }
        for (const auto& [name, text] : contentOf(out)) {
            const std::string partner = files::path(out + "/" + name).replace_extension(".json").string();
            EXPECT_TRUE(files::exists(partner)) << name;
        }
        EXPECT_THAT(scratch.names(), IsEmpty());
    }
    const ProgramRun rest = runQormath(words + Words{"--json"});
    EXPECT_EQ(rest.status, 0) << rest.err;
    EXPECT_EQ(json::parse(rest.out)["skipped"], before);
    EXPECT_EQ(contentOf(out).size(), 2 * models.size());
    EXPECT_THAT(scratch.names(), IsEmpty());
}

// ---------------------------------------------------------------- the summary

TEST(ManyModels, AreSummedUpInATable) {
    const TemporaryFolder folder;
    const std::string out = folder.file("out");
    writeFile(folder.file("bad.fir"), "hello\n");
    files::create_directory(out);
    writeFile(out + "/surge_drum.fir", "a result");
    const ProgramRun run = reduceInto(out, modelsOf({"wood_berry", "surge_drum"}) + Words{folder.file("bad.fir")},
                                      {"--resume", "--order", "10"});
    EXPECT_EQ(run.status, failed);
    const json alone =
        qormath::test::tableOf("reduce", {exampleModel("wood_berry.fir"), "-o", folder.file("x.fir"), "--order", "10"});
    std::istringstream text(run.out);
    std::vector<Words> lines;
    for (std::string line; std::getline(text, line);) {
        std::istringstream words(line);
        lines.emplace_back(std::istream_iterator<std::string>(words), std::istream_iterator<std::string>());
    }
    ASSERT_EQ(lines.size(), 6U) << run.out;
    EXPECT_THAT(lines[0], ElementsAre("model", "states", "curve", "error,", "%", "outcome"));
    ASSERT_EQ(lines[1].size(), 4U);
    EXPECT_EQ(lines[1][0], "wood_berry.fir");
    EXPECT_EQ(lines[1][1], alone["orderReached"].dump());
    EXPECT_NEAR(std::stod(lines[1][2]) / qormath::test::valueOf(alone, "largestCurveErrorPercent"), 1.0, 0.005);
    EXPECT_EQ(lines[1][3], "reduced");
    EXPECT_THAT(lines[2], ElementsAre("surge_drum.fir", "-", "-", "skipped"));
    EXPECT_THAT(lines[3], ElementsAre("bad.fir", "-", "-", "failed"));
    EXPECT_THAT(lines[4], IsEmpty());
    EXPECT_THAT(lines[5], ElementsAre("1", "reduced,", "1", "skipped,", "1", "failed"));
}

TEST(ManyModels, AreSummedUpInJsonWithTheFactsOfEach) {
    const Variable oneThread("OPENBLAS_NUM_THREADS", "1");
    const TemporaryFolder folder;
    const std::string out = folder.file("out");
    writeFile(folder.file("bad.fir"), "hello\n");
    const ProgramRun run = reduceInto(out, Words{folder.file("bad.fir")} + modelsOf({"wood_berry"}), {"--json"});
    EXPECT_EQ(run.status, failed);
    const json summary = json::parse(run.out);
    EXPECT_EQ(summary["folder"], out);
    EXPECT_EQ(summary["reduced"], 1);
    EXPECT_EQ(summary["skipped"], 0);
    EXPECT_EQ(summary["failed"], 1);
    ASSERT_EQ(summary["models"].size(), 2U);
    EXPECT_EQ(summary["models"][0]["model"], folder.file("bad.fir"));
    EXPECT_EQ(summary["models"][0]["outcome"], "failed");
    EXPECT_THAT(summary["models"][0]["cause"].get<std::string>(), StartsWith("is not a model file"));
    EXPECT_EQ(summary["models"][0].size(), 3U);

    json expected = qormath::test::tableOf(
        "reduce", {exampleModel("wood_berry.fir"), "-o", folder.file("x.fir"), "--state-space", folder.file("x.json")});
    expected["outcome"] = "reduced";
    expected["reduced"] = out + "/wood_berry.fir";
    expected["system"] = out + "/wood_berry.json";
    EXPECT_EQ(summary["models"][1], expected);
}

TEST(ManyModels, HandTheirWarningsOn) {
    const TemporaryFolder folder;
    const Words options{"--curve-tolerance", "1e-9"};
    const ProgramRun run = reduceInto(folder.file("out"), modelsOf({"single_lag_30"}), options);
    const ProgramRun alone =
        runQormath(Words{"reduce", exampleModel("single_lag_30.fir"), "-o", folder.file("x.fir")} + options);
    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(alone.err, HasSubstr("warning"));
    EXPECT_EQ(run.err, alone.err);
}

TEST(ManyModels, AreReducedEvenIfTheSummaryCannotBePrinted) {
    const TemporaryFolder folder;
    const ProgramRun run = runQormath(Words{"reduce"} + modelsOf(quickPlants) + Words{"--out-dir", folder.file("out")},
                                      {.standardOutput = "/dev/full"});
    EXPECT_EQ(run.status, failed);
    EXPECT_EQ(run.err, "qormath: standard output: cannot be written: No space left on device\n");
    EXPECT_EQ(contentOf(folder.file("out")).size(), 6U);
}

TEST(ManyModels, ShowTheirProgressOnATerminal) {
    const TemporaryFolder folder;
    writeFile(folder.file("bad.fir"), "hello\n");
    const std::string script = "exec " QORMATH_PROGRAM " \"$@\"\n";
    const Words words = Words{"reduce", folder.file("bad.fir")} + modelsOf({"wood_berry"}) +
                        Words{"--out-dir", folder.file("out"), "--jobs", "1"};
    const ProgramRun watched = runWithScript(folder, script, words, true);
    EXPECT_THAT(watched.err, HasSubstr("models: 0 of 2 ..."));
    EXPECT_THAT(watched.err, HasSubstr("models, 1 failed: 1 of 2 ..."));
    EXPECT_THAT(watched.err, HasSubstr("models, 1 failed: 2 of 2 ..."));
    EXPECT_THAT(watched.err, HasSubstr("...\r\033[Kqormath: " + folder.file("bad.fir")));
    EXPECT_THAT(runWithScript(folder, script, words).err, Not(HasSubstr("of 2 ...")));
}

}  // namespace
}  // namespace qormath::cli
