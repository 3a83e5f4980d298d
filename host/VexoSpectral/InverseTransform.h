// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "VexoSpectral/CentredAxis.h"
#include "VexoSpectral/ColumnBlocks.h"
#include "VexoSpectral/PixelRows.h"

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
class CInverseTransform {
  public:
    explicit CInverseTransform(const Extents& extents);

    const Extents& Size() const { return m_size; }
    void Run(const StPixels<const std::byte>& spectrum, const StPixels<std::byte>& image);

  private:
    void transform_plane(const StPixels<const std::byte>& spectrum, const StPixels<std::byte>& image,
                         std::size_t kz, std::size_t first, std::size_t count);
    void gather_row(const StPixels<const std::byte>& spectrum, std::size_t ky, std::size_t kz,
                    std::size_t first, std::size_t count);
    void store_row(const StPixels<std::byte>& image, std::size_t y, std::size_t kz, std::size_t first,
                   std::size_t count);
    void transform_slab(const StPixels<std::byte>& image, std::size_t y);
    void rejoin_first_column();
    const Complex* row_of(const StPixels<const std::byte>& spectrum, std::size_t ky, std::size_t kz,
                          std::vector<Complex>& buffer) const;

    Extents m_size;
    StCentredAxis m_x, m_y, m_z;
    std::size_t m_columns; ///< as packed in the output
    std::size_t m_stripWidth;
    float m_scale;
    CPixelMemory m_packedRow, m_halfRow;
    Complex* m_packed; ///< one row as packed in the output ...
    float* m_real;     ///< ... and the same memory as floats
    Complex* m_half;
    std::vector<Complex> m_row, m_oppositeRow; ///< used if the spectrum's pixels do not lie side by side
    CFftwPlan m_rowPlan;
    CColumnBlocks m_plane, m_slab;
};

} // namespace TEVRA::Impl
