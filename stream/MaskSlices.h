// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "stream/SliceRange.h"
#include "volume/ImageConversion.h"
#include "volume/ImageReader.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace TEVRA::stream {

/// The slices of a mask: one byte per pixel, 0 in the background and 1 in the foreground.
class CMaskSlices {
  public:
    /// @param reader must outlive the object.
    explicit CMaskSlices(volume::IImageReader& reader) : m_reader(reader) {}

    /// Reads slices. @param foreground room for all their pixels.
    /// @throws volume::CInputError if the slices read so far hold more than one value besides 0.
    void Read(const SSliceRange& slices, std::byte* foreground);

  private:
    template <typename PixelT>
    void convert(std::byte* foreground);

    volume::IImageReader& m_reader;
    volume::CMaskValues m_values;
    std::vector<std::byte> m_raw; // one slice
};

} // namespace TEVRA::stream
