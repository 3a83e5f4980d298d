// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "volume/FileTesting.h"

#include <string>

#include <png.h>

namespace TEVRA::volume {

/// How a test's PNG file is to be laid out.
struct SPngOptions {
    int bits = 8;
    int color = PNG_COLOR_TYPE_GRAY;
    int interlace = PNG_INTERLACE_NONE;
    png_uint_32 pixelsPerMetre = 0;
};

/// Writes a PNG file through libpng. @param pixels as the format stores them, big-endian.
inline void WriteTestPng(const std::string& path, const CSize& size, std::string pixels,
                         const SPngOptions& options = {}) {
    const auto append = [](png_structp png, png_bytep data, png_size_t bytes) {
        static_cast<std::string*>(png_get_io_ptr(png))->append(reinterpret_cast<const char*>(data), bytes);
    };
    std::string file;
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png_create_info_struct(png);
    png_set_write_fn(png, &file, append, nullptr);
    png_set_IHDR(png, info, static_cast<png_uint_32>(size[0]), static_cast<png_uint_32>(size[1]),
                 options.bits, options.color, options.interlace, PNG_COMPRESSION_TYPE_DEFAULT,
                 PNG_FILTER_TYPE_DEFAULT);
    if (options.color == PNG_COLOR_TYPE_PALETTE) {
        const png_color black{0, 0, 0};
        png_set_PLTE(png, info, &black, 1);
    }
    if (options.pixelsPerMetre != 0) {
        png_set_pHYs(png, info, options.pixelsPerMetre, options.pixelsPerMetre, PNG_RESOLUTION_METER);
    }
    png_write_info(png, info);
    const std::size_t lineBytes = pixels.size() / static_cast<std::size_t>(size[1]);
    std::vector<png_bytep> lines;
    for (std::size_t y = 0; y < static_cast<std::size_t>(size[1]); ++y) {
        lines.push_back(reinterpret_cast<png_bytep>(pixels.data() + y * lineBytes));
    }
    png_write_image(png, lines.data());
    png_write_end(png, nullptr);
    png_destroy_write_struct(&png, &info);
    test::WriteFile(path, file);
}

} // namespace TEVRA::volume
