#include <algorithm>
#include <cstdint>
#include <cstring>
#include <limits>
#include <new>
#include <vector>

#include <qormath/models/detail/fir_header.hpp>
#include <qormath/models/detail/fir_lines.hpp>
#include <qormath/models/detail/fir_record.hpp>
#include <qormath/models/detail/fir_scan.hpp>
#include <qormath/models/detail/round7.hpp>

namespace qormath::models {
namespace {

constexpr int reservedLines = 10;

class BlockScan {
  public:
    BlockScan(FIRFileHandle& file, const FIRCurveSink& target)
        : handle(file), sink(target), reader(file.stream), counted(file.version == FIR_FILE_VERSION) {}

    int run();

  private:
    int scanAll();
    int scanOutput(int output);
    int readBlockHeader(int output);
    int scanCurve(int output, int input, int& curves);
    int readCurveHeader(int input, double& gain);
    int readValues();
    double derivedGain(int output) const;

    FIRFileHandle& handle;
    const FIRCurveSink& sink;
    LineReader reader;
    const bool counted;
    // Grows with the lines that are read: the coefficient count of a damaged file may be anything.
    std::vector<float> values;
    std::int64_t found = 0;
    bool stopped = false;
};

int BlockScan::run() {
    int status = scanAll();
    if (stopped) {
        return status;
    }
    if (counted && handle.valueCount != found) {
        status = FIR_COUNT_MISMATCH;
    }
    handle.valueCount = static_cast<int>(found);
    handle.needsScan = 0;
    return status;
}

int BlockScan::scanAll() {
    if (!counted && handle.curveCounts != nullptr) {
        // An earlier scan has counted the same curves.
        std::fill_n(handle.curveCounts, std::max(handle.outputCount, 0), 0);
    }
    int status = skipHeader(handle, reader);
    for (int j = 0; status == FIR_OK && j < handle.outputCount; ++j) {
        status = scanOutput(j);
        if (status == FIR_OK && handle.progress != nullptr) {
            handle.progress(&handle, static_cast<float>(j) / static_cast<float>(handle.outputCount));
        }
    }
    return status;
}

int BlockScan::scanOutput(int output) {
    int status = readBlockHeader(output);
    int curves = 0;
    for (int i = 0; status == FIR_OK && i < handle.inputCount; ++i) {
        status = scanCurve(output, i, curves);
    }
    if (status != FIR_OK) {
        return status;
    }
    if (!counted) {
        return FIR_OK;
    }
    stopped = curves != handle.curveCounts[output];
    return stopped ? FIR_COUNT_MISMATCH : FIR_OK;
}

int BlockScan::readBlockHeader(int output) {
    std::string_view line;
    if (!reader.next(line)) {
        return FIR_OUTPUT_BLOCK_ERROR;
    }
    if (!counted) {
        FIRTexts texts;
        if (!parseBlockLine(line, texts, handle.rampValues[output])) {
            return FIR_OUTPUT_BLOCK_ERROR;
        }
        std::memcpy(handle.outputNames[output], texts.name.data(), firTextSize);
        std::memcpy(handle.outputDescriptors[output], texts.descriptor.data(), firTextSize);
    }
    return reader.skip(reservedLines) ? FIR_OK : FIR_OUTPUT_BLOCK_ERROR;
}

int BlockScan::readCurveHeader(int input, double& gain) {
    std::string_view line;
    if (!reader.next(line)) {
        return FIR_INPUT_BLOCK_ERROR;
    }
    if (counted) {
        return parseGainLine(line, gain) ? FIR_OK : FIR_OUTPUT_BLOCK_ERROR;
    }
    FIRTexts texts;
    if (!parseCurveNameLine(line, texts)) {
        return FIR_INPUT_BLOCK_ERROR;
    }
    std::memcpy(handle.inputNames[input], texts.name.data(), firTextSize);
    std::memcpy(handle.inputDescriptors[input], texts.descriptor.data(), firTextSize);
    return FIR_OK;
}

int BlockScan::readValues() {
    const auto wanted = static_cast<std::size_t>(handle.coefficientCount);
    std::string_view line;
    for (std::size_t k = 0; k < wanted; k += firValuesPerLine) {
        if (k + firValuesPerLine > values.size()) {
            values.resize(k + firValuesPerLine);
        }
        // Nearly every line stands in the columns that are written, and needs no search for its end.
        const char* const text = reader.peek(firDataLineLength + 1);
        if (text != nullptr && parseFixedDataLine(text, values.data() + k)) {
            reader.pass(firDataLineLength + 1);
            continue;
        }
        if (!reader.next(line) || !parseDataLine(line, values.data() + k)) {
            return FIR_DATA_ERROR;
        }
    }
    return FIR_OK;
}

double BlockScan::derivedGain(int output) const {
    const auto count = static_cast<std::size_t>(handle.coefficientCount);
    const double last = firRound7(static_cast<double>(values[count - 1]));
    if (handle.rampValues[output] == 0) {
        return last;
    }
    // Before a single coefficient stands the start of the curve, which is 0.
    const double before = count > 1 ? firRound7(static_cast<double>(values[count - 2])) : 0.0;
    return last - before;
}

int BlockScan::scanCurve(int output, int input, int& curves) {
    double gain = 0.0;
    if (const int status = readCurveHeader(input, gain); status != FIR_OK) {
        return status;
    }
    if (const int status = readValues(); status != FIR_OK) {
        return status;
    }
    const std::span<const float> curve(values.data(), static_cast<std::size_t>(handle.coefficientCount));
    // A NaN is not zero.
    if (std::all_of(curve.begin(), curve.end(), [](float value) { return value == 0.0F; })) {
        return FIR_OK;
    }
    if (found + handle.coefficientCount > std::numeric_limits<int>::max()) {
        // Offsets and value count are ints; the data go beyond what they can number.
        return FIR_DATA_ERROR;
    }
    if (!counted) {
        gain = derivedGain(output);
    }
    const int status = sink({output, input, static_cast<int>(found), gain, curve});
    if (status != FIR_OK) {
        stopped = true;
        return status;
    }
    found += handle.coefficientCount;
    ++(counted ? curves : handle.curveCounts[output]);
    return FIR_OK;
}

}  // namespace

int scanBlocks(FIRFileHandle& handle, const FIRCurveSink& sink) {
    if (handle.coefficientCount < 1) {
        return FIR_BAD_HANDLE;
    }
    try {
        return BlockScan(handle, sink).run();
    } catch (const std::bad_alloc&) {
        return FIR_NO_MEMORY;
    }
}

std::size_t promisedValues(const FIRFileHandle& handle, const FIRScannedCurve& curve) {
    if (handle.version != FIR_FILE_VERSION) {
        return curve.values.size();
    }
    return std::min(curve.values.size(), static_cast<std::size_t>(std::max(handle.valueCount - curve.offset, 0)));
}

}  // namespace qormath::models
