#pragma once

#include <optional>

#include <qormath/control/conversion_type.hpp>

#include "system_file.hpp"

namespace qormath::cli {

// All three throw ProgramError, without the name of a file, where there is no such system. A discrete system whose
// curves have an offset is advanced by one sample first, so that time 0 of the result is that of the curves.

/// A discrete system in continuous time. Its sample time is the system's own; one that is told has to agree. The result
/// remembers it.
SystemFile inContinuousTime(const SystemFile& file, std::optional<double> sampleTime, conversionType method);

/// A continuous system, sampled. Without a sample time it takes the one that the system remembers.
SystemFile inDiscreteTime(const SystemFile& file, std::optional<double> sampleTime, conversionType method);

/// A discrete system at another sample time.
SystemFile resampled(const SystemFile& file, double sampleTime, conversionType method);

/// The largest difference of the steady-state gains of two systems, relative to the largest gain; empty where one of
/// them has none.
std::optional<double> gainChange(const SystemFile& before, const SystemFile& after);

}  // namespace qormath::cli
