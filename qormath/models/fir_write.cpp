#include <algorithm>
#include <cstdint>
#include <cstring>
#include <limits>
#include <span>

#include <qormath/models/detail/fir_lines.hpp>
#include <qormath/models/detail/fir_record.hpp>
#include <qormath/models/detail/line_writer.hpp>
#include <qormath/models/fir_file.hpp>

namespace qormath::models {
namespace {

constexpr int integerWidth = 12;
constexpr int listCountWidth = 5;
constexpr int blankColumns = 20;
constexpr int reservedLines = 10;
constexpr std::size_t longestComment = 254;
constexpr double inputListValue = -999.0;
constexpr double outputListValue = -0.0;

class ModelWriter {
  public:
    ModelWriter(FIRFileHandle& file, FIRCurveCallback curves, void* curveContext)
        : handle(file), callback(curves), context(curveContext), writer(file.stream) {}

    int run();

  private:
    std::span<const double> curve(int output, int input) const;
    bool countValues();
    int writeHeader();
    int writeLists();
    int writeBlock(int output);
    int writeCurve(int output, int input);
    bool writeTexts(const char* name, const char* descriptor);

    FIRFileHandle& handle;
    const FIRCurveCallback callback;
    void* const context;
    LineWriter writer;
};

int ModelWriter::run() {
    int status = countValues() ? writeHeader() : FIR_HEADER_ERROR;
    if (status == FIR_OK) {
        status = writeLists();
    }
    for (int j = 0; status == FIR_OK && j < handle.outputCount; ++j) {
        status = writeBlock(j);
        if (status == FIR_OK && handle.progress != nullptr) {
            handle.progress(&handle, static_cast<float>(handle.inputCount) / static_cast<float>(handle.outputCount));
        }
    }
    if (!writer.flush() && status == FIR_OK) {
        const bool endsWithData = handle.inputCount > 0 && handle.outputCount > 0 && handle.coefficientCount > 0;
        status = endsWithData ? FIR_DATA_ERROR : FIR_HEADER_ERROR;
    }
    return status;
}

// Empty for an all-zero curve.
std::span<const double> ModelWriter::curve(int output, int input) const {
    const double* const values = callback(context, output, input);
    const int count = std::max(handle.coefficientCount, 0);
    return values == nullptr ? std::span<const double>{}
                             : std::span<const double>(values, static_cast<std::size_t>(count));
}

// False where there are more values than the header can number.
bool ModelWriter::countValues() {
    std::int64_t values = 0;
    for (int j = 0; j < handle.outputCount; ++j) {
        handle.curveCounts[j] = 0;
        for (int i = 0; i < handle.inputCount; ++i) {
            const std::span<const double> pair = curve(j, i);
            // A NaN counts as a value.
            if (std::any_of(pair.begin(), pair.end(), [](double value) { return value != 0.0; })) {
                values += handle.coefficientCount;
                ++handle.curveCounts[j];
            }
        }
    }
    if (values > std::numeric_limits<int>::max()) {
        return false;
    }
    handle.valueCount = static_cast<int>(values);
    return true;
}

int ModelWriter::writeHeader() {
    if (handle.comment == nullptr || std::strlen(handle.comment) > longestComment) {
        return FIR_HEADER_ERROR;
    }
    writer.text(handle.comment);
    bool written = writer.endLine();
    constexpr int extraComments = 0;
    for (const int value :
         {extraComments, handle.inputCount, handle.outputCount, handle.coefficientCount, handle.valueCount}) {
        writer.integer(value, integerWidth);
        written = writer.endLine() && written;
    }
    // The file holds the horizon in single precision.
    const auto minutes = static_cast<float>(handle.horizonSeconds / 60.0);
    for (const double value : {static_cast<double>(minutes), double{FIR_FILE_VERSION}}) {
        writer.fixed16(value);
        written = writer.endLine() && written;
    }
    return written ? FIR_OK : FIR_HEADER_ERROR;
}

bool ModelWriter::writeTexts(const char* name, const char* descriptor) {
    if (name == nullptr || descriptor == nullptr) {
        return false;
    }
    writer.name(name);
    writer.blanks(1);
    writer.name(descriptor);
    return true;
}

int ModelWriter::writeLists() {
    for (int i = 0; i < handle.inputCount; ++i) {
        writer.fixed16(inputListValue);
        writer.blanks(blankColumns);
        if (!writeTexts(handle.inputNames[i], handle.inputDescriptors[i]) || !writer.endLine()) {
            return FIR_HEADER_ERROR;
        }
    }
    for (int j = 0; j < handle.outputCount; ++j) {
        writer.fixed16(outputListValue);
        writer.blanks(blankColumns);
        if (!writeTexts(handle.outputNames[j], handle.outputDescriptors[j])) {
            return FIR_HEADER_ERROR;
        }
        for (const int value : {handle.rampValues[j], handle.curveCounts[j]}) {
            writer.blanks(1);
            writer.integer(value, listCountWidth);
        }
        if (!writer.endLine()) {
            return FIR_HEADER_ERROR;
        }
    }
    return FIR_OK;
}

int ModelWriter::writeBlock(int output) {
    if (!writeTexts(handle.outputNames[output], handle.outputDescriptors[output])) {
        return FIR_HEADER_ERROR;
    }
    writer.integer(handle.rampValues[output], listCountWidth);
    writer.zero14();
    bool written = writer.endLine();
    for (int k = 0; k < reservedLines; ++k) {
        writer.fixed16(0.0);
        written = writer.endLine() && written;
    }
    int status = written ? FIR_OK : FIR_HEADER_ERROR;
    for (int i = 0; status == FIR_OK && i < handle.inputCount; ++i) {
        status = writeCurve(output, i);
    }
    return status;
}

int ModelWriter::writeCurve(int output, int input) {
    const std::span<const double> values = curve(output, input);
    double gain = 0.0;
    if (!values.empty()) {
        gain = values.back();
        if (handle.rampValues[output] > 0 && values.size() > 1) {
            gain -= values[values.size() - 2];
        }
    }
    if (!writeTexts(handle.inputNames[input], handle.inputDescriptors[input])) {
        return FIR_HEADER_ERROR;
    }
    writer.blanks(blankColumns);
    writer.scientific24(gain);
    if (!writer.endLine()) {
        return FIR_HEADER_ERROR;
    }
    const auto count = static_cast<std::size_t>(std::max(handle.coefficientCount, 0));
    for (std::size_t k = 0; k < count; k += firValuesPerLine) {
        for (std::size_t column = k; column < k + firValuesPerLine; ++column) {
            writer.scientific15(column < values.size() ? values[column] : 0.0);
        }
        if (!writer.endLine()) {
            return FIR_DATA_ERROR;
        }
    }
    return FIR_OK;
}

}  // namespace
}  // namespace qormath::models

extern "C" int firWriteCurves(FIRFileHandle* handle, FIRCurveCallback callback, void* context) {
    if (handle == nullptr || handle->stream == nullptr) {
        return FIR_BAD_HANDLE;
    }
    if (callback == nullptr) {
        return FIR_NO_CALLBACK;
    }
    return qormath::models::ModelWriter(*handle, callback, context).run();
}
