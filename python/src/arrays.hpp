#pragma once

/// @file
/// The way between NumPy's arrays and the library's containers.

#include <complex>
#include <cstddef>
#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>
#include <string>
#include <utility>
#include <vector>

#include <qormath/core/complex_matrix.hpp>
#include <qormath/core/matrix.hpp>
#include <qormath/core/vector.hpp>
#include <qormath/models/lti_state_space_model.hpp>

namespace qormath::python {

namespace py = pybind11;

using DenseMatrix = QorMathLA::Matrix<double>;

/// An array that stands by columns, as the library's matrices do. One that comes in another order, or of another
/// type, is copied on its way in.
using MatrixArray = py::array_t<double, py::array::f_style | py::array::forcecast>;
using VectorArray = py::array_t<double, py::array::c_style | py::array::forcecast>;

/// A matrix that looks at the elements of an array, without a copy. The array has to outlive it.
inline DenseMatrix viewOf(const MatrixArray& array) {
    return {static_cast<int>(array.shape(0)), static_cast<int>(array.shape(1)), array.data(), true};
}

/// A matrix of its own elements, for a function that works in place.
inline DenseMatrix copyOf(const MatrixArray& array) {
    return {static_cast<int>(array.shape(0)), static_cast<int>(array.shape(1)), array.data()};
}

inline QorMathLA::Vector<double> copyOf(const VectorArray& array) {
    return QorMathLA::Vector<double>(static_cast<int>(array.size()), array.data());
}

/// An array over the block of a matrix, which it keeps alive; nothing is copied unless the matrix is a view.
inline py::array_t<double> arrayOf(const QorMathLA::BasicMatrix<double>& matrix) {
    const bool isWhole = matrix.isPlain() && !matrix.transposed;
    auto held = std::make_unique<DenseMatrix>(isWhole ? DenseMatrix(QorMathLA::MatrixSoft<double>(matrix))
                                                      : DenseMatrix::copyOf(matrix));
    const py::ssize_t rows = held->rows();
    const py::ssize_t cols = held->cols();
    if (rows == 0 || cols == 0) {
        return py::array_t<double>({rows, cols});
    }
    const double* const data = std::as_const(*held).numericData(true);
    const py::ssize_t width = sizeof(double);
    const py::ssize_t leading = held->leadingDimension(false);
    const py::capsule owner(held.release(), [](void* owned) { delete static_cast<DenseMatrix*>(owned); });
    return {{rows, cols}, {width, leading * width}, data, owner};
}

inline py::array_t<std::complex<double>> arrayOf(const QorMathLA::ComplexMatrix<double>& matrix) {
    const py::ssize_t rows = matrix.rows();
    const py::ssize_t cols = matrix.cols();
    const py::ssize_t width = sizeof(std::complex<double>);
    py::array_t<std::complex<double>> result({rows, cols}, {width, rows * width});
    std::complex<double>* target = result.mutable_data();
    for (int j = 0; j < matrix.cols(); ++j) {
        for (int i = 0; i < matrix.rows(); ++i) {
            *target++ = matrix(i, j);
        }
    }
    return result;
}

template <class T>
py::array_t<T> arrayOf(const QorMathLA::Vector<T>& vector) {
    py::array_t<T> result(static_cast<py::ssize_t>(vector.size()));
    T* target = result.mutable_data();
    for (const T& value : vector) {
        *target++ = value;
    }
    return result;
}

/// The arrays of a model in state space: A, B, C, D, whether it is discrete, and its sample time.
struct SystemArrays {
    MatrixArray a, b, c, d;
    bool isDiscrete;
    double sampleTime;
};

inline LTIStateSpaceModel modelOf(const SystemArrays& arrays) {
    return {copyOf(arrays.a),
            copyOf(arrays.b),
            copyOf(arrays.c),
            copyOf(arrays.d),
            arrays.isDiscrete ? discreteSystem : continuousSystem,
            arrays.sampleTime};
}

/// A, B, C and D with the shapes that the counts say, where the library leaves an empty matrix without one.
inline py::tuple arraysOf(const LTIStateSpaceModel& model) {
    const py::ssize_t states = model.A.rows();
    const py::ssize_t inputs = model.D.cols();
    const py::ssize_t outputs = model.D.rows();
    const auto shaped = [](const DenseMatrix& matrix, py::ssize_t rows, py::ssize_t cols) {
        return rows == 0 || cols == 0 ? py::array_t<double>({rows, cols}) : arrayOf(matrix);
    };
    return py::make_tuple(shaped(model.A, states, states), shaped(model.B, states, inputs),
                          shaped(model.C, outputs, states), shaped(model.D, outputs, inputs));
}

}  // namespace qormath::python

namespace pybind11::detail {

/// The arrays of a system arrive as the tuple (A, B, C, D, isDiscrete, sampleTime).
template <>
struct type_caster<qormath::python::SystemArrays> {
    PYBIND11_TYPE_CASTER(qormath::python::SystemArrays, const_name("tuple"));

    bool load(handle source, bool) {
        if (!isinstance<tuple>(source)) {
            return false;
        }
        const auto parts = reinterpret_borrow<tuple>(source);
        if (parts.size() != 6) {
            return false;
        }
        using qormath::python::MatrixArray;
        value = {parts[0].cast<MatrixArray>(), parts[1].cast<MatrixArray>(), parts[2].cast<MatrixArray>(),
                 parts[3].cast<MatrixArray>(), parts[4].cast<bool>(),        parts[5].cast<double>()};
        return true;
    }
};

}  // namespace pybind11::detail
