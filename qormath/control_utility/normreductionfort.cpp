#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <vector>

#include <qormath/control_utility/normreductionfort.hpp>
#include <qormath/lapack/blas.hpp>
#include <qormath/lapack/finite.hpp>
#include <qormath/lapack/lapack.hpp>

namespace qormath::control_utility {

namespace {

// What maxReduction stands for when it asks for the default.
constexpr double defaultMaxReduction = 10.0;
// A scaling has to take this much off the norms of a state, or the sweeps would go on for the sake of roundings.
constexpr double worthwhile = 0.95;
// Sweeps settle in fewer than ten; the limit is for chains whose scales would creep to the end of the range.
constexpr int maxSweeps = 100;
// Binary exponents within which elements and scales stay: normal numbers, with room for sums above.
constexpr int smallestExponent = std::numeric_limits<double>::min_exponent - 1;
constexpr int largestExponent = std::numeric_limits<double>::max_exponent - 24;

/// What one row or column holds off the diagonal: its size as log2 of the 2-norm, which neither overflows nor
/// underflows, and the exponents of its largest and smallest non-zero elements.
struct Extent {
    bool zero = true;
    double log2Norm = 0.0;
    int largest = 0;
    int smallest = 0;
};

/// Powers of two up to this exponent, and their inverses, are normal numbers.
constexpr int largestPower = 1022;

/// Gathers an extent from strided parts. Sums of squares are taken relative to the power of two of the largest.
class ExtentOf {
  public:
    void add(const double* x, int count, int stride, int skipped) {
        for (int k = 0; k < count; ++k) {
            const double size = std::abs(x[static_cast<std::ptrdiff_t>(k) * stride]);
            if (k != skipped && size != 0.0) {
                sizes_.push_back(size);
            }
        }
    }

    Extent take() {
        Extent extent;
        if (!sizes_.empty()) {
            const auto [smallest, largest] = std::minmax_element(sizes_.begin(), sizes_.end());
            extent.zero = false;
            extent.smallest = std::ilogb(*smallest);
            extent.largest = std::ilogb(*largest);
            double sum = 0.0;
            // A product with the power of two is as exact as std::ldexp, and no call, where the power is a number.
            const bool isNumber = std::abs(extent.largest) <= largestPower;
            const double power = isNumber ? std::ldexp(1.0, -extent.largest) : 0.0;
            for (const double size : sizes_) {
                const double relative = isNumber ? size * power : std::ldexp(size, -extent.largest);
                sum += relative * relative;
            }
            extent.log2Norm = extent.largest + 0.5 * std::log2(sum);
        }
        sizes_.clear();
        return extent;
    }

  private:
    std::vector<double> sizes_;
};

class Balancing {
  public:
    Balancing(int n, int m, int p, double* a, double* b, double* c)
        : n_(n), m_(m), p_(p), a_(a), b_(b), c_(c), exponents_(static_cast<std::size_t>(n), 0) {}

    /// log2 of the Frobenius norm of [A B; C 0]; minus infinity when it is zero.
    double log2Norm() {
        for (int state = 0; state < n_; ++state) {
            parts_.add(columnStart(a_, n_, state), n_, 1, -1);
            parts_.add(columnStart(c_, p_, state), p_, 1, -1);
        }
        for (int input = 0; input < m_; ++input) {
            parts_.add(columnStart(b_, n_, input), n_, 1, -1);
        }
        const Extent whole = parts_.take();
        return whole.zero ? -std::numeric_limits<double>::infinity() : whole.log2Norm;
    }

    void scaleOneSidedStates(double maxReduction) {
        const int exponent = std::ilogb(maxReduction);
        for (int state = 0; state < n_; ++state) {
            const Extent row = rowOf(state);
            const Extent column = columnOf(state);
            if (row.zero != column.zero) {
                apply(state, withinRange(state, row, column, row.zero ? -exponent : exponent));
            }
        }
    }

    void sweep() {
        bool changed = true;
        for (int pass = 0; changed && pass < maxSweeps; ++pass) {
            changed = false;
            for (int state = 0; state < n_; ++state) {
                changed = balance(state) || changed;
            }
        }
    }

    void writeScales(double* scale) const {
        std::transform(exponents_.begin(), exponents_.end(), scale,
                       [](int exponent) { return std::ldexp(1.0, exponent); });
    }

  private:
    // Without inputs, or outputs, there may be no array, and no address in it.
    static double* rowStart(double* x, int state) { return x == nullptr ? x : x + state; }
    static double* columnStart(double* x, int rows, int state) {
        return x == nullptr ? x : x + static_cast<std::ptrdiff_t>(state) * rows;
    }

