#pragma once

#include <qormath/models/lti_state_space_model.hpp>

namespace qormath::conditioning {

/// The given states of a model, uncoupled from the others, with another feedthrough.
inline LTIStateSpaceModel subModel(const LTIStateSpaceModel& model, const QorMathLA::Range& states,
                                   const QorMathLA::Matrix<double>& feedthrough) {
    const QorMathLA::Range all(-1, -1, 1);
    return {model.A(states, states), model.B(states, all), model.C(all, states), feedthrough,
            model.sysType,           model.sampleTime};
}

}  // namespace qormath::conditioning
