#include <algorithm>
#include <cmath>

#include <qormath/conditioning/detail/precision.hpp>
#include <qormath/conditioning/detail/small_elements.hpp>
#include <qormath/control/qor_math_control.hpp>
#include <qormath/models/lti_state_space_model.hpp>

using QorMathLA::Range;

namespace {

bool isFinite(const QorMathLA::Matrix<double>& matrix) {
    return std::ranges::all_of(matrix, [](double element) { return std::isfinite(element); });
}

}  // namespace

void QorMathControl::ShrinkRamps(LTIStateSpaceModel& model, double tolerance) {
    // Of such a model the staircase form finds nothing controllable, and all its states would go without a word.
    if (!isFinite(model.A) || !isFinite(model.B) || !isFinite(model.C)) {
        throw -1;
    }
    int rank = 0;
    model.ControllabilityForm(rank, tolerance);
    model.ExtractRange(Range(0, rank - 1, 1), true);
    model.ObservabilityForm(rank, tolerance);
    model.ExtractRange(Range(0, rank - 1, 1), true);

    const double root = qormath::conditioning::rootOfPrecision();
    qormath::conditioning::chopSmallElements(model.A, root);
    qormath::conditioning::chopSmallElements(model.B, root);
    qormath::conditioning::chopSmallElements(model.C, root);
    if (model.sysType != discreteSystem) {
        return;
    }
    for (int i = 0; i < model.A.rows(); ++i) {
        model.A(i, i) = 1.0;
    }
}
