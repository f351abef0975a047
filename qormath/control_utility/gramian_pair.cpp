#include <algorithm>
#include <cmath>
#include <numbers>
#include <vector>

#include <qormath/control_utility/gramian_pair.hpp>
#include <qormath/control_utility/quasi_triangular.hpp>
#include <qormath/lapack/lapack.hpp>

namespace qormath::control_utility {
namespace {

// Upper triangular 2 by 2 matrix.
struct Upper2 {
    double e11 = 0.0;
    double e12 = 0.0;
    double e22 = 0.0;
};

// Two rows b = l q, with the rows of q (2 by width, packed by columns) orthonormal where the diagonal of l is not zero.
struct CompressedRows {
    Upper2 l;
    std::vector<double> q;
};

CompressedRows compress(int width, const double* upper, const double* lower) {
    CompressedRows rows{{}, std::vector<double>(2 * static_cast<std::size_t>(width))};
    double* const q1 = rows.q.data();
    double* const q2 = q1 + 1;
    Upper2& l = rows.l;
    const double sizeUpper = lapack::nrm2(width, upper, 1);
    l.e22 = lapack::nrm2(width, lower, 1);
    if (l.e22 == 0.0) {
        l.e12 = sizeUpper;
        for (int k = 0; k < width && sizeUpper > 0.0; ++k) {
            q2[2 * k] = upper[k] / sizeUpper;
        }
        return rows;
    }
    for (int k = 0; k < width; ++k) {
        q2[2 * k] = lower[k] / l.e22;
    }
    l.e12 = lapack::dot(width, upper, 1, q2, 2);
    for (int k = 0; k < width; ++k) {
        q1[2 * k] = upper[k] - l.e12 * q2[2 * k];
    }
    // A second projection makes up for what the first lost by cancellation.
    const double correction = lapack::dot(width, q1, 2, q2, 2);
    l.e12 += correction;
    lapack::axpy(width, -correction, q2, 2, q1, 2);
    l.e11 = lapack::nrm2(width, q1, 2);
    if (width == 1 || l.e11 <= 2 * lapack::machineEpsilon() * sizeUpper) {
        // What is left is rounding of the upper row and has no direction.
        l.e11 = 0.0;
        lapack::scal(width, 0.0, q1, 2);
        return rows;
    }
    for (int k = 0; k < width; ++k) {
        q1[2 * k] /= l.e11;
    }
    lapack::axpy(width, -lapack::dot(width, q1, 2, q2, 2), q2, 2, q1, 2);
    lapack::scal(width, 1.0 / lapack::nrm2(width, q1, 2), q1, 2);
    return rows;
}

struct NormalPairFactor {
    Upper2 s;
    Upper2 y;           // s^-1 l
    double similar[4];  // s^-1 a s
};

// Factor for a = [re im; -im re] and b = l. The solution P has a trace part, from which the rotation in a drops out,
// and a part that a rotates as if it were a complex number: P22 and the determinant of P then come out as sums of
// squares, so that no small element of the factor is a difference of large ones, however near a is to a double
// eigenvalue and b to rank 1.
NormalPairFactor factorOfNormalPair(bool discrete, double re, double im, Upper2 l) {
    const double size = std::max({std::abs(l.e11), std::abs(l.e12), std::abs(l.e22)});
    const Upper2 b = {l.e11 / size, l.e12 / size, l.e22 / size};
    const double modulus = std::hypot(re, im);
    // Continuous time is counted in units of 1/modulus, which keeps the squares below from running over or under.
    const double clock = discrete ? 1.0 : modulus;
    const double w = im / clock;
    const double q = discrete ? (1.0 - modulus) * (1.0 + modulus) : -2.0 * (re / clock);
    const double turn = discrete ? re : 1.0;
    const double weight = discrete ? 2.0 - q : 2.0;
    const double rootWeight = std::sqrt(weight);

    const double squares = b.e11 * b.e11 + b.e12 * b.e12 + b.e22 * b.e22;
    const double rootD = std::hypot(q, 2.0 * w);
    // The square root of q (q^2 + 4 w^2) P22.
    const double alongUpper = rootWeight * w * b.e12 - q * turn / rootWeight * b.e22;
    const double alongLower =
        b.e22 * (discrete ? std::hypot(q * std::sqrt((1.0 + w * w) / weight), w * std::sqrt(2.0 + q))
                          : std::hypot(q / std::numbers::sqrt2, w * std::numbers::sqrt2));
    const double rootN = std::hypot(alongUpper, rootWeight * w * b.e11, alongLower);
    const double rootQ = std::sqrt(q);
    const double s22 = rootN / (rootQ * rootD);
    const double s11 = std::hypot(q * b.e11 * b.e22, w * squares) / (rootQ * rootN);
    const double cross = b.e12 * b.e22;
    const double difference = 0.5 * (b.e11 * b.e11 + b.e12 * b.e12 - b.e22 * b.e22);
    const double real = discrete ? q + 2.0 * w * w : q;
    const double imaginary = 2.0 * w * turn;
    const double s12 = (cross * (real / rootD) - difference * (imaginary / rootD)) / rootD / s22;
    const double m =
        w * (weight * w * squares * b.e12 + q * turn * b.e22 * (b.e11 * b.e11 - b.e12 * b.e12 - b.e22 * b.e22));

    NormalPairFactor factor;
    const double unit = std::sqrt(clock);
    factor.s = {s11 * size / unit, s12 * size / unit, s22 * size / unit};
    factor.y = {b.e11 / s11 * unit, m / rootN / rootN / s11 * unit, b.e22 / s22 * unit};
    const double shift = im * (s12 / s22);
    factor.similar[0] = re + shift;
    factor.similar[1] = -im * (s11 / s22);
    factor.similar[2] = im * (s22 / s11 + s12 / s22 * (s12 / s11));
    factor.similar[3] = re - shift;
    return factor;
}

// a is in the standard form [re upper; lower re] with upper * lower < 0. Scaled by diag(1, ratio) it is normal.
GramianCell factorOfComplexPair(bool discrete, double re, double upper, double lower, int width,
                                std::vector<double>& rows, double* y, int ldy) {
    GramianCell cell;
    const double ratio = std::sqrt(std::abs(lower)) / std::sqrt(std::abs(upper));
    const double im = std::copysign(std::sqrt(std::abs(lower)) * std::sqrt(std::abs(upper)), upper);
    for (int k = 0; k < width; ++k) {
        rows[static_cast<std::size_t>(width + k)] /= ratio;
    }
    const CompressedRows b = compress(width, rows.data(), rows.data() + width);
    if (b.l.e12 == 0.0 && b.l.e22 == 0.0 && b.l.e11 == 0.0) {
        for (int k = 0; k < width; ++k) {
            *at(y, ldy, 0, k) = 0.0;
            *at(y, ldy, 1, k) = 0.0;
        }
        const double similar[4] = {re, -im, im, re};
        std::copy_n(similar, 4, cell.similar);
        return cell;
    }
    const NormalPairFactor factor = factorOfNormalPair(discrete, re, im, b.l);
    for (int k = 0; k < width; ++k) {
        const double q1 = b.q[static_cast<std::size_t>(2 * k)];
        const double q2 = b.q[static_cast<std::size_t>(2 * k + 1)];
        *at(y, ldy, 0, k) = factor.y.e11 * q1 + factor.y.e12 * q2;
        *at(y, ldy, 1, k) = factor.y.e22 * q2;
    }
    cell.s[0] = factor.s.e11;
    cell.s[2] = factor.s.e12;
    cell.s[3] = factor.s.e22 * ratio;
    std::copy_n(factor.similar, 4, cell.similar);
    cell.active[0] = true;
    cell.active[1] = true;
    return cell;
}

// a is upper triangular with two real eigenvalues: one step of the recursion over the rows, written out.
GramianCell factorOfRealPair(bool discrete, double a11, double a12, double a22, int width, std::vector<double>& rows,
                             double* y, int ldy) {
    GramianCell cell;
    double* const upper = rows.data();
    const double* const lower = upper + width;
    const GramianCell second = factorOfReal(discrete, a22, width, lower, 1, y + 1, ldy);
    cell.s[3] = second.s[0];
    cell.similar[3] = a22;
    cell.active[1] = second.active[0];
    double coupling = 0.0;
    if (second.active[0]) {
        const double project = lapack::dot(width, upper, 1, y + 1, ldy);
        if (discrete) {
            cell.s[2] = (a12 * second.s[0] * a22 + project) / (1.0 - a11 * a22);
            coupling = a11 * cell.s[2] + a12 * second.s[0];
            const double sign = a22 < 0.0 ? -1.0 : 1.0;
            const double factor = -sign * coupling - project / (1.0 + std::abs(a22));
            lapack::axpy(width, factor, y + 1, ldy, upper, 1);
        } else {
            cell.s[2] = -(a12 * second.s[0] + project) / (a11 + a22);
            lapack::axpy(width, -cell.s[2], y + 1, ldy, upper, 1);
        }
    }
    const GramianCell first = factorOfReal(discrete, a11, width, upper, 1, y, ldy);
    cell.s[0] = first.s[0];
    cell.similar[0] = a11;
    cell.active[0] = first.active[0];
    if (first.active[0] && second.active[0]) {
        const double project = lapack::dot(width, y, ldy, y + 1, ldy);
        if (discrete) {
            const double sign = a22 < 0.0 ? -1.0 : 1.0;
            cell.similar[2] = -sign * project;
            lapack::axpy(width, -project / (1.0 + std::abs(a22)), y + 1, ldy, y, ldy);
        } else {
            cell.similar[2] = -project;
        }
    }
    return cell;
}

// Takes the cell of q' a q back to a: s becomes the upper triangular q s v with a rotation v, which turns the rest.
void turnBack(double cs, double sn, int width, GramianCell& cell, double* y, int ldy) {
    double& s11 = cell.s[0];
    double& s21 = cell.s[1];
    double& s12 = cell.s[2];
    double& s22 = cell.s[3];
    // q = [cs -sn; sn cs] from the left.
    lapack::rot(2, &s11, 2, &s21, 2, cs, -sn);
    // v zeroes s21 against s22.
    double c = 1.0;
    double v = 0.0;
    double r = 0.0;
    lapack::lartg(s22, s21, c, v, r);
    lapack::rot(2, &s12, 1, &s11, 1, c, v);
    s21 = 0.0;
    lapack::rot(width, y + 1, ldy, y, ldy, c, v);
    lapack::rot(2, cell.similar + 1, 2, cell.similar, 2, c, v);
    lapack::rot(2, cell.similar + 2, 1, cell.similar, 1, c, v);
    for (int k = 0; k < 2; ++k) {
        if (cell.s[3 * k] < 0.0) {
            lapack::scal(2, -1.0, cell.s + 2 * k, 1);
            lapack::scal(width, -1.0, y + k, ldy);
            lapack::scal(2, -1.0, cell.similar + k, 2);
            lapack::scal(2, -1.0, cell.similar + 2 * k, 1);
        }
        cell.active[k] = cell.s[3 * k] != 0.0 || lapack::nrm2(width, y + k, ldy) != 0.0;
    }
}

}  // namespace

GramianCell factorOfReal(bool discrete, double a, int width, const double* b, int ldb, double* y, int ldy) {
    GramianCell cell;
    cell.similar[0] = a;
    const double size = lapack::nrm2(width, b, ldb);
    const double root = discrete ? std::sqrt((1.0 - a) * (1.0 + a)) : std::numbers::sqrt2 * std::sqrt(-a);
    cell.s[0] = size / root;
    cell.active[0] = size > 0.0;
    for (int k = 0; k < width; ++k) {
        *at(y, ldy, 0, k) = cell.active[0] ? *at(b, ldb, 0, k) / size * root : 0.0;
    }
    return cell;
}

GramianCell factorOfPair(bool discrete, const double* a, int lda, int width, const double* b, int ldb, double* y,
                         int ldy) {
    std::vector<double> rows(2 * static_cast<std::size_t>(width));
    lapack::copy(width, b, ldb, rows.data(), 1);
    lapack::copy(width, b + 1, ldb, rows.data() + width, 1);
    double a11 = *at(a, lda, 0, 0);
    double a21 = *at(a, lda, 1, 0);
    double a12 = *at(a, lda, 0, 1);
    double a22 = *at(a, lda, 1, 1);
    const bool opposite = (a12 > 0.0 && a21 < 0.0) || (a12 < 0.0 && a21 > 0.0);
    if (a11 == a22 && opposite) {
        return factorOfComplexPair(discrete, a11, a12, a21, width, rows, y, ldy);
    }
    double re1 = 0.0, im1 = 0.0, re2 = 0.0, im2 = 0.0, cs = 1.0, sn = 0.0;
    lapack::lanv2(a11, a12, a21, a22, re1, im1, re2, im2, cs, sn);
    lapack::rot(width, rows.data(), 1, rows.data() + width, 1, cs, sn);
    GramianCell cell = a21 == 0.0 ? factorOfRealPair(discrete, a11, a12, a22, width, rows, y, ldy)
                                  : factorOfComplexPair(discrete, a11, a12, a21, width, rows, y, ldy);
    turnBack(cs, sn, width, cell, y, ldy);
    return cell;
}

bool isStableCell(bool discrete, int order, const double* a, int lda) {
    double re1 = *a, im1 = 0.0, re2 = *a, im2 = 0.0;
    if (order == 2) {
        double a11 = *at(a, lda, 0, 0), a21 = *at(a, lda, 1, 0);
        double a12 = *at(a, lda, 0, 1), a22 = *at(a, lda, 1, 1);
        double cs = 1.0, sn = 0.0;
        lapack::lanv2(a11, a12, a21, a22, re1, im1, re2, im2, cs, sn);
    }
    return discrete ? std::hypot(re1, im1) < 1.0 && std::hypot(re2, im2) < 1.0 : re1 < 0.0 && re2 < 0.0;
}

}  // namespace qormath::control_utility
