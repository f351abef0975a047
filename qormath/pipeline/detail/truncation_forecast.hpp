#pragma once

#include <optional>
#include <vector>

#include <qormath/models/lti_fir_model.hpp>
#include <qormath/pipeline/detail/closeness.hpp>
#include <qormath/pipeline/detail/realised_plant.hpp>

namespace qormath::pipeline {

/// Tells the curve error of a plant that is reduced to an order, at a small part of the cost of reducing it: the
/// balanced truncations to all orders are the leading blocks of one balanced realisation. Nothing is approximated, so
/// that the forecast is the error but for rounding.
class TruncationForecast {
  public:
    /// wanted is the scaled plant, ramps included. The three have to outlive the forecast.
    TruncationForecast(const RealisedPlant& plant, const LTIFIRModel& wanted, const CurveMeasure& measure,
                       double gainTolerance);

    /// The smaller of the errors that the two ways to restore the gains leave, in percent; without restoring, the
    /// error of the truncation. Empty where it cannot be told: for order 0, and where the balanced realisation fails.
    std::optional<double> errorPercent(int stableOrder) const;

    /// Of the plant's stable part, the largest first; empty where they cannot be computed.
    const std::vector<double>& hankelSingularValues() const { return hankelSingularValues_; }

  private:
    double errorOf(const LTIStateSpaceModel& stable, const QorMathLA::Matrix<double>& lagGains) const;

    const RealisedPlant& plant_;
    const LTIFIRModel& wanted_;
    const CurveMeasure& measure_;
    double gainTolerance_;
    std::vector<double> hankelSingularValues_;
    LTIStateSpaceModel balanced_;  ///< as many states as there are positive Hankel singular values
};

}  // namespace qormath::pipeline
