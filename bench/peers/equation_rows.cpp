// Sylvester, Lyapunov and Stein equations.

#include <memory>
#include <support/control_test_access.hpp>

#include <qormath/control/qor_math_control.hpp>
#include <qormath/lapack/lapack.hpp>

#include "child_process.hpp"
#include "problems.hpp"
#include "raw.hpp"
#include "rows.hpp"
#ifdef QORMATH_PEER_SLICOT
#include "slicot.hpp"
#endif
#ifdef QORMATH_PEER_ARMADILLO
#include "armadillo_peer.hpp"
#endif

namespace qormath::peers {

namespace {

using lapack::Op;
using QorMathLA::product;

// ---------------------------------------------------------------- a x + x b + c = 0

/// a and b have their eigenvalues in disks of radius 0.8 around -1, so that those of a and -b stay apart.
struct SylvesterProblem {
    explicit SylvesterProblem(const Setting& setting) : n(setting.n) {
        test::NormalNumbers numbers(setting.seed);
        a = stableMatrix(n, false, numbers);
        b = stableMatrix(n, false, numbers);
        c = test::randomMatrix(n, n, numbers);
    }

    int n;
    Matrix<double> a, b, c, x;
};

double sylvesterResidual(const SylvesterProblem& p, const Matrix<double>& x) {
    const double terms = (norm(p.a) + norm(p.b)) * norm(x) + norm(p.c);
    return norm(product(p.a, x) + product(x, p.b) + p.c) / terms;
}

/// The way of Bartels and Stewart by LAPACK alone.
Contender geesAndTrsyl(const std::shared_ptr<SylvesterProblem>& p) {
    struct State {
        Elements a, b, c, u, v, wr, wi, work, half;
    };
    const auto s = std::make_shared<State>();
    const int n = p->n;
    const auto prepare = [=] {
        const Elements square(cells(n, n));
        const Elements line(static_cast<std::size_t>(n));
        *s = {elementsOf(p->a), elementsOf(p->b), elementsOf(p->c), square, square, line, line, square, square};
    };
    const auto schurForm = [=](Elements& matrix, Elements& vectors) {
        requireSuccess(lapack::gees(n, matrix.data(), n, s->wr.data(), s->wi.data(), vectors.data(), n, s->work.data(),
                                    static_cast<int>(s->work.size())),
                       "dgees");
    };
    const auto multiply = [n](Op opLeft, Op opRight, double factor, const Elements& left, const Elements& right,
                              Elements& result) {
        lapack::gemm(opLeft, opRight, n, n, n, factor, left.data(), n, right.data(), n, 0.0, result.data(), n);
    };
    const auto solve = [=] {
        schurForm(s->a, s->u);
        schurForm(s->b, s->v);
        multiply(Op::transpose, Op::none, -1.0, s->u, s->c, s->half);
        multiply(Op::none, Op::none, 1.0, s->half, s->v, s->c);
        double scale = 1.0;
        requireSuccess(
            lapack::trsyl(Op::none, Op::none, 1, n, n, s->a.data(), n, s->b.data(), n, s->c.data(), n, scale),
            "dtrsyl");
        multiply(Op::none, Op::none, 1.0 / scale, s->u, s->c, s->half);
        multiply(Op::none, Op::transpose, 1.0, s->half, s->v, s->c);
    };
    return inProcess(
        "dgees + dtrsyl", solve, [=] { return sylvesterResidual(*p, matrixOf(n, n, s->c)); }, prepare);
}

#ifdef QORMATH_PEER_SLICOT
Contender sb04md(const std::shared_ptr<SylvesterProblem>& p) {
    struct State {
        Elements a, b, c, z, work;
        std::vector<int> iwork;
    };
    const auto s = std::make_shared<State>();
    const int n = p->n;
    const auto prepare = [=] {
        *s = {elementsOf(p->a),
              elementsOf(p->b),
              elementsOf(p->c) /* of the other sign below */,
              Elements(cells(n, n)),
              Elements(2 * cells(n, n) + 64 * cells(n, 1) + 64),
              std::vector<int>(4 * cells(n, 1))};
        for (double& element : s->c) {
            element = -element;
        }
    };
    const auto solve = [=] {
        const int workLength = static_cast<int>(s->work.size());
        int info = 0;
        sb04md_(&n, &n, s->a.data(), &n, s->b.data(), &n, s->c.data(), &n, s->z.data(), &n, s->iwork.data(),
                s->work.data(), &workLength, &info);
        requireSuccess(info, "SB04MD");
    };
    return inProcess(
        "SLICOT SB04MD", solve, [=] { return sylvesterResidual(*p, matrixOf(n, n, s->c)); }, prepare);
}
#endif

Contest sylvesterContest(const Setting& setting) {
    const auto p = std::make_shared<SylvesterProblem>(setting);
    Contest contest;
    contest.ours = inProcess(
        "QorMath", [=] { QorMathControl::SylvesterEquation(p->x, p->a, p->b, p->c); },
        [=] { return sylvesterResidual(*p, p->x); });
    contest.peers.push_back(geesAndTrsyl(p));
#ifdef QORMATH_PEER_SLICOT
    contest.peers.push_back(sb04md(p));
#endif
#ifdef QORMATH_PEER_ARMADILLO
    const auto solution = std::make_shared<Matrix<double>>();
    contest.peers.push_back(inProcess(
        "Armadillo syl", [=] { *solution = armadilloSylvester(p->a, p->b, p->c); },
        [=] { return sylvesterResidual(*p, *solution); }, {}, PeerKind::further));
#endif
    const auto judge = [=](const Matrices& results) { return sylvesterResidual(*p, results[0]); };
    if (setting.scipy != nullptr) {
        contest.peers.push_back(
            inChild("SciPy", *setting.scipy, "sylvester", {p->a, p->b, p->c}, judge, PeerKind::further));
    }
    if (setting.octave != nullptr) {
        contest.peers.push_back(
            inChild("Octave", *setting.octave, "sylvester", {p->a, p->b, p->c}, judge, PeerKind::further));
    }
    return contest;
}

// ---------------------------------------------------------------- Lyapunov and Stein

/// Which of the four equations: a x + x a' + q = 0, or a x a' - x + q = 0 if discrete; with the transpose of a for
/// LyapunovHelper, the kernel under the Newton steps.
struct Equation {
    bool discrete;
    bool helper;
};

struct LyapunovProblem {
    LyapunovProblem(const Setting& setting, Equation which) : n(setting.n), equation(which) {
        test::NormalNumbers numbers(setting.seed);
        a = stableMatrix(n, equation.discrete, numbers);
        q = symmetricMatrix(n, numbers);
    }

