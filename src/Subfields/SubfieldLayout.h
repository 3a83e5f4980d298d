// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "zeklib2image/Box.h"
#include "zeklib2image/Size.h"

#include <array>
#include <optional>
#include <string>

namespace TEVRA::Impl {

/// Index of a tile along x, y and z.
using TileIndex = std::array<long long, 3>;

/// How an image is cut: a border that is left out, and tiles over the evaluated area inside it. All lengths
/// in pixels. Beyond the image's dimensions, border and ends are 0.
///
/// Arithmetic on extents wraps around instead of overflowing: a radius beyond all measure gives an absurd
/// border, and the checks of the analysis then refuse the run.
class CSubfieldLayout {
  public:
    /// The border of a fiber radius: rounded to the nearest integer, halves upward. NaN and radii below the
    /// 64-bit range give its lowest, radii above it its largest value.
    static long long BorderOfRadius(double fiberRadiusPx);

    /// Fits the subfield sizes to the image: a size that is negative or does not fit into the evaluated area
    /// is replaced by that area's extent, and no subfields are listed then. In 2D the size along z is left
    /// alone.
    /// @param imageSize 2D or 3D.
    CSubfieldLayout(const CSize& imageSize, double fiberRadiusPx,
                    const std::array<long long, 3>& subfieldSize);
    /// The same with a border of its own for each axis, rounded as that of a radius.
    CSubfieldLayout(const CSize& imageSize, const std::array<double, 3>& borderPx,
                    const std::array<long long, 3>& subfieldSize);

    /// Divides the whole evaluated area into so many subfields per axis. Where an extent is no multiple of
    /// its count, their sizes differ by one pixel.
    /// @param counts 1 or more along each axis of the image, and no more than the area has pixels.
    /// @param borderPx as above.
    static CSubfieldLayout Divided(const CSize& imageSize, const std::array<double, 3>& borderPx,
                                   const TileIndex& counts);
    static CSubfieldLayout Divided(const CSize& imageSize, double fiberRadiusPx, const TileIndex& counts) {
        return Divided(imageSize, std::array{fiberRadiusPx, fiberRadiusPx, fiberRadiusPx}, counts);
    }

    int Dim() const noexcept { return m_dim; }
    /// Along x.
    long long Border() const noexcept { return m_begin[0]; }
    /// Along every axis; 0 along z in 2D.
    const std::array<long long, 3>& Borders() const noexcept { return m_begin; }
    /// The size of a subfield; where sizes differ, the smallest along each axis.
    const std::array<long long, 3>& SubfieldSize() const noexcept { return m_subfieldSize; }
    /// The same along an axis, on average where sizes differ.
    double MeanSubfieldExtent(std::size_t axis) const;
    /// Pixels at the far edge of the evaluated area, per axis, that belong to no listed subfield.
    std::array<long long, 3> UnlistedPixels() const;
    /// Whether full tiles are reported as subfields.
    bool ListsSubfields() const noexcept { return m_listsSubfields; }
    /// The evaluated area; the upper corner is exclusive.
    CBox EvaluatedArea() const;
    /// Its number of pixels.
    long long EvaluatedPixels() const;

    /// Number of whole tiles per axis; 0 if no subfields are listed. The sizes must have passed the checks of
    /// the analysis: none of those in use is 0.
    TileIndex FullTiles() const;
    /// The tile at an index. Indices run from 0 to the number of whole tiles, that included (the remainder at
    /// the far edge, possibly empty).
    CBox Tile(const TileIndex& index) const;
    /// Whether a tile has the size of a subfield; where sizes differ, whether it has any.
    bool HasFullSubfieldSize(const CBox& tile) const;
    /// Whether a box has the given size along x and y and, if `dim` is 3, along z.
    static bool HasSize(const CBox& box, const std::array<long long, 3>& wanted, int dim);

    /// Digits of the coordinates in identifiers: those of the largest lower corner of a whole tile, at
    /// least 1.
    int IdentifierWidth() const;
    /// As in "(005,105)": the lower corner, zero-filled to `width` digits.
    static std::string Identifier(const std::array<long long, 3>& corner, int dim, int width);
    /// Number of decimal digits of a coordinate; 1 for 0 and below.
    static int DigitsOf(int coordinate);

  private:
    long long lower_corner(std::size_t axis, long long index) const;

    int m_dim;
    std::array<long long, 3> m_extent{}; // of the evaluated area
    std::array<long long, 3> m_begin{};
    std::array<long long, 3> m_end{}; // exclusive
    std::array<long long, 3> m_subfieldSize;
    bool m_listsSubfields = true;
    std::optional<TileIndex> m_counts; // of subfields whose sizes may differ
};

} // namespace TEVRA::Impl
