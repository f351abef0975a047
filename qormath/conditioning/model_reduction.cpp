#include <algorithm>

#include <qormath/conditioning/detail/precision.hpp>
#include <qormath/control/qor_math_control.hpp>
#include <qormath/control_utility/modelreductionfort.hpp>
#include <qormath/control_utility/normreductionfort.hpp>

using QorMathLA::Matrix;
using QorMathLA::Range;
using QorMathLA::Vector;

namespace {

// No boundary of use lies this far inside, so that what lies below can ask for the default in both time bases.
constexpr double lowestBoundary = -0.9;

double settledBoundary(double alpha, const systemType& sysType) {
    if (!(lowestBoundary > alpha)) {
        return alpha;
    }
    const double root = qormath::conditioning::rootOfPrecision();
    return sysType == discreteSystem ? 1.0 - root : -root;
}

/// The routines take whole packed arrays and ask for no leading dimension; a view of part of a block becomes a block of
/// its own.
void pack(Matrix<double>& matrix) {
    if (matrix.storedRows != matrix.rows() || matrix.storedCols != matrix.cols()) {
        matrix = Matrix<double>(matrix, true);
    }
}

/// Makes sure that the arrays hold what the routines will read of them: n by n, n by m and p by n elements.
void requireFit(const Matrix<double>& a, const Matrix<double>& b, const Matrix<double>& c) {
    const int n = a.rows();
    if (a.cols() != n || (n > 0 && (b.rows() != n || c.cols() != n))) {
        throw -1;
    }
}

}  // namespace

void QorMathControl::ModelReduction(Matrix<double>& a, Matrix<double>& b, Matrix<double>& c, Matrix<double>& d,
                                    Vector<double>& hsv, const reductionType& type, const systemType& sysType,
                                    int order, double alpha, double residualTolerance) {
    int resultOrder = order <= 0 ? 0 : std::min(order, a.rows());
    const double boundary = settledBoundary(alpha, sysType);
    const double tolerance = 0.0 > residualTolerance ? 0.0 : residualTolerance;
    const int n = a.rows();
    const int m = b.cols();
    const int p = c.rows();
    hsv = Vector<double>(n);
    if (type != reductionBalanced && type != reductionBalancedShrink) {
        throw -1;
    }

    for (Matrix<double>* matrix : {&a, &b, &c, &d}) {
        matrix->numericData(true);  // refuses a transposed one before anything is changed
    }
    requireFit(a, b, c);
    for (Matrix<double>* matrix : {&a, &b, &c, &d}) {
        pack(*matrix);
    }
    const int discrete = sysType == discreteSystem ? 1 : 0;
    const int fixedOrder = resultOrder > 0 ? 1 : 0;
    int stableCount = 0;
    int info = 0;
    qormath::control_utility::MODELREDUCTIONFORT(a.numericData(true), b.numericData(true), c.numericData(true),
                                                 d.numericData(true), &n, &m, &p, &stableCount, hsv.numericData(),
                                                 &discrete, &fixedOrder, &tolerance, &resultOrder, &boundary, &info);
    if (info != 0) {
        throw -1;
    }

    const Range kept(0, resultOrder - 1, 1);
    const Range all(-1, -1, 1);
    a = Matrix<double>(a(kept, kept), true);
    b = Matrix<double>(b(kept, all), true);
    c = Matrix<double>(c(all, kept), true);
    hsv = Vector<double>(hsv(Range(0, stableCount - 1, 1)), true);
}

void QorMathControl::BalanceABC(Matrix<double>& a, Matrix<double>& b, Matrix<double>& c, Vector<double>& scale,
                                double maxReduction) {
    const int n = a.rows();
    const int m = b.cols();
    const int p = c.rows();
    scale = Vector<double>(n);
    for (Matrix<double>* matrix : {&a, &b, &c}) {
        matrix->numericData(true);  // refuses a transposed one before anything is changed
    }
    requireFit(a, b, c);
    for (Matrix<double>* matrix : {&a, &b, &c}) {
        pack(*matrix);
    }
    double reduction = maxReduction;
    int info = 0;
    qormath::control_utility::NORMREDUCTIONFORT(&n, &m, &p, &reduction, a.numericData(true), b.numericData(true),
                                                c.numericData(true), scale.numericData(), &info);
    if (info != 0) {
        throw -1;
    }
}
