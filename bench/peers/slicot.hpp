#pragma once

// The calling sequences of the SLICOT routines that the rows use, by its manual. Each character argument has a length
// behind all others, as GNU Fortran passes it.

#include <cstddef>

extern "C" {
// ax + xb = c by the Hessenberg-Schur method.
void sb04md_(const int* n, const int* m, double* a, const int* lda, double* b, const int* ldb, double* c,
             const int* ldc, double* z, const int* ldz, int* iwork, double* dwork, const int* ldwork, int* info);

// op(a)'x + x op(a) = scale c, or op(a)'x op(a) - x = scale c.
void sb03md_(const char* dico, const char* job, const char* fact, const char* trana, const int* n, double* a,
             const int* lda, double* u, const int* ldu, double* c, const int* ldc, double* scale, double* sep,
             double* ferr, double* wr, double* wi, int* iwork, double* dwork, const int* ldwork, int* info, std::size_t,
             std::size_t, std::size_t, std::size_t);

// q + a'x + xa - xgx = 0, or q + a'x(1 + gx)^-1 a - x = 0.
void sb02md_(const char* dico, const char* hinv, const char* uplo, const char* scal, const char* sort, const int* n,
             double* a, const int* lda, const double* g, const int* ldg, double* q, const int* ldq, double* rcond,
             double* wr, double* wi, double* s, const int* lds, double* u, const int* ldu, int* iwork, double* dwork,
             const int* ldwork, int* bwork, int* info, std::size_t, std::size_t, std::size_t, std::size_t, std::size_t);

// g = b r^-1 b'.
void sb02mt_(const char* jobg, const char* jobl, const char* fact, const char* uplo, const int* n, const int* m,
             double* a, const int* lda, double* b, const int* ldb, double* q, const int* ldq, double* r, const int* ldr,
             double* l, const int* ldl, int* ipiv, int* oufact, double* g, const int* ldg, int* iwork, double* dwork,
             const int* ldwork, int* info, std::size_t, std::size_t, std::size_t, std::size_t);

// Balanced truncation of the stable part.
void ab09md_(const char* dico, const char* job, const char* equil, const char* ordsel, const int* n, const int* m,
             const int* p, int* nr, const double* alpha, double* a, const int* lda, double* b, const int* ldb,
             double* c, const int* ldc, int* ns, double* hsv, const double* tol, int* iwork, double* dwork,
             const int* ldwork, int* iwarn, int* info, std::size_t, std::size_t, std::size_t, std::size_t);

// Controllable realisation in staircase form.
void ab01nd_(const char* jobz, const int* n, const int* m, double* a, const int* lda, double* b, const int* ldb,
             int* ncont, int* indcon, int* nblk, double* z, const int* ldz, double* tau, const double* tol, int* iwork,
             double* dwork, const int* ldwork, int* info, std::size_t);

// Additive spectral decomposition (tb01kd), and the ordered Schur form alone (tb01ld).
void tb01kd_(const char* dico, const char* stdom, const char* joba, const int* n, const int* m, const int* p,
             const double* alpha, double* a, const int* lda, double* b, const int* ldb, double* c, const int* ldc,
             int* ndim, double* u, const int* ldu, double* wr, double* wi, double* dwork, const int* ldwork, int* info,
             std::size_t, std::size_t, std::size_t);
void tb01ld_(const char* dico, const char* stdom, const char* joba, const int* n, const int* m, const int* p,
             const double* alpha, double* a, const int* lda, double* b, const int* ldb, double* c, const int* ldc,
             int* ndim, double* u, const int* ldu, double* wr, double* wi, double* dwork, const int* ldwork, int* info,
             std::size_t, std::size_t, std::size_t);

// Bilinear transformation.
void ab04md_(const char* type, const int* n, const int* m, const int* p, const double* alpha, const double* beta,
             double* a, const int* lda, double* b, const int* ldb, double* c, const int* ldc, double* d, const int* ldd,
             int* iwork, double* dwork, const int* ldwork, int* info, std::size_t);

// Balancing of a system by a diagonal similarity.
void tb01id_(const char* job, const int* n, const int* m, const int* p, double* maxred, double* a, const int* lda,
             double* b, const int* ldb, double* c, const int* ldc, double* scale, int* info, std::size_t);
}
