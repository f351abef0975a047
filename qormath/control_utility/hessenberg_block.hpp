#pragma once

#include <vector>

#include <qormath/control_utility/bulge_chain.hpp>

namespace qormath::control_utility {

/// An upper Hessenberg matrix of order n on its way to a real Schur form, and the matrix of any number of rows that the
/// transformations are multiplied to from the right. What stands below the subdiagonal is zero.
struct HessenbergMatrix {
    int n = 0;
    double* h = nullptr;
    int ldh = 0;
    int rowsOfZ = 0;
    double* z = nullptr;
    int ldz = 0;
};

/// The first row of the active block that ends at the row last and starts no earlier than at earliest. The subdiagonal
/// element before it, if there is one, is negligible and set to zero.
///
/// Source of the second of the two tests: M. Ahues and F. Tisseur, "A new deflation criterion for the QR algorithm",
/// LAPACK Working Note 122 (1997).
int firstActiveRow(const HessenbergMatrix& matrix, int earliest, int last);

/// Shifts to break out of a cycle with, from the elements about the row last, which is 1 or more.
ShiftPair exceptionalShifts(const HessenbergMatrix& matrix, int last);

/// Takes the whole of a small matrix to real Schur form with standard 2 by 2 blocks, by single bulges. Of h and z there
/// must be one row and one column more, of finite numbers, which come back unchanged. False when an eigenvalue needs
/// more than a budget of sweeps.
///
/// Source: G. H. Golub and C. F. Van Loan, "Matrix Computations", 4th ed., 7.5.
bool solveSmallBlock(const HessenbergMatrix& matrix);

/// Completes an orthogonal similarity v (order by order) of which the diagonal block of h from the row first on has
/// been given the result: the rows and columns of h outside the block, and z.
void transformOutside(const HessenbergMatrix& matrix, int first, int order, const double* v, int ldv,
                      std::vector<double>& work);

}  // namespace qormath::control_utility
