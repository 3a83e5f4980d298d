// SPDX-License-Identifier: BSD-3-Clause
#include "volume/Spacing.h"

#include "volume/NumberText.h"

#include <cmath>

namespace TEVRA::volume {
namespace {

constexpr double MM_PER_INCH = 25.4;
constexpr double FINEST_PRINT_DPI = 5000.0;

struct SNamedUnit {
    std::string_view name;
    const char* unit;
    double factor;
};

constexpr std::array<SNamedUnit, 37> UNITS{{
    {"um", "um", 1.0},          {"\xC2\xB5m", "um", 1.0}, // micro sign
    {"\xCE\xBCm", "um", 1.0},                             // Greek letter mu
    {"\xB5m", "um", 1.0},                                 // micro sign in Latin-1
    {"\\u00B5m", "um", 1.0},    {"\\u00b5m", "um", 1.0},     {"&#181;m", "um", 1.0},
    {"&#xB5;m", "um", 1.0},     {"&#xb5;m", "um", 1.0},      {"micron", "um", 1.0},
    {"microns", "um", 1.0},     {"micrometer", "um", 1.0},   {"micrometers", "um", 1.0},
    {"micrometre", "um", 1.0},  {"micrometres", "um", 1.0},  {"nm", "um", 1e-3},
    {"nanometer", "um", 1e-3},  {"nanometers", "um", 1e-3},  {"nanometre", "um", 1e-3},
    {"pm", "um", 1e-6},         {"\xC3\x85", "um", 1e-4}, // Angstrom
    {"angstrom", "um", 1e-4},   {"mm", "mm", 1.0},           {"millimeter", "mm", 1.0},
    {"millimeters", "mm", 1.0}, {"millimetre", "mm", 1.0},   {"millimetres", "mm", 1.0},
    {"cm", "mm", 10.0},         {"centimeter", "mm", 10.0},  {"centimetre", "mm", 10.0},
    {"m", "mm", 1000.0},        {"meter", "mm", 1000.0},     {"meters", "mm", 1000.0},
    {"metre", "mm", 1000.0},    {"inch", "mm", MM_PER_INCH}, {"inches", "mm", MM_PER_INCH},
    {"in", "mm", MM_PER_INCH},
}};

std::string rounded_dpi(double pixelsPerMm) {
    const double dpi = pixelsPerMm * MM_PER_INCH;
    return NumberText(dpi < 10.0 ? dpi : std::round(dpi));
}

bool is_positive(double value) {
    return std::isfinite(value) && value > 0.0;
}

} // namespace

std::optional<SLengthUnit> ParseLengthUnit(std::string_view name) {
    while (!name.empty() && (name.front() == ' ' || name.front() == '"')) {
        name.remove_prefix(1);
    }
    while (!name.empty() && (name.back() == ' ' || name.back() == '"' || name.back() == '\r')) {
        name.remove_suffix(1);
    }
    for (const SNamedUnit& known : UNITS) {
        if (known.name == name) {
            return SLengthUnit{known.unit, known.factor};
        }
    }
    return std::nullopt;
}

bool IsInstrumentResolution(double pixelsPerMm) noexcept {
    return std::isfinite(pixelsPerMm) && pixelsPerMm * MM_PER_INCH > FINEST_PRINT_DPI;
}

SSpacing SpacingFromResolution(double xPixelsPerMm, double yPixelsPerMm, int dim, const std::string& tag) {
    if (!is_positive(xPixelsPerMm) || !is_positive(yPixelsPerMm)) {
        return {std::nullopt, "", "the file states none"};
    }
    if (!IsInstrumentResolution(xPixelsPerMm) || !IsInstrumentResolution(yPixelsPerMm)) {
        return {std::nullopt, "",
                tag + " of " + rounded_dpi(xPixelsPerMm) + " dpi is taken for one of print or screen"};
    }
    if (dim != 2) {
        return {std::nullopt, "", tag + " says nothing of the distance of slices"};
    }
    return CheckedSpacing({1.0 / xPixelsPerMm, 1.0 / yPixelsPerMm, 1.0}, "mm", dim, tag);
}

SSpacing CheckedSpacing(const std::array<double, 3>& distances, const std::string& unit, int dim,
                        const std::string& source) {
    for (std::size_t axis = 0; axis < static_cast<std::size_t>(dim); ++axis) {
        if (!is_positive(distances[axis])) {
            return {std::nullopt, "", source + " is no length: " + NumberText(distances[axis]), true};
        }
    }
    return {std::array<double, 3>{distances[0], distances[1], dim == 2 ? 1.0 : distances[2]}, unit, source};
}

} // namespace TEVRA::volume
