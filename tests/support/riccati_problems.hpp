#pragma once

// The published algebraic Riccati equations that a few lines generate for any size or parameter. More of them stand in
// tests/data/riccati; see riccati_files.hpp.
//
// P. Benner, A. J. Laub, V. Mehrmann, "A collection of benchmark examples for the numerical solution of algebraic
// Riccati equations I: continuous-time case", TU Chemnitz-Zwickau, SPC 95_22 (1995); "II: discrete-time case",
// SPC 95_23 (1995). The numbers in the names are theirs.

#include <cmath>
#include <cstdio>
#include <ostream>
#include <string>
#include <utility>

#include <qormath/control/system_type.hpp>
#include <qormath/core/arithmetic.hpp>
#include <qormath/core/matrix.hpp>

namespace qormath::test {

/// With g = x b + s or g = a' x b + s: q + a' x + x a - g r^-1 g' = 0, or a' x a - x + q - g (r + b' x b)^-1 g' = 0.
struct RiccatiEquation {
    std::string name;
    systemType type = continuousSystem;
    QorMathLA::Matrix<double> a, b, q, r, s;
    QorMathLA::Matrix<double> x;  ///< the published stabilising solution, empty where none is
    std::string noSolution;       ///< why there is no stabilising solution, empty where there is one
    std::string newtonLoses;      ///< why Newton's iteration loses digits or the way, empty where it does not
};

/// How a failed test tells of its problem.
inline void PrintTo(const RiccatiEquation& equation, std::ostream* stream) {
    *stream << equation.name;
}

namespace riccati_detail {

inline const char* const growingAsymmetry = "Newton: rounding brings an antisymmetric part, which grows in every step";

inline QorMathLA::Matrix<double> scaledIdentity(int n, double value) {
    QorMathLA::Matrix<double> result = QorMathLA::zeroMatrix(n, n);
    for (int k = 0; k < n; ++k) {
        result(k, k) = value;
    }
    return result;
}

inline std::string named(const char* name, const char* parameter, double value) {
    char text[80];
    std::snprintf(text, sizeof text, "%s, %s = %g", name, parameter, value);
    return text;
}

/// A problem with zeros for q, r and s, to be filled in.
inline RiccatiEquation blank(std::string name, systemType type, int n, int m) {
    using QorMathLA::zeroMatrix;
    RiccatiEquation problem;
    problem.name = std::move(name);
    problem.type = type;
    problem.a = zeroMatrix(n, n);
    problem.b = zeroMatrix(n, m);
    problem.q = zeroMatrix(n, n);
    problem.r = zeroMatrix(m, m);
    problem.s = zeroMatrix(n, m);
    return problem;
}

}  // namespace riccati_detail

/// Two states, of which the unstable one is hardly reached for a small parameter.
inline RiccatiEquation carex21(double eps) {
    RiccatiEquation p = riccati_detail::blank(riccati_detail::named("carex_2_01", "eps", eps), continuousSystem, 2, 1);
    p.a(0, 0) = 1.0;
    p.a(1, 1) = -2.0;
    p.b(0, 0) = eps;
    p.q.fill(1.0);
    p.r(0, 0) = 1.0;
    const double root = std::sqrt(1.0 + eps * eps);
    p.x = QorMathLA::zeroMatrix(2, 2);
    p.x(0, 0) = (1.0 + root) / (eps * eps);
    p.x(0, 1) = p.x(1, 0) = 1.0 / (2.0 + root);
    p.x(1, 1) = 0.25 * (1.0 - eps * eps / ((2.0 + root) * (2.0 + root)));
    return p;
}

/// The weight of the inputs becomes singular with the parameter.
inline RiccatiEquation carex22(double eps) {
    RiccatiEquation p = riccati_detail::blank(riccati_detail::named("carex_2_02", "eps", eps), continuousSystem, 2, 2);
    p.a(0, 0) = -0.1;
    p.a(1, 1) = -0.02;
    p.b(0, 0) = 0.1;
    p.b(1, 0) = 0.001;
    p.b(1, 1) = 0.01;
    p.q(0, 0) = 100.0;
    p.q(0, 1) = p.q(1, 0) = 1000.0;
    p.q(1, 1) = 10000.0;
    p.r.fill(1.0);
    p.r(0, 0) = 1.0 + eps;
    return p;
}

/// A double integrator of a growing gain.
inline RiccatiEquation carex23(double eps) {
    RiccatiEquation p = riccati_detail::blank(riccati_detail::named("carex_2_03", "eps", eps), continuousSystem, 2, 1);
    p.a(0, 1) = eps;
    p.b(1, 0) = 1.0;
    p.q = riccati_detail::scaledIdentity(2, 1.0);
    p.r(0, 0) = 1.0;
    const double root = std::sqrt(1.0 + 2.0 * eps);
    p.x = QorMathLA::zeroMatrix(2, 2);
    p.x(0, 0) = root / eps;
    p.x(0, 1) = p.x(1, 0) = 1.0;
    p.x(1, 1) = root;
    return p;
}

/// Closed-loop eigenvalues that approach the limit, at -sqrt(2) eps.
inline RiccatiEquation carex24(double eps) {
    RiccatiEquation p = riccati_detail::blank(riccati_detail::named("carex_2_04", "eps", eps), continuousSystem, 2, 2);
    p.a.fill(1.0);
    p.a(0, 0) = p.a(1, 1) = 1.0 + eps;
    p.b = riccati_detail::scaledIdentity(2, 1.0);
    p.q = riccati_detail::scaledIdentity(2, eps * eps);
    p.r = riccati_detail::scaledIdentity(2, 1.0);
    const double large = 2.0 + eps + std::hypot(2.0 + eps, eps);
    const double small = eps * (1.0 + std::sqrt(2.0));
    p.x = QorMathLA::zeroMatrix(2, 2);
    p.x(0, 0) = p.x(1, 1) = 0.5 * (large + small);
    p.x(0, 1) = p.x(1, 0) = 0.5 * (large - small);
    if (eps < 1e-7) {
        p.noSolution = "refused: closed-loop eigenvalues within rounding of the imaginary axis";
    }
    return p;
}

/// Closed-loop eigenvalues at -eps + i and -eps - i, with an indefinite q. At eps = 0 they are on the limit.
inline RiccatiEquation carex25(double eps) {
    RiccatiEquation p = riccati_detail::blank(riccati_detail::named("carex_2_05", "eps", eps), continuousSystem, 2, 1);
    p.a(0, 0) = 3.0 - eps;
    p.a(0, 1) = 1.0;
    p.a(1, 0) = 4.0;
    p.a(1, 1) = 2.0 - eps;
    p.b.fill(1.0);
    p.q(0, 0) = 4.0 * eps - 11.0;
    p.q(0, 1) = p.q(1, 0) = 2.0 * eps - 5.0;
    p.q(1, 1) = 2.0 * eps - 2.0;
    p.r(0, 0) = 1.0;
    p.x = QorMathLA::zeroMatrix(2, 2);
    p.x.fill(1.0);
    p.x(0, 0) = 2.0;
    if (eps < 1e-5) {
        p.newtonLoses = "Newton: the equations of its steps are near singular";
    }
    if (eps < 1e-7) {
        p.noSolution = eps == 0.0 ? "no stabilising solution: closed-loop eigenvalues on the imaginary axis"
                                  : "refused: closed-loop eigenvalues within rounding of the imaginary axis";
    }
    return p;
}

/// A Hamiltonian matrix that becomes badly scaled with the parameter.
inline RiccatiEquation carex26(double eps) {
    using namespace QorMathLA;
    RiccatiEquation p = riccati_detail::blank(riccati_detail::named("carex_2_06", "eps", eps), continuousSystem, 3, 3);
    Matrix<double> v(3, 3);
    v.fill(-2.0 / 3.0);
    v(0, 0) = v(1, 1) = v(2, 2) = 1.0 / 3.0;
    const double roots[] = {1.0, eps, eps * eps};  // q over 1/eps
    Matrix<double> a0 = zeroMatrix(3, 3), q0 = zeroMatrix(3, 3), x0 = zeroMatrix(3, 3);
    for (int k = 0; k < 3; ++k) {
        a0(k, k) = (k + 1) * eps;
        q0(k, k) = roots[k] / eps;
        const double square = eps * a0(k, k);
        x0(k, k) = square + std::sqrt(square * square + roots[k]);
    }
    p.a = Matrix<double>(v * a0 * v, true);
    p.q = Matrix<double>(v * q0 * v, true);
    p.x = Matrix<double>(v * x0 * v, true);
    p.b = riccati_detail::scaledIdentity(3, 1.0);
    p.r = riccati_detail::scaledIdentity(3, eps);
    return p;
}

/// A stable and an unstable oscillator, both near the axis for a small parameter.
inline RiccatiEquation carex28(double eps) {
    RiccatiEquation p = riccati_detail::blank(riccati_detail::named("carex_2_08", "eps", eps), continuousSystem, 4, 1);
    for (int k = 0; k < 4; k += 2) {
        p.a(k, k) = p.a(k + 1, k + 1) = k == 0 ? -eps : eps;
        p.a(k, k + 1) = 1.0;
        p.a(k + 1, k) = -1.0;
    }
    p.b.fill(1.0);
    p.q.fill(1.0);
    p.r(0, 0) = 1.0;
    if (eps < 1e-7) {  // they are at about -eps^2 / 2
        p.noSolution = "refused: closed-loop eigenvalues within rounding of the imaginary axis";
    }
    return p;
}

/// A string of vehicles that keep speed and distance: 2 count - 1 states.
inline RiccatiEquation carex31(int count) {
    const int n = 2 * count - 1;
    RiccatiEquation p =
        riccati_detail::blank(riccati_detail::named("carex_3_01", "vehicles", count), continuousSystem, n, count);
    for (int k = 0; k < n; k += 2) {
        p.a(k, k) = -1.0;
        p.b(k, k / 2) = 1.0;
    }
    for (int k = 1; k < n; k += 2) {
        p.a(k, k - 1) = 1.0;
        p.a(k, k + 1) = -1.0;
        p.q(k, k) = 10.0;
    }
    p.r = riccati_detail::scaledIdentity(count, 1.0);
    return p;
}

/// Circulant matrices; the eigenvalues and so the solution are known.
inline RiccatiEquation carex32(int n) {
    RiccatiEquation p = riccati_detail::blank(riccati_detail::named("carex_3_02", "n", n), continuousSystem, n, n);
    p.b = p.q = p.r = riccati_detail::scaledIdentity(n, 1.0);
    p.x = QorMathLA::zeroMatrix(n, n);
    const double turn = 2.0 * std::acos(-1.0) / n;
    for (int i = 0; i < n; ++i) {
        p.a(i, i) = -2.0;
        p.a(i, (i + 1) % n) = p.a((i + 1) % n, i) = 1.0;
        for (int k = 0; k < n; ++k) {
            const double eigenvalue = -2.0 + 2.0 * std::cos(turn * k);
            const double ofSolution = 1.0 / (std::hypot(eigenvalue, 1.0) - eigenvalue);
            for (int j = 0; j < n; ++j) {
                p.x(i, j) += ofSolution * std::cos(turn * (k * (i - j) % n)) / n;
            }
        }
    }
    return p;
}

/// A chain of n integrators. The last element of the first row of the solution is sqrt(q r).
inline RiccatiEquation carex41Weighted(int n, double q, double r) {
    RiccatiEquation p = riccati_detail::blank(riccati_detail::named("carex_4_01", "n", n), continuousSystem, n, 1);
    if (q != 1.0 || r != 1.0) {
        p.name += riccati_detail::named("", "q", q) + riccati_detail::named("", "r", r);
    }
    for (int k = 0; k + 1 < n; ++k) {
        p.a(k, k + 1) = 1.0;
    }
    p.b(n - 1, 0) = 1.0;
    p.q(0, 0) = q;
    p.r(0, 0) = r;
    if (r > q) {
        p.newtonLoses = riccati_detail::growingAsymmetry;
    }
    return p;
}

inline RiccatiEquation carex41(int n) {
    RiccatiEquation p = carex41Weighted(n, 1.0, 1.0);
    if (n > 32) {
        p.noSolution = "refused: the elements of the solution reach over more than the digits of a number";
    }
    return p;
}

/// A chain of count masses with springs of stiffness 1 and dampers of 4, pulled at both ends: 2 count states.
inline RiccatiEquation carex43(int count) {
    constexpr double mass = 4.0;
    constexpr double damping = 4.0;
    const int n = 2 * count;
    RiccatiEquation p =
        riccati_detail::blank(riccati_detail::named("carex_4_03", "masses", count), continuousSystem, n, 2);
    for (int k = 0; k < count; ++k) {
        p.a(k, count + k) = 1.0;
        p.a(count + k, count + k) = -damping / mass;
        if (k + 1 < count) {
            p.a(count + k, k) -= 1.0 / mass;
            p.a(count + k + 1, k + 1) -= 1.0 / mass;
            p.a(count + k, k + 1) = p.a(count + k + 1, k) = 1.0 / mass;
        }
    }
    p.b(count, 0) = 1.0 / mass;
    p.b(n - 1, 1) = -1.0 / mass;
    p.q = riccati_detail::scaledIdentity(n, 1.0);
    p.r = riccati_detail::scaledIdentity(2, 1.0);
    return p;
}

inline RiccatiEquation darex21(double r) {
    RiccatiEquation p = riccati_detail::blank(riccati_detail::named("darex_2_01", "r", r), discreteSystem, 2, 1);
    p.a(0, 0) = 4.0;
    p.a(0, 1) = 3.0;
    p.a(1, 0) = -4.5;
    p.a(1, 1) = -3.5;
    p.b(0, 0) = 1.0;
    p.b(1, 0) = -1.0;
    p.q(0, 0) = 9.0;
    p.q(0, 1) = p.q(1, 0) = 6.0;
    p.q(1, 1) = 4.0;
    p.r(0, 0) = r;
    p.x = QorMathLA::Matrix<double>(p.q * (0.5 * (1.0 + std::sqrt(1.0 + 4.0 * r))), true);
    return p;
}

/// The two inputs are weighted by 1 / (3 delta) and 3 delta.
inline RiccatiEquation darex22(double delta) {
    RiccatiEquation p =
        riccati_detail::blank(riccati_detail::named("darex_2_02", "delta", delta), discreteSystem, 2, 2);
    p.a(0, 0) = 0.9512;
    p.a(1, 1) = 0.9048;
    p.b(0, 0) = p.b(0, 1) = 4.877;
    p.b(1, 0) = -1.1895;
    p.b(1, 1) = 3.569;
    p.q(0, 0) = 0.005;
    p.q(1, 1) = 0.02;
    p.r(0, 0) = 1.0 / (3.0 * delta);
    p.r(1, 1) = 3.0 * delta;
    p.newtonLoses = riccati_detail::growingAsymmetry;
    return p;
}

inline RiccatiEquation darex23(double eps) {
    RiccatiEquation p = riccati_detail::blank(riccati_detail::named("darex_2_03", "eps", eps), discreteSystem, 2, 1);
    p.a(0, 1) = eps;
    p.b(1, 0) = 1.0;
    p.q = riccati_detail::scaledIdentity(2, 1.0);
    p.r(0, 0) = 1.0;
    p.x = riccati_detail::scaledIdentity(2, 1.0);
    p.x(1, 1) = 1.0 + eps * eps;
    return p;
}

/// A lag of time constant tau and three delays; the closed loop approaches the limit as 1 - 2.2 / tau.
inline RiccatiEquation darex25(double tau) {
    RiccatiEquation p = riccati_detail::blank(riccati_detail::named("darex_2_05", "tau", tau), discreteSystem, 4, 1);
    p.a(0, 0) = 1.0 - 1.0 / tau;
    p.a(1, 0) = p.a(2, 1) = p.a(3, 2) = 1.0;
    p.b(0, 0) = 1.0 / tau;
    p.q(3, 3) = 1.0;
    p.r(0, 0) = 0.25;
    return p;
}

/// A chain of n delays.
inline RiccatiEquation darex41(int n) {
    RiccatiEquation p = riccati_detail::blank(riccati_detail::named("darex_4_01", "n", n), discreteSystem, n, 1);
    p.q = riccati_detail::scaledIdentity(n, 1.0);
    p.x = QorMathLA::zeroMatrix(n, n);
    for (int k = 0; k < n; ++k) {
        p.x(k, k) = k + 1.0;
        if (k + 1 < n) {
            p.a(k, k + 1) = 1.0;
        }
    }
    p.b(n - 1, 0) = 1.0;
    p.r(0, 0) = 1.0;
    if (n > 32) {
        p.newtonLoses = "Newton: the random start does not stabilise";
    }
    return p;
}

}  // namespace qormath::test
