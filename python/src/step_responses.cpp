/// @file
/// Step-response models: the file, the realisation, the simulation, the whole road.

#include <pybind11/functional.h>
#include <pybind11/stl.h>

#include <qormath/models/lti_fir_model.hpp>
#include <qormath/pipeline/reduce.hpp>

#include "arrays.hpp"
#include "bindings.hpp"

namespace qormath::python {

namespace {

using Unlocked = py::gil_scoped_release;
using Names = QorMathLA::Vector<std::string>;

py::list textsOf(const Names& names) {
    py::list list;
    for (const std::string& name : names) {
        list.append(py::bytes(name));
    }
    return list;
}

Names namesOf(const py::handle& list) {
    const auto texts = list.cast<std::vector<std::string>>();
    Names names(static_cast<int>(texts.size()));
    for (int i = 0; i < names.size(); ++i) {
        names[i] = texts[static_cast<std::size_t>(i)];
    }
    return names;
}

/// A model as a dictionary: curves (outputs, inputs, coefficients + 1), zeros where there is none; present (outputs,
/// inputs); ramps; and the texts as bytes.
py::dict dictionaryOf(const LTIFIRModel& model) {
    const py::ssize_t inputs = model.coefficients.rows();
    const py::ssize_t outputs = model.coefficients.cols();
    const py::ssize_t length = static_cast<py::ssize_t>(model.coefficientCount) + 1;
    py::array_t<double> curves({outputs, inputs, length});
    py::array_t<bool> present({outputs, inputs});
    py::array_t<bool> ramps(outputs);
    auto values = curves.mutable_unchecked<3>();
    for (py::ssize_t j = 0; j < outputs; ++j) {
        ramps.mutable_at(j) = model.rampFlags[static_cast<int>(j)];
        for (py::ssize_t i = 0; i < inputs; ++i) {
            const auto& curve = model.coefficients(static_cast<int>(i), static_cast<int>(j));
            present.mutable_at(j, i) = curve.size() > 0;
            for (py::ssize_t k = 0; k < length; ++k) {
                values(j, i, k) = k < curve.size() ? curve[static_cast<int>(k)] : 0.0;
            }
        }
    }
    py::dict result;
    result["curves"] = curves;
    result["present"] = present;
    result["ramps"] = ramps;
    result["horizon"] = model.horizonSeconds;
    result["inputs"] = textsOf(model.inputNames);
    result["outputs"] = textsOf(model.outputNames);
    result["input_descriptors"] = textsOf(model.inputDescriptors);
    result["output_descriptors"] = textsOf(model.outputDescriptors);
    return result;
}

LTIFIRModel modelOf(const py::dict& dictionary) {
    const auto curves = dictionary["curves"].cast<py::array_t<double, py::array::c_style | py::array::forcecast>>();
    const auto present = dictionary["present"].cast<py::array_t<bool>>();
    const auto ramps = dictionary["ramps"].cast<py::array_t<bool>>();
    const int outputs = static_cast<int>(curves.shape(0));
    const int inputs = static_cast<int>(curves.shape(1));
    const int length = static_cast<int>(curves.shape(2));
    LTIFIRModel model;
    model.coefficients = QorMathLA::Matrix<QorMathLA::Vector<double>>(inputs, outputs);
    model.rampFlags = QorMathLA::Vector<bool>(outputs);
    for (int j = 0; j < outputs; ++j) {
        model.rampFlags[j] = ramps.at(j);
        for (int i = 0; i < inputs; ++i) {
            if (present.at(j, i)) {
                model.coefficients(i, j) = QorMathLA::Vector<double>(length, curves.data(j, i, 0));
            }
        }
    }
    model.coefficientCount = length - 1;
    model.horizonSeconds = dictionary["horizon"].cast<int>();
    model.inputNames = namesOf(dictionary["inputs"]);
    model.outputNames = namesOf(dictionary["outputs"]);
    model.inputDescriptors = namesOf(dictionary["input_descriptors"]);
    model.outputDescriptors = namesOf(dictionary["output_descriptors"]);
    return model;
}

/// None if the file is no model file.
py::object readModel(std::string path) {
    LTIFIRModel model;
    bool isRead = false;
    {
        const Unlocked unlocked;
        isRead = model.ReadModel(path.data());
    }
    return isRead ? py::object(dictionaryOf(model)) : py::none();
}

bool writeModel(const py::dict& dictionary, std::string path) {
    LTIFIRModel model = modelOf(dictionary);
    const Unlocked unlocked;
    return model.WriteModel(path.data());
}

py::array gainOf(const py::dict& dictionary) {
    return arrayOf(modelOf(dictionary).GetGain());
}

py::tuple realise(const py::dict& dictionary, bool retainGain, int order) {
    LTIFIRModel model = modelOf(dictionary);
    QorMathLA::Vector<double> singularValues;
    LTIStateSpaceModel system;
    {
        const Unlocked unlocked;
        system = model.CreateStateSpaceModel(retainGain, order, &singularValues);
    }
    return py::make_tuple(arraysOf(system), arrayOf(singularValues));
}

py::dict simulate(const SystemArrays& arrays, const py::dict& reference) {
    const LTIStateSpaceModel system = python::modelOf(arrays);
    const LTIFIRModel like = modelOf(reference);
    LTIFIRModel curves;
    {
        const Unlocked unlocked;
        curves = LTIFIRModel(system, like);
    }
    return dictionaryOf(curves);
}

ReduceOptions optionsOf(const py::dict& given) {
    using Choice = ReduceOptions::OrderChoice;
    ReduceOptions options;
    const auto choice = given["order_choice"].cast<std::string>();
    options.orderChoice = choice == "number"   ? Choice::byNumber
                          : choice == "coarse" ? Choice::coarse
                          : choice == "middle" ? Choice::middle
                          : choice == "fine"   ? Choice::fine
                                               : Choice::byCurveTolerance;
    options.order = given["order"].cast<int>();
    options.curveTolerance = given["curve_tolerance"].cast<double>();
    options.dampingLimit = given["damping"].cast<double>();
    options.gainTolerance = given["gain_tolerance"].cast<double>();
    options.clearNullPairs = given["clear_null_pairs"].cast<bool>();
    if (!given["progress"].is_none()) {
        // A handle: copies of it, which are made without the interpreter's lock, count no references.
        const py::handle callback = PyDict_GetItemString(given.ptr(), "progress");
        options.progress = [callback](const char* stage, int done, int total) {
            const py::gil_scoped_acquire locked;
            callback(stage, done, total);
        };
    }
    return options;
}

py::object errorOf(const std::optional<ReduceResult::PairError>& error) {
    return error ? py::object(py::make_tuple(error->value, error->pair.output, error->pair.input)) : py::none();
}

py::dict reduceModel(const py::dict& dictionary, const py::dict& given) {
    const LTIFIRModel model = modelOf(dictionary);
    const ReduceOptions options = optionsOf(given);
    ReduceResult result;
    {
        const Unlocked unlocked;
        result = reduce(model, options);
    }
    py::dict answer;
    answer["refusal"] = result.refusal;
    answer["warnings"] = result.warnings;
    if (!result.refusal.empty()) {
        return answer;
    }
    answer["system"] = arraysOf(result.model);
    answer["sample_time"] = result.model.sampleTime;
    answer["curves"] = dictionaryOf(result.curves);
    answer["states_realised"] = result.statesRealised;
    answer["states_removed"] = result.statesRemoved;
    answer["ramp_states"] = result.rampStates;
    answer["stable_states"] = result.stableStates;
    answer["delay_states"] = result.delayStates;
    answer["coarse_order"] = result.coarseOrder;
    answer["fine_order"] = result.fineOrder;
    answer["order_asked"] = result.orderAsked;
    answer["order_reached"] = result.orderReached;
    answer["gain_states"] = result.gainStates;
    py::list ringers;
    for (const ReduceResult::Ringer& ringer : result.ringers) {
        ringers.append(py::make_tuple(ringer.dampingRatio, ringer.period));
    }
    answer["ringers"] = ringers;
    answer["gain_error"] = errorOf(result.gainError);
    answer["ramp_rate_error"] = errorOf(result.rampRateError);
    answer["curve_error_percent"] = errorOf(result.curveErrorPercent);
    answer["is_within_tolerance"] = result.isWithinTolerance;
    answer["is_judged_without_ringers"] = result.isJudgedWithoutRingers;
    py::list cleared;
    for (const ReduceResult::Pair& pair : result.clearedPairs) {
        cleared.append(py::make_tuple(pair.output, pair.input));
    }
    answer["cleared_pairs"] = cleared;
    answer["largest_cleared_percent"] = result.largestClearedPercent;
    return answer;
}

}  // namespace

void bindStepResponses(py::module_& module) {
    module.def("read_model", &readModel);
    module.def("write_model", &writeModel);
    module.def("fir_gain", &gainOf);
    module.def("realise", &realise);
    module.def("simulate", &simulate);
    module.def("reduce", &reduceModel);
}

}  // namespace qormath::python
