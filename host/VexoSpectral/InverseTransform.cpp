// SPDX-License-Identifier: BSD-3-Clause
#include "VexoSpectral/InverseTransform.h"

#include <algorithm>

namespace TEVRA::Impl {
namespace {

/// (a + conj b) / 2
Complex hermitian_part(const Complex& a, const Complex& b) {
    return {(a.real() + b.real()) * 0.5F, (a.imag() - b.imag()) * 0.5F};
}

} // namespace

CInverseTransform::CInverseTransform(const Extents& extents)
    : m_size(extents), m_x{extents[0]}, m_y{extents[1]}, m_z{extents[2]}, m_columns((extents[0] + 1) / 2),
      m_stripWidth(CColumnBlocks::ColumnsInCache(extents[1], m_columns)),
      m_scale(static_cast<float>(1.0 / (static_cast<double>(extents[0]) * static_cast<double>(extents[1]) *
                                        static_cast<double>(extents[2])))),
      m_packedRow(m_columns * sizeof(Complex)), m_halfRow((extents[0] / 2 + 1) * sizeof(Complex)),
      m_packed(reinterpret_cast<Complex*>(m_packedRow.Data())), m_real(reinterpret_cast<float*>(m_packed)),
      m_half(reinterpret_cast<Complex*>(m_halfRow.Data())),
      m_rowPlan(CFftwPlan::HalfToReal(extents[0], m_half, m_real)),
      m_plane(EnDirection::inverse, extents[1], m_stripWidth),
      m_slab(EnDirection::inverse, extents[2], m_columns) {}

void CInverseTransform::Run(const StPixels<const std::byte>& spectrum, const StPixels<std::byte>& image) {
    for (std::size_t kz = 0; kz < m_z.extent; ++kz) {
        for (std::size_t first = 0; first < m_columns; first += m_stripWidth) {
            transform_plane(spectrum, image, kz, first, std::min(m_stripWidth, m_columns - first));
        }
    }
    for (std::size_t y = 0; y < m_y.extent; ++y) {
        transform_slab(image, y);
    }
}

void CInverseTransform::transform_plane(const StPixels<const std::byte>& spectrum,
                                        const StPixels<std::byte>& image, std::size_t kz, std::size_t first,
                                        std::size_t count) {
    for (std::size_t ky = 0; ky < m_y.extent; ++ky) {
        gather_row(spectrum, ky, kz, first, count);
        m_plane.PutRow(ky, m_half, count);
    }
    m_plane.Transform(count);
    for (std::size_t y = 0; y < m_y.extent; ++y) {
        m_plane.GetRow(y, m_half, count);
        store_row(image, y, kz, first, count);
    }
}

/// The packed half row of the spectrum's Hermitian part, `count` columns from `first` on.
void CInverseTransform::gather_row(const StPixels<const std::byte>& spectrum, std::size_t ky, std::size_t kz,
                                   std::size_t first, std::size_t count) {
    const Complex* row = row_of(spectrum, ky, kz, m_row);
    const Complex* opposite = row_of(spectrum, m_y.Opposite(ky), m_z.Opposite(kz), m_oppositeRow);
    const Complex* upward = row + m_x.Centre() + first;
    const Complex* downward = opposite + m_x.Centre() - first;
    for (std::size_t i = 0; i < count; ++i) {
        m_half[i] = hermitian_part(upward[i], *(downward - i));
    }
    if (first == 0 && m_x.IsEven()) {
        const Complex halfExtent = hermitian_part(row[0], opposite[0]);
        m_half[0] += Complex(-halfExtent.imag(), halfExtent.real()); // first + i * last column
    }
}

void CInverseTransform::store_row(const StPixels<std::byte>& image, std::size_t y, std::size_t kz,
                                  std::size_t first, std::size_t count) {
    // Real and imaginary parts side by side; of an odd row's first column only one of them.
    const float* values = reinterpret_cast<const float*>(m_half);
    std::size_t valueCount = 2 * count;
    std::size_t x = 2 * first;
    if (!m_x.IsEven()) {
        if (first == 0) {
            const bool keepsReal = kz <= m_z.Opposite(kz);
            m_half[0].imag(keepsReal ? m_half[0].real() : -m_half[0].imag());
            ++values;
            --valueCount;
        } else {
            --x;
        }
    }
    CopyToRow(values, valueCount, image.At(x, y, kz), image.strides[0]);
}

void CInverseTransform::transform_slab(const StPixels<std::byte>& image, std::size_t y) {
    const std::size_t unused = m_x.IsEven() ? 0 : 1;
    m_real[0] = 0.0F;
    for (std::size_t kz = 0; kz < m_z.extent; ++kz) {
        CopyFromRow(image.Row(y, kz), image.strides[0], m_x.extent, m_real + unused);
        m_slab.PutRow(kz, m_packed, m_columns);
    }
    if (!m_x.IsEven()) {
        rejoin_first_column();
    }
    m_slab.Transform(m_columns);
    for (std::size_t z = 0; z < m_z.extent; ++z) {
        m_slab.GetRow(z, m_half, m_columns);
        if (m_x.IsEven()) {
            m_half[m_columns] = m_half[0].imag();
        }
        m_half[0].imag(0.0F);
        m_rowPlan.Execute();
        // Scaled last: tiny values of the spectrum would become subnormal, inexact and slow.
        for (std::size_t x = 0; x < m_x.extent; ++x) {
            m_real[x] *= m_scale;
        }
        CopyToRow(m_real, m_x.extent, image.Row(y, z), image.strides[0]);
    }
}

/// Puts the parts that `store_row` kept, now the imaginary parts of the first column, back into place.
void CInverseTransform::rejoin_first_column() {
    for (std::size_t kz = 0; kz < m_z.extent && kz <= m_z.Opposite(kz); ++kz) {
        Complex& value = m_slab.At(kz, 0);
        Complex& opposite = m_slab.At(m_z.Opposite(kz), 0);
        const bool isOwnOpposite = &value == &opposite;
        const Complex joined(value.imag(), isOwnOpposite ? 0.0F : opposite.imag());
        opposite = std::conj(joined);
        value = joined;
    }
}

/// The row as an array: in place if its pixels lie side by side, else copied.
const Complex* CInverseTransform::row_of(const StPixels<const std::byte>& spectrum, std::size_t ky,
                                         std::size_t kz, std::vector<Complex>& buffer) const {
    const std::byte* row = spectrum.Row(m_y.PixelOf(ky), m_z.PixelOf(kz));
    if (spectrum.strides[0] == static_cast<std::ptrdiff_t>(sizeof(Complex))) {
        return reinterpret_cast<const Complex*>(row);
    }
    buffer.resize(m_x.extent);
    LoadRow<Complex>(row, spectrum.strides[0], m_x.extent, buffer.data());
    return buffer.data();
}

} // namespace TEVRA::Impl
