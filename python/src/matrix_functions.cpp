/// @file
/// Schur forms, functions of matrices, equations.

#include <qormath/control/qor_math_control.hpp>
#include <qormath/numerics/qor_svd_analysis.hpp>
#include <qormath/pipeline/unit_factors.hpp>

#include "arrays.hpp"
#include "bindings.hpp"

namespace qormath::python {

namespace {

using Control = QorMathControl;
using IntVector = QorMathLA::Vector<int>;

// Every function computes without the interpreter's lock, between its arguments and its result.
using Unlocked = py::gil_scoped_release;

py::tuple schur(const MatrixArray& a, int order) {
    DenseMatrix t, q;
    QorMathLA::Vector<double> re, im;
    {
        const Unlocked unlocked;
        Control::SchurDecomposition(viewOf(a), t, q, re, im, static_cast<schurOrder>(order));
    }
    return py::make_tuple(arrayOf(t), arrayOf(q), arrayOf(re), arrayOf(im));
}

py::array expm(const MatrixArray& a) {
    DenseMatrix result;
    {
        const Unlocked unlocked;
        result = Control::ExpM(viewOf(a), 1.0);
    }
    return arrayOf(result);
}

py::array logm(const MatrixArray& a) {
    QorMathLA::ComplexMatrix<double> result;
    {
        const Unlocked unlocked;
        result = Control::LogM(viewOf(a));
    }
    return arrayOf(result);
}

py::array sylvester(const MatrixArray& a, const MatrixArray& b, const MatrixArray& c) {
    DenseMatrix x;
    {
        const Unlocked unlocked;
        Control::SylvesterEquation(x, viewOf(a), viewOf(b), viewOf(c));
    }
    return arrayOf(x);
}

py::array lyapunov(const MatrixArray& a, const MatrixArray& q, bool isDiscrete) {
    DenseMatrix x;
    {
        const Unlocked unlocked;
        (isDiscrete ? Control::DiscreteLyapunov : Control::ContinuousLyapunov)(x, viewOf(a), viewOf(q));
    }
    return arrayOf(x);
}

py::array riccati(const MatrixArray& a, const MatrixArray& b, const MatrixArray& q, const MatrixArray& r,
                  const MatrixArray& s, bool isDiscrete, int method) {
    DenseMatrix x(static_cast<int>(a.shape(0)), static_cast<int>(a.shape(0)));
    x.fill(0.0);
    {
        const Unlocked unlocked;
        const auto way = static_cast<riccatiMethod>(method);
        if (isDiscrete) {
            Control::DiscreteRiccati(x, viewOf(a), viewOf(b), viewOf(q), viewOf(r), viewOf(s), false, way);
        } else {
            Control::ContinuousRiccati(x, viewOf(a), viewOf(b), viewOf(q), viewOf(r), viewOf(s), false, way);
        }
    }
    return arrayOf(x);
}

py::tuple structure(const std::string& kind, const MatrixArray& a, const MatrixArray& other, double tolerance) {
    IntVector flags;
    int count = 0;
    int unstable = 0;
    {
        const Unlocked unlocked;
        if (kind == "controllability") {
            Control::Controllability(viewOf(a), viewOf(other), flags, count, tolerance);
        } else if (kind == "observability") {
            Control::Observability(viewOf(a), viewOf(other), flags, count, tolerance);
        } else {
            Control::Detectability(viewOf(a), viewOf(other), flags, count, unstable, tolerance);
        }
    }
    return py::make_tuple(arrayOf(flags), count, unstable);
}

py::array factorsOfUnits(const MatrixArray& gain) {
    QorMathLA::Vector<double> factors;
    {
        const Unlocked unlocked;
        factors = unitFactors(viewOf(gain));
    }
    return arrayOf(factors);
}

py::list pairing(const MatrixArray& gain, const VectorArray& scaling, int size, int top, bool scaleRows,
                 double conditionLimit) {
    QorMathLA::Vector<QorMathLA::SVDSubMatrix> results;
    {
        const Unlocked unlocked;
        QorMathLA::QorSVDAnalysis analysis(viewOf(gain), copyOf(scaling), size, top, scaleRows, conditionLimit);
        analysis.computeAnalysis();
        results = analysis.getResults();
    }
    py::list list;
    for (const QorMathLA::SVDSubMatrix& result : results) {
        list.append(py::make_tuple(arrayOf(result.getRowIndices()), arrayOf(result.getColIndices()),
                                   result.getConditionNumber(), result.getRGA()));
    }
    return list;
}

}  // namespace

void bindMatrixFunctions(py::module_& module) {
    module.def("schur", &schur);
    module.def("expm", &expm);
    module.def("logm", &logm);
    module.def("sylvester", &sylvester);
    module.def("lyapunov", &lyapunov);
    module.def("riccati", &riccati);
    module.def("structure", &structure);
    module.def("pairing", &pairing);
    module.def("unit_factors", &factorsOfUnits);
}

}  // namespace qormath::python
