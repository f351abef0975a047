#pragma once

/// @file
/// Complex vectors and matrices, and the way between them and the plain pairs of doubles that complex LAPACK routines
/// are declared with. Only double is instantiated.

#include <complex>
#include <concepts>
#include <type_traits>
#include <utility>

#include <qormath/core/matrix.hpp>
#include <qormath/core/mkl_complex16.hpp>
#include <qormath/core/vector.hpp>
#include <qormath/export.h>

namespace QorMathLA {

/// The handle on part of a complex block: the type of views and results.
template <class T>
using ComplexMatrixSoft = MatrixSoft<std::complex<T>>;

/// The handle on part of a complex block: the type of views and results.
template <class T>
using ComplexVectorSoft = VectorSoft<std::complex<T>>;

/// A matrix of complex numbers, with the storage, views and copying rules of Matrix: copies are compact, and built or
/// assigned from a soft matrix it shares the block. New elements are zero. transposed means plain transposition, never
/// the conjugate one. Converting from another element type makes a compact matrix of the same logical size.
template <class T>
class QORMATH_API ComplexMatrix : public Matrix<std::complex<T>> {
  public:
    using Element = std::complex<T>;  ///< type of the elements

    /// The empty 0 by 0 matrix.
    ComplexMatrix() noexcept = default;

    /// A rowCount by colCount matrix of zeros.
    ComplexMatrix(int rowCount, int colCount) : Matrix<Element>(rowCount, colCount) {}

    /// A compact copy.
    ComplexMatrix(const ComplexMatrix& other) = default;

    /// A copy whose cost is saved where nobody can tell.
    ComplexMatrix(ComplexMatrix&& other) = default;

    /// A compact copy.
    ComplexMatrix(const Matrix<Element>& other) : Matrix<Element>(other) {}

    /// Shares the block.
    ComplexMatrix(const MatrixSoft<Element>& other) : Matrix<Element>(other) {}

    /// The same elements in the other complex type.
    ComplexMatrix(const Matrix<_MKL_Complex16>& other);

    /// Real parts from other, imaginary parts 0.
    ComplexMatrix(const Matrix<T>& other);

    ~ComplexMatrix() = default;

    /// A compact copy in a new block.
    ComplexMatrix& operator=(const ComplexMatrix& other) = default;

    /// A copy whose cost is saved where nobody can tell.
    ComplexMatrix& operator=(ComplexMatrix&& other) = default;

    /// Becomes a further holder of the block.
    ComplexMatrix& operator=(const MatrixSoft<Element>& other) {
        Matrix<Element>::operator=(other);
        return *this;
    }

    /// Sets every element of the view.
    ComplexMatrix& operator=(const Element& value) { return fill(value); }

    /// Sets every element of the view.
    ComplexMatrix& fill(const Element& value) {
        Matrix<Element>::fill(value);
        return *this;
    }

    /// Becomes the identity of order n, or of its own logical row count if n is -1, in a new block.
    ComplexMatrix& setIdentity(int n = -1) {
        Matrix<Element>::setIdentity(n);
        return *this;
    }
};

/// A vector of complex numbers, with the storage, views and copying rules of Vector; see ComplexMatrix.
template <class T>
class QORMATH_API ComplexVector : public Vector<std::complex<T>> {
  public:
    using Element = std::complex<T>;  ///< type of the elements

    /// The empty vector.
    ComplexVector() noexcept = default;

    /// A vector of length zeros.
    explicit ComplexVector(int length) : Vector<Element>(length) {}

    /// A compact copy.
    ComplexVector(const ComplexVector& other) = default;

    /// A copy whose cost is saved where nobody can tell.
    ComplexVector(ComplexVector&& other) = default;

    /// A compact copy.
    ComplexVector(const Vector<Element>& other) : Vector<Element>(other) {}

    /// Shares the block.
    ComplexVector(const VectorSoft<Element>& other) : Vector<Element>(other) {}

    /// The same elements in the other complex type.
    ComplexVector(const Vector<_MKL_Complex16>& other);