    Extent rowOf(int state) {
        parts_.add(rowStart(a_, state), n_, n_, state);
        parts_.add(rowStart(b_, state), m_, n_, -1);
        return parts_.take();
    }

    Extent columnOf(int state) {
        parts_.add(columnStart(a_, n_, state), n_, 1, state);
        parts_.add(columnStart(c_, p_, state), p_, 1, -1);
        return parts_.take();
    }

    /// The exponent nearest to the wanted one at which no element and no scale leaves the range.
    int withinRange(int state, const Extent& row, const Extent& column, int wanted) const {
        const int scale = exponents_[static_cast<std::size_t>(state)];
        const bool grows = wanted > 0;
        const Extent& growing = grows ? column : row;
        const Extent& shrinking = grows ? row : column;
        int room = largestExponent - (grows ? scale : -scale);
        if (!growing.zero) {
            room = std::min(room, largestExponent - growing.largest);
        }
        if (!shrinking.zero) {
            room = std::min(room, shrinking.smallest - smallestExponent);
        }
        const int size = std::clamp(std::abs(wanted), 0, std::max(0, room));
        return grows ? size : -size;
    }

    /// The sum of the state's two norms, diagonal included, after a scaling by 2^exponent; relative to 2^reference.
    static double normsAfter(const Extent& row, const Extent& column, double diagonal, int exponent, double reference) {
        return std::hypot(std::exp2(column.log2Norm + exponent - reference), diagonal) +
               std::hypot(std::exp2(row.log2Norm - exponent - reference), diagonal);
    }

    bool balance(int state) {
        const Extent row = rowOf(state);
        const Extent column = columnOf(state);
        if (row.zero || column.zero) {
            return false;
        }
        const auto wanted = static_cast<int>(std::lround(0.5 * (row.log2Norm - column.log2Norm)));
        const int exponent = withinRange(state, row, column, wanted);
        const double size = std::abs(columnStart(a_, n_, state)[state]);
        const double reference =
            std::max({row.log2Norm, column.log2Norm, size == 0.0 ? row.log2Norm : std::log2(size)});
        const double diagonal = size == 0.0 ? 0.0 : std::exp2(std::log2(size) - reference);
        if (exponent == 0 || normsAfter(row, column, diagonal, exponent, reference) >=
                                 worthwhile * normsAfter(row, column, diagonal, 0, reference)) {
            return false;
        }
        apply(state, exponent);
        return true;
    }

    static void multiply(double* x, int count, int stride, int skipped, int exponent) {
        for (int k = 0; k < count; ++k) {
            if (k != skipped) {
                double& element = x[static_cast<std::ptrdiff_t>(k) * stride];
                element = std::ldexp(element, exponent);
            }
        }
    }

    void apply(int state, int exponent) {
        if (exponent == 0) {
            return;
        }
        multiply(columnStart(a_, n_, state), n_, 1, state, exponent);
        multiply(columnStart(c_, p_, state), p_, 1, -1, exponent);
        multiply(rowStart(a_, state), n_, n_, state, -exponent);
        multiply(rowStart(b_, state), m_, n_, -1, -exponent);
        exponents_[static_cast<std::size_t>(state)] += exponent;
    }

    int n_;
    int m_;
    int p_;
    double* a_;
    double* b_;
    double* c_;
    std::vector<int> exponents_;
    ExtentOf parts_;
};

/// The same decisions from sums of squares that are kept up to date, instead of from new norms: the matrices are read
/// once, and changed once at the end. It serves as long as no square leaves the range of numbers, no state is
/// one-sided, and no decision hangs on the last digits; otherwise nothing has been changed.
class QuickBalancing {
  public:
    QuickBalancing(int n, int m, int p, double* a, double* b, double* c)
        : n_(n),
          m_(m),
          p_(p),
          a_(a),
          b_(b),
          c_(c),
          exponents_(static_cast<std::size_t>(n)),
          growth_(static_cast<std::size_t>(n), 1.0),
          rows_(static_cast<std::size_t>(n)),
          columns_(static_cast<std::size_t>(n)) {}

    bool run(double* scale, double& reduction) {
        if (!gather()) {
            return false;
        }
        const double before = total_;
        bool changed = true;
        bool anyChange = false;
        for (int pass = 0; changed && pass < maxSweeps; ++pass) {
            changed = false;
            for (int state = 0; state < n_; ++state) {
                int exponent = 0;
                if (!decide(state, exponent)) {
                    return false;
                }
                if (exponent != 0) {
                    apply(state, exponent);
                    changed = true;
                }
            }
            anyChange = anyChange || changed;
        }
        if (anyChange) {
            write();
        }
        std::copy(growth_.begin(), growth_.end(), scale);
        reduction = before == 0.0 ? 1.0 : std::sqrt(before / total_);
        return true;
    }

