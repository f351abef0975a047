#pragma once

#include <cstddef>
#include <vector>

#include <qormath/models/lti_fir_model.hpp>
#include <qormath/models/lti_state_space_model.hpp>

namespace qormath::pipeline {

/// The units in which a plant is worked on: powers of two, so that nothing is rounded on the way there and back.
/// Outputs are scaled to a peak from 1 up to 2, and then each input so that its strongest effect has one, too. Outputs
/// without a curve are left out.
class PlantScaling {
  public:
    explicit PlantScaling(const LTIFIRModel& model);

    /// The outputs that take part, by their index in the model.
    const std::vector<int>& outputs() const { return outputs_; }

    /// The curves in these units.
    LTIFIRModel scaled(const LTIFIRModel& model) const;

    /// A model of the scaled plant in the units of the original, all outputs in their places.
    LTIStateSpaceModel unscaled(const LTIStateSpaceModel& model) const;

    /// The binary exponent by which the curves of output number k of those that take part were multiplied.
    int outputExponent(int k) const { return outputExponents_[static_cast<std::size_t>(k)]; }

    /// The binary exponent by which the input's curves were multiplied beyond that; 0 for the inputs whose effects
    /// are largest.
    int inputExponent(int input) const { return inputExponents_[static_cast<std::size_t>(input)]; }

  private:
    int outputCount_ = 0;
    std::vector<int> outputs_;
    std::vector<int> outputExponents_;  ///< of the outputs that take part
    std::vector<int> inputExponents_;
};

}  // namespace qormath::pipeline
