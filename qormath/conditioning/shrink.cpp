#include <algorithm>
#include <utility>

#include <qormath/conditioning/detail/precision.hpp>
#include <qormath/conditioning/detail/small_elements.hpp>
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

// Orders that are asked for by name; any negative number but these two asks for the fine one.
constexpr int middleOrder = -1;
constexpr int coarseOrder = -2;

int wantedOrder(int order, const Vector<int>& report) {
    const int coarse = report[5];
    const int fine = report[6];
    switch (order) {
        case middleOrder:
            return static_cast<int>((coarse + fine) * 0.5 + 0.5);
        case coarseOrder:
            return coarse;
        default:
            return order < 0 ? fine : std::min(order, report[1] + report[3]);
    }
}

void toOrderedSchurForm(LTIStateSpaceModel& model, double limit) {
    Matrix<double> T;
    Matrix<double> U;
    Vector<double> wr;
    Vector<double> wi;
    QorMathControl::SchurDecomposition(model.A, T, U, wr, wi,
                                       model.sysType == discreteSystem ? schurLRDiscrete : schurLRContinuous);
    model.A = T;
    model.B = product(U.transpose(), model.B);
    model.C = product(model.C, U);
    if (limit > 0.0) {
        qormath::conditioning::chopSmallElements(model.A, limit);
        qormath::conditioning::chopSmallElements(model.B, limit);
        qormath::conditioning::chopSmallElements(model.C, limit);
    }
}

/// A model in which the stable part is replaced by its steady state.
LTIStateSpaceModel withoutDynamics(const LTIStateSpaceModel& unstablePart, const Matrix<double>& stableGain,
                                   const LTIStateSpaceModel& model) {
    if (unstablePart.A.rows() == 0) {
        return {zeroMatrix(0, 0),
                zeroMatrix(0, stableGain.cols()),
                zeroMatrix(stableGain.rows(), 0),
                stableGain,
                model.sysType,
                model.sampleTime};
    }
    return {unstablePart.A, unstablePart.B, unstablePart.C, stableGain, model.sysType, model.sampleTime};
}

}  // namespace

LTIStateSpaceModel QorMathControl::Shrink(const LTIStateSpaceModel& model, int& order, double stabilityTolerance,
                                          double delayTolerance, double gainTolerance, double dampingLimit) {
    using qormath::conditioning::subModel;
    constexpr double byDefault = -1.0;
    LTIStateSpaceModel work(model);
    Vector<int> report;
    MinimalRealization(work, report, stabilityTolerance, delayTolerance, byDefault);
    const int unstableStates = report[1];
    order = wantedOrder(order, report);

    LTIStateSpaceModel unstablePart;
    LTIStateSpaceModel stablePart;
    if (unstableStates < 1) {
        stablePart = std::move(work);
    } else {
        const int n = work.A.rows();
        unstablePart = subModel(work, Range(0, unstableStates - 1, 1), zeroMatrix(model.D.rows(), model.D.cols()));
        stablePart = subModel(work, Range(unstableStates, n - 1, 1), model.D);
        if (order >= 0) {
            order = std::max(0, order - unstableStates);
        }
    }
    if (order == 0) {
        return withoutDynamics(unstablePart, stablePart.gain(), model);
    }

    LTIStateSpaceModel reduced(stablePart);
    const double alpha = model.sysType == discreteSystem ? 1.0 - stabilityTolerance : -stabilityTolerance;
    constexpr double noResidualTolerance = 0.0;
    Vector<double> hsv;
    ModelReduction(reduced.A, reduced.B, reduced.C, reduced.D, hsv, reductionBalancedShrink, model.sysType, order,
                   alpha, noResidualTolerance);
    reduced.D = model.D;
    // The gain is restored once, after the last step that changes it.
    constexpr double leaveGain = -1.0;
    RemoveRingers(reduced, dampingLimit, leaveGain);
    if (gainTolerance >= 0.0) {
        RetainGain(reduced, stablePart.gain(), stabilityTolerance, gainTolerance);
    }
    if (unstableStates > 0) {
        reduced = unstablePart + reduced;
    }
    // A tenth of the distance by which rounding moves a double pole: what is cleared cannot be told from zero.
    toOrderedSchurForm(reduced, qormath::conditioning::rootOfPrecision() / 10.0);
    return reduced;
}
