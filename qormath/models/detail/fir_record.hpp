#pragma once

#include <cstddef>

#include <qormath/models/fir_file.hpp>

namespace qormath::models {

inline constexpr std::size_t firTextSize = 13;      // 12 characters and a terminator
inline constexpr std::size_t firCommentSize = 256;  // a line of 255 characters and a terminator
inline constexpr int firUnknownVersion = -999;

/// Sets every field as before opening. Nothing is closed or freed.
void clearRecord(FIRFileHandle& handle);

/// Frees comment and tables, and makes them null.
void freeRecord(FIRFileHandle& handle);

/// Makes zero-filled tables for the counts in the record, in place of those that it has. A count below 1 needs none.
/// False where memory ran out; the tables are null then.
bool allocateTables(FIRFileHandle& handle);

/// Makes the zero-filled block of the comment where there is none. False where memory ran out.
bool allocateComment(FIRFileHandle& handle);

}  // namespace qormath::models
