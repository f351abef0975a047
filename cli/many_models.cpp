#include "many_models.hpp"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <nlohmann/json.hpp>
#include <ostream>
#include <set>
#include <sstream>
#include <system_error>
#include <thread>
#include <unistd.h>
#include <utility>

#include "atomic_file.hpp"
#include "child_process.hpp"
#include "command_line.hpp"
#include "interruption.hpp"
#include "program_error.hpp"
#include "progress_line.hpp"
#include "text.hpp"

namespace qormath::cli {

namespace {

using Json = nlohmann::ordered_json;
namespace files = std::filesystem;

// More threads of BLAS than cores would fight for them, and another number of threads sums in another order.
const std::vector<std::string> oneThread{"OPENBLAS_NUM_THREADS=1", "OMP_NUM_THREADS=1", "MKL_NUM_THREADS=1",
                                         "BLIS_NUM_THREADS=1"};

/// A model and where its results go.
struct Job {
    std::string model;
    std::string name;  ///< of the model's file
    std::string reduced;
    std::string system;
};

/// What became of a model.
struct Outcome {
    enum Kind { isReduced, isSkipped, hasFailed };

    Kind kind = isReduced;
    std::string cause = {};       ///< of a failure
    std::string warnings = {};    ///< lines for whoever watches
    Json facts = Json::object();  ///< of the reduction
};

const char* nameOf(Outcome::Kind kind) {
    return kind == Outcome::isReduced ? "reduced" : kind == Outcome::isSkipped ? "skipped" : "failed";
}

/// A folder for what is not whole yet, which goes away with all that is in it.
class ScratchFolder {
  public:
    ScratchFolder() {
        std::error_code error;
        std::string name = (files::temp_directory_path(error) / "qormath-XXXXXX").string();
        if (error || mkdtemp(name.data()) == nullptr) {
            throw ProgramError("no folder for unfinished files can be made: " +
                               (error ? error.message() : std::string(std::strerror(errno))));
        }
        path_ = name;
    }
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;
    ~ScratchFolder() {
        std::error_code ignored;
        files::remove_all(path_, ignored);
    }

    std::string file(const std::string& name) const { return (path_ / name).string(); }

  private:
    files::path path_;
};

// ---------------------------------------------------------------- before the work

/// The last part of a path, and that without what stands behind its last point.
std::string fileNameOf(std::string path) {
    while (path.size() > 1 && path.back() == '/') {
        path.pop_back();
    }
    return path.substr(path.find_last_of('/') + 1);
}

std::string stemOf(const std::string& name) {
    const std::size_t point = name.find_last_of('.');
    const bool hasEnding = point != std::string::npos && point > 0 && point + 1 < name.size();
    return hasEnding ? name.substr(0, point) : name;
}

std::vector<Job> jobsOf(const ManyModels& many) {
    std::vector<Job> jobs;
    for (const std::string& model : many.models) {
        const std::string name = fileNameOf(model);
        const std::string target = (files::path(many.folder) / stemOf(name)).string();
        jobs.push_back({model, name, target + ".fir", target + ".json"});
    }
    return jobs;
}

/// The name of a file from the root on, without symbolic links on the way.
std::string wholeName(const std::string& path) {
    std::error_code error;
    const files::path absolute = files::absolute(path, error);
    const files::path canonical = files::weakly_canonical(absolute, error);
    return (error ? absolute : canonical).string();
}

void requireOwnResults(const std::vector<Job>& jobs) {
    std::set<std::string> models;
    std::set<std::string> results;
    for (const Job& job : jobs) {
        models.insert(wholeName(job.model));
        if (!results.insert(job.reduced).second) {
            throw UsageError("two models would both be written as " + fileNameOf(job.reduced));
        }
    }
    for (const Job& job : jobs) {
        for (const std::string& result : {job.reduced, job.system}) {
            if (models.count(wholeName(result)) > 0) {
                throw UsageError("--out-dir: " + result + " would replace a model");
            }
        }
    }
}

void requireFolder(const std::string& path) {
    std::error_code error;
    files::create_directories(path, error);
    if (!files::is_directory(path)) {
        const std::string cause = error ? error.message() : std::strerror(ENOTDIR);
        throw ProgramError(path, "cannot be made: " + cause);
    }
    if (access(path.c_str(), W_OK | X_OK) != 0) {
        throw ProgramError(path, std::string("cannot be written: ") + std::strerror(errno));
    }
}

// ---------------------------------------------------------------- one model

std::string textOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::string text(std::istreambuf_iterator<char>(file), {});
    if (!file) {
        throw ProgramError(path, "cannot be read");
    }
    return text;
}

/// The rest of a text that begins with another one; the whole text if it does not.
std::string without(const std::string& start, const std::string& text) {
    return text.rfind(start, 0) == 0 ? text.substr(start.size()) : text;
}

/// A model that is being reduced by a process of its own, into files that nobody else sees.
class Reduction {
  public:
    Reduction(const ManyModels& many, Job job, const ScratchFolder& scratch, const Console& console)
        : job_(std::move(job)),
          reduced_(scratch.file(fileNameOf(job_.reduced))),
          system_(scratch.file(fileNameOf(job_.system))),
          process_(console.program, wordsOf(many), oneThread) {}

