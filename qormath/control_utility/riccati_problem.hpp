#pragma once

#include <cstddef>
#include <vector>

namespace qormath::control_utility {

/// The coefficients of an algebraic Riccati equation, all packed: a is n by n, b and s n by m, q n by n, r m by m. q
/// and r are symmetric. With g = x b + s (continuous) or g = a' x b + s (discrete) the equation is
///
///   q + a' x + x a - g r^-1 g' = 0        or        a' x a - x + q - g (r + b' x b)^-1 g' = 0.
struct RiccatiProblem {
    bool discrete = false;
    int n = 0;
    int m = 0;
    std::vector<double> a;
    std::vector<double> b;
    std::vector<double> q;
    std::vector<double> r;
    std::vector<double> s;
};

/// What connects the solution y of a scaled problem with x of the original one: x(i, j) = weight y(i, j) / (state(i)
/// state(j)). All factors are powers of two, so that nothing is rounded.
struct RiccatiScaling {
    std::vector<double> state;
    double weight = 1.0;
};

/// True when the asymmetry of a matrix is no more than rounding of its data can explain: 2^-26 times the largest
/// element.
bool isSymmetric(int n, const std::vector<double>& a);

/// Replaces a matrix by its symmetric part, to the bit.
void symmetrize(int n, std::vector<double>& a);

/// The equation with the cross term taken in: a - b r^-1 s', b r^-1 b' and q - s r^-1 s'. g and h are symmetric.
struct PlainForm {
    std::vector<double> a;
    std::vector<double> g;
    std::vector<double> h;
};

/// Makes the plain form of a problem. False when r is singular.
bool takeInCrossTerm(const RiccatiProblem& problem, PlainForm& plain);

/// Turns the inputs by an orthogonal transformation and leaves out those that do not take part in the equation.
///
/// Continuous: r becomes diagonal, and the inputs in its kernel go, which is what a pseudo-inverse of r does with them;
/// an eigenvalue counts as zero below 2^-52 times the largest, as with the pseudo-inverse of the library, or m times
/// that where r is not diagonal, for it has then been rounded.
/// Discrete: the inputs go that reach neither the state nor the cost, directions in the common kernel of b, s and r.
/// They would make r + b' x b singular whatever x is; an r that is singular by itself stays as it is.
///
/// Returns false when an eigenvalue or singular value iteration does not converge.
bool leaveOutIdleInputs(RiccatiProblem& problem);

/// Scales states, cost and inputs so that the elements of the pencil of the equation are of like magnitude, keeping its
/// structure: with T and D diagonal and w a number, a becomes T^-1 a T, b T^-1 b D, q T q T / w, s T s D / w and r
/// D r D / w.
///
/// Source: P. Benner, "Symplectic balancing of Hamiltonian matrices", SIAM J. Sci. Comput. 22 (2001), 1885-1904; the
/// factors are here those of an ordinary balancing of the elements' moduli, brought into the symplectic form.
RiccatiScaling balanceRiccatiProblem(RiccatiProblem& problem);

}  // namespace qormath::control_utility
