// SPDX-License-Identifier: BSD-3-Clause
#include "VexoSpectral/ForwardTransform.h"

#include <algorithm>

namespace TEVRA::Impl {

CForwardTransform::CForwardTransform(const Extents& extents)
    : m_size(extents), m_x{extents[0]}, m_y{extents[1]}, m_z{extents[2]}, m_halfExtent(extents[0] / 2 + 1),
      m_stripWidth(CColumnBlocks::ColumnsInCache(extents[1], m_halfExtent)),
      m_realRow(extents[0] * sizeof(float)), m_halfRow(m_halfExtent * sizeof(Complex)),
      m_real(reinterpret_cast<float*>(m_realRow.Data())),
      m_half(reinterpret_cast<Complex*>(m_halfRow.Data())),
      m_rowPlan(CFftwPlan::RealToHalf(extents[0], m_real, m_half)),
      m_xzPlane(EDirection::forward, extents[2], m_halfExtent),
      m_plane(EDirection::forward, extents[1], m_stripWidth),
      m_opposite(EDirection::forward, extents[1], m_stripWidth) {}

void CForwardTransform::Run(const SPixels<const std::byte>& image, RowReader reader,
                            const SPixels<std::byte>& spectrum) {
    for (std::size_t y = 0; y < m_y.extent; ++y) {
        transform_xz_plane(image, reader, spectrum, y);
    }
    for (std::size_t kz = 0; kz <= m_z.Opposite(kz) && kz < m_z.extent; ++kz) {
        for (std::size_t first = 0; first < m_halfExtent; first += m_stripWidth) {
            transform_planes(spectrum, kz, {first, std::min(m_stripWidth, m_halfExtent - first)});
        }
    }
}

void CForwardTransform::transform_xz_plane(const SPixels<const std::byte>& image, RowReader reader,
                                           const SPixels<std::byte>& spectrum, std::size_t y) {
    for (std::size_t z = 0; z < m_z.extent; ++z) {
        reader(image.Row(y, z), image.strides[0], m_x.extent, m_real);
        m_rowPlan.Execute();
        m_xzPlane.PutRow(z, m_half, m_halfExtent);
    }
    m_xzPlane.Transform(m_halfExtent);
    const SStrip whole{0, m_halfExtent};
    for (std::size_t kz = 0; kz < m_z.extent; ++kz) {
        m_xzPlane.GetRow(kz, m_half, m_halfExtent);
        const std::size_t z = m_z.PixelOf(kz);
        CopyToRow(m_half, adjacent_columns(whole), spectrum.At(m_x.Centre(), y, z), spectrum.strides[0]);
        if (holds_half_extent(whole)) {
            CopyToRow(m_half + m_halfExtent - 1, 1, spectrum.At(0, y, z), spectrum.strides[0]);
        }
    }
}

/// Both planes of opposite z frequency, since each gives half of the other's pixels.
void CForwardTransform::transform_planes(const SPixels<std::byte>& spectrum, std::size_t kz,
                                         const SStrip& strip) {
    const std::size_t oppositeKz = m_z.Opposite(kz);
    CColumnBlocks& opposite = oppositeKz == kz ? m_plane : m_opposite;
    load_strip(spectrum, kz, strip, m_plane);
    if (oppositeKz != kz) {
        load_strip(spectrum, oppositeKz, strip, opposite);
    }
    make_edges_symmetric(strip, m_plane, opposite);
    store_strip(spectrum, kz, strip, m_plane);
    if (oppositeKz != kz) {
        store_strip(spectrum, oppositeKz, strip, opposite);
    }
}

void CForwardTransform::load_strip(const SPixels<std::byte>& spectrum, std::size_t kz, const SStrip& strip,
                                   CColumnBlocks& plane) {
    const std::size_t z = m_z.PixelOf(kz);
    for (std::size_t y = 0; y < m_y.extent; ++y) {
        CopyFromRow(spectrum.At(m_x.Centre() + strip.first, y, z), spectrum.strides[0],
                    adjacent_columns(strip), m_half);
        if (holds_half_extent(strip)) {
            CopyFromRow(spectrum.At(0, y, z), spectrum.strides[0], 1, m_half + strip.count - 1);
        }
        plane.PutRow(y, m_half, strip.count);
    }
    plane.Transform(strip.count);
}

void CForwardTransform::store_strip(const SPixels<std::byte>& spectrum, std::size_t kz, const SStrip& strip,
                                    CColumnBlocks& plane) {
    const std::size_t z = m_z.PixelOf(kz);
    const std::size_t oppositeZ = m_z.PixelOf(m_z.Opposite(kz));
    const std::size_t adjacent = adjacent_columns(strip);
    const std::size_t skipped = strip.first == 0 ? 1 : 0; // x frequency 0 has no partner in x
    for (std::size_t ky = 0; ky < m_y.extent; ++ky) {
        plane.GetRow(ky, m_half, strip.count);
        const std::size_t y = m_y.PixelOf(ky);
        CopyToRow(m_half, adjacent, spectrum.At(m_x.Centre() + strip.first, y, z), spectrum.strides[0]);
        if (holds_half_extent(strip)) {
            CopyToRow(m_half + strip.count - 1, 1, spectrum.At(0, y, z), spectrum.strides[0]);
        }
        std::reverse(m_half + skipped, m_half + adjacent);
        for (std::size_t i = skipped; i < adjacent; ++i) {
            m_half[i] = std::conj(m_half[i]);
        }
        const std::size_t mirroredEnd = m_x.Centre() - strip.first - skipped + 1;
        CopyToRow(m_half + skipped, adjacent - skipped,
                  spectrum.At(mirroredEnd - (adjacent - skipped), m_y.PixelOf(m_y.Opposite(ky)), oppositeZ),
                  spectrum.strides[0]);
    }
}

/// The columns of x frequency 0 and of the half extent hold both partners of every pair, each with its own
/// rounding; one is made the mirror of the other.
void CForwardTransform::make_edges_symmetric(const SStrip& strip, CColumnBlocks& plane,
                                             CColumnBlocks& opposite) {
    const auto make_symmetric = [&](std::size_t column) {
        for (std::size_t ky = 0; ky < m_y.extent; ++ky) {
            const std::size_t oppositeKy = m_y.Opposite(ky);
            Complex& value = plane.At(ky, column);
            Complex& partner = opposite.At(oppositeKy, column);
            if (&value == &partner) {
                value.imag(0.0F);
            } else if (&plane != &opposite || ky < oppositeKy) {
                partner = std::conj(value);
            }
        }
    };
    if (strip.first == 0) {
        make_symmetric(0);
    }
    if (holds_half_extent(strip)) {
        make_symmetric(strip.count - 1);
    }
}

std::size_t CForwardTransform::adjacent_columns(const SStrip& strip) const {
    return strip.count - (holds_half_extent(strip) ? 1 : 0);
}

bool CForwardTransform::holds_half_extent(const SStrip& strip) const {
    return m_x.IsEven() && strip.first + strip.count == m_halfExtent;
}

} // namespace TEVRA::Impl
