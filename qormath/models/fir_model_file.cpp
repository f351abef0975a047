#include <cstdint>
#include <deque>
#include <limits>
#include <new>
#include <string>
#include <utility>

#include <qormath/models/detail/fir_record.hpp>
#include <qormath/models/detail/fir_scan.hpp>
#include <qormath/models/detail/round7.hpp>
#include <qormath/models/fir_file.hpp>
#include <qormath/models/lti_fir_model.hpp>

using QorMathLA::Matrix;
using QorMathLA::Vector;

namespace {

using namespace qormath::models;

// Closes the handle on every path out of a member, exceptions included.
class OpenFile {
  public:
    OpenFile() { clearRecord(handle); }
    OpenFile(const OpenFile&) = delete;
    OpenFile& operator=(const OpenFile&) = delete;
    ~OpenFile() { firClose(&handle); }

    // Closes the stream and tells whether the system has taken everything, which firClose keeps to itself.
    bool closeStream() {
        std::FILE* const stream = std::exchange(handle.stream, nullptr);
        return std::fclose(stream) == 0;
    }

    FIRFileHandle handle;
};

struct StoredCurve {
    int output = 0;
    int input = 0;
    Vector<double> values;
};

// The last coefficient comes from the gain, which has more digits in the file than the curve.
Vector<double> makeCurve(const FIRScannedCurve& scanned, bool isRamp) {
    const int count = static_cast<int>(scanned.values.size());
    Vector<double> curve(count + 1);
    double* const elements = curve.numericData();
    elements[0] = 0.0;
    firRound7(count - 1, scanned.values.data(), elements + 1);
    elements[count] = isRamp ? scanned.gain + elements[count - 1] : scanned.gain;
    return curve;
}

// The curves of a file that are not all zero. They are collected as they come: a table of all pairs would have the
// size that the file claims, not the size that it has.
using StoredCurves = std::deque<StoredCurve>;

int readStoredCurves(FIRFileHandle& handle, StoredCurves& stored) {
    bool exhausted = false;
    const int status = scanBlocks(handle, [&](const FIRScannedCurve& curve) {
        if (promisedValues(handle, curve) < curve.values.size()) {
            return FIR_COUNT_MISMATCH;
        }
        if (handle.coefficientCount == std::numeric_limits<int>::max()) {
            return FIR_DATA_ERROR;  // no vector has room for the element before the first coefficient
        }
        try {
            stored.push_back({curve.output, curve.input, makeCurve(curve, handle.rampValues[curve.output] > 0)});
        } catch (const std::bad_alloc&) {
            exhausted = true;
            return FIR_NO_MEMORY;
        }
        return FIR_OK;
    });
    if (exhausted) {
        throw std::bad_alloc();  // the scan reports its own by a status, the model its own by this
    }
    return status;
}

bool readInputs(FIRFileHandle& handle, LTIFIRModel& model) {
    char name[firTextSize];
    char descriptor[firTextSize];
    for (int i = 0; i < handle.inputCount; ++i) {
        if (firGetInput(&handle, i, name, descriptor) != FIR_OK) {
            return false;
        }
        model.inputNames[i] = name;
        model.inputDescriptors[i] = descriptor;
    }
    return true;
}

bool readOutputs(FIRFileHandle& handle, LTIFIRModel& model) {
    char name[firTextSize];
    char descriptor[firTextSize];
    for (int j = 0; j < handle.outputCount; ++j) {
        int ramp = 0;
        if (firGetOutput(&handle, j, name, descriptor, &ramp, nullptr) != FIR_OK) {
            return false;
        }
        model.outputNames[j] = name;
        model.outputDescriptors[j] = descriptor;
        model.rampFlags[j] = ramp > 0;
    }
    return true;
}

// The sizes of the data lines, as five numbers stand on a line, and of what a realisation is used with.
bool isWritableCount(int count) {
    constexpr int least = 30;
    return count >= least && (count % 30 == 0 || count % 45 == 0 || count % 75 == 0 || count % 105 == 0);
}

int setTexts(FIRFileHandle& handle, const LTIFIRModel& model) {
    int status = FIR_OK;
    for (int j = 0; status == FIR_OK && j < handle.outputCount; ++j) {
        status = firSetOutput(&handle, j, model.outputNames[j].c_str(), model.outputDescriptors[j].c_str(),
                              model.rampFlags[j] ? 1 : 0);
    }
    for (int i = 0; status == FIR_OK && i < handle.inputCount; ++i) {
        status = firSetInput(&handle, i, model.inputNames[i].c_str(), model.inputDescriptors[i].c_str());
    }
    return status;
}

}  // namespace

bool LTIFIRModel::ReadModel(char* fileName) {
    OpenFile file;
    FIRFileHandle& handle = file.handle;
    int inputs = 0;
    int outputs = 0;
    if (firOpenRead(&handle, fileName) != FIR_OK ||
        firGetHeader(&handle, &inputs, &outputs, &coefficientCount, &horizonSeconds, nullptr) != FIR_OK) {
        return false;
    }
    if (inputs < 0 || outputs < 0) {
        return false;
    }
    rampFlags = Vector<bool>(outputs);
    rampFlags.fill(false);
    inputNames = Vector<std::string>(inputs);
    inputDescriptors = Vector<std::string>(inputs);
    outputNames = Vector<std::string>(outputs);
    outputDescriptors = Vector<std::string>(outputs);
    StoredCurves stored;
    if (readStoredCurves(handle, stored) != FIR_OK || !readInputs(handle, *this) || !readOutputs(handle, *this)) {
        return false;
    }
    // What fits a file need not fit the containers, whose sizes are ints.
    if (std::int64_t{inputs} * outputs > std::numeric_limits<int>::max()) {
        return false;
    }
    coefficients = Matrix<Vector<double>>(inputs, outputs);
    for (StoredCurve& curve : stored) {
        coefficients(curve.input, curve.output) = std::move(curve.values);
    }
    return true;
}

bool LTIFIRModel::WriteModel(char* fileName) {
    if (!isWritableCount(coefficientCount)) {
        throw -1;
    }
    OpenFile file;
    FIRFileHandle& handle = file.handle;
    if (firOpenWrite(&handle, fileName) != FIR_OK ||
        firSetHeader(&handle, coefficients.rows(), coefficients.cols(), coefficientCount, horizonSeconds,
                     "No comment") != FIR_OK ||
        setTexts(handle, *this) != FIR_OK) {
        return false;
    }
    const bool written = firWriteCurves(&handle, GetCoeffPointer, this) == FIR_OK;
    return file.closeStream() && written;
}
