// SPDX-License-Identifier: BSD-3-Clause
#include "Subfields/SubfieldLayout.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <iomanip>
#include <limits>
#include <locale>
#include <sstream>

namespace TEVRA::Impl {
namespace {

long long wrapping_difference(long long a, long long b) {
    return static_cast<long long>(static_cast<unsigned long long>(a) - static_cast<unsigned long long>(b));
}

long long wrapping_product(long long a, long long b) {
    return static_cast<long long>(static_cast<unsigned long long>(a) * static_cast<unsigned long long>(b));
}

/// A box with as many dimensions as the image.
CBox box_of(const std::array<long long, 3>& point0, const std::array<long long, 3>& point1, int dim) {
    CBox box(static_cast<long>(point0[0]), static_cast<long>(point0[1]), static_cast<long>(point0[2]),
             static_cast<long>(point1[0]), static_cast<long>(point1[1]), static_cast<long>(point1[2]));
    box.Point0().SetDim(dim);
    box.Point1().SetDim(dim);
    return box;
}

} // namespace

long long CSubfieldLayout::BorderOfRadius(double fiberRadiusPx) {
    constexpr double twoTo63 = 9223372036854775808.0;
    const double rounded = fiberRadiusPx + 0.5;
    if (rounded >= twoTo63) {
        return std::numeric_limits<long long>::max();
    }
    if (!(rounded >= -twoTo63)) { // NaN too
        return std::numeric_limits<long long>::min();
    }
    return static_cast<long long>(rounded);
}

CSubfieldLayout::CSubfieldLayout(const CSize& imageSize, double fiberRadiusPx,
                                 const std::array<long long, 3>& subfieldSize)
    : CSubfieldLayout(imageSize, std::array{fiberRadiusPx, fiberRadiusPx, fiberRadiusPx}, subfieldSize) {}

CSubfieldLayout::CSubfieldLayout(const CSize& imageSize, const std::array<double, 3>& borderPx,
                                 const std::array<long long, 3>& subfieldSize)
    : m_dim(imageSize.Dim()), m_subfieldSize(subfieldSize) {
    for (int axis = 0; axis < m_dim; ++axis) {
        const auto at = static_cast<std::size_t>(axis);
        const long long border = BorderOfRadius(borderPx[at]);
        m_begin[at] = border;
        m_end[at] = wrapping_difference(imageSize[axis], border);
        m_extent[at] = wrapping_difference(m_end[at], border);
        if (m_subfieldSize[at] < 0 || m_extent[at] < m_subfieldSize[at]) {
            m_subfieldSize[at] = m_extent[at];
            m_listsSubfields = false;
        }
    }
}

CSubfieldLayout CSubfieldLayout::Divided(const CSize& imageSize, const std::array<double, 3>& borderPx,
                                         const TileIndex& counts) {
    CSubfieldLayout layout(imageSize, borderPx, {0, 0, 0});
    for (std::size_t axis = 0; axis < static_cast<std::size_t>(layout.m_dim); ++axis) {
        layout.m_subfieldSize[axis] = layout.m_extent[axis] / counts[axis];
    }
    layout.m_listsSubfields = true;
    layout.m_counts = counts;
    return layout;
}

double CSubfieldLayout::MeanSubfieldExtent(std::size_t axis) const {
    return m_counts ? static_cast<double>(m_extent[axis]) / static_cast<double>((*m_counts)[axis])
                    : static_cast<double>(m_subfieldSize[axis]);
}

std::array<long long, 3> CSubfieldLayout::UnlistedPixels() const {
    std::array<long long, 3> pixels{};
    const TileIndex tiles = FullTiles();
    for (std::size_t axis = 0; axis < static_cast<std::size_t>(m_dim); ++axis) {
        pixels[axis] = m_end[axis] - lower_corner(axis, tiles[axis]);
    }
    return pixels;
}

bool CSubfieldLayout::HasFullSubfieldSize(const CBox& tile) const {
    return m_counts ? tile.Size().Elements() > 0 : HasSize(tile, m_subfieldSize, m_dim);
}

long long CSubfieldLayout::lower_corner(std::size_t axis, long long index) const {
    const long long offset =
        m_counts ? m_extent[axis] * index / (*m_counts)[axis] : index * m_subfieldSize[axis];
    return m_begin[axis] + offset;
}

CBox CSubfieldLayout::EvaluatedArea() const {
    return box_of(m_begin, m_end, m_dim);
}

long long CSubfieldLayout::EvaluatedPixels() const {
    const long long inPlane = wrapping_product(m_extent[0], m_extent[1]);
    return m_dim == 3 ? wrapping_product(inPlane, m_extent[2]) : inPlane;
}

TileIndex CSubfieldLayout::FullTiles() const {
    TileIndex tiles{};
    for (std::size_t axis = 0; m_listsSubfields && axis < static_cast<std::size_t>(m_dim); ++axis) {
        tiles[axis] = m_counts ? (*m_counts)[axis] : m_extent[axis] / m_subfieldSize[axis];
    }
    return tiles;
}

CBox CSubfieldLayout::Tile(const TileIndex& index) const {
    std::array<long long, 3> point0{};
    std::array<long long, 3> point1{};
    for (std::size_t axis = 0; axis < static_cast<std::size_t>(m_dim); ++axis) {
        point0[axis] = lower_corner(axis, index[axis]);
        point1[axis] = std::min(lower_corner(axis, index[axis] + 1), m_end[axis]);
    }
    return box_of(point0, point1, m_dim);
}

bool CSubfieldLayout::HasSize(const CBox& box, const std::array<long long, 3>& wanted, int dim) {
    const CSize size = box.Size();
    return size[0] == wanted[0] && size[1] == wanted[1] && (dim != 3 || size[2] == wanted[2]);
}

int CSubfieldLayout::DigitsOf(int coordinate) {
    return coordinate <= 0 ? 1 : static_cast<int>(std::log10(static_cast<double>(coordinate))) + 1;
}

int CSubfieldLayout::IdentifierWidth() const {
    const TileIndex tiles = FullTiles();
    const auto last_corner = [&](std::size_t axis) { return lower_corner(axis, tiles[axis] - 1); };
    int largest = static_cast<std::int32_t>(std::max(last_corner(1), last_corner(0)));
    if (m_dim == 3) {
        largest = std::max(largest, static_cast<std::int32_t>(last_corner(2)));
    }
    return DigitsOf(largest);
}

std::string CSubfieldLayout::Identifier(const std::array<long long, 3>& corner, int dim, int width) {
    std::ostringstream text;
    text.imbue(std::locale::classic());
    text << std::setfill('0') << '(' << std::setw(width) << corner[0] << ',' << std::setw(width) << corner[1];
    if (dim > 2) {
        text << ',' << std::setw(width) << corner[2];
    }
    text << ')';
    return text.str();
}

} // namespace TEVRA::Impl
