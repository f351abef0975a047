#include <algorithm>

#include <qormath/control_utility/controllability.hpp>
#include <qormath/control_utility/staircase.hpp>

namespace qormath::control_utility {

void CONTROLLABILITYFORT(const int* n, const int* m, double* a, double* b, const int* ldb, double* z, int* reducedOrder,
                         int* blockCount, int* blockSizes, const double* tolerance) {
    const Staircase staircase = reduceToStaircase(*n, *m, a, b, *ldb, *tolerance);
    formTransformation(staircase, z);
    *reducedOrder = staircase.order;
    *blockCount = static_cast<int>(staircase.blockSizes.size());
    std::fill_n(blockSizes, staircase.size, 0);
    std::copy(staircase.blockSizes.begin(), staircase.blockSizes.end(), blockSizes);
}

void CONTROLLABILITYABCFORT(const int* n, const int* m, const int* p, double* a, double* b, const int* ldb, double* c,
                            const double* tolerance, int* rank) {
    const Staircase staircase = reduceToStaircase(*n, *m, a, b, *ldb, *tolerance);
    multiplyByTransformation(*p, c, staircase);
    *rank = staircase.order;
}

}  // namespace qormath::control_utility
