#include <algorithm>
#include <complex>
#include <cstddef>
#include <vector>

#include <qormath/control/qor_math_control.hpp>
#include <qormath/lapack/finite.hpp>
#include <qormath/lapack/lapack.hpp>

using QorMathLA::ComplexMatrix;
using QorMathLA::ComplexVector;
using QorMathLA::Matrix;

namespace {

using Complex = std::complex<double>;

/// zgees with the work length that it asks for.
int complexSchurForm(int n, Complex* t, Complex* w, Complex* z) {
    std::vector<double> realWork(static_cast<std::size_t>(n));
    Complex best = 0.0;
    const int info = qormath::lapack::gees(n, t, n, w, z, n, &best, -1, realWork.data());
    if (info != 0) {
        return info;
    }
    std::vector<Complex> work(static_cast<std::size_t>(std::max(1.0, best.real())));
    return qormath::lapack::gees(n, t, n, w, z, n, work.data(), static_cast<int>(work.size()), realWork.data());
}

}  // namespace

void QorMathControl::ComplexSchurDecomposition(const Matrix<double>& a, ComplexMatrix<double>& t,
                                               ComplexMatrix<double>& z, ComplexVector<double>& w) {
    const int n = a.rows();
    if (a.cols() != n) {
        throw -1;
    }
    const Matrix<double> copy(a);
    t = ComplexMatrix<double>(copy);
    z = ComplexMatrix<double>(n, n);
    w = ComplexVector<double>(n);
    if (!qormath::lapack::allFinite(n, n, copy.numericData(true), n) ||
        complexSchurForm(n, t.numericData(true), w.numericData(), z.numericData(true)) != 0) {
        throw -1;
    }
}
