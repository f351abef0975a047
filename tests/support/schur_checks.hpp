#pragma once

// Ratios and problems of real Schur forms on raw column-major arrays.

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <functional>
#include <limits>
#include <numeric>
#include <support/random_numbers.hpp>
#include <vector>

#include <qormath/lapack/lapack.hpp>

namespace qormath::test {

/// The m by n part of a matrix of any leading dimension, packed.
inline std::vector<double> packed(int m, int n, const double* a, int lda) {
    std::vector<double> result(cells(m, n));
    for (int j = 0; j < n; ++j) {
        std::copy_n(a + static_cast<std::ptrdiff_t>(j) * lda, m, result.begin() + static_cast<std::ptrdiff_t>(j) * m);
    }
    return result;
}

/// An m by n matrix inside a taller array, NaN below.
inline std::vector<double> withGuardRows(int m, int n, const std::vector<double>& a, int lda) {
    std::vector<double> result(cells(lda, n), std::numeric_limits<double>::quiet_NaN());
    for (int j = 0; j < n; ++j) {
        std::copy_n(a.begin() + static_cast<std::ptrdiff_t>(j) * m, m,
                    result.begin() + static_cast<std::ptrdiff_t>(j) * lda);
    }
    return result;
}

/// op(a) op(b) of packed matrices, m by n with inner size k.
inline std::vector<double> product(lapack::Op opA, lapack::Op opB, int m, int n, int k, const std::vector<double>& a,
                                   const std::vector<double>& b) {
    std::vector<double> c(cells(m, n), 0.0);
    lapack::gemm(opA, opB, m, n, k, 1.0, a.data(), opA == lapack::Op::none ? m : k, b.data(),
                 opB == lapack::Op::none ? k : n, 0.0, c.data(), m);
    return c;
}

inline double frobenius(const std::vector<double>& a) {
    return std::sqrt(std::inner_product(a.begin(), a.end(), a.begin(), 0.0));
}

/// The norm of x - y, of the same number of elements.
inline double frobeniusOfDifference(std::vector<double> x, const std::vector<double>& y) {
    std::transform(x.begin(), x.end(), y.begin(), x.begin(), std::minus<>());
    return frobenius(x);
}

/// ||q' q - i|| / (n eps).
inline double orthogonalityRatio(int n, const std::vector<double>& q) {
    std::vector<double> defect = product(lapack::Op::transpose, lapack::Op::none, n, n, n, q, q);
    for (int i = 0; i < n; ++i) {
        defect[cells(i, n + 1)] -= 1.0;
    }
    return frobenius(defect) / (std::max(1, n) * lapack::machineEpsilon());
}

/// ||a - q t q'|| / (n eps ||a||): the backward error of a Schur form.
inline double schurRatio(int n, const std::vector<double>& a, const std::vector<double>& t,
                         const std::vector<double>& q) {
    using lapack::Op;
    std::vector<double> defect =
        product(Op::none, Op::transpose, n, n, n, product(Op::none, Op::none, n, n, n, q, t), q);
    for (std::size_t i = 0; i < defect.size(); ++i) {
        defect[i] -= a[i];
    }
    const double norm = frobenius(a);
    const double error = frobenius(defect);
    return norm == 0.0 ? error : error / (std::max(1, n) * lapack::machineEpsilon() * norm);
}

/// True when t is quasi-upper-triangular with exact zeros below, and each 2 by 2 block has an equal diagonal and
/// off-diagonal elements of opposite sign.
inline bool isStandardSchurForm(int n, const std::vector<double>& t) {
    const auto at = [&](int i, int j) { return t[cells(j, n) + static_cast<std::size_t>(i)]; };
    for (int j = 0; j < n; ++j) {
        for (int i = j + 2; i < n; ++i) {
            if (at(i, j) != 0.0) {
                return false;
            }
        }
        if (j + 1 < n && at(j + 1, j) != 0.0) {
            const bool overlaps = j + 2 < n && at(j + 2, j + 1) != 0.0;
            const bool standard = at(j, j) == at(j + 1, j + 1) && (at(j, j + 1) > 0.0) != (at(j + 1, j) > 0.0);
            if (overlaps || !standard) {
                return false;
            }
        }
    }
    return true;
}

}  // namespace qormath::test
