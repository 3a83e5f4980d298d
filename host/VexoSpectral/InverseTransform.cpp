// SPDX-License-Identifier: BSD-3-Clause
#include "VexoSpectral/InverseTransform.h"

#include "VexoBase/Workers.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace TEVRA::Impl {
namespace {

constexpr std::size_t WIDTH = CColumnBlocks::WIDTH;
constexpr std::size_t CACHE_LINE = 64;
constexpr std::size_t FETCHED_BYTES = std::size_t{96} * 1024; // of the spectrum, at a time
constexpr std::size_t ROWS_AHEAD = 2;                         // so many are asked for before they are read

/// Reads one byte of every cache line.
void touch(const std::byte* values, std::size_t count) {
    for (std::size_t at = 0; at < count * sizeof(Complex); at += CACHE_LINE) {
        static_cast<void>(*static_cast<const volatile std::byte*>(values + at));
    }
}

/// (a + conj b) / 2
Complex hermitian_part(const Complex& a, const Complex& b) {
    return {(a.real() + b.real()) * 0.5F, (a.imag() - b.imag()) * 0.5F};
}

/// The same for a block: `upward` runs up from its first value, `downward` down from its own.
void hermitian_block(const Complex* upward, const Complex* downward, Complex* target) {
    using Pair [[gnu::vector_size(16)]] = float; // two complex numbers
    for (std::size_t i = 0; i < WIDTH; i += 2) {
        Pair a;
        Pair b;
        std::memcpy(&a, upward + i, sizeof a);
        std::memcpy(&b, downward - i - 1, sizeof b);
        b = __builtin_shufflevector(b, b, 2, 3, 0, 1) * Pair{1.0F, -1.0F, 1.0F, -1.0F};
        a = (a + b) * 0.5F;
        std::memcpy(reinterpret_cast<float*>(target + i), &a, sizeof a);
    }
}

/// Writes a row, multiplied; `values` may be changed.
void store_scaled(float* values, std::size_t count, float scale, std::byte* row, std::ptrdiff_t stride) {
    const bool isSideBySide = stride == static_cast<std::ptrdiff_t>(sizeof(float)) &&
                              reinterpret_cast<std::uintptr_t>(row) % alignof(float) == 0;
    float* target = isSideBySide ? reinterpret_cast<float*>(row) : values;
    for (std::size_t i = 0; i < count; ++i) {
        target[i] = values[i] * scale;
    }
    if (!isSideBySide) {
        CopyToRow(values, count, row, stride);
    }
}

} // namespace

CInverseTransform::SWorker::SWorker(const CInverseTransform& transform)
    : packedRow(transform.m_columns * sizeof(Complex)),
      halfRow((transform.m_size[0] / 2 + 1) * sizeof(Complex)),
      packed(reinterpret_cast<Complex*>(packedRow.Data())), real(reinterpret_cast<float*>(packed)),
      half(reinterpret_cast<Complex*>(halfRow.Data())),
      rowPlan(CFftwPlan::HalfToReal(transform.m_size[0], half, real)),
      plane(EDirection::inverse, transform.m_size[1], transform.m_stripWidth),
      oppositePlane(EDirection::inverse, transform.m_size[1],
                    transform.m_size[2] > 2 ? transform.m_stripWidth : 0),
      xzPlane(EDirection::inverse, transform.m_size[2], transform.m_columns) {}

CInverseTransform::CInverseTransform(const Extents& extents)
    : m_size(extents), m_x{extents[0]}, m_y{extents[1]}, m_z{extents[2]}, m_columns((extents[0] + 1) / 2),
      m_stripWidth(CColumnBlocks::ColumnsInCache(extents[1], m_columns)),
      m_scale(static_cast<float>(1.0 / (static_cast<double>(extents[0]) * static_cast<double>(extents[1]) *
                                        static_cast<double>(extents[2])))) {
    m_workers.push_back(std::make_unique<SWorker>(*this));
}

