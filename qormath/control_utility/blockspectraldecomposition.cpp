#include <algorithm>
#include <cmath>
#include <cstddef>
#include <vector>

#include <qormath/control_utility/blockspectraldecomposition.hpp>
#include <qormath/control_utility/real_schur_form.hpp>
#include <qormath/control_utility/schur_reordering.hpp>
#include <qormath/lapack/finite.hpp>
#include <qormath/lapack/lapack.hpp>

namespace qormath::control_utility {

namespace {

using lapack::Op;

// Elements up to this size can be summed, squared and turned by rotations without leaving the range of numbers.
constexpr double largestSafe = 0x1p400;

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

/// The outputs and inputs of a system as rows, c over b', so that one product from the right transforms them all.
class InputsAndOutputs {
  public:
    InputsAndOutputs(int n, int m, int p, const double* b, int ldb, const double* c, int ldc)
        : n_(n), m_(m), p_(p), z_(cells(m + p, n)) {
        lapack::lacpy(p, n, c, ldc, z_.data(), count());
        for (int input = 0; input < m; ++input) {
            lapack::copy(n, b + static_cast<std::ptrdiff_t>(input) * ldb, 1, z_.data() + p + input, count());
        }
    }

    int count() const { return m_ + p_; }

    double* data() { return z_.data(); }

    /// True where no sum on the way to the result can leave the range of numbers.
    bool isModerate() const {
        return count() == 0 || lapack::lange(lapack::Norm::maxAbs, count(), n_, z_.data(), count()) <= largestSafe;
    }

    void copyTo(double* b, int ldb, double* c, int ldc) const {
        lapack::lacpy(p_, n_, z_.data(), count(), c, ldc);
        for (int input = 0; input < m_; ++input) {
            lapack::copy(n_, z_.data() + p_ + input, count(), b + static_cast<std::ptrdiff_t>(input) * ldb, 1);
        }
    }

  private:
    int n_;
    int m_;
    int p_;
    std::vector<double> z_;
};

struct Selection {
    SpectralMeasure measure;
    double alpha;

    std::vector<char> among(int n, const double* wr, const double* wi) const {
        std::vector<char> selected(static_cast<std::size_t>(n));
        std::transform(wr, wr + n, wi, selected.begin(), [this](double re, double im) {
            return static_cast<char>((measure == SpectralMeasure::modulus ? std::hypot(re, im) : re) >= alpha);
        });
        return selected;
    }
};

/// The ordered form, with z = z u.
int toOrderedForm(const Selection& selection, int n, double* a, int lda, int rows, double* z, double* wr, double* wi,
                  int& leading) {
    if (realSchurFormWithRows(n, a, lda, wr, wi, rows, z, rows) != 0) {
        return noConvergence;
    }
    const std::vector<char> selected = selection.among(n, wr, wi);
    const int info = reorderSchurFormWithRows(selected.data(), n, a, lda, rows, z, rows, wr, wi, leading);
    return info == 0 ? success : blocksTooClose;
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
    const Selection selection{measure, alpha};
    std::vector<double> ownU;
    if (u == nullptr) {
        InputsAndOutputs rows(n, m, p, b, ldb, c, ldc);
        if (rows.count() < n && rows.isModerate()) {
            const int info = toOrderedForm(selection, n, a, lda, rows.count(), rows.data(), wr, wi, leading);
            if (info != noConvergence) {
                rows.copyTo(b, ldb, c, ldc);
            }
            return info;
        }
        ownU.resize(cells(n, n));
        u = ownU.data();
        ldu = n;
    }
    if (realSchurForm(n, a, lda, wr, wi, u, ldu) != 0) {
        return noConvergence;
    }
    const std::vector<char> selected = selection.among(n, wr, wi);
    const int info = reorderSchurForm(selected.data(), n, a, lda, u, ldu, wr, wi, leading);
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
