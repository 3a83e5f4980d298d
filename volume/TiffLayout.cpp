// SPDX-License-Identifier: BSD-3-Clause
#include "volume/TiffLayout.h"

#include "volume/NumberText.h"

#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <span>
#include <vector>

// The format: "TIFF, Revision 6.0" (Aldus, 1992), and the BigTIFF that libtiff describes: the same with 8 bytes where
// TIFF has offsets and counts of 4, and counts of tags of 8 where it has 2.
namespace TEVRA::volume {
namespace {

enum ETag : std::uint16_t {
    imageWidth = 256,
    imageLength = 257,
    bitsPerSample = 258,
    compression = 259,
    photometric = 262,
    imageDescription = 270,
    stripOffsets = 273,
    samplesPerPixel = 277,
    rowsPerStrip = 278,
    stripByteCounts = 279,
    xResolution = 282,
    yResolution = 283,
    planarConfiguration = 284,
    resolutionUnit = 296,
    sampleFormat = 339
};

enum EFieldType : std::uint16_t { ascii = 2, shortNumber = 3, longNumber = 4, rational = 5, longLong = 16 };

constexpr std::size_t PIXEL_ALIGNMENT = 16;

template <typename NumberT>
void append(std::string& bytes, NumberT number) {
    const auto own = std::as_bytes(std::span(&number, 1));
    bytes.append(reinterpret_cast<const char*>(own.data()), own.size());
}

struct SEntry {
    std::uint16_t tag;
    std::uint16_t type;
    std::uint64_t count;
    std::string value; ///< bytes
};

template <typename NumberT>
SEntry entry(ETag tag, EFieldType type, std::initializer_list<NumberT> numbers) {
    SEntry made{tag, type, numbers.size(), {}};
    for (const NumberT number : numbers) {
        append(made.value, number);
    }
    return made;
}

SEntry short_entry(ETag tag, std::size_t number) {
    return entry<std::uint16_t>(tag, shortNumber, {static_cast<std::uint16_t>(number)});
}

SEntry long_entry(ETag tag, long long number) {
    return entry<std::uint32_t>(tag, longNumber, {static_cast<std::uint32_t>(number)});
}

/// Pixels per unit as a fraction that is exact where the distance has few digits.
SEntry resolution_entry(ETag tag, double distance) {
    constexpr double LARGEST = std::numeric_limits<std::uint32_t>::max();
    constexpr double TOLERANCE = 1e-12;
    const auto made = [tag](double numerator, double denominator) {
        SEntry fraction{tag, rational, 1, {}};
        append(fraction.value, static_cast<std::uint32_t>(numerator));
        append(fraction.value, static_cast<std::uint32_t>(denominator));
        return fraction;
    };
    for (double power = 1.0; power <= LARGEST; power *= 10.0) {
        const double scaled = distance * power;
        if (scaled >= 1.0 && scaled <= LARGEST &&
            std::abs(scaled - std::round(scaled)) <= TOLERANCE * scaled) {
            return made(power, std::round(scaled));
        }
    }
    return distance < 1.0 ? made(LARGEST, std::max(1.0, std::round(LARGEST * distance)))
                          : made(std::max(1.0, std::round(LARGEST / distance)), LARGEST);
}

/// Headers of pages, with offsets and counts of 4 bytes or, in BigTIFF, of 8.
class CHead {
  public:
    CHead(const SSliceFileInfo& info, bool isBig) : m_info(info), m_isBig(isBig) {
        m_pages = info.size[2] * (info.channels == EChannels::vector ? 3 : 1);
        m_pageBytes = static_cast<std::size_t>(info.size[0] * info.size[1]) * BytesPerPixel(info.numberType) *
                      samples();
        m_pixels = pixel_place();
    }

    std::uint64_t FileBytes() const {
        return m_pixels + static_cast<std::uint64_t>(m_pages) * std::uint64_t{m_pageBytes};
    }
    std::string Text() const {
        std::string bytes = file_header();
        for (long long page = 0; page < m_pages; ++page) {
            append_page(bytes, page);
        }
        bytes.resize(m_pixels, '\0');
        return bytes;
    }

  private:
    std::size_t samples() const { return m_info.channels == EChannels::color ? 3 : 1; }
    std::size_t offset_bytes() const { return m_isBig ? 8 : 4; }

    void append_offset(std::string& bytes, std::uint64_t offset) const {
        if (m_isBig) {
            append(bytes, offset);
        } else {
            append(bytes, static_cast<std::uint32_t>(offset));
        }
    }

    std::string file_header() const {
        std::string bytes = std::endian::native == std::endian::big ? "MM" : "II";
        append(bytes, static_cast<std::uint16_t>(m_isBig ? 43 : 42));
        if (m_isBig) {
            append(bytes, static_cast<std::uint16_t>(8)); // bytes of offsets
            append(bytes, static_cast<std::uint16_t>(0));
        }
        append_offset(bytes, bytes.size() + offset_bytes()); // the first page header follows
        return bytes;
    }

