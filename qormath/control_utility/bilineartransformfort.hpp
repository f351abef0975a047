#pragma once

namespace qormath::control_utility {

/// The bilinear map s = beta (z - alpha) / (z + alpha) between the s and the z plane, applied to a system in place:
/// the transfer function of the result at z (direction 0, continuous to discrete), or at s (direction 1, discrete to
/// continuous), is that of the given system at the point which the map pairs with it. The order stays.
///
/// With M = beta I - a, direction 0 gives
///   a = alpha M^-1 (beta I + a),  b = f M^-1 b,  c = g c M^-1,  d = d + c M^-1 b,
/// and with M = alpha I + a, direction 1 gives
///   a = beta M^-1 (a - alpha I),  b = f M^-1 b,  c = g c M^-1,  d = d - c M^-1 b,
/// where f = sqrt(2 |alpha beta|), and g is f with the sign of alpha beta. One undoes the other.
///
/// Every number goes by address. a (n by n), b (n by m), c (p by n) and d (p by m) are packed. alpha and beta are
/// finite and not zero; Tustin's rule is alpha 1 and beta 2 over the sample time.
///
/// info: 0; -k when argument k is illegal; 1 when a holds NaN or infinity, or the new a would; 2 when M is singular to
/// working precision, for a has an eigenvalue at beta, or -alpha, which the map takes to infinity. Unless info is 0
/// nothing has been written but info. NaN and infinity in b, c and d go where they lead.
///
/// M is factored once. The new a is a multiple of M^-1 plus a multiple of I, from one inverse, unless M is close to
/// singular or the sum is smaller than its terms; then M is factored anew for the solution above. Rows and columns are
/// scaled by powers of two first, so that states in very different units do not pass for a singular matrix. Source: A.
/// Tustin, "A method of analysing the behaviour of linear systems in terms of time series", J. IEE 94 (1947), 130-142;
/// U. M. Al-Saggaf and G. F. Franklin, "Model reduction via balanced realizations: an extension and frequency weighting
/// techniques", IEEE Trans. Autom. Control 33 (1988), 687-692. Cost: 2 n^3 + 2 n^2 (m + p) + 2 n m p flops.
void BILINEARTRANSFORMFORT(const int* direction, const int* n, const int* m, const int* p, double* a, double* b,
                           double* c, double* d, const double* alpha, const double* beta, int* info);

/// The same, with info as its value. Without mayInvert the new a is solved for in any case: what runs where an inverse
/// does not serve, and its oracle.
int transformBilinearly(int direction, int n, int m, int p, double* a, double* b, double* c, double* d, double alpha,
                        double beta, bool mayInvert);

}  // namespace qormath::control_utility
