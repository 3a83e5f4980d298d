// SPDX-License-Identifier: BSD-3-Clause
#include "volume/TiffFile.h"

#include "volume/ByteSource.h"
#include "volume/Failure.h"
#include "volume/PackedSize.h"

#include <algorithm>
#include <array>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <limits>
#include <optional>

#include <tiffio.h>

namespace TEVRA::volume {
namespace {

// Page headers hold a few hundred bytes, compressed strips less than the file: what needs more is broken.
constexpr tmsize_t LARGEST_ALLOCATION_BESIDE_FILE = tmsize_t{256} << 20;
constexpr std::uint64_t LARGEST_TILE_BESIDE_PAGE = std::uint64_t{64} << 20;
constexpr std::size_t LIBRARY_BYTES = std::size_t{1} << 18; // a page's tables, and the decoder's own
constexpr std::byte WHITE{255};

std::string page_name(const std::string& path, std::size_t index) {
    return index == 0 ? path : path + ", page " + std::to_string(index + 1);
}

template <typename ValueT>
ValueT field_or(TIFF* file, std::uint32_t tag, ValueT fallback) {
    ValueT value{};
    return TIFFGetFieldDefaulted(file, tag, &value) == 1 ? value : fallback;
}

const char* color_name(std::uint16_t photometric) {
    switch (photometric) {
    case PHOTOMETRIC_RGB:
        return "RGB colors";
    case PHOTOMETRIC_PALETTE:
        return "palette colors";
    case PHOTOMETRIC_MASK:
        return "a transparency mask";
    case PHOTOMETRIC_SEPARATED:
        return "CMYK colors";
    case PHOTOMETRIC_YCBCR:
        return "YCbCr colors";
    case PHOTOMETRIC_CIELAB:
    case PHOTOMETRIC_ICCLAB:
    case PHOTOMETRIC_ITULAB:
        return "Lab colors";
    default:
        return nullptr;
    }
}

[[noreturn]] void refuse_pixels(const std::string& name, const std::string& what) {
    throw CInputError(name + ": the pixels are " + what + ", which cannot be read; " + PixelTypeAdvice());
}

void check_grey(TIFF* file, const std::string& name, std::uint16_t photometric) {
    if (const char* color = color_name(photometric)) {
        refuse_pixels(name, color);
    }
    if (photometric != PHOTOMETRIC_MINISBLACK && photometric != PHOTOMETRIC_MINISWHITE) {
        refuse_pixels(name, "of photometric interpretation " + std::to_string(photometric));
    }
    const auto channels = field_or<std::uint16_t>(file, TIFFTAG_SAMPLESPERPIXEL, 1);
    if (channels != 1) {
        refuse_pixels(name, "of " + std::to_string(channels) + " channels");
    }
    if (field_or<std::uint32_t>(file, TIFFTAG_IMAGEDEPTH, 1) != 1) {
        refuse_pixels(name, "volumes within one page");
    }
}

struct SNumbers {
    ENumberKind kind;
    int bits;
};

SNumbers numbers_of(TIFF* file, const std::string& name) {
    const int bits = field_or<std::uint16_t>(file, TIFFTAG_BITSPERSAMPLE, 1);
    switch (field_or<std::uint16_t>(file, TIFFTAG_SAMPLEFORMAT, SAMPLEFORMAT_UINT)) {
    case SAMPLEFORMAT_INT:
        return {ENumberKind::signedInteger, bits};
    case SAMPLEFORMAT_IEEEFP:
        return {ENumberKind::floatingPoint, bits};
    case SAMPLEFORMAT_COMPLEXINT:
    case SAMPLEFORMAT_COMPLEXIEEEFP:
        refuse_pixels(name, "complex numbers");
    default: // "untyped" is written for whole numbers
        return {ENumberKind::unsignedInteger, bits};
    }
}

/// ImageJ stores values as they are and only displays them inverted; a mask's foreground is 255 there, too.
bool stores_inverted(std::uint16_t photometric, const std::string& description) {
    return photometric == PHOTOMETRIC_MINISWHITE && TiffDialectOf(description) != ETiffDialect::imageJ;
}

void set_numbers(STiffPage& page, const SNumbers& numbers, bool inverted, const std::string& name) {
    if (numbers.kind == ENumberKind::unsignedInteger && numbers.bits == 1) {
        page.grey = inverted ? ETiffGrey::bilevelInverted : ETiffGrey::bilevel;
        return;
    }
    const std::optional<EStoredType> type = StoredTypeFrom(numbers.kind, numbers.bits);
    if (!type) {
        refuse_pixels(name, NumberDescription(numbers.kind, numbers.bits));
    }
    if (inverted && type != EStoredType::u8 && type != EStoredType::u16) {
        refuse_pixels(name, std::string(Description(*type)) + " with 0 for white");
    }
    page.type = *type;
    page.grey = inverted ? ETiffGrey::inverted : ETiffGrey::asStored;
}

STiffFlips flips_of(TIFF* file, const std::string& name) {
    switch (const auto orientation =
                field_or<std::uint16_t>(file, TIFFTAG_ORIENTATION, ORIENTATION_TOPLEFT)) {
    case ORIENTATION_TOPLEFT:
        return {false, false};
    case ORIENTATION_TOPRIGHT:
        return {true, false};
    case ORIENTATION_BOTRIGHT:
        return {true, true};
    case ORIENTATION_BOTLEFT:
        return {false, true};
    default:
        throw CInputError(name + ": the orientation tag is " + std::to_string(orientation) +
                          ", but only 1 to 4 can be read (no rotation); save the image upright");
    }
}

bool is_reduced_copy(TIFF* file) {
    return (field_or<std::uint32_t>(file, TIFFTAG_SUBFILETYPE, 0) &
            (FILETYPE_REDUCEDIMAGE | FILETYPE_MASK)) != 0;
}

bool is_bilevel(const STiffPage& page) {
    return page.grey == ETiffGrey::bilevel || page.grey == ETiffGrey::bilevelInverted;
}

bool is_inverted(const STiffPage& page) {
    return page.grey == ETiffGrey::inverted || page.grey == ETiffGrey::bilevelInverted;
}

bool is_converted(const STiffPage& page) {
    return is_bilevel(page) || IsConverted(page.type);
}

/// Most bytes that one of compressed data can become; infinite where no bound is known.
double expansion_of(std::uint16_t compression, double lineBytes) {
    switch (compression) {
    case COMPRESSION_NONE:
        return 1.0;
    case COMPRESSION_PACKBITS: // two bytes for 128
        return 64.0;
    case COMPRESSION_LZW: // twelve bits for at most as many bytes as the table has entries
        return 4096.0 / 1.5;
    case COMPRESSION_DEFLATE:
    case COMPRESSION_ADOBE_DEFLATE:
        return DEFLATE_EXPANSION;
    case COMPRESSION_JPEG: // a bit for 64 pixels in each of two or more scans
        return 512.0;
    case COMPRESSION_CCITTRLE:
    case COMPRESSION_CCITTFAX3:
    case COMPRESSION_CCITTFAX4: // a bit for a line
        return 8.0 * lineBytes;
    case COMPRESSION_ZSTD: // four bytes for a block of 128 kB
        return 32768.0;
    case COMPRESSION_LZMA: // 14 decisions of 0.022 bits each for 273 bytes
        return 8192.0;
    default:
        return std::numeric_limits<double>::infinity();
    }
}

/// Name of a compression that changes values; null of others.
const char* lossy_name(std::uint16_t compression) {
    return compression == COMPRESSION_JPEG || compression == COMPRESSION_OJPEG ? "JPEG" : nullptr;
}

std::size_t line_bytes(const STiffPage& page) {
    const auto width = static_cast<std::size_t>(page.width);
    return is_bilevel(page) ? (width + 7) / 8 : width * BytesPerPixel(page.type);
}

void unpack_bits(const STiffPage& page, const std::byte* packed, std::byte* pixels) {
    for (long long y = 0; y < page.height; ++y) {
        for (long long x = 0; x < page.width; ++x) {
            const std::byte eight = packed[x / 8];
            const bool set = ((eight >> static_cast<int>(7 - x % 8)) & std::byte{1}) != std::byte{0};
            *pixels++ = set ? WHITE : std::byte{0};
        }
        packed += line_bytes(page);
    }
}

/// All bits of whole numbers turned: v becomes the largest value minus v.
void invert(std::byte* pixels, std::size_t bytes) {
    std::transform(pixels, pixels + bytes, pixels, [](std::byte value) { return ~value; });
}

void flip(const STiffPage& page, std::byte* pixels) {
    const std::size_t pixelBytes = BytesPerPixel(HandedOutType(page.type));
    const std::size_t lineBytes = static_cast<std::size_t>(page.width) * pixelBytes;
    for (long long y = 0; page.flips.horizontal && y < page.height; ++y) {
        std::byte* line = pixels + static_cast<std::size_t>(y) * lineBytes;
        std::reverse(line, line + lineBytes);
        SwapBytes(line, static_cast<std::size_t>(page.width),
                  pixelBytes); // each pixel's own bytes back in order
    }
    for (long long y = 0; page.flips.vertical && y < page.height / 2; ++y) {
        std::byte* upper = pixels + static_cast<std::size_t>(y) * lineBytes;
        std::byte* lower = pixels + static_cast<std::size_t>(page.height - 1 - y) * lineBytes;
        std::swap_ranges(upper, upper + lineBytes, lower);
    }
}

} // namespace

void CTiffFile::SClose::operator()(tiff* file) const {
    TIFFClose(file);
}

CTiffFile::CTiffFile(const std::string& path)
    : m_path(path), m_messages(std::make_unique<SMessages>()), m_fileBytes(FileBytes(path)),
      m_conversion(path) {
    const TIFFErrorHandlerExtR keepError = [](TIFF*, void* messages, const char*, const char* format,
                                              va_list arguments) {
        std::array<char, 500> text{};
        static_cast<void>(std::vsnprintf(text.data(), text.size(), format, arguments));
        static_cast<SMessages*>(messages)->lastError = text.data();
        return 1;
    };
    const TIFFErrorHandlerExtR dropWarning = [](TIFF*, void*, const char*, const char*, va_list) {
        return 1;
    };
    const std::unique_ptr<TIFFOpenOptions, decltype(&TIFFOpenOptionsFree)> options(TIFFOpenOptionsAlloc(),
                                                                                   TIFFOpenOptionsFree);
    TIFFOpenOptionsSetErrorHandlerExtR(options.get(), keepError, m_messages.get());
    TIFFOpenOptionsSetWarningHandlerExtR(options.get(), dropWarning, nullptr);
    TIFFOpenOptionsSetMaxSingleMemAlloc(options.get(),
                                        static_cast<tmsize_t>(m_fileBytes) + LARGEST_ALLOCATION_BESIDE_FILE);
    // c: strips as they are; m: no memory map, which would crash when the file shrinks. Loading the tables of
    // strips when they are needed (O) would be faster, but takes tables that are cut off for zeros.
    m_file.reset(TIFFOpenExt(path.c_str(), "rcm", options.get()));
    if (!m_file) {
        fail_broken(path);
    }
    read_description();
    read_pages();
}

void CTiffFile::read_description() {
    TIFF* file = m_file.get();
    char* text = nullptr;
    if (TIFFGetField(file, TIFFTAG_IMAGEDESCRIPTION, &text) == 1 && text != nullptr) {
        m_description.text = text;
    }
    m_description.bigTiff = TIFFIsBigTIFF(file) != 0;
    m_description.bigEndian = TIFFIsBigEndian(file) != 0;
    m_description.resolution.xPixelsPerUnit = field_or<float>(file, TIFFTAG_XRESOLUTION, 0.0F);
    m_description.resolution.yPixelsPerUnit = field_or<float>(file, TIFFTAG_YRESOLUTION, 0.0F);
    switch (field_or<std::uint16_t>(file, TIFFTAG_RESOLUTIONUNIT, RESUNIT_INCH)) {
    case RESUNIT_INCH:
        m_description.resolution.unit = ETiffResolutionUnit::inch;
        break;
    case RESUNIT_CENTIMETER:
        m_description.resolution.unit = ETiffResolutionUnit::centimetre;
        break;
    default:
        m_description.resolution.unit = ETiffResolutionUnit::none;
    }
    m_description.uncompressed =
        field_or<std::uint16_t>(file, TIFFTAG_COMPRESSION, COMPRESSION_NONE) == COMPRESSION_NONE &&
        TIFFIsTiled(file) == 0;
    m_description.firstPixelsOffset = TIFFGetStrileOffset(file, 0);
}

void CTiffFile::read_pages() {
    TIFF* file = m_file.get();
    std::size_t index = 0;
    std::uint64_t lastOffset = 0;
    bool another = true;
    while (another) {
        const std::string name = page_name(m_path, index);
        if (index == 0 || !is_reduced_copy(file)) {
            const STiffPage page = page_here(name);
            const bool first = m_pages.empty();
            if (!first && (page.width != m_pages[0].width || page.height != m_pages[0].height)) {
                throw CInputError(name + ": the page has " + std::to_string(page.width) + " x " +
                                  std::to_string(page.height) + " pixels, but the first has " +
                                  std::to_string(m_pages[0].width) + " x " +
                                  std::to_string(m_pages[0].height) + "; all slices must have the same size");
            }
            if (!first && (page.type != m_pages[0].type || is_bilevel(page) != is_bilevel(m_pages[0]))) {
                throw CInputError(name + ": the page's pixels are " + StoredDescription(page) +
                                  ", but those of the first are " + StoredDescription(m_pages[0]) +
                                  "; all slices must have the same pixel type");
            }
            m_pages.push_back(page);
        }
        m_messages->lastError.clear();
        lastOffset = TIFFCurrentDirOffset(file);
        another = TIFFReadDirectory(file) == 1;
        ++index;
    }
    if (!m_messages->lastError.empty() || !is_last_directory(lastOffset)) {
        fail_broken(page_name(m_path, index));
    }
}

/// libtiff takes a link to the next page that lies beyond the end of the file for the end of the pages.
bool CTiffFile::is_last_directory(std::uint64_t directoryOffset) const {
    const bool big = m_description.bigTiff;
    const std::unique_ptr<IByteSource> bytes = OpenFileBytes(m_path, 0, 0);
    const auto number = [&](std::uint64_t offset, std::size_t size) {
        std::array<std::byte, sizeof(std::uint64_t)> digits{};
        bytes->Read(offset, size, digits.data());
        if (!m_description.bigEndian) {
            std::reverse(digits.begin(), digits.begin() + static_cast<std::ptrdiff_t>(size));
        }
        std::uint64_t value = 0;
        for (std::size_t i = 0; i < size; ++i) {
            value = value << 8U | std::to_integer<std::uint64_t>(digits[i]);
        }
        return value;
    };
    const std::size_t countBytes = big ? 8 : 2;
    const std::size_t entryBytes = big ? 20 : 12;
    const std::uint64_t entries = number(directoryOffset, countBytes);
    return number(directoryOffset + countBytes + entries * entryBytes, big ? 8 : 4) == 0;
}

STiffPage CTiffFile::page_here(const std::string& name) {
    TIFF* file = m_file.get();
    STiffPage page;
    page.directoryOffset = TIFFCurrentDirOffset(file);
    page.width = field_or<std::uint32_t>(file, TIFFTAG_IMAGEWIDTH, 0);
    page.height = field_or<std::uint32_t>(file, TIFFTAG_IMAGELENGTH, 0);
    const auto photometric = field_or<std::uint16_t>(file, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK);
    check_grey(file, name, photometric);
    set_numbers(page, numbers_of(file, name), stores_inverted(photometric, m_description.text), name);
    page.flips = flips_of(file, name);
    const auto compression = field_or<std::uint16_t>(file, TIFFTAG_COMPRESSION, COMPRESSION_NONE);
    if (TIFFIsCODECConfigured(compression) == 0) {
        throw CInputError(name + ": the pixels are compressed by method " + std::to_string(compression) +
                          ", which cannot be read; save the image uncompressed or with LZW or deflate");
    }
    if (const char* const lossy = lossy_name(compression)) {
        m_description.lossyCompression = lossy;
    }
    check_packed_size(page, name);
    return page;
}

void CTiffFile::check_packed_size(STiffPage& page, const std::string& name) const {
    TIFF* file = m_file.get();
    const bool tiled = TIFFIsTiled(file) != 0;
    page.tileBytes = tiled ? static_cast<std::size_t>(TIFFTileSize64(file)) : 0;
    const std::uint32_t pieces = tiled ? TIFFNumberOfTiles(file) : TIFFNumberOfStrips(file);
    double packed = 0.0;
    for (std::uint32_t piece = 0; piece < pieces; ++piece) {
        const std::uint64_t bytes = std::min<std::uint64_t>(TIFFGetStrileByteCount(file, piece), m_fileBytes);
        page.packedBytes = std::max<std::size_t>(page.packedBytes, bytes);
        packed += static_cast<double>(bytes);
    }
    const auto lines = static_cast<double>(page.height);
    const auto compression = field_or<std::uint16_t>(file, TIFFTAG_COMPRESSION, COMPRESSION_NONE);
    CheckPackedSize(name, static_cast<double>(line_bytes(page)) * lines, packed,
                    expansion_of(compression, static_cast<double>(line_bytes(page))));
}

std::size_t CTiffFile::BufferBytes() const {
    std::size_t bytes = 0;
    for (const STiffPage& page : m_pages) {
        const std::size_t stored =
            is_converted(page) ? line_bytes(page) * static_cast<std::size_t>(page.height) : 0;
        bytes = std::max(bytes, stored + page.packedBytes + page.tileBytes);
    }
    return bytes + m_pages.size() * sizeof(STiffPage) + LIBRARY_BYTES;
}

void CTiffFile::ReadPage(std::size_t index, std::byte* pixels) {
    const STiffPage& page = m_pages.at(index);
    const std::string name = page_name(m_path, index);
    m_messages->lastError.clear();
    if (TIFFCurrentDirOffset(m_file.get()) != page.directoryOffset &&
        TIFFSetSubDirectory(m_file.get(), page.directoryOffset) == 0) {
        fail_broken(name);
    }
    const auto count = static_cast<std::size_t>(page.width * page.height);
    const bool converts = is_converted(page);
    m_stored.resize(converts ? line_bytes(page) * static_cast<std::size_t>(page.height) : 0);
    decode_here(page, name, converts ? m_stored.data() : pixels);
    if (is_bilevel(page)) {
        unpack_bits(page, m_stored.data(), pixels);
    } else if (converts) {
        m_conversion.Convert(page.type, m_stored.data(), count, pixels);
    }
    if (is_inverted(page)) {
        invert(pixels, count * BytesPerPixel(page.type));
    }
    flip(page, pixels);
}

void CTiffFile::decode_here(const STiffPage& page, const std::string& name, std::byte* stored) {
    const std::size_t lineBytes = line_bytes(page);
    if (TIFFIsTiled(m_file.get()) != 0) {
        decode_tiles(page, lineBytes, name, stored);
    } else {
        decode_strips(lineBytes, page.height, name, stored);
    }
}

void CTiffFile::decode_strips(std::size_t lineBytes, long long height, const std::string& name,
                              std::byte* stored) {
    TIFF* file = m_file.get();
    const auto stated = field_or<std::uint32_t>(file, TIFFTAG_ROWSPERSTRIP, 0xFFFFFFFF);
    const long long linesPerStrip = std::min<long long>(stated, height);
    if (linesPerStrip < 1 || TIFFScanlineSize64(file) != lineBytes) {
        fail_broken(name);
    }
    for (long long line = 0; line < height; line += linesPerStrip) {
        const long long lines = std::min(linesPerStrip, height - line);
        const auto bytes = static_cast<tmsize_t>(lineBytes) * static_cast<tmsize_t>(lines);
        const auto strip = static_cast<std::uint32_t>(line / linesPerStrip);
        std::byte* target = stored + static_cast<std::size_t>(line) * lineBytes;
        if (TIFFReadEncodedStrip(file, strip, target, bytes) != bytes) {
            fail_broken(name);
        }
    }
}

void CTiffFile::decode_tiles(const STiffPage& page, std::size_t lineBytes, const std::string& name,
                             std::byte* stored) {
    TIFF* file = m_file.get();
    const long long tileWidth = field_or<std::uint32_t>(file, TIFFTAG_TILEWIDTH, 0);
    const long long tileHeight = field_or<std::uint32_t>(file, TIFFTAG_TILELENGTH, 0);
    const std::uint64_t tileBytes = TIFFTileSize64(file);
    const std::uint64_t tileLineBytes = TIFFTileRowSize64(file);
    const std::uint64_t pageBytes = lineBytes * static_cast<std::uint64_t>(page.height);
    // Offsets of tiles within a line are whole bytes: tile widths are multiples of 16 in sound files.
    const bool sound = tileWidth > 0 && tileHeight > 0 && tileWidth % 8 == 0 && tileBytes > 0 &&
                       tileBytes / static_cast<std::uint64_t>(tileHeight) == tileLineBytes &&
                       tileBytes <= 4 * pageBytes + LARGEST_TILE_BESIDE_PAGE;
    if (!sound) {
        fail_broken(name);
    }
    std::vector<std::byte> tile(tileBytes);
    for (long long top = 0; top < page.height; top += tileHeight) {
        for (long long left = 0; left < page.width; left += tileWidth) {
            const std::uint32_t number = TIFFComputeTile(file, static_cast<std::uint32_t>(left),
                                                         static_cast<std::uint32_t>(top), 0, 0);
            if (TIFFReadEncodedTile(file, number, tile.data(), static_cast<tmsize_t>(tileBytes)) !=
                static_cast<tmsize_t>(tileBytes)) {
                fail_broken(name);
            }
            const std::size_t offset = static_cast<std::size_t>(left / tileWidth) * tileLineBytes;
            const std::size_t bytes = std::min<std::size_t>(tileLineBytes, lineBytes - offset);
            for (long long line = top; line < std::min(top + tileHeight, page.height); ++line) {
                std::memcpy(stored + static_cast<std::size_t>(line) * lineBytes + offset,
                            tile.data() + static_cast<std::size_t>(line - top) * tileLineBytes, bytes);
            }
        }
    }
}

void CTiffFile::fail_broken(const std::string& name) const {
    const std::string& reason = m_messages->lastError;
    throw CInputError(name + ": the TIFF file is broken or truncated" +
                      (reason.empty() ? "" : ": " + reason) + "; copy or export it again");
}

std::string StoredDescription(const STiffPage& page) {
    return is_bilevel(page) ? "1-bit" : Description(page.type);
}

} // namespace TEVRA::volume
