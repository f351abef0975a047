// Staircase forms and the tests that stand on them, with four states of five controllable and observable.

#include <benchmark/benchmark.h>
#include <memory>

#include <qormath/control/qor_math_control.hpp>
#include <qormath/models/lti_state_space_model.hpp>
#include <qormath/structure/ability_manager.hpp>

#include "beside_schur.hpp"

namespace {

using namespace qormath::bench;

constexpr int channels = 10;

// Far above what rounding makes of a chain of staircase blocks.
constexpr double tolerance = 1e-10;

/// The controllable states lead; an orthogonal similarity hides them.
LTIStateSpaceModel partlyControllable(int n) {
    const int controllable = n * 4 / 5;
    Matrix<double> a = diskMatrix(n, 0.8);
    Matrix<double> b = normalElements(n, channels, 2);
    for (int i = controllable; i < n; ++i) {
        for (int j = 0; j < controllable; ++j) {
            a(i, j) = 0.0;
        }
        for (int j = 0; j < channels; ++j) {
            b(i, j) = 0.0;
        }
    }
    qormath::test::NormalNumbers numbers(3);
    const Matrix<double> z = qormath::test::randomOrthogonal(n, numbers);
    return {z * a * z.transpose(), z * b, normalElements(channels, n, 4), normalElements(channels, channels, 5),
            discreteSystem,        1.0};
}

LTIStateSpaceModel partlyObservable(int n) {
    const LTIStateSpaceModel dual = partlyControllable(n);
    return {dual.A.transpose(), dual.C.transpose(), dual.B.transpose(), dual.D.transpose(), discreteSystem, 1.0};
}

void controllabilityForm(benchmark::State& state) {
    const LTIStateSpaceModel given = partlyControllable(static_cast<int>(state.range(0)));
    LTIStateSpaceModel model;
    int rank = 0;
    besideSchur(
        state, [&] { model = given; }, [&] { model.ControllabilityForm(rank, tolerance); });
    state.counters["rank"] = rank;
}
BENCHMARK(controllabilityForm)->Apply(atAllOrders);

void observabilityForm(benchmark::State& state) {
    const LTIStateSpaceModel given = partlyObservable(static_cast<int>(state.range(0)));
    LTIStateSpaceModel model;
    int rank = 0;
    besideSchur(
        state, [&] { model = given; }, [&] { model.ObservabilityForm(rank, tolerance); });
    state.counters["rank"] = rank;
}
BENCHMARK(observabilityForm)->Apply(atAllOrders);

void controllabilityTest(benchmark::State& state) {
    const LTIStateSpaceModel model = partlyControllable(static_cast<int>(state.range(0)));
    Vector<int> flags;
    int count = 0;
    besideSchur(state, [&] { QorMathControl::Controllability(model.A, model.B, flags, count, tolerance); });
    state.counters["uncontrollable"] = count;
}
BENCHMARK(controllabilityTest)->Apply(atAllOrders);

void detectabilityTest(benchmark::State& state) {
    const LTIStateSpaceModel model = partlyObservable(static_cast<int>(state.range(0)));
    Vector<int> flags;
    int count = 0;
    int unstable = 0;
    besideSchur(state, [&] { QorMathControl::Detectability(model.A, model.C, flags, count, unstable, tolerance); });
    state.counters["unobservable"] = count;
}
BENCHMARK(detectabilityTest)->Apply(atAllOrders);

void abilityManager(benchmark::State& state) {
    const LTIStateSpaceModel model = partlyControllable(static_cast<int>(state.range(0)));
    besideSchur(state, [&] {
        AbilityManager manager(model.A, model.B, model.C, tolerance);
        manager.ControllabilityDecomposition();
        benchmark::DoNotOptimize(manager.reducedOrder);
    });
}
BENCHMARK(abilityManager)->Apply(atAllOrders);

}  // namespace

BENCHMARK_MAIN();
