#include "interruption.hpp"

#include <csignal>
#include <gtest/gtest.h>
#include <poll.h>

namespace qormath::cli {
namespace {

/// Whether there is something to be read.
bool isReadable(int descriptor) {
    pollfd awaited{descriptor, POLLIN, 0};
    return poll(&awaited, 1, 0) == 1;
}

TEST(Interruption, RemembersTheSignalThatHasCome) {
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        const Interruption interruption;
        EXPECT_EQ(interruption.signal(), 0);
        EXPECT_FALSE(isReadable(interruption.descriptor()));
        ASSERT_EQ(std::raise(signal), 0);
        EXPECT_EQ(interruption.signal(), signal);
        EXPECT_TRUE(isReadable(interruption.descriptor()));
    }
}

TEST(Interruption, BearsAnyNumberOfSignals) {
    constexpr int moreThanAPipeHolds = 100000;
    const Interruption interruption;
    for (int k = 0; k < moreThanAPipeHolds; ++k) {
        std::raise(SIGTERM);
    }
    EXPECT_EQ(interruption.signal(), SIGTERM);
}

TEST(Interruption, LeavesSignalsAloneThatAreIgnored) {
    const auto former = std::signal(SIGINT, SIG_IGN);
    {
        const Interruption interruption;
        std::raise(SIGINT);
        EXPECT_EQ(interruption.signal(), 0);
    }
    EXPECT_EQ(std::signal(SIGINT, former), SIG_IGN);
}

TEST(InterruptionDeathTest, IsOverWithItsObject) {
    const auto endAfterwards = [] {
        { const Interruption interruption; }
        std::raise(SIGTERM);
    };
    EXPECT_EXIT(endAfterwards(), testing::KilledBySignal(SIGTERM), "");
}

}  // namespace
}  // namespace qormath::cli
