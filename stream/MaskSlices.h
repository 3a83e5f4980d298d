// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "stream/SliceRange.h"
#include "volume/Failure.h"
#include "volume/ImageConversion.h"
#include "volume/ImageReader.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace TEVRA::stream {

/// The mask is none.
class CMaskError : public volume::CInputError {
  public:
    using CInputError::CInputError;
};

/// Adds a value to those seen. @throws CMaskError if it is one too many.
void AddMaskValue(volume::CMaskValues& values, double value);

/// The slices of a mask: one byte per pixel, 0 in the background and 1 in the foreground.
class CMaskSlices {
  public:
    /// @param reader must outlive the object.
    explicit CMaskSlices(volume::IImageReader& reader) : m_reader(reader) {}

    /// Reads slices. @param foreground room for all their pixels.
    /// @throws CMaskError if the slices read so far hold more than one value besides 0.
    void Read(const SSliceRange& slices, std::byte* foreground);
    /// What the values seen so far are.
    const volume::CMaskValues& Values() const noexcept { return m_values; }
    /// Whether any pixel read so far is 0.
    bool HasBackground() const noexcept { return m_hasBackground; }
    std::size_t SlicePixels() const;

  private:
    template <typename PixelT>
    void convert(std::byte* foreground);

    volume::IImageReader& m_reader;
    volume::CMaskValues m_values;
    bool m_hasBackground = false;
    std::vector<std::byte> m_raw; // one slice
};

} // namespace TEVRA::stream
