#pragma once

// LAPACK behind typed inline functions, through the LAPACKE calls that neither copy nor scan their arguments.
// All matrices are column-major. Each function returns LAPACK's info: 0 for success, above 0 for an outcome that the
// caller turns into what it has promised. Info below 0 is a mistake of the caller's code. Leading dimensions and work
// lengths go out as at least 1, so that an empty matrix gives an empty result.
//
// LAPACK promises nothing about NaN and infinity: its iterations may stop the process or take them for an illegal
// argument. Callers ask allFinite (finite.hpp) first.

// LAPACKE's complex types are to be the C++ ones; its defaults are those of C. Some releases go by the first macro,
// others by the types.
#ifndef LAPACK_COMPLEX_CPP
#define LAPACK_COMPLEX_CPP
#endif
#include <cmath>
#include <complex>
#include <cstddef>
#ifndef lapack_complex_float
#define lapack_complex_float std::complex<float>
#endif
#ifndef lapack_complex_double
#define lapack_complex_double std::complex<double>
#endif
#include <lapacke.h>

#include <qormath/lapack/blas.hpp>

// Kernels that LAPACKE leaves out, by their Fortran names.
extern "C" {
void dlanv2_(double* a, double* b, double* c, double* d, double* rt1r, double* rt1i, double* rt2r, double* rt2i,
             double* cs, double* sn);
void dlasy2_(const int* ltranl, const int* ltranr, const int* isgn, const int* n1, const int* n2, const double* tl,
             const int* ldtl, const double* tr, const int* ldtr, const double* b, const int* ldb, double* scale,
             double* x, const int* ldx, double* xnorm, int* info);
void dlartg_(const double* f, const double* g, double* c, double* s, double* r);
}

