// Model files, beside scanf and printf, and beside fast_float over a mapped file.

#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>
#ifdef QORMATH_PEER_FAST_FLOAT
#include <fast_float/fast_float.h>
#endif

#include <qormath/models/fir_file.hpp>
#include <qormath/models/lti_fir_model.hpp>

#include "problems.hpp"
#include "rows.hpp"

namespace qormath::peers {

namespace {

constexpr int channels = 100;
constexpr std::size_t dataLine = 75;

/// n coefficients for each of 100 by 100 pairs; 2.4 million at 240.
struct FileProblem {
    explicit FileProblem(const Setting& setting) : n(setting.n) {
        test::NormalNumbers numbers(setting.seed);
        const std::string stem = (std::filesystem::temp_directory_path() /
                                  ("qormath-peers-" + std::to_string(::getpid()) + "-" + std::to_string(++made)))
                                     .string();
        path = stem + ".fir";
        other = stem + ".txt";
        model.coefficients = Matrix<Vector<double>>(channels, channels);
        model.rampFlags = Vector<bool>(channels);
        model.rampFlags.fill(false);
        model.coefficientCount = n;
        model.horizonSeconds = 60 * n;
        for (Vector<std::string>* texts :
             {&model.inputNames, &model.outputNames, &model.inputDescriptors, &model.outputDescriptors}) {
            *texts = Vector<std::string>(channels);
        }
        for (Vector<double>& curve : model.coefficients) {
            const double gain = numbers.uniform(-2.0, 2.0) * std::pow(10.0, numbers.integer(-3, 3));
            const double lag = numbers.uniform(5.0, 35.0);
            curve = Vector<double>(n + 1);
            for (int k = 0; k <= n; ++k) {
                curve[k] = gain * (1.0 - std::exp(-k / lag));
            }
        }
        if (!model.WriteModel(path.data())) {
            throw std::runtime_error("cannot write a model file");
        }
        floats.resize(cells());
        offsets.resize(static_cast<std::size_t>(channels) * channels);
        gains.resize(offsets.size());
    }
    FileProblem(const FileProblem&) = delete;
    FileProblem& operator=(const FileProblem&) = delete;
    ~FileProblem() {
        std::filesystem::remove(path);
        std::filesystem::remove(other);
    }

    std::size_t cells() const { return static_cast<std::size_t>(n) * channels * channels; }

