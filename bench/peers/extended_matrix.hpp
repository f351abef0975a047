#pragma once

// Products in extended precision, for residuals that are smaller than what rounding makes of them in double.

#include <cstddef>
#include <vector>

#include <qormath/core/matrix.hpp>

namespace qormath::peers {

/// A column-major matrix of long doubles: 64 bits of mantissa with the processors that have them, else those of double.
class ExtendedMatrix {
  public:
    ExtendedMatrix(int rowCount, int colCount)
        : rows(rowCount), cols(colCount), elements_(static_cast<std::size_t>(rows) * static_cast<std::size_t>(cols)) {}

    explicit ExtendedMatrix(const QorMathLA::Matrix<double>& matrix) : ExtendedMatrix(matrix.rows(), matrix.cols()) {
        for (int j = 0; j < cols; ++j) {
            for (int i = 0; i < rows; ++i) {
                (*this)(i, j) = matrix(i, j);
            }
        }
    }

    long double& operator()(int i, int j) { return column(j)[i]; }
    long double operator()(int i, int j) const { return column(j)[i]; }

    long double* column(int j) { return elements_.data() + static_cast<std::ptrdiff_t>(j) * rows; }
    const long double* column(int j) const { return elements_.data() + static_cast<std::ptrdiff_t>(j) * rows; }

    QorMathLA::Matrix<double> rounded() const {
        QorMathLA::Matrix<double> result(rows, cols);
        for (int j = 0; j < cols; ++j) {
            for (int i = 0; i < rows; ++i) {
                result(i, j) = static_cast<double>((*this)(i, j));
            }
        }
        return result;
    }

    int rows;
    int cols;

  private:
    std::vector<long double> elements_;
};

inline ExtendedMatrix transposeOf(const ExtendedMatrix& a) {
    ExtendedMatrix result(a.cols, a.rows);
    for (int j = 0; j < a.cols; ++j) {
        for (int i = 0; i < a.rows; ++i) {
            result(j, i) = a(i, j);
        }
    }
    return result;
}

/// target += factor a b
inline void addProduct(ExtendedMatrix& target, long double factor, const ExtendedMatrix& a, const ExtendedMatrix& b) {
    for (int j = 0; j < b.cols; ++j) {
        long double* const sum = target.column(j);
        for (int k = 0; k < a.cols; ++k) {
            const long double weight = factor * b(k, j);
            const long double* const column = a.column(k);
            for (int i = 0; i < a.rows; ++i) {
                sum[i] += weight * column[i];
            }
        }
    }
}

inline ExtendedMatrix productOf(const ExtendedMatrix& a, const ExtendedMatrix& b) {
    ExtendedMatrix result(a.rows, b.cols);
    addProduct(result, 1.0L, a, b);
    return result;
}

}  // namespace qormath::peers
