#include <algorithm>
#include <cmath>
#include <limits>

#include <qormath/control/qor_math_control.hpp>
#include <qormath/control_utility/bilineartransformfort.hpp>
#include <qormath/core/arithmetic.hpp>
#include <qormath/lapack/finite.hpp>
#include <qormath/lapack/lapack.hpp>
#include <qormath/models/detail/augmented.hpp>
#include <qormath/models/detail/held_logarithm.hpp>

using qormath::models::augmented;
using qormath::models::columnScalesOf;
using qormath::models::extract;
using qormath::models::undoColumnScales;
using QorMathLA::Matrix;
using QorMathLA::product;
using QorMathLA::Range;
using QorMathLA::Vector;
using QorMathLA::zeroMatrix;

namespace {

// A negative eigenvalue becomes a pair at this many roots of the precision, times itself, off the real axis: far enough
// for the recurrence of the logarithm to tell the two apart.
constexpr double pairDistance = 10.0;

double rootOfPrecision() {
    return std::sqrt(qormath::lapack::machineEpsilon());
}

/// The routine takes whole packed arrays; a view of part of a block becomes a block of its own.
void pack(Matrix<double>& matrix) {
    if (matrix.storedRows != matrix.rows() || matrix.storedCols != matrix.cols()) {
        matrix = Matrix<double>(matrix, true);
    }
}

void transformBilinearly(Matrix<double>& a, Matrix<double>& b, Matrix<double>& c, Matrix<double>& d, double sampleTime,
                         int direction) {
    const int n = a.rows();
    const int m = b.cols();
    const int p = c.rows();
    for (Matrix<double>* matrix : {&d, &c, &b, &a}) {
        matrix->numericData(true);  // refuses a transposed one before anything is changed
    }
    if (a.cols() != n || (n > 0 && (b.rows() != n || c.cols() != n || d.rows() != p || d.cols() != m))) {
        throw -1;  // the routine would read beyond the matrices
    }
    for (Matrix<double>* matrix : {&d, &c, &b, &a}) {
        pack(*matrix);
    }
    const double alpha = 1.0;
    const double beta = 2.0 / sampleTime;
    int info = 0;
    qormath::control_utility::BILINEARTRANSFORMFORT(&direction, &n, &m, &p, a.numericData(true), b.numericData(true),
                                                    c.numericData(true), d.numericData(true), &alpha, &beta, &info);
    if (info != 0) {
        throw -1;
    }
}

/// Gives each negative real eigenvalue of a, which has no real logarithm, a further state with the same eigenvalue; the
/// two are coupled into a complex pair close by, which has one. positions are those of the eigenvalues in wr, and the
/// last columns of q are taken for their Schur vectors. scale gets the factors of the further states.
void pairNegativeEigenvalues(Matrix<double>& a, Matrix<double>& b, Matrix<double>& c, Vector<double>& scale,
                             const Matrix<double>& q, const Vector<double>& wr, const Vector<int>& positions) {
    const int n = a.rows();
    const int k = positions.size();
    Vector<double> extendedScale(n + k);
    extendedScale(Range(0, n - 1, 1)) = scale;
    Matrix<double> coupling = zeroMatrix(k, n);
    Matrix<double> negative = zeroMatrix(k, k);
    for (int j = 0; j < k; ++j) {
        const double value = wr[positions[j]];
        extendedScale[n + j] = scale[positions[j]];
        negative(j, j) = value;
        coupling(j, n - k + j) = value * -pairDistance * rootOfPrecision();
    }
    const Matrix<double> g = product(coupling, q.transpose());
    Matrix<double> minusG(g, true);
    minusG *= -1.0;
    a = a.appendToRight(minusG.transpose()).appendToBottom(g.appendToRight(negative));
    b = b.appendToBottom(zeroMatrix(k, b.cols()));
    c = c.appendToRight(zeroMatrix(c.rows(), k));
    scale = extendedScale;
}

/// The positions of the negative real eigenvalues.
Vector<int> negativePositions(const Vector<double>& wr, const Vector<double>& wi) {
    const auto isNegative = [&](int i) { return wi[i] == 0.0 && wr[i] < 0.0; };
    int count = 0;
    for (int i = 0; i < wr.size(); ++i) {
        count += isNegative(i);
    }
    Vector<int> positions(count);
    for (int i = 0, j = 0; i < wr.size(); ++i) {
        if (isNegative(i)) {
            positions[j++] = i;
        }
    }
    return positions;
}

/// Undoes the balancing of (a, b, c) by the factors of scale, which are powers of two.
void undoBalancing(Matrix<double>& a, Matrix<double>& b, Matrix<double>& c, const Vector<double>& scale) {
    Vector<double> reciprocal(scale.size());
    for (int i = 0; i < scale.size(); ++i) {
        reciprocal[i] = 1.0 / scale[i];
    }
    a = a.scaleColumnsBy(reciprocal).scaleRowsBy(scale);
    b = b.scaleRowsBy(scale);
    c = c.scaleColumnsBy(reciprocal);
}

/// matrix to a power of at least 1, by squaring and multiplying.
Matrix<double> power(const Matrix<double>& matrix, int exponent) {
    int bit = 1;
    while (bit <= exponent / 2) {
        bit *= 2;
    }
    Matrix<double> result(matrix);
    while (bit > 1) {
        bit /= 2;
        result = result * result;
        if ((exponent & bit) != 0) {
            result = result * matrix;
        }
    }
    return result;
}

bool allFinite(const Matrix<double>& matrix) {
    return qormath::lapack::allFinite(matrix.rows(), matrix.cols(), matrix.numericData(true), matrix.storedRows);
}

/// How often m has to be halved before its exponential is finite. Found by bisection: each trial costs as many products
/// as the norm has binary digits, and there may be hundreds of either.
int halvingsBeforeExponential(const Matrix<double>& m) {
    // The largest double halved so often is below 1.
    constexpr int mostHalvings = std::numeric_limits<double>::max_exponent;
    // No exponential of a norm below 2^8 overflows.
    constexpr int safeExponent = 8;
    const double largestNorm = m.rows() * m.maxAbs();
    const int exponent = std::isfinite(largestNorm) ? std::ilogb(largestNorm) + 1 : mostHalvings;
    int tooFew = 0;
    int enough = std::clamp(exponent - safeExponent, 1, mostHalvings);
    while (enough - tooFew > 1) {
        const int trial = tooFew + (enough - tooFew) / 2;
        (allFinite(QorMathControl::ExpM(m, std::ldexp(1.0, -trial))) ? enough : tooFew) = trial;
    }
    return enough;
}

/// exp(m). ExpM shifts m by its mean eigenvalue, and so overflows where one eigenvalue lies far below the others: a
/// fast mode of a stiff model. There the exponential of a part of m is squared up, which for a stable model keeps in
/// range.
Matrix<double> exponentialOf(const Matrix<double>& m) {
    Matrix<double> e = QorMathControl::ExpM(m, 1.0);
    if (allFinite(e) || !allFinite(m)) {
        return e;
    }
    const int halvings = halvingsBeforeExponential(m);
    e = QorMathControl::ExpM(m, std::ldexp(1.0, -halvings));
    for (int k = 0; k < halvings; ++k) {
        e = e * e;
    }
    return e;
}

/// [a b; 0 0] times the sample time, with the inputs brought to the norm of the states by the scales: the error of an
/// exponential goes by the norm of the whole.
Matrix<double> heldExponent(const Matrix<double>& a, const Matrix<double>& b, double sampleTime,
                            Vector<double>& scales) {
    const Matrix<double> states = a * sampleTime;
    const Matrix<double> inputs = b * sampleTime;
    scales = columnScalesOf(inputs, std::max(1.0, states.maxAbs()));
    return augmented(states, inputs.scaleColumnsBy(scales), 0.0);
}

}  // namespace

