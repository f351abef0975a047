// Schur forms in their orders, spectral separation, and the functions of matrices.

#include <benchmark/benchmark.h>

#include <qormath/control/qor_math_control.hpp>

#include "beside_schur.hpp"

namespace {

using namespace qormath::bench;

/// Half of the eigenvalues lie on either side of the unit circle and of the imaginary axis.
void realSchurForm(benchmark::State& state, schurOrder order) {
    const Matrix<double> a = diskMatrix(static_cast<int>(state.range(0)), std::sqrt(2.0));
    Matrix<double> t, q;
    Vector<double> wr, wi;
    besideSchur(state, [&] { QorMathControl::SchurDecomposition(a, t, q, wr, wi, order); });
}
BENCHMARK_CAPTURE(realSchurForm, unordered, schurUnordered)->Apply(atAllOrders);
BENCHMARK_CAPTURE(realSchurForm, insideLeading, schurULDiscrete)->Apply(atAllOrders);
BENCHMARK_CAPTURE(realSchurForm, leftLeading, schurULContinuous)->Apply(atAllOrders);
BENCHMARK_CAPTURE(realSchurForm, descendingModulus, schurDescendingModulus)->Apply(atAllOrders);

void complexSchurForm(benchmark::State& state) {
    const Matrix<double> a = diskMatrix(static_cast<int>(state.range(0)), 1.0);
    QorMathLA::ComplexMatrix<double> t, z;
    QorMathLA::ComplexVector<double> w;
    besideSchur(state, [&] { QorMathControl::ComplexSchurDecomposition(a, t, z, w); });
}
BENCHMARK(complexSchurForm)->Apply(atAllOrders);

void spectralSeparation(benchmark::State& state) {
    const int n = static_cast<int>(state.range(0));
    const Matrix<double> given = diskMatrix(n, std::sqrt(2.0));
    const Matrix<double> inputs = normalElements(n, 10, 2);
    const Matrix<double> outputs = normalElements(10, n, 3);
    Matrix<double> a, b, c, d;
    const auto prepare = [&] {
        a = given;
        b = inputs;
        c = outputs;
    };
    besideSchur(state, prepare, [&] { QorMathControl::BlockSpectralDecompostion(a, b, c, d, discreteSystem); });
}
BENCHMARK(spectralSeparation)->Apply(atAllOrders);

void realExponential(benchmark::State& state) {
    const Matrix<double> a = stableMatrix(static_cast<int>(state.range(0)), false);
    besideSchur(state, [&] { benchmark::DoNotOptimize(QorMathControl::ExpM(a, 1.0).array.data); });
}
BENCHMARK(realExponential)->Apply(atAllOrders);

/// Eigenvalues right of the imaginary axis, where the logarithm is real.
void logarithm(benchmark::State& state) {
    const int n = static_cast<int>(state.range(0));
    Matrix<double> a = diskMatrix(n, 0.5);
    for (int k = 0; k < n; ++k) {
        a(k, k) += 1.0;
    }
    besideSchur(state, [&] { benchmark::DoNotOptimize(QorMathControl::LogM(a).array.data); });
}
BENCHMARK(logarithm)->Apply(atAllOrders);

}  // namespace

BENCHMARK_MAIN();
