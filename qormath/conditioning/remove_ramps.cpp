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

void QorMathControl::RemoveRamps(LTIStateSpaceModel& model, LTIStateSpaceModel& ramps) {
    using qormath::conditioning::subModel;
    constexpr double byDefault = -1.0;
    LTIStateSpaceModel work(model);
    Vector<int> report;
    MinimalRealization(work, report, byDefault, byDefault, byDefault);
    const int marginalCount = report[1];
    const int integratorCount = report[2];
    const int stableCount = report[3];
    if (!(integratorCount > 0)) {
        return;
    }

    const Range marginalStates(0, marginalCount - 1, 1);
    const Matrix<double> noFeedthrough = zeroMatrix(model.D.rows(), model.D.cols());
    LTIStateSpaceModel marginal;
    LTIStateSpaceModel rest;
    if (stableCount > 0) {
        rest = subModel(work, Range(marginalCount, marginalCount + stableCount - 1, 1), model.D);
        marginal = subModel(work, marginalStates, noFeedthrough);
    } else {
        marginal = std::move(work);
    }
    if (marginalCount <= integratorCount) {
        model = std::move(rest);
        ramps = std::move(marginal);
        return;
    }

    // Unstable modes stand among the ramps. In ascending order the ramps come first. The block that is decomposed is
    // that of the model as it came: a model that is in minimal form already keeps its coordinates.
    Matrix<double> t;
    Matrix<double> q;
    Vector<double> wr;
    Vector<double> wi;
    SchurDecomposition(model.A(marginalStates, marginalStates), t, q, wr, wi,
                       model.sysType == discreteSystem ? schurAscendingModulus : schurAscendingReal);
    const LTIStateSpaceModel sorted(t, product(q.transpose(), marginal.B), product(marginal.C, q), marginal.D,
                                    model.sysType, model.sampleTime);
    LTIStateSpaceModel unstable = subModel(sorted, Range(integratorCount, marginalCount - 1, 1), sorted.D);
    LTIStateSpaceModel integrators = subModel(sorted, Range(0, integratorCount - 1, 1), noFeedthrough);
    // Without stable states the rest is the empty model, which adds nothing and has no shape to be added.
    model = stableCount > 0 ? unstable + rest : std::move(unstable);
    ramps = std::move(integrators);
}
