#include <cstdlib>
#include <ostream>

#include <qormath/core/matrix.hpp>

namespace QorMathLA {

namespace {

// Every call of randomize gives the same numbers.
constexpr unsigned int randomSeed = 10;

// The C library's generators differ in range; all give at least 15 bits.
constexpr int randomBits = 0x7fff;
constexpr double randomScale = 10.0;

template <class T>
void makeIdentity(Matrix<T>& matrix, int n, const T& zero, const T& one) {
    const int order = n == -1 ? matrix.rows() : n;
    // An assignment from a soft matrix takes over its block and shape without a copy.
    matrix = MatrixSoft<T>(Matrix<T>(order, order));
    matrix.fill(zero);
    for (int k = 0; k < order; ++k) {
        matrix(k, k) = one;
    }
}

template <class T>
MatrixSoft<T> identityOf(const Matrix<T>& matrix, int n) {
    Matrix<T> result(matrix, false);
    result.setIdentity(n);
    return result;
}

}  // namespace

template <>
void Matrix<int>::setIdentity(int n) {
    makeIdentity(*this, n, 0, 1);
}

template <>
void Matrix<long>::setIdentity(int n) {
    makeIdentity(*this, n, 0L, 1L);
}

template <>
void Matrix<double>::setIdentity(int n) {
    makeIdentity(*this, n, 0.0, 1.0);
}

template <>
void Matrix<_MKL_Complex16>::setIdentity(int n) {
    makeIdentity(*this, n, _MKL_Complex16{0.0, 0.0}, _MKL_Complex16{1.0, 0.0});
}

template <>
void Matrix<std::complex<double>>::setIdentity(int n) {
    makeIdentity(*this, n, std::complex<double>(0.0, 0.0), std::complex<double>(1.0, 0.0));
}

template <>
MatrixSoft<int> Matrix<int>::identity(int n) const {
    return identityOf(*this, n);
}

template <>
MatrixSoft<long> Matrix<long>::identity(int n) const {
    return identityOf(*this, n);
}

template <>
MatrixSoft<double> Matrix<double>::identity(int n) const {
    return identityOf(*this, n);
}

template <>
MatrixSoft<_MKL_Complex16> Matrix<_MKL_Complex16>::identity(int n) const {
    return identityOf(*this, n);
}

template <>
MatrixSoft<std::complex<double>> Matrix<std::complex<double>>::identity(int n) const {
    return identityOf(*this, n);
}

template <>
void Matrix<double>::randomize(int rowCount, int colCount) {
    std::srand(randomSeed);
    *this = Matrix<double>(rowCount, colCount);
    for (double& element : *this) {
        element = static_cast<double>(std::rand() & randomBits) * randomScale / randomBits;
    }
}

template <>
void BasicMatrix<double>::print(std::ostream& stream, int width) const {
    const int columns = cols();
    for (int i = 0; i < rows(); ++i) {
        for (int j = 0; j < columns; ++j) {
            stream.width(width);
            stream << (*this)(i, j) << (j + 1 < columns ? '\t' : '\n');
        }
    }
}

std::ostream& operator<<(std::ostream& stream, const BasicMatrix<double>& matrix) {
    constexpr int defaultWidth = 10;
    matrix.print(stream, defaultWidth);
    return stream;
}

}  // namespace QorMathLA
