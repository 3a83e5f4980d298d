// SPDX-License-Identifier: BSD-3-Clause
#include "jobs/Length.h"

#include "jobs/Failure.h"
#include "jobs/Texts.h"

#include "volume/NumberText.h"
#include "volume/Spacing.h"

#include <algorithm>
#include <cmath>

namespace TEVRA::jobs {

std::optional<SLength> ParseLength(std::string_view text) {
    const std::size_t lastOfNumber = text.find_last_of("0123456789.");
    if (lastOfNumber == std::string_view::npos) {
        return std::nullopt;
    }
    const std::string_view unitName = text.substr(lastOfNumber + 1);
    const std::optional<double> number = volume::ParseNumber(text.substr(0, lastOfNumber + 1));
    if (!number) {
        return std::nullopt;
    }
    SLength length{*number, ""};
    if (unitName.find_first_not_of(' ') != std::string_view::npos) {
        const std::optional<volume::SLengthUnit> unit = volume::ParseLengthUnit(unitName);
        if (!unit) {
            return std::nullopt;
        }
        length = {*number * unit->factor, unit->unit};
    }
    const bool isLength = std::isfinite(length.value) && length.value > 0.0;
    return isLength ? std::optional(length) : std::nullopt;
}

std::optional<SLength> ParseLengthOrPixels(std::string_view text) {
    if (!text.ends_with("px")) {
        return ParseLength(text);
    }
    std::optional<SLength> length = ParseLength(text.substr(0, text.size() - 2));
    if (!length || !length->unit.empty()) {
        return std::nullopt;
    }
    length->unit = "px";
    return length;
}

double LengthIn(const std::string& unit, const SLength& length) {
    constexpr double UM_PER_MM = 1000.0;
    if (length.unit == unit) {
        return length.value;
    }
    // Divided, not multiplied by 0.001: 2.5 um are then the double that "0.0025" reads as.
    return unit == "mm" ? length.value / UM_PER_MM : length.value * UM_PER_MM;
}

double LengthInUnitOfImage(const SLength& length, const std::string& name, const SImageLengths& image) {
    const std::string& imageUnit = image.unit;
    if (length.unit.empty() || length.unit == imageUnit) {
        return length.value;
    }
    if (length.unit == "px") {
        if (std::any_of(image.spacing.begin(), image.spacing.end(),
                        [&image](double distance) { return distance != image.spacing.front(); })) {
            throw CWorkError(name + " is given in pixels (" + RoundedText(length.value) +
                             " px), which are no cubes in this image; give " + name +
                             " in the unit of the spacing");
        }
        return length.value * image.spacing.front();
    }
    const std::string given =
        name + " is given in a unit (" + RoundedText(length.value) + " " + length.unit + ")";
    if (imageUnit == "px") {
        throw CWorkError(given + ", but the image states no spacing; give its spacing with a unit, or " +
                         name + " in pixels, as a number alone");
    }
    if (imageUnit.empty()) {
        throw CWorkError(given + ", but the image's spacing has none; give the spacing with its unit, or " +
                         name + " in the unit of the spacing, as a number alone");
    }
    return LengthIn(imageUnit, length);
}

} // namespace TEVRA::jobs
