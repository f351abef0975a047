#include <algorithm>
#include <cmath>
#include <cstddef>

#include <qormath/pipeline/detail/plant_check.hpp>

namespace qormath::pipeline {

namespace {

using QorMathLA::Vector;

// With fewer, the Hankel matrix of a realisation has no columns.
constexpr int fewestCoefficients = 10;

// The end of a curve is judged by its rise over the last eighth of the horizon and the eighth before: short enough for
// the transients to be over, long enough for the digits of a file.
constexpr int sectionsOfHorizon = 8;

// A rise in the last eighth of less than this part of the output's peak does not show.
constexpr double visibleRise = 0.01;

// The two rises of a straight line agree to this; those of a lag whose horizon is two time constants differ by 0.22.
constexpr double straightness = 0.02;

// A curve is still on its way if the second rise is at least this part of the first: a lag whose horizon is less than
// five time constants.
constexpr double settlingRatio = 0.53;

// The steps of a ramp that lasts over the horizon are at least this part of the output's peak; below, seven digits of
// a file cannot tell a rate from rounding.
constexpr double leastRate = 1e-12;

std::string pairName(const LTIFIRModel& model, int output, int input) {
    return "the curve of output " + model.outputNames[output] + " to input " + model.inputNames[input];
}

bool isFinite(const Vector<double>& curve) {
    for (const double value : curve) {
        if (!std::isfinite(value)) {
            return false;
        }
    }
    return true;
}

std::string refusalOfShape(const LTIFIRModel& model) {
    const int inputs = model.coefficients.rows();
    const int outputs = model.coefficients.cols();
    if (inputs == 0 || outputs == 0) {
        return "the model has no inputs or no outputs";
    }
    if (model.rampFlags.size() != outputs || model.outputNames.size() != outputs || model.inputNames.size() != inputs) {
        return "the model has another number of names or ramp flags than of inputs and outputs";
    }
    if (model.coefficientCount < fewestCoefficients) {
        return "its curves have " + std::to_string(model.coefficientCount) + " coefficients, and at least " +
               std::to_string(fewestCoefficients) + " are needed";
    }
    if (model.horizonSeconds <= 0) {
        return "its horizon is " + std::to_string(model.horizonSeconds) + " s";
    }
    return {};
}

std::string refusalOfCurves(const LTIFIRModel& model) {
    bool isMoved = false;
    for (int j = 0; j < model.coefficients.cols(); ++j) {
        for (int i = 0; i < model.coefficients.rows(); ++i) {
            const Vector<double>& curve = model.coefficients(i, j);
            if (curve.size() != 0 && curve.size() - 1 != model.coefficientCount) {
                return pairName(model, j, i) + " has " + std::to_string(curve.size() - 1) + " coefficients, not " +
                       std::to_string(model.coefficientCount);
            }
            if (!isFinite(curve)) {
                return pairName(model, j, i) + " has a value that is not a finite number";
            }
            isMoved = isMoved || peakOf(curve) > 0.0;
        }
    }
    return isMoved ? "" : "none of its outputs has a curve";
}

/// The rises of a curve over the last eighth of the horizon and over the eighth before.
struct Rises {
    double before = 0.0;
    double last = 0.0;
};

Rises risesOf(const Vector<double>& curve, int n) {
    const int section = std::max(1, n / sectionsOfHorizon);
    return {curve[n - section] - curve[n - 2 * section], curve[n] - curve[n - section]};
}

Ending endingOf(const LTIFIRModel& model, int output, double peak) {
    const int n = model.coefficientCount;
    const bool isFlagged = model.rampFlags[output];
    Ending ending = Ending::settled;
    for (int i = 0; i < model.coefficients.rows(); ++i) {
        const Vector<double>& curve = model.coefficients(i, output);
        if (curve.size() == 0) {
            continue;
        }
        const Rises rises = risesOf(curve, n);
        // A flag makes the slowest of ramps one; without it a rise has to show.
        const double least = isFlagged ? leastRate * peak : visibleRise * peak;
        if (std::fabs(rises.last) <= least) {
            continue;
        }
        const double ratio = rises.last / rises.before;
        if (std::fabs(ratio - 1.0) <= straightness) {
            return Ending::rising;
        }
        ending = ratio >= settlingRatio ? Ending::unsettled : ending;
    }
    return ending;
}

double peakOfOutput(const LTIFIRModel& model, int output) {
    double peak = 0.0;
    for (int i = 0; i < model.coefficients.rows(); ++i) {
        peak = std::max(peak, peakOf(model.coefficients(i, output)));
    }
    return peak;
}

std::string warningOf(const std::string& output, Ending ending, bool isFlagged) {
    switch (ending) {
        case Ending::withoutCurve:
            return "output " + output + " has no curve: no input moves it, and the model leaves it at 0";
        case Ending::rising:
            return isFlagged ? ""
                             : "output " + output +
                                   " keeps rising on a straight line but is not flagged as a ramp; it is modelled as "
                                   "one, at the rate of its last step";
        case Ending::settled:
            return isFlagged ? "output " + output +
                                   " is flagged as a ramp but its curves settle; it is modelled as a ramp at the rate "
                                   "of its last step"
                             : "";
        case Ending::unsettled:
            return isFlagged ? ""
                             : "output " + output +
                                   " has not settled at the end of its curves; its last coefficients are taken for "
                                   "its gains";
    }
    return {};
}

}  // namespace

double peakOf(const Vector<double>& curve) {
    double peak = 0.0;
    for (const double value : curve) {
        peak = std::max(peak, std::fabs(value));
    }
    return peak;
}

std::string refusalOf(const LTIFIRModel& model) {
    const std::string refusal = refusalOfShape(model);
    return refusal.empty() ? refusalOfCurves(model) : refusal;
}

std::string refusalOf(const ReduceOptions& options) {
    if (!(options.dampingLimit >= 0.0 && options.dampingLimit <= 1.0)) {
        return "the damping limit is not between 0 and 1";
    }
    if (!std::isfinite(options.gainTolerance)) {
        return "the gain tolerance is not a finite number";
    }
    using Choice = ReduceOptions::OrderChoice;
    if (options.orderChoice == Choice::byNumber && options.order < 0) {
        return "the order is negative";
    }
    const bool isToleranceRight = options.curveTolerance > 0.0 && std::isfinite(options.curveTolerance);
    if (options.orderChoice == Choice::byCurveTolerance && !isToleranceRight) {
        return "the curve tolerance is not a number above 0";
    }
    return {};
}

std::vector<Ending> endingsOf(const LTIFIRModel& model) {
    std::vector<Ending> endings;
    for (int j = 0; j < model.coefficients.cols(); ++j) {
        const double peak = peakOfOutput(model, j);
        endings.push_back(peak > 0.0 ? endingOf(model, j, peak) : Ending::withoutCurve);
    }
    return endings;
}

std::vector<std::string> warningsOf(const LTIFIRModel& model, const std::vector<Ending>& endings) {
    std::vector<std::string> warnings;
    for (int j = 0; j < model.coefficients.cols(); ++j) {
        std::string warning = warningOf(model.outputNames[j], endings[static_cast<std::size_t>(j)], model.rampFlags[j]);
        if (!warning.empty()) {
            warnings.push_back(std::move(warning));
        }
    }
    return warnings;
}

}  // namespace qormath::pipeline
