#pragma once

// Calls that end the process: killed by abort, and this very line, and nothing else, on standard error.
//
// The process that is to die is forked off as it stands, which is cheap, and safe where what dies takes no lock that
// another thread might hold: not for calls that go into a BLAS.

#include <csignal>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>

#define EXPECT_STOP(statement, line) \
    EXPECT_EXIT(statement, testing::KilledBySignal(SIGABRT), testing::StrEq(std::string(line) + "\n"))
