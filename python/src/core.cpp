/// @file
/// The extension module qormath._core: the library's functions on arrays. It checks nothing; the package around it
/// does, and says what is wrong in its own words.

#include <string>

#include <qormath/core/xmsg.hpp>
#include <qormath/version.hpp>

#include "bindings.hpp"

namespace py = pybind11;

namespace {

/// What the library throws, as the exception Failure(code, operation); the plain int has no operation.
void translate(std::exception_ptr pointer, py::handle failure) {
    const auto raise = [failure](int code, const std::string& operation) {
        PyErr_SetObject(failure.ptr(), py::make_tuple(code, operation).ptr());
    };
    try {
        std::rethrow_exception(pointer);
    } catch (const QorMathLA::xmsg& error) {
        raise(error.code, error.message);
    } catch (int code) {
        raise(code, "");
    }
}

}  // namespace

PYBIND11_MODULE(_core, module) {
    module.doc() = "The library's functions on arrays; see the package qormath.";
    static py::handle failure;
    failure = PyErr_NewException("qormath._core.Failure", PyExc_Exception, nullptr);
    module.attr("Failure") = failure;
    py::register_exception_translator([](std::exception_ptr pointer) {
        if (pointer) {
            translate(pointer, failure);
        }
    });
    module.attr("__version__") = QORMATH_VERSION;
    qormath::python::bindMatrixFunctions(module);
    qormath::python::bindSystems(module);
    qormath::python::bindStepResponses(module);
}
