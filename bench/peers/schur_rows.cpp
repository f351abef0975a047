// Real Schur forms with an order along the diagonal.

#include <memory>

#include <qormath/control/qor_math_control.hpp>
#include <qormath/lapack/lapack.hpp>

#include "child_process.hpp"
#include "problems.hpp"
#include "raw.hpp"
#include "rows.hpp"

namespace qormath::peers {

namespace {

using QorMathLA::product;

/// Half of the eigenvalues lie inside the unit circle: the disk that they fill has twice its area. The selected ones,
/// inside, are to lead.
struct SchurProblem {
    explicit SchurProblem(const Setting& setting) : n(setting.n) {
        test::NormalNumbers numbers(setting.seed);
        a = diskMatrix(n, std::sqrt(2.0), numbers);
    }

    int n;
    Matrix<double> a;
    Matrix<double> t, q;
    Vector<double> wr, wi;
};

/// The larger of the relative backward error and the departure of q from orthogonality, by sqrt(n).
Verdict judgeSchur(const SchurProblem& p, const Matrix<double>& t, const Matrix<double>& q) {
    const double backward = norm(product(product(q, t), q.transpose()) - p.a) / norm(p.a);
    const double orthogonality = norm(product(q.transpose(), q) - identity(p.n)) / std::sqrt(p.n);
    bool isOutside = false;
    std::string note;
    for (int k = 0; k < p.n; ++k) {
        const double coupling = k + 1 < p.n && t(k + 1, k) != 0.0 ? t(k + 1, k) * t(k, k + 1)
                                : k > 0 && t(k, k - 1) != 0.0     ? t(k, k - 1) * t(k - 1, k)
                                                                  : 0.0;
        const double modulus = std::hypot(t(k, k), std::sqrt(std::fmax(0.0, -coupling)));
        // Reordering moves eigenvalues that lie on the circle itself by rounding.
        constexpr double onTheCircle = 1e-7;
        if (isOutside && modulus < 1.0 - onTheCircle) {
            note = "out of order";
        }
        isOutside = isOutside || modulus > 1.0 + onTheCircle;
    }
    return {std::fmax(backward, orthogonality), note};
}

int isInside(const double* re, const double* im) {
    return std::hypot(*re, *im) < 1.0;
}

Contender sortedGees(const std::shared_ptr<SchurProblem>& p) {
    struct State {
        Elements t, q, wr, wi, work;
        std::vector<int> bwork;
    };
    const auto s = std::make_shared<State>();
    const auto cells1 = static_cast<std::size_t>(p->n);
    const auto prepare = [=] {
        *s = {elementsOf(p->a), Elements(cells(p->n, p->n)), Elements(cells1),
              Elements(cells1), Elements(cells(p->n, 64)),   std::vector<int>(cells1)};
    };
    const auto solve = [=] {
        int selected = 0;
        requireSuccess(LAPACKE_dgees_work(LAPACK_COL_MAJOR, 'V', 'S', isInside, p->n, s->t.data(), p->n, &selected,
                                          s->wr.data(), s->wi.data(), s->q.data(), p->n, s->work.data(),
                                          static_cast<int>(s->work.size()), s->bwork.data()),
                       "dgees");
    };
    return inProcess(
        "dgees sorted", solve, [=] { return judgeSchur(*p, matrixOf(p->n, p->n, s->t), matrixOf(p->n, p->n, s->q)); },
        prepare);
}

}  // namespace

void addSchurRows(std::vector<Row>& rows) {
    rows.push_back(
        {.name = "SchurDecomposition, ordered",
         .goals = {{400, 1.1}, {800, 1.1}},
         .contest = [](const Setting& setting) {
             const auto p = std::make_shared<SchurProblem>(setting);
             Contest contest;
             contest.ours = inProcess(
                 "QorMath",
                 [=] { QorMathControl::SchurDecomposition(p->a, p->t, p->q, p->wr, p->wi, schurULDiscrete); },
                 [=] { return judgeSchur(*p, p->t, p->q); });
             contest.peers.push_back(sortedGees(p));
             if (setting.scipy != nullptr) {
                 contest.peers.push_back(inChild(
                     "SciPy schur", *setting.scipy, "schur_inside_circle", {p->a},
                     [=](const Matrices& results) { return judgeSchur(*p, results[0], results[1]); },
                     PeerKind::further));
             }
             return contest;
         }});
}

}  // namespace qormath::peers
