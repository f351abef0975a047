#include <algorithm>
#include <cmath>
#include <cstddef>
#include <vector>

#include <qormath/control_utility/dgees_mine.hpp>
#include <qormath/control_utility/real_schur_form.hpp>
#include <qormath/control_utility/schur_reordering.hpp>
#include <qormath/lapack/finite.hpp>
#include <qormath/lapack/lapack.hpp>

namespace qormath::control_utility {

namespace {

// Distance from the stability limit within which an eigenvalue counts as marginal: sqrt(2^-53), about 1.05e-8. It is
// the distance by which rounding moves a double integrator.
const double stabilityMargin = std::sqrt(0x1p-53);

bool isLetter(const char* text, char upper, char lower) {
    return text != nullptr && (*text == upper || *text == lower);
}

/// The number of the first illegal argument, negated, or 0; numbered without the characters' lengths.
int illegalArgument(bool wantsVectors, bool sorts, const char* job, const char* sort, SchurSelector selector, int n,
                    int ld, int ldVectors, int workLength) {
    if (!wantsVectors && !isLetter(job, 'N', 'n')) {
        return -1;
    }
    if (!sorts && !isLetter(sort, 'N', 'n')) {
        return -2;
    }
    if (sorts && selector == nullptr) {
        return -3;
    }
    if (n < 0) {
        return -4;
    }
    if (ld < std::max(1, n)) {
        return -6;
    }
    if (wantsVectors && ldVectors < std::max(1, n)) {
        return -11;
    }
    if (workLength != -1 && workLength < std::max(1, 3 * n)) {
        return -13;
    }
    return 0;
}

}  // namespace

int SELECT_UL_DISCRETE(const double* re, const double* im) {
    return std::hypot(*re, *im) < 1.0 - stabilityMargin;
}

int SELECT_LR_DISCRETE(const double* re, const double* im) {
    return std::hypot(*re, *im) >= 1.0 - stabilityMargin;
}

int SELECT_UL_CONTINUOUS(const double* re, const double* /*im*/) {
    return *re < -stabilityMargin;
}

int SELECT_LR_CONTINUOUS(const double* re, const double* /*im*/) {
    return *re >= -stabilityMargin;
}

void DGEES_MINE(const char* job, int /*jobLength*/, const char* sort, int /*sortLength*/, SchurSelector selector,
                const int* n, double* matrix, const int* ld, int* sdim, double* wr, double* wi, double* vectors,
                const int* ldVectors, double* work, const int* workLength, int* logicalWork, int* info) {
    const bool wantsVectors = isLetter(job, 'V', 'v');
    const bool sorts = isLetter(sort, 'S', 's');
    *sdim = 0;
    *info = illegalArgument(wantsVectors, sorts, job, sort, selector, *n, *ld, *ldVectors, *workLength);
    if (*info != 0) {
        return;
    }
    if (*workLength == -1) {
        work[0] = std::max(1, 3 * *n);
        return;
    }
    if (*n == 0) {
        return;
    }
    if (!lapack::allFinite(*n, *n, matrix, *ld)) {
        *info = *n + 3;
        return;
    }

    const auto order = static_cast<std::size_t>(*n);
    std::vector<double> ownVectors(wantsVectors ? 0 : order * order);
    double* const q = wantsVectors ? vectors : ownVectors.data();
    const int ldq = wantsVectors ? *ldVectors : *n;
    *info = realSchurForm(*n, matrix, *ld, wr, wi, q, ldq);
    if (*info != 0 || !sorts) {
        return;
    }

    std::vector<char> selected(order);
    for (std::size_t row = 0; row < order; ++row) {
        logicalWork[row] = selector(wr + row, wi + row) != 0;
        selected[row] = static_cast<char>(logicalWork[row]);
    }
    if (reorderSchurForm(selected.data(), *n, matrix, *ld, q, ldq, wr, wi, *sdim) != 0) {
        *info = *n + 1;
    }
}

}  // namespace qormath::control_utility
