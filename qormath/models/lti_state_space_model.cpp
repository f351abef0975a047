#include <cmath>
#include <vector>

#include <qormath/core/arithmetic.hpp>
#include <qormath/lapack/lapack.hpp>
#include <qormath/models/detail/shapes.hpp>
#include <qormath/models/lti_state_space_model.hpp>

using QorMathLA::Matrix;
using QorMathLA::MatrixSoft;
using QorMathLA::product;
using QorMathLA::Range;
using QorMathLA::Vector;
using QorMathLA::zeroMatrix;

namespace {

constexpr int eigenvalueIterations = 30;

// Poles closer to the stability limit than this many machine precisions have no steady state to compute.
constexpr double limitTolerance = 100.0;

/// [topLeft, topRight; 0, bottomRight], with square diagonal blocks.
Matrix<double> blockUpperTriangular(const Matrix<double>& topLeft, const Matrix<double>& topRight,
                                    const Matrix<double>& bottomRight) {
    const int first = topLeft.rows();
    const int all = first + bottomRight.rows();
    Matrix<double> result = zeroMatrix(all, all);
    result(Range(0, first - 1, 1), Range(0, first - 1, 1)) = topLeft;
    result(Range(0, first - 1, 1), Range(first, all - 1, 1)) = topRight;
    result(Range(first, all - 1, 1), Range(first, all - 1, 1)) = bottomRight;
    return result;
}

/// Throws if an eigenvalue of the matrix is zero up to rounding.
void requireNoZeroEigenvalue(const Matrix<double>& matrix) {
    Matrix<double> work(matrix);
    Vector<double> re;
    Vector<double> im;
    work.eigenvalues(re, im, eigenvalueIterations);
    const double tolerance = limitTolerance * qormath::lapack::machineEpsilon();
    for (int i = 0; i < re.size(); ++i) {
        if (tolerance > std::sqrt(re[i] * re[i] + im[i] * im[i])) {
            throw -1;
        }
    }
}

// A matrix better conditioned than this has no singular value near the cut-off of the pseudo-inverse, 2^-52 of the
// largest, so that the pseudo-inverse is the inverse.
constexpr double leastReciprocalCondition = 1e-10;

/// matrix^+ b. Where the matrix is clearly regular, as that of a model with a steady state is but for rare cases, a
/// factorisation gives it at a tenth of the cost of the singular values, and at least as exactly.
Matrix<double> pseudoSolve(const Matrix<double>& matrix, const Matrix<double>& b) {
    const int n = matrix.rows();
    Matrix<double> lu(matrix);
    if (matrix.cols() == n && b.rows() == n) {
        std::vector<int> pivots(static_cast<std::size_t>(n));
        std::vector<int> integerWork(static_cast<std::size_t>(n));
        std::vector<double> work(4 * static_cast<std::size_t>(n));
        const double norm = qormath::lapack::lange1(n, n, lu.numericData(true), n);
        double reciprocal = 0.0;
        if (qormath::lapack::getrf(n, n, lu.numericData(true), n, pivots.data()) == 0 &&
            qormath::lapack::gecon(n, lu.numericData(true), n, norm, reciprocal, work.data(), integerWork.data()) ==
                0 &&
            reciprocal > leastReciprocalCondition) {
            Matrix<double> x(b);
            qormath::lapack::getrs(qormath::lapack::Op::none, n, x.cols(), lu.numericData(true), n, pivots.data(),
                                   x.numericData(true), n);
            return x;
        }
    }
    constexpr double defaultTolerance = -1.0;
    return product(pseudoInverse(matrix, defaultTolerance), b);
}

}  // namespace

LTIStateSpaceModel::LTIStateSpaceModel() = default;

LTIStateSpaceModel::LTIStateSpaceModel(const LTIStateSpaceModel& other) = default;

LTIStateSpaceModel::LTIStateSpaceModel(LTIStateSpaceModel&& other) = default;

LTIStateSpaceModel::LTIStateSpaceModel(const Matrix<double>& a, const Matrix<double>& b, const Matrix<double>& c,
                                       const Matrix<double>& d, const systemType& type, double sampleTimeOfModel)
    : A(a), B(b), C(c), D(d), sampleTime(sampleTimeOfModel), sysType(type) {}

LTIStateSpaceModel::LTIStateSpaceModel(const Vector<bool>& rampFlags, const systemType& type, double sampleTimeOfModel)
    : sampleTime(sampleTimeOfModel), sysType(type) {
    const int channels = rampFlags.size();
    int integrators = 0;
    for (const bool ramp : rampFlags) {
        integrators += ramp ? 1 : 0;
    }
    A.setIdentity(integrators);
    if (type == continuousSystem) {
        A.fill(0.0);
    }
    B = zeroMatrix(integrators, channels);
    D.setIdentity(channels);
    int state = 0;
    for (int channel = 0; channel < channels; ++channel) {
        if (rampFlags[channel]) {
            B(state, channel) = 1.0;
            D(channel, channel) = 0.0;
            ++state;
        }
    }
    C = Matrix<double>(B.transpose());
}

LTIStateSpaceModel::~LTIStateSpaceModel() = default;

LTIStateSpaceModel& LTIStateSpaceModel::operator=(const LTIStateSpaceModel& other) = default;

LTIStateSpaceModel& LTIStateSpaceModel::operator=(LTIStateSpaceModel&& other) = default;

LTIStateSpaceModel LTIStateSpaceModel::operator*(const LTIStateSpaceModel& other) {
    const Matrix<double> b1 = qormath::models::inputMatrixOf(*this);
    const Matrix<double> c1 = qormath::models::outputMatrixOf(*this);
    const Matrix<double> b2 = qormath::models::inputMatrixOf(other);
    const Matrix<double> c2 = qormath::models::outputMatrixOf(other);
    return {blockUpperTriangular(A, product(b1, c2), other.A),
            product(b1, other.D).appendToBottom(b2),
            c1.appendToRight(product(D, c2)),
            product(D, other.D),
            sysType,
            sampleTime};
}

LTIStateSpaceModel LTIStateSpaceModel::operator+(const LTIStateSpaceModel& other) {
    const Matrix<double> b1 = qormath::models::inputMatrixOf(*this);
    const Matrix<double> c1 = qormath::models::outputMatrixOf(*this);
    return {blockUpperTriangular(A, zeroMatrix(A.rows(), other.A.rows()), other.A),
            b1.appendToBottom(qormath::models::inputMatrixOf(other)),
            c1.appendToRight(qormath::models::outputMatrixOf(other)),
            D + other.D,
            sysType,
            sampleTime};
}

LTIStateSpaceModel& LTIStateSpaceModel::ExtractRange(Range& states, bool clearFeedthrough) {
    const Range all(-1, -1, 1);
    // Matrices built from a view share its block; assigning them packs the elements.
    const Matrix<double> a(A(states, states));
    const Matrix<double> b(B(states, all));
    const Matrix<double> c(C(all, states));
    A = a;
    B = b;
    C = c;
    if (clearFeedthrough) {
        D.fill(0.0);
    }
    return *this;
}

Matrix<double> LTIStateSpaceModel::gain() {
    const int n = A.rows();
    if (n == 0) {
        return Matrix<double>(D);
    }
    if (sysType == continuousSystem) {
        requireNoZeroEigenvalue(A);
        return D - C * pseudoSolve(A, B);
    }
    const Matrix<double> distance = A.identity() - A;
    requireNoZeroEigenvalue(distance);
    return D + C * pseudoSolve(distance, B);
}
