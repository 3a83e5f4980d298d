// SPDX-License-Identifier: BSD-3-Clause
#include "jobs/TensorEvaluation.h"
#include "python/src/Bindings.h"
#include "python/src/Failure.h"
#include "python/src/Progress.h"

#include "Axes/AxisAngles.h"
#include "Axes/DirectionColor.h"
#include "Axes/OrientationSums.h"
#include "Subfields/Tensors.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <string>
#include <vector>

namespace TEVRA::python {

namespace {

using Doubles = py::array_t<double, py::array::c_style | py::array::forcecast>;
using Floats = py::array_t<float, py::array::c_style>;

constexpr double SYMMETRY_TOLERANCE = 1e-6; // of the largest component

/// Upper triangle row by row; empty if a component is no number.
std::vector<double> components_of(const double* tensor, std::size_t dim) {
    std::vector<double> components;
    double largest = 0.0;
    double asymmetry = 0.0;
    for (std::size_t i = 0; i < dim; ++i) {
        for (std::size_t j = i; j < dim; ++j) {
            const double upper = tensor[i * dim + j];
            const double lower = tensor[j * dim + i];
            if (std::isnan(upper) || std::isnan(lower)) {
                return {};
            }
            components.push_back(upper);
            largest = std::max(largest, std::abs(upper));
            asymmetry = std::max(asymmetry, std::abs(upper - lower));
        }
    }
    if (!(asymmetry <= SYMMETRY_TOLERANCE * largest)) {
        throw CArgumentError("tensor", "is not symmetric; components xy and yx, for instance, must be equal");
    }
    const std::string wrong = jobs::WrongComponents(components);
    if (!wrong.empty()) {
        throw CArgumentError("tensor", wrong);
    }
    return components;
}

/// (eigenvalues, mean orientations, shapes, strengths) of n tensors; NaN where components are.
py::tuple evaluate(const Doubles& tensors) {
    const py::ssize_t count = tensors.shape(0);
    const auto dim = static_cast<std::size_t>(tensors.shape(1));
    py::array_t<double> eigenvalues({count, static_cast<py::ssize_t>(dim)});
    py::array_t<double> mean({count, static_cast<py::ssize_t>(dim)});
    py::array_t<double> shape(count);
    py::array_t<double> strength(count);
    const double* from = tensors.data();
    double* const toValues = eigenvalues.mutable_data();
    double* const toMean = mean.mutable_data();
    double* const toShape = shape.mutable_data();
    double* const toStrength = strength.mutable_data();
    Work(py::none(), [&] {
        constexpr double NONE = std::numeric_limits<double>::quiet_NaN();
        for (py::ssize_t at = 0; at < count; ++at) {
            const auto row = static_cast<std::size_t>(at) * dim;
            const std::vector<double> components = components_of(from + row * dim, dim);
            jobs::STensorEvaluation result;
            if (components.empty()) {
                result.eigenvalues.assign(dim, NONE);
                result.meanOrientation.assign(dim, NONE);
            } else {
                result = jobs::EvaluateTensor(components);
            }
            std::copy(result.eigenvalues.begin(), result.eigenvalues.end(), toValues + row);
            std::copy(result.meanOrientation.begin(), result.meanOrientation.end(), toMean + row);
            toShape[at] = result.shape.value_or(NONE);
            toStrength[at] = result.strength.value_or(NONE);
        }
    });
    return py::make_tuple(eigenvalues, mean, shape, strength);
}

/// Unit vectors of pixels, x, y[, z] last; 0 where there is no axis.
py::array_t<float> axes_of(const Floats& theta, const std::optional<Floats>& phi) {
    const py::ssize_t count = theta.size();
    const py::ssize_t dim = phi ? 3 : 2;
    py::array_t<float> axes({count, dim});
    const float* const thetaAt = theta.data();
    const float* const phiAt = phi ? phi->data() : nullptr;
    float* to = axes.mutable_data();
    const auto append = [&to](const auto& axis) {
        to = std::transform(axis.begin(), axis.end(), to,
                            [](double component) { return static_cast<float>(component); });
    };
    Work(py::none(), [&] {
        for (py::ssize_t at = 0; at < count; ++at) {
            const bool isAxis = thetaAt[at] >= 0.0F;
            if (phiAt != nullptr) {
                append(isAxis ? Impl::AxisOfAngles(thetaAt[at], phiAt[at]) : std::array<double, 3>{});
            } else {
                append(isAxis ? Impl::AxisOfAngle(thetaAt[at]) : std::array<double, 2>{});
            }
        }
    });
    return axes;
}

/// Colors of pixels, black where there is no axis.
py::array_t<std::uint8_t> colors_of(const Floats& theta, const std::optional<Floats>& phi) {
    const py::ssize_t count = theta.size();
    py::array_t<std::uint8_t> colors({count, py::ssize_t{3}});
    const float* const thetaAt = theta.data();
    const float* const phiAt = phi ? phi->data() : nullptr;
    std::uint8_t* to = colors.mutable_data();
    Work(py::none(), [&] {
        for (py::ssize_t at = 0; at < count; ++at) {
            Impl::SColor color{};
            if (thetaAt[at] >= 0.0F) {
                color = phiAt != nullptr ? Impl::ColorOfAxis(Impl::AxisOfAngles(thetaAt[at], phiAt[at]))
                                         : Impl::ColorOfAngle(static_cast<double>(thetaAt[at]));
            }
            *to++ = color.red;
            *to++ = color.green;
            *to++ = color.blue;
        }
    });
    return colors;
}

Impl::STensor4 new_tensor4(int dim) {
    if (dim != 2 && dim != 3) {
        throw CArgumentError("dim", "is " + std::to_string(dim) + ", but must be 2 or 3");
    }
    return Impl::STensor4(static_cast<std::size_t>(dim));
}

py::array_t<double> view_of(const py::object& self) {
    auto& tensor = self.cast<Impl::STensor4&>();
    const auto dim = static_cast<py::ssize_t>(tensor.dim);
    return py::array_t<double>({dim, dim, dim, dim}, tensor.elements.data(), self); // keeps the tensor alive
}

Impl::STensor4& add(Impl::STensor4& tensor, const Impl::STensor4& other) {
    if (tensor.dim != other.dim) {
        throw CArgumentError("other", "is of another dimension");
    }
    return tensor += other;
}

} // namespace

void BindTensors(py::module_& module) {
    module.def("evaluate_tensors", &evaluate, py::arg("tensors"));
    module.def("axes_of", &axes_of, py::arg("theta"), py::arg("phi"));
    module.def("colors_of", &colors_of, py::arg("theta"), py::arg("phi"));
    py::class_<Impl::STensor4>(module, "TensorRank4")
        .def(py::init(&new_tensor4), py::arg("dim"))
        .def_property_readonly("dim", [](const Impl::STensor4& tensor) { return tensor.dim; })
        .def_property_readonly("array", &view_of)
        .def("__iadd__", &add, py::return_value_policy::reference_internal)
        .def(
            "__itruediv__",
            [](Impl::STensor4& tensor, double divisor) -> Impl::STensor4& { return tensor /= divisor; },
            py::return_value_policy::reference_internal);
}

} // namespace TEVRA::python
