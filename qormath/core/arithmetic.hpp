#pragma once

/// @file
/// Arithmetic on real vectors and matrices. Operators that give a new result copy the left operand compactly and work
/// on the copy; in-place operators write through the view that they are given. Every dimension test comes before any
/// element is changed. Operands that do not fit throw xmsg 5 with the name of the operator.

#include <concepts>
#include <type_traits>
#include <utility>

#include <qormath/core/matrix.hpp>
#include <qormath/core/vector.hpp>
#include <qormath/export.h>

namespace QorMathLA {

/// A Vector or VectorSoft of double, as an operand that is written to.
template <class V>
concept RealVectorOperand =
    std::derived_from<std::remove_cvref_t<V>, BasicVector<double>> && !std::is_const_v<std::remove_reference_t<V>>;

/// A Matrix or MatrixSoft of double, as an operand that is written to.
template <class M>
concept RealMatrixOperand =
    std::derived_from<std::remove_cvref_t<M>, BasicMatrix<double>> && !std::is_const_v<std::remove_reference_t<M>>;

/// The work of the in-place operators.
namespace inPlace {
/// @cond described with the operators
QORMATH_API void multiply(BasicVector<double>& left, double factor);
QORMATH_API void multiply(BasicMatrix<double>& left, double factor);
QORMATH_API void divide(BasicVector<double>& left, double divisor);
QORMATH_API void divide(BasicVector<double>& left, const BasicVector<double>& divisors);
QORMATH_API void add(BasicVector<double>& left, const BasicVector<double>& right);
QORMATH_API void subtract(BasicVector<double>& left, const BasicVector<double>& right);
QORMATH_API void add(BasicMatrix<double>& left, const BasicMatrix<double>& right);
QORMATH_API void subtract(BasicMatrix<double>& left, const BasicMatrix<double>& right);
/// @endcond
}  // namespace inPlace

/// Matrix product, "Matrix * Matrix". An inner size of 0 gives the empty default matrix; see product() for the other
/// convention.
QORMATH_API MatrixSoft<double> operator*(const BasicMatrix<double>& left, const BasicMatrix<double>& right);

/// Matrix product in which an inner size of 0 gives zeros of the right shape, as models without states, inputs or
/// outputs need it. "Matrix * Matrix".
QORMATH_API MatrixSoft<double> product(const BasicMatrix<double>& left, const BasicMatrix<double>& right);

/// target += factor * left * right, written through the view, in one product. "Matrix * Matrix", and "Matrix + Matrix"
/// if the target has another shape; xmsg 9 for a transposed target.
QORMATH_API void addProduct(MatrixSoft<double> target, double factor, const BasicMatrix<double>& left,
                            const BasicMatrix<double>& right);

/// A rowCount by colCount matrix of zeros. Throws std::bad_alloc for more elements than an int numbers.
QORMATH_API MatrixSoft<double> zeroMatrix(int rowCount, int colCount);

/// Product with a column, "Matrix * Vector". A matrix without columns gives zeros.
QORMATH_API VectorSoft<double> operator*(const BasicMatrix<double>& left, const BasicVector<double>& right);

/// Dot product, "Vector * Vector".
QORMATH_API double operator*(const BasicVector<double>& left, const BasicVector<double>& right);

///@{
/// Every element times the factor.
QORMATH_API MatrixSoft<double> operator*(const BasicMatrix<double>& left, double factor);
QORMATH_API VectorSoft<double> operator*(const BasicVector<double>& left, double factor);
///@}

///@{
/// Element by element, "Matrix + Matrix" and "Matrix - Matrix".
QORMATH_API MatrixSoft<double> operator+(const BasicMatrix<double>& left, const BasicMatrix<double>& right);
QORMATH_API MatrixSoft<double> operator-(const BasicMatrix<double>& left, const BasicMatrix<double>& right);
///@}

/// Element by element, "Vector + Vector".
QORMATH_API VectorSoft<double> operator+(const BasicVector<double>& left, const BasicVector<double>& right);

///@{
/// Every element divided by the divisor. xmsg 10 "Vector / Type" or "Matrix / Type" for a divisor equal to 0.0.
QORMATH_API VectorSoft<double> operator/(const BasicVector<double>& left, double divisor);
QORMATH_API MatrixSoft<double> operator/(const BasicMatrix<double>& left, double divisor);
///@}

/// Element by element, "Vector / Vector"; no divisor is tested.
QORMATH_API VectorSoft<double> operator/(const BasicVector<double>& left, const BasicVector<double>& divisors);

///@{
/// In place, through the view that they are given, which is the result; the messages are those of the operators above,
/// "Vector - Vector" for the difference of vectors.
template <RealMatrixOperand M>
M&& operator*=(M&& left, double factor) {
    inPlace::multiply(left, factor);
    return std::forward<M>(left);
}

template <RealVectorOperand V>
V&& operator*=(V&& left, double factor) {
    inPlace::multiply(left, factor);
    return std::forward<V>(left);
}

template <RealVectorOperand V>
V&& operator/=(V&& left, double divisor) {
    inPlace::divide(left, divisor);
    return std::forward<V>(left);
}

template <RealVectorOperand V>
V&& operator/=(V&& left, const BasicVector<double>& divisors) {
    inPlace::divide(left, divisors);
    return std::forward<V>(left);
}

template <RealVectorOperand V>
V&& operator+=(V&& left, const BasicVector<double>& right) {
    inPlace::add(left, right);
    return std::forward<V>(left);
}

template <RealVectorOperand V>
V&& operator-=(V&& left, const BasicVector<double>& right) {
    inPlace::subtract(left, right);
    return std::forward<V>(left);
}

template <RealMatrixOperand M>
M&& operator+=(M&& left, const BasicMatrix<double>& right) {
    inPlace::add(left, right);
    return std::forward<M>(left);
}

template <RealMatrixOperand M>
M&& operator-=(M&& left, const BasicMatrix<double>& right) {
    inPlace::subtract(left, right);
    return std::forward<M>(left);
}

///@}

/// The Moore-Penrose inverse through a singular value decomposition: singular values below tolerance times the
/// largest, and zero ones, count as zero. A tolerance that is negative or NaN becomes 2^-52. A matrix without elements
/// gives zeros of the transposed shape. Throws xmsg 11 "Matrix SVD" for NaN and infinity.
QORMATH_API MatrixSoft<double> pseudoInverse(const BasicMatrix<double>& a, const double& tolerance);

/// BasicMatrix::svd on a compact copy of a; the result is the left singular vectors.
QORMATH_API MatrixSoft<double> svdCopy(const BasicMatrix<double>& a, Vector<double>& s, Matrix<double>& v,
                                       int maxIterations, bool wantVectors);

}  // namespace QorMathLA
