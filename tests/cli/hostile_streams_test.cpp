// Standard streams that are closed, full, or lead nowhere: exit status 1, and no output takes its place.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "command_lines.hpp"

namespace qormath::cli {
namespace {

using qormath::test::CommandHelp;
using qormath::test::everyCommand;
using qormath::test::ProgramRun;
using qormath::test::RunOptions;
using qormath::test::runQormath;
using qormath::test::textOfFile;
using qormath::test::WorkFolder;
using qormath::test::writeFile;

/// What is said of a result that cannot be printed.
std::string notPrinted(const std::string& cause) {
    return "qormath: standard output: cannot be written: " + cause + "\n";
}

/// Runs every command as told; all are to fail and to leave all files alone.
void expectFailures(const RunOptions& options, const std::string& error) {
    const WorkFolder folder;
    const auto before = folder.content();
    for (const CommandHelp& command : everyCommand()) {
        const ProgramRun run = runQormath(folder.validWords(command), options);
        EXPECT_EQ(run.status, 1) << command.name;
        EXPECT_EQ(run.err, error) << command.name;
        EXPECT_TRUE(folder.content() == before) << command.name;
    }
}

TEST(HostileStreams, ThatAreFullKeepFilesFromBeingReplaced) {
    expectFailures({.standardOutput = "/dev/full"}, notPrinted("No space left on device"));
}

TEST(HostileStreams, ThatAreClosedKeepFilesFromBeingReplaced) {
    expectFailures({.closedStreams = {1}}, notPrinted("Bad file descriptor"));
    expectFailures({.closedStreams = {0, 1}}, notPrinted("Bad file descriptor"));
    expectFailures({.closedStreams = {0, 1, 2}}, "");
}

TEST(HostileStreams, WithoutAReaderKeepFilesFromBeingReplaced) {
    expectFailures({.isReaderGone = true}, notPrinted("Broken pipe"));
}

TEST(HostileStreams, ThatAreClosedAreNoPlaceForResults) {
    // The warning has nowhere to go, and so must not go into the file that is written.
    const WorkFolder folder;
    const auto reduced = [&](const std::string& name, const RunOptions& options) {
        const std::string path = folder.file(name);
        const ProgramRun run = runQormath({"reduce", folder.model(), "--curve-tolerance", "1e-9", "-o", path}, options);
        EXPECT_EQ(run.status, 0) << run.err;
        EXPECT_NE(run.out, "");
        EXPECT_EQ(run.err.empty(), !options.closedStreams.empty()) << run.err;
        return textOfFile(path);
    };
    EXPECT_EQ(reduced("one.fir", {.closedStreams = {2}}), reduced("two.fir", {}));
    EXPECT_EQ(reduced("one.fir", {.closedStreams = {0, 2}}), reduced("two.fir", {}));
}

TEST(HostileStreams, AreNotReplacedByTheResult) {
    const WorkFolder folder;
    const std::string table = folder.file("table");
    writeFile(table, "");
    for (const std::string& name : {table, std::string("/dev/stdout"), std::string("/dev/fd/1")}) {
        const ProgramRun run = runQormath({"realise", folder.model(), "-o", name}, {.standardOutput = table});
        EXPECT_EQ(run.status, 1);
        EXPECT_EQ(run.err, "qormath: " + name + ": cannot be written: the table goes there; name a file\n");
        EXPECT_EQ(textOfFile(table), "");
    }
    EXPECT_EQ(runQormath({"realise", folder.model(), "-o", "/dev/null"}, {.standardOutput = "/dev/null"}).status, 0);
}

TEST(HostileStreams, LimitedInLengthEndAsAFullDiskDoes) {
    const WorkFolder folder;
    const auto before = folder.content();
    const ProgramRun run = runQormath({"realise", folder.model(), "-o", folder.file("old.json")}, {.largestFile = 100});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.err, "qormath: " + folder.file("old.json") + ": cannot be written: File too large\n");
    EXPECT_TRUE(folder.content() == before);
}

}  // namespace
}  // namespace qormath::cli
