#include <algorithm>
#include <cstdint>
#include <functional>

#include <qormath/core/detail/bounded_text.hpp>
#include <qormath/models/detail/fir_header.hpp>
#include <qormath/models/detail/fir_record.hpp>
#include <qormath/models/detail/fir_scan.hpp>
#include <qormath/models/fir_file.hpp>

namespace {

using namespace qormath::models;
using qormath::core::copyBounded;

bool isOpen(const FIRFileHandle* handle) {
    return handle != nullptr && handle->stream != nullptr;
}

bool isIndex(int index, int count) {
    return index >= 0 && index < count;
}

int openStream(FIRFileHandle* handle, const char* fileName, const char* mode) {
    if (handle != nullptr) {
        clearRecord(*handle);
    }
    if (fileName == nullptr) {
        return FIR_NO_FILE_NAME;
    }
    if (handle == nullptr) {
        return FIR_BAD_HANDLE;
    }
    handle->stream = std::fopen(fileName, mode);
    return handle->stream == nullptr ? FIR_OPEN_FAILED : FIR_OK;
}

// Name and descriptor between a handle and its user, who may want neither.
void copyTexts(const char* function, const char* name, const char* descriptor, char* nameTarget,
               char* descriptorTarget) {
    if (nameTarget != nullptr) {
        copyBounded(function, "the name", name, nameTarget, firTextSize);
    }
    if (descriptorTarget != nullptr) {
        copyBounded(function, "the descriptor", descriptor, descriptorTarget, firTextSize);
    }
}

template <class Value>
void copyValue(Value* target, Value value) {
    if (target != nullptr) {
        *target = value;
    }
}

int ensureScanned(FIRFileHandle* handle) {
    return handle->needsScan == 0 ? FIR_OK : firReadCurves(handle, nullptr, nullptr, nullptr);
}

}  // namespace

