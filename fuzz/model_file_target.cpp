// The model file reader on arbitrary bytes: every handle function after one another, then the model, which is written
// and read again as long as that is to give the same model.

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <fuzz/expect.hpp>
#include <fuzz/line_mutator.hpp>
#include <fuzz/memory_file.hpp>
#include <limits>
#include <vector>

#include <qormath/models/fir_file.hpp>
#include <qormath/models/lti_fir_model.hpp>

namespace {

using namespace qormath::fuzz;
using QorMathLA::Vector;

// Room for all pairs is the caller's to make; no caller makes more than this.
constexpr std::int64_t mostValues = 1 << 20;

void readByHandle(MemoryFile& file) {
    FIRFileHandle handle;
    const int opened = firOpenRead(&handle, file.name());
    expect((opened == FIR_OK) == (handle.stream != nullptr), "a stream stays open exactly after FIR_OK");
    if (opened != FIR_OK) {
        return;
    }
    char comment[256];
    expect(firGetHeader(&handle, nullptr, nullptr, nullptr, nullptr, comment) == FIR_OK, "an open file has a header");
    char name[13];
    char descriptor[13];
    int ramp = 0;
    int curves = 0;
    // Before the scan, which these start themselves where the names stand in the blocks.
    firGetInput(&handle, std::max(handle.inputCount, 1) - 1, name, descriptor);
    firGetOutput(&handle, std::max(handle.outputCount, 1) - 1, name, descriptor, &ramp, &curves);
    int values = 0;
    firGetValueCount(&handle, &values);
    const std::int64_t pairs = std::int64_t{std::max(handle.inputCount, 0)} * std::max(handle.outputCount, 0);
    const std::int64_t n = handle.coefficientCount;
    if (pairs <= mostValues && n >= 1 && n <= mostValues && pairs * n <= mostValues) {
        std::vector<int> offsets(static_cast<std::size_t>(pairs));
        std::vector<float> data(static_cast<std::size_t>(pairs * n));
        std::vector<double> gains(static_cast<std::size_t>(pairs));
        const int first = firReadCurves(&handle, offsets.data(), data.data(), gains.data());
        const int again = firReadCurves(&handle, offsets.data(), nullptr, nullptr);
        expect(first != FIR_OK || again == FIR_OK, "what has been read once is read twice");
    }
    firClose(&handle);
}

bool read(MemoryFile& file, LTIFIRModel& model) {
    return model.ReadModel(file.name());
}

bool sameBits(double a, double b) {
    return std::bit_cast<std::uint64_t>(a) == std::bit_cast<std::uint64_t>(b);
}

// The reader tells an all-zero curve from an absent one as little as the file does.
bool isZero(const Vector<double>& curve) {
    for (int k = 0; k < curve.size(); ++k) {
        if (curve[k] != 0.0) {
            return false;
        }
    }
    return true;
}

// A single precision number is what the file holds: a curve that vanishes in it is counted and not found.
bool vanishesInTheFile(const Vector<double>& curve) {
    for (int k = 0; k < curve.size(); ++k) {
        if (static_cast<float>(curve[k]) != 0.0F) {
            return false;
        }
    }
    return !isZero(curve);
}

bool isWritable(const LTIFIRModel& model) {
    const int n = model.coefficientCount;
    if (n < 30 || (n % 30 != 0 && n % 45 != 0 && n % 75 != 0 && n % 105 != 0)) {
        return false;
    }
    for (int j = 0; j < model.coefficients.cols(); ++j) {
        for (int i = 0; i < model.coefficients.rows(); ++i) {
            if (vanishesInTheFile(model.coefficients(i, j))) {
                return false;
            }
        }
    }
    return true;
}

// The same seven digits. A float just above a power of ten rounds to it from above, and what is printed then may be
// read as a float just below, which rounds to it from below: products of other powers, which differ in the last place.
// From the second reading on nothing moves.
bool hasSameDigits(double a, double b) {
    constexpr double lastPlaces = 4.0 * std::numeric_limits<double>::epsilon();
    return sameBits(a, b) || std::fabs(a - b) <= lastPlaces * std::fabs(a);
}

// The last coefficient is rebuilt from the gain, which has sixteen digits and not the seventeen of a double; of a ramp
// the gain is a difference besides.
bool isSameLast(const Vector<double>& a, const Vector<double>& b, bool isRamp) {
    const int last = a.size() - 1;
    if (sameBits(a[last], b[last]) || (std::isnan(a[last]) && std::isnan(b[last]))) {
        return true;
    }
    if (!std::isfinite(a[last]) || (isRamp && !std::isfinite(a[last - 1]))) {
        return isRamp;
    }
    constexpr double sixteenDigits = 1e-15;
    const double size = std::fabs(a[last]) + (isRamp ? std::fabs(a[last - 1]) : 0.0);
    return std::fabs(a[last] - b[last]) <= sixteenDigits * size + std::numeric_limits<double>::denorm_min();
}

void expectSame(const LTIFIRModel& a, const LTIFIRModel& b) {
    expect(a.coefficientCount == b.coefficientCount, "the coefficient count comes back");
    // Minutes in single precision hold the seconds of twenty-four bits and their rounding.
    constexpr int longestExactHorizon = 4000000;
    const bool exact = a.horizonSeconds >= 0 && a.horizonSeconds <= longestExactHorizon;
    expect(!exact || a.horizonSeconds == b.horizonSeconds, "the horizon comes back");
    expect(a.coefficients.rows() == b.coefficients.rows() && a.coefficients.cols() == b.coefficients.cols(),
           "the shape comes back");
    for (int i = 0; i < a.coefficients.rows(); ++i) {
        expect(a.inputNames[i] == b.inputNames[i] && a.inputDescriptors[i] == b.inputDescriptors[i],
               "the texts of the inputs come back");
    }
    for (int j = 0; j < a.coefficients.cols(); ++j) {
        expect(a.outputNames[j] == b.outputNames[j] && a.outputDescriptors[j] == b.outputDescriptors[j],
               "the texts of the outputs come back");
        expect(a.rampFlags[j] == b.rampFlags[j], "the ramps come back");
        for (int i = 0; i < a.coefficients.rows(); ++i) {
            const Vector<double>& before = a.coefficients(i, j);
            const Vector<double>& after = b.coefficients(i, j);
            expect(isZero(before) == (after.size() == 0), "a curve comes back exactly if it is not all zero");
            for (int k = 0; k < after.size() - 1; ++k) {
                expect(hasSameDigits(before[k], after[k]), "the coefficients come back in their seven digits");
            }
            expect(after.size() == 0 || isSameLast(before, after, a.rampFlags[j]), "the last coefficient comes back");
        }
    }
}

bool hasRamp(const LTIFIRModel& model) {
    for (int j = 0; j < model.rampFlags.size(); ++j) {
        if (model.rampFlags[j]) {
            return true;
        }
    }
    return false;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    MemoryFile file;
    file.set(bytes, size);
    readByHandle(file);
    LTIFIRModel model;
    if (!read(file, model) || !isWritable(model)) {
        return 0;
    }
    MemoryFile written;
    expect(model.WriteModel(written.name()), "what was read can be written");
    LTIFIRModel again;
    expect(read(written, again), "what was written can be read");
    expectSame(model, again);
    if (hasRamp(again) || !isWritable(again)) {
        return 0;
    }
    MemoryFile rewritten;
    expect(again.WriteModel(rewritten.name()), "what was read can be written again");
    LTIFIRModel once;
    expect(read(rewritten, once) && once.WriteModel(file.name()), "and read and written once more");
    const bool exact = model.horizonSeconds >= 0 && model.horizonSeconds <= 4000000;
    expect(!exact || rewritten.text() == file.text(),
           "read, write, read is a fixed point: the files are the same bytes");
    return 0;
}
