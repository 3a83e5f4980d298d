// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "Axes/AxisAngles.h"

#include <array>
#include <cstddef>

namespace TEVRA::Impl {

/// Cells of equal area that the directions of the upper half-space fall into.
///
/// Rings around z, whose radii in Lambert's equal-area projection (r = sqrt(1 - cos colatitude), 1 at the equator)
/// are multiples of 1 / RINGS. Ring k is cut into 4 (2 k + 1) sectors, so that all cells have the area of
/// 2 pi / CELLS and are about as wide as long. Directions that are evenly distributed fill them evenly.
class CDirectionGrid {
  public:
    static constexpr std::size_t RINGS = 30;
    static constexpr std::size_t CELLS = 4 * RINGS * RINGS; ///< 2.4 degrees wide

    /// The cell of an axis of a map, which is there.
    static std::size_t CellOf(const SAxisAngles& angles);
    /// A unit vector to the middle of a cell.
    static std::array<double, 3> CentreOf(std::size_t cell);
};

/// The same in the plane: sectors of one degree around 0, 1, ..., 179 degrees from the x axis.
class CAngleGrid {
  public:
    static constexpr std::size_t CELLS = 180;

    /// The sector of an angle of a map, which is there.
    static std::size_t CellOf(float angleRad);
};

} // namespace TEVRA::Impl
