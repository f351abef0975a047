#pragma once

#include <pybind11/pybind11.h>

namespace qormath::python {

void bindMatrixFunctions(pybind11::module_& module);
void bindSystems(pybind11::module_& module);
void bindStepResponses(pybind11::module_& module);

}  // namespace qormath::python
