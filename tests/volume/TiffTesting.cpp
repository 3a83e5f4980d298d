// SPDX-License-Identifier: BSD-3-Clause
#include "volume/TiffTesting.h"

#include <algorithm>
#include <memory>
#include <stdexcept>
#include <vector>

namespace TEVRA::volume {
namespace {

void require(bool done) {
    if (!done) {
        throw std::runtime_error("the test's TIFF file cannot be written");
    }
}

void write_tiles(TIFF* file, const STiffOptions& options, const CSize& size, const std::string& page) {
    const std::size_t lineBytes = page.size() / static_cast<std::size_t>(size[1]);
    const auto tileLineBytes = static_cast<std::size_t>(TIFFTileRowSize(file));
    for (long long top = 0; top < size[1]; top += options.tileHeight) {
        std::size_t left = 0; // in bytes
        for (long long x = 0; x < size[0]; x += options.tileWidth, left += tileLineBytes) {
            std::vector<char> tile(static_cast<std::size_t>(TIFFTileSize(file)), '\x77');
            for (long long y = top; y < std::min(top + options.tileHeight, size[1]); ++y) {
                const std::size_t bytes = std::min(tileLineBytes, lineBytes - left);
                std::copy_n(page.data() + static_cast<std::size_t>(y) * lineBytes + left, bytes,
                            tile.data() + static_cast<std::size_t>(y - top) * tileLineBytes);
            }
            require(TIFFWriteTile(file, tile.data(), static_cast<std::uint32_t>(x),
                                  static_cast<std::uint32_t>(top), 0, 0) >= 0);
        }
    }
}

void write_strips(TIFF* file, const CSize& size, std::string page) {
    const std::size_t lineBytes = page.size() / static_cast<std::size_t>(size[1]);
    for (std::uint32_t y = 0; y < size[1]; ++y) {
        require(TIFFWriteScanline(file, page.data() + y * lineBytes, y, 0) == 1);
    }
}

} // namespace

void WriteTestTiff(const std::string& path, const CSize& size, const std::string& pixels,
                   const STiffOptions& options) {
    const std::unique_ptr<TIFF, decltype(&TIFFClose)> file(TIFFOpen(path.c_str(), options.mode.c_str()),
                                                           TIFFClose);
    require(file != nullptr);
    const std::size_t pageBytes = pixels.size() / static_cast<std::size_t>(size[2]);
    for (long long z = 0; z < size[2]; ++z) {
        TIFFSetField(file.get(), TIFFTAG_IMAGEWIDTH, static_cast<std::uint32_t>(size[0]));
        TIFFSetField(file.get(), TIFFTAG_IMAGELENGTH, static_cast<std::uint32_t>(size[1]));
        TIFFSetField(file.get(), TIFFTAG_BITSPERSAMPLE, options.bits);
        TIFFSetField(file.get(), TIFFTAG_SAMPLESPERPIXEL, options.channels);
        TIFFSetField(file.get(), TIFFTAG_SAMPLEFORMAT, options.format);
        TIFFSetField(file.get(), TIFFTAG_PHOTOMETRIC, options.photometric);
        TIFFSetField(file.get(), TIFFTAG_COMPRESSION, options.compression);
        TIFFSetField(file.get(), TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
        if (options.tileWidth != 0) {
            TIFFSetField(file.get(), TIFFTAG_TILEWIDTH, static_cast<std::uint32_t>(options.tileWidth));
            TIFFSetField(file.get(), TIFFTAG_TILELENGTH, static_cast<std::uint32_t>(options.tileHeight));
        } else {
            TIFFSetField(file.get(), TIFFTAG_ROWSPERSTRIP, options.linesPerStrip);
        }
        if (options.tags) {
            options.tags(file.get(), z);
        }
        const std::string page = pixels.substr(static_cast<std::size_t>(z) * pageBytes, pageBytes);
        if (options.tileWidth != 0) {
            write_tiles(file.get(), options, size, page);
        } else {
            write_strips(file.get(), size, page);
        }
        require(TIFFWriteDirectory(file.get()) == 1);
    }
}

} // namespace TEVRA::volume
