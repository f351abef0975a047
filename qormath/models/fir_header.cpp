#include <algorithm>
#include <cstdint>
#include <cstring>
#include <new>
#include <vector>

#include <qormath/models/detail/fir_header.hpp>
#include <qormath/models/detail/fir_lines.hpp>
#include <qormath/models/detail/fir_record.hpp>

namespace qormath::models {
namespace {

bool nextInteger(LineReader& reader, int& value) {
    std::string_view line;
    return reader.next(line) && parseInteger(line, value);
}

bool nextFloat(LineReader& reader, float& value) {
    std::string_view line;
    return reader.next(line) && parseFloat(line, value);
}

// Cuts off the fraction. False where the rest does not fit an int; NaN fits nothing.
bool truncate(float value, int& integer) {
    constexpr float limit = 2147483648.0F;
    if (!(value >= -limit && value < limit)) {
        return false;
    }
    integer = static_cast<int>(value);
    return true;
}

bool readComment(FIRFileHandle& handle, LineReader& reader) {
    std::string_view line;
    if (!reader.next(line)) {
        return false;
    }
    const std::string_view kept = trimToGraphic(line);
    std::memcpy(handle.comment, kept.data(), kept.size());
    handle.comment[kept.size()] = '\0';
    return true;
}

bool skipExtraComments(LineReader& reader) {
    int extraLines = 0;
    return nextInteger(reader, extraLines) && reader.skip(extraLines);
}

bool readNumbers(FIRFileHandle& handle, LineReader& reader) {
    float minutes = 0.0F;
    float version = 0.0F;
    if (!nextInteger(reader, handle.inputCount) || !nextInteger(reader, handle.outputCount) ||
        !nextInteger(reader, handle.coefficientCount) || !nextInteger(reader, handle.valueCount) ||
        !nextFloat(reader, minutes) || !truncate(minutes * 60.0F + 0.5F, handle.horizonSeconds) ||
        !nextFloat(reader, version) || !truncate(version + 0.5F, handle.version)) {
        return false;
    }
    if (handle.version != FIR_FILE_VERSION) {
        handle.valueCount = -1;
    }
    return true;
}

struct OutputEntry {
    FIRTexts texts;
    int ramp = 0;
    int curves = 0;
};

void store(const FIRTexts& texts, char* name, char* descriptor) {
    std::memcpy(name, texts.name.data(), firTextSize);
    std::memcpy(descriptor, texts.descriptor.data(), firTextSize);
}

bool readInputList(int count, LineReader& reader, std::vector<FIRTexts>& inputs) {
    std::string_view line;
    for (int i = 0; i < count; ++i) {
        if (!reader.next(line) || !parseInputLine(line, inputs.emplace_back())) {
            return false;
        }
    }
    return true;
}

bool readOutputList(int count, LineReader& reader, std::vector<OutputEntry>& outputs) {
    std::string_view line;
    for (int j = 0; j < count; ++j) {
        OutputEntry& output = outputs.emplace_back();
        if (!reader.next(line) || !parseOutputLine(line, output.texts, output.ramp, output.curves)) {
            return false;
        }
    }
    return true;
}

// Whether coefficients * curves == values, for any values: the product itself need not fit 64 bits.
bool agrees(int coefficients, std::int64_t curves, int values) {
    if (coefficients == 0) {
        return values == 0;
    }
    return std::int64_t{values} % coefficients == 0 && std::int64_t{values} / coefficients == curves;
}

// The tables are made after the lines have been read, so that their size is that of a list which is really there.
int readLists(FIRFileHandle& handle, LineReader& reader) {
    std::vector<FIRTexts> inputs;
    std::vector<OutputEntry> outputs;
    if (!readInputList(handle.inputCount, reader, inputs) || !readOutputList(handle.outputCount, reader, outputs)) {
        return FIR_HEADER_ERROR;
    }
    if (!allocateTables(handle)) {
        return FIR_NO_MEMORY;
    }
    for (std::size_t i = 0; i < inputs.size(); ++i) {
        store(inputs[i], handle.inputNames[i], handle.inputDescriptors[i]);
    }
    std::int64_t curves = 0;
    for (std::size_t j = 0; j < outputs.size(); ++j) {
        store(outputs[j].texts, handle.outputNames[j], handle.outputDescriptors[j]);
        handle.rampValues[j] = outputs[j].ramp;
        handle.curveCounts[j] = outputs[j].curves;
        curves += outputs[j].curves;
    }
    const bool counted =
        outputs.empty() ? handle.valueCount == 0 : agrees(handle.coefficientCount, curves, handle.valueCount);
    if (!counted) {
        return FIR_COUNT_MISMATCH;
    }
    handle.needsScan = 0;
    return FIR_OK;
}

// A negative count has no lines. It must not make up for lines that a hostile other count claims.
std::int64_t listLines(const FIRFileHandle& handle) {
    return std::int64_t{std::max(handle.inputCount, 0)} + std::max(handle.outputCount, 0);
}

// In other versions the lists are passed over: the blocks hold the names.
int skipLists(FIRFileHandle& handle, LineReader& reader) {
    if (!reader.skip(listLines(handle))) {
        return FIR_HEADER_ERROR;
    }
    return allocateTables(handle) ? FIR_OK : FIR_NO_MEMORY;
}

}  // namespace

int readHeader(FIRFileHandle& handle) {
    LineReader reader(handle.stream);
    if (!allocateComment(handle)) {
        return FIR_NO_MEMORY;
    }
    if (!readComment(handle, reader) || !skipExtraComments(reader) || !readNumbers(handle, reader)) {
        return FIR_HEADER_ERROR;
    }
    try {
        return handle.version == FIR_FILE_VERSION ? readLists(handle, reader) : skipLists(handle, reader);
    } catch (const std::bad_alloc&) {
        return FIR_NO_MEMORY;
    }
}

int skipHeader(const FIRFileHandle& handle, LineReader& reader) {
    constexpr int numberLines = 6;
    const bool passed =
        reader.skip(1) && skipExtraComments(reader) && reader.skip(numberLines) && reader.skip(listLines(handle));
    return passed ? FIR_OK : FIR_HEADER_ERROR;
}

}  // namespace qormath::models
