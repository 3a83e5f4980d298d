// SPDX-License-Identifier: BSD-3-Clause
#include "report/pictures/Raster.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cmath>
#include <cstdint>

namespace TEVRA::report {
namespace {

/// Strokes of a sign: lines through points of a grid, four wide, digits from 0 to 6 high; two digits are x and y, a blank
/// begins a new line.
struct SSign {
    char letter;
    std::string_view strokes;
};

constexpr SSign SIGNS[] = {
    // NOLINT(*-avoid-c-arrays)
    {'0', "103041453616050110"},
    {'1', "112026 1636"},
    {'2', "01103041420646"},
    {'3', "01103041423323 334445361605"},
    {'4', "36300444"},
    {'5', "400003334445361605"},
    {'6', "4130100105163645443303"},
    {'7', "004016"},
    {'8', "103041423313020110 1304051636454433"},
    {'9', "4313020110304145361605"},
    {'.', "2626"},
    {',', "2617"},
    {':', "2323 2626"},
    {'-', "1333"},
    {'_', "0747"},
    {'+', "0343 2125"},
    {'(', "30212536"},
    {')', "10212516"},
    {'=', "0242 0444"},
    {'/', "4006"},
    {'%', "4006 0101 4545"},
    {'|', "2027"},
    {'a', "12324346 441405163645"},
    {'b', "0006 0312324345361605"},
    {'c', "4332120305163645"},
    {'d', "4046 4332120305163645"},
    {'e', "04444332120305163645"},
    {'f', "40302126 1232"},
    {'g', "4247381807 4332120305163645"},
    {'h', "0006 0312324346"},
    {'i', "2226 2020"},
    {'j', "22271808 2020"},
    {'k', "0006 3204 1436"},
    {'l', "202536"},
    {'m', "0206 03122326 23324346"},
    {'n', "0206 0312324346"},
    {'o', "123243453616050312"},
    {'p', "0208 0312324345361605"},
    {'q', "4248 4332120305163645"},
    {'r', "0206 03123243"},
    {'s', "4332120345361605"},
    {'t', "20253646 1232"},
    {'u', "0205163645 4246"},
    {'v', "022642"},
    {'w', "0216243642"},
    {'x', "0246 4206"},
    {'y', "0226 4218"},
    {'z', "02420646"},
};
constexpr double SIGN_HEIGHT = 6.0;
constexpr double ADVANCE = 5.8; // from sign to sign
constexpr double STROKE = 0.75;

std::string_view strokes_of(char letter) {
    const char small = static_cast<char>(std::tolower(static_cast<unsigned char>(letter)));
    for (const SSign& sign : SIGNS) {
        if (sign.letter == small) {
            return sign.strokes;
        }
    }
    return {};
}

void append_number(std::string& bytes, std::uint32_t number) {
    for (int shift = 24; shift >= 0; shift -= 8) {
        bytes += static_cast<char>(number >> shift & 0xFFU);
    }
}

/// What each byte does to the checksum of PNG's chunks (ISO 3309).
constexpr std::array<std::uint32_t, 256> CHECKSUMS = [] {
    std::array<std::uint32_t, 256> sums{};
    for (std::uint32_t byte = 0; byte < sums.size(); ++byte) {
        std::uint32_t sum = byte;
        for (int bit = 0; bit < 8; ++bit) {
            sum = (sum & 1U) != 0U ? sum >> 1 ^ 0xEDB88320U : sum >> 1;
        }
        sums[byte] = sum;
    }
    return sums;
}();

std::uint32_t checksum_of(std::string_view bytes) {
    std::uint32_t sum = 0xFFFFFFFFU;
    for (const char byte : bytes) {
        sum = CHECKSUMS[(sum ^ static_cast<unsigned char>(byte)) & 0xFFU] ^ sum >> 8;
    }
    return ~sum;
}

void append_chunk(std::string& png, std::string_view name, std::string_view data) {
    append_number(png, static_cast<std::uint32_t>(data.size()));
    std::string content(name);
    content += data;
    png += content;
    append_number(png, checksum_of(content));
}

} // namespace

CRaster::CRaster(int width, int height, SColor background)
    : m_width(width), m_height(height),
      m_bytes(static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * 3) {
    for (std::size_t at = 0; at < m_bytes.size(); at += 3) {
        m_bytes[at] = std::byte{background.red};
        m_bytes[at + 1] = std::byte{background.green};
        m_bytes[at + 2] = std::byte{background.blue};
    }
}

void CRaster::Blend(int x, int y, SColor color, double opacity) {
    if (x < 0 || y < 0 || x >= m_width || y >= m_height || !(opacity > 0.0)) {
        return;
    }
    std::byte* const pixel =
        m_bytes.data() +
        (static_cast<std::size_t>(y) * static_cast<std::size_t>(m_width) + static_cast<std::size_t>(x)) * 3;
    const std::array<std::uint8_t, 3> channels{color.red, color.green, color.blue};
    for (std::size_t at = 0; at < channels.size(); ++at) {
        if (opacity >= 1.0) {
            pixel[at] = std::byte{channels[at]};
            continue;
        }
        const double before = std::to_integer<int>(pixel[at]);
        pixel[at] = static_cast<std::byte>(std::lround(before + (channels[at] - before) * opacity));
    }
}

void CRaster::Line(SPoint from, SPoint to, double width, SColor color) {
    Polyline(std::array{from, to}, width, color);
}

/// Each pixel is covered by its distance to the nearest part of the line, so that joints are not drawn twice.
void CRaster::Polyline(std::span<const SPoint> points, double width, SColor color) {
    if (points.size() < 2) {
        return;
    }
    double left = points[0].x;
    double right = points[0].x;
    double top = points[0].y;
    double bottom = points[0].y;
    for (const SPoint& point : points) {
        left = std::min(left, point.x);
        right = std::max(right, point.x);
        top = std::min(top, point.y);
        bottom = std::max(bottom, point.y);
    }
    const double reach = 0.5 * width + 1.0;
    const auto first = [](double value, double least) {
        return static_cast<int>(std::floor(std::max(value, least)));
    };
    for (int y = first(top - reach, 0.0); y <= std::min(bottom + reach, m_height - 1.0); ++y) {
        for (int x = first(left - reach, 0.0); x <= std::min(right + reach, m_width - 1.0); ++x) {
            double nearest = reach * reach; // squared
            for (std::size_t at = 0; at + 1 < points.size(); ++at) {
                const SPoint along{points[at + 1].x - points[at].x, points[at + 1].y - points[at].y};
                const SPoint own{x + 0.5 - points[at].x, y + 0.5 - points[at].y};
                const double squared = along.x * along.x + along.y * along.y;
                const double share =
                    squared > 0.0 ? std::clamp((own.x * along.x + own.y * along.y) / squared, 0.0, 1.0) : 0.0;
                const SPoint off{own.x - share * along.x, own.y - share * along.y};
                nearest = std::min(nearest, off.x * off.x + off.y * off.y);
            }
            if (nearest < reach * reach) {
                Blend(x, y, color, std::clamp(0.5 * width + 0.5 - std::sqrt(nearest), 0.0, 1.0));
            }
        }
    }
}

void CRaster::Polygon(std::span<const SPoint> points, SColor color) {
    constexpr int SAMPLES = 4; // per pixel along each axis
    const auto is_inside = [points](double x, double y) {
        bool inside = false;
        for (std::size_t at = 0; at < points.size(); ++at) {
            const SPoint& one = points[at];
            const SPoint& other = points[(at + 1) % points.size()];
            if ((one.y > y) != (other.y > y) &&
                x < one.x + (y - one.y) / (other.y - one.y) * (other.x - one.x)) {
                inside = !inside;
            }
        }
        return inside;
    };
    const auto by_x =
        std::minmax_element(points.begin(), points.end(), [](auto& a, auto& b) { return a.x < b.x; });
    const auto by_y =
        std::minmax_element(points.begin(), points.end(), [](auto& a, auto& b) { return a.y < b.y; });
    for (int y = static_cast<int>(by_y.first->y); y <= static_cast<int>(by_y.second->y); ++y) {
        for (int x = static_cast<int>(by_x.first->x); x <= static_cast<int>(by_x.second->x); ++x) {
            int covered = 0;
            for (int sample = 0; sample < SAMPLES * SAMPLES; ++sample) {
                const int column = sample % SAMPLES;
                const int row = sample / SAMPLES;
                covered += is_inside(x + (column + 0.5) / SAMPLES, y + (row + 0.5) / SAMPLES) ? 1 : 0;
            }
            Blend(x, y, color, static_cast<double>(covered) / (SAMPLES * SAMPLES));
        }
    }
}

void CRaster::Text(SPoint baseline, std::string_view text, double height, SColor color, EAnchor anchor) {
    const double scale = height / SIGN_HEIGHT;
    const double width = scale * (ADVANCE * static_cast<double>(text.size()) - (ADVANCE - 4.0));
    double x = baseline.x - (anchor == EAnchor::middle  ? 0.5 * width
                             : anchor == EAnchor::right ? width
                                                        : 0.0);
    const double top = baseline.y - height;
    for (const char letter : text) {
        const std::string_view strokes = strokes_of(letter);
        std::vector<SPoint> line;
        for (std::size_t at = 0; at + 1 < strokes.size();) {
            if (strokes[at] == ' ') {
                Polyline(line, STROKE * scale, color);
                line.clear();
                ++at;
                continue;
            }
            line.push_back({x + scale * (strokes[at] - '0'), top + scale * (strokes[at + 1] - '0')});
            at += 2;
        }
        Polyline(line, STROKE * scale, color);
        x += scale * ADVANCE;
    }
}

std::string CRaster::Png(BytePacker pack) const {
    std::string header;
    append_number(header, static_cast<std::uint32_t>(m_width));
    append_number(header, static_cast<std::uint32_t>(m_height));
    header += std::string_view("\x08\x02\x00\x00\x00", 5); // 8 bit, red green blue, nothing special
    const std::size_t rowBytes = static_cast<std::size_t>(m_width) * 3;
    std::vector<std::byte> rows;
    rows.reserve(m_bytes.size() + static_cast<std::size_t>(m_height));
    for (std::size_t row = 0; row < m_bytes.size(); row += rowBytes) {
        rows.push_back(
            std::byte{2}); // filter: difference to the row above, whose bytes count as 0 for the first
        for (std::size_t at = row; at < row + rowBytes; ++at) {
            const int above = at < rowBytes ? 0 : std::to_integer<int>(m_bytes[at - rowBytes]);
            rows.push_back(static_cast<std::byte>(std::to_integer<int>(m_bytes[at]) - above));
        }
    }
    std::string png("\x89PNG\r\n\x1A\n", 8);
    append_chunk(png, "IHDR", header);
    append_chunk(png, "IDAT", pack(rows));
    append_chunk(png, "IEND", {});
    return png;
}

} // namespace TEVRA::report
