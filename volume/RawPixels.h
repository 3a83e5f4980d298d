// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "volume/ByteSource.h"
#include "volume/ImageReader.h"
#include "volume/StoredPixels.h"

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace TEVRA::volume {

/// How pixels are stored: slice after slice, x fastest, without gaps.
struct SRawPixelsLayout {
    EStoredType type = EStoredType::u8;
    EByteOrder byteOrder = EByteOrder::little;
    std::size_t pixelsPerSlice = 0;
    std::optional<SValueScale> scale; ///< given: pixels are handed out as floats
};

/// Reads slices from the bytes they are stored in.
class CRawPixels {
  public:
    /// @param name of the image, for messages.
    CRawPixels(const std::string& name, std::unique_ptr<IByteSource> bytes, const SRawPixelsLayout& layout);

    /// As `IImageReader::ReadSlices`.
    void Read(long long firstSlice, long long sliceCount, std::byte* pixels);

    const std::string& Path() const { return m_bytes->Path(); }
    std::size_t BufferBytes() const;
    double LargestRounding() const noexcept { return m_conversion.LargestRounding(); }

  private:
    bool converts() const noexcept { return IsConverted(m_layout.type) || m_layout.scale.has_value(); }

    std::unique_ptr<IByteSource> m_bytes;
    SRawPixelsLayout m_layout;
    CFloatConversion m_conversion;
    std::vector<std::byte> m_stored; // of one slice, if it has to be converted
};

/// A reader of such pixels. @param path of the file with the header, which may be another one.
std::unique_ptr<IImageReader> MakeRawPixelsReader(const std::string& path, const SImageInfo& info,
                                                  std::unique_ptr<IByteSource> bytes,
                                                  const SRawPixelsLayout& layout);

} // namespace TEVRA::volume