void QorMathControl::Continuous2Discrete(Matrix<double>& a, Matrix<double>& b, Matrix<double>& c, Matrix<double>& d,
                                         double sampleTime, const conversionType& type) {
    if (type == zeroOrderHold) {
        Continuous2Discrete_ZOH(a, b, c, d, sampleTime);
    } else {
        transformBilinearly(a, b, c, d, sampleTime, 0);
    }
}

void QorMathControl::Discrete2Continuous(Matrix<double>& a, Matrix<double>& b, Matrix<double>& c, Matrix<double>& d,
                                         double sampleTime, const conversionType& type) {
    if (type == zeroOrderHold) {
        Discrete2Continuous_ZOH(a, b, c, d, sampleTime);
    } else {
        transformBilinearly(a, b, c, d, sampleTime, 1);
    }
}

void QorMathControl::Continuous2Discrete_ZOH(Matrix<double>& a, Matrix<double>& b, Matrix<double>& /*c*/,
                                             Matrix<double>& /*d*/, double sampleTime) {
    const int n = a.rows();
    Vector<double> scales;
    const Matrix<double> exponent = heldExponent(a, b, sampleTime, scales);
    if (exponent.rows() > 0) {
        extract(exponentialOf(exponent), n, a, b);
        undoColumnScales(b, scales);
    }
}

void QorMathControl::Discrete2Continuous_ZOH(Matrix<double>& a, Matrix<double>& b, Matrix<double>& c,
                                             Matrix<double>& /*d*/, double sampleTime) {
    constexpr double maxReduction = 10.0;
    Vector<double> scale;
    BalanceABC(a, b, c, scale, maxReduction);
    Matrix<double> t;
    Matrix<double> q;
    Vector<double> wr;
    Vector<double> wi;
    SchurDecomposition(a, t, q, wr, wi, schurUnordered);
    for (int i = 0; i < wr.size(); ++i) {
        if (std::hypot(wr[i], wi[i]) < rootOfPrecision()) {
            throw -1;  // zero has no logarithm
        }
    }
    if (negativePositions(wr, wi).size() > 0) {  // or nothing asks for an order
        SchurDecomposition(a, t, q, wr, wi, schurDescendingReal);
        pairNegativeEigenvalues(a, b, c, scale, q, wr, negativePositions(wr, wi));
        qormath::models::replaceByHeldLogarithm(a, b);
    } else {
        qormath::models::replaceByHeldLogarithm(a, b, t, q, wr, wi);
    }
    a *= 1.0 / sampleTime;
    b *= 1.0 / sampleTime;
    undoBalancing(a, b, c, scale);
}

void QorMathControl::Resample(Matrix<double>& a, Matrix<double>& b, Matrix<double>& c, Matrix<double>& d,
                              double oldSampleTime, double newSampleTime, const conversionType& type) {
    const double ratio = newSampleTime / oldSampleTime;
    const double rounded = std::trunc(ratio + 0.5);
    // A ratio beyond the range of int is no number of steps that could be taken; NaN is none either.
    const bool isWhole =
        std::fabs(ratio - rounded) < rootOfPrecision() && std::fabs(rounded) < std::numeric_limits<int>::max();
    if (!isWhole) {
        Discrete2Continuous(a, b, c, d, oldSampleTime, type);
        Continuous2Discrete(a, b, c, d, newSampleTime, type);
        return;
    }
    const int n = a.rows();
    const int steps = static_cast<int>(rounded);
    const Matrix<double> step = augmented(a, b, 1.0);
    extract(steps > 1 ? power(step, steps) : step, n, a, b);
}
