#pragma once

#include <optional>
#include <vector>

#include <qormath/models/lti_state_space_model.hpp>

namespace qormath::pipeline {

/// Where a unit step on each input takes the states of a stable discrete model: X = (I - A)^-1 B. The gain is C X + D.
/// Throws the int -1 where I - A is singular.
QorMathLA::Matrix<double> settledStates(const LTIStateSpaceModel& model);

/// The gain of a model whose settled states are known.
QorMathLA::Matrix<double> gainsOf(const LTIStateSpaceModel& model, const QorMathLA::Matrix<double>& settled);

/// How far the gains of each output are from the wanted ones, as a multiple of what is allowed: the tolerance, in
/// percent of the wanted one, or what is small beside a peak of 1.
std::vector<double> excessOf(const QorMathLA::Matrix<double>& gains, const QorMathLA::Matrix<double>& wanted,
                             double gainTolerance);

/// The outputs whose excess is above 1.
std::vector<bool> needOf(const QorMathLA::Matrix<double>& gains, const QorMathLA::Matrix<double>& wanted,
                         double gainTolerance);

bool anyOf(const std::vector<bool>& needs);

/// What the outputs in need lack; zeros for the others.
QorMathLA::Matrix<double> missingGains(const QorMathLA::Matrix<double>& gains, const QorMathLA::Matrix<double>& wanted,
                                       const std::vector<bool>& needs);

/// Restores the gains of the outputs in need on the modes that the model has, by the smallest change of its output
/// matrix. False, with gains that are still off, where the settled states have no full column rank.
bool retainGainByOutputs(LTIStateSpaceModel& model, const QorMathLA::Matrix<double>& wanted,
                         const QorMathLA::Matrix<double>& settled, const std::vector<bool>& needs,
                         double gainTolerance);

/// RetainGain leaves an error of 1e-8 alone, as an absolute number. In outputs that are multiplied by this it is below
/// 1e-10 of a peak of 1, and that is what needOf takes for small.
constexpr double gainResolution = 128.0;

}  // namespace qormath::pipeline
