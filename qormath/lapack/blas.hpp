#pragma once

// The BLAS behind typed inline functions. All matrices are column-major. Leading dimensions go out as at least 1,
// so that an empty matrix gives an empty result instead of a call of the BLAS argument handler.

#include <algorithm>
#include <cblas.h>
#include <complex>
#include <cstddef>

namespace qormath::lapack {

enum class Op : char { none = 'N', transpose = 'T' };
enum class ComplexOp : char { none = 'N', transpose = 'T', conjugateTranspose = 'C' };
enum class Side : char { left = 'L', right = 'R' };
enum class Triangle : char { upper = 'U', lower = 'L' };
enum class Diagonal : char { stored = 'N', unit = 'U' };

constexpr Op opposite(Op op) {
    return op == Op::none ? Op::transpose : Op::none;
}

constexpr int atLeastOne(int value) {
    return std::max(1, value);
}

constexpr CBLAS_TRANSPOSE toCblas(Op op) {
    return op == Op::none ? CblasNoTrans : CblasTrans;
}

constexpr CBLAS_TRANSPOSE toCblas(ComplexOp op) {
    return op == ComplexOp::none ? CblasNoTrans : op == ComplexOp::transpose ? CblasTrans : CblasConjTrans;
}

constexpr CBLAS_SIDE toCblas(Side side) {
    return side == Side::left ? CblasLeft : CblasRight;
}

constexpr CBLAS_UPLO toCblas(Triangle triangle) {
    return triangle == Triangle::upper ? CblasUpper : CblasLower;
}

constexpr CBLAS_DIAG toCblas(Diagonal diagonal) {
    return diagonal == Diagonal::stored ? CblasNonUnit : CblasUnit;
}

inline double dot(int n, const double* x, int incx, const double* y, int incy) {
    return cblas_ddot(n, x, incx, y, incy);
}

inline void axpy(int n, double alpha, const double* x, int incx, double* y, int incy) {
    cblas_daxpy(n, alpha, x, incx, y, incy);
}

inline void copy(int n, const double* x, int incx, double* y, int incy) {
    cblas_dcopy(n, x, incx, y, incy);
}

inline void scal(int n, double alpha, double* x, int incx) {
    cblas_dscal(n, alpha, x, incx);
}

inline void swap(int n, double* x, int incx, double* y, int incy) {
    cblas_dswap(n, x, incx, y, incy);
}

inline double nrm2(int n, const double* x, int incx) {
    return cblas_dnrm2(n, x, incx);
}

inline double asum(int n, const double* x, int incx) {
    return cblas_dasum(n, x, incx);
}

/// The place of the largest magnitude, from 0; the first of several.
inline int iamax(int n, const double* x, int incx) {
    return static_cast<int>(cblas_idamax(n, x, incx));
}

inline void rot(int n, double* x, int incx, double* y, int incy, double c, double s) {
    cblas_drot(n, x, incx, y, incy, c, s);
}

/// y = alpha * op(a) * x + beta * y, with a of m by n as stored.
inline void gemv(Op op, int m, int n, double alpha, const double* a, int lda, const double* x, int incx, double beta,
                 double* y, int incy) {
    cblas_dgemv(CblasColMajor, toCblas(op), m, n, alpha, a, atLeastOne(lda), x, incx, beta, y, incy);
}

/// a = a + alpha * x * y', with a of m by n.
inline void ger(int m, int n, double alpha, const double* x, int incx, const double* y, int incy, double* a, int lda) {
    cblas_dger(CblasColMajor, m, n, alpha, x, incx, y, incy, a, atLeastOne(lda));
}

/// x = op(a) * x with a triangular of order n.
inline void trmv(Triangle triangle, Op op, Diagonal diagonal, int n, const double* a, int lda, double* x, int incx) {
    cblas_dtrmv(CblasColMajor, toCblas(triangle), toCblas(op), toCblas(diagonal), n, a, atLeastOne(lda), x, incx);
}

/// x = op(a)^-1 * x with a triangular of order n.
inline void trsv(Triangle triangle, Op op, Diagonal diagonal, int n, const double* a, int lda, double* x, int incx) {
    cblas_dtrsv(CblasColMajor, toCblas(triangle), toCblas(op), toCblas(diagonal), n, a, atLeastOne(lda), x, incx);
}

/// c = alpha * op(a) * op(b) + beta * c, with c of m by n and inner size k.
inline void gemm(Op opA, Op opB, int m, int n, int k, double alpha, const double* a, int lda, const double* b, int ldb,
                 double beta, double* c, int ldc) {
    cblas_dgemm(CblasColMajor, toCblas(opA), toCblas(opB), m, n, k, alpha, a, atLeastOne(lda), b, atLeastOne(ldb), beta,
                c, atLeastOne(ldc));
}

/// The same in single precision.
inline void gemm(Op opA, Op opB, int m, int n, int k, float alpha, const float* a, int lda, const float* b, int ldb,
                 float beta, float* c, int ldc) {
    cblas_sgemm(CblasColMajor, toCblas(opA), toCblas(opB), m, n, k, alpha, a, atLeastOne(lda), b, atLeastOne(ldb), beta,
                c, atLeastOne(ldc));
}

/// One triangle of c = alpha * op(a) * op(a)' + beta * c, with c of order n and inner size k.
inline void syrk(Triangle triangle, Op op, int n, int k, double alpha, const double* a, int lda, double beta, double* c,
                 int ldc) {
    cblas_dsyrk(CblasColMajor, toCblas(triangle), toCblas(op), n, k, alpha, a, atLeastOne(lda), beta, c,
                atLeastOne(ldc));
}

/// One triangle of c = alpha * (op(a) * op(b)' + op(b) * op(a)') + beta * c, with c of order n and inner size k.
inline void syr2k(Triangle triangle, Op op, int n, int k, double alpha, const double* a, int lda, const double* b,
                  int ldb, double beta, double* c, int ldc) {
    cblas_dsyr2k(CblasColMajor, toCblas(triangle), toCblas(op), n, k, alpha, a, atLeastOne(lda), b, atLeastOne(ldb),
                 beta, c, atLeastOne(ldc));
}

/// c = alpha * a * b + beta * c, or alpha * b * a, with c of m by n and a symmetric, of which one triangle is read.
inline void symm(Side side, Triangle triangle, int m, int n, double alpha, const double* a, int lda, const double* b,
                 int ldb, double beta, double* c, int ldc) {
    cblas_dsymm(CblasColMajor, toCblas(side), toCblas(triangle), m, n, alpha, a, atLeastOne(lda), b, atLeastOne(ldb),
                beta, c, atLeastOne(ldc));
}

/// b = alpha * op(a) * b, or b * op(a), with a triangular and b of m by n.
inline void trmm(Side side, Triangle triangle, Op op, Diagonal diagonal, int m, int n, double alpha, const double* a,
                 int lda, double* b, int ldb) {
    cblas_dtrmm(CblasColMajor, toCblas(side), toCblas(triangle), toCblas(op), toCblas(diagonal), m, n, alpha, a,
                atLeastOne(lda), b, atLeastOne(ldb));
}

/// b = alpha * op(a)^-1 * b, or b * op(a)^-1, with a triangular and b of m by n.
inline void trsm(Side side, Triangle triangle, Op op, Diagonal diagonal, int m, int n, double alpha, const double* a,
                 int lda, double* b, int ldb) {
    cblas_dtrsm(CblasColMajor, toCblas(side), toCblas(triangle), toCblas(op), toCblas(diagonal), m, n, alpha, a,
                atLeastOne(lda), b, atLeastOne(ldb));
}

// ---------------------------------------------------------------- complex

/// The sum of conj(x_k) y_k. Neighbours alone are given to the BLAS: with steps, OpenBLAS 0.3.21 compiled for AVX2
/// reads the element that would follow the last one, which may lie on a page that is not there.
inline std::complex<double> dotc(int n, const std::complex<double>* x, int incx, const std::complex<double>* y,
                                 int incy) {
    if (incx == 1 && incy == 1) {
        std::complex<double> result;
        cblas_zdotc_sub(n, x, incx, y, incy, &result);
        return result;
    }
    const auto first = [n](std::ptrdiff_t step) { return step < 0 ? (1 - n) * step : 0; };
    std::ptrdiff_t atX = first(incx);
    std::ptrdiff_t atY = first(incy);
    double real = 0.0;
    double imaginary = 0.0;
    for (int k = 0; k < n; ++k, atX += incx, atY += incy) {
        real += x[atX].real() * y[atY].real() + x[atX].imag() * y[atY].imag();
        imaginary += x[atX].real() * y[atY].imag() - x[atX].imag() * y[atY].real();
    }
    return {real, imaginary};
}

/// c = alpha * op(a) * op(b) + beta * c, with c of m by n and inner size k.
inline void gemm(ComplexOp opA, ComplexOp opB, int m, int n, int k, const std::complex<double>& alpha,
                 const std::complex<double>* a, int lda, const std::complex<double>* b, int ldb,
                 const std::complex<double>& beta, std::complex<double>* c, int ldc) {
    cblas_zgemm(CblasColMajor, toCblas(opA), toCblas(opB), m, n, k, &alpha, a, atLeastOne(lda), b, atLeastOne(ldb),
                &beta, c, atLeastOne(ldc));
}

}  // namespace qormath::lapack
