// What views, element access and products cost beside what they stand on. Read the times of one run against each
// other: a view against a locked instruction, m(i, j) against a raw array, a product against the BLAS call within it.

#include <atomic>
#include <benchmark/benchmark.h>
#include <cstddef>
#include <cstdint>
#include <vector>

#include <qormath/core/matrix.hpp>
#include <qormath/lapack/blas.hpp>

namespace {

using qormath::lapack::Op;
using QorMathLA::Matrix;
using QorMathLA::VectorSoft;

Matrix<double> filled(int rows, int cols) {
    Matrix<double> result(rows, cols);
    result.fill(0.5);
    return result;
}

void LockedInstructionPair(benchmark::State& state) {
    std::uint32_t word = 0;
    const std::atomic_ref<std::uint32_t> lock(word);
    for (auto _ : state) {
        std::uint32_t expected = 0;
        lock.compare_exchange_strong(expected, 1);
        lock.exchange(0);
        benchmark::DoNotOptimize(word);
    }
}
BENCHMARK(LockedInstructionPair);

// One pair to take the view and one to drop it.
void RowViewTakenAndDropped(benchmark::State& state) {
    const Matrix<double> m = filled(100, 100);
    int i = 0;
    for (auto _ : state) {
        const VectorSoft<double> row = m.row(i);
        benchmark::DoNotOptimize(row.data);
        i = i == 99 ? 0 : i + 1;
    }
}
BENCHMARK(RowViewTakenAndDropped);

void SumByRawArray(benchmark::State& state) {
    constexpr int n = 200;
    const std::vector<double> elements(static_cast<std::size_t>(n) * n, 0.5);
    for (auto _ : state) {
        double sum = 0.0;
        for (int j = 0; j < n; ++j) {
            for (int i = 0; i < n; ++i) {
                sum += elements[static_cast<std::size_t>(j) * n + static_cast<std::size_t>(i)];
            }
        }
        benchmark::DoNotOptimize(sum);
    }
}
BENCHMARK(SumByRawArray);

void SumByElementAccess(benchmark::State& state) {
    constexpr int n = 200;
    const Matrix<double> m = filled(n, n);
    for (auto _ : state) {
        double sum = 0.0;
        for (int j = 0; j < n; ++j) {
            for (int i = 0; i < n; ++i) {
                sum += m(i, j);
            }
        }
        benchmark::DoNotOptimize(sum);
    }
}
BENCHMARK(SumByElementAccess);

void SumByWalk(benchmark::State& state) {
    const Matrix<double> m = filled(200, 200);
    for (auto _ : state) {
        double sum = 0.0;
        for (const double element : m) {
            sum += element;
        }
        benchmark::DoNotOptimize(sum);
    }
}
BENCHMARK(SumByWalk);

void ProductByBlas(benchmark::State& state) {
    const int n = static_cast<int>(state.range(0));
    const Matrix<double> a = filled(n, n);
    Matrix<double> c(n, n);
    for (auto _ : state) {
        qormath::lapack::gemm(Op::none, Op::transpose, n, n, n, 1.0, a.numericData(true), n, a.numericData(true), n,
                              0.0, c.numericData(true), n);
        benchmark::DoNotOptimize(c.array.data);
    }
}
BENCHMARK(ProductByBlas)->Arg(4)->Arg(32)->Arg(256);

void ProductByOperator(benchmark::State& state) {
    const int n = static_cast<int>(state.range(0));
    const Matrix<double> a = filled(n, n);
    for (auto _ : state) {
        const Matrix<double> c = a * a.transpose();
        benchmark::DoNotOptimize(c.array.data);
    }
}
BENCHMARK(ProductByOperator)->Arg(4)->Arg(32)->Arg(256);

}  // namespace

BENCHMARK_MAIN();
