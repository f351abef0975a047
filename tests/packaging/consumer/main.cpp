#include <cstdio>

#include <qormath/core/arithmetic.hpp>
#include <qormath/core/matrix.hpp>
#include <qormath/core/xmsg.hpp>
#include <qormath/models/lti_state_space_model.hpp>
#include <qormath/version.hpp>

namespace {

using QorMathLA::Matrix;

int failures = 0;

void expect(bool holds, const char* what) {
    if (!holds) {
        std::printf("does not hold: %s\n", what);
        ++failures;
    }
}

Matrix<double> oneByOne(double element) {
    return Matrix<double>(1, 1, &element);
}

/// x(k+1) = a x(k) + u(k), y(k) = 2 x(k)
LTIStateSpaceModel lag(double a) {
    return LTIStateSpaceModel(oneByOne(a), oneByOne(1.0), oneByOne(2.0), oneByOne(0.0), discreteSystem, 60.0);
}

}  // namespace

// Calls the library, LAPACK through it, and catches both kinds of exceptions that cross its border.
int main() {
    std::printf("QorMath %s\n", QORMATH_VERSION);
    expect(lag(0.5).gain()(0, 0) == 4.0, "the gain of the lag is 2 / (1 - 0.5)");

    Matrix<QorMathLA::_MKL_Complex16> complex(2, 2);
    complex(1, 0).imag = 3.0;
    expect(Matrix<QorMathLA::_MKL_Complex16>(complex)(1, 0).imag == 3.0, "a matrix of complex elements is copied");

    int thrown = 0;
    try {
        lag(1.0).gain();
    } catch (int code) {
        thrown = code;
    }
    expect(thrown == -1, "a model with an integrator has no gain");

    QorMathLA::xmsg caught(0, "");
    try {
        Matrix<double>(2, 3) * Matrix<double>(2, 3);
    } catch (const QorMathLA::xmsg& error) {
        caught = error;
    }
    expect(caught.code == QorMathLA::DimensionMismatch, "factors that do not fit are refused");
    expect(caught.message == "Matrix * Matrix", "the error names the operation");
    return failures == 0 ? 0 : 1;
}
