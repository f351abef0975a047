#pragma once

#include <cmath>
#include <complex>
#include <cstddef>
#include <vector>

#include <qormath/core/matrix.hpp>

namespace qormath::decompositions {

/// The sum of the moduli of each row.
template <class T>
std::vector<double> absoluteRowSums(const QorMathLA::BasicMatrix<T>& matrix) {
    std::vector<double> sums(static_cast<std::size_t>(matrix.rows()));
    for (int j = 0; j < matrix.cols(); ++j) {
        for (int i = 0; i < matrix.rows(); ++i) {
            sums[static_cast<std::size_t>(i)] += std::abs(matrix(i, j));
        }
    }
    return sums;
}

}  // namespace qormath::decompositions
