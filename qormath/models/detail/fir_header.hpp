#pragma once

#include <qormath/models/detail/line_reader.hpp>
#include <qormath/models/fir_file.hpp>

namespace qormath::models {

/// Reads header and lists of the open file into a cleared record.
/// @return FIR_OK, FIR_HEADER_ERROR, FIR_NO_MEMORY or FIR_COUNT_MISMATCH
int readHeader(FIRFileHandle& handle);

/// Passes over header and lists to the first block.
/// @return FIR_OK or FIR_HEADER_ERROR
int skipHeader(const FIRFileHandle& handle, LineReader& reader);

}  // namespace qormath::models
