// SPDX-License-Identifier: BSD-3-Clause
#include "volume/TiffMetadata.h"

#include "volume/NumberText.h"

#include <optional>
#include <string_view>

namespace TEVRA::volume {
namespace {

constexpr double MM_PER_INCH = 25.4;
constexpr double MM_PER_CENTIMETRE = 10.0;
constexpr double UNSTATED = 0.0;

/// The value of a line "key=value"; nothing if there is none.
std::optional<std::string_view> line_value(std::string_view text, std::string_view key) {
    while (!text.empty()) {
        const std::string_view line = text.substr(0, text.find('\n'));
        text.remove_prefix(line.size() == text.size() ? line.size() : line.size() + 1);
        if (line.size() > key.size() && line.starts_with(key) && line[key.size()] == '=') {
            return line.substr(key.size() + 1);
        }
    }
    return std::nullopt;
}

/// The start tag of the first element "Pixels", with or without a namespace.
std::string_view pixels_element(std::string_view xml) {
    constexpr std::string_view NAME = "Pixels";
    for (std::size_t at = xml.find(NAME); at != std::string_view::npos; at = xml.find(NAME, at + 1)) {
        const bool starts = at > 0 && (xml[at - 1] == '<' || xml[at - 1] == ':');
        const std::size_t after = at + NAME.size();
        const bool ends =
            after < xml.size() && std::string_view(" \t\r\n").find(xml[after]) != std::string_view::npos;
        if (starts && ends) {
            return xml.substr(after, xml.find('>', after) - after);
        }
    }
    return {};
}

std::optional<std::string_view> attribute(std::string_view element, std::string_view name) {
    for (std::size_t at = element.find(name); at != std::string_view::npos; at = element.find(name, at + 1)) {
        const std::size_t equals = at + name.size();
        const bool whole =
            at > 0 && std::string_view(" \t\r\n").find(element[at - 1]) != std::string_view::npos;
        if (!whole || equals + 1 >= element.size() || element[equals] != '=') {
            continue;
        }
        const char quote = element[equals + 1];
        const std::size_t end = element.find(quote, equals + 2);
        if ((quote == '"' || quote == '\'') && end != std::string_view::npos) {
            return element.substr(equals + 2, end - equals - 2);
        }
    }
    return std::nullopt;
}

double number_or(std::optional<std::string_view> text, double fallback) {
    return text ? ParseNumber(*text).value_or(fallback) : fallback;
}

long long count_or_one(std::optional<std::string_view> text) {
    return text ? ParseWholeNumber(*text).value_or(1) : 1;
}

double mm_per_unit(ETiffResolutionUnit unit) {
    return unit == ETiffResolutionUnit::inch ? MM_PER_INCH : MM_PER_CENTIMETRE;
}

SSpacing resolution_spacing(const STiffResolution& resolution, int dim) {
    if (resolution.unit == ETiffResolutionUnit::none) {
        return {std::nullopt, "", "the file states none"};
    }
    const double mm = mm_per_unit(resolution.unit);
    return SpacingFromResolution(resolution.xPixelsPerUnit / mm, resolution.yPixelsPerUnit / mm, dim,
                                 "the TIFF resolution");
}

/// In micrometres; 0 where nothing is stated.
std::optional<double> ome_distance(std::string_view pixels, const std::string& axis) {
    const std::optional<std::string_view> text = attribute(pixels, "PhysicalSize" + axis);
    const std::optional<double> value = text ? ParseNumber(*text) : std::nullopt;
    if (!value) {
        return UNSTATED;
    }
    const std::optional<SLengthUnit> unit =
        ParseLengthUnit(attribute(pixels, "PhysicalSize" + axis + "Unit").value_or("um"));
    if (!unit) {
        return std::nullopt; // "pixel" or "reference frame"
    }
    return *value * unit->factor * (unit->unit == "mm" ? 1000.0 : 1.0);
}

SSpacing ome_spacing(const std::string& description, int dim) {
    const std::string_view pixels = pixels_element(description);
    const std::optional<double> x = ome_distance(pixels, "X");
    const std::optional<double> y = ome_distance(pixels, "Y");
    const std::optional<double> z = ome_distance(pixels, "Z");
    if (!x || !y || (dim == 3 && !z)) {
        return {std::nullopt, "", "the OME metadata state no length"};
    }
    if (*x == UNSTATED || *y == UNSTATED || (dim == 3 && *z == UNSTATED)) {
        return {std::nullopt, "", "the OME metadata do not state it for every axis"};
    }
    return CheckedSpacing({*x, *y, z.value_or(1.0)}, "um", dim, "the OME metadata");
}

/// ImageJ writes pixels per `unit` into the resolution tags and the distance of slices into the description,
/// unless it is 1.
SSpacing imagej_spacing(const std::string& description, const STiffResolution& resolution, int dim) {
    const std::optional<std::string_view> unitName = line_value(description, "unit");
    const std::optional<std::string_view> depth = line_value(description, "spacing");
    const std::optional<SLengthUnit> unit = unitName ? ParseLengthUnit(*unitName) : std::nullopt;
    const bool calibrated = resolution.xPixelsPerUnit > 0.0 && resolution.yPixelsPerUnit > 0.0;
    if (!unit && !depth) {
        return resolution_spacing(resolution, dim);
    }
    if (unit && !calibrated) {
        return {std::nullopt, "", "the ImageJ metadata state a unit, but no pixels per unit"};
    }
    // ImageJ carries the print resolution of other files along as pixels per inch or cm.
    const bool mayBePrint =
        unit && !depth && (unit->factor == MM_PER_INCH || unit->factor == MM_PER_CENTIMETRE);
    if (mayBePrint) {
        return SpacingFromResolution(resolution.xPixelsPerUnit / unit->factor,
                                     resolution.yPixelsPerUnit / unit->factor, dim, "the ImageJ resolution");
    }
    const std::string source = "the ImageJ metadata";
    const double factor = unit ? unit->factor : 1.0;
    const bool perUnit = calibrated && resolution.unit == ETiffResolutionUnit::none;
    const double x = unit || perUnit ? 1.0 / resolution.xPixelsPerUnit : 1.0;
    const double y = unit || perUnit ? 1.0 / resolution.yPixelsPerUnit : 1.0;
    const double z = number_or(depth, 1.0);
    if (!unit && x == y && y == z) {
        return {std::nullopt, "", "the ImageJ metadata state no length"};
    }
    return CheckedSpacing({factor * x, factor * y, factor * z}, unit ? unit->unit : "", dim, source);
}

} // namespace

ETiffDialect TiffDialectOf(const std::string& description) {
    if (description.starts_with("ImageJ=")) {
        return ETiffDialect::imageJ;
    }
    const bool isOme = description.find("<OME") != std::string::npos ||
                       description.find("openmicroscopy.org/Schemas") != std::string::npos;
    return isOme ? ETiffDialect::ome : ETiffDialect::plain;
}

STiffAxes TiffAxesOf(const std::string& description) {
    STiffAxes axes;
    switch (TiffDialectOf(description)) {
    case ETiffDialect::imageJ:
        axes.channels = count_or_one(line_value(description, "channels"));
        axes.slices = count_or_one(line_value(description, "slices"));
        axes.timePoints = count_or_one(line_value(description, "frames"));
        axes.images = count_or_one(line_value(description, "images"));
        break;
    case ETiffDialect::ome: {
        const std::string_view pixels = pixels_element(description);
        axes.channels = count_or_one(attribute(pixels, "SizeC"));
        axes.slices = count_or_one(attribute(pixels, "SizeZ"));
        axes.timePoints = count_or_one(attribute(pixels, "SizeT"));
        break;
    }
    case ETiffDialect::plain:
        break;
    }
    return axes;
}

SSpacing TiffSpacing(const std::string& description, const STiffResolution& resolution, int dim) {
    switch (TiffDialectOf(description)) {
    case ETiffDialect::imageJ:
        return imagej_spacing(description, resolution, dim);
    case ETiffDialect::ome:
        return ome_spacing(description, dim);
    case ETiffDialect::plain:
        break;
    }
    return resolution_spacing(resolution, dim);
}

} // namespace TEVRA::volume