    ChildProcess& process() { return process_; }

    /// Puts the results in their place, when the process has written all that it had to say.
    Outcome finished() {
        const std::string failure = process_.end();
        if (!failure.empty()) {
            return {Outcome::hasFailed, causeOf(failure)};
        }
        Outcome outcome;
        outcome.warnings = process_.err();
        outcome.facts = Json::parse(process_.out());
        // The model file comes last: where it stands, the other does too.
        replaceFiles({textFile(job_.system, textOf(system_)), textFile(job_.reduced, textOf(reduced_))});
        files::remove(reduced_);
        files::remove(system_);
        return outcome;
    }

  private:
    std::vector<std::string> wordsOf(const ManyModels& many) const {
        std::vector<std::string> words{"reduce", "--json", "--output", reduced_, "--state-space", system_};
        words.insert(words.end(), many.options.begin(), many.options.end());
        words.insert(words.end(), {"--", job_.model});
        return words;
    }

    /// What the process has said; or how it ended, if it could not say anything.
    std::string causeOf(const std::string& failure) const {
        std::istringstream lines(process_.err());
        std::string last;
        for (std::string line; std::getline(lines, line);) {
            last = line;
        }
        if (last.empty() || failure.rfind("signal", 0) == 0) {
            return "the process that reduced it ended with " + failure;
        }
        std::string cause = without("qormath: ", last);
        for (const std::string& file : {job_.model, reduced_, system_}) {
            cause = without(printable(file) + ": ", cause);
        }
        return cause;
    }

    Job job_;
    std::string reduced_;
    std::string system_;
    ChildProcess process_;
};

// ---------------------------------------------------------------- all of them

/// The models on their way: some done, some being reduced, the others waiting.
class Batch {
  public:
    Batch(const ManyModels& many, const std::vector<Job>& jobs, const Console& console)
        : many_(many), jobs_(jobs), outcomes_(jobs.size()), console_(console), progress_(console) {}

    /// Runs until all is done, or until a signal has come. What became of each model.
    std::vector<Outcome> run(const Interruption& interruption) {
        const unsigned cores = std::max(1U, std::thread::hardware_concurrency());
        const std::size_t places = many_.jobs > 0 ? static_cast<std::size_t>(many_.jobs) : cores;
        showProgress();
        while (interruption.signal() == 0 && (next_ < jobs_.size() || !running_.empty())) {
            if (next_ < jobs_.size() && running_.size() < places) {
                start(next_++);
            } else {
                wait(interruption);
                finish(interruption);
            }
        }
        return std::move(outcomes_);
    }

  private:
    struct Running {
        std::size_t index;
        std::unique_ptr<Reduction> reduction;
    };

    void start(std::size_t index) {
        const Job& job = jobs_[index];
        std::error_code error;
        if (many_.resume && files::exists(job.reduced, error)) {
            settle(index, {Outcome::isSkipped});
            return;
        }
        try {
            requireWritable(job.reduced);
            requireWritable(job.system);
            running_.push_back({index, std::make_unique<Reduction>(many_, job, scratch_, console_)});
        } catch (const ProgramError& failure) {
            settle(index, {Outcome::hasFailed, failure.what()});
        }
    }

    void wait(const Interruption& interruption) const {
        std::vector<pollfd> awaited{{interruption.descriptor(), POLLIN, 0}};
        for (const Running& running : running_) {
            for (const pollfd& stream : running.reduction->process().awaited()) {
                awaited.push_back(stream);
            }
        }
        poll(awaited.data(), awaited.size(), -1);
    }

    /// Takes the results of the processes that are done.
    void finish(const Interruption& interruption) {
        for (Running& running : running_) {
            if (!running.reduction->process().takeOutput()) {
                continue;
            }
            Outcome outcome = outcomeOf(*running.reduction);
            // Whoever interrupts a terminal interrupts all processes there, which is no failure of a model.
            if (interruption.signal() != 0) {
                return;
            }
            settle(running.index, std::move(outcome));
            running.reduction.reset();
        }
        running_.erase(std::remove_if(running_.begin(), running_.end(),
                                      [](const Running& running) { return running.reduction == nullptr; }),
                       running_.end());
    }

    static Outcome outcomeOf(Reduction& reduction) {
        try {
            return reduction.finished();
        } catch (const std::exception& failure) {
            return {Outcome::hasFailed, failure.what()};
        }
    }

