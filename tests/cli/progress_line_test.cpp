#include "progress_line.hpp"

#include <gtest/gtest.h>
#include <sstream>
#include <stdexcept>
#include <string>

#include "commands.hpp"

namespace qormath::cli {
namespace {

const std::string erased = "\r\033[K";

class ProgressLineTest : public testing::Test {
  protected:
    std::ostringstream out_;
    std::ostringstream err_;
    Console terminal_{out_, err_, true};
    Console pipe_{out_, err_, false};
};

TEST_F(ProgressLineTest, ShowsAStage) {
    ProgressLine line(terminal_);
    line.show("realising", 0, 1);
    EXPECT_EQ(err_.str(), erased + "realising ...");
}

TEST_F(ProgressLineTest, ShowsHowMuchOfAStageIsDone) {
    ProgressLine line(terminal_);
    line.show("trying orders", 3, 49);
    EXPECT_EQ(err_.str(), erased + "trying orders 3 of 49 ...");
}

TEST_F(ProgressLineTest, WritesEachStageOverTheLast) {
    ProgressLine line(terminal_);
    line.show("realising", 0, 1);
    line.show("reducing", 0, 1);
    EXPECT_EQ(err_.str(), erased + "realising ..." + erased + "reducing ...");
}

TEST_F(ProgressLineTest, IsErasedAtTheEnd) {
    {
        ProgressLine line(terminal_);
        line.show("realising", 0, 1);
        err_.str("");
    }
    EXPECT_EQ(err_.str(), erased);
}

TEST_F(ProgressLineTest, IsErasedWhenTheWorkFails) {
    try {
        ProgressLine line(terminal_);
        line.show("realising", 0, 1);
        err_.str("");
        throw std::runtime_error("broken off");
    } catch (const std::runtime_error&) {
        EXPECT_EQ(err_.str(), erased);
    }
}

TEST_F(ProgressLineTest, LeavesATerminalAloneThatItHasShownNothingOn) {
    { const ProgressLine line(terminal_); }
    EXPECT_EQ(err_.str(), "");
}

TEST_F(ProgressLineTest, SaysNothingInAPipe) {
    {
        ProgressLine line(pipe_);
        line.show("realising", 0, 1);
        line.show("trying orders", 3, 49);
    }
    EXPECT_EQ(err_.str(), "");
}

TEST_F(ProgressLineTest, NeverTouchesStandardOutput) {
    {
        ProgressLine line(terminal_);
        line.show("trying orders", 3, 49);
    }
    EXPECT_EQ(out_.str(), "");
}

}  // namespace
}  // namespace qormath::cli
