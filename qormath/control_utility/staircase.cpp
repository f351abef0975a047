#include <algorithm>
#include <cmath>
#include <cstddef>

#include <qormath/control_utility/pending_reflectors.hpp>
#include <qormath/control_utility/staircase.hpp>
#include <qormath/lapack/finite.hpp>
#include <qormath/lapack/lapack.hpp>

namespace qormath::control_utility {

namespace {

using lapack::Op;
using lapack::Side;

/// Block width that the work arrays of the orthogonal factorisations are sized for: LAPACK's own default for them.
constexpr int blockWidth = 32;

/// Reflectors that are gathered before they go into A together. Measured from 64 to 2000 states with 1 to 16 inputs:
/// 16 and 64 are nowhere better by more than a fifth, and at 2000 states gathering pays by a factor of up to 4.
constexpr int defaultGroupWidth = 32;

/// Below this order gathering gains less than a fifth.
constexpr int smallestGroupedOrder = 64;

/// What ormqr wants beside its panel, for the triangular factor of a block of at most 64 reflectors.
constexpr int triangularFactorWork = 65 * 64;

std::ptrdiff_t at(int row, int column, int leadingDimension) {
    return row + static_cast<std::ptrdiff_t>(column) * leadingDimension;
}

std::vector<double> work(std::ptrdiff_t length) {
    return std::vector<double>(static_cast<std::size_t>(std::max<std::ptrdiff_t>(1, length)));
}

/// c := op(q) c or c op(q).
void applyReflectors(Side side, Op op, int m, int n, int k, const double* reflectors, int ld, const double* factors,
                     double* c, int ldc) {
    if (m < 1 || n < 1 || k < 1) {
        return;
    }
    const int lwork = (side == Side::left ? n : m) * blockWidth + triangularFactorWork;
    std::vector<double> buffer = work(lwork);
    lapack::ormqr(side, op, m, n, k, reflectors, ld, factors, c, ldc, buffer.data(), lwork);
}

/// The number of rows up to the last one that holds anything but zeros.
int reachedRows(int rows, int columns, const double* block, int ld) {
    int reached = 0;
    for (int column = 0; column < columns; ++column) {
        for (int row = rows; row > reached; --row) {
            if (block[at(row - 1, column, ld)] != 0.0) {
                reached = row;
            }
        }
    }
    return reached;
}

struct Compression {
    int rank = 0;
    int reached = 0;       ///< rows that the reflectors act on
    bool rotated = false;  ///< false if the rows have full rank, or none, as they stand
};

class Reduction {
  public:
    Reduction(int n, double* a, double threshold, int groupWidth, Staircase& result)
        : n_(n), a_(a), threshold_(threshold), pending_(n, a, std::min(groupWidth, n)), result_(result) {}

    /// Takes the stairs one after the other, the first from B and each further one from the columns of A that belong
    /// to the stair before, until a stair has rank 0 or no row is left.
    void run(int m, double* b, int ldb) {
        int rank = takeStair(m, b, ldb);
        while (rank > 0 && result_.order < n_) {
            const int columns = result_.order - rank;
            pending_.bringUpToDate(columns, rank);
            rank = takeStair(rank, a_ + at(result_.order, columns, n_), n_);
        }
        pending_.flush();
    }

  private:
    /// Finds the rank of the block that stands for the next stair, and takes the rows of A along. Returns the rank.
    int takeStair(int columns, double* block, int ld) {
        const Compression stair = compress(n_ - result_.order, columns, block, ld);
        if (stair.rotated) {
            transform(stair);
        }
        if (stair.rank > 0) {
            result_.blockSizes.push_back(stair.rank);
            result_.order += stair.rank;
        }
        return stair.rank;
    }

    /// Brings the rows of a block to full rank over zeros, by reflectors that go to the next columns of the result.
    Compression compress(int rows, int columns, double* block, int ld) {
        Compression stair;
        stair.reached = reachedRows(rows, columns, block, ld);
        const int pivotCount = std::min(stair.reached, columns);
        if (pivotCount == 0) {
            return stair;
        }
        std::vector<double> qr = work(static_cast<std::ptrdiff_t>(stair.reached) * columns);
        std::vector<double> factors = work(pivotCount);
        std::vector<int> pivots(static_cast<std::size_t>(columns), 0);
        lapack::lacpy(stair.reached, columns, block, ld, qr.data(), stair.reached);
        const int lwork = 2 * columns + (columns + 1) * blockWidth;
        std::vector<double> buffer = work(lwork);
        lapack::geqp3(stair.reached, columns, qr.data(), stair.reached, pivots.data(), factors.data(), buffer.data(),
                      lwork);
        while (stair.rank < pivotCount && std::abs(qr[offset(stair.rank, stair.rank, stair.reached)]) > threshold_) {
            ++stair.rank;
        }
        if (stair.rank == stair.reached) {
            return stair;
        }
        lapack::laset(stair.reached, columns, 0.0, 0.0, block, ld);
        for (int column = 0; column < columns; ++column) {
            const int target = pivots[static_cast<std::size_t>(column)] - 1;
            const int height = std::min(column + 1, stair.rank);
            std::copy_n(qr.data() + at(0, column, stair.reached), height, block + at(0, target, ld));
        }
        stair.rotated = stair.rank > 0;
        keepReflectors(stair, qr, factors);
        return stair;
    }

