#pragma once

// What a solution of a Riccati equation is held to, and equations with a known one.

#include <algorithm>
#include <cmath>
#include <limits>
#include <support/control_test_access.hpp>
#include <support/matrix_compare.hpp>
#include <support/random_matrices.hpp>
#include <support/riccati_problems.hpp>

#include <qormath/control/qor_math_control.hpp>
#include <qormath/core/arithmetic.hpp>

namespace qormath::test {

/// ContinuousRiccati or DiscreteRiccati, as the equation says.
inline void solveRiccati(const RiccatiEquation& e, QorMathLA::Matrix<double>& x, bool useInitial,
                         const riccatiMethod& method) {
    if (e.type == discreteSystem) {
        QorMathControl::DiscreteRiccati(x, e.a, e.b, e.q, e.r, e.s, useInitial, method);
    } else {
        QorMathControl::ContinuousRiccati(x, e.a, e.b, e.q, e.r, e.s, useInitial, method);
    }
}

/// What an equation makes of an x, by the formulas of the equation alone.
struct RiccatiVerdict {
    QorMathLA::Matrix<double> residual;
    QorMathLA::Matrix<double> closedLoop;
    double terms = 0.0;         ///< the sum of the Frobenius norms of the terms of the equation
    double relative = 0.0;      ///< the Frobenius norm of the residual over terms
    double feedbackTerm = 0.0;  ///< the norm of the term with the inverse
    double distance = 0.0;      ///< of the closed-loop eigenvalues to the limit; negative where one is beyond
};

inline double distanceToLimit(systemType type, const QorMathLA::Matrix<double>& closedLoop) {
    QorMathLA::Matrix<double> destroyed(closedLoop, true);
    QorMathLA::Vector<double> re, im;
    destroyed.eigenvalues(re, im, 0);
    double distance = std::numeric_limits<double>::infinity();
    for (int k = 0; k < re.size(); ++k) {
        distance = std::min(distance, type == discreteSystem ? 1.0 - std::hypot(re[k], im[k]) : -re[k]);
    }
    return distance;
}

inline RiccatiVerdict verdictOn(const RiccatiEquation& equation, const QorMathLA::Matrix<double>& x) {
    using namespace QorMathLA;
    const bool discrete = equation.type == discreteSystem;
    const Matrix<double> ax = product(equation.a.transpose(), x);
    const Matrix<double> g = product(discrete ? ax : x, equation.b) + equation.s;
    const Matrix<double> bx = product(equation.b.transpose(), x);
    const Matrix<double> weight = discrete ? equation.r + product(bx, equation.b) : MatrixSoft<double>(equation.r);
    const Matrix<double> gain = product(pseudoInverse(weight, -1.0), g.transpose());
    const Matrix<double> feedback = product(g, gain);
    const Matrix<double> linear = discrete ? product(ax, equation.a) - x : ax + ax.transpose();
    RiccatiVerdict verdict;
    verdict.residual = equation.q + linear - feedback;
    verdict.closedLoop = equation.a - product(equation.b, gain);
    verdict.feedbackTerm = frobeniusNorm(feedback);
    verdict.terms = frobeniusNorm(equation.q) + verdict.feedbackTerm +
                    (discrete ? frobeniusNorm(product(ax, equation.a)) + frobeniusNorm(x) : 2.0 * frobeniusNorm(ax));
    const double norm = frobeniusNorm(verdict.residual);
    verdict.relative = verdict.terms > 0.0 ? norm / verdict.terms : norm;
    verdict.distance = distanceToLimit(equation.type, verdict.closedLoop);
    return verdict;
}

/// What rounding of the terms and of x itself, in units of eps, can make of a residual: an error e of x changes it by
/// c' e + e c, or c' e c - e, with c the closed loop. weightCondition is that of r, where it matters: the term with the
/// inverse is uncertain by so much more.
inline double residualScale(const RiccatiVerdict& verdict, const QorMathLA::Matrix<double>& x, systemType type,
                            double weightCondition) {
    const double loop = frobeniusNorm(verdict.closedLoop);
    const double growth = type == discreteSystem ? loop * loop + 1.0 : 2.0 * loop;
    return verdict.terms + weightCondition * verdict.feedbackTerm + growth * frobeniusNorm(x);
}

/// The residual over n eps times its scale.
inline double riccatiRatio(const RiccatiVerdict& verdict, const QorMathLA::Matrix<double>& x, systemType type,
                           double weightCondition = 1.0) {
    const double norm = frobeniusNorm(verdict.residual);
    const double scale = std::max(1, x.rows()) * unitRoundoff * residualScale(verdict, x, type, weightCondition);
    return norm == 0.0 ? 0.0 : norm / scale;
}

/// How far a solution whose ratio is at the limit may be from the exact one, in the Frobenius norm: a change e of the
/// residual moves x by the solution d of c' d + d c = e, or c' d c - d = e, with c the closed loop, and for a stable c
/// d is at most ||e|| times the solution for the identity.
inline double solutionUncertainty(const RiccatiVerdict& verdict, const QorMathLA::Matrix<double>& x, systemType type,
                                  double ratioLimit, double weightCondition = 1.0) {
    QorMathLA::Matrix<double> growth;
    QorMathControlTestAccess::LyapunovHelper(growth, verdict.closedLoop, x.identity(), type);
    return frobeniusNorm(growth) * ratioLimit * x.rows() * unitRoundoff *
           residualScale(verdict, x, type, weightCondition);
}

/// True when x is the transpose of itself, to the bit.
inline bool isSymmetric(const QorMathLA::Matrix<double>& x) {
    return identical(x, x.transpose());
}

inline QorMathLA::Matrix<double> symmetricPart(const QorMathLA::Matrix<double>& a) {
    return (a + a.transpose()) * 0.5;
}

/// A closed loop whose eigenvalue next to the limit is at the given distance.
inline QorMathLA::Matrix<double> randomLoop(systemType type, int n, double distance, NormalNumbers& numbers) {
    QorMathLA::Matrix<double> loop = randomMatrix(n, n, numbers);
    const double excess = -distanceToLimit(type, loop);
    if (type == discreteSystem) {
        loop *= (1.0 - distance) / (1.0 + excess);
    }
    for (int k = 0; k < n && type == continuousSystem; ++k) {
        loop(k, k) -= excess + distance;
    }
    return loop;
}

/// The equation of which x is a solution with the given closed loop, whatever b, r and gain are; r may be singular when
/// discrete. It is the stabilising solution if the loop is stable. s and q are what the other choices make them.
inline RiccatiEquation equationWithSolution(systemType type, const QorMathLA::Matrix<double>& loop,
                                            const QorMathLA::Matrix<double>& b, const QorMathLA::Matrix<double>& r,
                                            const QorMathLA::Matrix<double>& gain, const QorMathLA::Matrix<double>& x) {
    using namespace QorMathLA;
    RiccatiEquation equation;
    equation.type = type;
    equation.a = loop + product(b, gain);
    equation.b = b;
    equation.r = r;
    equation.x = x;
    const Matrix<double> bx = product(b.transpose(), x);
    const Matrix<double> ax = product(equation.a.transpose(), x);
    if (type == discreteSystem) {
        const Matrix<double> weight = r + product(bx, b);
        equation.s = Matrix<double>(MatrixSoft<double>(product(r, gain) - product(bx, loop)).transpose(), true);
        equation.q = symmetricPart(x - product(ax, equation.a) + product(gain.transpose(), product(weight, gain)));
    } else {
        equation.s = Matrix<double>(MatrixSoft<double>(product(r, gain) - bx).transpose(), true);
        equation.q = symmetricPart(product(gain.transpose(), product(r, gain)) - ax - ax.transpose());
    }
    return equation;
}

/// The same with a random loop, and all else random.
inline RiccatiEquation randomEquation(systemType type, int n, const QorMathLA::Matrix<double>& r, double distance,
                                      NormalNumbers& numbers) {
    const int m = r.rows();
    return equationWithSolution(type, randomLoop(type, n, distance, numbers), randomMatrix(n, m, numbers), r,
                                randomMatrix(m, n, numbers), symmetricPart(randomMatrix(n, n, numbers)));
}

}  // namespace qormath::test
