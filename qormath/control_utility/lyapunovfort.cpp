#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

#include <qormath/control_utility/lyapunovfort.hpp>
#include <qormath/control_utility/quasi_triangular.hpp>
#include <qormath/control_utility/real_schur_form.hpp>
#include <qormath/control_utility/triangular_lyapunov.hpp>
#include <qormath/control_utility/triangular_stein.hpp>
#include <qormath/control_utility/triangular_sylvester.hpp>
#include <qormath/lapack/finite.hpp>
#include <qormath/lapack/lapack.hpp>

namespace qormath::control_utility {
namespace {

using lapack::Op;
using lapack::Side;
using lapack::Triangle;

// Eigenvalues this many eps times the norm of a from a singular equation cannot be told from those of one. Where they
// are well-conditioned, those of singular equations of order 2 to 300 came out up to 14 of these away.
constexpr double indistinctness = 32.0;

// Half of the digits: eigenvalues this share of the norm of a from those of a singular equation are far from where two
// ways to its solution could tell different things of it.
constexpr double clearDistance = 0x1p-26;
// Products of a few elements within 2 to plus or minus this power, and sums of many, stay within the numbers.
constexpr int moderateExponent = 200;
// No routine has scaled its result where the solution comes out this small.
constexpr double largestUnscaled = 0x1p600;

std::size_t elements(int rows, int columns) {
    return static_cast<std::size_t>(rows) * static_cast<std::size_t>(columns);
}

bool isSymmetric(int n, const double* x) {
    for (int column = 0; column < n; ++column) {
        for (int row = 0; row < column; ++row) {
            if (*at(x, n, row, column) != *at(x, n, column, row)) {
                return false;
            }
        }
    }
    return true;
}

void transposeSquare(int n, double* a) {
    for (int column = 0; column < n; ++column) {
        for (int row = 0; row < column; ++row) {
            std::swap(*at(a, n, row, column), *at(a, n, column, row));
        }
    }
}

// True when two of the eigenvalues have the sum 0, within changes of each by the limit times the norm.
bool haveOpposite(std::size_t n, const double* wr, const double* wi, double norm, double limit) {
    for (std::size_t i = 0; i < n; ++i) {
        for (std::size_t j = i; j < n; ++j) {
            // The nearer one of the sums with the other eigenvalue and with its conjugate.
            const double re = (wr[i] + wr[j]) / norm;
            const double im = (std::abs(wi[i]) - std::abs(wi[j])) / norm;
            if (re * re + im * im <= limit * limit) {
                return true;
            }
        }
    }
    return false;
}

// True when two of the eigenvalues have the product 1, within changes of each by the limit times the norm.
bool haveReciprocal(std::size_t n, const double* wr, const double* wi, double norm, double limit) {
    std::vector<double> reach(n);
    for (std::size_t i = 0; i < n; ++i) {
        reach[i] = limit * norm * std::hypot(wr[i], wi[i]);
    }
    for (std::size_t i = 0; i < n; ++i) {
        for (std::size_t j = i; j < n; ++j) {
            const double re = wr[i] * wr[j] + std::abs(wi[i]) * std::abs(wi[j]) - 1.0;
            const double im = std::abs(wi[i]) * wr[j] - wr[i] * std::abs(wi[j]);
            // The modulus, which is dear, is no less than either part.
            const double within = reach[i] + reach[j];
            if (std::abs(re) <= within && std::abs(im) <= within && std::hypot(re, im) <= within) {
                return true;
            }
        }
    }
    return false;
}

// True when changes of the eigenvalues by the limit times the norm can make the equation singular.
bool isSingular(bool discrete, int n, const double* wr, const double* wi, double norm, double limit) {
    if (norm == 0.0) {
        return !discrete;
    }
    const auto count = static_cast<std::size_t>(n);
    return discrete ? haveReciprocal(count, wr, wi, norm, limit) : haveOpposite(count, wr, wi, norm, limit);
}

// The upper triangle of op(u)' h op(u), of which h has the upper triangle filled. With h = r + r' for a triangular r
// it is the sum of a product and its transpose. h is overwritten.
void transformSymmetric(Op op, int n, const double* u, double* h, double* product, double* result) {
    lapack::scal(n, 0.5, h, n + 1);
    lapack::lacpy(n, n, u, n, product, n);
    lapack::trmm(op == Op::none ? Side::left : Side::right, Triangle::upper, Op::none, lapack::Diagonal::stored, n, n,
                 1.0, h, n, product, n);
    lapack::syr2k(Triangle::upper, lapack::opposite(op), n, n, 1.0, product, n, u, n, 0.0, result, n);
}

// op(u)' h op(u)
void transform(Op op, int n, const double* u, const double* h, double* product, double* result) {
    lapack::gemm(lapack::opposite(op), Op::none, n, n, n, 1.0, u, n, h, n, 0.0, product, n);
    lapack::gemm(Op::none, op, n, n, n, 1.0, product, n, u, n, 0.0, result, n);
}

// Solves t y + y t' = scale c, or when discrete y - t y t' = scale c, with c in y on entry.
int solveTriangular(bool discrete, bool symmetric, int n, const double* t, double* y, double& scale) {
    if (symmetric) {
        return solveTriangularLyapunov(discrete, n, t, n, y, n, scale);
    }
    if (discrete) {
        return solveTriangularStein(n, n, t, n, t, n, y, n, scale);
    }
    return solveTriangularSylvester(Op::none, Op::transpose, 1, n, n, t, n, t, n, y, n, scale);
}

// to = factor 2^-exponent from; the two may be the same.
void copyScaled(int rows, int columns, const double* from, double factor, int exponent, double* to) {
    const double* const end = from + elements(rows, columns);
    if (std::abs(exponent) <= moderateExponent) {
        // The same number, since the power of 2 is one too.
        const double whole = std::scalbn(factor, -exponent);
        std::transform(from, end, to, [=](double element) { return whole * element; });
        return;
    }
    std::transform(from, end, to, [=](double element) { return factor * std::scalbn(element, -exponent); });
}

// x = y 2^exponent / scale; false when that is beyond the largest number, and x is then unchanged.
bool undoScaling(int n, double* y, int exponent, double scale, double* x) {
    if (!(scale > 0.0)) {
        return false;
    }
    const int scaleExponent = std::ilogb(scale);
    const double significand = std::scalbn(scale, -scaleExponent);
    const std::size_t count = elements(n, n);
    if (significand != 1.0) {
        std::transform(y, y + count, y, [=](double element) { return element / significand; });
    }
    copyScaled(n, n, y, 1.0, scaleExponent - exponent, y);
    if (!lapack::allFinite(n, n, y, n)) {
        return false;
    }
    std::copy_n(y, count, x);
    return true;
}

// The exponent of the largest element, 0 of a zero matrix.
int exponentOf(int n, const double* a) {
    const double largest = largestElement(n, n, a, n);
    return largest == 0.0 ? 0 : std::ilogb(largest);
}

// Solves a x + x a' = c or when discrete a x a' - x = c for finite a and c. The Schur form t = u' a u takes it to
// t y + y t' = u' c u or t y t' - y = u' c u. Powers of 2 bring the largest elements of a and c to about 1, but for the
// a of a discrete equation, which a factor would make another one.
int solveFinite(bool discrete, double limit, int n, double* a, double* u, double* x, double* wr, double* wi,
                double* work) {
    const int exponentA = discrete ? 0 : exponentOf(n, a);
    const int exponentC = exponentOf(n, x);
    copyScaled(n, n, a, 1.0, exponentA, a);
    if (const int info = realSchurForm(n, a, n, wr, wi, u, n); info != 0) {
        return info;
    }
    const double norm = lapack::lange(lapack::Norm::frobenius, n, n, a, n);
    if (discrete && !std::isfinite(norm * norm)) {
        return n + 2;
    }
    const bool singular = isSingular(discrete, n, wr, wi, norm, limit);
    copyScaled(n, 1, wr, 1.0, -exponentA, wr);
    copyScaled(n, 1, wi, 1.0, -exponentA, wi);
    if (singular) {
        return n + 1;
    }
    const bool symmetric = isSymmetric(n, x);
    std::vector<double> right(elements(n, n));
    std::vector<double> y(elements(n, n));
    copyScaled(n, n, x, discrete ? -1.0 : 1.0, exponentC, right.data());
    const auto change = [&](Op op, double* from, double* to) {
        symmetric ? transformSymmetric(op, n, u, from, work, to) : transform(op, n, u, from, work, to);
    };
    double scale = 1.0;
    change(Op::none, right.data(), y.data());
    if (solveTriangular(discrete, symmetric, n, a, y.data(), scale) != 0) {
        return n + 1;
    }
    change(Op::transpose, y.data(), right.data());
    if (symmetric) {
        mirrorUpperTriangle(n, right.data(), n);
    }
    return undoScaling(n, right.data(), exponentC - exponentA, scale, x) ? 0 : n + 2;
}

}  // namespace

void LYAPUNOVFORT(const int* discrete, const int* n, double* a, double* u, double* x, double* wr, double* wi,
                  double* work, const int* workLength, int* info) {
    constexpr int illegalOrder = -2;
    constexpr int illegalWorkLength = -9;
    const std::int64_t order = *n;
    if (order < 0) {
        *info = illegalOrder;
    } else if (*workLength < (order + 3) * order) {
        *info = illegalWorkLength;
    } else if (order == 0) {
        *info = 0;
    } else if (!lapack::allFinite(*n, *n, a, *n) || !lapack::allFinite(*n, *n, x, *n)) {
        *info = *n + 3;
    } else {
        transposeSquare(*n, a);
        *info = solveFinite(*discrete == 1, indistinctness * lapack::machineEpsilon(), *n, a, u, x, wr, wi, work);
    }
}

bool solveClearLyapunov(bool discrete, int n, double* a, double* x) {
    if (n < 1 || !lapack::allFinite(n, n, a, n) || !lapack::allFinite(n, n, x, n) ||
        std::abs(exponentOf(n, a)) > moderateExponent || std::abs(exponentOf(n, x)) > moderateExponent) {
        return false;
    }
    const auto order = static_cast<std::size_t>(n);
    std::vector<double> u(elements(n, n)), wr(order), wi(order), work(elements(n + 3, n));
    return solveFinite(discrete, clearDistance, n, a, u.data(), x, wr.data(), wi.data(), work.data()) == 0 &&
           largestElement(n, n, x, n) <= largestUnscaled;
}

}  // namespace qormath::control_utility
