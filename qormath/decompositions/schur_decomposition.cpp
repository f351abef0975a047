#include <cstdint>
#include <vector>

#include <qormath/control/qor_math_control.hpp>
#include <qormath/control_utility/dgees_mine.hpp>
#include <qormath/decompositions/detail/block_sorting.hpp>

using qormath::decompositions::sortBlocksByExchanges;
using qormath::decompositions::sortBlocksInWindows;
using QorMathLA::Matrix;
using QorMathLA::Vector;

namespace {

namespace control_utility = qormath::control_utility;

// Below this order the exchanges reach over no more than a window does.
constexpr int leastWindowedOrder = 64;

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
    if (a.rows() < leastWindowedOrder || !sortBlocksInWindows(t, q, wr, wi, order)) {
        sortBlocksByExchanges(t, q, wr, wi, order);
    }
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
