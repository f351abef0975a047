#pragma once

#include <qormath/models/lti_fir_model.hpp>
#include <qormath/models/lti_state_space_model.hpp>

namespace qormath::pipeline {

/// A realised plant in two parts whose sum is the plant.
struct RealisedPlant {
    /// Everything but the ramps, discrete and without feedthrough. On a ramp output it has the distance of the curves
    /// from their ramps.
    LTIStateSpaceModel stable;

    /// The rates of the ramp outputs, outputs by inputs; rows of zeros elsewhere. The ramp part is an integrator for
    /// each ramp output.
    QorMathLA::Matrix<double> rates;

    /// The gains that stable should have: on a ramp output those that it has, elsewhere those of the curves.
    QorMathLA::Matrix<double> gains;

    /// Of the block Hankel matrix of the curves, squared, largest first.
    QorMathLA::Vector<double> singularValues;
};

/// Realises the curves of a plant, each output of which has one, with its ramp flags as they are. singularValueCount
/// tells how many singular values to keep; 0 keeps those that are not negligible.
///
/// A ramp output is realised through the changes of its curves, which settle, G(z) = C (z I - A)^-1 B. Its curve is the
/// sum of these changes, G(z) / (z - 1) = G(1) / (z - 1) - C (I - A)^-1 (z I - A)^-1 B: a ramp, and a stable part that
/// has the states of G. The rate G(1) is taken from the curves instead, as their last step.
RealisedPlant realise(const LTIFIRModel& plant, int singularValueCount);

}  // namespace qormath::pipeline