    static inline int made = 0;  // a problem lives until the next one is made, so that each has files of its own
    int n;
    LTIFIRModel model;
    std::string path, other;
    std::vector<float> floats;
    std::vector<int> offsets;
    std::vector<double> gains;
    LTIFIRModel read;
};

using Problem = std::shared_ptr<FileProblem>;

/// The largest difference from the coefficients, relative to each: half a unit of the seventh digit, and that of a
/// float. The blocks stand output by output.
Verdict judgeFloats(const FileProblem& p) {
    double worst = 0.0;
    std::size_t next = 0;
    for (int j = 0; j < channels; ++j) {
        for (int i = 0; i < channels; ++i) {
            for (int k = 1; k <= p.n; ++k) {
                const double wanted = p.model.coefficients(i, j)[k];
                worst = std::fmax(worst, std::fabs(static_cast<double>(p.floats[next++]) / wanted - 1.0));
            }
        }
    }
    return {worst};
}

Verdict judgeModel(const FileProblem& p, const LTIFIRModel& read) {
    double worst = 0.0;
    for (int j = 0; j < channels; ++j) {
        for (int i = 0; i < channels; ++i) {
            for (int k = 1; k <= p.n; ++k) {
                worst = std::fmax(worst, std::fabs(read.coefficients(i, j)[k] / p.model.coefficients(i, j)[k] - 1.0));
            }
        }
    }
    return {worst};
}

void scanByLibrary(const Problem& p) {
    std::FILE* const stream = std::fopen(p->path.c_str(), "r");
    if (stream == nullptr) {
        throw std::runtime_error("cannot open the file");
    }
    char line[256];
    std::size_t next = 0;
    while (std::fgets(line, 255, stream) != nullptr) {
        float v[5];
        if (std::strlen(line) == dataLine + 1 &&
            std::sscanf(line, "%f %f %f %f %f", v, v + 1, v + 2, v + 3, v + 4) == 5) {
            std::memcpy(p->floats.data() + next, v, sizeof v);
            next += 5;
        }
    }
    std::fclose(stream);
    if (next != p->cells()) {
        throw std::runtime_error("lines are missing");
    }
}

#ifdef QORMATH_PEER_FAST_FLOAT
void scanMapped(const Problem& p) {
    const int file = ::open(p->path.c_str(), O_RDONLY);
    struct stat status {};
    if (file < 0 || ::fstat(file, &status) != 0) {
        throw std::runtime_error("cannot open the file");
    }
    const auto size = static_cast<std::size_t>(status.st_size);
    void* const map = ::mmap(nullptr, size, PROT_READ, MAP_PRIVATE, file, 0);
    if (map == MAP_FAILED) {
        throw std::runtime_error("cannot map the file");
    }
    const char* position = static_cast<const char*>(map);
    const char* const end = position + size;
    std::size_t next = 0;
    while (position < end) {
        const auto* const newline =
            static_cast<const char*>(std::memchr(position, '\n', static_cast<std::size_t>(end - position)));
        if (newline == nullptr) {
            break;
        }
        if (static_cast<std::size_t>(newline - position) == dataLine) {
            for (int k = 0; k < 5; ++k) {
                while (*position == ' ') {
                    ++position;
                }
                position = fast_float::from_chars(position, newline, p->floats[next++]).ptr;
            }
        }
        position = newline + 1;
    }
    ::munmap(map, size);
    ::close(file);
    if (next != p->cells()) {
        throw std::runtime_error("lines are missing");
    }
}
#endif

void readCurves(const Problem& p) {
    FIRFileHandle handle;
    const int opened = firOpenRead(&handle, p->path.c_str());
    const int status =
        opened == FIR_OK ? firReadCurves(&handle, p->offsets.data(), p->floats.data(), p->gains.data()) : opened;
    firClose(&handle);
    if (status != FIR_OK) {
        throw std::runtime_error("cannot read the file");
    }
}

void printByLibrary(const Problem& p) {
    std::FILE* const stream = std::fopen(p->other.c_str(), "w");
    if (stream == nullptr) {
        throw std::runtime_error("cannot open the file");
    }
    for (int j = 0; j < channels; ++j) {
        for (int i = 0; i < channels; ++i) {
            const double* const v = p->model.coefficients(i, j).numericData() + 1;
            for (int k = 0; k < p->n; k += 5) {
                std::fprintf(stream, "%15.6e%15.6e%15.6e%15.6e%15.6e\n", v[k], v[k + 1], v[k + 2], v[k + 3], v[k + 4]);
            }
        }
    }
    std::fclose(stream);
}

/// The peers of reading, sscanf alone or fast_float alone, since their goals differ.
Contest readContest(const Setting& setting, bool mapped, bool model) {
    const auto p = std::make_shared<FileProblem>(setting);
    Contest contest;
    contest.ours = model ? inProcess(
                               "QorMath ReadModel", [=] { p->read.ReadModel(p->path.data()); },
                               [=] { return judgeModel(*p, p->read); })
                         : inProcess(
                               "QorMath firReadCurves", [=] { readCurves(p); }, [=] { return judgeFloats(*p); });
#ifdef QORMATH_PEER_FAST_FLOAT
    if (mapped) {
        contest.peers.push_back(inProcess(
            "fast_float, mapped", [=] { scanMapped(p); }, [=] { return judgeFloats(*p); }));
        return contest;
    }
#endif
    if (!mapped) {
        contest.peers.push_back(inProcess(
            "sscanf", [=] { scanByLibrary(p); }, [=] { return judgeFloats(*p); }));
    }
    return contest;
}

Contest writeContest(const Setting& setting) {
    const auto p = std::make_shared<FileProblem>(setting);
    Contest contest;
    contest.ours = inProcess(
        "QorMath WriteModel", [=] { p->model.WriteModel(p->path.data()); },
        [=] {
            readCurves(p);
            return judgeFloats(*p);
        });
    contest.peers.push_back(inProcess(
        "fprintf", [=] { printByLibrary(p); }, [] { return Verdict(0.0, "not read back"); }));
    return contest;
}

}  // namespace

void addFileRows(std::vector<Row>& rows) {
    // The seventh digit of the text is what a coefficient is good to, and reading rounds it once more.
    constexpr double sevenDigits = 2e-6;
    const auto add = [&](const char* name, double goal, std::function<Contest(const Setting&)> contest) {
        rows.push_back({.name = name,
                        .goals = {{240, goal}},
                        .scalable = false,
                        .residualBound = sevenDigits,
                        .contest = std::move(contest)});
    };
    add("Curves of a file beside sscanf", 0.12, [](const Setting& s) { return readContest(s, false, false); });
    add("Model of a file beside sscanf", 0.12, [](const Setting& s) { return readContest(s, false, true); });
    add("Curves of a file beside fast_float", 1.3, [](const Setting& s) { return readContest(s, true, false); });
    add("Model of a file beside fast_float", 1.3, [](const Setting& s) { return readContest(s, true, true); });
    add("Writing a model beside fprintf", 0.2, writeContest);
}

}  // namespace qormath::peers
