#pragma once

namespace qormath::control_utility {

/// The stabilising solution x of an algebraic Riccati equation with cross term s, where g = x b + s in continuous and
/// g = a' x b + s in discrete time:
///
///   continuous   q + a' x + x a - g r^-1 g' = 0,               a - b r^-1 g' has its eigenvalues left of the axis;
///   discrete     a' x a - x + q - g (r + b' x b)^-1 g' = 0,    a - b (r + b' x b)^-1 g' inside the unit circle.
///
/// There is at most one, and it is symmetric. q and r need not be definite.
///
/// Every argument goes by address; matrices are packed.
/// - discrete: not 0 for the discrete equation.
/// - n, m: the order of a and the number of inputs; either may be 0.
/// - a (n by n), b (n by m), q (n by n), r (m by m), s (n by m): in, never written. q and r are symmetric; their
///   symmetric part is used where they differ from it by rounding, no more than 2^-26 of the largest element.
/// - x (n by n): out, symmetric to the bit. Not written when info is not 0.
/// - info: 0; -k when argument k is illegal (a null pointer or a size below 0); 1 when an argument holds NaN or
///   infinity; 2 when q or r is not symmetric; 3 when there is no stabilising solution, or none that can be told from
///   one that is not at this precision: closed-loop eigenvalues on the limit or within its rounding, a mode on or
///   beyond the limit that no input reaches, a mode on the limit that the cost does not see, an r + b' x b that is
///   singular, or numbers out of range.
///
/// r may be singular. In discrete time that is no matter of its own. In continuous time inputs in the kernel of r are
/// left alone, as by a pseudo-inverse of r; see leaveOutIdleInputs (riccati_problem.hpp) for its cut.
///
/// Steps: inputs that take no part are left out; states, cost and inputs are scaled by powers of two; a direct solution
/// is found, refined by Newton's method until its residual stops falling and judged (riccati_refinement.hpp). Where r
/// is well conditioned, the direct solution comes by doubling (riccati_doubling.hpp), in continuous time from order 32
/// on and only where its outcome is clear, or else from the Hamiltonian Schur form (riccati_subspace.hpp); where it is
/// not, or where that solution does not stand up to the judgement, from the extended pencil. From order 64 on an
/// approximation by shorter doubling is tried first, which counts where its outcome is clear. All iterations are
/// bounded, so that failure takes a bounded time, about twice the longest success.
///
/// Cost: about 80 n^3 flops in discrete and 130 n^3 in continuous time by doubling, 25 (2 n)^3 by the Hamiltonian, 66
/// (2 n)^3 by the extended pencil, and 25 n^3 for the Schur form of the closed loop with 20 n^3 for each of two or
/// three steps of refinement.
void RICCATIFORT(const int* discrete, const int* n, const int* m, const double* a, const double* b, const double* q,
                 const double* r, const double* s, double* x, int* info);

}  // namespace qormath::control_utility
