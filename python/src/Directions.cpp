// SPDX-License-Identifier: BSD-3-Clause
#include "jobs/AngleMaps.h"
#include "jobs/BetaJob.h"
#include "jobs/DistanceJob.h"
#include "python/src/ArrayImage.h"
#include "python/src/Arrays.h"
#include "python/src/Bindings.h"
#include "python/src/Failure.h"
#include "python/src/Progress.h"

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace TEVRA::python {

namespace {

using Vector = std::array<double, 3>;
using Doubles = py::array_t<double, py::array::c_style | py::array::forcecast>;

constexpr std::array<const char*, 3> LIMIT_NAMES{"none", "along", "across"};

/// Where there is an axis. @param theta, phi of one size, 32-bit floats.
void require_radians(const CArrayImage& theta, const CArrayImage& phi) {
    const auto* const thetaAt = static_cast<const float*>(theta.Pixels());
    const auto* const phiAt = static_cast<const float*>(phi.Pixels());
    for (std::size_t at = 0; at < theta.Size().Elements(); ++at) {
        if (!(thetaAt[at] < 0.0F)) {
            jobs::RequireRadians(static_cast<double>(thetaAt[at]), "theta");
            jobs::RequireRadians(static_cast<double>(phiAt[at]), "phi");
        }
    }
}

void require_order(const CArrayImage& theta, const CArrayImage& phi) {
    const std::size_t count = theta.Size().Elements();
    if (jobs::LooksSwapped({static_cast<const float*>(theta.Pixels()), count},
                           {static_cast<const float*>(phi.Pixels()), count})) {
        throw CArgumentError("theta",
                             "holds longitudes and phi colatitudes, as it seems; give colatitudes first, "
                             "and fold those beyond pi/2: pi - theta in their place, and phi + pi");
    }
}

py::array distances(const CArrayImage& theta, const CArrayImage& phi, const Vector& reference) {
    const std::optional<Vector> unit = jobs::UnitVector(reference);
    if (!unit) {
        throw CArgumentError("reference", "has no direction; give a finite vector that is not 0");
    }
    jobs::SDistances result;
    Work(py::none(), [&] {
        require_radians(theta, phi);
        require_order(theta, phi);
        result = jobs::MeasureDistances(theta, phi, *unit);
    });
    return ArrayOf(std::move(result.distances));
}

jobs::EDistributionType type_of(const std::string& name) {
    const std::optional<jobs::EDistributionType> type = jobs::DistributionTypeNamed(name);
    if (!type) {
        throw CArgumentError("type", "'" + name + "' is not " + jobs::DistributionTypeNames());
    }
    return *type;
}

/// @param axis none: the principal one; "z": that of the angles; else a vector.
jobs::SymmetryAxis axis_of(const std::optional<Vector>& axis, bool isOfAngles) {
    if (isOfAngles) {
        return jobs::SAxisOfAngles{};
    }
    if (!axis) {
        return jobs::SPrincipalAxis{};
    }
    const std::optional<Vector> unit = jobs::UnitVector(*axis);
    if (!unit) {
        throw CArgumentError("axis", "has no direction; give a finite vector that is not 0");
    }
    return *unit;
}

std::vector<std::string> distribution_types() {
    std::vector<std::string> names;
    names.reserve(jobs::DISTRIBUTION_TYPES.size());
    for (const jobs::EDistributionType type : jobs::DISTRIBUTION_TYPES) {
        names.emplace_back(jobs::NameOf(type));
    }
    return names;
}

py::dict dict_of(const jobs::SBetaEstimate& estimate) {
    py::dict values;
    values["beta"] = estimate.fit.beta;
    values["type"] = jobs::NameOf(estimate.type);
    values["axis"] = estimate.axis ? py::cast(*estimate.axis) : py::object(py::none());
    values["eigenvalues"] = estimate.eigenvalues;
    values["sample_size"] = estimate.sampleSize;
    values["log_likelihood"] = estimate.fit.logLikelihood;
    values["limit"] = LIMIT_NAMES[static_cast<std::size_t>(estimate.fit.limit)];
    values["evidence"] = py::none();
    values["other_axis"] = py::none();
    values["other_beta"] = py::none();
    if (const auto& choice = estimate.choice) {
        values["evidence"] = jobs::NameOf(choice->evidence);
        values["other_axis"] = choice->otherAxis;
        values["other_beta"] = choice->otherFit.beta;
    }
    return values;
}

py::dict estimate_beta(const Doubles& theta, const Doubles& phi, const std::optional<std::string>& type,
                       const std::optional<Vector>& axis, bool isAxisOfAngles) {
    jobs::SBetaParameters parameters{std::nullopt, axis_of(axis, isAxisOfAngles)};
    if (type) {
        parameters.type = type_of(*type);
    }
    const py::ssize_t count = theta.size();
    const double* const thetaAt = theta.data();
    const double* const phiAt = phi.data();
    jobs::SBetaEstimate estimate;
    Work(py::none(), [&] {
        jobs::CDirectionSample sample;
        for (py::ssize_t at = 0; at < count; ++at) {
            if (thetaAt[at] < 0.0) {
                continue; // no axis
            }
            const std::string where = "angle " + std::to_string(at);
            jobs::RequireRadians(thetaAt[at], where);
            jobs::RequireRadians(phiAt[at], where);
            sample.Add(thetaAt[at], phiAt[at]);
        }
        if (sample.Count() == 0) {
            throw CArgumentError("theta", "holds no direction; there is nothing to estimate from");
        }
        estimate = jobs::EstimateBeta(sample, parameters);
    });
    return dict_of(estimate);
}

} // namespace

void BindDirections(py::module_& module) {
    module.def("pointwise_distance", &distances, py::arg("theta"), py::arg("phi"), py::arg("reference"));
    module.def("estimate_beta", &estimate_beta, py::arg("theta"), py::arg("phi"), py::arg("type"),
               py::arg("axis"), py::arg("is_axis_of_angles"));
    module.def("distribution_types", &distribution_types);
}

} // namespace TEVRA::python