    int n;
    Equation equation;
    Matrix<double> a, q, x;
};

double lyapunovResidual(const LyapunovProblem& p, const Matrix<double>& x) {
    const Matrix<double> a = p.equation.helper ? p.a.transpose() : QorMathLA::MatrixSoft<double>(p.a);
    const Matrix<double> ax = product(a, x);
    const double normA = norm(p.a);
    const double factor = p.equation.discrete ? normA * normA + 1.0 : 2.0 * normA;
    const Matrix<double> left = p.equation.discrete ? product(ax, a.transpose()) - x : ax + product(x, a.transpose());
    return norm(left + p.q) / (factor * norm(x) + norm(p.q));
}

#ifdef QORMATH_PEER_SLICOT
Contender sb03md(const std::shared_ptr<LyapunovProblem>& p) {
    struct State {
        Elements a, u, c, wr, wi, work;
    };
    const auto s = std::make_shared<State>();
    const int n = p->n;
    const auto prepare = [=] {
        const Elements line(static_cast<std::size_t>(n));
        *s = {elementsOf(p->a), Elements(cells(n, n)), elementsOf(p->q), line, line, Elements(cells(n, n + 64))};
        for (double& element : s->c) {
            element = -element;
        }
    };
    const auto solve = [=] {
        const int workLength = static_cast<int>(s->work.size());
        double scale = 1.0;
        double unused = 0.0;
        int iwork = 0;
        int info = 0;
        sb03md_(p->equation.discrete ? "D" : "C", "X", "N", p->equation.helper ? "N" : "T", &n, s->a.data(), &n,
                s->u.data(), &n, s->c.data(), &n, &scale, &unused, &unused, s->wr.data(), s->wi.data(), &iwork,
                s->work.data(), &workLength, &info, 1, 1, 1, 1);
        requireSuccess(info, "SB03MD");
        if (scale != 1.0) {
            throw std::runtime_error("SB03MD scales the solution");
        }
    };
    return inProcess(
        "SLICOT SB03MD", solve, [=] { return lyapunovResidual(*p, matrixOf(n, n, s->c)); }, prepare);
}
#endif

void solveOurs(LyapunovProblem& p) {
    if (p.equation.helper) {
        const systemType type = p.equation.discrete ? discreteSystem : continuousSystem;
        QorMathControlTestAccess::LyapunovHelper(p.x, p.a, p.q, type);
    } else if (p.equation.discrete) {
        QorMathControl::DiscreteLyapunov(p.x, p.a, p.q);
    } else {
        QorMathControl::ContinuousLyapunov(p.x, p.a, p.q);
    }
}

Contest lyapunovContest(const Setting& setting, Equation equation) {
    const auto p = std::make_shared<LyapunovProblem>(setting, equation);
    Contest contest;
    contest.ours = inProcess(
        "QorMath", [=] { solveOurs(*p); }, [=] { return lyapunovResidual(*p, p->x); });
#ifdef QORMATH_PEER_SLICOT
    contest.peers.push_back(sb03md(p));
#endif
    const Matrix<double> a = equation.helper ? p->a.transpose() : QorMathLA::MatrixSoft<double>(p->a);
    const char* operation = equation.discrete ? "discrete_lyapunov" : "continuous_lyapunov";
    const auto judge = [=](const Matrices& results) { return lyapunovResidual(*p, results[0]); };
    if (setting.scipy != nullptr) {
        contest.peers.push_back(inChild("SciPy", *setting.scipy, operation, {a, p->q}, judge, PeerKind::further));
    }
    if (setting.octave != nullptr) {
        contest.peers.push_back(inChild("Octave", *setting.octave, operation, {a, p->q}, judge, PeerKind::further));
    }
    return contest;
}

}  // namespace

void addEquationRows(std::vector<Row>& rows) {
    rows.push_back({.name = "SylvesterEquation", .goals = {{400, 0.85}, {800, 0.6}}, .contest = sylvesterContest});
    const auto add = [&](const char* name, Equation equation) {
        rows.push_back({.name = name, .goals = {{400, 1.0}, {800, 0.85}}, .contest = [=](const Setting& setting) {
                            return lyapunovContest(setting, equation);
                        }});
    };
    add("ContinuousLyapunov", {.discrete = false, .helper = false});
    add("LyapunovHelper, continuous", {.discrete = false, .helper = true});
    add("DiscreteLyapunov", {.discrete = true, .helper = false});
    add("LyapunovHelper, discrete", {.discrete = true, .helper = true});
}

}  // namespace qormath::peers
