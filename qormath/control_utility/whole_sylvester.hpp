#pragma once

namespace qormath::control_utility {

/// Solves a x + x b = scale c for x, which takes the place of c, with the outcome that LAPACK's DTRSYL has on the whole
/// of a and b and at the speed of the recursive kernel (triangular_sylvester.hpp).
///
/// a (m by m) and b (n by n) are in real Schur form with zeros below it. Returns DTRSYL's info: 1 if eigenvalues of a
/// and -b are closer than max(u max |a|, u max |b|, s m n / u), with u = 2^-52, s the smallest normal number and the
/// largest elements those of the whole matrices. Two pairs of complex eigenvalues are judged against their own blocks.
/// x is then the solution of the equation that was perturbed by as much.
///
/// scale, at most 1, is DTRSYL's too. Whenever info or scale come out other than 0 and 1, and where x passes 1e270, it
/// is DTRSYL that has solved the whole equation.
///
/// G. H. Golub, S. Nash, C. Van Loan, "A Hessenberg-Schur method for the problem AX + XB = C", IEEE Trans. Automatic
/// Control 24, 1979. m n (m + n) multiplications and additions, and as many again where DTRSYL has to follow.
int solveWholeSylvester(int m, int n, const double* a, int lda, const double* b, int ldb, double* c, int ldc,
                        double& scale);

}  // namespace qormath::control_utility
