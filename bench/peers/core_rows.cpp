// Matrices as such: small ones in a loop, views, and what a product costs beyond the BLAS call within it.

#include <memory>

#include <qormath/lapack/blas.hpp>
#include <qormath/models/lti_state_space_model.hpp>

#include "problems.hpp"
#include "rows.hpp"
#ifdef QORMATH_PEER_EIGEN
#include "small_eigen_peer.hpp"
#endif

namespace qormath::peers {

namespace {

using QorMathLA::product;
using QorMathLA::Range;
using QorMathLA::VectorSoft;

constexpr int rounds = 20000;
constexpr int channels = 2;

struct SmallProblem {
    explicit SmallProblem(const Setting& setting) : n(setting.n) {
        test::NormalNumbers numbers(setting.seed);
        a = stableMatrix(n, true, numbers);
        b = test::randomMatrix(n, n, numbers);
        input = test::randomMatrix(n, channels, numbers);
        output = test::randomMatrix(channels, n, numbers);
        direct = test::randomMatrix(channels, channels, numbers);
        model = LTIStateSpaceModel(a, input, output, direct, discreteSystem, 1.0);
    }

    int n;
    Matrix<double> a, b, input, output, direct;
    LTIStateSpaceModel model;
    Matrix<double> ours, theirs;
};

using Problem = std::shared_ptr<SmallProblem>;

template <class T>
void keep(const T& value) {
    asm volatile("" ::"g"(&value) : "memory");
}

/// The last of so many results, none of which the compiler may leave out.
template <class Make>
Matrix<double> repeated(int count, Make make) {
    for (int k = 1; k < count; ++k) {
        const Matrix<double> result = make();
        keep(result);
    }
    return make();
}

/// What a row does so many times, and what its result is judged by.
struct SmallWork {
    std::function<Matrix<double>(SmallProblem&, int)> ours;
    std::function<Matrix<double>(SmallProblem&, int)> eigen;
    std::function<Matrix<double>(const SmallProblem&)> wanted;
};

Contest smallContest(const Setting& setting, const SmallWork& work) {
    const auto p = std::make_shared<SmallProblem>(setting);
    const auto judge = [p, work](const Matrix<double>& result) {
        const Matrix<double> wanted = work.wanted(*p);
        return Verdict(norm(result - wanted) / norm(wanted));
    };
    Contest contest;
    contest.ours = inProcess(
        "QorMath", [=] { p->ours = work.ours(*p, rounds); }, [=] { return judge(p->ours); });
#ifdef QORMATH_PEER_EIGEN
    contest.peers.push_back(inProcess(
        "Eigen", [=] { p->theirs = work.eigen(*p, rounds); }, [=] { return judge(p->theirs); }));
#endif
    return contest;
}

#ifdef QORMATH_PEER_EIGEN
const auto productsByEigen = [](SmallProblem& p, int count) { return eigenProducts(p.a, p.b, count); };
const auto sumsByEigen = [](SmallProblem& p, int count) { return eigenSums(p.a, p.b, count); };
const auto partsByEigen = [](SmallProblem& p, int count) { return eigenParts(p.a, count); };
const auto gainsByEigen = [](SmallProblem& p, int count) {
    return eigenGains(p.a, p.input, p.output, p.direct, count);
};
#else
constexpr std::nullptr_t productsByEigen = nullptr;
constexpr std::nullptr_t sumsByEigen = nullptr;
constexpr std::nullptr_t partsByEigen = nullptr;
constexpr std::nullptr_t gainsByEigen = nullptr;
#endif

Range leadingHalf(int n) {
    return {0, n / 2 - 1, 1};
}

/// Element by element.
Matrix<double> plainProduct(const SmallProblem& p) {
    Matrix<double> result(p.n, p.n);
    for (int j = 0; j < p.n; ++j) {
        for (int i = 0; i < p.n; ++i) {
            result(i, j) = p.a.row(i) * p.b.column(j);
        }
    }
    return result;
}

/// The steady state as the limit of the recursion.
Matrix<double> settledGain(const SmallProblem& p) {
    constexpr int steps = 4000;
    Matrix<double> x = p.input;
    for (int k = 0; k < steps; ++k) {
        x = product(p.a, x) + p.input;
    }
    return product(p.output, x) + p.direct;
}

void addSmallRow(std::vector<Row>& rows, const char* name, const SmallWork& work) {
    rows.push_back({.name = name,
                    .goals = {{2, 1.5}, {4, 1.5}, {8, 1.5}},
                    .scalable = false,
                    .residualBound = 1e-13,
                    .contest = [work](const Setting& setting) { return smallContest(setting, work); }});
}

struct ProductProblem {
    explicit ProductProblem(const Setting& setting) : n(setting.n) {
        test::NormalNumbers numbers(setting.seed);
        a = test::randomMatrix(n, n, numbers);
        b = test::randomMatrix(n, n, numbers);
        theirs = Matrix<double>(n, n);
    }

