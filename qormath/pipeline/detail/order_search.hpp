#pragma once

#include <functional>
#include <optional>
#include <vector>

#include <qormath/models/lti_fir_model.hpp>
#include <qormath/pipeline/detail/closeness.hpp>
#include <qormath/pipeline/detail/reduced_plant.hpp>

namespace qormath::pipeline {

/// A reduced plant with its curves, and how far these are from the wanted ones.
struct Candidate {
    int stableOrder = 0;
    ReducedPlant plant;
    LTIFIRModel curves;
    double errorPercent = 0.0;
};

/// The ways to reduce a plant to an order of its stable part.
using Reduction = std::function<std::vector<ReducedPlant>(int stableOrder)>;

/// The error, in percent, of the closest of the ways to an order; empty where it is not known beforehand.
using Forecast = std::function<std::optional<double>(int stableOrder)>;

/// What curves are measured against, and how.
struct Wanted {
    const LTIFIRModel& curves;
    const CurveMeasure& measure;
};

/// The reductions to one order, in the order of the ways.
std::vector<Candidate> candidatesOf(const Reduction& reduction, int stableOrder, const Wanted& wanted);

/// The one with the smallest error, the first of equals.
Candidate closestOf(std::vector<Candidate> candidates);

/// The candidate with the fewest states whose error is at most tolerancePercent, the lowest order of equals; if there
/// is none, the one with the smallest error. No order below that of the result is left out, for the error need not fall
/// from one order to the next; but one whose forecast is clearly above the tolerance is not worked out. An order at
/// which a numerical step fails is passed over; the last failure leaves the function if all fail.
Candidate smallestWithin(double tolerancePercent, const Reduction& reduction, const Forecast& forecast,
                         int highestOrder, const Wanted& wanted, const std::function<void(int stableOrder)>& progress);

}  // namespace qormath::pipeline
