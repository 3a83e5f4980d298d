// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "volume/PixelType.h"
#include "volume/RawLayout.h"
#include "zeklib2image/Size.h"

#include <array>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace TEVRA::volume {

/// What an image file holds.
struct SImageInfo {
    std::string format;                           ///< as in "BigTIFF", "MetaImage" or "folder of PNG slices"
    CSize size;                                   ///< 2 or 3 dimensions; a 3D image of one slice counts as 2D
    EPixelType pixelType = EPixelType::u8;        ///< what the reader hands out
    std::string storedType;                       ///< what the file holds, as in "16-bit signed integer"
    std::optional<std::array<double, 3>> spacing; ///< x, y, z (2D: z is 1); nothing if the file states none
    std::string spacingUnit;                      ///< "mm" or "um"; empty if the file states none
    std::string spacingNote;                      ///< where the spacing is from, or why there is none
    bool isRounded = false; ///< the file's type has values that the floats handed out can only come near
    bool isSpacingBroken = false; ///< the file states a spacing that is no length
    std::string
        lossyCompression;      ///< of pixels that were stored with losses, as in "JPEG"; empty if none were
    std::string missingSlices; ///< of a folder: numbers that no file has, as in "12, 15 to 17"; empty if none
};

/// An image file opened for reading, by ranges of slices. Not for use by several threads at a time.
class IImageReader {
  public:
    IImageReader() = default;
    IImageReader(const IImageReader&) = delete;
    IImageReader& operator=(const IImageReader&) = delete;
    virtual ~IImageReader();

    virtual const SImageInfo& Info() const = 0;
    /// All files that header and pixels are read from, whatever refers to them.
    virtual std::vector<std::string> Files() const = 0;

    /// Most memory that the reader takes for itself while slices are read.
    virtual std::size_t BufferBytes() const = 0;
    /// Asks for no more than so many bytes of it. What reading cannot do without stays.
    virtual void LimitBuffers(std::size_t /*bytes*/) {}
    /// Largest difference between a value read so far and the float handed out for it.
    virtual double LargestRounding() const { return 0.0; }

    /// Number of slices; 1 in 2D.
    long long SliceCount() const { return Info().size[2]; }
    /// Bytes of one slice as handed out.
    std::size_t SliceBytes() const;

    /// Reads the slices `firstSlice` to `firstSlice + sliceCount - 1`.
    /// @param pixels room for `sliceCount * SliceBytes()` bytes; receives pixels of type `Info().pixelType`
    /// in
    ///        the machine's byte order, x fastest, without gaps. Undefined after an exception.
    /// @throws CInputError if the file's content is broken, CEnvironmentError if it cannot be read,
    ///         std::out_of_range if there are no such slices.
    void ReadSlices(long long firstSlice, long long sliceCount, void* pixels);

  private:
    virtual void read_slices(long long firstSlice, long long sliceCount, std::byte* pixels) = 0;
};

struct SOpenOptions {
    std::optional<SRawLayout> raw; ///< given: the file has no header but this layout
};

/// Opens an image: a TIFF or BigTIFF file, a folder of TIFF or PNG slices (in natural order of their names),
/// a PNG, MetaImage, NRRD, NIfTI or NumPy file, a dataset of an HDF5 file ("file.h5:/path/of/dataset"), or a
/// file without header if `options.raw` gives its layout.
///
/// All of the header is checked here, and of a folder all slices' headers.
/// @throws CInputError if there is no such file, or it is not an image of one of the pixel types, or broken;
///         CEnvironmentError if it cannot be read.
std::unique_ptr<IImageReader> OpenImage(const std::string& path, const SOpenOptions& options = {});

} // namespace TEVRA::volume
