#include <algorithm>
#include <cmath>
#include <cstddef>
#include <utility>

#include <qormath/control_utility/pending_reflectors.hpp>
#include <qormath/control_utility/staircase.hpp>
#include <qormath/lapack/finite.hpp>
#include <qormath/lapack/lapack.hpp>

namespace qormath::control_utility {

namespace {

using lapack::Op;

/// Block width that the work array of the pivoted factorisation is sized for: LAPACK's own default for it.
constexpr int blockWidth = 32;

/// Reflectors that are gathered before they go into A together. Measured from 100 to 800 states: 32 and 64 are as good
/// from 200 states on, and at 100 states 64 take a third longer.
constexpr int defaultGroupWidth = 48;

/// Below this order fewer are gathered: of single columns, that halves the time, and of ten it is no worse than stair
/// by stair.
constexpr int smallestWideOrder = 64;
constexpr int narrowGroupWidth = 8;

std::ptrdiff_t at(int row, int column, int leadingDimension) {
    return row + static_cast<std::ptrdiff_t>(column) * leadingDimension;
}

std::vector<double> work(std::ptrdiff_t length) {
    return std::vector<double>(static_cast<std::size_t>(std::max<std::ptrdiff_t>(1, length)));
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
        : n_(n),
          a_(a),
          threshold_(threshold),
          pending_(n, a, std::min(groupWidth, n), result.blocks),
          result_(result) {}

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
        qr_.resize(static_cast<std::size_t>(stair.reached) * static_cast<std::size_t>(columns));
        factors_.resize(static_cast<std::size_t>(pivotCount));
        std::vector<int> pivots(static_cast<std::size_t>(columns), 0);
        lapack::lacpy(stair.reached, columns, block, ld, qr_.data(), stair.reached);
        const int lwork = 2 * columns + (columns + 1) * blockWidth;
        std::vector<double> buffer = work(lwork);
        lapack::geqp3(stair.reached, columns, qr_.data(), stair.reached, pivots.data(), factors_.data(), buffer.data(),
                      lwork);
        while (stair.rank < pivotCount && std::abs(qr_[offset(stair.rank, stair.rank, stair.reached)]) > threshold_) {
            ++stair.rank;
        }
        if (stair.rank == stair.reached) {
            return stair;
        }
        lapack::laset(stair.reached, columns, 0.0, 0.0, block, ld);
        for (int column = 0; column < columns; ++column) {
            const int target = pivots[static_cast<std::size_t>(column)] - 1;
            const int height = std::min(column + 1, stair.rank);
            std::copy_n(qr_.data() + at(0, column, stair.reached), height, block + at(0, target, ld));
        }
        stair.rotated = stair.rank > 0;
        return stair;
    }

    /// A := q' A q with q the reflectors of the stair, now or, if there are few of them, together with others; the
    /// columns before it have been set by compress.
    void transform(const Compression& stair) {
        const int first = result_.order;
        if (!pending_.haveRoomFor(stair.rank)) {
            pending_.flush();
        }
        if (pending_.haveRoomFor(stair.rank)) {
            pending_.append(first, stair.reached, stair.rank, qr_.data(), stair.reached, factors_.data());
            return;
        }
        ReflectorBlock block(first, stair.reached, stair.rank);
        block.append(0, stair.reached, stair.rank, qr_.data(), stair.reached, factors_.data());
        block.multiplyFromLeft(Op::transpose, n_ - first, a_ + at(first, first, n_), n_);
        block.multiplyFromRight(n_, a_ + at(0, first, n_), n_);
        result_.blocks.push_back(std::move(block));
    }

    static std::size_t offset(int row, int column, int ld) { return static_cast<std::size_t>(at(row, column, ld)); }

    int n_;
    double* a_;
    double threshold_;
    PendingReflectors pending_;
    Staircase& result_;
    std::vector<double> qr_;       ///< of the stair in work, as LAPACK leaves it
    std::vector<double> factors_;  ///< of its reflectors
};

/// The square of the larger Frobenius norm of the pair, or NaN if one of them is NaN.
double largerSquare(int n, int m, const double* a, const double* b, int ldb) {
    const auto square = [n](int columns, const double* matrix, int ld) {
        double sum = 0.0;
        for (int column = 0; column < columns; ++column) {
            const double* const elements = matrix + at(0, column, ld);
            sum += lapack::dot(n, elements, 1, elements, 1);
        }
        return sum;
    };
    const double ofA = square(n, a, n);
    const double ofB = square(m, b, ldb);
    return ofB > ofA || std::isnan(ofB) ? ofB : ofA;
}

/// A square up to this, and above its inverse, tells that all elements are finite and that the largest is in the range
/// where scalingExponent is 0.
constexpr double clearSquare = 0x1p700;

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
    return reduceToStaircase(n, m, a, b, ldb, tolerance, n < smallestWideOrder ? narrowGroupWidth : defaultGroupWidth);
}

Staircase reduceToStaircase(int n, int m, double* a, double* b, int ldb, double tolerance, int groupWidth) {
    Staircase result;
    result.size = std::max(0, n);
    if (n < 1 || m < 1 || ldb < n) {
        return result;
    }
    double square = largerSquare(n, m, a, b, ldb);
    int exponent = 0;
    if (!(square >= 1.0 / clearSquare && square <= clearSquare)) {
        if (!lapack::allFinite(n, n, a, n) || !lapack::allFinite(n, m, b, ldb)) {
            return result;
        }
        exponent = scalingExponent(std::max(lapack::lange(lapack::Norm::maxAbs, n, n, a, n),
                                            lapack::lange(lapack::Norm::maxAbs, n, m, b, ldb)));
        scaleBy(exponent, n, n, a, n);
        scaleBy(exponent, n, m, b, ldb);
        square = largerSquare(n, m, a, b, ldb);
    }

    const double relative = tolerance > 0.0 ? tolerance : n * lapack::machineEpsilon();
    Reduction(n, a, relative * std::sqrt(square), groupWidth, result).run(m, b, ldb);

    scaleBy(-exponent, n, n, a, n);
    scaleBy(-exponent, n, m, b, ldb);
    return result;
}

void formTransformation(const Staircase& staircase, double* z) {
    formProduct(staircase.size, staircase.blocks, z);
}

void multiplyByTransformation(int p, double* c, const Staircase& staircase) {
    for (const ReflectorBlock& block : staircase.blocks) {
        block.multiplyFromRight(p, c + static_cast<std::ptrdiff_t>(block.first()) * p, p);
    }
}

}  // namespace qormath::control_utility
