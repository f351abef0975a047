// Between continuous and discrete time.

#include <complex>
#include <memory>

#include <qormath/control/qor_math_control.hpp>

#include "child_process.hpp"
#include "problems.hpp"
#include "raw.hpp"
#include "rows.hpp"
#ifdef QORMATH_PEER_SLICOT
#include "slicot.hpp"
#endif

namespace qormath::peers {

namespace {

using QorMathLA::product;

constexpr int channels = 10;
constexpr double sampleTime = 0.5;

/// A stable continuous system, mildly far from normal, with decay rates from 0.1 to 4 and frequencies up to 4, so that
/// the sampled one has its eigenvalues at angles up to 2.
struct ConversionProblem {
    explicit ConversionProblem(const Setting& setting) : n(setting.n) {
        test::NormalNumbers numbers(setting.seed);
        std::vector<std::complex<double>> eigenvalues;
        for (int k = 0; k < n; k += 2) {
            const double rate = numbers.uniform(0.1, 4.0);
            eigenvalues.emplace_back(-rate, k + 1 == n ? 0.0 : numbers.uniform(0.1, 4.0));
        }
        a = test::randomWithEigenvalues(eigenvalues, 0.3 / std::sqrt(n), numbers);
        b = test::randomMatrix(n, channels, numbers);
        c = test::randomMatrix(channels, n, numbers);
        d = test::randomMatrix(channels, channels, numbers);
    }

    void reset() {
        resultA = a;
        resultB = b;
        resultC = c;
        resultD = d;
    }

