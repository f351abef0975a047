#include <algorithm>
#include <cmath>
#include <cstddef>
#include <vector>

#include <qormath/control_utility/blockspectraldecomposition.hpp>
#include <qormath/control_utility/dgees_mine.hpp>
#include <qormath/control_utility/schur_reordering.hpp>
#include <qormath/lapack/finite.hpp>
#include <qormath/lapack/lapack.hpp>

namespace qormath::control_utility {

namespace {

using lapack::Op;

enum Outcome : int { success = 0, notFinite = 1, noConvergence = 2, blocksTooClose = 3 };

std::size_t cells(int rows, int columns) {
    return static_cast<std::size_t>(rows) * static_cast<std::size_t>(columns);
}

std::vector<double> packed(int rows, int columns, const double* x, int ldx) {
    std::vector<double> copy(cells(rows, columns));
    lapack::lacpy(rows, columns, x, ldx, copy.data(), rows);
    return copy;
}

/// b = u' b and c = c u.
void transformInputsAndOutputs(int n, int m, int p, const double* u, int ldu, double* b, int ldb, double* c, int ldc) {
    const std::vector<double> oldB = packed(n, m, b, ldb);
    const std::vector<double> oldC = packed(p, n, c, ldc);
    lapack::gemm(Op::transpose, Op::none, n, m, n, 1.0, u, ldu, oldB.data(), n, 0.0, b, ldb);
    lapack::gemm(Op::none, Op::none, p, n, n, 1.0, oldC.data(), p, u, ldu, 0.0, c, ldc);
}

/// The number of the first illegal argument, negated, or 0.
int illegalArgument(int mode, int n, int m, int p, double alpha, int lda, int ldb, int ldc, int ldu, int lwork) {
    if (mode != 0) {
        return -1;
    }
    if (n < 0) {
        return -2;
    }
    if (m < 0) {
        return -3;
    }
    if (p < 0) {
        return -4;
    }
    if (std::isnan(alpha)) {
        return -5;
    }
    if (lda < n) {
        return -7;
    }
    if (ldb < n) {
        return -9;
    }
    if (ldc < p) {
        return -11;
    }
    if (ldu < n) {
        return -14;
    }
    return lwork < 3 * n ? -18 : 0;
}

}  // namespace

int toOrderedSchurForm(SpectralMeasure measure, double alpha, int n, int m, int p, double* a, int lda, double* b,
                       int ldb, double* c, int ldc, double* u, int ldu, double* wr, double* wi, int& leading) {
    leading = 0;
    if (n == 0) {
        return success;
    }
    if (!lapack::allFinite(n, n, a, lda)) {
        return notFinite;
    }
    const auto order = static_cast<std::size_t>(n);
    const int workLength = 3 * n;
    std::vector<double> work(3 * order);
    std::vector<int> logicalWork(order);
    int info = 0;
    DGEES_MINE("V", 1, "N", 1, nullptr, &n, a, &lda, &leading, wr, wi, u, &ldu, work.data(), &workLength,
               logicalWork.data(), &info);
    if (info != 0) {
        return noConvergence;
    }
    std::vector<char> selected(order);
    std::transform(wr, wr + n, wi, selected.begin(), [=](double re, double im) {
        return static_cast<char>((measure == SpectralMeasure::modulus ? std::hypot(re, im) : re) >= alpha);
    });
    info = reorderSchurForm(selected.data(), n, a, lda, u, ldu, wr, wi, leading);
    transformInputsAndOutputs(n, m, p, u, ldu, b, ldb, c, ldc);
    return info == 0 ? success : blocksTooClose;
}

void BLOCKSPECTRALDECOMPOSITION(const int* mode, const int* n, const int* m, const int* p, const double* alpha,
                                double* a, const int* lda, double* b, const int* ldb, double* c, const int* ldc,
                                int* count, double* u, const int* ldu, double* wr, double* wi, double* /*work*/,
                                const int* lwork, int* info) {
    *count = 0;
    *info = illegalArgument(*mode, *n, *m, *p, *alpha, *lda, *ldb, *ldc, *ldu, *lwork);
    if (*info == 0) {
        const SpectralMeasure measure = *alpha < 0.0 ? SpectralMeasure::realPart : SpectralMeasure::modulus;
        *info = toOrderedSchurForm(measure, *alpha, *n, *m, *p, a, *lda, b, *ldb, c, *ldc, u, *ldu, wr, wi, *count);
    }
}

}  // namespace qormath::control_utility
