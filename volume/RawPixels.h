// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "volume/ByteSource.h"
#include "volume/ImageReader.h"
#include "volume/StoredPixels.h"

#include <cstddef>
#include <memory>
#include <optional>
#include <vector>

namespace TEVRA::volume {

/// Stored values v stand for `slope * v + intercept`.
struct SValueScale {
    double slope = 1.0;
    double intercept = 0.0;
};

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
    CRawPixels(std::unique_ptr<IByteSource> bytes, const SRawPixelsLayout& layout);

    /// As `IImageReader::ReadSlices`.
    void Read(long long firstSlice, long long sliceCount, std::byte* pixels);

  private:
    std::unique_ptr<IByteSource> m_bytes;
    SRawPixelsLayout m_layout;
    std::vector<std::byte> m_stored; // of one slice, if it has to be converted
};

/// A reader of such pixels.
std::unique_ptr<IImageReader> MakeRawPixelsReader(const SImageInfo& info, std::unique_ptr<IByteSource> bytes,
                                                  const SRawPixelsLayout& layout);

} // namespace TEVRA::volume
