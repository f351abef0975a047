#pragma once

// Matrices of the library from and to what tests write down or compute with.

#include <initializer_list>
#include <vector>

#include <qormath/core/matrix.hpp>
#include <qormath/core/vector.hpp>

#include "support/raw_matrix.hpp"

namespace qormath::test {

/// The matrix with the given rows.
inline QorMathLA::Matrix<double> matrixOf(std::initializer_list<std::initializer_list<double>> rows) {
    const int m = static_cast<int>(rows.size());
    const int n = m == 0 ? 0 : static_cast<int>(rows.begin()->size());
    QorMathLA::Matrix<double> result(m, n);
    int i = 0;
    for (const auto& row : rows) {
        int j = 0;
        for (const double element : row) {
            result(i, j++) = element;
        }
        ++i;
    }
    return result;
}

inline QorMathLA::Matrix<double> toMatrix(const RawMatrix& raw) {
    return QorMathLA::Matrix<double>(raw.rows, raw.cols, raw.elements.empty() ? nullptr : raw.data());
}

/// The logical elements, whatever part of its block a matrix shows.
inline RawMatrix toRaw(const QorMathLA::BasicMatrix<double>& matrix) {
    RawMatrix result(matrix.rows(), matrix.cols());
    for (int j = 0; j < result.cols; ++j) {
        for (int i = 0; i < result.rows; ++i) {
            result(i, j) = matrix(i, j);
        }
    }
    return result;
}

inline std::vector<int> elementsOf(const QorMathLA::Vector<int>& vector) {
    std::vector<int> result;
    for (int k = 0; k < vector.size(); ++k) {
        result.push_back(vector[k]);
    }
    return result;
}

}  // namespace qormath::test
