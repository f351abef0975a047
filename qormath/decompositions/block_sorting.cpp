#include <algorithm>
#include <cmath>
#include <cstddef>
#include <utility>
#include <vector>

#include <qormath/control_utility/schur_reordering.hpp>
#include <qormath/decompositions/detail/block_sorting.hpp>
#include <qormath/lapack/lapack.hpp>

namespace qormath::decompositions {

namespace {

using QorMathLA::Matrix;
using QorMathLA::Vector;

// Two keys closer than this stay as they are, so that eigenvalues equal up to rounding are not exchanged for ever.
constexpr double keyTolerance = 1e-10;

double modulusOf(double re, double im) {
    const double larger = std::max(std::fabs(re), std::fabs(im));
    const double smaller = std::min(std::fabs(re), std::fabs(im));
    if (smaller == 0.0) {
        return larger;
    }
    const double ratio = smaller / larger;
    return larger * std::sqrt(ratio * ratio + 1.0);
}

/// What the diagonal is sorted by; zeros, which are never exchanged, for an order that sorts by nothing.
Vector<double> sortKeys(const Vector<double>& wr, const Vector<double>& wi, schurOrder order) {
    Vector<double> keys(wr.size());
    for (int i = 0; i < wr.size(); ++i) {
        switch (order) {
            case schurDescendingModulus:
            case schurAscendingModulus:
                keys[i] = modulusOf(wr[i], wi[i]);
                break;
            case schurDescendingReal:
            case schurAscendingReal:
                keys[i] = wr[i];
                break;
            default:
                keys[i] = 0.0;
        }
    }
    return keys;
}

bool outOfOrder(double before, double after, schurOrder order) {
    if (order == schurDescendingModulus || order == schurDescendingReal) {
        return after > before + keyTolerance;
    }
    return before > after + keyTolerance;
}

/// Marks the rows of 2 by 2 diagonal blocks.
void markPairs(const Matrix<double>& t, std::vector<bool>& inPair) {
    const int n = static_cast<int>(inPair.size());
    std::fill(inPair.begin(), inPair.end(), false);
    for (int k = 0; k < n - 1; ++k) {
        if (t(k + 1, k) != 0.0) {
            inPair[static_cast<std::size_t>(k)] = true;
            inPair[static_cast<std::size_t>(k) + 1] = true;
            ++k;
        }
    }
}

/// Follows the move of the diagonal block at position j ahead of the block before it.
void moveAlong(Vector<double>& values, int j, bool pairBefore, bool pairAfter) {
    if (pairBefore && pairAfter) {
        std::swap(values[j - 2], values[j]);
        std::swap(values[j - 1], values[j + 1]);
    } else if (pairBefore) {
        const double moved = values[j];
        values[j] = values[j - 1];
        values[j - 1] = values[j - 2];
        values[j - 2] = moved;
    } else if (pairAfter) {
        const double passed = values[j - 1];
        values[j - 1] = values[j];
        values[j] = values[j + 1];
        values[j + 1] = passed;
    } else {
        std::swap(values[j - 1], values[j]);
    }
}

/// Sorts the diagonal blocks of a Schur form by exchanges of neighbours.
class BlockBubbleSort {
  public:
    BlockBubbleSort(Matrix<double>& t, Matrix<double>& q, Vector<double>& wr, Vector<double>& wi, schurOrder order)
        : t_(t),
          q_(q),
          wr_(wr),
          wi_(wi),
          order_(order),
          n_(t.rows()),
          keys_(sortKeys(wr, wi, order)),
          inPair_(static_cast<std::size_t>(n_)),
          work_(static_cast<std::size_t>(n_)) {}

    void run() {
        markPairs(t_, inPair_);
        for (int pass = 0; pass < n_; ++pass) {
            if (!sweep()) {
                return;
            }
        }
    }

  private:
    /// One pass over the diagonal; true if anything was exchanged.
    bool sweep() {
        bool exchanged = false;
        for (int j = 1; j < n_; ++j) {
            if (outOfOrder(keys_[j - 1], keys_[j], order_)) {
                exchange(j);
                exchanged = true;
            }
        }
        return exchanged;
    }

