// Model reduction, staircase forms, spectral separation and balancing of systems.

#include <algorithm>
#include <complex>
#include <cstdio>
#include <memory>
#include <support/control_test_access.hpp>

#include <qormath/control/qor_math_control.hpp>
#include <qormath/lapack/lapack.hpp>
#include <qormath/models/lti_state_space_model.hpp>
#include <qormath/structure/ability_manager.hpp>

#include "problems.hpp"
#include "raw.hpp"
#include "rows.hpp"
#ifdef QORMATH_PEER_SLICOT
#include "slicot.hpp"
#endif

namespace qormath::peers {

namespace {

using QorMathLA::product;
using QorMathLA::Range;

/// Inputs and outputs of every system here.
constexpr int channels = 10;

struct System {
    Matrix<double> a, b, c, d;
};

/// A part of a matrix as a matrix of its own.
Matrix<double> part(const Matrix<double>& matrix, int firstRow, int rows, int firstCol, int cols) {
    const Matrix<double> view =
        matrix(Range(firstRow, firstRow + rows - 1, 1), Range(firstCol, firstCol + cols - 1, 1));
    return Matrix<double>(view, true);
}

#ifdef QORMATH_PEER_SLICOT
/// A system as the Fortran routines take and overwrite it, with work for all of them.
struct RawSystem {
    void set(const System& system) {
        n = system.a.rows();
        a = elementsOf(system.a);
        b = elementsOf(system.b);
        c = elementsOf(system.c);
        d = elementsOf(system.d);
        work.assign(cells(n, 2 * n + std::max(n, 64) + 5) + cells(n, n), 0.0);
        square.assign(cells(n, n), 0.0);
        wr.assign(cells(n, 1), 0.0);
        wi = wr;
        iwork.assign(cells(n, 1) + channels, 0);
        iwork2 = iwork;
        workLength = static_cast<int>(work.size());
    }

    int n = 0;
    int workLength = 0;
    Elements a, b, c, d, work, square, wr, wi;
    std::vector<int> iwork, iwork2;
};
#endif

/// The first Markov parameters c a^k b of the leading states.
std::vector<Matrix<double>> markovParameters(const System& system, int states) {
    constexpr int count = 5;
    const Matrix<double> a = part(system.a, 0, states, 0, states);
    const Matrix<double> c = part(system.c, 0, system.c.rows(), 0, states);
    Matrix<double> power = part(system.b, 0, states, 0, system.b.cols());
    std::vector<Matrix<double>> result;
    for (int k = 0; k < count; ++k) {
        result.push_back(product(c, power));
        power = product(a, power);
    }
    return result;
}

/// How far the first Markov parameters of the leading states are from those of the system that was given.
double markovError(const System& given, const System& result, int states) {
    const std::vector<Matrix<double>> wanted = markovParameters(given, given.a.rows());
    const std::vector<Matrix<double>> found = markovParameters(result, states);
    double largest = 0.0;
    for (std::size_t k = 0; k < wanted.size(); ++k) {
        largest = std::fmax(largest, norm(wanted[k] - found[k]) / norm(wanted[k]));
    }
    return largest;
}

// ---------------------------------------------------------------- model reduction

/// A stable system with the eigenvalues of its state matrix in the disk of radius 0.8 around -1, if discrete around 0.
/// It is cut to a tenth of its order, or, where the order is to be found, to the Hankel singular values above half
/// of the square root of the number of channels, which keeps a number of states between a tenth and a half.
struct ReductionProblem {
    ReductionProblem(const Setting& setting, bool isDiscrete, bool isFixed) : n(setting.n), discrete(isDiscrete) {
        test::NormalNumbers numbers(setting.seed);
        given.a = stableMatrix(n, discrete, numbers);
        given.b = test::randomMatrix(n, channels, numbers);
        given.c = test::randomMatrix(channels, n, numbers);
        given.d = QorMathLA::zeroMatrix(channels, channels);
        order = isFixed ? std::max(1, n / 10) : 0;
        tolerance = isFixed ? 0.0 : 0.5 * std::sqrt(channels);
    }

