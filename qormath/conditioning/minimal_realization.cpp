#include <algorithm>
#include <cmath>
#include <complex>
#include <utility>

#include <qormath/conditioning/detail/precision.hpp>
#include <qormath/conditioning/detail/schur_blocks.hpp>
#include <qormath/conditioning/detail/sub_model.hpp>
#include <qormath/control/qor_math_control.hpp>
#include <qormath/core/arithmetic.hpp>
#include <qormath/models/lti_state_space_model.hpp>

using QorMathLA::Matrix;
using QorMathLA::MatrixSoft;
using QorMathLA::Range;
using QorMathLA::Vector;
using QorMathLA::zeroMatrix;

namespace {

// Hankel singular values below these parts of the largest are weak, at the coarse and at the fine view.
constexpr double coarseLimit = 0.005;
constexpr double fineLimit = 1e-5;

struct Tolerances {
    double stability;
    double delay;
    double ramp;
};

Tolerances settled(double stability, double delay, double ramp) {
    const double root = qormath::conditioning::rootOfPrecision();
    const double settledStability = stability < 0.0 ? root : stability;
    const double settledRamp = ramp < 0.0 ? settledStability : ramp;
    return {settledStability, std::max(root, delay), std::max(root, settledRamp)};
}

/// The number of eigenvalues at or beyond the stability margin of a model in Schur form.
int countAtMargin(const LTIStateSpaceModel& model, double alpha) {
    const Vector<std::complex<double>> poles = qormath::conditioning::eigenvaluesOfSchurForm(model.A);
    int count = 0;
    for (const std::complex<double>& pole : poles) {
        const double measure = model.sysType == discreteSystem ? std::abs(pole) : pole.real();
        count += measure >= alpha ? 1 : 0;
    }
    return count;
}

/// Replaces the leading states of the model by those of leading, uncoupled from the rest.
void replaceLeadingStates(LTIStateSpaceModel& model, int leadingCount, const LTIStateSpaceModel& leading) {
    const Range all(-1, -1, 1);
    const int kept = leading.A.rows();
    const Range rest(leadingCount, model.A.rows() - 1, 1);
    const int n = kept + rest.size();
    const Range newLeading(0, kept - 1, 1);
    const Range newRest(kept, n - 1, 1);
    Matrix<double> a = zeroMatrix(n, n);
    a(newLeading, newLeading) = leading.A;
    a(newRest, newRest) = model.A(rest, rest);
    model.A = std::move(a);
    model.B = leading.B.appendToBottom(model.B(rest, all));
    model.C = leading.C.appendToRight(model.C(all, rest));
}

/// Cuts the leading states of the model to their controllable and observable core; returns how many went.
int shrinkLeadingStates(LTIStateSpaceModel& model, int leadingCount, double tolerance) {
    const Matrix<double> noFeedthrough = zeroMatrix(model.D.rows(), model.D.cols());
    LTIStateSpaceModel leading = qormath::conditioning::subModel(model, Range(0, leadingCount - 1, 1), noFeedthrough);
    QorMathControl::ShrinkRamps(leading, tolerance);
    const int shrunk = leadingCount - leading.A.rows();
    if (shrunk > 0) {
        replaceLeadingStates(model, leadingCount, leading);
    }
    return shrunk;
}

/// The number of integrators of a discrete model. The comparison is exact, for the poles nearby have been moved, and
/// it is made in both time bases alike.
int countOnes(const Matrix<double>& a) {
    int count = 0;
    for (int i = 0; i < a.rows(); ++i) {
        count += a(i, i) == 1.0 ? 1 : 0;
    }
    return count;
}

int countDelays(const LTIStateSpaceModel& model, double tolerance) {
    if (model.sysType != discreteSystem) {
        return 0;
    }
    Matrix<double> work(model.A);
    Vector<double> wr;
    Vector<double> wi;
    work.eigenvalues(wr, wi, qormath::conditioning::eigenvalueIterations);
    int count = 0;
    for (int i = 0; i < wr.size(); ++i) {
        count += tolerance > std::sqrt(wr[i] * wr[i] + wi[i] * wi[i]) ? 1 : 0;
    }
    return count;
}

/// An order for a later reduction: the count of states less the weak directions.
int suggestedOrder(int stateCount, const Vector<double>& hsv, double limit) {
    int order = stateCount;
    for (const double value : hsv) {
        order -= limit * hsv[0] > value ? 1 : 0;
    }
    return order;
}

}  // namespace

void QorMathControl::MinimalRealization(LTIStateSpaceModel& model, Vector<int>& report, double stabilityTolerance,
                                        double delayTolerance, double rampTolerance) {
    const Tolerances tolerance = settled(stabilityTolerance, delayTolerance, rampTolerance);
    const double alpha = model.sysType == discreteSystem ? 1.0 - tolerance.stability : -tolerance.stability;
    const int statesAtEntry = model.A.rows();

    constexpr int automaticOrder = -1;
    constexpr double defaultResidual = 0.0;
    Vector<double> hsv;
    ModelReduction(model.A, model.B, model.C, model.D, hsv, reductionBalancedShrink, model.sysType, automaticOrder,
                   alpha, defaultResidual);
    PseudoRamp2Ramp(model, tolerance.ramp);

    int unstableStates = countAtMargin(model, alpha);
    const int shrunk = unstableStates < 1 ? 0 : shrinkLeadingStates(model, unstableStates, tolerance.stability);
    unstableStates -= shrunk;

    const int states = model.A.rows();
    Vector<int> counts(7);
    counts[0] = statesAtEntry - states;
    counts[1] = unstableStates;
    counts[2] = countOnes(model.A);
    counts[3] = states - unstableStates;
    counts[4] = countDelays(model, tolerance.delay);
    counts[5] = suggestedOrder(statesAtEntry - shrunk, hsv, coarseLimit);
    counts[6] = suggestedOrder(statesAtEntry - shrunk, hsv, fineLimit);
    report = std::move(counts);
}