    void exchange(int j) {
        int first = j + 1;  // one-based
        int last = j;
        if (lapack::trexc(n_, t_.numericData(true), t_.storedRows, q_.numericData(true), q_.storedRows, first, last,
                          work_.data()) != 0) {
            throw -1;
        }
        const bool pairBefore = inPair_[static_cast<std::size_t>(j) - 1];
        const bool pairAfter = inPair_[static_cast<std::size_t>(j)];
        for (Vector<double>* values : {&keys_, &wr_, &wi_}) {
            moveAlong(*values, j, pairBefore, pairAfter);
        }
        markPairs(t_, inPair_);
    }

    Matrix<double>& t_;
    Matrix<double>& q_;
    Vector<double>& wr_;
    Vector<double>& wi_;
    schurOrder order_;
    int n_;
    Vector<double> keys_;
    std::vector<bool> inPair_;
    std::vector<double> work_;
};

/// A diagonal block on its way through the sort.
struct Block {
    double key;
    int first;  // row before the sort
    int size;
};

std::vector<Block> blocksOf(const Matrix<double>& t, const Vector<double>& keys) {
    std::vector<bool> inPair(static_cast<std::size_t>(t.rows()));
    markPairs(t, inPair);
    std::vector<Block> blocks;
    for (int row = 0; row < t.rows(); row += blocks.back().size) {
        blocks.push_back({keys[row], row, inPair[static_cast<std::size_t>(row)] ? 2 : 1});
    }
    return blocks;
}

/// What the exchanges come to, in as many passes as they make; true if there is any.
bool bubbleSort(std::vector<Block>& blocks, int passes, schurOrder order) {
    bool everExchanged = false;
    bool exchanged = true;
    for (int pass = 0; pass < passes && exchanged; ++pass) {
        exchanged = false;
        for (std::size_t k = 1; k < blocks.size(); ++k) {
            if (outOfOrder(blocks[k - 1].key, blocks[k].key, order)) {
                std::swap(blocks[k - 1], blocks[k]);
                exchanged = true;
                everExchanged = true;
            }
        }
    }
    return everExchanged;
}

/// Whether the blocks stand on the diagonal one after the other.
bool standAs(const std::vector<Block>& blocks, const Matrix<double>& t) {
    std::vector<bool> inPair(static_cast<std::size_t>(t.rows()));
    markPairs(t, inPair);
    std::size_t row = 0;
    return std::all_of(blocks.begin(), blocks.end(), [&](const Block& block) {
        const bool isPair = inPair[row];
        row += static_cast<std::size_t>(block.size);
        return isPair == (block.size == 2);
    });
}

/// The values of the rows of the blocks, one block after the other.
Vector<double> inOrderOf(const std::vector<Block>& blocks, const Vector<double>& values) {
    Vector<double> result(values.size());
    int to = 0;
    for (const Block& block : blocks) {
        for (int row = block.first; row < block.first + block.size; ++row) {
            result[to++] = values[row];
        }
    }
    return result;
}

}  // namespace

void sortBlocksByExchanges(Matrix<double>& t, Matrix<double>& q, Vector<double>& wr, Vector<double>& wi,
                           schurOrder order) {
    BlockBubbleSort(t, q, wr, wi, order).run();
}

bool sortBlocksInWindows(Matrix<double>& t, Matrix<double>& q, Vector<double>& wr, Vector<double>& wi,
                         schurOrder order) {
    const int n = t.rows();
    std::vector<Block> blocks = blocksOf(t, sortKeys(wr, wi, order));
    if (!bubbleSort(blocks, n, order)) {
        return true;
    }
    std::vector<int> ranks(static_cast<std::size_t>(n));
    int rank = 0;
    for (const Block& block : blocks) {
        std::fill_n(ranks.begin() + block.first, block.size, rank++);
    }
    Matrix<double> sortedT(t);
    Matrix<double> sortedQ(q);
    if (control_utility::sortSchurForm(ranks.data(), n, sortedT.numericData(true), sortedT.storedRows,
                                       sortedQ.numericData(true), sortedQ.storedRows) != 0 ||
        !standAs(blocks, sortedT)) {
        return false;
    }
    t = std::move(sortedT);
    q = std::move(sortedQ);
    wr = inOrderOf(blocks, wr);
    wi = inOrderOf(blocks, wi);
    return true;
}

}  // namespace qormath::decompositions
