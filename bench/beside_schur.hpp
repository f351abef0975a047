#pragma once

// Times as multiples of the unordered real Schur form with vectors of the same order, in the same run: the unit in
// which the cost of the dense algorithms of control is told. The counter ratio of each benchmark is that multiple.
//
// Times are of the processor, so that a busy machine does not sway the ratios: run with OPENBLAS_NUM_THREADS=1.

#include <benchmark/benchmark.h>
#include <cmath>
#include <cstddef>
#include <ctime>
#include <map>
#include <support/random_matrices.hpp>
#include <vector>

#include <qormath/core/arithmetic.hpp>
#include <qormath/core/matrix.hpp>
#include <qormath/lapack/lapack.hpp>

namespace qormath::bench {

using QorMathLA::Matrix;
using QorMathLA::Vector;

inline double processorSeconds() {
    timespec time{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec);
}

/// Standard normal elements, scaled so that the eigenvalues fill the disk of the given radius evenly.
inline Matrix<double> diskMatrix(int n, double radius, unsigned seed = 1) {
    test::NormalNumbers numbers(seed);
    return test::randomMatrix(n, n, numbers) * (radius / std::sqrt(n));
}

/// Eigenvalues in the disk of radius 0.8 around 0 if discrete, else around -1.
inline Matrix<double> stableMatrix(int n, bool discrete, unsigned seed = 1) {
    Matrix<double> a = diskMatrix(n, 0.8, seed);
    for (int k = 0; k < n && !discrete; ++k) {
        a(k, k) -= 1.0;
    }
    return a;
}

inline Matrix<double> normalElements(int rows, int cols, unsigned seed) {
    test::NormalNumbers numbers(seed);
    return test::randomMatrix(rows, cols, numbers);
}

/// Of one Schur form, measured once an order and program: the mean of so many that the clock can tell them.
inline double schurSeconds(int n) {
    static std::map<int, double> known;
    const auto found = known.find(n);
    if (found != known.end()) {
        return found->second;
    }
    constexpr int enoughRows = 400;
    const int rounds = std::max(1, enoughRows / n);
    const Matrix<double> a = diskMatrix(n, 1.0);
    const auto count = static_cast<std::size_t>(n);
    constexpr std::size_t blockWidth = 64;
    std::vector<double> wr(count), wi(count), vectors(count * count), work(blockWidth * count);
    double seconds = 0.0;
    for (int k = 0; k < rounds; ++k) {
        Matrix<double> form = a;
        const double start = processorSeconds();
        lapack::gees(n, form.numericData(true), n, wr.data(), wi.data(), vectors.data(), n, work.data(),
                     static_cast<int>(work.size()));
        seconds += processorSeconds() - start;
    }
    return known.emplace(n, seconds / rounds).first->second;
}

/// Times work alone; prepare runs before each.
template <typename Prepare, typename Work>
void besideSchur(benchmark::State& state, Prepare prepare, Work work) {
    const double schur = schurSeconds(static_cast<int>(state.range(0)));
    double seconds = 0.0;
    for (auto iteration : state) {
        prepare();
        const double start = processorSeconds();
        work();
        const double elapsed = processorSeconds() - start;
        state.SetIterationTime(elapsed);
        seconds += elapsed;
    }
    state.counters["schur_ms"] = 1e3 * schur;
    state.counters["ratio"] = seconds / static_cast<double>(state.iterations()) / schur;
}

template <typename Work>
void besideSchur(benchmark::State& state, Work work) {
    besideSchur(
        state, [] {}, work);
}

inline void atAllOrders(benchmark::internal::Benchmark* benchmark) {
    for (const int n : {10, 50, 100, 200, 400, 800}) {
        benchmark->Arg(n);
    }
    benchmark->UseManualTime()->Unit(benchmark::kMillisecond);
}

/// Of kernels, which are also looked at beyond the size of a cache.
inline void atKernelOrders(benchmark::internal::Benchmark* benchmark) {
    atAllOrders(benchmark);
    benchmark->Arg(1000)->Arg(2000);
}

}  // namespace qormath::bench
