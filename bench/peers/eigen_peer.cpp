#include "eigen_peer.hpp"

// Eigen with its products in the BLAS is other code under the same names than Eigen without, which other rows use; a
// namespace of its own keeps the two apart in one program.
#define EIGEN_USE_BLAS
#define Eigen EigenOnBlas
#include <Eigen/Core>
#include <Eigen/LU>
#include <unsupported/Eigen/MatrixFunctions>
#undef Eigen

namespace qormath::peers {

using QorMathLA::Matrix;

Matrix<double> eigenExponential(const Matrix<double>& a) {
    const EigenOnBlas::Map<const EigenOnBlas::MatrixXd> view(a.numericData(true), a.rows(), a.cols());
    Matrix<double> result(a.rows(), a.cols());
    EigenOnBlas::Map<EigenOnBlas::MatrixXd>(result.numericData(true), a.rows(), a.cols()) = view.exp();
    return result;
}

}  // namespace qormath::peers