    void keepReflectors(const Compression& stair, const std::vector<double>& qr, const std::vector<double>& factors) {
        const int first = result_.order;
        for (int column = 0; column < stair.rank; ++column) {
            const int tail = column + 1;
            std::copy_n(qr.data() + at(tail, column, stair.reached), stair.reached - tail,
                        result_.reflectors.data() + at(first + tail, first + column, n_));
            result_.factors[static_cast<std::size_t>(first + column)] = factors[static_cast<std::size_t>(column)];
        }
    }

    /// A := q' A q with q the reflectors of the stair, now or, if there are few of them, together with others; the
    /// columns before it have been set by compress.
    void transform(const Compression& stair) {
        const int first = result_.order;
        const double* const reflectors = result_.reflectors.data() + at(first, first, n_);
        const double* const factors = result_.factors.data() + first;
        if (!pending_.haveRoomFor(stair.rank)) {
            pending_.flush();
        }
        if (pending_.haveRoomFor(stair.rank)) {
            pending_.append(first, stair.reached, stair.rank, reflectors, factors);
            return;
        }
        applyReflectors(Side::left, Op::transpose, stair.reached, n_ - first, stair.rank, reflectors, n_, factors,
                        a_ + at(first, first, n_), n_);
        applyReflectors(Side::right, Op::none, n_, stair.reached, stair.rank, reflectors, n_, factors,
                        a_ + at(0, first, n_), n_);
    }

    static std::size_t offset(int row, int column, int ld) { return static_cast<std::size_t>(at(row, column, ld)); }

    int n_;
    double* a_;
    double threshold_;
    PendingReflectors pending_;
    Staircase& result_;
};

/// The exponent k for which the largest element of the pair times 2^k lies near 1, or 0 where squares of the elements
/// and sums of many of them neither overflow nor vanish as they stand.
int scalingExponent(double largest) {
    constexpr int safeExponent = 400;
    if (largest == 0.0) {
        return 0;
    }
    const int exponent = std::ilogb(largest);
    return std::abs(exponent) <= safeExponent ? 0 : -exponent;
}

void scaleBy(int exponent, int m, int n, double* a, int lda) {
    if (exponent == 0) {
        return;
    }
    for (int column = 0; column < n; ++column) {
        for (int row = 0; row < m; ++row) {
            double& element = a[at(row, column, lda)];
            element = std::scalbn(element, exponent);
        }
    }
}

}  // namespace

Staircase reduceToStaircase(int n, int m, double* a, double* b, int ldb, double tolerance) {
    return reduceToStaircase(n, m, a, b, ldb, tolerance, n < smallestGroupedOrder ? 0 : defaultGroupWidth);
}

Staircase reduceToStaircase(int n, int m, double* a, double* b, int ldb, double tolerance, int groupWidth) {
    Staircase result;
    result.size = std::max(0, n);
    if (n < 1 || m < 1 || ldb < n || !lapack::allFinite(n, n, a, n) || !lapack::allFinite(n, m, b, ldb)) {
        return result;
    }
    const int exponent = scalingExponent(
        std::max(lapack::lange(lapack::Norm::maxAbs, n, n, a, n), lapack::lange(lapack::Norm::maxAbs, n, m, b, ldb)));
    scaleBy(exponent, n, n, a, n);
    scaleBy(exponent, n, m, b, ldb);

    result.reflectors = work(static_cast<std::ptrdiff_t>(n) * n);
    result.factors = work(n);
    const double relative = tolerance > 0.0 ? tolerance : n * lapack::machineEpsilon();
    const double norm = std::max(lapack::lange(lapack::Norm::frobenius, n, n, a, n),
                                 lapack::lange(lapack::Norm::frobenius, n, m, b, ldb));
    Reduction(n, a, relative * norm, groupWidth, result).run(m, b, ldb);

    scaleBy(-exponent, n, n, a, n);
    scaleBy(-exponent, n, m, b, ldb);
    return result;
}

void formTransformation(const Staircase& staircase, double* z) {
    const int n = staircase.size;
    lapack::laset(n, n, 0.0, 1.0, z, n);
    if (staircase.order == 0) {
        return;
    }
    lapack::lacpy(n, staircase.order, staircase.reflectors.data(), n, z, n);
    const int lwork = n * blockWidth;
    std::vector<double> buffer = work(lwork);
    lapack::orgqr(n, n, staircase.order, z, n, staircase.factors.data(), buffer.data(), lwork);
}

void multiplyByTransformation(int p, double* c, const Staircase& staircase) {
    applyReflectors(Side::right, Op::none, p, staircase.size, staircase.order, staircase.reflectors.data(),
                    staircase.size, staircase.factors.data(), c, p);
}

}  // namespace qormath::control_utility
