// The stages that bring a model into a small, clean form, on discrete models of n states.

#include <algorithm>
#include <benchmark/benchmark.h>

#include <qormath/control/qor_math_control.hpp>
#include <qormath/models/lti_state_space_model.hpp>

#include "beside_schur.hpp"

namespace {

using namespace qormath::bench;

constexpr int channels = 10;

LTIStateSpaceModel modelOf(const Matrix<double>& a) {
    const int n = a.rows();
    return {a,
            normalElements(n, channels, 2),
            normalElements(channels, n, 3),
            normalElements(channels, channels, 4),
            discreteSystem,
            1.0};
}

LTIStateSpaceModel stableModel(int n) {
    return modelOf(stableMatrix(n, true));
}

/// One stage on a fresh copy of a model each time.
template <typename Stage>
void onCopies(benchmark::State& state, const LTIStateSpaceModel& given, Stage stage) {
    LTIStateSpaceModel model;
    besideSchur(
        state, [&] { model = given; }, [&] { stage(model); });
}

/// To a tenth of the order, or to the default tolerance.
void modelReduction(benchmark::State& state, bool fixedOrder) {
    const int n = static_cast<int>(state.range(0));
    Vector<double> hsv;
    onCopies(state, stableModel(n), [&](LTIStateSpaceModel& m) {
        QorMathControl::ModelReduction(m.A, m.B, m.C, m.D, hsv, reductionBalanced, discreteSystem,
                                       fixedOrder ? std::max(1, n / 10) : 0, -1.0, 0.0);
    });
}
BENCHMARK_CAPTURE(modelReduction, fixedOrder, true)->Apply(atAllOrders);
BENCHMARK_CAPTURE(modelReduction, automaticOrder, false)->Apply(atAllOrders);

void balanceAbc(benchmark::State& state) {
    Vector<double> scale;
    onCopies(state, stableModel(static_cast<int>(state.range(0))),
             [&](LTIStateSpaceModel& m) { QorMathControl::BalanceABC(m.A, m.B, m.C, scale, 10.0); });
}
BENCHMARK(balanceAbc)->Apply(atAllOrders);

void minimalRealization(benchmark::State& state) {
    Vector<int> report;
    onCopies(state, stableModel(static_cast<int>(state.range(0))),
             [&](LTIStateSpaceModel& m) { QorMathControl::MinimalRealization(m, report, -1.0, -1.0, -1.0); });
}
BENCHMARK(minimalRealization)->Apply(atAllOrders);

/// Of a model with a few unstable modes.
void removeUnstable(benchmark::State& state) {
    LTIStateSpaceModel stable, unstable;
    onCopies(state, modelOf(diskMatrix(static_cast<int>(state.range(0)), 1.05)),
             [&](LTIStateSpaceModel& m) { QorMathControl::RemoveUnstable(m, stable, unstable, 0.0); });
}
BENCHMARK(removeUnstable)->Apply(atAllOrders);

void removeRingers(benchmark::State& state) {
    onCopies(state, stableModel(static_cast<int>(state.range(0))),
             [](LTIStateSpaceModel& m) { QorMathControl::RemoveRingers(m, 0.1, -1.0); });
}
BENCHMARK(removeRingers)->Apply(atAllOrders);

/// The whole pipeline, to a fifth of the order.
void shrink(benchmark::State& state) {
    const int n = static_cast<int>(state.range(0));
    const LTIStateSpaceModel given = stableModel(n);
    besideSchur(state, [&] {
        int order = std::max(1, n / 5);
        benchmark::DoNotOptimize(QorMathControl::Shrink(given, order, -1.0, -1.0, 0.1, 0.05).A.array.data);
    });
}
BENCHMARK(shrink)->Apply(atAllOrders);

}  // namespace

BENCHMARK_MAIN();
