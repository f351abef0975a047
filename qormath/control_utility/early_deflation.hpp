#pragma once

#include <vector>

#include <qormath/control_utility/bulge_chain.hpp>
#include <qormath/control_utility/hessenberg_block.hpp>

namespace qormath::control_utility {

/// What a window at the end of an active block has yielded.
struct EarlyDeflation {
    bool hasConverged = false;      ///< of the iteration within the window; else nothing has been changed
    int deflated = 0;               ///< rows at the end of the window that are in Schur form and split off
    std::vector<ShiftPair> shifts;  ///< the other eigenvalues of the window, the last ones first
};

/// Looks for converged eigenvalues in the trailing `order` rows of the active block of a Hessenberg matrix from the row
/// first to the row last: of the Schur form of this window, those split off that the element to its left reaches with
/// less than rounding. If there are any, the matrix is transformed, and is a Hessenberg matrix again afterwards.
///
/// Source: K. Braman, R. Byers and R. Mathias, "The multishift QR algorithm. Part II: aggressive early deflation", SIAM
/// J. Matrix Anal. Appl. 23 (2002), 948-973.
EarlyDeflation deflateEarly(const HessenbergMatrix& matrix, int first, int last, int order, std::vector<double>& work);

}  // namespace qormath::control_utility
