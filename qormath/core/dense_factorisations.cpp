#include <algorithm>
#include <cstddef>
#include <vector>

#include <qormath/core/arithmetic.hpp>
#include <qormath/core/matrix.hpp>
#include <qormath/lapack/finite.hpp>
#include <qormath/lapack/lapack.hpp>

namespace QorMathLA {

namespace {

void requireSuccess(bool success, const char* operation) {
    if (!success) {
        throw xmsg(NumericFailure, operation);
    }
}

// LAPACK does not promise to come back from NaN or infinity, so such a matrix is reported as the failure of the
// routine that would have iterated on it.
void requireFinite(const BasicMatrix<double>& matrix, const char* operation) {
    const bool finite =
        qormath::lapack::allFinite(matrix.rows(), matrix.cols(), matrix.numericData(true), matrix.storedRows);
    requireSuccess(finite, operation);
}

// The elements for a routine that overwrites them. A view of another stride than 1 has no leading dimension; that is
// answered as by the view operators.
double* dataToOverwrite(BasicMatrix<double>& matrix) {
    double* const data = matrix.numericData(true);
    if (!matrix.hasUnitStrides()) {
        throw -1;
    }
    return data;
}

// The same of a square matrix. Any other would be an illegal argument to LAPACK, whose handler may stop the process.
double* squareDataToOverwrite(BasicMatrix<double>& matrix, const char* operation) {
    double* const data = dataToOverwrite(matrix);
    requireSuccess(matrix.rows() == matrix.cols(), operation);
    return data;
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
    s.fill(0.0);  // of a wide matrix, those beyond m are not computed
    if (wantVectors) {
        v = Matrix<double>(n, n);
    }
    double* const a = dataToOverwrite(*this);
    if (smaller == 0) {
        if (wantVectors) {
            v.setIdentity();
        }
        return;
    }
    requireFinite(*this, "Matrix SVD");
    const int workLength = 4 * std::max({1, 5 * smaller - 4, std::max(m, n) + 3 * smaller});
    std::vector<double> work = doubles(workLength);
    const int info = qormath::lapack::gesvd('O', wantVectors ? 'A' : 'N', m, n, a, leadingDimension(true),
                                            s.numericData(), nullptr, 1, wantVectors ? v.numericData(true) : nullptr,
                                            wantVectors ? n : 1, work.data(), workLength);
    if (wantVectors) {
        v.transposeInPlace();
    }
    requireSuccess(info == 0, "Matrix SVD");
}

template <>
BasicMatrix<double>& BasicMatrix<double>::balance() {
    constexpr const char* operation = "Matrix balance";
    double* const a = squareDataToOverwrite(*this, operation);
    const int n = cols();
    if (n == 0) {
        return *this;
    }
    requireFinite(*this, operation);
    std::vector<double> scale = doubles(n);
    int ilo = 0;
    int ihi = 0;
    requireSuccess(qormath::lapack::gebal('S', n, a, leadingDimension(true), ilo, ihi, scale.data()) == 0, operation);
    return *this;
}

template <>
BasicMatrix<double>& BasicMatrix<double>::hessenberg() {
    constexpr const char* operation = "Matrix Hessenburg reduction";
    double* const a = squareDataToOverwrite(*this, operation);
    const int n = cols();
    if (n == 0) {
        return *this;
    }
    std::vector<double> tau = doubles(n);
    std::vector<double> work = doubles(n);
    const int info = qormath::lapack::gehrd(n, 1, n, a, leadingDimension(true), tau.data(), work.data(), n);
    requireSuccess(info == 0, operation);
    return *this;
}

template <>
BasicMatrix<double>& BasicMatrix<double>::hessenbergEigenvalues(Vector<double>& re, Vector<double>& im,
                                                                int /*maxIterations*/) {
    constexpr const char* operation = "Hessenburg Matrix eigenvalues";
    double* const h = squareDataToOverwrite(*this, operation);
    const int n = cols();
    re = Vector<double>(n);
    im = Vector<double>(n);
    if (n == 0) {
        return *this;
    }
    for (int j = 0; j < n; ++j) {
        const int shown = std::min(j + 2, n);  // the rest of the column is not read
        requireSuccess(qormath::lapack::allFinite(shown, 1, &(*this)(0, j), shown), operation);
    }
    std::vector<double> work = doubles(n);
    const int info = qormath::lapack::hseqr('E', 'N', n, 1, n, h, leadingDimension(true), re.numericData(),
                                            im.numericData(), nullptr, 1, work.data(), n);
    requireSuccess(info == 0, operation);
    return *this;
}

template <>
BasicMatrix<double>& BasicMatrix<double>::eigenvalues(Vector<double>& re, Vector<double>& im, int maxIterations) {
    return balance().hessenberg().hessenbergEigenvalues(re, im, maxIterations);
}

MatrixSoft<double> svdCopy(const BasicMatrix<double>& a, Vector<double>& s, Matrix<double>& v, int maxIterations,
                           bool wantVectors) {
    Matrix<double> u = Matrix<double>::copyOf(a);
    u.svd(s, v, maxIterations, wantVectors);
    return u;
}

MatrixSoft<double> pseudoInverse(const BasicMatrix<double>& a, const double& tolerance) {
    constexpr double defaultTolerance = 2.220446049250313e-16;  // 2^-52, the spacing of doubles at 1
    constexpr int maxIterations = 75;
    Vector<double> s;
    Matrix<double> v;
    const Matrix<double> u = svdCopy(a, s, v, maxIterations, true);
    const int computed = std::min(a.rows(), a.cols());
    if (computed == 0) {
        return zeroMatrix(a.cols(), a.rows());
    }
    const double cutOff = (tolerance >= 0.0 ? tolerance : defaultTolerance) * s[0];
    for (int i = 0; i < computed; ++i) {
        const double factor = cutOff > s[i] || s[i] == 0.0 ? 0.0 : 1.0 / s[i];
        v.column(i) *= factor;
    }
    // Of a wide matrix, the columns beyond the rows hold no singular vectors.
    const Range all(-1, -1, 1);
    const Range leading(0, computed - 1, 1);
    return v(all, leading) * u(all, leading).transpose();
}

}  // namespace QorMathLA
