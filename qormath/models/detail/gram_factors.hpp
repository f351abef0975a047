#pragma once

#include <functional>

#include <qormath/core/matrix.hpp>

namespace qormath::models {

/// The singular value decomposition of a Gram matrix, of whose vectors the leading ones are kept.
struct GramFactors {
    QorMathLA::Vector<double> s;  ///< all singular values, in descending order
    QorMathLA::Matrix<double> u;  ///< the kept left singular vectors
    QorMathLA::Matrix<double> v;  ///< the kept right singular vectors
    /// The two are the same, and eigenvectors: gram v = v diag(s), to n eps of the largest value.
    bool areEigenvectors = false;
};

/// How many singular vectors are kept, given all singular values.
using KeptCount = std::function<int(const QorMathLA::Vector<double>&)>;

/// By BasicMatrix::svd. The matrix is an untransposed view in steps of 1, here and below. Throws as that does.
GramFactors factorsBySvd(const QorMathLA::MatrixSoft<double>& gram, const KeptCount& kept);

/// From the eigenvalues and vectors of the matrix, which are its singular values and both its left and its right
/// singular vectors. It saves most of the work, the more the faster the singular values fall.
///
/// False, and factors is undetermined, where the result may differ from that of svd by more than rounding: unless the
/// matrix is finite and symmetric up to rounding, and the kept singular values stand clear of the rounding of the
/// largest. Values in the rounding of the largest may come as 0.
bool factorsBySymmetry(const QorMathLA::MatrixSoft<double>& gram, const KeptCount& kept, GramFactors& factors);

/// By symmetry where that is allowed, else by svd.
GramFactors gramFactors(const QorMathLA::MatrixSoft<double>& gram, const KeptCount& kept);

/// The product of u', of the rows of a matrix from shift on, as many as it has columns, and of v, where the rows from 0
/// on are the Gram matrix of the factors. Where v are eigenvectors, all but the last rows of the right product stand in
/// v diag(s) already, to the accuracy of the vectors; those of small values are multiplied out in any case.
QorMathLA::Matrix<double> shiftedBetweenVectors(const QorMathLA::Matrix<double>& extendedGram, int shift,
                                                const GramFactors& factors);

}  // namespace qormath::models
