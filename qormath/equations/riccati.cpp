#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>

#include <qormath/control/qor_math_control.hpp>
#include <qormath/control_utility/riccatifort.hpp>
#include <qormath/core/arithmetic.hpp>

using QorMathLA::Matrix;
using QorMathLA::MatrixSoft;
using QorMathLA::product;
using QorMathLA::pseudoInverse;
using QorMathLA::zeroMatrix;

namespace {

constexpr int mostIterations = 30;
constexpr double convergence = 1e-15;
// The random start x' x + shift i is positive definite, with a smallest eigenvalue of at least this.
constexpr double startShift = 10.0;
// Asks for the default tolerance of the pseudo-inverse.
constexpr double defaultTolerance = -1.0;
// Info of RiccatiHelper for operands that are not of the order and the inputs that a and b tell.
constexpr int operandsDoNotFit = -1;

bool hasShape(const Matrix<double>& matrix, int rows, int cols) {
    return matrix.rows() == rows && matrix.cols() == cols;
}

/// True when the routine, which knows no leading dimension, may work on the block of the matrix.
bool isPacked(const Matrix<double>& matrix) {
    return matrix.hasUnitStrides() && matrix.storedRows == matrix.rows();
}

/// The matrix itself where it is packed, else a packed copy.
Matrix<double> packed(const Matrix<double>& matrix) {
    return isPacked(matrix) ? Matrix<double>(matrix, false) : Matrix<double>(matrix, true);
}

/// Replaces x by a positive definite matrix of its row count that is the same at every call.
void drawStart(Matrix<double>& x) {
    const int order = x.rows();
    x.randomize(order, order);
    x = product(x.transpose(), x) + x.identity() * startShift;
}

/// What follows the direct solution: true if an iteration is to follow, which starts from x then. needStart tells that
/// x is no solution to start from.
bool prepareIteration(Matrix<double>& x, bool needStart, bool useInitial, const Matrix<double>& given,
                      const riccatiMethod& method) {
    if (method == riccatiSchur) {
        if (needStart) {
            throw -1;
        }
        return false;
    }
    if (needStart && useInitial) {
        x = given;
    } else if (needStart) {
        drawStart(x);
    }
    return true;
}

/// True when the two hold the same bits, so that all that follows from one follows from the other.
bool isSame(const Matrix<double>& left, const Matrix<double>& right) {
    auto other = right.begin();
    for (const double& element : left) {
        if (std::bit_cast<std::uint64_t>(element) != std::bit_cast<std::uint64_t>(*other)) {
            return false;
        }
        ++other;
    }
    return true;
}

bool isSymmetric(const Matrix<double>& matrix) {
    return matrix.rows() == matrix.cols() && isSame(matrix, matrix.transpose());
}

/// The nearest symmetric matrix.
Matrix<double> symmetricPart(const Matrix<double>& matrix) {
    return (matrix + matrix.transpose()) * 0.5;
}

bool isFinite(const Matrix<double>& matrix) {
    return std::ranges::all_of(matrix, [](double value) { return std::isfinite(value); });
}

double frobeniusNorm(const Matrix<double>& matrix) {
    return std::sqrt(matrix.sumSquares());
}

}  // namespace

int QorMathControl::RiccatiHelper(Matrix<double>& x, const Matrix<double>& a, const Matrix<double>& b,
                                  const Matrix<double>& q, const Matrix<double>& r, const Matrix<double>& s,
                                  const systemType& type) {
    const int n = a.rows();
    const int m = b.cols();
    const int discrete = type == discreteSystem ? 1 : 0;
    static_cast<void>(x.numericData(true));
    for (const Matrix<double>* operand : {&s, &r, &q, &b, &a}) {
        static_cast<void>(operand->numericData(true));
    }
    if (!hasShape(x, n, n) || !hasShape(a, n, n) || !hasShape(b, n, m) || !hasShape(q, n, n) || !hasShape(r, m, m) ||
        !hasShape(s, n, m)) {
        return operandsDoNotFit;
    }
    const Matrix<double> wholeA = packed(a), wholeB = packed(b), wholeQ = packed(q), wholeR = packed(r),
                         wholeS = packed(s);
    Matrix<double> solution = packed(x);
    int info = 0;
    qormath::control_utility::RICCATIFORT(&discrete, &n, &m, wholeA.numericData(true), wholeB.numericData(true),
                                          wholeQ.numericData(true), wholeR.numericData(true), wholeS.numericData(true),
                                          solution.numericData(true), &info);
    if (!isPacked(x)) {
        MatrixSoft<double> view(x);
        view = solution;
    }
    return info;
}