    int n;
    Matrix<double> a, b, ours, theirs;
};

Contest productContest(const Setting& setting) {
    const auto p = std::make_shared<ProductProblem>(setting);
    const int repeats = 400 / setting.n * (400 / setting.n) + 1;
    const auto judge = [p](const Matrix<double>& result) {
        const auto x = test::randomMatrix(p->n, 1, *std::make_unique<test::NormalNumbers>(7));
        const Matrix<double> wanted = product(p->a, product(p->b, x));
        return Verdict(norm(product(result, x) - wanted) / norm(wanted));
    };
    Contest contest;
    const auto solve = [=] {
        for (int k = 0; k < repeats; ++k) {
            p->ours = p->a * p->b;
        }
    };
    const auto bare = [=] {
        const int n = p->n;
        for (int k = 0; k < repeats; ++k) {
            lapack::gemm(lapack::Op::none, lapack::Op::none, n, n, n, 1.0, p->a.numericData(true), n,
                         p->b.numericData(true), n, 0.0, p->theirs.numericData(true), n);
        }
    };
    contest.ours = inProcess("QorMath", solve, [=] { return judge(p->ours); });
    contest.peers.push_back(inProcess("DGEMM", bare, [=] { return judge(p->theirs); }));
    return contest;
}

Contest viewContest(const Setting& setting) {
    const auto p = std::make_shared<ProductProblem>(setting);
    const auto shared = std::make_shared<double>(1.0);
    Contest contest;
    const auto views = [=] {
        for (int k = 0, i = 0; k < 10 * rounds; ++k) {
            const VectorSoft<double> row = p->a.row(i);
            keep(row);
            i = i + 1 < p->n ? i + 1 : 0;  // the remainder of a division would be a quarter of the time
        }
    };
    const auto pointers = [=] {
        for (int k = 0; k < 10 * rounds; ++k) {
            const std::shared_ptr<double> copy(shared);
            keep(copy);
        }
    };
    contest.ours = inProcess("QorMath", views, [] { return Verdict(0.0); });
    contest.peers.push_back(inProcess("shared_ptr", pointers, [] { return Verdict(0.0); }));
    return contest;
}

}  // namespace

void addCoreRows(std::vector<Row>& rows) {
    const auto products = [](SmallProblem& p, int count) {
        return repeated(count, [&]() -> Matrix<double> { return p.a * p.b; });
    };
    addSmallRow(rows, "Products of n by n in a loop", {products, productsByEigen, plainProduct});
    const auto sums = [](SmallProblem& p, int count) {
        return repeated(count, [&]() -> Matrix<double> { return p.a + p.b; });
    };
    addSmallRow(rows, "Sums of n by n in a loop", {sums, sumsByEigen, [](const SmallProblem& p) {
                                                       return Matrix<double>(Matrix<double>(p.b + p.a), true);
                                                   }});
    const auto part = [](const SmallProblem& p) {
        return Matrix<double>::copyOf(p.a(leadingHalf(p.n), leadingHalf(p.n)));
    };
    const auto parts = [part](SmallProblem& p, int count) { return repeated(count, [&] { return part(p); }); };
    addSmallRow(rows, "Copies of views of n by n in a loop", {parts, partsByEigen, part});
    const auto gains = [](SmallProblem& p, int count) {
        return repeated(count, [&]() -> Matrix<double> { return p.model.gain(); });
    };
    addSmallRow(rows, "Gains of n states in a loop", {gains, gainsByEigen, settledGain});
    rows.push_back({.name = "Matrix * Matrix beside DGEMM",
                    .goals = {{100, 1.05}, {200, 1.05}, {400, 1.05}},
                    .scalable = false,
                    .contest = productContest});
    rows.push_back({.name = "Row view taken and dropped beside a shared pointer",
                    .goals = {{100, 2.0}},
                    .scalable = false,
                    .contest = viewContest});
}

}  // namespace qormath::peers
