#include <algorithm>
#include <cstddef>
#include <vector>

#include <qormath/core/arithmetic.hpp>
#include <qormath/core/matrix.hpp>
#include <qormath/lapack/finite.hpp>
#include <qormath/lapack/lapack.hpp>

namespace QorMathLA {

namespace {

// LAPACK does not promise to come back from NaN or infinity, so such a matrix is reported as the failure of the
// routine that would have iterated on it.
void requireFinite(const BasicMatrix<double>& matrix, int rows, int cols, const char* operation) {
    if (!qormath::lapack::allFinite(rows, cols, matrix.numericData(true), matrix.storedRows)) {
        throw xmsg(NumericFailure, operation);
    }
}

void requireSuccess(int info, const char* operation) {
    if (info != 0) {
        throw xmsg(NumericFailure, operation);
    }
}

std::vector<double> doubles(int count) {
    return std::vector<double>(static_cast<std::size_t>(std::max(1, count)));
}

}  // namespace

template <>
void BasicMatrix<double>::svd(Vector<double>& s, Matrix<double>& v, int /*maxIterations*/, bool wantVectors) {
    const int m = rows();
    const int n = cols();
    const int smaller = std::min(m, n);
    s = Vector<double>(n);
    if (wantVectors) {
        v = Matrix<double>(n, n);
    }
    double* const a = numericData(true);
    if (smaller == 0) {
        if (wantVectors) {
            v.setIdentity();
        }
        return;
    }
    requireFinite(*this, m, n, "Matrix SVD");
    const int workLength = 4 * std::max({1, 5 * smaller - 4, std::max(m, n) + 3 * smaller});
    std::vector<double> work = doubles(workLength);
    const int info = qormath::lapack::gesvd('O', wantVectors ? 'A' : 'N', m, n, a, leadingDimension(true),
                                            s.numericData(), nullptr, 1, wantVectors ? v.numericData(true) : nullptr,
                                            wantVectors ? n : 1, work.data(), workLength);
    if (wantVectors) {
        v.transposeInPlace();
    }
    requireSuccess(info, "Matrix SVD");
}

template <>
BasicMatrix<double>& BasicMatrix<double>::balance() {
    const int n = cols();
    double* const a = numericData(true);
    requireFinite(*this, n, n, "Matrix balance");
    std::vector<double> scale = doubles(n);
    int ilo = 0;
    int ihi = 0;
    requireSuccess(qormath::lapack::gebal('S', n, a, leadingDimension(true), ilo, ihi, scale.data()), "Matrix balance");
    return *this;
}

template <>
BasicMatrix<double>& BasicMatrix<double>::hessenberg() {
    const int n = cols();
    double* const a = numericData(true);
    if (n == 0) {
        return *this;
    }
    std::vector<double> tau = doubles(n);
    std::vector<double> work = doubles(n);
    requireSuccess(qormath::lapack::gehrd(n, 1, n, a, leadingDimension(true), tau.data(), work.data(), n),
                   "Matrix Hessenburg reduction");
    return *this;
}

template <>
BasicMatrix<double>& BasicMatrix<double>::hessenbergEigenvalues(Vector<double>& re, Vector<double>& im,
                                                                int /*maxIterations*/) {
    const int n = cols();
    re = Vector<double>(n);
    im = Vector<double>(n);
    double* const h = numericData(true);
    if (n == 0) {
        return *this;
    }
    requireFinite(*this, n, n, "Hessenburg Matrix eigenvalues");
    std::vector<double> work = doubles(n);
    requireSuccess(qormath::lapack::hseqr('E', 'N', n, 1, n, h, leadingDimension(true), re.numericData(),
                                          im.numericData(), nullptr, 1, work.data(), n),
                   "Hessenburg Matrix eigenvalues");
    return *this;
}

template <>
BasicMatrix<double>& BasicMatrix<double>::eigenvalues(Vector<double>& re, Vector<double>& im, int maxIterations) {
    return balance().hessenberg().hessenbergEigenvalues(re, im, maxIterations);
}

MatrixSoft<double> svdCopy(const BasicMatrix<double>& a, Vector<double>& s, Matrix<double>& v, int maxIterations,
                           bool wantVectors) {
    Matrix<double> u;
    u = Matrix<double>(Matrix<double>(MatrixSoft<double>(a)), true);
    u.svd(s, v, maxIterations, wantVectors);
    return u;
}

MatrixSoft<double> pseudoInverse(const BasicMatrix<double>& a, const double& tolerance) {
    constexpr double defaultTolerance = 2.220446049250313e-16;  // 2^-52, the spacing of doubles at 1
    constexpr int maxIterations = 75;
    Vector<double> s;
    Matrix<double> v;
    const Matrix<double> u = svdCopy(a, s, v, maxIterations, true);
    if (s.size() == 0) {
        return zeroMatrix(a.cols(), a.rows());
    }
    const double cutOff = (tolerance >= 0.0 ? tolerance : defaultTolerance) * s[0];
    for (int i = 0; i < s.size(); ++i) {
        const double factor = cutOff > s[i] || s[i] == 0.0 ? 0.0 : 1.0 / s[i];
        v.column(i) *= factor;
    }
    return product(v, u.transpose());
}

}  // namespace QorMathLA
