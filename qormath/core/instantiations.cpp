// The containers that the library holds ready; the headers declare them extern.

#include <qormath/core/matrix.hpp>
#include <qormath/core/shared_array.hpp>
#include <qormath/core/vector.hpp>

namespace QorMathLA {

template class SharedArray<int>;
template class SharedArray<float>;
template class SharedArray<double>;
template class SharedArray<bool>;
template class SharedArray<long>;
template class SharedArray<std::string>;
template class SharedArray<_MKL_Complex16>;
template class SharedArray<std::complex<double>>;
template class SharedArray<Vector<double>>;
template class SharedArray<Matrix<double>>;

template class BasicVector<int>;
template class BasicVector<float>;
template class BasicVector<double>;
template class BasicVector<bool>;
template class BasicVector<std::string>;
template class BasicVector<_MKL_Complex16>;
template class BasicVector<std::complex<double>>;
template class BasicVector<Vector<double>>;
template class BasicVector<Matrix<double>>;

template class Vector<int>;
template class Vector<float>;
template class Vector<double>;
template class Vector<bool>;
template class Vector<std::string>;
template class Vector<_MKL_Complex16>;
template class Vector<std::complex<double>>;
template class Vector<Vector<double>>;
template class Vector<Matrix<double>>;

template class VectorSoft<int>;
template class VectorSoft<float>;
template class VectorSoft<double>;
template class VectorSoft<bool>;
template class VectorSoft<std::string>;
template class VectorSoft<_MKL_Complex16>;
template class VectorSoft<std::complex<double>>;
template class VectorSoft<Vector<double>>;
template class VectorSoft<Matrix<double>>;

template class BasicMatrix<int>;
template class BasicMatrix<double>;
template class BasicMatrix<long>;
template class BasicMatrix<_MKL_Complex16>;
template class BasicMatrix<std::complex<double>>;
template class BasicMatrix<Vector<double>>;

template class Matrix<int>;
template class Matrix<double>;
template class Matrix<long>;
template class Matrix<_MKL_Complex16>;
template class Matrix<std::complex<double>>;
template class Matrix<Vector<double>>;

template class MatrixSoft<int>;
template class MatrixSoft<double>;
template class MatrixSoft<long>;
template class MatrixSoft<_MKL_Complex16>;
template class MatrixSoft<std::complex<double>>;
template class MatrixSoft<Vector<double>>;

}  // namespace QorMathLA
