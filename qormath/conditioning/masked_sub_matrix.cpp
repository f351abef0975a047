#include <algorithm>
#include <cstddef>
#include <vector>

#include <qormath/conditioning/detail/masked_sub_matrix.hpp>

using QorMathLA::Matrix;
using QorMathLA::Vector;

namespace {

std::vector<int> selectedIndices(const Vector<bool>& mask, int extent) {
    const int readable = std::min(mask.size(), extent);
    const int scanned = readable > 0 ? readable : extent;
    std::vector<int> selected;
    selected.reserve(static_cast<std::size_t>(scanned));
    for (int i = 0; i < scanned; ++i) {
        if (readable == 0 || mask[i]) {
            selected.push_back(i);
        }
    }
    return selected;
}

}  // namespace

Matrix<double> qormath::conditioning::maskedSubMatrix(const Matrix<double>& m, const Vector<bool>& rowMask,
                                                      const Vector<bool>& colMask) {
    const std::vector<int> rows = selectedIndices(rowMask, m.rows());
    const std::vector<int> cols = selectedIndices(colMask, m.cols());
    Matrix<double> selected(static_cast<int>(rows.size()), static_cast<int>(cols.size()));
    for (int j = 0; j < selected.cols(); ++j) {
        for (int i = 0; i < selected.rows(); ++i) {
            selected(i, j) = m(rows[static_cast<std::size_t>(i)], cols[static_cast<std::size_t>(j)]);
        }
    }
    return selected;
}
