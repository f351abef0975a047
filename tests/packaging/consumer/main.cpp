#include <cstdio>

#include <qormath/core/arithmetic.hpp>
#include <qormath/core/matrix.hpp>
#include <qormath/core/xmsg.hpp>
#include <qormath/models/lti_state_space_model.hpp>
#include <qormath/numerics/qor_svd_analysis.hpp>
#include <qormath/version.hpp>

#ifdef WITH_HOST_LISTS
bool hostListsWork();
#endif

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

void expectAnalysis() {
    QorMathLA::QorSVDAnalysis analysis(oneByOne(3.0), QorMathLA::Vector<double>(1).filled(2.0), 1, 0, false, 0.0);
    analysis.computeAnalysis();
    QorMathLA::Vector<QorMathLA::SVDSubMatrix> results = analysis.getResults();
    const QorMathLA::VectorSoft<QorMathLA::SVDSubMatrix> view = results(QorMathLA::Range(0, 0, 1));
    expect(view.size() == 1 && view[0].getConditionNumber() == 1.0, "a gain of one element is well conditioned");
    QorMathLA::SharedArray<QorMathLA::SVDSubMatrix> block;
    block.initialise(2, nullptr, false);
    block.data[1] = results[0];
    expect(block.data[0] < block.data[1], "results are ordered");
}

// Calls the library, LAPACK through it, and catches both kinds of exceptions that cross its border.
int main() {
    std::printf("QorMath %s\n", QORMATH_VERSION);
    expect(lag(0.5).gain()(0, 0) == 4.0, "the gain of the lag is 2 / (1 - 0.5)");

    Matrix<QorMathLA::_MKL_Complex16> complex(2, 2);
    complex(1, 0).imag = 3.0;
    expect(Matrix<QorMathLA::_MKL_Complex16>(complex)(1, 0).imag == 3.0, "a matrix of complex elements is copied");

    expectAnalysis();

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

#ifdef WITH_HOST_LISTS
    expect(hostListsWork(), "what a host hands over reaches its consumer, and the other way round");
#endif
    return failures == 0 ? 0 : 1;
}
