// bench/compare: ours and the peers in turn on the same problems. See contest.hpp for the rows.

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <iostream>
#include <memory>
#include <optional>
#include <regex>
#include <sstream>
#include <string>
#include <unistd.h>
#include <vector>

#include "child_process.hpp"
#include "loaded_blas.hpp"
#include "report.hpp"
#include "rows.hpp"

namespace qormath::peers {

namespace {

/// A figure that is worse than its goal by more than this fails --check.
constexpr double checkAllowance = 1.25;

constexpr const char* usage =
    "usage: bench/compare [option]...\n"
    "  --rows REGEX      only the rows whose name matches\n"
    "  --sizes N[,N]...  instead of the orders that have a goal\n"
    "  --repeat N        repetitions (5)\n"
    "  --seed N          another set of problems (1)\n"
    "  --named           leave out the peers that no goal names, which takes half the time\n"
    "  --threads N       of the BLAS (1); with more than one the wall clock is read\n"
    "  --markdown        print the table of docs/performance.md\n"
    "  --check           fail where a ratio is worse than its goal by more than 25 %, or a residual beyond its bound\n"
    "  --list            print the names of the rows and their goals\n"
    "  --python PATH, --octave PATH   the interpreters; an empty path leaves the peer out\n";

struct Options {
    std::regex rows{""};
    std::vector<int> sizes;
    int repetitions = 5;
    unsigned seed = 1;
    bool markdown = false;
    bool check = false;
    bool list = false;
    bool namedOnly = false;
    std::string python = "/usr/bin/python3";
    std::string octave = "octave-cli";
    std::string scripts = QORMATH_PEER_SCRIPTS;
};

std::vector<int> numbersIn(const std::string& text) {
    std::vector<int> numbers;
    std::istringstream stream(text);
    for (std::string word; std::getline(stream, word, ',');) {
        numbers.push_back(std::stoi(word));
    }
    return numbers;
}

/// The option without a value of this name, or null.
bool* flagOf(Options& options, const std::string& name) {
    return name == "--markdown" ? &options.markdown
           : name == "--check"  ? &options.check
           : name == "--list"   ? &options.list
           : name == "--named"  ? &options.namedOnly
                                : nullptr;
}

/// Nothing where the arguments make no sense.
std::optional<Options> parse(const std::vector<std::string>& arguments) {
    Options options;
    for (std::size_t k = 0; k < arguments.size(); ++k) {
        const std::string& name = arguments[k];
        if (bool* flag = flagOf(options, name); flag != nullptr) {
            *flag = true;
            continue;
        }
        if (++k == arguments.size()) {
            return std::nullopt;
        }
        const std::string& value = arguments[k];
        if (name == "--rows") {
            options.rows = std::regex(value, std::regex::icase);
        } else if (name == "--sizes") {
            options.sizes = numbersIn(value);
        } else if (name == "--repeat") {
            options.repetitions = std::stoi(value);
        } else if (name == "--seed") {
            options.seed = static_cast<unsigned>(std::stoul(value));
        } else if (name == "--python") {
            options.python = value;
        } else if (name == "--octave") {
            options.octave = value;
        } else {
            return std::nullopt;
        }
    }
    return options.repetitions > 0 ? std::optional(options) : std::nullopt;
}

std::vector<Row> allRows() {
    std::vector<Row> rows;
    addSchurRows(rows);
    addEquationRows(rows);
    addRiccatiRows(rows);
    addReductionRows(rows);
    addDecompositionRows(rows);
    addConversionRows(rows);
    addRoadRows(rows);
    addCoreRows(rows);
    addFileRows(rows);
    addFixedRows(rows);
    return rows;
}

/// Starts an interpreter and says which BLAS it has loaded; null where it is not installed.
std::unique_ptr<ChildProcess> startPeer(const char* name, const std::vector<std::string>& command) {
    if (command[0].empty()) {
        return nullptr;
    }
    try {
        auto child = std::make_unique<ChildProcess>(command);
        const std::string text = child->request("identify").text;
        std::printf("%s\n", text.c_str());
        std::fflush(stdout);
        warnOfAnotherBlas(name, text);
        return child;
    } catch (const std::exception&) {
        std::printf("%s is not installed: its rows stay without it\n", name);
        return nullptr;
    }
}

/// The goal at n: that of the largest n which is not above it.
std::optional<double> goalAt(const Row& row, int n) {
    std::optional<double> ratio;
    for (const Goal& goal : row.goals) {
        if (goal.n <= n) {
            ratio = goal.ratio == noGoal ? std::nullopt : std::optional(goal.ratio);
        }
    }
    return ratio;
}

std::vector<int> sizesOf(const Row& row, const Options& options) {
    if (row.scalable && !options.sizes.empty()) {
        return options.sizes;
    }
    std::vector<int> sizes;
    for (const Goal& goal : row.goals) {
        sizes.push_back(goal.n);
    }
    return sizes;
}

int printList(const std::vector<Row>& rows) {
    for (const Row& row : rows) {
        std::printf("%s:", row.name.c_str());
        for (const Goal& goal : row.goals) {
            std::printf(" %d %.2f", goal.n, goal.ratio);
        }
        std::printf("\n");
    }
    return EXIT_SUCCESS;
}

int runAll(const Options& options) {
    const std::vector<Row> rows = allRows();
    if (options.list) {
        return printList(rows);
    }
    std::printf("%s\n", describeOwnBlas().c_str());
    const auto scipy = startPeer("SciPy", {options.python, options.scripts + "/scipy_peer.py"});
    const auto octave =
        startPeer("Octave", {options.octave, "--norc", "--no-history", "--quiet", options.scripts + "/octave_peer.m"});
    std::printf("Times are of the %s, medians of %d.\n\n", measuresProcessorTime() ? "processor" : "wall clock",
                options.repetitions);
    const Report report(options.markdown);
    report.heading();
    std::vector<std::string> failed;
    std::vector<std::string> missed;
    for (const Row& row : rows) {
        if (!std::regex_search(row.name, options.rows)) {
            continue;
        }
        for (const int n : sizesOf(row, options)) {
            const Setting setting{n, options.seed, scipy.get(), octave.get(), options.namedOnly};
            const Line line{row.name, n, run(row, setting, options.repetitions), goalAt(row, n), row.residualBound};
            report.print(line);
            if (!line.outcome.ours.failure.empty()) {
                failed.push_back(row.name + " at " + std::to_string(n));
            } else if (!line.meets(checkAllowance)) {
                missed.push_back(row.name + " at " + std::to_string(n));
            }
        }
    }
    for (const std::string& name : failed) {
        std::printf("failed: %s\n", name.c_str());
    }
    if (!options.check) {
        return failed.empty() ? EXIT_SUCCESS : EXIT_FAILURE;
    }
    for (const std::string& name : missed) {
        std::printf("missed: %s\n", name.c_str());
    }
    return failed.empty() && missed.empty() ? EXIT_SUCCESS : EXIT_FAILURE;
}

}  // namespace

}  // namespace qormath::peers

int main(int argc, char** argv) {
    using namespace qormath::peers;
    // A child that has ended shows as a failed write, not as a signal.
    std::signal(SIGPIPE, SIG_IGN);
    // The BLAS reads the number of its threads when it is loaded.
    if (std::getenv("OPENBLAS_NUM_THREADS") == nullptr) {
        setenv("OPENBLAS_NUM_THREADS", "1", 1);
        execv("/proc/self/exe", argv);
    }
    const auto fail = [] {
        std::fputs(usage, stderr);
        return 2;
    };
    try {
        const std::vector<std::string> arguments(argv + 1, argv + argc);
        if (!arguments.empty() && arguments[0] == "--help") {
            std::fputs(usage, stdout);
            return EXIT_SUCCESS;
        }
        const std::optional<Options> options = parse(arguments);
        return options ? runAll(*options) : fail();
    } catch (const std::exception& error) {
        std::cerr << "compare: " << error.what() << '\n';
        return fail();
    }
}
