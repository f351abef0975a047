#include <cmath>
#include <utility>

#include <qormath/conditioning/detail/sub_model.hpp>
#include <qormath/control/qor_math_control.hpp>
#include <qormath/core/arithmetic.hpp>
#include <qormath/models/lti_state_space_model.hpp>

using QorMathLA::Matrix;
using QorMathLA::product;
using QorMathLA::Range;
using QorMathLA::Vector;
using QorMathLA::zeroMatrix;

namespace {

int countUnstable(const Vector<double>& wr, const Vector<double>& wi, systemType type, double tolerance) {
    int count = 0;
    for (int i = 0; i < wr.size(); ++i) {
        const bool unstable =
            type == discreteSystem ? std::sqrt(wr[i] * wr[i] + wi[i] * wi[i]) >= 1.0 + tolerance : wr[i] >= tolerance;
        count += unstable ? 1 : 0;
    }
    return count;
}

/// The leading states of a model in the coordinates of its Schur form t = u' A u, without feedthrough.
LTIStateSpaceModel leadingStates(const LTIStateSpaceModel& model, const Matrix<double>& t, const Matrix<double>& u,
                                 int count) {
    const Range all(-1, -1, 1);
    const Range leading(0, count - 1, 1);
    const Matrix<double> basis = u(leading, leading);
    return {t(leading, leading),
            product(basis.transpose(), model.B(leading, all)),
            product(model.C(all, leading), basis),
            zeroMatrix(model.C.rows(), model.B.cols()),
            model.sysType,
            model.sampleTime};
}

}  // namespace

void QorMathControl::RemoveUnstable(LTIStateSpaceModel& model, LTIStateSpaceModel& stable, LTIStateSpaceModel& unstable,
                                    double tolerance) {
    constexpr double byDefault = -1.0;
    LTIStateSpaceModel work(model);
    Vector<int> report;
    MinimalRealization(work, report, byDefault, byDefault, byDefault);
    const int marginalCount = report[1];
    if (!(marginalCount > 0)) {
        stable = std::move(work);
        unstable = LTIStateSpaceModel();
        return;
    }

    Matrix<double> t;
    Matrix<double> u;
    Vector<double> wr;
    Vector<double> wi;
    SchurDecomposition(work.A, t, u, wr, wi,
                       work.sysType == discreteSystem ? schurDescendingModulus : schurDescendingReal);
    const int unstableCount = countUnstable(wr, wi, work.sysType, tolerance);
    if (unstableCount < 1) {
        stable = std::move(work);
        unstable = LTIStateSpaceModel();
        return;
    }

    // The minimal realisation is block diagonal, so that the leading blocks alone make a model.
    unstable = leadingStates(work, t, u, unstableCount);
    const int n = work.A.rows();
    if (!(n > unstableCount)) {
        stable = LTIStateSpaceModel();
        return;
    }
    stable = std::move(work);
    stable.ExtractRange(Range(unstableCount, n - 1, 1), false);
}
