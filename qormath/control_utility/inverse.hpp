#pragma once

#include <cstddef>
#include <vector>

namespace qormath::control_utility {

/// Numbers of the work array of invertFactors.
std::size_t workToInvert(int n);

/// The inverse of a regular matrix but for the order of its columns, x = u^-1 l^-1, in the place of its factors as
/// getrf leaves them, in n by n elements with leading dimension n; work may be unset. Returned is, for each k, where
/// column k of the inverse is, by the exchanges of getrf.
///
/// The inverse of u is made by halves, with products and substitutions as large as the halves, and x from x l = u^-1 by
/// substitution in blocks of columns. Both leave the residual of x and the matrix, in this order, within
/// n eps norm(x) norm(l) norm(u), as the inversion of LAPACK does. Source: J. J. Du Croz and N. J. Higham, "Stability
/// of methods for matrix inversion", IMA J. Numer. Anal. 12 (1992), 1-19. Cost: 4/3 n^3 flops.
std::vector<int> invertFactors(int n, double* lu, const int* pivots, double* work);

}  // namespace qormath::control_utility
