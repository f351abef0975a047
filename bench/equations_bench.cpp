// The matrix equations as callers have them.

#include <benchmark/benchmark.h>

#include <qormath/control/qor_math_control.hpp>

#include "beside_schur.hpp"

namespace {

using namespace qormath::bench;

void sylvesterEquation(benchmark::State& state) {
    const int n = static_cast<int>(state.range(0));
    const Matrix<double> a = stableMatrix(n, false);
    const Matrix<double> b = a.transpose();
    const Matrix<double> c = normalElements(n, n, 2);
    Matrix<double> x;
    besideSchur(state, [&] { QorMathControl::SylvesterEquation(x, a, b, c); });
}
BENCHMARK(sylvesterEquation)->Apply(atAllOrders);

void continuousLyapunov(benchmark::State& state) {
    const int n = static_cast<int>(state.range(0));
    const Matrix<double> a = stableMatrix(n, false);
    const Matrix<double> q = normalElements(n, n, 2);
    Matrix<double> x;
    besideSchur(state, [&] { QorMathControl::ContinuousLyapunov(x, a, q); });
}
BENCHMARK(continuousLyapunov)->Apply(atAllOrders);

void discreteLyapunov(benchmark::State& state) {
    const int n = static_cast<int>(state.range(0));
    const Matrix<double> a = stableMatrix(n, true);
    const Matrix<double> q = normalElements(n, n, 2);
    Matrix<double> x;
    besideSchur(state, [&] { QorMathControl::DiscreteLyapunov(x, a, q); });
}
BENCHMARK(discreteLyapunov)->Apply(atAllOrders);

void riccati(benchmark::State& state, bool discrete, riccatiMethod method) {
    const int n = static_cast<int>(state.range(0));
    const int m = n / 10;
    const Matrix<double> a = discrete ? diskMatrix(n, 1.05) : stableMatrix(n, false);
    const Matrix<double> b = normalElements(n, m, 2);
    const Matrix<double> q = a.identity(n);
    const Matrix<double> r = a.identity(m);
    Matrix<double> x(n, n);
    besideSchur(state, [&] {
        if (discrete) {
            QorMathControl::DiscreteRiccati(x, a, b, q, r, false, method);
        } else {
            QorMathControl::ContinuousRiccati(x, a, b, q, r, false, method);
        }
    });
}
BENCHMARK_CAPTURE(riccati, continuousSchur, false, riccatiSchur)->Apply(atAllOrders);
BENCHMARK_CAPTURE(riccati, continuousSchurNewton, false, riccatiSchurNewton)->Apply(atAllOrders);
BENCHMARK_CAPTURE(riccati, discreteSchur, true, riccatiSchur)->Apply(atAllOrders);
BENCHMARK_CAPTURE(riccati, discreteSchurNewton, true, riccatiSchurNewton)->Apply(atAllOrders);

}  // namespace

BENCHMARK_MAIN();
