// SPDX-License-Identifier: BSD-3-Clause
#include "python/src/Bindings.h"

PYBIND11_MODULE(_tevra, module) {
    using namespace TEVRA::python;
    module.doc() = "What the package tevra is made of; use that.";
    module.attr("__version__") = TEVRA_VERSION;
    BindFailures(module);
    BindFiles(module);
    BindAnalysis(module);
    BindTensors(module);
    BindDirections(module);
    BindPhantoms(module);
    BindEstimators(module);
    BindFilterBank(module);
}
