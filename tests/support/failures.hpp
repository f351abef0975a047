#pragma once

// The two channels of failure: the error of the core with its code and text, and the plain int -1.

#include <gtest/gtest.h>
#include <string>

#include <qormath/core/xmsg.hpp>

namespace qormath::test {

template <class Action>
void expectXmsg(Action action, int code, const std::string& message) {
    try {
        action();
        ADD_FAILURE() << "nothing was thrown";
    } catch (const QorMathLA::xmsg& failure) {
        EXPECT_EQ(failure.code, code);
        EXPECT_EQ(failure.message, message);
    }
}

template <class Action>
void expectMinusOne(Action action) {
    try {
        action();
        ADD_FAILURE() << "nothing was thrown";
    } catch (int failure) {
        EXPECT_EQ(failure, -1);
    }
}

}  // namespace qormath::test
