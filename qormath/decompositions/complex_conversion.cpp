#include <qormath/control/qor_math_control.hpp>

using QorMathLA::ComplexMatrix;
using QorMathLA::ComplexVector;
using QorMathLA::Matrix;
using QorMathLA::Vector;

void QorMathControl::convertComplexMatrix(ComplexMatrix<double>& cm, Matrix<_MKL_Complex16>& mm, bool toComplex) {
    if (toComplex) {
        cm = ComplexMatrix<double>(mm);
    } else {
        mm = Matrix<_MKL_Complex16>(cm);
    }
}

void QorMathControl::convertComplexVector(ComplexVector<double>& cv, Vector<_MKL_Complex16>& mv, bool toComplex) {
    if (toComplex) {
        cv = ComplexVector<double>(mv);
    } else {
        mv = Vector<_MKL_Complex16>(cv);
    }
}
