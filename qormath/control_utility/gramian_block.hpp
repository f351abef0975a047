#pragma once

#include <vector>

namespace qormath::control_utility {

/// What the rows above a diagonal block need of its controllability factor. Packed by columns.
struct GramianBlock {
    int order = 0;  // k, the order of the block
    int width = 0;  // w, the columns of b

    /// k by k + w: s^-1 a s and beside it s^-1 b, with rows and columns of zeros where s has a column of zeros, but for
    /// the diagonal of s^-1 a s. In discrete time the other rows are orthonormal.
    std::vector<double> similar;

    /// Discrete time only, w by k + w: orthonormal rows that are orthogonal to those rows of similar.
    std::vector<double> complement;
};

/// The controllability factor s of a quasi-triangular a (k by k, zero below its subdiagonal) and of b (k by width), by
/// one eigenvalue or pair of eigenvalues after another, from the last. a is stable. b is overwritten. s is written
/// above and on its diagonal. On return a s s' + s s' a' = -scale^2 b b', or in discrete time the equation of that.
///
/// All of the work is on columns; GramianBlock costs as much again. This is the kernel for diagonal blocks of larger
/// problems.
GramianBlock factorGramianBlock(bool discrete, int k, int width, const double* a, int lda, double* b, int ldb,
                                double* s, int lds, double& scale);

}  // namespace qormath::control_utility
