// SPDX-License-Identifier: BSD-3-Clause
#include "VexoFilter/PixelGrid.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace TEVRA::Impl {
namespace {

using EKind = IImage::CType::EKind;

template <typename PixelT, typename ValueFunction>
void read_row(const std::byte* first, std::ptrdiff_t stride, long long count, float* out,
              const ValueFunction& value) {
    for (long long k = 0; k < count; ++k) {
        PixelT pixel;
        std::memcpy(&pixel, first + k * stride, sizeof pixel); // the stride may not suit the type's alignment
        out[k] = value(pixel);
    }
}

template <typename PixelT>
void read_numbers(const std::byte* first, std::ptrdiff_t stride, long long count, float* out) {
    const auto value = [](PixelT pixel) { return static_cast<float>(pixel); };
    if (stride == static_cast<std::ptrdiff_t>(sizeof(PixelT))) {
        // The same with a stride known to the compiler, which reads several pixels at a time then.
        read_row<PixelT>(first, sizeof(PixelT), count, out, value);
        return;
    }
    read_row<PixelT>(first, stride, count, out, value);
}

void read_non_zero(const std::byte* first, std::ptrdiff_t stride, long long count, float* out) {
    read_row<std::uint8_t>(first, stride, count, out,
                           [](std::uint8_t pixel) { return pixel != 0 ? 1.0F : 0.0F; });
}

void read_zero(const std::byte* first, std::ptrdiff_t stride, long long count, float* out) {
    read_row<std::uint8_t>(first, stride, count, out,
                           [](std::uint8_t pixel) { return pixel == 0 ? 1.0F : 0.0F; });
}

bool suits_float(std::uintptr_t address) {
    return address % alignof(float) == 0;
}

} // namespace

CPixelGrid::CPixelGrid(const IImage& image) : m_access(image.CreateAccess(true)) {
    describe(image);
}

CPixelGrid::CPixelGrid(IImage& image) : m_access(image.CreateAccess(false)) {
    describe(image);
    m_firstToWrite = static_cast<std::byte*>(m_access->Data());
}

CPixelGrid::CPixelGrid(const void* pixels, const IImage::CType& type, const CSize& size)
    : m_first(static_cast<const std::byte*>(pixels)) {
    auto stride = static_cast<std::ptrdiff_t>(type.BytesPerPixel());
    for (int axis = 0; axis < size.Dim(); ++axis) {
        m_extent[static_cast<std::size_t>(axis)] = size[axis];
        m_stride[static_cast<std::size_t>(axis)] = stride;
        stride *= static_cast<std::ptrdiff_t>(size[axis]);
    }
    choose_reader(type);
}

CPixelGrid::CPixelGrid(float* pixels, const CSize& size) : CPixelGrid(pixels, IMAGE_GREY_F, size) {
    m_firstToWrite = reinterpret_cast<std::byte*>(pixels);
}

bool CPixelGrid::CanRead(const IImage::CType& type) {
    return type == IMAGE_GREY_8 || type == IMAGE_GREY_16 || type == IMAGE_GREY_F || type == IMAGE_BINARY_FG ||
           type == IMAGE_BINARY_BG || type == IMAGE_BOOL;
}

void CPixelGrid::describe(const IImage& image) {
    m_first = static_cast<const std::byte*>(m_access->ConstData());
    for (int axis = 0; axis < image.Size().Dim(); ++axis) {
        m_extent[static_cast<std::size_t>(axis)] = image.Size()[axis];
        m_stride[static_cast<std::size_t>(axis)] = m_access->Stride(axis);
    }
    choose_reader(image.Type());
}

void CPixelGrid::choose_reader(const IImage::CType& type) {
    switch (type.Kind()) {
    case EKind::grey8:
        m_read = read_numbers<std::uint8_t>;
        break;
    case EKind::grey16:
        m_read = read_numbers<std::uint16_t>;
        break;
    case EKind::binaryForeground:
    case EKind::boolean:
        m_read = read_non_zero;
        break;
    case EKind::binaryBackground:
        m_read = read_zero;
        break;
    default:
        m_read = read_numbers<float>;
        m_rowsAreFloats = m_stride[0] == sizeof(float) &&
                          suits_float(reinterpret_cast<std::uintptr_t>(m_first)) &&
                          suits_float(static_cast<std::uintptr_t>(m_stride[1])) &&
                          suits_float(static_cast<std::uintptr_t>(m_stride[2]));
        break;
    }
}

std::ptrdiff_t CPixelGrid::offset(const SPixel& pixel) const {
    return pixel.x * m_stride[0] + pixel.y * m_stride[1] + pixel.z * m_stride[2];
}

const float* CPixelGrid::Row(const SPixel& first, long long count, float* buffer) const {
    if (m_rowsAreFloats) {
        return reinterpret_cast<const float*>(m_first + offset(first));
    }
    m_read(m_first + offset(first), m_stride[0], count, buffer);
    return buffer;
}

void CPixelGrid::Read(const SPixel& first, long long count, float* buffer) const {
    if (m_rowsAreFloats) {
        std::memcpy(buffer, m_first + offset(first), static_cast<std::size_t>(count) * sizeof(float));
        return;
    }
    m_read(m_first + offset(first), m_stride[0], count, buffer);
}

void CPixelGrid::Prefetch(const SPixel& first, long long count) const {
    constexpr std::ptrdiff_t CACHE_LINE = 64;
    if (!m_rowsAreFloats) {
        return;
    }
    const std::byte* const row = m_first + offset(first);
    const std::ptrdiff_t bytes = count * static_cast<std::ptrdiff_t>(sizeof(float));
    for (std::ptrdiff_t at = 0; at < bytes; at += CACHE_LINE) {
        __builtin_prefetch(row + at);
    }
}

float* CPixelGrid::RowToWrite(const SPixel& first, float* buffer) {
    return m_rowsAreFloats ? reinterpret_cast<float*>(m_firstToWrite + offset(first)) : buffer;
}

void CPixelGrid::Commit(const SPixel& first, long long count, const float* row) {
    if (!m_rowsAreFloats) {
        Write(first, count, row);
    }
}

void CPixelGrid::Write(const SPixel& first, long long count, const float* row) {
    std::byte* const target = m_firstToWrite + offset(first);
    if (m_rowsAreFloats) {
        std::memcpy(target, row, static_cast<std::size_t>(count) * sizeof(float));
        return;
    }
    for (long long k = 0; k < count; ++k) {
        std::memcpy(target + k * m_stride[0], row + k, sizeof(float));
    }
}

} // namespace TEVRA::Impl
