#pragma once

// What the kernels on quasi-triangular (real Schur) matrices share. All of it reads the upper triangle and the
// subdiagonal alone.

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace qormath::control_utility {

/// Address of the element at a row and a column of a column-major matrix.
template <typename T>
T* at(T* a, int lda, int row, int column) {
    return a + row + static_cast<std::ptrdiff_t>(column) * lda;
}

/// True when the rows first and first + 1 of a quasi-triangular matrix of order n share a 2 by 2 block.
inline bool startsPair(int n, const double* a, int lda, int first) {
    return first + 1 < n && *at(a, lda, first + 1, first) != 0.0;
}

/// The place nearest to wanted at which a quasi-triangular matrix can be cut without cutting a 2 by 2 block. wanted is
/// 1 or above and leaves room for a step forward.
inline int cutOutsidePair(const double* a, int lda, int wanted) {
    return *at(a, lda, wanted, wanted - 1) != 0.0 ? wanted + 1 : wanted;
}

/// Copies a quasi-triangular matrix of order n and sets what stands below its subdiagonal to zero, for use in products.
inline void copyQuasiTriangular(int n, const double* a, int lda, double* copy, int ldcopy) {
    for (int column = 0; column < n; ++column) {
        const int filled = std::min(n, column + 2);
        std::copy_n(at(a, lda, 0, column), filled, at(copy, ldcopy, 0, column));
        std::fill_n(at(copy, ldcopy, filled, column), n - filled, 0.0);
    }
}

/// The largest absolute element of a quasi-triangular matrix of order n.
inline double largestOfQuasiTriangular(int n, const double* a, int lda) {
    double largest = 0.0;
    for (int column = 0; column < n; ++column) {
        const int filled = std::min(n, column + 2);
        for (int row = 0; row < filled; ++row) {
            largest = std::max(largest, std::abs(*at(a, lda, row, column)));
        }
    }
    return largest;
}

/// The largest absolute element of an m by n matrix.
inline double largestElement(int m, int n, const double* a, int lda) {
    double largest = 0.0;
    for (int column = 0; column < n; ++column) {
        for (int row = 0; row < m; ++row) {
            largest = std::max(largest, std::abs(*at(a, lda, row, column)));
        }
    }
    return largest;
}

/// Multiplies an m by n matrix by a factor, which is 1 nearly always.
inline void scaleMatrix(int m, int n, double factor, double* a, int lda) {
    if (factor == 1.0) {
        return;
    }
    for (int column = 0; column < n; ++column) {
        for (int row = 0; row < m; ++row) {
            *at(a, lda, row, column) *= factor;
        }
    }
}

/// Calls visit(i, j) for the places above the diagonal of a matrix of order n, in small squares: of a large matrix,
/// what is mirrored at the diagonal would else be a walk along its rows, with a line of the cache for each element.
template <typename Visit>
void forEachAboveDiagonal(int n, Visit visit) {
    constexpr int side = 32;
    for (int firstColumn = 0; firstColumn < n; firstColumn += side) {
        const int lastColumn = std::min(n, firstColumn + side);
        for (int firstRow = 0; firstRow < lastColumn; firstRow += side) {
            for (int column = firstColumn; column < lastColumn; ++column) {
                const int lastRow = std::min(column, firstRow + side);
                for (int row = firstRow; row < lastRow; ++row) {
                    visit(row, column);
                }
            }
        }
    }
}

/// Copies the upper triangle of a square matrix to the lower one.
template <typename Real>
void mirrorUpperTriangle(int n, Real* a, int lda) {
    forEachAboveDiagonal(n, [=](int row, int column) { *at(a, lda, column, row) = *at(a, lda, row, column); });
}

}  // namespace qormath::control_utility
