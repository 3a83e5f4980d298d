// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "report/DirectionDensity.h"

#include "Axes/DirectionColor.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace TEVRA::report {

/// A section through an image across one of its axes, at reduced resolution: a pixel stands for a block of the
/// section's own pixels. Of the other two axes, the lower one runs to the right and the higher one down.
struct SSection {
    std::size_t axis = 2;            ///< across which it lies: 0 for x
    long long slicePx = 0;           ///< its place along that axis
    std::array<long long, 2> size{}; ///< pixels to the right and down
    // One byte per pixel:
    std::vector<std::uint8_t> grey;                 ///< from darkest to brightest
    std::array<std::vector<std::uint8_t>, 3> color; ///< red, green, blue of the mean of the block's axes
    std::vector<std::uint8_t> coverage;   ///< share of the block's pixels that have an axis, 255 for all
    std::vector<std::uint8_t> confidence; ///< of these axes, 255 for 1; empty where it is not known
};

/// What is kept of an image to be looked at.
struct SSections {
    std::array<long long, 3> blockPx{1, 1, 1}; ///< size of a block along x, y, z
    std::array<double, 2> greyRange{};         ///< grey values that are shown as 0 and 255
    std::vector<SSection> sections;            ///< by axis, then by place
};

/// Compresses bytes in the zlib format.
using BytePacker = std::string (*)(std::span<const std::byte> bytes);

/// Everything in a report that is neither in the result nor in the record of the run.
struct SPictureData {
    SSections sections;
    std::vector<unsigned long long> directions; ///< axes by the cells of CDirectionGrid, in 2D of CAngleGrid
    BytePacker pack = nullptr;
    // Made from these once for all that show them:
    SDirectionDensity density{};               ///< in 3D
    std::vector<std::string> packedSections{}; ///< see PackedSections; for reports only
};

} // namespace TEVRA::report
