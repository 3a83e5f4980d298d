// SPDX-License-Identifier: BSD-3-Clause
#include "apps/Arguments.h"
#include "apps/Commands.h"
#include "apps/Console.h"
#include "apps/Failure.h"
#include "jobs/AngleMaps.h"
#include "jobs/BetaJob.h"
#include "jobs/Directions.h"
#include "jobs/Texts.h"

#include "report/Json.h"

#include <CLI/App.hpp>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <iomanip>
#include <iostream>
#include <memory>
#include <numbers>
#include <optional>
#include <sstream>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

namespace TEVRA::apps {

namespace {

using jobs::EBetaLimit;
using jobs::EDistributionType;
using Vector = std::array<double, 3>;

struct SBetaOptions {
    std::optional<std::string> theta;
    std::optional<std::string> phi;
    std::optional<std::string> angles;
    std::optional<std::string> type;
    std::string axis = "auto";
    bool json = false;
};

std::optional<EDistributionType> read_type(const std::optional<std::string>& text) {
    if (!text) {
        return std::nullopt;
    }
    const std::optional<EDistributionType> type = jobs::DistributionTypeNamed(*text);
    if (!type) {
        throw CUsageError("--type: '" + *text + "' is not " + jobs::DistributionTypeNames());
    }
    return type;
}

jobs::SymmetryAxis read_axis(const std::string& text) {
    if (text == "auto") {
        return jobs::SPrincipalAxis{};
    }
    if (text == "z") {
        return jobs::SAxisOfAngles{};
    }
    if (text == "x" || text == "y") {
        return text == "x" ? Vector{1.0, 0.0, 0.0} : Vector{0.0, 1.0, 0.0};
    }
    const std::vector<double> given = ReadNumbers({"--axis", text});
    const std::optional<Vector> axis =
        given.size() == 3 ? jobs::UnitVector({given[0], given[1], given[2]}) : std::nullopt;
    if (!axis) {
        throw CUsageError("--axis: '" + text + "' is not auto, x, y, z or a direction X,Y,Z that is not 0");
    }
    return *axis;
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
    double thetaUnit = 1.0; ///< in radians
    double phiUnit = 1.0;
};

/// The unit that a column's name ends in.
double unit_of(const std::string& name) {
    return name.ends_with("_deg") ? std::numbers::pi / 180.0 : 1.0;
}

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
            "of angles in radians, separated by commas");
    }
    return {*theta, *phi, unit_of(names[*theta]), unit_of(names[*phi])};
}

/// Spreadsheet programs put it before UTF-8.
constexpr std::string_view BYTE_ORDER_MARK = "\xEF\xBB\xBF";

jobs::CDirectionSample read_table(const std::string& path) {
    std::error_code ignored;
    std::ifstream file(path);
    if (!file || std::filesystem::is_directory(path, ignored)) {
        throw CWorkError("cannot open '" + path + "'; does it exist, is it a file, and may it be read?");
    }
    jobs::CDirectionSample sample;
    SColumns columns;
    std::string line;
    for (long long number = 1; std::getline(file, line); ++number) {
        if (number == 1 && line.starts_with(BYTE_ORDER_MARK)) {
            line.erase(0, BYTE_ORDER_MARK.size());
        }
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
        const double thetaRad = *theta * columns.thetaUnit;
        const double phiRad = *phi * columns.phiUnit;
        jobs::RequireRadians(thetaRad, where);
        jobs::RequireRadians(phiRad, where);
        sample.Add(thetaRad, phiRad);
    }
    if (file.bad()) {
        throw CWorkError("'" + path + "' cannot be read to its end; copy it again");
    }
    return sample;
}

jobs::CDirectionSample read_maps(const std::string& thetaPath, const std::string& phiPath) {
    const CConsole console(EVerbosity::normal); // its progress bar is gone before anything is printed
    const jobs::SAngleMaps maps = jobs::ReadAngleMaps(thetaPath, phiPath);
    const float* theta = maps.theta->Pixels<float>();
    const float* phi = maps.phi->Pixels<float>();
    jobs::CDirectionSample sample;
    for (std::size_t i = 0; i < maps.theta->Size().Elements(); ++i) {
        if (theta[i] >= 0.0F) {
            sample.Add(static_cast<double>(theta[i]), static_cast<double>(phi[i]));
        }
    }
    return sample;
}

jobs::CDirectionSample read_sample(const SBetaOptions& options) {
    if (options.angles.has_value() == options.theta.has_value()) {
        throw CUsageError("give either two maps THETA PHI or --angles FILE");
    }
    if (options.theta.has_value() != options.phi.has_value()) {
        throw CUsageError("give the map of longitudes PHI, too");
    }
    jobs::CDirectionSample sample =
        options.angles ? read_table(*options.angles) : read_maps(*options.theta, *options.phi);
    if (sample.Count() == 0) {
        throw CWorkError("'" + (options.angles ? *options.angles : *options.theta) +
                         "' holds no direction; there is nothing to estimate from");
    }
    return sample;
}

bool has_converged(const jobs::SBetaEstimate& result) {
    return result.fit.limit == EBetaLimit::none;
}

std::string percent(double share) {
    std::ostringstream text;
    text << std::setprecision(3) << 100.0 * share << " %";
    return text.str();
}