    void settle(std::size_t index, Outcome outcome) {
        ++settled_;
        failed_ += outcome.kind == Outcome::hasFailed ? 1 : 0;
        outcomes_[index] = std::move(outcome);
        showProgress();
    }

    void showProgress() {
        const std::string failures = failed_ == 0 ? "" : ", " + std::to_string(failed_) + " failed";
        progress_.show("models" + failures + ":", settled_, static_cast<int>(jobs_.size()));
    }

    const ManyModels& many_;
    const std::vector<Job>& jobs_;
    std::vector<Outcome> outcomes_;
    const Console& console_;
    ScratchFolder scratch_;
    ProgressLine progress_;
    std::vector<Running> running_;
    std::size_t next_ = 0;
    int settled_ = 0;
    int failed_ = 0;
};

// ---------------------------------------------------------------- the summary

int countOf(const std::vector<Outcome>& outcomes, Outcome::Kind kind) {
    return static_cast<int>(std::count_if(outcomes.begin(), outcomes.end(),
                                          [kind](const Outcome& outcome) { return outcome.kind == kind; }));
}

void printTable(std::ostream& out, const std::vector<Job>& jobs, const std::vector<Outcome>& outcomes) {
    constexpr int digits = 3;
    std::vector<std::vector<std::string>> rows{{"model", "states", "curve error, %", "outcome"}};
    for (std::size_t k = 0; k < jobs.size(); ++k) {
        const Outcome& outcome = outcomes[k];
        const Json states = outcome.facts.value("orderReached", Json());
        const Json error = outcome.facts.value("largestCurveErrorPercent", Json());
        rows.push_back({jobs[k].name, states.is_null() ? "-" : states.dump(),
                        error.is_null() ? "-" : formatNumber(error.at("value").get<double>(), digits),
                        nameOf(outcome.kind)});
    }
    printGrid(out, rows);
    out << '\n';
    for (const Outcome::Kind kind : {Outcome::isReduced, Outcome::isSkipped, Outcome::hasFailed}) {
        out << countOf(outcomes, kind) << ' ' << nameOf(kind) << (kind == Outcome::hasFailed ? "\n" : ", ");
    }
}

void printJson(std::ostream& out, const std::vector<Job>& jobs, const std::vector<Outcome>& outcomes,
               const std::string& folder) {
    Json models = Json::array();
    for (std::size_t k = 0; k < jobs.size(); ++k) {
        const Job& job = jobs[k];
        const Outcome& outcome = outcomes[k];
        Json model{{"model", toUtf8(job.model)}, {"outcome", nameOf(outcome.kind)}};
        if (outcome.kind == Outcome::hasFailed) {
            model["cause"] = toUtf8(outcome.cause);
        } else {
            // With the same names as for one model; the files are those that the caller sees.
            Json facts = outcome.facts;
            facts["reduced"] = toUtf8(job.reduced);
            facts["system"] = toUtf8(job.system);
            facts.erase("model");
            model.update(facts);
        }
        models.push_back(model);
    }
    Json summary{{"folder", toUtf8(folder)}, {"models", models}};
    for (const Outcome::Kind kind : {Outcome::isReduced, Outcome::isSkipped, Outcome::hasFailed}) {
        summary[nameOf(kind)] = countOf(outcomes, kind);
    }
    constexpr int indentation = 2;
    out << summary.dump(indentation) << '\n';
}

void report(const std::vector<Job>& jobs, const std::vector<Outcome>& outcomes, const ManyModels& many,
            const Console& console) {
    if (many.json) {
        printJson(console.out, jobs, outcomes, many.folder);
    } else {
        printTable(console.out, jobs, outcomes);
    }
    requirePrinted(console);
    for (std::size_t k = 0; k < jobs.size(); ++k) {
        const Outcome& outcome = outcomes[k];
        console.err << outcome.warnings;
        if (outcome.kind == Outcome::hasFailed) {
            console.err << "qormath: " << printable(jobs[k].model + ": " + outcome.cause) << '\n';
        }
    }
    const int failed = countOf(outcomes, Outcome::hasFailed);
    if (failed > 0) {
        throw ProgramError(std::to_string(failed) + " of " + std::to_string(jobs.size()) +
                           " models could not be reduced");
    }
}

}  // namespace

void reduceMany(const ManyModels& many, const Console& console) {
    const std::vector<Job> jobs = jobsOf(many);
    requireOwnResults(jobs);
    requireFolder(many.folder);
    std::vector<Outcome> outcomes;
    int signal = 0;
    {
        const Interruption interruption;
        outcomes = Batch(many, jobs, console).run(interruption);
        signal = interruption.signal();
    }
    if (signal != 0) {
        console.err << "qormath: interrupted; --resume goes on from here" << std::endl;
        std::raise(signal);
    }
    report(jobs, outcomes, many, console);
}

}  // namespace qormath::cli