  private:
    /// A sum of squares, and the largest that it has been since it was added up.
    struct Sum {
        double value = 0.0;
        double peak = 0.0;
    };

    // Up to this sum of squares, and from this square on, elements and their squares have room for all scales.
    static constexpr double largestSum = 0x1p300;
    static constexpr double smallestSquare = 0x1p-600;
    static constexpr int largestScale = 75;
    // A sum that has lost this many digits to subtractions is added up anew.
    static constexpr double lostDigits = 1e-5;
    // Decisions closer than this to their threshold are left to norms that are fresh.
    static constexpr double doubt = 1e-6;

    double* column(double* x, int rows, int state) const { return x + static_cast<std::ptrdiff_t>(state) * rows; }
    std::size_t at(int state) const { return static_cast<std::size_t>(state); }

    bool gather() {
        bool tiny = false;
        const auto isTiny = [](double x, double square) { return square < smallestSquare && x != 0.0; };
        for (int j = 0; j < n_; ++j) {
            const double* const x = column(a_, n_, j);
            for (int i = 0; i < n_; ++i) {
                const double square = x[i] * x[i];
                rows_[at(i)].value += square;
                tiny |= isTiny(x[i], square);
            }
            const double* const y = column(c_, p_, j);
            for (int k = 0; k < p_; ++k) {
                tiny |= isTiny(y[k], y[k] * y[k]);
            }
            columns_[at(j)].value = lapack::dot(n_, x, 1, x, 1) + lapack::dot(p_, y, 1, y, 1);
            total_ += columns_[at(j)].value;
        }
        for (int j = 0; j < m_; ++j) {
            const double* const x = column(b_, n_, j);
            for (int i = 0; i < n_; ++i) {
                const double square = x[i] * x[i];
                rows_[at(i)].value += square;
                tiny |= isTiny(x[i], square);
            }
            total_ += lapack::dot(n_, x, 1, x, 1);
        }
        if (tiny || !(total_ <= largestSum)) {
            return false;
        }
        for (int i = 0; i < n_; ++i) {
            const double diagonal = column(a_, n_, i)[i];
            // Beside a large diagonal the rest of the sum has no digits.
            if (settle(rows_[at(i)], diagonal * diagonal)) {
                addUpRow(i);
            }
            if (settle(columns_[at(i)], diagonal * diagonal)) {
                addUpColumn(i);
            }
            if ((rows_[at(i)].value == 0.0) != (columns_[at(i)].value == 0.0)) {
                return false;
            }
        }
        return true;
    }

    /// Takes a square off a sum; true if that leaves too few digits.
    static bool settle(Sum& sum, double square) {
        sum.peak = sum.value;
        sum.value -= square;
        return !(sum.value >= lostDigits * sum.peak);
    }

    void addUpRow(int state) {
        double sum = 0.0;
        for (int j = 0; j < n_; ++j) {
            const double x = j == state ? 0.0 : column(a_, n_, j)[state] * growth_[at(j)];
            sum += x * x;
        }
        for (int j = 0; j < m_; ++j) {
            const double x = column(b_, n_, j)[state];
            sum += x * x;
        }
        sum /= growth_[at(state)] * growth_[at(state)];
        rows_[at(state)] = {sum, sum};
    }

    void addUpColumn(int state) {
        double sum = 0.0;
        for (int i = 0; i < n_; ++i) {
            const double x = i == state ? 0.0 : column(a_, n_, state)[i] / growth_[at(i)];
            sum += x * x;
        }
        for (int k = 0; k < p_; ++k) {
            const double x = column(c_, p_, state)[k];
            sum += x * x;
        }
        sum *= growth_[at(state)] * growth_[at(state)];
        columns_[at(state)] = {sum, sum};
    }

    /// The exponent by which to scale a state. False where that is in doubt, or out of range.
    bool decide(int state, int& exponent) {
        if (rows_[at(state)].value < lostDigits * rows_[at(state)].peak) {
            addUpRow(state);
        }
        if (columns_[at(state)].value < lostDigits * columns_[at(state)].peak) {
            addUpColumn(state);
        }
        const double row = rows_[at(state)].value;
        const double columnSum = columns_[at(state)].value;
        exponent = 0;
        if (row == 0.0 || columnSum == 0.0) {
            return true;
        }
        const double wanted = 0.25 * std::log2(row / columnSum);
        const double nearest = std::round(wanted);
        if (std::fabs(std::fabs(wanted - nearest) - 0.5) < doubt ||
            std::fabs(exponents_[at(state)] + nearest) > largestScale) {
            return false;
        }
        if (nearest == 0.0) {
            return true;
        }
        const double diagonal = column(a_, n_, state)[state] * column(a_, n_, state)[state];
        const double factor = std::ldexp(1.0, 2 * static_cast<int>(nearest));
        const double now = std::sqrt(columnSum + diagonal) + std::sqrt(row + diagonal);
        const double then = std::sqrt(columnSum * factor + diagonal) + std::sqrt(row / factor + diagonal);
        if (std::fabs(then - worthwhile * now) < doubt * now) {
            return false;
        }
        exponent = then < worthwhile * now ? static_cast<int>(nearest) : 0;
        return true;
    }