void warn_of_limit(const jobs::SBetaFit& fit) {
    if (fit.limit == EBetaLimit::alongAxis) {
        const std::string which =
            fit.alongShare == 1.0 ? "all directions lie along the axis; "
                                  : percent(fit.alongShare) +
                                        " of the directions lie along the axis itself, and from a third on ";
        PrintWarning(std::cerr, which + "beta is 0, the limit of ever narrower clusters");
    } else if (fit.limit == EBetaLimit::acrossAxis) {
        const std::string which =
            fit.acrossShare == 1.0
                ? "all directions lie across the axis; "
                : percent(fit.acrossShare) +
                      " of the directions lie exactly across the axis, and from two thirds on ";
        PrintWarning(std::cerr, which + "beta is infinite, the limit of ever flatter girdles");
    }
}

void warn_of_choice(const jobs::SAxisChoice& choice) {
    if (choice.evidence == jobs::EEvidence::none) {
        PrintWarning(
            std::cerr,
            "the sample does not tell an axis of symmetry: it differs from directions without "
            "preference, for which beta is 1, no more than chance makes it; name the axis with --axis "
            "if you know it");
    } else if (choice.evidence == jobs::EEvidence::weak) {
        std::ostringstream text;
        text << "the sample hardly tells its axis of symmetry: from the other principal axis beta is "
             << choice.otherFit.beta << "; name the axis with --axis if you know it";
        PrintWarning(std::cerr, text.str());
    }
}

void print_text(const jobs::SBetaEstimate& result) {
    const auto print_name = [](const char* name) {
        std::cout << std::left << std::setw(18) << name << std::right;
    };
    const auto print_row = [&](const char* name, const auto& values) {
        print_name(name);
        for (const double value : values) {
            std::cout << std::setw(12) << jobs::FixedText(value, 6);
        }
        std::cout << '\n';
    };
    print_name("sample size");
    std::cout << std::setw(12) << result.sampleSize << '\n';
    print_name("type");
    std::cout << std::setw(12) << jobs::NameOf(result.type) << '\n';
    print_row("eigenvalues", result.eigenvalues);
    if (result.axis) {
        print_row("axis", *result.axis);
    }
    print_row("beta", std::array{result.fit.beta});
    print_row("log-likelihood", std::array{result.fit.logLikelihood});
    if (result.choice) {
        print_row("other axis", result.choice->otherAxis);
        print_row("  beta", std::array{result.choice->otherFit.beta});
        print_row("  log-likelihood", std::array{result.choice->otherFit.logLikelihood});
        print_name("evidence");
        std::cout << std::setw(12) << jobs::NameOf(result.choice->evidence) << '\n';
    }
}

void print_json(const jobs::SBetaEstimate& result) {
    nlohmann::ordered_json json;
    json["sample_size"] = result.sampleSize;
    json["type"] = jobs::NameOf(result.type);
    json["eigenvalues"] = result.eigenvalues;
    json["axis"] = nullptr;
    if (result.axis) {
        json["axis"] = *result.axis;
    }
    json["beta"] = result.fit.beta;
    json["converged"] = has_converged(result);
    json["log_likelihood"] = result.fit.logLikelihood;
    if (result.choice) {
        const jobs::SAxisChoice& choice = *result.choice;
        json["axis_choice"] = {{"eigenvalue", choice.isOfLargest ? "largest" : "smallest"},
                               {"evidence", jobs::NameOf(choice.evidence)},
                               {"isotropy_statistic", choice.isotropyStatistic},
                               {"other_axis", choice.otherAxis},
                               {"other_beta", choice.otherFit.beta},
                               {"other_log_likelihood", choice.otherFit.logLikelihood}};
    }
    std::cout << report::ToText(json);
}

void run(const SBetaOptions& options) {
    const jobs::SBetaParameters parameters{read_type(options.type), read_axis(options.axis)};
    const jobs::SBetaEstimate result = jobs::EstimateBeta(read_sample(options), parameters);
    warn_of_limit(result.fit);
    if (result.choice) {
        warn_of_choice(*result.choice);
    }
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
        ->add_option("--angles", options->angles,
                     "Table of directions instead of maps: CSV with the columns theta_rad and phi_rad, or "
                     "theta_deg and "
                     "phi_deg, or two columns in radians without names")
        ->type_name("FILE");
    parser
        ->add_option(
            "--axis", options->axis,
            "Symmetry axis that polar angles are measured from: auto (the principal axis of the sample whose "
            "eigenvalue stands apart), x, y or another direction X,Y,Z, or z if the angles are already "
            "relative to it. "
            "Default: auto")
        ->type_name("AXIS");
    parser
        ->add_option(
            "--type", options->type,
            "Kind of the distribution: girdle, cluster or intermediate. With --axis auto a cluster is "
            "measured from the axis of the largest eigenvalue, a girdle from that of the smallest. "
            "Default: found from the sample")
        ->type_name("TYPE");
    parser->add_flag("--json", options->json, "Print JSON with all digits instead of text");
    parser->footer(
        "The density of the polar angle t is proportional to beta sin(t) (1 + (beta^2 - 1) cos^2(t))^(-3/2): "
        "beta is 1 for directions without preference, smaller for directions near the axis, larger for "
        "directions near the plane across it. Every direction counts as one of its own: of maps, whose "
        "pixels are "
        "many to a fiber, likelihoods and evidence say more than the fibers do.\n\n"
        "Example: tevra beta theta.mha phi.mha");
    return {parser, [options] { run(*options); }};
}

} // namespace TEVRA::apps
