#pragma once

#include <vector>

#include <qormath/models/lti_state_space_model.hpp>
#include <qormath/pipeline/detail/realised_plant.hpp>
#include <qormath/pipeline/reduce.hpp>

namespace qormath::pipeline {

/// A plant in its scaled units, reduced.
struct ReducedPlant {
    LTIStateSpaceModel model;  ///< the integrators of the ramps lead
    int gainStates = 0;
    std::vector<ReduceResult::Ringer> ringers;
};

/// The integrators that make the ramps: one for each output that ramps, or one for each input that makes one do so,
/// whichever are fewer. Every rate stands in the model as it is, times 1.
LTIStateSpaceModel rampModel(const QorMathLA::Matrix<double>& rates, double sampleTime);

/// Reduces the stable part of a plant to stableOrder states, takes out its ringers, restores its gains, and puts the
/// ramps in front of it. Gains are restored in up to two ways, each a plant: by a change of the output matrix, where
/// the states are enough for that, which costs no state; then by fast lags, one for each output or input.
/// Throws what Shrink, RemoveRingers and RetainGain throw.
std::vector<ReducedPlant> reducedPlants(const RealisedPlant& plant, const LTIStateSpaceModel& ramps, int stableOrder,
                                        double dampingLimit, double gainTolerance);

}  // namespace qormath::pipeline
