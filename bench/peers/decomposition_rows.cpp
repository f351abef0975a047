// Matrix exponential and logarithm.

#include <complex>
#include <memory>

#include <qormath/control/qor_math_control.hpp>

#include "child_process.hpp"
#include "problems.hpp"
#include "rows.hpp"
#ifdef QORMATH_PEER_ARMADILLO
#include "armadillo_peer.hpp"
#endif
#ifdef QORMATH_PEER_EIGEN
#include "eigen_peer.hpp"
#endif

namespace qormath::peers {

namespace {

using QorMathLA::product;
using Spectrum = std::vector<std::complex<double>>;

/// A normal matrix with the given eigenvalues, one member of each pair.
Matrix<double> normalMatrix(const Matrix<double>& q, const Spectrum& eigenvalues) {
    Matrix<double> d = QorMathLA::zeroMatrix(q.rows(), q.rows());
    int k = 0;
    for (const std::complex<double>& value : eigenvalues) {
        d(k, k) = value.real();
        if (value.imag() != 0.0) {
            d(k + 1, k + 1) = value.real();
            d(k, k + 1) = value.imag();
            d(k + 1, k) = -value.imag();
            ++k;
        }
        ++k;
    }
    return product(product(q, d), q.transpose());
}

// ---------------------------------------------------------------- exponential

/// A normal matrix, whose exponential is known to rounding and perfectly conditioned: real parts from -8 to 0.5,
/// imaginary parts up to 8.
struct ExponentialProblem {
    explicit ExponentialProblem(const Setting& setting) {
        test::NormalNumbers numbers(setting.seed);
        const Matrix<double> q = test::randomOrthogonal(setting.n, numbers);
        Spectrum eigenvalues, exponentials;
        for (int k = 0; k < setting.n; k += 2) {
            const double re = numbers.uniform(-8.0, 0.5);
            eigenvalues.emplace_back(re, k + 1 == setting.n ? 0.0 : numbers.uniform(0.1, 8.0));
            exponentials.push_back(std::exp(eigenvalues.back()));
        }
        a = normalMatrix(q, eigenvalues);
        wanted = normalMatrix(q, exponentials);
    }

    Matrix<double> a, wanted, result;
};

double exponentialError(const ExponentialProblem& p, const Matrix<double>& result) {
    return norm(result - p.wanted) / norm(p.wanted);
}

Contest exponentialContest(const Setting& setting) {
    const auto p = std::make_shared<ExponentialProblem>(setting);
    const auto judge = [=] { return exponentialError(*p, p->result); };
    const auto judgeChild = [=](const Matrices& results) { return exponentialError(*p, results[0]); };
    Contest contest;
    contest.ours = inProcess(
        "QorMath", [=] { p->result = QorMathControl::ExpM(p->a, 1.0); }, judge);
#ifdef QORMATH_PEER_EIGEN
    contest.peers.push_back(inProcess(
        "Eigen", [=] { p->result = eigenExponential(p->a); }, judge));
#endif
#ifdef QORMATH_PEER_ARMADILLO
    contest.peers.push_back(inProcess(
        "Armadillo", [=] { p->result = armadilloExponential(p->a); }, judge, {}, PeerKind::further));
#endif
    if (setting.scipy != nullptr) {
        contest.peers.push_back(inChild("SciPy", *setting.scipy, "exponential", {p->a}, judgeChild));
    }
    if (setting.octave != nullptr) {
        contest.peers.push_back(
            inChild("Octave", *setting.octave, "exponential", {p->a}, judgeChild, PeerKind::further));
    }
    return contest;
}

// ---------------------------------------------------------------- logarithm

/// Eigenvalues of moduli from 0.2 to 2 at angles up to 2.5, mildly far from normal: no eigenvalue comes near the
/// negative axis, where there is no real logarithm.
struct LogarithmProblem {
    explicit LogarithmProblem(const Setting& setting) {
        test::NormalNumbers numbers(setting.seed);
        Spectrum eigenvalues;
        for (int k = 0; k < setting.n; k += 2) {
            const double modulus = numbers.uniform(0.2, 2.0);
            eigenvalues.push_back(std::polar(modulus, k + 1 == setting.n ? 0.0 : numbers.uniform(0.05, 2.5)));
        }
        a = test::randomWithEigenvalues(eigenvalues, 0.3 / std::sqrt(setting.n), numbers);
    }

    Matrix<double> a, re, im;
};

/// The relative error of the exponential of the result, whose imaginary part has to vanish.
double logarithmResidual(const LogarithmProblem& p, const Matrix<double>& re, const Matrix<double>& im) {
    const double backward = norm(referenceExponential(re) - p.a) / norm(p.a);
    return std::fmax(backward, norm(im) / norm(re));
}

Contest logarithmContest(const Setting& setting) {
    const auto p = std::make_shared<LogarithmProblem>(setting);
    const auto result = std::make_shared<QorMathLA::ComplexMatrix<double>>();
    const auto judge = [=] { return logarithmResidual(*p, p->re, p->im); };
    const auto judgeChild = [=](const Matrices& results) { return logarithmResidual(*p, results[0], results[1]); };
    const auto judgeOurs = [=] {
        const int n = p->a.rows();
        p->re = Matrix<double>(n, n);
        p->im = Matrix<double>(n, n);
        for (int j = 0; j < n; ++j) {
            for (int i = 0; i < n; ++i) {
                p->re(i, j) = (*result)(i, j).real();
                p->im(i, j) = (*result)(i, j).imag();
            }
        }
        return judge();
    };
    Contest contest;
    contest.ours = inProcess(
        "QorMath", [=] { *result = QorMathControl::LogM(p->a); }, judgeOurs);
#ifdef QORMATH_PEER_ARMADILLO
    contest.peers.push_back(inProcess(
        "Armadillo", [=] { armadilloLogarithm(p->a, p->re, p->im); }, judge, {}, PeerKind::further));
#endif
    if (setting.scipy != nullptr) {
        contest.peers.push_back(inChild("SciPy", *setting.scipy, "logarithm", {p->a}, judgeChild));
    }
    if (setting.octave != nullptr) {
        contest.peers.push_back(inChild("Octave", *setting.octave, "logarithm", {p->a}, judgeChild, PeerKind::further));
    }
    return contest;
}

}  // namespace

void addDecompositionRows(std::vector<Row>& rows) {
    const std::vector<Goal> goals{{400, 1.2}, {800, 1.0}};
    rows.push_back({.name = "ExpM, real", .goals = goals, .contest = exponentialContest});
    rows.push_back({.name = "LogM", .goals = goals, .contest = logarithmContest});
}

}  // namespace qormath::peers
