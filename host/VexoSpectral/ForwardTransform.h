// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "VexoSpectral/CentredAxis.h"
#include "VexoSpectral/ColumnBlocks.h"
#include "VexoSpectral/ConvertRows.h"

namespace TEVRA::Impl {

/// Reads a row of real pixels as floats: first pixel, distance of pixels in bytes, count, target.
using RowReader = void (*)(const std::byte*, std::ptrdiff_t, std::size_t, float*);

/// From real images of one size to their full centred spectra.
///
/// Only the half of the spectrum with x frequencies from 0 up is computed: rows by a real transform, then
/// columns along z, then along y. Between the passes it stands in the output, every x and z frequency already
/// at its place, so that apart from a few planes of scratch no memory is needed. The other half follows by
/// symmetry: F(-k) = conj F(k) holds exactly.
class CForwardTransform {
  public:
    explicit CForwardTransform(const Extents& extents);

    const Extents& Size() const { return m_size; }
    void Run(const SPixels<const std::byte>& image, RowReader reader, const SPixels<std::byte>& spectrum);

  private:
    struct SStrip {
        std::size_t first; ///< x frequency
        std::size_t count;
    };

    void transform_xz_plane(const SPixels<const std::byte>& image, RowReader reader,
                            const SPixels<std::byte>& spectrum, std::size_t y);
    void transform_planes(const SPixels<std::byte>& spectrum, std::size_t kz, const SStrip& strip);
    void load_strip(const SPixels<std::byte>& spectrum, std::size_t kz, const SStrip& strip,
                    CColumnBlocks& plane);
    void store_strip(const SPixels<std::byte>& spectrum, std::size_t kz, const SStrip& strip,
                     CColumnBlocks& plane);
    void make_edges_symmetric(const SStrip& strip, CColumnBlocks& plane, CColumnBlocks& opposite);
    /// Columns of a strip, in the half row, that lie side by side in the spectrum.
    std::size_t adjacent_columns(const SStrip& strip) const;
    bool holds_half_extent(const SStrip& strip) const;

    Extents m_size;
    SCentredAxis m_x, m_y, m_z;
    std::size_t m_halfExtent;
    std::size_t m_stripWidth;
    CPixelMemory m_realRow, m_halfRow;
    float* m_real;
    Complex* m_half;
    CFftwPlan m_rowPlan;
    CColumnBlocks m_xzPlane, m_plane, m_opposite;
};

} // namespace TEVRA::Impl
