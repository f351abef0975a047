#pragma once

/// @file
/// The well conditioned parts of a gain matrix.

#include <qormath/core/matrix.hpp>
#include <qormath/core/vector.hpp>
#include <qormath/export.h>
#include <qormath/numerics/svd_sub_matrix.hpp>

namespace QorMathLA {

/// Finds the well conditioned square sub-matrices of a gain matrix: the selections of k outputs (rows) and k inputs
/// (columns) through which a plant can be controlled without large moves.
///
///     QorSVDAnalysis analysis(gain, scaling, 2, 10, true, 0.0);
///     analysis.computeAnalysis();
///     const Vector<SVDSubMatrix> best = analysis.getResults();
///
/// The scaled gain is G diag(scaling). With scaleRows each of its rows is then divided by its largest absolute element;
/// a row of zeros stays. It is of the scaled gain that sub-matrices are taken.
///
/// The condition number of a sub-matrix S is its largest singular value over its smallest one, ||S||_2 ||S^-1||_2. A
/// singular S is no result. S counts as singular if after rows and columns have been scaled by powers of 2, to largest
/// elements of about 1, Gaussian elimination with complete pivoting meets a pivot of at most 16 k eps, with eps 2^-52,
/// of the first one. That is rounding error from elements of about 1: so a matrix of integers that is exactly singular
/// is found to be so, although its computed pivot is not 0, and diag(1, 1e-20) is a result, of condition number 1e20.
///
/// The results are exact: all that an enumeration of all selections would find, to the last bit. Selections are left
/// out only where the interlacing of singular values shows that they are beyond the limit, or worse than the last
/// result that there is a place for; a limit or a number of results thus saves much of the work.
///
/// The work is limited to 100,000,000 units, which take a minute or so on one core. A unit is a look at a block of rows
/// and columns of order 1 to 3; one of order i counts 1 + i^3/64 units in whole numbers, a result that takes a new
/// place counts 19 more, and one selection of the fewer of rows and columns 64 or more. So 5,000,000 candidates of
/// order up to 3 can be ranked where all are kept.
///
/// J. W. Demmel, "The componentwise distance to the nearest singular matrix", SIAM J. Matrix Anal. Appl. 13 (1992);
/// E. H. Bristol, see SVDSubMatrix.
class QORMATH_API QorSVDAnalysis {
  public:
    /// Takes copies of the gain, which may be any view, and of the scaling, which has an element for each column.
    ///
    /// size: the order k of the sub-matrices, from 1 to the smaller dimension of the gain. 0 or below, or above that
    /// dimension, means that dimension.
    /// maxResults: above 0, the largest number of results that are kept, which are the first ones in the order of
    /// SVDSubMatrix; else all are kept.
    /// maxConditionNumber: above 0, the largest condition number that counts as a result; else, as for NaN, any finite
    /// one.
    ///
    /// A gain without rows or columns is legal, with any scaling, and has no results. Otherwise the int -1 is thrown if
    /// the scaling has another length, or if the scaled gain is not finite.
    QorSVDAnalysis(const Matrix<double>& gain, const Vector<double>& scaling, int size, int maxResults, bool scaleRows,
                   double maxConditionNumber);

    /// Finds the results; a second run finds the same. Throws the int -1, and leaves no results, once the search has
    /// taken more work than is allowed; before it is begun, where there is a place for each candidate and no limit.
    void computeAnalysis();

    /// The scaled gain, from the constructor on, as a whole matrix of the gain's shape; it is empty if the gain is.
    Matrix<double> getScaledGainMatrix() const { return scaledGain_; }

    /// The results in the ascending order of SVDSubMatrix; none before computeAnalysis.
    Vector<SVDSubMatrix> getResults() const { return results_; }

  private:
    Matrix<double> scaledGain_;
    int size_;
    int maxResults_;
    double maxConditionNumber_;  // infinite where none is asked for
    Vector<SVDSubMatrix> results_;
};

}  // namespace QorMathLA
