#include "report_data.hpp"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <complex>
#include <cstddef>
#include <numbers>
#include <vector>

#include <qormath/version.hpp>

#include "model_file.hpp"
#include "reduction_facts.hpp"
#include "text.hpp"

namespace qormath::cli {

namespace {

using Choice = ReduceOptions::OrderChoice;
using QorMathLA::Matrix;
using QorMathLA::Vector;

// Model files have as many; more would double the size of a page and show nowhere.
constexpr int digitsOfCurves = 7;

constexpr double percent = 100.0;

double rounded(double value) {
    if (!std::isfinite(value)) {
        return value;
    }
    char text[32];
    const auto end = std::to_chars(text, text + sizeof text, value, std::chars_format::scientific, digitsOfCurves - 1);
    double result = value;
    std::from_chars(text, end.ptr, result);
    return result;
}

JsonValue curveOf(const Vector<double>& curve) {
    if (curve.size() == 0) {
        return nullptr;
    }
    std::vector<double> values;
    for (const double value : curve) {
        values.push_back(rounded(value));
    }
    return values;
}

/// Outputs one after the other, and in each its inputs.
JsonValue pairsOf(const LTIFIRModel& model, const ReduceResult& result) {
    const Matrix<double> gains = LTIFIRModel(model).GetGain();
    JsonValue pairs = JsonValue::list();
    for (int j = 0; j < outputCountOf(model); ++j) {
        for (int i = 0; i < inputCountOf(model); ++i) {
            const Vector<double>& curve = model.coefficients(i, j);
            JsonValue pair{{"output", j}, {"input", i}};
            pair.add("gain", curve.size() == 0 ? JsonValue(nullptr) : JsonValue(gains(j, i)));
            pair.add("reducedGain", result.gains(j, i));
            pair.add("gainErrorPercent", percent * result.gainErrors(j, i));
            pair.add("curveErrorPercent", result.curveErrorsPercent(j, i));
            pair.add("curve", curveOf(curve));
            pair.add("reducedCurve", curveOf(result.curves.coefficients(i, j)));
            pairs.append(pair);
        }
    }
    return pairs;
}

/// The slowest first.
JsonValue polesOf(const LTIStateSpaceModel& model) {
    constexpr int iterations = 30;
    Matrix<double> a = model.A;
    Vector<double> re;
    Vector<double> im;
    if (a.rows() > 0) {
        a.eigenvalues(re, im, iterations);
    }
    std::vector<std::complex<double>> poles;
    for (int k = 0; k < re.size(); ++k) {
        poles.emplace_back(re[k], im[k]);
    }
    std::stable_sort(poles.begin(), poles.end(),
                     [](const auto& x, const auto& y) { return std::abs(x) > std::abs(y); });
    JsonValue list = JsonValue::list();
    for (const std::complex<double>& pole : poles) {
        list.append({{"re", pole.real()}, {"im", pole.imag()}, {"magnitude", std::abs(pole)}});
    }
    return list;
}

JsonValue orderErrorsOf(const ReduceResult& result) {
    JsonValue list = JsonValue::list();
    for (const ReduceResult::OrderError& error : result.orderErrors) {
        list.append({{"order", error.order}, {"curveErrorPercent", error.curveErrorPercent}});
    }
    return list;
}

/// The lowest order whose curves keep the tolerance: the one that was found, or the lowest of those studied.
JsonValue orderByTolerance(const ReduceOptions& options, const ReduceResult& result) {
    if (options.orderChoice == Choice::byCurveTolerance) {
        return result.isWithinTolerance ? JsonValue(result.orderAsked) : JsonValue(nullptr);
    }
    for (const ReduceResult::OrderError& error : result.orderErrors) {
        if (error.curveErrorPercent <= options.curveTolerance) {
            return error.order;
        }
    }
    return nullptr;
}

JsonValue marksOf(const ReduceOptions& options, const ReduceResult& result) {
    return {{"coarse", result.coarseOrder},
            {"middle", result.middleOrder},
            {"fine", result.fineOrder},
            {"tolerance", orderByTolerance(options, result)},
            {"chosen", result.orderAsked}};
}

}  // namespace

JsonValue reportData(const std::string& modelPath, const std::string& reportPath, const LTIFIRModel& model,
                     const ReduceOptions& options, const ReduceResult& result) {
    JsonValue object;
    object.add("model", toUtf8(modelPath));
    object.add("report", toUtf8(reportPath));
    object.add("version", QORMATH_VERSION);
    addReductionFacts(object, model, options, result);
    object.add("inputNames", namesOf(model.inputNames));
    object.add("inputDescriptors", namesOf(model.inputDescriptors));
    object.add("outputNames", namesOf(model.outputNames));
    object.add("outputDescriptors", namesOf(model.outputDescriptors));
    JsonValue ramps = JsonValue::list();
    for (int j = 0; j < outputCountOf(model); ++j) {
        ramps.append(model.rampFlags[j]);
    }
    object.add("rampFlags", ramps);
    object.add("tolerancePercent", options.curveTolerance);
    object.add("orders", marksOf(options, result));
    object.add("orderErrors", orderErrorsOf(result));
    object.add("hankelSingularValues", result.hankelSingularValues);
    object.add("poles", polesOf(result.model));
    object.add("pairs", pairsOf(model, result));
    return object;
}

}  // namespace qormath::cli