    ~ComplexVector() = default;

    /// A compact copy in a new block.
    ComplexVector& operator=(const ComplexVector& other) = default;

    /// A copy whose cost is saved where nobody can tell.
    ComplexVector& operator=(ComplexVector&& other) = default;

    /// Becomes a further holder of the block.
    ComplexVector& operator=(const VectorSoft<Element>& other) {
        Vector<Element>::operator=(other);
        return *this;
    }

    /// Sets every element of the view.
    ComplexVector& operator=(const Element& value) { return fill(value); }

    /// Sets every element of the view.
    ComplexVector& fill(const Element& value) {
        Vector<Element>::fill(value);
        return *this;
    }
};

/// @cond what is described with the templates
template <>
QORMATH_API ComplexMatrix<double>::ComplexMatrix(const Matrix<_MKL_Complex16>& other);
template <>
QORMATH_API ComplexMatrix<double>::ComplexMatrix(const Matrix<double>& other);
template <>
QORMATH_API ComplexVector<double>::ComplexVector(const Vector<_MKL_Complex16>& other);
/// @endcond

extern template class ComplexMatrix<double>;
extern template class ComplexVector<double>;

/// A complex Matrix or MatrixSoft, as an operand that is written to.
template <class M>
concept ComplexMatrixOperand = std::derived_from<std::remove_cvref_t<M>, BasicMatrix<std::complex<double>>> &&
    !std::is_const_v<std::remove_reference_t<M>>;

/// The work of the in-place operators.
namespace inPlace {
/// @cond described with the operators
QORMATH_API void multiply(BasicMatrix<std::complex<double>>& left, const std::complex<double>& factor);
QORMATH_API void add(BasicMatrix<std::complex<double>>& left, const BasicMatrix<std::complex<double>>& right);
QORMATH_API void subtract(BasicMatrix<std::complex<double>>& left, const BasicMatrix<std::complex<double>>& right);
/// @endcond
}  // namespace inPlace

/// Matrix product. xmsg 5 "Matrix * Matrix" if the inner sizes differ; an inner size of 0 gives the empty default
/// matrix. A real factor is converted to a ComplexMatrix first.
QORMATH_API ComplexMatrixSoft<double> operator*(const BasicMatrix<std::complex<double>>& left,
                                                const BasicMatrix<std::complex<double>>& right);

/// Dot product, the sum of conj(left[k]) right[k]. xmsg 5 "Vector * Vector" if the lengths differ.
QORMATH_API std::complex<double> operator*(const BasicVector<std::complex<double>>& left,
                                           const BasicVector<std::complex<double>>& right);

///@{
/// Element by element; xmsg 5 "Matrix + Matrix" and "Matrix - Matrix" for shapes that differ.
QORMATH_API ComplexMatrixSoft<double> operator+(const BasicMatrix<std::complex<double>>& left,
                                                const BasicMatrix<std::complex<double>>& right);
QORMATH_API ComplexMatrixSoft<double> operator-(const BasicMatrix<std::complex<double>>& left,
                                                const BasicMatrix<std::complex<double>>& right);

///@}

///@{
/// Element by element, through the view; the messages are those of + and -.
template <ComplexMatrixOperand M>
M&& operator+=(M&& left, const BasicMatrix<std::complex<double>>& right) {
    inPlace::add(left, right);
    return std::forward<M>(left);
}

template <ComplexMatrixOperand M>
M&& operator-=(M&& left, const BasicMatrix<std::complex<double>>& right) {
    inPlace::subtract(left, right);
    return std::forward<M>(left);
}
///@}

/// Every element re + i im becomes (re zr - im zi) + i (im zr + re zi), with zr and zi the parts of the factor: the
/// plain formula, also where an infinite part makes it NaN.
template <ComplexMatrixOperand M>
M&& operator*=(M&& left, const std::complex<double>& factor) {
    inPlace::multiply(left, factor);
    return std::forward<M>(left);
}

}  // namespace QorMathLA
