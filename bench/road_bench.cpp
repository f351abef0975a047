// The time of the whole road, file to file, on a large plant, beside that of a singular value decomposition of its Gram
// matrix by DGESVD. The counter road_over_svd is the ratio; the decomposition alone once took four fifths of the road.

#include <benchmark/benchmark.h>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <random>
#include <string>

#include <qormath/core/arithmetic.hpp>
#include <qormath/models/lti_fir_model.hpp>

namespace {

using QorMathLA::Matrix;
using QorMathLA::Vector;

constexpr int inputs = 40;
constexpr int outputs = 25;
constexpr int coefficientCount = 120;

/// First-order lags with dead time on four pairs of five.
LTIFIRModel largePlant() {
    std::mt19937_64 bits(20);
    const auto uniform = [&] { return static_cast<double>(bits() >> 11) * 0x1p-53; };
    LTIFIRModel model;
    model.coefficients = Matrix<Vector<double>>(inputs, outputs);
    model.rampFlags = Vector<bool>(outputs);
    model.rampFlags.fill(false);
    model.coefficientCount = coefficientCount;
    model.horizonSeconds = 60 * coefficientCount;
    for (Vector<std::string>* texts : {&model.inputNames, &model.inputDescriptors}) {
        *texts = Vector<std::string>(inputs);
        texts->fill("INPUT");
    }
    for (Vector<std::string>* texts : {&model.outputNames, &model.outputDescriptors}) {
        *texts = Vector<std::string>(outputs);
        texts->fill("OUTPUT");
    }
    for (Vector<double>& curve : model.coefficients) {
        const bool responds = uniform() < 0.8;
        const double gain = 4.0 * uniform() - 2.0;
        const double lag = 3.0 + 17.0 * uniform();
        const int delay = static_cast<int>(6.0 * uniform());
        if (!responds) {
            continue;
        }
        curve = Vector<double>(coefficientCount + 1);
        for (int k = 0; k <= coefficientCount; ++k) {
            curve[k] = k <= delay ? 0.0 : gain * (1.0 - std::exp(-(k - delay) / lag));
        }
    }
    return model;
}

double secondsSince(std::chrono::steady_clock::time_point start) {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

/// The decomposition that the faster route stands for.
double svdSecondsOf(LTIFIRModel& plant) {
    const int blockRows = coefficientCount / 4;
    Matrix<double> markov = plant.CreateMarkovMatrix(nullptr, nullptr);
    Matrix<double> feedthrough;
    const Matrix<double> hankel = plant.CreateHankelMatrix(markov, inputs, blockRows, feedthrough);
    Matrix<double> gram =
        Matrix<double>::copyOf(hankel(QorMathLA::Range(0, blockRows * outputs - 1, 1), QorMathLA::Range(-1, -1, 1)));
    Vector<double> s;
    Matrix<double> v;
    const auto start = std::chrono::steady_clock::now();
    gram.svd(s, v, 75, true);
    return secondsSince(start);
}

void roadBesideItsSvd(benchmark::State& state) {
    LTIFIRModel plant = largePlant();
    std::string source = (std::filesystem::temp_directory_path() / "qormath_road_bench_in.fir").string();
    std::string target = (std::filesystem::temp_directory_path() / "qormath_road_bench_out.fir").string();
    if (!plant.WriteModel(source.data())) {
        state.SkipWithError("cannot write the plant");
        return;
    }
    double roadSeconds = 0.0;
    const double svdSeconds = svdSecondsOf(plant);
    int states = 0;
    for (auto _ : state) {
        const auto start = std::chrono::steady_clock::now();
        LTIFIRModel model;
        bool done = model.ReadModel(source.data());
        const LTIStateSpaceModel system = model.CreateStateSpaceModel(true, 0, nullptr);
        LTIFIRModel curves(system, model);
        done = curves.WriteModel(target.data()) && done;
        roadSeconds += secondsSince(start);
        states = system.A.rows();
        if (!done) {
            state.SkipWithError("cannot read or write a model file");
            return;
        }
    }
    std::filesystem::remove(source);
    std::filesystem::remove(target);
    const auto rounds = static_cast<double>(state.iterations());
    state.counters["states"] = states;
    state.counters["svd_seconds"] = svdSeconds;
    state.counters["road_over_svd"] = roadSeconds / rounds / svdSeconds;
}

BENCHMARK(roadBesideItsSvd)->Unit(benchmark::kMillisecond)->Iterations(3);

}  // namespace

BENCHMARK_MAIN();
