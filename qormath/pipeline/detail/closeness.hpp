#pragma once

#include <optional>
#include <vector>

#include <qormath/models/lti_fir_model.hpp>
#include <qormath/pipeline/detail/plant_scaling.hpp>
#include <qormath/pipeline/reduce.hpp>

namespace qormath::pipeline {

using PairError = ReduceResult::PairError;

/// Measures curves against those of a model, whose null curves stand for zeros.
class CurveMeasure {
  public:
    explicit CurveMeasure(const LTIFIRModel& model);

    /// The same measure for curves in the units of the work.
    CurveMeasure scaled(const PlantScaling& scaling) const;

    /// The largest distance of two curves in a pair, in percent of the output's largest coefficient; for an input that
    /// is counted in small units, in the unit in which its strongest effect is as large.
    double distancePercent(const LTIFIRModel& one, const LTIFIRModel& other, int output, int input) const;

    /// The largest distancePercent of all pairs; empty if there is no pair. NaN is larger than any number.
    std::optional<PairError> largestPercent(const LTIFIRModel& one, const LTIFIRModel& other) const;

    /// The largest coefficient of an output; 1 if it has none.
    double peak(int output) const { return peaks_[static_cast<std::size_t>(output)]; }

  private:
    CurveMeasure() = default;

    std::vector<double> peaks_;
    std::vector<double> inputWeights_;
};

/// Keeps the largest error that it is shown. A NaN is the largest of all, and stays.
class LargestError {
  public:
    void add(double error, int output, int input);
    const std::optional<PairError>& found() const { return found_; }

  private:
    std::optional<PairError> found_;
};

}  // namespace qormath::pipeline
