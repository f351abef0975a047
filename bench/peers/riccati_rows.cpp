// Algebraic Riccati equations.

#include <memory>

#include <qormath/control/qor_math_control.hpp>

#include "child_process.hpp"
#include "extended_matrix.hpp"
#include "problems.hpp"
#include "raw.hpp"
#include "rows.hpp"
#ifdef QORMATH_PEER_SLICOT
#include "slicot.hpp"
#endif

namespace qormath::peers {

namespace {

using QorMathLA::product;

/// What a residual has to stay below, relative to the terms of the equation.
constexpr double residualBound = 1e-14;

/// The eigenvalues of a fill a disk that crosses the stability limit, of radius 1.05 around 0 if discrete, else of
/// radius 1 around -0.7. There is an input for every tenth state; q and r are the identity.
struct RiccatiProblem {
    RiccatiProblem(const Setting& setting, bool isDiscrete)
        : n(setting.n), m(std::max(1, setting.n / 10)), discrete(isDiscrete) {
        test::NormalNumbers numbers(setting.seed);
        a = diskMatrix(n, discrete ? 1.05 : 1.0, numbers);
        for (int k = 0; k < n && !discrete; ++k) {
            a(k, k) -= 0.7;
        }
        b = test::randomMatrix(n, m, numbers);
        q = identity(n);
        r = identity(m);
    }

