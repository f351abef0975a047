#pragma once

namespace qormath::control_utility {

/// The controllability factor of one eigenvalue or one pair of them, and what the rows above it need: all of order 1
/// or 2, column-major with leading dimension 2.
struct GramianCell {
    double s[4] = {0.0, 0.0, 0.0, 0.0};        // the factor, upper triangular with a diagonal not negative
    double similar[4] = {0.0, 0.0, 0.0, 0.0};  // s^-1 a s
    bool active[2] = {false, false};           // whether the column of s is not zero
};

/// Factor of a x + x a' = -b b', or a x a' - x = -b b', for one stable eigenvalue a. b has width elements, a stride
/// apart; y, width elements a stride apart, becomes s^-1 b.
///
/// Where b is zero so are s and y, and similar stays a: the column of s has no part in anything above it.
GramianCell factorOfReal(bool discrete, double a, int width, const double* b, int ldb, double* y, int ldy);

/// The same for a 2 by 2 matrix a with two stable eigenvalues, complex or real; b and y are 2 by width.
GramianCell factorOfPair(bool discrete, const double* a, int lda, int width, const double* b, int ldb, double* y,
                         int ldy);

/// Whether the eigenvalues of the 1 by 1 or 2 by 2 block are stable.
bool isStableCell(bool discrete, int order, const double* a, int lda);

}  // namespace qormath::control_utility
