#pragma once

#include <qormath/control_utility/hessenberg_iteration.hpp>

namespace qormath::control_utility {

/// Unordered real Schur form a = q t q' of a finite n by n matrix, with standard 2 by 2 blocks and zeros below them. a
/// becomes t; wr and wi receive the eigenvalues in the order of its diagonal.
///
/// Large matrices go the way of the own iteration (hessenberg_iteration.hpp); the small ones, those whose elements are
/// near the ends of the range of numbers, and those for which it exceeds its budget, go through LAPACK's dgees. Returns
/// the info of that one: 0, or the k above 0 with which it tells that the iteration did not converge.
int realSchurForm(int n, double* a, int lda, double* wr, double* wi, double* q, int ldq);

/// The same, with z = z q in the place of q, for a z of any number of rows, among them none. Where these are few it
/// takes three quarters of the time.
int realSchurFormWithRows(int n, double* a, int lda, double* wr, double* wi, int rows, double* z, int ldz);

/// The same by dgees.
int realSchurFormByLapack(int n, double* a, int lda, double* wr, double* wi, double* q, int ldq);

/// The same by the own iteration, of any order. False, with a as it was, where the budget is exceeded or the largest
/// element is zero or not within 2^-300 and 2^300.
bool realSchurFormByOwnIteration(int n, double* a, int lda, double* wr, double* wi, double* q, int ldq,
                                 int fruitlessRounds = mostFruitlessRounds);

}  // namespace qormath::control_utility
