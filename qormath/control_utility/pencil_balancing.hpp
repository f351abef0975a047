#pragma once

#include <vector>

#include <qormath/control_utility/riccati_problem.hpp>

namespace qormath::control_utility {

/// The factors of an ordinary balancing, as exponents of two, of the moduli of the pencil of a Riccati equation, with a
/// diagonal of zeros: of order 2 n + m in states, costates and inputs.
///
/// Each block of the pencil but the zero ones and those of the inputs stands in it twice, once transposed, so that rows
/// and columns are columns of a, a' and q alone. Elements whose squares, scaled, are not safely numbers are left to
/// balancingExponentsByLapack.
///
/// Source: B. N. Parlett and C. Reinsch, "Balancing a matrix for calculation of eigenvalues and eigenvectors", Numer.
/// Math. 13 (1969), 293-304; R. James, J. Langou and B. R. Lowery, "On matrix balancing and eigenvector computation",
/// arXiv:1401.5766 (2014), for the Euclidean norm.
std::vector<double> balancingExponents(const RiccatiProblem& problem);

/// The same from the whole pencil, by DGEBAL.
std::vector<double> balancingExponentsByLapack(const RiccatiProblem& problem);

}  // namespace qormath::control_utility
