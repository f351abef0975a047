// Reading and writing a model file of 25 outputs, 40 inputs and 120 coefficients, beside the same work done with
// sscanf and fprintf. Both run in turn within one iteration, so that a machine that slows down slows down both; the
// counter timesFaster is their ratio. Times are processor times of the process.

#include <benchmark/benchmark.h>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <string>
#include <support/plain_fir_file.hpp>
#include <time.h>
#include <unistd.h>
#include <vector>

#include <qormath/models/fir_file.hpp>
#include <qormath/models/lti_fir_model.hpp>

namespace {

using qormath::test::PlainFIRFile;
using qormath::test::PlainModel;
using qormath::test::PlainVariable;
using QorMathLA::Matrix;
using QorMathLA::Vector;

constexpr int outputs = 25;
constexpr int inputs = 40;
constexpr int coefficients = 120;

PlainModel makeModel() {
    PlainModel model;
    model.coefficientCount = coefficients;
    model.horizonSeconds = coefficients * 60;
    for (int i = 0; i < inputs; ++i) {
        model.inputs.push_back({"IN" + std::to_string(i), "M3/H", 0});
    }
    for (int j = 0; j < outputs; ++j) {
        model.outputs.push_back({"OUT" + std::to_string(j), "DEGC", j % 10 == 9 ? 1 : 0});
    }
    for (int j = 0; j < outputs; ++j) {
        for (int i = 0; i < inputs; ++i) {
            const double gain = std::sin(1.0 + 7 * j + 3 * i) * std::pow(10.0, (i + j) % 7 - 3);
            const double lag = 5.0 + (i * 5 + j) % 30;
            std::vector<double> curve(coefficients);
            for (int k = 0; k < coefficients; ++k) {
                curve[static_cast<std::size_t>(k)] = gain * (1.0 - std::exp(-(k + 1) / lag));
            }
            model.curves.push_back(std::move(curve));
        }
    }
    return model;
}

class Folder {
  public:
    Folder() : path(std::filesystem::temp_directory_path() / ("qormath-bench-" + std::to_string(::getpid()))) {
        std::filesystem::create_directory(path);
    }
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;
    ~Folder() { std::filesystem::remove_all(path); }

    std::string file(const char* name) const { return (path / name).string(); }

  private:
    std::filesystem::path path;
};

template <class Work>
double seconds(Work work) {
    timespec start{};
    timespec end{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &start);
    work();
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &end);
    return static_cast<double>(end.tv_sec - start.tv_sec) + 1e-9 * static_cast<double>(end.tv_nsec - start.tv_nsec);
}

template <class Ours, class Plain>
void compare(benchmark::State& state, Ours ours, Plain plain) {
    double oursTotal = 0.0;
    double plainTotal = 0.0;
    for (auto _ : state) {
        const double time = seconds(ours);
        plainTotal += seconds(plain);
        oursTotal += time;
        state.SetIterationTime(time);
    }
    const auto rounds = static_cast<double>(state.iterations());
    state.counters["plainMilliseconds"] = 1e3 * plainTotal / rounds;
    state.counters["timesFaster"] = plainTotal / oursTotal;
}

void writePlainFile(const PlainModel& model, const std::string& path) {
    std::FILE* const stream = std::fopen(path.c_str(), "w");
    qormath::test::writePlainly(stream, model);
    std::fclose(stream);
}

const double* curveOf(void* context, int output, int input) {
    const auto& model = *static_cast<PlainModel*>(context);
    return model.curves[static_cast<std::size_t>(output * inputs + input)].data();
}

void readHandle(benchmark::State& state) {
    const Folder folder;
    const std::string path = folder.file("model.fir");
    writePlainFile(makeModel(), path);
    std::vector<int> offsets(inputs * outputs);
    std::vector<float> data(inputs * outputs * coefficients);
    std::vector<double> gains(inputs * outputs);
    compare(
        state,
        [&] {
            FIRFileHandle handle;
            if (firOpenRead(&handle, path.c_str()) != FIR_OK ||
                firReadCurves(&handle, offsets.data(), data.data(), gains.data()) != FIR_OK) {
                state.SkipWithError("cannot read");
            }
            firClose(&handle);
        },
        [&] { benchmark::DoNotOptimize(PlainFIRFile(path).data.size()); });
}

void writeHandle(benchmark::State& state) {
    const Folder folder;
    const std::string path = folder.file("model.fir");
    PlainModel model = makeModel();
    compare(
        state,
        [&] {
            FIRFileHandle handle;
            int status = firOpenWrite(&handle, path.c_str());
            status += firSetHeader(&handle, inputs, outputs, coefficients, model.horizonSeconds, "No comment");
            for (int i = 0; i < inputs; ++i) {
                const PlainVariable& input = model.inputs[static_cast<std::size_t>(i)];
                status += firSetInput(&handle, i, input.name.c_str(), input.descriptor.c_str());
            }
            for (int j = 0; j < outputs; ++j) {
                const PlainVariable& output = model.outputs[static_cast<std::size_t>(j)];
                status += firSetOutput(&handle, j, output.name.c_str(), output.descriptor.c_str(), output.ramp);
            }
            status += firWriteCurves(&handle, curveOf, &model);
            firClose(&handle);
            if (status != FIR_OK) {
                state.SkipWithError("cannot write");
            }
        },
        [&] { writePlainFile(model, folder.file("plain.fir")); });
}

// ReadModel's rounding to seven digits, as it is defined.
double plainRound7(double value) {
    if (value >= -1e-30 && value <= 1e-30) {
        return 0.0;
    }
    const int exponent = static_cast<int>(std::floor(std::log10(std::fabs(value))));
    const double scaled = std::pow(10.0, 6 - exponent) * value;
    return std::pow(10.0, exponent - 6) * static_cast<int>(scaled > 0.0 ? scaled + 0.5 : scaled - 0.5);
}

void readModel(benchmark::State& state) {
    const Folder folder;
    std::string path = folder.file("model.fir");
    writePlainFile(makeModel(), path);
    compare(
        state,
        [&] {
            LTIFIRModel model;
            if (!model.ReadModel(path.data())) {
                state.SkipWithError("cannot read");
            }
        },
        [&] {
            const PlainFIRFile file(path);
            Matrix<Vector<double>> curves(inputs, outputs);
            for (const auto& found : file.curves) {
                Vector<double> curve(coefficients + 1);
                curve[0] = 0.0;
                for (int k = 1; k < coefficients; ++k) {
                    curve[k] =
                        plainRound7(static_cast<double>(file.data[static_cast<std::size_t>(found.offset + k - 1)]));
                }
                curve[coefficients] = found.gain;
                curves(static_cast<int>(found.input), static_cast<int>(found.output)) = std::move(curve);
            }
            benchmark::DoNotOptimize(curves);
        });
}

void writeModel(benchmark::State& state) {
    const Folder folder;
    const PlainModel plain = makeModel();
    std::string path = folder.file("model.fir");
    writePlainFile(plain, path);
    LTIFIRModel model;
    if (!model.ReadModel(path.data())) {
        state.SkipWithError("cannot read");
    }
    compare(
        state,
        [&] {
            if (!model.WriteModel(path.data())) {
                state.SkipWithError("cannot write");
            }
        },
        [&] { writePlainFile(plain, folder.file("plain.fir")); });
}

}  // namespace

BENCHMARK(readHandle)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(writeHandle)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(readModel)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(writeModel)->UseManualTime()->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();
