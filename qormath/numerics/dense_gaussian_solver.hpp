#pragma once

/// @file
/// Linear systems, with a verdict on singularity.

#include <cstdint>

#include <qormath/core/matrix.hpp>
#include <qormath/core/vector.hpp>
#include <qormath/export.h>

namespace QorMathLA {

/// Solves A Y = B for a square A by Gaussian elimination with partial pivoting, P A = L U.
///
///     DenseGaussianSolver solver(a);
///     solver.initialize();
///     solver.factorize();
///     const Matrix<double> y = solver.solve(b);
///
/// The factors are made once and serve any number of right-hand sides. An A of order 0 is legal. How large or small the
/// elements of A are makes no difference.
///
/// Every failure is the int -1: initialize for an A that is not square or holds NaN or infinity; factorize before
/// initialize, or for an A that is singular to working precision, which is one whose condition number, as estimated in
/// the 1-norm, is above 2^53 or infinite; solve before factorize, or for a B whose rows are not as many as those of A.
///
/// G. H. Golub, C. F. Van Loan, "Matrix Computations", 4th ed., section 3.4; for the estimate N. J. Higham, "FORTRAN
/// codes for estimating the one-norm of a real or complex matrix", ACM Trans. Math. Software 14 (1988). Cost: 2/3 n^3
/// operations for the factors, and 2 n^2 for a column of B.
class QORMATH_API DenseGaussianSolver {
  public:
    /// Takes a copy of a, which may be any view.
    explicit DenseGaussianSolver(const Matrix<double>& a);

    /// Makes the factors' storage from the matrix, also after factorize, which may then be run again.
    void initialize();

    /// Factorises. A solver that is factorised already stays as it is; after a failure initialize has to be run again.
    void factorize();

    /// Y for all columns of b, as a new matrix. What is not finite in b stays in its column, and so does an overflow.
    MatrixSoft<double> solve(const Matrix<double>& b) const;

  private:
    enum class Stage : std::int32_t { fresh, initialized, factorized };

    Matrix<double> matrix_;
    Matrix<double> factors_;  // of the matrix times 2^-exponent_
    Vector<int> pivots_;
    int exponent_ = 0;
    Stage stage_ = Stage::fresh;
};

}  // namespace QorMathLA
