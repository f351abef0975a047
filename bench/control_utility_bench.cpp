// The cubic kernels of control_utility/ beside the unordered real Schur form with vectors of the same order, which is
// what a caller has paid before any of them. The counter ratio is the time of the kernel as a multiple of it.

#include <benchmark/benchmark.h>
#include <cmath>
#include <cstddef>
#include <map>
#include <random>
#include <vector>

#include <qormath/control_utility/gramian_factor.hpp>
#include <qormath/control_utility/in_place_product.hpp>
#include <qormath/control_utility/lyapunovfort.hpp>
#include <qormath/control_utility/triangular_lyapunov.hpp>
#include <qormath/control_utility/triangular_stein.hpp>
#include <qormath/control_utility/triangular_sylvester.hpp>
#include <qormath/control_utility/whole_sylvester.hpp>
#include <qormath/lapack/lapack.hpp>

#include "beside_schur.hpp"

namespace {

using namespace qormath;
using Elements = std::vector<double>;

std::size_t elements(int rows, int columns) {
    return static_cast<std::size_t>(rows) * static_cast<std::size_t>(columns);
}

Elements randomMatrix(int rows, int columns, unsigned seed) {
    std::mt19937_64 generator(seed);
    std::normal_distribution<double> normal;
    Elements result(elements(rows, columns));
    for (double& element : result) {
        element = normal(generator);
    }
    return result;
}

// Of a random matrix whose spectral radius is about 1, computed once an order.
const Elements& schurFormOf(int n) {
    static std::map<int, Elements> known;
    const auto found = known.find(n);
    if (found != known.end()) {
        return found->second;
    }
    Elements form = randomMatrix(n, n, 1);
    lapack::scal(n * n, 1.0 / std::sqrt(n), form.data(), 1);
    Elements wr(static_cast<std::size_t>(n)), wi(static_cast<std::size_t>(n)), vectors(elements(n, n)), query(1);
    lapack::gees(n, form.data(), n, wr.data(), wi.data(), vectors.data(), n, query.data(), -1);
    Elements work(static_cast<std::size_t>(query[0]));
    lapack::gees(n, form.data(), n, wr.data(), wi.data(), vectors.data(), n, work.data(),
                 static_cast<int>(work.size()));
    return known.emplace(n, std::move(form)).first->second;
}

// The Schur form made stable: moved to the left of -0.1, or shrunk into the disc of radius about 0.9.
Elements stableForm(int n, bool discrete) {
    Elements form = schurFormOf(n);
    if (discrete) {
        lapack::scal(n * n, 0.9, form.data(), 1);
    } else {
        for (int k = 0; k < n; ++k) {
            form[elements(n + 1, k)] -= 1.2;
        }
    }
    return form;
}

void triangularSylvester(benchmark::State& state, lapack::Op opA, lapack::Op opB) {
    const int n = static_cast<int>(state.range(0));
    const Elements a = stableForm(n, false);
    const Elements c = randomMatrix(n, n, 2);
    Elements x(c.size());
    bench::besideSchur(state, [&] {
        x = c;
        double scale = 1.0;
        control_utility::solveTriangularSylvester(opA, opB, 1, n, n, a.data(), n, a.data(), n, x.data(), n, scale);
        benchmark::DoNotOptimize(x.data());
    });
}

void columnwiseSylvester(benchmark::State& state) {
    const int n = static_cast<int>(state.range(0));
    const Elements a = stableForm(n, false);
    const Elements c = randomMatrix(n, n, 2);
    Elements x(c.size());
    bench::besideSchur(state, [&] {
        x = c;
        double scale = 1.0;
        lapack::trsyl(lapack::Op::none, lapack::Op::transpose, 1, n, n, a.data(), n, a.data(), n, x.data(), n, scale);
        benchmark::DoNotOptimize(x.data());
    });
}

void triangularStein(benchmark::State& state) {
    const int n = static_cast<int>(state.range(0));
    const Elements a = stableForm(n, true);
    const Elements c = randomMatrix(n, n, 2);
    Elements x(c.size());
    bench::besideSchur(state, [&] {
        x = c;
        double scale = 1.0;
        control_utility::solveTriangularStein(n, n, a.data(), n, a.data(), n, x.data(), n, scale);
        benchmark::DoNotOptimize(x.data());
    });
}

void wholeSylvester(benchmark::State& state) {
    const int n = static_cast<int>(state.range(0));
    const Elements a = stableForm(n, false);
    const Elements c = randomMatrix(n, n, 2);
    Elements x(c.size());
    bench::besideSchur(state, [&] {
        x = c;
        double scale = 1.0;
        control_utility::solveWholeSylvester(n, n, a.data(), n, a.data(), n, x.data(), n, scale);
        benchmark::DoNotOptimize(x.data());
    });
}

void triangularLyapunov(benchmark::State& state, bool discrete) {
    const int n = static_cast<int>(state.range(0));
    const Elements a = stableForm(n, discrete);
    const Elements c = randomMatrix(n, n, 2);
    Elements x(c.size());
    bench::besideSchur(state, [&] {
        x = c;
        double scale = 1.0;
        control_utility::solveTriangularLyapunov(discrete, n, a.data(), n, x.data(), n, scale);
        benchmark::DoNotOptimize(x.data());
    });
}

// The whole of it, so that a ratio of 1 is the Schur form that it begins with. The second argument tells whether the
// right-hand side is symmetric.
void lyapunov(benchmark::State& state, int discrete) {
    const int n = static_cast<int>(state.range(0));
    Elements a = randomMatrix(n, n, 1);
    lapack::scal(n * n, (discrete == 1 ? 0.9 : 1.0) / std::sqrt(n), a.data(), 1);
    Elements c = randomMatrix(n, n, 2);
    for (int k = 0; k < n; ++k) {
        a[elements(n + 1, k)] -= discrete == 1 ? 0.0 : 1.2;
        for (int row = 0; state.range(1) == 1 && row < k; ++row) {
            c[elements(n, row) + static_cast<std::size_t>(k)] = c[elements(n, k) + static_cast<std::size_t>(row)];
        }
    }
    const int workLength = (n + 3) * n;
    Elements form(a.size()), u(a.size()), x(a.size()), work(elements(n + 3, n));
    Elements wr(static_cast<std::size_t>(n)), wi(static_cast<std::size_t>(n));
    bench::besideSchur(state, [&] {
        form = a;
        x = c;
        int info = 0;
        control_utility::LYAPUNOVFORT(&discrete, &n, form.data(), u.data(), x.data(), wr.data(), wi.data(), work.data(),
                                      &workLength, &info);
        benchmark::DoNotOptimize(x.data());
    });
}

// The second argument is the number of inputs.
void gramianFactor(benchmark::State& state, bool discrete) {
    const int n = static_cast<int>(state.range(0));
    const int inputs = static_cast<int>(state.range(1));
    const Elements a = stableForm(n, discrete);
    const Elements b = randomMatrix(n, inputs, 2);
    Elements s(elements(n, n));
    bench::besideSchur(state, [&] {
        double scale = 1.0;
        control_utility::controllabilityFactor(discrete, n, inputs, a.data(), n, b.data(), n, s.data(), n, scale);
        benchmark::DoNotOptimize(s.data());
    });
}

// The product of 800 rows, or columns, by a square factor of the order of the first argument; the second tells the
// lanes. The counter is in flops a second: that of a large product by DGEMM is the measure.
void inPlaceProduct(benchmark::State& state, bool fromRight) {
    constexpr int count = 800;
    const int order = static_cast<int>(state.range(0));
    const auto lanes = static_cast<control_utility::Lanes>(state.range(1));
    if (lanes > control_utility::lanesOfProcessor()) {
        state.SkipWithError("this processor does not have the lanes");
        return;
    }
    // An orthogonal factor, with which the elements stay as large as they are.
    Elements v(elements(order, order));
    for (int k = 0; k < order; ++k) {
        v[elements(order, k) + static_cast<std::size_t>(order - 1 - k)] = 1.0;
    }
    Elements x = randomMatrix(count, count, 3), work;
    for (auto _ : state) {
        if (fromRight) {
            control_utility::multiplyInPlaceFromRight(count, order, x.data(), count, v.data(), order, work, lanes);
        } else {
            control_utility::multiplyInPlaceFromLeft(order, count, x.data(), count, v.data(), order, work, lanes);
        }
        benchmark::DoNotOptimize(x.data());
    }
    const double flops = 2.0 * count * static_cast<double>(order) * order * static_cast<double>(state.iterations());
    state.counters["flops"] = benchmark::Counter(flops, benchmark::Counter::kIsRate);
}

void atWindowOrders(benchmark::internal::Benchmark* benchmark) {
    for (const int order : {32, 48, 64, 80}) {
        for (const int lanes : {0, 1, 2}) {
            benchmark->Args({order, lanes});
        }
    }
    benchmark->Unit(benchmark::kMicrosecond);
}

// The second argument, where there is one, over all orders.
template <int... second>
void atKernelOrdersWith(benchmark::internal::Benchmark* benchmark) {
    for (const int n : {10, 50, 100, 200, 400, 800, 1000, 2000}) {
        (benchmark->Args({n, second}), ...);
    }
    benchmark->UseManualTime()->Unit(benchmark::kMillisecond);
}

BENCHMARK_CAPTURE(inPlaceProduct, fromRight, true)->Apply(atWindowOrders);
BENCHMARK_CAPTURE(inPlaceProduct, fromLeft, false)->Apply(atWindowOrders);
BENCHMARK_CAPTURE(triangularSylvester, NN, lapack::Op::none, lapack::Op::none)->Apply(bench::atKernelOrders);
BENCHMARK_CAPTURE(triangularSylvester, NT, lapack::Op::none, lapack::Op::transpose)->Apply(bench::atKernelOrders);
BENCHMARK_CAPTURE(triangularSylvester, TN, lapack::Op::transpose, lapack::Op::none)->Apply(bench::atKernelOrders);
// At 2000 it takes five Schur forms.
BENCHMARK(columnwiseSylvester)->Apply(bench::atAllOrders);
BENCHMARK(triangularStein)->Apply(bench::atKernelOrders);
BENCHMARK(wholeSylvester)->Apply(bench::atKernelOrders);
BENCHMARK_CAPTURE(triangularLyapunov, continuous, false)->Apply(bench::atKernelOrders);
BENCHMARK_CAPTURE(triangularLyapunov, discrete, true)->Apply(bench::atKernelOrders);
BENCHMARK_CAPTURE(lyapunov, continuous, 0)->Apply(atKernelOrdersWith<0, 1>);
BENCHMARK_CAPTURE(lyapunov, discrete, 1)->Apply(atKernelOrdersWith<0, 1>);
BENCHMARK_CAPTURE(gramianFactor, continuous, false)->Apply(atKernelOrdersWith<10>);
BENCHMARK_CAPTURE(gramianFactor, discrete, true)->Apply(atKernelOrdersWith<10>);
BENCHMARK_CAPTURE(gramianFactor, continuousSquare, false)
    ->Args({1000, 1000})
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(gramianFactor, discreteSquare, true)
    ->Args({1000, 1000})
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
