#include <qormath/conditioning/detail/precision.hpp>
#include <qormath/conditioning/detail/small_elements.hpp>
#include <qormath/control/qor_math_control.hpp>
#include <qormath/models/lti_state_space_model.hpp>

using QorMathLA::Range;

void QorMathControl::ShrinkRamps(LTIStateSpaceModel& model, double tolerance) {
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
