#include "child_process.hpp"

#include <cerrno>
#include <csignal>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <string>
#include <vector>

#include "program_error.hpp"

namespace qormath::cli {
namespace {

using testing::HasSubstr;

constexpr const char* shell = "/bin/sh";

/// Waits for all that a process has to say, and for its end.
std::string endOf(ChildProcess& process) {
    while (!process.takeOutput()) {
        std::vector<pollfd> awaited = process.awaited();
        poll(awaited.data(), awaited.size(), -1);
    }
    return process.end();
}

TEST(ChildProcess, KeepsWhatItWritesToEachOfItsStreams) {
    ChildProcess process(shell, {"-c", "echo result; echo sentence >&2; echo more"}, {});
    EXPECT_EQ(endOf(process), "");
    EXPECT_EQ(process.out(), "result\nmore\n");
    EXPECT_EQ(process.err(), "sentence\n");
}

TEST(ChildProcess, MayWriteMoreThanAPipeHolds) {
    ChildProcess process(shell, {"-c", "yes 1234567 | head -n 100000; yes 7654321 | head -n 100000 >&2"}, {});
    EXPECT_EQ(endOf(process), "");
    EXPECT_EQ(process.out().size(), 800000U);
    EXPECT_EQ(process.err().size(), 800000U);
}

TEST(ChildProcess, HasNothingToRead) {
    ChildProcess process(shell, {"-c", "cat"}, {});
    EXPECT_EQ(endOf(process), "");
    EXPECT_EQ(process.out(), "");
}

TEST(ChildProcess, GetsItsWordsAsTheyAre) {
    ChildProcess process(shell, {"-c", "printf '<%s>' \"$@\"", "", "a b", "", "$(id)", "*"}, {});
    EXPECT_EQ(endOf(process), "");
    EXPECT_EQ(process.out(), "<a b><><$(id)><*>");
}

TEST(ChildProcess, HasTheEnvironmentOfThisOneButForTheVariablesTold) {
    ASSERT_EQ(setenv("QORMATH_TEST_ONE", "old", 1), 0);
    ASSERT_EQ(setenv("QORMATH_TEST_ONE_MORE", "kept", 1), 0);
    ChildProcess process(shell, {"-c", "echo $QORMATH_TEST_ONE $QORMATH_TEST_ONE_MORE $QORMATH_TEST_TWO"},
                         {"QORMATH_TEST_ONE=new", "QORMATH_TEST_TWO=another"});
    EXPECT_EQ(endOf(process), "");
    EXPECT_EQ(process.out(), "new kept another\n");
    EXPECT_STREQ(getenv("QORMATH_TEST_ONE"), "old");
    unsetenv("QORMATH_TEST_ONE");
    unsetenv("QORMATH_TEST_ONE_MORE");
}

TEST(ChildProcess, TellsHowItEnded) {
    ChildProcess seven(shell, {"-c", "exit 7"}, {});
    EXPECT_EQ(endOf(seven), "status 7");
    ChildProcess killed(shell, {"-c", "kill -9 $$"}, {});
    EXPECT_EQ(endOf(killed), "signal 9 (Killed)");
}

TEST(ChildProcess, ThatCannotBeStartedIsRefused) {
    try {
        ChildProcess process("/nonexistent/program", {}, {});
        ADD_FAILURE() << "it was started";
    } catch (const ProgramError& error) {
        EXPECT_THAT(error.what(), HasSubstr("No such file or directory"));
    }
}

TEST(ChildProcess, IsStoppedWithItsObjectEvenIfItHeedsNoSignal) {
    pid_t number = 0;
    {
        ChildProcess process(shell, {"-c", "trap '' TERM INT; echo $$; exec sleep 1000"}, {});
        while (process.out().find('\n') == std::string::npos) {
            std::vector<pollfd> awaited = process.awaited();
            poll(awaited.data(), awaited.size(), -1);
            process.takeOutput();
        }
        number = static_cast<pid_t>(std::stol(process.out()));
        EXPECT_EQ(kill(number, 0), 0);
    }
    EXPECT_EQ(kill(number, 0), -1);
    EXPECT_EQ(errno, ESRCH);
}

}  // namespace
}  // namespace qormath::cli
