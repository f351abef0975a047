#include <cmath>
#include <cstddef>
#include <vector>

#include <qormath/control/qor_math_control.hpp>
#include <qormath/control_utility/blockspectraldecomposition.hpp>
#include <qormath/lapack/lapack.hpp>

using QorMathLA::Matrix;
using QorMathLA::Vector;

namespace {

/// The address that a routine overwrites, through the leading dimension of the block.
double* dataOf(Matrix<double>& matrix) {
    double* const data = matrix.numericData(true);
    if (!matrix.hasUnitStrides()) {
        throw -1;
    }
    return data;
}

}  // namespace

void QorMathControl::BlockSpectralDecompostion(Matrix<double>& a, Matrix<double>& b, Matrix<double>& c,
                                               Matrix<double>& /*d*/, const systemType& type) {
    const int n = a.rows();
    const int m = b.cols();
    const int p = c.rows();
    const double root = std::sqrt(qormath::lapack::machineEpsilon());
    const double alpha = type == discreteSystem ? 1.0 - root : -root;
    double* const dataOfC = dataOf(c);
    double* const dataOfB = dataOf(b);
    double* const dataOfA = dataOf(a);
    if (a.cols() != n || (n > 0 && (b.rows() != n || c.cols() != n))) {
        throw -1;  // the routine would read beyond the matrices
    }

    Vector<double> wr(n);
    Vector<double> wi(n);
    const int mode = 0;
    const int workLength = 3 * n;
    std::vector<double> work(static_cast<std::size_t>(workLength));
    int count = 0;
    int info = 0;
    qormath::control_utility::BLOCKSPECTRALDECOMPOSITION(
        &mode, &n, &m, &p, &alpha, dataOfA, &a.storedRows, dataOfB, &b.storedRows, dataOfC, &c.storedRows, &count,
        nullptr, &n, wr.numericData(), wi.numericData(), work.data(), &workLength, &info);
    if (info != 0) {
        throw -1;
    }
}

void QorMathControl::FromSchurToBlockDiagonalForm(Matrix<double>& t, Matrix<double>& q, int& /*count*/,
                                                  Vector<int>& blocks) {
    const int n = t.rows();
    q = Matrix<double>(n, n);
    q.setIdentity(n);
    blocks = Vector<int>(n);
    blocks.fill(0);
    throw -1;
}