    int n;
    bool discrete;
    int order;
    double tolerance;
    System given, work;
    Vector<double> hsv;
};

/// The Hankel singular values of a stable continuous system, largest first, from its Gramians.
std::vector<double> hankelSingularValues(const System& system) {
    const Matrix<double> transposed(system.a.transpose(), true);
    Matrix<double> controllability, observability;
    QorMathControlTestAccess::LyapunovHelper(controllability, transposed, product(system.b, system.b.transpose()),
                                             continuousSystem);
    QorMathControlTestAccess::LyapunovHelper(observability, system.a, product(system.c.transpose(), system.c),
                                             continuousSystem);
    Matrix<double> both = product(controllability, observability);
    Vector<double> re, im;
    both.eigenvalues(re, im, 0);
    std::vector<double> values;
    for (int k = 0; k < re.size(); ++k) {
        values.push_back(std::sqrt(std::hypot(re[k], im[k])));
    }
    std::sort(values.rbegin(), values.rend());
    return values;
}

/// Truncation leaves a continuous system balanced: its Hankel singular values are those that were kept, to rounding.
double departureFromBalance(const System& reduced, const Vector<double>& hsv) {
    const std::vector<double> found = hankelSingularValues(reduced);
    double largest = 0.0;
    for (std::size_t k = 0; k < found.size(); ++k) {
        largest = std::fmax(largest, std::fabs(found[k] - hsv[static_cast<int>(k)]) / hsv[0]);
    }
    return largest;
}

/// c (z - a)^-1 b + d at a real z.
Matrix<double> responseAt(const System& system, double z) {
    const int n = system.a.rows();
    Elements lu = elementsOf(identity(n) * z - system.a);
    Elements x = elementsOf(system.b);
    std::vector<int> pivots(cells(n, 1));
    lapack::getrf(n, n, lu.data(), n, pivots.data());
    lapack::getrs(lapack::Op::none, n, system.b.cols(), lu.data(), n, pivots.data(), x.data(), n);
    return product(system.c, matrixOf(n, system.b.cols(), x)) + system.d;
}

/// A discrete system is balanced by the cut only nearly. Its quality is the relative error of the transfer function at
/// the two real points of the unit circle, which the truncation makes, not rounding.
double errorOfResponse(const System& given, const System& reduced) {
    double largest = 0.0;
    for (const double z : {1.0, -1.0}) {
        const Matrix<double> wanted = responseAt(given, z);
        largest = std::fmax(largest, norm(responseAt(reduced, z) - wanted) / norm(wanted));
    }
    return largest;
}

Verdict judgeReduction(const ReductionProblem& p, const System& reduced, const Vector<double>& hsv) {
    const double residual = p.discrete ? errorOfResponse(p.given, reduced) : departureFromBalance(reduced, hsv);
    return {residual, "order " + std::to_string(reduced.a.rows())};
}

#ifdef QORMATH_PEER_SLICOT
Contender ab09md(const std::shared_ptr<ReductionProblem>& p) {
    struct State {
        RawSystem raw;
        Elements hsv;
        int order = 0;
    };
    const auto s = std::make_shared<State>();
    const int n = p->n;
    const auto prepare = [=] {
        s->raw.set(p->given);
        s->hsv.assign(cells(n, 1), 0.0);
        s->order = p->order;
    };
    const auto solve = [=] {
        RawSystem& r = s->raw;
        const double alpha = p->discrete ? 1.0 : 0.0;
        int stable = 0;
        int warning = 0;
        int info = 0;
        ab09md_(p->discrete ? "D" : "C", "B", "S", p->order > 0 ? "F" : "A", &n, &channels, &channels, &s->order,
                &alpha, r.a.data(), &n, r.b.data(), &n, r.c.data(), &channels, &stable, s->hsv.data(), &p->tolerance,
                r.iwork.data(), r.work.data(), &r.workLength, &warning, &info, 1, 1, 1, 1);
        requireSuccess(info, "AB09MD");
    };
    const auto judge = [=] {
        const RawSystem& r = s->raw;
        const System reduced{matrixOf(s->order, s->order, r.a, n), matrixOf(s->order, channels, r.b, n),
                             matrixOf(channels, s->order, r.c, channels), p->given.d};
        return judgeReduction(*p, reduced, Vector<double>(n, s->hsv.data()));
    };
    return inProcess("SLICOT AB09MD", solve, judge, prepare);
}
#endif

Contest reductionContest(const Setting& setting, bool discrete, bool fixedOrder) {
    const auto p = std::make_shared<ReductionProblem>(setting, discrete, fixedOrder);
    const auto solve = [=] {
        System& w = p->work;
        // The default limit of stability, and the tolerance of the order.
        constexpr double alpha = -1.0;
        QorMathControl::ModelReduction(w.a, w.b, w.c, w.d, p->hsv, reductionBalanced,
                                       discrete ? discreteSystem : continuousSystem, p->order, alpha, p->tolerance);
    };
    Contest contest;
    contest.ours = inProcess(
        "QorMath", solve, [=] { return judgeReduction(*p, p->work, p->hsv); }, [=] { p->work = p->given; });
#ifdef QORMATH_PEER_SLICOT
    contest.peers.push_back(ab09md(p));
#endif
    return contest;
}

// ---------------------------------------------------------------- staircase forms

/// Of both sides, relative to the norm of the pair: far above what rounding makes of a chain of blocks, which grows
/// from each to the next, and far below the coupling of any controllable state here.
constexpr double rankTolerance = 1e-10;

/// Four states of five are controllable, hidden behind an orthogonal transformation; the observable case is the dual.
struct StaircaseProblem {
    StaircaseProblem(const Setting& setting, bool isDual)
        : n(setting.n), controllable(setting.n * 4 / 5), dual(isDual) {
        test::NormalNumbers numbers(setting.seed);
        Matrix<double> a = diskMatrix(n, 0.8, numbers);
        Matrix<double> b = test::randomMatrix(n, channels, numbers);
        for (int i = controllable; i < n; ++i) {
            for (int j = 0; j < n; ++j) {
                a(i, j) = j < controllable ? 0.0 : a(i, j);
            }
            for (int j = 0; j < channels; ++j) {
                b(i, j) = 0.0;
            }
        }
        const Matrix<double> z = test::randomOrthogonal(n, numbers);
        given.a = product(product(z, a), z.transpose());
        given.b = product(z, b);
        given.c = test::randomMatrix(channels, n, numbers);
        given.d = QorMathLA::zeroMatrix(channels, channels);
        if (dual) {
            given = dualOf(given);
        }
    }