    int n;
    int m;
    bool discrete;
    Matrix<double> a, b, q, r, x;
};

/// Every so many columns, from the first one on.
ExtendedMatrix columnsOf(const Matrix<double>& matrix, int step) {
    ExtendedMatrix result(matrix.rows(), (matrix.cols() + step - 1) / step);
    for (int j = 0; j < result.cols; ++j) {
        for (int i = 0; i < result.rows; ++i) {
            result(i, j) = matrix(i, j * step);
        }
    }
    return result;
}

/// weight^-1 right, refined once.
ExtendedMatrix solve(const ExtendedMatrix& weight, const ExtendedMatrix& right) {
    const Matrix<double> divisor = weight.rounded();
    ExtendedMatrix result(Matrix<double>(divisor.leftDivide(right.rounded())));
    ExtendedMatrix missing = right;
    addProduct(missing, -1.0L, weight, result);
    const Matrix<double> correction = divisor.leftDivide(missing.rounded());
    for (int j = 0; j < result.cols; ++j) {
        for (int i = 0; i < result.rows; ++i) {
            result(i, j) += correction(i, j);
        }
    }
    return result;
}

/// The norm of the residual, from about so many of its columns in extended precision: in double its own rounding, where
/// x is large and cancels against b, is several times what x leaves.
double residualNorm(const RiccatiProblem& p, const Matrix<double>& x) {
    constexpr int wantedColumns = 32;
    const int step = std::max(1, p.n / wantedColumns);
    const ExtendedMatrix wholeX(x), b(p.b), transposedA = transposeOf(ExtendedMatrix(p.a));
    const ExtendedMatrix xa = productOf(wholeX, columnsOf(p.a, step));
    const ExtendedMatrix xb = productOf(wholeX, b);
    const ExtendedMatrix g = p.discrete ? productOf(transposedA, xb) : xb;
    ExtendedMatrix weight(p.r);
    if (p.discrete) {
        addProduct(weight, 1.0L, transposeOf(b), xb);
    }
    const ExtendedMatrix chosenX = columnsOf(x, step);
    ExtendedMatrix residual = columnsOf(p.q, step);
    ExtendedMatrix right(p.m, residual.cols);
    for (int j = 0; j < residual.cols; ++j) {
        for (int i = 0; i < p.m; ++i) {
            right(i, j) = g(j * step, i);
        }
        for (int i = 0; i < p.n; ++i) {
            residual(i, j) += p.discrete ? -chosenX(i, j) : xa(i, j);
        }
    }
    addProduct(residual, 1.0L, transposedA, p.discrete ? xa : chosenX);
    addProduct(residual, -1.0L, g, solve(weight, right));
    return norm(residual.rounded()) * std::sqrt(static_cast<double>(p.n) / residual.cols);
}

/// The residual over the sum of the norms of the terms, with a remark where the closed loop is not stable.
Verdict judgeRiccati(const RiccatiProblem& p, const Matrix<double>& x) {
    const Matrix<double> ax = product(p.a.transpose(), x);
    const Matrix<double> g = product(p.discrete ? ax : x, p.b);
    const Matrix<double> weight =
        p.discrete ? p.r + product(product(p.b.transpose(), x), p.b) : QorMathLA::MatrixSoft<double>(p.r);
    const Matrix<double> gain = weight.leftDivide(Matrix<double>(g.transpose()));
    const double terms =
        norm(p.q) + norm(product(g, gain)) + (p.discrete ? norm(product(ax, p.a)) + norm(x) : 2.0 * norm(ax));
    const double residual = residualNorm(p, x) / terms;
    Matrix<double> loop = p.a - product(p.b, gain);
    Vector<double> re, im;
    loop.eigenvalues(re, im, 0);
    for (int k = 0; k < p.n; ++k) {
        if (p.discrete ? std::hypot(re[k], im[k]) >= 1.0 : re[k] >= 0.0) {
            return {residual, "the closed loop is not stable"};
        }
    }
    return residual;
}

#ifdef QORMATH_PEER_SLICOT
/// b r^-1 b' by SB02MT, then the ordered Schur form of the matrix of order 2 n by SB02MD, in the fastest of the modes
/// that lead to the stabilising solution. Scaling does not change the figures here.
Contender sb02md(const std::shared_ptr<RiccatiProblem>& p) {
    struct State {
        Elements a, b, q, r, g, wr, wi, s, u, work;
        std::vector<int> iwork, bwork;
    };
    const auto s = std::make_shared<State>();
    const int n = p->n;
    const int m = p->m;
    const auto prepare = [=] {
        const Elements line(2 * cells(n, 1));
        const Elements large(4 * cells(n, n));
        *s = {elementsOf(p->a),
              elementsOf(p->b),
              elementsOf(p->q),
              elementsOf(p->r),
              Elements(cells(n, n)),
              line,
              line,
              large,
              large,
              Elements(cells(2 * n, 64) + cells(n, m)),
              std::vector<int>(2 * cells(n, 1) + cells(m, 1)),
              std::vector<int>(2 * cells(n, 1))};
    };
    const auto solve = [=] {
        const int twice = 2 * n;
        const int workLength = static_cast<int>(s->work.size());
        int isFactored = 0;
        int info = 0;
        double unused = 0.0;
        sb02mt_("G", "Z", "N", "U", &n, &m, &unused, &n, s->b.data(), &n, &unused, &n, s->r.data(), &m, &unused, &n,
                s->iwork.data(), &isFactored, s->g.data(), &n, s->iwork.data() + m, s->work.data(), &workLength, &info,
                1, 1, 1, 1);
        requireSuccess(info, "SB02MT");
        double rcond = 0.0;
        sb02md_(p->discrete ? "D" : "C", "D", "U", "N", p->discrete ? "U" : "S", &n, s->a.data(), &n, s->g.data(), &n,
                s->q.data(), &n, &rcond, s->wr.data(), s->wi.data(), s->s.data(), &twice, s->u.data(), &twice,
                s->iwork.data(), s->work.data(), &workLength, s->bwork.data(), &info, 1, 1, 1, 1, 1);
        requireSuccess(info, "SB02MD");
    };
    return inProcess(
        "SLICOT SB02MD", solve, [=] { return judgeRiccati(*p, matrixOf(n, n, s->q)); }, prepare);
}
#endif

void solveOurs(RiccatiProblem& p, const riccatiMethod& method) {
    if (p.discrete) {
        QorMathControl::DiscreteRiccati(p.x, p.a, p.b, p.q, p.r, false, method);
    } else {
        QorMathControl::ContinuousRiccati(p.x, p.a, p.b, p.q, p.r, false, method);
    }
}

Contest riccatiContest(const Setting& setting, bool discrete) {
    const auto p = std::make_shared<RiccatiProblem>(setting, discrete);
    Contest contest;
    contest.ours = inProcess(
        "QorMath", [=] { solveOurs(*p, riccatiSchur); }, [=] { return judgeRiccati(*p, p->x); },
        [=] { p->x = Matrix<double>(p->n, p->n); });
#ifdef QORMATH_PEER_SLICOT
    contest.peers.push_back(sb02md(p));
#endif
    if (setting.scipy != nullptr) {
        contest.peers.push_back(inChild(
            "SciPy", *setting.scipy, discrete ? "discrete_riccati" : "continuous_riccati", {p->a, p->b, p->q, p->r},
            [=](const Matrices& results) { return judgeRiccati(*p, results[0]); }, PeerKind::further));
    }
    return contest;
}

}  // namespace

void addRiccatiRows(std::vector<Row>& rows) {
    const auto add = [&](const char* name, bool discrete, std::vector<Goal> goals) {
        rows.push_back({.name = name,
                        .goals = std::move(goals),
                        .residualBound = residualBound,
                        .contest = [=](const Setting& setting) { return riccatiContest(setting, discrete); }});
    };
    add("ContinuousRiccati, riccatiSchur", false, {{400, 1.0}, {800, 0.8}});
    add("DiscreteRiccati, riccatiSchur", true, {{400, 0.9}, {800, 0.6}});
}

}  // namespace qormath::peers
