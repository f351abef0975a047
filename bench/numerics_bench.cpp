// The ranking of selections from a gain matrix, on one thread. The counter candidates is the number of selections that
// there are; seconds are of the processor, so that a busy machine does not sway them.

#include <benchmark/benchmark.h>
#include <support/random_matrices.hpp>

#include <qormath/numerics/detail/sub_matrix_search.hpp>
#include <qormath/numerics/qor_svd_analysis.hpp>

namespace {

using QorMathLA::Matrix;
using QorMathLA::QorSVDAnalysis;
using QorMathLA::Vector;

// Arguments: rows, columns, order of the selections, how many are kept (0 for all).
void rankSelections(benchmark::State& state) {
    const int rows = static_cast<int>(state.range(0));
    const int cols = static_cast<int>(state.range(1));
    const int order = static_cast<int>(state.range(2));
    qormath::test::NormalNumbers numbers(1);
    const Matrix<double> gain = qormath::test::randomMatrix(rows, cols, numbers);
    const Vector<double> scaling = Vector<double>(cols).filled(1.0);
    for (auto _ : state) {
        QorSVDAnalysis analysis(gain, scaling, order, static_cast<int>(state.range(3)), true, 0.0);
        analysis.computeAnalysis();
        benchmark::DoNotOptimize(analysis.getResults());
    }
    state.counters["candidates"] = static_cast<double>(qormath::numerics::combinations(rows, order)) *
                                   static_cast<double>(qormath::numerics::combinations(cols, order));
}

BENCHMARK(rankSelections)
    ->Args({20, 12, 2, 0})
    ->Args({20, 12, 3, 0})
    ->Args({20, 12, 3, 10})
    ->Args({20, 12, 4, 0})
    ->Args({20, 12, 6, 10})
    ->Args({30, 20, 5, 10})
    ->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
