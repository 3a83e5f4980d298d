// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "volume/PixelType.h"
#include "zeklib2image/Size.h"

#include <array>
#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace TEVRA::volume {

// Image files whose place of every pixel is known before the first one is written: several threads and processes write
// slices of one file in any order, in no more memory than a slice takes.

/// By the endings of their files: "mha", "nrrd", "npy", "tif", "vti".
enum class ESliceFormat { mha, nrrd, npy, tif, vti };

inline constexpr std::array<ESliceFormat, 5> SLICE_FORMATS{
    ESliceFormat::mha, ESliceFormat::nrrd, ESliceFormat::npy, ESliceFormat::tif, ESliceFormat::vti};

/// Its name, which is the ending of its files, too.
const char* NameOf(ESliceFormat format) noexcept;
std::optional<ESliceFormat> SliceFormatNamed(const std::string& name);

/// What the numbers of a pixel are.
enum class EChannels {
    one,
    vector, ///< x, y, z; also in 2D
    color   ///< red, green, blue
};

/// Numbers of a pixel.
constexpr std::size_t CountOf(EChannels channels) noexcept {
    return channels == EChannels::one ? 1 : 3;
}

/// An image to be written.
struct SSliceFileInfo {
    CSize size; ///< 2 or 3 dimensions
    EPixelType numberType = EPixelType::f32;
    EChannels channels = EChannels::one;
    std::optional<std::array<double, 3>> spacing{}; ///< x, y, z; none: not stated
    std::string spacingUnit{};                      ///< "mm", "um" or empty
    /// The centre of the first pixel as lengths from its outer edge, for formats that state a place.
    std::array<double, 3> firstCentre{0.5, 0.5, 0.5};
    std::string name{};    ///< of the numbers, as in "theta"
    std::string content{}; ///< what they mean, in one line without control characters
};

/// The bytes of a file besides its pixels.
struct SSliceFileLayout {
    std::string head;
    std::string tail;
    std::size_t sliceBytes = 0;
    long long slices = 0;
    /// Whether a slice has all first numbers, then all second ones and so on, not those of a pixel side by side.
    bool isPlanar = false;
};

/// - mha: channels side by side, `Comment` with the content;
/// - nrrd: likewise, the first axis; spacing and unit as `space directions` and `space units`;
/// - npy: version 1.0, shape (z, y, x) or (y, x), with channels (z, y, x, 3); has no place for spacing and content;
/// - tif: one page per slice, with ImageJ's description (unit, distance of slices) and resolution; a vector is three
///   pages, a channel of ImageJ each; colors are side by side. BigTIFF if the file takes 4 GB or more. A spacing
///   without unit that is the same along all axes is lost on readers of that description;
/// - vti: ImageData of VTK (XML) with the numbers appended raw, at points.
///
/// Numbers are in the machine's byte order, uncompressed.
SSliceFileLayout LayoutOf(ESliceFormat format, const SSliceFileInfo& info);

/// Writes any slices of a file in any order; several objects, also of several processes, may write different slices
/// of one file.
class CSliceFile {
  public:
    /// Makes the file with head and tail; it has its full length and, where the file system can, all its room on the
    /// disk at once. @throws CEnvironmentError if that fails.
    static void Create(const std::string& path, const SSliceFileLayout& layout);

    /// Opens a file made with the same layout. @throws CEnvironmentError if that fails.
    CSliceFile(const std::string& path, const SSliceFileLayout& layout);
    ~CSliceFile();
    CSliceFile(const CSliceFile&) = delete;
    CSliceFile& operator=(const CSliceFile&) = delete;

    /// @param bytes of the slices, without gaps. @throws CEnvironmentError if they cannot be written,
    /// std::out_of_range if there are no such slices.
    void WriteSlices(long long firstSlice, long long sliceCount, const void* bytes);
    /// Writes bytes of one slice, from its byte `place` on. @throws as above.
    void WritePart(long long slice, std::size_t place, std::span<const std::byte> bytes);
    /// @throws CEnvironmentError if what was written did not arrive.
    void Close();

  private:
    std::string m_path;
    std::size_t m_headBytes;
    std::size_t m_sliceBytes;
    long long m_slices;
    int m_file;
};

} // namespace TEVRA::volume
