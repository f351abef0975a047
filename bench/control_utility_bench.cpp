// The cubic kernels of control_utility/ beside the unordered real Schur form with vectors of the same order, which is
// what a caller has paid before any of them. The counter ratio is the time of the kernel as a multiple of it.
//
// Times are of the processor, so that a busy machine does not sway the ratios: OPENBLAS_NUM_THREADS=1
// control_utility_bench.

#include <benchmark/benchmark.h>
#include <cmath>
#include <cstddef>
#include <ctime>
#include <map>
#include <random>
#include <vector>

#include <qormath/control_utility/gramian_factor.hpp>
#include <qormath/control_utility/lyapunovfort.hpp>
#include <qormath/control_utility/triangular_lyapunov.hpp>
#include <qormath/control_utility/triangular_stein.hpp>
#include <qormath/control_utility/triangular_sylvester.hpp>
#include <qormath/control_utility/whole_sylvester.hpp>
#include <qormath/lapack/lapack.hpp>

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

struct Schur {
    Elements form;   // of a random matrix whose spectral radius is about 1
    double seconds;  // that it took
};

double processorSeconds() {
    return static_cast<double>(std::clock()) / CLOCKS_PER_SEC;
}

// Computed once an order, in the run in which it is compared.
const Schur& schurOfOrder(int n) {
    static std::map<int, Schur> known;
    const auto found = known.find(n);
    if (found != known.end()) {
        return found->second;
    }
    Schur schur{randomMatrix(n, n, 1), 0.0};
    lapack::scal(n * n, 1.0 / std::sqrt(n), schur.form.data(), 1);
    Elements wr(static_cast<std::size_t>(n)), wi(static_cast<std::size_t>(n)), vectors(elements(n, n)), query(1);
    lapack::gees(n, schur.form.data(), n, wr.data(), wi.data(), vectors.data(), n, query.data(), -1);
    Elements work(static_cast<std::size_t>(query[0]));
    const double start = processorSeconds();
    lapack::gees(n, schur.form.data(), n, wr.data(), wi.data(), vectors.data(), n, work.data(),
                 static_cast<int>(work.size()));
    schur.seconds = processorSeconds() - start;
    return known.emplace(n, std::move(schur)).first->second;
}

// The Schur form made stable: moved to the left of -0.1, or shrunk into the disc of radius about 0.9.
Elements stableForm(int n, bool discrete) {
    Elements form = schurOfOrder(n).form;
    if (discrete) {
        lapack::scal(n * n, 0.9, form.data(), 1);
    } else {
        for (int k = 0; k < n; ++k) {
            form[elements(n + 1, k)] -= 1.2;
        }
    }
    return form;
}

template <typename Kernel>
void reportBesideSchur(benchmark::State& state, int n, Kernel kernel) {
    const double schurSeconds = schurOfOrder(n).seconds;
    double seconds = 0.0;
    for (auto iteration : state) {
        const double start = processorSeconds();
        kernel();
        const double elapsed = processorSeconds() - start;
        state.SetIterationTime(elapsed);
        seconds += elapsed;
    }
    state.counters["schur_s"] = schurSeconds;
    state.counters["ratio"] = seconds / static_cast<double>(state.iterations()) / schurSeconds;
}

void triangularSylvester(benchmark::State& state, lapack::Op opA, lapack::Op opB) {
    const int n = static_cast<int>(state.range(0));
    const Elements a = stableForm(n, false);
    const Elements c = randomMatrix(n, n, 2);
    Elements x(c.size());
    reportBesideSchur(state, n, [&] {
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
    reportBesideSchur(state, n, [&] {
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
    reportBesideSchur(state, n, [&] {
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
    reportBesideSchur(state, n, [&] {
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
    reportBesideSchur(state, n, [&] {
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
    reportBesideSchur(state, n, [&] {
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
    reportBesideSchur(state, n, [&] {
        double scale = 1.0;
        control_utility::controllabilityFactor(discrete, n, inputs, a.data(), n, b.data(), n, s.data(), n, scale);
        benchmark::DoNotOptimize(s.data());
    });
}

BENCHMARK_CAPTURE(triangularSylvester, NN, lapack::Op::none, lapack::Op::none)
    ->Arg(500)
    ->Arg(1000)
    ->Arg(2000)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(triangularSylvester, NT, lapack::Op::none, lapack::Op::transpose)
    ->Arg(1000)
    ->Arg(2000)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(triangularSylvester, TN, lapack::Op::transpose, lapack::Op::none)
    ->Arg(1000)
    ->Arg(2000)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK(columnwiseSylvester)->Arg(500)->Arg(1000)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(triangularStein)->Arg(500)->Arg(1000)->Arg(2000)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(wholeSylvester)->Arg(500)->Arg(1000)->Arg(2000)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(triangularLyapunov, continuous, false)
    ->Arg(500)
    ->Arg(1000)
    ->Arg(2000)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(triangularLyapunov, discrete, true)
    ->Arg(500)
    ->Arg(1000)
    ->Arg(2000)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(lyapunov, continuous, 0)
    ->ArgsProduct({{200, 1000}, {0, 1}})
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(lyapunov, discrete, 1)
    ->ArgsProduct({{200, 1000}, {0, 1}})
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(gramianFactor, continuous, false)
    ->Args({500, 10})
    ->Args({1000, 10})
    ->Args({1000, 1000})
    ->Args({2000, 10})
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(gramianFactor, discrete, true)
    ->Args({500, 10})
    ->Args({1000, 10})
    ->Args({1000, 1000})
    ->Args({2000, 10})
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
