#pragma once

/// @file
/// Complex numbers as complex LAPACK routines take them.

#include <qormath/export.h>

namespace QorMathLA {

/// A complex number as complex LAPACK routines take it: two doubles, without arithmetic of its own.
struct QORMATH_API _MKL_Complex16 {
    double real;  ///< real part
    double imag;  ///< imaginary part
};

}  // namespace QorMathLA

using QorMathLA::_MKL_Complex16;
