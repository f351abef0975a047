#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

#include <qormath/control/qor_math_control.hpp>
#include <qormath/control_utility/dgees_mine.hpp>
#include <qormath/lapack/lapack.hpp>

using QorMathLA::Matrix;
using QorMathLA::Vector;

namespace {

namespace control_utility = qormath::control_utility;

// Two keys closer than this stay as they are, so that eigenvalues equal up to rounding are not exchanged for ever.
constexpr double keyTolerance = 1e-10;

struct SortAndSelector {
    const char* sort;
    control_utility::SchurSelector selector;
};

SortAndSelector sortAndSelectorOf(schurOrder order) {
    switch (order) {
        case schurUnordered:
            return {"N", nullptr};
        case schurULDiscrete:
            return {"S", control_utility::SELECT_UL_DISCRETE};
        case schurLRDiscrete:
            return {"S", control_utility::SELECT_LR_DISCRETE};
        case schurULContinuous:
            return {"S", control_utility::SELECT_UL_CONTINUOUS};
        case schurLRContinuous:
            return {"S", control_utility::SELECT_LR_CONTINUOUS};
        default:
            throw -1;
    }
}

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
        if (qormath::lapack::trexc(n_, t_.numericData(true), t_.storedRows, q_.numericData(true), q_.storedRows, first,
                                   last, work_.data()) != 0) {
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

}  // namespace

void QorMathControl::SchurDecomposition(const Matrix<double>& a, Matrix<double>& t, Matrix<double>& q,
                                        Vector<double>& wr, Vector<double>& wi, const schurOrder& order) {
    if (a.rows() == 0) {
        return;
    }
    if (static_cast<std::uint32_t>(order) <= static_cast<std::uint32_t>(schurLRContinuous)) {
        SchurDecompositionHelper(a, t, q, wr, wi, order);
        return;
    }
    SchurDecompositionHelper(a, t, q, wr, wi, schurUnordered);
    BlockBubbleSort(t, q, wr, wi, order).run();
}

void QorMathControl::SchurDecompositionHelper(const Matrix<double>& a, Matrix<double>& t, Matrix<double>& q,
                                              Vector<double>& wr, Vector<double>& wi, const schurOrder& order) {
    const int n = a.rows();
    if (a.cols() < n) {
        throw -1;  // there is no square matrix of order n to decompose
    }
    t = a;
    wr = Vector<double>(n);
    wi = Vector<double>(n);
    q = Matrix<double>(n, n);
    const int one = 1;
    const int workLength = 3 * n;
    std::vector<double> work(static_cast<std::size_t>(workLength));
    std::vector<int> logicalWork(static_cast<std::size_t>(n));
    const SortAndSelector how = sortAndSelectorOf(order);
    int selectedCount = 0;
    int info = 0;
    control_utility::DGEES_MINE("V", one, how.sort, one, how.selector, &n, t.numericData(true), &t.storedRows,
                                &selectedCount, wr.numericData(), wi.numericData(), q.numericData(true), &q.storedRows,
                                work.data(), &workLength, logicalWork.data(), &info);
    if (info != 0) {
        throw -1;
    }
}

void QorMathControl::ReorderBlockDiagonalsOfSchurForm(Matrix<double>& t, Matrix<double>& q, int& /*sdim*/,
                                                      const systemType& /*type*/, const schurOrder& order) {
    q = Matrix<double>(t.rows(), t.rows());
    if (order == schurUnordered) {
        throw -1;
    }
}