    static System dualOf(const System& s) {
        return {Matrix<double>(s.a.transpose(), true), Matrix<double>(s.c.transpose(), true),
                Matrix<double>(s.b.transpose(), true), Matrix<double>(s.d.transpose(), true)};
    }

    int n;
    int controllable;
    bool dual;
    System given;
    LTIStateSpaceModel model;
    int rank = 0;
};

/// The transfer function of the leading part has to be that of the whole, and its order the one that was built in.
Verdict judgeStaircase(const StaircaseProblem& p, const System& result, int rank) {
    const double residual = markovError(p.given, result, rank);
    if (rank == p.controllable) {
        return residual;
    }
    return {residual, "finds " + std::to_string(rank) + " states where " + std::to_string(p.controllable) + " are"};
}

#ifdef QORMATH_PEER_SLICOT
Contender ab01nd(const std::shared_ptr<StaircaseProblem>& p) {
    struct State {
        RawSystem raw;
        int rank = 0;
    };
    const auto s = std::make_shared<State>();
    const auto direct = std::make_shared<System>(p->dual ? StaircaseProblem::dualOf(p->given) : p->given);
    const int n = p->n;
    const auto solve = [=] {
        RawSystem& r = s->raw;
        int blocks = 0;
        int info = 0;
        ab01nd_("I", &n, &channels, r.a.data(), &n, r.b.data(), &n, &s->rank, &blocks, r.iwork2.data(), r.square.data(),
                &n, r.wr.data(), &rankTolerance, r.iwork.data(), r.work.data(), &r.workLength, &info, 1);
        requireSuccess(info, "AB01ND");
    };
    const auto judge = [=] {
        const RawSystem& r = s->raw;
        System result{matrixOf(n, n, r.a), matrixOf(n, channels, r.b), product(direct->c, matrixOf(n, n, r.square)),
                      direct->d};
        return judgeStaircase(*p, p->dual ? StaircaseProblem::dualOf(result) : result, s->rank);
    };
    return inProcess("SLICOT AB01ND", solve, judge, [=] { s->raw.set(*direct); });
}
#endif

Contest staircaseContest(const Setting& setting, bool dual) {
    const auto p = std::make_shared<StaircaseProblem>(setting, dual);
    const auto prepare = [=] {
        p->model = LTIStateSpaceModel(p->given.a, p->given.b, p->given.c, p->given.d, discreteSystem, 1.0);
    };
    const auto solve = [=] {
        dual ? p->model.ObservabilityForm(p->rank, rankTolerance)
             : p->model.ControllabilityForm(p->rank, rankTolerance);
    };
    const auto judge = [=] { return judgeStaircase(*p, {p->model.A, p->model.B, p->model.C, p->model.D}, p->rank); };
    Contest contest;
    contest.ours = inProcess("QorMath", solve, judge, prepare);
#ifdef QORMATH_PEER_SLICOT
    contest.peers.push_back(ab01nd(p));
#endif
    return contest;
}

Contest abilityContest(const Setting& setting) {
    const auto p = std::make_shared<StaircaseProblem>(setting, false);
    const auto manager = std::make_shared<std::unique_ptr<AbilityManager>>();
    const auto solve = [=] {
        *manager = std::make_unique<AbilityManager>(p->given.a, p->given.b, p->given.c, rankTolerance);
        (*manager)->ControllabilityDecomposition();
    };
    const auto judge = [=] {
        const AbilityManager& m = **manager;
        return judgeStaircase(*p, {m.decomposedA, m.decomposedB, m.decomposedC, p->given.d}, m.reducedOrder);
    };
    Contest contest;
    contest.ours = inProcess("QorMath", solve, judge);
#ifdef QORMATH_PEER_SLICOT
    contest.peers.push_back(ab01nd(p));
#endif
    return contest;
}

// ---------------------------------------------------------------- spectral separation

/// A discrete system with a tenth of its eigenvalues of moduli from 1.1 to 1.4 and the others below 0.8, mildly far
/// from normal.
struct SeparationProblem {
    explicit SeparationProblem(const Setting& setting) : n(setting.n), unstable(2 * (setting.n / 20)) {
        test::NormalNumbers numbers(setting.seed);
        std::vector<std::complex<double>> eigenvalues;
        for (int k = 0; k < n; k += 2) {
            const double modulus = k < unstable ? numbers.uniform(1.1, 1.4) : 0.8 * std::sqrt(numbers.uniform());
            if (k + 1 == n) {
                eigenvalues.emplace_back(modulus);
            } else {
                eigenvalues.push_back(std::polar(modulus, numbers.uniform(0.05, 3.1)));
            }
        }
        given.a = test::randomWithEigenvalues(eigenvalues, 0.3 / std::sqrt(n), numbers);
        given.b = test::randomMatrix(n, channels, numbers);
        given.c = test::randomMatrix(channels, n, numbers);
        given.d = QorMathLA::zeroMatrix(channels, channels);
    }

