// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "volume/StoredPixels.h"

#include <cstddef>
#include <fstream>
#include <string>
#include <vector>

namespace TEVRA::volume {

/// Where pixels lie in a file, uncompressed one slice after the other.
struct SRawPixelsLayout {
    unsigned long long offsetBytes = 0;
    EStoredType type = EStoredType::u8;
    EByteOrder byteOrder = EByteOrder::little;
    std::size_t pixelsPerSlice = 0;
    long long sliceCount = 0;
};

/// Reads uncompressed slices straight from a file.
class CRawPixels {
  public:
    /// @throws CInputError if the file is shorter than the layout says, CEnvironmentError if it cannot be
    /// read.
    CRawPixels(const std::string& path, const SRawPixelsLayout& layout);

    /// As `IImageReader::ReadSlices`.
    void Read(long long firstSlice, long long sliceCount, std::byte* pixels);

  private:
    void read_stored(unsigned long long offsetBytes, std::size_t bytes, std::byte* stored);

    std::string m_path;
    SRawPixelsLayout m_layout;
    std::ifstream m_file;
    std::vector<std::byte> m_stored; // of one slice, if it has to be converted
};

/// Bytes of a file. @throws CInputError if there is no such file, CEnvironmentError if it cannot be read.
unsigned long long FileBytes(const std::string& path);

} // namespace TEVRA::volume
