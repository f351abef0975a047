#include "fidelity.hpp"

#include <algorithm>
#include <cmath>
#include <ostream>

#include "model_file.hpp"

namespace qormath::cli {

namespace {

using QorMathLA::Matrix;
using QorMathLA::Vector;

constexpr double percent = 100.0;

/// Steady-state gains, and the rates of the integrating part; either may be missing.
struct Gains {
    std::optional<Matrix<double>> steady;
    std::optional<Matrix<double>> rates;
};

/// A pole that rounding has put outside the limit by less than this still counts as an integrator, as it does where
/// the library splits a model into its parts.
constexpr double stabilityMargin = 0x1p-26;

bool isUnstable(const LTIStateSpaceModel& system) {
    constexpr int iterations = 30;
    if (system.A.rows() == 0) {
        return false;
    }
    Matrix<double> a = system.A;
    Vector<double> re;
    Vector<double> im;
    a.eigenvalues(re, im, iterations);
    for (int k = 0; k < re.size(); ++k) {
        if (std::hypot(re[k], im[k]) >= 1.0 + stabilityMargin) {
            return true;
        }
    }
    return false;
}

Gains gainsOf(LTIStateSpaceModel system) {
    if (isUnstable(system)) {
        return {};
    }
    try {
        return {system.gain(), {}};
    } catch (int) {
        // A pole at the limit: the parts have gains of their own.
    }
    try {
        LTIStateSpaceModel stable;
        LTIStateSpaceModel integrating;
        LTIStateSpaceModel unstable;
        Vector<Matrix<double>> parts = system.gain(stable, integrating, unstable);
        if (parts.size() == 2) {
            return {parts[0], parts[1]};
        }
    } catch (int) {
        // No steady state can be computed.
    }
    return {};
}

/// Keeps the largest error that it is shown. A NaN is the largest of all, and stays.
class Largest {
  public:
    explicit Largest(const LTIFIRModel& model) : model_(model) {}

    void add(double error, int output, int input) {
        const bool isLarger = !found_ || (!std::isnan(found_->value) && !(error <= found_->value));
        if (isLarger) {
            found_ = PairError{error, toUtf8(model_.outputNames[output]), toUtf8(model_.inputNames[input])};
        }
    }

    const std::optional<PairError>& found() const { return found_; }

  private:
    const LTIFIRModel& model_;
    std::optional<PairError> found_;
};

/// The largest gain of an output, or 1 if all are 0.
double gainScale(const Matrix<double>& gains, int output) {
    double largest = 0.0;
    for (int i = 0; i < gains.cols(); ++i) {
        largest = std::max(largest, std::fabs(gains(output, i)));
    }
    return largest == 0.0 ? 1.0 : largest;
}

/// The largest relative error over the outputs whose ramp flag is as told.
std::optional<PairError> gainError(const std::optional<Matrix<double>>& gains, const LTIFIRModel& model, bool ofRamps) {
    const Matrix<double> wanted = LTIFIRModel(model).GetGain();
    Largest largest(model);
    if (!gains || gains->rows() != wanted.rows() || gains->cols() != wanted.cols()) {
        return {};
    }
    for (int j = 0; j < wanted.rows(); ++j) {
        for (int i = 0; i < wanted.cols() && model.rampFlags[j] == ofRamps; ++i) {
            const double scale = wanted(j, i) != 0.0 ? std::fabs(wanted(j, i)) : gainScale(wanted, j);
            largest.add(std::fabs((*gains)(j, i) - wanted(j, i)) / scale, j, i);
        }
    }
    return largest.found();
}

/// The largest coefficient of an output, or 1 if all are 0.
double curveScale(const LTIFIRModel& model, int output) {
    double largest = 0.0;
    for (int i = 0; i < inputCountOf(model); ++i) {
        for (const double value : model.coefficients(i, output)) {
            largest = std::max(largest, std::fabs(value));
        }
    }
    return largest == 0.0 ? 1.0 : largest;
}

double elementOf(const Vector<double>& curve, int k) {
    return curve.size() == 0 ? 0.0 : curve[k];
}

std::optional<PairError> curveError(const LTIFIRModel& simulated, const LTIFIRModel& model) {
    Largest largest(model);
    for (int j = 0; j < outputCountOf(model); ++j) {
        const double scale = curveScale(model, j);
        for (int i = 0; i < inputCountOf(model); ++i) {
            const Vector<double>& given = model.coefficients(i, j);
            const Vector<double>& found = simulated.coefficients(i, j);
            for (int k = 0; k <= model.coefficientCount; ++k) {
                largest.add(percent * std::fabs(elementOf(found, k) - elementOf(given, k)) / scale, j, i);
            }
        }
    }
    return largest.found();
}

std::string described(const std::optional<PairError>& error, const std::string& unit) {
    constexpr int digits = 3;
    if (!error) {
        return "none";
    }
    return formatNumber(error->value, digits) + unit + "  (output " + error->output + ", input " + error->input + ")";
}

JsonValue objectOf(const std::optional<PairError>& error) {
    if (!error) {
        return nullptr;
    }
    return {{"value", error->value}, {"output", error->output}, {"input", error->input}};
}

}  // namespace

Fidelity compare(const LTIStateSpaceModel& system, const LTIFIRModel& simulated, const LTIFIRModel& model) {
    const Gains gains = gainsOf(system);
    return {gainError(gains.steady, model, false), gainError(gains.rates, model, true), curveError(simulated, model)};
}

void addModelFacts(FactTable& table, const LTIFIRModel& model) {
    table.add("inputs", std::to_string(inputCountOf(model)));
    table.add("outputs", std::to_string(outputCountOf(model)));
    table.add("coefficients", std::to_string(model.coefficientCount));
    table.add("sample time", formatNumber(sampleTimeOf(model)) + " s");
    table.add("ramps", joined(rampNamesOf(model)));
}

void addFidelityFacts(FactTable& table, const Fidelity& fidelity) {
    table.add("largest gain error", described(fidelity.gain, ""));
    if (fidelity.rampRate) {
        table.add("largest ramp rate error", described(fidelity.rampRate, ""));
    }
    table.add("largest curve error", described(fidelity.curve, " %"));
}

void addModelFacts(JsonValue& object, const LTIFIRModel& model) {
    object.add("inputs", inputCountOf(model));
    object.add("outputs", outputCountOf(model));
    object.add("coefficients", model.coefficientCount);
    object.add("sampleTime", sampleTimeOf(model));
    object.add("ramps", rampNamesOf(model));
}

void addFidelityFacts(JsonValue& object, const Fidelity& fidelity) {
    object.add("largestGainError", objectOf(fidelity.gain));
    object.add("largestRampRateError", objectOf(fidelity.rampRate));
    object.add("largestCurveErrorPercent", objectOf(fidelity.curve));
}

void printReport(std::ostream& out, bool json, const std::vector<NamedFile>& files, const LTIFIRModel& model,
                 int states, const Fidelity& fidelity) {
    if (json) {
        JsonValue object;
        for (const NamedFile& file : files) {
            object.add(file.key, toUtf8(file.path));
        }
        addModelFacts(object, model);
        object.add("states", states);
        addFidelityFacts(object, fidelity);
        object.print(out);
        return;
    }
    FactTable table;
    for (const NamedFile& file : files) {
        table.add(file.label, file.path);
    }
    addModelFacts(table, model);
    table.add("states", std::to_string(states));
    addFidelityFacts(table, fidelity);
    table.print(out);
}

}  // namespace qormath::cli
