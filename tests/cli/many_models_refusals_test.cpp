// Many models that are asked for in a way that makes no sense: one sentence, and nothing is done.

#include <algorithm>
#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <sys/stat.h>

#include "many_runs.hpp"

namespace qormath::cli {
namespace {

namespace files = std::filesystem;
using qormath::test::contentOf;
using qormath::test::exampleModel;
using qormath::test::modelsOf;
using qormath::test::namesIn;
using qormath::test::ProgramRun;
using qormath::test::quickPlants;
using qormath::test::reduceInto;
using qormath::test::runQormath;
using qormath::test::runWithScript;
using qormath::test::TemporaryFolder;
using qormath::test::textOfFile;
using qormath::test::Variable;
using qormath::test::Words;
using qormath::test::writeFile;
using qormath::test::operator+;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

constexpr int failed = 1;
constexpr int wrongCommandLine = 2;

/// A run that is refused before anything is done.
std::string refusal(const Words& words, int status, const std::string& folder) {
    const ProgramRun run = runQormath(words);
    EXPECT_EQ(run.status, status) << run.err;
    EXPECT_EQ(run.out, "");
    EXPECT_THAT(run.err, StartsWith("qormath: "));
    EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 1) << run.err;
    EXPECT_FALSE(files::exists(folder));
    return run.err;
}

TEST(ManyModels, OfOneNameAreRefused) {
    const TemporaryFolder folder;
    const std::string out = folder.file("out");
    const std::string sentence = "qormath: two models would both be written as x.fir";
    for (const Words& models : {Words{"a/x.fir", "b/x.fir"}, Words{"x.fir", "y.fir", "x.txt"}, Words{"x", "x.fir"},
                                Words{"x.fir", "x.fir"}, Words{"x/", "x.fir"}}) {
        EXPECT_THAT(refusal(Words{"reduce"} + models + Words{"--out-dir", out}, wrongCommandLine, out),
                    StartsWith(sentence));
    }
}

TEST(ManyModels, AreNotReplacedByResults) {
    const TemporaryFolder folder;
    const std::string in = folder.file("in");
    files::create_directory(in);
    const std::string text = textOfFile(exampleModel("single_lag_30.fir"));
    writeFile(in + "/x.fir", text);
    writeFile(in + "/y.json", text);
    files::create_directory_symlink(in, folder.file("link"));
    const auto before = contentOf(in);
    for (const std::string& out : {in, in + "/../in", in + "/", folder.file("link")}) {
        for (const char* model : {"/x.fir", "/y.json"}) {
            const ProgramRun run = reduceInto(out, {in + model});
            EXPECT_EQ(run.status, wrongCommandLine);
            EXPECT_THAT(run.err, HasSubstr("would replace a model"));
            EXPECT_TRUE(contentOf(in) == before);
        }
    }
    // The result of one model over another.
    EXPECT_EQ(reduceInto(in, {exampleModel("wood_berry.fir"), in + "/x.fir"}).status, wrongCommandLine);
}

TEST(ManyModels, NeedANumberOfJobsAboveZero) {
    const TemporaryFolder folder;
    const std::string out = folder.file("out");
    for (const char* jobs : {"0", "-1", "many", "", "1.5", "1e3", "99999999999"}) {
        EXPECT_THAT(refusal({"reduce", "x.fir", "--out-dir", out, "--jobs", jobs}, wrongCommandLine, out),
                    HasSubstr("--jobs"));
    }
}

TEST(ManyModels, GoToAFolderOrOneToAFile) {
    const TemporaryFolder folder;
    const std::string out = folder.file("out");
    const std::string one = folder.file("one.fir");
    const Words model{"reduce", exampleModel("wood_berry.fir")};
    const Words into{"--out-dir", out};
    EXPECT_THAT(refusal(model + into + Words{"-o", one}, wrongCommandLine, out), HasSubstr("--out-dir"));
    EXPECT_THAT(refusal(model + into + Words{"--state-space", one}, wrongCommandLine, out), HasSubstr("--state-space"));
    EXPECT_THAT(refusal(model + Words{"other.fir", "-o", one}, wrongCommandLine, one),
                HasSubstr("no use for 'other.fir'"));
    EXPECT_THAT(refusal(model, wrongCommandLine, out), HasSubstr("--output is required"));
    EXPECT_THAT(refusal(model + Words{"-o", one, "--jobs", "2"}, wrongCommandLine, one), HasSubstr("--jobs"));
    EXPECT_THAT(refusal(model + Words{"-o", one, "--resume"}, wrongCommandLine, one), HasSubstr("--resume"));
    EXPECT_THAT(refusal(model + Words{"-o", one, "--aligned"}, wrongCommandLine, one), HasSubstr("--aligned"));
    EXPECT_THAT(refusal(Words{"reduce"} + into, wrongCommandLine, out), HasSubstr("MODEL.fir"));
}

TEST(ManyModels, GetAFolderThatIsMissing) {
    const TemporaryFolder folder;
    const std::string out = folder.file("a/b/c");
    EXPECT_EQ(reduceInto(out, modelsOf({"wood_berry"})).status, 0);
    EXPECT_THAT(namesIn(out), ElementsAre("wood_berry.fir", "wood_berry.json"));
}

TEST(ManyModels, NeedAFolderThatIsNoFileAndMayBeWritten) {
    const TemporaryFolder folder;
    writeFile(folder.file("file"), "a file");
    for (const std::string& out : {folder.file("file"), folder.file("file/below")}) {
        const ProgramRun run = reduceInto(out, modelsOf(quickPlants));
        EXPECT_EQ(run.status, failed);
        EXPECT_EQ(run.err, "qormath: " + out + ": cannot be made: Not a directory\n");
        EXPECT_EQ(run.out, "");
    }
    EXPECT_EQ(textOfFile(folder.file("file")), "a file");

    const std::string closed = folder.file("closed");
    files::create_directory(closed);
    ASSERT_EQ(chmod(closed.c_str(), 0500), 0);
    const Words words = Words{"reduce"} + modelsOf(quickPlants) + Words{"--out-dir"};
    const ProgramRun run = runQormath(words + Words{closed}, {.isPrivileged = false});
    if (run.status == qormath::test::cannotDropPrivileges) {
        GTEST_SKIP() << "privileges cannot be laid down here";
    }
    EXPECT_EQ(run.status, failed);
    EXPECT_EQ(run.err, "qormath: " + closed + ": cannot be written: Permission denied\n");
    EXPECT_EQ(runQormath(words + Words{closed + "/below"}, {.isPrivileged = false}).err,
              "qormath: " + closed + "/below: cannot be made: Permission denied\n");
}

TEST(ManyModels, NeedAPlaceForUnfinishedFiles) {
    const TemporaryFolder folder;
    const Variable temporary("TMPDIR", folder.file("nowhere"));
    const ProgramRun run = runWithScript(
        folder, "exit 1\n", Words{"reduce"} + modelsOf(quickPlants) + Words{"--out-dir", folder.file("out")});
    EXPECT_EQ(run.status, failed);
    EXPECT_THAT(run.err, HasSubstr("no folder for unfinished files"));
}

}  // namespace
}  // namespace qormath::cli
