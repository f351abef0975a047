#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstring>

#include <qormath/control_utility/bulge_chain.hpp>
#include <qormath/control_utility/quasi_triangular.hpp>
#include <qormath/lapack/lapack.hpp>

namespace qormath::control_utility {

namespace {

// Two numbers that are worked on together, as every processor with vectors can; the loops over them are too short for
// the compiler to find that out.
using Pair [[gnu::vector_size(16)]] = double;
constexpr int pairLength = 2;

// Pairs of rows, or columns, that are changed together: enough for the processor to work on some while it waits for
// others.
constexpr int pairs = 2;
constexpr int lanes = pairs * pairLength;

Pair load(const double* x) {
    Pair result;
    std::memcpy(&result, x, sizeof result);
    return result;
}

void store(Pair value, double* x) {
    std::memcpy(x, &value, sizeof value);
}

/// The reflector that takes a column of three elements to (beta, 0, 0).
SmallReflector reflectorOf(const double* column, double& beta) {
    SmallReflector result;
    beta = column[0];
    const double largest = std::max(std::abs(column[1]), std::abs(column[2]));
    if (largest == 0.0) {
        return result;
    }
    // Divided by its largest element the column is within the range of squares.
    const double scale = std::max(std::abs(column[0]), largest);
    const double x1 = column[0] / scale, x2 = column[1] / scale, x3 = column[2] / scale;
    const double norm = std::copysign(std::sqrt(x1 * x1 + x2 * x2 + x3 * x3), x1);
    const double pivot = x1 + norm;
    beta = -norm * scale;
    result.tau = pivot / norm;
    result.v2 = x2 / pivot;
    result.v3 = x3 / pivot;
    result.tau2 = result.tau * result.v2;
    result.tau3 = result.tau * result.v3;
    return result;
}

/// The first column of (h - s1)(h - s2), up to a factor; h is the top of the active block.
void firstColumn(const double* h, int ldh, const ShiftPair& s, double* column) {
    const double h11 = h[0], h21 = h[1], h12 = h[ldh], h22 = h[ldh + 1], h32 = h[ldh + 2];
    const double scale = std::abs(h11 - s.re2) + std::abs(s.im2) + std::abs(h21);
    if (scale == 0.0) {
        std::fill_n(column, 3, 0.0);
        return;
    }
    const double part = h21 / scale;
    column[0] = (h11 - s.re1) * ((h11 - s.re2) / scale) - s.im1 * (s.im2 / scale) + h12 * part;
    column[1] = part * (h11 + h22 - s.re1 - s.re2);
    column[2] = part * h32;
}

/// What the reflectors are applied to in steps of pairs of numbers: pairs of columns `stride` apart.
struct ColumnPairs {
    static Pair load(const double* x, std::ptrdiff_t stride) { return Pair{x[0], x[stride]}; }
    static void store(Pair value, double* x, std::ptrdiff_t stride) {
        x[0] = value[0];
        x[stride] = value[1];
    }
};

/// Applies reflectors to 2 * width columns from x on, `stride` apart, which are elements of the rows of one bulge and,
/// two rows higher each, of those behind it. x is at the first of the three rows.
template <int width>
void reflectColumns(const SmallReflector* reflector, int count, double* x, std::ptrdiff_t stride) {
    Pair third[width];
    for (int l = 0; l < width; ++l) {
        third[l] = ColumnPairs::load(x + 2 * l * stride + 2, stride);
    }
    for (int b = 0; b < count; ++b, x -= 2) {
        const SmallReflector r = reflector[b];
        for (int l = 0; l < width; ++l) {
            double* const element = x + 2 * l * stride;
            const Pair first = ColumnPairs::load(element, stride);
            const Pair second = ColumnPairs::load(element + 1, stride);
            const Pair sum = first + r.v2 * second + r.v3 * third[l];
            ColumnPairs::store(third[l] - sum * r.tau3, element + 2, stride);
            ColumnPairs::store(second - sum * r.tau2, element + 1, stride);
            third[l] = first - sum * r.tau;
        }
    }
    for (int l = 0; l < width; ++l) {
        ColumnPairs::store(third[l], x + 2 * l * stride + 2, stride);
    }
}

void reflectColumn(const SmallReflector* reflector, int count, double* x) {
    double third = x[2];
    for (int b = 0; b < count; ++b, x -= 2) {
        const SmallReflector r = reflector[b];
        const double sum = x[0] + r.v2 * x[1] + r.v3 * third;
        x[2] = third - sum * r.tau3;
        x[1] -= sum * r.tau2;
        third = x[0] - sum * r.tau;
    }
    x[2] = third;
}

/// The same for 2 * width rows from x on; x is in the first of the three columns, which are ld apart.
template <int width>
void reflectRows(const SmallReflector* reflector, int count, double* x, std::ptrdiff_t ld) {
    Pair third[width];
    for (int l = 0; l < width; ++l) {
        third[l] = load(x + 2 * ld + 2 * l);
    }
    for (int b = 0; b < count; ++b, x -= 2 * ld) {
        const SmallReflector r = reflector[b];
        for (int l = 0; l < width; ++l) {
            const Pair first = load(x + 2 * l);
            const Pair second = load(x + ld + 2 * l);
            const Pair sum = first + r.v2 * second + r.v3 * third[l];
            store(third[l] - sum * r.tau3, x + 2 * ld + 2 * l);
            store(second - sum * r.tau2, x + ld + 2 * l);
            third[l] = first - sum * r.tau;
        }
    }
    for (int l = 0; l < width; ++l) {
        store(third[l], x + 2 * ld + 2 * l);
    }
}

void reflectRow(const SmallReflector* reflector, int count, double* x, std::ptrdiff_t ld) {
    double third = x[2 * ld];
    for (int b = 0; b < count; ++b, x -= 2 * ld) {
        const SmallReflector r = reflector[b];
        const double sum = x[0] + r.v2 * x[ld] + r.v3 * third;
        x[2 * ld] = third - sum * r.tau3;
        x[ld] -= sum * r.tau2;
        third = x[0] - sum * r.tau;
    }
    x[2 * ld] = third;
}

void reflectAllRows(const SmallReflector* reflector, int count, double* x, std::ptrdiff_t ld, int rows) {
    int row = 0;
    for (; row + lanes <= rows; row += lanes) {
        reflectRows<pairs>(reflector, count, x + row, ld);
    }
    for (; row < rows; ++row) {
        reflectRow(reflector, count, x + row, ld);
    }
}

}  // namespace

BulgeChain::BulgeChain(int bulges, const ShiftPair* shifts)
    : shifts_(shifts), reflectors_(static_cast<std::size_t>(bulges)) {}

void BulgeChain::step(const ChainTarget& target, int top, int bottom, int first, int end) {
    leadAtEntry_ = top - 1 + first;
    for (int step = first; step < end; ++step) {
        lead_ = top - 1 + step;
        // Bulge b is under way from the row top - 1 to the row bottom - 2.
        front_ = std::max(0, (lead_ - (bottom - 2) + 1) / 2);
        back_ = std::min(bulges() - 1, step / 2);
        if (front_ > back_) {
            continue;
        }
        generate(target, top, bottom);
        applyToRows(target);
        applyToColumns(target);
        applyToU(target);
    }
}

/// The reflectors of this step. One that moves a bulge on takes what the one before has left undone with it: the row
/// below the bulge, which the next bulge has meanwhile reduced to one element.
void BulgeChain::generate(const ChainTarget& target, int top, int bottom) {
    const int ldh = target.ldh;
    for (int b = front_; b <= back_; ++b) {
        const int k = lead_ - 2 * b;
        SmallReflector& r = reflectors_[static_cast<std::size_t>(b)];
        double column[3];
        if (k < top) {
            firstColumn(at(target.h, ldh, top, top), ldh, shifts_[b], column);
            double beta = 0.0;
            r = reflectorOf(column, beta);
            continue;
        }
        double* const h = at(target.h, ldh, k + 1, k);
        const int length = std::min(3, bottom - k);
        if (length == 3) {
            double* const below = h + 2;
            const double sum = r.v3 * below[2 * static_cast<std::ptrdiff_t>(ldh)];
            below[0] = -sum * r.tau;
            below[ldh] = -sum * r.tau2;
            below[2 * static_cast<std::ptrdiff_t>(ldh)] -= sum * r.tau3;
        }
        column[2] = 0.0;
        std::copy_n(h, length, column);
        r = reflectorOf(column, h[0]);
        std::fill_n(h + 1, length - 1, 0.0);
    }
}

void BulgeChain::applyToRows(const ChainTarget& target) const {
    const SmallReflector* const reflectors = reflectors_.data();
    const auto ldh = static_cast<std::ptrdiff_t>(target.ldh);
    // Columns within the chain meet the bulges that are no further than they are.
    for (int b = back_; b > front_; --b) {
        const int k = lead_ - 2 * b;
        reflectColumns<1>(reflectors + b, back_ - b + 1, at(target.h, target.ldh, k + 1, k + 1), ldh);
    }
    const int k = lead_ - 2 * front_;
    const int count = back_ - front_ + 1;
    int column = k + 1;
    for (; column + lanes <= target.endColumn; column += lanes) {
        reflectColumns<pairs>(reflectors + front_, count, at(target.h, target.ldh, k + 1, column), ldh);
    }
    for (; column < target.endColumn; ++column) {
        reflectColumn(reflectors + front_, count, at(target.h, target.ldh, k + 1, column));
    }
}

void BulgeChain::applyToColumns(const ChainTarget& target) const {
    const SmallReflector* const front = reflectors_.data() + front_;
    const int column = lead_ - 2 * front_ + 1;
    // Every bulge reaches to the row three below its own; the two rows further down meet those further on alone.
    int row = lead_ - 2 * back_ + 4;
    reflectAllRows(front, back_ - front_ + 1, at(target.h, target.ldh, target.firstRow, column), target.ldh,
                   row - target.firstRow);
    for (int b = back_; b > front_; --b, row += 2) {
        reflectRows<1>(front, b - front_, at(target.h, target.ldh, row, column), target.ldh);
    }
}

void BulgeChain::applyToU(const ChainTarget& target) const {
    const SmallReflector* const front = reflectors_.data() + front_;
    const int column = lead_ - 2 * front_ + 1;
    const int count = back_ - front_ + 1;
    if (!target.uIsIdentity) {
        reflectAllRows(front, count, at(target.u, target.ldu, 0, column), target.ldu, target.rowsOfU);
        return;
    }
    // Of an identity, rows further on than the chain has come are unchanged, and bulge b has filled none above its own.
    int row = std::max(leadAtEntry_ - 2 * front_ + 1, 1);
    const int endRow = std::min(lead_ + 4, target.rowsOfU);
    reflectAllRows(front, count, at(target.u, target.ldu, row, column), target.ldu, endRow - row);
    for (int b = front_ + 1; b <= back_ && row >= 2; ++b) {
        row -= 2;
        reflectRows<1>(reflectors_.data() + b, back_ - b + 1, at(target.u, target.ldu, row, column - 2 * (b - front_)),
                       target.ldu);
    }
}

}  // namespace qormath::control_utility