    int n;
    int unstable;
    System given, work;
};

/// The transfer function has to stay, and the unstable eigenvalues to lead.
Verdict judgeSeparation(const SeparationProblem& p, const System& result) {
    const double residual = markovError(p.given, result, p.n);
    for (int part1 = 0; part1 < 2; ++part1) {
        const int first = part1 == 0 ? 0 : p.unstable;
        const int count = part1 == 0 ? p.unstable : p.n - p.unstable;
        Matrix<double> block = part(result.a, first, count, first, count);
        Vector<double> re, im;
        block.eigenvalues(re, im, 0);
        for (int k = 0; k < count; ++k) {
            if ((std::hypot(re[k], im[k]) > 1.0) != (part1 == 0)) {
                return {residual, "out of order"};
            }
        }
    }
    return residual;
}

#ifdef QORMATH_PEER_SLICOT
/// TB01KD decouples the two parts as well, which ours leaves to its callers; TB01LD does the same work as ours.
Contender spectralPeer(const std::shared_ptr<SeparationProblem>& p, bool decoupling) {
    const auto r = std::make_shared<RawSystem>();
    const int n = p->n;
    const auto solve = [=] {
        const double alpha = 1.0;
        int leading = 0;
        int info = 0;
        (decoupling ? tb01kd_ : tb01ld_)("D", "U", "G", &n, &channels, &channels, &alpha, r->a.data(), &n, r->b.data(),
                                         &n, r->c.data(), &channels, &leading, r->square.data(), &n, r->wr.data(),
                                         r->wi.data(), r->work.data(), &r->workLength, &info, 1, 1, 1);
        requireSuccess(info, decoupling ? "TB01KD" : "TB01LD");
    };
    const auto judge = [=] {
        return judgeSeparation(
            *p, {matrixOf(n, n, r->a), matrixOf(n, channels, r->b), matrixOf(channels, n, r->c), p->given.d});
    };
    return inProcess(decoupling ? "SLICOT TB01KD" : "SLICOT TB01LD", solve, judge, [=] { r->set(p->given); });
}
#endif

Contest separationContest(const Setting& setting) {
    const auto p = std::make_shared<SeparationProblem>(setting);
    const auto solve = [=] {
        System& w = p->work;
        QorMathControl::BlockSpectralDecompostion(w.a, w.b, w.c, w.d, discreteSystem);
    };
    Contest contest;
    contest.ours = inProcess(
        "QorMath", solve, [=] { return judgeSeparation(*p, p->work); }, [=] { p->work = p->given; });
#ifdef QORMATH_PEER_SLICOT
    contest.peers.push_back(spectralPeer(p, true));
    contest.peers.push_back(spectralPeer(p, false));
#endif
    return contest;
}

// ---------------------------------------------------------------- norm reduction

/// States in units that differ by up to eight decades.
struct BalanceProblem {
    explicit BalanceProblem(const Setting& setting) : n(setting.n) {
        test::NormalNumbers numbers(setting.seed);
        Vector<double> units(n);
        Vector<double> inverse(n);
        for (int k = 0; k < n; ++k) {
            units[k] = std::pow(10.0, numbers.uniform(-4.0, 4.0));
            inverse[k] = 1.0 / units[k];
        }
        given.a = diskMatrix(n, 0.8, numbers).scaleRowsBy(units).scaleColumnsBy(inverse);
        given.b = test::randomMatrix(n, channels, numbers).scaleRowsBy(units);
        given.c = test::randomMatrix(channels, n, numbers).scaleColumnsBy(inverse);
    }