    static void change(Sum& sum, double difference) {
        sum.value += difference;
        sum.peak = std::max(sum.peak, sum.value);
    }

    /// Scales a state by 2^exponent in the sums alone.
    void apply(int state, int exponent) {
        const double old = growth_[at(state)];
        const double factor = std::ldexp(1.0, 2 * exponent);
        const double growth = (factor - 1.0) * old * old;
        const double shrinkage = (1.0 / factor - 1.0) / (old * old);
        const double* const x = column(a_, n_, state);
        const double* y = a_ + state;
        for (int j = 0; j < n_; ++j, y += n_) {
            if (j != state) {
                const double inColumn = x[j] / growth_[at(j)];
                const double inRow = *y * growth_[at(j)];
                change(rows_[at(j)], inColumn * inColumn * growth);
                change(columns_[at(j)], inRow * inRow * shrinkage);
            }
        }
        Sum& down = columns_[at(state)];
        Sum& across = rows_[at(state)];
        down = {down.value * factor, down.peak * factor};
        across = {across.value / factor, across.peak / factor};
        exponents_[at(state)] += exponent;
        growth_[at(state)] = std::ldexp(1.0, exponents_[at(state)]);
    }

    /// Powers of two change no digits.
    void write() {
        std::vector<double> reciprocal(growth_.size());
        std::transform(growth_.begin(), growth_.end(), reciprocal.begin(), [](double factor) { return 1.0 / factor; });
        total_ = 0.0;
        for (int j = 0; j < n_; ++j) {
            double* const x = column(a_, n_, j);
            const double factor = growth_[at(j)];
            for (int i = 0; i < n_; ++i) {
                x[i] *= factor * reciprocal[at(i)];
            }
            double* const y = column(c_, p_, j);
            lapack::scal(p_, factor, y, 1);
            total_ += lapack::dot(n_, x, 1, x, 1) + lapack::dot(p_, y, 1, y, 1);
        }
        for (int j = 0; j < m_; ++j) {
            double* const x = column(b_, n_, j);
            for (int i = 0; i < n_; ++i) {
                x[i] *= reciprocal[at(i)];
            }
            total_ += lapack::dot(n_, x, 1, x, 1);
        }
    }

    int n_;
    int m_;
    int p_;
    double* a_;
    double* b_;
    double* c_;
    double total_ = 0.0;
    std::vector<int> exponents_;
    std::vector<double> growth_;
    std::vector<Sum> rows_;
    std::vector<Sum> columns_;
};

int illegalArgument(int n, int m, int p, double maxReduction) {
    if (n < 0) {
        return -1;
    }
    if (m < 0) {
        return -2;
    }
    if (p < 0) {
        return -3;
    }
    return std::isnan(maxReduction) || (maxReduction > 0.0 && maxReduction < 1.0) ? -4 : 0;
}

}  // namespace

void NORMREDUCTIONFORT(const int* n, const int* m, const int* p, double* maxReduction, double* a, double* b, double* c,
                       double* scale, int* info) {
    *info = illegalArgument(*n, *m, *p, *maxReduction);
    if (*info != 0) {
        return;
    }
    if (QuickBalancing(*n, *m, *p, a, b, c).run(scale, *maxReduction)) {
        return;
    }
    balanceByFreshNorms(*n, *m, *p, *maxReduction, a, b, c, scale, *info);
}

void balanceByFreshNorms(int n, int m, int p, double& maxReduction, double* a, double* b, double* c, double* scale,
                         int& info) {
    if (!lapack::allFinite(n, n, a, n) || !lapack::allFinite(n, m, b, n) || !lapack::allFinite(p, n, c, p)) {
        info = 1;
        return;
    }
    // An infinite limit is cut to the range of the scales.
    const double limit =
        maxReduction <= 0.0 ? defaultMaxReduction : std::min(maxReduction, std::ldexp(1.0, largestExponent));
    Balancing balancing(n, m, p, a, b, c);
    const double before = balancing.log2Norm();
    balancing.scaleOneSidedStates(limit);
    balancing.sweep();
    balancing.writeScales(scale);
    const double after = balancing.log2Norm();
    maxReduction = std::isinf(before) ? 1.0 : std::exp2(before - after);
}

}  // namespace qormath::control_utility
