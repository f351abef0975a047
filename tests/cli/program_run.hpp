#pragma once

// Runs the real program as a process of its own.

#include <cstddef>
#include <fcntl.h>
#include <linux/capability.h>
#include <optional>
#include <stdexcept>
#include <stdlib.h>
#include <string>
#include <support/temporary_folder.hpp>
#include <sys/prctl.h>
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
    std::optional<rlim_t> largestFile = {};    ///< writing beyond it fails, as on a full disk
    std::optional<rlim_t> largestMemory = {};  ///< of addresses
    std::string standardOutput = {};           ///< a file to take the place of the captured output
    std::string standardError = {};            ///< the same for the captured errors
    std::vector<int> closedStreams = {};       ///< these of 0, 1 and 2 are closed
    bool isReaderGone = false;                 ///< standard output is a pipe that nobody reads
    bool isPrivileged = true;                  ///< otherwise permissions hold for root, too
};

/// The status of a run that should have had no privileges, where they cannot be laid down.
constexpr int cannotDropPrivileges = 125;

inline void layDownPrivileges() {
    if (geteuid() != 0) {
        return;
    }
    // Without these two, root may read and write what its owner may.
    for (const int capability : {CAP_DAC_OVERRIDE, CAP_DAC_READ_SEARCH}) {
        if (prctl(PR_CAPBSET_DROP, static_cast<unsigned long>(capability), 0, 0, 0) != 0) {
            _exit(cannotDropPrivileges);
        }
    }
}

inline void limit(int resource, std::optional<rlim_t> largest) {
    if (largest) {
        const rlimit bound{*largest, *largest};
        if (setrlimit(static_cast<__rlimit_resource>(resource), &bound) != 0) {
            _exit(126);
        }
    }
}

/// Arranges the streams beyond the three files.
inline void arrangeStreams(const RunOptions& options) {
    int ends[2];
    if (options.isReaderGone &&
        (pipe(ends) != 0 || dup2(ends[1], 1) < 0 || close(ends[0]) != 0 || close(ends[1]) != 0)) {
        _exit(126);
    }
    for (const int stream : options.closedStreams) {
        close(stream);
    }
}

/// Replaces this process by the program; never returns.
[[noreturn]] inline void becomeProgram(std::vector<std::string> words, const std::string& out, const std::string& err,
                                       const RunOptions& options) {
    const int input = open("/dev/null", O_RDONLY);
    const int output = open(out.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_NOCTTY, 0600);
    const int errors = open(err.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_NOCTTY, 0600);
    if (input < 0 || output < 0 || errors < 0 || dup2(input, 0) < 0 || dup2(output, 1) < 0 || dup2(errors, 2) < 0) {
        _exit(126);
    }
    for (const int opened : {input, output, errors}) {
        if (opened > 2) {
            close(opened);
        }
    }
    arrangeStreams(options);
    limit(RLIMIT_FSIZE, options.largestFile);
    limit(RLIMIT_AS, options.largestMemory);
    if (!options.isPrivileged) {
        layDownPrivileges();
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
        if (options.largestFile) {
            // Counts of what has run, where they are kept, would be cut off, too.
            setenv("GCOV_PREFIX", folder.file("counts").c_str(), 1);
        }
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

/// A variable of the environment, for programs that are run meanwhile.
class Variable {
  public:
    Variable(const char* name, const std::string& value) : name_(name) {
        const char* const former = getenv(name);
        former_ = former == nullptr ? "" : former;
        hadFormer_ = former != nullptr;
        setenv(name, value.c_str(), 1);
    }
    Variable(const Variable&) = delete;
    Variable& operator=(const Variable&) = delete;
    ~Variable() {
        if (hadFormer_) {
            setenv(name_, former_.c_str(), 1);
        } else {
            unsetenv(name_);
        }
    }

  private:
    const char* name_;
    std::string former_;
    bool hadFormer_;
};

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