    int n;
    System given, work;
    Vector<double> scale;
};

constexpr double balanceMaxReduction = 10.0;

/// The largest relative error of an element against the similarity by scale, computed once more.
Verdict judgeBalance(const BalanceProblem& p, const System& result, const Vector<double>& scale) {
    double error = 0.0;
    const auto compare = [&](double found, double wanted) {
        if (found != wanted) {
            error = std::fmax(error, std::fabs(found - wanted) / std::fabs(wanted));
        }
    };
    for (int j = 0; j < p.n; ++j) {
        for (int i = 0; i < p.n; ++i) {
            compare(result.a(i, j), p.given.a(i, j) * scale[j] / scale[i]);
        }
        for (int k = 0; k < channels; ++k) {
            compare(result.b(j, k), p.given.b(j, k) / scale[j]);
            compare(result.c(k, j), p.given.c(k, j) * scale[j]);
        }
    }
    const double before = std::hypot(norm(p.given.a), norm(p.given.b), norm(p.given.c));
    const double after = std::hypot(norm(result.a), norm(result.b), norm(result.c));
    char note[40];
    std::snprintf(note, sizeof note, "norm reduced by %.1e", before / after);
    return {error, note};
}

#ifdef QORMATH_PEER_SLICOT
Contender tb01id(const std::shared_ptr<BalanceProblem>& p) {
    const auto r = std::make_shared<RawSystem>();
    const int n = p->n;
    const auto solve = [=] {
        double reduction = balanceMaxReduction;
        int info = 0;
        tb01id_("A", &n, &channels, &channels, &reduction, r->a.data(), &n, r->b.data(), &n, r->c.data(), &channels,
                r->wr.data(), &info, 1);
        requireSuccess(info, "TB01ID");
    };
    const auto judge = [=] {
        return judgeBalance(*p, {matrixOf(n, n, r->a), matrixOf(n, channels, r->b), matrixOf(channels, n, r->c), {}},
                            Vector<double>(n, r->wr.data()));
    };
    return inProcess("SLICOT TB01ID", solve, judge, [=] { r->set(p->given); });
}
#endif

Contest balanceContest(const Setting& setting) {
    const auto p = std::make_shared<BalanceProblem>(setting);
    const auto solve = [=] {
        QorMathControl::BalanceABC(p->work.a, p->work.b, p->work.c, p->scale, balanceMaxReduction);
    };
    Contest contest;
    contest.ours = inProcess(
        "QorMath", solve, [=] { return judgeBalance(*p, p->work, p->scale); }, [=] { p->work = p->given; });
#ifdef QORMATH_PEER_SLICOT
    contest.peers.push_back(tb01id(p));
#endif
    return contest;
}

}  // namespace

void addReductionRows(std::vector<Row>& rows) {
    const auto add = [&](const char* name, std::vector<Goal> goals, std::function<Contest(const Setting&)> contest) {
        rows.push_back({.name = name, .goals = std::move(goals), .contest = std::move(contest)});
    };
    const std::vector<Goal> reduction{{400, 0.7}, {800, 0.45}};
    add("ModelReduction, fixed order", reduction, [](const Setting& s) { return reductionContest(s, false, true); });
    add("ModelReduction, automatic order", reduction,
        [](const Setting& s) { return reductionContest(s, false, false); });
    add("ModelReduction, fixed order, discrete", reduction,
        [](const Setting& s) { return reductionContest(s, true, true); });
    add("ModelReduction, automatic order, discrete", reduction,
        [](const Setting& s) { return reductionContest(s, true, false); });
    const std::vector<Goal> staircase{{400, 0.6}, {800, 0.45}};
    add("ControllabilityForm", staircase, [](const Setting& s) { return staircaseContest(s, false); });
    add("ObservabilityForm", staircase, [](const Setting& s) { return staircaseContest(s, true); });
    add("AbilityManager, controllability", staircase, abilityContest);
    const std::vector<Goal> transforms{{400, 1.0}, {800, 0.8}};
    add("BlockSpectralDecompostion", transforms, separationContest);
    add("BalanceABC", transforms, balanceContest);
}

}  // namespace qormath::peers
