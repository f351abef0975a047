#include <algorithm>
#include <compare>

#include <qormath/numerics/svd_sub_matrix.hpp>

namespace QorMathLA {

template class SharedArray<SVDSubMatrix>;
template class BasicVector<SVDSubMatrix>;
template class Vector<SVDSubMatrix>;
template class VectorSoft<SVDSubMatrix>;

SVDSubMatrix::SVDSubMatrix(const Vector<int>& rows, const Vector<int>& cols, double conditionNumber, double rga)
    : order_(rows.size()), conditionNumber_(conditionNumber), rga_(rga) {
    if (rows.size() != cols.size()) {
        throw -1;
    }
    indices_.initialise(2 * order_, nullptr, false);
    for (int t = 0; t < order_; ++t) {
        indices_.data[t] = rows[t];
        indices_.data[order_ + t] = cols[t];
    }
}

Vector<int> SVDSubMatrix::getRowIndices() const {
    return order_ == 0 ? Vector<int>() : Vector<int>(order_, indices_.data + begin_);
}

Vector<int> SVDSubMatrix::getColIndices() const {
    return order_ == 0 ? Vector<int>() : Vector<int>(order_, indices_.data + begin_ + order_);
}

bool SVDSubMatrix::operator<(const SVDSubMatrix& other) const {
    if (const auto order = std::weak_order(conditionNumber_, other.conditionNumber_); order != 0) {
        return order < 0;
    }
    if (const auto order = std::weak_order(rga_, other.rga_); order != 0) {
        return order < 0;
    }
    // Rows first, then columns, each list by itself: the lists may differ in length.
    const int* const mine = indices_.data + begin_;
    const int* const others = other.indices_.data + other.begin_;
    if (const auto order = std::lexicographical_compare_three_way(mine, mine + order_, others, others + other.order_);
        order != 0) {
        return order < 0;
    }
    return std::lexicographical_compare(mine + order_, mine + 2 * order_, others + other.order_,
                                        others + 2 * other.order_);
}

}  // namespace QorMathLA
