#pragma once

// Small matrices and vectors written out in a test.

#include <cstdio>
#include <initializer_list>
#include <string>

#include <qormath/core/matrix.hpp>

namespace qormath::test {

/// The matrix of the given rows, which are of one length.
inline QorMathLA::Matrix<double> matrixOf(std::initializer_list<std::initializer_list<double>> rows) {
    const int rowCount = static_cast<int>(rows.size());
    const int colCount = rowCount == 0 ? 0 : static_cast<int>(rows.begin()->size());
    QorMathLA::Matrix<double> result(rowCount, colCount);
    int i = 0;
    for (const auto& row : rows) {
        int j = 0;
        for (const double value : row) {
            result(i, j++) = value;
        }
        ++i;
    }
    return result;
}

template <class T>
QorMathLA::Vector<T> vectorOf(std::initializer_list<T> values) {
    QorMathLA::Vector<T> result(static_cast<int>(values.size()));
    int i = 0;
    for (const T& value : values) {
        result[i++] = value;
    }
    return result;
}

/// The elements in rows, for EXPECT_EQ: "[1 2; 3 4]", with 17 significant digits.
inline std::string written(const QorMathLA::BasicMatrix<double>& matrix) {
    std::string text = std::to_string(matrix.rows()) + "x" + std::to_string(matrix.cols()) + " [";
    for (int i = 0; i < matrix.rows(); ++i) {
        for (int j = 0; j < matrix.cols(); ++j) {
            char number[32];
            std::snprintf(number, sizeof number, "%.17g", matrix(i, j));
            text += number;
            text += j + 1 < matrix.cols() ? " " : "";
        }
        text += i + 1 < matrix.rows() ? "; " : "";
    }
    return text + "]";
}

}  // namespace qormath::test
