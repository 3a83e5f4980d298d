// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "volume/StoredPixels.h"
#include "volume/TiffMetadata.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

struct tiff;

namespace TEVRA::volume {

/// How a page's grey values have to be changed after decoding.
enum class ETiffGrey {
    asStored,
    inverted, ///< 0 is white
    bilevel,  ///< one bit per pixel, handed out as 0 and 255
    bilevelInverted
};

/// Which way a page's first stored line and pixel lie.
struct STiffFlips {
    bool horizontal = false;
    bool vertical = false;
    friend bool operator==(const STiffFlips&, const STiffFlips&) = default;
};

/// What a page of a TIFF file holds.
struct STiffPage {
    std::uint64_t directoryOffset = 0; ///< of its header in the file
    long long width = 0;
    long long height = 0;
    EStoredType type = EStoredType::u8;
    ETiffGrey grey = ETiffGrey::asStored;
    STiffFlips flips;
    std::size_t packedBytes = 0; ///< of its largest strip or tile as the file holds it
    std::size_t tileBytes = 0;   ///< of an unpacked tile; 0 for strips
};

/// As in "16-bit signed integer".
std::string StoredDescription(const STiffPage& page);

/// What a TIFF file says about itself as a whole, from its first page.
struct STiffDescription {
    bool bigTiff = false;
    bool bigEndian = false;
    std::string text; ///< the ImageDescription
    STiffResolution resolution;
    bool uncompressed = false;
    std::string lossyCompression;        ///< of any page, as in "JPEG"; empty if there is none
    std::uint64_t firstPixelsOffset = 0; ///< where the first page's pixels begin
};

/// A TIFF or BigTIFF file: its pages and their grey values. Reduced copies of other pages are left out.
class CTiffFile {
  public:
    /// Reads the headers of all pages.
    /// @throws CInputError if the file is broken, or a page is not a grey image of a known pixel type or
    ///         differs from the first page in size or type; the message names the page, counted from 1.
    ///         CEnvironmentError if the file cannot be opened.
    explicit CTiffFile(const std::string& path);

    /// One or more pages, all of the same size and type.
    const std::vector<STiffPage>& Pages() const noexcept { return m_pages; }
    const STiffDescription& Description() const noexcept { return m_description; }

    /// Decodes a page. @param pixels room for width x height pixels of type `HandedOutType(page.type)`.
    /// @throws CInputError if the page's data is broken or missing.
    /// or if a value is beyond the range of floats.
    void ReadPage(std::size_t index, std::byte* pixels);

    /// Most memory that decoding a page takes beside its pixels.
    std::size_t BufferBytes() const;
    double LargestRounding() const noexcept { return m_conversion.LargestRounding(); }

  private:
    struct SMessages {
        std::string lastError;
    };
    struct SClose {
        void operator()(tiff* file) const;
    };

    void read_pages();
    bool is_last_directory(std::uint64_t directoryOffset) const;
    void read_description();
    STiffPage page_here(const std::string& name);
    void check_packed_size(STiffPage& page, const std::string& name) const;
    void decode_here(const STiffPage& page, const std::string& name, std::byte* stored);
    void decode_strips(std::size_t lineBytes, long long height, const std::string& name, std::byte* stored);
    void decode_tiles(const STiffPage& page, std::size_t lineBytes, const std::string& name,
                      std::byte* stored);
    [[noreturn]] void fail_broken(const std::string& name) const;

    std::string m_path;
    std::unique_ptr<SMessages> m_messages; // stays in place when the object moves
    std::unique_ptr<tiff, SClose> m_file;
    std::vector<STiffPage> m_pages;
    STiffDescription m_description;
    unsigned long long m_fileBytes;
    CFloatConversion m_conversion;
    std::vector<std::byte> m_stored; // of one page, if it has to be converted
};

} // namespace TEVRA::volume
