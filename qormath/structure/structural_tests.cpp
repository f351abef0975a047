#include <qormath/control/qor_math_control.hpp>
#include <qormath/core/arithmetic.hpp>
#include <qormath/structure/ability_manager.hpp>

using QorMathLA::zeroMatrix;

void QorMathControl::Controllability(const Matrix<double>& a, const Matrix<double>& b, Vector<int>& flags, int& count,
                                     double tol) {
    // The dual question, with an output in place of the input that the question does not look at.
    const Matrix<double> dualA(a.transpose());
    const Matrix<double> dualInput(zeroMatrix(1, a.rows()).transpose());
    const Matrix<double> dualOutput(b.transpose());
    int unstable = 0;
    AbilityManager(dualA, dualInput, dualOutput, tol).ComputeDetectabilityInfo(flags, count, unstable);
}

void QorMathControl::Observability(const Matrix<double>& a, const Matrix<double>& c, Vector<int>& flags, int& count,
                                   double tol) {
    int unstable = 0;
    Detectability(a, c, flags, count, unstable, tol);
}

void QorMathControl::Detectability(const Matrix<double>& a, const Matrix<double>& c, Vector<int>& flags, int& count,
                                   int& unstable, double tol) {
    const Matrix<double> noInput(zeroMatrix(a.rows(), 1));
    AbilityManager(a, noInput, c, tol).ComputeDetectabilityInfo(flags, count, unstable);
}
