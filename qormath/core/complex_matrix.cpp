#include <algorithm>
#include <complex>
#include <cstddef>

#include <qormath/core/complex_matrix.hpp>
#include <qormath/lapack/blas.hpp>

namespace QorMathLA {

namespace {

using Complex = std::complex<double>;
using qormath::lapack::ComplexOp;

void require(bool fits, const char* operation) {
    if (!fits) {
        throw xmsg(DimensionMismatch, operation);
    }
}

ComplexOp opOf(const BasicMatrix<Complex>& matrix) {
    return matrix.transposed ? ComplexOp::transpose : ComplexOp::none;
}

Matrix<Complex> compactCopy(const BasicMatrix<Complex>& source) {
    return Matrix<Complex>::copyOf(source);
}

Complex complexOf(double value) {
    return {value, 0.0};
}

Complex complexOf(const _MKL_Complex16& value) {
    return {value.real, value.imag};
}

_MKL_Complex16 pairOf(const Complex& value) {
    return {value.real(), value.imag()};
}

/// Walks both together; what the source's walk leaves over becomes zero, as a compact copy would have it.
template <class Target, class Source, class Conversion>
void convertInto(Target& target, const Source& source, Conversion conversion) {
    auto element = source.begin();
    for (auto place = target.begin(); !place.finished(); ++place) {
        if (element.finished()) {
            *place = {};
        } else {
            *place = conversion(*element);
            ++element;
        }
    }
}

void combine(BasicMatrix<Complex>& left, double factor, const BasicMatrix<Complex>& right, const char* operation) {
    require(left.rows() == right.rows(), operation);
    require(left.cols() == right.cols(), operation);
    auto target = left.begin();
    for (auto element = right.begin(); !element.finished() && !target.finished(); ++element, ++target) {
        *target += factor * *element;
    }
}

// BLAS counts a negative increment from the far end of the vector.
const Complex* blasAddress(const BasicVector<Complex>& vector, int length) {
    const std::ptrdiff_t stride = vector.range.stride;
    return vector.numericData() + (stride < 0 && length > 0 ? (length - 1) * stride : 0);
}

}  // namespace

template <>
ComplexMatrix<double>::ComplexMatrix(const Matrix<_MKL_Complex16>& other)
    : Matrix<Complex>(other.rows(), other.cols()) {
    convertInto(*this, other, [](const _MKL_Complex16& value) { return complexOf(value); });
}

template <>
ComplexMatrix<double>::ComplexMatrix(const Matrix<double>& other) : Matrix<Complex>(other.rows(), other.cols()) {
    convertInto(*this, other, [](double value) { return complexOf(value); });
}

template <>
ComplexVector<double>::ComplexVector(const Vector<_MKL_Complex16>& other) : Vector<Complex>(other.size()) {
    convertInto(*this, other, [](const _MKL_Complex16& value) { return complexOf(value); });
}

template class ComplexMatrix<double>;
template class ComplexVector<double>;

MatrixSoft<_MKL_Complex16> pairsOf(const BasicMatrix<Complex>& source) {
    Matrix<_MKL_Complex16> result(source.rows(), source.cols());
    convertInto(result, source, pairOf);
    return result;
}

VectorSoft<_MKL_Complex16> pairsOf(const BasicVector<Complex>& source) {
    Vector<_MKL_Complex16> result(source.size());
    convertInto(result, source, pairOf);
    return result;
}

void inPlace::multiply(BasicMatrix<Complex>& left, const Complex& factor) {
    // By hand: the operator of std::complex would replace some NaN.
    const double zr = factor.real();
    const double zi = factor.imag();
    for (Complex& element : left) {
        const double re = element.real();
        const double im = element.imag();
        element = Complex(re * zr - im * zi, im * zr + re * zi);
    }
}

void inPlace::add(BasicMatrix<Complex>& left, const BasicMatrix<Complex>& right) {
    combine(left, 1.0, right, "Matrix + Matrix");
}

void inPlace::subtract(BasicMatrix<Complex>& left, const BasicMatrix<Complex>& right) {
    combine(left, -1.0, right, "Matrix - Matrix");
}

ComplexMatrixSoft<double> operator*(const BasicMatrix<Complex>& left, const BasicMatrix<Complex>& right) {
    const int inner = left.cols();
    require(inner == right.rows(), "Matrix * Matrix");
    if (inner == 0) {
        return Matrix<Complex>();
    }
    if (!left.hasUnitStrides() || !right.hasUnitStrides()) {
        return compactCopy(left) * compactCopy(right);
    }
    Matrix<Complex> result(left.rows(), right.cols());
    qormath::lapack::gemm(opOf(left), opOf(right), left.rows(), right.cols(), inner, 1.0, left.numericData(false),
                          left.storedRows, right.numericData(false), right.storedRows, 0.0, result.numericData(true),
                          result.storedRows);
    return result;
}

std::complex<double> operator*(const BasicVector<Complex>& left, const BasicVector<Complex>& right) {
    require(left.size() == right.size(), "Vector * Vector");
    // A released vector still has its range, but no elements.
    const int length = left.data == nullptr || right.data == nullptr ? 0 : left.size();
    return qormath::lapack::dotc(length, blasAddress(left, length), left.range.stride, blasAddress(right, length),
                                 right.range.stride);
}

ComplexMatrixSoft<double> operator+(const BasicMatrix<Complex>& left, const BasicMatrix<Complex>& right) {
    return compactCopy(left) += right;
}

ComplexMatrixSoft<double> operator-(const BasicMatrix<Complex>& left, const BasicMatrix<Complex>& right) {
    return compactCopy(left) -= right;
}

}  // namespace QorMathLA
