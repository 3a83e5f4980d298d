// SPDX-License-Identifier: BSD-3-Clause
#include "phantom/Phantom.h"
#include "phantom/SeparateFibers.h"
#include "python/src/Arrays.h"
#include "python/src/Bindings.h"
#include "python/src/Failure.h"
#include "python/src/Progress.h"

#include <array>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace TEVRA::python {

namespace {

using Vector = std::array<double, 3>;

template <typename T>
T get(const py::dict& values, const char* name) {
    return values[name].cast<T>();
}

template <typename T>
std::optional<T> optional(const py::dict& values, const char* name) {
    const py::object value = values[name];
    return value.is_none() ? std::nullopt : std::optional(value.cast<T>());
}

CSize size_of(const py::dict& values) {
    const auto size = get<std::vector<long long>>(values, "size");
    return size.size() == 2 ? CSize(size[0], size[1]) : CSize(size[0], size[1], size[2]);
}

phantom::DirectionLaw directions_of(const py::dict& values, int dim) {
    if (const auto axis = optional<Vector>(values, "axis")) {
        return phantom::SOneAxis{*axis};
    }
    const auto symmetryAxis = get<Vector>(values, "symmetry_axis");
    const auto beta = optional<double>(values, "beta");
    if (get<bool>(values, "planar") || (dim == 2 && !beta)) {
        return phantom::SPlanar{symmetryAxis};
    }
    return phantom::SBetaFamily{beta.value_or(1.0), symmetryAxis};
}

/// What does not depend on the kind of phantom; of an image whose size is known.
template <typename OptionsT>
void read_common(const py::dict& values, OptionsT& options) {
    options.directions = directions_of(values, options.sizePx.Dim());
    std::tie(options.backgroundGrey, options.fiberGrey) = get<std::pair<double, double>>(values, "grey");
    options.noiseSd = get<double>(values, "noise");
    options.seed = get<std::uint64_t>(values, "seed");
}

phantom::SPhantomOptions overlapping_of(const py::dict& values, const std::string& layout) {
    phantom::SPhantomOptions options;
    options.sizePx = size_of(values);
    options.fiberRadiusPx = get<double>(values, "fiber_radius");
    if (layout == "single") {
        options.places = phantom::SThroughCentre{};
    } else if (layout == "grid") {
        options.places = phantom::SParallelGrid{get<double>(values, "fiber_distance")};
    } else {
        options.places = phantom::SRandomPlaces{get<double>(values, "volume_fraction")};
    }
    read_common(values, options);
    return options;
}

phantom::SeparatePlaces places_of(const py::dict& values, const std::string& layout) {
    const auto fraction = get<double>(values, "volume_fraction");
    if (layout == "bundles") {
        return phantom::SFiberBundles{fraction, get<double>(values, "bundle_radius")};
    }
    if (layout == "layers") {
        return phantom::SFiberLayers{fraction, get<std::vector<double>>(values, "layer_angles"),
                                     get<long long>(values, "layer_rows")};
    }
    return phantom::SScatteredFibers{fraction, 0.0};
}

phantom::SSeparateOptions separate_of(const py::dict& values, const std::string& layout) {
    phantom::SSeparateOptions options;
    options.sizePx = size_of(values);
    options.spacing = get<Vector>(values, "spacing");
    options.fiberRadius = get<double>(values, "fiber_radius");
    options.holeRadius = get<double>(values, "hole");
    options.blurSigma = get<double>(values, "blur");
    if (const auto wave = optional<std::pair<double, double>>(values, "wave")) {
        std::tie(options.waveAmplitude, options.waveLength) = *wave;
    }
    options.places = places_of(values, layout);
    read_common(values, options);
    return options;
}

py::dict dict_of(phantom::SPhantom&& made, const CSize& size) {
    const auto dim = static_cast<py::ssize_t>(size.Dim());
    py::dict result;
    result["image"] = ArrayOf(std::move(made.image));
    result["theta"] = ArrayOf(std::move(made.theta));
    result["phi"] = made.phi ? py::object(ArrayOf(std::move(made.phi))) : py::none();
    py::array_t<double> tensor({dim, dim});
    for (py::ssize_t i = 0; i < dim; ++i) {
        for (py::ssize_t j = 0; j < dim; ++j) {
            tensor.mutable_at(i, j) = made.tensor[static_cast<std::size_t>(i)][static_cast<std::size_t>(j)];
        }
    }
    result["tensor"] = tensor;
    py::array_t<double> axes({static_cast<py::ssize_t>(made.fibers.size()), dim});
    for (std::size_t fiber = 0; fiber < made.fibers.size(); ++fiber) {
        for (py::ssize_t i = 0; i < dim; ++i) {
            axes.mutable_at(static_cast<py::ssize_t>(fiber), i) =
                made.fibers[fiber].axis[static_cast<std::size_t>(i)];
        }
    }
    result["fiber_axes"] = axes;
    result["volume_fraction"] = made.volumeFraction;
    return result;
}

py::dict make(const py::dict& values, const py::object& progress) {
    const auto layout = get<std::string>(values, "layout");
    const bool isSeparate = !get<bool>(values, "overlap") && layout != "single" && layout != "grid";
    phantom::SPhantomOptions overlapping;
    phantom::SSeparateOptions separate;
    if (isSeparate) {
        separate = separate_of(values, layout);
    } else {
        overlapping = overlapping_of(values, layout);
    }
    phantom::SPhantom made;
    Work(progress, [&] {
        made = isSeparate ? phantom::MakeSeparatePhantom(separate) : phantom::MakePhantom(overlapping);
    });
    return dict_of(std::move(made), isSeparate ? separate.sizePx : overlapping.sizePx);
}

} // namespace

void BindPhantoms(py::module_& module) {
    module.def("phantom", &make, py::arg("settings"), py::arg("progress"));
}

} // namespace TEVRA::python
