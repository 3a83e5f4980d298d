// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "Utils/PointOperationsImpl.h"

#include <cstddef>

namespace TEVRA::Impl {

/// The pixels of one row, wherever they lie in memory.
template <typename PixelT>
class CPixelRow {
  public:
    template <typename ImageT>
    CPixelRow(const CImageDataExtractor<ImageT, PixelT>& data, long long y, long long z)
        : m_first(data.Row(y, z)), m_stride(data.PixelStride()) {}

    PixelT& operator[](long long x) const noexcept {
        return *StepBytes(m_first, static_cast<std::ptrdiff_t>(x) * m_stride);
    }

  private:
    PixelT* m_first;
    std::ptrdiff_t m_stride;
};

template <typename ImageT, typename PixelT>
CPixelRow(const CImageDataExtractor<ImageT, PixelT>&, long long, long long) -> CPixelRow<PixelT>;

/// Checks an image and opens it for reading. @throws CException unless it holds PixelT pixels.
template <typename PixelT>
CImageDataExtractor<const IImage, const PixelT> PixelsOf(const IImage& image, const char* displayName) {
    CImageDataExtractor<const IImage, const PixelT> data(image, displayName);
    data.Check();
    data.Open();
    return data;
}

/// Checks an image and opens it for reading and writing. @throws CException unless it holds PixelT pixels.
template <typename PixelT>
CImageDataExtractor<IImage, PixelT> WritablePixelsOf(IImage& image, const char* displayName) {
    CImageDataExtractor<IImage, PixelT> data(image, displayName);
    data.Check();
    data.Open();
    return data;
}

} // namespace TEVRA::Impl
