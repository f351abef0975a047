#include <algorithm>
#include <cmath>

#include <qormath/control_utility/bulge_chain.hpp>
#include <qormath/control_utility/hessenberg_block.hpp>
#include <qormath/control_utility/in_place_product.hpp>
#include <qormath/control_utility/quasi_triangular.hpp>
#include <qormath/lapack/lapack.hpp>

namespace qormath::control_utility {

namespace {

constexpr double rounding = 0x1p-52;
// An element below this, times the order, is zero whatever stands beside it: the smallest normal number over rounding.
constexpr double vanishing = 0x1p-970;
// Sweeps for one eigenvalue; three are usual. Each tenth takes shifts that no matrix is known to be a fixed point of.
constexpr int mostSweeps = 30;
constexpr int sweepsToException = 10;

double elementOf(const HessenbergMatrix& matrix, int row, int column) {
    return *at(matrix.h, matrix.ldh, row, column);
}

bool isNegligible(const HessenbergMatrix& matrix, int row) {
    const double below = std::abs(elementOf(matrix, row, row - 1));
    const double least = vanishing * matrix.n;
    if (below <= least) {
        return true;
    }
    const double upper = elementOf(matrix, row - 1, row - 1);
    const double lower = elementOf(matrix, row, row);
    double size = std::abs(upper) + std::abs(lower);
    if (size == 0.0) {
        size = (row >= 2 ? std::abs(elementOf(matrix, row - 1, row - 2)) : 0.0) +
               (row + 1 < matrix.n ? std::abs(elementOf(matrix, row + 1, row)) : 0.0);
    }
    if (below > rounding * size) {
        return false;
    }
    // What the element and the one opposite change of the eigenvalues is small beside these, too.
    const double above = std::abs(elementOf(matrix, row - 1, row));
    const double larger = std::max(std::abs(lower), std::abs(upper - lower));
    const double smaller = std::min(std::abs(lower), std::abs(upper - lower));
    const double sum = larger + std::max(below, above);
    return std::min(below, above) * (std::max(below, above) / sum) <=
           std::max(least, rounding * (smaller * (larger / sum)));
}

/// Both eigenvalues of the 2 by 2 block that ends at the row last, or twice the one next to the last element where they
/// are real.
ShiftPair trailingShifts(const HessenbergMatrix& matrix, int last) {
    const double a = elementOf(matrix, last - 1, last - 1), b = elementOf(matrix, last - 1, last);
    const double c = elementOf(matrix, last, last - 1), d = elementOf(matrix, last, last);
    const double half = 0.5 * (a - d);
    const double middle = d + half;
    const double scale = std::abs(half) + std::sqrt(std::abs(b)) * std::sqrt(std::abs(c));
    if (scale == 0.0) {
        return {middle, 0.0, middle, 0.0};
    }
    const double ratio = half / scale;
    const double discriminant = ratio * ratio + (b / scale) * (c / scale);
    const double root = scale * std::sqrt(std::abs(discriminant));
    if (discriminant < 0.0) {
        return {middle, root, middle, -root};
    }
    const double nearest = half > 0.0 ? middle - root : middle + root;
    return {nearest, 0.0, nearest, 0.0};
}

/// Splits the 2 by 2 block at the rows first and first + 1, or gives it the standard form.
void standardise(const HessenbergMatrix& matrix, int first) {
    double* const block = at(matrix.h, matrix.ldh, first, first);
    double re1 = 0.0, im1 = 0.0, re2 = 0.0, im2 = 0.0, c = 0.0, s = 0.0;
    lapack::lanv2(block[0], block[matrix.ldh], block[1], block[matrix.ldh + 1], re1, im1, re2, im2, c, s);
    const int after = matrix.n - first - 2;
    if (after > 0) {
        double* const right = at(matrix.h, matrix.ldh, first, first + 2);
        lapack::rot(after, right, matrix.ldh, right + 1, matrix.ldh, c, s);
    }
    lapack::rot(first, at(matrix.h, matrix.ldh, 0, first), 1, at(matrix.h, matrix.ldh, 0, first + 1), 1, c, s);
    lapack::rot(matrix.rowsOfZ, at(matrix.z, matrix.ldz, 0, first), 1, at(matrix.z, matrix.ldz, 0, first + 1), 1, c, s);
}

}  // namespace

ShiftPair exceptionalShifts(const HessenbergMatrix& matrix, int last) {
    // The factors of the HQR procedure: B. T. Smith et al., "Matrix Eigensystem Routines - EISPACK Guide", 1976.
    const double sum = std::abs(elementOf(matrix, last, last - 1)) +
                       (last >= 2 ? std::abs(elementOf(matrix, last - 1, last - 2)) : 0.0);
    const double re = elementOf(matrix, last, last) + 0.75 * sum;
    const double im = std::sqrt(0.4375) * sum;
    return {re, im, re, -im};
}

int firstActiveRow(const HessenbergMatrix& matrix, int earliest, int last) {
    int row = last;
    while (row > earliest && !isNegligible(matrix, row)) {
        --row;
    }
    if (row > earliest) {
        *at(matrix.h, matrix.ldh, row, row - 1) = 0.0;
    }
    return row;
}

bool solveSmallBlock(const HessenbergMatrix& matrix) {
    const int n = matrix.n;
    const ChainTarget target{matrix.h, matrix.ldh, matrix.z, matrix.ldz, 0, n, matrix.rowsOfZ, false};
    int sweeps = 0;
    for (int last = n - 1; last >= 0;) {
        const int first = firstActiveRow(matrix, 0, last);
        if (first >= last - 1) {
            if (first == last - 1) {
                standardise(matrix, first);
            }
            last = first - 1;
            sweeps = 0;
            continue;
        }
        if (++sweeps > mostSweeps) {
            return false;
        }
        const ShiftPair shifts =
            sweeps % sweepsToException == 0 ? exceptionalShifts(matrix, last) : trailingShifts(matrix, last);
        BulgeChain chain(1, &shifts);
        chain.step(target, first, last, 0, chain.stepsThrough(last - first + 1));
    }
    return true;
}

void transformOutside(const HessenbergMatrix& matrix, int first, int order, const double* v, int ldv,
                      std::vector<double>& work) {
    const int after = matrix.n - first - order;
    multiplyInPlaceFromRight(first, order, at(matrix.h, matrix.ldh, 0, first), matrix.ldh, v, ldv, work);
    if (after > 0) {
        multiplyInPlaceFromLeft(order, after, at(matrix.h, matrix.ldh, first, first + order), matrix.ldh, v, ldv, work);
    }
    if (matrix.rowsOfZ > 0) {
        multiplyInPlaceFromRight(matrix.rowsOfZ, order, at(matrix.z, matrix.ldz, 0, first), matrix.ldz, v, ldv, work);
    }
}

}  // namespace qormath::control_utility
