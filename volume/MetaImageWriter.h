// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "volume/PixelType.h"
#include "zeklib2image/ImageInterface.h"

#include <array>
#include <fstream>
#include <optional>
#include <string>

namespace TEVRA::volume {

/// Header of a MetaImage file.
struct SMetaImageHeader {
    CSize size; ///< 2 or 3 dimensions
    EPixelType pixelType = EPixelType::u8;
    std::optional<std::array<double, 3>> spacing{}; ///< x, y, z; in 2D the last is ignored; none: not stated
    std::string spacingUnit{};                      ///< "mm", "um" or empty
    int channels = 1;                               ///< numbers of a pixel, side by side
    std::string comment{};                          ///< one line; none if empty
};

/// All of a file before its pixels.
std::string MetaImageHeaderText(const SMetaImageHeader& header);

/// Writes a MetaImage file (header and uncompressed pixels in one file, .mha) slice after slice.
class CMetaImageWriter {
  public:
    /// Creates the file and writes the header. @throws CEnvironmentError if that fails.
    CMetaImageWriter(const std::string& path, const SMetaImageHeader& header);

    /// Appends slices: pixels of the header's type in the machine's byte order, x fastest, without gaps.
    /// @throws CEnvironmentError if they cannot be written, std::out_of_range if the image is full.
    void WriteSlices(const void* pixels, long long sliceCount);
    /// Writes what is still to be written and closes the file.
    /// @throws CEnvironmentError if that fails, std::logic_error if slices are missing.
    void Close();

  private:
    std::string m_path;
    std::ofstream m_file;
    std::size_t m_sliceBytes;
    long long m_slicesLeft;
};

/// Writes a 2D or 3D image to a MetaImage file: GREY_8, GREY_16, GREY_F, or BINARY_FG as 8-bit pixels.
/// Progress is reported to the calling thread's monitor, by slices.
/// @throws CEnvironmentError if the file cannot be written, std::invalid_argument for other images.
void WriteMetaImage(const std::string& path, const IImage& image,
                    const std::optional<std::array<double, 3>>& spacing, const std::string& spacingUnit = {});

} // namespace TEVRA::volume
