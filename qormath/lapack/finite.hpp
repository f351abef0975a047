#pragma once

#include <cmath>
#include <cstddef>

namespace qormath::lapack {

/// True when no element of the m by n column-major matrix is NaN or infinite. LAPACK's iterations promise nothing on
/// such elements, so they are looked for before a call and reported as a failure of it.
template <typename Real>
bool allFinite(int m, int n, const Real* a, int lda) {
    for (int column = 0; column < n; ++column) {
        const Real* const elements = a + static_cast<std::ptrdiff_t>(column) * lda;
        // The sum of x - x is 0 over finite elements and NaN over any other: one branch a column.
        Real defect{0};
        for (int row = 0; row < m; ++row) {
            defect += elements[row] - elements[row];
        }
        if (std::isnan(defect)) {
            return false;
        }
    }
    return true;
}

}  // namespace qormath::lapack