void QorMathControl::ContinuousRiccati(Matrix<double>& x, const Matrix<double>& a, const Matrix<double>& b,
                                       const Matrix<double>& q, const Matrix<double>& r, const Matrix<double>& s,
                                       bool useInitial, const riccatiMethod& method) {
    const Matrix<double> given = useInitial ? Matrix<double>(x, true) : Matrix<double>();
    bool needStart = useInitial;
    if (method != riccatiNewton) {
        needStart = RiccatiHelper(x, a, b, q, r, s, continuousSystem) != 0;
    }
    if (!prepareIteration(x, needStart, useInitial, given, method)) {
        return;
    }

    const Matrix<double> saved(x, true);
    const Matrix<double> weight = pseudoInverse(r, defaultTolerance);
    const Matrix<double> weightedB = product(b, weight);
    // Iterates of symmetric data are symmetric but for rounding. What rounding adds beside that is no error that the
    // steps take away: where the closed loop is slow they multiply it, and it can carry the iteration off.
    const bool keepSymmetry = isSymmetric(q) && isSymmetric(r) && isSymmetric(x);
    double first = 0.0;
    for (int k = 0;; ++k) {
        const Matrix<double> g = s + product(x, b);
        const Matrix<double> linear = q + product(a.transpose(), x) + product(x, a);
        const Matrix<double> difference = linear - product(product(g, weight), g.transpose());
        const Matrix<double> residual = keepSymmetry ? symmetricPart(difference) : difference;
        const Matrix<double> closedLoop = a - product(weightedB, product(b.transpose(), x) + s.transpose());
        Matrix<double> step;
        LyapunovHelper(step, closedLoop, residual, continuousSystem);
        const Matrix<double> before(x, false);
        const Matrix<double> next = x + step;
        x = keepSymmetry ? symmetricPart(next) : next;
        const double error = residual.maxAbs();
        if (k == 0) {
            first = error;
        }
        // A step that leaves every bit of x alone would leave it alone for ever after, with the same residual.
        const bool settled = isSame(before, x);
        if (error / std::max(x.maxAbs(), 1.0) < convergence || k + 1 >= mostIterations || settled) {
            if (error > first) {
                x = saved;
            }
            return;
        }
    }
}

void QorMathControl::DiscreteRiccati(Matrix<double>& x, const Matrix<double>& a, const Matrix<double>& b,
                                     const Matrix<double>& q, const Matrix<double>& r, const Matrix<double>& s,
                                     bool useInitial, const riccatiMethod& method) {
    const Matrix<double> given = useInitial ? Matrix<double>(x, true) : Matrix<double>();
    bool needStart = true;
    if (method != riccatiNewton) {
        needStart = RiccatiHelper(x, a, b, q, r, s, discreteSystem) != 0;
    }
    if (!prepareIteration(x, needStart, useInitial, given, method)) {
        return;
    }

    Matrix<double> saved(x, true);
    double best = 0.0;
    for (int k = 0; k < mostIterations; ++k) {
        const Matrix<double> ax = product(a.transpose(), x);
        const Matrix<double> g = product(ax, b) + s;
        const Matrix<double> weight = r + product(product(b.transpose(), x), b);
        if (k > 0 && !isFinite(weight)) {
            break;  // an iterate that has overflowed has no residual to be the best by
        }
        const Matrix<double> gain = product(pseudoInverse(weight, defaultTolerance), g.transpose());
        const Matrix<double> residual = product(ax, a) - product(g, gain) + q - x;
        const Matrix<double> closedLoop = a - product(b, gain);
        const double error = frobeniusNorm(residual);
        if (k == 0) {
            best = error;
        }
        if (best > error) {
            best = error;
            saved = Matrix<double>(x, true);
        }
        if (error / std::max(frobeniusNorm(x), 1.0) < convergence) {
            break;
        }
        Matrix<double> step;
        try {
            LyapunovHelper(step, closedLoop, residual, discreteSystem);
        } catch (...) {
            break;  // the best iterate so far stands
        }
        const Matrix<double> before(x, false);
        x = x + step;
        if (isSame(before, x)) {
            break;  // nothing would ever change again, and a tie does not replace the best
        }
    }
    x = saved;
}

void QorMathControl::ContinuousRiccati(Matrix<double>& x, const Matrix<double>& a, const Matrix<double>& b,
                                       const Matrix<double>& q, const Matrix<double>& r, bool useInitial,
                                       const riccatiMethod& method) {
    ContinuousRiccati(x, a, b, q, r, zeroMatrix(b.rows(), b.cols()), useInitial, method);
}

void QorMathControl::DiscreteRiccati(Matrix<double>& x, const Matrix<double>& a, const Matrix<double>& b,
                                     const Matrix<double>& q, const Matrix<double>& r, bool useInitial,
                                     const riccatiMethod& method) {
    DiscreteRiccati(x, a, b, q, r, zeroMatrix(b.rows(), b.cols()), useInitial, method);
}
