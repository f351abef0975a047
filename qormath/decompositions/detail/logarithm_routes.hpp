#pragma once

#include <qormath/core/complex_matrix.hpp>
#include <qormath/core/matrix.hpp>

namespace qormath::decompositions {

/// Replaces a real Schur form t by its principal logarithm, which is real. False, with t of no use, where an eigenvalue
/// is too close to the closed negative axis for that, or where the roots do not give t back.
///
/// Inverse scaling and squaring: square roots are taken until the powers of root - I are small, and the diagonal Padé
/// approximant of the logarithm is summed by its partial fractions. Diagonal blocks, of root - I and of the result,
/// come from the eigenvalues, so that nothing cancels there. It divides by no difference of eigenvalues.
///
/// Sources: A. H. Al-Mohy, N. J. Higham, "Improved inverse scaling and squaring algorithms for the matrix logarithm",
/// SIAM J. Sci. Comput. 34 (2012), C153-C169; A. H. Al-Mohy, N. J. Higham, S. D. Relton, "Computing the Frechet
/// derivative of the matrix logarithm and estimating the condition number", ibid. 35 (2013), C394-C410 (the real form);
/// roots: N. J. Higham, "Computing real square roots of a real matrix", Linear Algebra Appl. 88/89 (1987), 405-430;
/// E. Deadman, N. J. Higham, R. Ralha, "Blocked Schur algorithms for computing the matrix square root", LNCS 7782
/// (2013), 171-182.
/// Cost: of order n^3 / 3 for each root, for each of up to eight fractions, and for two or three products.
bool logarithmOfSchurForm(QorMathLA::Matrix<double>& t);

/// u t u' with t quasi-triangular.
QorMathLA::Matrix<double> fromSchurBasis(const QorMathLA::Matrix<double>& u, const QorMathLA::Matrix<double>& t);

/// The real logarithm of a square matrix that way. False where it gives none.
bool logarithmByRoots(const QorMathLA::Matrix<double>& a, QorMathLA::Matrix<double>& logarithm);

/// The logarithm by Parlett's recurrence, with its checks and its second attempt. The recurrence is a private member of
/// QorMathControl.
QorMathLA::ComplexMatrix<double> logarithmByRecurrence(const QorMathLA::Matrix<double>& a,
                                                       void (*recurrence)(const QorMathLA::Matrix<double>&,
                                                                          QorMathLA::ComplexMatrix<double>&, double&));

}  // namespace qormath::decompositions
