// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace TEVRA::test {

/// An 8-bit grey image, x fastest.
struct SGreyImage {
    std::vector<int> size; ///< per axis
    std::string pixels;
};

/// Parallel fibers along one axis: bright (200) soft-edged cylinders (2D: stripes) of radius 3 px, their axes
/// 12 px apart in the other directions, on a dark ground (40).
SGreyImage ParallelFibers(const std::vector<int>& size, int axis);

/// The same grey value everywhere.
SGreyImage Constant(const std::vector<int>& size, unsigned char value);

/// The text and pixels of a MetaImage file.
struct SMetaImage {
    std::vector<int> size{};
    std::string elementType = "MET_UCHAR";
    std::string pixels{}; ///< little-endian, as many bytes as size and type ask for
    int channels = 1;
    std::string spacing{}; ///< as in "0.5 0.5 0.5"; no spacing in the header if empty
};
void WriteMetaImage(const std::filesystem::path& path, const SMetaImage& image);
/// @param spacing as above.
void WriteMetaImage(const std::filesystem::path& path, const SGreyImage& image,
                    const std::string& spacing = "");

/// Reads the float pixels of a MetaImage file with its pixels in the same file, uncompressed.
std::vector<float> ReadFloatMetaImage(const std::filesystem::path& path);

/// A little-endian uncompressed TIFF file, one page per slice, without resolution tags.
/// @param samples per pixel: 1 is grey, 3 is RGB (each sample the grey value).
void WriteTiff(const std::filesystem::path& path, const SGreyImage& image, int samples = 1);

} // namespace TEVRA::test