namespace qormath::lapack {

/// Machine parameters by LAPACK's letters. The relative machine precision "e" is 2^-53.
inline double lamch(char which) {
    return LAPACKE_dlamch_work(which);
}

/// Relative machine precision, 2^-53.
inline double machineEpsilon() {
    return lamch('e');
}

// ---------------------------------------------------------------- copies, norms and elementary transformations

/// Copies an m by n matrix.
inline void lacpy(int m, int n, const double* a, int lda, double* b, int ldb) {
    LAPACKE_dlacpy_work(LAPACK_COL_MAJOR, 'A', m, n, a, atLeastOne(lda), b, atLeastOne(ldb));
}

/// Copies one triangle, with the diagonal, of an m by n matrix.
inline void lacpy(Triangle triangle, int m, int n, const double* a, int lda, double* b, int ldb) {
    LAPACKE_dlacpy_work(LAPACK_COL_MAJOR, static_cast<char>(triangle), m, n, a, atLeastOne(lda), b, atLeastOne(ldb));
}

/// Sets an m by n matrix to offDiagonal outside and diagonal on the diagonal.
inline void laset(int m, int n, double offDiagonal, double diagonal, double* a, int lda) {
    LAPACKE_dlaset_work(LAPACK_COL_MAJOR, 'A', m, n, offDiagonal, diagonal, a, atLeastOne(lda));
}

enum class Norm : char { maxAbs = 'M', frobenius = 'F' };

/// The largest absolute element, or the Frobenius norm, of an m by n matrix.
inline double lange(Norm norm, int m, int n, const double* a, int lda) {
    double work = 0.0;
    return LAPACKE_dlange_work(LAPACK_COL_MAJOR, static_cast<char>(norm), m, n, a, atLeastOne(lda), &work);
}

/// The 1-norm of an m by n matrix; not a number where an element is none. By the sums of BLAS, since dlange waits for
/// each addition before the next one.
inline double lange1(int m, int n, const double* a, int lda) {
    double norm = 0.0;
    for (int column = 0; column < n && !std::isnan(norm); ++column) {
        const double sum = asum(m, a + static_cast<std::ptrdiff_t>(column) * lda, 1);
        norm = sum <= norm ? norm : sum;
    }
    return norm;
}

/// Plane rotation that takes (f, g) to (r, 0).
inline void lartg(double f, double g, double& c, double& s, double& r) {
    dlartg_(&f, &g, &c, &s, &r);
}

/// Elementary reflector of order n that takes (alpha, x) to (beta, 0); alpha becomes beta, x the reflector's tail.
inline void larfg(int n, double& alpha, double* x, int incx, double& tau) {
    LAPACKE_dlarfg_work(n, &alpha, x, incx, &tau);
}

/// Brings a 2 by 2 block to standard real Schur form by a rotation (cs, sn), and tells its eigenvalues.
inline void lanv2(double& a, double& b, double& c, double& d, double& re1, double& im1, double& re2, double& im2,
                  double& cs, double& sn) {
    dlanv2_(&a, &b, &c, &d, &re1, &im1, &re2, &im2, &cs, &sn);
}

/// Solves op(tl) x + sign x op(tr) = scale b for blocks of order 1 or 2. Info 1: the blocks were perturbed.
inline int lasy2(Op opLeft, Op opRight, int sign, int n1, int n2, const double* tl, int ldtl, const double* tr,
                 int ldtr, const double* b, int ldb, double& scale, double* x, int ldx, double& xnorm) {
    const int transLeft = opLeft == Op::transpose;
    const int transRight = opRight == Op::transpose;
    int info = 0;
    dlasy2_(&transLeft, &transRight, &sign, &n1, &n2, tl, &ldtl, tr, &ldtr, b, &ldb, &scale, x, &ldx, &xnorm, &info);
    return info;
}

// ---------------------------------------------------------------- linear systems

/// LU factorisation with partial pivoting of an m by n matrix. Info k above 0: pivot k is exactly zero.
inline int getrf(int m, int n, double* a, int lda, int* pivots) {
    return LAPACKE_dgetrf_work(LAPACK_COL_MAJOR, m, n, a, atLeastOne(lda), pivots);
}

/// Solves op(a) x = b from the factors of getrf.
inline int getrs(Op op, int n, int rhs, const double* lu, int lda, const int* pivots, double* b, int ldb) {
    return LAPACKE_dgetrs_work(LAPACK_COL_MAJOR, static_cast<char>(op), n, rhs, lu, atLeastOne(lda), pivots, b,
                               atLeastOne(ldb));
}

/// The two in single precision.
inline int getrf(int m, int n, float* a, int lda, int* pivots) {
    return LAPACKE_sgetrf_work(LAPACK_COL_MAJOR, m, n, a, atLeastOne(lda), pivots);
}

inline int getrs(Op op, int n, int rhs, const float* lu, int lda, const int* pivots, float* b, int ldb) {
    return LAPACKE_sgetrs_work(LAPACK_COL_MAJOR, static_cast<char>(op), n, rhs, lu, atLeastOne(lda), pivots, b,
                               atLeastOne(ldb));
}

/// Estimate of the reciprocal 1-norm condition number from the factors of getrf and the 1-norm of the matrix; work has
/// 4 n elements and integerWork n.
inline int gecon(int n, const double* lu, int lda, double norm1, double& reciprocal, double* work, int* integerWork) {
    return LAPACKE_dgecon_work(LAPACK_COL_MAJOR, '1', n, lu, atLeastOne(lda), norm1, &reciprocal, work, integerWork);
}

/// Cholesky factorisation of a positive definite matrix, of which the upper triangle is read and replaced. Info k above
/// 0: the leading block of order k is not positive definite.
inline int potrf(int n, double* a, int lda) {
    return LAPACKE_dpotrf_work(LAPACK_COL_MAJOR, 'U', n, a, atLeastOne(lda));
}

/// Pivoted Cholesky factorisation of a positive semi-definite matrix, of which the lower triangle is read and replaced:
/// column k of the factor belongs to row pivots[k] (one-based). It ends where no diagonal element is above tolerance;
/// rank is the number of columns found, and info 1 tells that it is below n. work has 2 n elements.
inline int pstrf(int n, double* a, int lda, int* pivots, int& rank, double tolerance, double* work) {
    return LAPACKE_dpstrf_work(LAPACK_COL_MAJOR, 'L', n, a, atLeastOne(lda), pivots, &rank, tolerance, work);
}

// ---------------------------------------------------------------- orthogonal factorisations

inline int geqrf(int m, int n, double* a, int lda, double* tau, double* work, int lwork) {
    return LAPACKE_dgeqrf_work(LAPACK_COL_MAJOR, m, n, a, atLeastOne(lda), tau, work, lwork);
}

inline int gerqf(int m, int n, double* a, int lda, double* tau, double* work, int lwork) {
    return LAPACKE_dgerqf_work(LAPACK_COL_MAJOR, m, n, a, atLeastOne(lda), tau, work, lwork);
}

/// QR with column pivoting; pivots is one-based, 0 on entry leaves a column free.
inline int geqp3(int m, int n, double* a, int lda, int* pivots, double* tau, double* work, int lwork) {
    return LAPACKE_dgeqp3_work(LAPACK_COL_MAJOR, m, n, a, atLeastOne(lda), pivots, tau, work, lwork);
}

inline int orgqr(int m, int n, int k, double* a, int lda, const double* tau, double* work, int lwork) {
    return LAPACKE_dorgqr_work(LAPACK_COL_MAJOR, m, n, k, a, atLeastOne(lda), tau, work, lwork);
}

/// c = op(q) c or c op(q), with q the product of k reflectors that geqrf or geqp3 left in a, and c of m by n.
inline int ormqr(Side side, Op op, int m, int n, int k, const double* a, int lda, const double* tau, double* c, int ldc,
                 double* work, int lwork) {
    return LAPACKE_dormqr_work(LAPACK_COL_MAJOR, static_cast<char>(side), static_cast<char>(op), m, n, k, a,
                               atLeastOne(lda), tau, c, atLeastOne(ldc), work, lwork);
}

inline int ormrq(Side side, Op op, int m, int n, int k, const double* a, int lda, const double* tau, double* c, int ldc,
                 double* work, int lwork) {
    return LAPACKE_dormrq_work(LAPACK_COL_MAJOR, static_cast<char>(side), static_cast<char>(op), m, n, k, a,
                               atLeastOne(lda), tau, c, atLeastOne(ldc), work, lwork);
}

// ---------------------------------------------------------------- singular values

/// Singular value decomposition; jobu and jobvt as in LAPACK ('A', 'S', 'O', 'N').
inline int gesvd(char jobu, char jobvt, int m, int n, double* a, int lda, double* s, double* u, int ldu, double* vt,
                 int ldvt, double* work, int lwork) {
    return LAPACKE_dgesvd_work(LAPACK_COL_MAJOR, jobu, jobvt, m, n, a, atLeastOne(lda), s, u, atLeastOne(ldu), vt,
                               atLeastOne(ldvt), work, lwork);
}

/// The same by divide and conquer, several times faster with vectors; job 'A', 'S' or 'N', iwork of 8 min(m, n). Info
/// above 0: no convergence, and gesvd may still succeed on a fresh copy.
inline int gesdd(char job, int m, int n, double* a, int lda, double* s, double* u, int ldu, double* vt, int ldvt,
                 double* work, int lwork, int* iwork) {
    return LAPACKE_dgesdd_work(LAPACK_COL_MAJOR, job, m, n, a, atLeastOne(lda), s, u, atLeastOne(ldu), vt,
                               atLeastOne(ldvt), work, lwork, iwork);
}

/// Reduces a square matrix to upper bidiagonal form, q b p': d of n and e of n - 1 elements. The reflectors stay in a,
/// tauq and taup (n elements each).
inline int gebrd(int n, double* a, int lda, double* d, double* e, double* tauq, double* taup, double* work, int lwork) {
    return LAPACKE_dgebrd_work(LAPACK_COL_MAJOR, n, n, a, atLeastOne(lda), d, e, tauq, taup, work, lwork);
}

/// Singular values (descending, in d) and vectors u and vt of an upper bidiagonal matrix, by divide and conquer; work
/// of 3 n^2 + 4 n, iwork of 8 n. Info above 0: no convergence.
inline int bdsdc(int n, double* d, double* e, double* u, int ldu, double* vt, int ldvt, double* work, int* iwork) {
    return LAPACKE_dbdsdc_work(LAPACK_COL_MAJOR, 'U', 'I', n, d, e, u, atLeastOne(ldu), vt, atLeastOne(ldvt), nullptr,
                               nullptr, work, iwork);
}

/// c = q c ('Q') or p c ('P'), with the products of n reflectors that gebrd left in a, and c of n by columns.
inline int ormbr(char which, int n, int columns, const double* a, int lda, const double* tau, double* c, int ldc,
                 double* work, int lwork) {
    return LAPACKE_dormbr_work(LAPACK_COL_MAJOR, which, 'L', 'N', n, columns, n, a, atLeastOne(lda), tau, c,
                               atLeastOne(ldc), work, lwork);
}

// ---------------------------------------------------------------- eigenvalues and Schur forms

/// Balances a square matrix; job 'S' scales, 'P' permutes, 'B' does both.
inline int gebal(char job, int n, double* a, int lda, int& ilo, int& ihi, double* scale) {
    return LAPACKE_dgebal_work(LAPACK_COL_MAJOR, job, n, a, atLeastOne(lda), &ilo, &ihi, scale);
}

inline int gehrd(int n, int ilo, int ihi, double* a, int lda, double* tau, double* work, int lwork) {
    return LAPACKE_dgehrd_work(LAPACK_COL_MAJOR, n, ilo, ihi, a, atLeastOne(lda), tau, work, lwork);
}

inline int hseqr(char job, char compz, int n, int ilo, int ihi, double* h, int ldh, double* wr, double* wi, double* z,
                 int ldz, double* work, int lwork) {
    return LAPACKE_dhseqr_work(LAPACK_COL_MAJOR, job, compz, n, ilo, ihi, h, atLeastOne(ldh), wr, wi, z,
                               atLeastOne(ldz), work, lwork);
}

/// The orthogonal factor of gehrd, from the reflectors that it left in a.
inline int orghr(int n, int ilo, int ihi, double* a, int lda, const double* tau, double* work, int lwork) {
    return LAPACKE_dorghr_work(LAPACK_COL_MAJOR, n, ilo, ihi, a, atLeastOne(lda), tau, work, lwork);
}

/// c = op(q) c from the left or c op(q) from the right, with q the factor of gehrd whose reflectors are in a, and c of
/// m by n.
inline int ormhr(Side side, Op op, int m, int n, int ilo, int ihi, const double* a, int lda, const double* tau,
                 double* c, int ldc, double* work, int lwork) {
    return LAPACKE_dormhr_work(LAPACK_COL_MAJOR, static_cast<char>(side), static_cast<char>(op), m, n, ilo, ihi, a,
                               atLeastOne(lda), tau, c, atLeastOne(ldc), work, lwork);
}

/// Takes the m columns of v, right eigenvectors or a basis of a balanced matrix, back to the matrix before gebal.
inline int gebak(char job, int n, int ilo, int ihi, const double* scale, int m, double* v, int ldv) {
    return LAPACKE_dgebak_work(LAPACK_COL_MAJOR, job, 'R', n, ilo, ihi, scale, m, v, atLeastOne(ldv));
}

/// Unordered real Schur form with vectors, a = vs t vs'; a is overwritten by t.
inline int gees(int n, double* a, int lda, double* wr, double* wi, double* vs, int ldvs, double* work, int lwork) {
    int sdim = 0;
    int bwork = 0;
    return LAPACKE_dgees_work(LAPACK_COL_MAJOR, 'V', 'N', nullptr, n, a, atLeastOne(lda), &sdim, wr, wi, vs,
                              atLeastOne(ldvs), work, lwork, &bwork);
}

/// Eigenvalues (ascending) and vectors of a symmetric matrix of which the upper triangle is read; a becomes the
/// vectors.
inline int syev(int n, double* a, int lda, double* w, double* work, int lwork) {
    return LAPACKE_dsyev_work(LAPACK_COL_MAJOR, 'V', 'U', n, a, atLeastOne(lda), w, work, lwork);
}

/// Reduces a symmetric matrix, of which the lower triangle is read, to tridiagonal form: d of n and e of n - 1
/// elements. The reflectors stay in a and tau (n - 1 elements).
inline int sytrd(int n, double* a, int lda, double* d, double* e, double* tau, double* work, int lwork) {
    return LAPACKE_dsytrd_work(LAPACK_COL_MAJOR, 'L', n, a, atLeastOne(lda), d, e, tau, work, lwork);
}

/// Eigenvalues (ascending, in d) and vectors z of a symmetric tridiagonal matrix, by divide and conquer. lwork is at
/// least 1 + 4 n + n^2, liwork 3 + 5 n. Info above 0: no convergence.
inline int stedc(int n, double* d, double* e, double* z, int ldz, double* work, int lwork, int* iwork, int liwork) {
    return LAPACKE_dstedc_work(LAPACK_COL_MAJOR, 'I', n, d, e, z, atLeastOne(ldz), work, lwork, iwork, liwork);
}

/// c = q c, with q the product of the reflectors that sytrd left in a, and c of m by n.
inline int ormtr(int m, int n, const double* a, int lda, const double* tau, double* c, int ldc, double* work,
                 int lwork) {
    return LAPACKE_dormtr_work(LAPACK_COL_MAJOR, 'L', 'L', 'N', m, n, a, atLeastOne(lda), tau, c, atLeastOne(ldc), work,
                               lwork);
}

/// Unordered generalised real Schur form of the pencil (a, b) = q (s, t) z'; a becomes s, b becomes t, and of the
/// vectors z alone is formed. The eigenvalues are (alphar + i alphai) / beta.
inline int gges(int n, double* a, int lda, double* b, int ldb, double* alphar, double* alphai, double* beta, double* z,
                int ldz, double* work, int lwork) {
    int sdim = 0;
    int bwork = 0;
    double unused = 0.0;
    return LAPACKE_dgges_work(LAPACK_COL_MAJOR, 'N', 'V', 'N', nullptr, n, a, atLeastOne(lda), b, atLeastOne(ldb),
                              &sdim, alphar, alphai, beta, &unused, 1, z, atLeastOne(ldz), work, lwork, &bwork);
}

/// Reorders a generalised Schur form so that the marked blocks lead, and updates z; leading is their number of rows.
/// lwork is at least 4 n + 16. Info 1: two blocks are too close to swap, and the form is in an order between.
inline int tgsen(const int* selected, int n, double* a, int lda, double* b, int ldb, double* alphar, double* alphai,
                 double* beta, double* z, int ldz, int& leading, double* work, int lwork) {
    double unused = 0.0;
    int integerWork = 0;
    return LAPACKE_dtgsen_work(LAPACK_COL_MAJOR, 0, 0, 1, selected, n, a, atLeastOne(lda), b, atLeastOne(ldb), alphar,
                               alphai, beta, &unused, 1, z, atLeastOne(ldz), &leading, &unused, &unused, &unused, work,
                               lwork, &integerWork, 1);
}

/// Moves the diagonal block of a Schur form at row first (one-based) to row last, and updates q. Info 1: two blocks
/// are too close to swap. first and last return the rows that were used.
inline int trexc(int n, double* t, int ldt, double* q, int ldq, int& first, int& last, double* work) {
    return LAPACKE_dtrexc_work(LAPACK_COL_MAJOR, 'V', n, t, atLeastOne(ldt), q, atLeastOne(ldq), &first, &last, work);
}

/// Solves op(a) x + sign x op(b) = scale c for quasi-triangular a (m) and b (n); c becomes x. Info 1: the spectra
/// were too close and have been perturbed.
inline int trsyl(Op opA, Op opB, int sign, int m, int n, const double* a, int lda, const double* b, int ldb, double* c,
                 int ldc, double& scale) {
    return LAPACKE_dtrsyl_work(LAPACK_COL_MAJOR, static_cast<char>(opA), static_cast<char>(opB), sign, m, n, a,
                               atLeastOne(lda), b, atLeastOne(ldb), c, atLeastOne(ldc), &scale);
}

// ---------------------------------------------------------------- complex

/// Solves a x = b by an LU factorisation, which replaces a; x replaces b. Info k above 0: pivot k is exactly zero, and
/// b is as it was.
inline int gesv(int n, int rhs, std::complex<double>* a, int lda, int* pivots, std::complex<double>* b, int ldb) {
    return LAPACKE_zgesv_work(LAPACK_COL_MAJOR, n, rhs, a, atLeastOne(lda), pivots, b, atLeastOne(ldb));
}

/// Unordered complex Schur form with vectors, a = vs t vs^H; a is overwritten by t. realWork has n elements.
inline int gees(int n, std::complex<double>* a, int lda, std::complex<double>* w, std::complex<double>* vs, int ldvs,
                std::complex<double>* work, int lwork, double* realWork) {
    int sdim = 0;
    int bwork = 0;
    return LAPACKE_zgees_work(LAPACK_COL_MAJOR, 'V', 'N', nullptr, n, a, atLeastOne(lda), &sdim, w, vs,
                              atLeastOne(ldvs), work, lwork, realWork, &bwork);
}

}  // namespace qormath::lapack
