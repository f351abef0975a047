#pragma once

// Plain column-major arrays, as the Fortran peers take them.

#include <algorithm>
#include <cstddef>
#include <stdexcept>
#include <string>
#include <vector>

#include <qormath/core/matrix.hpp>

namespace qormath::peers {

using Elements = std::vector<double>;

inline std::size_t cells(int rows, int cols) {
    return static_cast<std::size_t>(rows) * static_cast<std::size_t>(cols);
}

inline Elements elementsOf(const QorMathLA::Matrix<double>& matrix) {
    const QorMathLA::Matrix<double> compact = matrix;
    const double* first = compact.numericData(true);
    return {first, first + cells(compact.rows(), compact.cols())};
}

/// The leading rows by cols part of elements with a leading dimension.
inline QorMathLA::Matrix<double> matrixOf(int rows, int cols, const Elements& elements, int leadingDimension) {
    QorMathLA::Matrix<double> result(rows, cols);
    double* to = result.numericData(true);
    for (int j = 0; j < cols; ++j) {
        std::copy_n(elements.data() + cells(leadingDimension, j), rows, to + cells(rows, j));
    }
    return result;
}

inline QorMathLA::Matrix<double> matrixOf(int rows, int cols, const Elements& elements) {
    return matrixOf(rows, cols, elements, rows);
}

/// A routine that has not solved its problem is out of the contest.
inline void requireSuccess(int info, const char* routine) {
    if (info != 0) {
        throw std::runtime_error(std::string(routine) + " info " + std::to_string(info));
    }
}

}  // namespace qormath::peers
