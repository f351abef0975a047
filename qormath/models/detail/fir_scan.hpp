#pragma once

#include <functional>
#include <span>

#include <qormath/models/fir_file.hpp>

namespace qormath::models {

/// A curve that is not all zero, as the scan comes upon it.
struct FIRScannedCurve {
    int output = 0;
    int input = 0;
    int offset = 0;  // coefficients of the curves before it
    double gain = 0.0;
    std::span<const float> values;
};

/// Takes a curve over; a status other than FIR_OK ends the scan at once.
using FIRCurveSink = std::function<int(const FIRScannedCurve& curve)>;

/// Scans the blocks of an open file, with the statuses and the effects on the record of firReadCurves.
int scanBlocks(FIRFileHandle& handle, const FIRCurveSink& sink);

/// How many values of a curve lie within the value count that a file of version 9896 promises, all of them in another.
std::size_t promisedValues(const FIRFileHandle& handle, const FIRScannedCurve& curve);

}  // namespace qormath::models
