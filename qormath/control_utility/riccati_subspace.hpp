#pragma once

#include <vector>

#include <qormath/control_utility/riccati_problem.hpp>

namespace qormath::control_utility {

// The direct ways to the stabilising solution of a Riccati equation whose coefficients are of like magnitude. Each
// fills x (n by n, packed, exactly symmetric) and returns true, or false where it comes to no end. None of them checks
// that x stabilises, and each is as accurate as its coefficients allow; judgement and refinement are those of
// riccati_refinement.hpp. Doubling, the fast way, is that of riccati_doubling.hpp.

/// Continuous: the invariant subspace of the Hamiltonian matrix that belongs to its n leftmost eigenvalues. r is
/// diagonal and is inverted.
///
/// Source: A. J. Laub, "A Schur method for solving algebraic Riccati equations", IEEE Trans. Automat. Control 24
/// (1979), 913-921. Cost: about 25 (2 n)^3 flops.
bool solveByHamiltonian(const RiccatiProblem& problem, std::vector<double>& x);

/// Both: the deflating subspace of the stable eigenvalues of the extended pencil of order 2 n + m, which contains r as
/// it is, so that r may be singular. An orthogonal transformation of the rows takes the inputs out; QZ then works on
/// order 2 n.
///
/// Source: P. Van Dooren, "A generalized eigenvalue approach for solving Riccati equations", SIAM J. Sci. Stat. Comput.
/// 2 (1981), 121-135. Cost: about 66 (2 n)^3 flops.
bool solveByExtendedPencil(const RiccatiProblem& problem, std::vector<double>& x);

}  // namespace qormath::control_utility
