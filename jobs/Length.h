// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace TEVRA::jobs {

/// A length as people give it.
struct SLength {
    double value = 0.0;
    std::string
        unit; ///< "mm", "um" or "px"; empty: in the unit of the image, or in pixels if that has no spacing
};

/// A length greater than 0, with a unit as in "2.5um" (nm, um, mm, cm, m or another that image headers have)
/// or without; nothing if the text is none.
std::optional<SLength> ParseLength(std::string_view text);

/// The same, or a number of pixels as in "3px": of lengths that are about an image.
std::optional<SLength> ParseLengthOrPixels(std::string_view text);

/// A length that has a unit, but not pixels, in another one. @param unit "mm" or "um".
double LengthIn(const std::string& unit, const SLength& length);

/// What lengths in an image are measured in.
struct SImageLengths {
    std::string
        unit; ///< "mm", "um", "px" if the image has no spacing, empty if it has one in a unit that is not known
    std::span<const double> spacing; ///< per axis of the image
};

/// A length in the unit of an image. @param name of the length, as in "the fiber radius".
/// @throws CWorkError if the length has a unit and the image has none, or if it is a number of pixels that are no
///         cubes.
double LengthInUnitOfImage(const SLength& length, const std::string& name, const SImageLengths& image);

} // namespace TEVRA::jobs
