// Models in state space: gain, connections, conversion in time, structure, conditioning.

#include <fstream>
#include <optional>
#include <support/model_families.hpp>
#include <support/temporary_file.hpp>

#include <qormath/control/qor_math_control.hpp>
#include <qormath/models/lti_state_space_model.hpp>
#include <qormath/structure/ability_manager.hpp>

#include "numbers/calls.hpp"
#include "numbers/operands.hpp"

namespace qormath::test {
namespace {

using QorMathLA::Matrix;
using QorMathLA::Range;
using QorMathLA::Vector;
using enum Outcome;

constexpr int modelInputs = 3;
constexpr int modelOutputs = 2;

Operands systemOperands(int n, const Matrix<double>& a) {
    return {{"A", a},
            {"B", anyMatrix(n, modelInputs, 61)},
            {"C", anyMatrix(modelOutputs, n, 62)},
            {"D", anyMatrix(modelOutputs, modelInputs, 63)},
            {"sampleTime", numberOf(1.0)}};
}

Operands discreteOperands(int n) {
    return systemOperands(n, discreteMatrix(n));
}

Operands continuousOperands(int n) {
    return systemOperands(n, continuousMatrix(n));
}

LTIStateSpaceModel modelOf(Operands& o, systemType type = discreteSystem) {
    return {o["A"], o["B"], o["C"], o["D"], type, o.number("sampleTime")};
}

void add(Results& r, const LTIStateSpaceModel& model) {
    r.add(model.A, model.B, model.C, model.D, model.sampleTime);
}

/// Operands of a model and further numbers.
std::function<Operands(int)> with(std::function<Operands(int)> system,
                                  const std::vector<std::pair<std::string, double>>& numbers) {
    return [=](int n) {
        Operands o = system(n);
        for (const auto& [name, value] : numbers) {
            o.list().push_back({name, numberOf(value)});
        }
        return o;
    };
}

/// One integrator, and stable modes behind it.
Operands rampOperands(int n) {
    Matrix<double> a = discreteMatrix(n);
    if (n > 0) {
        for (int k = 0; k < n; ++k) {
            a(k, 0) = k == 0 ? 1.0 : 0.0;
            a(0, k) = k == 0 ? 1.0 : 0.0;
        }
    }
    return systemOperands(n, a);
}

/// The feedthrough stays with the stable part, which a single integrator does not have.
std::optional<Outcome> withoutStablePart(const Damage& d) {
    return d.argument == "D" && d.size == 1 ? std::optional(same) : std::nullopt;
}

std::vector<Call> modelOperations() {
    return {
        {"LTIStateSpaceModel copies and ExtractRange",
         discreteOperands,
         [](Operands& o, Results& r) {
             LTIStateSpaceModel model = modelOf(o);
             LTIStateSpaceModel copy;
             copy = model;
             copy.ExtractRange(Range(-1, -1, 1), false);
             add(r, copy);
         },
         {{"A", marked}, {"B", marked}, {"C", marked}, {"D", marked}, {"sampleTime", marked}}},
        {"LTIStateSpaceModel from flags",
         [](int) {
             return Operands{{"sampleTime", numberOf(1.0)}};
         },
         [](Operands& o, Results& r) {
             Vector<bool> flags(2);
             flags[0] = true;
             flags[1] = false;
             const LTIStateSpaceModel model(flags, discreteSystem, o.number("sampleTime"));
             r.add(model.sampleTime);
         },
         {{"sampleTime", marked}}},
        {"LTIStateSpaceModel::operator*",
         discreteOperands,
         [](Operands& o, Results& r) {
             LTIStateSpaceModel model = modelOf(o);
             Matrix<double> unit;
             unit.setIdentity(modelInputs);
             const LTIStateSpaceModel other(discreteMatrix(2), anyMatrix(2, modelInputs, 64),
                                            anyMatrix(modelInputs, 2, 65), unit, discreteSystem, 1.0);
             add(r, model * other);
         },
         {{"A", marked}, {"B", marked}, {"C", marked}, {"D", marked}, {"sampleTime", marked}}},
        {"LTIStateSpaceModel::operator+",
         discreteOperands,
         [](Operands& o, Results& r) {
             LTIStateSpaceModel model = modelOf(o);
             add(r, model + model);
         },
         {{"A", marked}, {"B", marked}, {"C", marked}, {"D", marked}, {"sampleTime", marked}}},
        {"LTIStateSpaceModel::gain, discrete",
         discreteOperands,
         [](Operands& o, Results& r) { r.add(modelOf(o).gain()); },
         {{"A", xmsg11}, {"B", marked}, {"C", marked}, {"D", marked}, {"sampleTime", same}}},
        {"LTIStateSpaceModel::gain, continuous",
         continuousOperands,
         [](Operands& o, Results& r) { r.add(modelOf(o, continuousSystem).gain()); },
         {{"A", xmsg11}, {"B", marked}, {"C", marked}, {"D", marked}, {"sampleTime", same}}},
        {"LTIStateSpaceModel::gain of the parts",
         rampOperands,
         [](Operands& o, Results& r) {
             LTIStateSpaceModel stable;
             LTIStateSpaceModel integrating;
             LTIStateSpaceModel unstable;
             for (const Matrix<double>& gain : modelOf(o).gain(stable, integrating, unstable)) {
                 r.add(gain);
             }
         },
         {{"A", minusOne}, {"B", minusOne}, {"C", minusOne}, {"D", marked}, {"sampleTime", same}},
         finite,
         finite,
         {0, 1, 2, 5, 40},
         withoutStablePart},
        {"ControllabilityForm",
         with(discreteOperands, {{"tolerance", -1.0}}),
         [](Operands& o, Results& r) {
             LTIStateSpaceModel model = modelOf(o);
             int rank = 0;
             add(r, model.ControllabilityForm(rank, o.number("tolerance")));
             r.add(rank);
         },
         {{"A", marked}, {"B", marked}, {"C", marked}, {"D", marked}, {"sampleTime", marked}, {"tolerance", finite}}},
        {"ObservabilityForm",
         with(discreteOperands, {{"tolerance", -1.0}}),
         [](Operands& o, Results& r) {
             LTIStateSpaceModel model = modelOf(o);
             int rank = 0;
             add(r, model.ObservabilityForm(rank, o.number("tolerance")));
             r.add(rank);
         },
         {{"A", marked}, {"B", marked}, {"C", marked}, {"D", marked}, {"sampleTime", marked}, {"tolerance", finite}}},
    };
}

Call conversionCall(const std::string& name, bool toDiscrete, conversionType type, std::vector<Expected> expected) {
    return {name, toDiscrete ? continuousOperands : discreteOperands,
            [=](Operands& o, Results& r) {
                Matrix<double> a = o["A"];
                Matrix<double> b = o["B"];
                Matrix<double> c = o["C"];
                Matrix<double> d = o["D"];
                const auto convert =
                    toDiscrete ? &QorMathControl::Continuous2Discrete : &QorMathControl::Discrete2Continuous;
                convert(a, b, c, d, o.number("sampleTime"), type);
                r.add(a, b, c, d);
            },
            std::move(expected)};
}

Call resampleCall(const std::string& name, double newTime, std::vector<Expected> expected) {
    return {"Resample, " + name, with(discreteOperands, {{"newSampleTime", newTime}}),
            [](Operands& o, Results& r) {
                Matrix<double> a = o["A"];
                Matrix<double> b = o["B"];
                Matrix<double> c = o["C"];
                Matrix<double> d = o["D"];
                QorMathControl::Resample(a, b, c, d, o.number("sampleTime"), o.number("newSampleTime"), zeroOrderHold);
                r.add(a, b, c, d);
            },
            std::move(expected)};
}

std::vector<Call> conversions() {
    return {
        conversionCall("Continuous2Discrete, hold", true, zeroOrderHold,
                       {{"A", marked}, {"B", marked}, {"C", marked}, {"D", marked}, {"sampleTime", marked}}),
        conversionCall("Continuous2Discrete, Tustin", true, bilinearTransform,
                       {{"A", minusOne}, {"B", marked}, {"C", marked}, {"D", marked}, {"sampleTime", minusOne}}),
        conversionCall(
            "Discrete2Continuous, hold", false, zeroOrderHold,
            {{"A", minusOne}, {"B", minusOne}, {"C", minusOne}, {"D", marked}, {"sampleTime", marked, finite}}),
        conversionCall("Discrete2Continuous, Tustin", false, bilinearTransform,
                       {{"A", minusOne}, {"B", marked}, {"C", marked}, {"D", marked}, {"sampleTime", minusOne}}),
        resampleCall("whole multiple", 3.0,
                     {{"A", marked},
                      {"B", marked},
                      {"C", marked},
                      {"D", marked},
                      {"sampleTime", marked, finite},
                      {"newSampleTime", marked}}),
        resampleCall("through continuous time", 0.7,
                     {{"A", minusOne},
                      {"B", minusOne},
                      {"C", minusOne},
                      {"D", marked},
                      {"sampleTime", marked, finite},
                      {"newSampleTime", marked}}),
    };
}

std::vector<Call> structureCalls() {
    return {
        {"Controllability",
         with(discreteOperands, {{"tolerance", -1.0}}),
         [](Operands& o, Results& r) {
             Vector<int> flags;
             int count = 0;
             QorMathControl::Controllability(o["A"], o["B"], flags, count, o.number("tolerance"));
             r.add(flags, count);
         },
         {{"A", xmsg11}, {"B", xmsg11}, {"tolerance", finite}}},
        {"Observability",
         with(discreteOperands, {{"tolerance", -1.0}}),
         [](Operands& o, Results& r) {
             Vector<int> flags;
             int count = 0;
             QorMathControl::Observability(o["A"], o["C"], flags, count, o.number("tolerance"));
             r.add(flags, count);
         },
         {{"A", xmsg11}, {"C", xmsg11}, {"tolerance", finite}}},
        {"Detectability",
         with(discreteOperands, {{"tolerance", -1.0}}),
         [](Operands& o, Results& r) {
             Vector<int> flags;
             int count = 0;
             int unstable = 0;
             QorMathControl::Detectability(o["A"], o["C"], flags, count, unstable, o.number("tolerance"));
             r.add(flags, count, unstable);
         },
         {{"A", xmsg11}, {"C", xmsg11}, {"tolerance", finite}}},
        {"AbilityManager, controllability",
         with(discreteOperands, {{"tolerance", -1.0}}),
         [](Operands& o, Results& r) {
             AbilityManager manager(o["A"], o["B"], o["C"], o.number("tolerance"));
             manager.ControllabilityDecomposition();
             const AbilityManager copy(manager);
             r.add(copy.decomposedA, copy.decomposedB, copy.decomposedC, copy.transformation);
             const TemporaryFile file;
             std::fstream stream(file.name(), std::ios::out);
             manager.print(stream);
         },
         {{"A", marked}, {"B", marked}, {"C", marked}, {"tolerance", finite}}},
        {"AbilityManager, observability",
         with(discreteOperands, {{"tolerance", -1.0}}),
         [](Operands& o, Results& r) {
             AbilityManager manager(o["A"], o["B"], o["C"], o.number("tolerance"));
             manager.ObservabilityDecomposition();
             r.add(manager.decomposedA, manager.decomposedB, manager.decomposedC, manager.transformation);
         },
         {{"A", marked}, {"B", marked}, {"C", marked}, {"tolerance", finite}}},
        {"AbilityManager, detectability",
         with(discreteOperands, {{"tolerance", -1.0}}),
         [](Operands& o, Results& r) {
             AbilityManager manager(o["A"], o["B"], o["C"], o.number("tolerance"));
             Vector<int> flags;
             int count = 0;
             int unstable = 0;
             manager.ComputeDetectabilityInfo(flags, count, unstable);
             r.add(flags, count, unstable);
         },
         {{"A", xmsg11}, {"B", same}, {"C", xmsg11}, {"tolerance", finite}}},
    };
}

/// alphaInfinite: how ModelReduction ends if every mode is to be reduced.
std::vector<Call> reductionCalls(const std::string& name, const std::function<Operands(int)>& system, systemType type,
                                 Outcome alphaInfinite) {
    return {
        {"MinimalRealization" + name,
         with(system, {{"stability", -1.0}, {"delay", -1.0}, {"ramp", -1.0}}),
         [=](Operands& o, Results& r) {
             LTIStateSpaceModel model = modelOf(o, type);
             Vector<int> report;
             QorMathControl::MinimalRealization(model, report, o.number("stability"), o.number("delay"),
                                                o.number("ramp"));
             add(r, model);
             r.add(report);
         },
         {{"A", minusOne},
          {"B", minusOne},
          {"C", minusOne},
          {"D", marked},
          {"sampleTime", marked},
          {"stability", minusOne, finite, same},
          {"delay", finite},
          {"ramp", finite}}},
        {"ModelReduction" + name,
         with(system, {{"alpha", -1.0}, {"residual", -1.0}}),
         [=](Operands& o, Results& r) {
             Matrix<double> a = o["A"];
             Matrix<double> b = o["B"];
             Matrix<double> c = o["C"];
             Matrix<double> d = o["D"];
             Vector<double> hsv;
             QorMathControl::ModelReduction(a, b, c, d, hsv, reductionBalanced, type, 0, o.number("alpha"),
                                            o.number("residual"));
             r.add(a, b, c, d, hsv);
         },
         {{"A", minusOne},
          {"B", minusOne},
          {"C", minusOne},
          {"D", marked},
          {"alpha", minusOne, alphaInfinite, same},
          {"residual", minusOne, finite, same}}},
        {"BalanceABC" + name,
         with(system, {{"maxReduction", 10.0}}),
         [=](Operands& o, Results& r) {
             Matrix<double> a = o["A"];
             Matrix<double> b = o["B"];
             Matrix<double> c = o["C"];
             Vector<double> scale;
             QorMathControl::BalanceABC(a, b, c, scale, o.number("maxReduction"));
             r.add(a, b, c, scale);
         },
         {{"A", minusOne}, {"B", minusOne}, {"C", minusOne}, {"maxReduction", minusOne, same}}},
        {"RemoveUnstable" + name,
         with(system, {{"tolerance", 0.0}}),
         [=](Operands& o, Results& r) {
             LTIStateSpaceModel model = modelOf(o, type);
             LTIStateSpaceModel stable;
             LTIStateSpaceModel unstable;
             QorMathControl::RemoveUnstable(model, stable, unstable, o.number("tolerance"));
             add(r, stable);
             add(r, unstable);
         },
         {{"A", minusOne},
          {"B", minusOne},
          {"C", minusOne},
          {"D", marked},
          {"sampleTime", marked},
          {"tolerance", finite}},
         finite,
         finite,
         {0, 1, 2, 5, 40},
         alphaInfinite == minusOne ? withoutStablePart : nullptr},
        {"RemoveRamps" + name,
         system,
         [=](Operands& o, Results& r) {
             LTIStateSpaceModel model = modelOf(o, type);
             LTIStateSpaceModel ramps;
             QorMathControl::RemoveRamps(model, ramps);
             add(r, model);
             add(r, ramps);
         },
         {{"A", minusOne}, {"B", minusOne}, {"C", minusOne}, {"D", marked}, {"sampleTime", marked}}},
        {"ShrinkRamps" + name,
         with(system, {{"tolerance", -1.0}}),
         [=](Operands& o, Results& r) {
             LTIStateSpaceModel model = modelOf(o, type);
             QorMathControl::ShrinkRamps(model, o.number("tolerance"));
             add(r, model);
         },
         {{"A", minusOne},
          {"B", minusOne},
          {"C", minusOne},
          {"D", same},
          {"sampleTime", marked},
          {"tolerance", finite}}},
    };
}

std::vector<Call> gainCalls(const std::string& name, const std::function<Operands(int)>& system, systemType type) {
    // A continuous model of ringers alone has no steady state to put in their place.
    const Outcome allRing = type == continuousSystem ? minusOne : finite;
    return {
        {"RetainGain" + name,
         [=](int n) {
             Operands o = with(system, {{"realization", -1.0}, {"gainTolerance", 0.0}})(n);
             o.list().push_back({"targetGain", anyMatrix(modelOutputs, modelInputs, 66)});
             return o;
         },
         [=](Operands& o, Results& r) {
             LTIStateSpaceModel model = modelOf(o, type);
             QorMathControl::RetainGain(model, o["targetGain"], o.number("realization"), o.number("gainTolerance"));
             add(r, model);
         },
         {{"A", xmsg11},
          {"B", noticed},
          {"C", noticed},
          {"D", noticed, minusOne},
          {"sampleTime", marked},
          {"targetGain", minusOne},
          {"realization", minusOne, finite, same},
          {"gainTolerance", same, finite}},
         type == continuousSystem ? minusOne : finite,
         finite,
         {0, 1, 2, 5, 40},
         [](const Damage& d) -> std::optional<Outcome> {
             // No gain is too far from NaN.
             const bool hasNoTarget = d.argument == "targetGain" && d.isWhole() && std::isnan(d.value);
             return hasNoTarget ? std::optional(finite) : std::nullopt;
         }},
        {"RemoveRingers" + name,
         with(system, {{"dampingLimit", 0.3}, {"gainTolerance", 0.0}}),
         [=](Operands& o, Results& r) {
             LTIStateSpaceModel model = modelOf(o, type);
             QorMathControl::RemoveRingers(model, o.number("dampingLimit"), o.number("gainTolerance"));
             add(r, model);
         },
         {{"A", minusOne},
          {"B", minusOne},
          {"C", minusOne},
          {"D", marked},
          {"sampleTime", marked},
          {"dampingLimit", same, allRing, same},
          {"gainTolerance", finite}}},
        {"Shrink" + name,
         with(system, {{"stability", -1.0}, {"delay", -1.0}, {"gainTolerance", 0.0}, {"dampingLimit", 0.1}}),
         [=](Operands& o, Results& r) {
             const LTIStateSpaceModel model = modelOf(o, type);
             int order = -2;
             add(r, QorMathControl::Shrink(model, order, o.number("stability"), o.number("delay"),
                                           o.number("gainTolerance"), o.number("dampingLimit")));
             r.add(order);
         },
         {{"A", minusOne},
          {"B", minusOne},
          {"C", minusOne},
          {"D", noticed},
          {"sampleTime", marked},
          {"stability", minusOne, finite, same},
          {"delay", finite},
          {"gainTolerance", finite},
          {"dampingLimit", same, allRing, same}}},
    };
}

}  // namespace

std::vector<Call> modelCalls() {
    std::vector<Call> calls = modelOperations();
    for (const auto& group : {conversions(), structureCalls()}) {
        calls.insert(calls.end(), group.begin(), group.end());
    }
    return calls;
}

std::vector<Call> conditioningCalls() {
    std::vector<Call> calls;
    for (const auto& group : {reductionCalls(", discrete", discreteOperands, discreteSystem, finite),
                              reductionCalls(", continuous", continuousOperands, continuousSystem, finite),
                              reductionCalls(", integrator", rampOperands, discreteSystem, minusOne),
                              gainCalls(", discrete", discreteOperands, discreteSystem),
                              gainCalls(", continuous", continuousOperands, continuousSystem)}) {
        calls.insert(calls.end(), group.begin(), group.end());
    }
    return calls;
}

}  // namespace qormath::test
