// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "report/Sections.h"

#include "Axes/DirectionColor.h"

#include <array>
#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace TEVRA::report {

using Impl::SColor;

struct SPoint {
    double x;
    double y;
};

enum class EAnchor { left, middle, right };

/// A picture of pixels: as much drawing as plots need, with smooth edges. Coordinates are in pixels from the upper left
/// corner, x to the right and y down; what lies outside is cut off.
class CRaster {
  public:
    CRaster(int width, int height, SColor background);

    int Width() const noexcept { return m_width; }
    int Height() const noexcept { return m_height; }

    /// Covers a pixel. @param opacity 0 to 1.
    void Blend(int x, int y, SColor color, double opacity = 1.0);
    /// A line with round ends; a disk where both are the same.
    void Line(SPoint from, SPoint to, double width, SColor color);
    void Polyline(std::span<const SPoint> points, double width, SColor color);
    /// A filled polygon.
    void Polygon(std::span<const SPoint> points, SColor color);
    /// Small letters, digits and signs of ASCII, as strokes. @param baseline of the text at its anchor.
    /// @param height of the digits.
    void Text(SPoint baseline, std::string_view text, double height, SColor color,
              EAnchor anchor = EAnchor::left);

    /// The file. @param pack as its format wants it.
    std::string Png(BytePacker pack) const;

  private:
    int m_width;
    int m_height;
    std::vector<std::byte> m_bytes; // rows of red, green, blue
};

} // namespace TEVRA::report
