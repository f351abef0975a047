#include <algorithm>
#include <cmath>
#include <cstddef>
#include <utility>
#include <vector>

#include <qormath/control_utility/balanced_truncation.hpp>
#include <qormath/control_utility/gramian_factor.hpp>
#include <qormath/lapack/finite.hpp>
#include <qormath/lapack/lapack.hpp>

namespace qormath::control_utility {

namespace {

using lapack::Op;
using Matrix = std::vector<double>;

Matrix zeros(int rows, int columns) {
    return Matrix(static_cast<std::size_t>(rows) * static_cast<std::size_t>(columns), 0.0);
}

Matrix product(Op opA, Op opB, int m, int n, int k, const Matrix& a, int lda, const Matrix& b, int ldb) {
    Matrix result = zeros(m, n);
    lapack::gemm(opA, opB, m, n, k, 1.0, a.data(), lda, b.data(), ldb, 0.0, result.data(), m);
    return result;
}

int gramianFactors(const StableSystem& system, HankelDecomposition& result, double& scale) {
    const int n = system.n;
    result.s = zeros(n, n);
    result.r = zeros(n, n);
    double scaleS = 1.0;
    double scaleR = 1.0;
    if (controllabilityFactor(system.discrete, n, system.m, system.a.data(), n, system.b.data(), n, result.s.data(), n,
                              scaleS) != 0 ||
        observabilityFactor(system.discrete, n, system.p, system.a.data(), n, system.c.data(), system.p,
                            result.r.data(), n, scaleR) != 0) {
        return 1;
    }
    scale = scaleS * scaleR;
    return 0;
}

/// x = op(t) x for an upper triangular t of order n and k columns.
void multiplyTriangular(Op op, int n, int k, const Matrix& t, Matrix& x) {
    lapack::trmm(lapack::Side::left, lapack::Triangle::upper, op, lapack::Diagonal::stored, n, k, 1.0, t.data(), n,
                 x.data(), n);
}

/// Divides column j of an n by k matrix by the square root of values[j].
void divideByRoots(int n, int k, const Matrix& values, Matrix& x) {
    for (int j = 0; j < k; ++j) {
        lapack::scal(n, 1.0 / std::sqrt(values[static_cast<std::size_t>(j)]),
                     x.data() + static_cast<std::ptrdiff_t>(j) * n, 1);
    }
}

}  // namespace

int decomposeHankel(const StableSystem& system, HankelDecomposition& result) {
    const int n = system.n;
    double scale = 1.0;
    if (gramianFactors(system, result, scale) != 0) {
        return 1;
    }
    if (n == 0) {
        result = {};
        return 0;
    }
    Matrix rs = result.s;
    multiplyTriangular(Op::none, n, n, result.r, rs);
    if (!lapack::allFinite(n, n, rs.data(), n) || !result.product.decompose(n, std::move(rs))) {
        return 2;
    }
    result.hsv = result.product.values();
    for (double& value : result.hsv) {
        value /= scale;
    }
    const bool finite = std::all_of(result.hsv.begin(), result.hsv.end(), [](double x) { return std::isfinite(x); });
    return finite ? 0 : 2;
}

int truncateBalanced(const HankelDecomposition& hankel, int k, StableSystem& system) {
    const int n = system.n;
    const int m = system.m;
    const int p = system.p;
    Matrix x = hankel.product.right(k);
    Matrix z = hankel.product.left(k);
    multiplyTriangular(Op::none, n, k, hankel.s, x);
    multiplyTriangular(Op::transpose, n, k, hankel.r, z);
    divideByRoots(n, k, hankel.product.values(), x);
    divideByRoots(n, k, hankel.product.values(), z);

    Matrix e = product(Op::transpose, Op::none, k, k, n, z, n, x, n);
    std::vector<int> pivots(static_cast<std::size_t>(k));
    if (lapack::getrf(k, k, e.data(), k, pivots.data()) != 0) {
        return 1;
    }
    const Matrix ax = product(Op::none, Op::none, n, k, n, system.a, n, x, n);
    system.a = product(Op::transpose, Op::none, k, k, n, z, n, ax, n);
    system.b = product(Op::transpose, Op::none, k, m, n, z, n, system.b, n);
    system.c = product(Op::none, Op::none, p, k, n, system.c, p, x, n);
    lapack::getrs(Op::none, k, k, e.data(), k, pivots.data(), system.a.data(), k);
    lapack::getrs(Op::none, k, m, e.data(), k, pivots.data(), system.b.data(), k);
    system.n = k;
    return 0;
}

}  // namespace qormath::control_utility
