// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "python/src/Pybind.h"

namespace TEVRA::python {

// What the module tevra._tevra is made of: each adds its part. The package tevra beside it checks and converts
// arguments, and has the docstrings.

void BindFailures(py::module_& module);
void BindFiles(py::module_& module);
void BindAnalysis(py::module_& module);
void BindEstimators(py::module_& module);
void BindFilterBank(py::module_& module);
void BindTensors(py::module_& module);
void BindDirections(py::module_& module);
void BindPhantoms(py::module_& module);

} // namespace TEVRA::python
