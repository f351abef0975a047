#pragma once

/// @file
/// Gains without their units, for whoever compares inputs.

#include <qormath/core/matrix.hpp>
#include <qormath/core/vector.hpp>
#include <qormath/export.h>

namespace qormath {

/// Factors f of the inputs of a matrix of gains, outputs as rows, that make up for the units in which the inputs are
/// counted. With factors r of the outputs they bring the gains that are not 0 as near to 1 as both together can, in the
/// least squares of logarithms: f and r minimise
///
///     sum over g(i, j) != 0 of ( log |r(i) g(i, j) f(j)| )^2.
///
/// What is computed from the gains r(i) g(i, j) f(j), or from g(i, j) f(j) with each output divided by its largest
/// element, depends on no unit, neither of an input nor of an output: an input counted in units of 1/k, with k times
/// the gain, gets a factor k times smaller, up to a factor that all inputs share, and another unit of an output is such
/// a shared factor too.
///
/// Solvable for every matrix of finite numbers, without rows or columns too. One factor for each column, above 0 and
/// finite; 1 for an input without gains. Signs of gains do not count.
///
/// Throws the int -1 if a gain is not finite.
///
/// A. R. Curtis, J. K. Reid, "On the automatic scaling of matrices for Gaussian elimination", Journal of the Institute
/// of Mathematics and its Applications 10 (1972) 118-124.
///
/// Cost: one logarithm a gain, and a sweep over all gains for each step; a handful where most pairs have a gain, at
/// most ten thousand.
QORMATH_API QorMathLA::Vector<double> unitFactors(const QorMathLA::Matrix<double>& gain);

}  // namespace qormath
