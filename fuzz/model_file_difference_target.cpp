// The model file reader against the plain one: the same statuses, the same counts and texts, the same numbers bit by
// bit, by the handle functions and in the model.

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <fuzz/expect.hpp>
#include <fuzz/line_mutator.hpp>
#include <fuzz/memory_file.hpp>
#include <fuzz/plain_fir_reader.hpp>
#include <vector>

#include <qormath/models/fir_file.hpp>
#include <qormath/models/lti_fir_model.hpp>

namespace {

using namespace qormath::fuzz;
using qormath::test::PlainCurve;
using qormath::test::PlainFIRFile;
using qormath::test::PlainVariable;
using QorMathLA::Vector;

// Room for all pairs is the caller's to make; no caller makes more than this.
constexpr std::int64_t mostValues = 1 << 20;

template <class Real>
bool sameBits(Real a, Real b) {
    return std::memcmp(&a, &b, sizeof a) == 0;
}

// What sign a NaN of arithmetic has is nobody's promise.
bool sameResult(double a, double b) {
    return sameBits(a, b) || (std::isnan(a) && std::isnan(b));
}

void compareHeader(FIRFileHandle& handle, const PlainFIRFile& plain) {
    int inputs = 0;
    int outputs = 0;
    int coefficients = 0;
    int horizon = 0;
    char comment[256];
    expect(firGetHeader(&handle, &inputs, &outputs, &coefficients, &horizon, comment) == FIR_OK, "an open file");
    expect(inputs == plain.inputCount && outputs == plain.outputCount, "the counts agree");
    expect(coefficients == plain.coefficientCount, "the coefficient counts agree");
    expect(horizon == plain.horizonSeconds && handle.version == plain.version, "horizon and version agree");
    expect(comment == plain.comment, "the comments agree");
}

void compareTexts(FIRFileHandle& handle, const PlainFIRFile& plain) {
    for (std::size_t i = 0; i < plain.inputs.size(); ++i) {
        expect(handle.inputNames[i] == plain.inputs[i].name, "the names of the inputs agree");
        expect(handle.inputDescriptors[i] == plain.inputs[i].descriptor, "the descriptors of the inputs agree");
    }
    for (std::size_t j = 0; j < plain.outputs.size(); ++j) {
        expect(handle.outputNames[j] == plain.outputs[j].name, "the names of the outputs agree");
        expect(handle.outputDescriptors[j] == plain.outputs[j].descriptor, "the descriptors of the outputs agree");
        expect(handle.rampValues[j] == plain.outputs[j].ramp, "the ramp values agree");
        expect(handle.curveCounts[j] == plain.curveCounts[j], "the curve counts agree");
    }
}

void compareCurves(FIRFileHandle& handle, const PlainFIRFile& plain) {
    const std::int64_t pairs = std::int64_t{std::max(handle.inputCount, 0)} * std::max(handle.outputCount, 0);
    const std::int64_t n = handle.coefficientCount;
    if (pairs > mostValues || n > mostValues || pairs * n > mostValues) {
        return;
    }
    std::vector<int> offsets(static_cast<std::size_t>(pairs), 7);
    std::vector<float> data(static_cast<std::size_t>(std::max<std::int64_t>(pairs * n, 0)));
    std::vector<double> gains(static_cast<std::size_t>(pairs), 7.0);
    const int status = firReadCurves(&handle, offsets.data(), data.data(), gains.data());
    expect(status == plain.scanStatus, "the statuses of the scan agree");
    if (status == FIR_BAD_HANDLE) {
        return;
    }
    expect(handle.valueCount == plain.valueCount, "the value counts agree");
    expect((handle.needsScan != 0) == plain.needsScan, "both have scanned");
    compareTexts(handle, plain);
    for (const PlainCurve& curve : plain.curves) {
        const std::size_t pair = static_cast<std::size_t>(handle.inputCount) * curve.output + curve.input;
        expect(offsets[pair] == curve.offset, "the offsets agree");
        expect(sameResult(gains[pair], curve.gain), "the gains agree bit by bit");
        offsets[pair] = -1;
        gains[pair] = 0.0;
    }
    expect(std::all_of(offsets.begin(), offsets.end(), [](int offset) { return offset == -1; }), "no other curve");
    expect(std::all_of(gains.begin(), gains.end(), [](double gain) { return gain == 0.0; }), "no other gain");
    for (std::size_t k = 0; k < plain.data.size(); ++k) {
        expect(sameBits(data[k], plain.data[k]), "the coefficients agree bit by bit");
    }
}

void compareModel(const LTIFIRModel& model, const PlainFIRFile& plain) {
    expect(model.coefficientCount == plain.coefficientCount, "the coefficient count of the model");
    expect(model.horizonSeconds == plain.horizonSeconds, "the horizon of the model");
    expect(model.coefficients.rows() == plain.inputCount && model.coefficients.cols() == plain.outputCount,
           "the shape of the model");
    // With neither outputs nor scanned blocks a file of another version names no inputs.
    for (std::size_t i = 0; i < plain.inputs.size(); ++i) {
        expect(model.inputNames[static_cast<int>(i)] == plain.inputs[i].name, "the inputs of the model");
        expect(model.inputDescriptors[static_cast<int>(i)] == plain.inputs[i].descriptor, "the inputs' descriptors");
    }
    for (std::size_t j = 0; j < plain.outputs.size(); ++j) {
        expect(model.outputNames[static_cast<int>(j)] == plain.outputs[j].name, "the outputs of the model");
        expect(model.outputDescriptors[static_cast<int>(j)] == plain.outputs[j].descriptor, "their descriptors");
        expect(model.rampFlags[static_cast<int>(j)] == (plain.outputs[j].ramp > 0), "the ramps of the model");
    }
    std::size_t stored = 0;
    for (const Vector<double>& curve : model.coefficients) {
        stored += curve.size() != 0 ? 1 : 0;
    }
    expect(stored == plain.curves.size(), "the number of curves of the model");
    for (const PlainCurve& curve : plain.curves) {
        const std::vector<double> expected = plain.modelCurve(curve);
        const Vector<double>& found = model.coefficients(static_cast<int>(curve.input), static_cast<int>(curve.output));
        expect(found.size() == static_cast<int>(expected.size()), "the length of a curve");
        for (std::size_t k = 0; k < expected.size(); ++k) {
            const double element = found[static_cast<int>(k)];
            const bool isLast = k + 1 == expected.size();
            expect(isLast ? sameResult(element, expected[k]) : sameBits(element, expected[k]),
                   "the elements of a curve agree bit by bit");
        }
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    MemoryFile file;
    file.set(bytes, size);
    const PlainFIRFile plain(file.name());
    FIRFileHandle handle;
    expect(firOpenRead(&handle, file.name()) == plain.openStatus, "the statuses of opening agree");
    if (plain.openStatus == FIR_OK) {
        compareHeader(handle, plain);
        compareCurves(handle, plain);
    }
    firClose(&handle);
    LTIFIRModel model;
    const bool isRead = model.ReadModel(file.name());
    expect(isRead == plain.makesModel(), "both make a model, or neither");
    if (isRead) {
        compareModel(model, plain);
    }
    return 0;
}
