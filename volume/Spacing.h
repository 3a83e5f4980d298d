// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>

namespace TEVRA::volume {

/// What a header says of the distances between neighbouring pixels.
struct SSpacing {
    std::optional<std::array<double, 3>> distances; ///< x, y, z (2D: z is 1)
    std::string unit;                               ///< "mm", "um" or empty
    std::string note;                               ///< where they are from, or why there are none
    bool isBroken = false;                          ///< some are stated, but they are no lengths
};

/// A unit of length as one of those we keep: `factor` of `unit` make one of it.
struct SLengthUnit {
    std::string unit; ///< "mm" or "um"
    double factor;
};

/// The unit of a name or symbol as it is found in headers, as in "micron", "\u00B5m" (with mu as a character
/// of UTF-8 or Latin-1, or escaped) or "cm"; nothing for pixels and for names that are no length.
std::optional<SLengthUnit> ParseLengthUnit(std::string_view name);

/// True if a bare resolution tag says how large pixels are in the world rather than on paper.
///
/// Programs put a print or screen resolution (72, 96, 300 ... dpi) into files whatever the image shows. None
/// prints or scans by default at more than 5000 dpi (5.08 um), so a finer resolution was set by an instrument
/// or on purpose.
bool IsInstrumentResolution(double pixelsPerMm) noexcept;

/// Spacing from a bare resolution tag, which knows x and y only: none in 3D, and none if it is a print
/// resolution. @param tag its name for the note.
SSpacing SpacingFromResolution(double xPixelsPerMm, double yPixelsPerMm, int dim, const std::string& tag);

/// Distances from a header: none, with a note, unless those of the image's axes are finite and positive.
SSpacing CheckedSpacing(const std::array<double, 3>& distances, const std::string& unit, int dim,
                        const std::string& source);

} // namespace TEVRA::volume
