#include <qormath/core/arithmetic.hpp>
#include <qormath/models/detail/regular_solve.hpp>
#include <qormath/models/detail/shapes.hpp>
#include <qormath/models/lti_state_space_model.hpp>

using QorMathLA::Matrix;
using QorMathLA::MatrixSoft;
using QorMathLA::product;
using QorMathLA::Range;
using QorMathLA::Vector;
using QorMathLA::zeroMatrix;

namespace {

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

/// matrix^+ b, and the int -1 if the matrix has an eigenvalue that is zero up to rounding.
Matrix<double> steadyState(const Matrix<double>& matrix, const Matrix<double>& b) {
    Matrix<double> x;
    return qormath::models::solveClearlyRegular(matrix, b, x) ? x : qormath::models::solveByPseudoInverse(matrix, b);
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
        return D - C * steadyState(A, B);
    }
    return D + C * steadyState(A.identity() - A, B);
}
