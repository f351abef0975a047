#include <qormath/control/qor_math_control.hpp>
#include <qormath/control_utility/whole_sylvester.hpp>
#include <qormath/core/arithmetic.hpp>

using QorMathLA::Matrix;
using QorMathLA::product;
using QorMathLA::Vector;

// Products of empty operands keep their shapes here, so that an equation without rows or columns has a solution
// without elements.
void QorMathControl::SylvesterEquation(Matrix<double>& x, const Matrix<double>& a, const Matrix<double>& b,
                                       const Matrix<double>& c) {
    const int m = c.rows();
    const int n = c.cols();
    Matrix<double> ta, tb, u, v;
    Vector<double> wr, wi;
    SchurDecomposition(a, ta, u, wr, wi, schurUnordered);
    SchurDecomposition(b, tb, v, wr, wi, schurUnordered);
    Matrix<double> rotated = product(u.transpose(), c);
    rotated *= -1.0;
    x = product(rotated, v);
    double* const f = x.numericData(true);
    const double* const factorB = tb.numericData(true);
    const double* const factorA = ta.numericData(true);
    int info = 0;
    if (m > 0 && n > 0) {
        // The scale against overflow is not taken back out of x.
        double scale = 1.0;
        info = qormath::control_utility::solveWholeSylvester(m, n, factorA, ta.storedRows, factorB, tb.storedRows, f,
                                                             x.storedRows, scale);
    }
    x = product(product(u, x), v.transpose());
    if (info != 0) {
        throw -1;
    }
}
