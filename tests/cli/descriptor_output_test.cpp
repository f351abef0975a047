// What is written to descriptors that take little at a time, are interrupted, or have no room.

#include "descriptor_output.hpp"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <ostream>
#include <string>
#include <support/temporary_folder.hpp>
#include <sys/stat.h>
#include <sys/time.h>
#include <thread>
#include <unistd.h>

#include "atomic_file.hpp"

namespace qormath::cli {
namespace {

using qormath::test::TemporaryFolder;
using qormath::test::textOfFile;

/// Long enough to fill the smallest pipe some fifty times.
std::string longText() {
    std::string text;
    for (int k = 0; text.size() < 200000; ++k) {
        text += std::to_string(k) + " ";
    }
    return text;
}

std::atomic<int> alarmCount = 0;

void countAlarm(int /*signal*/) {
    ++alarmCount;
}

/// Interrupts the calls of this thread every few milliseconds for as long as it lives; calls are not started again.
class Interruptions {
  public:
    Interruptions() {
        alarmCount = 0;
        struct sigaction action {};
        action.sa_handler = countAlarm;
        sigaction(SIGALRM, &action, &before_);
        const itimerval often{{0, 2000}, {0, 2000}};
        setitimer(ITIMER_REAL, &often, nullptr);
    }
    Interruptions(const Interruptions&) = delete;
    Interruptions& operator=(const Interruptions&) = delete;
    ~Interruptions() {
        const itimerval never{};
        setitimer(ITIMER_REAL, &never, nullptr);
        sigaction(SIGALRM, &before_, nullptr);
    }

  private:
    struct sigaction before_ {};
};

/// Reads a pipe to its end, more slowly than it is filled, in a thread that signals leave alone.
class SlowReader {
  public:
    /// Reads from what open returns, in the thread, for a pipe with a name waits there for its other side.
    template <class Open>
    explicit SlowReader(const Open& open) {
        sigset_t alarm;
        sigset_t before;
        sigemptyset(&alarm);
        sigaddset(&alarm, SIGALRM);
        pthread_sigmask(SIG_BLOCK, &alarm, &before);
        thread_ = std::thread([this, open] { readAll(open()); });
        pthread_sigmask(SIG_SETMASK, &before, nullptr);
    }

    std::string text() {
        thread_.join();
        return text_;
    }

  private:
    void readAll(int descriptor) {
        char part[4096];
        ssize_t count = 0;
        while ((count = read(descriptor, part, sizeof part)) > 0) {
            text_.append(part, static_cast<std::size_t>(count));
            usleep(1000);
        }
        close(descriptor);
    }

    std::string text_;
    std::thread thread_;
};

struct Pipe {
    Pipe() {
        EXPECT_EQ(pipe2(ends, O_CLOEXEC), 0);
        EXPECT_GE(fcntl(ends[1], F_SETPIPE_SZ, 4096), 4096);
    }

    int ends[2] = {-1, -1};
};

TEST(WriteAll, WritesTheWholeTextThoughCallsAreInterruptedAndTakeAPart) {
    const Pipe pipe;
    SlowReader reader([end = pipe.ends[0]] { return end; });
    {
        const Interruptions interruptions;
        EXPECT_EQ(writeAll(pipe.ends[1], longText()), 0);
        EXPECT_GT(alarmCount, 0);
    }
    close(pipe.ends[1]);
    EXPECT_TRUE(reader.text() == longText());
}

TEST(WriteAll, WaitsForRoomWhereCallsDoNot) {
    const Pipe pipe;
    ASSERT_EQ(fcntl(pipe.ends[1], F_SETFL, O_NONBLOCK), 0);
    SlowReader reader([end = pipe.ends[0]] { return end; });
    EXPECT_EQ(writeAll(pipe.ends[1], longText()), 0);
    close(pipe.ends[1]);
    EXPECT_TRUE(reader.text() == longText());
}

TEST(WriteAll, TellsTheError) {
    const int full = open("/dev/full", O_WRONLY | O_CLOEXEC);
    EXPECT_EQ(writeAll(full, ""), 0);
    EXPECT_EQ(writeAll(full, "text"), ENOSPC);
    close(full);
    EXPECT_EQ(writeAll(-1, "text"), EBADF);
}

TEST(DescriptorBuffer, WritesWhenItIsFlushedAndOnlyThen) {
    const TemporaryFolder folder;
    const std::string name = folder.file("out");
    const int descriptor = open(name.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    {
        DescriptorBuffer buffer(descriptor);
        std::ostream out(&buffer);
        out << longText() << 1;
        EXPECT_EQ(textOfFile(name), "");
        out << std::flush;
        EXPECT_TRUE(textOfFile(name) == longText() + "1");
        out << "and" << std::flush << std::flush;
        EXPECT_TRUE(textOfFile(name) == longText() + "1and");
        out << "half a table";
    }
    close(descriptor);
    EXPECT_TRUE(textOfFile(name) == longText() + "1and");
}

TEST(DescriptorBuffer, MakesItsStreamFailWithTheCauseInErrno) {
    const int full = open("/dev/full", O_WRONLY | O_CLOEXEC);
    DescriptorBuffer buffer(full);
    std::ostream out(&buffer);
    EXPECT_TRUE(out.flush());
    out << "text";
    EXPECT_TRUE(out);
    errno = 0;
    EXPECT_FALSE(out.flush());
    EXPECT_EQ(errno, ENOSPC);
    close(full);
}

TEST(ReplaceFile, WritesAPipeWholeThoughCallsAreInterrupted) {
    const TemporaryFolder folder;
    const std::string name = folder.file("pipe");
    ASSERT_EQ(mkfifo(name.c_str(), 0600), 0);
    SlowReader reader([name] {
        usleep(20000);  // the writer's open waits, and is interrupted
        const int descriptor = open(name.c_str(), O_RDONLY | O_CLOEXEC);
        fcntl(descriptor, F_SETPIPE_SZ, 4096);
        return descriptor;
    });
    {
        const Interruptions interruptions;
        replaceFileByText(name, longText());
        EXPECT_GT(alarmCount, 0);
    }
    EXPECT_TRUE(reader.text() == longText());
}

}  // namespace
}  // namespace qormath::cli
