// What is promised by name costs here: svd is DGESVD, and leftDivide goes through it so that a singular matrix is no
// failure. These rows have no goal; they tell what the promise costs beside the fastest routine for a regular matrix.

#include <algorithm>
#include <memory>

#include <qormath/lapack/lapack.hpp>

#include "problems.hpp"
#include "raw.hpp"
#include "rows.hpp"

namespace qormath::peers {

namespace {

using QorMathLA::product;

/// Standard normal elements, and ten right-hand sides.
struct DenseProblem {
    explicit DenseProblem(const Setting& setting) : n(setting.n) {
        test::NormalNumbers numbers(setting.seed);
        a = test::randomMatrix(n, n, numbers);
        b = test::randomMatrix(n, rightHandSides, numbers);
    }

    static constexpr int rightHandSides = 10;
    int n;
    Matrix<double> a, b, u, v, x;
    Vector<double> s;
};

// ---------------------------------------------------------------- singular values

double svdResidual(const DenseProblem& p, const Matrix<double>& u, const Vector<double>& s, const Matrix<double>& v) {
    return norm(product(u.scaleColumnsBy(s), v.transpose()) - p.a) / norm(p.a);
}

/// By divide and conquer.
Contender gesdd(const std::shared_ptr<DenseProblem>& p) {
    struct State {
        Elements a, s, u, vt, work;
        std::vector<int> iwork;
    };
    const auto s = std::make_shared<State>();
    const int n = p->n;
    const auto prepare = [=] {
        double size = 0.0;
        int unused = 0;
        lapack::gesdd('A', n, n, &size, n, &size, &size, n, &size, n, &size, -1, &unused);
        *s = {elementsOf(p->a),
              Elements(cells(n, 1)),
              Elements(cells(n, n)),
              Elements(cells(n, n)),
              Elements(static_cast<std::size_t>(size)),
              std::vector<int>(8 * cells(n, 1))};
    };
    const auto solve = [=] {
        requireSuccess(lapack::gesdd('A', n, n, s->a.data(), n, s->s.data(), s->u.data(), n, s->vt.data(), n,
                                     s->work.data(), static_cast<int>(s->work.size()), s->iwork.data()),
                       "dgesdd");
    };
    const auto judge = [=] {
        const Matrix<double> v(matrixOf(n, n, s->vt).transpose(), true);
        return svdResidual(*p, matrixOf(n, n, s->u), Vector<double>(n, s->s.data()), v);
    };
    return inProcess("dgesdd", solve, judge, prepare);
}

Contest svdContest(const Setting& setting) {
    const auto p = std::make_shared<DenseProblem>(setting);
    Contest contest;
    contest.ours = inProcess(
        "QorMath", [=] { p->u.svd(p->s, p->v, 0, true); }, [=] { return svdResidual(*p, p->u, p->s, p->v); },
        [=] { p->u = p->a; });
    contest.peers.push_back(gesdd(p));
    return contest;
}

// ---------------------------------------------------------------- left division

double divisionResidual(const DenseProblem& p, const Matrix<double>& x) {
    return norm(product(p.a, x) - p.b) / (norm(p.a) * norm(x) + norm(p.b));
}

Contest divisionContest(const Setting& setting) {
    const auto p = std::make_shared<DenseProblem>(setting);
    const int n = p->n;
    Contest contest;
    contest.ours = inProcess(
        "QorMath", [=] { p->x = p->a.leftDivide(p->b); }, [=] { return divisionResidual(*p, p->x); });
    struct State {
        Elements a, x;
        std::vector<int> pivots;
    };
    const auto s = std::make_shared<State>();
    const auto solve = [=] {
        requireSuccess(lapack::getrf(n, n, s->a.data(), n, s->pivots.data()), "dgetrf");
        lapack::getrs(lapack::Op::none, n, p->rightHandSides, s->a.data(), n, s->pivots.data(), s->x.data(), n);
    };
    contest.peers.push_back(inProcess(
        "dgetrf + dgetrs", solve, [=] { return divisionResidual(*p, matrixOf(n, p->rightHandSides, s->x)); },
        [=] {
            *s = {elementsOf(p->a), elementsOf(p->b), std::vector<int>(cells(n, 1))};
        }));
    return contest;
}

}  // namespace

void addFixedRows(std::vector<Row>& rows) {
    const std::vector<Goal> none{{400, noGoal}, {800, noGoal}};
    rows.push_back({.name = "svd with vectors", .goals = none, .contest = svdContest});
    rows.push_back({.name = "leftDivide, square", .goals = none, .contest = divisionContest});
}

}  // namespace qormath::peers
