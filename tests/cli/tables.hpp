#pragma once

// The tables of the commands, as JSON.

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "program_run.hpp"

namespace qormath::test {

/// What a command prints with --json. The run is to succeed without a word on standard error.
inline nlohmann::json tableOf(const std::string& command, const std::vector<std::string>& arguments) {
    std::vector<std::string> words{command, "--json"};
    words.insert(words.end(), arguments.begin(), arguments.end());
    const ProgramRun run = runQormath(words);
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.err, "");
    return nlohmann::json::parse(run.out);
}

/// The value of one of its errors.
inline double valueOf(const nlohmann::json& table, const char* error) {
    return table[error]["value"].get<double>();
}

inline nlohmann::json jsonOf(const std::string& path) {
    return nlohmann::json::parse(textOfFile(path));
}

}  // namespace qormath::test
