#pragma once

#include <qormath/models/lti_fir_model.hpp>

#include "system_file.hpp"

namespace qormath::cli {

/// The system advanced by one sample: its ordinary step response y(k) = C x(k) + D u(k), taken before the state moves,
/// is what the given one has a sample later. C A takes the place of C, and D + C B that of D.
LTIStateSpaceModel advancedByOneSample(const LTIStateSpaceModel& system);

/// The step-response curves of a system file; everything else comes from the reference. Throws ProgramError, without
/// the name of a file, if the two do not belong together: another number of inputs or outputs, another sample time, or
/// a system that is not discrete.
LTIFIRModel simulate(const SystemFile& file, const LTIFIRModel& reference);

}  // namespace qormath::cli
