#include <algorithm>
#include <limits>
#include <new>

#include <qormath/core/detail/bounded_text.hpp>
#include <qormath/host/detail/host_data.hpp>

namespace qormath::host {
namespace {

static_assert(std::numeric_limits<float>::is_iec559, "a double beyond the range of float has to become infinite");

// Made at load, so that no first call of a host is different from the others.
[[maybe_unused]] const HostData& madeAtLoad = hostData();

}  // namespace

VectorRecord deletedRecord{};

HostData& hostData() {
    static HostData data;
    return data;
}

void freeRecord(VectorRecord* record) {
    delete[] record->values;
    delete record;
}

NewRecord makeRecord(const char* description, const char* units, const double* values, int length) {
    constexpr auto function = "AddVector";
    if (length < 0) {
        throw std::bad_array_new_length();
    }
    NewRecord record(new VectorRecord{});
    record->values = new float[static_cast<std::size_t>(length)];
    record->length = length;
    if (length > 0) {
        core::requirePointer(function, "the array of values", values);
        std::transform(values, values + length, record->values, [](double value) { return static_cast<float>(value); });
    }
    core::copyBounded(function, "the description", description, record->description, descriptionSize);
    core::copyBounded(function, "the text of units", units, record->units, unitsSize);
    return record;
}

}  // namespace qormath::host
