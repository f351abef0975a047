// The matrix equations as callers have them, beside the unordered real Schur forms that they are made of. The counter
// ratio is the time as a multiple of that of one Schur form of the same order in the same run.
//
// Times are of the processor, so that a busy machine does not sway the ratios: OPENBLAS_NUM_THREADS=1 equations_bench.

#include <benchmark/benchmark.h>
#include <cmath>
#include <ctime>
#include <map>
#include <support/random_matrices.hpp>

#include <qormath/control/qor_math_control.hpp>
#include <qormath/core/arithmetic.hpp>

namespace {

using QorMathLA::Matrix;
using QorMathLA::Vector;

double processorSeconds() {
    return static_cast<double>(std::clock()) / CLOCKS_PER_SEC;
}

// Of a spectral radius of about 0.9, or shifted left of -0.1.
Matrix<double> stableMatrix(int n, bool discrete) {
    qormath::test::NormalNumbers numbers(1);
    Matrix<double> a = qormath::test::randomMatrix(n, n, numbers) * (0.9 / std::sqrt(n));
    for (int k = 0; k < n && !discrete; ++k) {
        a(k, k) -= 1.0;
    }
    return a;
}

double schurSeconds(int n) {
    static std::map<int, double> known;
    const auto found = known.find(n);
    if (found != known.end()) {
        return found->second;
    }
    const Matrix<double> a = stableMatrix(n, true);
    Matrix<double> t, q;
    Vector<double> wr, wi;
    const double start = processorSeconds();
    QorMathControl::SchurDecomposition(a, t, q, wr, wi, schurUnordered);
    return known.emplace(n, processorSeconds() - start).first->second;
}

template <typename Solve>
void reportBesideSchur(benchmark::State& state, int n, Solve solve) {
    const double schur = schurSeconds(n);
    double seconds = 0.0;
    for (auto iteration : state) {
        const double start = processorSeconds();
        solve();
        const double elapsed = processorSeconds() - start;
        state.SetIterationTime(elapsed);
        seconds += elapsed;
    }
    state.counters["schur_s"] = schur;
    state.counters["ratio"] = seconds / static_cast<double>(state.iterations()) / schur;
}

Matrix<double> constantTerm(int n) {
    qormath::test::NormalNumbers numbers(2);
    return qormath::test::randomMatrix(n, n, numbers);
}

void sylvesterEquation(benchmark::State& state) {
    const int n = static_cast<int>(state.range(0));
    const Matrix<double> a = stableMatrix(n, false);
    const Matrix<double> b = a.transpose();
    const Matrix<double> c = constantTerm(n);
    Matrix<double> x;
    reportBesideSchur(state, n, [&] { QorMathControl::SylvesterEquation(x, a, b, c); });
}

void continuousLyapunov(benchmark::State& state) {
    const int n = static_cast<int>(state.range(0));
    const Matrix<double> a = stableMatrix(n, false);
    const Matrix<double> q = constantTerm(n);
    Matrix<double> x;
    reportBesideSchur(state, n, [&] { QorMathControl::ContinuousLyapunov(x, a, q); });
}

void discreteLyapunov(benchmark::State& state) {
    const int n = static_cast<int>(state.range(0));
    const Matrix<double> a = stableMatrix(n, true);
    const Matrix<double> q = constantTerm(n);
    Matrix<double> x;
    reportBesideSchur(state, n, [&] { QorMathControl::DiscreteLyapunov(x, a, q); });
}

BENCHMARK(sylvesterEquation)->Arg(100)->Arg(400)->Arg(1000)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(continuousLyapunov)->Arg(100)->Arg(400)->Arg(1000)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(discreteLyapunov)->Arg(100)->Arg(400)->Arg(1000)->UseManualTime()->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