extern "C" {

int firOpenRead(FIRFileHandle* handle, const char* fileName) {
    int status = openStream(handle, fileName, "r");
    if (status == FIR_OK) {
        status = readHeader(*handle);
        if (status != FIR_OK) {
            firClose(handle);
        }
    }
    return status;
}

int firOpenWrite(FIRFileHandle* handle, const char* fileName) {
    const int status = openStream(handle, fileName, "w");
    if (status == FIR_OK) {
        handle->version = FIR_FILE_VERSION;
    }
    return status;
}

void firClose(FIRFileHandle* handle) {
    if (handle == nullptr) {
        return;
    }
    if (handle->stream != nullptr) {
        std::fclose(handle->stream);
    }
    freeRecord(*handle);
    clearRecord(*handle);
}

int firGetHeader(FIRFileHandle* handle, int* inputCount, int* outputCount, int* coefficientCount, int* horizonSeconds,
                 char* comment) {
    if (!isOpen(handle)) {
        return FIR_BAD_HANDLE;
    }
    copyValue(inputCount, handle->inputCount);
    copyValue(outputCount, handle->outputCount);
    copyValue(coefficientCount, handle->coefficientCount);
    copyValue(horizonSeconds, handle->horizonSeconds);
    if (comment != nullptr) {
        copyBounded("firGetHeader", "the comment", handle->comment != nullptr ? handle->comment : "", comment,
                    firCommentSize);
    }
    return FIR_OK;
}

int firGetValueCount(FIRFileHandle* handle, int* count) {
    if (!isOpen(handle)) {
        return FIR_BAD_HANDLE;
    }
    if (handle->valueCount < 0) {
        if (const int status = firReadCurves(handle, nullptr, nullptr, nullptr); status != FIR_OK) {
            return status;
        }
    }
    copyValue(count, handle->valueCount);
    return FIR_OK;
}

int firGetInput(FIRFileHandle* handle, int index, char* name, char* descriptor) {
    if (!isOpen(handle)) {
        return FIR_BAD_HANDLE;
    }
    if (!isIndex(index, handle->inputCount)) {
        return FIR_BAD_INDEX;
    }
    if (const int status = ensureScanned(handle); status != FIR_OK) {
        return status;
    }
    copyTexts("firGetInput", handle->inputNames[index], handle->inputDescriptors[index], name, descriptor);
    return FIR_OK;
}

int firGetOutput(FIRFileHandle* handle, int index, char* name, char* descriptor, int* ramp, int* curves) {
    if (!isOpen(handle)) {
        return FIR_BAD_HANDLE;
    }
    if (!isIndex(index, handle->outputCount)) {
        return FIR_BAD_INDEX;
    }
    if (const int status = ensureScanned(handle); status != FIR_OK) {
        return status;
    }
    copyTexts("firGetOutput", handle->outputNames[index], handle->outputDescriptors[index], name, descriptor);
    copyValue(ramp, handle->rampValues[index]);
    copyValue(curves, handle->curveCounts[index]);
    return FIR_OK;
}

int firReadCurves(FIRFileHandle* handle, int* offsets, float* data, double* gains) {
    if (!isOpen(handle) || handle->coefficientCount < 1) {
        return FIR_BAD_HANDLE;
    }
    const std::int64_t inputs = std::max(handle->inputCount, 0);
    const std::int64_t pairs = inputs * std::max(handle->outputCount, 0);
    if (offsets != nullptr) {
        std::fill_n(offsets, pairs, -1);
    }
    if (gains != nullptr) {
        std::fill_n(gains, pairs, 0.0);
    }
    const auto store = [&](const FIRScannedCurve& curve) {
        if (data != nullptr) {
            const std::size_t room = promisedValues(*handle, curve);
            std::copy_n(curve.values.begin(), room, data + curve.offset);
            if (room < curve.values.size()) {
                return FIR_COUNT_MISMATCH;
            }
        }
        const std::int64_t pair = inputs * curve.output + curve.input;
        if (offsets != nullptr) {
            offsets[pair] = curve.offset;
        }
        if (gains != nullptr) {
            gains[pair] = curve.gain;
        }
        return FIR_OK;
    };
    // By reference: a copy of it would be an allocation, outside of what turns a failure into a status.
    return scanBlocks(*handle, std::cref(store));
}

int firSetProgress(FIRFileHandle* handle, FIRProgressCallback callback) {
    if (!isOpen(handle)) {
        return FIR_BAD_HANDLE;
    }
    handle->progress = callback;
    return FIR_OK;
}

int firSetHeader(FIRFileHandle* handle, int inputCount, int outputCount, int coefficientCount, int horizonSeconds,
                 const char* comment) {
    if (!isOpen(handle)) {
        return FIR_BAD_HANDLE;
    }
    if (comment != nullptr) {
        if (!allocateComment(*handle)) {
            return FIR_NO_MEMORY;
        }
        copyBounded("firSetHeader", "the comment", comment, handle->comment, firCommentSize);
    }
    handle->coefficientCount = coefficientCount;
    handle->horizonSeconds = horizonSeconds;
    handle->inputCount = inputCount;
    handle->outputCount = outputCount;
    if (!allocateTables(*handle)) {
        handle->inputCount = 0;
        handle->outputCount = 0;
        return FIR_NO_MEMORY;
    }
    return FIR_OK;
}

int firSetInput(FIRFileHandle* handle, int index, const char* name, const char* descriptor) {
    if (!isOpen(handle)) {
        return FIR_BAD_HANDLE;
    }
    if (!isIndex(index, handle->inputCount)) {
        return FIR_BAD_INDEX;
    }
    if (name == nullptr) {
        return FIR_NO_NAME;
    }
    copyTexts("firSetInput", name, descriptor != nullptr ? descriptor : "", handle->inputNames[index],
              handle->inputDescriptors[index]);
    return FIR_OK;
}

int firSetOutput(FIRFileHandle* handle, int index, const char* name, const char* descriptor, int ramp) {
    if (!isOpen(handle)) {
        return FIR_BAD_HANDLE;
    }
    if (!isIndex(index, handle->outputCount)) {
        return FIR_BAD_INDEX;
    }
    if (name == nullptr) {
        return FIR_NO_NAME;
    }
    copyTexts("firSetOutput", name, descriptor != nullptr ? descriptor : "", handle->outputNames[index],
              handle->outputDescriptors[index]);
    handle->rampValues[index] = ramp;
    return FIR_OK;
}
}
