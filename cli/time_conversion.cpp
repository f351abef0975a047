#include "time_conversion.hpp"

#include <algorithm>
#include <cmath>
#include <string>

#include <qormath/control/qor_math_control.hpp>
#include <qormath/core/xmsg.hpp>

#include "program_error.hpp"
#include "simulation.hpp"
#include "text.hpp"

namespace qormath::cli {

namespace {

using QorMathLA::Matrix;

/// Sample times that another program has computed and printed agree to this, relatively.
constexpr double sampleTimeTolerance = 1e-9;

// A sample time that is a smaller part of the system's than this, or larger by its inverse, is a mistake in the unit.
constexpr double smallestRatio = 1e-6;

void requireDiscrete(const SystemFile& file) {
    if (file.system.sysType == continuousSystem) {
        throw ProgramError("the system is continuous");
    }
}

double requirePositive(double sampleTime) {
    if (!(sampleTime > 0.0) || !std::isfinite(sampleTime)) {
        throw ProgramError("the sample time asked for is not a time in seconds above 0");
    }
    return sampleTime;
}

/// The system whose ordinary step response, from time 0 on, is the curves.
SystemFile withoutOffset(const SystemFile& file) {
    SystemFile result(file);
    if (file.curveOffset == 1) {
        result.system = advancedByOneSample(file.system);
        result.curveOffset = 0;
    }
    return result;
}

/// True if an eigenvalue is so close to zero that there is no logarithm of it.
bool hasDelay(const LTIStateSpaceModel& system) {
    constexpr int iterations = 30;
    const double leastModulus = std::sqrt(0x1p-53);
    if (system.A.rows() == 0) {
        return false;
    }
    Matrix<double> a(system.A);
    QorMathLA::Vector<double> re;
    QorMathLA::Vector<double> im;
    a.eigenvalues(re, im, iterations);
    for (int k = 0; k < re.size(); ++k) {
        if (std::hypot(re[k], im[k]) < leastModulus) {
            return true;
        }
    }
    return false;
}

/// Why a conversion failed, as far as it can be told.
ProgramError failure(const LTIStateSpaceModel& system, conversionType method, const std::string& wanted) {
    const bool isDelay = system.sysType == discreteSystem && method == zeroOrderHold && hasDelay(system);
    return ProgramError("the system cannot be " + wanted +
                        (isDelay ? ": it has an eigenvalue at zero, a delay, of which no system of finite order is the "
                                   "continuous counterpart; --method tustin approximates it"
                                 : ": a numerical step failed"));
}

/// Runs a conversion on the four matrices of the result.
template <class Conversion>
void convert(SystemFile& result, conversionType method, const std::string& wanted, const Conversion& conversion) {
    const LTIStateSpaceModel before(result.system);
    LTIStateSpaceModel& system = result.system;
    try {
        conversion(system.A, system.B, system.C, system.D);
    } catch (const QorMathLA::xmsg&) {
        throw failure(before, method, wanted);
    } catch (int) {
        throw failure(before, method, wanted);
    }
}

}  // namespace

SystemFile inContinuousTime(const SystemFile& file, std::optional<double> sampleTime, conversionType method) {
    requireDiscrete(file);
    const double own = file.system.sampleTime;
    if (sampleTime && !(std::fabs(requirePositive(*sampleTime) - own) <= sampleTimeTolerance * own)) {
        throw ProgramError("the system has a sample time of " + formatNumber(own) + " s, not of " +
                           formatNumber(*sampleTime) + " s");
    }
    SystemFile result = withoutOffset(file);
    convert(result, method, "made continuous",
            [&](auto& a, auto& b, auto& c, auto& d) { QorMathControl::Discrete2Continuous(a, b, c, d, own, method); });
    result.system.sysType = continuousSystem;
    return result;
}

SystemFile inDiscreteTime(const SystemFile& file, std::optional<double> sampleTime, conversionType method) {
    if (file.system.sysType != continuousSystem) {
        throw ProgramError("the system is discrete; 'qormath resample' gives it another sample time");
    }
    if (file.curveOffset != 0) {
        throw ProgramError("the system is continuous, and its curves have an offset, which only a sample can be");
    }
    if (!sampleTime && file.system.sampleTime == 0.0) {
        throw ProgramError("the system remembers no sample time; --sample-time tells one");
    }
    SystemFile result(file);
    result.system.sampleTime = requirePositive(sampleTime.value_or(file.system.sampleTime));
    convert(result, method, "sampled", [&](auto& a, auto& b, auto& c, auto& d) {
        QorMathControl::Continuous2Discrete(a, b, c, d, result.system.sampleTime, method);
    });
    result.system.sysType = discreteSystem;
    return result;
}

SystemFile resampled(const SystemFile& file, double sampleTime, conversionType method) {
    requireDiscrete(file);
    const double own = file.system.sampleTime;
    const double ratio = requirePositive(sampleTime) / own;
    if (!(ratio >= smallestRatio && ratio <= 1.0 / smallestRatio)) {
        throw ProgramError("a sample time of " + formatNumber(sampleTime) + " s is out of reach of the system's, " +
                           formatNumber(own) + " s");
    }
    SystemFile result = withoutOffset(file);
    convert(result, method, "resampled",
            [&](auto& a, auto& b, auto& c, auto& d) { QorMathControl::Resample(a, b, c, d, own, sampleTime, method); });
    result.system.sampleTime = sampleTime;
    return result;
}

std::optional<double> gainChange(const SystemFile& before, const SystemFile& after) {
    try {
        const Matrix<double> first = LTIStateSpaceModel(before.system).gain();
        const Matrix<double> second = LTIStateSpaceModel(after.system).gain();
        const double largest = std::max(first.maxAbs(), second.maxAbs());
        return largest == 0.0 ? 0.0 : (second - first).maxAbs() / largest;
    } catch (int) {
        return {};  // a pole at the stability limit
    }
}

}  // namespace qormath::cli
