#include <cstring>

#include <qormath/core/detail/bounded_text.hpp>
#include <qormath/host/detail/host_data.hpp>
#include <qormath/host/host_api.h>

namespace {

using namespace qormath::host;
using qormath::core::copyBounded;
using qormath::core::requirePointer;
using qormath::core::stopProcess;

static_assert(sizeof(long long) == 8, "the number of output messages is 64 bits wide on every host");

}  // namespace

extern "C" {

void InitializeDMI() {
    HostData& data = hostData();
    data.nextCaseLine = 0;
    data.caseLines.clear();
    data.vectors.clear();
}

int DMI_Initialize(void* block) {
    requirePointer("DMI_Initialize", "the block", block);
    std::memset(block, 0, hostBlockSize);
    return 0;
}

void DMI_Parameter() {}

void AddCaseLine(const char* text) {
    requirePointer("AddCaseLine", "the text", text);
    hostData().caseLines.emplace_back(text);
}

void AddVector(const char* key, const char* description, const char* units, const double* values, int length) {
    requirePointer("AddVector", "the key", key);
    NewRecord record = makeRecord(description, units, values, length);
    VectorRecord*& place = hostData().vectors[key];
    place = record.release();
}

void DeleteVector(const char* key) {
    requirePointer("DeleteVector", "the key", key);
    VectorRecord*& record = hostData().vectors[key];
    if (record == &deletedRecord) {
        stopProcess("DeleteVector", "the vector \"%.*s\" was deleted before", keyShown, key);
    }
    if (record != nullptr) {
        freeRecord(record);
        record = &deletedRecord;
    }
}

void API_InitializeOutputMessages() {
    hostData().outputMessages.clear();
}

long long API_GetNumberOfOutputMessages() {
    return static_cast<long long>(hostData().outputMessages.size());
}

int API_GetOutputMessage(char* destination, int destinationSize, int index) {
    const auto& messages = hostData().outputMessages;
    if (index < 0 || static_cast<std::size_t>(index) >= messages.size()) {
        stopProcess("API_GetOutputMessage", "there is no message %d, there are %zu", index, messages.size());
    }
    copyBounded("API_GetOutputMessage", "the message", messages[static_cast<std::size_t>(index)].c_str(), destination,
                roomOf(destinationSize));
    return 0;
}
}
