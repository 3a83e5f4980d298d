// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

namespace TEVRA::python {

namespace py = pybind11;

} // namespace TEVRA::python
