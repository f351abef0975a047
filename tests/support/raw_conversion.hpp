#pragma once

// Matrices and vectors of the library from and to the plain containers that tests compute with.

#include <vector>

#include <qormath/core/matrix.hpp>
#include <qormath/core/vector.hpp>

#include "support/raw_matrix.hpp"

namespace qormath::test {

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
