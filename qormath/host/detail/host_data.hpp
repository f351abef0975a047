#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace qormath::host {

inline constexpr std::size_t descriptionSize = 127;    // characters of a record, terminator included
inline constexpr std::size_t unitsSize = 31;           // likewise
inline constexpr std::size_t consumerTextSize = 40;    // buffers of a consumer, for either text
inline constexpr std::size_t outputMessageSize = 256;  // a message on its way in, terminator included
inline constexpr std::size_t hostBlockSize = 32;       // the block that DMI_Initialize clears

inline constexpr int keyShown = 100;  // characters of a key in the line that ends the process

/// The bytes at a destination whose size came as an int.
inline std::size_t roomOf(int destinationSize) {
    return static_cast<std::size_t>(std::max(destinationSize, 0));
}

/// A named vector as it is kept. Records and values are plain allocations, which only DeleteVector frees.
struct VectorRecord {
    float* values;                      ///< length elements of the heap
    char description[descriptionSize];  ///< zero-terminated
    char units[unitsSize];              ///< zero-terminated
    std::int32_t length;                ///< number of values
};

/// What lives as long as the library is loaded. The records are not owned: those that are left are left for good.
struct HostData {
    std::vector<std::string> caseLines;
    std::uint64_t nextCaseLine = 0;                ///< position of the line to hand out next
    std::map<std::string, VectorRecord*> vectors;  ///< null for a key that was only ever deleted
    std::vector<std::string> outputMessages;
};

/// The one HostData of the process. It is there when the library is loaded, and before that for whoever asks while the
/// static objects of a program are being made.
HostData& hostData();

/// What the registry has in place of a record that was freed, so that a stale address is never followed.
extern VectorRecord deletedRecord;

/// Frees the values and the record.
void freeRecord(VectorRecord* record);

struct RecordDeleter {
    void operator()(VectorRecord* record) const { freeRecord(record); }
};

/// A record that is not yet anybody's.
using NewRecord = std::unique_ptr<VectorRecord, RecordDeleter>;

/// A record of copies, the values narrowed to float. Stops the process, in the name of AddVector, at a text that does
/// not fit. Throws std::bad_alloc, for a negative length too.
NewRecord makeRecord(const char* description, const char* units, const double* values, int length);

}  // namespace qormath::host
