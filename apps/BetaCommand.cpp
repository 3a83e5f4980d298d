// SPDX-License-Identifier: BSD-3-Clause
#include "apps/Arguments.h"
#include "apps/Commands.h"
#include "apps/Console.h"
#include "apps/Failure.h"
#include "jobs/AngleMaps.h"

#include "Axes/OrientationSums.h"
#include "FilterOrientations/EstimationBeta.h"
#include "Numeric/Matrix.h"
#include "VexoNumeric/Numeric.h"
#include "report/Json.h"

#include <CLI/App.hpp>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <fstream>
#include <iomanip>
#include <iostream>
#include <limits>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

namespace TEVRA::apps {

namespace {

using EType = CEstimationBeta::EDistributionType;
using Vector = std::array<double, 3>;

struct SBetaOptions {
    std::optional<std::string> theta;
    std::optional<std::string> phi;
    std::optional<std::string> angles;
    std::optional<std::string> type;
    std::string axis = "auto";
    bool json = false;
};

/// Directions by their angles in radians, one entry each per direction.
struct SSample {
    std::vector<double> theta;
    std::vector<double> phi;
};

enum class ELimit { none, allAlong, allAcross };

struct SEstimate {
    std::size_t sampleSize = 0;
    EType type = CEstimationBeta::eGirdle;
    Vector eigenvalues{};       // largest first
    std::optional<Vector> axis; // that polar angles were measured from; none if they were given
    double beta = 0.0;
    ELimit limit = ELimit::none;
};

constexpr std::array<const char*, 3> TYPE_NAMES{"girdle", "cluster", "intermediate"};

std::optional<EType> read_type(const std::optional<std::string>& text) {
    if (!text) {
        return std::nullopt;
    }
    const auto found = std::find(TYPE_NAMES.begin(), TYPE_NAMES.end(), *text);
    if (found == TYPE_NAMES.end()) {
        throw CUsageError("--type: '" + *text + "' is not girdle, cluster or intermediate");
    }
    return static_cast<EType>(found - TYPE_NAMES.begin());
}

enum class EAxis { automatic, asGiven, named };

struct SAxisChoice {
    EAxis kind = EAxis::automatic;
    Vector axis{}; // unit vector, if named
};

SAxisChoice read_axis(const std::string& text) {
    if (text == "auto") {
        return {EAxis::automatic};
    }
    if (text == "z") {
        return {EAxis::asGiven};
    }
    const std::vector<double> given = ReadNumbers({"--axis", text});
    const double length = given.size() == 3 ? std::hypot(given[0], given[1], given[2]) : 0.0;
    if (!(length > 0.0) || !std::isfinite(length)) {
        throw CUsageError("--axis: '" + text + "' is not auto, z or a direction X,Y,Z that is not 0");
    }
    return {EAxis::named, {given[0] / length, given[1] / length, given[2] / length}};
}

std::vector<std::string> cells_of(const std::string& line) {
    std::vector<std::string> cells;
    std::istringstream row(line);
    for (std::string cell; std::getline(row, cell, ',');) {
        const std::size_t first = cell.find_first_not_of(" \t\r\"");
        const std::size_t last = cell.find_last_not_of(" \t\r\"");
        cells.push_back(first == std::string::npos ? "" : cell.substr(first, last - first + 1));
    }
    return cells;
}

std::optional<double> number_of(const std::string& cell) {
    double number = 0.0;
    const char* const end = cell.data() + cell.size();
    const std::from_chars_result result = std::from_chars(cell.data(), end, number);
    return result.ec == std::errc() && result.ptr == end && !cell.empty() ? std::optional(number)
                                                                          : std::nullopt;
}

/// Where a table has its angles.
struct SColumns {
    std::size_t theta = 0;
    std::size_t phi = 1;
};

/// The columns by their names, if the first line has names: those that begin with theta and phi.
SColumns columns_of(const std::vector<std::string>& names, const std::string& path) {
    std::optional<std::size_t> theta;
    std::optional<std::size_t> phi;
    for (std::size_t i = 0; i < names.size(); ++i) {
        if (names[i].starts_with("theta")) {
            theta = i;
        } else if (names[i].starts_with("phi")) {
            phi = i;
        }
    }
    if (!theta || !phi) {
        throw CWorkError(
            "the first line of '" + path +
            "' names no columns theta_rad and phi_rad and holds no two numbers; give two columns "
            "of angles in radians");
    }
    return {*theta, *phi};
}

SSample read_table(const std::string& path) {
    std::ifstream file(path);
    if (!file) {
        throw CWorkError("cannot open '" + path + "'; does it exist, and may it be read?");
    }
    SSample sample;
    SColumns columns;
    std::string line;
    for (long long number = 1; std::getline(file, line); ++number) {
        const std::vector<std::string> cells = cells_of(line);
        if (cells.empty() || (cells.size() == 1 && cells[0].empty())) {
            continue;
        }
        if (number == 1 && !number_of(cells[0])) {
            columns = columns_of(cells, path);
            continue;
        }
        const std::string where = "line " + std::to_string(number) + " of '" + path + "'";
        if (cells.size() <= std::max(columns.theta, columns.phi)) {
            throw CWorkError(where +
                             " has fewer columns than theta and phi need; every direction needs both");
        }
        const std::optional<double> theta = number_of(cells[columns.theta]);
        const std::optional<double> phi = number_of(cells[columns.phi]);
        if (!theta || !phi) {
            throw CWorkError(where + ": '" + cells[columns.theta] + "' and '" + cells[columns.phi] +
                             "' are not two numbers");
        }
        jobs::RequireRadians(*theta, where);
        jobs::RequireRadians(*phi, where);
        sample.theta.push_back(*theta);
        sample.phi.push_back(*phi);
    }
    return sample;
}

SSample read_maps(const std::string& thetaPath, const std::string& phiPath) {
    const CConsole console(EVerbosity::normal); // its progress bar is gone before anything is printed
    const jobs::SAngleMaps maps = jobs::ReadAngleMaps(thetaPath, phiPath);
    const float* theta = maps.theta->Pixels<float>();
    const float* phi = maps.phi->Pixels<float>();
    SSample sample;
    for (std::size_t i = 0; i < maps.theta->Size().Elements(); ++i) {
        if (theta[i] >= 0.0F) {
            sample.theta.push_back(static_cast<double>(theta[i]));
            sample.phi.push_back(static_cast<double>(phi[i]));
        }
    }
    return sample;
}

SSample read_sample(const SBetaOptions& options) {
    if (options.angles.has_value() == options.theta.has_value()) {
        throw CUsageError("give either two maps THETA PHI or --angles FILE");
    }
    if (options.theta.has_value() != options.phi.has_value()) {
        throw CUsageError("give the map of longitudes PHI, too");
    }
    SSample sample = options.angles ? read_table(*options.angles) : read_maps(*options.theta, *options.phi);
    if (sample.theta.empty()) {
        throw CWorkError("'" + (options.angles ? *options.angles : *options.theta) +
                         "' holds no direction; there is nothing to estimate from");
    }
    return sample;
}

Vector direction_of(const SSample& sample, std::size_t i) {
    return {std::sin(sample.theta[i]) * std::cos(sample.phi[i]),
            std::sin(sample.theta[i]) * std::sin(sample.phi[i]), std::cos(sample.theta[i])};
}

/// Eigenvalues, largest first, and eigenvectors of the mean outer product.
struct SPrincipalAxes {
    Vector eigenvalues{};
    std::array<Vector, 3> axes{};
};

SPrincipalAxes principal_axes(const SSample& sample) {
    Impl::CSecondOrderSums<3> sums;
    for (std::size_t i = 0; i < sample.theta.size(); ++i) {
        sums.Add(direction_of(sample, i));
    }
    CMatrix<double> tensor(3, 3);
    sums.CopyTo(tensor);
    CMatrix<double> u(3, 3);
    CMatrix<double> s(3, 1);
    CMatrix<double> v(3, 3);
    if (!CNumeric::Svd(tensor, u, s, v, true)) {
        throw CWorkError("the sample's principal axes cannot be computed; give the axis with --axis");
    }
    SPrincipalAxes result;
    for (std::size_t i = 0; i < 3; ++i) {
        result.eigenvalues[i] = s(i, 0) / static_cast<double>(sums.Count());
        for (std::size_t row = 0; row < 3; ++row) {
            result.axes[i][row] = u(row, i);
        }
    }
    return result;
}

/// Polar angles from an axis, in [0, pi/2]: a direction and its opposite are the same.
std::vector<double> polar_angles(const SSample& sample, const Vector& a) {
    std::vector<double> theta;
    theta.reserve(sample.theta.size());
    for (std::size_t i = 0; i < sample.theta.size(); ++i) {
        const Vector v = direction_of(sample, i);
        const double along = v[0] * a[0] + v[1] * a[1] + v[2] * a[2];
        const double across =
            std::hypot(v[1] * a[2] - v[2] * a[1], v[2] * a[0] - v[0] * a[2], v[0] * a[1] - v[1] * a[0]);
        theta.push_back(std::atan2(across, std::abs(along)));
    }
    return theta;
}

/// Where all directions lie along the axis or across it, the likelihood has no maximum: it grows towards beta
/// 0 or infinity, and the iteration ends anywhere.
ELimit limit_of(const std::vector<double>& theta) {
    constexpr double SMALLEST_ANGLE = 1e-6; // maps hold floats
    if (std::all_of(theta.begin(), theta.end(),
                    [](double t) { return std::abs(std::sin(t)) < SMALLEST_ANGLE; })) {
        return ELimit::allAlong;
    }
    if (std::all_of(theta.begin(), theta.end(),
                    [](double t) { return std::abs(std::cos(t)) < SMALLEST_ANGLE; })) {
        return ELimit::allAcross;
    }
    return ELimit::none;
}

/// Estimates from polar angles that are measured from the symmetry axis.
void estimate_beta(SEstimate& result, const std::vector<double>& theta, const std::vector<double>& phi) {
    result.limit = limit_of(theta);
    if (result.limit == ELimit::allAlong) {
        result.beta = 0.0;
    } else if (result.limit == ELimit::allAcross) {
        result.beta = std::numeric_limits<double>::infinity();
    } else {
        result.beta = CEstimationBeta(nullptr, nullptr).computeEstimate(theta, phi, result.type, true);
    }
}

EType classify(const SSample& sample) {
    EType type = CEstimationBeta::eGirdle;
    CEstimationBeta(nullptr, nullptr).computeEstimate(sample.theta, sample.phi, type, false);
    return type;
}

SEstimate estimate(const SSample& sample, std::optional<EType> givenType, const SAxisChoice& choice) {
    SEstimate result;
    result.sampleSize = sample.theta.size();
    // The type depends on the sample only, not on where polar angles are measured from.
    result.type = givenType ? *givenType : classify(sample);
    const SPrincipalAxes principal = principal_axes(sample);
    result.eigenvalues = principal.eigenvalues;
    if (choice.kind == EAxis::asGiven) {
        estimate_beta(result, sample.theta, sample.phi);
        return result;
    }
    constexpr std::array<std::size_t, 3> AXIS_OF_TYPE{2, 0, 1};
    result.axis = choice.kind == EAxis::named
                      ? choice.axis
                      : principal.axes[AXIS_OF_TYPE[static_cast<std::size_t>(result.type)]];
    estimate_beta(result, polar_angles(sample, *result.axis), sample.phi);
    return result;
}

bool has_converged(const SEstimate& result) {
    return result.limit == ELimit::none && result.beta > 0.0;
}

void warn_about(const SEstimate& result) {
    switch (result.limit) {
    case ELimit::allAlong:
        PrintWarning(std::cerr,
                     "all directions lie along the axis; beta is 0, the limit of ever narrower clusters");
        return;
    case ELimit::allAcross:
        PrintWarning(
            std::cerr,
            "all directions lie across the axis; beta is infinite, the limit of ever flatter girdles");
        return;
    case ELimit::none:
        break;
    }
    if (!has_converged(result)) {
        PrintWarning(std::cerr, "the iteration ended at 0 without converging; the sample may hold too few "
                                "different directions, or another --type or --axis may suit it better");
    }
}

void print_text(const SEstimate& result) {
    const auto print_row = [](const char* name, const auto& values) {
        std::cout << std::left << std::setw(16) << name << std::right << std::fixed << std::setprecision(6);
        for (const double value : values) {
            std::cout << std::setw(12) << value;
        }
        std::cout << '\n';
    };
    std::cout << std::left << std::setw(16) << "sample size" << std::right << std::setw(12)
              << result.sampleSize << '\n';
    std::cout << std::left << std::setw(16) << "type" << std::right << std::setw(12)
              << TYPE_NAMES[static_cast<std::size_t>(result.type)] << '\n';
    print_row("eigenvalues", result.eigenvalues);
    if (result.axis) {
        print_row("axis", *result.axis);
    }
    print_row("beta", std::array{result.beta});
}

void print_json(const SEstimate& result) {
    nlohmann::ordered_json json;
    json["sample_size"] = result.sampleSize;
    json["type"] = TYPE_NAMES[static_cast<std::size_t>(result.type)];
    json["eigenvalues"] = result.eigenvalues;
    json["axis"] = nullptr;
    if (result.axis) {
        json["axis"] = *result.axis;
    }
    json["beta"] = result.beta;
    json["converged"] = has_converged(result);
    std::cout << report::ToText(json);
}

void run(const SBetaOptions& options) {
    const std::optional<EType> type = read_type(options.type);
    const SAxisChoice axis = read_axis(options.axis);
    const SEstimate result = estimate(read_sample(options), type, axis);
    if (std::isnan(result.beta)) {
        throw CWorkError(
            "the iteration did not end at a number; the sample may hold too few different directions, "
            "or another --type or --axis may suit it better");
    }
    warn_about(result);
    if (options.json) {
        print_json(result);
    } else {
        print_text(result);
    }
}

} // namespace

SCommand AddBetaCommand(CLI::App& program) {
    const auto options = std::make_shared<SBetaOptions>();
    CLI::App* const parser = program.add_subcommand(
        "beta", "Estimate the anisotropy parameter beta of a distribution of fiber directions");
    parser->add_option("THETA", options->theta,
                       "Map of colatitudes in radians, negative where there is no axis, 3D");
    parser->add_option("PHI", options->phi, "Map of longitudes in radians, of the same size");
    parser
        ->add_option(
            "--angles", options->angles,
            "Table of directions instead of maps: CSV with the columns theta_rad and phi_rad, or two "
            "columns without names")
        ->type_name("FILE");
    parser
        ->add_option(
            "--axis", options->axis,
            "Symmetry axis that polar angles are measured from: auto (the sample's principal axis), a "
            "direction X,Y,Z, or z if the angles are already relative to it. Default: auto")
        ->type_name("AXIS");
    parser
        ->add_option("--type", options->type,
                     "Kind of the distribution: girdle, cluster or intermediate. Default: found from the "
                     "sample")
        ->type_name("TYPE");
    parser->add_flag("--json", options->json, "Print JSON with all digits instead of text");
    parser->footer(
        "The density of the polar angle t is proportional to beta sin(t) (1 + (beta^2 - 1) cos^2(t))^(-3/2): "
        "beta is 1 for directions without preference, smaller for directions near the axis, larger for "
        "directions near the plane across it.\n\n"
        "Example: tevra beta theta.mha phi.mha");
    return {parser, [options] { run(*options); }};
}

} // namespace TEVRA::apps