    int n;
    Matrix<double> a, b, c, d;
    Matrix<double> resultA, resultB, resultC, resultD;
};

using Problem = std::shared_ptr<ConversionProblem>;

/// [a b; 0 0].
Matrix<double> augmented(const Matrix<double>& a, const Matrix<double>& b) {
    const int n = a.rows();
    const int m = b.cols();
    Matrix<double> result = QorMathLA::zeroMatrix(n + m, n + m);
    for (int i = 0; i < n; ++i) {
        for (int j = 0; j < n + m; ++j) {
            result(i, j) = j < n ? a(i, j) : b(i, j - n);
        }
    }
    return result;
}

/// The relative difference between the sampled system, in its leading rows, and the exponential of the continuous one.
double holdError(const Matrix<double>& a, const Matrix<double>& b, const Matrix<double>& sampledA,
                 const Matrix<double>& sampledB) {
    Matrix<double> sampled = augmented(sampledA, sampledB);
    for (int k = a.rows(); k < sampled.rows(); ++k) {
        sampled(k, k) = 1.0;
    }
    return norm(referenceExponential(augmented(a, b) * sampleTime) - sampled) / norm(sampled);
}

Matrix<double> scalar(double value) {
    return {1, 1, &value};
}

Contest holdContest(const Setting& setting) {
    const auto p = std::make_shared<ConversionProblem>(setting);
    const auto solve = [=] {
        QorMathControl::Continuous2Discrete(p->resultA, p->resultB, p->resultC, p->resultD, sampleTime, zeroOrderHold);
    };
    const auto judge = [=](const Matrices& results) { return holdError(p->a, p->b, results[0], results[1]); };
    const Matrices inputs{p->a, p->b, p->c, p->d, scalar(sampleTime)};
    Contest contest;
    contest.ours = inProcess(
        "QorMath", solve, [=] { return holdError(p->a, p->b, p->resultA, p->resultB); }, [=] { p->reset(); });
    if (setting.scipy != nullptr) {
        contest.peers.push_back(inChild("SciPy", *setting.scipy, "zero_order_hold", inputs, judge));
    }
    if (setting.octave != nullptr) {
        contest.peers.push_back(inChild("Octave", *setting.octave, "zero_order_hold", inputs, judge));
    }
    return contest;
}

/// The way back: the exponential of the result has to be the sampled system.
Contest holdBackContest(const Setting& setting) {
    const auto p = std::make_shared<ConversionProblem>(setting);
    const Matrix<double> sampled = referenceExponential(augmented(p->a, p->b) * sampleTime);
    for (int i = 0; i < p->n; ++i) {
        for (int j = 0; j < p->n + channels; ++j) {
            (j < p->n ? p->a(i, j) : p->b(i, j - p->n)) = sampled(i, j);
        }
    }
    const auto solve = [=] {
        QorMathControl::Discrete2Continuous(p->resultA, p->resultB, p->resultC, p->resultD, sampleTime, zeroOrderHold);
    };
    Contest contest;
    contest.ours = inProcess(
        "QorMath", solve, [=] { return holdError(p->resultA, p->resultB, p->a, p->b); }, [=] { p->reset(); });
    if (setting.octave != nullptr) {
        contest.peers.push_back(
            inChild("Octave", *setting.octave, "zero_order_hold_back", {p->a, p->b, p->c, p->d, scalar(sampleTime)},
                    [=](const Matrices& results) { return holdError(results[0], results[1], p->a, p->b); }));
    }
    return contest;
}

// ---------------------------------------------------------------- Tustin's rule

constexpr double tustinBeta = 2.0 / sampleTime;

/// With m = beta - a: m ad = beta + a, m bd = f b, cd m = g c and m (dd - d terms) hold for some f and g of f g = 2
/// beta, which are taken from the result. The largest relative error of the four.
double tustinError(const ConversionProblem& p, const Matrix<double>& a, const Matrix<double>& b,
                   const Matrix<double>& c, const Matrix<double>& d) {
    const Matrix<double> m = identity(p.n) * tustinBeta - p.a;
    const Matrix<double> mb = product(m, b);
    const Matrix<double> cm = product(c, m);
    const double f = norm(mb) / norm(p.b);
    const double errorA = norm(product(m, a) - p.a - identity(p.n) * tustinBeta) / (norm(m) * norm(a));
    const double errorB = norm(mb - p.b * f) / (norm(m) * norm(b));
    const double errorC = norm(cm - p.c * (2.0 * tustinBeta / f)) / (norm(m) * norm(c));
    const Matrix<double> through = product(p.c, b) / f;
    const double errorD = norm(d - p.d - through) / (norm(d) + norm(p.c) * norm(b) / f);
    return std::fmax(std::fmax(errorA, errorB), std::fmax(errorC, errorD));
}

#ifdef QORMATH_PEER_SLICOT
Contender ab04md(const Problem& p) {
    struct State {
        Elements a, b, c, d, work;
        std::vector<int> iwork;
    };
    const auto s = std::make_shared<State>();
    const int n = p->n;
    const auto prepare = [=] {
        *s = {elementsOf(p->a), elementsOf(p->b),       elementsOf(p->c),
              elementsOf(p->d), Elements(cells(n, 64)), std::vector<int>(cells(n, 1))};
    };
    const auto solve = [=] {
        const double alpha = 1.0;
        const int workLength = static_cast<int>(s->work.size());
        int info = 0;
        ab04md_("C", &n, &channels, &channels, &alpha, &tustinBeta, s->a.data(), &n, s->b.data(), &n, s->c.data(),
                &channels, s->d.data(), &channels, s->iwork.data(), s->work.data(), &workLength, &info, 1);
        requireSuccess(info, "AB04MD");
    };
    const auto judge = [=] {
        return tustinError(*p, matrixOf(n, n, s->a), matrixOf(n, channels, s->b), matrixOf(channels, n, s->c),
                           matrixOf(channels, channels, s->d));
    };
    return inProcess("SLICOT AB04MD", solve, judge, prepare);
}
#endif

Contest tustinContest(const Setting& setting) {
    const auto p = std::make_shared<ConversionProblem>(setting);
    const auto solve = [=] {
        QorMathControl::Continuous2Discrete(p->resultA, p->resultB, p->resultC, p->resultD, sampleTime,
                                            bilinearTransform);
    };
    Contest contest;
    contest.ours = inProcess(
        "QorMath", solve, [=] { return tustinError(*p, p->resultA, p->resultB, p->resultC, p->resultD); },
        [=] { p->reset(); });
#ifdef QORMATH_PEER_SLICOT
    contest.peers.push_back(ab04md(p));
#endif
    return contest;
}

}  // namespace

void addConversionRows(std::vector<Row>& rows) {
    rows.push_back(
        {.name = "Continuous2Discrete, bilinear", .goals = {{400, 1.0}, {800, 0.8}}, .contest = tustinContest});
    rows.push_back(
        {.name = "Continuous2Discrete, zero-order hold", .goals = {{400, 0.8}, {800, 0.6}}, .contest = holdContest});
    rows.push_back({.name = "Discrete2Continuous, zero-order hold",
                    .goals = {{400, 0.4}, {800, 0.3}},
                    .contest = holdBackContest});
}

}  // namespace qormath::peers
