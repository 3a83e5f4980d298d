// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "zeklib2image/Size.h"

#include <cstdint>
#include <functional>
#include <string>

#include <tiffio.h>

namespace TEVRA::volume {

/// How a test's TIFF file is to be laid out.
struct STiffOptions {
    std::string mode = "w"; ///< libtiff's: l or b for the byte order, 8 for BigTIFF
    int compression = COMPRESSION_NONE;
    int bits = 8;
    int format = SAMPLEFORMAT_UINT;
    int photometric = PHOTOMETRIC_MINISBLACK;
    std::uint32_t linesPerStrip = 3;
    long long tileWidth = 0; ///< not 0: tiles instead of strips
    long long tileHeight = 0;
    int channels = 1;
    /// Called for every page before its pixels, to set further tags.
    std::function<void(TIFF*, long long page)> tags{};
};

/// Writes a TIFF file through libtiff, one page per slice. @param pixels all slices, without gaps, lines of
/// whole bytes.
void WriteTestTiff(const std::string& path, const CSize& size, const std::string& pixels,
                   const STiffOptions& options = {});

} // namespace TEVRA::volume
