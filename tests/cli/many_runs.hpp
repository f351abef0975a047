#pragma once

// Many models in one run of the program, and what stands in a folder afterwards.

#include <filesystem>
#include <iterator>
#include <map>
#include <sstream>
#include <string>
#include <sys/stat.h>
#include <vector>

#include "program.hpp"
#include "program_run.hpp"

namespace qormath::test {

using Words = std::vector<std::string>;

// Three that take little time.
inline const Words quickPlants{"wood_berry", "surge_drum", "null_pairs"};

inline Words operator+(Words words, const Words& more) {
    words.insert(words.end(), more.begin(), more.end());
    return words;
}

inline Words modelsOf(const Words& plants) {
    Words models;
    for (const std::string& plant : plants) {
        models.push_back(exampleModel(plant + ".fir"));
    }
    return models;
}

inline ProgramRun reduceInto(const std::string& folder, const Words& models, const Words& options = {}) {
    return runQormath(Words{"reduce"} + models + Words{"--out-dir", folder} + options);
}

/// The names of what stands in a folder, and the texts.
inline std::map<std::string, std::string> contentOf(const std::string& folder) {
    std::map<std::string, std::string> result;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        result[entry.path().filename().string()] = entry.is_regular_file() ? textOfFile(entry.path().string()) : "";
    }
    return result;
}

inline Words namesIn(const std::string& folder) {
    Words names;
    for (const auto& [name, text] : contentOf(folder)) {
        names.push_back(name);
    }
    return names;
}

/// Runs the program here with another program for the single models, a script of a shell.
inline ProgramRun runWithScript(const TemporaryFolder& folder, const std::string& script, const Words& words,
                                bool isOnTerminal = false) {
    const std::string program = folder.file("script");
    writeFile(program, "#!/bin/sh\n" + script);
    chmod(program.c_str(), 0700);
    std::vector<const char*> arguments{"qormath"};
    for (const std::string& word : words) {
        arguments.push_back(word.c_str());
    }
    std::ostringstream out;
    std::ostringstream err;
    ProgramRun run;
    run.status = cli::runProgram(static_cast<int>(arguments.size()), arguments.data(), out, err, isOnTerminal, program);
    run.out = out.str();
    run.err = err.str();
    return run;
}

}  // namespace qormath::test