void CInverseTransform::Run(const SPixels<const std::byte>& spectrum, const SPixels<std::byte>& image,
                            int threads) {
    const std::size_t mostItems = std::max(m_y.extent, m_z.extent);
    const auto workers = std::min(static_cast<std::size_t>(std::max(threads, 1)), mostItems);
    while (m_workers.size() < workers) {
        m_workers.push_back(std::make_unique<SWorker>(*this));
    }
    CWorkers pool(static_cast<int>(workers));
    pool.Run(static_cast<long long>(m_z.extent / 2 + 1), [&](long long kz, int worker) {
        for (std::size_t first = 0; first < m_columns; first += m_stripWidth) {
            transform_planes(*m_workers[static_cast<std::size_t>(worker)], spectrum, image,
                             static_cast<std::size_t>(kz),
                             {first, std::min(m_stripWidth, m_columns - first)});
        }
    });
    pool.Run(static_cast<long long>(m_y.extent), [&](long long y, int worker) {
        transform_xz_plane(*m_workers[static_cast<std::size_t>(worker)], image, static_cast<std::size_t>(y));
    });
}

void CInverseTransform::transform_planes(SWorker& worker, const SPixels<const std::byte>& spectrum,
                                         const SPixels<std::byte>& image, std::size_t kz,
                                         const SStrip& strip) const {
    const std::size_t oppositeZ = m_z.Opposite(kz);
    const bool isPair = oppositeZ != kz;
    const std::size_t bytesOfRows = 4 * strip.count * sizeof(Complex); // two halves of two rows
    const std::size_t rowsAtATime = std::max<std::size_t>(1, FETCHED_BYTES / bytesOfRows);
    for (std::size_t first = 0; first < m_y.extent; first += rowsAtATime) {
        const std::size_t end = std::min(first + rowsAtATime, m_y.extent);
        fetch_rows(spectrum, first, end, kz, strip);
        for (std::size_t ky = first; ky < end; ++ky) {
            gather_row(worker, worker.plane, spectrum, ky, kz, strip);
            if (isPair) {
                gather_row(worker, worker.oppositePlane, spectrum, m_y.Opposite(ky), oppositeZ, strip);
            }
        }
    }
    finish_plane(worker, worker.plane, image, kz, strip);
    if (isPair) {
        finish_plane(worker, worker.oppositePlane, image, oppositeZ, strip);
    }
}

/// Brings the strip's part of rows and of their opposites into the cache, in ascending order, which the
/// processor foresees: taken in turns as they are used, they come at a third of the speed.
void CInverseTransform::fetch_rows(const SPixels<const std::byte>& spectrum, std::size_t first,
                                   std::size_t end, std::size_t kz, const SStrip& strip) const {
    if (spectrum.strides[0] != static_cast<std::ptrdiff_t>(sizeof(Complex))) {
        return;
    }
    const auto fetch_row = [&](std::size_t y, std::size_t z) {
        const std::size_t upward = m_x.Centre() + strip.first;
        const std::size_t downward = m_x.Centre() - strip.first;
        touch(spectrum.At(downward + 1 - strip.count, y, z), strip.count);
        touch(spectrum.At(upward, y, z), strip.count);
    };
    for (std::size_t ky = first; ky < end; ++ky) {
        fetch_row(m_y.PixelOf(ky), m_z.PixelOf(kz));
    }
    for (std::size_t ky = end; ky-- > first;) {
        fetch_row(m_y.PixelOf(m_y.Opposite(ky)), m_z.PixelOf(m_z.Opposite(kz)));
    }
}

void CInverseTransform::finish_plane(SWorker& worker, CColumnBlocks& plane, const SPixels<std::byte>& image,
                                     std::size_t kz, const SStrip& strip) const {
    plane.Transform(strip.count);
    for (std::size_t y = 0; y < m_y.extent; ++y) {
        store_row(worker, plane, image, y, kz, strip);
    }
}

/// The packed half row of the spectrum's Hermitian part.
void CInverseTransform::gather_row(SWorker& worker, CColumnBlocks& plane,
                                   const SPixels<const std::byte>& spectrum, std::size_t ky, std::size_t kz,
                                   const SStrip& strip) const {
    const Complex* row = row_of(spectrum, ky, kz, worker.row);
    const Complex* opposite = row_of(spectrum, m_y.Opposite(ky), m_z.Opposite(kz), worker.oppositeRow);
    const Complex* upward = row + m_x.Centre() + strip.first;
    const Complex* downward = opposite + m_x.Centre() - strip.first;
    for (std::size_t i = 0; i < strip.count; i += WIDTH) {
        Complex* target = plane.RowOfBlock(ky, i / WIDTH);
        if (i + WIDTH <= strip.count) {
            hermitian_block(upward + i, downward - i, target);
        } else {
            for (std::size_t k = i; k < strip.count; ++k) {
                target[k - i] = hermitian_part(upward[k], *(downward - k));
            }
        }
    }
    if (strip.first == 0 && m_x.IsEven()) {
        const Complex halfExtent = hermitian_part(row[0], opposite[0]);
        plane.At(ky, 0) += Complex(-halfExtent.imag(), halfExtent.real()); // first + i * last column
    }
}

