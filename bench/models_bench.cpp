// Conversion between continuous and discrete time, gains and connections of models of n states.

#include <benchmark/benchmark.h>

#include <qormath/control/qor_math_control.hpp>
#include <qormath/models/lti_state_space_model.hpp>

#include "beside_schur.hpp"

namespace {

using namespace qormath::bench;

constexpr int channels = 10;

LTIStateSpaceModel stableModel(int n, systemType type) {
    return {stableMatrix(n, type == discreteSystem),
            normalElements(n, channels, 2),
            normalElements(channels, n, 3),
            normalElements(channels, channels, 4),
            type,
            0.5};
}

/// A conversion of a fresh copy of a model each time.
template <typename Convert>
void convertCopies(benchmark::State& state, const LTIStateSpaceModel& given, Convert convert) {
    LTIStateSpaceModel model;
    besideSchur(
        state, [&] { model = given; }, [&] { convert(model); });
}

void continuousToDiscrete(benchmark::State& state, conversionType type) {
    convertCopies(state, stableModel(static_cast<int>(state.range(0)), continuousSystem), [&](LTIStateSpaceModel& m) {
        QorMathControl::Continuous2Discrete(m.A, m.B, m.C, m.D, m.sampleTime, type);
    });
}
BENCHMARK_CAPTURE(continuousToDiscrete, zeroOrderHold, zeroOrderHold)->Apply(atAllOrders);
BENCHMARK_CAPTURE(continuousToDiscrete, bilinear, bilinearTransform)->Apply(atAllOrders);

void discreteToContinuous(benchmark::State& state, conversionType type) {
    LTIStateSpaceModel given = stableModel(static_cast<int>(state.range(0)), continuousSystem);
    QorMathControl::Continuous2Discrete(given.A, given.B, given.C, given.D, given.sampleTime, type);
    convertCopies(state, given, [&](LTIStateSpaceModel& m) {
        QorMathControl::Discrete2Continuous(m.A, m.B, m.C, m.D, m.sampleTime, type);
    });
}
BENCHMARK_CAPTURE(discreteToContinuous, zeroOrderHold, zeroOrderHold)->Apply(atAllOrders);
BENCHMARK_CAPTURE(discreteToContinuous, bilinear, bilinearTransform)->Apply(atAllOrders);

void resampleThreefold(benchmark::State& state) {
    convertCopies(state, stableModel(static_cast<int>(state.range(0)), discreteSystem), [](LTIStateSpaceModel& m) {
        QorMathControl::Resample(m.A, m.B, m.C, m.D, m.sampleTime, 3.0 * m.sampleTime, zeroOrderHold);
    });
}
BENCHMARK(resampleThreefold)->Apply(atAllOrders);

void steadyStateGain(benchmark::State& state) {
    LTIStateSpaceModel model = stableModel(static_cast<int>(state.range(0)), discreteSystem);
    besideSchur(state, [&] { benchmark::DoNotOptimize(model.gain().array.data); });
}
BENCHMARK(steadyStateGain)->Apply(atAllOrders);

/// Of two models of n / 2 states each.
void seriesConnection(benchmark::State& state) {
    LTIStateSpaceModel model = stableModel(static_cast<int>(state.range(0)) / 2, discreteSystem);
    besideSchur(state, [&] { benchmark::DoNotOptimize((model * model).A.array.data); });
}
BENCHMARK(seriesConnection)->Apply(atAllOrders);

}  // namespace

BENCHMARK_MAIN();
