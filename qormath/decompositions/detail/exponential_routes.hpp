#pragma once

#include <qormath/core/matrix.hpp>

namespace qormath::decompositions {

/// exp(m) of a square matrix by the Padé approximant of degree 6, whose denominator goes through the pseudo-inverse.
/// What is not finite gives NaN.
QorMathLA::Matrix<double> exponentialByApproximant(QorMathLA::Matrix<double> m);

/// Replaces the top rows of [a b; 0 0] by those of its exponential, which is exp(s) times that of the matrix less s I;
/// the shift s is to bring a near to zero. top holds a (n by n) and b (n by m) side by side, with columns ldTop apart;
/// n is at least 1. False where exp(s), a power of a - s I, or its exponential is not finite; top is then as it was.
///
/// Scaling and squaring of the Taylor polynomial of degree 2, 4, 8, 12 or 21, each evaluated in the fewest products,
/// with nothing to divide by. The largest has three terms more, which come close to those of the series. Degree and
/// scaling go by the norms of those powers of a that are computed anyway, and in large matrices by estimates for some
/// higher ones, so that a matrix far from normal is not scaled down for its norm's sake. They go by a and s alone: the
/// top right block is linear in b.
///
/// Sources: P. Bader, S. Blanes, F. Casas, "Computing the matrix exponential with an optimized Taylor polynomial
/// approximation", Mathematics 7 (2019), 1174; degree 21: J. Sastre, J. Ibáñez, E. Defez, "Boosting the computation of
/// the matrix exponential", Appl. Math. Comput. 340 (2019), 206-220, with coefficients of our own, chosen for little
/// cancellation; norms of powers: A. H. Al-Mohy, N. J. Higham, "A new scaling and squaring algorithm for the matrix
/// exponential", SIAM J. Matrix Anal. Appl. 31 (2009), 970-989. Cost: at most five products of order n, and one for
/// each squaring.
bool exponentialBySeries(int n, int m, double shift, double* top, int ldTop);

}  // namespace qormath::decompositions
