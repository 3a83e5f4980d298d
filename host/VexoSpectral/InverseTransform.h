// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "VexoSpectral/CentredAxis.h"
#include "VexoSpectral/ColumnBlocks.h"
#include "VexoSpectral/ConvertRows.h"

#include <memory>
#include <vector>

namespace TEVRA::Impl {

/// From centred spectra of one size to the real parts of their inverse transforms, scaled by 1 / N.
///
/// The real part of the inverse of F is the inverse of its Hermitian part (F(k) + conj F(-k)) / 2, and of
/// that the half with x frequencies from 0 up is enough: columns along y, then along z, then rows by a real
/// transform.
///
/// Between the passes the half spectrum stands in the output, which has one float per pixel. An even row has
/// two values too many, the columns of x frequency 0 and of the half extent; but the transforms of both
/// columns along y and z are real, so they travel as real and imaginary part of one column. An odd row has
/// one value too many: in the column of x frequency 0, opposite z frequencies are conjugate after the pass
/// along y, so one of the pair keeps the real part and the other the imaginary part.
///
/// Pairs of planes of opposite z frequencies, whose rows need one half of each other, and then planes of equal
/// y, are transformed on their own, several at a time by as many threads as are asked for; the result does
/// not depend on their number.
class CInverseTransform {
  public:
    explicit CInverseTransform(const Extents& extents);

    const Extents& Size() const { return m_size; }
    void Run(const SPixels<const std::byte>& spectrum, const SPixels<std::byte>& image, int threads);

  private:
    /// Plans, and scratch for one thread.
    struct SWorker {
        SWorker(const CInverseTransform& transform);

        CPixelMemory packedRow, halfRow;
        Complex* packed; ///< one row as packed in the output ...
        float* real;     ///< ... and the same memory as floats
        Complex* half;
        std::vector<Complex> row, oppositeRow; ///< used if the spectrum's pixels do not lie side by side
        CFftwPlan rowPlan;
        /// Half spectra of two planes of opposite z frequencies.
        CColumnBlocks plane, oppositePlane;
        CColumnBlocks xzPlane;
    };

    /// Columns of the half spectrum that are transformed at a time.
    struct SStrip {
        std::size_t first;
        std::size_t count;
    };

    void transform_planes(SWorker& worker, const SPixels<const std::byte>& spectrum,
                          const SPixels<std::byte>& image, std::size_t kz, const SStrip& strip) const;
    void finish_plane(SWorker& worker, CColumnBlocks& plane, const SPixels<std::byte>& image, std::size_t kz,
                      const SStrip& strip) const;
    void fetch_rows(const SPixels<const std::byte>& spectrum, std::size_t first, std::size_t end,
                    std::size_t kz, const SStrip& strip) const;
    void gather_row(SWorker& worker, CColumnBlocks& plane, const SPixels<const std::byte>& spectrum,
                    std::size_t ky, std::size_t kz, const SStrip& strip) const;
    void store_row(SWorker& worker, CColumnBlocks& plane, const SPixels<std::byte>& image, std::size_t y,
                   std::size_t kz, const SStrip& strip) const;
    void transform_xz_plane(SWorker& worker, const SPixels<std::byte>& image, std::size_t y) const;
    void load_row(SWorker& worker, const SPixels<std::byte>& image, std::size_t y, std::size_t kz) const;
    void rejoin_first_column(SWorker& worker) const;
    const Complex* row_of(const SPixels<const std::byte>& spectrum, std::size_t ky, std::size_t kz,
                          std::vector<Complex>& buffer) const;
    /// True if rows travel as they are: as many pairs of values as there are columns.
    bool are_rows_whole(const SPixels<std::byte>& image) const;

    Extents m_size;
    SCentredAxis m_x, m_y, m_z;
    std::size_t m_columns; ///< as packed in the output
    std::size_t m_stripWidth;
    float m_scale;
    std::vector<std::unique_ptr<SWorker>> m_workers;
};

} // namespace TEVRA::Impl
