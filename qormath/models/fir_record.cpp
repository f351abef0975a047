#include <cstdlib>

#include <qormath/models/detail/fir_record.hpp>

namespace qormath::models {
namespace {

void freeTexts(char**& table) {
    std::free(table);
    table = nullptr;
}

// The pointers and the texts they point to are one allocation.
char** allocateTexts(int count) {
    const auto size = static_cast<std::size_t>(count);
    void* const memory = std::calloc(size, sizeof(char*) + firTextSize);
    if (memory == nullptr) {
        return nullptr;
    }
    char** const table = static_cast<char**>(memory);
    char* const texts = static_cast<char*>(memory) + size * sizeof(char*);
    for (std::size_t i = 0; i < size; ++i) {
        table[i] = texts + i * firTextSize;
    }
    return table;
}

int* allocateIntegers(int count) {
    return static_cast<int*>(std::calloc(static_cast<std::size_t>(count), sizeof(int)));
}

void freeTables(FIRFileHandle& handle) {
    freeTexts(handle.inputNames);
    freeTexts(handle.inputDescriptors);
    freeTexts(handle.outputNames);
    freeTexts(handle.outputDescriptors);
    std::free(handle.rampValues);
    std::free(handle.curveCounts);
    handle.rampValues = nullptr;
    handle.curveCounts = nullptr;
}

}  // namespace

void clearRecord(FIRFileHandle& handle) {
    handle = FIRFileHandle{};
    handle.version = firUnknownVersion;
    handle.needsScan = 1;
}

void freeRecord(FIRFileHandle& handle) {
    std::free(handle.comment);
    handle.comment = nullptr;
    freeTables(handle);
}

bool allocateTables(FIRFileHandle& handle) {
    freeTables(handle);
    bool complete = true;
    if (handle.inputCount > 0) {
        handle.inputNames = allocateTexts(handle.inputCount);
        handle.inputDescriptors = allocateTexts(handle.inputCount);
        complete = handle.inputNames != nullptr && handle.inputDescriptors != nullptr;
    }
    if (complete && handle.outputCount > 0) {
        handle.outputNames = allocateTexts(handle.outputCount);
        handle.outputDescriptors = allocateTexts(handle.outputCount);
        handle.rampValues = allocateIntegers(handle.outputCount);
        handle.curveCounts = allocateIntegers(handle.outputCount);
        complete = handle.outputNames != nullptr && handle.outputDescriptors != nullptr &&
                   handle.rampValues != nullptr && handle.curveCounts != nullptr;
    }
    if (!complete) {
        freeTables(handle);
    }
    return complete;
}

bool allocateComment(FIRFileHandle& handle) {
    if (handle.comment == nullptr) {
        handle.comment = static_cast<char*>(std::calloc(firCommentSize, 1));
    }
    return handle.comment != nullptr;
}

}  // namespace qormath::models
