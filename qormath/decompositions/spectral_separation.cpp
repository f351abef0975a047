#include <cmath>
#include <cstddef>
#include <vector>

#include <qormath/control/qor_math_control.hpp>
#include <qormath/control_utility/blockspectraldecomposition.hpp>
#include <qormath/lapack/lapack.hpp>

using qormath::control_utility::SpectralMeasure;
using qormath::control_utility::toOrderedSchurForm;
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

    std::vector<double> wr(static_cast<std::size_t>(n));
    std::vector<double> wi(static_cast<std::size_t>(n));
    int count = 0;
    const SpectralMeasure measure = type == discreteSystem ? SpectralMeasure::modulus : SpectralMeasure::realPart;
    const int info = toOrderedSchurForm(measure, alpha, n, m, p, dataOfA, a.storedRows, dataOfB, b.storedRows, dataOfC,
                                        c.storedRows, nullptr, 0, wr.data(), wi.data(), count);
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
