/// @file
/// Models in state space: connections, gains, conversion in time, conditioning.

#include <qormath/control/qor_math_control.hpp>

#include "arrays.hpp"
#include "bindings.hpp"

namespace qormath::python {

namespace {

using Control = QorMathControl;
using Unlocked = py::gil_scoped_release;

/// Runs a function on a model without the interpreter's lock; what it leaves of the model is the result.
template <class Function>
py::tuple changed(const SystemArrays& system, const Function& function) {
    LTIStateSpaceModel model = modelOf(system);
    {
        const Unlocked unlocked;
        function(model);
    }
    return arraysOf(model);
}

py::tuple connect(const SystemArrays& left, const SystemArrays& right, bool inSeries) {
    LTIStateSpaceModel second = modelOf(left);
    const LTIStateSpaceModel first = modelOf(right);
    LTIStateSpaceModel whole;
    {
        const Unlocked unlocked;
        whole = inSeries ? second * first : second + first;
    }
    return arraysOf(whole);
}

py::array gain(const SystemArrays& system) {
    LTIStateSpaceModel model = modelOf(system);
    DenseMatrix result;
    {
        const Unlocked unlocked;
        result = model.gain();
    }
    return arrayOf(result);
}

py::tuple convert(const std::string& way, const SystemArrays& system, double time, double newTime, int method) {
    const auto type = static_cast<conversionType>(method);
    return changed(system, [&](LTIStateSpaceModel& model) {
        if (way == "c2d") {
            Control::Continuous2Discrete(model.A, model.B, model.C, model.D, time, type);
        } else if (way == "d2c") {
            Control::Discrete2Continuous(model.A, model.B, model.C, model.D, time, type);
        } else {
            Control::Resample(model.A, model.B, model.C, model.D, time, newTime, type);
        }
    });
}

/// The response a sample later: C A in place of C, D + C B in place of D.
py::tuple advanced(const SystemArrays& system) {
    return changed(system, [](LTIStateSpaceModel& model) {
        if (model.A.rows() > 0) {
            model.D = DenseMatrix(model.C * model.B) + model.D;
            model.C = model.C * model.A;
        }
    });
}

py::tuple minimalRealization(const SystemArrays& system, double stability, double delay, double ramp) {
    QorMathLA::Vector<int> report;
    const py::tuple arrays = changed(
        system, [&](LTIStateSpaceModel& model) { Control::MinimalRealization(model, report, stability, delay, ramp); });
    return py::make_tuple(arrays, arrayOf(report));
}

py::tuple modelReduction(const SystemArrays& system, int order, double alpha, double tolerance) {
    QorMathLA::Vector<double> hankel;
    const py::tuple arrays = changed(system, [&](LTIStateSpaceModel& model) {
        Control::ModelReduction(model.A, model.B, model.C, model.D, hankel, reductionBalanced, model.sysType, order,
                                alpha, tolerance);
    });
    return py::make_tuple(arrays, arrayOf(hankel));
}

py::tuple balance(const SystemArrays& system, double maxReduction) {
    QorMathLA::Vector<double> scale;
    const py::tuple arrays = changed(system, [&](LTIStateSpaceModel& model) {
        Control::BalanceABC(model.A, model.B, model.C, scale, maxReduction);
    });
    return py::make_tuple(arrays, arrayOf(scale));
}

py::tuple removeUnstable(const SystemArrays& system, double tolerance) {
    LTIStateSpaceModel model = modelOf(system);
    LTIStateSpaceModel stable, unstable;
    {
        const Unlocked unlocked;
        Control::RemoveUnstable(model, stable, unstable, tolerance);
    }
    return py::make_tuple(arraysOf(stable), arraysOf(unstable));
}

py::tuple removeRamps(const SystemArrays& system) {
    LTIStateSpaceModel model = modelOf(system);
    LTIStateSpaceModel ramps;
    {
        const Unlocked unlocked;
        Control::RemoveRamps(model, ramps);
    }
    return py::make_tuple(arraysOf(model), arraysOf(ramps));
}

py::tuple retainGain(const SystemArrays& system, const MatrixArray& target, double realizationTolerance,
                     double gainTolerance) {
    return changed(system, [&](LTIStateSpaceModel& model) {
        Control::RetainGain(model, viewOf(target), realizationTolerance, gainTolerance);
    });
}

py::tuple removeRingers(const SystemArrays& system, double dampingLimit, double gainTolerance) {
    return changed(system,
                   [&](LTIStateSpaceModel& model) { Control::RemoveRingers(model, dampingLimit, gainTolerance); });
}

py::tuple shrink(const SystemArrays& system, int order, double stability, double delay, double gainTolerance,
                 double dampingLimit) {
    const LTIStateSpaceModel model = modelOf(system);
    LTIStateSpaceModel result;
    {
        const Unlocked unlocked;
        result = Control::Shrink(model, order, stability, delay, gainTolerance, dampingLimit);
    }
    return py::make_tuple(arraysOf(result), order);
}

}  // namespace

void bindSystems(py::module_& module) {
    module.def("connect", &connect);
    module.def("gain", &gain);
    module.def("convert", &convert);
    module.def("advanced", &advanced);
    module.def("minimal_realization", &minimalRealization);
    module.def("model_reduction", &modelReduction);
    module.def("balance", &balance);
    module.def("remove_unstable", &removeUnstable);
    module.def("remove_ramps", &removeRamps);
    module.def("retain_gain", &retainGain);
    module.def("remove_ringers", &removeRingers);
    module.def("shrink", &shrink);
}

}  // namespace qormath::python
