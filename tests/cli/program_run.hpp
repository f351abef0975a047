#pragma once

// Runs the real program as a process of its own.

#include <cstddef>
#include <fcntl.h>
#include <optional>
#include <signal.h>
#include <stdexcept>
#include <string>
#include <support/temporary_folder.hpp>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace qormath::test {

struct ProgramRun {
    int status = -1;  ///< exit status; 128 + the signal that ended it
    std::string out;
    std::string err;
};

struct RunOptions {
    std::optional<rlim_t> largestFile = {};  ///< writing beyond it fails, as on a full disk
    std::string standardOutput = {};         ///< a file to take the place of the captured output
    std::string standardError = {};          ///< the same for the captured errors
};

/// Replaces this process by the program; never returns.
[[noreturn]] inline void becomeProgram(std::vector<std::string> words, const std::string& out, const std::string& err,
                                       const RunOptions& options) {
    const int input = open("/dev/null", O_RDONLY);
    const int output = open(out.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_NOCTTY, 0600);
    const int errors = open(err.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_NOCTTY, 0600);
    if (input < 0 || output < 0 || errors < 0 || dup2(input, 0) < 0 || dup2(output, 1) < 0 || dup2(errors, 2) < 0) {
        _exit(126);
    }
    if (options.largestFile) {
        const rlimit limit{*options.largestFile, *options.largestFile};
        if (setrlimit(RLIMIT_FSIZE, &limit) != 0) {
            _exit(126);
        }
        signal(SIGXFSZ, SIG_IGN);  // so that write fails, instead of ending the process
    }
    std::vector<char*> arguments;
    for (std::string& word : words) {
        arguments.push_back(word.data());
    }
    arguments.push_back(nullptr);
    execv(arguments[0], arguments.data());
    _exit(127);
}

/// Runs qormath with the arguments.
inline ProgramRun runQormath(const std::vector<std::string>& arguments, const RunOptions& options = {}) {
    const TemporaryFolder folder;
    const bool capturesOutput = options.standardOutput.empty();
    const std::string out = capturesOutput ? folder.file("out") : options.standardOutput;
    const bool capturesErrors = options.standardError.empty();
    const std::string err = capturesErrors ? folder.file("err") : options.standardError;
    std::vector<std::string> words{QORMATH_PROGRAM};
    words.insert(words.end(), arguments.begin(), arguments.end());

    const pid_t child = fork();
    if (child < 0) {
        throw std::runtime_error("fork failed");
    }
    if (child == 0) {
        becomeProgram(words, out, err, options);
    }
    int state = 0;
    if (waitpid(child, &state, 0) != child) {
        throw std::runtime_error("waitpid failed");
    }
    ProgramRun run;
    run.status = WIFEXITED(state) ? WEXITSTATUS(state) : 128 + WTERMSIG(state);
    run.out = capturesOutput ? textOfFile(out) : "";
    run.err = capturesErrors ? textOfFile(err) : "";
    return run;
}

inline std::string exampleModel(const std::string& name) {
    return std::string(QORMATH_EXAMPLE_MODELS) + "/" + name;
}

/// The example models, each a .fir file with a description in JSON beside it.
inline constexpr const char* examplePlants[] = {"heavy_oil_fractionator", "wood_berry", "ogunnaike_ray", "surge_drum",
                                                "single_lag_30",          "null_pairs", "old_version"};

/// The text with the first place of old changed; a failure if there is none.
inline std::string replacedIn(std::string text, const std::string& old, const std::string& replacement) {
    const std::size_t place = text.find(old);
    if (place == std::string::npos) {
        throw std::runtime_error("there is no " + old + " to be replaced");
    }
    return text.replace(place, old.size(), replacement);
}

}  // namespace qormath::test
