#pragma once

namespace qormath::control_utility {

/// Reduces the stable part of a linear system x' = A x + B u, y = C x + D u (or x(k+1) = ..., when discrete) and leaves
/// the rest of it unreduced in front.
///
/// The eigenvalues are divided at alpha: by their modulus when discrete is not 0, else by their real part. Those at or
/// beyond alpha stay, unreduced, as the leading block of A in real Schur form; a complex pair is never cut. The others
/// are the stable part, which follows as the trailing block. A is block diagonal on return: the two blocks between are
/// zero to the bit.
///
/// Every argument goes by address; matrices are packed, and keep the leading dimension n (a, b) and p (c) on return.
/// - a (n by n), b (n by m), c (p by n): in the system; out the result in the leading nr rows and columns, zeros
/// beyond.
/// - d (p by m): neither read nor written, since the truncation keeps the transfer function at infinity.
/// - ns: out, the number of states of the stable part, and of valid elements of hsv.
/// - hsv: n elements, out, the Hankel singular values of the stable part, largest first.
/// - discrete, alpha: as above; alpha may be infinite. The stable part has to be stable in the ordinary sense too.
/// - fixedOrder, nr: with fixedOrder not 0, nr on entry is the wanted order of the whole result. It is cut to the
///   minimal order, the number of Hankel singular values above ns * eps * hsv(1) and the states of the leading block
///   (eps = 2^-53), and is never below the size of the leading block. On return nr is the order of the whole result.
/// - tolerance: with fixedOrder 0, the Hankel singular values above it are kept; 0 or below stands for
///   ns * eps * hsv(1), and no order is above the minimal one. A group of values that are equal but for rounding,
///   each within 10 ns eps hsv(1) and within a thousandth of the one before, is kept whole rather than split. Below the
///   default tolerance there is nothing but rounding, so a group at that limit, each within 10 eps hsv(1) of the next,
///   is dropped whole.
/// - info: 0; -k when argument k is illegal; 1 when the system holds NaN or infinity; 2 when the Schur form cannot be
///   computed or brought into order; 3 when the two parts are too close to be separated; 4 when the stable part is not
///   stable, or its Gramians are out of range; 5 when its Hankel singular values cannot be computed; 6 when the result
///   cannot be represented. With info other than 0, a, b, c, nr and hsv are as they were, and ns is 0.
///
/// The largest gain over all frequencies of the difference between system and result is at most twice the sum of the
/// Hankel singular values that were left out.
///
/// Steps: scaling by powers of two (NORMREDUCTIONFORT); ordered Schur form; decoupling by a triangular Sylvester
/// equation; factors of the Gramians of the stable part, without the Gramians; singular values of the product of the
/// factors; balanced truncation. Where no value is left out, the stable part stays in real Schur form: that keeps its
/// digits, which a projection to the same order could only lose.
///
/// Source: M. S. Tombs and I. Postlethwaite, "Truncated balanced realization of a stable non-minimal state-space
/// system", Int. J. Control 46 (1987), 1319-1330; M. G. Safonov, E. A. Jonckheere, M. Verma and D. J. N. Limebeer,
/// "Synthesis of positive real multivariable feedback systems", Int. J. Control 45 (1987), 817-842, for the additive
/// separation; K. Glover, "All optimal Hankel-norm approximations of linear multivariable systems and their
/// L-infinity error bounds", Int. J. Control 39 (1984), 1115-1193, for the bound. Why the projection is the balanced
/// one: see balanced_truncation.hpp. Cost: about 60 n^3 flops, of which the Schur form takes 25.
void MODELREDUCTIONFORT(double* a, double* b, double* c, double* d, const int* n, const int* m, const int* p, int* ns,
                        double* hsv, const int* discrete, const int* fixedOrder, const double* tolerance, int* nr,
                        const double* alpha, int* info);

}  // namespace qormath::control_utility
