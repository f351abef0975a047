#include "reduction_facts.hpp"

#include <cmath>
#include <optional>
#include <vector>

namespace qormath::cli {

namespace {

using Choice = ReduceOptions::OrderChoice;

// A list of more pairs, or ringers, than this does not help on a terminal; JSON has them all.
constexpr std::size_t longestList = 5;

std::optional<PairError> named(const std::optional<ReduceResult::PairError>& error, const LTIFIRModel& model) {
    if (!error) {
        return {};
    }
    return PairError{error->value, toUtf8(model.outputNames[error->pair.output]),
                     toUtf8(model.inputNames[error->pair.input])};
}

std::string counted(int count, const std::string& thing) {
    return std::to_string(count) + " " + thing + (count == 1 ? "" : "s");
}

/// What the minimal realisation found, in words.
std::string realisationInWords(const ReduceResult& result) {
    return counted(result.rampStates, "ramp") + ", " + std::to_string(result.stableStates) + " stable (" +
           std::to_string(result.delayStates) + " of them delays), " + std::to_string(result.statesRemoved) +
           " removed; suggested orders " + std::to_string(result.coarseOrder) + " (coarse) to " +
           std::to_string(result.fineOrder) + " (fine)";
}

const char* nameOf(Choice choice) {
    switch (choice) {
        case Choice::coarse:
            return "coarse";
        case Choice::middle:
            return "middle";
        case Choice::fine:
            return "fine";
        case Choice::byNumber:
            return "number";
        case Choice::byCurveTolerance:
            break;
    }
    return "curveTolerance";
}

std::string orderInWords(const ReduceResult& result, const ReduceOptions& options) {
    const std::string order = std::to_string(result.orderAsked);
    switch (options.orderChoice) {
        case Choice::coarse:
        case Choice::middle:
        case Choice::fine:
            return order + " (" + nameOf(options.orderChoice) + ")";
        case Choice::byNumber:
            return std::to_string(options.order) +
                   (options.order < result.rampStates ? " (ramps stay all the same)" : "");
        case Choice::byCurveTolerance:
            break;
    }
    const std::string tolerance = formatNumber(options.curveTolerance) +
                                  (result.isJudgedWithoutRingers ? " % of the plant without its ringers" : " %");
    return order + (result.isWithinTolerance ? " (the smallest within " + tolerance + ")"
                                             : " (the closest; no order is within " + tolerance + ")");
}

std::string reachedInWords(const ReduceResult& result) {
    const int gone = result.orderAsked - (result.orderReached - result.gainStates);
    std::string text = std::to_string(result.orderReached);
    if (result.gainStates > 0) {
        text += ", with " + counted(result.gainStates, "state") + " for the gain";
    }
    if (gone > 0) {
        text += ", without " + counted(gone, result.ringers.empty() ? "negligible state" : "ringing state");
    }
    return text;
}

std::string ringersInWords(const std::vector<ReduceResult::Ringer>& ringers) {
    std::vector<std::string> words;
    for (const ReduceResult::Ringer& ringer : ringers) {
        if (words.size() == longestList) {
            words.push_back("and " + std::to_string(ringers.size() - longestList) + " more");
            break;
        }
        constexpr int digits = 3;
        const std::string ratio = "damping ratio " + formatNumber(ringer.dampingRatio, digits);
        // A limit of 1 takes plain lags too.
        words.push_back(std::isfinite(ringer.period)
                            ? ratio + " with a period of " + formatNumber(ringer.period, digits) + " s"
                            : ratio + " without a period");
    }
    return joined(words);
}

std::string clearedInWords(const ReduceResult& result) {
    constexpr int digits = 2;
    if (result.clearedPairs.empty()) {
        return "none";
    }
    return std::to_string(result.clearedPairs.size()) + ", up to " +
           formatNumber(result.largestClearedPercent, digits) + " %";
}

JsonValue pairsOf(const std::vector<ReduceResult::Pair>& pairs, const LTIFIRModel& model) {
    JsonValue list = JsonValue::list();
    for (const ReduceResult::Pair& pair : pairs) {
        list.append(
            {{"output", toUtf8(model.outputNames[pair.output])}, {"input", toUtf8(model.inputNames[pair.input])}});
    }
    return list;
}

JsonValue ringersOf(const std::vector<ReduceResult::Ringer>& ringers) {
    JsonValue list = JsonValue::list();
    for (const ReduceResult::Ringer& ringer : ringers) {
        list.append({{"dampingRatio", ringer.dampingRatio}, {"period", ringer.period}});
    }
    return list;
}

}  // namespace

Fidelity fidelityOf(const ReduceResult& result, const LTIFIRModel& model) {
    return {named(result.gainError, model), named(result.rampRateError, model), named(result.curveErrorPercent, model)};
}

void addReductionFacts(FactTable& table, const LTIFIRModel& model, const ReduceOptions& options,
                       const ReduceResult& result) {
    addModelFacts(table, model);
    table.add("states realised", std::to_string(result.statesRealised));
    table.add("minimal realisation", realisationInWords(result));
    table.add("order asked for", orderInWords(result, options));
    table.add("order reached", reachedInWords(result));
    table.add("ringers taken out", ringersInWords(result.ringers));
    table.add("null pairs cleared", clearedInWords(result));
    addFidelityFacts(table, fidelityOf(result, model));
}

void addReductionFacts(JsonValue& object, const LTIFIRModel& model, const ReduceOptions& options,
                       const ReduceResult& result) {
    addModelFacts(object, model);
    object.add("statesRealised", result.statesRealised);
    object.add("statesRemoved", result.statesRemoved);
    object.add("rampStates", result.rampStates);
    object.add("stableStates", result.stableStates);
    object.add("delayStates", result.delayStates);
    object.add("coarseOrder", result.coarseOrder);
    object.add("fineOrder", result.fineOrder);
    object.add("orderChoice", nameOf(options.orderChoice));
    object.add("orderAsked", options.orderChoice == Choice::byNumber ? options.order : result.orderAsked);
    object.add("orderReached", result.orderReached);
    object.add("gainStates", result.gainStates);
    if (options.orderChoice == Choice::byCurveTolerance) {
        object.add("curveTolerancePercent", options.curveTolerance);
        object.add("isWithinTolerance", result.isWithinTolerance);
        object.add("isJudgedWithoutRingers", result.isJudgedWithoutRingers);
    }
    object.add("ringers", ringersOf(result.ringers));
    object.add("clearedPairs", pairsOf(result.clearedPairs, model));
    object.add("largestClearedPercent", result.largestClearedPercent);
    addFidelityFacts(object, fidelityOf(result, model));
    JsonValue warnings = JsonValue::list();
    for (const std::string& warning : result.warnings) {
        warnings.append(toUtf8(warning));
    }
    object.add("warnings", warnings);
}

}  // namespace qormath::cli
