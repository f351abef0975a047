#pragma once

#include <functional>

#include <qormath/core/matrix.hpp>

namespace qormath::models {

/// The singular value decomposition of a Gram matrix, of whose vectors the leading ones are kept.
struct GramFactors {
    QorMathLA::Vector<double> s;  ///< all singular values, in descending order
    QorMathLA::Matrix<double> u;  ///< the kept left singular vectors
    QorMathLA::Matrix<double> v;  ///< the kept right singular vectors
};

/// How many singular vectors are kept, given all singular values.
using KeptCount = std::function<int(const QorMathLA::Vector<double>&)>;

/// By BasicMatrix::svd. Throws as that does.
GramFactors factorsBySvd(const QorMathLA::Matrix<double>& gram, const KeptCount& kept);

/// From the eigenvalues and vectors of the matrix, which are its singular values and both its left and its right
/// singular vectors. It saves most of the work, the more the faster the singular values fall.
///
/// False, and factors is undetermined, where the result may differ from that of svd by more than rounding: unless the
/// matrix is finite and symmetric up to rounding, and the kept singular values stand clear of the rounding of the
/// largest. Values in the rounding of the largest may come as 0.
bool factorsBySymmetry(const QorMathLA::Matrix<double>& gram, const KeptCount& kept, GramFactors& factors);

/// By symmetry where that is allowed, else by svd.
GramFactors gramFactors(const QorMathLA::Matrix<double>& gram, const KeptCount& kept);

}  // namespace qormath::models
