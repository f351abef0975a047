#pragma once

#include <vector>

#include <qormath/control_utility/reflector_block.hpp>

namespace qormath::control_utility {

/// An orthogonal matrix Z of order n as a product of reflectors, the first that acts on rows 0 to n - 1, the next on
/// rows 1 to n - 1 and so on, and what the reduction by it has found.
struct Staircase {
    int size = 0;                        ///< n, the order of Z
    int order = 0;                       ///< order of the controllable part
    std::vector<int> blockSizes;         ///< ranks of the stairs, never increasing; their sum is order
    std::vector<ReflectorBlock> blocks;  ///< the reflectors, of which Z is the product
};

/// Reduces the pair (A, B), A of order n and packed, B of n by m with leading dimension ldb, to staircase form in
/// place:
///
///     Z' A Z = [ Ac  * ]     Z' B = [ Bc ]
///              [ 0  Au ]            [ 0  ]
///
/// with the pair (Ac, Bc) controllable and of the order that the result tells. Bc has its first stair in the leading
/// rows, of full row rank; below the block diagonal Ac holds one stair of full row rank for each further block. What
/// lies below the stairs is exactly zero. Au holds the uncontrollable modes.
///
/// The rank of a stair is the number of diagonal elements of its column-pivoted QR factorisation above
/// tolerance * max(|A|, |B|) in the Frobenius norm; a tolerance that is not above 0 means n * eps with eps = 2^-53. A
/// stair that has full row rank as it stands is not touched, nor are rows below the last that it reaches: a pair that
/// already has the form keeps its elements, and Z is the identity.
///
/// A pair with NaN or infinity is left as it stands, with Z the identity and order 0, and so is one with ldb below n.
/// Only the first n rows of B are read or written.
///
/// P. Van Dooren, The generalized eigenstructure problem in linear system theory, IEEE Transactions on Automatic
/// Control 26 (1981); C. C. Paige, Properties of numerical algorithms related to computing controllability, ibid.;
/// H. H. Rosenbrock, State-space and multivariable theory, Nelson 1970.
///
/// Cost: 10/3 n^3 operations for a pair of full order.
Staircase reduceToStaircase(int n, int m, double* a, double* b, int ldb, double tolerance);

/// The same with a choice of how many reflectors are gathered before they go into A together, as products; 0 lets each
/// stair go into A at once, and so does a stair of higher rank. The form above chooses by n.
Staircase reduceToStaircase(int n, int m, double* a, double* b, int ldb, double tolerance, int groupWidth);

/// Writes Z, of order n and packed, to z.
void formTransformation(const Staircase& staircase, double* z);

/// c := c Z, for a packed c of p rows.
void multiplyByTransformation(int p, double* c, const Staircase& staircase);

}  // namespace qormath::control_utility