    /// As ImageJ has it: what the pages are, and the distance of slices in the unit of the resolution.
    std::string description() const {
        std::string text = "ImageJ=1.53\nimages=" + std::to_string(m_pages) + "\n";
        if (m_info.channels == EChannels::vector) {
            text += "channels=3\n";
        }
        if (m_info.size.Dim() == 3) {
            text += "slices=" + std::to_string(m_info.size[2]) + "\n";
        }
        if (m_info.channels == EChannels::vector) {
            text += "hyperstack=true\nmode=grayscale\n";
        }
        if (m_info.spacing) {
            text += m_info.spacingUnit.empty() ? "" : "unit=" + m_info.spacingUnit + "\n";
            text += m_info.size.Dim() == 3 ? "spacing=" + NumberText((*m_info.spacing)[2]) + "\n" : "";
        }
        return text + "loop=false\ncontent=" + m_info.content + "\n";
    }

    std::vector<SEntry> entries(long long page) const {
        const std::size_t bits = 8 * BytesPerPixel(m_info.numberType);
        const bool isColor = m_info.channels == EChannels::color;
        std::vector<SEntry> all;
        all.push_back(long_entry(imageWidth, m_info.size[0]));
        all.push_back(long_entry(imageLength, m_info.size[1]));
        const auto depth = static_cast<std::uint16_t>(bits);
        all.push_back(isColor ? entry<std::uint16_t>(bitsPerSample, shortNumber, {depth, depth, depth})
                              : short_entry(bitsPerSample, bits));
        all.push_back(short_entry(compression, 1));
        all.push_back(short_entry(photometric, isColor ? 2 : 1));
        if (page == 0) {
            const std::string text = description() + '\0';
            all.push_back({imageDescription, ascii, text.size(), text});
        }
        const std::uint64_t place = m_pixels + static_cast<std::uint64_t>(page) * m_pageBytes;
        all.push_back(m_isBig ? entry<std::uint64_t>(stripOffsets, longLong, {place})
                              : long_entry(stripOffsets, static_cast<long long>(place)));
        all.push_back(short_entry(samplesPerPixel, samples()));
        all.push_back(long_entry(rowsPerStrip, m_info.size[1]));
        all.push_back(m_isBig ? entry<std::uint64_t>(stripByteCounts, longLong, {m_pageBytes})
                              : long_entry(stripByteCounts, static_cast<long long>(m_pageBytes)));
        if (m_info.spacing) {
            all.push_back(resolution_entry(xResolution, (*m_info.spacing)[0]));
            all.push_back(resolution_entry(yResolution, (*m_info.spacing)[1]));
        }
        all.push_back(short_entry(planarConfiguration, 1));
        if (m_info.spacing) {
            all.push_back(short_entry(resolutionUnit, 1)); // none that TIFF knows
        }
        if (m_info.numberType == EPixelType::f32) {
            all.push_back(short_entry(sampleFormat, 3));
        }
        return all;
    }

    /// A page header, values that do not fit into its entries behind it.
    void append_page(std::string& bytes, long long page) const {
        const std::vector<SEntry> all = entries(page);
        const std::size_t entryBytes = m_isBig ? 20 : 12;
        std::uint64_t outside = bytes.size() + (m_isBig ? 8 : 2) + all.size() * entryBytes + offset_bytes();
        std::string values;
        if (m_isBig) {
            append(bytes, static_cast<std::uint64_t>(all.size()));
        } else {
            append(bytes, static_cast<std::uint16_t>(all.size()));
        }
        for (const SEntry& one : all) {
            append(bytes, one.tag);
            append(bytes, one.type);
            append_offset(bytes, one.count);
            if (one.value.size() <= offset_bytes()) {
                std::string inside = one.value;
                inside.resize(offset_bytes(), '\0');
                bytes += inside;
            } else {
                append_offset(bytes, outside + values.size());
                values += one.value;
                values.resize((values.size() + 7) / 8 * 8, '\0');
            }
        }
        outside += values.size();
        append_offset(bytes, page + 1 < m_pages ? outside : 0); // the next page header
        bytes += values;
    }

    /// Page headers take the same room whatever the offsets in them are.
    std::size_t pixel_place() const {
        std::string bytes = file_header();
        append_page(bytes, 0);
        const std::size_t first = bytes.size();
        std::size_t all = first;
        if (m_pages > 1) {
            append_page(bytes, 1);
            all += (bytes.size() - first) * static_cast<std::size_t>(m_pages - 1);
        }
        return (all + PIXEL_ALIGNMENT - 1) / PIXEL_ALIGNMENT * PIXEL_ALIGNMENT;
    }

    const SSliceFileInfo& m_info;
    bool m_isBig;
    long long m_pages = 0;
    std::size_t m_pageBytes = 0;
    std::size_t m_pixels = 0;
};

} // namespace

std::string TiffHead(const SSliceFileInfo& info) {
    const CHead classic(info, false);
    constexpr std::uint64_t CLASSIC_BYTES = std::uint64_t{1} << 32U;
    return classic.FileBytes() < CLASSIC_BYTES ? classic.Text() : CHead(info, true).Text();
}

} // namespace TEVRA::volume