void CInverseTransform::store_row(SWorker& worker, CColumnBlocks& plane, const SPixels<std::byte>& image,
                                  std::size_t y, std::size_t kz, const SStrip& strip) const {
    if (are_rows_whole(image)) {
        plane.GetRow(y, reinterpret_cast<Complex*>(image.At(2 * strip.first, y, kz)), strip.count);
        return;
    }
    plane.GetRow(y, worker.half, strip.count);
    // Real and imaginary parts side by side; of an odd row's first column only one of them.
    const float* values = reinterpret_cast<const float*>(worker.half);
    std::size_t valueCount = 2 * strip.count;
    std::size_t x = 2 * strip.first;
    if (!m_x.IsEven()) {
        if (strip.first == 0) {
            const bool keepsReal = kz <= m_z.Opposite(kz);
            worker.half[0].imag(keepsReal ? worker.half[0].real() : -worker.half[0].imag());
            ++values;
            --valueCount;
        } else {
            --x;
        }
    }
    CopyToRow(values, valueCount, image.At(x, y, kz), image.strides[0]);
}

void CInverseTransform::transform_xz_plane(SWorker& worker, const SPixels<std::byte>& image,
                                           std::size_t y) const {
    for (std::size_t kz = 0; kz < m_z.extent; ++kz) {
        const std::byte* later = image.Row(y, std::min(kz + ROWS_AHEAD, m_z.extent - 1));
        for (std::size_t x = 0; x < m_x.extent; x += CACHE_LINE / sizeof(float)) {
            __builtin_prefetch(later + x * sizeof(float), 1);
        }
        load_row(worker, image, y, kz);
    }
    if (!m_x.IsEven()) {
        rejoin_first_column(worker);
    }
    worker.xzPlane.Transform(m_columns);
    for (std::size_t z = 0; z < m_z.extent; ++z) {
        worker.xzPlane.GetRow(z, worker.half, m_columns);
        if (m_x.IsEven()) {
            worker.half[m_columns] = worker.half[0].imag();
        }
        worker.half[0].imag(0.0F);
        worker.rowPlan.Execute();
        // Scaled last: tiny values of the spectrum would become subnormal, inexact and slow.
        store_scaled(worker.real, m_x.extent, m_scale, image.Row(y, z), image.strides[0]);
    }
}

void CInverseTransform::load_row(SWorker& worker, const SPixels<std::byte>& image, std::size_t y,
                                 std::size_t kz) const {
    if (are_rows_whole(image)) {
        worker.xzPlane.PutRow(kz, reinterpret_cast<const Complex*>(image.Row(y, kz)), m_columns);
        return;
    }
    const std::size_t unused = m_x.IsEven() ? 0 : 1;
    worker.real[0] = 0.0F;
    CopyFromRow(image.Row(y, kz), image.strides[0], m_x.extent, worker.real + unused);
    worker.xzPlane.PutRow(kz, worker.packed, m_columns);
}

/// Puts the parts that `store_row` kept, now the imaginary parts of the first column, back into place.
void CInverseTransform::rejoin_first_column(SWorker& worker) const {
    for (std::size_t kz = 0; kz < m_z.extent && kz <= m_z.Opposite(kz); ++kz) {
        Complex& value = worker.xzPlane.At(kz, 0);
        Complex& opposite = worker.xzPlane.At(m_z.Opposite(kz), 0);
        const bool isOwnOpposite = &value == &opposite;
        const Complex joined(value.imag(), isOwnOpposite ? 0.0F : opposite.imag());
        opposite = std::conj(joined);
        value = joined;
    }
}

bool CInverseTransform::are_rows_whole(const SPixels<std::byte>& image) const {
    const auto isAligned = [](auto address) { return address % alignof(Complex) == 0; };
    return m_x.IsEven() && image.strides[0] == static_cast<std::ptrdiff_t>(sizeof(float)) &&
           isAligned(reinterpret_cast<std::uintptr_t>(image.first)) && isAligned(image.strides[1]) &&
           isAligned(image.strides[2]);
}

/// The row as an array: in place if its pixels lie side by side, else copied.
const Complex* CInverseTransform::row_of(const SPixels<const std::byte>& spectrum, std::size_t ky,
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
