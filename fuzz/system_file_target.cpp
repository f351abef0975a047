// The system file reader of the program on arbitrary bytes: a system, or one error of one line. A system is written and
// read again, and comes back bit by bit.

#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <fuzz/expect.hpp>
#include <string>
#include <string_view>

#include "program_error.hpp"
#include "system_file.hpp"

namespace {

using namespace qormath::fuzz;
using qormath::cli::parseSystemFile;
using qormath::cli::ProgramError;
using qormath::cli::SystemFile;
using QorMathLA::Matrix;

bool isSame(const Matrix<double>& a, const Matrix<double>& b) {
    if (a.rows() != b.rows() || a.cols() != b.cols()) {
        return false;
    }
    for (int i = 0; i < a.rows(); ++i) {
        for (int j = 0; j < a.cols(); ++j) {
            if (std::bit_cast<std::uint64_t>(a(i, j)) != std::bit_cast<std::uint64_t>(b(i, j))) {
                return false;
            }
        }
    }
    return true;
}

void expectSound(const SystemFile& file) {
    const LTIStateSpaceModel& system = file.system;
    const auto inputs = static_cast<std::size_t>(system.B.cols());
    const auto outputs = static_cast<std::size_t>(system.C.rows());
    expect(system.A.rows() == system.A.cols() && system.B.rows() == system.A.rows(), "the states agree");
    expect(system.C.cols() == system.A.cols(), "the states of C agree");
    expect(file.inputs.size() == inputs && file.outputs.size() == outputs, "the names agree with the matrices");
    expect(system.D.rows() == system.C.rows() && system.D.cols() == system.B.cols(), "D agrees with B and C");
    for (const Matrix<double>* matrix : {&system.A, &system.B, &system.C, &system.D}) {
        for (const double element : *matrix) {
            expect(std::isfinite(element), "what is read is finite");
        }
    }
    expect(std::isfinite(system.sampleTime) && system.sampleTime >= 0.0, "the sample time is a time");
    expect(file.curveOffset == 0 || file.curveOffset == 1, "the curve offset is one of two");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    SystemFile file;
    try {
        file = parseSystemFile(std::string_view(reinterpret_cast<const char*>(bytes), size));
    } catch (const ProgramError& error) {
        const std::string message = error.what();
        expect(!message.empty() && message.find('\n') == std::string::npos, "an error is one line");
        return 0;
    }
    expectSound(file);
    const std::string text = systemFileText(file);
    const SystemFile again = parseSystemFile(text);
    expect(isSame(file.system.A, again.system.A) && isSame(file.system.B, again.system.B), "A and B come back");
    expect(isSame(file.system.C, again.system.C) && isSame(file.system.D, again.system.D), "C and D come back");
    expect(file.system.sampleTime == again.system.sampleTime, "the sample time comes back");
    expect(file.system.sysType == again.system.sysType, "the type comes back");
    expect(file.inputs == again.inputs && file.outputs == again.outputs, "the names come back");
    expect(file.curveOffset == again.curveOffset, "the curve offset comes back");
    expect(systemFileText(again) == text, "read, write, read is a fixed point");
    return 0;
}
