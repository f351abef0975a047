#include <algorithm>

#include <qormath/core/detail/bounded_text.hpp>
#include <qormath/host/detail/host_data.hpp>
#include <qormath/host/host_consumer.h>

namespace {

using namespace qormath::host;
using qormath::core::copyBounded;
using qormath::core::requirePointer;
using qormath::core::stopProcess;

const VectorRecord& vectorOf(const char* function, const char* key) {
    requirePointer(function, "the key", key);
    const auto& vectors = hostData().vectors;
    const auto found = vectors.find(key);
    if (found == vectors.end() || found->second == nullptr) {
        stopProcess(function, "there is no vector \"%.*s\"", keyShown, key);
    }
    if (found->second == &deletedRecord) {
        stopProcess(function, "the vector \"%.*s\" was deleted", keyShown, key);
    }
    return *found->second;
}

}  // namespace

extern "C" {

int GetNextCaseLine(char* destination, int destinationSize) {
    HostData& data = hostData();
    if (data.nextCaseLine >= data.caseLines.size()) {
        return 1;
    }
    copyBounded("GetNextCaseLine", "the line", data.caseLines[data.nextCaseLine].c_str(), destination,
                roomOf(destinationSize));
    ++data.nextCaseLine;
    return 0;
}

void GetVector(const char* key, int* length, char* description, char* units, float* values, int* status) {
    constexpr auto function = "GetVector";
    const VectorRecord& record = vectorOf(function, key);
    requirePointer(function, "the length", length);
    requirePointer(function, "the status", status);
    if (record.length > 0) {
        requirePointer(function, "the array of values", values);
    }
    copyBounded(function, "the description", record.description, description, consumerTextSize);
    copyBounded(function, "the text of units", record.units, units, consumerTextSize);
    *length = record.length;
    std::copy_n(record.values, record.length, values);
    *status = 0;
}

void AddOutputMessage(const char* text) {
    char message[outputMessageSize];
    copyBounded("AddOutputMessage", "the text", text, message, sizeof message);
    hostData().outputMessages.emplace_back(message);
}
}
